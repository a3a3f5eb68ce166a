#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "support/Pixels.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Varkle::Testing
{

/// Publishes whatever texture a test gives it.
class TextureSource final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.TextureSource", Operator::Type(), [] { return new TextureSource; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        if (texture)
            output.Activate(texture);
        else
            output.Clear();
    }

    void Set(const Texture& newTexture)
    {
        texture = newTexture;
        MarkDirty();
    }

private:
    TextureOutput output{this, "Texture Output"};
    Texture texture;
};

/// Holds one operator in a graph of its own, with a source for each of its texture inputs.
template<class Op>
class OperatorRunner
{
public:
    OperatorRunner() : op(static_cast<Op*>(graph.Add(Op::Type(), "op"))) {}

    Operator& Get() { return *op; }
    Op& GetOperator() { return *op; }
    Graph& GetGraph() { return graph; }

    /// Returns a parameter by its display name as its class; fails the test when it is another.
    template<class P>
    P& Parameter(std::string_view name)
    {
        auto* const parameter = dynamic_cast<P*>(op->FindParameter(name));
        if (!parameter)
            throw std::invalid_argument("there is no such parameter of that kind: " + std::string(name));
        return *parameter;
    }

    void SetEnum(std::string_view name, std::string_view value) { Parameter<EnumParameter>(name).SetValue(value); }
    void SetFloat(std::string_view name, double value) { Parameter<FloatParameter>(name).SetValue(value); }
    void SetInt(std::string_view name, long long value) { Parameter<IntParameter>(name).SetValue(value); }
    void SetBool(std::string_view name, bool value) { Parameter<BoolParameter>(name).SetValue(value); }
    void SetString(std::string_view name, std::string_view value) { Parameter<StringParameter>(name).SetValue(value); }
    void SetVector2(std::string_view name, glm::dvec2 value) { Parameter<Vector2Parameter>(name).SetValue(value); }
    void SetColor(std::string_view name, const Color& value) { Parameter<ColorParameter>(name).SetValue(value); }
    void SetTransform(std::string_view name, const glm::mat4& value)
    {
        Parameter<Transform3DParameter>(name).SetValue(value);
    }
    void SetSize(glm::ivec2 size)
    {
        if (op->FindParameter("Output Format"))
            SetEnum("Output Format", "Manual");
        Parameter<Vector2IntParameter>("Texture Size").SetValue(size);
    }

    /// Feeds an input with a texture; an empty one leaves the input connected to a source that carries nothing.
    void Connect(std::string_view input, const Texture& texture)
    {
        DataInput* const target = op->FindInput(input);
        if (!target)
            throw std::invalid_argument("there is no input " + std::string(input));
        Connect(*target, texture);
    }
    void Connect(DataInput& target, const Texture& texture)
    {
        if (!target.GetConnection())
        {
            Operator* const added = graph.Add(TextureSource::Type());
            if (!graph.Connect(*added->GetOutputs()[0], target))
                throw std::logic_error("the source can't be connected");
        }
        static_cast<TextureSource*>(target.GetConnection()->GetOperator())->Set(texture);
    }

    void Disconnect(std::string_view input) { graph.Disconnect(*op->FindInput(input)); }

    DataInputList& InputList(std::string_view name)
    {
        DataInputList* const list = op->FindInputList(name);
        if (!list)
            throw std::invalid_argument("there is no input list " + std::string(name));
        return *list;
    }

    /// Adds an element at the end of a list and feeds it with a texture, as Connect does. Returns the element.
    DataInput& ConnectToList(std::string_view list, const Texture& texture)
    {
        DataInput& added = *InputList(list).AddInput();
        Connect(added, texture);
        return added;
    }

    void Execute() { graph.Run(); }

    /// Returns what the output carries now, empty when it carries nothing.
    Texture Output() const { return static_cast<TextureOutput*>(op->GetOutputs()[0])->GetTexture(); }

    /// Runs the graph and reads the output back.
    Image Run()
    {
        Execute();
        return ReadBack(Output());
    }

private:
    Graph graph;
    Op* op;
};

} // namespace Varkle::Testing
