#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Operators that pass numbers along, small enough to follow by hand.

namespace Varkle
{

class NumberInput;

class NumberOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;

    void Activate(double newNumber)
    {
        number = newNumber;
        Publish();
    }
    double GetNumber() const { return number; }

    const ObjectType* GetInputType() const override;
    std::string_view GetDataTypeName() const override { return "Number"; }

private:
    void ClearData() override { number = 0.0; }
    double number = 0.0;
};

class NumberInput final : public DataInput
{
public:
    using DataInput::DataInput;

    bool HasNumber() const { return GetConnection() && GetConnection()->IsActive(); }
    double GetNumber() const { return HasNumber() ? static_cast<NumberOutput*>(GetConnection())->GetNumber() : 0.0; }

    static const ObjectType* Type()
    {
        static const ObjectType type("Varkle.Test.NumberInput", Object::Type(), [] { return new NumberInput; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Number"; }
};

inline const ObjectType* NumberOutput::GetInputType() const
{
    return NumberInput::Type();
}

/// Takes words; there is no output that gives any.
class WordInput final : public DataInput
{
public:
    using DataInput::DataInput;

    static const ObjectType* Type()
    {
        static const ObjectType type("Varkle.Test.WordInput", Object::Type(), [] { return new WordInput; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Word"; }
};

/// Notes each execution under the operator's key, then does what the test asks for.
class TestOperator : public Operator
{
public:
    void Execute(ExecutionContext&) override
    {
        Executed().push_back(GetKey());
        Work();
        if (during)
            during();
    }

    static std::vector<std::string>& Executed()
    {
        static std::vector<std::string> keys;
        return keys;
    }

    std::function<void()> during;

private:
    virtual void Work() {}
};

/// Gives its value.
class Source final : public TestOperator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Varkle.Test.Source", Operator::Type(), [] { return new Source; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    NumberOutput output{this, "Number Output"};
    FloatParameter value{ParameterScope(this), "Value", 1.0};

private:
    void Work() override { output.Activate(value.Value()); }
};

/// Adds its offset to the sum of two numbers.
class Sum final : public TestOperator
{
public:
    NumberInput first{this, "First"};
    NumberInput second{this, "Second"};
    WordInput word{this, "Word"};
    NumberOutput output{this, "Number Output"};
    FloatParameter offset{ParameterScope(this), "Offset", 0.0};

private:
    void Work() override { output.Activate(first.GetNumber() + second.GetNumber() + offset.Value()); }
};

/// Notes what its list tells it.
class Collect final : public TestOperator
{
public:
    std::vector<std::string> heard;
    NumberOutput output{this, "Number Output"};
    DataInputList inputs{this, "Inputs", NumberInput::Type(),
                         DataInputList::InputHandlers{[this](DataInput& input) { Hear("added", input); },
                                                      [this](DataInput& input) { Hear("removing", input); },
                                                      [this]
                                                      {
                                                          heard.push_back("changed");
                                                          MarkDirty();
                                                      }}};

private:
    void Hear(const std::string& what, const DataInput& input)
    {
        heard.push_back(what + " " + input.GetKey() + (input.GetConnection() ? " connected" : ""));
    }

    void Work() override
    {
        double sum = 0.0;
        for (const DataInput* const input : inputs.GetInputs())
            sum += static_cast<const NumberInput*>(input)->GetNumber();
        output.Activate(sum);
    }
};

/// Weighs each number of its list with a parameter of the bundle that has the input's key.
class Weigh final : public TestOperator
{
public:
    Weigh() { weightList.SetBundlesNumbered(true); }

    FloatParameter& WeightOf(const DataInput& input) { return *weights.at(input.GetKey()); }

    NumberOutput output{this, "Number Output"};
    DataInputList inputs{
        this, "Inputs", NumberInput::Type(),
        DataInputList::InputHandlers{[this](DataInput& input) { weightList.CreateBundle("", input.GetKey()); },
                                     [this](DataInput& input) { RemoveBundleOf(input); }, [this] { MarkDirty(); }}};
    ParameterBundleList weightList{
        this, "Weights",
        ParameterBundleList::BundleHandlers{[this](ParameterBundle& bundle) { Fill(bundle); },
                                            [this](ParameterBundle& bundle) { weights.erase(bundle.GetKey()); },
                                            {}}};
    std::map<std::string, std::unique_ptr<FloatParameter>> weights;

private:
    void Fill(ParameterBundle& bundle)
    {
        bundle.SetName("Input");
        weights[bundle.GetKey()] = std::make_unique<FloatParameter>(ParameterScope(bundle), "Weight", 1.0);
    }

    void RemoveBundleOf(const DataInput& input)
    {
        for (ParameterBundle* const bundle : weightList.GetBundles())
        {
            if (bundle->GetKey() == input.GetKey())
            {
                weightList.RemoveBundle(bundle);
                return;
            }
        }
    }

    void Work() override
    {
        double sum = 0.0;
        for (const DataInput* const input : inputs.GetInputs())
            sum += WeightOf(*input).Value() * static_cast<const NumberInput*>(input)->GetNumber();
        output.Activate(sum);
    }
};

/// Has a "Value" of the kind that "Type" names, and a "Seed" while "Random" is on.
class Shape final : public TestOperator
{
public:
    Shape()
    {
        type.SetPossibleValues({"Float", "Vector 2"}, {});
        type.SetParameterFlag(ParameterFlag::Structure, true);
        random.SetParameterFlag(ParameterFlag::Structure, true);
    }

    void UpdateStructure() override
    {
        ++structureUpdates;
        const bool vector = type.Value() == "Vector 2";
        const ParameterType wanted = vector ? ParameterType::Vector2 : ParameterType::Float;
        if (value && value->GetParameterType() != wanted)
            RemoveParameter(std::exchange(value, nullptr));
        if (!value && vector)
            value = Create<Vector2Parameter>("Value");
        else if (!value)
            value = Create<FloatParameter>("Value");
        if (seed && !random.Value())
            RemoveParameter(std::exchange(seed, nullptr));
        if (!seed && random.Value())
            seed = Create<IntParameter>("Seed");
        Operator::UpdateStructure();
    }

    EnumParameter type{ParameterScope(this), "Type"};
    BoolParameter random{ParameterScope(this), "Random", false};
    Parameter* value = nullptr;
    Parameter* seed = nullptr;
    int structureUpdates = 0;

private:
    template<class T>
    T* Create(const char* name)
    {
        auto created = std::make_unique<T>();
        created->SetKey(name);
        created->SetName(name);
        T* const parameter = created.get();
        AddParameter(std::move(created));
        return parameter;
    }
};

/// Reports on the source that it refers to, on every run.
class Report final : public TestOperator
{
public:
    Report()
    {
        reported.SetParameterFlag(ParameterFlag::Output, true);
        found.SetParameterFlag(ParameterFlag::Output, true);
        target.SetFilter(ObjectFilter(Source::Type(), ObjectScope::SameDocument));
    }

    bool Outdated() const override
    {
        ++asked;
        return wants;
    }

    FloatParameter reported{ParameterScope(this), "Reported", 0.0};
    BoolParameter found{ParameterScope(this), "Found", false};
    PtrParameter target{ParameterScope(this), "Target", nullptr};
    bool wants = true;
    mutable int asked = 0;

private:
    void Work() override
    {
        const auto* const source = dynamic_cast<const Source*>(target.Value());
        found.SetValue(source != nullptr);
        if (source)
            reported.SetValue(source->value.Value());
    }
};

template<class T>
T& Add(Graph& graph, std::string_view key)
{
    return static_cast<T&>(*graph.Add(std::make_unique<T>(), key));
}

/// Runs the graph and returns the keys of the operators that executed, in order.
inline std::vector<std::string> Run(Graph& graph)
{
    TestOperator::Executed().clear();
    graph.Run();
    return TestOperator::Executed();
}

inline std::vector<std::string> Run(Graph& graph, const std::vector<Operator*>& targets)
{
    TestOperator::Executed().clear();
    graph.Run(targets);
    return TestOperator::Executed();
}

/// Connects and returns the message of the error, "" when there is none.
inline std::string TryConnect(Graph& graph, DataOutput& output, DataInput& input)
{
    const Status status = graph.Connect(output, input);
    return status ? "" : status.GetError().message;
}

using Keys = std::vector<std::string>;

} // namespace Varkle
