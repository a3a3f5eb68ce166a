#include "Varkle/Gpu/Graphics.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/NoStart.h"
#include "buffer/BufferPool.h"
#include "buffer/PendingCopies.h"
#include "device/Adapters.h"
#include "device/GpuInternals.h"
#include "device/ReadBacks.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace Varkle
{

namespace
{

struct Failures
{
    unsigned count = 0; // of requests that are to fail ...
    unsigned after = 0; // ... after those
};

struct FrameUnderWay
{
    wgpu::Future future;
    std::shared_ptr<bool> done;
};

struct State
{
    wgpu::Instance instance;
    wgpu::Device device;
    wgpu::Queue queue;
    AdapterInfo adapter;
    wgpu::Limits limits;
    std::map<std::pair<wgpu::FilterMode, wgpu::AddressMode>, wgpu::Sampler> samplers;
    bool startFailed = false;
    bool lost = false;
    std::string lostReason;
    unsigned long generation = 0;
    GpuCounters counters;
    std::map<GpuRequest, Failures> failures;
    std::thread::id mainThread;

    std::deque<FrameUnderWay> frames; // the oldest first
    std::uint64_t submits = 0;        // never reset, unlike the counter
    std::uint64_t submitsBefore = 0;  // when the last frame ended

    // Errors that the device reported on a thread of its own; they are logged by the main thread.
    std::mutex foreignMutex;
    std::vector<std::string> foreignErrors;
};

// Never destroyed: handles may live in statics of whatever is loaded, and outlive everything here.
State& Get()
{
    static State& state = *new State;
    return state;
}

struct Feature
{
    wgpu::FeatureName feature;
    const char* name;
};

// The features that the layer makes use of, requested where the adapter has them.
constexpr Feature usedFeatures[] = {
    {wgpu::FeatureName::CoreFeaturesAndLimits, "core-features-and-limits"},
    {wgpu::FeatureName::Float32Filterable, "float32-filterable"},
#ifdef WGPU_TEXTURE_COMPONENT_SWIZZLE_DESCRIPTOR_INIT
    {wgpu::FeatureName::TextureComponentSwizzle, "texture-component-swizzle"},
#endif
    {wgpu::FeatureName::TimestampQuery, "timestamp-query"},
};

constexpr wgpu::ErrorFilter scopeFilters[] = {wgpu::ErrorFilter::Validation, wgpu::ErrorFilter::OutOfMemory,
                                              wgpu::ErrorFilter::Internal};

void LogDeviceError(std::string_view message)
{
    // An object that could not be made fails wherever it is used; its own error says why.
    if (!message.starts_with("[Invalid "))
        LogError(Internal::Label("GPU error: " + std::string(Internal::FirstLine(message))));
}

void OnError(const wgpu::Device&, wgpu::ErrorType, wgpu::StringView text)
{
    State& state = Get();
    const std::string message{std::string_view(text)};
    if (std::this_thread::get_id() != state.mainThread)
    {
        const std::lock_guard lock(state.foreignMutex);
        state.foreignErrors.push_back(message);
        return;
    }
    ++state.counters.errors;
    LogDeviceError(message);
}

void LogForeignErrors()
{
    State& state = Get();
    std::vector<std::string> messages;
    {
        const std::lock_guard lock(state.foreignMutex);
        messages.swap(state.foreignErrors);
    }
    for (const std::string& message : messages)
    {
        ++state.counters.errors;
        LogDeviceError(message);
    }
}

// Runs inside ProcessEvents, on the main thread.
void OnLost(const wgpu::Device& device, wgpu::DeviceLostReason reason, wgpu::StringView text)
{
    State& state = Get();
    if (reason == wgpu::DeviceLostReason::Destroyed || state.device.Get() != device.Get() || state.lost)
        return;
    state.lost = true;
    state.lostReason = Internal::FirstLine(text);
    LogError("The GPU device was lost: " + state.lostReason);
}

// The driver's threads may still be compiling and drawing when the process ends. What they use is taken down by then,
// so they are waited for, unless the GPU hangs.
void WaitBeforeExit()
{
    State& state = Get();
    constexpr std::chrono::seconds patience(10);
    if (state.device && !state.lost)
        Internal::Wait(state.queue.OnSubmittedWorkDone(wgpu::CallbackMode::WaitAnyOnly,
                                                       [](wgpu::QueueWorkDoneStatus, wgpu::StringView) {}),
                       patience);
}

// The GPU works in order: with a frame those before it are done, also when nobody was told so yet.
void ForgetFinishedFrames()
{
    State& state = Get();
    const auto isDone = [&](const FrameUnderWay& frame) { return *frame.done || state.lost; };
    const auto newest = std::find_if(state.frames.rbegin(), state.frames.rend(), isDone);
    state.frames.erase(state.frames.begin(), newest.base());
}

Status CreateDevice(const Adapter& adapter)
{
    State& state = Get();
    std::vector<wgpu::FeatureName> features;
    for (const Feature& used : usedFeatures)
    {
        if (adapter.adapter.HasFeature(used.feature))
            features.push_back(used.feature);
    }
    wgpu::Limits limits;
    adapter.adapter.GetLimits(&limits);

    // Times are for the user's own eyes: no need to make them coarse against spying pages.
    const char* const coarseTimes = "timestamp_quantization";
    wgpu::DawnTogglesDescriptor toggles;
    toggles.disabledToggleCount = 1;
    toggles.disabledToggles = &coarseTimes;

    wgpu::DeviceDescriptor descriptor;
    descriptor.nextInChain = &toggles;
    descriptor.label = "varkle";
    descriptor.requiredFeatureCount = features.size();
    descriptor.requiredFeatures = features.data();
    descriptor.requiredLimits = &limits;
    descriptor.SetUncapturedErrorCallback(OnError);
    descriptor.SetDeviceLostCallback(wgpu::CallbackMode::AllowProcessEvents, OnLost);

    wgpu::Device device;
    std::string problem;
    const wgpu::Future future =
        adapter.adapter.RequestDevice(&descriptor, wgpu::CallbackMode::WaitAnyOnly,
                                      [&](wgpu::RequestDeviceStatus, wgpu::Device result, wgpu::StringView text)
                                      {
                                          device = std::move(result);
                                          problem = Internal::FirstLine(text);
                                      });
    adapter.instance.WaitAny(future, UINT64_MAX);
    if (!device)
        return Error{"The GPU adapter \"" + adapter.info.name + "\" gave no device: " + problem, true};

    state.instance = adapter.instance;
    state.device = device;
    state.queue = device.GetQueue();
    state.adapter = adapter.info;
    device.GetLimits(&state.limits);
    state.lost = false;
    state.lostReason.clear();
    state.mainThread = std::this_thread::get_id();
    [[maybe_unused]] static const int registered = std::atexit(WaitBeforeExit);
    return Ok();
}

int startsForbidden = 0; // objects of NoStart that live

} // namespace

namespace Graphics
{

Status Start(const std::string& adapter)
{
    State& state = Get();
    if (state.device)
        return Ok();
    const char* const variable = adapter.empty() ? std::getenv("VARKLE_ADAPTER") : nullptr;
    const Result<Adapter> chosen = ChooseAdapter(variable ? variable : adapter);
    if (!chosen && variable)
        return Error{chosen.GetError().message + " The environment variable VARKLE_ADAPTER asks for it.", true};
    if (!chosen)
        return chosen.GetError();
    return CreateDevice(*chosen);
}

NoStart::NoStart()
{
    ++startsForbidden;
}

NoStart::~NoStart()
{
    --startsForbidden;
}

wgpu::Device GetDevice()
{
    State& state = Get();
    if (state.device || state.startFailed || startsForbidden > 0)
        return state.device;
    const Status status = Start();
    if (!status)
    {
        state.startFailed = true;
        LogError(status.GetError().message);
    }
    return state.device;
}

wgpu::Queue GetQueue()
{
    GetDevice();
    PendingCopies::Submit();
    return Get().queue;
}

wgpu::Instance GetInstance()
{
    GetDevice();
    return Get().instance;
}

bool IsStarted()
{
    return Get().device != nullptr;
}

void Shutdown()
{
    State& state = Get();
    state.startFailed = false;
    if (!state.device)
        return;
    Internal::ReleaseWindowSurfaces();
    WaitForGpu();
    ProcessEvents();
    ReadBacks::Abort();
    PendingCopies::Drop(); // of callbacks, or of a lost device
    Internal::ReleaseTimings();
    TexturePool::ReleaseDefaults();
    TexturePool::Trim(true);
    BufferPool::Trim(true);
    state.samplers.clear();
    state.frames.clear();
    const wgpu::Device device = std::exchange(state.device, nullptr);
    state.queue = nullptr;
    ++state.generation;
    device.Destroy();
    state.instance.ProcessEvents();
    LogForeignErrors();
    state.instance = nullptr;
    state.adapter = {};
    state.limits = {};
    if (std::exchange(state.lost, false))
        ForgetAdapters();
    state.lostReason.clear();
}

AdapterInfo GetAdapterInfo()
{
    GetDevice();
    return Get().adapter;
}

std::vector<AdapterInfo> ListAdapters()
{
    std::vector<AdapterInfo> infos;
    for (Adapter& adapter : FindAdapters())
        infos.push_back(std::move(adapter.info));
    return infos;
}

std::vector<std::string> GetFeatureNames()
{
    std::vector<std::string> names; // sorted as the table is
    for (const Feature& used : usedFeatures)
    {
        if (HasFeature(used.feature))
            names.emplace_back(used.name);
    }
    return names;
}

wgpu::Sampler CreateSampler(const wgpu::SamplerDescriptor& descriptor)
{
    const wgpu::Device device = GetDevice();
    if (!device)
        return nullptr;
    ++Get().counters.samplersCreated;
    return device.CreateSampler(&descriptor);
}

bool HasFeature(wgpu::FeatureName feature)
{
    const wgpu::Device device = GetDevice();
    return device && device.HasFeature(feature);
}

const wgpu::Limits& GetLimits()
{
    GetDevice();
    return Get().limits;
}

void ProcessEvents()
{
    const State& state = Get();
    PendingCopies::Submit();
    if (state.instance)
        state.instance.ProcessEvents();
    LogForeignErrors();
    ReadBacks::Deliver();
}

bool WaitForReadBack(std::chrono::milliseconds timeout)
{
    if (!HasReadBacks())
        return false;
    ReadBacks::Wait(timeout);
    return true;
}

std::size_t CountReadBacks()
{
    return ReadBacks::Count();
}

bool HasReadBacks()
{
    return CountReadBacks() > 0;
}

void WaitForGpu()
{
    const State& state = Get();
    PendingCopies::Submit();
    if (state.queue && !state.lost)
        Internal::Wait(state.queue.OnSubmittedWorkDone(wgpu::CallbackMode::WaitAnyOnly,
                                                       [](wgpu::QueueWorkDoneStatus, wgpu::StringView) {}));
}

void EndFrame()
{
    State& state = Get();
    PendingCopies::Submit();
    const std::uint64_t submits = state.submits;
    if (std::exchange(state.submitsBefore, submits) == submits || !state.queue || state.lost)
        return;
    const auto done = std::make_shared<bool>(false);
    const wgpu::Future future = state.queue.OnSubmittedWorkDone(
        wgpu::CallbackMode::AllowProcessEvents, [done](wgpu::QueueWorkDoneStatus, wgpu::StringView) { *done = true; });
    ForgetFinishedFrames();
    state.frames.push_back({future, done});
    state.counters.mostFrames = std::max<std::uint64_t>(state.counters.mostFrames, state.frames.size());
}

bool WaitForFrames(std::size_t most, std::chrono::milliseconds timeout)
{
    const State& state = Get();
    ForgetFinishedFrames();
    if (state.frames.size() > most)
        Internal::Wait(state.frames[state.frames.size() - most - 1].future, timeout);
    ForgetFinishedFrames();
    return state.frames.size() <= most;
}

bool IsLost()
{
    return Get().lost;
}

std::string GetLostReason()
{
    return Get().lostReason;
}

GpuCounters GetCounters()
{
    GpuCounters counters = Get().counters;
    counters.idleTextures = TexturePool::IdleCount();
    counters.idleTextureBytes = TexturePool::IdleBytes();
    counters.idleBuffers = BufferPool::IdleCount();
    counters.idleBufferBytes = BufferPool::IdleBytes();
    return counters;
}

void ResetCounters()
{
    Get().counters = {};
}

void TrimPools(bool all)
{
    TexturePool::Trim(all);
    BufferPool::Trim(all);
}

void FailNext(GpuRequest request, unsigned count, unsigned after)
{
    Get().failures[request] = {count, after};
}

} // namespace Graphics

namespace Internal
{

GpuCounters& Counters()
{
    return Get().counters;
}

std::string Label(std::string_view what)
{
    const Operator* const executing = Operator::Executing();
    if (!executing)
        return std::string(what);
    return executing->GetKey() + ": " + std::string(what);
}

wgpu::Sampler GetSampler(wgpu::FilterMode filter, wgpu::AddressMode addressMode)
{
    State& state = Get();
    if (!Graphics::GetDevice())
        return nullptr;
    const auto create = [&](wgpu::FilterMode kept, wgpu::AddressMode mode)
    {
        wgpu::SamplerDescriptor descriptor;
        descriptor.label = "sampler";
        descriptor.magFilter = kept;
        descriptor.minFilter = kept;
        descriptor.mipmapFilter =
            kept == wgpu::FilterMode::Linear ? wgpu::MipmapFilterMode::Linear : wgpu::MipmapFilterMode::Nearest;
        descriptor.addressModeU = mode;
        descriptor.addressModeV = mode;
        descriptor.addressModeW = mode;
        state.samplers[{kept, mode}] = Graphics::CreateSampler(descriptor);
    };
    // All kinds at once: one that came later would wait for the GPU to become idle.
    if (state.samplers.empty())
    {
        for (const auto kept : {wgpu::FilterMode::Nearest, wgpu::FilterMode::Linear})
        {
            for (const auto mode :
                 {wgpu::AddressMode::ClampToEdge, wgpu::AddressMode::Repeat, wgpu::AddressMode::MirrorRepeat})
                create(kept, mode);
        }
    }
    const auto sampler = state.samplers.find({filter, addressMode});
    // Undefined stands for WebGPU's defaults.
    if (sampler == state.samplers.end())
        return GetSampler(filter == wgpu::FilterMode::Linear ? filter : wgpu::FilterMode::Nearest,
                          wgpu::AddressMode::ClampToEdge);
    return sampler->second;
}

bool HasRoom(std::uint64_t bytes)
{
    constexpr std::uint64_t small = 16u << 20;    // asking costs more than what it saves
    constexpr std::uint64_t reserve = 128u << 20; // what a software GPU needs to draw, generously
    if (bytes < small || Get().adapter.type != "CPU")
        return true;
    const std::unique_ptr<std::byte[]> probe(new (std::nothrow)
                                                 std::byte[bytes + reserve]); // untouched, it costs nothing
    if (!probe)
        ++Counters().memoryShortages;
    return probe != nullptr;
}

bool TakeFailure(GpuRequest request)
{
    const auto found = Get().failures.find(request);
    if (found == Get().failures.end() || found->second.count == 0)
        return false;
    Failures& failures = found->second;
    const bool fails = failures.after == 0;
    --(fails ? failures.count : failures.after);
    return fails;
}

unsigned long DeviceGeneration()
{
    return Get().generation;
}

bool IsCurrent(unsigned long generation)
{
    const State& state = Get();
    return state.device && !state.lost && generation == state.generation;
}

bool Wait(wgpu::Future future, std::chrono::nanoseconds timeout)
{
    const State& state = Get();
    const auto nanoseconds = std::uint64_t(std::max(timeout, std::chrono::nanoseconds(0)).count());
    return state.instance && state.instance.WaitAny(future, nanoseconds) == wgpu::WaitStatus::Success;
}

ErrorScope::ErrorScope()
{
    for (const wgpu::ErrorFilter filter : scopeFilters)
        Graphics::GetDevice().PushErrorScope(filter);
}

std::string ErrorScope::Finish()
{
    std::string complaint;
    for (std::size_t i = 0; i < std::size(scopeFilters); ++i)
    {
        // The answer is there at once.
        Wait(Graphics::GetDevice().PopErrorScope(
            wgpu::CallbackMode::WaitAnyOnly,
            [&](wgpu::PopErrorScopeStatus, wgpu::ErrorType type, wgpu::StringView text)
            {
                if (type != wgpu::ErrorType::NoError && complaint.empty())
                    complaint = FirstLine(text);
                if (type == wgpu::ErrorType::OutOfMemory)
                    ++Counters().memoryShortages;
            }));
    }
    if (!complaint.empty())
        ++Counters().errors;
    return complaint;
}

void Submit(const wgpu::CommandEncoder& encoder)
{
    Submit(encoder.Finish());
}

void Submit(const wgpu::CommandBuffer& commands)
{
    ++Counters().submits;
    ++Get().submits;
    Graphics::GetQueue().Submit(1, &commands);
}

std::string_view FirstLine(std::string_view message)
{
    return message.substr(0, message.find('\n'));
}

} // namespace Internal

} // namespace Varkle
