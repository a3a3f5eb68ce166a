#include "mesh/Noise.h"

#include "mesh/TakeMesh.h"

namespace Varkle
{

MeshNoise::MeshNoise() = default;

MeshNoise::~MeshNoise() = default;

const ObjectType* MeshNoise::Type()
{
    static const ObjectType type("Varkle.Mesh.Noise", Operator::Type(), [] { return new MeshNoise; });
    return &type;
}

void MeshNoise::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position", "Normal"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const Attribute* const normal = mesh.GetAttribute("Normal");
    const unsigned count = position->GetVertexCount();
    const Attribute newNormal(Attributes::Normal, count);

    pass.GetUniform("noiseTransform").SetMat4(noiseTransform.Value());
    pass.GetUniform("repetition").SetVec4({glm::vec3(repetition.Value()), float(rotation.Value())});
    pass.GetUniform("strength").SetFloat(float(strength.Value()));
    pass.GetUniform("vertexCount").SetUInt(count);
    if (!pass.Run(count, {Read(*position), Read(*normal), Write(newNormal)}))
        return; // logged; the output keeps its last mesh
    meshOutput.Activate(mesh.AddAttribute(newNormal));
}

} // namespace Varkle
