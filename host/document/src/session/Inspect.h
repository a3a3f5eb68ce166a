#pragma once

#include "Varkle/Document/GraphSession.h"

#include <string>
#include <vector>

namespace Varkle
{

/// Describes the state of every operator of a graph, in order, as JSON in our layout: parameters with their values,
/// inputs with what feeds them, outputs with what they carry, and the lines logged.
std::string InspectGraph(const Graph& graph, long long frame, const std::vector<LogLine>& log);

} // namespace Varkle
