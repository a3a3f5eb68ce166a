#include "scene/MipTextures.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/BindGroupBuilder.h"
#include "device/GpuInternals.h"
#include "pass/PipelineInternals.h"
#include "shader/BuiltInShaders.h"
#include "texture/Swizzle.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <bit>

namespace Varkle
{

namespace
{

constexpr unsigned maxAge = 16; // pictures

bool IsSrgb(wgpu::TextureFormat format)
{
    return format == wgpu::TextureFormat::RGBA8UnormSrgb || format == wgpu::TextureFormat::BGRA8UnormSrgb;
}

bool HasBytes(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R8Unorm:
    case wgpu::TextureFormat::RG8Unorm:
    case wgpu::TextureFormat::RGBA8Unorm:
    case wgpu::TextureFormat::BGRA8Unorm:
        return true;
    default:
        return IsSrgb(format);
    }
}

wgpu::TextureFormat CopyFormat(wgpu::TextureFormat format, TexelKind kind)
{
    if (kind == TexelKind::Color)
        return wgpu::TextureFormat::RGBA8UnormSrgb;
    return HasBytes(format) ? wgpu::TextureFormat::RGBA8Unorm : wgpu::TextureFormat::RGBA16Float;
}

// Returns the texture, or what it shows in a format whose bytes can be copied to a texture of the other format.
Texture MakeCopyable(const Texture& texture, wgpu::TextureFormat target)
{
    const wgpu::TextureFormat format = texture.GetTextureFormat();
    const bool isPlainBytes =
        format == wgpu::TextureFormat::RGBA8Unorm || format == wgpu::TextureFormat::RGBA8UnormSrgb;
    if (target == wgpu::TextureFormat::RGBA16Float)
        return format == target ? texture : CopySwizzled(texture, target, "RGBA");
    if (isPlainBytes)
        return texture;
    // Bytes are copied between both formats without being decoded.
    return CopySwizzled(texture, IsSrgb(format) ? wgpu::TextureFormat::RGBA8UnormSrgb : wgpu::TextureFormat::RGBA8Unorm,
                        "RGBA");
}

// The pipelines of the formats that copies have, kept since one made anew would have to be compiled again.
const RenderPipeline& GetPipeline(wgpu::TextureFormat format)
{
    static auto& pipelines = *new std::map<wgpu::TextureFormat, RenderPipeline>;
    RenderPipeline& pipeline = pipelines[format];
    if (!pipeline)
        pipeline = RenderPipelineBuilder()
                       .SetShader(GetBuiltInShader("scene/MipLevel.wgsl"))
                       .SetFrameBufferFormat({.colorFormats = {format}})
                       .Build();
    return pipeline;
}

void DrawLevel(const wgpu::CommandEncoder& encoder, const wgpu::RenderPipeline& pipeline,
               const wgpu::TextureView& level, const wgpu::BindGroup& group)
{
    wgpu::RenderPassColorAttachment attachment;
    attachment.view = level;
    attachment.loadOp = wgpu::LoadOp::Clear;
    attachment.storeOp = wgpu::StoreOp::Store;
    wgpu::RenderPassDescriptor descriptor;
    descriptor.colorAttachmentCount = 1;
    descriptor.colorAttachments = &attachment;
    const wgpu::RenderPassEncoder pass = encoder.BeginRenderPass(&descriptor);
    pass.SetPipeline(pipeline);
    pass.SetBindGroup(0, group);
    pass.Draw(3);
    pass.End();
    ++Internal::Counters().renderPasses;
    ++Internal::Counters().draws;
}

} // namespace

wgpu::TextureView MipTextures::Get(const Texture& texture, TexelKind kind)
{
    if (!texture || !Internal::IsCurrent(TextureAccess::Storage(texture)->generation) ||
        !IsFloatFormat(texture.GetTextureFormat()))
        return nullptr;
    const std::shared_ptr<const void> identity = TextureAccess::Identity(texture);
    const Key key{identity.get(), kind};
    const auto found = copies.find(key);
    if (found != copies.end() && found->second.source.lock() == identity)
    {
        found->second.needed = true;
        return found->second.view;
    }
    Copy copy = Take(texture, kind);
    if (!copy.texture)
        return nullptr;
    copy.source = identity;
    copy.needed = true;
    Fill(copy, texture);
    return (copies[key] = std::move(copy)).view;
}

