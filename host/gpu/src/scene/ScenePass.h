#pragma once

#include "Varkle/Gpu/FrameBuffer.h"
#include "scene/SceneBindings.h"
#include "scene/SceneContent.h"
#include "scene/StudioLight.h"

#include <glm/vec4.hpp>

namespace Varkle
{

/// Is a picture to be drawn.
struct ScenePicture
{
    const SceneContent& content;
    const SceneCamera& camera;
    const StudioLight& light;
    glm::vec4 background; ///< from 0 to 1, not premultiplied
    const FrameBuffer&
        target; ///< of one color target, which gets premultiplied colors, with the scene's depth and samples
};

/// Draws a picture in one pass. Returns false, with the reason in the log, when the GPU can't.
bool DrawScene(const ScenePicture& picture, SceneBindings& bindings);

} // namespace Varkle
