#pragma once

#include "Varkle/Gpu/Shader.h"
#include "shader/ShaderIncludes.h"

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Varkle
{

struct RenderPipelineData;
struct ComputePipelineData;

/// The device generation of what was never made.
inline constexpr unsigned long noGeneration = ~0ul;

/// The bindings, as group and number, whose block is chosen by an offset.
using DynamicOffsets = std::set<std::pair<int, int>>;

/// The layouts of a shader's bind groups for one choice of dynamic offsets. GPU objects are made by PrepareLayout.
struct BindingLayout
{
    DynamicOffsets dynamicOffsets;
    std::vector<wgpu::BindGroupLayout>
        groups;                          ///< by group number; groups without bindings have a layout without entries
    wgpu::PipelineLayout pipelineLayout; ///< null when the device refused it
    unsigned long generation = noGeneration;
};

/// What a shader handle refers to.
struct ShaderData
{
    ExpandedSource wgsl; ///< empty for SPIR-V
    std::vector<std::vector<std::uint32_t>> spirv;
    ShaderReflection reflection;
    std::string problem; ///< why the reflection is empty

    std::vector<wgpu::ShaderModule> modules; ///< WGSL: one; SPIR-V: one for each stage. Empty when they have errors
    unsigned long generation = noGeneration; ///< of the device that the modules belong to

    /// One for each choice of dynamic offsets that a pipeline asked for. In place: pipelines point at them.
    std::vector<std::unique_ptr<BindingLayout>> layouts;
    /// The pipelines that were built of this shader and live.
    std::vector<std::weak_ptr<RenderPipelineData>> renderPipelines;
    std::weak_ptr<ComputePipelineData> computePipeline;
};

struct ShaderAccess
{
    static ShaderData* Data(const Shader& shader) { return shader.data.get(); }
    static Shader Make(std::shared_ptr<ShaderData> data)
    {
        Shader shader;
        shader.data = std::move(data);
        return shader;
    }
};

/// Hands the shader to the driver unless that was done. Returns false when it has errors; the first call logs them.
/// Needs a device.
bool PrepareShader(ShaderData& shader);

/// Returns the shader's layout for a choice of dynamic offsets, kept by the shader. No GPU work.
BindingLayout& GetBindingLayout(ShaderData& shader, const DynamicOffsets& dynamicOffsets);

/// Makes the layout's GPU objects unless that was done. Returns false when the device refused them, or the shader
/// declares no buffer for one of the dynamic offsets; the first call logs why. Needs a device.
bool PrepareLayout(const ShaderReflection& reflection, BindingLayout& layout);

} // namespace Varkle
