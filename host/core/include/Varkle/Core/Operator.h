#pragma once

#include "Varkle/Core/DataPorts.h"
#include "Varkle/Core/Export.h"
#include "Varkle/Core/Object.h"
#include "Varkle/Core/Parameter.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

namespace Varkle
{

class Graph;
class ParameterBundleList;

/// Is handed to Execute by the host; operators pass it on and do not look inside.
class VARKLE_API ExecutionContext
{
    friend class Graph;
    ExecutionContext() = default;
};

/// Is the base of every node type. A derived class declares its inputs, outputs and parameters as members, in the order
/// in which the user sees them, and does its work in Execute. All of it happens on the main thread.
class VARKLE_API Operator : public Object
{
public:
    Operator();
    ~Operator() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Object* GetParentObjectImplementation() const override;
    Object* FindChildImplementation(std::string_view childKey) override;

public:
    /// Reads inputs and parameters, does the work and activates the outputs. Called when Outdated() says so. Parameters
    /// that it sets itself do not make the operator outdated. It must not add, remove or connect operators of its
    /// graph. An exception that leaves it is logged as an error and counts as an execution.
    virtual void Execute(ExecutionContext& context) = 0;

    /// True when the operator must execute: it never ran, a parameter (of its own or of a bundle) changed, came or
    /// went, an input carries something new or lost what it had, or it was marked dirty. An override may ask for more
    /// or for less; it is then asked on every run of the graph.
    virtual bool Outdated() const;

    /// Creates and removes parameters to fit others. Called once when the operator enters a graph, and from then on at
    /// once after a change of a parameter with ParameterFlag::Structure. Overrides call this base operation too.
    virtual void UpdateStructure();

    /// Asks for an execution although no input or parameter changed. Called inside Execute it asks for the next frame.
    void MarkDirty();

    /// Takes over a parameter created at run time and puts it at the end of the list. Null is ignored.
    void AddParameter(std::unique_ptr<Parameter>&& parameter);
    /// Does the same and puts it before another one of the list; at the end where that is not in it.
    void InsertParameter(std::unique_ptr<Parameter>&& parameter, const Parameter* before);
    /// Removes a parameter from the list; one that AddParameter took over is destroyed. A parameter that is not in the
    /// list is left alone.
    void RemoveParameter(Parameter* parameter);

    // What hosts, documents and editors ask.

    /// Returns the operator's own parameters in creation order, without those of bundles.
    const std::vector<Parameter*>& GetParameters() const { return parameters; }
    /// Returns single inputs (DataInput) and input lists (DataInputList) in creation order.
    const std::vector<Object*>& GetInputs() const { return inputs; }
    const std::vector<DataOutput*>& GetOutputs() const { return outputs; }
    const std::vector<ParameterBundleList*>& GetBundleLists() const { return bundleLists; }

    /// Find by display name; null when there is none.
    Parameter* FindParameter(std::string_view name) const;
    DataInput* FindInput(std::string_view name) const;
    DataInputList* FindInputList(std::string_view name) const;
    DataOutput* FindOutput(std::string_view name) const;
    ParameterBundleList* FindBundleList(std::string_view name) const;

    /// Returns the graph that the operator is in, or null.
    Graph* GetGraph() const;

    /// Grows with every parameter that comes or goes, so that holders of Parameter pointers know when to look again.
    unsigned long GetStructureVersion() const;

    /// How often Execute ran, and the time it took on this thread altogether.
    unsigned long GetExecutionCount() const;
    std::chrono::nanoseconds GetExecutionTime() const;

    /// Returns the files that the latest execution read or tried to read (FileRead), as absolute paths without "." and
    /// "..", each once.
    const std::vector<std::filesystem::path>& GetFilesRead() const;

    /// Returns the operator that is executing now, or null; GPU work, errors and files read are attributed to it. Null
    /// on every thread but the one on which it executes.
    static Operator* Executing();

private:
    friend class FileRead;
    friend class Graph;
    friend class Parameter;
    friend class ParameterBundle;
    friend class ParameterBundleList;
    friend class DataInput;
    friend class DataInputList;
    friend class DataOutput;

    // What the graph and this class note of the operator: not part of what plug-ins are built for.
    struct VARKLE_LOCAL State;

    std::string AdmitKey(std::string_view wanted) override;
    void KeyChanged() override;
    void Attach(Parameter& parameter);
    void Detach(Parameter& parameter);
    void ParametersComeOrGo();
    void StructureChanged();
    void TellStructure();
    void CallUpdateStructure();
    void MarkParametersChanged();
    void ParameterChanged(Parameter& parameter);
    void InputChanged();
    void FinishConstruction();
    void Run(ExecutionContext& context);
    void ClearParameterMarks();
    void RequestExecution();

    std::vector<Parameter*> parameters;
    std::vector<Object*> inputs;
    std::vector<DataOutput*> outputs;
    std::vector<ParameterBundleList*> bundleLists;
    std::unique_ptr<State> state;
    std::vector<std::unique_ptr<Parameter>> ownedParameters; // they leave the lists as they go
};

} // namespace Varkle
