#include "gpu/scene/SceneDrawing.h"

#include "Varkle/Gpu/Graphics.h"

#include <algorithm>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/packing.hpp>
#include <limits>

// What is drawn and where: primitives, attributes, models, the camera.

using namespace Varkle;
using namespace Varkle::Testing;

// ---- Primitives ----

TEST_CASE("Every topology is drawn, with indices of both kinds and without")
{
    using enum wgpu::PrimitiveTopology;
    const std::vector<glm::vec3> corners{{-1, -1, 0}, {1, -1, 0}, {-1, 1, 0}, {1, 1, 0}};
    const Mesh bare = With(Mesh(), Attributes::Position, corners).SetMaterial(Unlit(red));
    const Image filled = Draw(BareQuad().SetMaterial(Unlit(red)));
    const auto count = [](const Image& image)
    {
        int pixels = 0;
        for (int y = 0; y < image.GetHeight(); ++y)
            for (int x = 0; x < image.GetWidth(); ++x)
                pixels += At(image, x, y).r > 0 ? 1 : 0;
        return pixels;
    };
    SceneView view = Front();
    view.distance = 6.0f;

    CHECK(Alike(Draw(Indexed(bare, std::vector<std::uint32_t>{0, 1, 2, 3}, TriangleStrip)), filled));
    CHECK(Alike(Draw(Indexed(bare, std::vector<std::uint16_t>{0, 1, 2, 3}, TriangleStrip)), filled));
    // A strip begins anew behind the largest number.
    CHECK(Alike(Draw(Indexed(bare, std::vector<std::uint16_t>{0, 1, 2, 0xffff, 2, 1, 3}, TriangleStrip)), filled));
    // An odd number of 16-bit indices.
    CHECK(Alike(Draw(Indexed(bare, std::vector<std::uint16_t>{0, 1, 2, 2, 1, 3, 3, 3, 3})), filled));
    const std::vector<glm::vec3> triangles{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
    CHECK(Alike(Draw(With(Mesh(), Attributes::Position, triangles).SetMaterial(Unlit(red))), filled));

    // The square has a side of about 10 pixels.
    const int list = count(Draw(Indexed(bare, std::vector<std::uint32_t>{0, 3}, LineList), view));
    const int strip = count(Draw(Indexed(bare, std::vector<std::uint32_t>{0, 1, 3, 2, 0}, LineStrip), view));
    const int points = count(Draw(Indexed(bare, std::vector<std::uint32_t>{0, 1, 2, 3}, PointList), view));
    INFO(list << ' ' << strip << ' ' << points);
    CHECK((list >= 8 && list <= 32));
    CHECK((strip >= 32 && strip <= 88));
    CHECK((points >= 4 && points <= 16));
}

TEST_CASE("Attributes may have other formats of floats and normalized integers")
{
    using enum wgpu::VertexFormat;
    const std::vector<glm::vec4> floats(4, {1, 0.2, 0.4, 1});
    const Image expected = Draw(With(BareQuad(), Attributes::Color0, floats).SetMaterial(Unlit(glm::vec4(1))));
    const std::vector<std::uint32_t> colors(4, 0xff6633ff);
    const Mesh colored = With(BareQuad(), "Color0", Unorm8x4, colors).SetMaterial(Unlit(glm::vec4(1)));
    CHECK(Alike(Draw(colored), expected));

    const auto half = [](float x, float y) { return glm::packHalf4x16({x, y, 0, 1}); };
    const std::vector<std::uint64_t> halves{half(-1, -1), half(1, -1), half(1, 1), half(-1, 1)};
    CHECK(Alike(Draw(With(colored, "Position", Float16x4, halves)), expected));
    const std::vector<glm::vec2> flat{{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    CHECK(Alike(Draw(With(colored, "Position", Float32x2, flat)), expected));
}

TEST_CASE("Attributes that can't be used count as missing")
{
    using enum wgpu::VertexFormat;
    const Image white = Draw(BareQuad().SetMaterial(Unlit(glm::vec4(1))));
    const Mesh quad = BareQuad().SetMaterial(Unlit(glm::vec4(1)));
    const LogRecorder log;
    CHECK(Alike(Draw(With(quad, "Color0", Uint32x4, std::vector<glm::uvec4>(4))), white));
    CHECK(Alike(Draw(With(quad, "Color0", Unorm8x2, std::vector<std::uint16_t>(4))), white));
    CHECK(Alike(Draw(With(quad, "Color0", Float32x4, std::vector<glm::vec4>(3))), white)); // a vertex too few
    CHECK(IsFilled(Draw(With(quad, "Position", Sint32x3, std::vector<glm::ivec3>(4))), black));
    CHECK(log.lines.empty());
}

TEST_CASE("Nothing to draw leaves the background")
{
    const LogRecorder log;
    const Mesh noPositions = With(Mesh(), Attributes::Normal, std::vector<glm::vec3>(3));
    const Mesh noVertices = Mesh().AddAttribute(Attribute(Attributes::Position, 0));
    const Mesh noIndices =
        BareQuad().SetConnectivity(Connectivity(wgpu::PrimitiveTopology::TriangleList, 0, wgpu::IndexFormat::Uint32));
    for (const Mesh& mesh : {Mesh(), noPositions, noVertices, noIndices})
        CHECK(IsFilled(Draw(mesh), black));
    CHECK(IsFilled(Draw(Model()), black));
    CHECK(IsFilled(Draw(ModelOf({})), black));
    CHECK(IsFilled(Draw(std::shared_ptr<Material>()), black));
    CHECK(log.lines.empty());
}

// ---- Models ----

TEST_CASE("Meshes stand where the nodes above them put them")
{
    // A square of a quarter of the picture's side, moved into the upper right quarter by two nodes.
    ModelNode outer;
    outer.SetTransform(glm::translate(glm::mat4(1), {0.45, 0, 0}));
    outer.AddChild(Node(glm::scale(glm::translate(glm::mat4(1), {0, 0.45, 0}), glm::vec3(0.2f)),
                        BareQuad().SetMaterial(Unlit(red))));
    const Image image = Draw(ModelOf({outer}));
    CHECK(At(image, 12, 4) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 4, 4) == black);
    CHECK(At(image, 4, 12) == black);
    CHECK(At(image, 12, 12) == black);
    CHECK(Center(image) == black);
}

TEST_CASE("What is nearer hides what is farther, in whatever order they are drawn")
{
    const ModelNode farther = Node(glm::translate(glm::mat4(1), {0, 0, -0.01}), BareQuad().SetMaterial(Unlit(red)));
    const ModelNode nearer = Node(glm::translate(glm::mat4(1), {0, 0, 0.01}), BareQuad().SetMaterial(Unlit(green)));
    CHECK(IsFilled(Draw(ModelOf({farther, nearer})), {0, 255, 0, 255}));
    CHECK(IsFilled(Draw(ModelOf({nearer, farther})), {0, 255, 0, 255}));
}

TEST_CASE("A mesh that stands in many places is drawn at once")
{
    const Mesh box = Box(0.02f, true).SetMaterial(Unlit(red));
    std::vector<ModelNode> nodes;
    for (int row = -50; row < 50; ++row)
        for (int column = -50; column < 50; ++column)
            nodes.push_back(Node(glm::translate(glm::mat4(1), glm::vec3(column, row, 0) / 50.0f), box));
    const Model model = ModelOf(nodes);
    SceneRenderer renderer;
    const std::uint64_t draws = Graphics::GetCounters().draws;
    const Image image = ReadBack(renderer.Render(model, Front()));
    CHECK(Graphics::GetCounters().draws == draws + 1);
    CHECK(IsFilled(image, {255, 0, 0, 255}));
}

TEST_CASE("A tree may be deeper than the stack")
{
    ModelNode node = Node(glm::mat4(1), BareQuad().SetMaterial(Unlit(red)));
    for (int i = 0; i < 100000; ++i)
    {
        ModelNode parent;
        parent.AddChild(std::move(node));
        node = std::move(parent);
    }
    Model model;
    model.SetRootNode(std::move(node));
    CHECK(IsFilled(Draw(model), {255, 0, 0, 255}));
}

TEST_CASE("A small tree that stands for endless nodes is cut off with a warning")
{
    ModelNode node;
    for (int i = 0; i < 40; ++i)
    {
        ModelNode parent;
        parent.AddChild(node);
        parent.AddChild(node);
        node = parent;
    }
    Model model;
    model.SetRootNode(node);
    const LogRecorder log;
    CHECK(IsFilled(Draw(model), black));
    CHECK(log.Contains("warning: A model has more than 2000000 nodes or meshes"));
}

TEST_CASE("A node whose matrix is not finite shows nothing and doesn't move the camera")
{
    SceneView view = Front();
    view.focus.reset();
    const glm::mat4 infinite(std::numeric_limits<float>::infinity());
    SceneRenderer renderer;
    renderer.Render(ModelOf({Node(infinite, BareQuad()), Node(glm::mat4(1), BareQuad())}), view);
    REQUIRE(renderer.GetFocus());
    CHECK(renderer.GetFocus()->center == glm::vec3(0));
}

TEST_CASE("A material is shown on a sphere of radius 1")
{
    SceneView view = Front(32);
    view.distance.reset();
    view.focus.reset();
    SceneRenderer renderer;
    const std::shared_ptr<Material> material = Unlit(red);
    const Image image = ReadBack(renderer.Render(material, view));
    CHECK(Center(image) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 0, 0) == black);
    CHECK(At(image, 2, 16) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 4, 4) == black);
    REQUIRE(renderer.GetFocus());
    CHECK(renderer.GetFocus()->radius == Approx(1).margin(1e-5));
    // The texture's middle is in front, upright.
    const Texture quarters =
        MakeTexture({2, 2}, {Rgba8{255, 0, 0, 255}, Rgba8{0, 255, 0, 255}, Rgba8{0, 0, 255, 255}, black});
    const std::shared_ptr<Material> textured = Unlit(glm::vec4(1), quarters);
    const Image globe = ReadBack(renderer.Render(textured, view));
    CHECK(At(globe, 8, 10).r > At(globe, 8, 10).g);
    CHECK(At(globe, 24, 10).g > At(globe, 24, 10).r);
    CHECK(At(globe, 8, 22).b > At(globe, 8, 22).r);
}

