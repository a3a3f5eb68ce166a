#pragma once

#include "Command.h"
#include "Varkle/Core/FileWatcher.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Run/FrameClock.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Varkle
{

struct PlayOptions
{
    std::string graph;
    std::vector<std::string> set;
    std::optional<long long> frames; ///< to show; no limit without
    bool vsync = true;
};

/// Runs a graph in real time and shows its windows. Files that the graph reads, and the document itself, are read again
/// when they change; a device that is lost is replaced.
class Player
{
public:
    Player(const PlayOptions& playOptions, const CommonOptions& commonOptions)
        : options(playOptions), common(commonOptions)
    {
    }
    /// Closes the windows.
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Plays until the last window was closed, the user interrupts, or all frames were shown. Fails when that can't
    /// begin, or can't go on.
    Status Play();

private:
    using Clock = FrameClock::Clock;

    Status Open();
    Status PlayFirst();
    void ShowFrame(long long frame);
    bool IsOver() const;
    bool WasLastClosedByHand() const;
    bool MayOpenLater() const;

    void WatchFiles();
    void FollowFiles();
    void ReadDocumentAgain();

    Status Recover();
    bool StartDeviceAgain();

    void PrintStatistics(Clock::time_point start) const;

    const PlayOptions& options;
    const CommonOptions& common;
    std::optional<GraphSession> session;
    std::optional<FrameClock> clock;
    std::filesystem::path documentPath;
    FileWatcher watcher;
    long long lastFrame = -1;     ///< that the graph ran
    long long shown = 0;          ///< pictures
    std::size_t closesBefore = 0; ///< by hand, when a window was last open
    bool timed = false;
};

} // namespace Varkle
