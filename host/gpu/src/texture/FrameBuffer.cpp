#include "Varkle/Gpu/FrameBuffer.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "device/GpuInternals.h"
#include "texture/TextureStorage.h"

#include <glm/common.hpp>
#include <set>
#include <tuple>

namespace Varkle
{

namespace
{

glm::ivec2 ClampSize(glm::ivec2 asked)
{
    const int limit = int(Graphics::GetLimits().maxTextureDimension2D);
    const glm::ivec2 size = glm::clamp(asked, glm::ivec2(1), glm::ivec2(limit));
    if (size == asked)
        return size;
    // An operator asks anew in every frame; one warning for each size is enough.
    static auto& warned = *new std::set<std::tuple<std::string, int, int>>;
    const Operator* const executing = Operator::Executing();
    if (!warned.emplace(executing ? executing->GetKey() : std::string(), asked.x, asked.y).second)
        return size;
    const auto text = [](glm::ivec2 s) { return std::to_string(s.x) + " by " + std::to_string(s.y); };
    LogWarning(Internal::Label("A texture of " + text(asked) + " pixels can't be made; it becomes " + text(size) +
                               ". Each side can have 1 to " + std::to_string(limit) + " pixels."));
    return size;
}

} // namespace

Texture FrameBuffer::GetColorTarget(int index) const
{
    return index >= 0 && index < int(colorTargets.size()) ? colorTargets[std::size_t(index)] : Texture();
}

FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format)
{
    FrameBuffer frameBuffer;
    if (!Graphics::GetDevice())
        return frameBuffer;
    frameBuffer.size = ClampSize(size);
    frameBuffer.format = format;
    bool complete = true;
    const auto allocate = [&](wgpu::TextureFormat targetFormat, std::uint32_t sampleCount)
    {
        Texture target = TextureAccess::Allocate(frameBuffer.size, targetFormat, sampleCount);
        if (target)
            TextureAccess::Storage(target)->fresh = true;
        complete = complete && target;
        return target;
    };
    for (const wgpu::TextureFormat colorFormat : format.colorFormats)
    {
        frameBuffer.colorTargets.push_back(allocate(colorFormat, 1));
        if (format.sampleCount > 1)
            frameBuffer.multisampled.push_back(allocate(colorFormat, format.sampleCount));
    }
    if (format.depthFormat != wgpu::TextureFormat::Undefined)
        frameBuffer.depthTarget = allocate(format.depthFormat, format.sampleCount);
    return complete ? frameBuffer : FrameBuffer();
}

} // namespace Varkle
