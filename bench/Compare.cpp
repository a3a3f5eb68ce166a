#include "Compare.h"

#include "Varkle/Gpu/Graphics.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace Varkle::Bench
{

namespace
{

double NowInMicroseconds(bool processTime)
{
    timespec now{};
    clock_gettime(processTime ? CLOCK_PROCESS_CPUTIME_ID : CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e6 + double(now.tv_nsec) * 1e-3;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

double TimePass(const std::function<void()>& run, bool processTime)
{
    const double begin = NowInMicroseconds(processTime);
    run();
    Graphics::WaitForGpu();
    return NowInMicroseconds(processTime) - begin;
}

double TimeCpu(const std::function<void()>& run, int passes, bool processTime)
{
    const double begin = NowInMicroseconds(processTime);
    for (int i = 0; i < passes; ++i)
        run();
    const double end = NowInMicroseconds(processTime);
    Graphics::WaitForGpu();
    return (end - begin) / passes;
}

} // namespace

void PrintHeader()
{
    std::printf("%-44s %10s %10s %7s   %s\n", "", "ours, us", "bare, us", "ratio", "created meanwhile");
}

void Compare(const std::string& name, const Effort& effort, Measured measured, const std::function<void()>& ours,
             const std::function<void()>& bare)
{
    const auto time = [&](const std::function<void()>& run)
    {
        return measured == Measured::Cpu ? TimeCpu(run, effort.passesForCpu, effort.processTime)
                                         : TimePass(run, effort.processTime);
    };
    for (int i = 0; i < 3; ++i) // compiles, fills the pools
    {
        time(ours);
        time(bare);
    }
    std::vector<double> oursTimes;
    std::vector<double> bareTimes;
    const GpuCounters before = Graphics::GetCounters();
    for (int i = 0; i < effort.rounds; ++i)
    {
        oursTimes.push_back(time(ours));
        bareTimes.push_back(time(bare));
    }
    const GpuCounters after = Graphics::GetCounters();
    const double oursMedian = Median(std::move(oursTimes));
    const double bareMedian = Median(std::move(bareTimes));
    std::printf("%-44s %10.1f %10.1f %7.2f   %llu textures, %llu pipelines, %llu buffers\n", name.c_str(), oursMedian,
                bareMedian, oursMedian / bareMedian,
                (unsigned long long)(after.texturesCreated - before.texturesCreated),
                (unsigned long long)(after.pipelinesCreated - before.pipelinesCreated),
                (unsigned long long)(after.buffersCreated - before.buffersCreated));
    std::fflush(stdout);
}

} // namespace Varkle::Bench
