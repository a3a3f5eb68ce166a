#include "mesh/Copy.h"
#include "mesh/Sphere.h"
#include "support/MeshChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

glm::mat4 Moved(const glm::vec3& by)
{
    return glm::translate(glm::mat4(1.0f), by);
}

template<class T>
std::vector<T> Repeated(const std::vector<T>& values, int count)
{
    std::vector<T> all;
    for (int k = 0; k < count; ++k)
        all.insert(all.end(), values.begin(), values.end());
    return all;
}

void CheckCopies(MeshRunner<CopyMesh>& runner, const Mesh& mesh, int count, const glm::mat4& step)
{
    INFO(count << " copies");
    runner.SetInt("Count", count);
    runner.SetTransform("Step Transform", step);
    const Mesh result = runner.Run(mesh);
    const std::vector<glm::vec3> sourcePositions = ReadPositions(mesh);
    const std::vector<glm::vec3> sourceNormals = ReadNormals(mesh);
    const std::vector<glm::vec4> sourceTangents = ReadTangents(mesh);
    const std::vector<std::uint32_t> sourceIndices = ReadIndices(mesh);
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<glm::vec4> tangents;
    std::vector<std::uint32_t> indices;
    glm::dmat4 matrix(1.0); // the step applied once more for each copy
    double scale = 1.0;
    for (int k = 0; k < count; ++k)
    {
        const glm::dmat3 turning = glm::transpose(glm::inverse(glm::dmat3(matrix)));
        for (const std::uint32_t index : sourceIndices)
            indices.push_back(index + std::uint32_t(positions.size()));
        for (std::size_t i = 0; i < sourcePositions.size(); ++i)
        {
            positions.emplace_back(matrix * glm::dvec4(sourcePositions[i], 1.0));
            normals.emplace_back(glm::normalize(turning * glm::dvec3(sourceNormals[i])));
            const glm::vec3 tangent(glm::normalize(glm::dmat3(matrix) * glm::dvec3(sourceTangents[i])));
            tangents.emplace_back(tangent, sourceTangents[i].w);
            scale = std::max(scale, double(glm::length(positions.back())));
        }
        matrix = glm::dmat4(step) * matrix;
    }
    // Each multiplication of matrices in floats may lose a bit.
    const double tolerance = 1e-6 * (4 + count);
    CHECK(LargestError(ReadPositions(result), positions) < tolerance * scale);
    CHECK(LargestError(ReadNormals(result), normals) < tolerance);
    CHECK(LargestError(ReadTangents(result), tangents) < tolerance);
    CHECK(ReadIndices(result) == indices);
}

Mesh MakeTriangle()
{
    return MakePoints({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}).SetConnectivity(MakeTriangles({0, 1, 2}));
}

std::uint64_t CountBuffers()
{
    const GpuCounters counters = Graphics::GetCounters();
    return counters.buffersCreated + counters.buffersReused;
}

} // namespace

TEST_CASE("Mesh Copy has a count and a step")
{
    MeshRunner<CopyMesh> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Input: takes Mesh", "Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Count: Int = 2", "Step Transform: Transform 3D = identity"});
}

TEST_CASE("Mesh Copy makes a row: each copy one step further, with indices of its own")
{
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 3);
    runner.SetTransform("Step Transform", Moved({1, 0, 0}));
    const Mesh result = runner.Run(MakeTriangle());
    CHECK(ReadPositions(result) == std::vector<glm::vec3>{{0, 0, 0},
                                                          {1, 0, 0},
                                                          {0, 1, 0}, // as it came
                                                          {1, 0, 0},
                                                          {2, 0, 0},
                                                          {1, 1, 0}, // one step
                                                          {2, 0, 0},
                                                          {3, 0, 0},
                                                          {2, 1, 0}}); // two steps
    CHECK(ReadIndices(result) == std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(DescribeAttributes(result) == Lines{"Position: Float32x3, 9"});
}

