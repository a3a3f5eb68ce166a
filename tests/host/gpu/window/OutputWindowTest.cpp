#include "Varkle/Gpu/OutputWindow.h"

#include "Varkle/Gpu/Windows.h"
#include "support/Catch.h"
#include "support/FakeWindows.h"
#include "support/LogRecorder.h"
#include "support/RunAs.h"

#include <cstdlib>
#include <string>
#include <vector>

using namespace Varkle;
using namespace Varkle::Testing;
using Gui::Display;
using Gui::OutputWindow;
using Gui::SizeUnit;
using Gui::WindowEvent;
namespace Windows = Gui::Windows;

namespace
{

using Calls = std::vector<std::string>;

const Calls nothing;

const Display laptop{"eDP-1", {0, 0}, {1920, 1080}, 1.0f, 60.0f};
const Display projector{"HDMI-1", {1920, 0}, {1280, 800}, 1.0f, 50.0f};
const Display sharp{"DP-2", {3200, 0}, {3840, 2160}, 2.0f, 120.0f};

// Shows windows on a desktop that exists here only, until the end of the test.
class Desk
{
public:
    Desk() { Windows::Start(std::make_unique<FakePlatform>(desktop)); }
    ~Desk() { Windows::Stop(); }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    FakePlatform::Desktop& operator*() const { return *desktop; }
    FakePlatform::Desktop* operator->() const { return desktop.get(); }

    FakeWindow& Window() const { return desktop->Last(); }
    // Lets the user do something to the window that was opened last.
    void Do(WindowEvent event) const
    {
        Window().events.push_back(event);
        Windows::ProcessEvents();
    }
    // Returns what the window was asked since the last call.
    Calls TakeCalls() const { return std::exchange(Window().calls, {}); }

private:
    std::shared_ptr<FakePlatform::Desktop> desktop = std::make_shared<FakePlatform::Desktop>();
};

// Requests what an operator requests on every execution.
struct Requests
{
    std::string title = "Output";
    glm::ivec2 position{100, 100};
    glm::ivec2 size{1280, 720};
    SizeUnit unit = SizeUnit::Physical;
    bool fullscreen = false;
    bool decorated = true;
    bool transparent = false;
    bool alwaysOnTop = false;
    bool interactive = true;
    bool open = true;

    void Ask(OutputWindow& window) const
    {
        window.SetTitle(title);
        window.SetPosition(position);
        window.SetSize(size, unit);
        window.SetFullscreen(fullscreen);
        window.SetDecorated(decorated);
        window.SetTransparent(transparent);
        window.SetAlwaysOnTop(alwaysOnTop);
        window.SetInteractive(interactive);
        window.SetOpen(open);
    }
};

// Is a window that fills the projector beside a laptop.
struct OnProjector
{
    OnProjector()
    {
        desk->displays = {laptop, projector};
        requests.fullscreen = true;
        requests.Ask(window);
    }

    Desk desk;
    OutputWindow window;
    Requests requests{"Output", {2000, 50}};
};

} // namespace

TEST_CASE("A new window is closed and reports what it would open with")
{
    const OutputWindow window;
    CHECK_FALSE(window.IsOpen());
    CHECK_FALSE(window.IsFullscreen());
    CHECK_FALSE(window.IsMinimized());
    CHECK(window.GetResolution() == glm::ivec2(1280, 720));
    CHECK(window.GetLogicalSize() == glm::ivec2(1280, 720));
    CHECK(window.GetPosition() == glm::ivec2(100, 100));
    CHECK(window.GetScale() == 1.0f);
    CHECK(window.GetRefreshRate() == 60.0f);
}

