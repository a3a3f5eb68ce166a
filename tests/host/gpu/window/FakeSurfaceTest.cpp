#include "window/WindowSurface.h"

#include "device/GpuInternals.h"
#include "support/Catch.h"
#include "support/FakeWindows.h"
#include "support/LogRecorder.h"
#include "support/Picture.h"

#include <algorithm>
#include <cmath>
#include <limits>

using namespace Varkle;
using namespace Varkle::Gui;
using namespace Varkle::Testing;

namespace
{

constexpr auto rgba8 = wgpu::TextureFormat::RGBA8Unorm;
constexpr Rgba8 black{0, 0, 0, 255};

void DrawInto(const Texture& target, const Texture& texture, bool transparent = false)
{
    DrawFitted(texture, FrameBuffer::FromTexture(target), transparent);
}

// Returns what a window of that size shows.
Image Show(const Texture& texture, glm::ivec2 size, bool transparent = false, wgpu::TextureFormat format = rgba8)
{
    const Texture target = Texture::Create(size, format);
    DrawInto(target, texture, transparent);
    return ReadBack(target);
}

double LengthInside(double begin, double end, int texel)
{
    return std::max(0.0, std::min(end, texel + 1.0) - std::max(begin, double(texel)));
}

// Returns the average of the area of that size around a place of the picture, multiplied by alpha. The picture goes on
// beyond its edges.
glm::dvec4 Average(const Picture& picture, glm::dvec2 center, glm::dvec2 area)
{
    const glm::dvec2 begin = center - 0.5 * area;
    const glm::dvec2 end = center + 0.5 * area;
    glm::dvec4 sum{0.0};
    for (int y = -1; y <= picture.size.y; ++y)
    {
        for (int x = -1; x <= picture.size.x; ++x)
        {
            const glm::dvec4 color = picture.At(glm::clamp(glm::ivec2(x, y), glm::ivec2(0), picture.size - 1));
            sum += LengthInside(begin.x, end.x, x) * LengthInside(begin.y, end.y, y) *
                   glm::dvec4(glm::dvec3(color) * color.a, color.a);
        }
    }
    return sum / (area.x * area.y);
}

// Returns what the window is to show where the picture is, over black.
Picture Expected(const Picture& picture, glm::ivec2 window)
{
    const Placement placement = FitInto(picture.size, window);
    const glm::dvec2 scale = glm::dvec2(picture.size) / glm::dvec2(placement.size);
    return {window, [&](glm::ivec2 pixel)
            {
                const glm::ivec2 inside = pixel - placement.position;
                if (glm::any(glm::lessThan(inside, glm::ivec2(0))) ||
                    glm::any(glm::greaterThanEqual(inside, placement.size)))
                    return glm::dvec4(0, 0, 0, 1);
                const glm::dvec2 area = glm::max(scale, 1.0);
                return glm::dvec4(glm::dvec3(Average(picture, (glm::dvec2(inside) + 0.5) * scale, area)), 1);
            }};
}

Texture Checkerboard(glm::ivec2 size)
{
    return Upload(Picture(size, [](glm::ivec2 pixel)
                          { return (pixel.x + pixel.y) % 2 == 0 ? glm::dvec4(1) : glm::dvec4(0, 0, 0, 1); }));
}

std::size_t CountBlackenings(const FakeWindow& window)
{
    return std::size_t(std::ranges::count(window.calls, "ShowBlack"));
}

// Is a window that is shown pictures.
struct ShownPictures
{
    std::shared_ptr<FakeWindow> seen = std::make_shared<FakeWindow>();
    FakePlatformWindow window{seen, true};
    const std::vector<Image>& pictures = seen->pictures;
};

void FinishReadBacks()
{
    while (Graphics::WaitForReadBack(std::chrono::seconds(10)))
    {
    }
}

// Is a window without a GPU's surface and a WindowSurface for it.
struct SurfacelessWindow
{
    std::shared_ptr<FakeWindow> seen = std::make_shared<FakeWindow>();
    FakePlatformWindow window{seen, false};
    WindowSurface surface{window};
};

} // namespace

