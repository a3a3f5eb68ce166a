// Compares the cost of operators with bare WebGPU that draws the same passes with everything prepared, in one process,
// by turns, at 1920x1080 or with a million vertices unless the line says otherwise. Prints one line for each
// comparison: both times, their ratio, and the GPU objects that ours created meanwhile. The exit status is 1 when an
// error was logged.
//
//     varkle-bench [--quick] [--process-time] [part of a line's name]

#include "Compare.h"
#include "DocumentBench.h"
#include "MeshBench.h"
#include "ModelBench.h"
#include "TextureBench.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/OperatorRunner.h"
#include "texture/Color.h"
#include "texture/GrayScale.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace Varkle;
using namespace Varkle::Bench;
using namespace Varkle::Testing;

namespace
{

constexpr const char* largeGraphName = "one changed of 1,000 operators / of 2, CPU";

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
    Compare(largeGraphName, effort, Measured::Cpu, changeLarge, changeOne);
}

} // namespace

int main(int argc, char** argv)
{
    bool failed = false;
    const LogListener listener(
        [&failed](const LogLine& line)
        {
            failed = failed || line.level == LogLevel::Error;
            std::fprintf(stderr, "%s: %s\n", std::string(GetLogLevelName(line.level)).c_str(),
                         GetPrintedText(line).c_str());
        });
    Effort effort;
    std::string_view filter;
    for (int i = 1; i < argc; ++i)
    {
        if (std::string_view(argv[i]) == "--quick")
            effort = {1, 2, {192, 108}, 10000, false};
        else if (std::string_view(argv[i]) == "--process-time")
            effort.processTime = true;
        else
            filter = argv[i];
    }
    if (const Status started = Graphics::Start(); !started)
    {
        std::fprintf(stderr, "error: %s\n", started.GetError().message.c_str());
        return 2;
    }
    std::printf("%s\n", Graphics::GetAdapterInfo().name.c_str());
    PrintHeader();
    CompareTextureOperators(effort, filter);
    CompareMeshOperators(effort, filter);
    CompareModelLoading(effort, filter);
    MeasureDocuments(effort, filter);
    if (std::string_view(largeGraphName).find(filter) != std::string_view::npos)
        CompareLargeGraph(effort);
    return failed ? 1 : 0;
}