// ---- Framing ----

namespace
{

struct Extent
{
    int left, right, top, bottom; // empty pixels at each side
};

Extent FindExtent(const Image& image)
{
    Extent extent{image.GetWidth(), image.GetWidth(), image.GetHeight(), image.GetHeight()};
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        for (int x = 0; x < image.GetWidth(); ++x)
        {
            if (At(image, x, y) == black)
                continue;
            extent.left = std::min(extent.left, x);
            extent.right = std::min(extent.right, image.GetWidth() - 1 - x);
            extent.top = std::min(extent.top, y);
            extent.bottom = std::min(extent.bottom, image.GetHeight() - 1 - y);
        }
    }
    return extent;
}

} // namespace

TEST_CASE("What is shown fits into the picture with a little margin, whatever its shape, place and size")
{
    struct Case
    {
        float radius;
        glm::vec3 center;
    };
    for (const Case& c : {Case{1, {0, 0, 0}}, Case{0.001f, {0, 0, 0}}, Case{500, {-3000, 100, 2000}}})
    {
        for (const glm::ivec2 size : {glm::ivec2(100, 100), glm::ivec2(200, 100), glm::ivec2(60, 120)})
        {
            SceneView view;
            view.size = size;
            view.background = {0, 0, 0, 1};
            const Extent extent = FindExtent(Draw(Sphere(c.radius, c.center).SetMaterial(Unlit(red)), view));
            INFO(c.radius << ' ' << size.x << 'x' << size.y << ": " << extent.left << ' ' << extent.right << ' '
                          << extent.top << ' ' << extent.bottom);
            const int shorter = std::min(size.x, size.y);
            const int margin = size.x <= size.y ? extent.left : extent.top;
            CHECK((margin >= shorter / 50 && margin <= shorter / 10));
            CHECK(std::abs(extent.left - extent.right) <= 1);
            CHECK(std::abs(extent.top - extent.bottom) <= 1);
        }
    }
}

