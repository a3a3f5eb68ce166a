#pragma once

#include "Varkle/Core/Result.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Varkle
{

/// Returns the path of the program that the environment's PATH finds under a name; empty when there is none.
std::string FindProgram(std::string_view name);

/// Is another program that takes in bytes through its standard input. What it prints goes nowhere, of what it prints as
/// errors the last 64 KiB are kept. It has a process group of its own: Ctrl-C in the terminal does not reach it. One
/// that still runs in the end is killed.
///
/// Write and CloseInput may be called by one other thread, which must not receive SIGPIPE (blocked there or ignored by
/// the process); the rest belongs to the thread that started it. Where the process ignores SIGCHLD, the system does not
/// tell how the program ended, and it counts as failed.
class Process
{
public:
    /// Starts the program at a path with arguments, without a shell. The error (a machine's) names the path.
    static Result<std::unique_ptr<Process>> Start(const std::string& path, std::vector<std::string> arguments);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// Hands bytes over, waiting until it has taken them. Returns false when it takes no more.
    bool Write(std::span<const std::uint8_t> bytes) const;
    /// Tells it that no more bytes come.
    void CloseInput();

    /// Sleeps until it has ended or the time is over. Returns true when it has ended.
    bool WaitForEnd(std::chrono::milliseconds timeout);
    /// Ends it now, and what it started itself. Write returns false from then on.
    void Kill();

    /// True when it has ended with exit status 0.
    bool HasSucceeded() const { return end == 0; }
    /// Tells how it ended: "ended with exit status 3" or "was ended by signal 9 (Killed)".
    std::string DescribeEnd() const;
    /// Ends all that were started by any thread, for a process that is about to end without waiting for those. From
    /// then on a thread that starts or ends one waits for the end.
    static void KillAll();

    /// Returns the last lines that it printed as errors, without empty ones.
    std::vector<std::string> GetLastErrors(std::size_t count) const;
    /// Returns what was kept of them.
    std::string GetErrors() const;

private:
    Process(pid_t child, int inputPipe, int errorPipe) : pid(child), input(inputPipe), errors(errorPipe) {}

    bool LookForEnd();
    void TakeErrors() const;

    pid_t pid;
    int input;              // the end of a pipe that never blocks, -1 when closed
    int errors;             // the end of a pipe that never blocks
    std::optional<int> end; // how it ended, as waitpid tells it
    std::atomic<bool> killed = false;

    // Whoever waits for the program takes in what it says, so that it never waits for that.
    mutable std::mutex mutex;
    mutable std::string errorText;
};

} // namespace Varkle
