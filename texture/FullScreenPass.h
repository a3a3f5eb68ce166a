#pragma once

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Gpu/Pipeline.h"
#include "Varkle/Gpu/UniformBuffer.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace Varkle
{

/// Draws a fragment shader over a whole frame buffer: what texture operators that filter or generate pictures have in
/// common. An operator owns one and drives it step by step:
///
///     pass.SetFormat(settings.GetFrameBufferFormat());
///     pass.GetUniform("method").SetUInt(2);
///     const FrameBuffer target = settings.CreateFrameBuffer();
///     pass.Draw(target, {pass.MakeTextureGroup(1, {texture})});
///
/// The shader has the entry points vs_main (the quad's clip-space corners at location 0) and fs_main, its uniform block
/// at group 0, binding 0, and its textures, each followed by its sampler, from group 1 on.
class FullScreenPass
{
public:
    /// Takes the shader "Shaders/" + name and sets up the quad and the uniform block.
    explicit FullScreenPass(const std::string& shaderName);

    /// Rebuilds the pipeline when the format is not the one that it was built for.
    void SetFormat(const FrameBufferFormat& newFormat);

    /// Addresses a member of the uniform block.
    UniformProxy GetUniform(std::string_view name) { return uniforms.GetBlock(0).GetVariable(name); }

    /// Binds textures from binding 0 on, each followed by its sampler, with linear filtering and clamped edges unless
    /// the options say otherwise.
    wgpu::BindGroup MakeTextureGroup(int group, std::initializer_list<Texture> textures,
                                     const TextureViewOptions& options = {}) const;

    /// Uploads the uniforms that changed and draws the quad in one pass, submitted at once, on opaque black. The groups
    /// are those from group 1 on, in order.
    void Draw(const FrameBuffer& target, std::initializer_list<wgpu::BindGroup> textureGroups);

private:
    void RebuildPipeline(const FrameBufferFormat& newFormat);

    Shader shader;
    Buffer quad;
    UniformBuffer uniforms;
    RenderPipeline pipeline;
    wgpu::BindGroup uniformGroup;
    FrameBufferFormat pipelineFormat;
};

/// Returns a vertex buffer with the two triangles that cover a frame buffer: six corners in clip space, two floats
/// each.
Buffer MakeFullScreenQuad();

} // namespace Varkle