TEST_CASE("A window that was never open reports the size and the position that it was asked for, at a scale of 1")
{
    const Desk desk;
    desk->displays = {sharp};
    OutputWindow window;
    window.SetPosition({-30, 40});
    window.SetSize({640, 360}, SizeUnit::Physical);
    CHECK(window.GetPosition() == glm::ivec2(-30, 40));
    CHECK(window.GetResolution() == glm::ivec2(640, 360));
    CHECK(window.GetLogicalSize() == glm::ivec2(640, 360));

    window.SetSize({800, 600}, SizeUnit::Logical);
    CHECK(window.GetResolution() == glm::ivec2(800, 600));
    CHECK(window.GetLogicalSize() == glm::ivec2(800, 600));
    CHECK(window.GetScale() == 1.0f);
}

TEST_CASE("A window that is not open is not fullscreen, whatever was asked")
{
    OutputWindow window;
    window.SetSize({640, 360}, SizeUnit::Physical);
    window.SetFullscreen(true);
    CHECK_FALSE(window.IsFullscreen());
    CHECK(window.GetResolution() == glm::ivec2(640, 360));
}

TEST_CASE("In a program that shows no windows they stay closed, and nothing is said")
{
    const LogRecorder log;
    OutputWindow window;
    Requests{}.Ask(window);
    Windows::ProcessEvents();
    Windows::Present();
    CHECK_FALSE(window.IsOpen());
    CHECK_FALSE(Windows::IsStarted());
    CHECK(Windows::CountOpen() == 0);
    CHECK(Windows::GetDisplays().empty());
    CHECK(Windows::GetRefreshRate() == 60.0f);
    CHECK(log.lines == nothing);
}

TEST_CASE("Without a display windows stay closed, and the log says so once")
{
    const LogRecorder log;
    Windows::Start(nullptr);
    CHECK_FALSE(Windows::IsStarted());

    OutputWindow first;
    OutputWindow second;
    first.SetOpen(false);
    CHECK(log.lines == nothing);
    first.SetOpen(true);
    first.SetOpen(true);
    second.SetOpen(true);
    CHECK_FALSE(first.IsOpen());
    CHECK_FALSE(second.IsOpen());
    CHECK(log.lines == Calls{"warning: There is no display: output windows stay closed."});
    Windows::Stop();
}

TEST_CASE("A window opens with everything that was asked before")
{
    const Desk desk;
    OutputWindow window;
    Requests requests{"Stage", {10, 20}, {640, 360}};
    requests.decorated = false;
    requests.transparent = true;
    requests.alwaysOnTop = true;
    requests.interactive = false;
    requests.Ask(window);
    REQUIRE(desk->windows.size() == 1);
    const Gui::WindowSettings& settings = desk.Window().settings;
    CHECK(settings.title == "Stage");
    CHECK(settings.position == glm::ivec2(10, 20));
    CHECK(settings.size == glm::ivec2(640, 360));
    CHECK_FALSE(settings.fullscreen);
    CHECK_FALSE(settings.decorated);
    CHECK(settings.transparent);
    CHECK(settings.alwaysOnTop);
    CHECK_FALSE(settings.interactive);
    CHECK(desk.TakeCalls() == nothing);
    CHECK(window.IsOpen());
    CHECK(window.GetPosition() == glm::ivec2(10, 20));
    CHECK(window.GetResolution() == glm::ivec2(640, 360));
    CHECK(Windows::CountOpen() == 1);
}

TEST_CASE("Repeated requests reach the window once")
{
    const Desk desk;
    OutputWindow window;
    const Requests requests;
    for (int i = 0; i < 3; ++i)
    {
        requests.Ask(window);
        Windows::ProcessEvents();
    }
    CHECK(desk->windows.size() == 1);
    CHECK(desk.TakeCalls() == nothing);
}

