#include "Varkle/Desktop/Desktop.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/Catch.h"
#include "support/VirtualDisplay.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

using namespace Varkle;
using namespace Varkle::Gui;
using namespace Varkle::Testing;

namespace
{

constexpr Rgba8 black{0, 0, 0};
constexpr Rgba8 blue{0, 0, 255};

std::unique_ptr<WindowPlatform> ConnectOrThrow()
{
    Result<std::unique_ptr<WindowPlatform>> platform = ConnectDesktop();
    if (!platform)
        throw std::runtime_error(platform.GetError().message);
    return std::move(*platform);
}

/// Is a desktop, the program's connection to it and a blue background.
struct Desktop
{
    explicit Desktop(const DesktopSettings& settings = {}) : display(settings), platform(ConnectOrThrow())
    {
        display.SetBackground(blue);
    }

    std::unique_ptr<PlatformWindow> Open(const WindowSettings& settings)
    {
        Result<std::unique_ptr<PlatformWindow>> window = platform->Open(settings);
        if (!window)
            throw std::runtime_error(window.GetError().message);
        Until("the window is shown",
              [&] { return Find(settings.title) != 0 && display.IsShown(Find(settings.title)); });
        return std::move(*window);
    }
    WindowId Find(const std::string& title) { return display.Find(title); }

    void Until(const std::string& what, const std::function<bool()>& condition)
    {
        display.WaitUntil(what,
                          [&]
                          {
                              platform->ProcessEvents();
                              return condition();
                          });
    }
    void UntilAt(WindowId window, const Area& area)
    {
        Until("the window is " + Catch::Detail::stringify(area), [&] { return display.GetArea(window) == area; });
    }
    void UntilPixel(glm::ivec2 position, Rgba8 color)
    {
        Until("a pixel is " + Catch::Detail::stringify(color), [&] { return display.GetPixel(position) == color; });
    }

    VirtualDisplay display;
    std::unique_ptr<WindowPlatform> platform;
};

DesktopSettings Managed()
{
    DesktopSettings settings;
    settings.windowManager = true;
    return settings;
}

WindowSettings Titled(const std::string& title, const Area& area = {{200, 150}, {640, 360}})
{
    WindowSettings settings;
    settings.title = title;
    settings.position = area.position;
    settings.size = area.size;
    return settings;
}

Area GetArea(const PlatformWindow& window)
{
    return {window.GetState().position, window.GetState().resolution};
}

bool Contains(const std::vector<WindowEvent>& events, WindowEvent event)
{
    return std::find(events.begin(), events.end(), event) != events.end();
}

/// Presents one color in a window.
struct Painter
{
    explicit Painter(PlatformWindow& window) : surface(window.CreateSurface(Graphics::GetInstance())) {}
    ~Painter() { surface.Unconfigure(); }

    void Show(glm::ivec2 size, const wgpu::Color& color) const
    {
        wgpu::SurfaceConfiguration configuration;
        configuration.device = Graphics::GetDevice();
        configuration.format = wgpu::TextureFormat::BGRA8Unorm;
        configuration.width = std::uint32_t(size.x);
        configuration.height = std::uint32_t(size.y);
        configuration.presentMode = wgpu::PresentMode::Fifo;
        surface.Configure(&configuration);
        wgpu::SurfaceTexture texture;
        surface.GetCurrentTexture(&texture);
        if (!texture.texture)
            throw std::runtime_error("the surface has no texture");
        wgpu::RenderPassColorAttachment target;
        target.view = texture.texture.CreateView();
        target.loadOp = wgpu::LoadOp::Clear;
        target.storeOp = wgpu::StoreOp::Store;
        target.clearValue = color;
        wgpu::RenderPassDescriptor pass;
        pass.colorAttachmentCount = 1;
        pass.colorAttachments = &target;
        const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
        encoder.BeginRenderPass(&pass).End();
        const wgpu::CommandBuffer commands = encoder.Finish();
        Graphics::GetQueue().Submit(1, &commands);
        surface.Present();
    }

