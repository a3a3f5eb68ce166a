#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"
#include "value/ParameterValue.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <unordered_map>

// Checks a document by what the operators' documents declare: no operator is made and no GPU is needed.

namespace Varkle
{

namespace
{

constexpr double newestVersion = 1;

bool IsKey(const std::string& text)
{
    const auto allowed = [](unsigned char c)
    { return c < 128 && (std::isalnum(c) != 0 || c == '_' || c == '-' || c == '.'); };
    return !text.empty() && std::ranges::all_of(text, allowed);
}

const OperatorInfo::Entry* FindEntry(const std::vector<OperatorInfo::Entry>& entries, std::string_view name)
{
    const auto found = std::ranges::find(entries, name, &OperatorInfo::Entry::name);
    return found != entries.end() ? &*found : nullptr;
}

std::vector<std::string> Names(const std::vector<OperatorInfo::Entry>& entries)
{
    std::vector<std::string> names;
    names.reserve(entries.size());
    for (const OperatorInfo::Entry& entry : entries)
        names.push_back(entry.name);
    return names;
}

std::vector<std::string> BundleListNames(const OperatorInfo& info)
{
    std::vector<std::string> names;
    for (const OperatorInfo::Entry& entry : info.parameters)
    {
        if (!entry.bundles.empty())
            names.push_back(entry.name);
    }
    return names;
}

class Checker
{
public:
    Checker(const JsonValue& documentRoot, const std::string& fileName) : root(documentRoot), file(fileName) {}

    std::vector<DocumentError> Run()
    {
        if (root.kind != JsonKind::Object)
        {
            Add(root.at, "a graph document is an object with the members \"format\", \"version\" and \"operators\"");
            return std::move(errors);
        }
        CheckHead();
        if (const JsonValue* const list = root.Find("operators"))
            CheckOperators(*list);
        std::ranges::stable_sort(errors, {}, [](const DocumentError& e) { return std::pair(e.line, e.column); });
        return std::move(errors);
    }

private:
    struct Node
    {
        const JsonValue* json = nullptr;
        const OperatorInfo* info = nullptr; // null when the type is unknown
        std::string key;
        std::vector<std::pair<std::size_t, SourcePosition>> sources; // nodes that feed this one, and where it is said
    };

    void Add(SourcePosition at, std::string message)
    {
        errors.push_back({file, at.line, at.column, std::move(message)});
    }

    void AddFor(const Node& node, SourcePosition at, const std::string& message) { Add(at, Where(node) + message); }

    // Says whose fault it is; the position has to do for an operator without a key.
    static std::string Where(const Node& node) { return node.key.empty() ? "" : "operator " + Quoted(node.key) + ": "; }

    // Reports the members of an object that are not among the known ones; names that start with "x-" are anybody's.
    void CheckMembers(const JsonValue& object, const std::vector<std::string>& known, const std::string& where)
    {
        for (const JsonMember& member : object.members)
        {
            if (!member.name.starts_with("x-") && std::ranges::find(known, member.name) == known.end())
                Add(member.at, where + "there is no member " + Quoted(member.name) + Suggestion(member.name, known));
        }
    }

    void CheckHead()
    {
        CheckMembers(root, {"format", "version", "frameRate", "operators"}, "");
        const JsonValue* const format = root.Find("format");
        if (!format)
            Add(root.at, "the member \"format\" is missing: it must be \"varkle-graph\"");
        else if (format->kind != JsonKind::String || format->text != "varkle-graph")
            Add(format->at, "\"format\" must be \"varkle-graph\"");

        const JsonValue* const version = root.Find("version");
        if (!version)
            Add(root.at, "the member \"version\" is missing: it must be 1");
        else if (version->kind == JsonKind::Number && version->number > newestVersion)
            Add(version->at, "the document has version " + version->text + ", this program knows versions up to 1: a " +
                                 "newer program is needed");
        else if (version->kind != JsonKind::Number || version->number != newestVersion)
            Add(version->at, "\"version\" must be 1");

        const JsonValue* const rate = root.Find("frameRate");
        if (rate && (rate->kind != JsonKind::Number || !(rate->number > 0)))
            Add(rate->at, "\"frameRate\" must be a number of frames per second above 0");
    }

    void CheckOperators(const JsonValue& list)
    {
        if (list.kind != JsonKind::Array)
        {
            Add(list.at, "\"operators\" must be an array");
            return;
        }
        for (const JsonValue& json : list.elements)
            ReadNode(json);
        for (std::size_t i = 0; i < nodes.size(); ++i)
        {
            CheckInputs(i);
            CheckParameters(nodes[i]);
            CheckBundles(nodes[i]);
        }
        CheckCycles();
    }

    // Reads an operator's own members and remembers it by its key.
    void ReadNode(const JsonValue& json)
    {
        if (json.kind != JsonKind::Object)
        {
            Add(json.at, "an operator must be an object with at least \"key\" and \"type\"");
            return;
        }
        Node node;
        node.json = &json;
        ReadKey(node);
        CheckMembers(json, {"key", "type", "parameters", "inputs", "bundles", "position"}, Where(node));
        ReadType(node);
        CheckPosition(node);
        nodes.push_back(std::move(node));
    }

