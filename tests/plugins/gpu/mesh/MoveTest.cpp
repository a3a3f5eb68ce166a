#include "mesh/Move.h"
#include "mesh/Cube.h"
#include "mesh/Sphere.h"
#include "support/MeshChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

void CheckMoved(const Mesh& mesh, const Mesh& result, const std::vector<float>& amounts)
{
    const std::vector<glm::vec3> normals = ReadNormals(mesh);
    std::vector<glm::vec3> expected = ReadPositions(mesh);
    REQUIRE(amounts.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        expected[i] += normals[i] * amounts[i];
    CheckShared(mesh, result, {"Position"});
    CHECK(LargestError(ReadPositions(result), expected) < 1e-5);
}

std::vector<float> Same(unsigned count, float amount)
{
    std::vector<float> amounts(count, amount);
    return amounts;
}

std::vector<float> Multiplied(std::vector<float> amounts, float by)
{
    for (float& amount : amounts)
        amount *= by;
    return amounts;
}

} // namespace

TEST_CASE("Mesh Move has an amount and the name of an attribute")
{
    MeshRunner<MeshMove> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Amount: Float = 0.1", "Amount Attribute: String = "});
}

TEST_CASE("Mesh Move pushes vertices along their normals, inwards when the amount is negative")
{
    MeshRunner<MeshMove> runner;
    const Mesh mesh = MakeRichMesh(70);
    CheckMoved(mesh, runner.Run(mesh), Same(70, 0.1f));
    runner.SetFloat("Amount", -2.5);
    CheckMoved(mesh, runner.Run(), Same(70, -2.5f));
    runner.SetFloat("Amount", 0.0);
    CHECK(ReadPositions(runner.Run()) == ReadPositions(mesh));
}

TEST_CASE("Mesh Move multiplies its amount with an attribute, and takes no notice of a name that the mesh lacks")
{
    MeshRunner<MeshMove> runner;
    const Mesh mesh = MakeRichMesh(70);
    const auto weights = ReadAttribute<float>(mesh, "Weight"); // negative ones too, and 0
    runner.SetFloat("Amount", 0.5);
    runner.SetString("Amount Attribute", "Weight");
    CheckMoved(mesh, runner.Run(mesh), Multiplied(weights, 0.5f));
    for (const char* const name : {"weight", "Weigh", "Weight ", "no such attribute", ""})
    {
        runner.SetString("Amount Attribute", name);
        CheckMoved(mesh, runner.Run(), Same(70, 0.5f));
    }
    runner.SetString("Amount Attribute", "Weight");
    CheckMoved(mesh, runner.Run(), Multiplied(weights, 0.5f));
}

TEST_CASE("Mesh Move without a name does not take an attribute without a name")
{
    MeshRunner<MeshMove> runner;
    const Mesh mesh =
        MakeRichMesh(3).AddAttribute(MakeAttribute("", wgpu::VertexFormat::Float32, std::vector{5.0f, 6.0f, 7.0f}));
    CheckMoved(mesh, runner.Run(mesh), Same(3, 0.1f));
}

TEST_CASE("Mesh Move reads an attribute of another type number by number as it lies in its buffer")
{
    MeshRunner<MeshMove> runner;
    runner.SetFloat("Amount", 1.0);
    const Mesh mesh = MakeRichMesh(5);
    runner.SetString("Amount Attribute", "TexCoord0"); // 0 0.5, 1 0.5, 2 0.5, ...
    CheckMoved(mesh, runner.Run(mesh), {0.0f, 0.5f, 1.0f, 0.5f, 2.0f});
    runner.SetString("Amount Attribute", "Color0"); // 1 0 0 1, 1 0 1 1, ...
    CheckMoved(mesh, runner.Run(), {1.0f, 0.0f, 0.0f, 1.0f, 1.0f});
}