TEST_CASE("The distance is in scene units: the shorter side of the picture sees 30 degrees")
{
    SceneView view = Front(100);
    view.distance = 10.0f;
    const auto sideOf = [&](glm::ivec2 size)
    {
        view.size = size;
        const Extent extent = FindExtent(Draw(BareQuad().SetMaterial(Unlit(red)), view));
        CHECK(size.y - extent.top - extent.bottom == size.x - extent.left - extent.right);
        return size.x - extent.left - extent.right;
    };
    const int expected = int(std::lround(100 / (10 * std::tan(glm::radians(15.0)))));
    CHECK(std::abs(sideOf({100, 100}) - expected) <= 1);
    CHECK(std::abs(sideOf({180, 100}) - expected) <= 1);
    CHECK(std::abs(sideOf({100, 180}) - expected) <= 1);
}

TEST_CASE("Yaw turns the camera around +Y, pitch lifts it")
{
    // A small square of its own color a little out on each axis, that faces outwards.
    const auto facing = [](const glm::vec3& outward, const glm::vec3& up, const glm::vec4& color)
    {
        const glm::vec3 right = glm::cross(up, outward);
        const glm::mat4 turn(glm::vec4(right, 0), glm::vec4(up, 0), glm::vec4(outward, 0), glm::vec4(outward, 1));
        return Node(turn, BareQuad().SetMaterial(Unlit(color)));
    };
    const Model model =
        ModelOf({facing({0, 0, 1}, {0, 1, 0}, {1, 0, 0, 1}), facing({1, 0, 0}, {0, 1, 0}, {0, 1, 0, 1}),
                 facing({0, 0, -1}, {0, 1, 0}, {0, 0, 1, 1}), facing({-1, 0, 0}, {0, 1, 0}, {1, 1, 0, 1}),
                 facing({0, 1, 0}, {0, 0, -1}, {0, 1, 1, 1}), facing({0, -1, 0}, {0, 0, 1}, {1, 0, 1, 1})});
    const auto seen = [&](float yaw, float pitch)
    {
        SceneView view = Front();
        view.yaw = yaw;
        view.pitch = pitch;
        return DrawCenter(model, view);
    };
    CHECK(seen(0, 0) == Rgba8{255, 0, 0, 255});
    CHECK(seen(90, 0) == Rgba8{0, 255, 0, 255});
    CHECK(seen(180, 0) == Rgba8{0, 0, 255, 255});
    CHECK(seen(270, 0) == Rgba8{255, 255, 0, 255});
    CHECK(seen(-90, 0) == Rgba8{255, 255, 0, 255});
    CHECK(seen(0, 90) == Rgba8{0, 255, 255, 255});
    CHECK(seen(0, -90) == Rgba8{255, 0, 255, 255});
    CHECK(seen(std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()) ==
          Rgba8{255, 0, 0, 255});
}

