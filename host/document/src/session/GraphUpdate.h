#pragma once

namespace Varkle
{

class Graph;

/// Gives a graph the operators, connections and order of another one, the model, which stays as it is. An operator with
/// the key and the type of one of the model's stays what it is, all others go, and those that are missing are made.
/// Only inputs that get another source are touched, and elements of lists stay where they can: those before and behind
/// what changed, as long as nothing comes between. Parameters are left alone.
void FollowGraph(Graph& graph, const Graph& model);

} // namespace Varkle