TEST_CASE("A picture fits into a window with its proportions kept, in the middle")
{
    CHECK(FitInto({1920, 1080}, {1920, 1080}) == Placement{{0, 0}, {1920, 1080}});
    CHECK(FitInto({1920, 1080}, {960, 540}) == Placement{{0, 0}, {960, 540}});
    CHECK(FitInto({200, 100}, {100, 100}) == Placement{{0, 25}, {100, 50}}); // wider: bars above and below
    CHECK(FitInto({100, 200}, {100, 100}) == Placement{{25, 0}, {50, 100}});
    CHECK(FitInto({1, 1}, {1920, 1080}) == Placement{{420, 0}, {1080, 1080}});
    CHECK(FitInto({16, 9}, {1920, 1081}) == Placement{{0, 0}, {1920, 1080}}); // the odd row is below
    CHECK(FitInto({3, 2}, {100, 100}) == Placement{{0, 16}, {100, 67}});      // 66.7 rows
    CHECK(FitInto({3, 1}, {100, 100}) == Placement{{0, 33}, {100, 33}});      // 33.3 rows
}

TEST_CASE("A picture in a window has at least one pixel")
{
    CHECK(FitInto({16384, 16384}, {1, 1}) == Placement{{0, 0}, {1, 1}});
    CHECK(FitInto({16384, 1}, {10, 10}) == Placement{{0, 4}, {10, 1}});
    CHECK(FitInto({1, 16384}, {10, 10}) == Placement{{4, 0}, {1, 10}});
    CHECK(FitInto({2147483647, 1}, {2147483647, 2147483647}).size == glm::ivec2(2147483647, 1));
}

TEST_CASE("Without a size nothing is placed")
{
    CHECK(FitInto({0, 10}, {10, 10}) == Placement{});
    CHECK(FitInto({10, 0}, {10, 10}) == Placement{});
    CHECK(FitInto({10, 10}, {0, 10}) == Placement{});
    CHECK(FitInto({10, 10}, {10, -1}) == Placement{});
}

TEST_CASE("A picture of the window's size is shown byte by byte")
{
    const Picture levels({16, 16},
                         [](glm::ivec2 pixel)
                         {
                             const int level = 16 * pixel.y + pixel.x;
                             return glm::dvec4(level, 255 - level, (level * 7) % 256, 255) / 255.0;
                         });
    for (const auto format : {rgba8, wgpu::TextureFormat::BGRA8Unorm})
        CheckPicture(Show(Upload(levels), {16, 16}, false, format), levels, 0);
}

TEST_CASE("A picture of the window's size in one direction is shown byte by byte")
{
    const Picture levels({16, 16}, [](glm::ivec2 pixel) { return glm::dvec4(16 * pixel.y + pixel.x) / 255.0; });
    const Picture opaque({16, 16}, [&](glm::ivec2 pixel) { return glm::dvec4(glm::dvec3(levels.At(pixel)), 1.0); });
    const Picture between(
        {19, 16}, [&](glm::ivec2 pixel) // 3 columns too many: one before, two after
        { return pixel.x < 1 || pixel.x > 16 ? ToUnit(black) : opaque.At(pixel - glm::ivec2(1, 0)); });
    CheckPicture(Show(Upload(opaque), {19, 16}), between, 0);
}

TEST_CASE("Around the picture the window is black")
{
    const Texture white = Filled({10, 10}, {255, 255, 255, 255});
    const auto isWhite = [](int index, int first) { return index >= first && index < first + 10; };
    for (const bool transparent : {false, true})
    {
        CheckPicture(Show(white, {15, 10}, transparent),
                     Picture({15, 10}, [&](glm::ivec2 pixel)
                             { return isWhite(pixel.x, 2) ? glm::dvec4(1) : glm::dvec4(0, 0, 0, 1); }),
                     0);
        CheckPicture(Show(white, {10, 13}, transparent),
                     Picture({10, 13}, [&](glm::ivec2 pixel)
                             { return isWhite(pixel.y, 1) ? glm::dvec4(1) : glm::dvec4(0, 0, 0, 1); }),
                     0);
    }
}

TEST_CASE("A picture that grows is interpolated between the centers of its texels")
{
    const Image image = Show(MakeTexture({2, 1}, Grays({100, 200})), {4, 2});
    // The centers of the pixels are at 0.25, 0.75, 1.25 and 1.75 texels, those of the texels at 0.5 and 1.5.
    const int expected[] = {100, 125, 175, 200};
    for (int x = 0; x < 4; ++x)
    {
        CHECK(Near(At(image, x, 0), Gray(expected[x])));
        CHECK(Near(At(image, x, 1), Gray(expected[x])));
    }
}

