#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/NoStart.h"
#include "session/BuildErrors.h"
#include "session/GraphSessionState.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

// Makes the graph that a document describes. What the operators' documents declare was checked before; here comes up
// what only the operators themselves know.

namespace Varkle
{

void SessionState::Build()
{
    if (!AddOperators())
        return;
    const JsonValue* const list = document.GetRoot().Find("operators");
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        if (const JsonValue* const inputs = list->elements[i].Find("inputs"))
        {
            for (const JsonMember& input : inputs->members)
                ConnectInput(*GetOperator(settings[i]), input);
        }
    }
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        const Operator& op = *GetOperator(settings[i]);
        CheckBundleCounts(op, list->elements[i]);
        CollectSettings(list->elements[i], settings[i]);
        ApplySettings(settings[i]);
        CheckParameters(settings[i]);
        if (HasStructureParameters(op))
            structured.push_back(i);
    }
    FindAnimated();
    std::ranges::stable_sort(errors, {}, [](const DocumentError& e) { return std::pair(e.line, e.column); });
}

bool SessionState::AddOperators()
{
    const JsonValue* const list = document.GetRoot().Find("operators");
    for (std::size_t i = 0; list && i < list->elements.size(); ++i)
    {
        const JsonValue& json = list->elements[i];
        const OperatorInfo* const info = TypeLibrary::Get().Find(json.Find("type")->text);
        Operator* const op = graph.Add(info->type, json.Find("key")->text);
        if (!op)
        {
            Add(json.at, "no operator of the type " + Quoted(info->type->GetId()) + " could be made");
            continue;
        }
        TypeLibrary::Get().CheckDocumentOnce(*info, *op);
        settings.push_back({WeakObject(op), {}, 0});
    }
    return errors.empty();
}

void SessionState::ConnectInput(Operator& op, const JsonMember& input)
{
    const JsonValue& json = input.value;
    if (DataInputList* const list = op.FindInputList(input.name))
    {
        if (json.kind != JsonKind::Array && json.kind != JsonKind::Null)
            Add(json.at, InOperator(op) + "input " + Quoted(input.name) + " is a list: it takes an array of keys");
        for (const JsonValue& element : json.elements)
        {
            ConnectFrom(op, input.name, element,
                        [&](DataOutput& output) -> Status
                        {
                            const auto connected = graph.Connect(output, *list);
                            return connected ? Ok() : Status(connected.GetError());
                        });
            if (element.kind == JsonKind::Null)
                list->AddInput();
        }
        return;
    }
    DataInput* const target = op.FindInput(input.name);
    if (!target)
        Add(input.at, InOperator(op) + "there is no input " + Quoted(input.name));
    else if (json.kind == JsonKind::Array)
        Add(json.at, InOperator(op) + "input " + Quoted(input.name) + " takes one key, not an array");
    else
        ConnectFrom(op, input.name, json, [&](DataOutput& output) { return graph.Connect(output, *target); });
}

void SessionState::ConnectFrom(const Operator& op, const std::string& input, const JsonValue& json,
                               const std::function<Status(DataOutput&)>& connect)
{
    if (json.kind != JsonKind::String)
        return;
    const Operator& source = *graph.Find(json.text);
    const std::string where = InOperator(op) + "input " + Quoted(input) + ": ";
    if (source.GetOutputs().empty())
        Add(json.at, where + "the operator " + Quoted(json.text) + " has no output");
    else if (const Status status = connect(*source.GetOutputs()[0]); !status)
        Add(json.at, where + status.GetError().message);
}

void SessionState::CollectSettings(const JsonValue& json, OperatorSettings& ofOperator)
{
    const auto add = [&](const JsonMember& member, const std::string& list, std::size_t bundle)
    {
        ofOperator.settings.push_back(
            std::make_unique<Setting>(Setting{list, bundle, member.name, member.at, member.value, {}, {}, {}}));
    };
    if (const JsonValue* const parameters = json.Find("parameters"))
    {
        for (const JsonMember& member : parameters->members)
            add(member, "", 0);
    }
    if (const JsonValue* const bundles = json.Find("bundles"))
    {
        for (const JsonMember& list : bundles->members)
        {
            for (std::size_t i = 0; i < list.value.elements.size(); ++i)
            {
                for (const JsonMember& member : list.value.elements[i].members)
                    add(member, list.name, i);
            }
        }
    }
    for (const Override& set : overrides)
    {
        if (set.key != GetOperator(ofOperator)->GetKey())
            continue;
        RemoveSetting(ofOperator, set.parameter);
        ofOperator.settings.push_back(
            std::make_unique<Setting>(Setting{"", 0, set.parameter, {0, 0}, set.json, {}, {}, {}}));
    }
}

// Reports the first of the parameter maps that are more than there are bundles.
void SessionState::CheckBundleCounts(const Operator& op, const JsonValue& json)
{
    const JsonValue* const bundles = json.Find("bundles");
    if (!bundles)
        return;
    for (const JsonMember& member : bundles->members)
    {
        const ParameterBundleList* const list = op.FindBundleList(member.name);
        if (!list)
        {
            Add(member.at, InOperator(op) + "there is no list of bundles " + Quoted(member.name));
            continue;
        }
        const std::vector<JsonValue>& maps = member.value.elements;
        const std::size_t count = list->GetBundles().size();
        if (maps.size() > count)
            Add(maps[count].at, InOperator(op) + Quoted(member.name) + " has more parameter maps (" +
                                    std::to_string(maps.size()) + ") than bundles (" + std::to_string(count) + ")");
    }
}

// Reports settings of the document without a parameter, which only operators whose parameters come and go may have.
void SessionState::CheckParameters(const OperatorSettings& ofOperator)
{
    const Operator& op = *GetOperator(ofOperator);
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        if (setting->at.line > 0 && setting->bundleList.empty() && !GetParameter(*setting) &&
            !HasStructureParameters(op))
            Add(setting->at, NoSuchParameter(op, setting->name));
    }
}

std::vector<DocumentError> FindBuildErrors(GraphDocument document)
{
    const Graphics::NoStart asked;
    SessionState state(std::move(document), 0);
    state.Build();
    return std::move(state.errors);
}

} // namespace Varkle
