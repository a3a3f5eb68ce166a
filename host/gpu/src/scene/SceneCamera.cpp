#include "Varkle/Gpu/Scene.h"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>

namespace Varkle
{

namespace
{

constexpr double orbitAngle = 30.0; // of the shorter side, in degrees
constexpr double margin = 1.08;     // how much farther away than where the sphere touches the edges
constexpr double nearShare = 0.001; // the near plane, in shares of the distance

// A camera's axes; it looks against the last one.
struct Axes
{
    glm::dvec3 right;
    glm::dvec3 up;
    glm::dvec3 back;
};

double ToRadians(float degrees)
{
    return std::isfinite(degrees) ? glm::radians(std::fmod(double(degrees), 360.0)) : 0.0;
}

double FittingDistance(const SceneFocus& focus)
{
    // What has no extent is looked at from anywhere.
    const double radius = focus.radius > 0.0f && std::isfinite(focus.radius) ? double(focus.radius) : 1.0;
    return radius * margin / std::sin(glm::radians(orbitAngle / 2));
}

double FindDistance(const SceneFocus& focus, std::optional<float> distance)
{
    const double given = double(distance.value_or(0.0f));
    return given > 0.0 && std::isfinite(given) ? given : FittingDistance(focus);
}

glm::mat4 MakeProjection(const Axes& axes, double angle, double near, glm::ivec2 size)
{
    const double slope = std::tan(glm::radians(angle / 2));
    const double shorter = std::min(size.x, size.y);
    const double scaleX = shorter / (size.x * slope);
    const double scaleY = shorter / (size.y * slope);
    glm::dmat4 matrix(0.0);
    for (int axis = 0; axis < 3; ++axis)
    {
        matrix[axis].x = scaleX * axes.right[axis];
        matrix[axis].y = scaleY * axes.up[axis];
        matrix[axis].w = -axes.back[axis];
    }
    matrix[3].z = near;
    return glm::mat4(matrix);
}

} // namespace

SceneCamera LookAt(const glm::vec3& position, const glm::vec3& target, float angle, float near, glm::ivec2 size)
{
    const glm::dvec3 away = glm::dvec3(position) - glm::dvec3(target);
    const double distance = glm::length(away);
    const glm::dvec3 back = distance > 0.0 ? away / distance : glm::dvec3(0.0, 0.0, 1.0);
    // Straight up or down every yaw is as good as another.
    const double across = std::hypot(back.x, back.z);
    const double yaw = across > 1e-9 ? std::atan2(back.x, back.z) : 0.0;
    const glm::dvec3 right(std::cos(yaw), 0.0, -std::sin(yaw));
    const Axes axes{right, glm::cross(back, right), back};
    return {position, glm::vec3(-back), MakeProjection(axes, double(angle), double(near), size), float(yaw)};
}

float GetFittingDistance(const SceneFocus& focus)
{
    return float(FittingDistance(focus));
}

SceneCamera OrbitAround(const SceneFocus& focus, float yawDegrees, float pitchDegrees, std::optional<float> given,
                        glm::ivec2 size)
{
    const double yaw = ToRadians(yawDegrees);
    const double pitch = ToRadians(pitchDegrees);
    const glm::dvec3 right(std::cos(yaw), 0.0, -std::sin(yaw));
    const glm::dvec3 back(std::cos(pitch) * std::sin(yaw), std::sin(pitch), std::cos(pitch) * std::cos(yaw));
    const Axes axes{right, glm::cross(back, right), back};
    const double distance = FindDistance(focus, given);
    return {glm::vec3(glm::dvec3(focus.center) + back * distance), glm::vec3(-back),
            MakeProjection(axes, orbitAngle, nearShare * distance, size), float(yaw)};
}

} // namespace Varkle
