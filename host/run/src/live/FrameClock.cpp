#include "Varkle/Run/FrameClock.h"

#include <cmath>

namespace Varkle
{

void FrameClock::Advance(Clock::time_point now, double refreshRate)
{
    const auto period = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / refreshRate));
    tick += period;
    if (tick + period > now)
        return;
    const auto missed = (now - tick) / period;
    tick += missed * period;
    dropped += missed;
}

long long FrameClock::GetFrame() const
{
    constexpr double rounding = 1e-4; // of a frame: the clock counts whole nanoseconds
    return (long long)(std::floor(std::chrono::duration<double>(tick - begin).count() * frameRate + rounding));
}

} // namespace Varkle