TEST_CASE("Seen from above, -Z is up in the picture")
{
    SceneView view = Front();
    view.pitch = 90;
    const glm::mat4 lying = glm::rotate(glm::translate(glm::mat4(1), {0, 0, -0.5}), -glm::half_pi<float>(), {1, 0, 0});
    const Image image =
        Draw(ModelOf({Node(glm::scale(lying, glm::vec3(0.3f)), BareQuad().SetMaterial(Unlit(red)))}), view);
    CHECK(At(image, 8, 3) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 8, 12) == black);
}

TEST_CASE("Vertices that aren't finite numbers don't take part in the framing")
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::vector<glm::vec3> positions{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {nan, 0, 0}, {0, infinity, 0}};
    const Mesh mesh =
        Indexed(With(Mesh(), Attributes::Position, positions), std::vector<std::uint32_t>{0, 1, 2, 0, 2, 3, 0, 4, 5})
            .SetMaterial(Unlit(red));
    SceneView view = Front();
    view.focus.reset();
    view.distance.reset();
    SceneRenderer renderer;
    const Image image = ReadBack(renderer.Render(mesh, view));
    REQUIRE(renderer.GetFocus());
    CHECK(renderer.GetFocus()->center == glm::vec3(0));
    CHECK(renderer.GetFocus()->radius == Approx(std::sqrt(2.0)));
    CHECK(Center(image) == Rgba8{255, 0, 0, 255});

    const Mesh lost = With(Mesh(), Attributes::Position, std::vector<glm::vec3>(3, glm::vec3(nan)));
    CHECK(Draw(lost, view).IsValid());
}

TEST_CASE("A single point is looked at, too")
{
    SceneView view = Front();
    view.focus.reset();
    view.distance.reset();
    const Mesh point = Indexed(With(Mesh(), Attributes::Position, std::vector<glm::vec3>{{5, 6, 7}}),
                               std::vector<std::uint32_t>{0}, wgpu::PrimitiveTopology::PointList)
                           .SetMaterial(Unlit(red));
    const Image image = Draw(point, view);
    const auto reds = [&](int x, int y) { return int(At(image, x, y).r); };
    CHECK(reds(7, 7) + reds(7, 8) + reds(8, 7) + reds(8, 8) > 100);
}

TEST_CASE("A view may say itself what it looks at")
{
    SceneView view = Front();
    view.focus = SceneFocus{{10, 0, 0}, 1};
    SceneRenderer renderer;
    CHECK(IsFilled(ReadBack(renderer.Render(BareQuad(), view)), black));
    CHECK(renderer.GetFocus() == view.focus);
}
