#include "mesh/NoiseAttribute.h"

#include "mesh/TakeMesh.h"

namespace Varkle
{

NoiseAttribute::NoiseAttribute() = default;

NoiseAttribute::~NoiseAttribute() = default;

const ObjectType* NoiseAttribute::Type()
{
    static const ObjectType type("Varkle.Mesh.NoiseAttribute", Operator::Type(), [] { return new NoiseAttribute; });
    return &type;
}

void NoiseAttribute::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const unsigned count = position->GetVertexCount();
    const Attribute values(attributeName.Value(), wgpu::VertexFormat::Float32, count);

    pass.GetUniform("noiseTransform").SetMat4(noiseTransform.Value());
    pass.GetUniform("repetition").SetVec4({glm::vec3(repetition.Value()), float(rotation.Value())});
    pass.GetUniform("amplitude").SetFloat(float(amplitude.Value()));
    pass.GetUniform("offset").SetFloat(float(offset.Value()));
    pass.GetUniform("vertexCount").SetUInt(count);
    if (!pass.Run(count, {Read(*position), Write(values)}))
        return; // logged; the output keeps its last mesh
    meshOutput.Activate(mesh.AddAttribute(values));
}

} // namespace Varkle
