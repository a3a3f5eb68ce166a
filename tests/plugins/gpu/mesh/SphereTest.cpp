#include "mesh/Sphere.h"
#include "support/MeshChecks.h"

#include <glm/gtc/constants.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr double pi = glm::pi<double>();

struct Arrays
{
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<glm::vec4> tangents;
    std::vector<glm::vec2> texCoords;
    std::vector<std::uint32_t> indices;
};

Arrays ReadArrays(const Mesh& mesh)
{
    return {ReadPositions(mesh), ReadNormals(mesh), ReadTangents(mesh), ReadTexCoords(mesh), ReadIndices(mesh)};
}

Mesh Make(glm::ivec2 segments, double radius, bool smooth)
{
    MeshRunner<Sphere> runner;
    runner.Parameter<Vector2IntParameter>("Segments").SetValue(segments);
    runner.SetFloat("Radius", radius);
    runner.SetBool("Smooth Normals", smooth);
    return runner.Run();
}

// A vertex by its ring (0 is the north pole) and its meridian (0 is in the direction of +Z), in double precision.
struct Point
{
    glm::dvec3 direction;
    glm::dvec3 tangent;
    glm::dvec2 texCoord;
};

struct Globe
{
    int meridians;
    int rings;

    Point At(int ring, int meridian) const
    {
        const double theta = ring * pi / rings;
        const double phi = 2.0 * meridian * pi / meridians;
        return {{std::sin(theta) * std::sin(phi), std::cos(theta), std::sin(theta) * std::cos(phi)},
                {std::cos(phi), 0.0, -std::sin(phi)},
                {double(meridian) / meridians, double(ring) / rings}};
    }
    static Point North() { return {{0, 1, 0}, {1, 0, 0}, {0.5, 0}}; }
    static Point South() { return {{0, -1, 0}, {1, 0, 0}, {0.5, 1}}; }
};

void Append(const Point& point, double radius, glm::dvec3 normal, glm::dvec3 tangent, Arrays& arrays)
{
    arrays.positions.emplace_back(radius * point.direction);
    arrays.normals.emplace_back(normal);
    arrays.tangents.emplace_back(glm::vec3(tangent), 1.0f);
    arrays.texCoords.emplace_back(point.texCoord);
}

// Three rings of vertices or more: the pole, the rings each with a seam, the other pole.
Arrays ExpectSmooth(const Globe& globe, double radius)
{
    Arrays arrays;
    const double sign = radius < 0.0 ? -1.0 : 1.0;
    Append(Globe::North(), radius, {0, 1, 0}, {1, 0, 0}, arrays);
    for (int ring = 1; ring < globe.rings; ++ring)
    {
        for (int meridian = 0; meridian <= globe.meridians; ++meridian)
        {
            const Point point = globe.At(ring, meridian);
            Append(point, radius, sign * point.direction, point.tangent, arrays);
        }
    }
    Append(Globe::South(), radius, {0, -1, 0}, {1, 0, 0}, arrays);

    const auto at = [&](int ring, int meridian)
    { return std::uint32_t(1 + (ring - 1) * (globe.meridians + 1) + meridian); };
    std::vector<std::uint32_t>& indices = arrays.indices;
    for (int j = 0; j < globe.meridians; ++j)
        indices.insert(indices.end(), {0, at(1, j), at(1, j + 1)});
    for (int i = 1; i <= globe.rings - 2; ++i)
    {
        for (int j = 0; j < globe.meridians; ++j)
        {
            indices.insert(indices.end(), {at(i, j), at(i + 1, j), at(i + 1, j + 1)});
            indices.insert(indices.end(), {at(i, j), at(i + 1, j + 1), at(i, j + 1)});
        }
    }
    const auto south = std::uint32_t(arrays.positions.size() - 1);
    for (int j = 0; j < globe.meridians; ++j)
        indices.insert(indices.end(), {south, at(globe.rings - 1, j + 1), at(globe.rings - 1, j)});
    return arrays;
}

void AppendFacet(const std::vector<Point>& corners, double radius, Arrays& arrays)
{
    const glm::dvec3 normal = glm::normalize(glm::cross(radius * (corners[1].direction - corners[0].direction),
                                                        radius * (corners[2].direction - corners[0].direction)));
    const glm::dvec3 sum = corners[0].tangent + corners[1].tangent + corners[2].tangent;
    const glm::dvec3 tangent = glm::length(sum) > 1e-9 ? glm::normalize(sum) : corners[0].tangent;
    for (const Point& corner : corners)
    {
        arrays.indices.push_back(std::uint32_t(arrays.indices.size()));
        Append(corner, radius, normal, tangent, arrays);
    }
}

