#include "Varkle/Gpu/BindGroupBuilder.h"

#include "Varkle/Core/Log.h"
#include "device/GpuInternals.h"
#include "pass/PipelineInternals.h"

#include <algorithm>
#include <string>

namespace Varkle
{

namespace
{

const Shader& ShaderOf(const RenderPipeline& pipeline)
{
    static const Shader s_none;
    const RenderPipelineData* data = PipelineAccess::Data(pipeline);
    return data ? data->description.shader : s_none;
}

const Shader& ShaderOf(const ComputePipeline& pipeline)
{
    static const Shader s_none;
    const ComputePipelineData* data = PipelineAccess::Data(pipeline);
    return data ? data->shader : s_none;
}

template<class Pipeline>
BindingLayout* LayoutOf(const Pipeline& pipeline)
{
    const auto* data = PipelineAccess::Data(pipeline);
    return data ? data->layout : nullptr;
}

void LogProblem(int group, const std::string& problem)
{
    LogError(Internal::Label("Bind group " + std::to_string(group) + " cannot be made: " + problem));
}

std::string Place(const ShaderBinding& binding)
{
    return "binding " + std::to_string(binding.binding) + " (\"" + binding.name + "\")";
}

} // namespace

BindGroupBuilder::BindGroupBuilder(const Shader& layoutShader, BindingLayout* layout, int layoutGroup)
    : shader(layoutShader), group(layoutGroup)
{
    if (!Graphics::GetDevice() || Graphics::IsLost())
        return; // logged
    if (!layout)
    {
        LogProblem(group, "The pipeline is empty.");
        return;
    }
    if (shader.GetReflection().entryPoints.empty())
    {
        PrepareShader(*ShaderAccess::Data(shader)); // logs why; the pipeline will say what is missing
        return;
    }
    if (!PrepareLayout(shader.GetReflection(), *layout))
        return; // logged
    if (group < 0 || std::size_t(group) >= layout->groups.size())
    {
        LogProblem(group, "The shader declares no bindings in this group.");
        return;
    }
    groupLayout = layout->groups[std::size_t(group)];
    entries.reserve(8);
}

BindGroupBuilder::BindGroupBuilder(const RenderPipeline& pipeline, int layoutGroup)
    : BindGroupBuilder(ShaderOf(pipeline), LayoutOf(pipeline), layoutGroup)
{
}

BindGroupBuilder::BindGroupBuilder(const ComputePipeline& pipeline, int layoutGroup)
    : BindGroupBuilder(ShaderOf(pipeline), LayoutOf(pipeline), layoutGroup)
{
}

BindGroupBuilder& BindGroupBuilder::AddTextureView(int textureBinding, int samplerBinding, const TextureView& view)
{
    wgpu::BindGroupEntry& texture = entries.emplace_back();
    texture.binding = std::uint32_t(textureBinding);
    texture.textureView = view.GetTextureViewHandle();
    wgpu::BindGroupEntry& sampler = entries.emplace_back();
    sampler.binding = std::uint32_t(samplerBinding);
    sampler.sampler = view.GetSamplerHandle();
    return *this;
}

BindGroupBuilder& BindGroupBuilder::AddUniformBuffer(int binding, const UniformBuffer& buffer, int block)
{
    const std::uint64_t blockSize = buffer.GetBlockSize();
    AddBuffer(binding, buffer.GetBuffer(), std::uint64_t(block) * blockSize, blockSize);
    return *this;
}

BindGroupBuilder& BindGroupBuilder::AddStorageBuffer(int binding, const Buffer& buffer)
{
    AddBuffer(binding, buffer, 0, (buffer.GetSizeInBytes() + 3) / 4 * 4);
    return *this;
}

BindGroupBuilder& BindGroupBuilder::AddReadOnlyStorageBuffer(int binding, const Buffer& buffer)
{
    return AddStorageBuffer(binding, buffer); // the shader says which it is
}

void BindGroupBuilder::AddBuffer(int binding, const Buffer& buffer, std::uint64_t offset, std::uint64_t size)
{
    wgpu::BindGroupEntry& entry = entries.emplace_back();
    entry.binding = std::uint32_t(binding);
    entry.buffer = buffer.GetBufferHandle();
    entry.offset = offset;
    entry.size = size;
}

/// Checks that every declared binding is given something, and nothing else is: we know the variables' names, the GPU
/// does not.
bool BindGroupBuilder::IsComplete() const
{
    std::size_t declared = 0;
    for (const ShaderBinding& binding : shader.GetReflection().bindings)
    {
        if (binding.group != group)
            continue;
        ++declared;
        const auto given = std::find_if(entries.begin(), entries.end(),
                                        [&](const wgpu::BindGroupEntry& entry)
                                        { return entry.binding == std::uint32_t(binding.binding); });
        if (given != entries.end() && (given->buffer || given->textureView || given->sampler))
            continue;
        LogProblem(group, Place(binding) + " is given nothing.");
        return false;
    }
    if (entries.size() == declared)
        return true;
    LogProblem(group, std::to_string(entries.size()) + " bindings are given, and the shader declares " +
                          std::to_string(declared) + ".");
    return false;
}

wgpu::BindGroup BindGroupBuilder::Build()
{
    if (!groupLayout || !IsComplete())
        return nullptr;
    if (Internal::TakeFailure(GpuRequest::BindGroup))
    {
        LogProblem(group, std::string(Internal::FailureReason));
        return nullptr;
    }
    wgpu::BindGroupDescriptor descriptor;
    descriptor.layout = groupLayout;
    descriptor.entryCount = entries.size();
    descriptor.entries = entries.data();

    const wgpu::Device device = Graphics::GetDevice();
    Internal::ErrorScope scope;
    wgpu::BindGroup bindGroup = device.CreateBindGroup(&descriptor);
    ++Internal::Counters().bindGroupsCreated;
    const std::string error = scope.Finish();
    if (error.empty())
        return bindGroup;
    LogProblem(group, error);
    return nullptr;
}

} // namespace Varkle