TEST_CASE("Mesh Copy lists the attributes without a place in space first, then positions, normals and tangents")
{
    MeshRunner<CopyMesh> runner;
    const Mesh mesh = MakeRichMesh(5);
    const Mesh result = runner.Run(mesh);
    CHECK(DescribeAttributes(result) == Lines{"Weight: Float32, 10", "TexCoord0: Float32x2, 10",
                                              "Color0: Float32x4, 10", "Position: Float32x3, 10",
                                              "Normal: Float32x3, 10", "Tangent: Float32x4, 10"});
    REQUIRE(result.GetConnectivity());
    CHECK(result.GetConnectivity()->GetIndexCount() == 30);
    CHECK(result.GetConnectivity()->GetIndexFormat() == wgpu::IndexFormat::Uint32);
    CHECK(result.GetConnectivity()->GetTopology() == wgpu::PrimitiveTopology::TriangleList);
    CHECK(result.GetMaterial() == mesh.GetMaterial());
    CHECK(ReadAttribute<float>(result, "Weight") == Repeated(ReadAttribute<float>(mesh, "Weight"), 2));
    CHECK(ReadTexCoords(result) == Repeated(ReadTexCoords(mesh), 2));
    CHECK(ReadAttribute<glm::vec4>(result, "Color0") == Repeated(ReadAttribute<glm::vec4>(mesh, "Color0"), 2));
}

TEST_CASE("Mesh Copy repeats attributes of any format as they are")
{
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 4);
    const std::vector<glm::uvec2> numbers{{1, 2}, {0xFFFFFFFFu, 4}, {5, 0x7F800001u}};
    const std::vector<std::uint32_t> packed{0x01020304u, 0xFF00FF00u, 7u};
    const Mesh result = runner.Run(MakeTriangle()
                                       .AddAttribute(MakeAttribute("ids", wgpu::VertexFormat::Uint32x2, numbers))
                                       .AddAttribute(MakeAttribute("bytes", wgpu::VertexFormat::Unorm8x4, packed)));
    CHECK(DescribeAttributes(result) == Lines{"ids: Uint32x2, 12", "bytes: Unorm8x4, 12", "Position: Float32x3, 12"});
    CHECK(ReadAttribute<glm::uvec2>(result, "ids") == Repeated(numbers, 4));
    CHECK(ReadAttribute<std::uint32_t>(result, "bytes") == Repeated(packed, 4));
}

TEST_CASE("Mesh Copy applies the step once for every copy, to normals and tangents too")
{
    MeshRunner<CopyMesh> runner;
    const Mesh mesh = MakeRichMesh(40);
    const glm::mat4 turned = glm::rotate(Moved({0.5f, 0.25f, -1}), 0.6f, glm::normalize(glm::vec3(1, -1, 2)));
    CheckCopies(runner, mesh, 1, turned);
    CheckCopies(runner, mesh, 2, turned);
    CheckCopies(runner, mesh, 25, turned);
    CheckCopies(runner, mesh, 6, glm::scale(turned, glm::vec3(1.2f, 0.7f, 0.9f))); // uneven: a shear from the second on
    CheckCopies(runner, mesh, 3, glm::scale(glm::mat4(1.0f), glm::vec3(-1, 2, 1)));
    CheckCopies(runner, mesh, 10, glm::mat4(1.0f));
}

TEST_CASE("Mesh Copy moves in the space of the copy before: turning and moving runs along a circle")
{
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 5);
    runner.SetTransform("Step Transform", glm::rotate(Moved({1, 0, 0}), glm::radians(90.0f), glm::vec3(0, 0, 1)));
    const std::vector<glm::vec3> positions = ReadPositions(runner.Run(MakePoints({{0, 0, 0}})));
    const glm::vec3 square[] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 0}};
    for (std::size_t k = 0; k < 5; ++k)
        CHECK(glm::length(positions[k] - square[k]) < 1e-6f);
}

TEST_CASE("Mesh Copy works on any number of vertices and copies, and none")
{
    MeshRunner<CopyMesh> runner;
    for (const unsigned vertices : vertexCounts)
    {
        for (const int count : {1, 2, 63, 64, 65})
        {
            INFO(vertices << " vertices");
            CheckCopies(runner, MakeRichMesh(vertices), count, Moved({0, 1, 0}));
        }
    }
}

