#pragma once

#include "Varkle/Core/Graph.h"

#include <string>

namespace Varkle
{

/// Returns a table of each operator's executions, CPU milliseconds and, where the adapter measures it, GPU
/// milliseconds, followed by what the GPU layer counted.
std::string FormatStatistics(const Graph& graph, bool withGpuTimes);

} // namespace Varkle
