#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Ports.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Operators that need no GPU, with documents: every kind of parameter, a list with bundles, parameters that come and
// go, parameters that the operator writes, outputs of two kinds.

namespace Varkle::Testing
{

/// Notes each execution under the operator's key and passes an empty mesh on.
class NotingOperator : public Operator
{
public:
    void Execute(ExecutionContext&) override
    {
        Executed().push_back(GetKey());
        Work();
    }

    static std::vector<std::string>& Executed()
    {
        static std::vector<std::string> keys;
        return keys;
    }

private:
    virtual void Work() {}
};

/// Has a parameter of every kind, and notes in "Runs With Trigger" how often it ran triggered.
class Everything final : public NotingOperator
{
public:
    Everything()
    {
        choice.SetPossibleValues({"One", "Two", "0"}, {"The first", "The second", "Zero"});
        plainChoice.SetPossibleValues({"Left", "Right"}, {});
        file.SetEditorType(StringParameter::EditorType::FilePath);
        folder.SetEditorType(StringParameter::EditorType::Folder);
        triggeredRuns.SetParameterFlag(ParameterFlag::Output, true);
    }

    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Everything", Operator::Type(), [] { return new Everything; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    MeshOutput output{this, "Mesh Output"};
    MeshInput meshInput{this, "Mesh Input"};
    TextureInput textureInput{this, "Texture Input"};
    FloatParameter number{ParameterScope(this), "Float", 0.5};
    IntParameter count{ParameterScope(this), "Int", 3};
    BoolParameter flag{ParameterScope(this), "Bool", false};
    StringParameter text{ParameterScope(this), "String", "plain"};
    StringParameter file{ParameterScope(this), "File", ""};
    StringParameter folder{ParameterScope(this), "Folder", ""};
    EnumParameter choice{ParameterScope(this), "Enum"};
    EnumParameter plainChoice{ParameterScope(this), "Side"};
    ColorParameter color{ParameterScope(this), "Color", Color{0.0, 0.0, 0.0, 1.0}};
    Vector2Parameter vector2{ParameterScope(this), "Vector 2", glm::dvec2(0)};
    Vector3Parameter vector3{ParameterScope(this), "Vector 3", glm::dvec3(0)};
    Vector4Parameter vector4{ParameterScope(this), "Vector 4", glm::dvec4(0)};
    Vector2IntParameter vector2Int{ParameterScope(this), "Vector 2 Int", glm::ivec2(0)};
    Vector3IntParameter vector3Int{ParameterScope(this), "Vector 3 Int", glm::ivec3(0)};
    Transform3DParameter transform{ParameterScope(this), "Transform 3D", glm::mat4(1)};
    TriggerParameter trigger{ParameterScope(this), "Trigger", false};
    PtrParameter reference{ParameterScope(this), "Reference", nullptr};
    IntParameter triggeredRuns{ParameterScope(this), "Runs With Trigger", 0};

private:
    void Work() override
    {
        triggeredRuns.SetValue(triggeredRuns.Value() + (trigger.IsTriggered() ? 1 : 0));
        output.Activate(Mesh());
    }
};

inline constexpr const char* everythingDocument = R"(---
type: Test.Everything
summary: Has a parameter of every kind.
tags: [test]
outputs:
  Mesh Output: { type: Mesh, description: Nothing. }
inputs:
  Mesh Input: { type: Mesh, description: Ignored. }
  Texture Input: { type: Texture, description: Ignored. }
parameters:
  Float: { type: Float, description: A number. }
  Int: { type: Int, description: A number. }
  Bool: { type: Bool, description: A switch. }
  String: { type: String, description: A text. }
  File: { type: String, description: A file. }
  Folder: { type: String, description: A folder. }
  Enum: { type: Enum, values: [One, Two, "0"], description: A choice. }
  Side: { type: Enum, values: [Left, Right], description: A choice. }
  Color: { type: Color, description: A color. }
  Vector 2: { type: Vector 2, description: Numbers. }
  Vector 3: { type: Vector 3, description: Numbers. }
  Vector 4: { type: Vector 4, description: Numbers. }
  Vector 2 Int: { type: Vector 2 Int, description: Numbers. }
  Vector 3 Int: { type: Vector 3 Int, description: Numbers. }
  Transform 3D: { type: Transform 3D, description: A matrix. }
  Trigger: { type: Trigger, description: A button. }
  Reference: { type: Reference, description: Any operator. }
  Runs With Trigger: { type: Int, output: true, description: How often it ran triggered. }
---
)";