Arrays ExpectFaceted(const Globe& globe, double radius)
{
    Arrays arrays;
    for (int j = 0; j < globe.meridians; ++j)
        AppendFacet({Globe::North(), globe.At(1, j), globe.At(1, j + 1)}, radius, arrays);
    for (int i = 1; i <= globe.rings - 2; ++i)
    {
        for (int j = 0; j < globe.meridians; ++j)
        {
            AppendFacet({globe.At(i, j), globe.At(i + 1, j), globe.At(i + 1, j + 1)}, radius, arrays);
            AppendFacet({globe.At(i, j), globe.At(i + 1, j + 1), globe.At(i, j + 1)}, radius, arrays);
        }
    }
    const int last = globe.rings - 1;
    for (int j = 0; j < globe.meridians; ++j)
        AppendFacet({Globe::South(), globe.At(last, j + 1), globe.At(last, j)}, radius, arrays);
    return arrays;
}

void CheckSphere(const Globe& globe, double radius, bool smooth)
{
    INFO(globe.meridians << " by " << globe.rings << ", radius " << radius << (smooth ? ", smooth" : ", faceted"));
    const Arrays actual = ReadArrays(Make({globe.meridians, globe.rings}, radius, smooth));
    const Arrays expected = smooth ? ExpectSmooth(globe, radius) : ExpectFaceted(globe, radius);
    // Angles up to 2 pi are floats, half a millionth apart. The normal of a facet is that error over its side.
    CHECK(LargestError(actual.positions, expected.positions) < 1.5e-6 * std::abs(radius));
    CHECK(LargestError(actual.normals, expected.normals) < (smooth ? 1.5e-6 : 5e-5));
    CHECK(LargestError(actual.tangents, expected.tangents) < (smooth ? 1.5e-6 : 5e-6));
    CHECK(LargestError(actual.texCoords, expected.texCoords) < 1e-6);
    CHECK(actual.indices == expected.indices);
}

// Every triangle by its corners; winding that agrees with the corners' normals and faces away from the origin.
void CheckFacesOutwards(const Arrays& arrays)
{
    for (std::size_t i = 0; i < arrays.indices.size(); i += 3)
    {
        const glm::vec3 a = arrays.positions[arrays.indices[i]];
        const glm::vec3 b = arrays.positions[arrays.indices[i + 1]];
        const glm::vec3 c = arrays.positions[arrays.indices[i + 2]];
        const glm::vec3 across = glm::cross(b - a, c - a);
        CHECK(glm::dot(across, a + b + c) > 0.0f);
        for (std::size_t k = 0; k < 3; ++k)
            CHECK(glm::dot(across, arrays.normals[arrays.indices[i + k]]) > 0.0f);
    }
}

} // namespace

TEST_CASE("Sphere has a radius, segments and smooth normals, and gives a mesh")
{
    MeshRunner<Sphere> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Mesh Output: gives Mesh"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Radius: Float = 0.5", "Segments: Vector 2 Int = 32 16", "Smooth Normals: Bool = true"});
}

TEST_CASE("The default sphere has 497 vertices and 2,880 indices, faceted 2,880 of both")
{
    MeshRunner<Sphere> runner;
    const Mesh smooth = runner.Run();
    CHECK(DescribeAttributes(smooth) == Lines{"Position: Float32x3, 497", "Normal: Float32x3, 497",
                                              "Tangent: Float32x4, 497", "TexCoord0: Float32x2, 497"});
    REQUIRE(smooth.GetConnectivity());
    CHECK(smooth.GetConnectivity()->GetTopology() == wgpu::PrimitiveTopology::TriangleList);
    CHECK(smooth.GetConnectivity()->GetIndexFormat() == wgpu::IndexFormat::Uint32);
    CHECK(smooth.GetConnectivity()->GetIndexCount() == 2880);
    CHECK(smooth.GetMaterial() == nullptr);

    runner.SetBool("Smooth Normals", false);
    const Mesh faceted = runner.Run();
    CHECK(DescribeAttributes(faceted) == Lines{"Position: Float32x3, 2880", "Normal: Float32x3, 2880",
                                               "Tangent: Float32x4, 2880", "TexCoord0: Float32x2, 2880"});
    REQUIRE(faceted.GetConnectivity());
    CHECK(faceted.GetConnectivity()->GetIndexCount() == 2880);
}

