#include "mesh/Distance.h"
#include "mesh/Cube.h"
#include "support/MeshChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Settings
{
    std::string shape = "Point";
    glm::dvec3 center{0, 0, 0};
    glm::dvec3 direction{0, 1, 0};
    double radius = 1.0;
    glm::mat4 transform{1.0f};
};

void Apply(const Settings& settings, MeshRunner<MeshDistance>& runner)
{
    runner.SetEnum("Shape", settings.shape);
    runner.SetVector3("Center", settings.center);
    runner.SetVector3("Direction", settings.direction);
    runner.SetFloat("Radius", settings.radius);
    runner.SetTransform("Shape Transform", settings.transform);
}

double DistanceOf(const glm::vec3& position, const Settings& settings)
{
    const glm::dmat4 inverse = glm::inverse(glm::dmat4(settings.transform));
    const glm::dvec3 delta = glm::dvec3(inverse * glm::dvec4(position, 1.0)) - settings.center;
    if (settings.shape == "Point")
        return glm::length(delta);
    if (settings.shape == "Line")
        return glm::length(glm::cross(delta, glm::normalize(settings.direction)));
    return glm::length(delta) - settings.radius;
}

void CheckDistances(MeshRunner<MeshDistance>& runner, const Mesh& mesh, const Settings& settings)
{
    INFO(settings.shape);
    Apply(settings, runner);
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    CheckShared(mesh, result, {}, {"distance: Float32, " + std::to_string(positions.size())});
    const auto distances = ReadAttribute<float>(result, "distance");
    REQUIRE(distances.size() == positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i)
        CHECK(double(distances[i]) == Approx(DistanceOf(positions[i], settings)).margin(1e-5));
}

std::vector<float> Distances(const std::vector<glm::vec3>& points, const Settings& settings)
{
    MeshRunner<MeshDistance> runner;
    Apply(settings, runner);
    return ReadAttribute<float>(runner.Run(MakePoints(points)), "distance");
}

} // namespace

TEST_CASE("Mesh Distance has a name, a shape with its numbers and a transform")
{
    MeshRunner<MeshDistance> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Attribute Name: String = distance", "Shape: Enum = Point", "Center: Vector 3 = 0 0 0",
                "Direction: Vector 3 = 0 1 0", "Radius: Float = 1", "Shape Transform: Transform 3D = identity"});
    CHECK(runner.Parameter<EnumParameter>("Shape").GetPossibleValues() ==
          std::vector<std::string>{"Point", "Line", "Sphere"});
}

TEST_CASE("Mesh Distance measures from the origin at first: a unit cube's corners lie at the root of 0.75")
{
    MeshRunner<Cube> cube;
    const Mesh box = cube.Run();
    MeshRunner<MeshDistance> runner;
    const Mesh result = runner.Run(box);
    CheckShared(box, result, {}, {"distance: Float32, 24"});
    for (const float distance : ReadAttribute<float>(result, "distance"))
        CHECK(distance == Approx(0.8660254).margin(1e-6));
}

TEST_CASE("Mesh Distance measures from a point, a line and a sphere, negative inside")
{
    CHECK(Distances({{3, 4, 0}, {0, 0, 0}}, {}) == std::vector{5.0f, 0.0f});
    CHECK(Distances({{3, 4, 12}}, {.center = {0, 0, 12}}) == std::vector{5.0f});
    CHECK(Distances({{3, 5, 4}, {0, -7, 0}}, {.shape = "Line"}) == std::vector{5.0f, 0.0f});
    CHECK(Distances({{3, 5, 4}}, {.shape = "Line", .center = {3, 0, 0}, .direction = {0, -9, 0}}) == std::vector{4.0f});
    CHECK(Distances({{0, 0, 0}, {1, 0, 0}, {0, 3, 4}}, {.shape = "Sphere"}) == std::vector{-1.0f, 0.0f, 4.0f});
    CHECK(Distances({{1, 2, 3}}, {.shape = "Sphere", .center = {1, 2, 3}, .radius = 2.5}) == std::vector{-2.5f});
}

TEST_CASE("Mesh Distance follows the formulas for any shape in any place")
{
    MeshRunner<MeshDistance> runner;
    const Mesh mesh = MakeRichMesh(200);
    const glm::mat4 moved = glm::translate(glm::mat4(1.0f), glm::vec3(0.5f, -1, 2));
    const glm::mat4 turned = glm::rotate(moved, 0.7f, glm::normalize(glm::vec3(1, 2, 3)));
    for (const char* const shape : {"Point", "Line", "Sphere"})
    {
        for (const glm::mat4& transform : {glm::mat4(1.0f), moved, turned, glm::scale(turned, glm::vec3(0.5f, 2, 3))})
        {
            CheckDistances(runner, mesh,
                           {.shape = shape,
                            .center = {0.25, 0.5, -1.5},
                            .direction = {1, -2, 0.5},
                            .radius = 0.75,
                            .transform = transform});
        }
    }
}

