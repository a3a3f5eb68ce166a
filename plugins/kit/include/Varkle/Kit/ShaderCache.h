#pragma once

#include "Varkle/Gpu/Shader.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Varkle
{

/// Makes each of the plug-in's shaders once per process, on first request, and hands out copies of the handle after
/// that: operators of one type share one compilation. What a missing resource gives is kept like any other result, so
/// that its warning appears once. Main thread only.
class ShaderCache
{
public:
    /// Returns the shader of the WGSL resource "Shaders/" + name. What it includes is looked for among the plug-in's
    /// own includes first, then among the host's.
    static Shader GetShader(const std::string& name);

    /// Makes a WGSL resource includable by a name for the plug-in's shaders, whatever other plug-ins call theirs. It is
    /// offered to the host too (Shader::AddIncludableFile), where the latest of a name serves shaders of others.
    static void AddInclude(const std::string& name, std::string_view resourcePath);

    /// Returns the shader linked from SPIR-V resources, each a full resource path, one for each stage.
    static Shader GetShaderSpirv(const std::vector<std::string>& paths);

    /// Forgets all shaders, not the includes; operators keep the handles that they have.
    static void Clear();

    /// Returns how many shaders are kept.
    static std::size_t GetSize() { return s_cache.size(); }

private:
    // WGSL shaders by name, SPIR-V shaders by their paths joined with "|".
    static std::unordered_map<std::string, Shader> s_cache;
    static IncludableFiles s_includes;
};

} // namespace Varkle
