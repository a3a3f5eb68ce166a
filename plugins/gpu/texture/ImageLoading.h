#pragma once

#include "Varkle/Gpu/Texture.h"

#include <optional>
#include <string>

namespace Varkle
{

/// Decodes a picture file and uploads it as a RGBA8 texture. Nothing when the file can't be read or decoded; no
/// message.
std::optional<Texture> LoadTextureFromFile(const std::string& path);

/// Does the same with the bytes of a picture file.
std::optional<Texture> LoadTextureFromMemory(const unsigned char* data, unsigned long size);

} // namespace Varkle
