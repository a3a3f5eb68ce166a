#include "Varkle/Document/GraphSession.h"

#include "Inspect.h"
#include "Json.h"
#include "JsonLayout.h"
#include "ParameterValue.h"
#include "Suggestion.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Ports.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <unordered_set>

namespace Varkle
{

namespace
{

// A value that the document or the user gave a parameter, and the parameter while there is one.
struct Setting
{
    std::string bundleList; // empty for the operator's own parameters
    std::size_t bundle = 0;
    std::string name;
    SourcePosition at; // of the name
    JsonValue json;
    std::optional<ParameterValue> value; // read when the parameter, and so its type, is known
    WeakObject parameter;
};

struct OperatorSettings
{
    Operator* op = nullptr;
    std::vector<std::unique_ptr<Setting>> settings; // in document order
    unsigned long structureVersion = 0;             // of the operator when they were last applied
};

Parameter* FindParameter(const Operator& op, const Setting& setting)
{
    if (setting.bundleList.empty())
        return op.FindParameter(setting.name);
    const ParameterBundleList* const list = op.FindBundleList(setting.bundleList);
    if (!list || setting.bundle >= list->GetBundles().size())
        return nullptr;
    return list->GetBundles()[setting.bundle]->FindParameter(setting.name);
}

bool HasStructureParameters(const Operator& op)
{
    return std::ranges::any_of(op.GetParameters(), [](const Parameter* parameter)
                               { return parameter->HasFlag(ParameterFlag::Structure); });
}

std::string InOperator(const Operator& op)
{
    return "operator " + Quoted(op.GetKey()) + ": ";
}

Parameter* Bound(const Setting& setting)
{
    return static_cast<Parameter*>(setting.parameter.Get());
}

// Reads what a user typed: JSON, or a bare word, which stands for a string. Where text is wanted anything is text.
JsonValue ReadTypedValue(ParameterType type, std::string_view text)
{
    JsonDocument json = ParseJson(text);
    if (!json.root || !json.errors.empty())
        return JsonString(text);
    const bool wantsText =
        type == ParameterType::String || type == ParameterType::Enum || type == ParameterType::Reference;
    const bool isText = json.root->kind == JsonKind::String ||
                        (json.root->kind == JsonKind::Null && type == ParameterType::Reference);
    return wantsText && !isText ? JsonString(text) : std::move(*json.root);
}

} // namespace

struct GraphSession::State
{
    explicit State(GraphDocument loaded) : document(std::move(loaded)) {}

    void Build();
    bool AddOperators();
    void ConnectInput(Operator& op, const JsonMember& input);
    void ConnectFrom(Operator& op, const std::string& input, const JsonValue& json,
                     const std::function<Status(DataOutput&)>& connect);
    void CollectSettings(const JsonValue& json, OperatorSettings& ofOperator);
    void ApplySettings(OperatorSettings& ofOperator);
    void Apply(const Operator& op, Setting& setting, Parameter& parameter);
    void ReportUnused(const OperatorSettings& ofOperator);
    void ApplyToNewParameters();
    void FindAnimated();
    void Evaluate();

    std::vector<Operator*> CollectTargets(const std::vector<std::string>& keys, std::string& unknown) const;

    void Add(SourcePosition at, std::string message)
    {
        errors.push_back({document.GetName(), at.line, at.column, std::move(message)});
    }

    ExpressionClock Clock() const
    {
        const double rate = document.GetFrameRate();
        return {double(frame) / rate, double(frame), rate};
    }

