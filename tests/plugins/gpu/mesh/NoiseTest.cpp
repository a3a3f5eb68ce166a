#include "mesh/Noise.h"
#include "support/MeshChecks.h"
#include "support/ReferenceNoise.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Settings
{
    glm::mat4 transform{1.0f};
    double strength = 1.0;
    double rotation = 0.0;
    glm::dvec3 repetition{0.0};
};

void Apply(const Settings& settings, MeshRunner<MeshNoise>& runner)
{
    runner.SetTransform("Noise Transform", settings.transform);
    runner.SetFloat("Strength", settings.strength);
    runner.SetFloat("Rotation", settings.rotation);
    runner.SetVector3("Repetition", settings.repetition);
}

void CheckNormals(MeshRunner<MeshNoise>& runner, const Mesh& mesh, const Settings& settings)
{
    INFO("strength " << settings.strength << ", rotation " << settings.rotation << ", repetition "
                     << settings.repetition.x << ' ' << settings.repetition.y << ' ' << settings.repetition.z);
    Apply(settings, runner);
    const Mesh result = runner.Run(mesh);
    CheckShared(mesh, result, {"Normal"});

    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    const std::vector<glm::vec3> normals = ReadNormals(mesh);
    const std::vector<glm::vec3> bent = ReadNormals(result);
    REQUIRE(bent.size() == positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i)
    {
        const glm::dvec3 place(glm::dmat4(settings.transform) * glm::dvec4(positions[i], 1.0));
        const glm::dvec3 gradient = ReferenceNoise(place, settings.repetition, settings.rotation).gradient;
        const glm::dvec3 mixed =
            glm::mix(glm::normalize(glm::dvec3(normals[i])), glm::normalize(gradient), settings.strength);
        // A gradient in floats may be 2.5e-3 off. What is shorter than a unit vector makes that more.
        const double tolerance =
            1e-5 + 2.5e-3 * std::abs(settings.strength) / glm::length(gradient) / glm::length(mixed);
        INFO("vertex " << i);
        CHECK(glm::length(glm::dvec3(bent[i]) - glm::normalize(mixed)) < tolerance);
    }
}

} // namespace

TEST_CASE("Mesh Noise has a transform, a strength, a rotation and a repetition")
{
    MeshRunner<MeshNoise> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Noise Transform: Transform 3D = identity",
                                                          "Strength: Float = 1", "Rotation: Float = 0",
                                                          "Repetition: Vector 3 = 0 0 0"});
}

TEST_CASE("Mesh Noise at full strength replaces normals by the direction in which the noise grows")
{
    MeshRunner<MeshNoise> runner;
    CheckNormals(runner, MakeRichMesh(500), {});
}

TEST_CASE("Mesh Noise of strength 0 keeps normals and makes them unit vectors")
{
    MeshRunner<MeshNoise> runner;
    runner.SetFloat("Strength", 0.0);
    const Mesh mesh = MakePoints({{0.1f, 0.2f, 0.3f}, {1, 2, 3}})
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(0, 3, 4), {-2, 0, 0}}));
    const std::vector<glm::vec3> normals = ReadNormals(runner.Run(mesh));
    CHECK(glm::length(normals[0] - glm::vec3(0, 0.6f, 0.8f)) < 1e-6f);
    CHECK(glm::length(normals[1] - glm::vec3(-1, 0, 0)) < 1e-6f);

    const Mesh rich = MakeRichMesh(100);
    CHECK(LargestError(ReadNormals(runner.Run(rich)), ReadNormals(rich)) < 1e-6);
}

TEST_CASE("Mesh Noise blends from the normal to the noise by its strength, and beyond both")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(150);
    for (const double strength : {0.1, 0.5, 0.9, 1.7, -0.6})
        CheckNormals(runner, mesh, {.strength = strength});
}

TEST_CASE("Mesh Noise blends with the unit vector of a normal, whatever its length")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakePoints({{0.3f, -0.2f, 0.7f}})
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(0, 0, 50)}));
    CheckNormals(runner, mesh, {.strength = 0.5});
}

