#include "Varkle/Core/Text.h"
#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/JsonLayout.h"

#include <algorithm>
#include <cmath>
#include <utility>

// Writes edits as JSON and reads them: for who sends them to another process.

namespace Varkle
{

namespace
{

// Lists an edit's members for a writer or a reader: those that must be there and those that may.

template<class Visitor>
void VisitMembers(AddOperators& edit, Visitor& visitor)
{
    visitor.Need("operators", edit.operators);
    visitor.May("index", edit.index);
}

template<class Visitor>
void VisitMembers(RemoveOperators& edit, Visitor& visitor)
{
    visitor.Need("keys", edit.keys);
}

template<class Visitor>
void VisitMembers(RenameOperator& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("newKey", edit.newKey);
}

template<class Visitor>
void VisitMembers(MoveOperator& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("index", edit.index);
}

template<class Visitor>
void VisitMembers(ConnectInput& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("input", edit.input);
    visitor.May("element", edit.element);
    visitor.May("source", edit.source);
}

template<class Visitor>
void VisitMembers(InsertElement& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("input", edit.input);
    visitor.Need("element", edit.element);
    visitor.May("source", edit.source);
}

template<class Visitor>
void VisitMembers(MoveElement& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("input", edit.input);
    visitor.Need("from", edit.from);
    visitor.Need("to", edit.to);
}

template<class Visitor>
void VisitMembers(DisconnectInput& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("input", edit.input);
    visitor.May("element", edit.element);
}

template<class Visitor>
void VisitMembers(SetParameter& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("parameter", edit.parameter);
    visitor.May("value", edit.value);
    visitor.May("bundleList", edit.bundleList);
    if (!edit.bundleList.empty())
        visitor.Need("bundle", edit.bundle);
}

template<class Visitor>
void VisitMembers(SetPosition& edit, Visitor& visitor)
{
    visitor.Need("key", edit.key);
    visitor.Need("x", edit.x);
    visitor.Need("y", edit.y);
}

template<class Visitor>
void VisitMembers(SetExtra& edit, Visitor& visitor)
{
    visitor.May("key", edit.key);
    visitor.Need("name", edit.name);
    visitor.May("value", edit.value);
}

template<class Visitor>
void VisitMembers(SetFrameRate& edit, Visitor& visitor)
{
    visitor.Need("framesPerSecond", edit.framesPerSecond);
}

template<class Visitor>
void VisitMembers(ReplaceDocument& edit, Visitor& visitor)
{
    visitor.Need("root", edit.root);
}

constexpr const char* NameOf(const AddOperators&)
{
    return "addOperators";
}
constexpr const char* NameOf(const RemoveOperators&)
{
    return "removeOperators";
}
constexpr const char* NameOf(const RenameOperator&)
{
    return "renameOperator";
}
constexpr const char* NameOf(const MoveOperator&)
{
    return "moveOperator";
}
constexpr const char* NameOf(const ConnectInput&)
{
    return "connectInput";
}
constexpr const char* NameOf(const InsertElement&)
{
    return "insertElement";
}
constexpr const char* NameOf(const MoveElement&)
{
    return "moveElement";
}
constexpr const char* NameOf(const DisconnectInput&)
{
    return "disconnectInput";
}
constexpr const char* NameOf(const SetParameter&)
{
    return "setParameter";
}
constexpr const char* NameOf(const SetPosition&)
{
    return "setPosition";
}
constexpr const char* NameOf(const SetExtra&)
{
    return "setExtra";
}
constexpr const char* NameOf(const SetFrameRate&)
{
    return "setFrameRate";
}
constexpr const char* NameOf(const ReplaceDocument&)
{
    return "replaceDocument";
}

class Writer
{
public:
    explicit Writer(const char* name) : json(JsonObject()) { AddMember(json, "edit", JsonString(name)); }

    template<class T>
    void Need(const char* name, const T& value)
    {
        AddMember(json, name, Write(value));
    }

    template<class T>
    void May(const char* name, const std::optional<T>& value)
    {
        if (value)
            Need(name, *value);
    }

    void May(const char* name, const std::string& value)
    {
        if (!value.empty())
            Need(name, value);
    }

    JsonValue Take() { return std::move(json); }

private:
    static JsonValue Write(const std::string& value) { return JsonString(value); }
    static JsonValue Write(std::size_t value) { return JsonInteger(static_cast<long long>(value)); }
    static JsonValue Write(double value) { return JsonNumber(value); }
    static JsonValue Write(const JsonValue& value) { return value; }

    template<class T>
    static JsonValue Write(const std::vector<T>& values)
    {
        JsonValue array = JsonArray();
        for (const T& value : values)
            array.elements.push_back(Write(value));
        return array;
    }

    JsonValue json;
};

class Reader
{
public:
    Reader(const JsonValue& read, const char* editName) : json(read), name(editName) {}

    template<class T>
    void Need(const char* member, T& value)
    {
        if (json.Find(member))
            May(member, value);
        else
            Fail("the member " + Quoted(member) + " is missing");
    }

    template<class T>
    void May(const char* member, T& value)
    {
        known.emplace_back(member);
        const JsonValue* const found = json.Find(member);
        if (found && !Read(*found, value))
            Fail("the member " + Quoted(member) + " must be " + Wanted(value));
    }

