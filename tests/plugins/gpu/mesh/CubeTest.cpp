#include "mesh/Cube.h"
#include "support/MeshChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

void Set(MeshRunner<Cube>& runner, glm::ivec3 subdivisions, glm::dvec3 size)
{
    runner.Parameter<Vector3IntParameter>("Subdivisions").SetValue(subdivisions);
    runner.SetVector3("Size", size);
}

// The faces in their order, each by the direction it faces and that in which u grows. The third direction, in which
// rows follow each other and v falls, is their cross product.
struct Face
{
    glm::vec3 normal;
    glm::vec3 tangent;
};

const Face faces[] = {
    {{0, 0, 1}, {1, 0, 0}},  {{0, 0, -1}, {-1, 0, 0}}, {{1, 0, 0}, {0, 0, -1}},
    {{-1, 0, 0}, {0, 0, 1}}, {{0, 1, 0}, {1, 0, 0}},   {{0, -1, 0}, {1, 0, 0}},
};

void CheckBox(glm::ivec3 subdivisions, glm::dvec3 wantedSize)
{
    INFO(subdivisions.x << ' ' << subdivisions.y << ' ' << subdivisions.z);
    MeshRunner<Cube> runner;
    Set(runner, subdivisions, wantedSize);
    const Mesh mesh = runner.Run();

    const glm::vec3 cells(glm::max(subdivisions, 1));
    const glm::vec3 size(wantedSize);
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<glm::vec4> tangents;
    std::vector<glm::vec2> texCoords;
    std::vector<std::uint32_t> indices;
    for (const Face& face : faces)
    {
        const glm::vec3 up = glm::cross(face.normal, face.tangent);
        const int columns = int(std::abs(glm::dot(face.tangent, cells)));
        const int rows = int(std::abs(glm::dot(up, cells)));
        const auto base = std::uint32_t(positions.size());
        const auto at = [&](int row, int column) { return base + std::uint32_t(row * (columns + 1) + column); };
        for (int row = 0; row <= rows; ++row)
        {
            for (int column = 0; column <= columns; ++column)
            {
                const float s = float(column) / float(columns);
                const float t = float(row) / float(rows);
                positions.push_back(size * (0.5f * face.normal + (s - 0.5f) * face.tangent + (t - 0.5f) * up));
                normals.push_back(face.normal);
                tangents.emplace_back(face.tangent, 1.0f);
                texCoords.emplace_back(s, 1.0f - t);
                if (row == rows || column == columns)
                    continue;
                indices.insert(indices.end(), {at(row, column), at(row, column + 1), at(row + 1, column + 1)});
                indices.insert(indices.end(), {at(row, column), at(row + 1, column + 1), at(row + 1, column)});
            }
        }
    }
    CHECK(LargestError(ReadPositions(mesh), positions) < 1e-6 * double(glm::length(size)) + 1e-12);
    CHECK(ReadNormals(mesh) == normals);
    CHECK(ReadTangents(mesh) == tangents);
    CHECK(LargestError(ReadTexCoords(mesh), texCoords) < 1e-6);
    CHECK(ReadIndices(mesh) == indices);
}

glm::uvec2 CountVerticesAndIndices(glm::ivec3 subdivisions)
{
    MeshRunner<Cube> runner;
    Set(runner, subdivisions, {1, 1, 1});
    const Mesh mesh = runner.Run();
    return {AttributeOf(mesh, "Position").GetVertexCount(), mesh.GetConnectivity()->GetIndexCount()};
}

} // namespace

TEST_CASE("Cube has a size and subdivisions, and gives a mesh")
{
    MeshRunner<Cube> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Size: Vector 3 = 1 1 1", "Subdivisions: Vector 3 Int = 1 1 1"});
}

TEST_CASE("A cube has positions, normals, tangents, texture coordinates and a list of triangles")
{
    MeshRunner<Cube> runner;
    const Mesh mesh = runner.Run();
    CHECK(DescribeAttributes(mesh) == Lines{"Position: Float32x3, 24", "Normal: Float32x3, 24",
                                            "Tangent: Float32x4, 24", "TexCoord0: Float32x2, 24"});
    for (const Attribute& attribute : mesh.GetAttributes())
        CHECK(attribute.GetBuffer().GetSizeInBytes() == 24 * GetVertexFormatSize(attribute.GetFormat()));
    const Connectivity* const connectivity = mesh.GetConnectivity();
    REQUIRE(connectivity);
    CHECK(connectivity->GetTopology() == wgpu::PrimitiveTopology::TriangleList);
    CHECK(connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint32);
    CHECK(connectivity->GetIndexCount() == 36);
    CHECK(connectivity->GetBuffer().GetSizeInBytes() == 144);
    CHECK(mesh.GetMaterial() == nullptr);
}