TEST_CASE("Mesh Copy counts less than two as one: the mesh itself in new buffers")
{
    MeshRunner<CopyMesh> runner;
    runner.SetTransform("Step Transform", Moved({1, 2, 3}));
    const Mesh mesh = MakeRichMesh(5);
    runner.Feed(mesh);
    for (const long long count : {1LL, 0LL, -1LL, -9223372036854775807LL - 1})
    {
        INFO(count);
        runner.SetInt("Count", count);
        const Mesh result = runner.Run();
        CHECK(ReadPositions(result) == ReadPositions(mesh));
        CHECK(LargestError(ReadNormals(result), ReadNormals(mesh)) < 1e-6);
        CHECK(LargestError(ReadTangents(result), ReadTangents(mesh)) < 1e-6);
        CHECK(ReadTexCoords(result) == ReadTexCoords(mesh));
        CHECK(ReadIndices(result) == ReadIndices(mesh));
        for (const Attribute& attribute : mesh.GetAttributes())
            CHECK_FALSE(AttributeOf(result, attribute.GetName()).GetBuffer() == attribute.GetBuffer());
        CHECK_FALSE(result.GetConnectivity()->GetBuffer() == mesh.GetConnectivity()->GetBuffer());
        CHECK(result.GetMaterial() == mesh.GetMaterial());
    }
}

TEST_CASE("Mesh Copy copies what a mesh has: without normals, tangents or indices there are none")
{
    MeshRunner<CopyMesh> runner;
    runner.SetTransform("Step Transform", glm::scale(glm::mat4(1.0f), glm::vec3(2, 1, 1)));
    const Mesh rich = MakeRichMesh(33);
    const Mesh bare = MakePoints(ReadPositions(rich));
    for (const bool hasNormals : {false, true})
    {
        for (const bool hasTangents : {false, true})
        {
            Mesh mesh = bare;
            Lines expected{"Position: Float32x3, 66"};
            if (hasTangents)
                mesh = mesh.AddAttribute(AttributeOf(rich, "Tangent"));
            if (hasNormals)
            {
                mesh = mesh.AddAttribute(AttributeOf(rich, "Normal"));
                expected.emplace_back("Normal: Float32x3, 66");
            }
            if (hasTangents)
                expected.emplace_back("Tangent: Float32x4, 66");
            const Mesh result = runner.Run(mesh);
            CHECK(DescribeAttributes(result) == expected);
            CHECK(result.GetConnectivity() == nullptr);
            CHECK(result.GetMaterial() == nullptr);
            CHECK(ReadPositions(result)[33] == ReadPositions(rich)[0] * glm::vec3(2, 1, 1));
            const glm::vec3 normal = glm::normalize(ReadNormals(rich)[32] * glm::vec3(0.5f, 1, 1));
            if (hasNormals)
                CHECK(glm::length(ReadNormals(result)[65] - normal) < 1e-6f);
            const glm::vec3 tangent = glm::normalize(glm::vec3(ReadTangents(rich)[32]) * glm::vec3(2, 1, 1));
            if (hasTangents)
                CHECK(glm::length(glm::vec3(ReadTangents(result)[65]) - tangent) < 1e-6f);
        }
    }
}

TEST_CASE("Mesh Copy keeps the topology, and a list of indices that is empty")
{
    MeshRunner<CopyMesh> runner;
    for (const auto topology : {wgpu::PrimitiveTopology::PointList, wgpu::PrimitiveTopology::LineList,
                                wgpu::PrimitiveTopology::LineStrip, wgpu::PrimitiveTopology::TriangleStrip})
    {
        const Connectivity connectivity(topology, 2, wgpu::IndexFormat::Uint32);
        const std::uint32_t indices[] = {2, 0};
        connectivity.GetBuffer().Upload(indices, sizeof(indices), 0);
        const Mesh result = runner.Run(MakeTriangle().SetConnectivity(connectivity));
        CHECK(result.GetConnectivity()->GetTopology() == topology);
        CHECK(ReadIndices(result) == std::vector<std::uint32_t>{2, 0, 5, 3});
    }
    const Mesh none = runner.Run(MakeTriangle().SetConnectivity(MakeTriangles({})));
    REQUIRE(none.GetConnectivity());
    CHECK(none.GetConnectivity()->GetIndexCount() == 0);
}

TEST_CASE("Mesh Copy widens 16-bit indices to 32 bits")
{
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 3);
    for (const std::vector<std::uint16_t>& indices :
         {std::vector<std::uint16_t>{0, 1, 2}, {2, 1, 0, 0, 2, 1}, {65535, 0, 32768, 7, 1}})
    {
        const Connectivity connectivity(wgpu::PrimitiveTopology::TriangleList, unsigned(indices.size()),
                                        wgpu::IndexFormat::Uint16);
        connectivity.GetBuffer().Upload(indices.data(), indices.size() * 2, 0);
        const Mesh result = runner.Run(MakeTriangle().SetConnectivity(connectivity));
        CHECK(result.GetConnectivity()->GetIndexFormat() == wgpu::IndexFormat::Uint32);
        std::vector<std::uint32_t> expected;
        for (std::uint32_t k = 0; k < 3; ++k)
        {
            for (const std::uint16_t index : indices)
                expected.push_back(index + 3 * k);
        }
        CHECK(ReadIndices(result) == expected);
    }
}

