#pragma once

#include "Varkle/Gpu/SceneRenderer.h"

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace Varkle
{

/// Is where a view is seen from.
struct SceneCamera
{
    glm::vec3 eye{0.0f};
    glm::vec3 forward{0.0f, 0.0f, -1.0f};
    /// Takes positions relative to the eye to clip space. Depth is 1 at the near plane and 0 in the infinite: floats
    /// are dense around 0, which makes up for the perspective, so that no far plane is needed.
    glm::mat4 viewProjection{1.0f};
    float yaw = 0.0f; ///< radians
};

/// Returns the camera of a view that looks at something.
SceneCamera MakeSceneCamera(const SceneView& view, const SceneFocus& focus, glm::ivec2 size);

} // namespace Varkle
