#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/ShaderReflection.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

struct ShaderData;

/// Sources by the names under which shaders include them.
using IncludableFiles = std::map<std::string, std::string, std::less<>>;

/// Is a handle of a shader: its source and what the source declares. Copies share it; a default-constructed handle is
/// empty. The driver sees the source when a pipeline first needs it; errors are then logged with file, line and the
/// line itself.
class VARKLE_API Shader
{
public:
    Shader() = default;

    /// Makes a shader of WGSL text. A line `#include "Name"` is replaced by the source of that name, each name once a
    /// shader: one of `own`, which includes inside included sources see too, else the one registered under the name.
    /// Empty text makes a shader without entry points.
    static Shader FromWgsl(const std::string& source, const IncludableFiles& own = {});

    /// Links SPIR-V modules, one for each stage, into one shader.
    static Shader FromSpirv(const std::vector<std::vector<std::uint32_t>>& modules);

    /// Registers a source for includes. A name that is registered already gets the new source; shaders made before keep
    /// theirs.
    static void AddIncludableFile(const std::string& name, const std::string& source);

    /// Returns what the source declares; empty for an empty handle.
    const ShaderReflection& GetReflection() const;

    explicit operator bool() const { return data != nullptr; }
    bool operator==(const Shader&) const = default;

private:
    friend struct ShaderAccess;
    std::shared_ptr<ShaderData> data;
};

} // namespace Varkle
