#include "Varkle/Gpu/Buffer.h"

#include "Varkle/Core/Log.h"
#include "buffer/BufferAccess.h"
#include "buffer/BufferPool.h"
#include "buffer/PendingCopies.h"
#include "device/GpuInternals.h"
#include "device/ResourcePool.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace Varkle
{

struct BufferStorage
{
    BufferStorage(wgpu::Buffer madeBuffer, unsigned long askedSize)
        : buffer(std::move(madeBuffer)), size(askedSize), generation(Internal::DeviceGeneration())
    {
    }
    BufferStorage(const BufferStorage&) = delete;
    BufferStorage& operator=(const BufferStorage&) = delete;
    ~BufferStorage() { BufferPool::Give(std::move(buffer), generation); }

    wgpu::Buffer buffer;
    unsigned long size; // as asked for
    unsigned long generation;
};

namespace
{

constexpr std::uint64_t RoundUp(std::uint64_t size)
{
    return (size + 3) & ~std::uint64_t(3);
}

// The rounded size counts: copies go by multiples of 4.
bool Contains(const Buffer& buffer, std::uint64_t offset, std::uint64_t size)
{
    const std::uint64_t available = RoundUp(buffer.GetSizeInBytes());
    return offset <= available && size <= available - offset;
}

// Copies through a staging buffer. Returns false when there is none to be had.
bool UploadStaged(const wgpu::Buffer& target, const void* data, std::uint64_t size, std::uint64_t offset)
{
    const std::uint64_t padded = RoundUp(size);
    const wgpu::Buffer staging = BufferPool::TakeStaging(padded);
    if (!staging)
        return false;
    auto* const bytes = static_cast<std::byte*>(staging.GetMappedRange(0, padded));
    std::memcpy(bytes, data, size);
    std::memset(bytes + size, 0, padded - size);
    staging.Unmap();
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyBufferToBuffer(staging, 0, target, offset, padded);
    Internal::Submit(encoder);
    BufferPool::GiveStaging(staging);
    return true;
}

bool CanBeMapped(const wgpu::Buffer& buffer)
{
    return bool(buffer.GetUsage() & (wgpu::BufferUsage::MapRead | wgpu::BufferUsage::MapWrite));
}

// Returns why WebGPU would refuse a copy from one buffer to the other; null when it would not.
const char* FindRefusal(const wgpu::Buffer& source, const wgpu::Buffer& target)
{
    if (source.Get() == target.Get())
        return "they are the same.";
    if (!(source.GetUsage() & wgpu::BufferUsage::CopySrc))
        return "the first one lacks the usage CopySrc.";
    if (!(target.GetUsage() & wgpu::BufferUsage::CopyDst))
        return "the second one lacks the usage CopyDst.";
    return nullptr;
}

void Clear(const wgpu::Buffer& buffer)
{
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.ClearBuffer(buffer);
    Internal::Submit(encoder);
}

} // namespace

Buffer::Buffer(unsigned long size, wgpu::BufferUsage usage, bool zeroed)
{
    const wgpu::BufferUsage realUsage = zeroed ? usage | wgpu::BufferUsage::CopyDst : usage;
    const std::uint64_t reused = Internal::Counters().buffersReused;
    wgpu::Buffer buffer = BufferPool::Take(std::max<std::uint64_t>(RoundUp(size), 4), realUsage);
    if (!buffer)
        return;
    // A new buffer is zeroed by WebGPU.
    if (zeroed && Internal::Counters().buffersReused != reused)
        Clear(buffer);
    storage = std::make_shared<BufferStorage>(std::move(buffer), size);
}

void Buffer::Upload(const void* data, unsigned long size, unsigned long offset)
{
    if (size == 0 || !storage)
        return;
    if (offset % 4 != 0 || offset > GetSizeInBytes() || size > GetSizeInBytes() - offset)
    {
        LogError(Internal::Label("Can't write " + std::to_string(size) + " bytes at offset " + std::to_string(offset) +
                                 " of a buffer of " + std::to_string(GetSizeInBytes()) +
                                 " bytes: the range must lie inside and start at a multiple of 4."));
        return;
    }
    if (!Internal::IsCurrent(storage->generation))
        return;
    Internal::Counters().bytesUploaded += size;
    if (size >= BufferPool::MinStagedBytes && size <= BufferPool::MaxStagedBytes &&
        UploadStaged(storage->buffer, data, size, offset))
        return;

    const wgpu::Queue queue = Graphics::GetQueue();
    const unsigned long whole = size & ~3ul;
    if (whole > 0)
        queue.WriteBuffer(storage->buffer, offset, data, whole);
    if (whole == size)
        return;
    std::uint32_t last = 0;
    std::memcpy(&last, static_cast<const std::byte*>(data) + whole, size - whole);
    queue.WriteBuffer(storage->buffer, offset + whole, &last, sizeof(last));
}

void Buffer::CopyFrom(const Buffer& source, std::uint64_t sourceOffset, std::uint64_t destinationOffset,
                      std::uint64_t size)
{
    if (size == 0 || !storage || !source.storage)
        return;
    if (sourceOffset % 4 != 0 || destinationOffset % 4 != 0 || size % 4 != 0 || !Contains(source, sourceOffset, size) ||
        !Contains(*this, destinationOffset, size))
    {
        LogError(
            Internal::Label("Can't copy " + std::to_string(size) + " bytes at offset " + std::to_string(sourceOffset) +
                            " of a buffer of " + std::to_string(source.GetSizeInBytes()) + " bytes to offset " +
                            std::to_string(destinationOffset) + " of a buffer of " + std::to_string(GetSizeInBytes()) +
                            " bytes: all must be multiples of 4, and the ranges lie inside the buffers."));
        return;
    }
    if (!Internal::IsCurrent(storage->generation) || !Internal::IsCurrent(source.storage->generation))
        return;
    const wgpu::Buffer& from = source.storage->buffer;
    const wgpu::Buffer& to = storage->buffer;
    if (const char* const reason = FindRefusal(from, to))
    {
        LogError(Internal::Label(std::string("Can't copy between two buffers: ") + reason));
        return;
    }
    const bool canBeMapped = CanBeMapped(from) || CanBeMapped(to);
    if (canBeMapped)
        PendingCopies::Submit(); // one that is mapped now spoils its own copy alone
    PendingCopies::Add(from, sourceOffset, to, destinationOffset, size);
    if (canBeMapped)
        PendingCopies::Submit();
}

unsigned long Buffer::GetSizeInBytes() const
{
    return storage ? storage->size : 0;
}

wgpu::Buffer Buffer::GetBufferHandle() const
{
    return storage ? storage->buffer : nullptr;
}

bool BufferAccess::IsCurrent(const Buffer& buffer)
{
    return buffer.storage && Internal::IsCurrent(buffer.storage->generation);
}

namespace BufferPool
{

namespace
{

struct Key
{
    std::uint64_t size;
    wgpu::BufferUsage usage;
    bool operator==(const Key&) const = default;
};

// Never destroyed, as handles may outlive it.
ResourcePool<Key, wgpu::Buffer>& Pool()
{
    static auto& pool = *new ResourcePool<Key, wgpu::Buffer>;
    return pool;
}

constexpr wgpu::BufferUsage stagingUsage = wgpu::BufferUsage::MapWrite | wgpu::BufferUsage::CopySrc;

std::nullptr_t Refuse(std::uint64_t size, std::string_view reason)
{
    LogError(
        Internal::Label("A buffer of " + std::to_string(size) + " bytes could not be made: " + std::string(reason)));
    return nullptr;
}

wgpu::Buffer TakeOrCreate(std::uint64_t size, wgpu::BufferUsage usage, bool mappedAtCreation)
{
    const wgpu::Device device = Graphics::GetDevice();
    if (!device || Graphics::IsLost())
        return nullptr; // logged
    if (Internal::TakeFailure(GpuRequest::Buffer))
        return Refuse(size, Internal::FailureReason);
    if (std::optional<wgpu::Buffer> idle = Pool().Take({size, usage}))
    {
        ++Internal::Counters().buffersReused;
        return *idle;
    }
    if (size > Graphics::GetLimits().maxBufferSize)
    {
        LogError(Internal::Label("A buffer of " + std::to_string(size) + " bytes is larger than the GPU allows, " +
                                 std::to_string(Graphics::GetLimits().maxBufferSize) + " bytes."));
        return nullptr;
    }
    if (!Internal::HasRoom(size))
        return Refuse(size, Internal::NoRoom);
    const std::string label = Internal::Label("buffer");
    wgpu::BufferDescriptor descriptor;
    descriptor.label = std::string_view(label);
    descriptor.usage = usage;
    descriptor.size = size;
    descriptor.mappedAtCreation = mappedAtCreation;
    Internal::ErrorScope scope;
    wgpu::Buffer buffer = device.CreateBuffer(&descriptor);
    const std::string problem = scope.Finish();
    if (!problem.empty())
        return Refuse(size, problem);
    ++Internal::Counters().buffersCreated;
    return buffer;
}

} // namespace

wgpu::Buffer Take(std::uint64_t size, wgpu::BufferUsage usage)
{
    return TakeOrCreate(size, usage, false);
}

void Give(wgpu::Buffer buffer, unsigned long generation)
{
    if (!buffer || !Internal::IsCurrent(generation))
        return;
    const Key key{buffer.GetSize(), buffer.GetUsage()};
    Pool().Give(key, std::move(buffer), key.size);
}

wgpu::Buffer TakeStaging(std::uint64_t size)
{
    return TakeOrCreate(size, stagingUsage, true);
}

void GiveStaging(const wgpu::Buffer& buffer)
{
    // In the pool all staging buffers are mapped already.
    const unsigned long generation = Internal::DeviceGeneration();
    buffer.MapAsync(wgpu::MapMode::Write, 0, wgpu::kWholeMapSize, wgpu::CallbackMode::AllowProcessEvents,
                    [buffer, generation](wgpu::MapAsyncStatus status, wgpu::StringView)
                    {
                        if (status == wgpu::MapAsyncStatus::Success)
                            Give(buffer, generation);
                    });
}

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

} // namespace BufferPool

} // namespace Varkle
