#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "document/DocumentChange.h"
#include "document/DocumentCheck.h"
#include "document/DocumentPaths.h"
#include "document/DocumentTree.h"
#include "session/Difference.h"
#include "session/GraphSessionState.h"
#include "session/GraphUpdate.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>
#include <unordered_set>
#include <utility>

// Brings a running graph to what another document says. What differs in the document is built beside it first, without
// running: that tells whether it can be, and is the model of what becomes of the running graph.

namespace Varkle
{

namespace
{

const Parameter* FindCounterpart(const Parameter& parameter, const Operator& model)
{
    const auto* const bundle = dynamic_cast<const ParameterBundle*>(parameter.GetParentObject());
    if (!bundle)
        return model.FindParameter(parameter.GetName());
    const std::vector<ParameterBundle*>& bundles = bundle->GetList().GetBundles();
    const auto place = std::size_t(std::ranges::find(bundles, bundle) - bundles.begin());
    const ParameterBundleList* const list = model.FindBundleList(bundle->GetList().GetName());
    return list && place < list->GetBundles().size() ? list->GetBundles()[place]->FindParameter(parameter.GetName())
                                                     : nullptr;
}

} // namespace

Status SessionState::Update(GraphDocument wanted)
{
    if (Operator::Executing())
        return Error{"a graph can't be updated while it runs"};
    const JsonValue& root = wanted.GetRoot();
    const JsonValue* const list = root.Find("operators");
    const bool isList = root.kind == JsonKind::Object && (!list || list->kind == JsonKind::Array);
    const Difference difference = isList ? Compare(document, wanted, graph) : Difference();
    if (!isList || difference.broken)
        return Error{JoinErrors(CheckDeclared(wanted))};
    const bool sameFolder = document.GetFolder() == wanted.GetFolder();
    std::swap(document, wanted);
    const Status status = Follow(difference, sameFolder);
    if (!status)
        std::swap(document, wanted);
    return status;
}

Status SessionState::Apply(const DocumentChange& change)
{
    if (Operator::Executing())
        return Error{"a graph can't be updated while it runs"};
    if (const Status fits = ApplyChange(document, change); !fits)
        return fits;
    const Status status = FollowChange(change);
    if (!status)
        TakeBack(document, change);
    return status;
}

Result<DocumentChange> SessionState::Apply(const DocumentEdit& edit)
{
    if (Operator::Executing())
        return Error{"a graph can't be updated while it runs"};
    // What only the operators know comes up when the graph follows.
    Result<DocumentChange> change = ApplyDeclaredEdit(document, edit);
    if (!change)
        return change;
    const Status status = FollowChange(*change);
    if (status)
        return change;
    TakeBack(document, *change);
    return status.GetError();
}

// Brings the graph to the document, to which the change has been done.
Status SessionState::FollowChange(const DocumentChange& change)
{
    if (const std::optional<Status> set = FollowValue(change))
        return *set;
    Difference difference;
    const auto isThere = [this](std::size_t place) // a program may have taken it out of the graph
    { return place < settings.size() && GetOperator(settings[place]); };
    if (!ReadChange(document, change, difference) || !std::ranges::all_of(difference.changed, isThere))
    {
        GraphDocument before = document;
        TakeBack(before, change);
        difference = Compare(before, document, graph, FindRenames(before, document, change));
    }
    return Follow(difference, true);
}

// Does the most frequent change by itself: one of an operator's own parameters is given a value. The operator tells
// what it takes, so that none has to be made. Returns nothing where there is more to it.
std::optional<Status> SessionState::FollowValue(const DocumentChange& change)
{
    constexpr std::size_t toMap = 3; // the list of operators, the operator, its map of parameters
    if (change.splices.size() != 1 || change.splices[0].path.size() != toMap || !change.splices[0].after)
        return std::nullopt;
    const std::vector<std::size_t>& path = change.splices[0].path;
    const JsonValue& root = document.GetRoot();
    if (root.members[path[0]].name != "operators" || path[1] >= settings.size())
        return std::nullopt;
    const JsonMember& map = GetOperators(root)[path[1]].members[path[2]];
    OperatorSettings& ofOperator = settings[path[1]];
    const Operator* const op = GetOperator(ofOperator);
    if (map.name != "parameters" || !op)
        return std::nullopt;
    const JsonMember& member = map.value.members[change.splices[0].index];
    Parameter* const parameter = op->FindParameter(member.name);
    if (!parameter || parameter->HasFlag(ParameterFlag::Structure) || parameter->HasFlag(ParameterFlag::Output))
        return std::nullopt;

    const auto isOverride = [&](const Override& set)
    { return set.parameter == member.name && set.key == op->GetKey(); };
    const auto old = std::ranges::find_if(ofOperator.settings, [&](const std::unique_ptr<Setting>& given)
                                          { return given->bundleList.empty() && given->name == member.name; });
    // What stands over the document's value is seldom, and so is what the parameter said before without a setting.
    if (std::ranges::any_of(overrides, isOverride) ||
        (old != ofOperator.settings.end() && GetParameter(**old) != parameter))
        return std::nullopt;
    auto setting = std::make_unique<Setting>(Setting{"", 0, member.name, member.at, member.value, {}, {}, {}});
    if (old != ofOperator.settings.end() && SaySame((*old)->json, setting->json))
    {
        // Only written otherwise: the operator may have set it since, and a trigger has fired.
        (*old)->at = setting->at;
        (*old)->json = std::move(setting->json);
        return Ok();
    }
    Apply(*op, *setting, *parameter, true);
    if (!errors.empty())
        return TakeErrors();
    const bool wasAnimated = old != ofOperator.settings.end() && (*old)->value && (*old)->value->IsAnimated();
    const bool isAnimated = setting->value && setting->value->IsAnimated();
    if (wasAnimated)
        std::erase(animated, old->get());
    if (isAnimated)
        animated.push_back(setting.get());
    if (old != ofOperator.settings.end())
        *old = std::move(setting);
    else
        ofOperator.settings.push_back(std::move(setting));
    return Ok();
}

// Brings the graph to the document, which differs from the one before by no more than is said. After an error the graph
// is as before.
Status SessionState::Follow(const Difference& difference, bool sameFolder)
{
    std::vector<std::size_t> changed = difference.changed;
    if (!sameFolder) // relative paths mean other files
    {
        changed.resize(GetOperators(document.GetRoot()).size());
        std::iota(changed.begin(), changed.end(), std::size_t(0));
    }
    if (difference.order) // what was set for this run may refer to operators that come
    {
        for (const Override& set : overrides)
        {
            const std::optional<std::size_t> place = document.FindOperator(difference.renames.ToNew(set.key));
            if (place && std::ranges::find(changed, *place) == changed.end())
                changed.push_back(*place);
        }
    }
    const std::vector<DocumentError> wrong = CheckPart(document, {changed, difference.wires, true, false});
    if (!wrong.empty())
        return Error{JoinErrors(wrong)};
    const GraphDocument part = TakePart(document, changed, difference.wires);
    auto model = std::make_unique<SessionState>(part, frame);
    model->Build();
    if (!model->errors.empty())
        return Error{JoinErrors(model->errors)};
    for (Override& set : overrides)
        set.key = difference.renames.ToNew(set.key);
    if (!overrides.empty())
    {
        // What was set for this run may not fit everything in the document. That is no fault of the document.
        model = std::make_unique<SessionState>(part, frame);
        model->overrides = overrides;
        model->Build();
    }

    const std::vector<JsonValue>& operators = GetOperators(document.GetRoot());
    difference.renames.Apply(graph, difference.gone);
    if (difference.wires || difference.order)
    {
        std::vector<std::string> keys;
        for (const std::size_t place : changed)
            keys.push_back(GetText(operators[place], "key"));
        FollowGraph(graph, model->graph, keys, difference.gone);
    }
    if (difference.order)
        FollowOrder();
    if (difference.places)
    {
        for (std::size_t i = 0; i < operators.size(); ++i)
            RefreshPlaces(operators[i], settings[i]);
    }
    for (const std::size_t place : changed)
        FollowSettings(place, model->graph, sameFolder);
    FindAnimated();
    LogErrors();
    return Ok();
}

// Puts the graph's operators, and what was set of them, into the order of the document.
void SessionState::FollowOrder()
{
    std::unordered_map<const Operator*, OperatorSettings> before;
    for (OperatorSettings& ofOperator : std::exchange(settings, {}))
    {
        if (const Operator* const op = GetOperator(ofOperator))
            before.emplace(op, std::move(ofOperator));
    }
    std::vector<const Operator*> order;
    structured.clear();
    for (const JsonValue& json : GetOperators(document.GetRoot()))
    {
        Operator* const op = graph.Find(GetText(json, "key"));
        if (HasStructureParameters(*op))
            structured.push_back(order.size());
        order.push_back(op);
        const auto known = before.find(op);
        settings.push_back(known != before.end() ? std::move(known->second)
                                                 : OperatorSettings{WeakObject(op), {}, op->GetStructureVersion()});
    }
    graph.SetOrder(order);
}

// Sets an operator's parameters to what the document says of them now. The model has what it says, and otherwise what a
// new operator has.
void SessionState::FollowSettings(std::size_t place, const Graph& model, bool sameFolder)
{
    const JsonValue& json = GetOperators(document.GetRoot())[place];
    const std::string key = GetText(json, "key");
    OperatorSettings& ofOperator = settings[place];
    Predecessor before{std::exchange(ofOperator.settings, {}), {}, *model.Find(key), sameFolder, {}};
    for (const std::unique_ptr<Setting>& setting : before.settings)
        before.byParameter.emplace(GetParameter(*setting), setting.get());
    CollectSettings(json, ofOperator);
    ApplySettings(ofOperator, &before);
}

// Tells the settings of an operator, of which the document says the same as before, where it does so now.
void SessionState::RefreshPlaces(const JsonValue& json, OperatorSettings& ofOperator)
{
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        const JsonValue* map = json.Find(setting->bundleList.empty() ? "parameters" : "bundles");
        if (map && !setting->bundleList.empty())
        {
            const JsonValue* const maps = map->Find(setting->bundleList);
            map = maps && setting->bundle < maps->elements.size() ? &maps->elements[setting->bundle] : nullptr;
        }
        const auto index = map && setting->at.line > 0 ? FindMemberIndex(*map, setting->name) : std::nullopt;
        if (!index)
            continue;
        setting->at = map->members[*index].at;
        setting->json.at = map->members[*index].value.at;
    }
}

