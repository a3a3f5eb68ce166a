#include "Varkle/Core/Operator.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Trace.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace Varkle
{

namespace
{

thread_local Operator* s_executing = nullptr;

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

Operator::Operator() = default;

// By now the derived operator's members are gone; what remains are the parameters that AddParameter took over, which
// leave the list of parameters as they go. Members are destroyed in reverse order, so the list outlives them.
Operator::~Operator() = default;

const ObjectType* Operator::Type()
{
    static const ObjectType type("Varkle.Operator", Object::Type(), {});
    return &type;
}

bool Operator::Outdated() const
{
    return !executed || dirty || inputChanged || parameterChanged;
}

void Operator::UpdateStructure() {}

void Operator::MarkDirty()
{
    dirty = true;
    RequestExecution();
}

void Operator::AddParameter(std::unique_ptr<Parameter>&& parameter)
{
    if (!parameter)
        return;
    parameter->LeaveOwner();
    if (parameter->GetKey().empty())
        parameter->SetKey(parameter->GetName());
    Attach(*parameter);
    ownedParameters.push_back(std::move(parameter));
}

void Operator::RemoveParameter(Parameter* parameter)
{
    if (std::ranges::find(parameters, parameter) == parameters.end())
        return;
    Detach(*parameter);
    std::erase_if(ownedParameters, [parameter](const auto& owned) { return owned.get() == parameter; });
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

Operator* Operator::Executing()
{
    return s_executing;
}

Object* Operator::GetParentObjectImplementation() const
{
    return graph;
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
    ++structureVersion;
    MarkParametersChanged();
}

void Operator::ParameterChanged(const Parameter& parameter)
{
    MarkParametersChanged();
    if (complete && parameter.HasFlag(ParameterFlag::Structure))
        UpdateStructure();
}

// An operator that is executing is not outdated by what it does to its own parameters: the mark is cleared right after.
void Operator::MarkParametersChanged()
{
    parameterChanged = true;
    if (s_executing != this)
        RequestExecution();
}

void Operator::InputChanged()
{
    inputChanged = true;
    RequestExecution();
}

void Operator::FinishConstruction()
{
    complete = true;
    UpdateStructure();
}

void Operator::Run(ExecutionContext& context)
{
    // Before Execute, so that MarkDirty inside it asks for the next run.
    dirty = false;
    inputChanged = false;
    filesRead.clear();

    const TraceSpan span("operator", GetKey());
    const auto begin = std::chrono::steady_clock::now();
    Operator* const outer = std::exchange(s_executing, this); // one that runs a graph of its own
    try
    {
        Execute(context);
    }
    catch (const std::exception& exception)
    {
        LogError("The operator \"" + GetKey() + "\" failed: " + exception.what());
    }
    catch (...)
    {
        LogError("The operator \"" + GetKey() + "\" failed for an unknown reason.");
    }
    s_executing = outer;
    executionTime += std::chrono::steady_clock::now() - begin;
    ++executionCount;
    executed = true;

    // After Execute, which reads the marks and may set parameters of its own.
    parameterChanged = false;
    ClearParameterMarks();
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
    if (graph)
        graph->Request(*this);
}

} // namespace Varkle
