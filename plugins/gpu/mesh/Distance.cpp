#include "mesh/Distance.h"

#include <glm/geometric.hpp>
#include <glm/matrix.hpp>

namespace Varkle
{

MeshDistance::MeshDistance()
{
    shape.SetPossibleValues({"Point", "Line", "Sphere"}, {});
}

MeshDistance::~MeshDistance() = default;

const ObjectType* MeshDistance::Type()
{
    static const ObjectType type("Varkle.Mesh.Distance", Operator::Type(), [] { return new MeshDistance; });
    return &type;
}

void MeshDistance::Execute(ExecutionContext&)
{
    if (!meshInput.HasMesh())
        return; // the output keeps its last mesh

    const Mesh mesh = meshInput.GetMeshData().GetMesh();
    const Attribute* const position = mesh.GetAttribute("Position");
    if (!position)
        return; // likewise

    const unsigned count = position->GetVertexCount();
    const Attribute distances(attributeName.Value(), wgpu::VertexFormat::Float32, count);

    pass.GetUniform("inverseTransform").SetMat4(glm::inverse(shapeTransform.Value()));
    pass.GetUniform("center").SetVec4(glm::vec4(glm::vec3(center.Value()), 0.0f));
    pass.GetUniform("direction").SetVec4({glm::vec3(glm::normalize(direction.Value())), float(radius.Value())});
    pass.GetUniform("vertexCount").SetUInt(count);
    pass.GetUniform("shapeType").SetUInt(unsigned(shape.GetIndexOr(0)));
    if (!pass.Run(count, {Read(*position), Write(distances)}))
        return; // logged; the output keeps its last mesh
    meshOutput.Activate(mesh.AddAttribute(distances));
}

} // namespace Varkle
