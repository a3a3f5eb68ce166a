#pragma once

#include "Varkle/Gpu/Pipeline.h"
#include "shader/ShaderInternals.h"

namespace Varkle
{

/// What a handle of a render pipeline refers to.
struct RenderPipelineData
{
    RenderPipelineDescription description;
    BindingLayout* layout = nullptr; ///< kept by the shader; null without one
    wgpu::RenderPipeline pipeline;   ///< null until the first use, and when it could not be created
    unsigned long generation = noGeneration;
};

/// What a handle of a compute pipeline refers to.
struct ComputePipelineData
{
    Shader shader;
    BindingLayout* layout = nullptr; ///< kept by the shader; null without one
    wgpu::ComputePipeline pipeline;  ///< null until the first use, and when it could not be created
    unsigned long generation = noGeneration;
};

struct PipelineAccess
{
    static RenderPipelineData* Data(const RenderPipeline& pipeline) { return pipeline.data.get(); }
    static ComputePipelineData* Data(const ComputePipeline& pipeline) { return pipeline.data.get(); }
};

/// Return the GPU's pipeline, creating it at the first use. Null when it could not be created; that is logged the first
/// time. They need a device.
const wgpu::RenderPipeline& PreparePipeline(RenderPipelineData& data);
const wgpu::ComputePipeline& PreparePipeline(ComputePipelineData& data);

} // namespace Varkle