// Gives the parameters that are no longer mentioned, either those that decide which there are or the others, what the
// model has, and returns whether there were any.
bool SessionState::ResetDropped(const OperatorSettings& ofOperator, bool structure, Predecessor& before)
{
    const Operator& op = *GetOperator(ofOperator);
    std::unordered_set<const Parameter*> mentioned;
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
        mentioned.insert(FindParameter(op, *setting));
    bool any = false;
    for (const std::unique_ptr<Setting>& setting : before.settings)
    {
        Parameter* parameter = GetParameter(*setting);
        // An operator that makes a parameter anew may let it keep its value.
        if (!parameter && setting->bundleList.empty())
            parameter = op.FindParameter(setting->name);
        if (!parameter || parameter->HasFlag(ParameterFlag::Structure) != structure || mentioned.contains(parameter) ||
            !before.reset.insert(setting.get()).second)
            continue;
        const Parameter* const initial = FindCounterpart(*parameter, before.model);
        if (initial && !parameter->HasFlag(ParameterFlag::Output))
            CopyValue(*initial, *parameter);
        any = true;
    }
    return any;
}

// Applies a setting whose parameter may have had one before. Where that says the same the parameter is not touched: the
// operator may have set it since, and a trigger has fired.
void SessionState::ApplyAfter(const Predecessor& before, const Operator& op, Setting& setting, Parameter& parameter)
{
    const auto found = before.byParameter.find(&parameter);
    if (found == before.byParameter.end() || GetParameter(*found->second) != &parameter)
    {
        Apply(op, setting, parameter);
        return;
    }
    Setting& old = *found->second;
    if (!SaySame(old.json, setting.json) || (!before.sameFolder && IsPath(parameter)))
    {
        // A new expression waits for the frame that comes, so that an operator does not run for a value in between.
        const bool waits = !parameter.HasFlag(ParameterFlag::Structure);
        Apply(op, setting, parameter, waits);
        return;
    }
    setting.parameter = old.parameter;
    setting.value = std::move(old.value);
    setting.numbers = std::move(old.numbers);
    // The operator with that key may be another one now.
    if (setting.value && setting.value->type == ParameterType::Reference &&
        !static_cast<const PtrParameter&>(parameter).Value())
        ApplyText(*setting.value, parameter, document.GetFolder(), graph);
}

bool SessionState::IsAnimated(const Operator& op) const
{
    return std::ranges::any_of(animated,
                               [&](const Setting* setting)
                               {
                                   const Parameter* const parameter = GetParameter(*setting);
                                   return parameter && parameter->GetOperator() == &op;
                               });
}

} // namespace Varkle
