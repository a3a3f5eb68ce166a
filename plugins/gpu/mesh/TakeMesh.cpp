#include "mesh/TakeMesh.h"

#include <algorithm>

namespace Varkle
{

std::optional<Mesh> TakeMesh(const MeshInput& input, MeshOutput& output,
                             std::initializer_list<std::string_view> attributes)
{
    if (!input.HasMesh())
        return std::nullopt;
    Mesh mesh = input.GetMeshData().GetMesh();
    if (std::ranges::all_of(attributes, [&mesh](std::string_view name) { return mesh.GetAttribute(name) != nullptr; }))
        return mesh;
    output.Activate(std::move(mesh));
    return std::nullopt;
}

} // namespace Varkle
