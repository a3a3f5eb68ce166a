#pragma once

#include "Varkle/Core/Export.h"

#include <cstdint>
#include <memory>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

struct BufferStorage;

/// Is a handle of a GPU buffer. Copies share the buffer; a default-constructed handle is empty. When the last handle
/// goes, the buffer returns to a pool, from which the next one of the same size and usage is taken: what a new buffer
/// holds is undefined until it is written.
class VARKLE_API Buffer
{
public:
    Buffer() = default;

    /// Makes a buffer of `size` bytes (rounded up to a multiple of 4; at least 4). With `zeroed` its bytes are 0.
    Buffer(unsigned long size, wgpu::BufferUsage usage, bool zeroed);

    /// Queues a write of `size` bytes at `offset`, a multiple of 4; the bytes up to the next multiple of 4 behind them
    /// become 0. Passes submitted earlier don't see it, later ones do. Needs BufferUsage::CopyDst. A range outside the
    /// buffer is an error in the log, and nothing is written. An empty handle ignores it.
    void Upload(const void* data, unsigned long size, unsigned long offset);

    /// Copies bytes of another buffer on the GPU, in the order of uploads, passes and other copies. Many small copies
    /// in a row are cheap: they share one submit, the next that anything makes or that Graphics::GetQueue,
    /// ProcessEvents or WaitForGpu do. Offsets and size are multiples of 4. The usages needed are CopySrc there and
    /// CopyDst here. The same buffer, a missing usage, and a range outside one of the buffers are errors in the log,
    /// and nothing is copied. Empty handles ignore it.
    void CopyFrom(const Buffer& source, std::uint64_t sourceOffset, std::uint64_t destinationOffset,
                  std::uint64_t size);

    /// Returns the size that was asked for, 0 for an empty handle.
    unsigned long GetSizeInBytes() const;

    explicit operator bool() const { return storage != nullptr; }
    bool operator==(const Buffer&) const = default;

    /// Returns the GPU object, null for an empty handle. It stays valid while a handle lives.
    wgpu::Buffer GetBufferHandle() const;

private:
    friend struct BufferAccess;

    std::shared_ptr<BufferStorage> storage;
};

} // namespace Varkle
