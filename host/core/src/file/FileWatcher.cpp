#include "Varkle/Core/FileWatcher.h"

#include <pthread.h>
#include <sys/stat.h>
#include <utility>

namespace Varkle
{

namespace
{

std::chrono::nanoseconds ToNanoseconds(const timespec& time)
{
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

void WatchedFiles::SetFiles(const std::vector<std::filesystem::path>& paths)
{
    std::map<std::filesystem::path, File> wanted;
    const std::lock_guard lock(mutex);
    for (const std::filesystem::path& path : paths)
    {
        if (const auto known = files.find(path); known != files.end())
        {
            wanted.insert(files.extract(known));
        }
        else if (const auto [file, isNew] = wanted.try_emplace(path); isNew)
        {
            const State state = FindState(path);
            file->second = {state, state, false, std::nullopt};
        }
    }
    files = std::move(wanted);
}

void WatchedFiles::Look(Clock::time_point now)
{
    std::vector<std::pair<std::filesystem::path, State>> states;
    {
        const std::lock_guard lock(mutex);
        for (const auto& [path, file] : files)
            states.emplace_back(path, State());
    }
    for (auto& [path, state] : states)
        state = FindState(path);

    const std::lock_guard lock(mutex);
    for (const auto& [path, state] : states)
    {
        if (const auto file = files.find(path); file != files.end())
            Note(file->second, state, now);
    }
}

std::vector<std::filesystem::path> WatchedFiles::TakeChanges()
{
    std::vector<std::filesystem::path> changes;
    const std::lock_guard lock(mutex);
    for (auto& [path, file] : files)
    {
        if (std::exchange(file.hasChanged, false))
            changes.push_back(path);
    }
    return changes;
}

WatchedFiles::State WatchedFiles::FindState(const std::filesystem::path& path)
{
    struct stat found = {};
    if (stat(path.c_str(), &found) != 0 || !S_ISREG(found.st_mode))
        return {};
    return {found.st_dev, found.st_ino, found.st_size, ToNanoseconds(found.st_mtim), ToNanoseconds(found.st_ctim),
            true};
}

void WatchedFiles::Note(File& file, const State& state, Clock::time_point now)
{
    constexpr std::chrono::milliseconds patience(300);
    const State before = std::exchange(file.seen, state);
    if (!state.exists)
        file.reported = state; // the same file is news when it comes back
    const bool moved = before.exists && (state.inode != before.inode || state.device != before.device);
    // One that was moved there was written before.
    bool tried = state == before || (moved && file.restless);
    if (state == before)
        file.restless.reset();
    else if (!file.restless)
        file.restless = now;
    else if (now - *file.restless >= patience)
        tried = true;
    if (!tried || state == file.reported)
        return;
    if (!moved)
        file.restless.reset();
    file.reported = state;
    file.hasChanged = true;
}

FileWatcher::~FileWatcher()
{
    {
        const std::lock_guard lock(mutex);
        ends = true;
    }
    woken.notify_all();
    if (thread.joinable())
        thread.join();
}

void FileWatcher::SetFiles(const std::vector<std::filesystem::path>& paths)
{
    const std::lock_guard lock(mutex);
    if (paths == watched)
        return; // hosts say it again on every frame
    files.SetFiles(paths);
    watched = paths;
    woken.notify_all();
    if (!paths.empty() && !thread.joinable())
        thread = std::thread([this] { LookAgainAndAgain(); });
}

void FileWatcher::LookAgainAndAgain()
{
    constexpr std::chrono::milliseconds pause(100);
    pthread_setname_np(pthread_self(), "varkle watcher");
    std::unique_lock lock(mutex);
    while (true)
    {
        woken.wait(lock, [this] { return ends || !watched.empty(); });
        if (ends)
            return;
        lock.unlock();
        files.Look();
        lock.lock();
        woken.wait_for(lock, pause, [this] { return ends; });
    }
}

} // namespace Varkle
