#pragma once

#include "Varkle/Gpu/Material.h"
#include "model/TinyGltf.h"

#include <memory>
#include <vector>

namespace Varkle
{

/// Makes the materials of a glTF file in their order. A reference to a texture that the file does not have counts as
/// none.
std::vector<std::shared_ptr<Material>> MakeGltfMaterials(const tinygltf::Model& model,
                                                         const std::vector<Texture>& textures);

} // namespace Varkle