    GraphDocument document;
    Graph graph;
    std::vector<OperatorSettings> settings; // by operator
    std::vector<std::size_t> structured;    // operators whose parameters come and go
    std::vector<std::pair<const Operator*, Setting*>> animated; // to be evaluated on every frame
    std::vector<DocumentError> errors;                          // what came up while building
    long long frame = 0;
};

void GraphSession::State::Build()
{
    if (!AddOperators())
        return;
    const JsonValue* const list = document.root->Find("operators");
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        if (const JsonValue* const inputs = list->elements[i].Find("inputs"))
        {
            for (const JsonMember& input : inputs->members)
                ConnectInput(*settings[i].op, input);
        }
    }
    for (std::size_t i = 0; i < settings.size(); ++i)
    {
        CollectSettings(list->elements[i], settings[i]);
        ApplySettings(settings[i]);
        ReportUnused(settings[i]);
        settings[i].structureVersion = settings[i].op->GetStructureVersion();
        if (HasStructureParameters(*settings[i].op))
            structured.push_back(i);
    }
    FindAnimated();
}

bool GraphSession::State::AddOperators()
{
    static std::unordered_set<const ObjectType*> compared; // documents are compared with their operators once
    const JsonValue* const list = document.root->Find("operators");
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
        if (compared.insert(info->type).second)
            CheckOperatorDoc(*info, *op);
        settings.push_back({op, {}, 0});
    }
    return errors.empty();
}

void GraphSession::State::ConnectInput(Operator& op, const JsonMember& input)
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

void GraphSession::State::ConnectFrom(Operator& op, const std::string& input, const JsonValue& json,
                                      const std::function<Status(DataOutput&)>& connect)
{
    if (json.kind == JsonKind::Null)
        return;
    const Operator& source = *graph.Find(json.text);
    const std::string where = InOperator(op) + "input " + Quoted(input) + ": ";
    if (source.GetOutputs().empty())
        Add(json.at, where + "the operator " + Quoted(json.text) + " has no output");
    else if (const Status status = connect(*source.GetOutputs()[0]); !status)
        Add(json.at, where + status.GetError().message);
}

void GraphSession::State::CollectSettings(const JsonValue& json, OperatorSettings& ofOperator)
{
    const auto add = [&](const JsonMember& member, const std::string& list, std::size_t bundle)
    {
        ofOperator.settings.push_back(
            std::make_unique<Setting>(Setting{list, bundle, member.name, member.at, member.value, {}, {}}));
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
}

// Sets the parameters that decide which others exist before the rest.
void GraphSession::State::ApplySettings(OperatorSettings& ofOperator)
{
    for (const bool structure : {true, false})
    {
        for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
        {
            Parameter* const parameter = FindParameter(*ofOperator.op, *setting);
            if (parameter && parameter->HasFlag(ParameterFlag::Structure) == structure)
                Apply(*ofOperator.op, *setting, *parameter);
        }
    }
}

void GraphSession::State::Apply(const Operator& op, Setting& setting, Parameter& parameter)
{
    setting.parameter = WeakObject(&parameter);
    setting.value.reset();
    if (parameter.HasFlag(ParameterFlag::Output))
        return;
    const auto report = [&](SourcePosition at, const std::string& message)
    { Add(at, InOperator(op) + "parameter " + Quoted(setting.name) + " " + message); };
    setting.value = ReadParameterValue(parameter.GetParameterType(), setting.json, report);
    if (!setting.value)
        return;
    const std::string problem =
        ApplyParameterValue(*setting.value, parameter, Clock(), document.GetFolder(), graph);
    if (!problem.empty())
        report(setting.json.at, problem);
}

// Reports settings that found no parameter, unless the operator's parameters come and go.
void GraphSession::State::ReportUnused(const OperatorSettings& ofOperator)
{
    const Operator& op = *ofOperator.op;
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        if (setting->parameter.Get())
            continue;
        const ParameterBundleList* const list = op.FindBundleList(setting->bundleList);
        if (list && setting->bundle >= list->GetBundles().size())
            Add(setting->at, InOperator(op) + "there are only " + std::to_string(list->GetBundles().size()) +
                                 " bundles in " + Quoted(setting->bundleList));
        else if (!HasStructureParameters(op))
            Add(setting->at, InOperator(op) + "there is no parameter " + Quoted(setting->name));
    }
}