    void ReadKey(Node& node)
    {
        const JsonValue* const key = node.json->Find("key");
        if (!key)
        {
            Add(node.json->at, "the operator has no \"key\"");
            return;
        }
        if (key->kind != JsonKind::String)
        {
            Add(key->at, "\"key\" must be a string");
            return;
        }
        node.key = key->text;
        if (!IsKey(node.key))
            Add(key->at, "the key " + Quoted(node.key) + " must consist of letters, digits, \"_\", \"-\" and \".\"");
        // One that is wrong counts too: whoever refers to it makes no further mistake.
        const auto [first, isNew] = byKey.emplace(node.key, nodes.size());
        if (!isNew)
            AddFor(node, key->at,
                   "the key is used already in line " +
                       std::to_string(nodes[first->second].json->Find("key")->at.line));
    }

    void ReadType(Node& node)
    {
        const JsonValue* const type = node.json->Find("type");
        if (!type)
        {
            AddFor(node, node.json->at, "the member \"type\" is missing");
            return;
        }
        if (type->kind != JsonKind::String)
        {
            AddFor(node, type->at, "\"type\" must be a string");
            return;
        }
        node.info = TypeLibrary::Get().Find(type->text);
        if (node.info)
            return;
        std::vector<std::string> known;
        for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
            known.push_back(info.type->GetId());
        AddFor(node, type->at, "there is no operator type " + Quoted(type->text) + Suggestion(type->text, known));
    }

    void CheckPosition(const Node& node)
    {
        const JsonValue* const position = node.json->Find("position");
        if (!position)
            return;
        const auto isNumber = [](const JsonValue& json) { return json.kind == JsonKind::Number; };
        if (position->kind != JsonKind::Array || position->elements.size() != 2 ||
            !std::ranges::all_of(position->elements, isNumber))
            AddFor(node, position->at, "\"position\" must be an array of 2 numbers");
    }

    // Returns an operator's member that must be an object, or null.
    const JsonValue* FindObject(const Node& node, const char* name)
    {
        const JsonValue* const json = node.json->Find(name);
        if (!json || json->kind == JsonKind::Object)
            return json;
        AddFor(node, json->at, std::string("\"") + name + "\" must be an object");
        return nullptr;
    }

    void CheckInputs(std::size_t index)
    {
        Node& node = nodes[index];
        const JsonValue* const inputs = FindObject(node, "inputs");
        if (!inputs)
            return;
        for (const JsonMember& member : inputs->members)
        {
            const OperatorInfo::Entry* const entry = node.info ? FindEntry(node.info->inputs, member.name) : nullptr;
            if (node.info && !entry)
                AddFor(node, member.at,
                       "there is no input " + Quoted(member.name) + Suggestion(member.name, Names(node.info->inputs)));
            if (member.value.kind != JsonKind::Array)
            {
                CheckSource(node, member.name, entry, member.value);
                continue;
            }
            for (const JsonValue& element : member.value.elements)
                CheckSource(node, member.name, entry, element);
        }
    }

    // Checks the key of the operator that feeds an input.
    void CheckSource(Node& node, const std::string& input, const OperatorInfo::Entry* entry, const JsonValue& json)
    {
        if (json.kind == JsonKind::Null)
            return;
        if (json.kind != JsonKind::String)
        {
            AddFor(node, json.at,
                   "input " + Quoted(input) + " takes the key of an operator, null, or an array of them for a list");
            return;
        }
        const auto found = byKey.find(json.text);
        if (found == byKey.end())
        {
            AddFor(node, json.at,
                   "input " + Quoted(input) + ": there is no operator " + Quoted(json.text) + SuggestKey(json.text));
            return;
        }
        const Node& source = nodes[found->second];
        node.sources.emplace_back(found->second, json.at);
        if (!source.info || !entry)
            return;
        if (source.info->outputs.empty())
            AddFor(node, json.at, "input " + Quoted(input) + ": the operator " + Quoted(source.key) + " has no output");
        else if (source.info->outputs[0].type != entry->type)
            AddFor(node, json.at,
                   "input " + Quoted(input) + " takes a " + entry->type + ", but " + Quoted(source.key) + " gives a " +
                       source.info->outputs[0].type);
    }

    // Looking through all keys is only worth it while the mistakes are few.
    std::string SuggestKey(const std::string& key) const
    {
        constexpr std::size_t most = 20;
        if (errors.size() >= most)
            return {};
        std::vector<std::string> keys;
        for (const Node& node : nodes)
            keys.push_back(node.key);
        return Suggestion(key, keys);
    }

    void CheckParameters(const Node& node)
    {
        const JsonValue* const parameters = FindObject(node, "parameters");
        if (parameters && node.info)
            CheckParameterMap(node, *parameters, node.info->parameters, "");
    }

