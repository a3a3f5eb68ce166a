#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace Varkle
{

/// Hands out times that are all different, to the millisecond. One thread at a time.
class StampClock
{
public:
    using Time = std::chrono::sys_time<std::chrono::milliseconds>;

    /// Returns the time, or one millisecond after the last one where the clock has not moved on since. A clock that was
    /// set back counts from there: its times may come again, the files of those times are there to tell.
    Time Take(Time now);

private:
    Time lastNow;
    Time last;
};

/// Gives the paths of the files that a Save Image writes. Copies share the counter. May be used from any thread.
struct SaveNames
{
    enum class Numbering
    {
        Off,
        Counter,
        Timestamp
    };

    /// Returns the next path, whether or not there is such a file: folder, name, what the numbering adds, extension.
    /// Uses up the number or the time. Empty when there is no number left.
    std::filesystem::path Take() const;

    /// Says that there is no number left.
    std::string GetRunOutMessage() const;

    std::filesystem::path folder;
    std::string name;
    std::string extension;
    Numbering numbering = Numbering::Off;
    /// The next number to try; those below were used or taken.
    std::shared_ptr<std::atomic<std::uint32_t>> counter = std::make_shared<std::atomic<std::uint32_t>>(0);
};

} // namespace Varkle
