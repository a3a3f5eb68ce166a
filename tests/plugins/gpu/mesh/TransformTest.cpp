#include "mesh/Transform.h"
#include "mesh/Cube.h"
#include "support/MeshChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

glm::mat4 Scaled(const glm::vec3& by)
{
    return glm::scale(glm::mat4(1.0f), by);
}

glm::mat4 Turned(float degrees, const glm::vec3& axis)
{
    return glm::rotate(glm::mat4(1.0f), glm::radians(degrees), axis);
}

// Adds a half of y to x.
glm::mat4 Sheared()
{
    glm::mat4 matrix(1.0f);
    matrix[1][0] = 0.5f;
    return matrix;
}

std::vector<glm::vec3> ExpectPositions(const std::vector<glm::vec3>& positions, const glm::dmat4& matrix)
{
    std::vector<glm::vec3> moved = positions;
    for (glm::vec3& position : moved)
        position = glm::vec3(matrix * glm::dvec4(position, 1.0));
    return moved;
}

// A normal is perpendicular to what lies in the surface, also after the move.
std::vector<glm::vec3> ExpectNormals(const std::vector<glm::vec3>& normals, const glm::dmat4& matrix)
{
    const glm::dmat3 turning = glm::transpose(glm::inverse(glm::dmat3(matrix)));
    std::vector<glm::vec3> turned = normals;
    for (glm::vec3& normal : turned)
        normal = glm::vec3(glm::normalize(turning * glm::dvec3(normal)));
    return turned;
}

std::vector<glm::vec4> ExpectTangents(const std::vector<glm::vec4>& tangents, const glm::dmat4& matrix)
{
    std::vector<glm::vec4> turned = tangents;
    for (glm::vec4& tangent : turned)
        tangent = glm::vec4(glm::vec3(glm::normalize(glm::dmat3(matrix) * glm::dvec3(tangent))), tangent.w);
    return turned;
}

void CheckTransformed(MeshRunner<TransformMesh>& runner, const Mesh& mesh, const glm::mat4& matrix)
{
    runner.SetTransform("Transform", matrix);
    const Mesh result = runner.Run(mesh);
    CheckShared(mesh, result, {"Position", "Normal", "Tangent"});
    CHECK(LargestError(ReadPositions(result), ExpectPositions(ReadPositions(mesh), matrix)) < 2e-5);
    CHECK(LargestError(ReadNormals(result), ExpectNormals(ReadNormals(mesh), matrix)) < 3e-6);
    CHECK(LargestError(ReadTangents(result), ExpectTangents(ReadTangents(mesh), matrix)) < 3e-6);
}

} // namespace

TEST_CASE("Mesh Transform has a mesh input, a mesh output and a transform")
{
    MeshRunner<TransformMesh> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Transform: Transform 3D = identity"});
}

TEST_CASE("Mesh Transform by the identity keeps positions, normals and tangents, but in new buffers")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = MakeRichMesh(70);
    const Mesh result = runner.Run(mesh);
    CHECK(ReadPositions(result) == ReadPositions(mesh));
    CHECK(LargestError(ReadNormals(result), ReadNormals(mesh)) < 1e-6);
    CHECK(LargestError(ReadTangents(result), ReadTangents(mesh)) < 1e-6);
    CheckShared(mesh, result, {"Position", "Normal", "Tangent"});
}

TEST_CASE("Mesh Transform moves positions, not normals and tangents")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = MakeRichMesh(5);
    runner.SetTransform("Transform", glm::translate(glm::mat4(1.0f), glm::vec3(1, -2, 3)));
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    const std::vector<glm::vec3> moved = ReadPositions(result);
    for (std::size_t i = 0; i < 5; ++i)
        CHECK(moved[i] == positions[i] + glm::vec3(1, -2, 3));
    CHECK(LargestError(ReadNormals(result), ReadNormals(mesh)) < 1e-6);
    CHECK(LargestError(ReadTangents(result), ReadTangents(mesh)) < 1e-6);
}

