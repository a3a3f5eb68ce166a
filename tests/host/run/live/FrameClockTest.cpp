#include "Varkle/Run/FrameClock.h"

#include "support/Catch.h"

#include <vector>

using namespace Varkle;
using std::chrono::milliseconds;

namespace
{

const FrameClock::Clock::time_point start{std::chrono::hours(1)};

// Returns the graph's frames of so many pictures, each of which is asked for at once when the one before was shown.
std::vector<long long> Frames(FrameClock clock, double refreshRate, int pictures)
{
    std::vector<long long> frames;
    for (int i = 0; i < pictures; ++i)
    {
        clock.Advance(clock.GetDue(), refreshRate);
        frames.push_back(clock.GetFrame());
    }
    CHECK(clock.CountDropped() == 0);
    return frames;
}

} // namespace

TEST_CASE("A clock starts with frame 0, and the first picture after it is due one refresh later")
{
    FrameClock clock(60, start);
    CHECK(clock.GetFrame() == 0);
    CHECK(clock.GetDue() == start);
    clock.Advance(start + milliseconds(1), 50);
    CHECK(clock.GetDue() == start + milliseconds(20));
}

TEST_CASE("A display as fast as the graph shows each frame once, also after an hour")
{
    const std::vector<long long> frames = Frames(FrameClock(60, start), 60, 216'000);
    long long repeated = 0;
    for (std::size_t i = 1; i < frames.size(); ++i)
        repeated += frames[i] != frames[i - 1] + 1;
    CHECK(frames[0] == 1);
    CHECK(repeated <= 1); // 1/60 s is no whole number of nanoseconds
}

TEST_CASE("A display that is faster than the graph repeats frames, a slower one leaves some out")
{
    CHECK(Frames(FrameClock(30, start), 60, 6) == std::vector<long long>{0, 1, 1, 2, 2, 3});
    CHECK(Frames(FrameClock(60, start), 30, 4) == std::vector<long long>{2, 4, 6, 8});
    CHECK(Frames(FrameClock(24, start), 60, 6) == std::vector<long long>{0, 0, 1, 1, 2, 2});
}

TEST_CASE("Pictures that come too late are left out, and time goes on")
{
    FrameClock clock(60, start);
    clock.Advance(start + milliseconds(95), 100); // 9.5 refreshes later
    CHECK(clock.GetDue() == start + milliseconds(90));
    CHECK(clock.CountDropped() == 8);
    CHECK(clock.GetFrame() == 5); // floor(0.09 * 60)
    clock.Advance(start + milliseconds(95), 100);
    CHECK(clock.GetDue() == start + milliseconds(100));
    CHECK(clock.CountDropped() == 8);
}

TEST_CASE("A picture that is late by less than a refresh is shown at once")
{
    FrameClock clock(60, start);
    clock.Advance(start + milliseconds(19), 100);
    CHECK(clock.GetDue() == start + milliseconds(10));
    CHECK(clock.CountDropped() == 0);
}

TEST_CASE("A window that moves to another display goes on from the last picture at the new rate")
{
    FrameClock clock(60, start);
    clock.Advance(start, 100);
    clock.Advance(start + milliseconds(10), 50);
    CHECK(clock.GetDue() == start + milliseconds(30));
    clock.Advance(start + milliseconds(30), 1000);
    CHECK(clock.GetDue() == start + milliseconds(31));
}

TEST_CASE("Another number of frames a second counts from the start")
{
    FrameClock clock(60, start);
    clock.Advance(start, 2);
    CHECK(clock.GetFrame() == 30);
    clock.SetFrameRate(10);
    CHECK(clock.GetFrame() == 5);
}