void GraphSession::State::ApplyToNewParameters()
{
    bool changed = false;
    for (const std::size_t index : structured)
    {
        OperatorSettings& ofOperator = settings[index];
        if (ofOperator.structureVersion == ofOperator.op->GetStructureVersion())
            continue;
        changed = true;
        for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
        {
            Parameter* const parameter = FindParameter(*ofOperator.op, *setting);
            if (parameter && parameter != Bound(*setting))
                Apply(*ofOperator.op, *setting, *parameter);
        }
        ofOperator.structureVersion = ofOperator.op->GetStructureVersion();
    }
    for (const DocumentError& error : errors)
        LogError(error.Text());
    errors.clear();
    if (changed)
        FindAnimated();
}

void GraphSession::State::FindAnimated()
{
    animated.clear();
    for (const OperatorSettings& ofOperator : settings)
    {
        for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
        {
            if (setting->value && setting->value->IsAnimated())
                animated.emplace_back(ofOperator.op, setting.get());
        }
    }
}

void GraphSession::State::Evaluate()
{
    for (const auto& [op, setting] : animated)
    {
        if (Parameter* const parameter = Bound(*setting))
            ApplyParameterValue(*setting->value, *parameter, Clock(), document.GetFolder(), graph);
    }
    ApplyToNewParameters();
}

std::vector<Operator*> GraphSession::State::CollectTargets(const std::vector<std::string>& keys,
                                                           std::string& unknown) const
{
    std::vector<Operator*> targets;
    for (const std::string& key : keys)
    {
        Operator* const op = graph.Find(key);
        if (!op)
            unknown = key;
        targets.push_back(op);
    }
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
    {
        if (op->GetOutputs().empty())
            targets.push_back(op.get());
    }
    return targets;
}

Result<GraphSession> GraphSession::Load(const std::string& path)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Load(path, errors);
    if (!errors.empty())
        return Error{JoinErrors(errors)};
    return Build(std::move(document));
}

Result<GraphSession> GraphSession::Parse(std::string_view text, const std::string& name,
                                         const std::filesystem::path& folder)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, name, folder, errors);
    if (!errors.empty())
        return Error{JoinErrors(errors)};
    return Build(std::move(document));
}

Result<GraphSession> GraphSession::Build(GraphDocument document)
{
    if (const std::vector<DocumentError> errors = document.Check(); !errors.empty())
        return Error{JoinErrors(errors)};
    auto state = std::make_unique<State>(std::move(document));
    state->Build();
    if (!state->errors.empty())
        return Error{JoinErrors(state->errors)};
    return GraphSession(std::move(state));
}

GraphSession::GraphSession(std::unique_ptr<State> built) : state(std::move(built)) {}
GraphSession::GraphSession(GraphSession&&) noexcept = default;
GraphSession& GraphSession::operator=(GraphSession&&) noexcept = default;
GraphSession::~GraphSession() = default;

Status GraphSession::SetParameter(std::string_view target, std::string_view value)
{
    // Keys may hold points too: the longest key that fits is meant.
    OperatorSettings* ofOperator = nullptr;
    std::string name;
    for (OperatorSettings& candidate : state->settings)
    {
        const std::string prefix = candidate.op->GetKey() + ".";
        if (target.starts_with(prefix) && (!ofOperator || prefix.size() > ofOperator->op->GetKey().size() + 1))
        {
            ofOperator = &candidate;
            name = target.substr(prefix.size());
        }
    }
    if (!ofOperator)
        return Error{"there is no operator for " + Quoted(target) + ": a parameter is named as \"key.Parameter\""};
    Operator& op = *ofOperator->op;
    Parameter* const parameter = op.FindParameter(name);
    if (!parameter)
    {
        std::vector<std::string> known;
        for (const Parameter* const other : op.GetParameters())
            known.push_back(other->GetName());
        return Error{InOperator(op) + "there is no parameter " + Quoted(name) + Suggestion(name, known)};
    }
    if (parameter->HasFlag(ParameterFlag::Output))
        return Error{InOperator(op) + "parameter " + Quoted(name) + " is written by the operator and can't be set"};

    std::erase_if(ofOperator->settings, [&](const std::unique_ptr<Setting>& setting)
                  { return setting->bundleList.empty() && setting->name == name; });
    const JsonValue json = ReadTypedValue(parameter->GetParameterType(), value);
    ofOperator->settings.push_back(std::make_unique<Setting>(Setting{"", 0, name, {}, json, {}, {}}));
    state->Apply(op, *ofOperator->settings.back(), *parameter);
    state->FindAnimated();
    if (state->errors.empty())
        return Ok();
    std::string message = state->errors.front().message;
    state->errors.clear();
    return Error{std::move(message)};
}