    wgpu::Surface surface;
};

/// Sets an environment variable, or removes it, while it lives.
struct Environment
{
    Environment(const char* variable, const char* value) : name(variable)
    {
        if (const char* const text = std::getenv(name))
            before = text;
        Set(value);
    }
    ~Environment() { Set(before ? before->c_str() : nullptr); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    void Set(const char* value) const { value ? setenv(name, value, 1) : unsetenv(name); }

    const char* name;
    std::optional<std::string> before;
};

} // namespace

TEST_CASE("Without a display connecting is a machine's error that says what to do")
{
    SECTION("when DISPLAY is not set")
    {
        const Environment environment("DISPLAY", nullptr);
        const auto platform = ConnectDesktop();
        REQUIRE_FALSE(platform);
        CHECK(platform.GetError().machine);
        CHECK(platform.GetError().message.rfind("There is no display: DISPLAY is not set; ", 0) == 0);
    }
    SECTION("when the X server doesn't answer")
    {
        const Environment environment("DISPLAY", ":none");
        const auto platform = ConnectDesktop();
        REQUIRE_FALSE(platform);
        CHECK(platform.GetError().machine);
        CHECK(platform.GetError().message.rfind("There is no display: DISPLAY is \":none\"", 0) == 0);
    }
}

TEST_CASE("A program can connect to the desktop again, and twice at once")
{
    Desktop desktop;
    desktop.platform.reset();
    desktop.platform = ConnectOrThrow();
    CHECK(desktop.platform->GetDisplays().size() == 1);

    auto second = ConnectOrThrow();
    desktop.platform = std::move(second); // the first one goes, the second one works on
    const auto window = desktop.Open(Titled("Again"));
    CHECK(GetArea(*window) == Area{{200, 150}, {640, 360}});
}

TEST_CASE("A display has its connector's name, its place and size, and 60 frames per second when its mode tells none")
{
    Desktop desktop;
    const std::vector<Gui::Display> displays = desktop.platform->GetDisplays();
    REQUIRE(displays.size() == 1);
    CHECK(displays[0].name == "screen");
    CHECK(displays[0].position == glm::ivec2(0, 0));
    CHECK(displays[0].size == glm::ivec2(1920, 1080));
    CHECK(displays[0].scale == 1.0f);
    CHECK(displays[0].refreshRate == 60.0f);
}

TEST_CASE("A display that gets another mode reports its new size and its exact refresh rate")
{
    Desktop desktop;
    // 720p as television has it: 1650 x 750 pixels with blanking, 60000 / 1001 frames per second.
    desktop.display.SetMode({1280, 720}, 74'175'824, {1650, 750});
    desktop.Until("the display is smaller",
                  [&] { return desktop.platform->GetDisplays().at(0).size == glm::ivec2(1280, 720); });
    CHECK(desktop.platform->GetDisplays()[0].refreshRate == Approx(60000.0 / 1001.0).epsilon(1e-6));
}

TEST_CASE("A display that is unplugged is gone until it is plugged in again")
{
    Desktop desktop;
    const std::vector<Gui::Display> before = desktop.platform->GetDisplays();
    desktop.display.Unplug();
    desktop.Until("the display has gone", [&] { return desktop.platform->GetDisplays().empty(); });
    desktop.display.PlugIn();
    desktop.Until("the display is back", [&] { return desktop.platform->GetDisplays() == before; });
}

TEST_CASE("A window opens with its contents where they were asked for, black, with its title")
{
    const bool managed = GENERATE(false, true);
    INFO("with window manager: " << managed);
    DesktopSettings settings;
    settings.windowManager = managed;
    Desktop desktop(settings);
    const auto window = desktop.Open(Titled("Écran 出力"));
    const WindowId id = desktop.Find("Écran 出力");
    desktop.UntilAt(id, {{200, 150}, {640, 360}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{200, 150}, {640, 360}}; });
    CHECK(window->GetState().logicalSize == glm::ivec2(640, 360));
    CHECK(window->GetState().scale == 1.0f);
    CHECK_FALSE(window->GetState().minimized);
    CHECK_FALSE(window->IsTransparent());
    desktop.UntilPixel({201, 151}, black);
    desktop.UntilPixel({839, 509}, black);
    CHECK(desktop.display.GetPixel({100, 100}) == blue);
}

TEST_CASE("A window may hang over the edges of its display")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Wall", {{-300, -200}, {2500, 1500}});
    settings.decorated = false;
    const auto window = desktop.Open(settings);
    desktop.UntilAt(desktop.Find("Wall"), {{-300, -200}, {2500, 1500}});
}

