#include "Command.h"
#include "Console.h"
#include "GraphOptions.h"
#include "Interrupts.h"
#include "Progress.h"
#include "SceneOptions.h"
#include "Statistics.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Run/Exporter.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>
#include <vector>

namespace Varkle
{

namespace
{

using Outputs = std::vector<ExportedOutput>;

struct RenderOptions : GraphOptions
{
    std::string output;
    SceneOptions scene;
};

// Nothing is written by default when every output feeds something, which is a mistake when a file was asked for.
Status CheckDefaultOutputs(const RenderOptions& options, const GraphSession& session)
{
    if (!options.operators.empty() || !session.GetDefaultOutputs().empty())
        return Ok();
    const std::string graph = Printable(options.graph);
    const auto& operators = session.GetGraph().GetOperators();
    if (operators.empty())
        return Error{fmt::format("{}: the graph has no operators: there is nothing to render.", graph)};
    const bool hasOutputs = std::ranges::any_of(operators, [](const auto& op) { return !op->GetOutputs().empty(); });
    if (!hasOutputs && options.output.empty())
        return Ok(); // nobody can expect a file
    if (!options.output.empty())
        return Error{fmt::format("{}: {}, so that --output has nothing to write.{}", graph,
                                 hasOutputs ? "every output feeds something" : "no operator has an output",
                                 hasOutputs ? " Choose what with --operator." : "")};
    LogInfo(fmt::format("{}: every output feeds something, so that no output is written. Choose one with --operator.",
                        graph));
    return Ok();
}

// The options of pictures that are drawn mean nothing when none is.
Status CheckSceneOptions(const SceneOptions& options, const Outputs& outputs)
{
    const std::string_view given = options.FindGiven();
    if (given.empty() ||
        std::ranges::find(outputs, ExportedOutput::Kind::Drawing, &ExportedOutput::kind) != outputs.end())
        return Ok();
    const auto shape = std::ranges::find(outputs, ExportedOutput::Kind::Shape, &ExportedOutput::kind);
    const std::string hint = shape == outputs.end() ? "" : fmt::format(": with --output {}.png it would", shape->key);
    return Error{
        fmt::format("{}: it is for pictures of meshes, models and materials, and this run draws none{}.", given, hint)};
}

Result<Exporter> MakeExporter(const RenderOptions& options, const FrameRange& frames, GraphSession& session)
{
    if (const Status writes = CheckDefaultOutputs(options, session); !writes)
        return writes.GetError();
    const Result<SceneView> view = ReadSceneView(options.scene);
    if (!view)
        return view.GetError();
    Result<Exporter> exporter =
        Exporter::Create(session, {options.operators, frames, options.output, *view, WriteOutput, GetInterruptToken()});
    if (!exporter && exporter.GetError().message.starts_with("output "))
        return Error{"--" + exporter.GetError().message, exporter.GetError().machine};
    if (!exporter)
        return exporter;
    if (const Status sensible = CheckSceneOptions(options.scene, exporter->GetOutputs()); !sensible)
        return sensible.GetError();
    return exporter;
}

int PrintInterruption(const Outputs& outputs)
{
    const bool hasVideo = std::ranges::any_of(outputs, &ExportedOutput::isVideo);
    return PrintInterrupted(fmt::format("The run was interrupted; the files written so far are complete{}.",
                                        hasVideo ? ", and a video that was not is gone" : ""));
}

// Says how often the operator carried nothing, unless that was said when it happened.
void PrintGaps(const ExportedOutput& output)
{
    const std::string_view loss = output.isVideo && !output.hasPictures ? ": no video is written for it" : "";
    if (output.emptyFrames > 1 || !loss.empty())
        PrintError(fmt::format("The operator {} carried nothing after {} frame{} in all{}.", Quoted(output.key),
                               output.emptyFrames, output.emptyFrames == 1 ? "" : "s", loss));
}

// Says how the run ended and returns the exit status.
int Conclude(const Status& written, const Outputs& outputs, const Console& console)
{
    if (WasInterrupted())
        return PrintInterruption(outputs); // the process ends by the signal
    if (Graphics::IsLost())
        return MachineFailed; // the log says so already
    if (!written)
        return PrintError(written.GetError());
    int status = console.HasErrors() ? WrongInput : Done;
    const bool lacksMemory = Graphics::GetCounters().memoryShortages > 0; // the log says for what
    for (const ExportedOutput& output : outputs)
    {
        if (output.emptyFrames == 0)
            continue;
        status = WrongInput;
        PrintGaps(output);
    }
    return lacksMemory ? MachineFailed : status;
}

Status RunFrames(Exporter& exporter, const FrameRange& frames)
{
    Progress progress(frames.Count());
    return exporter.Run(
        {[&](long long done) { progress.Show(done); }, [](const std::string& message) { PrintError(message); }});
}

int RunRender(const RenderOptions& options, const CommonOptions& common, const Console& console)
{
    const Result<FrameRange> frames = ReadFrameRange(options.frames);
    if (!frames)
        return PrintError(frames.GetError());
    Result<GraphSession> session = OpenGraph(options, common);
    if (!session)
        return PrintError(session.GetError());
    WatchForInterrupts();
    Result<Exporter> exporter = MakeExporter(options, *frames, *session);
    if (!exporter)
        return PrintError(exporter.GetError());

    const bool timed = common.stats && Graphics::StartTimings();
    const Status written = RunFrames(*exporter, *frames);
    if (common.stats)
        PrintNote(FormatStatistics(session->GetGraph(), timed));
    return Conclude(written, exporter->GetOutputs(), console);
}

} // namespace

void AddRenderCommand(CLI::App& app, const CommonOptions& common, Run& run)
{
    auto options = std::make_shared<RenderOptions>();
    CLI::App* const command =
        app.add_subcommand("render", "Run frames without a window and write the results to files")->fallthrough();
    AddGraphOptions(*command, *options);
    command
        ->add_option("--output", options->output,
                     "The file to write: .png, .jpg, .bmp, .tga, or all frames as .mp4 (H.264, over black) or .webm "
                     "(VP9 with alpha); {key} and {frame} (or {frame:04}) are replaced, - is standard output")
        ->type_name("PATH");
    AddSceneOptions(*command, options->scene);
    command->callback(
        [&run, &common, options]
        { run = [&common, options](const Console& console) { return RunRender(*options, common, console); }; });
}

} // namespace Varkle
