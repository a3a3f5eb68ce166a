#include "Console.h"

#include "Command.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace Varkle
{

namespace
{

volatile std::sig_atomic_t caughtSignal = 0;

void NoteSignal(int signal)
{
    caughtSignal = signal;
}

int LeastLevel(std::string_view name)
{
    for (const LogLevel level : {LogLevel::Info, LogLevel::Warning, LogLevel::Error})
    {
        if (name == GetLogLevelName(level))
            return int(level);
    }
    return int(LogLevel::Error) + 1;
}

void PrintLine(std::string_view prefix, std::string_view text)
{
    const std::string line = std::string(prefix) + ": " + std::string(text) + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

} // namespace

Console::Console(std::string_view level) :
    least(LeastLevel(level)), listener([this](LogLevel l, std::string_view text) { Hear(l, text); })
{}

void Console::Hear(LogLevel level, std::string_view text)
{
    const std::lock_guard lock(mutex);
    lines.push_back({level, std::string(text)});
    if (int(level) >= least)
        PrintLine(GetLogLevelName(level), text);
}

std::vector<LogLine> Console::GetLines() const
{
    const std::lock_guard lock(mutex);
    return lines;
}

bool Console::HasErrors() const
{
    const std::lock_guard lock(mutex);
    return std::ranges::any_of(lines, [](const LogLine& line) { return line.level == LogLevel::Error; });
}

int PrintError(const Error& error)
{
    std::string_view rest = error.message;
    while (!rest.empty())
    {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        PrintLine("error", rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return StatusOf(error);
}

int PrintError(std::string_view message)
{
    return PrintError(Error{std::string(message)});
}

bool PrintOutput(std::string_view text)
{
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

void WatchForInterrupts()
{
    struct sigaction action = {};
    action.sa_handler = NoteSignal;
    action.sa_flags = int(SA_RESETHAND); // the second one is not noted but obeyed
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool WasInterrupted()
{
    return caughtSignal != 0;
}

void EndByInterrupt()
{
    std::fflush(nullptr);
    std::signal(caughtSignal, SIG_DFL);
    std::raise(caughtSignal);
    std::_Exit(128 + caughtSignal);
}

} // namespace Varkle