TEST_CASE("An open window takes another title, position and size")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Before"));
    const WindowId id = desktop.Find("Before");
    window->SetTitle("After");
    window->SetPosition({300, 250});
    window->SetSize({500, 400});
    desktop.UntilAt(id, {{300, 250}, {500, 400}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{300, 250}, {500, 400}}; });
    CHECK(desktop.Find("After") == id);
    CHECK(desktop.Find("Before") == 0);
}

TEST_CASE("A window's state follows what the user does")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Dragged"));
    const WindowId id = desktop.Find("Dragged");
    desktop.display.Move(id, {400, 300});
    desktop.Until("the position follows", [&] { return window->GetState().position == glm::ivec2(400, 300); });
    window->TakeEvents();
    desktop.display.Resize(id, {800, 450});
    desktop.Until("the size follows", [&] { return window->GetState().resolution == glm::ivec2(800, 450); });
    CHECK(GetArea(*window) == Area{{400, 300}, {800, 450}});
    CHECK(Contains(window->TakeEvents(), WindowEvent::Uncover));
}

TEST_CASE("A window with decorations has a frame around its contents, which stay where they are without it")
{
    Desktop desktop(Managed());
    const Area area{{200, 150}, {640, 360}};
    const auto window = desktop.Open(Titled("Framed", area));
    const WindowId id = desktop.Find("Framed");
    desktop.UntilAt(id, area);
    CHECK(desktop.display.WantsFrame(id));
    desktop.Until("there is a frame", [&] { return desktop.display.GetFrame(id).size.y > 360; });

    window->SetDecorated(false);
    desktop.Until("the frame has gone", [&] { return desktop.display.GetFrame(id) == area; });
    CHECK_FALSE(desktop.display.WantsFrame(id));
    desktop.UntilAt(id, area);

    window->SetDecorated(true);
    desktop.Until("the frame is back", [&] { return desktop.display.GetFrame(id).size.y > 360; });
    desktop.UntilAt(id, area);
}

TEST_CASE("A window that is always on top stays above one that is activated")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Top");
    settings.alwaysOnTop = GENERATE(true, false);
    const auto top = desktop.Open(settings);
    const WindowId topId = desktop.Find("Top");
    if (!settings.alwaysOnTop)
        top->SetAlwaysOnTop(true);
    desktop.Until("it is on top", [&] { return desktop.display.HasState(topId, "_NET_WM_STATE_ABOVE"); });

    const WindowId other = desktop.display.OpenPlainWindow("Other", {{300, 200}, {300, 200}}, {255, 0, 0});
    desktop.display.Activate(other);
    desktop.Until("the other one is active", [&] { return desktop.display.GetFocused() == other; });
    CHECK(desktop.display.IsAbove(topId, other));

    top->SetAlwaysOnTop(false);
    desktop.display.Activate(other);
    desktop.Until("the other one is above", [&] { return desktop.display.IsAbove(other, topId); });
}

TEST_CASE("A fullscreen window fills its display, hides the pointer, and becomes what it was again")
{
    const bool managed = GENERATE(false, true);
    INFO("with window manager: " << managed);
    DesktopSettings settings;
    settings.windowManager = managed;
    Desktop desktop(settings);
    const auto window = desktop.Open(Titled("Show"));
    const WindowId id = desktop.Find("Show");
    desktop.UntilAt(id, {{200, 150}, {640, 360}});
    desktop.display.MovePointer({500, 300});
    CHECK(desktop.display.IsPointerShown());

    window->EnterFullscreen(desktop.platform->GetDisplays().at(0));
    desktop.UntilAt(id, {{0, 0}, {1920, 1080}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{0, 0}, {1920, 1080}}; });
    desktop.Until("the window manager says so, too",
                  [&] { return desktop.display.HasState(id, "_NET_WM_STATE_FULLSCREEN") == managed; });
    desktop.Until("the frame has gone", [&] { return desktop.display.GetFrame(id) == Area{{0, 0}, {1920, 1080}}; });
    desktop.Until("the pointer has gone", [&] { return !desktop.display.IsPointerShown(); });
    desktop.UntilPixel({0, 0}, black);

    window->SetPosition({10, 10}); // both are for later
    window->SetSize({100, 100});
    window->LeaveFullscreen({250, 260}, {720, 405});
    desktop.UntilAt(id, {{250, 260}, {720, 405}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{250, 260}, {720, 405}}; });
    desktop.Until("the pointer is back", [&] { return desktop.display.IsPointerShown(); });
    desktop.Until("the frame is as before", [&] { return (desktop.display.GetFrame(id).size.y > 405) == managed; });
}