TEST_CASE("Each request that changes reaches the open window")
{
    const Desk desk;
    OutputWindow window;
    Requests{}.Ask(window);
    window.SetTitle("Encore");
    CHECK(desk.TakeCalls() == Calls{"SetTitle Encore"});
    window.SetPosition({-5, 7});
    CHECK(desk.TakeCalls() == Calls{"SetPosition -5 7"});
    window.SetSize({320, 200}, SizeUnit::Physical);
    CHECK(desk.TakeCalls() == Calls{"SetSize 320 200"});
    window.SetDecorated(false);
    CHECK(desk.TakeCalls() == Calls{"SetDecorated false"});
    window.SetAlwaysOnTop(true);
    CHECK(desk.TakeCalls() == Calls{"SetAlwaysOnTop true"});
    window.SetInteractive(false);
    CHECK(desk.TakeCalls() == Calls{"SetInteractive false"});
    window.SetFullscreen(true);
    CHECK(desk.TakeCalls() == Calls{"EnterFullscreen Main"});
    window.SetOpen(false);
    CHECK_FALSE(desk.Window().open);
    CHECK(desk->windows.size() == 1);
}

TEST_CASE("What the user does by hand stays until a request changes")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk.Window().Drag({300, 400}, {500, 250});
    Windows::ProcessEvents();
    CHECK(window.GetPosition() == glm::ivec2(300, 400));
    CHECK(window.GetResolution() == glm::ivec2(500, 250));

    requests.Ask(window);
    CHECK(desk.TakeCalls() == nothing);
    requests.position.x = 101;
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"SetPosition 101 100"});
    CHECK(desk.Window().state.resolution == glm::ivec2(500, 250));
}

TEST_CASE("A window that was closed by hand stays closed until it is asked to close and to open")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk.Do(WindowEvent::Close);
    CHECK_FALSE(window.IsOpen());
    CHECK(Windows::CountClosedByHand() == 1);
    requests.title = "Changed";
    requests.Ask(window);
    Windows::ProcessEvents();
    CHECK(desk->windows.size() == 1);
    CHECK_FALSE(window.IsOpen());

    requests.open = false;
    requests.Ask(window);
    CHECK(desk->windows.size() == 1);
    requests.open = true;
    requests.Ask(window);
    CHECK(desk->windows.size() == 2);
    CHECK(desk.Window().settings.title == "Changed");
    CHECK(window.IsOpen());
}

TEST_CASE("A closed window reports where and how it was last")
{
    const Desk desk;
    desk->displays = {laptop, projector, sharp};
    OutputWindow window;
    Requests{}.Ask(window);
    desk.Window().state.scale = 2.0f;
    desk.Window().Drag({3300, 10}, {800, 600});
    Windows::ProcessEvents();
    window.SetOpen(false);
    window.SetPosition({0, 0});
    window.SetSize({64, 64}, SizeUnit::Physical);
    CHECK_FALSE(window.IsOpen());
    CHECK(window.GetPosition() == glm::ivec2(3300, 10));
    CHECK(window.GetResolution() == glm::ivec2(800, 600));
    CHECK(window.GetLogicalSize() == glm::ivec2(400, 300));
    CHECK(window.GetScale() == 2.0f);
    CHECK(window.GetRefreshRate() == 120.0f);
}

TEST_CASE("A minimized window is open and reports where and how it was before")
{
    const Desk desk;
    OutputWindow window;
    Requests{}.Ask(window);
    desk.Window().state.minimized = true;
    desk.Window().Drag({-32000, -32000}, {0, 0});
    Windows::ProcessEvents();
    CHECK(window.IsOpen());
    CHECK(window.IsMinimized());
    CHECK(window.GetPosition() == glm::ivec2(100, 100));
    CHECK(window.GetResolution() == glm::ivec2(1280, 720));

    desk.Window().state.minimized = false;
    desk.Window().Drag({7, 8}, {90, 100});
    Windows::ProcessEvents();
    CHECK_FALSE(window.IsMinimized());
    CHECK(window.GetPosition() == glm::ivec2(7, 8));
    window.SetOpen(false);
    CHECK_FALSE(window.IsMinimized());
}