    // Checks a map of parameter values against entries. `where` names the bundle, or is empty.
    void CheckParameterMap(const Node& node, const JsonValue& map, const std::vector<OperatorInfo::Entry>& entries,
                           const std::string& where)
    {
        for (const JsonMember& member : map.members)
        {
            const OperatorInfo::Entry* const entry = FindEntry(entries, member.name);
            if (!entry)
            {
                AddFor(node, member.at,
                       where + "there is no parameter " + Quoted(member.name) +
                           Suggestion(member.name, Names(entries)));
                continue;
            }
            if (!entry->bundles.empty())
            {
                AddFor(node, member.at,
                       where + Quoted(member.name) + " is a list of bundles: it belongs into \"bundles\"");
                continue;
            }
            if (entry->marks.output != 0)
                continue; // the operator writes it: ignored when read
            CheckValue(node, *entry, member.value, where);
        }
    }

    void CheckValue(const Node& node, const OperatorInfo::Entry& entry, const JsonValue& json, const std::string& where)
    {
        const ValueErrors report = [&](SourcePosition at, const std::string& message)
        { AddFor(node, at, where + "parameter " + Quoted(entry.name) + " " + message); };
        const std::optional<ParameterType> type = FindParameterType(entry.type);
        if (!type)
        {
            CheckValueOfOpenType(json, report);
            return;
        }
        const std::optional<ParameterValue> value = ReadParameterValue(*type, json, report);
        if (value && *type == ParameterType::Reference && !value->text.empty() && !byKey.contains(value->text))
            report(json.at,
                   "refers to " + Quoted(value->text) + ", but there is no such operator" + SuggestKey(value->text));
    }

    void CheckBundles(const Node& node)
    {
        const JsonValue* const lists = FindObject(node, "bundles");
        if (!lists || !node.info)
            return;
        for (const JsonMember& member : lists->members)
        {
            const OperatorInfo::Entry* const entry = FindEntry(node.info->parameters, member.name);
            if (!entry || entry->bundles.empty())
            {
                AddFor(node, member.at,
                       "there is no list of bundles " + Quoted(member.name) +
                           Suggestion(member.name, BundleListNames(*node.info)));
                continue;
            }
            if (member.value.kind != JsonKind::Array)
            {
                AddFor(node, member.value.at,
                       "the bundles " + Quoted(member.name) + " must be an array of parameter maps");
                continue;
            }
            CheckBundleMaps(node, *entry, member.value);
        }
    }

    void CheckBundleMaps(const Node& node, const OperatorInfo::Entry& entry, const JsonValue& maps)
    {
        for (std::size_t i = 0; i < maps.elements.size(); ++i)
        {
            const std::string where = "bundle " + std::to_string(i + 1) + " of " + Quoted(entry.name) + ": ";
            const JsonValue& map = maps.elements[i];
            if (map.kind == JsonKind::Object)
                CheckParameterMap(node, map, entry.bundles[0].second, where);
            else
                AddFor(node, map.at, where + "a bundle must be an object of parameters");
        }
    }

    // Walks from each operator to what feeds it, without recursion: documents may be chains of thousands.
    void CheckCycles()
    {
        enum class Mark : std::uint8_t
        {
            New,
            Open,
            Done
        };
        std::vector<Mark> marks(nodes.size(), Mark::New);
        struct Step
        {
            std::size_t node;
            std::size_t nextSource;
        };
        std::vector<Step> path;
        for (std::size_t start = 0; start < nodes.size(); ++start)
        {
            if (marks[start] != Mark::New)
                continue;
            marks[start] = Mark::Open;
            path.push_back({start, 0});
            while (!path.empty())
            {
                Step& step = path.back();
                const Node& node = nodes[step.node];
                if (step.nextSource == node.sources.size())
                {
                    marks[step.node] = Mark::Done;
                    path.pop_back();
                    continue;
                }
                const auto [source, at] = node.sources[step.nextSource++];
                if (marks[source] == Mark::Open)
                    ReportCycle(step.node, source, at, path);
                else if (marks[source] == Mark::New)
                {
                    marks[source] = Mark::Open;
                    path.push_back({source, 0});
                }
            }
        }
    }

    template<class Path>
    void ReportCycle(std::size_t from, std::size_t to, SourcePosition at, const Path& path)
    {
        if (from == to)
        {
            AddFor(nodes[from], at, "the operator feeds itself: a graph can't have cycles");
            return;
        }
        // The path holds the cycle from the source that closes it on, each operator fed by the next one.
        constexpr std::size_t most = 8;
        const auto first = std::ranges::find(path, to, [](const auto& step) { return step.node; });
        const auto length = std::size_t(path.end() - first);
        std::string ring = Quoted(nodes[to].key);
        for (std::size_t i = 1; i < std::min(length, most); ++i)
            ring += " <- " + Quoted(nodes[(first + std::ptrdiff_t(i))->node].key);
        ring += length > most ? " <- ... <- " : " <- ";
        ring += Quoted(nodes[to].key);
        AddFor(nodes[from], at, "a graph can't have cycles: " + ring);
    }

    const JsonValue& root;
    const std::string& file;
    std::vector<Node> nodes;
    std::unordered_map<std::string, std::size_t> byKey;
    std::vector<DocumentError> errors;
};

} // namespace

std::vector<DocumentError> GraphDocument::Check() const
{
    return Checker(*root, name).Run();
}

} // namespace Varkle
