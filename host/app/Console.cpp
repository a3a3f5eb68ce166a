#include "Console.h"

#include "Command.h"
#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace Varkle
{

namespace
{

int LeastLevel(std::string_view name)
{
    for (const LogLevel level : {LogLevel::Info, LogLevel::Warning, LogLevel::Error})
    {
        if (name == GetLogLevelName(level))
            return int(level);
    }
    return int(LogLevel::Error) + 1;
}

// Writes all bytes. Returns 0, or the errno value that stopped it.
int WriteAll(int file, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t written = write(file, bytes.data(), bytes.size());
        if (written >= 0)
            bytes.remove_prefix(std::size_t(written));
        else if (errno != EINTR)
            return errno;
    }
    return 0;
}

// What is ours goes past a HeldStandardError, which is for what others print.
std::atomic<int> standardError = STDERR_FILENO;

// A show goes on whoever stops its terminal, or doesn't read its pipe.
std::atomic<bool> runsForLong = false;
long linesLeftOut = 0; // guarded by terminalMutex

bool WouldWait(int file)
{
    pollfd entry{file, POLLOUT, 0};
    return poll(&entry, 1, 0) != 1;
}

// Writes lines on standard error; those that would have to wait are left out and counted.
void WriteLines(std::string_view lines)
{
    if (!runsForLong)
    {
        WriteAll(standardError, lines);
        return;
    }
    while (!lines.empty())
    {
        if (WouldWait(standardError))
        {
            linesLeftOut += std::ranges::count(lines, '\n');
            return;
        }
        // What has room is so much of a pipe. Lines are left out as a whole.
        const std::string_view piece = lines.substr(0, PIPE_BUF);
        const std::size_t end = lines.size() > piece.size() ? piece.rfind('\n') : std::string_view::npos;
        const std::size_t length = end == std::string_view::npos ? piece.size() : end + 1;
        WriteAll(standardError, lines.substr(0, length));
        lines.remove_prefix(length);
    }
}

void WriteCount()
{
    if (linesLeftOut == 0 || WouldWait(standardError))
        return;
    const long count = std::exchange(linesLeftOut, 0);
    WriteLines("warning: " + std::to_string(count) + (count == 1 ? " line was" : " lines were") +
               " left out here since nobody read on.\n");
}

// The line that stands on the terminal below the log, without a line end. Log lines may come from any thread.
std::mutex terminalMutex;
std::string statusLine;

constexpr std::string_view eraseLine = "\r\x1b[K";

// Prints whole lines above the status line.
void PrintAboveStatusLine(std::string_view lines)
{
    const std::lock_guard lock(terminalMutex);
    if (statusLine.empty())
    {
        WriteCount();
        WriteLines(lines);
        return;
    }
    WriteAll(standardError, std::string(eraseLine) + std::string(lines) + statusLine);
}

// Texts may hold what strangers' files do, which a terminal could take as commands. One of several lines gets the
// prefix on each. Empty lines at its end are not printed: texts of libraries have them.
std::string Prefixed(std::string_view prefix, std::string_view text)
{
    text.remove_suffix(text.size() - (text.find_last_not_of('\n') + 1));
    std::string lines;
    do
    {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines += std::string(prefix) + ": " + Printable(text.substr(0, end)) + "\n";
        text.remove_prefix(std::min(end + 1, text.size()));
    } while (!text.empty());
    return lines;
}

void PrintLines(std::string_view prefix, std::string_view text)
{
    PrintAboveStatusLine(Prefixed(prefix, text));
}

} // namespace

Console::Console(std::string_view level)
    : least(LeastLevel(level)), listener([this](const LogLine& line) { Hear(line); })
{
}

void Console::Hear(const LogLine& line)
{
    const std::lock_guard lock(mutex);
    hasErrors = hasErrors || line.level == LogLevel::Error;
    if (!runsForLong)
        lines.push_back(line);
    if (int(line.level) >= least)
        PrintLines(GetLogLevelName(line.level), GetPrintedText(line));
}

std::vector<LogLine> Console::GetLines() const
{
    const std::lock_guard lock(mutex);
    return lines;
}

bool Console::HasErrors() const
{
    const std::lock_guard lock(mutex);
    return hasErrors;
}

void OccupyStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        // The wrong direction: using the stream stays an error, as it was when it was closed. The lowest free number
        // is the stream's own, since those below are taken.
        if (fcntl(stream, F_GETFD) == -1)
            (void)open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

int PrintError(const Error& error)
{
    PrintLines("error", error.message);
    return StatusOf(error);
}

int PrintError(std::string_view message)
{
    return PrintError(Error{std::string(message)});
}

void TryToPrintError(std::string_view message)
{
    const std::unique_lock lock(terminalMutex, std::try_to_lock);
    if (lock.owns_lock() && !WouldWait(standardError))
        WriteAll(standardError, (statusLine.empty() ? "" : std::string(eraseLine)) + Prefixed("error", message));
}

void PrepareLongRun()
{
    runsForLong = true;
}

void TellLinesLeftOut()
{
    const std::lock_guard lock(terminalMutex);
    WriteCount();
}

void PrintNote(std::string_view text)
{
    PrintAboveStatusLine(text);
}

void ShowStatusLine(std::string_view text)
{
    const std::lock_guard lock(terminalMutex);
    if (!statusLine.empty() || !text.empty())
        WriteAll(standardError, std::string(eraseLine) + std::string(text));
    statusLine = text;
}

Status WriteOutput(std::string_view bytes)
{
    const int reason = WriteAll(STDOUT_FILENO, bytes);
    if (reason == 0)
        return Ok();
    return Error{std::string("could not write to standard output: ") + std::strerror(reason) + ".", true};
}

int PrintOutput(std::string_view text)
{
    const Status written = WriteOutput(text);
    return written ? int(Done) : PrintError(written.GetError());
}

HeldStandardError::HeldStandardError() : held(memfd_create("standard error", MFD_CLOEXEC))
{
    if (held == -1)
        return;
    original = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (original == -1)
        return;
    standardError = original;
    dup2(held, STDERR_FILENO);
}

HeldStandardError::~HeldStandardError()
{
    LetGo();
    if (held != -1)
        close(held);
}

void HeldStandardError::PassOn()
{
    LetGo();
    if (held == -1)
        return;
    lseek(held, 0, SEEK_SET);
    std::array<char, 4096> buffer;
    for (ssize_t count = 0; (count = read(held, buffer.data(), buffer.size())) > 0;)
        WriteAll(STDERR_FILENO, {buffer.data(), std::size_t(count)});
}

void HeldStandardError::LetGo()
{
    if (original == -1)
        return;
    dup2(original, STDERR_FILENO);
    standardError = STDERR_FILENO;
    close(original);
    original = -1;
}

} // namespace Varkle