/// Gives a texture, but never has one.
class Picture final : public NotingOperator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Picture", Operator::Type(), [] { return new Picture; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    TextureOutput output{this, "Texture Output"};
};

inline constexpr const char* pictureDocument = R"(---
type: Test.Picture
summary: Gives a texture.
tags: [test]
outputs:
  Texture Output: { type: Texture, description: Nothing. }
---
)";

/// Has a list of inputs with a bundle for each.
class Stack final : public NotingOperator
{
public:
    Stack() { weightList.SetBundlesNumbered(true); }

    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Stack", Operator::Type(), [] { return new Stack; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    const FloatParameter& Weight(std::size_t i) const { return *weights.at(inputs.GetInputs()[i]->GetKey()).weight; }
    const ColorParameter& Tint(std::size_t i) const { return *weights.at(inputs.GetInputs()[i]->GetKey()).tint; }

    MeshOutput output{this, "Mesh Output"};
    DataInputList inputs{
        this, "Inputs", MeshInput::Type(),
        DataInputList::InputHandlers{
            [this](DataInput& input) { weightList.CreateBundle("", input.GetKey()); },
            [this](DataInput& input)
            { weightList.RemoveBundle(static_cast<ParameterBundle*>(weightList.FindChild(input.GetKey()))); },
            [this] { MarkDirty(); }}};
    ParameterBundleList weightList{
        this, "Weights",
        BundleHandlers{[this](ParameterBundle& bundle)
                       {
                           bundle.SetName("Input");
                           weights[bundle.GetKey()] = {
                               std::make_unique<FloatParameter>(ParameterScope(bundle), "Weight", 1.0),
                               std::make_unique<ColorParameter>(ParameterScope(bundle), "Tint", Color{1, 1, 1, 1})};
                       },
                       [this](ParameterBundle& bundle) { weights.erase(bundle.GetKey()); },
                       {}}};

private:
    struct Parts
    {
        std::unique_ptr<FloatParameter> weight;
        std::unique_ptr<ColorParameter> tint;
    };

    void Work() override { output.Activate(Mesh()); }

    std::map<std::string, Parts> weights;
};

inline constexpr const char* stackDocument = R"(---
type: Test.Stack
summary: Weighs any number of meshes.
tags: [test]
outputs:
  Mesh Output: { type: Mesh, description: Nothing. }
inputs:
  Inputs: { type: Mesh, description: Any number. }
parameters:
  Weights:
    summary: A weight for each input.
    parameters:
      Weight: { type: Float, description: How much. }
      Tint: { type: Color, description: A color. }
---
)";

/// Has a "Value" of the kind that "Type" names; in the mode "Random" a "Min", a "Max" and a switch "Seeded", which
/// brings a "Seed".
class Maker final : public NotingOperator
{
public:
    Maker()
    {
        type.SetPossibleValues({"Float", "Vector 3"}, {});
        mode.SetPossibleValues({"Constant", "Random"}, {});
        type.SetParameterFlag(ParameterFlag::Structure, true);
        mode.SetParameterFlag(ParameterFlag::Structure, true);
    }

    static const ObjectType* Type()
    {
        static const ObjectType objectType("Test.Maker", Operator::Type(), [] { return new Maker; });
        return &objectType;
    }
    const ObjectType* GetType() const override { return Type(); }

    void UpdateStructure() override
    {
        const bool random = mode.Value() == "Random";
        const ParameterType kind = type.Value() == "Vector 3" ? ParameterType::Vector3 : ParameterType::Float;
        Want("Value", !random, kind);
        Want("Min", random, kind);
        Want("Max", random, kind);
        Want("Seeded", random, ParameterType::Bool);
        const auto* const seeded = static_cast<BoolParameter*>(FindParameter("Seeded"));
        Want("Seed", seeded && seeded->Value(), ParameterType::Int);
        Operator::UpdateStructure();
    }

