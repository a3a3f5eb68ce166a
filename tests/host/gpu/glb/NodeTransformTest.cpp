#include "glb/NodeTransform.h"

#include "support/Catch.h"

#include <algorithm>
#include <glm/gtc/matrix_transform.hpp>
#include <limits>
#include <random>

// A matrix taken apart for a glTF node, or for two.

using namespace Varkle;
using Glb::Decompose;
using Glb::NodeTransform;

namespace
{

glm::dmat4 Compose(const NodeTransform& parts)
{
    const glm::dmat4 outer =
        glm::scale(glm::translate(glm::dmat4(1.0), parts.translation) * glm::mat4_cast(parts.rotation), parts.scale);
    return parts.innerRotation ? outer * glm::mat4_cast(*parts.innerRotation) : outer;
}

/// Takes the matrix apart and returns how far its columns are off when it is put together again: each in proportion to
/// its own length, or with `ofLargest` to the longest column.
double ErrorOf(const glm::mat4& matrix, bool ofLargest = false)
{
    const std::optional<NodeTransform> parts = Decompose(matrix);
    REQUIRE(parts);
    CHECK(std::abs(glm::length(parts->rotation) - 1.0) < 1e-12);
    const glm::dmat4 result = Compose(*parts);
    CHECK(result[3] == glm::dvec4(matrix[3]));
    double longest = 0.0;
    for (int i = 0; i < 3; ++i)
        longest = std::max(longest, glm::length(glm::dvec3(matrix[i])));
    double error = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        const glm::dvec3 expected(matrix[i]);
        const double difference = glm::length(glm::dvec3(result[i]) - expected);
        const double length = ofLargest ? longest : glm::length(expected);
        error = std::max(error, difference == 0.0 ? 0.0 : difference / length);
    }
    return error;
}

bool IsSheared(const glm::mat4& matrix)
{
    return Decompose(matrix)->innerRotation.has_value();
}

class Random
{
public:
    float Number() { return distribution(engine); }
    glm::vec3 Vector() { return {Number(), Number(), Number()}; }
    glm::mat4 Rotation() { return glm::mat4_cast(glm::normalize(glm::quat(Number(), Number(), Number(), Number()))); }
    glm::mat4 Anything()
    {
        glm::mat4 matrix(1.0f);
        for (int i = 0; i < 4; ++i)
            matrix[i] = glm::vec4(Vector(), i == 3 ? 1.0f : 0.0f);
        return matrix;
    }

private:
    std::mt19937 engine{7};
    std::uniform_real_distribution<float> distribution{-1.0f, 1.0f};
};

// Of a rotation in single precision, whose right angles are off by some 1e-7. The limit for shear is 1e-6.
constexpr double rounding = 5e-7;

} // namespace

TEST_CASE("A translation, a rotation and a scale are found as they are")
{
    const glm::dquat turn = glm::angleAxis(glm::radians(90.0), glm::dvec3(0, 0, 1));
    glm::mat4 matrix = glm::translate(glm::mat4(1.0f), {1, 2, 3});
    matrix[0] = {0, 2, 0, 0};
    matrix[1] = {-3, 0, 0, 0};
    matrix[2] = {0, 0, 4, 0};
    const std::optional<NodeTransform> parts = Decompose(matrix);
    REQUIRE(parts);
    CHECK(parts->translation == glm::dvec3(1, 2, 3));
    CHECK(parts->scale == glm::dvec3(2, 3, 4));
    CHECK(std::abs(glm::dot(parts->rotation, turn)) == Approx(1.0).epsilon(1e-15));
    CHECK_FALSE(parts->innerRotation);
}

TEST_CASE("The identity is taken apart into nothing")
{
    const std::optional<NodeTransform> parts = Decompose(glm::mat4(1.0f));
    REQUIRE(parts);
    CHECK(parts->translation == glm::dvec3(0));
    CHECK(parts->rotation == glm::dquat(1, 0, 0, 0));
    CHECK(parts->scale == glm::dvec3(1));
    CHECK_FALSE(parts->innerRotation);
}

TEST_CASE("Rotations with any scale are put together again, mirrored ones too")
{
    Random random;
    for (int i = 0; i < 1000; ++i)
    {
        const glm::vec3 scale = glm::exp(12.0f * random.Vector()) * glm::sign(random.Vector()); // 6e-6 to 160,000
        const glm::mat4 matrix =
            glm::scale(glm::translate(glm::mat4(1.0f), random.Vector()) * random.Rotation(), scale);
        CHECK(ErrorOf(matrix) < rounding);
        CHECK_FALSE(IsSheared(matrix));
        const glm::dvec3 found = Decompose(matrix)->scale;
        CHECK((found.x * found.y * found.z < 0.0) == (scale.x * scale.y * scale.z < 0.0f));
    }
}