TEST_CASE("Mesh Distance is measured in the shape's own space: a shape twice as large halves all distances")
{
    const glm::mat4 doubled = glm::scale(glm::mat4(1.0f), glm::vec3(2));
    CHECK(Distances({{3, 4, 0}, {0, 6, 8}}, {.transform = doubled}) == std::vector{2.5f, 5.0f});
    CHECK(Distances({{2, 0, 0}}, {.shape = "Sphere", .transform = doubled}) == std::vector{0.0f});
    // Along x the sphere reaches 3 now.
    const glm::mat4 wide = glm::scale(glm::mat4(1.0f), glm::vec3(3, 1, 1));
    const std::vector<float> distances =
        Distances({{3, 0, 0}, {0, 1, 0}, {0, 0, 2}}, {.shape = "Sphere", .transform = wide});
    CHECK(distances[0] == Approx(0.0).margin(1e-6));
    CHECK(distances[1] == 0.0f);
    CHECK(distances[2] == 1.0f);
}

TEST_CASE("Mesh Distance moves its center with the shape")
{
    const glm::mat4 turned =
        glm::rotate(glm::translate(glm::mat4(1.0f), glm::vec3(10, 0, 0)), glm::radians(90.0f), glm::vec3(0, 0, 1));
    // The center (1, 0, 0) of the shape lies at (10, 1, 0), and its line along y runs along -x there.
    CHECK(Distances({{10, 1, 0}}, {.center = {1, 0, 0}, .transform = turned})[0] == Approx(0.0).margin(1e-6));
    CHECK(Distances({{-50, 1, 2}}, {.shape = "Line", .center = {1, 0, 0}, .transform = turned})[0] ==
          Approx(2.0).margin(1e-5));
}

TEST_CASE("Mesh Distance takes a shape that it does not know as a point")
{
    CHECK(Distances({{3, 4, 0}}, {.shape = "Pyramid"}) == std::vector{5.0f});
}

TEST_CASE("Mesh Distance along no direction, or from a flat shape, is not finite")
{
    for (const float distance : Distances({{1, 2, 3}, {0, 0, 0}}, {.shape = "Line", .direction = {0, 0, 0}}))
        CHECK_FALSE(std::isfinite(distance));
    const glm::mat4 flat = glm::scale(glm::mat4(1.0f), glm::vec3(1, 0, 1));
    CHECK_FALSE(std::isfinite(Distances({{1, 2, 3}}, {.transform = flat})[0]));
}

TEST_CASE("Mesh Distance stores under any name, in the place of an attribute that has it")
{
    MeshRunner<MeshDistance> runner;
    const Mesh mesh =
        MakePoints({{3, 4, 0}}).AddAttribute({Attributes::Color0, 1}).AddAttribute({"", wgpu::VertexFormat::Uint32, 1});
    runner.SetString("Attribute Name", "far away");
    CHECK(DescribeAttributes(runner.Run(mesh)).back() == "far away: Float32, 1");
    runner.SetString("Attribute Name", "Color0");
    Mesh result = runner.Run();
    CHECK(DescribeAttributes(result) == Lines{"Position: Float32x3, 1", "Color0: Float32, 1", ": Uint32, 1"});
    CHECK(ReadAttribute<float>(result, "Color0") == std::vector{5.0f});
    runner.SetString("Attribute Name", "");
    CHECK(DescribeAttributes(runner.Run()) == Lines{"Position: Float32x3, 1", "Color0: Float32x4, 1", ": Float32, 1"});
    runner.SetString("Attribute Name", "Position");
    CHECK(DescribeAttributes(runner.Run())[0] == "Position: Float32, 1");
    CHECK(ReadPositions(mesh) == std::vector<glm::vec3>{{3, 4, 0}});
}

TEST_CASE("Mesh Distance works on any number of vertices, and none")
{
    MeshRunner<MeshDistance> runner;
    for (const unsigned count : vertexCounts)
    {
        INFO(count);
        CheckDistances(runner, MakeRichMesh(count), {.shape = "Sphere", .center = {1, 2, 3}, .radius = 0.5});
    }
}

TEST_CASE("Mesh Distance of a mesh without positions leaves the output as it was")
{
    MeshRunner<MeshDistance> runner;
    runner.Feed(Mesh().AddAttribute({Attributes::Normal, 3}));
    RunWithoutPass(runner);
    CHECK_FALSE(runner.GetOutput().IsActive());

    const Mesh published = runner.Run(MakePoints({{1, 2, 3}}));
    runner.Feed(Mesh());
    CHECK(IsSame(RunWithoutPass(runner), published));
    CHECK(runner.GetOutput().IsActive());
}

TEST_CASE("Mesh Distance without a mesh keeps what it published")
{
    MeshRunner<MeshDistance> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Mesh Distance never writes a mesh that it published")
{
    MeshRunner<MeshDistance> runner;
    runner.Feed(MakeRichMesh(9));
    CheckPublishedStays<float>(runner, "distance", [&] { runner.SetVector3("Center", {5, 5, 5}); });
}

TEST_CASE("Mesh Distance in the steady state creates nothing on the GPU")
{
    MeshRunner<MeshDistance> runner;
    runner.Feed(MakeRichMesh(100));
    const char* const shapes[] = {"Point", "Line", "Sphere"};
    CheckMeshSteadyState(runner,
                         [&](int step) { Apply({.shape = shapes[step % 3], .center = glm::dvec3(step + 1)}, runner); });
}

TEST_CASE("Mesh Distance goes on with numbers that are not finite, and shows the next good ones right")
{
    MeshRunner<MeshDistance> runner;
    const Mesh mesh = MakeRichMesh(5);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    CheckDistances(runner, mesh, {.shape = "Line", .center = {1, 2, 3}});
}
