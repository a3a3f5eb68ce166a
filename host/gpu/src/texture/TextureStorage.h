#pragma once

#include "Varkle/Gpu/Texture.h"

#include <cstdint>
#include <vector>

// What Texture.cpp shares with the rest of the GPU layer.
namespace Varkle
{

/// Is what texture handles point at.
struct TextureStorage
{
    struct CachedView
    {
        std::string swizzle; // four letters out of "RGBA01"
        std::int32_t firstMipLevel;
        std::int32_t mipLevelCount;
        wgpu::TextureView view;
        Texture copy; // the swizzled copy that the view shows, where the device can't swizzle
    };

    TextureStorage() = default;
    TextureStorage(const TextureStorage&) = delete;
    TextureStorage& operator=(const TextureStorage&) = delete;
    ~TextureStorage();

    wgpu::Texture texture;
    wgpu::TextureView view; // all of it, unswizzled
    unsigned long generation = 0;
    bool pooled = true; // false once someone outside may hold the texture
    bool fresh = false; // true until the first pass draws into a frame buffer's texture
    std::vector<CachedView> views;
};

struct TextureAccess
{
    static TextureStorage* Storage(const Texture& texture) { return texture.storage.get(); }

    /// Returns what lives as long as a handle of the texture does: caches tell textures apart by it, since the GPU
    /// object goes on to another handle then.
    static std::shared_ptr<const void> Identity(const Texture& texture) { return texture.storage; }

    /// Returns a texture from the pool or a new one, with undefined content; empty, with an error in the log, when the
    /// device can't make it. Multisampled and depth textures can only be drawn into.
    static Texture Allocate(glm::ivec2 size, wgpu::TextureFormat format, std::uint32_t sampleCount);

    /// Returns a handle of a texture that comes from elsewhere and never goes to the pool: a window's, to draw into.
    static Texture Wrap(const wgpu::Texture& texture);

    /// Clears a frame buffer's texture into which nothing was drawn, before something looks at it: what the pool hands
    /// out holds an old picture.
    static void ClearFresh(const Texture& texture);
};

/// Returns the distance between two rows of pixels in a buffer that is copied to or from a texture: WebGPU wants
/// multiples of 256 bytes.
constexpr std::uint32_t AlignRow(std::uint32_t bytes)
{
    return (bytes + 255) & ~255u;
}

bool IsDepthFormat(wgpu::TextureFormat format);
/// True for formats that a shader reads as float numbers: all but integers, depth and stencil.
bool IsFloatFormat(wgpu::TextureFormat format);

/// The idle textures, for the counters and TrimPools.
namespace TexturePool
{
std::uint64_t IdleCount();
std::uint64_t IdleBytes();
void Trim(bool all);
/// Lets go of the textures that the layer itself keeps.
void ReleaseDefaults();
} // namespace TexturePool

} // namespace Varkle