TEST_CASE("Products of many rotations do not count as sheared")
{
    Random random;
    for (int i = 0; i < 100; ++i)
    {
        glm::mat4 matrix(1.0f);
        for (int k = 0; k < 8; ++k)
            matrix = matrix * random.Rotation();
        CHECK_FALSE(IsSheared(matrix));
    }
}

TEST_CASE("Any other matrix is the product of two nodes, down to double precision")
{
    Random random;
    for (int i = 0; i < 1000; ++i)
    {
        const glm::mat4 matrix = random.Anything();
        CHECK(IsSheared(matrix));
        CHECK(ErrorOf(matrix) < 1e-13);
        CHECK(std::abs(glm::length(*Decompose(matrix)->innerRotation) - 1.0) < 1e-12);
    }
}

TEST_CASE("Sheared matrices of very uneven or extreme sizes are put together again")
{
    Random random;
    for (int i = 0; i < 1000; ++i)
    {
        glm::mat4 matrix = random.Anything();
        for (int k = 0; k < 3; ++k)
            matrix[k] *= std::exp(20.0f * random.Number()); // 2e-9 to 5e8
        CHECK(ErrorOf(matrix, true) < 1e-14);
    }
    for (const float size : {1e-35f, 1e-20f, 1e20f, 1e37f})
    {
        glm::mat4 matrix = random.Anything();
        for (int k = 0; k < 3; ++k)
            matrix[k] *= size;
        CHECK(IsSheared(matrix));
        CHECK(ErrorOf(matrix) < 1e-13);
        CHECK(ErrorOf(glm::scale(glm::mat4(1.0f), {size, -size, 1})) < 1e-15);
    }
}

TEST_CASE("A little shear is kept")
{
    glm::mat4 matrix(1.0f);
    matrix[1][0] = 1e-5f;
    CHECK(IsSheared(matrix));
    CHECK(ErrorOf(matrix) < 1e-15);
}

TEST_CASE("Flat matrices are put together again")
{
    Random random;
    for (int i = 0; i < 300; ++i)
    {
        const glm::vec4 a(random.Vector(), 0);
        const glm::vec4 b(random.Vector(), 0);
        glm::mat4 matrix(1.0f);
        // Of rank 2, with the column that depends on the others in any place; once it is 0.
        matrix[i % 3] = i % 2 ? a + b : glm::vec4(0);
        matrix[(i + 1) % 3] = a;
        matrix[(i + 2) % 3] = b;
        CHECK(ErrorOf(matrix, true) < 1e-14);
        // Of rank 1.
        matrix[i % 3] = 2.0f * a;
        matrix[(i + 1) % 3] = i % 2 ? -a : glm::vec4(0);
        matrix[(i + 2) % 3] = 4.0f * a;
        CHECK(ErrorOf(matrix, true) < 1e-14);
    }
}

TEST_CASE("Scales of 0 are kept, and the rotation as far as it is seen")
{
    Random random;
    const glm::mat4 turned = random.Rotation();
    for (const glm::vec3 scale :
         {glm::vec3(1, 2, 0), glm::vec3(0, 2, -3), glm::vec3(4, 0, 0), glm::vec3(0, 0, -5), glm::vec3(0, 0, 0)})
    {
        const glm::mat4 matrix = glm::scale(turned, scale);
        CHECK_FALSE(IsSheared(matrix));
        CHECK(ErrorOf(matrix) < rounding);
        for (int i = 0; i < 3; ++i)
            CHECK((Decompose(matrix)->scale[i] == 0.0) == (scale[i] == 0.0f));
    }
}

TEST_CASE("A matrix that is not affine or not finite can't be taken apart")
{
    for (int row = 0; row < 4; ++row)
    {
        glm::mat4 matrix(1.0f);
        matrix[row][3] += 0.5f;
        CHECK_FALSE(Decompose(matrix));
    }
    for (const float odd : {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()})
    {
        for (int i = 0; i < 12; ++i)
        {
            glm::mat4 matrix(1.0f);
            matrix[i / 3][i % 3] = odd;
            CHECK_FALSE(Decompose(matrix));
        }
    }
}
