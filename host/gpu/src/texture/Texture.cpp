#include "Varkle/Gpu/Texture.h"

#include "Varkle/Core/Log.h"
#include "buffer/BufferPool.h"
#include "device/GpuInternals.h"
#include "device/ResourcePool.h"
#include "texture/Swizzle.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <sstream>
#include <webgpu/webgpu_cpp_print.h>

namespace Varkle
{

namespace
{

struct PooledTexture
{
    wgpu::Texture texture;
    wgpu::TextureView view;
};

struct PoolKey
{
    std::uint32_t width;
    std::uint32_t height;
    wgpu::TextureFormat format;
    std::uint32_t sampleCount;
    bool operator==(const PoolKey&) const = default;
};

// Never destroyed, as handles may outlive it.
ResourcePool<PoolKey, PooledTexture>& Pool()
{
    static auto& pool = *new ResourcePool<PoolKey, PooledTexture>;
    return pool;
}

PoolKey KeyOf(const wgpu::Texture& texture)
{
    return {texture.GetWidth(), texture.GetHeight(), texture.GetFormat(), texture.GetSampleCount()};
}

// Exact for the formats that are drawn into every frame, a guess for others: only the pool's budget depends on it.
std::uint64_t BytesPerPixel(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R8Unorm:
        return 1;
    case wgpu::TextureFormat::RG8Unorm:
    case wgpu::TextureFormat::R16Float:
        return 2;
    case wgpu::TextureFormat::RGBA16Float:
    case wgpu::TextureFormat::RG32Float:
        return 8;
    case wgpu::TextureFormat::RGBA32Float:
        return 16;
    default:
        return 4;
    }
}

std::uint64_t SizeInBytes(const PoolKey& key)
{
    return std::uint64_t(key.width) * key.height * key.sampleCount * BytesPerPixel(key.format);
}

wgpu::Texture CreateTexture(const PoolKey& key)
{
    const wgpu::Device device = Graphics::GetDevice();
    const std::string label = Internal::Label("texture");
    wgpu::TextureDescriptor descriptor;
    descriptor.label = std::string_view(label);
    descriptor.size = {key.width, key.height};
    descriptor.format = key.format;
    descriptor.sampleCount = key.sampleCount;
    descriptor.usage = wgpu::TextureUsage::RenderAttachment;
    if (key.sampleCount == 1 && !IsDepthFormat(key.format))
        descriptor.usage |=
            wgpu::TextureUsage::TextureBinding | wgpu::TextureUsage::CopySrc | wgpu::TextureUsage::CopyDst;
    Internal::ErrorScope scope;
    wgpu::Texture texture = device.CreateTexture(&descriptor);
    const std::string problem = scope.Finish();
    if (problem.empty())
    {
        ++Internal::Counters().texturesCreated;
        return texture;
    }
    LogError(Internal::Label("A " + GetTextureFormatName(key.format) + " texture of " + std::to_string(key.width) +
                             " by " + std::to_string(key.height) + " pixels could not be made: " + problem));
    return nullptr;
}

void UploadPixels(const wgpu::Texture& texture, const Image& image)
{
    const auto width = std::uint32_t(image.GetWidth());
    const auto height = std::uint32_t(image.GetHeight());
    const std::uint32_t rowBytes = width * 4;
    const wgpu::Extent3D extent{width, height};
    wgpu::TexelCopyTextureInfo target;
    target.texture = texture;
    Internal::Counters().bytesUploaded += std::uint64_t(rowBytes) * height;

    const std::uint32_t pitch = AlignRow(rowBytes);
    const std::uint64_t stagedBytes = std::uint64_t(pitch) * height;
    const bool large = stagedBytes >= BufferPool::MinStagedBytes && stagedBytes <= BufferPool::MaxStagedBytes;
    if (const wgpu::Buffer staging = large ? BufferPool::TakeStaging(stagedBytes) : nullptr)
    {
        auto* const bytes = static_cast<std::uint8_t*>(staging.GetMappedRange(0, stagedBytes));
        for (std::uint32_t row = 0; row < height; ++row)
            std::memcpy(bytes + std::size_t(row) * pitch, image.GetPixels() + std::size_t(row) * rowBytes, rowBytes);
        staging.Unmap();
        wgpu::TexelCopyBufferInfo source;
        source.buffer = staging;
        source.layout.bytesPerRow = pitch;
        source.layout.rowsPerImage = height;
        const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
        encoder.CopyBufferToTexture(&source, &target, &extent);
        Internal::Submit(encoder);
        BufferPool::GiveStaging(staging);
        return;
    }
    wgpu::TexelCopyBufferLayout layout;
    layout.bytesPerRow = rowBytes;
    layout.rowsPerImage = height;
    Graphics::GetQueue().WriteTexture(&target, image.GetPixels(), std::size_t(rowBytes) * height, &layout, &extent);
}

bool FitsDevice(glm::ivec2 size)
{
    const auto limit = int(Graphics::GetLimits().maxTextureDimension2D);
    return size.x >= 1 && size.y >= 1 && size.x <= limit && size.y <= limit;
}

#ifdef WGPU_TEXTURE_COMPONENT_SWIZZLE_DESCRIPTOR_INIT
wgpu::ComponentSwizzle ComponentOf(char letter)
{
    switch (letter)
    {
    case 'R':
        return wgpu::ComponentSwizzle::R;
    case 'G':
        return wgpu::ComponentSwizzle::G;
    case 'B':
        return wgpu::ComponentSwizzle::B;
    case 'A':
        return wgpu::ComponentSwizzle::A;
    case '1':
        return wgpu::ComponentSwizzle::One;
    default:
        return wgpu::ComponentSwizzle::Zero;
    }
}
#endif

// Returns a view that swizzles by itself; null when the device can't make such views.
wgpu::TextureView CreateSwizzledView(const wgpu::Texture& texture, wgpu::TextureViewDescriptor descriptor,
                                     const std::string& swizzle)
{
#ifdef WGPU_TEXTURE_COMPONENT_SWIZZLE_DESCRIPTOR_INIT
    if (!Graphics::HasFeature(wgpu::FeatureName::TextureComponentSwizzle))
        return nullptr;
    wgpu::TextureComponentSwizzleDescriptor components;
    components.swizzle = {ComponentOf(swizzle[0]), ComponentOf(swizzle[1]), ComponentOf(swizzle[2]),
                          ComponentOf(swizzle[3])};
    descriptor.nextInChain = &components;
    descriptor.usage = wgpu::TextureUsage::TextureBinding;
    return texture.CreateView(&descriptor);
#else
    static_cast<void>(texture);
    static_cast<void>(descriptor);
    static_cast<void>(swizzle);
    return nullptr;
#endif
}

// The format of a swizzled copy: four channels of the same precision or better.
wgpu::TextureFormat CopyFormat(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R8Unorm:
    case wgpu::TextureFormat::RG8Unorm:
    case wgpu::TextureFormat::RGBA8Unorm:
    case wgpu::TextureFormat::BGRA8Unorm:
        return wgpu::TextureFormat::RGBA8Unorm;
    case wgpu::TextureFormat::RGBA8UnormSrgb:
    case wgpu::TextureFormat::BGRA8UnormSrgb:
        return wgpu::TextureFormat::RGBA8UnormSrgb;
    default:
        return wgpu::TextureFormat::RGBA16Float;
    }
}

