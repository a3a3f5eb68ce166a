#include "Varkle/Kit/FullScreenPass.h"

#include "Varkle/Kit/ShaderCache.h"
#include "Varkle/Kit/TextureOutputSettings.h"

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

TextureView MakeRepeatingView(const Texture& texture, const std::string& swizzle)
{
    TextureViewOptions options;
    options.addressMode = wgpu::AddressMode::Repeat;
    options.swizzle = swizzle;
    return {texture, options};
}

FullScreenPass::FullScreenPass(const std::string& shaderName)
    : FullScreenPass(shaderName, UniformBuffer(ShaderCache::GetShader(shaderName), 1,
                                               wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst))
{
}

FullScreenPass::FullScreenPass(const std::string& shaderName, const UniformBuffer& sharedUniforms)
    : shader(ShaderCache::GetShader(shaderName)), quad(MakeFullScreenQuad()), uniforms(sharedUniforms)
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
    MakeUniformGroup();
}

void FullScreenPass::MakeUniformGroup()
{
    if (HasUniforms())
        uniformGroup = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
}

wgpu::BindGroup FullScreenPass::MakeTextureGroup(int group, std::initializer_list<TextureView> views) const
{
    BindGroupBuilder builder(pipeline, group);
    int binding = 0;
    for (const TextureView& view : views)
    {
        builder.AddTextureView(binding, binding + 1, view);
        binding += 2;
    }
    return builder.Build();
}

bool FullScreenPass::Draw(const FrameBuffer& target, std::initializer_list<wgpu::BindGroup> textureGroups)
{
    uniforms.UploadChanges();
    // What the GPU refused to make before may be possible now.
    if (!quad)
        quad = MakeFullScreenQuad();
    if (!uniformGroup)
        MakeUniformGroup();

    RenderPassRecorder recorder;
    recorder.BindFrameBuffer(target)
        .ClearColorBuffer({0, 0, 0, 1})
        .BindPipeline(pipeline)
        .BindVertexBuffer(0, quad, 0, std::uint64_t(-1));
    int group = 0;
    if (HasUniforms())
        recorder.BindBindGroup(group++, uniformGroup);
    for (const wgpu::BindGroup& textures : textureGroups)
        recorder.BindBindGroup(group++, textures);
    return recorder.Draw(6, 1, 0, 0).Submit();
}

} // namespace Varkle
