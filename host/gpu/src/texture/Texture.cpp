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

std::nullptr_t RefuseTexture(const PoolKey& key, std::string_view reason)
{
    LogError(Internal::Label("A " + GetTextureFormatName(key.format) + " texture of " + std::to_string(key.width) +
                             " by " + std::to_string(key.height) +
                             " pixels could not be made: " + std::string(reason)));
    return nullptr;
}

wgpu::Texture CreateTexture(const PoolKey& key)
{
    if (!Internal::HasRoom(SizeInBytes(key)))
        return RefuseTexture(key, Internal::NoRoom);
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
    if (!problem.empty())
        return RefuseTexture(key, problem);
    ++Internal::Counters().texturesCreated;
    return texture;
}

// Some rows of an image on their way into a texture.
struct Band
{
    const wgpu::Texture& texture;
    const Image& image;
    std::uint32_t firstRow;
    std::uint32_t rows;
};

void FillStaging(const Band& band, const wgpu::Buffer& staging, std::uint32_t pitch)
{
    const std::size_t rowBytes = std::size_t(band.image.GetWidth()) * 4;
    auto* const bytes = static_cast<std::uint8_t*>(staging.GetMappedRange(0, std::uint64_t(pitch) * band.rows));
    for (std::size_t row = 0; row < band.rows; ++row)
        std::memcpy(bytes + row * pitch, band.image.GetPixels() + (band.firstRow + row) * rowBytes, rowBytes);
    staging.Unmap();
}

void CopyFromStaging(const Band& band, const wgpu::Buffer& staging, std::uint32_t pitch)
{
    wgpu::TexelCopyBufferInfo source;
    source.buffer = staging;
    source.layout.bytesPerRow = pitch;
    source.layout.rowsPerImage = band.rows;
    wgpu::TexelCopyTextureInfo target;
    target.texture = band.texture;
    target.origin.y = band.firstRow;
    const wgpu::Extent3D extent{std::uint32_t(band.image.GetWidth()), band.rows};
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyBufferToTexture(&source, &target, &extent);
    Internal::Submit(encoder);
}

// Sends an image through one staging buffer, band after band, each when the GPU is done with the one before: a huge
// picture takes no more memory on its way than a large one. False when there is no staging buffer to be had.
bool UploadInBands(const wgpu::Texture& texture, const Image& image, std::uint32_t pitch)
{
    const auto height = std::uint32_t(image.GetHeight());
    // What is too large to be kept goes in small bands: it is as fast, and such pictures leave little memory.
    constexpr std::uint64_t bandBytes = 16u << 20;
    const bool isHuge = std::uint64_t(pitch) * height > BufferPool::MaxStagedBytes;
    const std::uint32_t bandRows = isHuge ? std::max(std::uint32_t(bandBytes / pitch), 1u) : height;
    wgpu::Buffer staging = BufferPool::TakeStaging(std::uint64_t(pitch) * bandRows);
    if (!staging)
        return false; // logged
    for (std::uint32_t row = 0;; row += bandRows)
    {
        const Band band{texture, image, row, std::min(bandRows, height - row)};
        FillStaging(band, staging, pitch);
        CopyFromStaging(band, staging, pitch);
        if (row + band.rows == height)
            break;
        bool mapped = false;
        Internal::Wait(staging.MapAsync(wgpu::MapMode::Write, 0, wgpu::kWholeMapSize, wgpu::CallbackMode::WaitAnyOnly,
                                        [&](wgpu::MapAsyncStatus status, wgpu::StringView)
                                        { mapped = status == wgpu::MapAsyncStatus::Success; }));
        if (!mapped)
            return false; // the device was lost, which is logged
    }
    BufferPool::GiveStaging(staging);
    return true;
}

// Returns false, with the reason in the log, when the GPU can't take all of it.
bool UploadPixels(const wgpu::Texture& texture, const Image& image)
{
    const std::uint32_t rowBytes = std::uint32_t(image.GetWidth()) * 4;
    const std::uint64_t bytes = std::uint64_t(rowBytes) * std::uint32_t(image.GetHeight());
    Internal::Counters().bytesUploaded += bytes;
    if (bytes >= BufferPool::MinStagedBytes)
        return UploadInBands(texture, image, AlignRow(rowBytes));
    wgpu::TexelCopyTextureInfo target;
    target.texture = texture;
    wgpu::TexelCopyBufferLayout layout;
    layout.bytesPerRow = rowBytes;
    layout.rowsPerImage = std::uint32_t(image.GetHeight());
    const wgpu::Extent3D extent{std::uint32_t(image.GetWidth()), std::uint32_t(image.GetHeight())};
    Graphics::GetQueue().WriteTexture(&target, image.GetPixels(), bytes, &layout, &extent);
    return true;
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
    if (!Graphics::GetDevice() || Graphics::IsLost())
        return {}; // logged
    const PoolKey key{std::uint32_t(size.x), std::uint32_t(size.y), format, sampleCount};
    const bool fails = Internal::TakeFailure(GpuRequest::Texture);
    std::optional<PooledTexture> found = fails ? std::nullopt : Pool().Take(key);
    if (found)
        ++Internal::Counters().texturesReused;
    else if (wgpu::Texture created = fails ? RefuseTexture(key, Internal::FailureReason) : CreateTexture(key))
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

Texture TextureAccess::Wrap(const wgpu::Texture& wrapped)
{
    Texture texture;
    texture.storage = std::make_shared<TextureStorage>();
    texture.storage->texture = wrapped;
    texture.storage->view = wrapped.CreateView();
    texture.storage->generation = Internal::DeviceGeneration();
    texture.storage->pooled = false;
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
    return texture && UploadPixels(texture.storage->texture, image) ? texture : Texture();
}

Texture Texture::Create(glm::ivec2 size, wgpu::TextureFormat format)
{
    if (format == wgpu::TextureFormat::Undefined || !FitsDevice(size))
        return {};
    Texture texture = TextureAccess::Allocate(size, format, 1);
    if (texture)
        texture.storage->fresh = !IsDepthFormat(format);
    return texture;
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

bool IsFresh(const Texture& texture)
{
    const TextureStorage* const storage = TextureAccess::Storage(texture);
    return storage && storage->fresh;
}

void NoteDrawn(const Texture& texture)
{
    TextureStorage* const storage = TextureAccess::Storage(texture);
    if (!storage)
        return;
    storage->fresh = false;
    std::erase_if(storage->views, [](const TextureStorage::CachedView& cached) { return bool(cached.copy); });
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
