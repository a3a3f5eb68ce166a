#include "Command.h"
#include "Console.h"
#include "FrameWriter.h"
#include "Interrupts.h"
#include "Progress.h"
#include "RenderTargets.h"
#include "Statistics.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Glb.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Ports.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <unistd.h>
#include <vector>

namespace Varkle
{

namespace
{

// Returns an operator that feeds this one and carries nothing, or null.
const Operator* FindSilentSource(const Operator& op)
{
    for (const Object* const port : op.GetInputs())
    {
        const auto* const input = dynamic_cast<const DataInput*>(port);
        const DataOutput* const source = input ? input->GetConnection() : nullptr;
        if (source && !CarriesSomething(*source))
            return source->GetOperator();
    }
    return nullptr;
}

std::string_view DescribeGap(const RenderTarget& target)
{
    if (!target.video)
        return "no file is written for it";
    return target.video->HasPictures() ? "its video holds the frame before" : "its video begins black";
}

// Tells why a file that an operator reads is of no use; nothing when it can be read.
std::string DescribeFile(const std::filesystem::path& path)
{
    std::error_code code;
    if (std::filesystem::is_directory(path, code))
        return fmt::format("{} is a folder", Quoted(path.string()));
    if (access(path.c_str(), R_OK) == 0)
        return {};
    if (errno == ENOENT)
        return fmt::format("there is no file {}", Quoted(path.string()));
    return fmt::format("the file {} can't be opened: {}", Quoted(path.string()), std::strerror(errno));
}

// Returns why an operator carries nothing as far as the files that it reads tell.
std::string FindCause(const Operator& op)
{
    for (const std::filesystem::path& path : op.GetFilesRead())
    {
        if (const std::string problem = DescribeFile(path); !problem.empty())
            return ", since " + problem;
    }
    return {};
}

void PrintCarriesNothing(const RenderTarget& target, const Operator& op, long long frame)
{
    const Operator* root = nullptr; // from where on nothing comes down to the operator
    for (const Operator* source = FindSilentSource(op); source; source = FindSilentSource(*source))
        root = source;
    const std::string hint =
        root ? fmt::format(", and neither does {}, which it depends on", Quoted(root->GetKey())) : std::string();
    PrintError(fmt::format("The operator {} carries nothing after frame {}{}{}: {}.", Quoted(target.key), frame, hint,
                           FindCause(root ? *root : op), DescribeGap(target)));
}

// Encodes the mesh or model that an operator carries; nothing when it carries none.
std::optional<Result<std::vector<std::uint8_t>>> EncodeShape(const Operator& op)
{
    const DataOutput* const output = op.GetOutputs()[0];
    if (!CarriesSomething(*output))
        return std::nullopt;
    if (const auto* const mesh = dynamic_cast<const MeshOutput*>(output))
        return EncodeGlb(mesh->GetMeshData().GetMesh());
    if (const auto* const model = dynamic_cast<const ModelOutput*>(output))
        return EncodeGlb(model->GetModel());
    return std::nullopt;
}

// Starts writing what a target carries now. False when it carries nothing.
Result<bool> WriteTarget(const GraphSession& session, RenderTarget& target, long long frame, FrameWriter& writer)
{
    const std::string path = target.Path(frame);
    if (target.isGlb)
    {
        auto bytes = EncodeShape(*session.GetGraph().Find(target.key));
        if (bytes && !*bytes)
            return Error{fmt::format("could not write {}: {}", path, bytes->GetError().message),
                         bytes->GetError().machine};
        if (bytes)
            writer.Write(std::move(**bytes), path);
        return bytes.has_value();
    }
    const Result<Texture> texture = target.scene ? target.scene->Draw(*session.GetGraph().Find(target.key))
                                                 : Result<Texture>(session.GetTexture(target.key));
    if (!texture)
        return texture.GetError();
    if (target.video)
        target.video->Write(*texture, frame);
    else if (*texture)
        writer.Write(*texture, FindImageFormat(path).value_or(ImageFormat::Png), path);
    return bool(*texture);
}

Status WriteFrame(const GraphSession& session, std::vector<RenderTarget>& targets, long long frame, FrameWriter& writer)
{
    for (RenderTarget& target : targets)
    {
        const Result<bool> written = WriteTarget(session, target, frame, writer);
        if (!written)
            return written.GetError();
        if (!*written && ++target.emptyFrames == 1)
            PrintCarriesNothing(target, *session.GetGraph().Find(target.key), frame);
    }
    return Ok();
}

bool HasFailed(const std::vector<RenderTarget>& targets, const FrameWriter& writer)
{
    return writer.HasFailed() || std::ranges::any_of(targets, [](const RenderTarget& target)
                                                     { return target.video && target.video->HasFailed(); });
}

// Waits until all files are complete. Returns the first failure.
Status FinishFiles(const std::vector<RenderTarget>& targets, FrameWriter& writer)
{
    Status written = writer.Finish();
    for (const RenderTarget& target : targets)
    {
        Status finished = target.video ? target.video->Finish() : Ok();
        if (written)
            written = std::move(finished);
    }
    return written;
}

// Runs the frames and writes their files, until something stands in the way.
Status RunFrames(GraphSession& session, std::vector<RenderTarget>& targets, const FrameRange& frames)
{
    std::vector<std::string> keys;
    std::ranges::transform(targets, std::back_inserter(keys), &RenderTarget::key);
    FrameWriter writer;
    Progress progress(frames.Count());
    Status encoded = Ok();
    for (long long frame = frames.first; frame <= frames.last && encoded; ++frame)
    {
        if (WasInterrupted() || HasFailed(targets, writer) || Graphics::IsLost())
            break;
        const TraceSpan span("frame", fmt::format("frame {}", frame));
        session.GoToFrame(frame, keys);
        encoded = WriteFrame(session, targets, frame, writer);
        progress.Show(frame - frames.first + 1);
    }
    Status written = FinishFiles(targets, writer);
    GraphSession::Finish();
    return encoded ? written : encoded;
}

int PrintInterruption(const std::vector<RenderTarget>& targets)
{
    const bool hasVideo =
        std::ranges::any_of(targets, [](const RenderTarget& target) { return target.video != nullptr; });
    return PrintInterrupted(fmt::format("The run was interrupted; the files written so far are complete{}.",
                                        hasVideo ? ", and a video that was not is gone" : ""));
}

// Says how often the operator carried nothing, unless that was said when it happened.
void PrintGaps(const RenderTarget& target)
{
    const std::string_view loss = target.video && !target.video->HasPictures() ? ": no video is written for it" : "";
    if (target.emptyFrames > 1 || !loss.empty())
        PrintError(fmt::format("The operator {} carried nothing after {} frame{} in all{}.", Quoted(target.key),
                               target.emptyFrames, target.emptyFrames == 1 ? "" : "s", loss));
}

// Says how the run ended and returns the exit status.
int Conclude(const Status& written, const std::vector<RenderTarget>& targets, const Console& console)
{
    if (WasInterrupted())
        return PrintInterruption(targets); // the process ends by the signal
    if (Graphics::IsLost())
        return MachineFailed; // the log says so already
    if (!written)
        return PrintError(written.GetError());
    int status = console.HasErrors() ? WrongInput : Done;
    for (const RenderTarget& target : targets)
    {
        if (target.emptyFrames == 0)
            continue;
        status = WrongInput;
        PrintGaps(target);
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
    WatchForInterrupts();
    Result<std::vector<RenderTarget>> targets = MakeRenderTargets(options, *session, *frames);
    if (!targets)
        return PrintError(targets.GetError());

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
                     "The file to write: .png, .jpg, .bmp, .tga, or all frames as .mp4 (H.264, over black) or .webm "
                     "(VP9 with alpha); {key} and {frame} (or {frame:04}) are replaced, - is standard output")
        ->type_name("PATH");
    AddSceneOptions(*command, options->scene);
    command->callback(
        [&run, &common, options]
        { run = [&common, options](const Console& console) { return RunRender(*options, common, console); }; });
}

} // namespace Varkle