TEST_CASE("The default cube is the box of one unit around the origin")
{
    MeshRunner<Cube> runner;
    const Mesh mesh = runner.Run();
    const float h = 0.5f;
    CHECK(ReadPositions(mesh) == std::vector<glm::vec3>{{-h, -h, h},  {h, -h, h},   {-h, h, h},  {h, h, h},    // front
                                                        {h, -h, -h},  {-h, -h, -h}, {h, h, -h},  {-h, h, -h},  // back
                                                        {h, -h, h},   {h, -h, -h},  {h, h, h},   {h, h, -h},   // right
                                                        {-h, -h, -h}, {-h, -h, h},  {-h, h, -h}, {-h, h, h},   // left
                                                        {-h, h, h},   {h, h, h},    {-h, h, -h}, {h, h, -h},   // top
                                                        {-h, -h, -h}, {h, -h, -h},  {-h, -h, h}, {h, -h, h}}); // bottom
    const std::vector<glm::vec2> texCoords = ReadTexCoords(mesh);
    const std::vector<std::uint32_t> indices = ReadIndices(mesh);
    for (std::uint32_t face = 0; face < 6; ++face)
    {
        const std::uint32_t a = 4 * face;
        CHECK(texCoords[a] == glm::vec2(0, 1));
        CHECK(texCoords[a + 1] == glm::vec2(1, 1));
        CHECK(texCoords[a + 2] == glm::vec2(0, 0));
        CHECK(texCoords[a + 3] == glm::vec2(1, 0));
        CHECK(std::vector(indices.begin() + 6 * face, indices.begin() + 6 * face + 6) ==
              std::vector<std::uint32_t>{a, a + 1, a + 3, a, a + 3, a + 2});
    }
    CheckBox({1, 1, 1}, {1, 1, 1});
}

TEST_CASE("A cube's faces are grids of vertices, row by row, and of two triangles a cell")
{
    CheckBox({2, 1, 1}, {1, 1, 1});
    CheckBox({1, 2, 1}, {1, 1, 1});
    CheckBox({1, 1, 2}, {1, 1, 1});
    CheckBox({3, 4, 5}, {2, 3, 7});
    CheckBox({7, 3, 2}, {0.1, 20.5, 1.25});
}

TEST_CASE("A cube's numbers of vertices and indices follow from its subdivisions")
{
    CHECK(CountVerticesAndIndices({1, 1, 1}) == glm::uvec2(24, 36));
    CHECK(CountVerticesAndIndices({2, 1, 1}) == glm::uvec2(32, 60));
    CHECK(CountVerticesAndIndices({10, 20, 30}) ==
          glm::uvec2(2 * (11 * 21 + 31 * 21 + 11 * 31), 12 * (200 + 600 + 300)));
}

TEST_CASE("A cube's subdivisions below 1 count as 1")
{
    CheckBox({0, 0, 0}, {1, 1, 1});
    CheckBox({-1, 3, 0}, {1, 1, 1});
    CheckBox({2, -2147483647 - 1, -7}, {1, 2, 3});
    CHECK(CountVerticesAndIndices({0, -5, 0}) == glm::uvec2(24, 36));
}

TEST_CASE("A cube's size reaches from one half below the origin to one half above")
{
    MeshRunner<Cube> runner;
    runner.SetVector3("Size", {2, 1, 1});
    const Mesh mesh = runner.Run();
    CHECK(ReadPositions(mesh).front() == glm::vec3(-1, -0.5, 0.5));
    CHECK(ReadPositions(mesh).back() == glm::vec3(1, -0.5, 0.5));
    CHECK(ReadNormals(mesh).front() == glm::vec3(0, 0, 1));
    CHECK(ReadTangents(mesh).front() == glm::vec4(1, 0, 0, 1));
    CHECK(ReadTexCoords(mesh).front() == glm::vec2(0, 1));
}

TEST_CASE("A cube without depth, width and height keeps its normals, tangents and triangles")
{
    CheckBox({2, 3, 1}, {4, 2, 0});
    CheckBox({1, 1, 1}, {0, 1, 1});
    CheckBox({2, 2, 2}, {0, 0, 0});
}

