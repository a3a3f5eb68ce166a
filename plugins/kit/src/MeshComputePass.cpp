#include "Varkle/Kit/MeshComputePass.h"

#include "Varkle/Kit/ShaderCache.h"

#include <algorithm>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

namespace Varkle
{

namespace
{

constexpr std::uint64_t workgroupSize = 64;
// WebGPU allows any device this many workgroups in one dimension, and no more unless it says so. What does not fit
// continues in the second dimension: the shaders count on from there.
constexpr std::uint64_t maxWorkgroupsInARow = 65535;

} // namespace

MeshComputePass::MeshComputePass(const std::string& shaderName)
    : shader(ShaderCache::GetShader(shaderName)),
      uniforms(shader, "uniforms", 1, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst),
      pipeline(ComputePipelineBuilder().SetShader(shader).Build())
{
}

bool MeshComputePass::Run(std::uint64_t count, std::initializer_list<StorageBinding> buffers)
{
    ComputePassRecorder recorder;
    if (!Record(recorder, count, buffers))
        return false;
    return recorder.Submit();
}

bool MeshComputePass::Record(ComputePassRecorder& recorder, std::uint64_t count,
                             std::initializer_list<StorageBinding> buffers)
{
    uniforms.UploadChanges();

    BindGroupBuilder builder(pipeline, 0);
    builder.AddUniformBuffer(0, uniforms, 0);
    int binding = 1;
    for (const StorageBinding& storage : buffers)
    {
        if (storage.written)
            builder.AddStorageBuffer(binding++, storage.buffer);
        else
            builder.AddReadOnlyStorageBuffer(binding++, storage.buffer);
    }

    const wgpu::BindGroup bindGroup = builder.Build();
    if (!bindGroup)
        return false; // logged

    const std::uint64_t workgroups = (count + workgroupSize - 1) / workgroupSize;
    const std::uint64_t rows = (workgroups + maxWorkgroupsInARow - 1) / maxWorkgroupsInARow;
    recorder.BindPipeline(pipeline)
        .BindBindGroup(0, bindGroup)
        .Dispatch(std::uint32_t(std::min(workgroups, maxWorkgroupsInARow)), std::uint32_t(rows), 1);
    return true;
}

Buffer MakePlaceholder(unsigned bytes)
{
    return {bytes, wgpu::BufferUsage::Storage, false};
}

glm::mat4 GetNormalMatrix(const glm::mat4& transform)
{
    return glm::mat4(glm::transpose(glm::inverse(glm::mat3(transform))));
}

} // namespace Varkle
