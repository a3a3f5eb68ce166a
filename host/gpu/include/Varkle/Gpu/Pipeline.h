#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Shader.h"

#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace Varkle
{

struct RenderPipelineData;
struct ComputePipelineData;
struct BindingLayout;

/// Is a handle of a render pipeline. It is created on the GPU when a pass first binds it; pipelines that were built
/// alike are one object in the whole process, as long as a handle of one of them lives. A default-constructed handle is
/// empty.
class VARKLE_API RenderPipeline
{
public:
    RenderPipeline() = default;
    explicit operator bool() const { return data != nullptr; }
    bool operator==(const RenderPipeline&) const = default;

private:
    friend class RenderPipelineBuilder;
    friend struct PipelineAccess;
    std::shared_ptr<RenderPipelineData> data;
};

/// Is a handle of a compute pipeline, as RenderPipeline.
class VARKLE_API ComputePipeline
{
public:
    ComputePipeline() = default;
    explicit operator bool() const { return data != nullptr; }
    bool operator==(const ComputePipeline&) const = default;

private:
    friend class ComputePipelineBuilder;
    friend struct PipelineAccess;
    std::shared_ptr<ComputePipelineData> data;
};

/// Is what a RenderPipelineBuilder was told: pipelines with equal descriptions are one.
struct VARKLE_API RenderPipelineDescription
{
    struct VertexBuffer
    {
        std::vector<int> locations;
        wgpu::VertexStepMode stepMode = wgpu::VertexStepMode::Vertex;

        bool operator==(const VertexBuffer&) const = default;
    };

    Shader shader;
    FrameBufferFormat format;
    std::map<int, wgpu::BlendState> blendStates;  ///< by colour target; -1 for the targets that are not listed
    std::map<int, VertexBuffer> vertexBuffers;    ///< by slot
    std::set<std::pair<int, int>> dynamicOffsets; ///< group and binding

    bool operator==(const RenderPipelineDescription& other) const;
};

/// Describes a render pipeline step by step: triangles, no culling, no blending, depth test only with a depth format.
/// The entry points are the shader's first vertex and fragment stages ("vs_main" and "fs_main" in our WGSL).
class VARKLE_API RenderPipelineBuilder
{
public:
    RenderPipelineBuilder& SetShader(const Shader& newShader);
    RenderPipelineBuilder& SetFrameBufferFormat(const FrameBufferFormat& newFormat);
    /// Blends into a colour target; -1 stands for all of them. Without it the fragment's output replaces the target.
    RenderPipelineBuilder& SetBlendMode(const wgpu::BlendState& state, int target);
    /// Says which vertex inputs of the shader a vertex buffer feeds, by their @location numbers: they lie packed in
    /// this order in the buffer, in the types that the shader declares.
    RenderPipelineBuilder& DefineVertexBuffer(int slot, const std::vector<int>& locations,
                                              wgpu::VertexStepMode stepMode);
    /// Lets BindBindGroup choose a block of the uniform buffer at this binding by an offset.
    RenderPipelineBuilder& EnableDynamicOffsets(int group, int binding);
    /// Returns the pipeline, without GPU work. Never fails: what the shader or the GPU refuses is logged at the first
    /// use.
    RenderPipeline Build();

private:
    RenderPipelineDescription description;
};

/// Describes a compute pipeline; the entry point is the shader's first compute stage ("main" in our WGSL).
class VARKLE_API ComputePipelineBuilder
{
public:
    ComputePipelineBuilder& SetShader(const Shader& newShader);
    /// Returns the pipeline, as RenderPipelineBuilder.
    ComputePipeline Build();

private:
    Shader shader;
};

} // namespace Varkle
