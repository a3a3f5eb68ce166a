#pragma once

#include <chrono>

namespace Varkle
{

/// Shows a line on standard error with the frame, the rate and the time left, when that is a terminal and the work
/// takes longer than a moment.
class Progress
{
public:
    explicit Progress(long long frames);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Says how many frames are done.
    void Show(long long done);

private:
    using Clock = std::chrono::steady_clock;

    long long total;
    bool onTerminal;
    Clock::time_point start = Clock::now();
    Clock::time_point last = start;
};

} // namespace Varkle
