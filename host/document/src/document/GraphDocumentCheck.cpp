#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/GraphDocument.h"
#include "Varkle/Document/Json.h"
#include "document/DocumentCheck.h"
#include "document/DocumentTree.h"
#include "session/BuildErrors.h"
#include "value/ParameterValue.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <unordered_set>
#include <utility>

// Checks a document: first by what the operators' documents declare, then, where that is fine, by making the operators
// and setting them up without running them. No GPU is needed.

namespace Varkle
{

namespace
{

constexpr double newestVersion = 1;

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

std::vector<std::size_t> AllPlaces(const GraphDocument& document)
{
    std::vector<std::size_t> all(GetOperators(document.GetRoot()).size());
    std::iota(all.begin(), all.end(), std::size_t(0));
    return all;
}

class Checker
{
public:
    explicit Checker(const GraphDocument& checked) : document(checked), root(checked.GetRoot()) {}

    // Finds what is wrong with all of the document.
    void CheckAll()
    {
        if (root.kind != JsonKind::Object)
        {
            Add(root.at, "a graph document is an object with the members \"format\", \"version\" and \"operators\"");
            return;
        }
        CheckHead();
        const JsonValue* const list = root.Find("operators");
        if (list && list->kind != JsonKind::Array)
            Add(list->at, "\"operators\" must be an array");
        const std::vector<std::size_t> all = AllPlaces(document);
        CheckOperators(all);
        CheckCycles(all);
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
        if (rate && rate->kind != JsonKind::Number)
            Add(rate->at, "\"frameRate\" must be a number of frames per second from " +
                              FormatNumber(GraphDocument::LeastFrameRate) + " to " +
                              FormatNumber(GraphDocument::MostFrameRate));
        else if (rate &&
                 !(rate->number >= GraphDocument::LeastFrameRate && rate->number <= GraphDocument::MostFrameRate))
            Add(rate->at, "\"frameRate\" must be a number of frames per second from " +
                              FormatNumber(GraphDocument::LeastFrameRate) + " to " +
                              FormatNumber(GraphDocument::MostFrameRate) + ", not " + rate->text);
    }

    void CheckOperators(const std::vector<std::size_t>& places)
    {
        for (const std::size_t place : places)
            CheckOperator(NodeAt(place));
    }

    // Walks from operators to what feeds them, without recursion: documents may be chains of thousands.
    void CheckCycles(const std::vector<std::size_t>& starts)
    {
        enum class Mark : std::uint8_t
        {
            New,
            Open,
            Done
        };
        std::vector<Mark> marks(GetOperators(root).size(), Mark::New);
        std::vector<Step> path;
        const auto enter = [&](std::size_t node)
        {
            marks[node] = Mark::Open;
            path.push_back({node, 0, FindSources(node)});
        };
        for (const std::size_t start : starts)
        {
            if (marks[start] != Mark::New)
                continue;
            enter(start);
            while (!path.empty())
            {
                Step& step = path.back();
                if (step.nextSource == step.sources.size())
                {
                    marks[step.node] = Mark::Done;
                    path.pop_back();
                    continue;
                }
                const auto [source, at] = step.sources[step.nextSource++];
                if (marks[source] == Mark::Open)
                    ReportCycle(step.node, source, at, path);
                else if (marks[source] == Mark::New)
                    enter(source);
            }
        }
    }

    // Finds what only the operators themselves know, of those in which nothing else is wrong.
    void CheckBuilt(const std::vector<std::size_t>& places)
    {
        std::vector<std::size_t> good;
        std::ranges::copy_if(places, std::back_inserter(good),
                             [this](std::size_t place) { return !faulty.contains(place); });
        if (!good.empty())
            std::ranges::move(FindBuildErrors(TakePart(document, good)), std::back_inserter(errors));
    }

    std::vector<DocumentError> TakeErrors()
    {
        std::ranges::stable_sort(errors, {}, [](const DocumentError& e) { return std::pair(e.line, e.column); });
        return std::move(errors);
    }

private:
    struct Node
    {
        std::size_t place = 0; // in the list
        const JsonValue* json = nullptr;
        const OperatorInfo* info = nullptr; // null when the type is unknown
        std::string key;
    };

    // An operator that feeds another one, and where the document says so.
    using Source = std::pair<std::size_t, SourcePosition>;

    struct Step
    {
        std::size_t node;
        std::size_t nextSource;
        std::vector<Source> sources;
    };

    Node NodeAt(std::size_t place) const
    {
        const JsonValue& json = GetOperators(root)[place];
        return {place, &json, FindInfo(json), GetText(json, "key")};
    }

    void Add(SourcePosition at, std::string message)
    {
        errors.push_back({document.GetName(), at.line, at.column, std::move(message)});
    }

    void AddFor(const Node& node, SourcePosition at, const std::string& message)
    {
        faulty.insert(node.place);
        Add(at, Where(node) + message);
    }

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

    void CheckOperator(const Node& node)
    {
        if (node.json->kind != JsonKind::Object)
        {
            AddFor(node, node.json->at, "an operator must be an object with at least \"key\" and \"type\"");
            return;
        }
        CheckKey(node);
        const std::size_t before = errors.size();
        CheckMembers(*node.json, {"key", "type", "parameters", "inputs", "bundles", "position"}, Where(node));
        if (errors.size() > before)
            faulty.insert(node.place);
        CheckType(node);
        CheckPosition(node);
        CheckInputs(node);
        CheckParameters(node);
        CheckBundles(node);
    }

