#include "texture/SaveNames.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace Varkle
{

namespace
{

using namespace std::chrono;

constexpr std::uint32_t NumbersEnd = 100000;

std::string FourDigits(std::uint32_t number)
{
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "%04u", number);
    return text.data();
}

// Returns the local time to the millisecond, "2026-09-09_14-32-05-123".
std::string Format(StampClock::Time time)
{
    const auto second = floor<seconds>(time);
    const std::time_t systemTime = system_clock::to_time_t(second);
    std::tm local = {};
    localtime_r(&systemTime, &local);
    std::array<char, 64> date = {};
    std::strftime(date.data(), date.size(), "%Y-%m-%d_%H-%M-%S", &local);
    std::array<char, 16> fraction = {};
    std::snprintf(fraction.data(), fraction.size(), "-%03d", int((time - second).count()));
    return std::string(date.data()) + fraction.data();
}

// No two calls return the same, whichever operator asks.
std::string TakeTimestamp()
{
    static std::mutex mutex;
    static StampClock clock;
    const std::lock_guard lock(mutex);
    return Format(clock.Take(floor<milliseconds>(system_clock::now())));
}

} // namespace

StampClock::Time StampClock::Take(Time now)
{
    const bool wentBack = now < lastNow;
    lastNow = now;
    last = wentBack ? now : std::max(now, last + milliseconds(1));
    return last;
}

std::filesystem::path SaveNames::Take() const
{
    std::string suffix;
    if (numbering == Numbering::Timestamp)
        suffix = "_" + TakeTimestamp();
    if (numbering == Numbering::Counter)
    {
        if (*counter >= NumbersEnd)
            return {};
        const std::uint32_t number = (*counter)++;
        if (number >= NumbersEnd)
            return {}; // another thread took the last one
        suffix = "_" + FourDigits(number);
    }
    return folder / (name + suffix + extension);
}

std::string SaveNames::GetRunOutMessage() const
{
    return "Cannot save the image: no unused number is left for " + name + " in " + folder.string() + ".";
}

} // namespace Varkle
