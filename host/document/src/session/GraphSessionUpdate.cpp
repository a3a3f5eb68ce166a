#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "document/DocumentCheck.h"
#include "document/DocumentPaths.h"
#include "session/GraphSessionState.h"
#include "session/GraphUpdate.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

// Brings a running graph to what another document says. The document is built beside it first, without running: that
// tells whether it can be, and is the model of what becomes of the running graph.

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
    if (const std::vector<DocumentError> wrong = CheckDeclared(wanted); !wrong.empty())
        return Error{JoinErrors(wrong)};
    SessionState plain(wanted, frame);
    plain.Build();
    if (!plain.errors.empty())
        return Error{JoinErrors(plain.errors)};
    if (overrides.empty())
    {
        Follow(std::move(wanted), plain.graph);
        return Ok();
    }
    // What was set for this run may not fit everything in the document. That is no fault of the document.
    SessionState model(wanted, frame);
    model.overrides = overrides;
    model.Build();
    Follow(std::move(wanted), model.graph);
    return Ok();
}

void SessionState::Follow(GraphDocument wanted, const Graph& model)
{
    FollowGraph(graph, model);
    std::unordered_map<const Operator*, OperatorSettings> before;
    for (OperatorSettings& ofOperator : std::exchange(settings, {}))
    {
        if (const Operator* const op = GetOperator(ofOperator))
            before.emplace(op, std::move(ofOperator));
    }
    const bool sameFolder = document.GetFolder() == wanted.GetFolder();
    document = std::move(wanted);
    structured.clear();

    const JsonValue* const list = document.GetRoot().Find("operators");
    for (std::size_t i = 0; i < graph.GetOperators().size(); ++i)
    {
        Operator& op = *graph.GetOperators()[i];
        settings.push_back({WeakObject(&op), {}, 0});
        CollectSettings(list->elements[i], settings.back());
        Predecessor predecessor{std::move(before[&op].settings), {}, *model.GetOperators()[i], sameFolder, {}};
        for (const std::unique_ptr<Setting>& setting : predecessor.settings)
            predecessor.byParameter.emplace(GetParameter(*setting), setting.get());
        ApplySettings(settings.back(), &predecessor);
        if (HasStructureParameters(op))
            structured.push_back(i);
    }
    FindAnimated();
    LogErrors();
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
