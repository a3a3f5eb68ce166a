#include "mesh/Move.h"

#include "mesh/TakeMesh.h"

namespace Varkle
{

MeshMove::MeshMove() = default;

MeshMove::~MeshMove() = default;

const ObjectType* MeshMove::Type()
{
    static const ObjectType type("Varkle.Mesh.Move", Operator::Type(), [] { return new MeshMove; });
    return &type;
}

void MeshMove::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position", "Normal"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const Attribute* const normal = mesh.GetAttribute("Normal");
    const unsigned count = position->GetVertexCount();
    const std::string name = amountAttribute.Value();
    const Attribute* const amounts = name.empty() ? nullptr : mesh.GetAttribute(name);
    const Attribute newPosition(Attributes::Position, count);

    pass.GetUniform("amount").SetFloat(float(amount.Value()));
    pass.GetUniform("vertexCount").SetUInt(count);
    pass.GetUniform("useAttribute").SetUInt(amounts ? 1U : 0U);
    if (!pass.Run(count, {Read(*position), Write(newPosition), Read(*normal),
                          amounts ? Read(*amounts) : Read(missingAmounts)}))
        return; // logged; the output keeps its last mesh
    meshOutput.Activate(mesh.AddAttribute(newPosition));
}

} // namespace Varkle
