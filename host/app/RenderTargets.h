#pragma once

#include "GraphOptions.h"
#include "ScenePicture.h"
#include "Varkle/Run/OutputPath.h"
#include "VideoWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace Varkle
{

struct RenderOptions : GraphOptions
{
    std::string output;
    SceneOptions scene;
};

/// Is what is written for one operator, frame after frame.
struct RenderTarget
{
    std::string key;
    OutputPattern pattern = {};
    bool toStandardOutput = false;
    bool isGlb = false;                            ///< a mesh or a model, as binary glTF
    std::unique_ptr<ScenePicture> scene = nullptr; ///< draws what is no picture by itself; null for a texture
    std::unique_ptr<VideoWriter> video = nullptr;  ///< for all frames at once; null when each is a file
    long long emptyFrames = 0;                     ///< after which the operator carried nothing

    /// Returns the path of a picture or a .glb.
    std::string Path(long long frame) const;
};

/// Returns what the options ask for, sorted by operator. Videos are begun.
Result<std::vector<RenderTarget>> MakeRenderTargets(const RenderOptions& options, const GraphSession& session,
                                                    const FrameRange& frames);

} // namespace Varkle
