#pragma once

#include "Varkle/Core/Result.h"
#include "model/GltfRemarks.h"
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

/// Reads a glTF file with its buffers: the text form when the extension is exactly ".gltf", else the binary form. The
/// error is a sentence that goes on after `The model "chair.glb" can't be read`: ": No such file or directory."
///
/// Remarks are what tinygltf finds odd in a file that it reads, and the buffers that a model must not name, which are
/// left out: there is nothing in them. A buffer that can't be read is an error. So are files that would be costly or
/// dangerous to parse: other than regular files, more than 4 GiB in all, JSON that is nested too deep or has too many
/// elements.
Result<GltfFile> ReadGltfFile(const std::string& path, GltfRemarks& remarks);

} // namespace Varkle
