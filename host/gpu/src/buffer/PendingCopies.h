#pragma once

#include <cstdint>
#include <webgpu/webgpu_cpp.h>

// Copies between buffers, gathered into one submit: a submit costs more than what a small copy moves.
//
// Whatever could tell the difference has them submitted first, most of it by taking the queue (Graphics::GetQueue).
// Buffers that can be mapped are the exception: mapping one asks nobody. Their copies must be submitted at once.
namespace Varkle::PendingCopies
{

/// Records a copy that WebGPU allows: one that it refuses takes all others with it. The buffers are held until then.
void Add(const wgpu::Buffer& source, std::uint64_t sourceOffset, const wgpu::Buffer& target, std::uint64_t targetOffset,
         std::uint64_t size);
/// Hands what was recorded to the queue.
void Submit();
/// Forgets what was recorded.
void Drop();

} // namespace Varkle::PendingCopies