TEST_CASE("A logical size is scaled as the display that the window is on")
{
    const Desk desk;
    desk->displays = {laptop, sharp};
    OutputWindow window;
    Requests requests{"Output", {3300, 100}, {1280, 720}, SizeUnit::Logical};
    requests.Ask(window);
    CHECK(desk.Window().settings.size == glm::ivec2(2560, 1440));
    CHECK(window.GetResolution() == glm::ivec2(2560, 1440));
    CHECK(window.GetLogicalSize() == glm::ivec2(1280, 720));
    CHECK(window.GetScale() == 2.0f);

    requests.unit = SizeUnit::Physical;
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"SetSize 1280 720"});
    requests.unit = SizeUnit::Logical;
    requests.size = {100, 75};
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"SetSize 200 150"});
    requests.position = {0, 0};
    requests.size = {101, 75};
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"SetPosition 0 0", "SetSize 101 75"});
}

TEST_CASE("A window has at least one pixel and at most what a GPU draws")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.size = {0, -7};
    requests.Ask(window);
    CHECK(desk.Window().settings.size == glm::ivec2(1, 1));
    window.SetSize({2000000000, 5}, SizeUnit::Logical);
    CHECK(desk.TakeCalls() == Calls{"SetSize 16384 5"});
}

TEST_CASE("Fullscreen takes the display that shows most of the window")
{
    const Desk desk;
    desk->displays = {laptop, projector, sharp};
    OutputWindow window;
    Requests requests;
    requests.Ask(window);

    const auto enterAt = [&](const glm::ivec2& position)
    {
        desk.Window().Drag(position, {400, 300});
        Windows::ProcessEvents();
        window.SetFullscreen(true);
        Calls calls = desk.TakeCalls();
        Windows::ProcessEvents();
        CHECK(window.IsFullscreen());
        window.SetFullscreen(false);
        CHECK(desk.TakeCalls() ==
              Calls{"LeaveFullscreen " + std::to_string(position.x) + " " + std::to_string(position.y) + " 400 300"});
        Windows::ProcessEvents();
        return calls;
    };
    CHECK(enterAt({0, 0}) == Calls{"EnterFullscreen eDP-1"});
    CHECK(enterAt({1719, 0}) == Calls{"EnterFullscreen eDP-1"}); // 201 of 400 columns
    CHECK(enterAt({1721, 0}) == Calls{"EnterFullscreen HDMI-1"});
    CHECK(enterAt({4000, 2000}) == Calls{"EnterFullscreen DP-2"});
    CHECK(enterAt({-9000, -9000}) == Calls{"EnterFullscreen eDP-1"}); // on none: the main one
}

TEST_CASE("A fullscreen window reports its display's corner, size, scale and rate")
{
    const Desk desk;
    desk->displays = {laptop, sharp};
    OutputWindow window;
    Requests requests{"Output", {3300, 100}};
    requests.fullscreen = true;
    requests.Ask(window);
    REQUIRE(desk.Window().settings.fullscreen);
    CHECK(desk.Window().settings.fullscreen->name == "DP-2");
    CHECK(desk.Window().settings.size == glm::ivec2(1280, 720)); // for afterwards
    desk.Window().state.position = {0, 0};                       // whatever the window says
    Windows::ProcessEvents();
    CHECK(window.IsFullscreen());
    CHECK(window.GetPosition() == glm::ivec2(3200, 0));
    CHECK(window.GetResolution() == glm::ivec2(3840, 2160));
    CHECK(window.GetLogicalSize() == glm::ivec2(1920, 1080));
    CHECK(window.GetScale() == 2.0f);
    CHECK(window.GetRefreshRate() == 120.0f);
}

TEST_CASE("Position and size that are asked for in fullscreen apply afterwards")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.fullscreen = true;
    requests.Ask(window);
    requests.position = {5, 6};
    requests.size = {70, 80};
    requests.Ask(window);
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == nothing);
    CHECK(window.GetResolution() == glm::ivec2(1920, 1080));
    requests.fullscreen = false;
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"LeaveFullscreen 5 6 70 80"});
    Windows::ProcessEvents();
    CHECK(window.GetPosition() == glm::ivec2(5, 6));
    CHECK(window.GetResolution() == glm::ivec2(70, 80));
}