    // Returns what is wrong, "" for nothing.
    std::string Finish()
    {
        known.emplace_back("edit");
        for (const JsonMember& member : json.members)
        {
            if (std::ranges::find(known, member.name) == known.end())
                Fail("there is no member " + Quoted(member.name) + Suggestion(member.name, known));
        }
        return problem;
    }

private:
    // The first problem is enough: edits are made by programs.
    void Fail(const std::string& text)
    {
        if (problem.empty())
            problem = std::string("edit \"") + name + "\": " + text;
    }

    static bool Read(const JsonValue& read, std::string& value)
    {
        value = read.text;
        return read.kind == JsonKind::String;
    }

    static bool Read(const JsonValue& read, std::size_t& value)
    {
        constexpr double most = 1e9; // more than any list has, and exact
        const bool isIndex = read.kind == JsonKind::Number && read.number >= 0 && read.number <= most &&
                             std::floor(read.number) == read.number;
        value = isIndex ? std::size_t(read.number) : 0;
        return isIndex;
    }

    static bool Read(const JsonValue& read, double& value)
    {
        value = read.number;
        return read.kind == JsonKind::Number;
    }

    static bool Read(const JsonValue& read, JsonValue& value)
    {
        value = read;
        return true;
    }

    template<class T>
    static bool Read(const JsonValue& read, std::optional<T>& value)
    {
        return Read(read, value.emplace());
    }

    template<class T>
    static bool Read(const JsonValue& read, std::vector<T>& values)
    {
        return read.kind == JsonKind::Array && std::ranges::all_of(read.elements, [&](const JsonValue& element)
                                                                   { return Read(element, values.emplace_back()); });
    }

    static const char* Wanted(const std::string&) { return "a string"; }
    static const char* Wanted(std::size_t) { return "a whole number from 0 on"; }
    static const char* Wanted(double) { return "a number"; }
    static const char* Wanted(const JsonValue&) { return "a value"; }
    static const char* Wanted(const std::vector<JsonValue>&) { return "an array"; }
    static const char* Wanted(const std::vector<std::string>&) { return "an array of strings"; }
    template<class T>
    static const char* Wanted(const std::optional<T>& value)
    {
        return Wanted(value.value_or(T()));
    }

    const JsonValue& json;
    const char* name;
    std::vector<std::string> known;
    std::string problem;
};

// Reads the edit of one of the types, the one that the JSON object names.
template<std::size_t Index = 0>
Result<DocumentEdit> ReadNamed(const std::string& name, const JsonValue& json, std::vector<std::string> names = {})
{
    if constexpr (Index == std::variant_size_v<DocumentEdit>)
        return Error{"there is no edit " + Quoted(name) + Suggestion(name, names)};
    else
    {
        std::variant_alternative_t<Index, DocumentEdit> edit;
        names.emplace_back(NameOf(edit));
        if (name != NameOf(edit))
            return ReadNamed<Index + 1>(name, json, std::move(names));
        Reader reader(json, NameOf(edit));
        VisitMembers(edit, reader);
        if (std::string problem = reader.Finish(); !problem.empty())
            return Error{std::move(problem)};
        return DocumentEdit(std::move(edit));
    }
}

std::string Count(std::size_t count, const std::string& first, const char* many)
{
    return count == 1 ? Quoted(first) : std::to_string(count) + " " + many;
}

struct Description
{
    std::string operator()(const AddOperators& edit) const
    {
        const JsonValue* const key = edit.operators.empty() ? nullptr : edit.operators[0].Find("key");
        return "Add " + Count(edit.operators.size(), key ? key->text : "", "Operators");
    }
    std::string operator()(const RemoveOperators& edit) const
    {
        return "Remove " + Count(edit.keys.size(), edit.keys.empty() ? "" : edit.keys[0], "Operators");
    }
    std::string operator()(const RenameOperator& edit) const { return "Rename " + Quoted(edit.key); }
    std::string operator()(const MoveOperator& edit) const { return "Reorder " + Quoted(edit.key); }
    std::string operator()(const ConnectInput& edit) const { return "Connect " + Quoted(edit.input); }
    std::string operator()(const InsertElement& edit) const { return "Connect " + Quoted(edit.input); }
    std::string operator()(const MoveElement& edit) const { return "Reorder " + Quoted(edit.input); }
    std::string operator()(const DisconnectInput& edit) const { return "Disconnect " + Quoted(edit.input); }
    std::string operator()(const SetParameter& edit) const
    {
        return (edit.value ? "Set " : "Reset ") + Quoted(edit.parameter);
    }
    std::string operator()(const SetPosition& edit) const { return "Move " + Quoted(edit.key); }
    std::string operator()(const SetExtra& edit) const { return "Set " + Quoted(edit.name); }
    std::string operator()(const SetFrameRate&) const { return "Set Frame Rate"; }
    std::string operator()(const ReplaceDocument&) const { return "Replace Document"; }
};

} // namespace

JsonValue WriteEdit(const DocumentEdit& edit)
{
    return std::visit(
        [](auto copy)
        {
            Writer writer(NameOf(copy));
            VisitMembers(copy, writer);
            return writer.Take();
        },
        edit);
}

Result<DocumentEdit> ReadEdit(const JsonValue& json)
{
    const JsonValue* const name = json.Find("edit");
    if (!name || name->kind != JsonKind::String)
        return Error{"an edit must be an object with the member \"edit\", the name of what is done"};
    return ReadNamed(name->text, json);
}

std::string DescribeEdit(const DocumentEdit& edit)
{
    return std::visit(Description(), edit);
}

} // namespace Varkle
