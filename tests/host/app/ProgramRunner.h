#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Runs programs as a user does: arguments, environment and folder in, exit status or signal and what was printed out.

namespace Varkle
{

/// What a program prints that prints nothing: comparing with it shows what was printed instead.
inline const std::string nothing;

/// Tells how a program ended and what it printed.
struct Outcome
{
    int status = -1; ///< what it exited with, -1 when a signal ended it
    int signal = 0;  ///< the signal that ended it, or 0
    std::string output;
    std::string error;
};

/// Is a program that runs. One that nobody waited for is killed in the end, and so is one that was waited for in vain,
/// which looks as if it had ended by SIGKILL.
class RunningProgram
{
public:
    /// Takes over the child, a file that it prints to and the end of the pipe to which it prints its errors.
    RunningProgram(pid_t child, int outputFile, int errorPipe) : pid(child), output(outputFile), error(errorPipe) {}
    RunningProgram(RunningProgram&& other) noexcept
        : pid(std::exchange(other.pid, -1)),
          output(std::exchange(other.output, -1)),
          error(std::exchange(other.error, -1)),
          errorText(std::move(other.errorText))
    {
    }
    RunningProgram& operator=(RunningProgram&&) = delete;
    ~RunningProgram()
    {
        if (pid > 0)
        {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
        close(output);
        close(error);
    }

    void Send(int signal) const { kill(pid, signal); }

    /// Waits until it has printed the text on standard error, so many times in all. Returns false when it ended before.
    bool WaitForError(std::string_view text, int times = 1)
    {
        const Clock::time_point end = Clock::now() + patience;
        while (Count(errorText, text) < times)
        {
            if (!ReadSome(error, errorText, end))
                return false;
        }
        return true;
    }

    /// Waits for its end.
    Outcome Wait()
    {
        const Clock::time_point end = Clock::now() + patience;
        while (ReadSome(error, errorText, end))
        {
        }
        int state = 0;
        waitpid(std::exchange(pid, -1), &state, 0);
        Outcome outcome;
        outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
        outcome.signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
        lseek(output, 0, SEEK_SET);
        while (ReadSome(output, outcome.output))
        {
        }
        outcome.error = std::move(errorText);
        return outcome;
    }

private:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds patience{100}; // a test has 120

    static int Count(std::string_view text, std::string_view part)
    {
        int count = 0;
        for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size()))
            ++count;
        return count;
    }

    // Appends what can be read next. Returns false at the end.
    static bool ReadSome(int file, std::string& text)
    {
        std::array<char, 65536> buffer;
        const ssize_t count = read(file, buffer.data(), buffer.size());
        if (count > 0)
            text.append(buffer.data(), std::size_t(count));
        return count > 0;
    }

    // The same of a pipe; the program has time until `end` to print something.
    bool ReadSome(int pipe, std::string& text, Clock::time_point end) const
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd entry{pipe, POLLIN, 0};
        if (poll(&entry, 1, int(std::max<std::int64_t>(left, 0))) == 0)
            kill(pid, SIGKILL);
        return ReadSome(pipe, text);
    }

    pid_t pid;
    int output; // a file without a name: no pipe that could fill up
    int error;
    std::string errorText;
};

/// Describes how a program is to be run, then runs it.
class ProgramRunner
{
public:
    /// The first text is the program (searched in PATH when it has no folder), the others are its arguments.
    explicit ProgramRunner(std::vector<std::string> commandLine) : command(std::move(commandLine)) {}

    /// Runs it in a folder.
    ProgramRunner& In(std::string newFolder)
    {
        folder = std::move(newFolder);
        return *this;
    }
    /// Sets an environment variable.
    ProgramRunner& With(const std::string& name, const std::string& value)
    {
        environment.emplace_back(name, value);
        return *this;
    }
    /// Sends standard output to a file that exists, a device for instance.
    ProgramRunner& OutputTo(std::string path)
    {
        outputPath = std::move(path);
        return *this;
    }
    /// Starts it without a standard output or error.
    ProgramRunner& Close(int stream)
    {
        closed.push_back(stream);
        return *this;
    }
    /// Starts it with a signal ignored, as nohup does.
    ProgramRunner& Ignore(int signal)
    {
        ignored.push_back(signal);
        return *this;
    }
    /// Limits the size of the files that it writes.
    ProgramRunner& LimitFileSize(rlim_t bytes)
    {
        fileSizeLimit = bytes;
        return *this;
    }

    RunningProgram Start() const
    {
        const int output = memfd_create("output", MFD_CLOEXEC);
        std::array<int, 2> error = {-1, -1};
        if (output == -1 || pipe2(error.data(), O_CLOEXEC) == -1)
            throw std::runtime_error("there are no files left for what the program prints");
        std::vector<char*> arguments;
        for (const std::string& text : command)
            arguments.push_back(const_cast<char*>(text.c_str()));
        arguments.push_back(nullptr);
        const pid_t child = fork();
        if (child == -1)
            throw std::runtime_error("no process could be started");
        if (child == 0)
            Become(arguments, output, error[1]);
        close(error[1]);
        return {child, output, error[0]};
    }

    Outcome Run() const { return Start().Wait(); }

private:
    // In the child.
    [[noreturn]] void Become(const std::vector<char*>& arguments, int output, int error) const
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
            std::signal(signal, SIG_DFL);
        for (const int signal : ignored)
            std::signal(signal, SIG_IGN);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        dup2(outputPath.empty() ? output : open(outputPath.c_str(), O_WRONLY), STDOUT_FILENO);
        dup2(error, STDERR_FILENO);
        for (const int stream : closed)
            close(stream);
        if (fileSizeLimit)
        {
            const rlimit limit{*fileSizeLimit, *fileSizeLimit};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (folder.empty() || chdir(folder.c_str()) == 0)
            execvp(arguments[0], arguments.data());
        _exit(127);
    }

    std::vector<std::string> command;
    std::string folder;
    std::vector<std::pair<std::string, std::string>> environment;
    std::string outputPath;
    std::vector<int> closed;
    std::vector<int> ignored;
    std::optional<rlim_t> fileSizeLimit;
};

/// Returns the one list with the other behind it.
inline std::vector<std::string> Joined(std::vector<std::string> first, const std::vector<std::string>& second)
{
    for (const std::string& text : second)
        first.push_back(text);
    return first;
}

/// Describes a run of varkle with these arguments.
inline ProgramRunner Program(const std::vector<std::string>& arguments)
{
    return ProgramRunner(Joined({VARKLE_PROGRAM}, arguments));
}

} // namespace Varkle
