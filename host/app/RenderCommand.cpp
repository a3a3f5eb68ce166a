#include "Command.h"
#include "Console.h"
#include "FrameWriter.h"
#include "GraphOptions.h"
#include "OutputPath.h"
#include "Progress.h"
#include "Statistics.h"
#include "Suggestion.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Ports.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>

namespace Varkle
{

namespace
{

struct RenderOptions : GraphOptions
{
    std::string output;
};

// What is written for one operator, frame after frame.
struct Target
{
    std::string key;
    OutputPattern pattern;
    bool toStandardOutput = false;
    long long emptyFrames = 0; // after which the operator carried nothing

    std::string Path(long long frame) const
    {
        return toStandardOutput ? FrameWriter::StandardOutput : pattern.Path(key, frame);
    }
};

Error CantWriteTexture(const std::string& path)
{
    const std::string extension = std::filesystem::path(path).extension().string();
    const bool isVideo = extension == ".mp4" || extension == ".webm";
    return Error{fmt::format("--output {}: {}a texture is written as .png, .jpg, .bmp or .tga.", Quoted(path),
                             isVideo ? "videos can't be written yet; " : "")};
}

Result<Target> MakeTarget(const RenderOptions& options, const Operator& op, std::size_t operatorCount,
                          const FrameRange& frames)
{
    const std::string key = op.GetKey();
    if (op.GetOutputs().empty())
        return Error{fmt::format("The operator {} has no output: there is nothing to write.", Quoted(key))};
    const bool isTexture = op.GetOutputs()[0]->GetDataTypeName() == "Texture";
    if (options.output == "-")
    {
        if (operatorCount > 1 || frames.Count() > 1)
            return Error{"--output -: standard output takes the file of one operator and one frame."};
        if (!isTexture)
            return Error{
                fmt::format("The operator {} gives no texture: it can't be written as a picture.", Quoted(key))};
        return Target{key, {}, true};
    }
    const std::string defaultOutput = isTexture ? "{key}.png" : "{key}.glb";
    Result<OutputPattern> pattern = OutputPattern::Read(options.output.empty() ? defaultOutput : options.output,
                                                        operatorCount > 1, frames.Count() > 1);
    if (!pattern)
        return pattern.GetError();
    const std::string path = pattern->Path(key, frames.first);
    if (!isTexture)
        return Error{fmt::format("The operator {} gives a {}, which can't be written to {}.", Quoted(key),
                                 op.GetOutputs()[0]->GetDataTypeName(), Quoted(path))};
    if (!FindImageFormat(path))
        return CantWriteTexture(path);
    return Target{key, *pattern, false};
}

Result<std::vector<Target>> MakeTargets(const RenderOptions& options, const GraphSession& session,
                                        const FrameRange& frames)
{
    std::vector<std::string> keys = options.operators.empty() ? session.GetDefaultOutputs() : options.operators;
    std::ranges::sort(keys);
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    if (keys.empty() && session.GetGraph().GetOperators().empty())
        return Error{fmt::format("{}: the graph has no operators: there is nothing to render.", options.graph)};
    std::vector<Target> targets;
    for (const std::string& key : keys)
    {
        Result<Target> target = MakeTarget(options, *session.GetGraph().Find(key), keys.size(), frames);
        if (!target)
            return target.GetError();
        targets.push_back(std::move(*target));
    }
    return targets;
}

// Returns an operator that feeds this one and carries nothing, or null.
const Operator* FindSilentSource(const Operator& op)
{
    for (const Object* const port : op.GetInputs())
    {
        const auto* const input = dynamic_cast<const DataInput*>(port);
        const DataOutput* const source = input ? input->GetConnection() : nullptr;
        if (source && !source->IsActive())
            return source->GetOperator();
    }
    return nullptr;
}

void PrintCarriesNothing(const Operator& op, long long frame)
{
    const Operator* root = nullptr; // from where on nothing comes down to the operator
    for (const Operator* source = FindSilentSource(op); source; source = FindSilentSource(*source))
        root = source;
    const std::string hint =
        root ? fmt::format(", and neither does {}, which it depends on", Quoted(root->GetKey())) : std::string();
    PrintError(fmt::format("The operator {} carries nothing after frame {}{}: no file is written for it.",
                           Quoted(op.GetKey()), frame, hint));
}

// Starts writing what the targets carry now.
void WriteFrame(const GraphSession& session, std::vector<Target>& targets, long long frame, FrameWriter& writer)
{
    for (Target& target : targets)
    {
        const Texture texture = session.GetTexture(target.key);
        if (!texture)
        {
            if (++target.emptyFrames == 1)
                PrintCarriesNothing(*session.GetGraph().Find(target.key), frame);
            continue;
        }
        const std::string path = target.Path(frame);
        writer.Write(texture, FindImageFormat(path).value_or(ImageFormat::Png), path);
    }
}

// Runs the frames and writes their files, until something stands in the way.
Status RunFrames(GraphSession& session, std::vector<Target>& targets, const FrameRange& frames)
{
    std::vector<std::string> keys;
    std::ranges::transform(targets, std::back_inserter(keys), &Target::key);
    FrameWriter writer;
    Progress progress(frames.Count());
    for (long long frame = frames.first; frame <= frames.last; ++frame)
    {
        if (WasInterrupted() || writer.HasFailed() || Graphics::IsLost())
            break;
        const TraceSpan span("frame", fmt::format("frame {}", frame));
        session.GoToFrame(frame, keys);
        WriteFrame(session, targets, frame, writer);
        progress.Show(frame - frames.first + 1);
    }
    Status written = writer.Finish();
    GraphSession::Finish();
    return written;
}

// Says how the run ended and returns the exit status.
int Conclude(const Status& written, const std::vector<Target>& targets, const Console& console)
{
    if (WasInterrupted())
        return PrintError("The run was interrupted; the files written so far are complete."); // ends by the signal
    if (Graphics::IsLost())
        return MachineFailed; // the log says so already
    if (!written)
        return PrintError(written.GetError());
    int status = console.HasErrors() ? WrongInput : Done;
    for (const Target& target : targets)
    {
        if (target.emptyFrames > 0)
            status = WrongInput;
        if (target.emptyFrames > 1) // the first was reported when it came
            PrintError(fmt::format("The operator {} carried nothing after {} frames in all.", Quoted(target.key),
                                   target.emptyFrames));
    }
    return status;
}

int RunRender(const RenderOptions& options, const CommonOptions& common, const Console& console)
{
    const Result<FrameRange> frames = ReadFrameRange(options.frames);
    if (!frames)
        return PrintError(frames.GetError());
    Result<GraphSession> session = OpenGraph(options, common);
    if (!session)
        return PrintError(session.GetError());
    Result<std::vector<Target>> targets = MakeTargets(options, *session, *frames);
    if (!targets)
        return PrintError(targets.GetError());

    WatchForInterrupts();
    const bool timed = common.stats && Graphics::StartTimings();
    const Status written = RunFrames(*session, *targets, *frames);
    if (common.stats)
        PrintNote(FormatStatistics(session->GetGraph(), timed));
    return Conclude(written, *targets, console);
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
                     "The file to write; {key} and {frame} (or {frame:04}) are replaced, - is standard output")
        ->type_name("PATH");
    command->callback(
        [&run, &common, options]
        { run = [&common, options](const Console& console) { return RunRender(*options, common, console); }; });
}

} // namespace Varkle
