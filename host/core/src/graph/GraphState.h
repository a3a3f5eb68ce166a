#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/GraphObserver.h"

#include <functional>
#include <optional>
#include <unordered_map>
#include <utility>

namespace Varkle
{

struct GraphObserver::Ear
{
    Graph* graph; // null when it has ended
    GraphHandlers handlers;
};

/// Decides which operators run, and in which order, and keeps who listens.
struct Graph::State
{
    explicit State(Graph& ofGraph) : graph(ofGraph) {}

    void Request(Operator& op);
    void Forget(Operator& op);
    void RunSelection();
    bool Feeds(Operator& source, Operator& target);
    std::vector<Operator*> CollectSources(const std::vector<Operator*>& wanted);

    /// Calls one of the handlers of every observer.
    template<class... Parts, class... Arguments>
    void Tell(std::function<void(Parts...)> GraphHandlers::*handler, Arguments&&... arguments)
    {
        if (observers.empty())
            return;
        ++telling;
        // Those that join meanwhile hear of the next thing; those that leave are null.
        for (std::size_t i = 0, end = observers.size(); i < end; ++i)
        {
            const std::shared_ptr<GraphObserver::Ear> ear = observers[i];
            if (ear && (ear->handlers.*handler))
                (ear->handlers.*handler)(arguments...);
        }
        if (--telling == 0)
            std::erase(observers, nullptr);
    }

    Graph& graph;

    // Lets keys be looked up without making a string.
    struct KeyHash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
    };
    template<class T>
    using ByKey = std::unordered_map<std::string, T, KeyHash, std::equal_to<>>;
    ByKey<Operator*> byKey;
    ByKey<unsigned long> lastNumbers; // of the numbered keys, by what stands before the number

    std::vector<std::shared_ptr<GraphObserver::Ear>> observers;
    int telling = 0; // handlers that are being called

    // Dependency order: an operator's rank is greater than that of all operators that feed it, while ranksValid.
    std::size_t nextRank = 0;
    bool ranksValid = true;

    // The operators that run: all, or the targets and their sources.
    std::optional<std::vector<Operator*>> targets;
    bool selectionValid = true;

    // Who is asked whether it is outdated. An operator that is marked becomes a candidate; what turns out not to be
    // selected waits aside until the selection changes, so that it costs nothing on the runs between.
    std::vector<Operator*> candidates;
    std::vector<Operator*> waiting;
    std::vector<Operator*> polled; // of classes that decide themselves: asked on every run
    std::optional<std::size_t> runningRank;

private:
    void RunOne(Operator& op, ExecutionContext& context);
    void UpdateRanks();
    void UpdateSelection();
    bool IsSelected(const Operator& op) const;

    unsigned long lastVisit = 0; // tells searches apart
    unsigned long selection = 0;
    std::vector<Operator*> queue; // of the current run; a heap with the least rank in front
};

} // namespace Varkle
