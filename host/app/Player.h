#pragma once

#include "Command.h"
#include "Varkle/Run/LiveLoop.h"

#include <optional>
#include <string>
#include <vector>

namespace Varkle
{

struct PlayOptions
{
    std::string graph;
    std::vector<std::string> set;
    std::string viewed;              ///< the operator to show in a window of the program's own
    std::optional<long long> frames; ///< to show; no limit without
    bool vsync = true;
};

/// Plays a graph for the command line: until the last window was closed, the user interrupts, or all frames were shown.
class Player
{
public:
    Player(const PlayOptions& playOptions, const CommonOptions& commonOptions);
    /// Closes the windows.
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Fails when that can't begin, or can't go on.
    Status Play();

private:
    Status StartMachine();
    Status Prepare(GraphSession& session);
    Status CheckViewed(const Graph& graph) const;
    void PrintStatistics(LiveLoop::Clock::time_point start);

    const PlayOptions& options;
    const CommonOptions& common;
    std::optional<LiveLoop> loop;
    bool timed = false;
    bool begun = false; ///< once, as opposed to again on another device
};

} // namespace Varkle