// The textures that the layer itself keeps.
struct Defaults
{
    Texture white;
    Texture transparent;
};

Defaults& GetDefaults()
{
    static Defaults& defaults = *new Defaults;
    return defaults;
}

Texture GetDefault(Texture& kept, std::uint8_t value)
{
    if (!kept || !Internal::IsCurrent(TextureAccess::Storage(kept)->generation))
        kept = Texture::FromImage(Image({1, 1}, {value, value, value, value}), false);
    return kept;
}

} // namespace

TextureStorage::~TextureStorage()
{
    if (!pooled || !texture || !Internal::IsCurrent(generation))
        return;
    const PoolKey key = KeyOf(texture);
    Pool().Give(key, {std::move(texture), std::move(view)}, SizeInBytes(key));
}

Texture TextureAccess::Allocate(glm::ivec2 size, wgpu::TextureFormat format, std::uint32_t sampleCount)
{
    if (!Graphics::GetDevice())
        return {};
    const PoolKey key{std::uint32_t(size.x), std::uint32_t(size.y), format, sampleCount};
    std::optional<PooledTexture> found = Pool().Take(key);
    if (found)
        ++Internal::Counters().texturesReused;
    else if (wgpu::Texture created = CreateTexture(key))
        found = PooledTexture{created, created.CreateView()};
    else
        return {};
    Texture texture;
    texture.storage = std::make_shared<TextureStorage>();
    texture.storage->texture = std::move(found->texture);
    texture.storage->view = std::move(found->view);
    texture.storage->generation = Internal::DeviceGeneration();
    return texture;
}

void TextureAccess::ClearFresh(const Texture& texture)
{
    if (!std::exchange(texture.storage->fresh, false))
        return;
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    wgpu::RenderPassColorAttachment attachment;
    attachment.view = texture.storage->view;
    attachment.loadOp = wgpu::LoadOp::Clear;
    attachment.storeOp = wgpu::StoreOp::Store;
    wgpu::RenderPassDescriptor pass;
    pass.colorAttachmentCount = 1;
    pass.colorAttachments = &attachment;
    encoder.BeginRenderPass(&pass).End();
    Internal::Submit(encoder);
}

Texture Texture::FromImage(const Image& image, bool srgb)
{
    if (!image.IsValid() || !Graphics::GetDevice())
        return {};
    const glm::ivec2 size{image.GetWidth(), image.GetHeight()};
    if (!FitsDevice(size))
    {
        LogWarning(Internal::Label("An image of " + std::to_string(size.x) + " by " + std::to_string(size.y) +
                                   " pixels is larger than the GPU allows: " +
                                   std::to_string(Graphics::GetLimits().maxTextureDimension2D) + " pixels a side."));
        return {};
    }
    Texture texture =
        TextureAccess::Allocate(size, srgb ? wgpu::TextureFormat::RGBA8UnormSrgb : wgpu::TextureFormat::RGBA8Unorm, 1);
    if (texture)
        UploadPixels(texture.storage->texture, image);
    return texture;
}