TEST_CASE("A window can open fullscreen and become one like others later")
{
    const bool managed = GENERATE(false, true);
    INFO("with window manager: " << managed);
    DesktopSettings desktopSettings;
    desktopSettings.windowManager = managed;
    Desktop desktop(desktopSettings);
    WindowSettings settings = Titled("Show");
    settings.fullscreen = desktop.platform->GetDisplays().at(0);
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Show");
    desktop.UntilAt(id, {{0, 0}, {1920, 1080}});
    window->LeaveFullscreen({200, 150}, {640, 360});
    desktop.UntilAt(id, {{200, 150}, {640, 360}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{200, 150}, {640, 360}}; });
}

TEST_CASE("A fullscreen window stays on its display when another window is activated")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Show");
    settings.fullscreen = desktop.platform->GetDisplays().at(0);
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Show");
    desktop.UntilAt(id, {{0, 0}, {1920, 1080}});
    const WindowId other = desktop.display.OpenPlainWindow("Other", {{300, 200}, {300, 200}}, {255, 0, 0});
    desktop.display.Activate(other);
    desktop.Until("the other one is active", [&] { return desktop.display.GetFocused() == other; });
    desktop.platform->ProcessEvents();
    CHECK_FALSE(window->GetState().minimized);
    CHECK(desktop.display.IsShown(id));
    CHECK(GetArea(*window) == Area{{0, 0}, {1920, 1080}});
}

TEST_CASE("A fullscreen window whose display comes back can fill it again")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Show");
    const Gui::Display screen = desktop.platform->GetDisplays().at(0);
    settings.fullscreen = screen;
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Show");
    desktop.UntilAt(id, {{0, 0}, {1920, 1080}});

    desktop.display.Unplug();
    desktop.Until("the display has gone", [&] { return desktop.platform->GetDisplays().empty(); });
    window->SetVisible(false);
    desktop.Until("the window has gone", [&] { return desktop.display.FindAll("Show").empty(); });
    desktop.display.PlugIn();
    desktop.Until("the display is back", [&] { return desktop.platform->GetDisplays().size() == 1; });
    window->EnterFullscreen(screen);
    window->SetVisible(true);
    desktop.UntilAt(id, {{0, 0}, {1920, 1080}});
    desktop.Until("the window is back", [&] { return desktop.display.IsShown(id); });
    desktop.Until("the window is fullscreen", [&] { return desktop.display.HasState(id, "_NET_WM_STATE_FULLSCREEN"); });
}

TEST_CASE("A window that is taken off the screen comes back as it was")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Shy");
    settings.alwaysOnTop = true;
    SECTION("in its place") {}
    SECTION("fullscreen")
    {
        settings.fullscreen = desktop.platform->GetDisplays().at(0);
    }
    const Area area = settings.fullscreen ? Area{{0, 0}, {1920, 1080}} : Area{{200, 150}, {640, 360}};
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Shy");
    desktop.UntilAt(id, area);

    window->SetVisible(false);
    desktop.Until("the window has gone", [&] { return desktop.display.FindAll("Shy").empty(); });
    window->SetVisible(true);
    desktop.Until("the window is back", [&] { return desktop.display.IsShown(id); });
    desktop.UntilAt(id, area);
    desktop.Until("it is on top", [&] { return desktop.display.HasState(id, "_NET_WM_STATE_ABOVE"); });
    desktop.Until(
        "it is fullscreen again or still not",
        [&] { return desktop.display.HasState(id, "_NET_WM_STATE_FULLSCREEN") == settings.fullscreen.has_value(); });
}

