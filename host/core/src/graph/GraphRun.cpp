// Who runs when.

#include "Varkle/Core/Log.h"
#include "graph/GraphState.h"
#include "graph/OperatorInputs.h"
#include "graph/OperatorState.h"

#include <algorithm>
#include <exception>

namespace Varkle
{

void Graph::Run()
{
    if (state->targets)
        state->selectionValid = false;
    state->targets.reset();
    state->RunSelection();
}

void Graph::Run(const std::vector<Operator*>& wanted)
{
    if (state->targets != wanted)
    {
        state->targets = wanted;
        state->selectionValid = false;
    }
    state->RunSelection();
}

std::vector<Operator*> Graph::CollectSources(const std::vector<Operator*>& wanted)
{
    return state->CollectSources(wanted);
}

// True when data flows from one operator to the other, directly or through others. Searches from both ends by turns, so
// that the smaller side decides the cost: extending a chain, at either end, takes no search at all.
bool Graph::State::Feeds(Operator& source, Operator& target)
{
    if (ranksValid && source.state->rank >= target.state->rank)
        return false;
    const unsigned long down = ++lastVisit;
    const unsigned long up = ++lastVisit;
    std::vector<Operator*> below{&source};
    std::vector<Operator*> above{&target};
    source.state->visited = down;
    target.state->visited = up;
    bool met = false;
    const auto step = [&met](std::vector<Operator*>& open, unsigned long own, unsigned long other, const auto& forEach)
    {
        const Operator& op = *open.back();
        open.pop_back();
        forEach(op,
                [&](Operator& next)
                {
                    met = met || next.state->visited == other;
                    if (next.state->visited != own)
                        open.push_back(&next);
                    next.state->visited = own;
                });
    };
    while (!met && !below.empty() && !above.empty())
    {
        step(below, down, up, [](const Operator& op, const auto& visit) { ForEachTarget(op, visit); });
        if (!met)
            step(above, up, down, [](const Operator& op, const auto& visit) { ForEachSource(op, visit); });
    }
    return met;
}

void Graph::State::RunSelection()
{
    if (runningRank)
    {
        LogError("A graph can't be run while it runs.");
        return;
    }
    UpdateRanks();
    UpdateSelection();

    queue.clear();
    for (Operator* const op : candidates)
        (IsSelected(*op) ? queue : waiting).push_back(op);
    candidates.clear();
    for (Operator* const op : polled)
    {
        if (!op->state->pending && IsSelected(*op))
        {
            op->state->pending = true;
            queue.push_back(op);
        }
    }

    ExecutionContext context;
    const auto rankOf = [](const Operator* op) { return op->state->rank; };
    std::ranges::make_heap(queue, std::greater(), rankOf);
    while (!queue.empty())
    {
        std::ranges::pop_heap(queue, std::greater(), rankOf);
        Operator& op = *queue.back();
        queue.pop_back();
        op.state->pending = false;
        runningRank = op.state->rank;
        RunOne(op, context);
    }
    runningRank.reset();
}

// Runs the operator if it says that it is outdated. One that can't say is left as it is and asked again on the next
// run.
void Graph::State::RunOne(Operator& op, ExecutionContext& context)
{
    std::string failure;
    try
    {
        if (!op.Outdated())
            return;
    }
    catch (const std::exception& exception)
    {
        failure = std::string("The operator can't say whether it is outdated: ") + exception.what();
    }
    catch (...)
    {
        failure = "The operator can't say whether it is outdated.";
    }
    if (failure.empty())
        return op.Run(context);
    const LogScope log(op.GetKey());
    LogError(failure);
    Tell(&GraphHandlers::failed, op, std::string_view(failure));
}

void Graph::State::Forget(Operator& op)
{
    selectionValid = false;
    byKey.erase(op.GetKey());
    std::erase(candidates, &op);
    std::erase(waiting, &op);
    std::erase(polled, &op);
}

bool Graph::State::IsSelected(const Operator& op) const
{
    return !targets || op.state->selectedIn == selection;
}

// Has the operator asked whether it is outdated: in the current run if its turn is still to come, else in the next one.
void Graph::State::Request(Operator& op)
{
    if (op.state->pending)
        return;
    op.state->pending = true;
    const bool stillToCome = runningRank && op.state->rank > *runningRank && IsSelected(op);
    if (!stillToCome)
    {
        candidates.push_back(&op);
        return;
    }
    queue.push_back(&op);
    std::ranges::push_heap(queue, std::greater(), [](const Operator* queued) { return queued->state->rank; });
}

void Graph::State::UpdateRanks()
{
    if (ranksValid)
        return;
    std::vector<Operator*> all;
    all.reserve(graph.operators.size());
    for (const std::unique_ptr<Operator>& op : graph.operators)
        all.push_back(op.get());
    nextRank = 0;
    for (Operator* const op : CollectSources(all))
        op->state->rank = nextRank++;
    ranksValid = true;
}

void Graph::State::UpdateSelection()
{
    if (selectionValid)
        return;
    candidates.insert(candidates.end(), waiting.begin(), waiting.end());
    waiting.clear();
    if (targets)
    {
        ++selection;
        for (Operator* const op : CollectSources(*targets))
            op->state->selectedIn = selection;
    }
    selectionValid = true;
}

std::vector<Operator*> Graph::State::CollectSources(const std::vector<Operator*>& wanted)
{
    const unsigned long entered = ++lastVisit; // its sources are on their way
    const unsigned long done = ++lastVisit;
    std::vector<Operator*> found;
    std::vector<Operator*> open;
    for (Operator* const target : wanted)
    {
        if (target && target->GetGraph() == &graph)
            open.push_back(target);
        while (!open.empty())
        {
            Operator* const op = open.back();
            if (op->state->visited == entered)
            {
                op->state->visited = done;
                found.push_back(op);
            }
            if (op->state->visited == done)
            {
                open.pop_back();
                continue;
            }
            op->state->visited = entered;
            const auto first = std::ptrdiff_t(open.size());
            ForEachSource(*op,
                          [&](Operator& source)
                          {
                              if (source.state->visited != done)
                                  open.push_back(&source);
                          });
            std::reverse(open.begin() + first, open.end()); // the first input's sources come first
        }
    }
    return found;
}

} // namespace Varkle
