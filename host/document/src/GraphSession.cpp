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
#include <cmath>
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
    SourcePosition at; // of the name; line 0 for one that stands in no document
    JsonValue json;
    WeakObject parameter;
    std::optional<ParameterValue> value; // read when the parameter, and so its type, is known
    std::vector<double> numbers;         // that the parameter was last set to
};

struct OperatorSettings
{
    WeakObject object;
    std::vector<std::unique_ptr<Setting>> settings; // in document order
    unsigned long structureVersion = 0;             // of the operator when they were last applied
};

Operator* GetOperator(const OperatorSettings& settings)
{
    return static_cast<Operator*>(settings.object.Get());
}

Parameter* GetParameter(const Setting& setting)
{
    return static_cast<Parameter*>(setting.parameter.Get());
}

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
    return std::ranges::any_of(op.GetParameters(),
                               [](const Parameter* parameter) { return parameter->HasFlag(ParameterFlag::Structure); });
}

// Returns what the operator's document says of a parameter that comes and goes, or null.
const OperatorInfo::Entry* FindDocumented(const Operator& op, std::string_view parameter)
{
    const OperatorInfo* const info =
        HasStructureParameters(op) ? TypeLibrary::Get().Find(op.GetType()->GetId()) : nullptr;
    if (!info)
        return nullptr;
    const auto found = std::ranges::find_if(info->parameters, [&](const OperatorInfo::Entry& entry)
                                            { return entry.name == parameter && entry.bundles.empty(); });
    return found != info->parameters.end() ? &*found : nullptr;
}

std::string InOperator(const Operator& op)
{
    return "operator " + Quoted(op.GetKey()) + ": ";
}

std::string InParameter(const Operator& op, const Setting& setting)
{
    std::string where = InOperator(op);
    if (!setting.bundleList.empty())
        where += "bundle " + std::to_string(setting.bundle + 1) + " of " + Quoted(setting.bundleList) + ": ";
    return where + "parameter " + Quoted(setting.name) + " ";
}

std::string NoSuchParameter(const Operator& op, std::string_view name)
{
    std::vector<std::string> known;
    for (const Parameter* const parameter : op.GetParameters())
        known.push_back(parameter->GetName());
    return InOperator(op) + "there is no parameter " + Quoted(name) + Suggestion(name, known);
}

// NaN is the same as NaN, so that an expression which yields it changes nothing.
bool AreSame(const std::vector<double>& a, const std::vector<double>& b)
{
    return std::ranges::equal(a, b, [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

// Reads what a user typed: JSON, or a bare word, which stands for a string. Where text is wanted anything is text.
JsonValue ReadTypedValue(std::optional<ParameterType> type, std::string_view text)
{
    JsonDocument json = ParseJson(text);
    if (!json.root || !json.errors.empty())
        return JsonString(text);
    const bool wantsText =
        type == ParameterType::String || type == ParameterType::Enum || type == ParameterType::Reference;
    const bool isText =
        json.root->kind == JsonKind::String || (json.root->kind == JsonKind::Null && type == ParameterType::Reference);
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
    void CheckBundleCounts(const Operator& op, const JsonValue& json);
    void CheckParameters(const OperatorSettings& ofOperator);

    bool ApplyNew(OperatorSettings& ofOperator, bool structure);
    void ApplySettings(OperatorSettings& ofOperator);
    void Apply(const Operator& op, Setting& setting, Parameter& parameter);
    bool ApplyToNewParameters();
    void FindAnimated();
    void EvaluateAnimated();
    void GoToFrame(long long newFrame);

    Status SetParameter(std::string_view target, std::string_view text);
    Operator* FindTarget(std::string_view target, std::string_view& parameter) const;
    Status NoSuchTarget(std::string_view target) const;
    OperatorSettings& SettingsOf(Operator& op);
    Status TakeErrors();

    std::string UnknownOperator(std::string_view key) const;

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
    std::vector<std::size_t> structured;    // those whose parameters come and go
    std::vector<Setting*> animated;         // to be evaluated on every frame
    std::vector<DocumentError> errors;      // what came up since they were last taken
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

bool GraphSession::State::AddOperators()
{
    static std::unordered_set<const ObjectType*> s_compared; // documents are compared with their operators once
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
        if (s_compared.insert(info->type).second)
            CheckOperatorDoc(*info, *op);
        settings.push_back({WeakObject(op), {}, 0});
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
    if (json.kind != JsonKind::String)
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
}

// Reports the first of the parameter maps that are more than there are bundles.
void GraphSession::State::CheckBundleCounts(const Operator& op, const JsonValue& json)
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
            Add(maps[count].at, InOperator(op) + "there are " + std::to_string(count) + " bundles in " +
                                    Quoted(member.name) + ", but " + std::to_string(maps.size()) +
                                    " parameter maps for them");
    }
}

// Reports settings without a parameter, which only operators whose parameters come and go may have.
void GraphSession::State::CheckParameters(const OperatorSettings& ofOperator)
{
    const Operator& op = *GetOperator(ofOperator);
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        if (setting->bundleList.empty() && !GetParameter(*setting) && !HasStructureParameters(op))
            Add(setting->at, NoSuchParameter(op, setting->name));
    }
}

// Applies the settings whose parameter is new to them, either of those that decide which parameters exist or of the
// others. Returns whether there were any.
bool GraphSession::State::ApplyNew(OperatorSettings& ofOperator, bool structure)
{
    const Operator& op = *GetOperator(ofOperator);
    bool any = false;
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        Parameter* const parameter = FindParameter(op, *setting);
        if (!parameter || parameter == GetParameter(*setting) ||
            parameter->HasFlag(ParameterFlag::Structure) != structure)
            continue;
        Apply(op, *setting, *parameter);
        any = true;
    }
    return any;
}

