#pragma once

#include "Varkle/Core/Export.h"

#include <chrono>

namespace Varkle
{

/// Says when pictures are due and which frame of the graph each shows. Time goes on whatever happens: when a picture
/// comes late, the frames that it missed are left out.
class VARKLE_API FrameClock
{
public:
    using Clock = std::chrono::steady_clock;

    /// Starts with frame 0 at `start`, for a graph of that many frames a second.
    FrameClock(double graphRate, Clock::time_point start) : frameRate(graphRate), begin(start), tick(start) {}

    /// Goes on to the next picture of a display with that many frames a second: to the first that is not over at `now`.
    void Advance(Clock::time_point now, double refreshRate);

    /// Returns when the picture is due.
    Clock::time_point GetDue() const { return tick; }
    /// Returns the frame of the graph that it shows.
    long long GetFrame() const;
    /// Returns how many pictures were left out since they came too late.
    long long CountDropped() const { return dropped; }

    /// Goes on with another number of frames a second: the frame is then the one of the time since the start.
    void SetFrameRate(double graphRate) { frameRate = graphRate; }

private:
    double frameRate;
    Clock::time_point begin;
    Clock::time_point tick;
    long long dropped = 0;
};

} // namespace Varkle
