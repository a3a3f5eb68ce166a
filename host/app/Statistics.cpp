#include "Statistics.h"

#include "Varkle/Gpu/Graphics.h"

#include <algorithm>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

double Milliseconds(std::chrono::nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

} // namespace

std::string FormatStatistics(const Graph& graph, bool withGpuTimes)
{
    std::map<const Operator*, std::chrono::nanoseconds> gpuTimes;
    if (withGpuTimes)
        gpuTimes = Graphics::CollectTimings();

    std::size_t width = std::string_view("operator").size();
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        width = std::max(width, op->GetKey().size());

    std::string table =
        fmt::format("{:<{}}  {:>10}  {:>10}  {:>10}\n", "operator", width, "executions", "CPU ms", "GPU ms");
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
    {
        const std::string gpu = withGpuTimes ? fmt::format("{:.3f}", Milliseconds(gpuTimes[op.get()])) : "-";
        table += fmt::format("{:<{}}  {:>10}  {:>10.3f}  {:>10}\n", op->GetKey(), width, op->GetExecutionCount(),
                             Milliseconds(op->GetExecutionTime()), gpu);
    }
    const GpuCounters counters = Graphics::GetCounters();
    table += fmt::format("passes {}, pipelines created {}, shaders compiled {}, textures created {} and reused {}, "
                         "buffers created {} and reused {}, submits {}, presents {}\n",
                         counters.renderPasses + counters.computePasses, counters.pipelinesCreated,
                         counters.shadersCompiled, counters.texturesCreated, counters.texturesReused,
                         counters.buffersCreated, counters.buffersReused, counters.submits, counters.presents);
    return table;
}

} // namespace Varkle