    MeshOutput output{this, "Mesh Output"};
    EnumParameter type{ParameterScope(this), "Type"};
    EnumParameter mode{ParameterScope(this), "Mode"};
    StringParameter name{ParameterScope(this), "Name", "attribute"};

private:
    // Sees to it that there is a parameter of a kind, or none.
    void Want(const char* parameterName, bool wanted, ParameterType kind)
    {
        Parameter* const old = FindParameter(parameterName);
        if (old && wanted && old->GetParameterType() == kind)
            return;
        if (old)
            RemoveParameter(old);
        if (!wanted)
            return;
        std::unique_ptr<Parameter> made;
        if (kind == ParameterType::Float)
            made = std::make_unique<FloatParameter>();
        else if (kind == ParameterType::Vector3)
            made = std::make_unique<Vector3Parameter>();
        else if (kind == ParameterType::Bool)
            made = std::make_unique<BoolParameter>();
        else
            made = std::make_unique<IntParameter>();
        made->SetName(parameterName);
        made->SetKey(parameterName);
        made->SetParameterFlag(ParameterFlag::Structure, kind == ParameterType::Bool);
        AddParameter(std::move(made));
    }

    void Work() override { output.Activate(Mesh()); }
};

inline constexpr const char* makerDocument = R"(---
type: Test.Maker
summary: Has parameters that come and go.
tags: [test]
outputs:
  Mesh Output: { type: Mesh, description: Nothing. }
parameters:
  Type: { type: Enum, values: [Float, Vector 3], description: A kind. }
  Mode: { type: Enum, values: [Constant, Random], description: A mode. }
  Name: { type: String, description: A name. }
  Value: { type: "[Type]", description: In the mode Constant. }
  Min: { type: "[Type]", description: In the mode Random. }
  Max: { type: "[Type]", description: In the mode Random. }
  Seeded: { type: Bool, description: In the mode Random. }
  Seed: { type: Int, description: While seeded. }
---
)";

/// Has an input and no output.
class Sink final : public NotingOperator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Sink", Operator::Type(), [] { return new Sink; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    MeshInput input{this, "Mesh Input"};
};

inline constexpr const char* sinkDocument = R"(---
type: Test.Sink
summary: Takes a mesh.
tags: [test]
inputs:
  Mesh Input: { type: Mesh, description: Ignored. }
---
)";

/// Refers to a sink and says, on every run, whether it has one.
class Report final : public NotingOperator
{
public:
    Report()
    {
        found.SetParameterFlag(ParameterFlag::Output, true);
        target.SetFilter(ObjectFilter(Sink::Type(), ObjectScope::SameDocument));
    }

    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Report", Operator::Type(), [] { return new Report; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    bool Outdated() const override { return true; }

    BoolParameter found{ParameterScope(this), "Found", false};
    PtrParameter target{ParameterScope(this), "Target", nullptr};

private:
    void Work() override { found.SetValue(target.Value() != nullptr); }
};

inline constexpr const char* reportDocument = R"(---
type: Test.Report
summary: Refers to a sink.
tags: [test]
parameters:
  Found: { type: Bool, output: true, description: Whether there is one. }
  Target: { type: Reference, description: The sink. }
---
)";

/// Sets its own "Size" to 7 whenever it runs.
class Copier final : public NotingOperator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Copier", Operator::Type(), [] { return new Copier; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }

    FloatParameter size{ParameterScope(this), "Size", 1.0};

private:
    void Work() override { size.SetValue(7.0); }
};

inline constexpr const char* copierDocument = R"(---
type: Test.Copier
summary: Sets its own parameter.
tags: [test]
parameters:
  Size: { type: Float, description: A size. }
---
)";

/// Makes the operators above known, once.
inline void RegisterDocumentOperators()
{
    if (TypeLibrary::Get().Find("Test.Everything"))
        return;
    const auto add = [](const ObjectType* type, const std::string& name, const char* document)
    { TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(type, "Docs/Operators/Test/" + name + ".md", document)); };
    add(Everything::Type(), "Everything", everythingDocument);
    add(Picture::Type(), "Picture", pictureDocument);
    add(Stack::Type(), "Stack", stackDocument);
    add(Maker::Type(), "Maker", makerDocument);
    add(Sink::Type(), "Sink", sinkDocument);
    add(Report::Type(), "Report", reportDocument);
    add(Copier::Type(), "Copier", copierDocument);
}

/// Makes a document's text of its operators, which begin in line 2.
inline std::string WithOperators(const std::string& operators)
{
    return "{ \"format\": \"varkle-graph\", \"version\": 1, \"operators\": [\n" + operators + "\n] }\n";
}

} // namespace Varkle::Testing