TEST_CASE("A sphere begins at the north pole, goes on in the direction of +Z and ends at the south pole")
{
    const Arrays arrays = ReadArrays(Make({4, 2}, 2.0, true));
    REQUIRE(arrays.positions.size() == 7);
    CHECK(arrays.positions.front() == glm::vec3(0, 2, 0));
    CHECK(arrays.normals.front() == glm::vec3(0, 1, 0));
    CHECK(arrays.tangents.front() == glm::vec4(1, 0, 0, 1));
    CHECK(arrays.texCoords.front() == glm::vec2(0.5, 0));
    CHECK(arrays.positions.back() == glm::vec3(0, -2, 0));
    CHECK(arrays.normals.back() == glm::vec3(0, -1, 0));
    CHECK(arrays.tangents.back() == glm::vec4(1, 0, 0, 1));
    CHECK(arrays.texCoords.back() == glm::vec2(0.5, 1));
    // The equator: +Z, +X, -Z, -X and +Z again.
    const glm::vec3 equator[] = {{0, 0, 2}, {2, 0, 0}, {0, 0, -2}, {-2, 0, 0}, {0, 0, 2}};
    const glm::vec3 tangents[] = {{1, 0, 0}, {0, 0, -1}, {-1, 0, 0}, {0, 0, 1}, {1, 0, 0}};
    for (std::size_t j = 0; j < 5; ++j)
    {
        CHECK(glm::length(arrays.positions[1 + j] - equator[j]) < 1e-6f);
        CHECK(glm::length(glm::vec3(arrays.tangents[1 + j]) - tangents[j]) < 1e-6f);
        CHECK(arrays.texCoords[1 + j] == glm::vec2(float(j) / 4.0f, 0.5f));
    }
    CHECK(arrays.indices == std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3, 0, 3, 4, 0, 4, 5,   // the northern cap
                                                       6, 2, 1, 6, 3, 2, 6, 4, 3, 6, 5, 4}); // the southern cap
}

TEST_CASE("A smooth sphere has its vertices ring by ring and its triangles cap, bands, cap")
{
    CheckSphere({32, 16}, 0.5, true);
    CheckSphere({3, 2}, 1.0, true);
    CheckSphere({3, 3}, 1.0, true);
    CheckSphere({5, 7}, 12.5, true);
    CheckSphere({64, 3}, 0.01, true);
    CheckSphere({128, 64}, 1.0, true);
}

TEST_CASE("A faceted sphere has three vertices of its own for every triangle")
{
    CheckSphere({32, 16}, 0.5, false);
    CheckSphere({3, 3}, 1.0, false);
    CheckSphere({4, 2}, 3.0, false);
    CheckSphere({5, 7}, 12.5, false);
    CheckSphere({9, 4}, 0.01, false);
}

TEST_CASE("A faceted sphere of three meridians takes the first corner's tangent where the three cancel")
{
    CheckSphere({3, 2}, 1.0, false);
    const std::vector<glm::vec4> tangents = ReadTangents(Make({3, 2}, 1.0, false));
    REQUIRE(tangents.size() == 18);
    // The facets from 120 to 240 degrees: (1, 0, 0) and the tangents at these angles add up to nothing.
    CHECK(tangents[3] == glm::vec4(1, 0, 0, 1));
    CHECK(tangents[12] == glm::vec4(1, 0, 0, 1));
}

TEST_CASE("A sphere has at least three segments around its axis and two from pole to pole")
{
    const Arrays least = ReadArrays(Make({3, 2}, 0.5, true));
    CHECK(least.positions.size() == 6);
    CHECK(least.indices.size() == 18);
    CHECK(ReadPositions(Make({3, 2}, 0.5, false)).size() == 18);
    for (const glm::ivec2 segments : {glm::ivec2(0, 0), {1, 1}, {2, 1}, {-1, -9}, {-2147483647 - 1, 2}})
    {
        for (const bool smooth : {true, false})
        {
            const Arrays actual = ReadArrays(Make(segments, 0.5, smooth));
            const Arrays expected = ReadArrays(Make({3, 2}, 0.5, smooth));
            CHECK(actual.positions == expected.positions);
            CHECK(actual.indices == expected.indices);
        }
    }
    CHECK(ReadPositions(Make({0, 5}, 0.5, true)).size() == 2 + 4 * 4);
    CHECK(ReadPositions(Make({7, 0}, 0.5, true)).size() == 2 + 1 * 8);
}

TEST_CASE("The last meridian of a smooth sphere repeats the first with u = 1")
{
    const Arrays arrays = ReadArrays(Make({7, 5}, 0.3, true));
    for (std::size_t ring = 0; ring < 4; ++ring)
    {
        const std::size_t first = 1 + 8 * ring;
        const std::size_t last = first + 7;
        CHECK(arrays.positions[last] == arrays.positions[first]);
        CHECK(arrays.normals[last] == arrays.normals[first]);
        CHECK(arrays.tangents[last] == arrays.tangents[first]);
        CHECK(arrays.texCoords[first].x == 0.0f);
        CHECK(arrays.texCoords[last].x == 1.0f);
        CHECK(arrays.texCoords[last].y == arrays.texCoords[first].y);
    }
}