TEST_CASE("Pictures of any size come out as the formula says")
{
    for (const glm::ivec2 size : {glm::ivec2(5, 3), glm::ivec2(20, 20), glm::ivec2(37, 23), glm::ivec2(101, 50)})
    {
        const Picture picture = Stored(RandomPicture(size), rgba8);
        for (const glm::ivec2 window : {glm::ivec2(17, 11), glm::ivec2(20, 19), glm::ivec2(36, 23), glm::ivec2(64, 9)})
        {
            INFO(size.x << "x" << size.y << " in " << window.x << "x" << window.y);
            CheckPicture(Show(Upload(picture), window), Expected(picture, window));
        }
    }
}

TEST_CASE("A fine checkerboard becomes gray when it shrinks")
{
    const auto check = [](int factor, double evenShare, double oddShare)
    {
        INFO(factor << " times smaller");
        const Image image = Show(Checkerboard({12 * factor, 12 * factor}), {12, 12});
        for (int y = 0; y < 12; ++y)
        {
            for (int x = 0; x < 12; ++x)
            {
                const double share = (x + y) % 2 == 0 ? evenShare : oddShare;
                CHECK(Near(At(image, x, y), ToRgba8(glm::dvec4(share, share, share, 1))));
            }
        }
    };
    check(2, 0.5, 0.5);
    check(3, 5.0 / 9, 4.0 / 9); // of 3 by 3 squares 5 have the color of the one in the middle
    check(4, 0.5, 0.5);
    check(8, 0.5, 0.5);
}

TEST_CASE("No texel is left out when a picture shrinks to an eighth")
{
    for (int i = 0; i < 64; ++i)
    {
        std::vector<Rgba8> pixels(64, black);
        pixels[std::size_t(i)] = {255, 255, 255, 255};
        CHECK(At(Show(MakeTexture({8, 8}, pixels), {1, 1}), 0, 0) == Gray(4)); // 255 / 64
    }
}

TEST_CASE("A picture a hundred times as large as the window is shown without a complaint")
{
    const LogRecorder log;
    const Image image = Show(Filled({1600, 100}, {10, 20, 30, 255}), {16, 3});
    CHECK(At(image, 0, 0) == black);
    CHECK(Near(At(image, 7, 1), {10, 20, 30, 255}));
    CHECK(At(image, 15, 2) == black);
    CHECK(log.lines.empty());
}

TEST_CASE("What is not opaque lies over black")
{
    const Image image = Show(Filled({2, 2}, {200, 100, 50, 51}), {2, 2}); // a fifth
    CHECK(Near(At(image, 0, 0), {40, 20, 10, 255}));
    CHECK(At(image, 0, 0).a == 255);
}

TEST_CASE("In a transparent window colors are multiplied by alpha, which stays")
{
    const Image image = Show(Filled({2, 2}, {200, 100, 50, 51}), {4, 2}, true);
    CHECK(At(image, 0, 0) == black);
    CHECK(Near(At(image, 1, 0), {40, 20, 10, 51}));
    CHECK(At(Show(Filled({2, 2}, {255, 255, 255, 0}), {2, 2}, true), 0, 0) == Rgba8{0, 0, 0, 0});
}

TEST_CASE("The color of what can't be seen does not bleed")
{
    const Texture edge = MakeTexture({2, 1}, {{255, 0, 0, 0}, {0, 0, 200, 255}});
    for (const glm::ivec2 size : {glm::ivec2(8, 4), glm::ivec2(1, 1)})
    {
        const Image image = Show(edge, size, true);
        for (int x = 0; x < size.x; ++x)
        {
            const Rgba8 pixel = At(image, x, 0);
            CHECK(pixel.r == 0);
            CHECK(std::abs(pixel.b - 200 * pixel.a / 255) <= 1);
        }
    }
    CHECK(Near(At(Show(edge, {1, 1}, true), 0, 0), {0, 0, 100, 128}));
}

TEST_CASE("An empty texture is black")
{
    for (const bool transparent : {false, true})
    {
        const Texture target = Filled({3, 2}, {255, 255, 255, 255});
        DrawInto(target, {}, transparent);
        CheckPicture(ReadBack(target), Picture({3, 2}, [](glm::ivec2) { return glm::dvec4(0, 0, 0, 1); }), 0);
    }
}

