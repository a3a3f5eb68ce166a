#include "Varkle/Core/Log.h"
#include "device/GpuInternals.h"
#include "shader/ShaderInternals.h"

#include <algorithm>
#include <utility>

namespace Varkle
{

namespace
{

wgpu::ShaderStage Visibility(ShaderStage stages)
{
    wgpu::ShaderStage visibility = wgpu::ShaderStage::None;
    if (HasStage(stages, ShaderStage::Vertex))
        visibility |= wgpu::ShaderStage::Vertex;
    if (HasStage(stages, ShaderStage::Fragment))
        visibility |= wgpu::ShaderStage::Fragment;
    if (HasStage(stages, ShaderStage::Compute))
        visibility |= wgpu::ShaderStage::Compute;
    return visibility;
}

wgpu::TextureViewDimension ViewDimension(TextureDimension dimension)
{
    switch (dimension)
    {
    case TextureDimension::D1:
        return wgpu::TextureViewDimension::e1D;
    case TextureDimension::D2:
        return wgpu::TextureViewDimension::e2D;
    case TextureDimension::D2Array:
        return wgpu::TextureViewDimension::e2DArray;
    case TextureDimension::D3:
        return wgpu::TextureViewDimension::e3D;
    case TextureDimension::Cube:
        return wgpu::TextureViewDimension::Cube;
    case TextureDimension::CubeArray:
        return wgpu::TextureViewDimension::CubeArray;
    }
    return wgpu::TextureViewDimension::Undefined;
}

wgpu::TextureSampleType SampleType(TextureSampleKind kind)
{
    switch (kind)
    {
    case TextureSampleKind::Float:
        return wgpu::TextureSampleType::Float;
    case TextureSampleKind::UnfilterableFloat:
        return wgpu::TextureSampleType::UnfilterableFloat;
    case TextureSampleKind::Int:
        return wgpu::TextureSampleType::Sint;
    case TextureSampleKind::UInt:
        return wgpu::TextureSampleType::Uint;
    case TextureSampleKind::Depth:
        return wgpu::TextureSampleType::Depth;
    }
    return wgpu::TextureSampleType::Undefined;
}

/// The format of a storage texture by its WGSL name; Undefined for a name that is not one, which the device refuses.
wgpu::TextureFormat StorageFormat(std::string_view name)
{
    using enum wgpu::TextureFormat;
    static constexpr std::pair<std::string_view, wgpu::TextureFormat> formats[] = {
        {"bgra8unorm", BGRA8Unorm}, {"rgba8unorm", RGBA8Unorm},   {"rgba8snorm", RGBA8Snorm},
        {"rgba8uint", RGBA8Uint},   {"rgba8sint", RGBA8Sint},     {"rgba16uint", RGBA16Uint},
        {"rgba16sint", RGBA16Sint}, {"rgba16float", RGBA16Float}, {"r32uint", R32Uint},
        {"r32sint", R32Sint},       {"r32float", R32Float},       {"rg32uint", RG32Uint},
        {"rg32sint", RG32Sint},     {"rg32float", RG32Float},     {"rgba32uint", RGBA32Uint},
        {"rgba32sint", RGBA32Sint}, {"rgba32float", RGBA32Float},
    };
    for (const auto& [known, format] : formats)
        if (known == name)
            return format;
    return Undefined;
}

wgpu::StorageTextureAccess StorageAccess(std::string_view access)
{
    if (access == "read")
        return wgpu::StorageTextureAccess::ReadOnly;
    return access == "write" ? wgpu::StorageTextureAccess::WriteOnly : wgpu::StorageTextureAccess::ReadWrite;
}

wgpu::BindGroupLayoutEntry LayoutEntry(const ShaderBinding& binding, bool hasDynamicOffset)
{
    wgpu::BindGroupLayoutEntry entry{};
    entry.binding = std::uint32_t(binding.binding);
    entry.visibility = Visibility(binding.stages);
    switch (binding.kind)
    {
    case BindingKind::UniformBuffer:
        entry.buffer.type = wgpu::BufferBindingType::Uniform;
        break;
    case BindingKind::StorageBuffer:
        entry.buffer.type = wgpu::BufferBindingType::Storage;
        break;
    case BindingKind::ReadOnlyStorageBuffer:
        entry.buffer.type = wgpu::BufferBindingType::ReadOnlyStorage;
        break;
    case BindingKind::Texture:
        entry.texture.sampleType = SampleType(binding.sampleKind);
        entry.texture.viewDimension = ViewDimension(binding.textureDimension);
        entry.texture.multisampled = binding.multisampled;
        return entry;
    case BindingKind::Sampler:
        entry.sampler.type =
            binding.comparisonSampler ? wgpu::SamplerBindingType::Comparison : wgpu::SamplerBindingType::Filtering;
        return entry;
    case BindingKind::StorageTexture:
        entry.storageTexture.access = StorageAccess(binding.storageAccess);
        entry.storageTexture.format = StorageFormat(binding.storageFormat);
        entry.storageTexture.viewDimension = ViewDimension(binding.textureDimension);
        return entry;
    }
    // A buffer. With its smallest size known here, it is checked once for each bind group and not at every draw.
    entry.buffer.minBindingSize = binding.minSize;
    entry.buffer.hasDynamicOffset = hasDynamicOffset;
    return entry;
}

bool IsBuffer(const ShaderBinding* binding)
{
    return binding && (binding->kind == BindingKind::UniformBuffer || binding->kind == BindingKind::StorageBuffer ||
                       binding->kind == BindingKind::ReadOnlyStorageBuffer);
}

wgpu::BindGroupLayout MakeGroupLayout(const wgpu::Device& device, const ShaderReflection& reflection, int group,
                                      const DynamicOffsets& dynamicOffsets)
{
    std::vector<wgpu::BindGroupLayoutEntry> entries;
    for (const ShaderBinding& binding : reflection.bindings)
        if (binding.group == group)
            entries.push_back(LayoutEntry(binding, dynamicOffsets.contains({group, binding.binding})));

    const std::string label = Internal::Label("layout of bind group " + std::to_string(group));
    wgpu::BindGroupLayoutDescriptor descriptor;
    descriptor.label = std::string_view(label);
    descriptor.entryCount = entries.size();
    descriptor.entries = entries.data();
    return device.CreateBindGroupLayout(&descriptor);
}

} // namespace

BindingLayout& GetBindingLayout(ShaderData& shader, const DynamicOffsets& dynamicOffsets)
{
    for (const std::unique_ptr<BindingLayout>& layout : shader.layouts)
        if (layout->dynamicOffsets == dynamicOffsets)
            return *layout;
    shader.layouts.push_back(std::make_unique<BindingLayout>());
    shader.layouts.back()->dynamicOffsets = dynamicOffsets;
    return *shader.layouts.back();
}

bool PrepareLayout(const ShaderReflection& reflection, BindingLayout& layout)
{
    if (layout.generation == Internal::DeviceGeneration())
        return layout.pipelineLayout != nullptr;
    layout.generation = Internal::DeviceGeneration();
    layout.groups.clear();
    layout.pipelineLayout = nullptr;

    for (const auto& [group, binding] : layout.dynamicOffsets)
    {
        if (IsBuffer(reflection.FindBinding(group, binding)))
            continue;
        LogError(Internal::Label("Dynamic offsets are asked for at group " + std::to_string(group) + ", binding " +
                                 std::to_string(binding) + ", where the shader declares no buffer."));
        return false;
    }

    const wgpu::Device device = Graphics::GetDevice();
    Internal::ErrorScope scope;
    for (int group = 0; group < reflection.GroupCount(); ++group)
        layout.groups.push_back(MakeGroupLayout(device, reflection, group, layout.dynamicOffsets));
    wgpu::PipelineLayoutDescriptor descriptor;
    descriptor.bindGroupLayoutCount = layout.groups.size();
    descriptor.bindGroupLayouts = layout.groups.data();
    wgpu::PipelineLayout pipelineLayout = device.CreatePipelineLayout(&descriptor);
    const std::string error = scope.Finish();
    if (!error.empty())
    {
        LogError(Internal::Label("The shader's bindings are refused: " + error));
        layout.groups.clear();
        return false;
    }
    layout.pipelineLayout = std::move(pipelineLayout);
    return true;
}

} // namespace Varkle
