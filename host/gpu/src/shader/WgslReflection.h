#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/ShaderReflection.h"

#include <string_view>

namespace Varkle
{

/// Reads what a WGSL text declares, whether it is used or not: entry points, bindings with their layouts, vertex inputs
/// and fragment outputs. Includes must be expanded already.
///
/// Function bodies are not read, and nothing is checked that the GPU's own compiler checks: of a wrong text this gives
/// what it could make out, or an error that the compiler's own messages explain better.
/// Errors: a binding or vertex input whose type cannot be laid out (unknown, endless, larger than 4 GiB), two variables
/// with one group and binding, and external textures, which this layer does not bind.
Result<ShaderReflection> ReflectWgsl(std::string_view source);

} // namespace Varkle
