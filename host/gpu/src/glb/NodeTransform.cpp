#include "glb/NodeTransform.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <glm/geometric.hpp>
#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>
#include <utility>

namespace Varkle::Glb
{

namespace
{

bool IsFiniteAffine(const glm::mat4& matrix)
{
    for (int column = 0; column < 4; ++column)
    {
        for (int row = 0; row < 4; ++row)
        {
            if (!std::isfinite(matrix[column][row]))
                return false;
        }
    }
    return matrix[0][3] == 0.0f && matrix[1][3] == 0.0f && matrix[2][3] == 0.0f && matrix[3][3] == 1.0f;
}

bool ArePerpendicular(const glm::dvec3& a, const glm::dvec3& b, double tolerance)
{
    return std::abs(glm::dot(a, b)) <= tolerance * glm::length(a) * glm::length(b);
}

glm::dvec3 AnyPerpendicular(const glm::dvec3& v)
{
    return glm::cross(v, std::abs(v.x) < 0.5 ? glm::dvec3(1, 0, 0) : glm::dvec3(0, 1, 0));
}

// Returns a rotation whose axes lie along columns that are perpendicular, and in `scale` how long these are along the
// axes. In a mirrored matrix one of them is negative.
glm::dmat3 MakeRotation(const glm::dmat3& columns, glm::dvec3& scale)
{
    // The longest say where the axes lie. What has no length lies where the others leave room.
    int order[] = {0, 1, 2};
    std::ranges::stable_sort(order, std::greater(), [&](int i) { return glm::length(columns[i]); });
    const auto [first, second, third] = order;
    glm::dmat3 axes(1.0);
    if (glm::length(columns[first]) > 0.0)
        axes[first] = glm::normalize(columns[first]);
    const glm::dvec3 rest = columns[second] - axes[first] * glm::dot(axes[first], columns[second]);
    axes[second] = glm::normalize(glm::length(rest) > 0.0 ? rest : AnyPerpendicular(axes[first]));
    axes[third] = glm::cross(axes[(third + 1) % 3], axes[(third + 2) % 3]);
    for (int i = 0; i < 3; ++i)
        scale[i] = glm::dot(axes[i], columns[i]);
    return axes;
}

// Turns pairs of columns until all are perpendicular, and returns the product of the turns: m becomes m times that.
// Source: Hestenes, "Inversion of Matrices by Biorthogonalization", 1958 (one-sided Jacobi).
glm::dmat3 MakePerpendicular(glm::dmat3& m)
{
    constexpr double tolerance = 1e-15;
    constexpr int sweeps = 30; // a handful is enough: each squares what is left
    constexpr std::pair<int, int> pairs[] = {{0, 1}, {1, 2}, {2, 0}};
    glm::dmat3 turns(1.0);
    for (int sweep = 0; sweep < sweeps; ++sweep)
    {
        for (const auto& [p, q] : pairs)
        {
            if (ArePerpendicular(m[p], m[q], tolerance))
                continue;
            const double difference = glm::dot(m[p], m[p]) - glm::dot(m[q], m[q]);
            // Of the angles that do it the one of at most 45 degrees: with others this may go round in circles.
            const double angle = 0.5 * std::atan(2.0 * glm::dot(m[p], m[q]) / difference);
            for (glm::dmat3* const turned : {&m, &turns})
            {
                const glm::dvec3 before = (*turned)[p];
                (*turned)[p] = std::cos(angle) * before + std::sin(angle) * (*turned)[q];
                (*turned)[q] = std::cos(angle) * (*turned)[q] - std::sin(angle) * before;
            }
        }
    }
    return turns;
}

} // namespace

std::optional<NodeTransform> Decompose(const glm::mat4& matrix)
{
    if (!IsFiniteAffine(matrix))
        return std::nullopt;
    glm::dmat3 columns(matrix);
    NodeTransform result;
    result.translation = glm::dvec3(matrix[3]);
    // Right angles that come in single precision, and from products of several matrices, are not quite right.
    constexpr double tolerance = 1e-6;
    const bool isSheared = !ArePerpendicular(columns[0], columns[1], tolerance) ||
                           !ArePerpendicular(columns[1], columns[2], tolerance) ||
                           !ArePerpendicular(columns[2], columns[0], tolerance);
    if (isSheared)
        result.innerRotation = glm::normalize(glm::quat_cast(glm::transpose(MakePerpendicular(columns))));
    result.rotation = glm::normalize(glm::quat_cast(MakeRotation(columns, result.scale)));
    return result;
}

} // namespace Varkle::Glb
