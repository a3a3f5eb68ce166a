#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Image.h"

#include <cstdint>
#include <functional>
#include <glm/vec2.hpp>
#include <memory>
#include <string>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

struct TextureStorage;

/// Says how a shader reads a texture.
struct TextureViewOptions
{
    wgpu::FilterMode filter = wgpu::FilterMode::Linear;
    wgpu::AddressMode addressMode = wgpu::AddressMode::ClampToEdge;
    /// Four channel letters out of R, G, B, A, 0, 1 in either case: where red, green, blue and alpha are read from.
    /// Missing letters read 0 for color and 1 for alpha, other letters read 0. "RGBA" changes nothing.
    std::string swizzle = "RGBA";
    std::int32_t firstMipLevel = 0;
    std::int32_t mipLevelCount = -1; ///< -1: all from the first on

    bool operator==(const TextureViewOptions&) const = default;
};

/// Is a handle of a two-dimensional GPU texture. Copies share the texture; a default-constructed handle is empty. What
/// a texture shows never changes once it was handed on. When the last handle of a frame buffer's texture goes, it
/// returns to a pool and is drawn into again: keep a handle for as long as you use views or bind groups of it.
class VARKLE_API Texture
{
public:
    Texture() = default;

    /// Uploads an image as a RGBA8Unorm texture (RGBA8UnormSrgb with `srgb`), which shaders can sample and which can be
    /// read back. Empty when the image is, when it is larger than the device allows, or without a device.
    static Texture FromImage(const Image& image, bool srgb);

    /// Makes a texture that is transparent black until it is drawn into: sampled, rendered to
    /// (FrameBuffer::FromTexture), copied from and to. Empty when the size or the format is not possible, or the GPU
    /// can't make it, which is logged.
    static Texture Create(glm::ivec2 size, wgpu::TextureFormat format);

    int GetWidth() const;
    int GetHeight() const;
    /// Returns the format, Undefined for an empty handle.
    wgpu::TextureFormat GetTextureFormat() const;

    /// Returns the GPU object, null for an empty handle. Asking for it takes the texture out of the pool's hands for
    /// good, since whoever holds the object can go on looking at it.
    wgpu::Texture GetTextureHandle() const;

    /// Returns a view with the options' swizzle and mip levels; null for an empty handle. Views are kept with the
    /// texture: asking again costs nothing.
    wgpu::TextureView GetTextureView(TextureViewOptions options) const;

    /// Reads the pixels back and hands them to `done` on the main thread, once, some frames later
    /// (Graphics::ProcessEvents). The image has GetWidth() by GetHeight() pixels as a shader would sample them, rounded
    /// to 8 bits (of sRGB formats the stored bytes): color channels that the format lacks are 0, a missing alpha is
    /// 255. An invalid image when the handle is empty, the format holds integers or depth, or the device was lost
    /// meanwhile.
    void ReadPixelsAsync(std::function<void(Image)> done) const;

    explicit operator bool() const { return storage != nullptr; }
    /// True when both are handles of the same texture.
    bool operator==(const Texture&) const = default;

private:
    friend class FrameBuffer;
    friend struct TextureAccess;

    std::shared_ptr<TextureStorage> storage;
};

/// Is a texture view together with the sampler that reads it. Keeps the texture alive.
class VARKLE_API TextureView
{
public:
    TextureView() = default;
    TextureView(const Texture& texture, const TextureViewOptions& options = {});
    TextureView(const wgpu::TextureView& view, const wgpu::Sampler& sampler);

    const wgpu::TextureView& GetTextureViewHandle() const { return view; }
    const wgpu::Sampler& GetSamplerHandle() const { return sampler; }

private:
    Texture texture;
    wgpu::TextureView view;
    wgpu::Sampler sampler;
};

/// Returns a 1 by 1 opaque white texture.
VARKLE_API Texture GetDefaultWhiteTexture();
/// Returns a 1 by 1 transparent black texture: what an unconnected input yields.
VARKLE_API Texture GetDefaultTexture();

/// Returns the name of a format as WebGPU's C++ header spells it: "RGBA8Unorm".
VARKLE_API std::string GetTextureFormatName(wgpu::TextureFormat format);

} // namespace Varkle
