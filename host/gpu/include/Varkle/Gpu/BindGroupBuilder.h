#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/Pipeline.h"
#include "Varkle/Gpu/Texture.h"
#include "Varkle/Gpu/UniformBuffer.h"

#include <vector>

namespace Varkle
{

/// Builds a bind group for one group of a pipeline's layout, which follows from all bindings that the shader declares,
/// used or not. A bind group fits every pipeline of the same shader and dynamic offsets.
class VARKLE_API BindGroupBuilder
{
public:
    /// `group` is the number behind @group in the shader. Nothing is bound at first, and all that the shader declares
    /// in the group must be; bindings are given by the numbers behind @binding.
    BindGroupBuilder(const RenderPipeline& pipeline, int group);
    BindGroupBuilder(const ComputePipeline& pipeline, int group);

    /// Binds a view's texture and its sampler: linear filtering and clamped edges unless the view's options say
    /// otherwise.
    BindGroupBuilder& AddTextureView(int textureBinding, int samplerBinding, const TextureView& view);
    /// Binds one block of a uniform buffer, counted from 0; with dynamic offsets block 0, and the offset chooses.
    BindGroupBuilder& AddUniformBuffer(int binding, const UniformBuffer& buffer, int block);
    /// Binds a whole buffer (BufferUsage::Storage) for reading and writing: at least as large as one element of the
    /// shader's array, at most the device's maxStorageBufferBindingSize bytes.
    BindGroupBuilder& AddStorageBuffer(int binding, const Buffer& buffer);
    /// Binds a whole buffer for reading, with the same limits.
    BindGroupBuilder& AddReadOnlyStorageBuffer(int binding, const Buffer& buffer);

    /// Returns the bind group. Null when the pipeline's shader has no such group, a binding that it declares was given
    /// nothing or something that does not fit, the GPU refuses it, or there is no device; what is wrong is in the log.
    wgpu::BindGroup Build();

private:
    BindGroupBuilder(const Shader& layoutShader, BindingLayout* layout, int layoutGroup);
    void AddBuffer(int binding, const Buffer& buffer, std::uint64_t offset, std::uint64_t size);
    bool IsComplete() const;

    Shader shader;
    int group = 0;
    wgpu::BindGroupLayout groupLayout; // null when there is none
    std::vector<wgpu::BindGroupEntry> entries;
};

} // namespace Varkle
