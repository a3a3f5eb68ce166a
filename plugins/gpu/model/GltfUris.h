#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Varkle
{

/// Returns why a model must not read the file of that name, as a sentence; nothing when it may.
///
/// A model may name files in its own folder, below it, and below the folder around it ("../textures/wood.png" is
/// common), by relative paths. With any other file a model from somewhere else could have a file of this machine taken
/// in and handed on in what is made from it. Links are followed: those who may place them may place the file itself.
std::optional<std::string> FindRefusal(std::string_view name);

/// Does the same for a buffer, whose name must also end in one of glTF's extensions for buffers, in any case: ".bin",
/// ".glbin" or ".glbuf". A picture must be one to be read; a buffer may be any file.
std::optional<std::string> FindBufferRefusal(std::string_view name);

/// Decodes "%20" and the like, and "+", as tinygltf does with the URIs of buffers.
std::string DecodeUri(std::string_view uri);

} // namespace Varkle