TEST_CASE("Textures of all formats are shown as shaders read them")
{
    const Picture picture({3, 1},
                          [](glm::ivec2 pixel) { return glm::dvec4(glm::dvec3(0.2, 0.4, 0.6) + 0.1 * pixel.x, 1); });
    for (const auto format :
         {wgpu::TextureFormat::R8Unorm, wgpu::TextureFormat::RG8Unorm, rgba8, wgpu::TextureFormat::BGRA8Unorm,
          wgpu::TextureFormat::R16Float, wgpu::TextureFormat::RG16Float, wgpu::TextureFormat::RGBA16Float})
    {
        INFO(GetTextureFormatName(format));
        const Picture opaque({3, 1}, [&](glm::ivec2 pixel)
                             { return glm::dvec4(glm::dvec3(Stored(picture, format).At(pixel)), 1); });
        CheckPicture(Show(Upload(picture, format), {3, 1}), opaque);
    }
    if (Graphics::HasFeature(wgpu::FeatureName::Float32Filterable))
    {
        CheckPicture(Show(Upload(picture, wgpu::TextureFormat::RGBA32Float), {3, 1}), picture);
        CheckPicture(Show(Upload(picture, wgpu::TextureFormat::RGBA32Float), {7, 3}), Expected(picture, {7, 3}));
    }
    // Decoded: ((128 / 255 + 0.055) / 1.055)^2.4 is 0.2159.
    const Texture encoded = Texture::FromImage(MakeImage({1, 1}, {Gray(128)}), true);
    CHECK(Near(At(Show(encoded, {1, 1}), 0, 0), Gray(55)));
}

TEST_CASE("Colors beyond what a screen shows are clamped")
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Texture texture =
        MakeFloatTexture({3, 1}, {{-1, 0.2f, 5, 1}, {infinity, -infinity, 0.4f, 1}, {0.6f, 0.8f, 2, 3}});
    const Image same = Show(texture, {3, 1});
    CHECK(Near(At(same, 0, 0), {0, 51, 255, 255}));
    CHECK(Near(At(same, 1, 0), {255, 0, 102, 255}));
    CHECK(Near(At(same, 2, 0), {153, 204, 255, 255}));
    const Image smaller = Show(texture, {1, 1});
    CHECK(Near(At(smaller, 0, 0), {136, 85, 204, 255})); // thirds of 0 + 255 + 153, 51 + 0 + 204, 255 + 102 + 255
}

TEST_CASE("What is not a number is black and stays where it is")
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Texture texture =
        MakeFloatTexture({3, 1}, {{0.6f, 0.6f, 0.6f, 1}, {nan, nan, 0.6f, 1}, {0.6f, 0.6f, nan, nan}});
    const Image same = Show(texture, {3, 1});
    CHECK(Near(At(same, 0, 0), {153, 153, 153, 255}));
    CHECK(Near(At(same, 1, 0), {0, 0, 153, 255}));
    CHECK(Near(At(same, 2, 0), black));
    const Image larger = Show(texture, {9, 3});
    CHECK(Near(At(larger, 1, 1), {153, 153, 153, 255}));
    CHECK(Near(At(larger, 2, 1), {102, 102, 153, 255})); // a third of the way to the texel
    const Image smaller = Show(texture, {1, 1});
    CHECK(Near(At(smaller, 0, 0), {51, 51, 102, 255}));
}

TEST_CASE("Drawing the same pictures again makes nothing anew")
{
    REQUIRE(Graphics::Start());
    const Texture textures[] = {Filled({8, 8}, {1, 2, 3, 255}), Filled({5, 4}, {4, 5, 6, 255}), {}};
    const Texture targets[] = {Texture::Create({16, 9}, rgba8),
                               Texture::Create({3, 3}, wgpu::TextureFormat::BGRA8Unorm)};
    const auto drawAll = [&]
    {
        for (const Texture& target : targets)
        {
            for (const Texture& texture : textures)
                DrawInto(target, texture);
        }
    };
    drawAll();
    Graphics::ResetCounters();
    for (int frame = 0; frame < 5; ++frame)
        drawAll();
    const GpuCounters counters = Graphics::GetCounters();
    CHECK(counters.renderPasses == 30);
    CHECK(counters.draws == 20); // nothing is drawn for the empty texture
    CHECK(counters.shadersCompiled == 0);
    CHECK(counters.pipelinesCreated == 0);
    CHECK(counters.bindGroupsCreated == 0);
    CHECK(counters.samplersCreated == 0);
    CHECK(counters.buffersCreated + counters.buffersReused == 0);
    CHECK(counters.texturesCreated + counters.texturesReused == 0);
    CHECK(counters.errors == 0);
}

TEST_CASE("Pictures of a device that was shut down are black, and drawing goes on with the next device")
{
    const Texture before = Filled({2, 2}, {255, 255, 255, 255});
    CHECK(At(Show(before, {2, 2}), 0, 0) == Gray(255));
    Graphics::Shutdown();
    REQUIRE(Graphics::Start());
    const LogRecorder log;
    CHECK(At(Show(before, {2, 2}), 0, 0) == black);
    CHECK(At(Show(Filled({2, 2}, {255, 255, 255, 255}), {2, 2}), 0, 0) == Gray(255));
    CHECK(log.lines.empty());
}