TEST_CASE("A minimized window leaves the screen when it is taken off it")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Shy"));
    const WindowId id = desktop.Find("Shy");
    desktop.display.Minimize(id);
    desktop.Until("it is minimized", [&] { return window->GetState().minimized; });
    window->SetVisible(false);
    desktop.Until("the window has gone", [&] { return desktop.display.FindAll("Shy").empty(); });
}

TEST_CASE("Minimizing and restoring a window changes only that")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Small"));
    const WindowId id = desktop.Find("Small");
    desktop.Until("it is in place", [&] { return GetArea(*window) == Area{{200, 150}, {640, 360}}; });
    desktop.display.Minimize(id);
    desktop.Until("it is minimized", [&] { return window->GetState().minimized; });
    CHECK(GetArea(*window) == Area{{200, 150}, {640, 360}});
    desktop.display.Activate(id);
    desktop.Until("it is restored", [&] { return !window->GetState().minimized; });
    CHECK(GetArea(*window) == Area{{200, 150}, {640, 360}});
}

TEST_CASE("The close button is an event, once, and the window stays until its owner closes it")
{
    const bool managed = GENERATE(false, true);
    INFO("with window manager: " << managed);
    DesktopSettings settings;
    settings.windowManager = managed;
    Desktop desktop(settings);
    auto window = desktop.Open(Titled("Closing"));
    const WindowId id = desktop.Find("Closing");
    for (int i = 0; i < 2; ++i)
    {
        window->TakeEvents();
        desktop.display.AskToClose(id);
        desktop.Until("the event comes", [&] { return Contains(window->TakeEvents(), WindowEvent::Close); });
        CHECK(desktop.display.IsShown(id));
        CHECK_FALSE(Contains(window->TakeEvents(), WindowEvent::Close));
    }
    window.reset();
    desktop.Until("the window has closed", [&] { return desktop.display.FindAll("Closing").empty(); });
}

TEST_CASE("The keys F and Escape are events when they are pressed, F only by itself")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Keys"));
    const WindowId id = desktop.Find("Keys");
    desktop.Until("it has the keys", [&] { return desktop.display.GetFocused() == id; });
    for (const char* const modifier : {"Control_L", "Alt_L", "Super_L"})
        desktop.display.TypeKey("f", {modifier});
    desktop.display.TypeKey("a");
    desktop.display.TypeKey("f");
    desktop.display.TypeKey("f", {"Shift_L"});
    desktop.display.TypeKey("Escape"); // the last one: what comes before it has come by then
    std::vector<WindowEvent> keys;
    desktop.Until("Escape comes",
                  [&]
                  {
                      for (const WindowEvent event : window->TakeEvents())
                      {
                          if (event != WindowEvent::Uncover)
                              keys.push_back(event);
                      }
                      return Contains(keys, WindowEvent::KeyEscape);
                  });
    CHECK(keys == std::vector{WindowEvent::KeyF, WindowEvent::KeyF, WindowEvent::KeyEscape});
}

TEST_CASE("Clicks on a window that takes no input land in the window behind it")
{
    const bool managed = GENERATE(false, true);
    INFO("with window manager: " << managed);
    DesktopSettings desktopSettings;
    desktopSettings.windowManager = managed;
    Desktop desktop(desktopSettings);
    const WindowId behind = desktop.display.OpenPlainWindow("Behind", {{250, 200}, {400, 300}}, {255, 0, 0});
    WindowSettings settings = Titled("Glass");
    settings.alwaysOnTop = true;
    settings.decorated = GENERATE(true, false);
    settings.interactive = false;
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Glass");
    desktop.Until("it is above", [&] { return desktop.display.IsAbove(id, behind); });
    desktop.UntilPixel({300, 250}, black);

    // The window manager takes its time until its frame does the same, so clicks are repeated.
    const auto untilClicked = [&](const std::string& what)
    {
        const int before = desktop.display.CountClicks(behind);
        desktop.Until(what,
                      [&]
                      {
                          desktop.display.Click({300, 250});
                          return desktop.display.CountClicks(behind) > before;
                      });
    };
    untilClicked("the window behind is clicked");

    window->SetInteractive(true);
    if (managed)
        desktop.Until("the window itself is clicked and focused",
                      [&]
                      {
                          desktop.display.Click({300, 250});
                          return desktop.display.GetFocused() == id;
                      });
    desktop.platform->ProcessEvents();
    const int clicks = desktop.display.CountClicks(behind);
    desktop.display.Click({300, 250});
    desktop.display.MovePointer({310, 260});
    CHECK(desktop.display.CountClicks(behind) == clicks);

    window->SetInteractive(false);
    untilClicked("the window behind is clicked again");
}