Texture Texture::Create(glm::ivec2 size, wgpu::TextureFormat format)
{
    if (format == wgpu::TextureFormat::Undefined || !FitsDevice(size))
        return {};
    return TextureAccess::Allocate(size, format, 1);
}

int Texture::GetWidth() const
{
    return storage ? int(storage->texture.GetWidth()) : 0;
}

int Texture::GetHeight() const
{
    return storage ? int(storage->texture.GetHeight()) : 0;
}

wgpu::TextureFormat Texture::GetTextureFormat() const
{
    return storage ? storage->texture.GetFormat() : wgpu::TextureFormat::Undefined;
}

wgpu::Texture Texture::GetTextureHandle() const
{
    if (!storage || !Internal::IsCurrent(storage->generation))
        return nullptr;
    TextureAccess::ClearFresh(*this);
    storage->pooled = false;
    return storage->texture;
}

wgpu::TextureView Texture::GetTextureView(TextureViewOptions options) const
{
    if (!storage || !Internal::IsCurrent(storage->generation))
        return nullptr;
    TextureAccess::ClearFresh(*this);
    const std::string swizzle = NormalizeSwizzle(options.swizzle);
    if (swizzle == "RGBA" && options.firstMipLevel == 0 && options.mipLevelCount == -1)
        return storage->view;
    const auto fits = [&](const TextureStorage::CachedView& cached)
    {
        return cached.swizzle == swizzle && cached.firstMipLevel == options.firstMipLevel &&
               cached.mipLevelCount == options.mipLevelCount;
    };
    const auto cached = std::find_if(storage->views.begin(), storage->views.end(), fits);
    if (cached != storage->views.end())
        return cached->view;

    TextureStorage::CachedView made{swizzle, options.firstMipLevel, options.mipLevelCount, nullptr, {}};
    wgpu::TextureViewDescriptor descriptor;
    descriptor.baseMipLevel = std::uint32_t(options.firstMipLevel);
    if (options.mipLevelCount != -1)
        descriptor.mipLevelCount = std::uint32_t(options.mipLevelCount);
    if (swizzle == "RGBA")
        made.view = storage->texture.CreateView(&descriptor);
    else
        made.view = CreateSwizzledView(storage->texture, descriptor, swizzle);
    if (!made.view)
    {
        made.copy = CopySwizzled(*this, CopyFormat(GetTextureFormat()), swizzle);
        made.view = made.copy.GetTextureView({});
    }
    return storage->views.emplace_back(std::move(made)).view;
}

TextureView::TextureView(const Texture& viewedTexture, const TextureViewOptions& options)
    : texture(viewedTexture),
      view(viewedTexture.GetTextureView(options)),
      sampler(Internal::GetSampler(options.filter, options.addressMode))
{
}

TextureView::TextureView(const wgpu::TextureView& givenView, const wgpu::Sampler& givenSampler)
    : view(givenView), sampler(givenSampler)
{
}

Texture GetDefaultWhiteTexture()
{
    return GetDefault(GetDefaults().white, 255);
}

Texture GetDefaultTexture()
{
    return GetDefault(GetDefaults().transparent, 0);
}

std::string GetTextureFormatName(wgpu::TextureFormat format)
{
    std::ostringstream stream;
    stream << format; // "TextureFormat::RGBA8Unorm"
    const std::string name = stream.str();
    return name.substr(name.rfind(':') + 1);
}

bool IsDepthFormat(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::Stencil8:
    case wgpu::TextureFormat::Depth16Unorm:
    case wgpu::TextureFormat::Depth24Plus:
    case wgpu::TextureFormat::Depth24PlusStencil8:
    case wgpu::TextureFormat::Depth32Float:
    case wgpu::TextureFormat::Depth32FloatStencil8:
        return true;
    default:
        return false;
    }
}

bool IsFloatFormat(wgpu::TextureFormat format)
{
    const std::string name = GetTextureFormatName(format);
    return !IsDepthFormat(format) && !name.ends_with("int");
}

namespace Internal
{

wgpu::TextureView GetRenderView(const Texture& texture)
{
    const TextureStorage* const storage = TextureAccess::Storage(texture);
    return storage && IsCurrent(storage->generation) ? storage->view : nullptr;
}

bool TakeFresh(const Texture& texture)
{
    TextureStorage* const storage = TextureAccess::Storage(texture);
    if (!storage)
        return false;
    std::erase_if(storage->views, [](const TextureStorage::CachedView& cached) { return bool(cached.copy); });
    return std::exchange(storage->fresh, false);
}

} // namespace Internal

namespace TexturePool
{

std::uint64_t IdleCount()
{
    return Pool().Count();
}

std::uint64_t IdleBytes()
{
    return Pool().Bytes();
}

void Trim(bool all)
{
    Pool().Trim(all);
}

void ReleaseDefaults()
{
    GetDefaults() = {};
}

} // namespace TexturePool

} // namespace Varkle
