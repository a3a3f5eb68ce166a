#pragma once

#include "Varkle/Core/Export.h"

#include <functional>
#include <memory>
#include <string_view>

namespace Varkle
{

class DataInput;
class DataOutput;
class Graph;
class Operator;
class Parameter;

/// Is what somebody wants to hear about a graph and its operators; each may be empty.
///
/// Handlers are called on the main thread at the end of what they tell of. They may make and destroy observers, their
/// own too, and may change the graph, except that they must not remove the operator, or end the object, that they are
/// told of. What happens while an operator executes, `executed` and `failed` included, is told while the graph runs,
/// which then must not be changed. Handlers must not throw.
struct GraphHandlers
{
    std::function<void(Operator&)> added;    ///< complete and with its key, not connected yet
    std::function<void(Operator&)> removing; ///< its connections are undone, it is still whole and in its graph
    std::function<void(Operator&)> renamed;  ///< it has another key
    std::function<void()> reordered;         ///< Graph::SetOrder changed the order

    std::function<void(DataOutput&, DataInput&)> connected;
    std::function<void(DataOutput&, DataInput&)> disconnected; ///< also before an input gets another connection

    std::function<void(Parameter&)> valueChanged; ///< whoever set it: a user, an expression, the operator itself
    /// Parameters, bundles or elements of input lists came or went; several changes that belong together are told once.
    std::function<void(Operator&)> structureChanged;

    std::function<void(Operator&)> executed; ///< after each execution, also one that failed
    /// An exception left the operator, or it logged an error while it executed: the first one's text.
    std::function<void(Operator&, std::string_view)> failed;
};

/// Hears about a graph from its construction to its destruction; the graph may end before it, which is told to nobody.
/// Observers hear in the order in which they were made. A graph that nobody observes spends no time on it. Main thread
/// only.
class VARKLE_API GraphObserver
{
public:
    GraphObserver(Graph& graph, GraphHandlers handlers);
    ~GraphObserver();
    GraphObserver(const GraphObserver&) = delete;
    GraphObserver& operator=(const GraphObserver&) = delete;

    struct VARKLE_LOCAL Ear;

private:
    std::shared_ptr<Ear> ear;
};

} // namespace Varkle
