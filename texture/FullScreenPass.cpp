#include "texture/FullScreenPass.h"

#include "core/ShaderCache.h"
#include "texture/TextureOutputSettings.h"

#include <glm/vec2.hpp>

namespace Varkle
{

Buffer MakeFullScreenQuad()
{
    static const glm::vec2 corners[] = {{-1, 1}, {1, 1}, {-1, -1}, {-1, -1}, {1, 1}, {1, -1}};
    Buffer buffer(sizeof(corners), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    buffer.Upload(corners, sizeof(corners), 0);
    return buffer;
}

FullScreenPass::FullScreenPass(const std::string& shaderName)
    : shader(ShaderCache::GetShader(shaderName)),
      quad(MakeFullScreenQuad()),
      uniforms(shader, 1, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst)
{
    RebuildPipeline(InitialFrameBufferFormat());
}

void FullScreenPass::SetFormat(const FrameBufferFormat& newFormat)
{
    if (newFormat != pipelineFormat)
        RebuildPipeline(newFormat);
}

void FullScreenPass::RebuildPipeline(const FrameBufferFormat& newFormat)
{
    pipelineFormat = newFormat;
    pipeline = RenderPipelineBuilder()
                   .SetShader(shader)
                   .SetFrameBufferFormat(pipelineFormat)
                   .DefineVertexBuffer(0, {0}, wgpu::VertexStepMode::Vertex)
                   .Build();
    uniformGroup = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
}

wgpu::BindGroup FullScreenPass::MakeTextureGroup(int group, std::initializer_list<Texture> textures,
                                                 const TextureViewOptions& options) const
{
    BindGroupBuilder builder(pipeline, group);
    int binding = 0;
    for (const Texture& texture : textures)
    {
        builder.AddTextureView(binding, binding + 1, TextureView(texture, options));
        binding += 2;
    }
    return builder.Build();
}

void FullScreenPass::Draw(const FrameBuffer& target, std::initializer_list<wgpu::BindGroup> textureGroups)
{
    uniforms.UploadChanges();

    RenderPassRecorder recorder;
    recorder.BindFrameBuffer(target)
        .ClearColorBuffer({0, 0, 0, 1})
        .BindPipeline(pipeline)
        .BindVertexBuffer(0, quad, 0, std::uint64_t(-1))
        .BindBindGroup(0, uniformGroup);
    int group = 1;
    for (const wgpu::BindGroup& textures : textureGroups)
        recorder.BindBindGroup(group++, textures);
    recorder.Draw(6, 1, 0, 0).Submit();
}

} // namespace Varkle
