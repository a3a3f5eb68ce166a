#pragma once

#include "Varkle/Gpu/Texture.h"
#include "model/GltfFile.h"

#include <filesystem>
#include <vector>

namespace Varkle
{

/// Loads the images of a glTF file, one texture each in their order, empty for one that can't be loaded. URIs are taken
/// as file names relative to `folder`, nothing in them is decoded; those that a model must not name are left out with a
/// remark. Images of the same bytes are one texture, and all together have 4 GiB at most: further ones are left out.
std::vector<Texture> LoadGltfImages(GltfFile& file, const std::filesystem::path& folder, GltfRemarks& remarks);

/// Returns the textures of the file in their order, each showing its image.
std::vector<Texture> MakeGltfTextures(const tinygltf::Model& model, const std::vector<Texture>& images);

} // namespace Varkle
