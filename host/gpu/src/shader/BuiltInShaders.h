#pragma once

#include "Varkle/Gpu/Shader.h"

#include <string_view>

namespace Varkle
{

/// Returns a shader of the layer's own, made once, by its path among the sources: "scene/Scene.wgsl".
Shader GetBuiltInShader(std::string_view path);

} // namespace Varkle