TEST_CASE("Mesh Transform turns a quarter as the right hand does")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = Mesh()
                          .AddAttribute(MakeAttribute(Attributes::Position, std::vector{glm::vec3(1, 2, 3)}))
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1, 0, 0)}))
                          .AddAttribute(MakeAttribute(Attributes::Tangent, std::vector{glm::vec4(0, 1, 0, -1)}));
    runner.SetTransform("Transform", Turned(90.0f, {0, 0, 1}));
    const Mesh result = runner.Run(mesh);
    CHECK(glm::length(ReadPositions(result)[0] - glm::vec3(-2, 1, 3)) < 1e-6f);
    CHECK(glm::length(ReadNormals(result)[0] - glm::vec3(0, 1, 0)) < 1e-6f);
    CHECK(glm::length(ReadTangents(result)[0] - glm::vec4(-1, 0, 0, -1)) < 1e-6f);
}

TEST_CASE("Mesh Transform follows the formulas with any matrix")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = MakeRichMesh(200);
    const glm::mat4 turned = Turned(40.0f, glm::normalize(glm::vec3(1, 2, -1)));
    CheckTransformed(runner, mesh, turned);
    CheckTransformed(runner, mesh, Scaled({2, 1, 1}));
    CheckTransformed(runner, mesh, Scaled({3, 0.25f, 1}) * turned);
    CheckTransformed(runner, mesh, turned * Scaled({0.5f, 2, 1}) * Sheared());
    CheckTransformed(runner, mesh, Scaled({-1, 1, 1}));
    CheckTransformed(runner, mesh, glm::translate(Scaled({-1, 2, -3}), glm::vec3(0.5f, 0, -2)) * turned);
}

TEST_CASE("Mesh Transform by an uneven scale keeps the normals of a box on their axes")
{
    MeshRunner<TransformMesh> runner;
    runner.SetTransform("Transform", Scaled({2, 1, 1}));
    MeshRunner<Cube> cube;
    const Mesh box = cube.Run();
    const Mesh result = runner.Run(box);
    CHECK(ReadNormals(result) == ReadNormals(box));
    CHECK(ReadTangents(result) == ReadTangents(box));
    CHECK(ReadPositions(result).front() == glm::vec3(-1, -0.5f, 0.5f));
}

TEST_CASE("Mesh Transform by a shear leans tangents, and normals so that they stay perpendicular")
{
    MeshRunner<TransformMesh> runner;
    runner.SetTransform("Transform", Sheared());
    const Mesh mesh = Mesh()
                          .AddAttribute(MakeAttribute(Attributes::Position, std::vector{glm::vec3(0, 2, 0)}))
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1, 0, 0)}))
                          .AddAttribute(MakeAttribute(Attributes::Tangent, std::vector{glm::vec4(0, 1, 0, 1)}));
    const Mesh result = runner.Run(mesh);
    const float root = std::sqrt(1.25f);
    CHECK(glm::length(ReadPositions(result)[0] - glm::vec3(1, 2, 0)) < 1e-6f);
    CHECK(glm::length(ReadNormals(result)[0] - glm::vec3(1, -0.5f, 0) / root) < 1e-6f);
    CHECK(glm::length(ReadTangents(result)[0] - glm::vec4(0.5f / root, 1.0f / root, 0, 1)) < 1e-6f);
}

TEST_CASE("Mesh Transform by a mirror mirrors normals and tangents and keeps the handedness as it was")
{
    MeshRunner<TransformMesh> runner;
    runner.SetTransform("Transform", Scaled({-1, 1, 1}));
    const Mesh mesh = MakeRichMesh(6);
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> normals = ReadNormals(mesh);
    const std::vector<glm::vec4> tangents = ReadTangents(mesh);
    for (std::size_t i = 0; i < 6; ++i)
    {
        CHECK(glm::length(ReadNormals(result)[i] - normals[i] * glm::vec3(-1, 1, 1)) < 1e-6f);
        CHECK(glm::length(ReadTangents(result)[i] - tangents[i] * glm::vec4(-1, 1, 1, 1)) < 1e-6f);
        CHECK(ReadTangents(result)[i].w == (i % 2 ? -1.0f : 1.0f));
    }
}

TEST_CASE("Mesh Transform makes normals and tangents unit vectors and keeps any fourth number of a tangent")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = Mesh()
                          .AddAttribute(MakeAttribute(Attributes::Position, std::vector{glm::vec3(0)}))
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(0, 3, 4)}))
                          .AddAttribute(MakeAttribute(Attributes::Tangent, std::vector{glm::vec4(0, 0, 7, 0.25f)}));
    const Mesh result = runner.Run(mesh);
    CHECK(glm::length(ReadNormals(result)[0] - glm::vec3(0, 0.6f, 0.8f)) < 1e-6f);
    CHECK(ReadTangents(result)[0] == glm::vec4(0, 0, 1, 0.25f));
}