TEST_CASE("A cube of negative size is inside out: positions are mirrored, normals are not")
{
    CheckBox({2, 1, 3}, {-1, 2, 3});
    CheckBox({1, 1, 1}, {-1, -1, -1});
}

TEST_CASE("A cube's triangles run counter-clockwise seen from outside, and its tangents along growing u")
{
    MeshRunner<Cube> runner;
    Set(runner, {3, 2, 4}, {1, 2, 3});
    const Mesh mesh = runner.Run();
    const std::vector<glm::vec3> positions = ReadPositions(mesh);
    const std::vector<glm::vec3> normals = ReadNormals(mesh);
    const std::vector<glm::vec4> tangents = ReadTangents(mesh);
    const std::vector<glm::vec2> texCoords = ReadTexCoords(mesh);
    const std::vector<std::uint32_t> indices = ReadIndices(mesh);
    for (std::size_t i = 0; i < indices.size(); i += 3)
    {
        const std::uint32_t a = indices[i];
        const std::uint32_t b = indices[i + 1];
        const std::uint32_t c = indices[i + 2];
        const glm::vec3 across = glm::cross(positions[b] - positions[a], positions[c] - positions[a]);
        CHECK(glm::length(across) > 0.0f);
        CHECK(glm::dot(glm::normalize(across), normals[a]) > 0.9999f);
        CHECK(glm::dot(across, positions[a] + positions[b] + positions[c]) > 0.0f);
        CHECK(normals[b] == normals[a]);
        CHECK(normals[c] == normals[a]);
        // The direction in which u grows over the triangle.
        const glm::vec2 ab = texCoords[b] - texCoords[a];
        const glm::vec2 ac = texCoords[c] - texCoords[a];
        const float area = ab.x * ac.y - ac.x * ab.y;
        const glm::vec3 alongU = ((positions[b] - positions[a]) * ac.y - (positions[c] - positions[a]) * ab.y) / area;
        CHECK(glm::dot(glm::normalize(alongU), glm::vec3(tangents[a])) > 0.9999f);
    }
    for (const glm::vec3& normal : normals)
        CHECK(glm::length(normal) == 1.0f);
}

TEST_CASE("Cube makes a new mesh on every execution and leaves the one before as it was")
{
    MeshRunner<Cube> runner;
    CheckPublishedStays<glm::vec3>(runner, "Position", [&] { runner.SetVector3("Size", {3, 3, 3}); });
}

TEST_CASE("Cube in the steady state creates nothing on the GPU")
{
    MeshRunner<Cube> runner;
    runner.Parameter<Vector3IntParameter>("Subdivisions").SetValue({4, 5, 6});
    CheckMeshSteadyState(
        runner,
        [&](int step) {
            runner.SetVector3("Size", {1, 1, 1 + step});
        },
        0);
}

TEST_CASE("A cube of more vertices or indices than a mesh can have is an error and leaves the output")
{
    MeshRunner<Cube> runner;
    const Mesh before = runner.Run();
    for (const glm::ivec3 subdivisions :
         {glm::ivec3(100000, 100000, 1), {2147483647, 1, 1}, {1, 1, 400000000}, {2147483647, 2147483647, 2147483647}})
    {
        const LogRecorder log;
        runner.Parameter<Vector3IntParameter>("Subdivisions").SetValue(subdivisions);
        CHECK(IsSame(runner.Run(), before));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.Contains("error: "));
        CHECK(log.Contains("4294967295"));
    }
    runner.Parameter<Vector3IntParameter>("Subdivisions").SetValue({1, 1, 1});
    CHECK(ReadPositions(runner.Run()).size() == 24);
}

TEST_CASE("A cube whose vertices and indices would take more than 2 GiB is an error at once")
{
    MeshRunner<Cube> runner;
    const Mesh before = runner.Run();
    const LogRecorder log;
    // No face alone has so many: 6 * 2501^2 vertices of 48 bytes, 36 * 2500^2 indices of 4.
    runner.Parameter<Vector3IntParameter>("Subdivisions").SetValue({2500, 2500, 2500});
    CHECK(IsSame(runner.Run(), before));
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0].starts_with("error: "));
    CHECK(log.Contains("can take 2147483648 bytes, not 2701440288."));
}

TEST_CASE("Cube goes on with a size that is not finite")
{
    MeshRunner<Cube> runner;
    CheckMeshSurvivesOddNumbers(runner);
}
