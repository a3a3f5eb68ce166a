#include "RenderTargets.h"

#include "FrameWriter.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Ports.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

// What all targets of a run have in common.
struct Request
{
    const std::string& output; // as it was given, may be empty
    bool severalOperators;
    FrameRange frames;
    double frameRate;
};

bool IsGlbPath(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    extension = ToLower(extension);
    return extension == ".glb";
}

// The forms that the data of an output can be written in.
bool CanBeGlb(std::string_view type)
{
    return type == "Mesh" || type == "Model";
}
bool CanBePicture(std::string_view type)
{
    return type == "Texture" || IsSceneType(type);
}

Error CantWrite(std::string_view type, const std::string& path)
{
    std::string name(type);
    name[0] = char(std::tolower(static_cast<unsigned char>(name[0])));
    return Error{fmt::format("--output {}: a {} is written as {}.png, .jpg, .bmp or .tga, or all frames as a video, "
                             ".mp4 or .webm.",
                             Quoted(path), name, CanBeGlb(type) ? ".glb, " : "")};
}

Status MakeVideo(const Request& request, const OutputPattern& pattern, RenderTarget& target)
{
    const std::string path = pattern.Path(target.key, 0);
    if (path != pattern.Path(target.key, 1))
        return Error{fmt::format("--output {}: a video holds all frames, so its path can't have {{frame}}.",
                                 Quoted(request.output))};
    Result<std::unique_ptr<VideoWriter>> video = VideoWriter::Create(path, request.frameRate, request.frames.Count());
    if (!video)
        return video.GetError();
    target.pattern = pattern;
    target.video = std::move(*video);
    return Ok();
}

// A file for each frame.
Status MakeFiles(const Request& request, const std::string& output, RenderTarget& target)
{
    const Result<OutputPattern> pattern =
        OutputPattern::Read(output, request.severalOperators, request.frames.Count() > 1);
    if (!pattern)
        return pattern.GetError();
    target.pattern = *pattern;
    return Ok();
}

// Decides on the file of an operator whose data has that type.
Status ChooseFile(const Request& request, std::string_view type, RenderTarget& target)
{
    if (request.output == "-")
    {
        if (request.severalOperators || request.frames.Count() > 1)
            return Error{"--output -: standard output takes the file of one operator and one frame."};
        target.toStandardOutput = true;
        target.isGlb = CanBeGlb(type);
        return Ok();
    }
    const std::string output = !request.output.empty() ? request.output : CanBeGlb(type) ? "{key}.glb" : "{key}.png";
    const Result<OutputPattern> pattern = OutputPattern::Read(output, request.severalOperators, false);
    if (!pattern)
        return pattern.GetError();
    const std::string path = pattern->Path(target.key, request.frames.first);
    target.isGlb = IsGlbPath(path) && CanBeGlb(type);
    if (CanBePicture(type) && FindVideoFormat(path))
        return MakeVideo(request, *pattern, target);
    if (target.isGlb || (CanBePicture(type) && FindImageFormat(path)))
        return MakeFiles(request, output, target);
    return CantWrite(type, path);
}

Result<RenderTarget> MakeTarget(const Request& request, const SceneView& view, const Operator& op)
{
    RenderTarget target{.key = op.GetKey()};
    if (op.GetOutputs().empty())
        return Error{fmt::format("The operator {} has no output: there is nothing to write.", Quoted(target.key))};
    const std::string_view type = op.GetOutputs()[0]->GetDataTypeName();
    const Status chosen = ChooseFile(request, type, target);
    if (!chosen)
        return chosen.GetError();
    if (IsSceneType(type) && !target.isGlb)
        target.scene = std::make_unique<ScenePicture>(view);
    return target;
}

// The options of pictures that are drawn mean nothing when none is.
Status CheckSceneOptions(const SceneOptions& options, const std::vector<RenderTarget>& targets)
{
    const std::string_view given = options.FindGiven();
    const bool draws = std::ranges::any_of(targets, [](const RenderTarget& target) { return target.scene != nullptr; });
    if (given.empty() || draws)
        return Ok();
    const auto glb = std::ranges::find(targets, true, &RenderTarget::isGlb);
    const std::string hint = glb == targets.end() ? "" : fmt::format(": with --output {}.png it would", glb->key);
    return Error{
        fmt::format("{}: it is for pictures of meshes, models and materials, and this run draws none{}.", given, hint)};
}

} // namespace

std::string RenderTarget::Path(long long frame) const
{
    return toStandardOutput ? FrameWriter::StandardOutput : pattern.Path(key, frame);
}

Result<std::vector<RenderTarget>> MakeRenderTargets(const RenderOptions& options, const GraphSession& session,
                                                    const FrameRange& frames)
{
    std::vector<std::string> keys = options.operators.empty() ? session.GetDefaultOutputs() : options.operators;
    std::ranges::sort(keys);
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    if (keys.empty() && session.GetGraph().GetOperators().empty())
        return Error{
            fmt::format("{}: the graph has no operators: there is nothing to render.", Printable(options.graph))};
    if (keys.empty())
    {
        const std::string fact = Printable(options.graph) + ": every output feeds something";
        if (!options.output.empty())
            return Error{fmt::format("{}, so that --output has nothing to write. Choose what with --operator.", fact)};
        LogInfo(fmt::format("{}, so that no output is written. Choose one with --operator.", fact));
    }
    const Result<SceneView> view = ReadSceneView(options.scene);
    if (!view)
        return view.GetError();
    const Request request{options.output, keys.size() > 1, frames, session.GetFrameRate()};
    std::vector<RenderTarget> targets;
    for (const std::string& key : keys)
    {
        Result<RenderTarget> target = MakeTarget(request, *view, *session.GetGraph().Find(key));
        if (!target)
            return target.GetError();
        targets.push_back(std::move(*target));
    }
    if (const Status sensible = CheckSceneOptions(options.scene, targets); !sensible)
        return sensible.GetError();
    return targets;
}

} // namespace Varkle