TEST_CASE("Mesh Copy by a step of scale 0 makes the normals of all copies but the first not finite")
{
    MeshRunner<CopyMesh> runner;
    runner.SetTransform("Step Transform", glm::scale(glm::mat4(1.0f), glm::vec3(0, 1, 1)));
    const Mesh mesh = MakeRichMesh(3);
    const std::vector<glm::vec3> normals = ReadNormals(runner.Run(mesh));
    for (std::size_t i = 0; i < 3; ++i)
    {
        CHECK(glm::length(normals[i] - ReadNormals(mesh)[i]) < 1e-6f);
        CHECK_FALSE(IsFinite(normals[3 + i]));
        CHECK(ReadPositions(runner.Output())[3 + i].x == 0.0f);
    }
}

TEST_CASE("Mesh Copy runs both shaders in one pass")
{
    MeshRunner<CopyMesh> runner;
    runner.Feed(MakeRichMesh(5));
    GpuCounters before = Graphics::GetCounters();
    runner.Execute();
    CHECK(Graphics::GetCounters().computePasses == before.computePasses + 1);
    CHECK(Graphics::GetCounters().dispatches == before.dispatches + 2);
    runner.Feed(MakePoints({{1, 2, 3}}));
    before = Graphics::GetCounters();
    runner.Execute();
    CHECK(Graphics::GetCounters().computePasses == before.computePasses + 1);
    CHECK(Graphics::GetCounters().dispatches == before.dispatches + 1);
}

TEST_CASE("Mesh Copy of 1000 makes a handful of submits")
{
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 1000);
    runner.Feed(MakeRichMesh(3));
    runner.Execute();
    Graphics::WaitForGpu();
    const std::uint64_t before = Graphics::GetCounters().submits;
    runner.Execute();
    Graphics::WaitForGpu();
    CHECK(Graphics::GetCounters().submits <= before + 2); // the repeated attributes, the pass
}

TEST_CASE("Mesh Copy makes new buffers for its matrices only when the count changes")
{
    MeshRunner<CopyMesh> runner;
    runner.Feed(MakeTriangle()); // the output has two buffers: positions and indices
    runner.Execute();
    const auto countBuffers = [&]
    {
        const std::uint64_t before = CountBuffers();
        runner.Execute();
        return CountBuffers() - before;
    };
    runner.SetTransform("Step Transform", Moved({1, 0, 0}));
    CHECK(countBuffers() == 2);
    runner.SetInt("Count", 3);
    CHECK(countBuffers() == 4);
    runner.SetTransform("Step Transform", Moved({2, 0, 0}));
    CHECK(countBuffers() == 2);
    CHECK(ReadPositions(runner.Output())[6] == glm::vec3(4, 0, 0));
    runner.SetInt("Count", 1);
    CHECK(countBuffers() == 4);
    runner.SetInt("Count", -5); // one again
    CHECK(countBuffers() == 2);
}

TEST_CASE("Mesh Copy of 1,000 default spheres is one mesh of 497,000 vertices")
{
    MeshRunner<Sphere> sphere;
    const Mesh one = sphere.Run();
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", 1000);
    runner.SetTransform("Step Transform", Moved({2, 0, 0}));
    const Mesh result = runner.Run(one);
    CHECK(DescribeAttributes(result) == Lines{"TexCoord0: Float32x2, 497000", "Position: Float32x3, 497000",
                                              "Normal: Float32x3, 497000", "Tangent: Float32x4, 497000"});
    const std::vector<glm::vec3> source = ReadPositions(one);
    const std::vector<glm::vec3> positions = ReadPositions(result);
    const std::vector<std::uint32_t> sourceIndices = ReadIndices(one);
    const std::vector<std::uint32_t> indices = ReadIndices(result);
    REQUIRE(indices.size() == 2880000);
    double largest = 0.0;
    bool indicesFit = true;
    for (std::size_t k = 0; k < 1000; ++k)
    {
        for (std::size_t i = 0; i < 497; ++i)
            largest = std::max(
                largest, double(glm::length(positions[497 * k + i] - source[i] - glm::vec3(2.0f * float(k), 0, 0))));
        for (std::size_t i = 0; i < 2880; ++i)
            indicesFit = indicesFit && indices[2880 * k + i] == sourceIndices[i] + 497 * k;
    }
    CHECK(largest < 2.5e-4); // floats around 2,000 are 1.2e-4 apart
    CHECK(indicesFit);
    CHECK(LargestError(ReadNormals(result), Repeated(ReadNormals(one), 1000)) < 1e-6);
    CHECK(ReadTexCoords(result) == Repeated(ReadTexCoords(one), 1000));
}

