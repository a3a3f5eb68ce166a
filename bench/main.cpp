// Compares the cost of operators with bare WebGPU that draws the same passes with everything prepared, in one process,
// by turns. Prints one line for each comparison: both times, their ratio, and the GPU objects that ours created
// meanwhile.
//
//     varkle-bench [--quick]

#include "BareWebGpu.h"
#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Graphics.h"
#include "core/Resources.h"
#include "support/OperatorRunner.h"
#include "support/TemporaryFolder.h"
#include "texture/Color.h"
#include "texture/GrayScale.h"
#include "texture/LoadImage.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

using namespace Varkle;
using namespace Varkle::Testing;
using Varkle::Bench::BarePass;

namespace
{

struct Effort
{
    int rounds = 40;
    int passesForCpu = 50;
};

using Clock = std::chrono::steady_clock;

double Microseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::micro>(time).count();
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

struct Pair
{
    std::vector<double> ours;
    std::vector<double> bare;
};

void PrintLine(const std::string& what, const Pair& times, const GpuCounters& before)
{
    const GpuCounters after = Graphics::GetCounters();
    const double ours = Median(times.ours);
    const double bare = Median(times.bare);
    std::printf("%-44s %10.1f %10.1f %7.2f   %llu textures, %llu pipelines, %llu buffers\n", what.c_str(), ours, bare,
                ours / bare, (unsigned long long)(after.texturesCreated - before.texturesCreated),
                (unsigned long long)(after.pipelinesCreated - before.pipelinesCreated),
                (unsigned long long)(after.buffersCreated - before.buffersCreated));
}

// The time until the GPU has finished one pass.
double TimePass(const std::function<void()>& run)
{
    const auto begin = Clock::now();
    run();
    Graphics::WaitForGpu();
    return Microseconds(Clock::now() - begin);
}

// The time that this thread needs for one pass, waiting aside.
double TimeCpu(const std::function<void()>& run, int passes)
{
    const auto begin = Clock::now();
    for (int i = 0; i < passes; ++i)
        run();
    const auto end = Clock::now();
    Graphics::WaitForGpu();
    return Microseconds(end - begin) / passes;
}

void Compare(const std::string& name, const Effort& effort, const std::function<void()>& ours,
             const std::function<void()>& bare, const std::function<double(const std::function<void()>&)>& time)
{
    for (int i = 0; i < 3; ++i) // compiles, fills the pools
    {
        time(ours);
        time(bare);
    }
    Pair times;
    const GpuCounters before = Graphics::GetCounters();
    for (int i = 0; i < effort.rounds; ++i)
    {
        times.ours.push_back(time(ours));
        times.bare.push_back(time(bare));
    }
    PrintLine(name, times, before);
}

template<class Op>
void CompareOperator(const std::string& name, const Effort& effort, OperatorRunner<Op>& runner, const BarePass& bare,
                     bool cpuToo)
{
    // A frame as a host runs it: the one outdated operator of the graph executes.
    const auto ours = [&runner]
    {
        runner.Get().MarkDirty();
        runner.Execute();
    };
    const auto raw = [&bare] { bare.Run(); };
    if (cpuToo)
        Compare(name + ", CPU of Execute", effort, ours, raw,
                [&](const std::function<void()>& run) { return TimeCpu(run, effort.passesForCpu); });
    else
        Compare(name + ", whole pass", effort, ours, raw, TimePass);
}

void CompareColor(const Effort& effort, glm::ivec2 size, bool cpu)
{
    OperatorRunner<ColorOperator> runner;
    runner.SetSize(size);
    const BarePass bare(size);
    CompareOperator("Color " + std::to_string(size.x) + "x" + std::to_string(size.y), effort, runner, bare, cpu);
}

void CompareGrayScale(const Effort& effort, glm::ivec2 size, bool cpu)
{
    const Texture input = Filled(size, {200, 100, 50, 255});
    OperatorRunner<GrayScale> runner;
    runner.Connect("Texture Input", input);
    const BarePass bare(std::string(Resources::ReadText("Shaders/GrayScale.wgsl")), size, input.GetTextureHandle());
    CompareOperator("Grayscale " + std::to_string(size.x) + "x" + std::to_string(size.y), effort, runner, bare, cpu);
}

// Decoding and uploading a picture, beside the same decoder and a write into a texture that exists.
void CompareLoadImage(const Effort& effort, glm::ivec2 size)
{
    const TemporaryFolder folder;
    const std::string path = folder / "picture.png";
    const std::vector<std::uint8_t> png =
        MakeImage(size, std::vector<Rgba8>(std::size_t(size.x) * std::size_t(size.y), {1, 2, 3, 4}))
            .Encode(ImageFormat::Png);
    if (!WriteFileAtomically(path, {reinterpret_cast<const char*>(png.data()), png.size()}))
        std::abort();
    OperatorRunner<LoadImage> runner;
    runner.GetOperator().SetPath(path);
    const wgpu::Texture target = Filled(size, {}).GetTextureHandle();
    const auto ours = [&]
    {
        runner.Get().MarkDirty();
        runner.Execute();
        Graphics::ProcessEvents(); // as a host does once a frame: gives the upload's buffer back
    };
    const auto bare = [&]
    {
        const Image image = Image::LoadFromFile(path);
        wgpu::TexelCopyTextureInfo destination;
        destination.texture = target;
        wgpu::TexelCopyBufferLayout layout;
        layout.bytesPerRow = std::uint32_t(4 * size.x);
        const wgpu::Extent3D extent{std::uint32_t(size.x), std::uint32_t(size.y), 1};
        Graphics::GetQueue().WriteTexture(&destination, image.GetPixels(),
                                          4 * std::size_t(size.x) * std::size_t(size.y), &layout, &extent);
    };
    Compare("Load Image " + std::to_string(size.x) + "x" + std::to_string(size.y) + ", file to texture", effort, ours,
            bare, TimePass);
}

// A graph of 1,000 operators of which one at the end of a chain changes, beside a graph of just that one.
void CompareLargeGraph(const Effort& effort)
{
    Graph large;
    Operator* last = large.Add(ColorOperator::Type());
    for (int i = 1; i < 1000; ++i)
    {
        Operator* const next = large.Add(GrayScale::Type());
        if (!large.Connect(*last->GetOutputs()[0], *static_cast<DataInput*>(next->GetInputs()[0])))
            std::abort();
        last = next;
    }
    large.Run();
    OperatorRunner<GrayScale> one;
    one.Connect("Texture Input", Filled({8, 8}, {200, 100, 50, 255}));
    const auto changeLarge = [&]
    {
        last->MarkDirty();
        large.Run();
    };
    const auto changeOne = [&]
    {
        one.Get().MarkDirty();
        one.Execute();
    };
    Compare("one changed of 1,000 operators / of 2, CPU", effort, changeLarge, changeOne,
            [&](const std::function<void()>& run) { return TimeCpu(run, effort.passesForCpu); });
}

} // namespace

int main(int argc, char** argv)
{
    const LogListener listener(
        [](LogLevel level, std::string_view text)
        { std::fprintf(stderr, "%s: %s\n", std::string(GetLogLevelName(level)).c_str(), std::string(text).c_str()); });
    Effort effort;
    if (argc > 1 && std::strcmp(argv[1], "--quick") == 0)
        effort = {2, 3};
    if (const Status started = Graphics::Start(); !started)
    {
        std::fprintf(stderr, "error: %s\n", started.GetError().message.c_str());
        return 2;
    }
    std::printf("%s\n", Graphics::GetAdapterInfo().name.c_str());
    std::printf("%-44s %10s %10s %7s   %s\n", "", "ours, us", "bare, us", "ratio", "created meanwhile");
    CompareColor(effort, {64, 64}, true);
    CompareGrayScale(effort, {64, 64}, true);
    CompareColor(effort, {1920, 1080}, false);
    CompareGrayScale(effort, {1920, 1080}, false);
    CompareLoadImage(effort, {1920, 1080});
    CompareLargeGraph(effort);
    return 0;
}
