#pragma once

#include "Varkle/Core/Export.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace Varkle
{

/// Tells which of some files changed on disk. A change is a file that was written, replaced or moved there, that
/// appeared, or to which a symbolic link on the way now leads; a file that vanishes is none, but its return is. Files
/// are compared by what the system says of them (device, inode, size, times), never by what is in them, so that a file
/// whose permissions changed counts as well, and two writes within a tick of the file system's clock (some
/// milliseconds) may look like one. Only regular files exist in this sense. May be used from several threads.
class VARKLE_API WatchedFiles
{
public:
    /// Says which files to watch. The present state of those that are new is no change; it is looked up here, so that
    /// nothing that happens from now on is missed. The others stay as they are, with a change that was not taken yet.
    void SetFiles(const std::vector<std::filesystem::path>& paths);

    using Clock = std::chrono::steady_clock;

    /// Looks at every file once. A change is reported when the file is the same in two looks in a row, so that one that
    /// is being written is not read half. One that does not rest is reported as well: in each look when other files
    /// take its name, once in 0.3 s when it is written on and on.
    void Look(Clock::time_point now = Clock::now());

    /// Returns the files that changed since they began to be watched or were last returned, by the paths that were
    /// given to SetFiles.
    std::vector<std::filesystem::path> TakeChanges();

private:
    // What the system says of a file.
    struct State
    {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::chrono::nanoseconds modified{0};
        std::chrono::nanoseconds changed{0}; // also when the time of modification was set back
        bool exists = false;

        bool operator==(const State&) const = default;
    };
    struct File
    {
        State reported;
        State seen; // in the last look
        bool hasChanged = false;
        std::optional<Clock::time_point> restless; // since when it was another one in each look
    };

    static State FindState(const std::filesystem::path& path);
    static void Note(File& file, const State& state, Clock::time_point now);

    std::mutex mutex; // not held while Look asks the system, which may take long
    std::map<std::filesystem::path, File> files;
};

/// Watches files on a thread of its own, which looks at them some ten times a second while there are any.
class VARKLE_API FileWatcher
{
public:
    FileWatcher() = default;
    ~FileWatcher();
    FileWatcher(const FileWatcher&) = delete;
    FileWatcher& operator=(const FileWatcher&) = delete;

    /// See WatchedFiles. The same paths as the last time cost next to nothing.
    void SetFiles(const std::vector<std::filesystem::path>& paths);
    std::vector<std::filesystem::path> TakeChanges() { return files.TakeChanges(); }

private:
    void LookAgainAndAgain();

    WatchedFiles files;
    std::mutex mutex;
    std::condition_variable woken;
    std::vector<std::filesystem::path> watched; // as they were last given
    bool ends = false;
    std::thread thread;
};

} // namespace Varkle
