#pragma once

#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/Graphics.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace Varkle::Testing
{

/// Returns what a buffer with the usage CopySrc holds now, in elements of type T.
template<class T>
std::vector<T> ReadBuffer(const Buffer& buffer)
{
    const std::uint64_t bytes = buffer.GetBufferHandle().GetSize();
    wgpu::BufferDescriptor descriptor;
    descriptor.size = bytes;
    descriptor.usage = wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst;
    const wgpu::Buffer readable = Graphics::GetDevice().CreateBuffer(&descriptor);
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyBufferToBuffer(buffer.GetBufferHandle(), 0, readable, 0, bytes);
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
    const wgpu::Future mapped = readable.MapAsync(wgpu::MapMode::Read, 0, bytes, wgpu::CallbackMode::WaitAnyOnly,
                                                  [](wgpu::MapAsyncStatus, wgpu::StringView) {});
    Graphics::GetInstance().WaitAny(mapped, UINT64_MAX);
    std::vector<T> elements(buffer.GetSizeInBytes() / sizeof(T));
    if (const void* const data = readable.GetConstMappedRange(0, bytes))
        std::memcpy(elements.data(), data, elements.size() * sizeof(T));
    return elements;
}

} // namespace Varkle::Testing
