#pragma once

#include "Varkle/Gpu/Texture.h"

#include <string>
#include <string_view>

namespace Varkle
{

/// Returns a swizzle as four letters out of "RGBA01", as TextureViewOptions understands it.
std::string NormalizeSwizzle(std::string_view swizzle);

/// Draws a texture into a new one of another format, each channel taken from where the normalized swizzle says. Empty
/// when that fails, which is logged.
Texture CopySwizzled(const Texture& source, wgpu::TextureFormat format, const std::string& swizzle);

} // namespace Varkle