TEST_CASE("A window without a surface shows nothing and says nothing")
{
    REQUIRE(Graphics::Start());
    const LogRecorder log;
    SurfacelessWindow shown;
    const std::uint64_t presents = Graphics::GetCounters().presents;
    CHECK_FALSE(shown.surface.Show(Filled({2, 2}, Gray(9)), {2, 2}, Windows::Pace::Display));
    CHECK_FALSE(shown.surface.Show({}, {2, 2}, Windows::Pace::Display));
    CHECK_FALSE(shown.surface.Show({}, {0, 2}, Windows::Pace::AtOnce));
    CHECK_FALSE(shown.surface.MayBlock());
    CHECK(Graphics::GetCounters().presents == presents);
    CHECK(shown.seen->calls.empty());
    CHECK(log.lines.empty());
}

TEST_CASE("Shutting the device down makes the windows that live black")
{
    REQUIRE(Graphics::Start());
    SurfacelessWindow one;
    SurfacelessWindow two;
    std::shared_ptr<FakeWindow> closed;
    {
        const SurfacelessWindow three;
        closed = three.seen;
    }
    Graphics::Shutdown();
    CHECK(CountBlackenings(*one.seen) == 1);
    CHECK(CountBlackenings(*two.seen) == 1);
    CHECK(CountBlackenings(*closed) == 0);
    REQUIRE(Graphics::Start());
}

TEST_CASE("While the device is lost a window is made black once, and again when it is damaged")
{
    REQUIRE(Graphics::Start());
    SurfacelessWindow shown;
    Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "the test pulled the plug");
    {
        const LogRecorder log;
        Graphics::ProcessEvents();
        CHECK(log.lines == std::vector<std::string>{"error: The GPU device was lost: the test pulled the plug"});
        for (int frame = 0; frame < 3; ++frame)
            CHECK_FALSE(shown.surface.Show({}, {2, 2}, Windows::Pace::Display));
        CHECK(CountBlackenings(*shown.seen) == 1);
        shown.surface.Damage();
        CHECK_FALSE(shown.surface.Show({}, {2, 2}, Windows::Pace::Display));
        CHECK(CountBlackenings(*shown.seen) == 2);
        CHECK(log.lines.size() == 1);
    }
    Graphics::Shutdown();
    REQUIRE(Graphics::Start());
}

TEST_CASE("A window can be shown pictures, fitted and multiplied by alpha")
{
    REQUIRE(Graphics::Start());
    ShownPictures shown;
    PicturePresenter presenter(shown.window);
    REQUIRE(presenter.Show(Filled({2, 2}, {200, 100, 50, 51}), {4, 2}));
    FinishReadBacks();
    REQUIRE(presenter.Show({}, {3, 3}));
    FinishReadBacks();
    REQUIRE(shown.pictures.size() == 2);
    CHECK(At(shown.pictures[0], 0, 1) == black);
    CHECK(Near(At(shown.pictures[0], 1, 1), {40, 20, 10, 51}));
    CHECK(At(shown.pictures[0], 3, 1) == black);
    CheckPicture(shown.pictures[1], Picture({3, 3}, [](glm::ivec2) { return ToUnit(black); }), 0);
}

TEST_CASE("Two pictures at most are on their way, and none arrives that was canceled")
{
    REQUIRE(Graphics::Start());
    ShownPictures shown;
    PicturePresenter presenter(shown.window);
    const Texture texture = Filled({2, 2}, {10, 20, 30, 255});
    CHECK(presenter.Show(texture, {2, 2}));
    CHECK(presenter.Show({}, {2, 2}));
    CHECK_FALSE(presenter.Show(texture, {2, 2}));
    FinishReadBacks();
    REQUIRE(shown.pictures.size() == 2);
    CHECK(Near(At(shown.pictures[0], 0, 0), {10, 20, 30, 255})); // each as it was
    CHECK(At(shown.pictures[1], 0, 0) == black);

    CHECK(presenter.Show(texture, {2, 2}));
    presenter.Cancel();
    CHECK(presenter.Show(texture, {1, 1}));
    FinishReadBacks();
    REQUIRE(shown.pictures.size() == 3);
    CHECK(shown.pictures[2].GetWidth() == 1);
}
