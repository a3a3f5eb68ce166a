#pragma once

#include <glm/gtc/quaternion.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <optional>

namespace Varkle::Glb
{

/// Is a translation, a rotation and a scale, the latter applied first: what a glTF node can say.
struct NodeTransform
{
    glm::dvec3 translation{0.0};
    glm::dquat rotation{1.0, 0.0, 0.0, 0.0};
    glm::dvec3 scale{1.0};
    /// A rotation that comes before all that, when the matrix is sheared: the transform of a child node.
    std::optional<glm::dquat> innerRotation;
};

/// Takes a matrix apart. Any affine matrix can be said by two nodes: the singular value decomposition is a rotation, a
/// scale and another rotation. Nothing for a matrix that is not affine or not finite.
std::optional<NodeTransform> Decompose(const glm::mat4& matrix);

} // namespace Varkle::Glb
