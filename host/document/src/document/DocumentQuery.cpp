#include "Varkle/Document/DocumentQuery.h"

#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/JsonLayout.h"
#include "Varkle/Gpu/NoStart.h"
#include "document/DocumentCheck.h"
#include "document/DocumentTree.h"
#include "session/GraphSessionState.h"
#include "value/ParameterValue.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

namespace Varkle
{

namespace
{

// Holds one operator of a document, made and set up, in a graph of its own.
class Draft
{
public:
    explicit Draft(GraphDocument part) : state(std::move(part), 0) { state.Build(); }

    const Operator* Find(std::string_view key) const { return state.graph.Find(key); }

private:
    Graphics::NoStart asked;
    SessionState state;
};

const OperatorInfo::Entry* FindEntry(const std::vector<OperatorInfo::Entry>* entries, std::string_view name)
{
    if (!entries)
        return nullptr;
    const auto found = std::ranges::find(*entries, name, &OperatorInfo::Entry::name);
    return found != entries->end() ? &*found : nullptr;
}

// True when a value is an expression or has one among its components.
bool HasExpression(const std::string& type, const JsonValue& value)
{
    const std::optional<ParameterType> kind = FindParameterType(type);
    const auto isText = [](const JsonValue& json) { return json.kind == JsonKind::String; };
    if (!kind || IsText(*kind))
        return false;
    if (isText(value))
        return *kind != ParameterType::Color; // "#rrggbb"
    return std::ranges::any_of(value.elements, isText) ||
           std::ranges::any_of(value.members, [&](const JsonMember& part)
                               { return std::ranges::any_of(part.value.elements, isText); });
}

ParameterView ViewParameter(const Parameter& parameter, const Parameter* initial, const JsonValue* map,
                            const std::vector<OperatorInfo::Entry>* entries)
{
    ParameterView view;
    view.name = parameter.GetName();
    view.type = GetParameterTypeName(parameter.GetParameterType());
    if (const OperatorInfo::Entry* const entry = FindEntry(entries, view.name))
        view.description = entry->description;
    view.isOutput = parameter.HasFlag(ParameterFlag::Output);
    view.defaultValue = WriteParameterValue(initial ? *initial : parameter);
    const JsonValue* const set = map ? map->Find(view.name) : nullptr;
    view.isSet = set != nullptr;
    view.value = set ? *set : view.defaultValue;
    view.isExpression = set && HasExpression(view.type, *set);
    if (const auto* const choice = dynamic_cast<const EnumParameter*>(&parameter))
    {
        view.values = choice->GetPossibleValues();
        view.labels = choice->GetLabels();
    }
    else if (const auto* const text = dynamic_cast<const StringParameter*>(&parameter))
        view.editor = text->GetEditorType();
    else if (const auto* const color = dynamic_cast<const ColorParameter*>(&parameter))
        view.hasAlpha = color->IsAlphaEnabled();
    return view;
}

// Adds what a map sets of parameters that are not there.
void AddOthers(const JsonValue* map, std::vector<ParameterView>& views)
{
    for (const JsonMember& member : map ? map->members : std::vector<JsonMember>())
    {
        if (std::ranges::find(views, member.name, &ParameterView::name) != views.end())
            continue;
        ParameterView view;
        view.name = member.name;
        view.isSet = true;
        view.value = member.value;
        views.push_back(std::move(view));
    }
}

// Returns the document of one operator with only those of its parameters that `keeps` wants.
template<class Keeps>
GraphDocument Reduce(const GraphDocument& part, const std::string& key, const Keeps& keeps)
{
    GraphDocument reduced = part;
    JsonValue& op = FindMember(DocumentAccess::Root(reduced), "operators")->elements[*reduced.FindOperator(key)];
    if (JsonValue* const parameters = FindMember(op, "parameters"))
        std::erase_if(parameters->members, [&](const JsonMember& member) { return !keeps(member.name); });
    std::erase_if(op.members, [](const JsonMember& member) { return member.name == "bundles"; });
    return reduced;
}

std::vector<BundleListView> ViewBundles(const Operator& op, const Operator& plain, const JsonValue& json,
                                        const OperatorInfo& info)
{
    std::vector<BundleListView> views;
    const JsonValue* const lists = json.Find("bundles");
    for (const ParameterBundleList* const list : op.GetBundleLists())
    {
        BundleListView& view = views.emplace_back(BundleListView{list->GetName(), {}});
        const JsonValue* const maps = lists ? lists->Find(list->GetName()) : nullptr;
        const OperatorInfo::Entry* const entry = FindEntry(&info.parameters, list->GetName());
        const auto* const entries = entry && !entry->bundles.empty() ? &entry->bundles[0].second : nullptr;
        const ParameterBundleList* const plainList = plain.FindBundleList(list->GetName());
        for (std::size_t i = 0; i < list->GetBundles().size(); ++i)
        {
            const ParameterBundle& bundle = *list->GetBundles()[i];
            BundleView& bundleView = view.bundles.emplace_back(BundleView{bundle.GetName(), {}});
            const JsonValue* const map = maps && i < maps->elements.size() ? &maps->elements[i] : nullptr;
            const bool hasInitial = plainList && i < plainList->GetBundles().size();
            for (const Parameter* const parameter : bundle.GetParameters())
            {
                const Parameter* const initial =
                    hasInitial ? plainList->GetBundles()[i]->FindParameter(parameter->GetName()) : nullptr;
                bundleView.parameters.push_back(ViewParameter(*parameter, initial, map, entries));
            }
            AddOthers(map, bundleView.parameters);
        }
    }
    return views;
}

// Fills in what the operators themselves tell.
void ViewKnown(const GraphDocument& document, std::size_t place, const OperatorInfo& info, OperatorView& view)
{
    const GraphDocument part = TakePart(document, {place});
    const JsonValue& json = GetOperators(document.GetRoot())[place];
    const Draft full(part);
    const Operator* const op = full.Find(view.key);
    if (!op)
        return;
    const auto decides = [&](const std::string& name)
    {
        const Parameter* const parameter = op->FindParameter(name);
        return parameter && parameter->HasFlag(ParameterFlag::Structure);
    };
    const Draft structured(Reduce(part, view.key, decides));
    const Draft bare(Reduce(part, view.key, [](const std::string&) { return false; }));
    const Operator& plain = *structured.Find(view.key);

    const JsonValue* const map = json.Find("parameters");
    for (const Parameter* const parameter : op->GetParameters())
    {
        const std::string& name = parameter->GetName();
        const Parameter* const bareInitial = decides(name) ? bare.Find(view.key)->FindParameter(name) : nullptr;
        view.parameters.push_back(
            ViewParameter(*parameter, bareInitial ? bareInitial : plain.FindParameter(name), map, &info.parameters));
    }
    view.bundleLists = ViewBundles(*op, plain, json, info);
    view.outputType = info.outputs.empty() ? "" : info.outputs[0].type;
    for (const OperatorInfo::Entry& entry : info.inputs)
        view.inputs.push_back({entry.name, entry.type, op->FindInputList(entry.name) != nullptr, {}});
}

std::string KeyOf(const JsonValue& json)
{
    return json.kind == JsonKind::String ? json.text : std::string();
}

// Fills in what the document says feeds the inputs, also those that are unknown.
void ViewSources(const JsonValue& json, OperatorView& view)
{
    const JsonValue* const inputs = json.Find("inputs");
    for (const JsonMember& member : inputs ? inputs->members : std::vector<JsonMember>())
    {
        auto input = std::ranges::find(view.inputs, member.name, &InputView::name);
        if (input == view.inputs.end())
            input = view.inputs.insert(input, {member.name, "", member.value.kind == JsonKind::Array, {}});
        if (member.value.kind == JsonKind::Array)
            std::ranges::transform(member.value.elements, std::back_inserter(input->sources), KeyOf);
        else
            input->sources.push_back(KeyOf(member.value));
    }
    for (InputView& input : view.inputs)
    {
        if (!input.isList && input.sources.empty())
            input.sources.emplace_back();
    }
}

// Holds all that feeds an operator, directly or through others, and what each of them feeds on the way to it.
class Upstream
{
public:
    Upstream(const GraphDocument& searched, std::size_t start) : document(searched)
    {
        const std::vector<JsonValue>& operators = GetOperators(document.GetRoot());
        fed.emplace(start, start);
        for (std::vector<std::size_t> open = {start}; !open.empty();)
        {
            const std::size_t place = open.back();
            open.pop_back();
            ForEachSource(operators[place],
                          [&](const JsonValue& key)
                          {
                              const std::optional<std::size_t> source = document.FindOperator(key.text);
                              if (source && fed.emplace(*source, place).second)
                                  open.push_back(*source);
                          });
        }
    }

