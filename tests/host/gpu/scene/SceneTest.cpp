#include "Varkle/Gpu/Scene.h"

#include "Varkle/Gpu/Graphics.h"
#include "gpu/scene/SceneDrawing.h"

#include <array>
#include <glm/gtc/matrix_transform.hpp>

// Scenes that are drawn into frame buffers of others.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const FrameBufferFormat rgba{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};

/// Sees the square from -2 to 2 in the plane z = 0, in a picture of that size.
SceneCamera SquareCamera(int size)
{
    return LookAt({0, 0, 4}, {0, 0, 0}, float(2 * glm::degrees(std::atan(0.5))), 0.1f, {size, size});
}

/// A square of one color from -0.5 to 0.5 that faces +Z.
Mesh Tile(const glm::vec4& color)
{
    std::vector<glm::vec3> corners{{-0.5, -0.5, 0}, {0.5, -0.5, 0}, {-0.5, 0.5, 0}, {0.5, 0.5, 0}};
    const Mesh tile = With(Mesh(), Attributes::Position, corners).SetMaterial(Unlit(color));
    return Indexed(tile, std::vector<std::uint32_t>{0, 1, 2, 2, 1, 3}, wgpu::PrimitiveTopology::TriangleList);
}

glm::mat4 PlaceAt(const glm::vec3& position)
{
    return glm::translate(glm::mat4(1.0f), position);
}

std::array<std::uint64_t, 6> CountMade()
{
    const GpuCounters counters = Graphics::GetCounters();
    return {counters.shadersCompiled, counters.pipelinesCreated, counters.bindGroupsCreated,
            counters.samplersCreated, counters.buffersCreated,   counters.texturesCreated};
}

} // namespace

TEST_CASE("A scene draws meshes and models at their places, nearer ones over farther ones")
{
    Scene scene;
    scene.Add(Tile(red), PlaceAt({-1.5, 1.5, 0}));
    scene.Add(Tile(green), PlaceAt({1.5, -1.5, 0}));
    scene.Add(ModelOf({Node(PlaceAt({1, 0, 0}), Tile({0, 0, 1, 1}))}), PlaceAt({0.5, 1.5, 0}));
    scene.Add(Tile(red), PlaceAt({1.5, -1.5, -1})); // behind the green one
    const FrameBuffer target = AllocateFrameBuffer({16, 16}, rgba);
    REQUIRE(scene.Draw(target, SquareCamera(16), {0, 0, 0, 1}));
    const Image image = ReadBack(target.GetColorTarget(0));
    CHECK(At(image, 2, 2) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 13, 13) == Rgba8{0, 255, 0, 255});
    CHECK(At(image, 13, 2) == Rgba8{0, 0, 255, 255});
    CHECK(At(image, 2, 13) == black);
    CHECK(At(image, 8, 8) == black);

    scene.Clear();
    REQUIRE(scene.Draw(target, SquareCamera(16), {1, 1, 0, 1}));
    CHECK(IsFilled(ReadBack(target.GetColorTarget(0)), {255, 255, 0, 255}));
}

TEST_CASE("A scene over a transparent background comes out not premultiplied, in the target's format")
{
    Scene scene;
    scene.Add(Tile({1, 0.2, 0, 0.4}));
    const FrameBuffer target = AllocateFrameBuffer({16, 16}, rgba);
    REQUIRE(scene.Draw(target, SquareCamera(16), {0, 0, 0, 0}));
    const Image image = ReadBack(target.GetColorTarget(0));
    CHECK(Near(At(image, 8, 8), {255, 51, 0, 102}));
    CHECK(At(image, 1, 1).a == 0);

    const FrameBuffer narrow = AllocateFrameBuffer({16, 16}, {.colorFormats = {wgpu::TextureFormat::R8Unorm}});
    REQUIRE(scene.Draw(narrow, SquareCamera(16), {0, 0, 0, 0}));
    CHECK(At(ReadBack(narrow.GetColorTarget(0)), 8, 8) == Rgba8{255, 0, 0, 255});
}