TEST_CASE("A window that the desktop is slow to take out of fullscreen keeps its place in mind")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    window.SetFullscreen(true);
    Windows::ProcessEvents();
    window.SetFullscreen(false);
    desk.Window().Drag({0, 0}, {1920, 1080}); // still
    Windows::ProcessEvents();
    window.SetFullscreen(true);
    window.SetFullscreen(false);
    CHECK(desk.TakeCalls().back() == "LeaveFullscreen 100 100 1280 720");
}

TEST_CASE("The F key toggles fullscreen and Escape leaves it, while the window is interactive")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk.Do(WindowEvent::KeyEscape);
    CHECK(desk.TakeCalls() == nothing);
    desk.Do(WindowEvent::KeyF);
    CHECK(window.IsFullscreen());
    requests.Ask(window); // repeated requests don't undo it
    CHECK(window.IsFullscreen());
    desk.Do(WindowEvent::KeyF);
    CHECK_FALSE(window.IsFullscreen());
    desk.Do(WindowEvent::KeyF);
    desk.Do(WindowEvent::KeyEscape);
    CHECK_FALSE(window.IsFullscreen());
    const Calls twice{"EnterFullscreen Main", "LeaveFullscreen 100 100 1280 720", "EnterFullscreen Main",
                      "LeaveFullscreen 100 100 1280 720"};
    CHECK(desk.TakeCalls() == twice);

    requests.interactive = false;
    requests.Ask(window);
    desk.TakeCalls();
    desk.Do(WindowEvent::KeyF);
    CHECK(desk.TakeCalls() == nothing);
    CHECK_FALSE(window.IsFullscreen());
}

TEST_CASE("A request for fullscreen that the user fulfilled already changes nothing")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk.Do(WindowEvent::KeyF);
    requests.fullscreen = true;
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"EnterFullscreen Main"});
    desk.Do(WindowEvent::KeyEscape);
    CHECK_FALSE(window.IsFullscreen());
    requests.Ask(window);
    CHECK_FALSE(window.IsFullscreen());
}

TEST_CASE("A changed transparency makes the window anew where it is")
{
    const Desk desk;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk.Window().Drag({300, 400}, {500, 250});
    Windows::ProcessEvents();
    requests.transparent = true;
    requests.Ask(window);
    REQUIRE(desk->windows.size() == 2);
    CHECK(desk.Window().settings.transparent);
    CHECK(desk.Window().settings.position == glm::ivec2(300, 400));
    CHECK(desk.Window().settings.size == glm::ivec2(500, 250));
    CHECK(desk->windows[0]->open); // until the new one shows something
    CHECK(window.IsOpen());
    window.SetOpen(false);
    CHECK(desk->CountOpen() == 0);

    requests.open = true;
    requests.fullscreen = true;
    requests.Ask(window);
    requests.transparent = false;
    requests.Ask(window);
    REQUIRE(desk->windows.size() == 4);
    CHECK(desk.Window().settings.fullscreen);
    CHECK(window.IsFullscreen());
}

TEST_CASE("A window whose place can't be taken by a new one stays")
{
    const Desk desk;
    const LogRecorder log;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    desk->refusal = "The desktop has had enough.";
    requests.transparent = true;
    requests.Ask(window);
    CHECK(window.IsOpen());
    CHECK(desk->CountOpen() == 1);
    CHECK(log.lines == Calls{"error: The window \"Output\" can't be opened: The desktop has had enough."});
}

TEST_CASE("A window that can't be opened is an error once, and is tried again when asked again")
{
    const Desk desk;
    desk->refusal = "The desktop has had enough.";
    const LogRecorder log;
    OutputWindow window;
    Requests requests;
    requests.Ask(window);
    requests.Ask(window);
    Windows::ProcessEvents();
    CHECK_FALSE(window.IsOpen());
    CHECK(log.lines == Calls{"error: The window \"Output\" can't be opened: The desktop has had enough."});
    desk->refusal.clear();
    window.SetOpen(false);
    window.SetOpen(true);
    CHECK(window.IsOpen());
}

