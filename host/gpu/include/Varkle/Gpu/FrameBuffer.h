#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Texture.h"

#include <vector>

namespace Varkle
{

/// Says what a pipeline renders into. Compared field by field.
struct FrameBufferFormat
{
    std::vector<wgpu::TextureFormat> colorFormats;                    ///< one for each colour target
    wgpu::TextureFormat depthFormat = wgpu::TextureFormat::Undefined; ///< Undefined for none
    std::uint32_t sampleCount = 1;
    bool flag = false; ///< reserved, always false

    bool operator==(const FrameBufferFormat&) const = default;
};

/// Is a set of render targets of one size. Copies share the targets.
class VARKLE_API FrameBuffer
{
public:
    FrameBuffer() = default;

    /// Returns a colour target, an empty texture when there is none with that index. With several samples it is the
    /// resolved texture.
    Texture GetColorTarget(int index) const;
    int GetWidth() const { return size.x; }
    int GetHeight() const { return size.y; }
    const FrameBufferFormat& GetFormat() const { return format; }

private:
    friend FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format);
    friend class RenderPassRecorder;

    glm::ivec2 size{0, 0};
    FrameBufferFormat format;
    std::vector<Texture> colorTargets;
    std::vector<Texture> multisampled; // empty with one sample
    Texture depthTarget;
};

/// Returns a frame buffer of the size with fresh targets, taken from the pool where it has fitting ones. A size that
/// can't be made becomes the nearest that can (1 to the device's limit), with a warning in the log.
VARKLE_API FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format);

} // namespace Varkle
