#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/JsonLayout.h"
#include "session/GraphSessionState.h"

#include <algorithm>
#include <cmath>
#include <iterator>

// Gives parameters their values: those of the document when they appear, those of expressions on every frame, and those
// that the user sets.

namespace Varkle
{

namespace
{

// Returns what the operator's document declares beyond what there is at the moment: parameters that come and go.
std::vector<OperatorInfo::Entry> FindDocumented(const Operator& op)
{
    const OperatorInfo* const info =
        HasStructureParameters(op) ? TypeLibrary::Get().Find(op.GetType()->GetId()) : nullptr;
    if (!info)
        return {};
    std::vector<OperatorInfo::Entry> entries;
    std::ranges::copy_if(info->parameters, std::back_inserter(entries),
                         [&](const OperatorInfo::Entry& entry)
                         { return entry.bundles.empty() && !op.FindParameter(entry.name); });
    return entries;
}

std::string InParameter(const Operator& op, const Setting& setting)
{
    std::string where = InOperator(op);
    if (!setting.bundleList.empty())
        where += "bundle " + std::to_string(setting.bundle + 1) + " of " + Quoted(setting.bundleList) + ": ";
    return where + "parameter " + Quoted(setting.name) + " ";
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
    const bool wantsText = type && IsText(*type);
    const bool isText =
        json.root->kind == JsonKind::String || (json.root->kind == JsonKind::Null && type == ParameterType::Reference);
    return wantsText && !isText ? JsonString(text) : std::move(*json.root);
}

} // namespace

Parameter* FindParameter(const Operator& op, const Setting& setting)
{
    if (setting.bundleList.empty())
        return op.FindParameter(setting.name);
    const ParameterBundleList* const list = op.FindBundleList(setting.bundleList);
    if (!list || setting.bundle >= list->GetBundles().size())
        return nullptr;
    return list->GetBundles()[setting.bundle]->FindParameter(setting.name);
}

void RemoveSetting(OperatorSettings& ofOperator, std::string_view parameter)
{
    std::erase_if(ofOperator.settings, [&](const std::unique_ptr<Setting>& setting)
                  { return setting->bundleList.empty() && setting->name == parameter; });
}

bool HasStructureParameters(const Operator& op)
{
    return std::ranges::any_of(op.GetParameters(),
                               [](const Parameter* parameter) { return parameter->HasFlag(ParameterFlag::Structure); });
}

std::string InOperator(const Operator& op)
{
    return "operator " + Quoted(op.GetKey()) + ": ";
}

std::string NoSuchParameter(const Operator& op, std::string_view name)
{
    std::vector<std::string> known;
    for (const Parameter* const parameter : op.GetParameters())
        known.push_back(parameter->GetName());
    std::ranges::transform(FindDocumented(op), std::back_inserter(known), &OperatorInfo::Entry::name);
    return InOperator(op) + "there is no parameter " + Quoted(name) + Suggestion(name, known);
}

// Applies the settings whose parameter is new to them, either of those that decide which parameters exist or of the
// others. Returns whether there were any.
bool SessionState::ApplyNew(OperatorSettings& ofOperator, bool structure, Predecessor* before)
{
    const Operator& op = *GetOperator(ofOperator);
    bool any = before && ResetDropped(ofOperator, structure, *before);
    for (const std::unique_ptr<Setting>& setting : ofOperator.settings)
    {
        Parameter* const parameter = FindParameter(op, *setting);
        if (!parameter || parameter == GetParameter(*setting) ||
            parameter->HasFlag(ParameterFlag::Structure) != structure)
            continue;
        if (before)
            ApplyAfter(*before, op, *setting, *parameter);
        else
            Apply(op, *setting, *parameter);
        any = true;
    }
    return any;
}

void SessionState::ApplySettings(OperatorSettings& ofOperator, Predecessor* before)
{
    // One may bring forth another. The limit is for an operator that makes its parameters anew whenever one is set.
    constexpr int mostRounds = 10;
    for (int round = 0; round < mostRounds && ApplyNew(ofOperator, true, before); ++round)
    {
    }
    ApplyNew(ofOperator, false, before);
    ofOperator.structureVersion = GetOperator(ofOperator)->GetStructureVersion();
}

// Gives a parameter its value; where that is an expression that may wait for the next frame, the parameter keeps what
// it has until then.
void SessionState::Apply(const Operator& op, Setting& setting, Parameter& parameter, bool waitsForFrame)
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
    if (IsText(setting.value->type))
    {
        const std::string problem = ApplyText(*setting.value, parameter, document.GetFolder(), graph);
        if (!problem.empty())
            report(setting.json.at, problem);
        return;
    }
    if (setting.value->IsAnimated() && (waitsForFrame || setting.value->type == ParameterType::Trigger))
        return;
    setting.numbers = EvaluateNumbers(*setting.value, Clock());
    ApplyNumbers(setting.numbers, parameter);
}