TEST_CASE("A window that takes no input does not get the keys, and gives back those that it has")
{
    Desktop desktop(Managed());
    const WindowId other = desktop.display.OpenPlainWindow("Other", {{1000, 200}, {400, 300}}, {255, 0, 0});
    desktop.Until("the other one has the keys", [&] { return desktop.display.GetFocused() == other; });
    WindowSettings settings = Titled("Deaf");
    settings.interactive = false;
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Deaf");
    CHECK(desktop.display.GetFocused() == other);

    window->SetInteractive(true);
    desktop.platform->ProcessEvents();
    desktop.display.Activate(id);
    desktop.Until("it has the keys", [&] { return desktop.display.GetFocused() == id; });
    window->TakeEvents();
    window->SetInteractive(false);
    desktop.Until("the other one has the keys", [&] { return desktop.display.GetFocused() == other; });
    desktop.display.TypeKey("f");
    desktop.Until("the key arrives", [&] { return desktop.display.CountKeys(other) == 1; });
    CHECK_FALSE(Contains(window->TakeEvents(), WindowEvent::KeyF));
}

TEST_CASE("On a desktop with a scale of 2 sizes stay physical and the logical size is half")
{
    DesktopSettings settings = Managed();
    settings.scale = 2.0;
    Desktop desktop(settings);
    CHECK(desktop.platform->GetDisplays().at(0).scale == 2.0f);
    CHECK(desktop.platform->GetDisplays().at(0).size == glm::ivec2(1920, 1080));
    const auto window = desktop.Open(Titled("Fine", {{200, 150}, {641, 360}}));
    desktop.UntilAt(desktop.Find("Fine"), {{200, 150}, {641, 360}});
    desktop.Until("the state follows", [&] { return GetArea(*window) == Area{{200, 150}, {641, 360}}; });
    CHECK(window->GetState().scale == 2.0f);
    CHECK(window->GetState().logicalSize == glm::ivec2(321, 180)); // 320.5 rounded
}

TEST_CASE("What another window covered and uncovered must be drawn again")
{
    Desktop desktop;
    const auto window = desktop.Open(Titled("Below"));
    desktop.Until("it was drawn first", [&] { return Contains(window->TakeEvents(), WindowEvent::Uncover); });
    const WindowId other = desktop.display.OpenPlainWindow("Above", {{300, 200}, {100, 100}}, {255, 0, 0});
    desktop.platform->ProcessEvents();
    window->TakeEvents();
    desktop.display.Move(other, {1000, 700});
    desktop.Until("it was uncovered", [&] { return Contains(window->TakeEvents(), WindowEvent::Uncover); });
    desktop.UntilPixel({310, 210}, black);
}

TEST_CASE("The GPU draws into a window, which becomes black without it")
{
    Desktop desktop;
    REQUIRE(Graphics::Start());
    const auto window = desktop.Open(Titled("Picture"));
    {
        const Painter painter(*window);
        REQUIRE(painter.surface);
        painter.Show({640, 360}, {1.0, 0.0, 0.0, 1.0});
        desktop.UntilPixel({201, 151}, {255, 0, 0});
        desktop.UntilPixel({839, 509}, {255, 0, 0});
    }
    window->ShowBlack();
    desktop.UntilPixel({201, 151}, black);
    desktop.UntilPixel({839, 509}, black);
}

TEST_CASE("With a compositor the desktop shows through a transparent window, but not when it is made black")
{
    DesktopSettings desktopSettings = Managed();
    desktopSettings.compositor = true;
    Desktop desktop(desktopSettings);
    WindowSettings settings = Titled("Glass");
    settings.transparent = true;
    const auto window = desktop.Open(settings);
    const WindowId id = desktop.Find("Glass");
    CHECK(desktop.display.GetDepth(id) == 32);
    CHECK(window->IsTransparent());
    const WindowId behind = desktop.display.OpenPlainWindow("Behind", {{250, 200}, {400, 300}}, {255, 0, 0});
    desktop.display.Activate(id);
    desktop.Until("it is above", [&] { return desktop.display.IsAbove(id, behind); });
    desktop.UntilPixel({220, 170}, blue);
    desktop.UntilPixel({300, 300}, {255, 0, 0});
    window->ShowBlack();
    desktop.UntilPixel({300, 300}, black);
    desktop.UntilPixel({220, 170}, black);
}

