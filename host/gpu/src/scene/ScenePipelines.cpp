#include "scene/ScenePipelines.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Trace.h"
#include "device/GpuInternals.h"
#include "shader/BuiltInShaders.h"
#include "shader/ShaderInternals.h"

#include <map>

namespace Varkle
{

namespace
{

const char* EntryPointOf(ScenePipelineKey::Shading shading)
{
    switch (shading)
    {
    case ScenePipelineKey::Shading::Masked:
        return "fs_masked";
    case ScenePipelineKey::Shading::Unlit:
        return "fs_unlit";
    default:
        return "fs_lit";
    }
}

// The format of what a mesh lacks; any will do that converts to what the shader declares.
constexpr wgpu::VertexFormat missingFormat = wgpu::VertexFormat::Float32x4;

struct VertexBuffers
{
    explicit VertexBuffers(const ScenePipelineKey& key)
    {
        for (std::size_t i = 0; i < layouts.size(); ++i)
        {
            const bool missing = key.formats[i] == wgpu::VertexFormat{};
            attributes[i].format = missing ? missingFormat : key.formats[i];
            attributes[i].shaderLocation = std::uint32_t(i);
            layouts[i].stepMode = wgpu::VertexStepMode::Vertex;
            layouts[i].arrayStride = missing ? 0 : GetVertexFormatSize(key.formats[i]);
            layouts[i].attributeCount = 1;
            layouts[i].attributes = &attributes[i];
        }
    }
    VertexBuffers(const VertexBuffers&) = delete;
    VertexBuffers& operator=(const VertexBuffers&) = delete;

    std::array<wgpu::VertexAttribute, sceneAttributes.size()> attributes{};
    std::array<wgpu::VertexBufferLayout, sceneAttributes.size()> layouts{};
};

// Colors are multiplied by alpha already.
constexpr wgpu::BlendComponent over{wgpu::BlendOperation::Add, wgpu::BlendFactor::One,
                                    wgpu::BlendFactor::OneMinusSrcAlpha};

BindingLayout* PrepareSceneLayout()
{
    ShaderData& shader = *ShaderAccess::Data(GetSceneShader());
    BindingLayout& layout = GetBindingLayout(shader, {{1, 0}});
    return PrepareShader(shader) && PrepareLayout(shader.reflection, layout) ? &layout : nullptr;
}

wgpu::RenderPipeline CreateScenePipeline(const ScenePipelineKey& key)
{
    const BindingLayout* const layout = PrepareSceneLayout();
    if (!layout)
        return nullptr; // logged
    const wgpu::ShaderModule& module = ShaderAccess::Data(GetSceneShader())->modules[0];

    const wgpu::BlendState blend{over, over};
    wgpu::ColorTargetState target;
    target.format = key.target;
    target.blend = key.opaque ? nullptr : &blend;

    std::array<wgpu::ConstantEntry, 3> constants;
    constants[0].key = "textured";
    constants[0].value = key.textured ? 1.0 : 0.0;
    constants[1].key = "opaque";
    constants[1].value = key.opaque ? 1.0 : 0.0;
    constants[2].key = "solid";
    constants[2].value = IsSolid(key.topology) ? 1.0 : 0.0;
    wgpu::FragmentState fragment;
    fragment.module = module;
    fragment.entryPoint = EntryPointOf(key.shading);
    fragment.constantCount = constants.size();
    fragment.constants = constants.data();
    fragment.targetCount = 1;
    fragment.targets = &target;

    wgpu::DepthStencilState depth;
    depth.format = sceneDepthFormat;
    depth.depthWriteEnabled = key.writesDepth ? wgpu::OptionalBool::True : wgpu::OptionalBool::False;
    depth.depthCompare = wgpu::CompareFunction::Greater;

    const VertexBuffers buffers(key);
    wgpu::RenderPipelineDescriptor descriptor;
    descriptor.label = "scene pipeline";
    descriptor.layout = layout->pipelineLayout;
    descriptor.vertex.module = module;
    descriptor.vertex.entryPoint = "vs_main";
    descriptor.vertex.bufferCount = buffers.layouts.size();
    descriptor.vertex.buffers = buffers.layouts.data();
    descriptor.primitive.topology = key.topology;
    descriptor.primitive.stripIndexFormat = key.stripIndexFormat;
    descriptor.primitive.cullMode = key.cull;
    descriptor.primitive.frontFace = key.mirrored ? wgpu::FrontFace::CW : wgpu::FrontFace::CCW;
    descriptor.depthStencil = &depth;
    descriptor.multisample.count = sceneSampleCount;
    descriptor.fragment = &fragment;

    const TraceSpan span("pipeline", "scene pipeline");
    Internal::ErrorScope scope;
    wgpu::RenderPipeline pipeline = Graphics::GetDevice().CreateRenderPipeline(&descriptor);
    ++Internal::Counters().pipelinesCreated;
    const std::string problem = scope.Finish();
    if (problem.empty())
        return pipeline;
    LogError("A pipeline of the scene renderer cannot be created: " + problem);
    return nullptr;
}

} // namespace

Shader GetSceneShader()
{
    return GetBuiltInShader("scene/Scene.wgsl");
}

wgpu::RenderPipeline GetScenePipeline(const ScenePipelineKey& key)
{
    struct Kept
    {
        std::map<ScenePipelineKey, wgpu::RenderPipeline> pipelines;
        unsigned long generation = noGeneration;
    };
    // Never destroyed, as all that may hold GPU objects.
    static auto& kept = *new Kept;
    if (kept.generation != Internal::DeviceGeneration())
        kept = {{}, Internal::DeviceGeneration()};
    const auto found = kept.pipelines.find(key);
    if (found != kept.pipelines.end())
        return found->second;
    return kept.pipelines[key] = CreateScenePipeline(key);
}

wgpu::BindGroupLayout GetSceneGroupLayout(std::size_t group)
{
    const BindingLayout* const layout = PrepareSceneLayout();
    return layout ? layout->groups[group] : nullptr;
}

} // namespace Varkle
