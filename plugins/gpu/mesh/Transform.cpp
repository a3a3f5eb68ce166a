#include "mesh/Transform.h"

#include "mesh/TakeMesh.h"

namespace Varkle
{

TransformMesh::TransformMesh() = default;

TransformMesh::~TransformMesh() = default;

const ObjectType* TransformMesh::Type()
{
    static const ObjectType type("Varkle.Mesh.Transform", Operator::Type(), [] { return new TransformMesh; });
    return &type;
}

void TransformMesh::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const unsigned count = position->GetVertexCount();
    const Attribute* const normal = mesh.GetAttribute("Normal");
    const Attribute* const tangent = mesh.GetAttribute("Tangent");
    const Attribute newPosition(Attributes::Position, count);
    const Attribute newNormal = normal ? Attribute(Attributes::Normal, count) : Attribute();
    const Attribute newTangent = tangent ? Attribute(Attributes::Tangent, count) : Attribute();

    pass.GetUniform("transform").SetMat4(transform.Value());
    pass.GetUniform("normalMatrix").SetMat4(GetNormalMatrix(transform.Value()));
    pass.GetUniform("vertexCount").SetUInt(count);
    pass.GetUniform("flags").SetUInt((normal ? 1U : 0U) + (tangent ? 2U : 0U));
    if (!pass.Run(count,
                  {Read(*position), Write(newPosition), normal ? Read(*normal) : Read(missingNormals),
                   normal ? Write(newNormal) : Write(unusedNormals), tangent ? Read(*tangent) : Read(missingTangents),
                   tangent ? Write(newTangent) : Write(unusedTangents)}))
        return; // logged; the output keeps its last mesh

    Mesh result = mesh.AddAttribute(newPosition);
    if (normal)
        result = result.AddAttribute(newNormal);
    if (tangent)
        result = result.AddAttribute(newTangent);
    meshOutput.Activate(result);
}

} // namespace Varkle
