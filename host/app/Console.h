#pragma once

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Document/GraphSession.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Prints the log on standard error, a line with its level in front, and remembers it.
class Console
{
public:
    /// Prints lines of `level` and above: "info", "warning", "error", or nothing for "none".
    explicit Console(std::string_view level);

    /// Returns the lines logged so far.
    std::vector<LogLine> GetLines() const;
    /// True when an error was logged.
    bool HasErrors() const;

private:
    void Hear(LogLevel level, std::string_view text);

    int least;
    mutable std::mutex mutex;
    std::vector<LogLine> lines;
    LogListener listener;
};

/// Prints an error on standard error, every line of it with "error: " in front, and returns the exit status for it.
int PrintError(const Error& error);
int PrintError(std::string_view message);

/// Writes to standard output; false when it is closed or full.
bool PrintOutput(std::string_view text);

/// Takes note of Ctrl-C and SIGTERM from now on, so that a run can end between two frames. A second one ends the program
/// at once.
void WatchForInterrupts();
bool WasInterrupted();
/// Ends the process by the signal that was noted, so that the caller sees what happened.
[[noreturn]] void EndByInterrupt();

} // namespace Varkle