void GraphSession::State::ApplySettings(OperatorSettings& ofOperator)
{
    // One may bring forth another. The limit is for an operator that makes its parameters anew whenever one is set.
    constexpr int mostRounds = 10;
    for (int round = 0; round < mostRounds && ApplyNew(ofOperator, true); ++round)
    {
    }
    ApplyNew(ofOperator, false);
    ofOperator.structureVersion = GetOperator(ofOperator)->GetStructureVersion();
}

void GraphSession::State::Apply(const Operator& op, Setting& setting, Parameter& parameter)
{
    setting.parameter = WeakObject(&parameter);
    setting.value.reset();
    if (parameter.HasFlag(ParameterFlag::Output))
        return;
    const auto report = [&](SourcePosition at, const std::string& message)
    { Add(setting.at.line > 0 ? at : setting.at, InParameter(op, setting) + message); };
    setting.value = ReadParameterValue(parameter.GetParameterType(), setting.json, report);
    if (!setting.value)
        return;
    if (setting.value->IsText())
    {
        const std::string problem = ApplyText(*setting.value, parameter, document.GetFolder(), graph);
        if (!problem.empty())
            report(setting.json.at, problem);
        return;
    }
    setting.numbers = EvaluateNumbers(*setting.value, Clock());
    const bool waitsForFrame = setting.value->type == ParameterType::Trigger && setting.value->IsAnimated();
    if (!waitsForFrame)
        ApplyNumbers(setting.numbers, parameter);
}

// Returns whether operators got new parameters since the last time.
bool GraphSession::State::ApplyToNewParameters()
{
    bool changed = false;
    for (const std::size_t index : structured)
    {
        const Operator* const op = GetOperator(settings[index]);
        if (!op || settings[index].structureVersion == op->GetStructureVersion())
            continue;
        changed = true;
        ApplySettings(settings[index]);
    }
    if (changed)
        FindAnimated();
    for (const DocumentError& error : errors)
        LogError(error.Text());
    errors.clear();
    return changed;
}

void GraphSession::State::FindAnimated()
{
    animated.clear();
    for (const OperatorSettings& ofOperator : settings)
    {
        for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
        {
            if (setting->value && setting->value->IsAnimated())
                animated.push_back(setting.get());
        }
    }
}

void GraphSession::State::EvaluateAnimated()
{
    const ExpressionClock clock = Clock();
    for (Setting* const setting : animated)
    {
        Parameter* const parameter = GetParameter(*setting);
        if (!parameter)
            continue;
        std::vector<double> numbers = EvaluateNumbers(*setting->value, clock);
        // An operator may have set the parameter itself; that is no reason to set it back.
        if (setting->value->type != ParameterType::Trigger && AreSame(numbers, setting->numbers))
            continue;
        setting->numbers = std::move(numbers);
        ApplyNumbers(setting->numbers, *parameter);
    }
}