    // Returns why the operator can't be fed by the one where the search began: it feeds it itself.
    std::string FindCycle(std::size_t place) const
    {
        if (!fed.contains(place))
            return {};
        const std::vector<JsonValue>& operators = GetOperators(document.GetRoot());
        std::vector<std::string> ring = {GetText(operators[place], "key")};
        for (std::size_t at = place; fed.at(at) != at; at = fed.at(at))
            ring.push_back(GetText(operators[fed.at(at)], "key"));
        std::reverse(ring.begin() + 1, ring.end());
        return DescribeCycle(ring);
    }

private:
    const GraphDocument& document;
    std::unordered_map<std::size_t, std::size_t> fed; // by what feeds it
};

std::string FindProblem(const JsonValue& source, std::size_t target, const OperatorInfo::Entry& input,
                        const Upstream& upstream)
{
    if (const OperatorInfo* const info = FindInfo(source))
    {
        if (std::string problem = FindTypeProblem(*info, GetText(source, "key"), input); !problem.empty())
            return problem;
    }
    return upstream.FindCycle(target);
}

} // namespace

std::vector<std::string> GetKeys(const GraphDocument& document)
{
    std::vector<std::string> keys;
    std::ranges::transform(GetOperators(document.GetRoot()), std::back_inserter(keys),
                           [](const JsonValue& op) { return GetText(op, "key"); });
    return keys;
}

std::optional<OperatorView> ViewOperator(const GraphDocument& document, std::string_view key)
{
    const std::optional<std::size_t> place = document.FindOperator(key);
    if (!place)
        return std::nullopt;
    const JsonValue& json = GetOperators(document.GetRoot())[*place];
    const OperatorInfo* const info = FindInfo(json);
    OperatorView view;
    view.key = key;
    view.type = GetText(json, "type");
    view.isKnown = info != nullptr;
    const JsonValue* const position = json.Find("position");
    if (position && position->elements.size() == 2)
    {
        view.x = position->elements[0].number;
        view.y = position->elements[1].number;
    }
    if (info)
        ViewKnown(document, *place, *info, view);
    AddOthers(json.Find("parameters"), view.parameters);
    ViewSources(json, view);
    return view;
}

std::vector<WireView> GetWires(const GraphDocument& document)
{
    std::vector<WireView> wires;
    for (const JsonValue& op : GetOperators(document.GetRoot()))
    {
        const std::string key = GetText(op, "key");
        const JsonValue* const inputs = op.Find("inputs");
        for (const JsonMember& input : inputs ? inputs->members : std::vector<JsonMember>())
        {
            if (input.value.kind == JsonKind::String)
                wires.push_back({input.value.text, key, input.name, std::nullopt});
            for (std::size_t i = 0; i < input.value.elements.size(); ++i)
            {
                if (input.value.elements[i].kind == JsonKind::String)
                    wires.push_back({input.value.elements[i].text, key, input.name, i});
            }
        }
    }
    return wires;
}

std::vector<TargetView> FindTargets(const GraphDocument& document, std::string_view source)
{
    std::vector<TargetView> targets;
    const std::optional<std::size_t> place = document.FindOperator(source);
    if (!place)
        return targets;
    const Upstream upstream(document, *place);
    const std::vector<JsonValue>& operators = GetOperators(document.GetRoot());
    for (std::size_t i = 0; i < operators.size(); ++i)
    {
        const OperatorInfo* const info = FindInfo(operators[i]);
        for (const OperatorInfo::Entry& input : info ? info->inputs : std::vector<OperatorInfo::Entry>())
            targets.push_back(
                {GetText(operators[i], "key"), input.name, FindProblem(operators[*place], i, input, upstream)});
    }
    return targets;
}

Status CanConnect(const GraphDocument& document, std::string_view source, std::string_view key, std::string_view input)
{
    const std::optional<std::size_t> from = document.FindOperator(source);
    const std::optional<std::size_t> to = document.FindOperator(key);
    if (!from || !to)
        return Error{"there is no operator " + Quoted(from ? key : source) +
                     Suggestion(from ? key : source, GetKeys(document))};
    const std::vector<JsonValue>& operators = GetOperators(document.GetRoot());
    const Upstream upstream(document, *from);
    const OperatorInfo* const info = FindInfo(operators[*to]);
    const OperatorInfo::Entry* const entry = FindEntry(info ? &info->inputs : nullptr, input);
    if (info && !entry)
    {
        std::vector<std::string> inputs;
        std::ranges::transform(info->inputs, std::back_inserter(inputs), &OperatorInfo::Entry::name);
        return Error{"there is no input " + Quoted(input) + Suggestion(input, inputs)};
    }
    std::string problem = entry ? FindProblem(operators[*from], *to, *entry, upstream) : upstream.FindCycle(*to);
    return problem.empty() ? Ok() : Status(Error{std::move(problem)});
}

std::vector<MissingFile> FindMissingFiles(const GraphDocument& document)
{
    const Graphics::NoStart asked;
    SessionState state(document, 0);
    state.Build();
    return state.FindMissingFiles();
}

} // namespace Varkle