    void CheckKey(const Node& node)
    {
        const JsonValue* const key = node.json->Find("key");
        if (!key)
        {
            AddFor(node, node.json->at, "the operator has no \"key\"");
            return;
        }
        if (key->kind != JsonKind::String)
        {
            AddFor(node, key->at, "\"key\" must be a string");
            return;
        }
        if (!IsKey(node.key))
        {
            faulty.insert(node.place);
            Add(key->at, "the key " + Quoted(node.key) + " must consist of letters, digits, \"_\", \"-\" and \".\"");
        }
        const std::size_t first = document.FindOperator(node.key).value_or(node.place);
        const int line = GetOperators(root)[first].Find("key")->at.line;
        if (first != node.place)
            AddFor(node, key->at,
                   "the key is used already" + (line > 0 ? " in line " + std::to_string(line) : std::string()));
    }

    void CheckType(const Node& node)
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

    void CheckInputs(const Node& node)
    {
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
    void CheckSource(const Node& node, const std::string& input, const OperatorInfo::Entry* entry,
                     const JsonValue& json)
    {
        if (json.kind == JsonKind::Null)
            return;
        if (json.kind != JsonKind::String)
        {
            AddFor(node, json.at,
                   "input " + Quoted(input) + " takes the key of an operator, null, or an array of them for a list");
            return;
        }
        const std::optional<std::size_t> found = document.FindOperator(json.text);
        if (!found)
        {
            AddFor(node, json.at,
                   "input " + Quoted(input) + ": there is no operator " + Quoted(json.text) + SuggestKey(json.text));
            return;
        }
        const Node source = NodeAt(*found);
        if (!source.info || !entry)
            return;
        if (const std::string problem = FindTypeProblem(*source.info, source.key, *entry); !problem.empty())
            AddFor(node, json.at, problem);
    }

    // Looking through all keys is only worth it while the mistakes are few.
    std::string SuggestKey(const std::string& key) const
    {
        constexpr std::size_t most = 20;
        if (errors.size() >= most)
            return {};
        std::vector<std::string> keys;
        for (const JsonValue& op : GetOperators(root))
            keys.push_back(GetText(op, "key"));
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
        if (value && *type == ParameterType::Reference && !value->text.empty() && !document.FindOperator(value->text))
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

    std::vector<Source> FindSources(std::size_t place) const
    {
        std::vector<Source> sources;
        ForEachSource(GetOperators(root)[place],
                      [&](const JsonValue& key)
                      {
                          if (const std::optional<std::size_t> source = document.FindOperator(key.text))
                              sources.emplace_back(*source, key.at);
                      });
        return sources;
    }

    void ReportCycle(std::size_t from, std::size_t to, SourcePosition at, const std::vector<Step>& path)
    {
        // The path holds the cycle from the source that closes it on, each operator fed by the next one.
        std::vector<std::string> ring;
        for (auto step = std::ranges::find(path, to, &Step::node); step != path.end(); ++step)
            ring.push_back(NodeAt(step->node).key);
        AddFor(NodeAt(from), at, DescribeCycle(ring));
    }

    const GraphDocument& document;
    const JsonValue& root;
    std::unordered_set<std::size_t> faulty; // places of operators with errors
    std::vector<DocumentError> errors;
};

} // namespace

std::string FindTypeProblem(const OperatorInfo& source, const std::string& sourceKey, const OperatorInfo::Entry& input)
{
    if (source.outputs.empty())
        return "input " + Quoted(input.name) + ": the operator " + Quoted(sourceKey) + " has no output";
    if (source.outputs[0].type == input.type)
        return {};
    return "input " + Quoted(input.name) + " takes a " + input.type + ", but " + Quoted(sourceKey) + " gives a " +
           source.outputs[0].type;
}

std::string DescribeCycle(const std::vector<std::string>& ring)
{
    if (ring.size() == 1)
        return "the operator feeds itself: a graph can't have cycles";
    constexpr std::size_t most = 8;
    std::string text;
    for (std::size_t i = 0; i < std::min(ring.size(), most); ++i)
        text += Quoted(ring[i]) + " <- ";
    if (ring.size() > most)
        text += "... <- ";
    return "a graph can't have cycles: " + text + Quoted(ring[0]);
}

std::vector<DocumentError> GraphDocument::Check() const
{
    Checker checker(*this);
    checker.CheckAll();
    checker.CheckBuilt(AllPlaces(*this));
    return checker.TakeErrors();
}

std::vector<DocumentError> CheckDeclared(const GraphDocument& document)
{
    Checker checker(document);
    checker.CheckAll();
    return checker.TakeErrors();
}

std::vector<DocumentError> CheckPart(const GraphDocument& document, const CheckScope& scope)
{
    Checker checker(document);
    if (scope.head)
        checker.CheckHead();
    checker.CheckOperators(scope.operators);
    if (scope.cycles)
        checker.CheckCycles(scope.operators);
    if (scope.built)
        checker.CheckBuilt(scope.operators);
    return checker.TakeErrors();
}

} // namespace Varkle
