#pragma once

#include "Varkle/Core/Graph.h"

#include <chrono>
#include <map>
#include <string>

namespace Varkle
{

/// Measures how many pictures a second are shown, and finds out what costs most when they keep coming too late.
class FrameRate
{
public:
    using Clock = std::chrono::steady_clock;

    /// Notes that a picture was shown, `dropped` having been left out so far.
    void Note(const Graph& graph, long long dropped, Clock::time_point now);
    /// Begins anew with another graph, or one that was edited.
    void Restart() { second = {}; }

    /// Returns the pictures a second in the last second that was measured; 0 before the first.
    double GetRate() const { return rate; }
    /// Returns a sentence about a rate that has been missed for some seconds, and the operators that took most of the
    /// time; empty when there is nothing to say, or it was said before.
    std::string TakeWarning();

private:
    using Costs = std::map<const Operator*, std::chrono::nanoseconds>;

    // What is measured until the second is over.
    struct Second
    {
        std::optional<Clock::time_point> begin;
        long long shown = 0;
        long long droppedBefore = 0;
        int badBefore = 0; // seconds in a row in which pictures were missed
        Costs costsBefore; // of the first of these
        Clock::time_point firstBad;
    };

    static Costs CollectCosts(const Graph& graph);
    void Finish(const Graph& graph, long long dropped, Clock::time_point now);
    std::string Explain(const Graph& graph, Clock::time_point now, long long missed) const;

    Second second;
    double rate = 0.0;
    std::string warning;
    bool warned = false;
};

} // namespace Varkle
