#include "export/Process.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <mutex>
#include <poll.h>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace Varkle
{

namespace
{

constexpr int unknownEnd = 255 << 8; // exit status 255, should anyone else in the process have waited for the child

// How the child differs from us. Started with nothing but its three standard streams.
struct SpawnSettings
{
    SpawnSettings(int input, int errors)
    {
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);

        // SIGXFSZ stays ignored, so that it can say that a file grew too large.
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setpgroup(&attributes, 0); // a group of its own
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    ~SpawnSettings()
    {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
};

// Returns 0 or the errno value that stood in the way.
int Spawn(const std::string& path, std::vector<std::string>& arguments, int input, int errors, pid_t& pid)
{
    std::vector<char*> list = {const_cast<char*>(path.c_str())};
    for (std::string& argument : arguments)
        list.push_back(argument.data());
    list.push_back(nullptr);
    const SpawnSettings settings(input, errors);
    return posix_spawn(&pid, path.c_str(), &settings.files, &settings.attributes, list.data(), environ);
}

// Makes a pipe one end of which, the writing or the reading one, never blocks.
bool MakePipe(int& readingEnd, int& writingEnd, bool writes)
{
    std::array<int, 2> ends = {-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        return false;
    readingEnd = ends[0];
    writingEnd = ends[1];
    fcntl(writes ? writingEnd : readingEnd, F_SETFL, O_NONBLOCK);
    return true;
}

// The children that were not waited for to their end.
struct Children
{
    std::mutex mutex;
    std::set<pid_t> ids;
};

// Never destroyed: any thread may end the process.
Children& Running()
{
    static Children& children = *new Children;
    return children;
}

void CloseFile(int& file)
{
    if (file != -1)
        close(std::exchange(file, -1));
}

} // namespace

std::string FindProgram(std::string_view name)
{
    const char* const path = std::getenv("PATH");
    std::string_view folders = path ? path : "/usr/bin:/bin";
    while (true)
    {
        const std::size_t length = std::min(folders.find(':'), folders.size());
        const std::string_view folder = folders.substr(0, length);
        std::string candidate = std::string(folder.empty() ? "." : folder) + "/" + std::string(name);
        std::error_code code;
        if (std::filesystem::is_regular_file(candidate, code) && access(candidate.c_str(), X_OK) == 0)
            return candidate;
        if (length == folders.size())
            return {};
        folders.remove_prefix(length + 1);
    }
}

Result<std::unique_ptr<Process>> Process::Start(const std::string& path, std::vector<std::string> arguments)
{
    constexpr int capacity = 1 << 20; // as much as an unprivileged user may ask for; a smaller one does as well
    int reading = -1;
    int writing = -1;
    int errors = -1;
    int childErrors = -1;
    pid_t pid = -1;
    const bool prepared = MakePipe(reading, writing, true) && MakePipe(errors, childErrors, false);
    fcntl(writing, F_SETPIPE_SZ, capacity);
    const std::lock_guard lock(Running().mutex);
    const int reason = prepared ? Spawn(path, arguments, reading, childErrors, pid) : errno;
    CloseFile(reading);
    CloseFile(childErrors);
    if (reason == 0)
    {
        Running().ids.insert(pid);
        return std::unique_ptr<Process>(new Process(pid, writing, errors));
    }
    CloseFile(writing);
    CloseFile(errors);
    return Error{fmt::format("the program {} could not be started: {}.", Quoted(path), std::strerror(reason)), true};
}

Process::~Process()
{
    if (!end)
    {
        Kill();
        while (!WaitForEnd(std::chrono::seconds(1)))
        {
        }
    }
    CloseFile(input);
    CloseFile(errors);
}

bool Process::Write(std::span<const std::uint8_t> bytes) const
{
    while (!bytes.empty() && !killed)
    {
        const ssize_t written = write(input, bytes.data(), bytes.size());
        if (written >= 0)
        {
            bytes = bytes.subspan(std::size_t(written));
            continue;
        }
        if (errno != EAGAIN && errno != EINTR)
            return false;
        TakeErrors();
        constexpr int patience = 50; // milliseconds: a relative of a killed child may hold the pipe open
        pollfd entry{input, POLLOUT, 0};
        poll(&entry, 1, patience);
    }
    return bytes.empty();
}

void Process::CloseInput()
{
    CloseFile(input);
}

bool Process::WaitForEnd(std::chrono::milliseconds timeout)
{
    constexpr std::chrono::milliseconds step(5); // nothing tells of the end in time without taking up a signal
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!LookForEnd())
    {
        TakeErrors();
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(step);
    }
    return true;
}

bool Process::LookForEnd()
{
    if (end)
        return true;
    const std::lock_guard lock(Running().mutex); // its number may be another's once it was waited for
    int state = 0;
    const pid_t ended = waitpid(pid, &state, WNOHANG);
    if (ended == pid)
        end = state;
    else if (ended == -1 && errno == ECHILD)
        end = unknownEnd;
    if (end)
        Running().ids.erase(pid);
    return end.has_value();
}

void Process::Kill()
{
    killed = true;
    if (!end)
        kill(-pid, SIGKILL);
}

void Process::KillAll()
{
    std::unique_lock lock(Running().mutex);
    for (const pid_t id : Running().ids)
        kill(-id, SIGKILL);
    for (const pid_t id : Running().ids)
        waitpid(id, nullptr, 0); // what it was writing must not appear again
    (void)lock.release();        // without unlocking
}

std::string Process::DescribeEnd() const
{
    const int state = end.value_or(0);
    if (WIFSIGNALED(state))
        return fmt::format("was ended by signal {} ({})", WTERMSIG(state), strsignal(WTERMSIG(state)));
    return fmt::format("ended with exit status {}", WEXITSTATUS(state));
}

void Process::TakeErrors() const
{
    constexpr std::size_t mostKept = 1 << 16;
    std::array<char, 16384> buffer;
    const std::lock_guard lock(mutex);
    for (ssize_t count = 0; (count = read(errors, buffer.data(), buffer.size())) > 0;)
    {
        errorText.append(buffer.data(), std::size_t(count));
        if (errorText.size() > mostKept)
            errorText.erase(0, errorText.size() - mostKept);
    }
}

std::string Process::GetErrors() const
{
    TakeErrors();
    const std::lock_guard lock(mutex);
    return errorText;
}

std::vector<std::string> Process::GetLastErrors(std::size_t count) const
{
    const std::string kept = GetErrors();
    std::string_view text = kept;
    std::vector<std::string> lines;
    while (!text.empty() && lines.size() < count)
    {
        const std::size_t start = text.find_last_of("\r\n") + 1; // 0 when there is no line before
        if (start < text.size())
            lines.emplace(lines.begin(), text.substr(start));
        text = text.substr(0, start > 0 ? start - 1 : 0);
    }
    return lines;
}

} // namespace Varkle
