#pragma once

#include "Varkle/Gpu/Mesh.h"
#include "model/TinyGltf.h"

#include <memory>
#include <vector>

namespace Varkle
{

/// Makes the meshes of a glTF file: for each of its meshes a list with one for each primitive that is kept.
///
/// Kept are triangles. A primitive is left out when its indices can't be read or point beyond its vertices, an
/// attribute when its elements can't be read or are not as many as the positions (or else the first attribute) are.
std::vector<std::vector<Mesh>> MakeGltfMeshes(const tinygltf::Model& model,
                                              const std::vector<std::shared_ptr<Material>>& materials);

} // namespace Varkle
