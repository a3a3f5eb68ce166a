#include "scene/MeshBounds.h"

#include "Varkle/Gpu/SceneRenderer.h"
#include "scene/StudioLight.h"
#include "support/Catch.h"

#include <glm/geometric.hpp>
#include <glm/gtc/constants.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/packing.hpp>
#include <glm/vec4.hpp>
#include <limits>

using namespace Varkle;

namespace
{

template<class T>
MeshBounds Measure(const std::vector<T>& values, wgpu::VertexFormat format)
{
    return MeasurePositions(std::as_bytes(std::span(values)), format);
}

std::shared_ptr<const MeshBounds> Cube(double half)
{
    MeshBounds bounds;
    bounds.known = true;
    bounds.empty = false;
    bounds.low = glm::dvec3(-half);
    bounds.high = glm::dvec3(half);
    bounds.radius = half * std::sqrt(3.0);
    return std::make_shared<MeshBounds>(bounds);
}

} // namespace

TEST_CASE("A mesh's bounds are the box around its positions, and the distance of the farthest from its middle")
{
    const MeshBounds bounds =
        Measure(std::vector<glm::vec3>{{1, 2, 3}, {5, 2, 3}, {3, 4, 3}}, wgpu::VertexFormat::Float32x3);
    CHECK(bounds.known);
    CHECK_FALSE(bounds.empty);
    CHECK(bounds.low == glm::dvec3(1, 2, 3));
    CHECK(bounds.high == glm::dvec3(5, 4, 3));
    CHECK(bounds.radius == Approx(std::sqrt(5.0))); // from (3, 3, 3) to (1, 2, 3)
}

TEST_CASE("Bounds leave out positions that aren't finite, and are empty without any other")
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const MeshBounds bounds = Measure(std::vector<glm::vec3>{{nan, 0, 0}, {1, 1, 1}, {0, 0, -infinity}, {3, 1, 1}},
                                      wgpu::VertexFormat::Float32x3);
    CHECK(bounds.low == glm::dvec3(1, 1, 1));
    CHECK(bounds.high == glm::dvec3(3, 1, 1));
    CHECK(bounds.radius == Approx(1));
    CHECK(Measure(std::vector<glm::vec3>{{nan, 0, 0}}, wgpu::VertexFormat::Float32x3).empty);
    CHECK(Measure(std::vector<glm::vec3>{}, wgpu::VertexFormat::Float32x3).empty);
}

TEST_CASE("Bounds read positions of every format that can be drawn")
{
    using enum wgpu::VertexFormat;
    const auto highest = [](const MeshBounds& bounds) { return bounds.high; };
    CHECK(highest(Measure(std::vector<float>{2}, Float32)) == glm::dvec3(2, 0, 0));
    CHECK(highest(Measure(std::vector<glm::vec2>{{2, 3}}, Float32x2)) == glm::dvec3(2, 3, 0));
    CHECK(highest(Measure(std::vector<glm::vec4>{{2, 3, 4, 9}}, Float32x4)) == glm::dvec3(2, 3, 4));
    CHECK(highest(Measure(std::vector<std::uint64_t>{glm::packHalf4x16({2, 3, 4, 9})}, Float16x4)) ==
          glm::dvec3(2, 3, 4));
    CHECK(highest(Measure(std::vector<std::uint32_t>{0x40003c00}, Float16x2)) == glm::dvec3(1, 2, 0));
    CHECK(highest(Measure(std::vector<std::uint64_t>{0xffff'0000'ffff'ffff}, Unorm16x4)) == glm::dvec3(1, 1, 0));
    CHECK(highest(Measure(std::vector<std::uint32_t>{0x7fff8001}, Snorm16x2)) == glm::dvec3(-1, 1, 0));
    CHECK(highest(Measure(std::vector<std::uint32_t>{0x00ff00ff}, Unorm8x4)) == glm::dvec3(1, 0, 1));
    CHECK(highest(Measure(std::vector<std::uint32_t>{0x007f817f}, Snorm8x4)) == glm::dvec3(1, -1, 1));
    CHECK(Measure(std::vector<std::uint32_t>{1, 2, 3}, Uint32x3).empty);
}

TEST_CASE("The sphere around what stands in a scene reaches its farthest points")
{
    const glm::mat4 right = glm::translate(glm::mat4(1), {10, 0, 0});
    const std::vector<PlacedBounds> two{{Cube(1), glm::mat4(1)}, {Cube(1), right}};
    const std::optional<SceneFocus> focus = Enclose(two);
    REQUIRE(focus);
    CHECK(focus->center == glm::vec3(5, 0, 0));
    CHECK(focus->radius == Approx(std::sqrt(38.0))); // to (11, 1, 1)

    CHECK_FALSE(Enclose({}));
    const auto unknown = std::make_shared<MeshBounds>();
    CHECK_FALSE(Enclose(std::vector<PlacedBounds>{{unknown, glm::mat4(1)}}));
    CHECK(Enclose(std::vector<PlacedBounds>{{unknown, right}, {Cube(1), glm::mat4(1)}})->center == glm::vec3(0));
}

TEST_CASE("Turning a thing does not widen the sphere around it")
{
    for (const float angle : {0.0f, 20.0f, 45.0f})
    {
        const glm::mat4 turned = glm::scale(glm::rotate(glm::mat4(1), glm::radians(angle), {0, 1, 0}), glm::vec3(2));
        const std::optional<SceneFocus> focus = Enclose(std::vector<PlacedBounds>{{Cube(1), turned}});
        REQUIRE(focus);
        CHECK(focus->radius == Approx(2.0 * std::sqrt(3.0)).epsilon(1e-5));
    }
}

TEST_CASE("Even light is white from everywhere, for every surface")
{
    const StudioLight& light = GetStudioLight(SceneLight::Even);
    for (const glm::dvec3 direction : {glm::dvec3(1, 0, 0), glm::dvec3(0, -1, 0), glm::dvec3(0.6, 0, -0.8)})
    {
        const glm::dvec4 v(direction, 1.0);
        CHECK(GetRadiance(light, direction) == Approx(1));
        CHECK(glm::dot(v, light.diffuse * v) == Approx(1));
    }
}

TEST_CASE("What the studio sheds on a surface is the light of all directions above it")
{
    const StudioLight& light = GetStudioLight(SceneLight::Studio);
    for (const glm::dvec3 normal : {glm::dvec3(0, 1, 0), glm::dvec3(0, -1, 0), glm::dvec3(0, 0, 1),
                                    glm::dvec3(-1, 0, 0), glm::dvec3(0.6, 0, -0.8)})
    {
        constexpr int rows = 100;
        double sum = 0.0;
        for (int row = 0; row < rows; ++row)
        {
            for (int column = 0; column < 2 * rows; ++column)
            {
                const double step = glm::pi<double>() / rows;
                const double down = step * (row + 0.5);
                const double around = step * (column + 0.5);
                const glm::dvec3 d(std::sin(down) * std::sin(around), std::cos(down),
                                   std::sin(down) * std::cos(around));
                sum += GetRadiance(light, d) * std::max(glm::dot(d, normal), 0.0) * std::sin(down) * step * step;
            }
        }
        const glm::dvec4 v(normal, 1.0);
        // Nine spherical harmonics hold all but a few hundredths of it.
        CHECK(glm::dot(v, light.diffuse * v) == Approx(sum / glm::pi<double>()).margin(0.06));
    }
}