TEST_CASE("A mesh at many places is one draw, in one submit")
{
    Scene scene;
    const Mesh tile = Tile(red);
    for (int i = 0; i < 100; ++i)
        scene.Add(tile, PlaceAt({float(i % 10) - 5, float(i / 10) - 5, 0}));
    const FrameBuffer target = AllocateFrameBuffer({16, 16}, rgba);
    REQUIRE(scene.Draw(target, SquareCamera(16), {0, 0, 0, 1}));
    const GpuCounters before = Graphics::GetCounters();
    REQUIRE(scene.Draw(target, SquareCamera(16), {0, 0, 0, 1}));
    CHECK(Graphics::GetCounters().draws == before.draws + 1);
    CHECK(Graphics::GetCounters().submits == before.submits + 1); // nothing is read back
}

TEST_CASE("A scene whose meshes are new in every frame creates nothing on the GPU once it is warm")
{
    for (const float alpha : {1.0f, 0.0f})
    {
        Scene scene;
        const auto frame = [&](int number)
        {
            scene.Clear();
            for (int i = 0; i < 3; ++i)
                scene.Add(Tile({float(number % 2), float(i % 2), 0, 1}),
                          PlaceAt({float(i) - 1, 0, 0.1f * float(number)}));
            const FrameBuffer target = AllocateFrameBuffer({16, 16}, rgba);
            CHECK(scene.Draw(target, SquareCamera(16), {0, 0, 0, alpha}));
            CHECK(Near(At(ReadBack(target.GetColorTarget(0)), 8, 8), {std::uint8_t(255 * (number % 2)), 255, 0, 255}));
        };
        for (int number = 0; number < 4; ++number)
            frame(number);
        const auto before = CountMade();
        for (int number = 4; number < 12; ++number)
            frame(number);
        CHECK(CountMade() == before);
    }
}

TEST_CASE("Framing finds the sphere around a scene, also after it changed, and waits only if it may")
{
    Scene scene;
    SceneFraming framing;
    CHECK_FALSE(framing.Find(scene, true));
    scene.Add(Tile(red), PlaceAt({2, 0, 0}));
    CHECK_FALSE(framing.Find(scene, false));
    const std::optional<SceneFocus> one = framing.Find(scene, true);
    REQUIRE(one);
    CHECK(one->center == glm::vec3(2, 0, 0));
    CHECK(one->radius == Approx(std::sqrt(0.5)));
    scene.Add(Tile(red), PlaceAt({-2, 0, 0}));
    const std::optional<SceneFocus> both = framing.Find(scene, true);
    REQUIRE(both);
    CHECK(both->center == glm::vec3(0, 0, 0));
}

TEST_CASE("A camera looks from its position at its target with +Y up, also straight down")
{
    Scene scene;
    scene.Add(Tile(red),
              PlaceAt({1, 0.5, -1}) * glm::rotate(glm::mat4(1.0f), glm::radians(-90.0f), glm::vec3(1, 0, 0)));
    const FrameBuffer target = AllocateFrameBuffer({16, 16}, rgba);
    const SceneCamera down = LookAt({0, 4.5, 0}, {0, 0, 0}, float(2 * glm::degrees(std::atan(0.5))), 0.1f, {16, 16});
    REQUIRE(scene.Draw(target, down, {0, 0, 0, 1}));
    const Image image = ReadBack(target.GetColorTarget(0));
    CHECK(At(image, 12, 4) == Rgba8{255, 0, 0, 255}); // +X is right, -Z up
    CHECK(At(image, 4, 12) == black);
}

TEST_CASE("A picture of a scene with too many pixels is refused with its size and the limit")
{
    const FrameBuffer target = AllocateFrameBuffer({8193, 8192}, {.colorFormats = {wgpu::TextureFormat::R8Unorm}});
    const LogRecorder log;
    Scene scene;
    scene.Add(Tile(red));
    CHECK_FALSE(scene.Draw(target, SquareCamera(16), {0, 0, 0, 1}));
    CHECK(log.Contains("A picture of a scene of 8193 by 8192 pixels is too large: it can have 67108864"));
    CHECK_FALSE(scene.Draw(FrameBuffer(), SquareCamera(16), {0, 0, 0, 1}));
}
