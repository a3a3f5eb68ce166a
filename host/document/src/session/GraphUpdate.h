#pragma once

#include <string>
#include <vector>

namespace Varkle
{

class Graph;
class Operator;

/// Gives operators of a graph, by their keys, the connections that they have in another one, the model, which stays as
/// it is. The model holds them and what feeds them. Operators of the graph that are in `gone` go, and those of the
/// model that are missing are made. Only inputs that get another source are touched, and elements of lists stay where
/// they can: those before and behind what changed, as long as nothing comes between. Parameters are left alone.
void FollowGraph(Graph& graph, const Graph& model, const std::vector<std::string>& keys,
                 const std::vector<Operator*>& gone);

} // namespace Varkle
