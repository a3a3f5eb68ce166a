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
///     if (pass.Draw(target, {pass.MakeTextureGroup(1, {texture})}))
///         textureOutput.Activate(target.GetColorTarget(0));
///
/// The shader has one vertex stage (the quad's clip-space corners at location 0) and one fragment stage, its uniform
/// block at group 0, binding 0, and its textures, each followed by its sampler, from group 1 on; without a uniform
/// block the textures start at group 0.
class FullScreenPass
{
public:
    /// Takes the shader "Shaders/" + name and sets up the quad and the uniform block.
    explicit FullScreenPass(const std::string& shaderName);
    /// Shares the uniform block of another pass, whose shader declares the same one.
    FullScreenPass(const std::string& shaderName, const UniformBuffer& sharedUniforms);

    /// Rebuilds the pipeline when the format is not the one that it was built for.
    void SetFormat(const FrameBufferFormat& newFormat);

    const UniformBuffer& GetUniforms() const { return uniforms; }
    /// Addresses a member of the uniform block.
    UniformProxy GetUniform(std::string_view name) { return uniforms.GetBlock(0).GetVariable(name); }

    /// Binds views from binding 0 on, each texture followed by its sampler. A texture stands for its default view:
    /// linear filtering, clamped edges.
    wgpu::BindGroup MakeTextureGroup(int group, std::initializer_list<TextureView> views) const;

    /// Uploads the uniforms that changed and draws the quad in one pass, submitted at once, on opaque black. The groups
    /// are those behind the uniform block's, in order. Returns true when the target holds the picture; false, with the
    /// reason in the log, when the GPU could not draw it: the operator keeps its last one then.
    [[nodiscard]] bool Draw(const FrameBuffer& target, std::initializer_list<wgpu::BindGroup> textureGroups);

private:
    void RebuildPipeline(const FrameBufferFormat& newFormat);
    void MakeUniformGroup();
    bool HasUniforms() const { return uniforms.GetStructSize() > 0; }

    Shader shader;
    Buffer quad;
    UniformBuffer uniforms;
    RenderPipeline pipeline;
    wgpu::BindGroup uniformGroup; // null without uniforms
    FrameBufferFormat pipelineFormat;
};

/// Returns a vertex buffer with the two triangles that cover a frame buffer: six corners in clip space, two floats
/// each.
Buffer MakeFullScreenQuad();

/// Returns a view that wraps around at the texture's edges, with linear filtering.
TextureView MakeRepeatingView(const Texture& texture, const std::string& swizzle = "RGBA");

} // namespace Varkle
