#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Shader.h"

#include <map>
#include <memory>
#include <set>
#include <string>
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

/// Says how a vertex buffer feeds one input of the vertex stage. The GPU converts formats of floats and normalized
/// integers to the floats that the shader declares; components that the format lacks are 0, and the fourth 1.
struct VertexField
{
    int location = 0; ///< the @location of the input
    wgpu::VertexFormat format = wgpu::VertexFormat::Float32x3;
    std::uint64_t offset = 0; ///< bytes from the beginning of the element, a multiple of 4

    bool operator==(const VertexField&) const = default;
};

/// Is what a RenderPipelineBuilder was told: pipelines with equal descriptions are one.
struct VARKLE_API RenderPipelineDescription
{
    struct VertexBuffer
    {
        std::vector<int> locations; ///< packed, in the shader's types; used without fields
        wgpu::VertexStepMode stepMode = wgpu::VertexStepMode::Vertex;
        std::vector<VertexField> fields;
        std::uint64_t stride = 0; ///< of the fields, in bytes

        bool operator==(const VertexBuffer&) const = default;
    };

    Shader shader;
    FrameBufferFormat format;
    std::map<int, wgpu::BlendState> blendStates;    ///< by color target; -1 for the targets that are not listed
    std::map<int, VertexBuffer> vertexBuffers;      ///< by slot
    std::set<std::pair<int, int>> dynamicOffsets;   ///< group and binding
    std::map<ShaderStage, std::string> entryPoints; ///< the shader's first one of a stage that is not listed
    std::map<std::string, double> constants;        ///< overrides by name
    wgpu::PrimitiveTopology topology = wgpu::PrimitiveTopology::TriangleList;
    wgpu::IndexFormat stripIndexFormat = wgpu::IndexFormat::Undefined;
    wgpu::CullMode cullMode = wgpu::CullMode::None;
    wgpu::FrontFace frontFace = wgpu::FrontFace::CCW;
    wgpu::CompareFunction depthCompare = wgpu::CompareFunction::Less;
    bool depthWrite = true;

    bool operator==(const RenderPipelineDescription& other) const;
};

/// Describes a render pipeline step by step: triangles, no culling, no blending; with a depth target, what is nearer
/// (less) is drawn and written. The entry points are the shader's first vertex and fragment stages ("vs_main" and
/// "fs_main" in our WGSL).
class VARKLE_API RenderPipelineBuilder
{
public:
    /// Sets the shader, without which the pipeline can't be created.
    RenderPipelineBuilder& SetShader(const Shader& newShader);
    /// Chooses another entry point than the shader's first one of that stage.
    RenderPipelineBuilder& SetEntryPoint(ShaderStage stage, const std::string& name);
    /// Sets a constant that the shader declares with `override`; 0 and 1 for a bool. The shader's value by default.
    RenderPipelineBuilder& SetConstant(const std::string& name, double value);
    /// Says what is drawn into: formats of the color targets, format of depth, and samples. No targets by default.
    RenderPipelineBuilder& SetFrameBufferFormat(const FrameBufferFormat& newFormat);
    /// Blends into a color target; -1 stands for all of them. Without it the fragment's output replaces the target.
    RenderPipelineBuilder& SetBlendMode(const wgpu::BlendState& state, int target);
    /// Says how vertices make primitives: TriangleList by default. Strips that are drawn with indices need to know
    /// their format.
    RenderPipelineBuilder& SetTopology(wgpu::PrimitiveTopology topology,
                                       wgpu::IndexFormat stripIndexFormat = wgpu::IndexFormat::Undefined);
    /// Leaves out triangles that show their front or their back; the front is where the corners run as `frontFace`
    /// says, on the screen. Nothing is left out by default.
    RenderPipelineBuilder& SetCulling(wgpu::CullMode mode, wgpu::FrontFace frontFace = wgpu::FrontFace::CCW);
    /// Says how a fragment's depth, 0 to 1, compares with the depth target's for it to be drawn, and whether it is
    /// written there then. Less and true by default; without a depth target it does not matter.
    RenderPipelineBuilder& SetDepthTest(wgpu::CompareFunction compare, bool write);
    /// Says which vertex inputs of the shader a vertex buffer feeds, by their @location numbers: they lie packed in
    /// this order in the buffer, in the types that the shader declares.
    RenderPipelineBuilder& DefineVertexBuffer(int slot, const std::vector<int>& locations,
                                              wgpu::VertexStepMode stepMode);
    /// Does the same for a buffer whose elements are laid out in any way, `stride` bytes apart; 0 gives all of them the
    /// same one.
    RenderPipelineBuilder& DefineVertexBuffer(int slot, const std::vector<VertexField>& fields, std::uint64_t stride,
                                              wgpu::VertexStepMode stepMode = wgpu::VertexStepMode::Vertex);
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
    /// Sets the shader, without which the pipeline can't be created.
    ComputePipelineBuilder& SetShader(const Shader& newShader);
    /// Returns the pipeline, as RenderPipelineBuilder.
    ComputePipeline Build();

private:
    Shader shader;
};

} // namespace Varkle
