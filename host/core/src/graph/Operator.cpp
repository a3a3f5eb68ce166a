#include "Varkle/Core/Operator.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Trace.h"
#include "graph/GraphState.h"
#include "graph/OperatorState.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace Varkle
{

namespace
{

thread_local Operator* s_executing = nullptr;

// Counts what is under way.
class Held
{
public:
    explicit Held(int& counter) : count(counter) { ++count; }
    ~Held() { --count; }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    int& count;
};

template<class T>
T* FindByName(const std::vector<T*>& objects, std::string_view name)
{
    const auto found = std::ranges::find(objects, name, &T::GetName);
    return found == objects.end() ? nullptr : *found;
}

template<class T>
T* FindByName(const std::vector<Object*>& objects, std::string_view name)
{
    for (Object* const object : objects)
    {
        auto* const candidate = dynamic_cast<T*>(object);
        if (candidate && candidate->GetName() == name)
            return candidate;
    }
    return nullptr;
}

template<class T>
Object* FindByKey(const std::vector<T*>& objects, std::string_view key)
{
    const auto found = std::ranges::find(objects, key, &Object::GetKey);
    return found == objects.end() ? nullptr : *found;
}

} // namespace

Operator::Operator() : state(std::make_unique<State>()) {}

// By now the derived operator's members are gone; what remains are the parameters that AddParameter took over, which
// leave the list of parameters as they go. Members are destroyed in reverse order, so list and state outlive them.
Operator::~Operator() = default;

const ObjectType* Operator::Type()
{
    static const ObjectType type("Varkle.Operator", Object::Type(), {});
    return &type;
}

bool Operator::Outdated() const
{
    return !state->executed || state->dirty || state->inputChanged || state->parameterChanged;
}

void Operator::UpdateStructure() {}

void Operator::MarkDirty()
{
    state->dirty = true;
    RequestExecution();
}

void Operator::AddParameter(std::unique_ptr<Parameter>&& parameter)
{
    InsertParameter(std::move(parameter), nullptr);
}

void Operator::InsertParameter(std::unique_ptr<Parameter>&& parameter, const Parameter* before)
{
    if (!parameter)
        return;
    parameter->LeaveOwner();
    if (parameter->GetKey().empty())
        parameter->SetKey(parameter->GetName());
    Attach(*parameter);
    if (const auto place = std::ranges::find(parameters, before); place != parameters.end())
        std::rotate(place, parameters.end() - 1, parameters.end());
    ownedParameters.push_back(std::move(parameter));
    TellStructure();
}

void Operator::RemoveParameter(Parameter* parameter)
{
    if (std::ranges::find(parameters, parameter) == parameters.end())
        return;
    Detach(*parameter);
    std::erase_if(ownedParameters, [parameter](const auto& owned) { return owned.get() == parameter; });
    TellStructure();
}

Parameter* Operator::FindParameter(std::string_view name) const
{
    return FindByName(parameters, name);
}

DataInput* Operator::FindInput(std::string_view name) const
{
    return FindByName<DataInput>(inputs, name);
}

DataInputList* Operator::FindInputList(std::string_view name) const
{
    return FindByName<DataInputList>(inputs, name);
}

DataOutput* Operator::FindOutput(std::string_view name) const
{
    return FindByName(outputs, name);
}

ParameterBundleList* Operator::FindBundleList(std::string_view name) const
{
    return FindByName(bundleLists, name);
}

Graph* Operator::GetGraph() const
{
    return state->graph;
}

unsigned long Operator::GetStructureVersion() const
{
    return state->structureVersion;
}

unsigned long Operator::GetExecutionCount() const
{
    return state->executionCount;
}

std::chrono::nanoseconds Operator::GetExecutionTime() const
{
    return state->executionTime;
}

const std::vector<std::filesystem::path>& Operator::GetFilesRead() const
{
    return state->filesRead;
}

Operator* Operator::Executing()
{
    return s_executing;
}

Object* Operator::GetParentObjectImplementation() const
{
    return state->graph;
}

// A graph finds its operators by their keys.
std::string Operator::AdmitKey(std::string_view wanted)
{
    if (!state->graph)
        return std::string(wanted);
    return state->graph->TakeKey(*this, wanted);
}

Object* Operator::FindChildImplementation(std::string_view childKey)
{
    if (Object* const parameter = FindByKey(parameters, childKey))
        return parameter;
    if (Object* const input = FindByKey(inputs, childKey))
        return input;
    if (Object* const output = FindByKey(outputs, childKey))
        return output;
    return FindByKey(bundleLists, childKey);
}

void Operator::KeyChanged()
{
    if (state->complete && state->graph)
        state->graph->state->Tell(&GraphHandlers::renamed, *this);
}

void Operator::Attach(Parameter& parameter)
{
    parameter.owner = this;
    parameters.push_back(&parameter);
    ParametersComeOrGo();
}

void Operator::Detach(Parameter& parameter)
{
    parameter.owner = nullptr;
    std::erase(parameters, &parameter);
    ParametersComeOrGo();
}

void Operator::ParametersComeOrGo()
{
    ++state->structureVersion;
    state->structureChanged = true; // told later: the parameter is being made or destroyed
    MarkParametersChanged();
}

void Operator::StructureChanged()
{
    state->structureChanged = true;
    TellStructure();
}

// Tells of what came and went, once it is all there.
void Operator::TellStructure()
{
    if (!state->structureChanged || state->structureHeld > 0 || !state->complete || !state->graph)
        return;
    state->structureChanged = false;
    state->graph->state->Tell(&GraphHandlers::structureChanged, *this);
}

void Operator::CallUpdateStructure()
{
    {
        const Held held(state->structureHeld);
        UpdateStructure();
    }
    TellStructure();
}

void Operator::ParameterChanged(Parameter& parameter)
{
    MarkParametersChanged();
    if (!state->complete)
        return;
    const bool updates = parameter.HasFlag(ParameterFlag::Structure);
    if (state->graph)
        state->graph->state->Tell(&GraphHandlers::valueChanged, parameter);
    if (updates)
        CallUpdateStructure();
}

// An operator that is executing is not outdated by what it does to its own parameters: the mark is cleared right after.
void Operator::MarkParametersChanged()
{
    state->parameterChanged = true;
    if (s_executing != this)
        RequestExecution();
}

void Operator::InputChanged()
{
    state->inputChanged = true;
    RequestExecution();
}

void Operator::FinishConstruction()
{
    state->complete = true;
    {
        const Held held(state->structureHeld);
        UpdateStructure();
    }
    state->structureChanged = false; // whoever is told of the operator sees it whole
}

void Operator::Run(ExecutionContext& context)
{
    // Before Execute, so that MarkDirty inside it asks for the next run.
    state->dirty = false;
    state->inputChanged = false;
    state->filesRead.clear();
    ++state->structureHeld;

    const std::string ownKey = GetKey();
    const TraceSpan span("operator", ownKey);
    const auto begin = std::chrono::steady_clock::now();
    Operator* const outer = std::exchange(s_executing, this); // one that runs a graph of its own
    LogScope log(ownKey);
    try
    {
        Execute(context);
    }
    catch (const std::exception& exception)
    {
        LogError(std::string("The execution failed: ") + exception.what());
    }
    catch (...)
    {
        LogError("The execution failed for an unknown reason.");
    }
    s_executing = outer;
    state->executionTime += std::chrono::steady_clock::now() - begin;
    ++state->executionCount;
    state->executed = true;

    // After Execute, which reads the marks and may set parameters of its own.
    state->parameterChanged = false;
    ClearParameterMarks();

    --state->structureHeld;
    TellStructure();
    if (!state->graph)
        return;
    Graph::State& listeners = *state->graph->state;
    listeners.Tell(&GraphHandlers::executed, *this);
    if (!log.GetFirstError().empty())
        listeners.Tell(&GraphHandlers::failed, *this, std::string_view(log.GetFirstError()));
}

void Operator::ClearParameterMarks()
{
    const auto clear = [](Parameter* parameter)
    {
        parameter->changed = false;
        if (parameter->GetParameterType() == ParameterType::Trigger)
            static_cast<TriggerParameter*>(parameter)->triggered = false;
    };
    std::ranges::for_each(parameters, clear);
    for (const ParameterBundleList* const list : bundleLists)
    {
        for (const ParameterBundle* const bundle : list->GetBundles())
            std::ranges::for_each(bundle->GetParameters(), clear);
    }
}

void Operator::RequestExecution()
{
    if (state->graph)
        state->graph->state->Request(*this);
}

} // namespace Varkle