TEST_CASE("A sphere's triangles run counter-clockwise seen from outside")
{
    for (const glm::ivec2 segments : {glm::ivec2(3, 2), {5, 3}, {32, 16}})
    {
        CheckFacesOutwards(ReadArrays(Make(segments, 0.5, true)));
        CheckFacesOutwards(ReadArrays(Make(segments, 0.5, false)));
    }
}

TEST_CASE("A sphere's normals and tangents are unit vectors, and on the smooth one they are perpendicular")
{
    for (const bool smooth : {true, false})
    {
        const Arrays arrays = ReadArrays(Make({12, 9}, 40.0, smooth));
        for (std::size_t i = 0; i < arrays.positions.size(); ++i)
        {
            CHECK(glm::length(arrays.normals[i]) == Approx(1.0).margin(1e-6));
            CHECK(glm::length(glm::vec3(arrays.tangents[i])) == Approx(1.0).margin(1e-6));
            CHECK(arrays.tangents[i].w == 1.0f);
            CHECK(glm::length(arrays.positions[i]) == Approx(40.0).margin(1e-4));
            if (smooth)
                CHECK(std::abs(glm::dot(arrays.normals[i], glm::vec3(arrays.tangents[i]))) < 1e-6f);
        }
    }
}

TEST_CASE("A sphere of radius 0 is a point, its poles keep their normals")
{
    for (const bool smooth : {true, false})
    {
        const LogRecorder log;
        const Arrays arrays = ReadArrays(Make({32, 16}, 0.0, smooth));
        for (const glm::vec3& position : arrays.positions)
            CHECK(glm::length(position) == 0.0f);
        CHECK(arrays.positions.size() == (smooth ? 497 : 2880));
        CHECK(arrays.indices.size() == 2880);
        if (smooth)
        {
            CHECK(arrays.normals.front() == glm::vec3(0, 1, 0));
            CHECK(arrays.normals.back() == glm::vec3(0, -1, 0));
        }
        CHECK(log.lines.empty());
    }
}

TEST_CASE("A sphere of negative radius is mirrored at the origin")
{
    CheckSphere({6, 5}, -2.0, true);
    CheckSphere({6, 5}, -2.0, false);
}

TEST_CASE("Sphere makes a new mesh on every execution and leaves the one before as it was")
{
    MeshRunner<Sphere> runner;
    CheckPublishedStays<glm::vec3>(runner, "Position", [&] { runner.SetFloat("Radius", 2.0); });
}

TEST_CASE("Sphere in the steady state creates nothing on the GPU")
{
    MeshRunner<Sphere> runner;
    CheckMeshSteadyState(
        runner, [&](int step) { runner.SetFloat("Radius", 1.0 + step); }, 0);
}

TEST_CASE("A sphere of more vertices or indices than a mesh can have is an error and leaves the output")
{
    MeshRunner<Sphere> runner;
    const Mesh before = runner.Run();
    for (const bool smooth : {true, false})
    {
        const LogRecorder log;
        runner.SetBool("Smooth Normals", smooth);
        runner.Parameter<Vector2IntParameter>("Segments").SetValue({2147483647, smooth ? 2147483647 : 1000});
        CHECK(IsSame(runner.Run(), before));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.Contains("error: "));
        CHECK(log.Contains("4294967295"));
    }
}

TEST_CASE("A sphere whose vertices and indices would take more than 2 GiB is an error at once")
{
    MeshRunner<Sphere> runner;
    const Mesh before = runner.Run();
    struct Case
    {
        bool smooth;
        glm::ivec2 segments;
        const char* message;
    };
    const Case cases[] = {
        // 6 * 1755490152 * 1751338418 is 5,600 more than 2^64.
        {false, {1755490152, 1751338419}, "4294967295 vertices and indices, not 184467440737095"},
        {true, {1755490152, 1751338419}, "4294967295 vertices and indices, not 184467440737095"},
        {true, {20000, 20000}, "can take 2147483648 bytes, not 28799520048."},
        {false, {5000, 5000}, "can take 2147483648 bytes, not 7798440000."}, // 52 bytes for each of 149,970,000
    };
    for (const Case& test : cases)
    {
        INFO(test.message);
        const LogRecorder log;
        runner.SetBool("Smooth Normals", test.smooth);
        runner.Parameter<Vector2IntParameter>("Segments").SetValue(test.segments);
        CHECK(IsSame(runner.Run(), before));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.lines[0].starts_with("error: "));
        CHECK(log.Contains(test.message));
    }
}

TEST_CASE("Sphere goes on with a radius that is not finite")
{
    MeshRunner<Sphere> runner;
    CheckMeshSurvivesOddNumbers(runner);
}
