#include "Progress.h"

#include "Console.h"

#include <cmath>
#include <fmt/format.h>
#include <unistd.h>

namespace Varkle
{

namespace
{

std::string FormatBar(long long done, long long total)
{
    constexpr long long width = 20;
    const auto filled = std::size_t(double(width) * double(done) / double(total));
    return "[" + std::string(filled, '#') + std::string(std::size_t(width) - filled, '.') + "]";
}

// "8 s", "2:05 min", "1:10:00 h"
std::string FormatTime(double time)
{
    const long long seconds = std::llround(time);
    if (seconds < 60)
        return fmt::format("{} s", seconds);
    if (seconds < 3600)
        return fmt::format("{}:{:02} min", seconds / 60, seconds % 60);
    return fmt::format("{}:{:02}:{:02} h", seconds / 3600, seconds / 60 % 60, seconds % 60);
}

} // namespace

Progress::Progress(long long frames) : total(frames), onTerminal(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress()
{
    ShowStatusLine("");
}

void Progress::Show(long long done)
{
    using namespace std::chrono_literals;
    const Clock::time_point now = Clock::now();
    if (!onTerminal || done == 0 || now - start < 500ms || now - last < 100ms)
        return;
    last = now;
    const double rate = double(done) / std::chrono::duration<double>(now - start).count();
    ShowStatusLine(fmt::format("{} frame {} of {}, {:.1f} a second, {} left", FormatBar(done, total), done, total, rate,
                               FormatTime(double(total - done) / rate)));
}

} // namespace Varkle
