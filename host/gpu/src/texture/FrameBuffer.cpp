#include "Varkle/Gpu/FrameBuffer.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "device/GpuInternals.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <glm/common.hpp>
#include <utility>

namespace Varkle
{

namespace
{

// Returns whether the operator that executes asked for a possible size the last time, and notes what it does now. An
// operator asks anew in every frame, often for another size; a warning when it begins to ask for too much is enough.
bool NoteSize(bool isPossible)
{
    static auto& impossible = *new std::vector<WeakObject>; // the operators whose last size was not possible
    static bool& nobodysIs = *new bool(false);              // what was asked for outside of operators
    Operator* const executing = Operator::Executing();
    if (!executing)
        return !std::exchange(nobodysIs, !isPossible);
    std::erase_if(impossible, [](const WeakObject& op) { return !op.Get(); });
    const auto found = std::ranges::find(impossible, executing, &WeakObject::Get);
    const bool was = found == impossible.end();
    if (isPossible && !was)
        impossible.erase(found);
    if (!isPossible && was)
        impossible.emplace_back(executing);
    return was;
}

glm::ivec2 ClampSize(glm::ivec2 asked)
{
    const int limit = int(Graphics::GetLimits().maxTextureDimension2D);
    const glm::ivec2 size = glm::clamp(asked, glm::ivec2(1), glm::ivec2(limit));
    const bool wasPossible = NoteSize(size == asked);
    if (size == asked || !wasPossible)
        return size;
    const auto text = [](glm::ivec2 s) { return std::to_string(s.x) + " by " + std::to_string(s.y); };
    LogWarning(Internal::Label("A texture of " + text(asked) + " pixels can't be made; it becomes " + text(size) +
                               ". Each side can have 1 to " + std::to_string(limit) + " pixels."));
    return size;
}

Texture AllocateTarget(glm::ivec2 size, wgpu::TextureFormat format, std::uint32_t sampleCount)
{
    Texture target = TextureAccess::Allocate(size, format, sampleCount);
    if (target)
        TextureAccess::Storage(target)->fresh = true;
    return target;
}

} // namespace

Texture FrameBuffer::GetColorTarget(int index) const
{
    return index >= 0 && index < int(colorTargets.size()) ? colorTargets[std::size_t(index)] : Texture();
}

FrameBuffer FrameBuffer::FromTexture(const Texture& target, wgpu::TextureFormat depthFormat, std::uint32_t sampleCount)
{
    FrameBuffer frameBuffer;
    if (!target)
        return frameBuffer;
    frameBuffer.size = {target.GetWidth(), target.GetHeight()};
    frameBuffer.format = {
        .colorFormats = {target.GetTextureFormat()}, .depthFormat = depthFormat, .sampleCount = sampleCount};
    frameBuffer.colorTargets = {target};
    return frameBuffer.AllocateRest() ? frameBuffer : FrameBuffer();
}

// Adds what is drawn into besides the color targets. False, with the reason in the log, when the GPU can't make it.
bool FrameBuffer::AllocateRest()
{
    bool complete = true;
    if (format.sampleCount > 1)
    {
        for (const wgpu::TextureFormat colorFormat : format.colorFormats)
            complete = complete && multisampled.emplace_back(AllocateTarget(size, colorFormat, format.sampleCount));
    }
    if (format.depthFormat != wgpu::TextureFormat::Undefined)
        complete = complete && (depthTarget = AllocateTarget(size, format.depthFormat, format.sampleCount));
    return complete;
}

FrameBuffer AllocateFrameBuffer(glm::ivec2 size, const FrameBufferFormat& format)
{
    FrameBuffer frameBuffer;
    if (!Graphics::GetDevice())
        return frameBuffer;
    frameBuffer.size = ClampSize(size);
    frameBuffer.format = format;
    for (const wgpu::TextureFormat colorFormat : format.colorFormats)
    {
        if (!frameBuffer.colorTargets.emplace_back(AllocateTarget(frameBuffer.size, colorFormat, 1)))
            return {};
    }
    return frameBuffer.AllocateRest() ? frameBuffer : FrameBuffer();
}

} // namespace Varkle
