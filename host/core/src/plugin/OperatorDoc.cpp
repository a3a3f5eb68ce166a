#include "Varkle/Core/DataTypes.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/TypeLibrary.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <utility>
#include <yaml-cpp/yaml.h>

// Reads operator documents. Part by part, whatever is wrong is reported with its line and left out.

namespace Varkle
{

namespace
{

using Entry = OperatorInfo::Entry;
using Keys = std::initializer_list<std::string_view>;

// What `type` of an entry may be, besides the data types that plug-ins bring. "[Type]": the type follows another
// parameter.
constexpr std::string_view entryTypes[] = {"Texture",  "Mesh",      "Model",        "Material",     "Float",
                                           "Int",      "Bool",      "String",       "Enum",         "Color",
                                           "Vector 2", "Vector 3",  "Vector 4",     "Vector 2 Int", "Vector 3 Int",
                                           "Trigger",  "Reference", "Transform 3D", "[Type]"};

template<class List>
bool Contains(const List& list, std::string_view text)
{
    return std::ranges::find(list, text) != std::ranges::end(list);
}

std::string Quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

// A document's text in its two parts.
struct Parts
{
    std::string_view frontMatter;
    std::string_view body;
};

// Takes the first line off a text and returns it without its line end.
std::string_view TakeLine(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

// Reads the front matter of one document into its record.
class FrontMatterReader
{
public:
    explicit FrontMatterReader(OperatorInfo& operatorInfo) : info(operatorInfo) {}

    void Read(std::string_view frontMatter)
    {
        try
        {
            ReadDocument(YAML::Load(std::string(frontMatter)));
        }
        catch (const YAML::Exception& error)
        {
            Warn(GetLine(error.mark), "the front matter is not valid YAML: " + error.msg + ".");
        }
    }

    void Warn(std::uint32_t line, const std::string& text) const
    {
        LogWarning(info.documentPath + ":" + std::to_string(line) + ": " + text);
    }

private:
    // What kind of entries a list holds, and what an entry is called in messages.
    enum class Section
    {
        Output,
        Input,
        Parameter,
        BundleParameter
    };

    // Line 1 is the "---" in front of the front matter. The parser counts from 0, and -1 is no position.
    static std::uint32_t GetLine(const YAML::Mark& mark) { return mark.line < 0 ? 1 : std::uint32_t(mark.line) + 2; }
    static std::uint32_t GetLine(const YAML::Node& node) { return GetLine(node.Mark()); }

    // Returns the line of a key. The parser places a value that is missing in the line behind it.
    static std::uint32_t GetLine(const YAML::Node& map, std::string_view key)
    {
        for (const auto& pair : map)
        {
            if (pair.first.IsScalar() && pair.first.Scalar() == key)
                return GetLine(pair.first);
        }
        return GetLine(map);
    }

    void ReadDocument(const YAML::Node& root)
    {
        if (!root.IsMap() && !root.IsNull())
        {
            Warn(GetLine(root), "the front matter must be a map of keys.");
            return;
        }
        CheckKeys(root, {"type", "summary", "tags", "outputs", "inputs", "parameters"}, "");
        ReadType(root);
        info.summary = ReadText(root, "summary", "").value_or("");
        if (!root["summary"])
            Warn(1, "the document has no summary.");
        info.tags = ReadTexts(root, "tags", "");
        info.outputs = ReadEntries(root, "outputs", Section::Output, "");
        info.inputs = ReadEntries(root, "inputs", Section::Input, "");
        info.parameters = ReadEntries(root, "parameters", Section::Parameter, "");
    }

    void ReadType(const YAML::Node& root) const
    {
        const std::optional<std::string> type = ReadText(root, "type", "");
        if (!root["type"])
            Warn(1, "the document has no type.");
        else if (type && info.type && *type != info.type->GetId())
            Warn(GetLine(root, "type"),
                 "the type is " + Quoted(*type) + ", the operator's is " + Quoted(info.type->GetId()) + ".");
    }

    // Reports keys that are unknown or stand twice. `where` is empty or says whose keys they are, with ": " behind it.
    void CheckKeys(const YAML::Node& map, Keys known, const std::string& where) const
    {
        std::vector<std::string> seen;
        for (const auto& pair : map)
        {
            const std::string key = pair.first.IsScalar() ? pair.first.Scalar() : "";
            if (!Contains(known, key))
                Warn(GetLine(pair.first), where + "the key " + Quoted(key) + " has no meaning here.");
            else if (Contains(seen, key))
                Warn(GetLine(pair.first), where + "the key " + Quoted(key) + " stands here twice; the first counts.");
            seen.push_back(key);
        }
    }

    std::optional<std::string> ReadText(const YAML::Node& map, const char* key, const std::string& where) const
    {
        const YAML::Node node = map[key];
        if (!node)
            return {};
        if (node.IsScalar())
            return node.Scalar();
        Warn(GetLine(map, key), where + Quoted(key) + " must be text.");
        return {};
    }

    std::vector<std::string> ReadTexts(const YAML::Node& map, const char* key, const std::string& where) const
    {
        const YAML::Node list = map[key];
        if (!list)
            return {};
        if (!list.IsSequence())
        {
            Warn(GetLine(map, key), where + Quoted(key) + " must be a list of texts.");
            return {};
        }
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < list.size(); ++i)
        {
            if (list[i].IsScalar())
                texts.push_back(list[i].Scalar());
            else
                Warn(GetLine(list[i]),
                     where + "item " + std::to_string(i + 1) + " of " + Quoted(key) + " must be text.");
        }
        return texts;
    }

    std::vector<Entry> ReadEntries(const YAML::Node& map, const char* key, Section section,
                                   const std::string& where) const
    {
        const YAML::Node list = map[key];
        if (!list)
            return {};
        if (!list.IsMap())
        {
            Warn(GetLine(map, key), where + Quoted(key) + " must be a map from names to entries.");
            return {};
        }
        std::vector<Entry> entries;
        for (const auto& pair : list)
        {
            if (!pair.first.IsScalar())
                Warn(GetLine(pair.first), where + "a name in " + Quoted(key) + " must be text.");
            else if (Contains(GetNames(entries), pair.first.Scalar()))
                Warn(GetLine(pair.first), where + "the name " + Quoted(pair.first.Scalar()) + " stands in " +
                                              Quoted(key) + " twice; the first counts.");
            else
                entries.push_back(ReadEntry(pair.first, pair.second, section, where));
        }
        return entries;
    }

    static std::vector<std::string> GetNames(const std::vector<Entry>& entries)
    {
        std::vector<std::string> names;
        std::ranges::transform(entries, std::back_inserter(names), &Entry::name);
        return names;
    }

    Entry ReadEntry(const YAML::Node& name, const YAML::Node& node, Section section, const std::string& outer) const
    {
        Entry entry;
        entry.name = name.Scalar();
        entry.marks.line = GetLine(name);
        static constexpr const char* words[] = {"output", "input", "parameter", "parameter"};
        const std::string where = outer + words[int(section)] + " " + Quoted(entry.name) + ": ";
        if (!node.IsMap())
        {
            Warn(entry.marks.line, where + "the entry must be a map of keys.");
            return entry;
        }
        if (section == Section::Parameter && node["parameters"])
        {
            ReadBundleList(node, entry);
            return entry;
        }
        if (section == Section::Output || section == Section::Input)
            CheckKeys(node, {"type", "description"}, where);
        else
            CheckKeys(node, {"type", "values", "description", "output"}, where);
        entry.type = ReadEntryType(node, entry.marks.line, where);
        entry.description = ReadText(node, "description", where).value_or("");
        entry.values = ReadValues(node, entry, where);
        entry.marks.output = ReadOutputMark(node, where) ? 1 : 0;
        return entry;
    }

    void ReadBundleList(const YAML::Node& node, Entry& entry) const
    {
        const std::string where = "bundle list " + Quoted(entry.name) + ": ";
        CheckKeys(node, {"summary", "parameters"}, where);
        entry.summary = ReadText(node, "summary", where).value_or("");
        entry.bundles.emplace_back(entry.name, ReadEntries(node, "parameters", Section::BundleParameter, where));
    }

    std::string ReadEntryType(const YAML::Node& node, std::uint32_t line, const std::string& where) const
    {
        if (!node["type"])
            Warn(line, where + "the entry has no type.");
        const std::optional<std::string> type = ReadText(node, "type", where);
        if (type && !Contains(entryTypes, *type) && !FindDataType(*type))
            Warn(GetLine(node, "type"), where + "there is no type " + Quoted(*type) + ".");
        return type.value_or("");
    }

    std::vector<std::string> ReadValues(const YAML::Node& node, const Entry& entry, const std::string& where) const
    {
        const YAML::Node list = node["values"];
        if (entry.type == "Enum" && !list)
            Warn(entry.marks.line, where + "an enum needs a list of values.");
        if (entry.type != "Enum" && list)
            Warn(GetLine(node, "values"), where + "only enums have values.");
        std::vector<std::string> values = ReadTexts(node, "values", where);
        if (entry.type == "Enum" && list && list.IsSequence() && list.size() == 0)
            Warn(GetLine(node, "values"), where + "the list of values is empty.");
        for (auto value = values.begin(); value != values.end(); ++value)
        {
            if (std::find(values.begin(), value, *value) != value)
                Warn(GetLine(node, "values"), where + "the value " + Quoted(*value) + " stands in the list twice.");
        }
        return values;
    }

    bool ReadOutputMark(const YAML::Node& node, const std::string& where) const
    {
        const YAML::Node mark = node["output"];
        bool output = false;
        if (mark && !YAML::convert<bool>::decode(mark, output))
            Warn(GetLine(node, "output"), where + "\"output\" must be true or false.");
        return output;
    }

    OperatorInfo& info;
};

// Fills in the name and the category from the document's path.
void ReadPath(OperatorInfo& info)
{
    static constexpr std::string_view root = "Docs/Operators/";
    static constexpr std::string_view extension = ".md";
    std::string_view path = info.documentPath;
    if (path.starts_with(root))
        path.remove_prefix(root.size());
    if (path.ends_with(extension))
        path.remove_suffix(extension.size());
    const std::size_t slash = path.rfind('/');
    info.category = slash != std::string_view::npos ? path.substr(0, slash) : "";
    info.name = slash != std::string_view::npos ? path.substr(slash + 1) : path;
}

// Splits a text at the two lines "---". Empty, and `fault` says why, when it has no front matter.
std::optional<Parts> Split(std::string_view text, std::string_view& fault)
{
    if (TakeLine(text) != "---")
    {
        fault = "the document does not begin with front matter, that is with a line \"---\".";
        return {};
    }
    const std::string_view frontMatter = text;
    while (!text.empty())
    {
        const std::size_t before = frontMatter.size() - text.size();
        if (TakeLine(text) == "---")
            return Parts{frontMatter.substr(0, before), text};
    }
    fault = "the front matter is not closed by a line \"---\".";
    return {};
}

} // namespace

OperatorInfo ParseOperatorDoc(const ObjectType* type, std::string_view docPath, std::string_view docText)
{
    OperatorInfo info;
    info.type = type;
    info.documentPath = docPath;
    ReadPath(info);

    static constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (docText.starts_with(byteOrderMark))
        docText.remove_prefix(byteOrderMark.size());
    if (docText.empty())
        return info;

    FrontMatterReader reader(info);
    std::string_view fault;
    const std::optional<Parts> parts = Split(docText, fault);
    if (!parts)
    {
        reader.Warn(1, std::string(fault));
        info.body = docText;
        return info;
    }
    info.body = parts->body;
    reader.Read(parts->frontMatter);
    return info;
}

} // namespace Varkle