TEST_CASE("A transparent window shows pictures whose colors are multiplied by alpha")
{
    DesktopSettings desktopSettings;
    desktopSettings.compositor = true;
    Desktop desktop(desktopSettings);
    WindowSettings settings = Titled("Glass", {{200, 150}, {2, 1}});
    settings.transparent = true;
    const auto window = desktop.Open(settings);
    window->ShowPicture(MakeImage({2, 1}, {{102, 0, 0, 102}, {0, 255, 0, 255}}));
    desktop.UntilPixel({201, 150}, {0, 255, 0});
    // Red at an opacity of 0.4 on blue.
    desktop.Until("red and blue are mixed", [&] { return Near(desktop.display.GetPixel({200, 150}), {102, 0, 153}); });
}

TEST_CASE("An opaque window shows pictures too, over black")
{
    Desktop desktop(Managed());
    const auto window = desktop.Open(Titled("Board", {{200, 150}, {2, 1}}));
    window->ShowPicture(MakeImage({2, 1}, {{102, 0, 0, 102}, {0, 255, 0, 255}}));
    desktop.UntilPixel({201, 150}, {0, 255, 0});
    CHECK(Near(desktop.display.GetPixel({200, 150}), {102, 0, 0}));
}

TEST_CASE("What a window shows stays while it gets another size")
{
    Desktop desktop;
    const auto window = desktop.Open(Titled("Board", {{200, 150}, {2, 1}}));
    window->ShowPicture(MakeImage({2, 1}, {{255, 0, 0, 255}, {0, 255, 0, 255}}));
    desktop.UntilPixel({201, 150}, {0, 255, 0});
    window->SetSize({40, 30});
    desktop.UntilPixel({239, 179}, black);
    CHECK(Near(desktop.display.GetPixel({200, 150}), {255, 0, 0}));
    CHECK(Near(desktop.display.GetPixel({201, 150}), {0, 255, 0}));
}

TEST_CASE("A window that opens without a compositor stays opaque")
{
    Desktop desktop(Managed());
    WindowSettings settings = Titled("Glass");
    settings.transparent = true;
    const auto window = desktop.Open(settings);
    CHECK_FALSE(window->IsTransparent());
    CHECK(desktop.display.GetDepth(desktop.Find("Glass")) == 24);
    desktop.UntilPixel({300, 300}, black);
    desktop.display.StartCompositor();
    CHECK_FALSE(window->IsTransparent());
}

TEST_CASE("A window is transparent only while the compositor runs")
{
    DesktopSettings desktopSettings;
    desktopSettings.compositor = true;
    Desktop desktop(desktopSettings);
    WindowSettings settings = Titled("Glass");
    settings.transparent = true;
    const auto window = desktop.Open(settings);
    CHECK(window->IsTransparent());
    desktop.display.StopCompositor();
    CHECK_FALSE(window->IsTransparent());
    desktop.display.StartCompositor();
    CHECK(window->IsTransparent());
}

TEST_CASE("A window that does not ask for transparency has none")
{
    DesktopSettings settings;
    settings.compositor = true;
    Desktop desktop(settings);
    const auto window = desktop.Open(Titled("Solid"));
    CHECK_FALSE(window->IsTransparent());
    CHECK(desktop.display.GetDepth(desktop.Find("Solid")) == 24);
}

TEST_CASE("A window whose place or size can't be has the nearest that can")
{
    Desktop desktop;
    const auto window = desktop.Open(Titled("Odd", {{-100000, 70000}, {0, -5}}));
    const WindowId id = desktop.Find("Odd");
    desktop.UntilAt(id, {{-32768, 32767}, {1, 1}});
    window->SetPosition({40000, 0});
    window->SetSize({100000, 200});
    desktop.UntilAt(id, {{32767, 0}, {16384, 200}});
}
