#pragma once

#include "Varkle/Gpu/Scene.h"

#include <array>
#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>

namespace Varkle
{

/// Is a soft box: a rectangle in the plane z = 1 of its own axes, seen from the middle of the studio. Axes are x to the
/// right of the camera, y up, z towards the camera.
struct StudioLamp
{
    glm::dvec3 x{1.0, 0.0, 0.0};
    glm::dvec3 y{0.0, 1.0, 0.0};
    glm::dvec3 z{0.0, 0.0, 1.0};
    glm::dvec2 halfSize{0.5};
    double radiance = 0.0;
};

/// Is light from all around, with what shading needs to know of it.
struct StudioLight
{
    glm::dvec3 walls{1.0}; ///< radiance from below, from the horizon, and from above
    std::array<StudioLamp, 5> lamps;
    /// With a surface's normal n and v = (n, 1): dot(v, diffuse * v) is the irradiance / pi that it receives.
    glm::dmat4 diffuse{0.0};
};

/// Returns the light of a kind, computed at the first use.
const StudioLight& GetStudioLight(SceneLight light);

/// Returns the radiance from a direction of the studio, a unit vector.
double GetRadiance(const StudioLight& light, const glm::dvec3& direction);

} // namespace Varkle
