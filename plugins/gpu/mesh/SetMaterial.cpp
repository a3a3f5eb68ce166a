#include "mesh/SetMaterial.h"

namespace Varkle
{

SetMaterial::SetMaterial() = default;

SetMaterial::~SetMaterial() = default;

const ObjectType* SetMaterial::Type()
{
    static const ObjectType type("Varkle.Mesh.SetMaterial", Operator::Type(), [] { return new SetMaterial; });
    return &type;
}

void SetMaterial::Execute(ExecutionContext&)
{
    if (!meshInput.HasMesh())
        return; // the output keeps its last mesh

    Mesh mesh = meshInput.GetMeshData().GetMesh();
    if (materialInput.HasMaterial())
        mesh = mesh.SetMaterial(materialInput.GetMaterialData().GetMaterial());
    meshOutput.Activate(mesh);
}

} // namespace Varkle
