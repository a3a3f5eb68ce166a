#include "glb/Download.h"

#include "Varkle/Gpu/Graphics.h"
#include "buffer/BufferAccess.h"
#include "buffer/BufferPool.h"
#include "device/GpuInternals.h"

#include <algorithm>
#include <chrono>

namespace Varkle::Glb
{

Download::~Download()
{
    for (auto& [handle, readBack] : buffers)
    {
        if (readBack.bytes.empty())
            continue;
        readBack.mapped.Unmap();
        BufferPool::Give(std::move(readBack.mapped), generation);
    }
}

void Download::Add(const Buffer& buffer)
{
    if (buffer)
        buffers.try_emplace(buffer.GetBufferHandle().Get(), ReadBack{buffer, nullptr, {}});
}

void Download::Add(const Texture& texture)
{
    if (texture && std::ranges::find(textures, texture, &std::pair<Texture, Image>::first) == textures.end())
        textures.emplace_back(texture, Image());
}

bool Download::Run()
{
    if (buffers.empty() && textures.empty())
        return true;
    if (!Graphics::GetDevice() || Graphics::IsLost() || !ReadBuffers())
        return false;
    ReadTextures();
    return !Graphics::IsLost();
}

bool Download::ReadBuffers()
{
    generation = Internal::DeviceGeneration();
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    for (auto& [handle, readBack] : buffers)
    {
        if (!BufferAccess::IsCurrent(readBack.source))
            return false;
        const std::uint64_t size = readBack.source.GetBufferHandle().GetSize();
        readBack.mapped = BufferPool::Take(size, wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst);
        if (!readBack.mapped)
            return false;
        encoder.CopyBufferToBuffer(readBack.source.GetBufferHandle(), 0, readBack.mapped, 0, size);
    }
    Internal::Submit(encoder);

    for (auto& [handle, readBack] : buffers)
    {
        Internal::Wait(readBack.mapped.MapAsync(wgpu::MapMode::Read, 0, wgpu::kWholeMapSize,
                                                wgpu::CallbackMode::WaitAnyOnly,
                                                [](wgpu::MapAsyncStatus, wgpu::StringView) {}));
        const auto* const data = static_cast<const std::byte*>(readBack.mapped.GetConstMappedRange());
        if (!data)
            return false;
        readBack.bytes = {data, readBack.source.GetSizeInBytes()};
    }
    return true;
}

void Download::ReadTextures()
{
    std::size_t missing = textures.size();
    for (auto& [texture, image] : textures)
        texture.ReadPixelsAsync(
            [&missing, &target = image](Image arrived)
            {
                target = std::move(arrived);
                --missing;
            });
    while (missing > 0 && Graphics::WaitForReadBack(std::chrono::milliseconds(100)))
    {
    }
}

std::span<const std::byte> Download::GetBytes(const Buffer& buffer) const
{
    const auto found = buffers.find(buffer ? buffer.GetBufferHandle().Get() : nullptr);
    return found == buffers.end() ? std::span<const std::byte>() : found->second.bytes;
}

Image Download::GetImage(const Texture& texture) const
{
    const auto found = std::ranges::find(textures, texture, &std::pair<Texture, Image>::first);
    return found == textures.end() ? Image() : found->second;
}

} // namespace Varkle::Glb