void GraphSession::GoToFrame(long long frame)
{
    state->frame = frame;
    state->Evaluate();
    Pump();
    state->graph.Run();
}

Status GraphSession::GoToFrame(long long frame, const std::vector<std::string>& keys)
{
    std::string unknown;
    const std::vector<Operator*> targets = state->CollectTargets(keys, unknown);
    if (!unknown.empty())
        return Error{"there is no operator " + Quoted(unknown)};
    state->frame = frame;
    state->Evaluate();
    Pump();
    state->graph.Run(targets);
    return Ok();
}

std::vector<std::string> GraphSession::GetDefaultOutputs() const
{
    const auto feedsNothing = [](const DataOutput* output) { return output->GetConnections().empty(); };
    std::vector<std::string> keys;
    for (const std::unique_ptr<Operator>& op : state->graph.GetOperators())
    {
        if (std::ranges::any_of(op->GetOutputs(), feedsNothing))
            keys.push_back(op->GetKey());
    }
    return keys;
}

Texture GraphSession::GetTexture(std::string_view key) const
{
    const Operator* const op = state->graph.Find(key);
    if (!op || op->GetOutputs().empty())
        return {};
    const auto* const output = dynamic_cast<const TextureOutput*>(op->GetOutputs()[0]);
    return output ? output->GetTexture() : Texture();
}

Image GraphSession::ReadPixels(std::string_view key) const
{
    const Texture texture = GetTexture(key);
    if (!texture)
        return {};
    Image image;
    bool done = false;
    texture.ReadPixelsAsync(
        [&](Image pixels)
        {
            image = std::move(pixels);
            done = true;
        });
    while (!done && Graphics::WaitForReadBack(std::chrono::seconds(1)))
    {
    }
    return image;
}

void GraphSession::Pump()
{
    if (Graphics::IsStarted())
    {
        Graphics::ProcessEvents();
        Graphics::TrimPools();
    }
    Tasks::RunMainThreadTasks();
}

void GraphSession::Finish()
{
    while (Tasks::HasWork() || (Graphics::IsStarted() && Graphics::HasReadBacks()))
    {
        if (Graphics::IsStarted() && Graphics::HasReadBacks())
            Graphics::WaitForReadBack(std::chrono::milliseconds(100));
        else
            Tasks::WaitForMainThreadTasks(std::chrono::milliseconds(100));
        Tasks::RunMainThreadTasks();
    }
}

std::string GraphSession::Inspect(const std::vector<LogLine>& log) const
{
    return InspectGraph(state->graph, state->frame, log);
}

Graph& GraphSession::GetGraph()
{
    return state->graph;
}

const Graph& GraphSession::GetGraph() const
{
    return state->graph;
}

const GraphDocument& GraphSession::GetDocument() const
{
    return state->document;
}

long long GraphSession::GetFrame() const
{
    return state->frame;
}

double GraphSession::GetFrameRate() const
{
    return state->document.GetFrameRate();
}

} // namespace Varkle
