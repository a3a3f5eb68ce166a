#include "window/WindowSurface.h"

#include "Varkle/Desktop/Desktop.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Picture.h"
#include "support/VirtualDisplay.h"

#include <memory>

using namespace Varkle;
using namespace Varkle::Gui;
using namespace Varkle::Testing;

namespace
{

constexpr Rgba8 black{0, 0, 0, 255};
constexpr Rgba8 white{255, 255, 255, 255};
constexpr Area area{{100, 80}, {96, 64}}; // of the windows' contents

// Is a window on a desktop without a window manager, so that it is where it asks to be.
class ShownWindow
{
public:
    explicit ShownWindow(bool transparent = false) : display({.compositor = transparent}), platform(Connect())
    {
        display.SetBackground({0, 100, 200});
        Result<std::unique_ptr<PlatformWindow>> opened = platform->Open({.title = "Picture",
                                                                         .position = area.position,
                                                                         .size = area.size,
                                                                         .fullscreen = {},
                                                                         .decorated = false,
                                                                         .transparent = transparent});
        REQUIRE(opened);
        window = std::move(*opened);
        surface = std::make_unique<WindowSurface>(*window);
        WaitForSize(area.size);
    }

    bool Show(const Texture& texture, Windows::Pace pace = Windows::Pace::Display)
    {
        return surface->Show(texture, window->GetState().resolution, pace);
    }

    void WaitForSize(glm::ivec2 size)
    {
        display.WaitUntil("the window has its size",
                          [&]
                          {
                              platform->ProcessEvents();
                              return window->GetState().resolution == size;
                          });
    }

    // Presenting ends later than Show.
    void WaitForColor(glm::ivec2 pixel, Rgba8 color)
    {
        display.WaitUntil("a pixel of the window has its color",
                          [&]
                          {
                              Graphics::ProcessEvents();
                              return Near(display.GetPixel(area.position + pixel), color);
                          });
    }

    void WaitForColor(Rgba8 color) { WaitForColor(area.size / 2, color); }

    static std::unique_ptr<WindowPlatform> Connect()
    {
        Result<std::unique_ptr<WindowPlatform>> connected = ConnectDesktop();
        REQUIRE(connected);
        return std::move(*connected);
    }

    VirtualDisplay display;
    std::unique_ptr<WindowPlatform> platform;
    std::unique_ptr<PlatformWindow> window;
    std::unique_ptr<WindowSurface> surface;
};

// Returns opaque noise whose first and last pixel are white.
Picture MakePicture(glm::ivec2 size)
{
    const Picture random = RandomPicture(size);
    return {size, [&](glm::ivec2 pixel)
            {
                const bool corner = pixel == glm::ivec2(0) || pixel == size - 1;
                return corner ? glm::dvec4(1) : glm::dvec4(glm::dvec3(random.At(pixel)), 1);
            }};
}

} // namespace

TEST_CASE("A picture of the window's size is on the screen pixel by pixel")
{
    ShownWindow shown;
    const LogRecorder log;
    const Picture picture = MakePicture(area.size);
    REQUIRE(shown.Show(Upload(picture)));
    shown.WaitForColor(area.size - 1, white);
    CheckPicture(shown.display.Capture(area), picture);
    CHECK(log.lines.empty());
}

TEST_CASE("A picture of other proportions is fitted into the window on black")
{
    ShownWindow shown;
    REQUIRE(shown.Show(Filled({32, 32}, {200, 150, 50, 255}))); // becomes 64 by 64 at 16
    shown.WaitForColor({200, 150, 50, 255});
    const Image screen = shown.display.Capture(area);
    CHECK(At(screen, 0, 0) == black);
    CHECK(At(screen, 15, 63) == black);
    CHECK(Near(At(screen, 16, 0), {200, 150, 50, 255}));
    CHECK(Near(At(screen, 79, 63), {200, 150, 50, 255}));
    CHECK(At(screen, 80, 0) == black);
    CHECK(At(screen, 95, 63) == black);
}

TEST_CASE("A window whose picture was taken away becomes black")
{
    ShownWindow shown;
    REQUIRE(shown.Show(Filled({4, 4}, white)));
    shown.WaitForColor(white);
    REQUIRE(shown.Show({}));
    shown.WaitForColor(black);
}

TEST_CASE("Only what changed is presented")
{
    ShownWindow shown;
    const Texture one = Filled({4, 4}, {10, 20, 30, 255});
    const Texture other = Filled({4, 4}, {40, 50, 60, 255});
    const std::uint64_t presents = Graphics::GetCounters().presents;
    CHECK(shown.Show(one));
    CHECK_FALSE(shown.Show(one));
    CHECK_FALSE(shown.Show(one, Windows::Pace::AtOnce));
    CHECK(shown.Show(other));
    CHECK_FALSE(shown.Show(other));
    shown.surface->Damage();
    CHECK(shown.Show(other));
    CHECK_FALSE(shown.Show(other));
    CHECK(Graphics::GetCounters().presents == presents + 3);
    shown.WaitForColor({40, 50, 60, 255});
}

