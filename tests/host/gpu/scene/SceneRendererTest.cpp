#include "gpu/scene/SceneDrawing.h"

#include "Varkle/Gpu/Graphics.h"

#include <array>

// What a renderer keeps from picture to picture.

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("A view that may not wait shows a mesh as soon as its size is known")
{
    SceneView view = Front();
    view.focus.reset();
    view.mayWait = false;
    SceneRenderer renderer;
    const Mesh mesh = BareQuad().SetMaterial(Unlit(red));
    Image image = ReadBack(renderer.Render(mesh, view));
    CHECK(IsFilled(image, black));
    CHECK_FALSE(renderer.GetFocus());
    // Reading it back has waited for the GPU, so the next one knows.
    image = ReadBack(renderer.Render(mesh, view));
    CHECK(Center(image) == Rgba8{255, 0, 0, 255});
    REQUIRE(renderer.GetFocus());
    CHECK(renderer.GetFocus()->radius == Approx(std::sqrt(2.0)));

    // A mesh that changes in every frame is framed as the one before.
    for (int frame = 0; frame < 5; ++frame)
        image = ReadBack(renderer.Render(BareQuad().SetMaterial(Unlit(green)), view));
    CHECK(Center(image) == Rgba8{0, 255, 0, 255});
}

namespace
{

struct Made
{
    explicit Made(const GpuCounters& counters)
        : objects{counters.shadersCompiled, counters.pipelinesCreated, counters.bindGroupsCreated,
                  counters.samplersCreated, counters.buffersCreated,   counters.texturesCreated}
    {
    }
    bool operator==(const Made&) const = default;
    std::array<std::uint64_t, 6> objects;
};

} // namespace

TEST_CASE("Drawing the same things again creates nothing on the GPU")
{
    const auto glass = Pbr({0.5, 0.5, 1, 0.5}, 0, 0.1f);
    glass->SetAlphaMode(GltfPbrMaterial::AlphaMode::Blend);
    glass->SetBaseColorTexture(Filled({8, 8}, {255, 255, 255, 128}));
    const Model model = ModelOf({Node(glm::mat4(1), Box(1, true)), Node(glm::mat4(1), Quad().SetMaterial(glass)),
                                 Node(glm::scale(glm::mat4(1), glm::vec3(-1)), Quad().SetMaterial(Unlit(red)))});
    for (const float alpha : {1.0f, 0.0f})
    {
        SceneView view = Front();
        view.background.a = alpha;
        SceneRenderer renderer;
        renderer.Render(model, view);
        renderer.Render(model, view);
        const Made before(Graphics::GetCounters());
        const std::uint64_t uploaded = Graphics::GetCounters().bytesUploaded;
        for (int frame = 0; frame < 10; ++frame)
        {
            view.yaw += 10;
            renderer.Render(model, view);
        }
        CHECK(Made(Graphics::GetCounters()) == before);
        CHECK(Graphics::GetCounters().bytesUploaded - uploaded < 10240); // ten cameras
    }
}

TEST_CASE("A mesh and a texture that are new in every frame take the place of those before")
{
    SceneView view = Front();
    view.focus.reset();
    view.mayWait = false;
    SceneRenderer renderer;
    const auto frame = [&](int level)
    {
        const Texture texture = Filled({16, 16}, {std::uint8_t(level), 0, 0, 255});
        const Image image = ReadBack(renderer.Render(Quad().SetMaterial(Unlit(glm::vec4(1), texture)), view));
        return int(Center(image).r);
    };
    for (int level = 0; level < 8; ++level)
        frame(level);
    const Made before(Graphics::GetCounters());
    for (int level = 100; level < 130; ++level)
        CHECK(frame(level) == level);
    CHECK(Made(Graphics::GetCounters()) == before);
}

TEST_CASE("One renderer may show different things by turns")
{
    SceneRenderer renderer;
    const Mesh mesh = BareQuad().SetMaterial(Unlit(red));
    const Model model = ModelOf({Node(glm::mat4(1), BareQuad().SetMaterial(Unlit(green)))});
    const std::shared_ptr<Material> material = Unlit({0, 0, 1, 1});
    for (int turn = 0; turn < 3; ++turn)
    {
        CHECK(Center(ReadBack(renderer.Render(mesh, Front()))) == Rgba8{255, 0, 0, 255});
        CHECK(Center(ReadBack(renderer.Render(model, Front()))) == Rgba8{0, 255, 0, 255});
        CHECK(Center(ReadBack(renderer.Render(material, Front()))) == Rgba8{0, 0, 255, 255});
        CHECK(Center(ReadBack(renderer.Render(Model(), Front()))) == black);
    }
}

TEST_CASE("A renderer goes on with the next device, and shows nothing of the one before")
{
    SceneRenderer renderer;
    const auto material = Pbr(red, 0, 1);
    material->SetBaseColorTexture(Filled({4, 4}, {255, 255, 255, 255}));
    const Mesh old = Quad().SetMaterial(material);
    const Rgba8 before = Center(ReadBack(renderer.Render(old, Front())));
    Graphics::Shutdown();
    const LogRecorder log;
    CHECK(Center(ReadBack(renderer.Render(old, Front()))) == black);
    const auto anew = Pbr(red, 0, 1);
    anew->SetBaseColorTexture(Filled({4, 4}, {255, 255, 255, 255}));
    CHECK(Center(ReadBack(renderer.Render(Quad().SetMaterial(anew), Front()))) == before);
    CHECK(log.lines.empty());
}

TEST_CASE("The picture is a texture of the size asked for that the pool gets back")
{
    SceneRenderer renderer;
    SceneView view = Front();
    view.size = {37, 11};
    Texture picture = renderer.Render(BareQuad(), view);
    CHECK(picture.GetWidth() == 37);
    CHECK(picture.GetHeight() == 11);
    CHECK(picture.GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
    const std::uint64_t idle = Graphics::GetCounters().idleTextures;
    picture = {};
    CHECK(Graphics::GetCounters().idleTextures == idle + 1);
}
