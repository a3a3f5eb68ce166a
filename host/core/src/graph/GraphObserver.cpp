#include "Varkle/Core/GraphObserver.h"

#include "graph/GraphState.h"

#include <algorithm>

namespace Varkle
{

GraphObserver::GraphObserver(Graph& graph, GraphHandlers handlers)
    : ear(std::make_shared<Ear>(Ear{&graph, std::move(handlers)}))
{
    graph.state->observers.push_back(ear);
}

GraphObserver::~GraphObserver()
{
    if (!ear->graph)
        return;
    Graph::State& state = *ear->graph->state;
    if (state.telling == 0)
        std::erase(state.observers, ear);
    else // someone goes through the list
        std::ranges::replace(state.observers, ear, nullptr);
}

} // namespace Varkle