TEST_CASE("Mesh Move can take the positions or the normals themselves as its attribute")
{
    MeshRunner<MeshMove> runner;
    runner.SetFloat("Amount", 1.0);
    const Mesh mesh = MakePoints({{1, 2, 3}, {4, 5, 6}})
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(0, 1, 0), {0, 0, 1}}));
    runner.SetString("Amount Attribute", "Position");
    CHECK(ReadPositions(runner.Run(mesh)) == std::vector<glm::vec3>{{1, 3, 3}, {4, 5, 8}});
    runner.SetString("Amount Attribute", "Normal");
    CHECK(ReadPositions(runner.Run()) == std::vector<glm::vec3>{{1, 2, 3}, {4, 5, 7}});
}

TEST_CASE("Mesh Move takes normals as they are stored, whatever their length")
{
    MeshRunner<MeshMove> runner;
    runner.SetFloat("Amount", 0.5);
    const Mesh mesh = MakePoints({{1, 1, 1}, {2, 2, 2}})
                          .AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(0, 8, 0), {0, 0, 0}}));
    const Mesh result = runner.Run(mesh);
    CHECK(ReadPositions(result) == std::vector<glm::vec3>{{1, 5, 1}, {2, 2, 2}});
    CHECK(ReadNormals(result) == std::vector<glm::vec3>{{0, 8, 0}, {0, 0, 0}});
}

TEST_CASE("Mesh Move makes a sphere larger and opens a cube at its edges")
{
    MeshRunner<MeshMove> runner;
    runner.SetFloat("Amount", 0.5);
    MeshRunner<Sphere> sphere;
    for (const glm::vec3& position : ReadPositions(runner.Run(sphere.Run())))
        CHECK(glm::length(position) == Approx(1.0).margin(1e-6));
    MeshRunner<Cube> cube;
    const std::vector<glm::vec3> corners = ReadPositions(runner.Run(cube.Run()));
    CHECK(corners[0] == glm::vec3(-0.5f, -0.5f, 1.0f));   // the front's
    CHECK(corners[12] == glm::vec3(-1.0f, -0.5f, -0.5f)); // the left side's
}

TEST_CASE("Mesh Move works on any number of vertices, and none")
{
    MeshRunner<MeshMove> runner;
    runner.SetString("Amount Attribute", "Weight");
    for (const unsigned count : vertexCounts)
    {
        INFO(count);
        const Mesh mesh = MakeRichMesh(count);
        CheckMoved(mesh, runner.Run(mesh), Multiplied(ReadAttribute<float>(mesh, "Weight"), 0.1f));
    }
}

TEST_CASE("Mesh Move hands a mesh without positions or without normals on as it is")
{
    MeshRunner<MeshMove> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, MakePoints({{1, 2, 3}}));
    CheckPassesThrough(runner, Mesh().AddAttribute(MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1)})));
}

TEST_CASE("Mesh Move without a mesh keeps what it published")
{
    MeshRunner<MeshMove> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Mesh Move never writes the mesh that it was given or one that it published")
{
    MeshRunner<MeshMove> runner;
    const Mesh mesh = MakeRichMesh(9);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    runner.Feed(mesh);
    CheckPublishedStays<glm::vec3>(runner, "Position", [&] { runner.SetFloat("Amount", 7.0); });
    CHECK(ReadPositions(mesh) == positions);
}

TEST_CASE("Mesh Move in the steady state creates nothing on the GPU")
{
    MeshRunner<MeshMove> runner;
    runner.Feed(MakeRichMesh(100));
    CheckMeshSteadyState(runner,
                         [&](int step)
                         {
                             runner.SetFloat("Amount", 1.0 + step);
                             runner.SetString("Amount Attribute", step % 2 ? "Weight" : "");
                         });
}

TEST_CASE("Mesh Move goes on with an amount that is not finite, and shows the next good one right")
{
    MeshRunner<MeshMove> runner;
    const Mesh mesh = MakeRichMesh(5);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    runner.SetFloat("Amount", 1.0);
    CheckMoved(mesh, runner.Run(), Same(5, 1.0f));
}
