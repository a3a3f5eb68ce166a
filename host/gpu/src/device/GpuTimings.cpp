#include "Varkle/Core/Operator.h"
#include "device/GpuInternals.h"

#include <deque>
#include <map>
#include <vector>

// GPU times. Every pass writes two timestamps into a query set; a full set is copied to a buffer that the CPU reads.
namespace Varkle
{

namespace
{

constexpr std::uint32_t passesPerBatch = 512;

// The operator that submitted something. One that is deleted may leave its address to another, which is told apart.
struct Submitter
{
    const Operator* op = nullptr; // null for none
    WeakObject life;

    bool IsGone() const { return op && !life.Get(); }
};

struct Total
{
    WeakObject life;
    std::chrono::nanoseconds time{0};
};

struct Batch
{
    wgpu::QuerySet queries;
    std::vector<Submitter> submitters; // of each pass
    wgpu::PassTimestampWrites writes;  // of the last pass
    wgpu::Buffer readable;             // begin and end of each pass in nanoseconds, once it was asked for
    wgpu::Future mapping;
};

struct TimingState
{
    bool on = false;
    unsigned long generation = 0;
    std::map<const Operator*, Total> totals;
    Batch filling;              // without a query set before the first pass
    std::deque<Batch> underWay; // in order
};

TimingState& Get()
{
    static TimingState& state = *new TimingState;
    return state;
}

wgpu::QuerySet CreateQueries()
{
    wgpu::QuerySetDescriptor descriptor;
    descriptor.label = "timings";
    descriptor.type = wgpu::QueryType::Timestamp;
    descriptor.count = passesPerBatch * 2;
    return Graphics::GetDevice().CreateQuerySet(&descriptor);
}

wgpu::Buffer CreateBuffer(std::uint64_t size, wgpu::BufferUsage usage)
{
    wgpu::BufferDescriptor descriptor;
    descriptor.label = "timings";
    descriptor.size = size;
    descriptor.usage = usage;
    return Graphics::GetDevice().CreateBuffer(&descriptor);
}

// Has the times of the passes so far copied to where the CPU can read them, and begins a new batch.
void EndBatch()
{
    TimingState& state = Get();
    if (state.filling.submitters.empty())
        return;
    Batch batch = std::exchange(state.filling, {});
    const auto queries = std::uint32_t(batch.submitters.size() * 2);
    const std::uint64_t bytes = queries * sizeof(std::uint64_t);
    const wgpu::Buffer resolved = CreateBuffer(bytes, wgpu::BufferUsage::QueryResolve | wgpu::BufferUsage::CopySrc);
    batch.readable = CreateBuffer(bytes, wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst);
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.ResolveQuerySet(batch.queries, 0, queries, resolved, 0);
    encoder.CopyBufferToBuffer(resolved, 0, batch.readable, 0, bytes);
    Internal::Submit(encoder);
    batch.mapping = batch.readable.MapAsync(wgpu::MapMode::Read, 0, bytes, wgpu::CallbackMode::AllowProcessEvents,
                                            [](wgpu::MapAsyncStatus, wgpu::StringView) {});
    state.underWay.push_back(std::move(batch));
}

void AddToTotals(const Batch& batch)
{
    const std::size_t bytes = batch.submitters.size() * 2 * sizeof(std::uint64_t);
    const auto* const times = static_cast<const std::uint64_t*>(batch.readable.GetConstMappedRange(0, bytes));
    for (std::size_t pass = 0; times && pass < batch.submitters.size(); ++pass)
    {
        const std::uint64_t begin = times[2 * pass];
        const std::uint64_t end = times[2 * pass + 1];
        const Submitter& submitter = batch.submitters[pass];
        if (end <= begin || submitter.IsGone()) // a pass that was not submitted has no times
            continue;
        Total& total = Get().totals[submitter.op];
        if (submitter.op && total.life.Get() != submitter.life.Get())
            total = {submitter.life, {}};
        total.time += std::chrono::nanoseconds(end - begin);
    }
}

// Takes in the batches that have arrived; with a timeout waits for the others.
void Collect(std::chrono::nanoseconds timeout)
{
    TimingState& state = Get();
    while (!state.underWay.empty())
    {
        const Batch& batch = state.underWay.front();
        // ProcessEvents may have ended the mapping already.
        const bool arrived = batch.readable.GetMapState() != wgpu::BufferMapState::Pending;
        if (!arrived && !Internal::Wait(batch.mapping, timeout))
            return;
        if (batch.readable.GetMapState() == wgpu::BufferMapState::Mapped)
            AddToTotals(batch);
        state.underWay.pop_front();
    }
}

} // namespace

namespace Graphics
{

bool StartTimings()
{
    TimingState& state = Get();
    if (!HasFeature(wgpu::FeatureName::TimestampQuery))
        return false;
    state = {};
    state.on = true;
    state.generation = Internal::DeviceGeneration();
    return true;
}

std::map<const Operator*, std::chrono::nanoseconds> CollectTimings()
{
    TimingState& state = Get();
    if (Internal::IsCurrent(state.generation))
        EndBatch();
    Collect(std::chrono::nanoseconds::max());
    std::erase_if(state.totals, [](const auto& entry) { return entry.first && !entry.second.life.Get(); });
    std::map<const Operator*, std::chrono::nanoseconds> times;
    for (const auto& [op, total] : state.totals)
        times[op] = total.time;
    return times;
}

} // namespace Graphics

namespace Internal
{

const wgpu::PassTimestampWrites* BeginPassTiming()
{
    TimingState& state = Get();
    if (!state.on || !IsCurrent(state.generation))
        return nullptr;
    if (state.filling.submitters.size() == passesPerBatch)
    {
        Collect(std::chrono::nanoseconds(0));
        EndBatch();
    }
    Batch& batch = state.filling;
    if (!batch.queries)
        batch.queries = CreateQueries();
    const auto pass = std::uint32_t(batch.submitters.size());
    Operator* const executing = Operator::Executing();
    batch.submitters.push_back({executing, WeakObject(executing)});
    batch.writes.querySet = batch.queries;
    batch.writes.beginningOfPassWriteIndex = 2 * pass;
    batch.writes.endOfPassWriteIndex = 2 * pass + 1;
    return &batch.writes;
}

void ReleaseTimings()
{
    Get() = {};
}

} // namespace Internal

} // namespace Varkle
