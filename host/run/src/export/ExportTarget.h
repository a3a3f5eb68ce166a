#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/SceneRenderer.h"
#include "Varkle/Run/Exporter.h"
#include "Varkle/Run/OutputPath.h"
#include "export/FrameWriter.h"
#include "export/VideoWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace Varkle
{

/// Writes what one operator carries, frame after frame.
class ExportTarget
{
public:
    /// Decides on the files of the operator; a video is begun. `severalOperators` says that others are written, too.
    static Result<ExportTarget> Make(const ExportOptions& options, const Operator& op, bool severalOperators,
                                     double frameRate);

    /// Starts writing what the operator carries after a frame. Returns false when that is nothing.
    Result<bool> Write(const Operator& op, long long frame, FrameWriter& writer);

    /// Waits for the video, if it is one.
    Status Finish();

    bool HasFailed() const { return video && video->HasFailed(); }
    const std::string& GetKey() const { return key; }
    ExportedOutput Describe() const;
    /// Says what happens for a frame without anything: "no file is written for it".
    std::string_view DescribeGap() const;
    void CountEmptyFrame() { ++emptyFrames; }

private:
    Status ChooseFile(const ExportOptions& options, std::string_view type, bool severalOperators, double frameRate);
    Status BeginVideo(const ExportOptions& options, const std::string& path, double frameRate);
    Result<bool> WriteShape(const Operator& op, const std::string& path, FrameWriter& writer) const;
    Result<Texture> Draw(const Operator& op);

    std::string key;
    ExportedOutput::Kind kind = ExportedOutput::Kind::Texture;
    OutputPattern pattern;
    bool toSink = false;
    SceneView view;
    std::unique_ptr<SceneRenderer> renderer; // of drawings
    std::unique_ptr<VideoWriter> video;
    long long emptyFrames = 0;
};

/// True when there is something to write: the output is active, and not with a model of which nothing could be loaded.
bool CarriesSomething(const DataOutput& output);

} // namespace Varkle
