#pragma once

#include "model/TinyGltf.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Is a glTF file as it was read: nothing in it is checked but what tinygltf needs for its own safety. Indices, offsets
/// and counts may be anything.
struct GltfFile
{
    tinygltf::Model model;
    /// What the data URIs of images held. Image URIs name them: see FindLifted.
    std::vector<std::vector<unsigned char>> embedded;
};

/// Reads a glTF file with its buffers: the text form when the extension is exactly ".gltf", else the binary form. What
/// tinygltf warns of and complains about goes to the log as it stands. Nothing when it failed.
///
/// Files that would be costly or dangerous to parse are errors: other than regular files, more than 4 GiB in all, JSON
/// that is nested too deep or has too many elements.
std::optional<GltfFile> ReadGltfFile(const std::string& path);

} // namespace Varkle
