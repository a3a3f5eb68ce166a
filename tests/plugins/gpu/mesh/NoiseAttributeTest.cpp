#include "mesh/NoiseAttribute.h"
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
    double rotation = 0.0;
    glm::dvec3 repetition{0.0};
    double amplitude = 1.0;
    double offset = 0.0;
};

void Apply(const Settings& settings, MeshRunner<NoiseAttribute>& runner)
{
    runner.SetTransform("Noise Transform", settings.transform);
    runner.SetFloat("Rotation", settings.rotation);
    runner.SetVector3("Repetition", settings.repetition);
    runner.SetFloat("Amplitude", settings.amplitude);
    runner.SetFloat("Offset", settings.offset);
}

void CheckNoise(MeshRunner<NoiseAttribute>& runner, const Mesh& mesh, const Settings& settings)
{
    INFO("rotation " << settings.rotation << ", repetition " << settings.repetition.x << ' ' << settings.repetition.y
                     << ' ' << settings.repetition.z);
    Apply(settings, runner);
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    CheckShared(mesh, result, {}, {"noise: Float32, " + std::to_string(positions.size())});
    const auto values = ReadAttribute<float>(result, "noise");
    REQUIRE(values.size() == positions.size());
    for (std::size_t i = 0; i < positions.size(); ++i)
    {
        const glm::dvec3 place(glm::dmat4(settings.transform) * glm::dvec4(positions[i], 1.0));
        const double noise = ReferenceNoise(place, settings.repetition, settings.rotation).noise;
        INFO("vertex " << i);
        // The noise in floats may be 5e-4 off.
        CHECK(double(values[i]) ==
              Approx(noise * settings.amplitude + settings.offset).margin(5e-4 * std::abs(settings.amplitude) + 1e-6));
    }
}

} // namespace

TEST_CASE("Noise Attribute has a name, a transform, a rotation, a repetition, an amplitude and an offset")
{
    MeshRunner<NoiseAttribute> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Attribute Name: String = noise", "Noise Transform: Transform 3D = identity", "Rotation: Float = 0",
                "Repetition: Vector 3 = 0 0 0", "Amplitude: Float = 1", "Offset: Float = 0"});
}

TEST_CASE("Noise Attribute adds the noise at every vertex behind the other attributes")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakeRichMesh(500);
    CheckNoise(runner, mesh, {});
    const auto values = ReadAttribute<float>(runner.Output(), "noise");
    CHECK(*std::ranges::max_element(values) > 0.5f);
    CHECK(*std::ranges::min_element(values) < -0.5f);
    CHECK(ReadAttribute<float>(runner.Run(MakePoints({{0, 0, 0}})), "noise")[0] == Approx(0.0).margin(1e-6));
}

TEST_CASE("Noise Attribute multiplies the noise, then adds the offset")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakeRichMesh(150);
    CheckNoise(runner, mesh, {.amplitude = 3.5, .offset = -0.75});
    CheckNoise(runner, mesh, {.amplitude = -2.0});
    CheckNoise(runner, mesh, {.offset = 100.0});
}

TEST_CASE("Noise Attribute of amplitude 0 is the offset everywhere")
{
    MeshRunner<NoiseAttribute> runner;
    Apply({.amplitude = 0.0, .offset = 0.3}, runner);
    CHECK(ReadAttribute<float>(runner.Run(MakeRichMesh(100)), "noise") == std::vector<float>(100, 0.3f));
}

TEST_CASE("Noise Attribute takes positions into the noise by its transform")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakeRichMesh(150);
    const glm::mat4 moved = glm::translate(glm::mat4(1.0f), glm::vec3(0.25f, 10, -3));
    const glm::mat4 turned = glm::rotate(moved, 0.5f, glm::normalize(glm::vec3(3, 1, 2)));
    CheckNoise(runner, mesh, {.transform = moved});
    CheckNoise(runner, mesh, {.transform = glm::scale(turned, glm::vec3(2, 0.5f, 1))});
}

TEST_CASE("Noise Attribute takes its rotation as it is, in radians, and repeats with its repetition")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakeRichMesh(150);
    CheckNoise(runner, mesh, {.rotation = 1.0});
    CheckNoise(runner, mesh, {.rotation = 90.0, .repetition = {3, 4, 5}});
    CheckNoise(runner, mesh, {.repetition = {0, 0, 2}});
    CheckNoise(runner, mesh, {.rotation = -0.5, .repetition = {7, -1, 0}});

    Apply({.repetition = {2, 3, 4}}, runner);
    const auto values = ReadAttribute<float>(
        runner.Run(MakePoints({{0.25f, 0.5f, 0.125f}, {2.25f, 3.5f, -3.875f}, {1.25f, 0.5f, 0.125f}})), "noise");
    CHECK(values[1] == Approx(double(values[0])).margin(1e-5));
    CHECK(std::abs(values[2] - values[0]) > 0.01f);
}

TEST_CASE("Noise Attribute stores under any name, in the place of an attribute that has it")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakePoints({{1, 2, 3}})
                          .AddAttribute({Attributes::Color0, 1})
                          .AddAttribute({"a", wgpu::VertexFormat::Float32, 1});
    runner.SetString("Attribute Name", "my noise");
    CHECK(DescribeAttributes(runner.Run(mesh)).back() == "my noise: Float32, 1");
    runner.SetString("Attribute Name", "Color0");
    CHECK(DescribeAttributes(runner.Run())[1] == "Color0: Float32, 1");
    CHECK(runner.Output().GetAttributes().size() == 3);
    runner.SetString("Attribute Name", "Position");
    CHECK(DescribeAttributes(runner.Run())[0] == "Position: Float32, 1");
    runner.SetString("Attribute Name", "");
    CHECK(DescribeAttributes(runner.Run()).back() == ": Float32, 1");
    CHECK(ReadPositions(mesh) == std::vector<glm::vec3>{{1, 2, 3}});
}

TEST_CASE("Noise Attribute works on any number of vertices, and none")
{
    MeshRunner<NoiseAttribute> runner;
    for (const unsigned count : vertexCounts)
    {
        INFO(count);
        CheckNoise(runner, MakeRichMesh(count), {.offset = 0.5});
    }
}

TEST_CASE("Noise Attribute hands a mesh without positions on as it is")
{
    MeshRunner<NoiseAttribute> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, Mesh().AddAttribute({Attributes::Normal, 3}));
}

TEST_CASE("Noise Attribute without a mesh keeps what it published")
{
    MeshRunner<NoiseAttribute> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Noise Attribute gives the same values on every execution, and never writes a mesh that it published")
{
    MeshRunner<NoiseAttribute> runner;
    const auto first = ReadAttribute<float>(runner.Run(MakeRichMesh(50)), "noise");
    runner.Get().MarkDirty();
    CHECK(ReadAttribute<float>(runner.Run(), "noise") == first);
    CheckPublishedStays<float>(runner, "noise", [&] { runner.SetFloat("Offset", 2.0); });
}

TEST_CASE("Noise Attribute in the steady state creates nothing on the GPU")
{
    MeshRunner<NoiseAttribute> runner;
    runner.Feed(MakeRichMesh(100));
    CheckMeshSteadyState(runner, [&](int step)
                         { Apply({.rotation = 0.1 * (step + 1), .repetition = glm::dvec3(step % 3)}, runner); });
}

TEST_CASE("Noise Attribute goes on with numbers that are not finite, and shows the next good ones right")
{
    MeshRunner<NoiseAttribute> runner;
    const Mesh mesh = MakeRichMesh(20);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    CheckNoise(runner, mesh, {});
}
