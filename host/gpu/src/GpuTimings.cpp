#include "GpuInternals.h"
#include "Varkle/Core/Operator.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

// GPU times. Every pass writes two timestamps into a query set; a full set is copied to a buffer that the CPU reads.
namespace Varkle
{

namespace
{

constexpr std::uint32_t passesPerBatch = 512;
constexpr std::uint64_t batchBytes = sizeof(std::uint64_t) * 2 * passesPerBatch;

struct Batch
{
    wgpu::QuerySet queries;
    wgpu::Buffer resolved;
    wgpu::Buffer readable;
    std::vector<std::string> keys;                 // the operator of each pass
    std::vector<wgpu::PassTimestampWrites> writes; // for each pass; never grows past what it reserved
    wgpu::Future mapping;
    bool copied = false;
};

struct TimingState
{
    bool on = false;
    unsigned long generation = 0;
    std::map<std::string, std::chrono::nanoseconds> totals;
    std::unique_ptr<Batch> filling;
    std::deque<std::unique_ptr<Batch>> underWay; // copied or about to be, in order
    std::vector<std::unique_ptr<Batch>> idle;
};

TimingState& Get()
{
    static TimingState& state = *new TimingState;
    return state;
}

std::unique_ptr<Batch> CreateBatch()
{
    const wgpu::Device device = Graphics::GetDevice();
    auto batch = std::make_unique<Batch>();
    wgpu::QuerySetDescriptor queries;
    queries.label = "timings";
    queries.type = wgpu::QueryType::Timestamp;
    queries.count = passesPerBatch * 2;
    batch->queries = device.CreateQuerySet(&queries);
    wgpu::BufferDescriptor buffer;
    buffer.label = "timings";
    buffer.size = batchBytes;
    buffer.usage = wgpu::BufferUsage::QueryResolve | wgpu::BufferUsage::CopySrc;
    batch->resolved = device.CreateBuffer(&buffer);
    buffer.usage = wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst;
    batch->readable = device.CreateBuffer(&buffer);
    batch->keys.reserve(passesPerBatch);
    batch->writes.reserve(passesPerBatch);
    return batch;
}

void Read(Batch& batch)
{
    const auto* const times =
        static_cast<const std::uint64_t*>(batch.readable.GetConstMappedRange(0, batch.keys.size() * 16));
    for (std::size_t pass = 0; times && pass < batch.keys.size(); ++pass)
    {
        const std::uint64_t begin = times[2 * pass];
        const std::uint64_t end = times[2 * pass + 1];
        if (end > begin) // a pass that was not submitted has no times
            Get().totals[batch.keys[pass]] += std::chrono::nanoseconds(end - begin);
    }
    batch.readable.Unmap();
}

// Takes in the batches that have arrived; with `wait` all of them.
void Collect(bool wait)
{
    TimingState& state = Get();
    while (!state.underWay.empty() && state.underWay.front()->copied)
    {
        Batch& batch = *state.underWay.front();
        const auto timeout = wait ? std::chrono::nanoseconds::max() : std::chrono::nanoseconds(0);
        if (batch.readable.GetMapState() != wgpu::BufferMapState::Mapped && !Internal::Wait(batch.mapping, timeout))
            return;
        if (batch.readable.GetMapState() == wgpu::BufferMapState::Mapped)
            Read(batch);
        batch.keys.clear();
        batch.writes.clear();
        batch.copied = false;
        state.idle.push_back(std::move(state.underWay.front()));
        state.underWay.pop_front();
    }
}

void EncodeCopy(const wgpu::CommandEncoder& encoder)
{
    TimingState& state = Get();
    const Batch& batch = *state.filling;
    const auto queries = std::uint32_t(batch.keys.size() * 2);
    encoder.ResolveQuerySet(batch.queries, 0, queries, batch.resolved, 0);
    encoder.CopyBufferToBuffer(batch.resolved, 0, batch.readable, 0, queries * sizeof(std::uint64_t));
    state.underWay.push_back(std::move(state.filling));
}

} // namespace

namespace Graphics
{

bool StartTimings()
{
    TimingState& state = Get();
    if (!HasFeature(wgpu::FeatureName::TimestampQuery))
        return false;
    CollectTimings();
    state.totals.clear();
    state.generation = Internal::DeviceGeneration();
    state.on = true;
    return true;
}

std::map<std::string, std::chrono::nanoseconds> CollectTimings()
{
    TimingState& state = Get();
    if (state.filling && Internal::IsCurrent(state.generation))
    {
        const wgpu::CommandEncoder encoder = GetDevice().CreateCommandEncoder();
        EncodeCopy(encoder);
        const wgpu::CommandBuffer commands = encoder.Finish();
        GetQueue().Submit(1, &commands);
        Internal::PassSubmitted();
    }
    Collect(true);
    return state.totals;
}

} // namespace Graphics

namespace Internal
{

const wgpu::PassTimestampWrites* BeginPassTiming()
{
    TimingState& state = Get();
    if (!state.on || !IsCurrent(state.generation))
        return nullptr;
    if (state.filling &&
        state.filling->keys.size() == passesPerBatch) // others are being recorded; this one goes untimed
        return nullptr;
    if (!state.filling)
    {
        Collect(false);
        if (state.idle.empty())
            state.idle.push_back(CreateBatch());
        state.filling = std::move(state.idle.back());
        state.idle.pop_back();
    }
    Batch& batch = *state.filling;
    const auto pass = std::uint32_t(batch.keys.size());
    const Operator* const executing = Operator::Executing();
    batch.keys.push_back(executing ? executing->GetKey() : std::string());
    wgpu::PassTimestampWrites writes;
    writes.querySet = batch.queries;
    writes.beginningOfPassWriteIndex = 2 * pass;
    writes.endOfPassWriteIndex = 2 * pass + 1;
    batch.writes.push_back(writes);
    return &batch.writes.back();
}

void EndPassTiming(const wgpu::CommandEncoder& encoder)
{
    const TimingState& state = Get();
    if (state.filling && state.filling->keys.size() == passesPerBatch)
        EncodeCopy(encoder);
}

void PassSubmitted()
{
    for (const std::unique_ptr<Batch>& batch : Get().underWay)
    {
        if (batch->copied)
            continue;
        batch->copied = true;
        batch->mapping = batch->readable.MapAsync(wgpu::MapMode::Read, 0, batch->keys.size() * 16,
                                                  wgpu::CallbackMode::AllowProcessEvents,
                                                  [](wgpu::MapAsyncStatus, wgpu::StringView) {});
    }
}

void ReleaseTimings()
{
    Get() = {};
}

} // namespace Internal

} // namespace Varkle
