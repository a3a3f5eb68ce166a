#pragma once

#include "Varkle/Gpu/Model.h"
#include "model/TinyGltf.h"

#include <optional>
#include <vector>

namespace Varkle
{

/// Builds the tree of the scene that a glTF file shows: its only root, or a node above all its roots. Nothing when
/// there is no scene or it lists no node. `meshes` has the meshes of each of the file's meshes.
///
/// References to nodes that the file does not have, and to a node's own ancestors, are left out. A node that several
/// others refer to appears below each of them.
std::optional<ModelNode> BuildGltfTree(const tinygltf::Model& model, const std::vector<std::vector<Mesh>>& meshes);

} // namespace Varkle
