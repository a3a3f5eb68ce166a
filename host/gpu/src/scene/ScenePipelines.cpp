#include "scene/ScenePipelines.h"

#include "Varkle/Gpu/BlendMode.h"
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

BindingLayout* PrepareSceneLayout()
{
    ShaderData& shader = *ShaderAccess::Data(GetSceneShader());
    BindingLayout& layout = GetBindingLayout(shader, {{1, 0}});
    return PrepareShader(shader) && PrepareLayout(shader.reflection, layout) ? &layout : nullptr;
}

RenderPipeline MakeScenePipeline(const ScenePipelineKey& key)
{
    RenderPipelineBuilder builder;
    builder.SetShader(GetSceneShader())
        .SetEntryPoint(ShaderStage::Fragment, EntryPointOf(key.shading))
        .SetConstant("textured", key.textured ? 1.0 : 0.0)
        .SetConstant("opaque", key.opaque ? 1.0 : 0.0)
        .SetConstant("solid", IsSolid(key.topology) ? 1.0 : 0.0)
        .SetFrameBufferFormat(
            {.colorFormats = {key.target}, .depthFormat = sceneDepthFormat, .sampleCount = sceneSampleCount})
        .SetTopology(key.topology, key.stripIndexFormat)
        .SetCulling(key.cull, key.mirrored ? wgpu::FrontFace::CW : wgpu::FrontFace::CCW)
        .SetDepthTest(wgpu::CompareFunction::Greater, key.writesDepth)
        .EnableDynamicOffsets(1, 0);
    if (!key.opaque)
        builder.SetBlendMode(BlendMode::AlphaPremultiplied, -1);
    for (int i = 0; i < int(key.formats.size()); ++i)
    {
        const wgpu::VertexFormat format = key.formats[std::size_t(i)];
        const bool missing = format == wgpu::VertexFormat{};
        builder.DefineVertexBuffer(i, {{.location = i, .format = missing ? missingFormat : format}},
                                   missing ? 0 : GetVertexFormatSize(format));
    }
    return builder.Build();
}

} // namespace

Shader GetSceneShader()
{
    return GetBuiltInShader("scene/Scene.wgsl");
}

RenderPipeline GetScenePipeline(const ScenePipelineKey& key)
{
    // Never destroyed, as all that may hold GPU objects.
    static auto& kept = *new std::map<ScenePipelineKey, RenderPipeline>;
    RenderPipeline& pipeline = kept[key];
    if (!pipeline)
        pipeline = MakeScenePipeline(key);
    return pipeline;
}

wgpu::BindGroupLayout GetSceneGroupLayout(std::size_t group)
{
    const BindingLayout* const layout = PrepareSceneLayout();
    return layout ? layout->groups[group] : nullptr;
}

} // namespace Varkle