TEST_CASE("Mesh Noise takes positions into the noise by its transform")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(150);
    const glm::mat4 moved = glm::translate(glm::mat4(1.0f), glm::vec3(0.25f, 10, -3));
    const glm::mat4 turned = glm::rotate(moved, 0.5f, glm::normalize(glm::vec3(3, 1, 2)));
    CheckNormals(runner, mesh, {.transform = moved});
    CheckNormals(runner, mesh, {.transform = glm::scale(turned, glm::vec3(2, 0.5f, 1))});
}

TEST_CASE("Mesh Noise takes its rotation as it is, in radians")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(150);
    CheckNormals(runner, mesh, {.rotation = 1.0});
    CheckNormals(runner, mesh, {.rotation = 90.0});
    CheckNormals(runner, mesh, {.strength = 0.5, .rotation = -2.5, .repetition = {3, 4, 5}});
}

TEST_CASE("Mesh Noise with a repetition has the same normals one period on")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(150);
    CheckNormals(runner, mesh, {.repetition = {3, 4, 5}});
    CheckNormals(runner, mesh, {.repetition = {0, 2, 0}});
    CheckNormals(runner, mesh, {.repetition = {-1, 0, 3}});

    // The points are multiples of 1/64: sums with whole numbers are exact.
    const auto shoot = [&](const glm::vec3& step, const glm::dvec3& repetition)
    {
        std::vector<glm::vec3> points = ScatterPoints(100);
        for (glm::vec3& point : points)
            point += step;
        Apply({.repetition = repetition}, runner);
        return ReadNormals(runner.Run(MakePoints(points).AddAttribute(AttributeOf(MakeRichMesh(100), "Normal"))));
    };
    const std::vector<glm::vec3> tiled = shoot({0, 0, 0}, {3, 4, 5});
    for (const glm::vec3 step : {glm::vec3(3, 0, 0), {0, 4, 0}, {0, 0, -5}, {6, -4, 5}})
        CHECK(LargestError(shoot(step, {3, 4, 5}), tiled) < 1e-4);
    CHECK(LargestError(shoot({2, 0, 0}, {3, 4, 5}), tiled) > 0.5);
    CHECK(LargestError(shoot({3, 0, 0}, {0, 4, 5}), shoot({0, 0, 0}, {0, 4, 5})) > 0.5);
}

TEST_CASE("Mesh Noise works on any number of vertices, and none")
{
    MeshRunner<MeshNoise> runner;
    for (const unsigned count : vertexCounts)
    {
        INFO(count);
        CheckNormals(runner, MakeRichMesh(count), {.strength = 0.7});
    }
}

TEST_CASE("Mesh Noise hands a mesh without positions or without normals on as it is")
{
    MeshRunner<MeshNoise> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, MakePoints({{1, 2, 3}}));
    CheckPassesThrough(runner, Mesh().AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1)})));
}

TEST_CASE("Mesh Noise without a mesh keeps what it published")
{
    MeshRunner<MeshNoise> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Mesh Noise gives the same normals on every execution, and never writes a mesh that it published")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(50);
    const std::vector<glm::vec3> normals = ReadNormals(mesh);
    const std::vector<glm::vec3> first = ReadNormals(runner.Run(mesh));
    runner.Get().MarkDirty();
    CHECK(ReadNormals(runner.Run()) == first);
    CheckPublishedStays<glm::vec3>(runner, "Normal", [&] { runner.SetFloat("Rotation", 2.0); });
    CHECK(ReadNormals(mesh) == normals);
}

TEST_CASE("Mesh Noise in the steady state creates nothing on the GPU")
{
    MeshRunner<MeshNoise> runner;
    runner.Feed(MakeRichMesh(100));
    CheckMeshSteadyState(runner, [&](int step)
                         { Apply({.rotation = 0.1 * (step + 1), .repetition = glm::dvec3(step % 3)}, runner); });
}

TEST_CASE("Mesh Noise goes on with numbers that are not finite, and shows the next good ones right")
{
    MeshRunner<MeshNoise> runner;
    const Mesh mesh = MakeRichMesh(20);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    CheckNormals(runner, mesh, {.strength = 0.5});
}
