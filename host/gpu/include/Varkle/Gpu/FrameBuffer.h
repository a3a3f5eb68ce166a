#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Texture.h"

#include <vector>

namespace Varkle
{

/// Says what a pipeline renders into: no color target, no depth and one sample unless it is told. Compared field by
/// field.
struct FrameBufferFormat
{
    std::vector<wgpu::TextureFormat> colorFormats;                    ///< one for each color target
    wgpu::TextureFormat depthFormat = wgpu::TextureFormat::Undefined; ///< Undefined for none
    std::uint32_t sampleCount = 1;                                    ///< of each pixel, 1 or 4
    bool flag = false;                                                ///< reserved, always false

    bool operator==(const FrameBufferFormat&) const = default;
};

/// Is a set of render targets of one size. Copies share the targets.
class VARKLE_API FrameBuffer
{
public:
    FrameBuffer() = default;

    /// Returns a frame buffer that draws into a texture which there is already; depth and further samples, where they
    /// are asked for, come from the pool. Empty for an empty texture, and, with an error in the log, when the GPU can't
    /// make the rest. A texture that was handed on must not be drawn into again.
    static FrameBuffer FromTexture(const Texture& target,
                                   wgpu::TextureFormat depthFormat = wgpu::TextureFormat::Undefined,
                                   std::uint32_t sampleCount = 1);

    /// Returns a color target, an empty texture when there is none with that index. With several samples it is the
    /// resolved texture.
    Texture GetColorTarget(int index) const;
    int GetWidth() const { return size.x; }
    int GetHeight() const { return size.y; }
    const FrameBufferFormat& GetFormat() const { return format; }

private:
    friend FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format);
    friend class RenderPassRecorder;
    bool AllocateRest();

    glm::ivec2 size{0, 0};
    FrameBufferFormat format;
    std::vector<Texture> colorTargets;
    std::vector<Texture> multisampled; // empty with one sample
    Texture depthTarget;
};

/// Returns a frame buffer of the size with fresh targets, taken from the pool where it has fitting ones. A size that
/// can't be made becomes the nearest that can (1 to the device's limit), with a warning in the log, which comes once
/// until the operator asks for a possible size again. Empty, with an error in the log, when the GPU can't make it.
VARKLE_API FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format);

} // namespace Varkle
