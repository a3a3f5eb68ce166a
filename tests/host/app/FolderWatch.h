#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace Varkle
{

/// Notes what happens to the files of a folder from its construction on.
class FolderWatch
{
public:
    explicit FolderWatch(const std::string& folder) : queue(inotify_init1(IN_CLOEXEC))
    {
        if (inotify_add_watch(queue, folder.c_str(), IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE) == -1)
            throw std::runtime_error("the folder can't be watched: " + folder);
    }
    ~FolderWatch() { close(queue); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// Waits until a file was renamed to a name with this end, and returns that name; empty when none was within a
    /// minute.
    std::string WaitForRename(std::string_view end)
    {
        std::size_t seen = 0;
        while (true)
        {
            for (; seen < events.size(); ++seen)
            {
                if (events[seen].starts_with("renamed to ") && events[seen].ends_with(end))
                    return events[seen].substr(std::string_view("renamed to ").size());
            }
            if (!Read(std::chrono::minutes(1)))
                return {};
        }
    }

    /// Returns what happened so far, each as "created NAME", "renamed NAME", "renamed to NAME" or "deleted NAME".
    const std::vector<std::string>& GetEvents()
    {
        while (Read(std::chrono::milliseconds(0)))
        {
        }
        return events;
    }

private:
    // Takes in what is there, waiting for something at most that long. Returns false when there was nothing.
    bool Read(std::chrono::milliseconds patience)
    {
        pollfd entry{queue, POLLIN, 0};
        if (poll(&entry, 1, int(patience.count())) != 1)
            return false;
        alignas(inotify_event) std::array<char, 65536> buffer;
        const ssize_t count = read(queue, buffer.data(), buffer.size());
        for (const char* at = buffer.data(); at < buffer.data() + count;)
        {
            const auto& event = *reinterpret_cast<const inotify_event*>(at);
            const char* const what = (event.mask & IN_CREATE) != 0       ? "created "
                                     : (event.mask & IN_MOVED_FROM) != 0 ? "renamed "
                                     : (event.mask & IN_MOVED_TO) != 0   ? "renamed to "
                                                                         : "deleted ";
            events.push_back(what + std::string(event.name));
            at += sizeof(inotify_event) + event.len;
        }
        return count > 0;
    }

    int queue;
    std::vector<std::string> events;
};

} // namespace Varkle
