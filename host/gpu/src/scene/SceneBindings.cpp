#include "scene/SceneBindings.h"

#include "device/GpuInternals.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Varkle
{

namespace
{

constexpr wgpu::BufferUsage uniformUsage = wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst;
constexpr unsigned maxAge = 16; // pictures
constexpr std::uint64_t missingSize = 16;

wgpu::BindGroupEntry Entry(std::uint32_t binding, const wgpu::TextureView& view)
{
    wgpu::BindGroupEntry entry;
    entry.binding = binding;
    entry.textureView = view;
    return entry;
}

wgpu::BindGroupEntry Entry(std::uint32_t binding, const wgpu::Sampler& sampler)
{
    wgpu::BindGroupEntry entry;
    entry.binding = binding;
    entry.sampler = sampler;
    return entry;
}

wgpu::BindGroupEntry Entry(std::uint32_t binding, const wgpu::Buffer& buffer, std::uint64_t size)
{
    wgpu::BindGroupEntry entry;
    entry.binding = binding;
    entry.buffer = buffer;
    entry.size = size;
    return entry;
}

wgpu::BindGroup MakeGroup(std::size_t group, std::span<const wgpu::BindGroupEntry> entries)
{
    wgpu::BindGroupDescriptor descriptor;
    descriptor.label = "scene bind group";
    descriptor.layout = GetSceneGroupLayout(group);
    descriptor.entryCount = entries.size();
    descriptor.entries = entries.data();
    if (!descriptor.layout)
        return nullptr; // logged
    ++Internal::Counters().bindGroupsCreated;
    return Graphics::GetDevice().CreateBindGroup(&descriptor);
}

// Textures repeat, as glTF's default sampler has it.
wgpu::Sampler MaterialSampler()
{
    struct Kept
    {
        wgpu::Sampler sampler;
        unsigned long generation = ~0ul;
    };
    static auto& kept = *new Kept;
    if (kept.generation == Internal::DeviceGeneration())
        return kept.sampler;
    wgpu::SamplerDescriptor descriptor;
    descriptor.label = "material sampler";
    descriptor.addressModeU = wgpu::AddressMode::Repeat;
    descriptor.addressModeV = wgpu::AddressMode::Repeat;
    descriptor.magFilter = wgpu::FilterMode::Linear;
    descriptor.minFilter = wgpu::FilterMode::Linear;
    descriptor.mipmapFilter = wgpu::MipmapFilterMode::Linear;
    // On the CPU every further sample counts.
    descriptor.maxAnisotropy = Graphics::GetAdapterInfo().type == "CPU" ? 1 : 8;
    kept = {Graphics::GetDevice().CreateSampler(&descriptor), Internal::DeviceGeneration()};
    ++Internal::Counters().samplersCreated;
    return kept.sampler;
}

void WriteLamp(const UniformProxy& block, const StudioLamp& lamp)
{
    block.GetVariable("x").SetVec3(lamp.x);
    block.GetVariable("halfWidth").SetFloat(float(lamp.halfSize.x));
    block.GetVariable("y").SetVec3(lamp.y);
    block.GetVariable("halfHeight").SetFloat(float(lamp.halfSize.y));
    block.GetVariable("z").SetVec3(lamp.z);
    block.GetVariable("radiance").SetFloat(float(lamp.radiance));
}

} // namespace

void SceneBindings::SetContent(const SceneContent& content)
{
    WriteTransforms(content.transforms);
    WriteMaterials(content.materials);
    textures.BeginContent();
    for (auto& [key, group] : textureGroups)
        group.needed = false;
    materialGroups.clear();
    for (const SceneMaterial& material : content.materials)
        materialGroups.push_back(FindTextureGroup(material));
}

void SceneBindings::Age()
{
    textures.Age();
    for (auto& [key, group] : textureGroups)
        group.age = group.needed ? 0 : group.age + 1;
    std::erase_if(textureGroups, [](const auto& entry) { return entry.second.age > maxAge; });
}

void SceneBindings::WriteTransforms(const std::vector<glm::mat4>& newTransforms)
{
    const std::size_t bytes = newTransforms.size() * sizeof(glm::mat4);
    if (!transforms || transforms.GetSizeInBytes() < bytes)
    {
        const std::size_t room = std::bit_ceil(std::max<std::size_t>(bytes, sizeof(glm::mat4)));
        transforms = Buffer(room, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
        uploadedTransforms.clear();
        frameGroup = nullptr;
    }
    if (newTransforms == uploadedTransforms)
        return;
    transforms.Upload(newTransforms.data(), bytes, 0);
    uploadedTransforms = newTransforms;
}

void SceneBindings::WriteMaterials(const std::vector<SceneMaterial>& newMaterials)
{
    if (materials.GetBlockCount() < newMaterials.size())
    {
        materials = UniformBuffer(GetSceneShader(), glm::ivec2(1, 0), std::bit_ceil(newMaterials.size()), uniformUsage);
        textureGroups.clear();
    }
    for (std::size_t i = 0; i < newMaterials.size(); ++i)
        newMaterials[i].Write(materials.GetBlock(i));
    materials.UploadChanges();
}

wgpu::BindGroup SceneBindings::FindTextureGroup(const SceneMaterial& material)
{
    Views views;
    ViewKey key;
    for (std::size_t i = 0; i < views.size(); ++i)
    {
        views[i] = textures.Get(material.textures[i], material.KindOf(i));
        if (!views[i])
            views[i] = GetDefaultWhiteTexture().GetTextureView({});
        key[i] = views[i].Get();
    }
    TextureGroup& found = textureGroups[key];
    if (!found.group)
        found.group = MakeTextureGroup(views);
    found.needed = true;
    return found.group;
}

wgpu::BindGroup SceneBindings::MakeTextureGroup(const Views& views) const
{
    std::vector<wgpu::BindGroupEntry> entries;
    entries.push_back(Entry(0, materials.GetBuffer().GetBufferHandle(), materials.GetStructSize()));
    for (const wgpu::TextureView& view : views)
        entries.push_back(Entry(std::uint32_t(entries.size()), view));
    entries.push_back(Entry(std::uint32_t(entries.size()), MaterialSampler()));
    return MakeGroup(1, entries);
}

void SceneBindings::SetCamera(const SceneCamera& camera, const StudioLight& light)
{
    if (frame.GetBlockCount() == 0)
    {
        frame = UniformBuffer(GetSceneShader(), glm::ivec2(0, 0), 1, uniformUsage);
        frameGroup = nullptr;
    }
    const UniformProxy block = frame.GetBlock(0);
    block.GetVariable("viewProjection").SetMat4(camera.viewProjection);
    block.GetVariable("eye").SetVec3(camera.eye);
    block.GetVariable("studioCos").SetFloat(std::cos(camera.yaw));
    block.GetVariable("studioSin").SetFloat(std::sin(camera.yaw));
    block.GetVariable("walls").SetVec3(light.walls);
    block.GetVariable("diffuse").SetMat4(light.diffuse);
    for (std::size_t i = 0; i < light.lamps.size(); ++i)
        WriteLamp(block.GetVariable("lamps").GetElement(unsigned(i)), light.lamps[i]);
    frame.UploadChanges();
}

wgpu::BindGroup SceneBindings::GetFrameGroup()
{
    const std::array<wgpu::BindGroupEntry, 2> entries{
        Entry(0, frame.GetBuffer().GetBufferHandle(), frame.GetStructSize()),
        Entry(1, transforms.GetBufferHandle(), transforms.GetSizeInBytes())};
    if (!frameGroup)
        frameGroup = MakeGroup(0, entries);
    return frameGroup;
}

std::uint32_t SceneBindings::GetMaterialOffset(std::size_t material) const
{
    return std::uint32_t(material * materials.GetBlockSize());
}

const Buffer& SceneBindings::GetMissingAttributes()
{
    if (!missing)
    {
        const std::array<float, 8> values{0, 0, 0, 0, 1, 1, 1, 1};
        missing = Buffer(sizeof(values), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
        missing.Upload(values.data(), sizeof(values), 0);
    }
    return missing;
}

std::uint64_t SceneBindings::GetMissingOffset(std::size_t attribute)
{
    return sceneAttributes[attribute].name == Attributes::Color0.name ? missingSize : 0;
}

} // namespace Varkle