TEST_CASE("After a window was resized the picture fits it again")
{
    ShownWindow shown;
    const LogRecorder log;
    const Texture texture = Filled({3, 2}, {70, 80, 90, 255});
    REQUIRE(shown.Show(texture));
    for (const glm::ivec2 size : {glm::ivec2(300, 200), glm::ivec2(30, 20), glm::ivec2(150, 100)})
    {
        shown.window->SetSize(size);
        shown.WaitForSize(size);
        CHECK(shown.Show(texture));
        CHECK_FALSE(shown.Show(texture));
        shown.WaitForColor(size - 1, {70, 80, 90, 255});
        shown.WaitForColor({0, 0}, {70, 80, 90, 255});
    }
    CHECK(log.lines.empty());
}

TEST_CASE("A picture that is shown in a size that the window no longer has is no error")
{
    ShownWindow shown;
    const LogRecorder log;
    shown.surface->Show(Filled({3, 2}, {1, 2, 3, 255}), {500, 400}, Windows::Pace::Display);
    shown.surface->Show(Filled({3, 2}, {1, 2, 3, 255}), {5, 4}, Windows::Pace::Display);
    REQUIRE(shown.Show(Filled({3, 2}, {70, 80, 90, 255})));
    shown.WaitForColor(area.size - 1, {70, 80, 90, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("Pictures that are shown at once reach the screen, too, and the pace can change")
{
    ShownWindow shown;
    const LogRecorder log;
    REQUIRE(shown.Show(Filled({4, 4}, {10, 20, 30, 255}), Windows::Pace::AtOnce));
    CHECK_FALSE(shown.surface->MayBlock()); // this driver presents immediately
    shown.WaitForColor({10, 20, 30, 255});
    REQUIRE(shown.Show(Filled({4, 4}, {40, 50, 60, 255}), Windows::Pace::Display));
    shown.WaitForColor({40, 50, 60, 255});
    REQUIRE(shown.Show(Filled({4, 4}, {70, 80, 90, 255}), Windows::Pace::AtOnce));
    shown.WaitForColor({70, 80, 90, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("Showing pictures in turn makes nothing anew")
{
    ShownWindow shown;
    const Texture textures[] = {Filled({4, 4}, {10, 20, 30, 255}), Filled({96, 64}, {40, 50, 60, 255})};
    for (const Texture& texture : textures)
        REQUIRE(shown.Show(texture));
    Graphics::ResetCounters();
    for (int frame = 0; frame < 6; ++frame)
        REQUIRE(shown.Show(textures[frame % 2]));
    const GpuCounters counters = Graphics::GetCounters();
    CHECK(counters.presents == 6);
    CHECK(counters.renderPasses == 6);
    CHECK(counters.submits == 6);
    CHECK(counters.shadersCompiled + counters.pipelinesCreated + counters.bindGroupsCreated +
              counters.samplersCreated ==
          0);
    CHECK(counters.buffersCreated + counters.buffersReused + counters.texturesCreated + counters.texturesReused == 0);
    CHECK(counters.errors == 0);
}

TEST_CASE("Nobody draws into a picture while it is on the screen")
{
    ShownWindow shown;
    const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};
    const auto allocate = [&] { return AllocateFrameBuffer({61, 59}, format).GetColorTarget(0); };
    Graphics::TrimPools(true);
    REQUIRE(shown.Show(allocate()));
    Graphics::ResetCounters();
    REQUIRE(allocate());
    CHECK(Graphics::GetCounters().texturesReused == 0);
    REQUIRE(shown.Show(Filled({4, 4}, white)));
    const Texture first = allocate();
    const Texture second = allocate();
    CHECK(Graphics::GetCounters().texturesReused == 2); // both came back
}

TEST_CASE("A released window is black until something is shown again")
{
    ShownWindow shown;
    const LogRecorder log;
    const Texture texture = Filled({4, 4}, {10, 20, 30, 255});
    for (int round = 0; round < 3; ++round)
    {
        REQUIRE(shown.Show(texture));
        if (round != 1) // in one round while it is being presented
            shown.WaitForColor({10, 20, 30, 255});
        shown.surface->Release();
        shown.WaitForColor(black);
    }
    REQUIRE(shown.Show(texture));
    shown.WaitForColor({10, 20, 30, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("A window stays open while the device is shut down and started again")
{
    ShownWindow shown;
    const LogRecorder log;
    REQUIRE(shown.Show(Filled({4, 4}, {10, 20, 30, 255})));
    Graphics::Shutdown();
    shown.WaitForColor(black);
    REQUIRE(Graphics::Start());
    REQUIRE(shown.Show(Filled({4, 4}, {40, 50, 60, 255})));
    shown.WaitForColor({40, 50, 60, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("After the device was lost a window is black until there is a new one")
{
    ShownWindow shown;
    const LogRecorder log;
    REQUIRE(shown.Show(Filled({4, 4}, {10, 20, 30, 255})));
    shown.WaitForColor({10, 20, 30, 255});
    Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "the test pulled the plug");
    shown.Show({}); // it is not known yet
    Graphics::ProcessEvents();
    CHECK_FALSE(shown.Show({}));
    shown.WaitForColor(black);
    Graphics::Shutdown();
    REQUIRE(Graphics::Start());
    REQUIRE(shown.Show(Filled({4, 4}, {40, 50, 60, 255})));
    shown.WaitForColor({40, 50, 60, 255});
    CHECK(log.lines == std::vector<std::string>{"error: The GPU device was lost: the test pulled the plug"});
}

TEST_CASE("A window can close while its picture is on the way")
{
    const LogRecorder log;
    {
        ShownWindow shown;
        for (int round = 0; round < 5; ++round)
        {
            Result<std::unique_ptr<PlatformWindow>> opened =
                shown.platform->Open({.title = "Brief", .position = {300, 300}, .size = {400, 300}, .fullscreen = {}});
            REQUIRE(opened);
            WindowSurface surface(**opened);
            for (int frame = 0; frame < 3; ++frame)
                REQUIRE(surface.Show(Filled({8, 8}, white), {400, 300}, Windows::Pace::Display));
        }
        REQUIRE(shown.Show(Filled({4, 4}, white))); // the others go on
        shown.WaitForColor(white);
    }
    Graphics::ProcessEvents();
    CHECK_FALSE(Graphics::IsLost());
    CHECK(log.lines.empty());
}

TEST_CASE("Windows show pictures of their own")
{
    ShownWindow shown;
    Result<std::unique_ptr<PlatformWindow>> opened = shown.platform->Open(
        {.title = "Second", .position = {400, 300}, .size = {200, 100}, .fullscreen = {}, .decorated = false});
    REQUIRE(opened);
    WindowSurface second(**opened);
    for (const int level : {50, 100})
    {
        const Texture both = Filled({2, 2}, {std::uint8_t(level), 10, 20, 255});
        REQUIRE(shown.Show(both));
        REQUIRE(second.Show(both, {200, 100}, Windows::Pace::Display));
    }
    REQUIRE(second.Show(Filled({2, 1}, {1, 200, 3, 255}), {200, 100}, Windows::Pace::Display));
    shown.WaitForColor({100, 10, 20, 255});
    shown.display.WaitUntil("the second window has its picture",
                            [&] {
                                return Near(shown.display.GetPixel({599, 399}), {1, 200, 3, 255});
                            });
}

TEST_CASE("The desktop shows through a transparent window where its picture does")
{
    ShownWindow shown(true);
    const LogRecorder log;
    REQUIRE(shown.window->IsTransparent());
    REQUIRE(shown.Show(Filled(area.size, {250, 0, 0, 51}))); // a fifth
    shown.WaitForColor({50, 80, 160, 255});                  // of 250, and four fifths of the background
    REQUIRE(shown.Show(Filled(area.size, {250, 0, 0, 0})));
    shown.WaitForColor({0, 100, 200, 255});
    REQUIRE(shown.Show(Filled({32, 32}, {250, 0, 0, 0}))); // 64 by 64 at 16
    shown.WaitForColor({8, 32}, black);
    shown.WaitForColor({0, 100, 200, 255});
    REQUIRE(shown.Show({}));
    shown.WaitForColor(black);
    CHECK(log.lines.empty());
}

TEST_CASE("A transparent window is black while the device is lost, and goes on after")
{
    ShownWindow shown(true);
    REQUIRE(shown.Show(Filled(area.size, {250, 0, 0, 51})));
    shown.WaitForColor({50, 80, 160, 255});
    shown.Show(Filled(area.size, {0, 250, 0, 51}));
    Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "the test pulled the plug");
    Graphics::ProcessEvents();
    CHECK_FALSE(shown.Show({}));
    shown.WaitForColor(black);
    Graphics::Shutdown();
    REQUIRE(Graphics::Start());
    const LogRecorder log;
    REQUIRE(shown.Show(Filled(area.size, {250, 0, 0, 51})));
    shown.WaitForColor({50, 80, 160, 255});
    CHECK(log.lines.empty());
}
