#pragma once

#include "Varkle/Gpu/Graphics.h"

#include <cstdint>
#include <string>
#include <string_view>

// What the classes of the GPU layer share among themselves.
namespace Varkle
{
class Texture;
}

namespace Varkle::Internal
{

/// The counters, to be counted up.
GpuCounters& Counters();

/// Makes the label of a GPU object or the beginning of a message: what it is, and the operator that is executing, so
/// that validation messages name it: "soft: render pipeline".
std::string Label(std::string_view what);

/// Returns where a pass that is about to be recorded writes its begin and end times, for the operator that is
/// executing; null while timings are off or the adapter has none. The structure stays valid until the next call.
const wgpu::PassTimestampWrites* BeginPassTiming();
/// Ends the timings and forgets them.
void ReleaseTimings();

/// A sampler for the options, made once: the GPU blocks on samplers of a new kind.
wgpu::Sampler GetSampler(wgpu::FilterMode filter, wgpu::AddressMode addressMode);

/// Makes all windows black and releases their surfaces, which must not outlive the device.
void ReleaseWindowSurfaces();

/// Grows whenever the device was released or replaced; caches of GPU objects compare it to know that theirs are stale.
unsigned long DeviceGeneration();
/// True when objects of that generation can go on being used: the device exists still and was not lost.
bool IsCurrent(unsigned long generation);

/// Finishes the commands and hands them to the queue.
void Submit(const wgpu::CommandEncoder& encoder);
void Submit(const wgpu::CommandBuffer& commands);

/// Sleeps until the future's callback has run, or the time is over. Returns whether it has run.
bool Wait(wgpu::Future future, std::chrono::nanoseconds timeout = std::chrono::nanoseconds::max());

/// Returns the first line of what the device says of an error; the others repeat where it happened.
std::string_view FirstLine(std::string_view message);

/// Keeps what the device says against the calls made from its construction to Finish from its error callback, which
/// would log it: validation, memory and the driver's internal errors. Scopes nest.
class ErrorScope
{
public:
    ErrorScope();
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

    /// Ends the scope and returns the first line of the complaint, empty when all went well. To be called once.
    std::string Finish();
};

/// Returns the view of a frame buffer's texture that a pass draws into.
wgpu::TextureView GetRenderView(const Texture& texture);
/// True for a frame buffer's texture into which nothing was drawn since it was allocated: a pass that draws into it
/// clears it first, since what the pool hands out holds an old picture.
bool IsFresh(const Texture& texture);
/// Notes that the GPU took a pass that draws into a texture.
void NoteDrawn(const Texture& texture);

/// Returns whether there is memory for a texture or a buffer. A GPU that is the CPU takes it from the process, and
/// crashes when nothing is left for its own work. Counts a shortage.
bool HasRoom(std::uint64_t bytes);
/// What is said to be the reason when there is none.
inline constexpr std::string_view NoRoom = "There is not enough memory for it.";

/// True when a request is to fail because a test wants it so (Graphics::FailNext); counts it.
bool TakeFailure(GpuRequest request);
/// What is said to be the reason then.
inline constexpr std::string_view FailureReason = "A test wants it to fail.";

} // namespace Varkle::Internal