TEST_CASE("Mesh Transform does not divide by w")
{
    MeshRunner<TransformMesh> runner;
    glm::mat4 matrix(1.0f);
    matrix[0][3] = 1.0f;
    matrix[3][3] = 5.0f;
    runner.SetTransform("Transform", matrix);
    CHECK(ReadPositions(runner.Run(MakePoints({{1, 2, 3}})))[0] == glm::vec3(1, 2, 3));
}

TEST_CASE("Mesh Transform turns what a mesh has: normals, tangents, both or none")
{
    MeshRunner<TransformMesh> runner;
    const glm::mat4 matrix = Turned(30.0f, {0, 1, 0}) * Scaled({1, 2, 4});
    runner.SetTransform("Transform", matrix);
    const Mesh rich = MakeRichMesh(66);
    const Mesh bare = MakePoints(ReadPositions(rich));
    for (const bool hasNormals : {false, true})
    {
        for (const bool hasTangents : {false, true})
        {
            Mesh mesh = bare;
            if (hasNormals)
                mesh = mesh.AddAttribute(AttributeOf(rich, "Normal"));
            if (hasTangents)
                mesh = mesh.AddAttribute(AttributeOf(rich, "Tangent"));
            const Mesh result = runner.Run(mesh);
            CheckShared(mesh, result, {"Position", "Normal", "Tangent"});
            CHECK(LargestError(ReadPositions(result), ExpectPositions(ReadPositions(mesh), matrix)) < 2e-5);
            if (hasNormals)
                CHECK(LargestError(ReadNormals(result), ExpectNormals(ReadNormals(mesh), matrix)) < 3e-6);
            if (hasTangents)
                CHECK(LargestError(ReadTangents(result), ExpectTangents(ReadTangents(mesh), matrix)) < 3e-6);
        }
    }
}

TEST_CASE("Mesh Transform works on any number of vertices, and none")
{
    MeshRunner<TransformMesh> runner;
    for (const unsigned count : vertexCounts)
    {
        INFO(count);
        const std::uint64_t dispatches = Graphics::GetCounters().dispatches;
        CheckTransformed(runner, MakeRichMesh(count), Scaled({1, 2, 3}));
        CHECK(Graphics::GetCounters().dispatches == dispatches + (count > 0 ? 1 : 0));
    }
}

TEST_CASE("Mesh Transform by a scale of 0 flattens positions and makes normals not finite")
{
    MeshRunner<TransformMesh> runner;
    runner.SetTransform("Transform", Scaled({1, 0, 1}));
    const Mesh mesh = MakeRichMesh(5);
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    for (std::size_t i = 0; i < 5; ++i)
    {
        CHECK(ReadPositions(result)[i] == positions[i] * glm::vec3(1, 0, 1));
        CHECK_FALSE(IsFinite(ReadNormals(result)[i]));
    }
}

TEST_CASE("Mesh Transform hands a mesh without positions on as it is")
{
    MeshRunner<TransformMesh> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, Mesh().AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1)})));
}

TEST_CASE("Mesh Transform without a mesh keeps what it published")
{
    MeshRunner<TransformMesh> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Mesh Transform never writes the mesh that it was given or one that it published")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = MakeRichMesh(9);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    runner.Feed(mesh);
    CheckPublishedStays<glm::vec3>(runner, "Position", [&] { runner.SetTransform("Transform", Scaled({2, 3, 4})); });
    CHECK(ReadPositions(mesh) == positions);
}

TEST_CASE("Mesh Transform in the steady state creates nothing on the GPU")
{
    MeshRunner<TransformMesh> runner;
    runner.Feed(MakeRichMesh(100));
    CheckMeshSteadyState(runner,
                         [&](int step) {
                             runner.SetTransform("Transform", Turned(float(step + 1), {0, 1, 0}));
                         });
}

TEST_CASE("Mesh Transform goes on with matrices that are not finite, and shows the next good one right")
{
    MeshRunner<TransformMesh> runner;
    const Mesh mesh = MakeRichMesh(5);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    CheckTransformed(runner, mesh, Scaled({2, 2, 2}));
}
