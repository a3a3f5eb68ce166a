#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/ShaderReflection.h"

#include <cstdint>
#include <vector>

namespace Varkle
{

/// Reads what the SPIR-V modules of one shader declare, one module or several (such as a vertex and a fragment module),
/// merged: bindings that several entry points declare appear once, with the stages of all.
///
/// A binding is named after its variable, or after its block where GLSL gives the variable no name. No modules give an
/// empty reflection.
/// The words must be what a compiler wrote: SPIRV-Cross notices modules that are cut off or something else altogether,
/// but it trusts the contents and may crash on ones that were altered.
/// Errors: an empty or malformed module; bindings that WebGPU cannot have (combined image samplers, texel buffers and
/// the like) or that cannot be laid out (row-major matrices); modules that declare different things at one binding.
Result<ShaderReflection> ReflectSpirv(const std::vector<std::vector<std::uint32_t>>& modules);

} // namespace Varkle
