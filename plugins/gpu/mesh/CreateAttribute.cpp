#include "mesh/CreateAttribute.h"

#include "mesh/TakeMesh.h"

#include <algorithm>
#include <memory>

namespace Varkle
{

namespace
{

struct TypeRow
{
    wgpu::VertexFormat format;
    ParameterType parameterType;
};

// In the order of the names of "Type": one to four components.
constexpr TypeRow types[] = {
    {wgpu::VertexFormat::Float32, ParameterType::Float},
    {wgpu::VertexFormat::Float32x2, ParameterType::Vector2},
    {wgpu::VertexFormat::Float32x3, ParameterType::Vector3},
    {wgpu::VertexFormat::Float32x4, ParameterType::Vector4},
};

struct ValueRow
{
    const char* name;
    double initial; // in every component
};

struct ModeRow
{
    std::vector<ValueRow> values;
    bool isRandom;

    bool Has(std::string_view name) const { return std::ranges::find(values, name, &ValueRow::name) != values.end(); }
};

// In the order of the names of "Mode", which is that of the shaders.
const ModeRow& GetMode(long long index)
{
    static const ModeRow modes[] = {
        {{{"Value", 0}}, false},
        {{{"Min", 0}, {"Max", 1}}, true},
        {{{"Mean", 0}, {"Std Deviation", 1}}, true},
        {{{"Min", 0}, {"Max", 1}}, false},
    };
    return modes[index];
}

template<class P, class T>
std::unique_ptr<Parameter> MakeParameter(std::string_view name, const T& initial)
{
    return std::make_unique<P>(ParameterScope(static_cast<Operator*>(nullptr)), name, initial);
}

std::unique_ptr<Parameter> MakeValue(ParameterType type, const ValueRow& row)
{
    switch (type)
    {
    case ParameterType::Vector2:
        return MakeParameter<Vector2Parameter>(row.name, glm::dvec2(row.initial));
    case ParameterType::Vector3:
        return MakeParameter<Vector3Parameter>(row.name, glm::dvec3(row.initial));
    case ParameterType::Vector4:
        return MakeParameter<Vector4Parameter>(row.name, glm::dvec4(row.initial));
    default:
        return MakeParameter<FloatParameter>(row.name, row.initial);
    }
}

glm::vec4 ReadValue(const Parameter& parameter)
{
    switch (parameter.GetParameterType())
    {
    case ParameterType::Vector2:
        return glm::vec4(glm::vec2(static_cast<const Vector2Parameter&>(parameter).Value()), 0.0f, 0.0f);
    case ParameterType::Vector3:
        return glm::vec4(glm::vec3(static_cast<const Vector3Parameter&>(parameter).Value()), 0.0f);
    case ParameterType::Vector4:
        return glm::vec4(static_cast<const Vector4Parameter&>(parameter).Value());
    default:
        return glm::vec4(float(static_cast<const FloatParameter&>(parameter).Value()), 0.0f, 0.0f, 0.0f);
    }
}

} // namespace

CreateAttribute::CreateAttribute()
{
    type.SetPossibleValues({"Float32", "Float32x2", "Float32x3", "Float32x4"},
                           {"Float", "Vector 2", "Vector 3", "Vector 4"});
    type.SetValue("Float32");
    type.SetParameterFlag(ParameterFlag::Structure, true);
    mode.SetPossibleValues({"Constant", "Random", "Normal Distribution", "Sequence"}, {});
    mode.SetValue("Constant");
    mode.SetParameterFlag(ParameterFlag::Structure, true);
}

CreateAttribute::~CreateAttribute() = default;

const ObjectType* CreateAttribute::Type()
{
    static const ObjectType objectType("Varkle.Mesh.CreateAttribute", Operator::Type(),
                                       [] { return new CreateAttribute; });
    return &objectType;
}

void CreateAttribute::UpdateStructure()
{
    Operator::UpdateStructure();
    const ParameterType wantedType = types[type.GetIndexOr(0)].parameterType;
    const ModeRow& wanted = GetMode(mode.GetIndexOr(0));

    const auto removeUnfit = [&](Parameter* value)
    {
        const bool fits = value->GetParameterType() == wantedType && wanted.Has(value->GetName());
        if (!fits)
            RemoveParameter(value);
        return !fits;
    };
    std::erase_if(values, removeUnfit);
    if (seed && !wanted.isRandom)
    {
        RemoveParameter(seed);
        seed = nullptr;
    }
    for (const ValueRow& row : wanted.values)
    {
        if (FindParameter(row.name))
            continue;
        std::unique_ptr<Parameter> value = MakeValue(wantedType, row);
        values.push_back(value.get());
        InsertParameter(std::move(value), seed); // which comes last
    }
    if (wanted.isRandom && !seed)
    {
        auto created = std::make_unique<IntParameter>();
        created->SetKey("RNG Seed");
        created->SetName("RNG Seed");
        created->SetValue(0);
        seed = created.get();
        AddParameter(std::move(created));
    }
}

void CreateAttribute::SetValueUniform(std::string_view uniform, std::string_view parameter)
{
    const auto value = std::ranges::find(values, parameter, &Parameter::GetName);
    if (value != values.end())
        passes[std::size_t(type.GetIndexOr(0))].GetUniform(uniform).SetVec4(ReadValue(**value));
}

void CreateAttribute::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const unsigned count = position->GetVertexCount();
    const auto typeIndex = std::size_t(type.GetIndexOr(0));
    const Attribute attribute(attributeName.Value(), types[typeIndex].format, count);

    SetValueUniform("constValue", "Value");
    SetValueUniform("minValue", "Min");
    SetValueUniform("maxValue", "Max");
    SetValueUniform("meanValue", "Mean");
    SetValueUniform("stddevValue", "Std Deviation");
    MeshComputePass& pass = passes[typeIndex];
    pass.GetUniform("vertexCount").SetUInt(count);
    pass.GetUniform("mode").SetUInt(unsigned(mode.GetIndexOr(0)));
    pass.GetUniform("seed").SetUInt(seed ? unsigned(seed->Value()) : 0U);
    if (!pass.Run(count, {Write(attribute)}))
        return; // logged; the output keeps its last mesh
    meshOutput.Activate(mesh.AddAttribute(attribute));
}

} // namespace Varkle
