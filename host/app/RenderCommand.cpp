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
#include <filesystem>
#include <fmt/format.h>

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

    std::string Path(long long frame) const
    {
        return toStandardOutput ? FrameWriter::StandardOutput : pattern.Path(key, frame);
    }
};

Error CantWriteTexture(const std::string& path)
{
    const std::string extension = std::filesystem::path(path).extension().string();
    const bool isVideo = extension == ".mp4" || extension == ".webm";
    return Error{fmt::format("--output {}: {}a texture is written as .png, .jpg, .bmp or .tga", Quoted(path),
                             isVideo ? "videos can't be written yet; " : "")};
}

Result<Target> MakeTarget(const RenderOptions& options, const Operator& op, std::size_t operatorCount,
                          const FrameRange& frames)
{
    const std::string key = op.GetKey();
    if (op.GetOutputs().empty())
        return Error{fmt::format("the operator {} has no output: there is nothing to write", Quoted(key))};
    const bool isTexture = op.GetOutputs()[0]->GetDataTypeName() == "Texture";
    if (options.output == "-")
    {
        if (operatorCount > 1 || frames.Count() > 1)
            return Error{"--output -: standard output takes the file of one operator and one frame"};
        if (!isTexture)
            return Error{
                fmt::format("the operator {} gives no texture: it can't be written as a picture", Quoted(key))};
        return Target{key, {}, true};
    }
    const std::string defaultOutput = isTexture ? "{key}.png" : "{key}.glb";
    Result<OutputPattern> pattern = OutputPattern::Read(options.output.empty() ? defaultOutput : options.output,
                                                        operatorCount > 1, frames.Count() > 1);
    if (!pattern)
        return pattern.GetError();
    const std::string path = pattern->Path(key, frames.first);
    if (!isTexture)
        return Error{fmt::format("the operator {} gives a {}, which can't be written to {}", Quoted(key),
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
        return Error{fmt::format("{}: the graph has no operators: there is nothing to render", options.graph)};
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

// Follows what feeds an operator up to one that carries nothing although all that feeds it, if anything, does.
const Operator& FindSilentSource(const Operator& op)
{
    for (const Object* const port : op.GetInputs())
    {
        const auto* const input = dynamic_cast<const DataInput*>(port);
        const DataOutput* const source = input ? input->GetConnection() : nullptr;
        if (source && !source->IsActive())
            return FindSilentSource(*source->GetOperator());
    }
    return op;
}

void PrintCarriesNothing(const Operator& op, long long frame)
{
    const Operator& source = FindSilentSource(op);
    const std::string hint = &source == &op
                                 ? std::string()
                                 : fmt::format(", and neither does {}, which it depends on", Quoted(source.GetKey()));
    PrintError(fmt::format("The operator {} carries nothing after frame {}{}: no file is written for it.",
                           Quoted(op.GetKey()), frame, hint));
}

// Starts writing what the targets carry now. Returns false when one of them carries nothing.
bool WriteFrame(const GraphSession& session, const std::vector<Target>& targets, long long frame, FrameWriter& writer)
{
    bool complete = true;
    for (const Target& target : targets)
    {
        const Texture texture = session.GetTexture(target.key);
        if (!texture)
        {
            PrintCarriesNothing(*session.GetGraph().Find(target.key), frame);
            complete = false;
            continue;
        }
        const std::string path = target.Path(frame);
        writer.Write(texture, FindImageFormat(path).value_or(ImageFormat::Png), path);
    }
    return complete;
}

int RunRender(const RenderOptions& options, const CommonOptions& common, const Console& console)
{
    const Result<FrameRange> frames = ReadFrameRange(options.frames);
    if (!frames)
        return PrintError(frames.GetError());
    Result<GraphSession> session = OpenGraph(options, common);
    if (!session)
        return PrintError(session.GetError());
    const Result<std::vector<Target>> targets = MakeTargets(options, *session, *frames);
    if (!targets)
        return PrintError(targets.GetError());
    std::vector<std::string> keys;
    for (const Target& target : *targets)
        keys.push_back(target.key);

    WatchForInterrupts();
    const bool timed = common.stats && Graphics::StartTimings();
    FrameWriter writer;
    bool complete = true;
    {
        Progress progress(frames->Count());
        for (long long frame = frames->first; frame <= frames->last; ++frame)
        {
            if (WasInterrupted() || writer.HasFailed() || Graphics::IsLost())
                break;
            const TraceSpan span("frame", fmt::format("frame {}", frame));
            session->GoToFrame(frame, keys);
            complete = WriteFrame(*session, *targets, frame, writer) && complete;
            progress.Show(frame - frames->first + 1);
        }
    }
    const Status written = writer.Finish();
    GraphSession::Finish();
    if (common.stats)
        PrintNote(FormatStatistics(session->GetGraph(), timed));
    if (WasInterrupted())
        return PrintError("The run was interrupted; the files written so far are complete."); // ends by the signal
    if (Graphics::IsLost())
        return MachineFailed; // the log says so already
    if (!written)
        return PrintError(written.GetError());
    return complete && !console.HasErrors() ? Done : WrongInput;
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