TEST_CASE("Mesh Copy of more than a mesh or a buffer can hold is an error and leaves the output")
{
    MeshRunner<CopyMesh> runner;
    const Mesh before = runner.Run(MakeTriangle());
    const std::uint64_t buffers = CountBuffers();
    for (const long long count :
         {1431655766LL, 4294967296LL, 4294967297LL, 9223372036854775807LL, 1000000000LL, 4294967295LL / 3})
    {
        INFO(count);
        const LogRecorder log;
        runner.SetInt("Count", count);
        CHECK(IsSame(runner.Run(), before));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.Contains("error: "));
        CHECK(log.Contains(std::to_string(count)));
    }
    CHECK(CountBuffers() == buffers);
    const LogRecorder log;
    runner.SetInt("Count", 4);
    CHECK(ReadPositions(runner.Run()).size() == 12);
    CHECK(log.lines.empty());
}

TEST_CASE("Mesh Copy makes a million copies at most, however small they are")
{
    MeshRunner<CopyMesh> runner;
    const Mesh before = runner.Run(MakePoints({}));
    const LogRecorder log;
    runner.SetInt("Count", 1'000'001);
    CHECK(IsSame(runner.Run(), before));
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0] == "error: Copy: 1000001 copies of a mesh of 0 vertices are too many; 1000000 are possible.");
    runner.SetInt("Count", 1'000'000);
    CHECK_FALSE(IsSame(runner.Run(), before));
    CHECK(log.lines.size() == 1);
}

TEST_CASE("Mesh Copy counts indices and the larger of the attributes too when it looks for room")
{
    MeshRunner<CopyMesh> runner;
    const Mesh before = runner.Run(MakeTriangle());
    runner.SetInt("Count", 100000);
    for (const Mesh& mesh :
         {MakePoints({{0, 0, 0}}).SetConnectivity(MakeTriangles(std::vector<std::uint32_t>(100000, 0))),
          MakePoints({{0, 0, 0}}).AddAttribute({"Table", wgpu::VertexFormat::Float32x4, 100000})})
    {
        const LogRecorder log;
        CHECK(IsSame(runner.Run(mesh), before));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.Contains("error: "));
    }
}

TEST_CASE("Mesh Copy hands a mesh without positions on as it is")
{
    MeshRunner<CopyMesh> runner;
    CheckPassesThrough(runner, Mesh());
    CheckPassesThrough(runner, Mesh().AddAttribute({Attributes::Normal, 3}));
}

TEST_CASE("Mesh Copy without a mesh keeps what it published")
{
    MeshRunner<CopyMesh> runner;
    CheckNeedsMesh(runner);
}

TEST_CASE("Mesh Copy never writes the mesh that it was given or one that it published")
{
    MeshRunner<CopyMesh> runner;
    const Mesh mesh = MakeRichMesh(9);
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    runner.Feed(mesh);
    CheckPublishedStays<glm::vec3>(runner, "Position",
                                   [&] {
                                       runner.SetTransform("Step Transform", Moved({1, 1, 1}));
                                   });
    CHECK(ReadPositions(mesh) == positions);
}

TEST_CASE("Mesh Copy in the steady state creates nothing on the GPU")
{
    MeshRunner<CopyMesh> runner;
    runner.Feed(MakeRichMesh(100));
    runner.SetInt("Count", 7);
    CheckMeshSteadyState(runner,
                         [&](int step) {
                             runner.SetTransform("Step Transform", Moved({1, float(step + 1), 0}));
                         });
}

TEST_CASE("Mesh Copy goes on with steps that are not finite, and shows the next good one right")
{
    MeshRunner<CopyMesh> runner;
    const Mesh mesh = MakeRichMesh(5);
    runner.Feed(mesh);
    CheckMeshSurvivesOddNumbers(runner);
    CheckCopies(runner, mesh, 3, Moved({1, 2, 3}));
}
