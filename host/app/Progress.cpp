#include "Progress.h"

#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

namespace Varkle
{

Progress::Progress(long long frames) : total(frames), onTerminal(isatty(STDERR_FILENO) != 0) {}

Progress::~Progress()
{
    if (shown)
        fmt::print(stderr, "\r\x1b[K");
}

void Progress::Show(long long done)
{
    using namespace std::chrono_literals;
    const Clock::time_point now = Clock::now();
    if (!onTerminal || done == 0 || now - start < 500ms || now - last < 100ms)
        return;
    last = now;
    shown = true;
    const double seconds = std::chrono::duration<double>(now - start).count();
    const double rate = double(done) / seconds;
    constexpr long long width = 30;
    const auto filled = std::size_t(width * done / total);
    fmt::print(stderr, "\r[{:#<{}}{:.<{}}] frame {} of {}, {:.1f} a second, {:.0f} s left\x1b[K", "", filled, "",
               std::size_t(width) - filled, done, total, rate, double(total - done) / rate);
    std::fflush(stderr);
}

} // namespace Varkle
