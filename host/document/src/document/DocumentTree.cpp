#include "document/DocumentTree.h"

#include "Varkle/Core/Parameter.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/JsonLayout.h"

#include <algorithm>
#include <cctype>
#include <unordered_set>
#include <utility>

namespace Varkle
{

namespace
{

bool IsReference(const OperatorInfo::Entry& entry)
{
    return entry.type == GetParameterTypeName(ParameterType::Reference);
}

const OperatorInfo::Entry* FindEntry(const std::vector<OperatorInfo::Entry>& entries, std::string_view name)
{
    const auto found = std::ranges::find(entries, name, &OperatorInfo::Entry::name);
    return found != entries.end() ? &*found : nullptr;
}

void ForEachReference(JsonValue& map, const std::vector<OperatorInfo::Entry>& entries,
                      const std::function<void(JsonValue& key)>& visit)
{
    for (JsonMember& member : map.members)
    {
        const OperatorInfo::Entry* const entry = FindEntry(entries, member.name);
        if (entry && IsReference(*entry) && member.value.kind == JsonKind::String)
            visit(member.value);
    }
}

// `inputs` is a value or a constant one.
template<class Value, class Visit>
void VisitSources(Value& inputs, const Visit& visit)
{
    for (auto& input : inputs.members)
    {
        if (input.value.kind == JsonKind::String)
            visit(input.value);
        for (auto& element : input.value.elements)
        {
            if (element.kind == JsonKind::String)
                visit(element);
        }
    }
}

} // namespace

std::optional<std::size_t> FindMemberIndex(const JsonValue& object, std::string_view name)
{
    const auto found = std::ranges::find(object.members, name, &JsonMember::name);
    if (found == object.members.end())
        return std::nullopt;
    return std::size_t(found - object.members.begin());
}

JsonValue* FindMember(JsonValue& object, std::string_view name)
{
    const std::optional<std::size_t> index = FindMemberIndex(object, name);
    return index ? &object.members[*index].value : nullptr;
}

std::string GetText(const JsonValue& object, std::string_view name)
{
    const JsonValue* const value = object.Find(name);
    return value && value->kind == JsonKind::String ? value->text : std::string();
}

const std::vector<JsonValue>& GetOperators(const JsonValue& root)
{
    static const std::vector<JsonValue> s_none;
    const JsonValue* const list = root.Find("operators");
    return list ? list->elements : s_none;
}

const OperatorInfo* FindInfo(const JsonValue& op)
{
    const JsonValue* const type = op.Find("type");
    return type && type->kind == JsonKind::String ? TypeLibrary::Get().Find(type->text) : nullptr;
}

bool IsKey(std::string_view text)
{
    const auto allowed = [](unsigned char c)
    { return c < 128 && (std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.'); };
    return !text.empty() && std::ranges::all_of(text, allowed);
}

void ForEachSource(const JsonValue& op, const std::function<void(const JsonValue& key)>& visit)
{
    if (const JsonValue* const inputs = op.Find("inputs"))
        VisitSources(*inputs, visit);
}

void ForEachKey(JsonValue& op, const std::function<void(JsonValue& key)>& visit)
{
    if (JsonValue* const inputs = FindMember(op, "inputs"))
        VisitSources(*inputs, visit);
    const OperatorInfo* const info = FindInfo(op);
    if (!info)
        return;
    if (JsonValue* const parameters = FindMember(op, "parameters"))
        ForEachReference(*parameters, info->parameters, visit);
    if (JsonValue* const bundles = FindMember(op, "bundles"))
    {
        for (JsonMember& list : bundles->members)
        {
            const OperatorInfo::Entry* const entry = FindEntry(info->parameters, list.name);
            for (JsonValue& map : list.value.elements)
            {
                if (entry && !entry->bundles.empty())
                    ForEachReference(map, entry->bundles[0].second, visit);
            }
        }
    }
}

void ForgetSources(JsonValue& op)
{
    if (JsonValue* const inputs = FindMember(op, "inputs"))
        VisitSources(*inputs, [](JsonValue& key) { key.kind = JsonKind::Null; });
}

GraphDocument TakePart(const GraphDocument& document, const std::vector<std::size_t>& operators, bool wires)
{
    const std::vector<JsonValue>& all = GetOperators(document.GetRoot());
    std::vector<std::size_t> places = operators;
    std::ranges::sort(places);
    const std::unordered_set<std::size_t> whole(places.begin(), places.end());
    std::unordered_set<std::size_t> named;
    std::vector<JsonValue> part;
    for (const std::size_t place : places)
    {
        part.push_back(all[place]);
        if (!wires)
            ForgetSources(part.back());
        ForEachKey(part.back(),
                   [&](JsonValue& key)
                   {
                       const std::optional<std::size_t> other = document.FindOperator(key.text);
                       if (other && (whole.contains(*other) || (FindInfo(all[*other]) && IsKey(key.text))))
                           named.insert(*other);
                       else
                           key.kind = JsonKind::Null;
                   });
    }
    for (const std::size_t place : named)
    {
        if (whole.contains(place))
            continue;
        JsonValue stub = JsonObject();
        AddMember(stub, "key", *all[place].Find("key"));
        AddMember(stub, "type", *all[place].Find("type"));
        part.push_back(std::move(stub));
    }
    JsonValue root = JsonObject();
    for (const JsonMember& member : document.GetRoot().members)
    {
        if (member.name != "operators")
            root.members.push_back(member);
    }
    AddMember(root, "operators", JsonArray(std::move(part)));
    return DocumentAccess::Make(std::move(root), document.GetName(), document.GetFolder());
}

JsonValue& DocumentAccess::Root(GraphDocument& document)
{
    return *document.root;
}

void DocumentAccess::ForgetKeys(GraphDocument& document)
{
    document.places.reset();
}

GraphDocument DocumentAccess::Make(JsonValue root, std::string name, std::filesystem::path folder)
{
    GraphDocument document;
    *document.root = std::move(root);
    document.name = std::move(name);
    document.folder = std::move(folder);
    return document;
}

void ForgetPlaces(JsonValue& value)
{
    value.at = {0, 0};
    for (JsonValue& element : value.elements)
        ForgetPlaces(element);
    for (JsonMember& member : value.members)
    {
        member.at = {0, 0};
        ForgetPlaces(member.value);
    }
}

} // namespace Varkle
