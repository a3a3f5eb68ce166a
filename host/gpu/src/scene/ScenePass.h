#pragma once

#include "Varkle/Gpu/FrameBuffer.h"
#include "scene/SceneBindings.h"
#include "scene/SceneCamera.h"
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
    Texture target;       ///< RGBA8Unorm for an opaque background, RGBA16Float for what comes out premultiplied
};

/// Draws a picture in one pass. Returns false, with the reason in the log, when the GPU can't.
bool DrawScene(const ScenePicture& picture, SceneBindings& bindings);

} // namespace Varkle