void MipTextures::BeginContent()
{
    for (auto& [key, copy] : copies)
        copy.needed = false;
}

void MipTextures::Age()
{
    for (auto& [key, copy] : copies)
        copy.age = copy.needed ? 0 : copy.age + 1;
    std::erase_if(copies, [](const auto& entry) { return entry.second.age > maxAge; });
}

MipTextures::Copy MipTextures::Take(const Texture& texture, TexelKind kind)
{
    const auto width = std::uint32_t(texture.GetWidth());
    const auto height = std::uint32_t(texture.GetHeight());
    wgpu::TextureDescriptor descriptor;
    descriptor.label = "mip-mapped copy";
    descriptor.size = {width, height};
    descriptor.mipLevelCount = std::uint32_t(std::bit_width(std::max(width, height)));
    descriptor.format = CopyFormat(texture.GetTextureFormat(), kind);
    descriptor.usage =
        wgpu::TextureUsage::TextureBinding | wgpu::TextureUsage::CopyDst | wgpu::TextureUsage::RenderAttachment;
    const auto fits = [&](const auto& entry)
    {
        const Copy& copy = entry.second;
        return copy.source.expired() && copy.texture.GetWidth() == width && copy.texture.GetHeight() == height &&
               copy.texture.GetFormat() == descriptor.format;
    };
    const auto idle = std::ranges::find_if(copies, fits);
    return idle != copies.end() ? std::move(copies.extract(idle).mapped()) : Make(descriptor);
}

MipTextures::Copy MipTextures::Make(const wgpu::TextureDescriptor& descriptor)
{
    Copy copy;
    Internal::ErrorScope scope;
    copy.texture = Graphics::GetDevice().CreateTexture(&descriptor);
    const std::string problem = scope.Finish();
    if (!problem.empty())
    {
        LogError("A texture's copy with mip levels could not be made: " + problem);
        return {};
    }
    ++Internal::Counters().texturesCreated;
    copy.view = copy.texture.CreateView();
    const wgpu::Sampler sampler = Internal::GetSampler(wgpu::FilterMode::Linear, wgpu::AddressMode::ClampToEdge);
    for (std::uint32_t level = 0; level < descriptor.mipLevelCount; ++level)
    {
        wgpu::TextureViewDescriptor view;
        view.baseMipLevel = level;
        view.mipLevelCount = 1;
        if (level > 0)
            copy.levelGroups.push_back(BindGroupBuilder(GetPipeline(descriptor.format), 0)
                                           .AddTextureView(0, 1, {copy.levels.back(), sampler})
                                           .Build());
        copy.levels.push_back(copy.texture.CreateView(&view));
    }
    return copy;
}

void MipTextures::Fill(const Copy& copy, const Texture& texture)
{
    const Texture copyable = MakeCopyable(texture, copy.texture.GetFormat());
    const wgpu::RenderPipeline pipeline = PreparePipeline(*PipelineAccess::Data(GetPipeline(copy.texture.GetFormat())));
    if (!copyable || !pipeline)
        return; // logged
    TextureAccess::ClearFresh(copyable);
    wgpu::TexelCopyTextureInfo source;
    source.texture = TextureAccess::Storage(copyable)->texture;
    wgpu::TexelCopyTextureInfo target;
    target.texture = copy.texture;
    const wgpu::Extent3D extent{copy.texture.GetWidth(), copy.texture.GetHeight()};
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyTextureToTexture(&source, &target, &extent);
    for (std::size_t i = 0; i < copy.levelGroups.size(); ++i)
        DrawLevel(encoder, pipeline, copy.levels[i + 1], copy.levelGroups[i]);
    Internal::Submit(encoder);
}

} // namespace Varkle