// Returns whether operators got new parameters since the last time.
bool SessionState::ApplyToNewParameters()
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
    LogErrors();
    return changed;
}

void SessionState::FindAnimated()
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

ExpressionClock SessionState::Clock() const
{
    const double rate = document.GetFrameRate();
    return {double(frame) / rate, double(frame), rate};
}

void SessionState::EvaluateAnimated()
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

void SessionState::GoToFrame(long long newFrame)
{
    frame = newFrame;
    EvaluateAnimated();
    if (ApplyToNewParameters())
        EvaluateAnimated(); // fires the triggers among the new ones
    GraphSession::Pump();
    WaitForBacklog();
}

Status SessionState::SetParameter(std::string_view target, std::string_view text)
{
    std::string_view name;
    Operator* const op = FindTarget(target, name);
    if (!op)
        return NoSuchTarget(target);
    Parameter* const parameter = op->FindParameter(name);
    const std::vector<OperatorInfo::Entry> absent = FindDocumented(*op);
    const auto entry = std::ranges::find(absent, name, &OperatorInfo::Entry::name);
    if (!parameter && entry == absent.end())
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

    std::erase_if(overrides,
                  [&](const Override& other) { return other.key == op->GetKey() && other.parameter == name; });
    overrides.push_back({op->GetKey(), setting->name, setting->json});
    OperatorSettings& ofOperator = SettingsOf(*op);
    RemoveSetting(ofOperator, name);
    ofOperator.settings.push_back(std::move(setting));
    FindAnimated();
    return Ok();
}

// Splits "key.Parameter". Keys may hold points too: the longest that fits is meant.
Operator* SessionState::FindTarget(std::string_view target, std::string_view& parameter) const
{
    for (std::size_t point = target.rfind('.'); point != std::string_view::npos; point = target.rfind('.', point - 1))
    {
        parameter = target.substr(point + 1);
        if (Operator* const op = graph.Find(target.substr(0, point)); op || point == 0)
            return op;
    }
    return nullptr;
}

Status SessionState::NoSuchTarget(std::string_view target) const
{
    const std::size_t point = target.rfind('.');
    if (point == std::string_view::npos)
        return Error{Quoted(target) + " names no parameter: it must have the form \"key.Parameter\""};
    return Error{UnknownOperator(target.substr(0, point))};
}

OperatorSettings& SessionState::SettingsOf(Operator& op)
{
    const auto found = std::ranges::find(settings, &op, GetOperator);
    if (found != settings.end())
        return *found;
    if (HasStructureParameters(op))
        structured.push_back(settings.size());
    settings.push_back({WeakObject(&op), {}, op.GetStructureVersion()});
    return settings.back();
}

void SessionState::Add(SourcePosition at, std::string message)
{
    errors.push_back({document.GetName(), at.line, at.column, std::move(message)});
}

void SessionState::LogErrors()
{
    for (const DocumentError& error : errors)
        LogError(error.Text());
    errors.clear();
}

// Returns what is wrong as one error, without places: for what stands in no document.
Status SessionState::TakeErrors()
{
    std::string text;
    for (const DocumentError& error : errors)
        text += (text.empty() ? "" : "; ") + error.message;
    errors.clear();
    return Error{std::move(text)};
}

} // namespace Varkle