TEST_CASE_METHOD(OnProjector, "A fullscreen window goes with its display and comes back with it")
{
    desk->displays = {laptop};
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == Calls{"SetVisible false"});
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == nothing);
    CHECK(window.IsOpen());
    CHECK(window.IsFullscreen());
    CHECK(window.IsMinimized());
    CHECK(window.GetPosition() == projector.position);
    CHECK(window.GetResolution() == projector.size);

    Display smaller = projector;
    smaller.position = {-1024, 0};
    smaller.size = {1024, 768};
    desk->displays = {laptop, smaller};
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == Calls{"EnterFullscreen HDMI-1", "SetVisible true"});
    CHECK_FALSE(window.IsMinimized());
    CHECK(window.GetPosition() == smaller.position);
    CHECK(window.GetResolution() == smaller.size);
}

TEST_CASE_METHOD(OnProjector, "A window whose display is gone can be had back by leaving fullscreen")
{
    desk->displays = {laptop};
    Windows::ProcessEvents();
    desk.TakeCalls();
    requests.fullscreen = false;
    requests.position = {10, 10};
    requests.Ask(window);
    CHECK(desk.TakeCalls() == Calls{"LeaveFullscreen 10 10 1280 720", "SetVisible true"});
    CHECK_FALSE(window.IsMinimized());
}

TEST_CASE_METHOD(OnProjector, "A fullscreen window follows its display when that changes its size or its place")
{
    desk->displays[1].size = {1920, 1080};
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == Calls{"EnterFullscreen HDMI-1"});
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == nothing);
    CHECK(window.GetResolution() == glm::ivec2(1920, 1080));
}

TEST_CASE("Without any display a window opens, though not fullscreen")
{
    const Desk desk;
    desk->displays.clear();
    OutputWindow window;
    Requests requests;
    requests.unit = SizeUnit::Logical;
    requests.fullscreen = true;
    requests.Ask(window);
    Windows::ProcessEvents();
    CHECK(window.IsOpen());
    CHECK_FALSE(window.IsFullscreen());
    CHECK(window.GetResolution() == glm::ivec2(1280, 720));
    desk.Do(WindowEvent::KeyF);
    CHECK_FALSE(window.IsFullscreen());
}

TEST_CASE("A window that the desktop makes fullscreen is, and comes back to its place by key or desktop")
{
    const Desk desk;
    OutputWindow window;
    const Requests requests;
    requests.Ask(window);
    Windows::ProcessEvents();
    // Window managers resize a window before they tell why.
    desk.Window().Drag({0, 0}, {1920, 1080});
    Windows::ProcessEvents();
    CHECK_FALSE(window.IsFullscreen());
    desk.Window().state.fullscreen = true;
    Windows::ProcessEvents();
    CHECK(window.IsFullscreen());
    CHECK(desk.TakeCalls() == Calls{"EnterFullscreen Main"});
    SECTION("by Escape")
    {
        desk.Do(WindowEvent::KeyEscape);
    }
    SECTION("by F")
    {
        desk.Do(WindowEvent::KeyF);
    }
    SECTION("by the desktop")
    {
        desk.Window().state.fullscreen = false;
        while (window.IsFullscreen()) // it may take the news for an answer to what it asked for at first
            Windows::ProcessEvents();
    }
    CHECK_FALSE(window.IsFullscreen());
    CHECK(desk.TakeCalls() == Calls{"LeaveFullscreen 100 100 1280 720"});
}

