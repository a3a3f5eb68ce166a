#include "buffer/PendingCopies.h"

#include "device/GpuInternals.h"

#include <utility>

namespace Varkle::PendingCopies
{

namespace
{

// Null when nothing is recorded. Never destroyed: the process may end with copies that nobody waits for.
wgpu::CommandEncoder& Encoder()
{
    static auto& encoder = *new wgpu::CommandEncoder;
    return encoder;
}

} // namespace

void Add(const wgpu::Buffer& source, std::uint64_t sourceOffset, const wgpu::Buffer& target, std::uint64_t targetOffset,
         std::uint64_t size)
{
    if (!Encoder())
        Encoder() = Graphics::GetDevice().CreateCommandEncoder();
    Encoder().CopyBufferToBuffer(source, sourceOffset, target, targetOffset, size);
}

void Submit()
{
    // Emptied first: submitting takes the queue, which comes here again.
    if (const wgpu::CommandEncoder recorded = std::exchange(Encoder(), nullptr))
        Internal::Submit(recorded);
}

void Drop()
{
    Encoder() = nullptr;
}

} // namespace Varkle::PendingCopies
