#include "export/ExportTarget.h"

#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Glb.h"
#include "Varkle/Gpu/Ports.h"
#include "export/VideoFormat.h"

#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace Varkle
{

namespace
{

using Kind = ExportedOutput::Kind;

// The forms that the data of an output can be written in.
bool CanBeShape(std::string_view type)
{
    return type == "Mesh" || type == "Model";
}
bool CanBeDrawn(std::string_view type)
{
    return CanBeShape(type) || type == "Material";
}
bool CanBePicture(std::string_view type)
{
    return type == "Texture" || CanBeDrawn(type);
}

bool IsGlbPath(const std::string& path)
{
    return ToLower(std::filesystem::path(path).extension().string()) == ".glb";
}

Error CantWrite(std::string_view type, const std::string& path)
{
    return Error{fmt::format("output {}: a {} is written as {}.png, .jpg, .bmp or .tga, or all frames as a video, "
                             ".mp4 or .webm.",
                             Quoted(path), ToLower(type), CanBeShape(type) ? ".glb, " : "")};
}

// Encodes the mesh or model that an output carries; nothing when it carries none.
std::optional<Result<std::vector<std::uint8_t>>> EncodeShape(const DataOutput& output)
{
    if (!CarriesSomething(output))
        return std::nullopt;
    if (const auto* const mesh = dynamic_cast<const MeshOutput*>(&output))
        return EncodeGlb(mesh->GetMeshData().GetMesh());
    if (const auto* const model = dynamic_cast<const ModelOutput*>(&output))
        return EncodeGlb(model->GetModel());
    return std::nullopt;
}

} // namespace

bool CarriesSomething(const DataOutput& output)
{
    const auto* const model = dynamic_cast<const ModelOutput*>(&output);
    return output.IsActive() && (!model || model->GetModel().GetRootNode());
}

Result<ExportTarget> ExportTarget::Make(const ExportOptions& options, const Operator& op, bool severalOperators,
                                        double frameRate)
{
    ExportTarget target;
    target.key = op.GetKey();
    target.view = options.view;
    if (op.GetOutputs().empty())
        return Error{fmt::format("The operator {} has no output: there is nothing to write.", Quoted(target.key))};
    const std::string_view type = op.GetOutputs()[0]->GetDataTypeName();
    if (const Status chosen = target.ChooseFile(options, type, severalOperators, frameRate); !chosen)
        return chosen.GetError();
    if (target.kind == Kind::Drawing)
        target.renderer = std::make_unique<SceneRenderer>();
    return target;
}

// Decides on the file of an operator whose data has that type.
Status ExportTarget::ChooseFile(const ExportOptions& options, std::string_view type, bool severalOperators,
                                double frameRate)
{
    const bool severalFrames = options.frames.Count() > 1;
    kind = CanBeDrawn(type) ? Kind::Drawing : Kind::Texture;
    if (options.output == "-")
    {
        if (severalOperators || severalFrames)
            return Error{"output -: it takes the file of one operator and one frame."};
        toSink = true;
        kind = CanBeShape(type) ? Kind::Shape : kind;
        return Ok();
    }
    const std::string output = !options.output.empty() ? options.output : CanBeShape(type) ? "{key}.glb" : "{key}.png";
    Result<OutputPattern> whole = OutputPattern::Read(output, severalOperators, false);
    if (!whole)
        return whole.GetError();
    const std::string path = whole->Path(key, options.frames.first);
    if (CanBeShape(type) && IsGlbPath(path))
        kind = Kind::Shape;
    if (CanBePicture(type) && FindVideoFormat(path))
    {
        pattern = std::move(*whole);
        return BeginVideo(options, path, frameRate);
    }
    if (kind != Kind::Shape && !(CanBePicture(type) && FindImageFormat(path)))
        return CantWrite(type, path);
    Result<OutputPattern> numbered = OutputPattern::Read(output, severalOperators, severalFrames);
    if (!numbered)
        return numbered.GetError();
    pattern = std::move(*numbered);
    return Ok();
}

Status ExportTarget::BeginVideo(const ExportOptions& options, const std::string& path, double frameRate)
{
    if (path != pattern.Path(key, options.frames.first + 1))
        return Error{fmt::format("output {}: a video holds all frames, so its path can't have {{frame}}.",
                                 Quoted(options.output))};
    Result<std::unique_ptr<VideoWriter>> begun =
        VideoWriter::Create(path, frameRate, options.frames.Count(), options.stop);
    if (!begun)
        return begun.GetError();
    video = std::move(*begun);
    return Ok();
}

Result<bool> ExportTarget::Write(const Operator& op, long long frame, FrameWriter& writer)
{
    const std::string path = toSink ? std::string() : pattern.Path(key, frame);
    if (kind == Kind::Shape)
        return WriteShape(op, path, writer);
    const Result<Texture> picture = Draw(op);
    if (!picture)
        return picture.GetError();
    if (video)
        video->Write(*picture, frame);
    else if (*picture)
        writer.Write(*picture, FindImageFormat(path).value_or(ImageFormat::Png), path);
    return bool(*picture);
}

Result<bool> ExportTarget::WriteShape(const Operator& op, const std::string& path, FrameWriter& writer) const
{
    auto bytes = EncodeShape(*op.GetOutputs()[0]);
    if (!bytes)
        return false;
    if (!*bytes)
        return Error{
            fmt::format("could not write {}: {}", toSink ? "the file" : Printable(path), bytes->GetError().message),
            bytes->GetError().machine};
    writer.Write(std::move(**bytes), path);
    return true;
}

// Returns the picture of what the operator carries, an empty texture when that is nothing.
Result<Texture> ExportTarget::Draw(const Operator& op)
{
    const DataOutput& output = *op.GetOutputs()[0];
    if (const auto* const texture = dynamic_cast<const TextureOutput*>(&output))
        return texture->GetTexture();
    if (!renderer || !CarriesSomething(output))
        return Texture();
    Texture picture;
    if (const auto* const mesh = dynamic_cast<const MeshOutput*>(&output))
        picture = renderer->Render(mesh->GetMeshData().GetMesh(), view);
    else if (const auto* const model = dynamic_cast<const ModelOutput*>(&output))
        picture = renderer->Render(model->GetModel(), view);
    else if (const auto* const material = dynamic_cast<const MaterialOutput*>(&output))
        picture = renderer->Render(material->GetMaterialData().GetMaterial(), view);
    if (picture)
        return picture;
    return Error{fmt::format("the picture of the operator {} could not be drawn.", Quoted(key)), true};
}

Status ExportTarget::Finish()
{
    return video ? video->Finish() : Ok();
}

ExportedOutput ExportTarget::Describe() const
{
    return {key, kind, video != nullptr, video && video->HasPictures(), emptyFrames};
}

std::string_view ExportTarget::DescribeGap() const
{
    if (!video)
        return "no file is written for it";
    return video->HasPictures() ? "its video holds the frame before" : "its video begins black";
}

} // namespace Varkle