TEST_CASE("Windows that open after the first picture ask for no keys, and one that is made anew stays minimized")
{
    const Desk desk;
    OutputWindow first;
    Requests requests;
    requests.Ask(first);
    CHECK(desk.Window().settings.focused);
    CHECK_FALSE(desk.Window().settings.minimized);
    Windows::Present();
    desk.Window().state.minimized = true;
    Windows::ProcessEvents();
    requests.transparent = true;
    requests.Ask(first);
    REQUIRE(desk->windows.size() == 2);
    CHECK(desk->CountOpen() == 1);
    CHECK_FALSE(desk.Window().settings.focused);
    CHECK(desk.Window().settings.minimized);

    OutputWindow second;
    requests.Ask(second);
    CHECK_FALSE(desk.Window().settings.focused);
    CHECK_FALSE(desk.Window().settings.minimized);
}

TEST_CASE("A window whose place is on a display that is not there says so, and goes there when one comes")
{
    const Desk desk;
    desk->displays = {laptop};
    Windows::ProcessEvents();
    const LogRecorder log;
    OutputWindow window;
    Requests requests{"Stage", {2000, 50}, {640, 400}};
    SECTION("in a window")
    {
        requests.Ask(window);
        CHECK(log.lines == Calls{"warning: The window \"Stage\" is to be at (2000, 50), where no display is; it goes "
                                 "there when one comes."});
        desk.Window().Drag({1280, 50}, {640, 400}); // by a window manager
        Windows::ProcessEvents();
        CHECK(desk.TakeCalls() == nothing);
        desk->displays = {laptop, projector};
        Windows::ProcessEvents();
        CHECK(desk.TakeCalls() == Calls{"SetPosition 2000 50", "SetSize 640 400"});
    }
    SECTION("fullscreen")
    {
        requests.fullscreen = true;
        requests.Ask(window);
        desk->displays = {laptop, projector};
        Windows::ProcessEvents();
        CHECK(desk.TakeCalls() == Calls{"EnterFullscreen HDMI-1"});
        CHECK(window.GetPosition() == projector.position);
    }
    CHECK(log.lines.size() == 2);
    CHECK(log.Contains("info: The display \"HDMI-1\" is there: 1280x800 pixels at (1920, 0)."));
}

TEST_CASE("A window without a frame comes back to its place with its display, which the log tells of")
{
    const Desk desk;
    desk->displays = {laptop, projector};
    OutputWindow window;
    Requests requests{"Stage", {2000, 50}, {640, 400}};
    requests.decorated = false;
    requests.Ask(window);
    Windows::ProcessEvents();
    const LogRecorder log;
    desk->displays = {laptop};
    Windows::ProcessEvents();
    CHECK(log.lines == Calls{"warning: The display \"HDMI-1\" is gone."});
    desk.Window().Drag({1280, 50}, {600, 400}); // by a window manager
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == nothing);
    desk->displays = {laptop, projector};
    Windows::ProcessEvents();
    CHECK(desk.TakeCalls() == Calls{"SetPosition 2000 50", "SetSize 640 400"});
    CHECK(log.lines.size() == 2);
}

TEST_CASE("A window that others cover is not visible")
{
    const Desk desk;
    OutputWindow window;
    CHECK_FALSE(window.IsVisible());
    Requests().Ask(window);
    CHECK(window.IsVisible());
    desk.Window().state.covered = true;
    Windows::ProcessEvents();
    CHECK_FALSE(window.IsVisible());
    CHECK(window.IsOpen());
    CHECK_FALSE(window.IsMinimized());
    desk.Window().state.covered = false;
    Windows::ProcessEvents();
    CHECK(window.IsVisible());
}

TEST_CASE("When the desktop goes, windows close, and the reason is there until the next one")
{
    const Desk desk;
    OutputWindow window;
    Requests().Ask(window);
    CHECK(Windows::GetLoss() == "");
    desk->loss = "Somebody fell over the cable.";
    Windows::ProcessEvents();
    CHECK_FALSE(window.IsOpen());
    CHECK_FALSE(Windows::IsStarted());
    CHECK(Windows::GetLoss() == "Somebody fell over the cable.");
    const Desk next;
    CHECK(Windows::GetLoss() == "");
    Windows::ProcessEvents();
    CHECK(window.IsOpen());
}

