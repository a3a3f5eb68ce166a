#include "mesh/Twist.h"

#include <glm/trigonometric.hpp>

namespace Example
{

const Varkle::ObjectType* Twist::Type()
{
    static const Varkle::ObjectType type("Example.Mesh.Twist", Operator::Type(), [] { return new Twist; });
    return &type;
}

void Twist::Execute(Varkle::ExecutionContext&)
{
    if (!meshInput.HasMesh())
        return; // the output keeps its last mesh

    const Varkle::Mesh mesh = meshInput.GetMeshData().GetMesh();
    const Varkle::Attribute* const position = mesh.GetAttribute("Position");
    const Varkle::Attribute* const normal = mesh.GetAttribute("Normal");
    if (!position || !normal)
    {
        meshOutput.Activate(mesh); // there is nothing to turn
        return;
    }

    // Meshes never change once they were handed on: new attributes take the place of the old ones, and all else is
    // shared.
    const unsigned count = position->GetVertexCount();
    const Varkle::Attribute newPosition(Varkle::Attributes::Position, count);
    const Varkle::Attribute newNormal(Varkle::Attributes::Normal, count);
    pass.GetUniform("angle").SetFloat(float(glm::radians(angle.Value())));
    pass.GetUniform("vertexCount").SetUInt(count);
    if (pass.Run(count, {Read(*position), Write(newPosition), Read(*normal), Write(newNormal)}))
        meshOutput.Activate(mesh.AddAttribute(newPosition).AddAttribute(newNormal));
}

} // namespace Example
