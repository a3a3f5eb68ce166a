#include "Command.h"
#include "Console.h"
#include "GraphOptions.h"
#include "Interrupts.h"
#include "Statistics.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

int RunInspect(const GraphOptions& options, const CommonOptions& common, const Console& console)
{
    const Result<FrameRange> frames = ReadFrameRange(options.frames);
    if (!frames)
        return PrintError(frames.GetError());
    Result<GraphSession> session = OpenGraph(options, common);
    if (!session)
        return PrintError(session.GetError());

    WatchForInterrupts();
    const bool timed = common.stats && Graphics::StartTimings();
    for (long long frame = frames->first; frame <= frames->last && !WasInterrupted() && !Graphics::IsLost(); ++frame)
    {
        const TraceSpan span("frame", fmt::format("frame {}", frame));
        if (options.operators.empty())
            session->GoToFrame(frame);
        else
            session->GoToFrame(frame, options.operators);
    }
    GraphSession::Finish();
    if (common.stats)
        PrintNote(FormatStatistics(session->GetGraph(), timed));
    if (WasInterrupted())
        return PrintInterrupted("The run was interrupted."); // the caller then ends by the signal
    if (Graphics::IsLost())
        return MachineFailed; // the log says so already
    return PrintOutput(session->Inspect(console.GetLines()));
}

} // namespace

void AddInspectCommand(CLI::App& app, const CommonOptions& common, Run& run)
{
    auto options = std::make_shared<GraphOptions>();
    CLI::App* const command =
        app.add_subcommand("inspect", "Run frames and print the state of every operator as JSON")->fallthrough();
    AddGraphOptions(*command, *options);
    command->callback(
        [&run, &common, options]
        { run = [&common, options](const Console& console) { return RunInspect(*options, common, console); }; });
}

} // namespace Varkle
