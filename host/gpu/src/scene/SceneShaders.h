#pragma once

#include "Varkle/Gpu/Shader.h"

#include <string_view>

namespace Varkle
{

/// Returns a shader of this folder by its file name, made once.
Shader GetSceneShader(std::string_view name);

} // namespace Varkle
