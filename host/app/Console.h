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

    /// Returns the lines logged so far, until PrepareLongRun.
    std::vector<LogLine> GetLines() const;
    /// True when an error was logged.
    bool HasErrors() const;

private:
    void Hear(const LogLine& line);

    int least;
    mutable std::mutex mutex;
    std::vector<LogLine> lines;
    bool hasErrors = false;
    LogListener listener;
};

/// Makes sure that the numbers of standard input, output and error are taken: one that the caller closed would be given
/// to the next file that anyone opens, and what is printed would end up there.
void OccupyStandardStreams();

/// Prints an error on standard error, every line of it with "error: " in front, and returns the exit status for it.
int PrintError(const Error& error);
int PrintError(std::string_view message);

/// Prints an error unless that had to wait: for another thread that prints, or a pipe that nobody reads.
void TryToPrintError(std::string_view message);

/// Prepares for a run without an end: the lines of the log are printed and not kept any more, and printing on standard
/// error never waits for whoever reads it (a terminal that was stopped, a full pipe). Lines that can't be written at
/// once are left out and counted.
void PrepareLongRun();
/// Says how many lines were left out, as soon as it can be written. Costs next to nothing.
void TellLinesLeftOut();

/// Writes text to standard error as it is.
void PrintNote(std::string_view text);

/// Shows a line that stands below everything else printed on standard error, in place of the one before; an empty text
/// takes it away. For terminals only.
void ShowStatusLine(std::string_view text);

/// Writes to standard output. The error (a machine's) says why that was not possible: it is closed or full.
Status WriteOutput(std::string_view bytes);
/// Does the same, prints the error, and returns the exit status.
int PrintOutput(std::string_view text);

/// Holds back what is written to standard error while it lives.
class HeldStandardError
{
public:
    HeldStandardError();
    /// Lets go and forgets what was held back.
    ~HeldStandardError();
    HeldStandardError(const HeldStandardError&) = delete;
    HeldStandardError& operator=(const HeldStandardError&) = delete;

    /// Lets go and passes on what was held back.
    void PassOn();

private:
    void LetGo();

    int original = -1; // standard error as it was, -1 when nothing is held
    int held = -1;     // a file without a name
};

} // namespace Varkle
