#include "live/FrameRate.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

constexpr std::chrono::seconds measured(1);
constexpr int patience = 3;              // seconds in a row
constexpr double tolerated = 0.1;        // of the pictures
constexpr std::size_t mostOperators = 3; // that are named

} // namespace

void FrameRate::Note(const Graph& graph, long long dropped, Clock::time_point now)
{
    if (!second.begin)
    {
        second.begin = now;
        second.droppedBefore = dropped;
        return;
    }
    ++second.shown;
    if (now - *second.begin >= measured)
        Finish(graph, dropped, now);
}

void FrameRate::Finish(const Graph& graph, long long dropped, Clock::time_point now)
{
    rate = double(second.shown) / std::chrono::duration<double>(now - *second.begin).count();
    const long long missed = dropped - second.droppedBefore;
    const bool bad = double(missed) > tolerated * double(missed + second.shown);
    Second next;
    next.begin = now;
    next.droppedBefore = dropped;
    next.badBefore = bad ? second.badBefore + 1 : 0;
    if (next.badBefore == 1)
    {
        next.costsBefore = CollectCosts(graph);
        next.firstBad = now;
    }
    else if (bad)
    {
        next.costsBefore = std::move(second.costsBefore);
        next.firstBad = second.firstBad;
    }
    second = std::move(next);
    if (second.badBefore > patience && !std::exchange(warned, true))
        warning = Explain(graph, now, missed);
}

std::string FrameRate::TakeWarning()
{
    return std::exchange(warning, {});
}

FrameRate::Costs FrameRate::CollectCosts(const Graph& graph)
{
    Costs costs;
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        costs.emplace(op.get(), op->GetExecutionTime());
    return costs;
}

std::string FrameRate::Explain(const Graph& graph, Clock::time_point now, long long missed) const
{
    std::vector<std::pair<double, std::string>> costs; // shares of the time
    const double time = std::chrono::duration<double>(now - second.firstBad).count();
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
    {
        const auto before = second.costsBefore.find(op.get());
        if (before != second.costsBefore.end())
            costs.emplace_back(std::chrono::duration<double>(op->GetExecutionTime() - before->second).count() / time,
                               op->GetKey());
    }
    std::ranges::sort(costs, std::greater());
    costs.resize(std::min(costs.size(), mostOperators));
    std::vector<std::string> names;
    for (const auto& [share, key] : costs)
        names.push_back(fmt::format("{} {:.0f} %", Quoted(key), 100.0 * share));
    return fmt::format("The show misses its frame rate: {:.1f} pictures a second, {} in the last second came too late. "
                       "Most of the processor's time take {}; --stats tells the GPU's.",
                       rate, missed, fmt::join(names, ", "));
}

} // namespace Varkle
