#include "scene/SceneCamera.h"

#include <cmath>
#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>

namespace Varkle
{

namespace
{

constexpr double halfAngle = glm::radians(15.0); // of the shorter side
constexpr double margin = 1.08;                  // how much farther away than where the sphere touches the edges
constexpr double nearShare = 0.001;              // the near plane, in shares of the distance

double ToRadians(float degrees)
{
    return std::isfinite(degrees) ? glm::radians(std::fmod(double(degrees), 360.0)) : 0.0;
}

double FindDistance(const SceneView& view, const SceneFocus& focus)
{
    const double given = double(view.distance.value_or(0.0f));
    if (given > 0.0 && std::isfinite(given))
        return given;
    // What has no extent is looked at from anywhere.
    const double radius = focus.radius > 0.0f && std::isfinite(focus.radius) ? double(focus.radius) : 1.0;
    return radius * margin / std::sin(halfAngle);
}

} // namespace

SceneCamera MakeSceneCamera(const SceneView& view, const SceneFocus& focus, glm::ivec2 size)
{
    const double yaw = ToRadians(view.yaw);
    const double pitch = ToRadians(view.pitch);
    // The axes of the camera; it looks against the last one.
    const glm::dvec3 right(std::cos(yaw), 0.0, -std::sin(yaw));
    const glm::dvec3 back(std::cos(pitch) * std::sin(yaw), std::sin(pitch), std::cos(pitch) * std::cos(yaw));
    const glm::dvec3 up = glm::cross(back, right);
    const double distance = FindDistance(view, focus);

    const double shorter = std::min(size.x, size.y);
    const double scaleX = shorter / (size.x * std::tan(halfAngle));
    const double scaleY = shorter / (size.y * std::tan(halfAngle));
    glm::dmat4 matrix(0.0);
    for (int axis = 0; axis < 3; ++axis)
    {
        matrix[axis].x = scaleX * right[axis];
        matrix[axis].y = scaleY * up[axis];
        matrix[axis].w = -back[axis];
    }
    matrix[3].z = nearShare * distance;
    return {glm::vec3(glm::dvec3(focus.center) + back * distance), glm::vec3(-back), glm::mat4(matrix), float(yaw)};
}

} // namespace Varkle