void GraphSession::State::GoToFrame(long long newFrame)
{
    frame = newFrame;
    EvaluateAnimated();
    if (ApplyToNewParameters())
        EvaluateAnimated(); // fires the triggers among the new ones
    Pump();
}

Status GraphSession::State::SetParameter(std::string_view target, std::string_view text)
{
    std::string_view name;
    Operator* const op = FindTarget(target, name);
    if (!op)
        return NoSuchTarget(target);
    Parameter* const parameter = op->FindParameter(name);
    const OperatorInfo::Entry* const entry = parameter ? nullptr : FindDocumented(*op, name);
    if (!parameter && !entry)
        return Error{NoSuchParameter(*op, name)};
    if (parameter ? parameter->HasFlag(ParameterFlag::Output) : entry->marks.output != 0)
        return Error{InOperator(*op) + "parameter " + Quoted(name) + " is written by the operator and can't be set"};

    const auto type = parameter ? std::optional(parameter->GetParameterType()) : FindParameterType(entry->type);
    auto setting =
        std::make_unique<Setting>(Setting{"", 0, std::string(name), {0, 0}, ReadTypedValue(type, text), {}, {}, {}});
    if (parameter)
    {
        Apply(*op, *setting, *parameter);
    }
    else
    {
        const ValueErrors report = [&](SourcePosition, const std::string& message)
        { Add(setting->at, InParameter(*op, *setting) + message); };
        if (type)
            ReadParameterValue(*type, setting->json, report);
        else
            CheckValueOfOpenType(setting->json, report);
    }
    if (!errors.empty())
        return TakeErrors();

    std::vector<std::unique_ptr<Setting>>& others = SettingsOf(*op).settings;
    std::erase_if(others, [&](const std::unique_ptr<Setting>& other)
                  { return other->bundleList.empty() && other->name == name; });
    others.push_back(std::move(setting));
    FindAnimated();
    return Ok();
}

// Splits "key.Parameter". Keys may hold points too: the longest that fits is meant.
Operator* GraphSession::State::FindTarget(std::string_view target, std::string_view& parameter) const
{
    for (std::size_t point = target.rfind('.'); point != std::string_view::npos; point = target.rfind('.', point - 1))
    {
        parameter = target.substr(point + 1);
        if (Operator* const op = graph.Find(target.substr(0, point)); op || point == 0)
            return op;
    }
    return nullptr;
}

Status GraphSession::State::NoSuchTarget(std::string_view target) const
{
    const std::size_t point = target.rfind('.');
    if (point == std::string_view::npos)
        return Error{Quoted(target) + " names no parameter: it must have the form \"key.Parameter\""};
    return Error{UnknownOperator(target.substr(0, point))};
}

OperatorSettings& GraphSession::State::SettingsOf(Operator& op)
{
    const auto found = std::ranges::find(settings, &op, GetOperator);
    if (found != settings.end())
        return *found;
    if (HasStructureParameters(op))
        structured.push_back(settings.size());
    settings.push_back({WeakObject(&op), {}, op.GetStructureVersion()});
    return settings.back();
}

Status GraphSession::State::TakeErrors()
{
    std::string text;
    for (const DocumentError& error : errors)
        text += (text.empty() ? "" : "; ") + error.message;
    errors.clear();
    return Error{std::move(text)};
}

std::string GraphSession::State::UnknownOperator(std::string_view key) const
{
    std::vector<std::string> known;
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        known.push_back(op->GetKey());
    return "there is no operator " + Quoted(key) + Suggestion(key, known);
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
    return state->SetParameter(target, value);
}

void GraphSession::GoToFrame(long long frame)
{
    state->GoToFrame(frame);
    state->graph.Run();
}

Status GraphSession::GoToFrame(long long frame, const std::vector<std::string>& keys)
{
    const auto unknown = std::ranges::find_if(keys, [&](const std::string& key) { return !state->graph.Find(key); });
    if (unknown != keys.end())
        return Error{state->UnknownOperator(*unknown)};
    state->GoToFrame(frame);
    std::vector<Operator*> targets;
    for (const std::string& key : keys)
        targets.push_back(state->graph.Find(key));
    for (const std::unique_ptr<Operator>& op : state->graph.GetOperators())
    {
        if (op->GetOutputs().empty())
            targets.push_back(op.get());
    }
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
