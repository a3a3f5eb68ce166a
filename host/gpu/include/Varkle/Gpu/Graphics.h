#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

class Operator;

/// Counts what the GPU layer did since the process started (or since ResetCounters); `idle...` are momentary.
struct GpuCounters
{
    std::uint64_t shadersCompiled = 0;  ///< shader modules handed to the driver
    std::uint64_t pipelinesCreated = 0; ///< render and compute pipelines
    std::uint64_t bindGroupsCreated = 0;
    std::uint64_t samplersCreated = 0;
    std::uint64_t buffersCreated = 0;  ///< GPU buffers that were newly allocated
    std::uint64_t buffersReused = 0;   ///< buffers that came from the pool instead
    std::uint64_t texturesCreated = 0; ///< GPU textures that were newly allocated
    std::uint64_t texturesReused = 0;  ///< frame buffer textures that came from the pool instead
    std::uint64_t renderPasses = 0;    ///< submitted
    std::uint64_t computePasses = 0;   ///< submitted
    std::uint64_t draws = 0;
    std::uint64_t dispatches = 0;
    std::uint64_t submits = 0;       ///< of commands to the queue; of copies between buffers one carries many
    std::uint64_t presents = 0;      ///< pictures handed to windows
    std::uint64_t bytesUploaded = 0; ///< to buffers and textures
    std::uint64_t readBacks = 0;     ///< pixel reads that were asked for
    std::uint64_t errors = 0;        ///< errors that the device reported
    /// Pictures, textures and buffers that could not be made for want of memory; the log says which.
    std::uint64_t memoryShortages = 0;
    std::uint64_t mostFrames = 0;   ///< the most frames that were under way at once (Graphics::EndFrame)
    std::uint64_t idleTextures = 0; ///< textures that wait in the pool now
    std::uint64_t idleTextureBytes = 0;
    std::uint64_t idleBuffers = 0; ///< buffers that wait in the pool now
    std::uint64_t idleBufferBytes = 0;
};

/// Describes a GPU, or a CPU that does its work.
struct AdapterInfo
{
    std::string name; ///< "NVIDIA H200", "llvmpipe (LLVM 15.0.6, 256 bits)"
    std::string vendor;
    std::string driver;  ///< what the driver says of itself and its version
    std::string backend; ///< "Vulkan", "Metal", ...
    std::string type;    ///< "discrete GPU", "integrated GPU", "CPU", "unknown"
};

/// Is a kind of request that the GPU may refuse.
enum class GpuRequest
{
    Texture,   ///< to allocate a texture, be it from the pool
    Buffer,    ///< to allocate a buffer, likewise
    BindGroup, ///< to make a bind group
    Pass,      ///< to take a render or compute pass that was recorded
};

/// The one GPU device of the process. Everything here belongs to the main thread.
namespace Graphics
{

/// Chooses an adapter and makes the device. `adapter` is part of an adapter's name (case ignored), "cpu" for one
/// without a GPU, or empty for the best: what the environment variable VARKLE_ADAPTER names, else a discrete GPU, an
/// integrated one, the CPU. Does nothing when the device exists. The error (a machine's) names the adapters that there
/// are.
VARKLE_API Status Start(const std::string& adapter = {});

/// Returns the device; starts it with the defaults when Start was not called. Null when that fails, which is logged
/// once.
VARKLE_API wgpu::Device GetDevice();
/// Returns the queue, to which everything was submitted that the layer was asked for so far. Don't keep it: the layer
/// gathers copies of buffers, and hands them over when the queue is asked for again.
VARKLE_API wgpu::Queue GetQueue();
VARKLE_API wgpu::Instance GetInstance();

/// True when the device exists; never starts it.
VARKLE_API bool IsStarted();

/// Releases the device and everything that the layer keeps for it. Handles that are still held become empty of use.
VARKLE_API void Shutdown();

/// Describes the adapter of the device (started when needed).
VARKLE_API AdapterInfo GetAdapterInfo();
/// Describes every adapter that this machine offers, the best first, without making a device.
VARKLE_API std::vector<AdapterInfo> ListAdapters();
/// Returns the names of the features that the device has, sorted, as WebGPU spells them ("timestamp-query").
VARKLE_API std::vector<std::string> GetFeatureNames();
VARKLE_API bool HasFeature(wgpu::FeatureName feature);
/// Returns the limits of the device.
VARKLE_API const wgpu::Limits& GetLimits();

/// Makes a sampler of one's own, for what the options of texture views don't offer, and counts it. Null without a
/// device.
VARKLE_API wgpu::Sampler CreateSampler(const wgpu::SamplerDescriptor& descriptor);

/// Runs what the GPU has finished: read-back callbacks, errors, a lost device. Call it once a frame.
VARKLE_API void ProcessEvents();
/// Sleeps until a read-back has finished and ran its callback, or the time is over. Returns false when none is in
/// flight.
VARKLE_API bool WaitForReadBack(std::chrono::milliseconds timeout);
/// Returns how many read-backs are in flight.
VARKLE_API std::size_t CountReadBacks();
/// True while there is any.
VARKLE_API bool HasReadBacks();
/// Sleeps until everything that was asked for so far has been done by the GPU.
VARKLE_API void WaitForGpu();

/// Says that a frame ends here. What was submitted since the last call is under way until the GPU has done it; a frame
/// that submitted nothing does not count. Whoever runs frames (GraphSession does) calls this behind each one and
/// WaitForFrames before the next, since the queue takes any number of them and keeps the memory of all.
VARKLE_API void EndFrame();
/// Sleeps until at most that many frames are under way, or the time is over. Returns whether it came to that. A lost
/// device has none under way.
VARKLE_API bool WaitForFrames(std::size_t most, std::chrono::milliseconds timeout);

/// True when the device was lost (unplugged, reset, crashed driver); the reason is in the log and in GetLostReason.
VARKLE_API bool IsLost();
VARKLE_API std::string GetLostReason();

VARKLE_API GpuCounters GetCounters();
VARKLE_API void ResetCounters();

/// Starts measuring the GPU time of every pass, by the operator that submitted it. Returns false when the adapter has
/// no timestamps.
VARKLE_API bool StartTimings();
/// Returns the GPU time of each operator since StartTimings, waiting for passes that are still under way. Operators
/// that were deleted meanwhile are left out; null stands for what no operator submitted.
VARKLE_API std::map<const Operator*, std::chrono::nanoseconds> CollectTimings();

/// Releases pooled textures and buffers that were not used for a while; call it once a frame. `all` releases every idle
/// one.
VARKLE_API void TrimPools(bool all = false);

/// Makes `count` requests of a kind fail as if the GPU had refused them, with the error in the log, after the next
/// `after` ones: for tests of what happens then. 0 takes back what did not fail yet.
VARKLE_API void FailNext(GpuRequest request, unsigned count = 1, unsigned after = 0);

} // namespace Graphics

} // namespace Varkle