TEST_CASE("The end of an output window closes its window")
{
    const Desk desk;
    {
        OutputWindow window;
        Requests{}.Ask(window);
        CHECK(desk->CountOpen() == 1);
    }
    CHECK(desk->CountOpen() == 0);
    Windows::ProcessEvents();
    CHECK(Windows::CountOpen() == 0);
}

TEST_CASE("The fastest display that shows a window sets the pace")
{
    const Desk desk;
    desk->displays = {laptop, projector, sharp};
    OutputWindow slow;
    OutputWindow fast;
    Requests{"Slow", {1930, 5}, {100, 100}}.Ask(slow);
    CHECK(Windows::GetRefreshRate() == 50.0f);
    Requests{"Fast", {3300, 5}, {100, 100}}.Ask(fast);
    CHECK(Windows::GetRefreshRate() == 120.0f);
    fast.SetOpen(false);
    CHECK(Windows::GetRefreshRate() == 50.0f);
    slow.SetOpen(false);
    CHECK(Windows::GetRefreshRate() == 60.0f);
}

TEST_CASE("Windows close with the platform and open again with the next one")
{
    OutputWindow window;
    {
        const Desk desk;
        Requests{}.Ask(window);
        CHECK(window.IsOpen());
        Windows::Stop();
        CHECK(desk->CountOpen() == 0);
        CHECK_FALSE(window.IsOpen());
        Windows::ProcessEvents();
    }
    const Desk desk;
    CHECK_FALSE(window.IsOpen());
    Windows::ProcessEvents();
    CHECK(window.IsOpen());
    CHECK(desk->CountOpen() == 1);
}

TEST_CASE("A kept window is taken over by the operator with the same key, with what the user did")
{
    const Desk desk;
    Requests requests;
    auto before = std::make_unique<OutputWindow>();
    RunAs("stage", [&] { requests.Ask(*before); });
    desk.Window().Drag({300, 400}, {500, 250});
    Windows::ProcessEvents();
    REQUIRE(Windows::GetReports().size() == 1);
    CHECK(Windows::GetReports()[0].owner != nullptr);
    CHECK(Windows::GetReports()[0].position == glm::ivec2(300, 400));

    OutputWindow other;
    OutputWindow after;
    {
        const Windows::Keep keep;
        before.reset();
        CHECK(desk->CountOpen() == 1);
        RunAs("other", [&] { requests.Ask(other); });
        CHECK(desk->windows.size() == 2);
        requests.title = "Stage";
        RunAs("stage", [&] { requests.Ask(after); });
    }
    CHECK(desk->windows.size() == 2);
    CHECK(desk->windows[0]->open);
    CHECK(desk->windows[0]->calls == Calls{"SetTitle Stage"});
    CHECK(after.IsOpen());
    CHECK(after.GetPosition() == glm::ivec2(300, 400));
    CHECK(after.GetResolution() == glm::ivec2(500, 250));
}

TEST_CASE("A kept window that was closed by hand stays closed")
{
    const Desk desk;
    const Requests requests;
    auto before = std::make_unique<OutputWindow>();
    RunAs("stage", [&] { requests.Ask(*before); });
    desk.Do(WindowEvent::Close);
    OutputWindow after;
    {
        const Windows::Keep keep;
        before.reset();
        RunAs("stage", [&] { requests.Ask(after); });
    }
    CHECK(desk->windows.size() == 1);
    CHECK_FALSE(after.IsOpen());
}

TEST_CASE("Kept windows that nobody takes over close")
{
    const Desk desk;
    auto before = std::make_unique<OutputWindow>();
    RunAs("stage", [&] { Requests{}.Ask(*before); });
    {
        const Windows::Keep outer;
        {
            const Windows::Keep inner;
            before.reset();
        }
        CHECK(desk->CountOpen() == 1);
    }
    CHECK(desk->CountOpen() == 0);
}
