#pragma once

#include <cstdint>
#include <span>
#include <webgpu/webgpu_cpp.h>

// GPU buffers that go round: those of Buffer handles, and those through which bytes travel to and from the GPU.
namespace Varkle::BufferPool
{

/// Returns an idle buffer of exactly that size and usage, or a new one; null when the device can't make it, which is
/// logged.
wgpu::Buffer Take(std::uint64_t size, wgpu::BufferUsage usage);
/// Hands a buffer back that nobody refers to any more. One of an earlier device is dropped.
void Give(wgpu::Buffer buffer, unsigned long generation);

/// From this size on bytes travel faster through a kept staging buffer than through the queue's own writes, which reuse
/// only 4 MiB of memory, ...
inline constexpr std::uint64_t MinStagedBytes = 4ull << 20;
/// ... up to this one: larger staging buffers are not worth keeping.
inline constexpr std::uint64_t MaxStagedBytes = 64ull << 20;

/// Returns a buffer of that size which is mapped for writing and can be copied from; null when there is none to be had.
wgpu::Buffer TakeStaging(std::uint64_t size);
/// Hands a staging buffer back after the commands that copy from it were submitted.
void GiveStaging(const wgpu::Buffer& buffer);

std::uint64_t IdleCount();
std::uint64_t IdleBytes();
void Trim(bool all);

} // namespace Varkle::BufferPool
