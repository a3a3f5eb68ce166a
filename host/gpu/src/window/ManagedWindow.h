#pragma once

#include "Varkle/Gpu/OutputWindow.h"
#include "Varkle/Gpu/WindowPlatform.h"
#include "Varkle/Gpu/Windows.h"
#include "window/WindowSurface.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Varkle::Gui
{

/// Is what an output window was asked for.
struct WindowRequests
{
    std::string title;
    glm::ivec2 position{100, 100};
    glm::ivec2 size{1280, 720};
    SizeUnit sizeUnit = SizeUnit::Physical;
    bool open = false;
    bool fullscreen = false;
    bool decorated = true;
    bool transparent = false;
    bool alwaysOnTop = false;
    bool interactive = true;
};

/// Is the window behind an OutputWindow: acts on requests that are new and leaves alone what the user did since the
/// last one.
class ManagedWindow
{
public:
    using Clock = std::chrono::steady_clock;

    /// Joins the windows of the process, in the order of their making.
    ManagedWindow();
    ~ManagedWindow();
    ManagedWindow(const ManagedWindow&) = delete;
    ManagedWindow& operator=(const ManagedWindow&) = delete;

    WindowRequests requests;
    Texture texture;    ///< what it shows
    bool asked = false; ///< to open or to stay closed, ever

    /// Acts on the requests that differ from those of the last call. Those for the size and the position wait while the
    /// window is fullscreen, all of them while it is closed.
    void Follow();
    /// Takes over another's window, with what the user did to it.
    void Adopt(ManagedWindow& other);

    /// Takes in what happened to the window. `changed` says that the displays are other ones than in the last call.
    void Update(const std::vector<Display>& displays, bool changed);
    /// Shows the texture, where that is due.
    void Present(Windows::Pace pace, Clock::time_point now);
    /// Closes the window. It opens again when it was asked not to be open and then to be.
    void Close();
    /// Closes the window since the platform goes. It opens again as soon as there is one.
    void LosePlatform();

    bool IsOpen() const { return live.shown != nullptr; }
    bool IsFullscreen() const { return IsOpen() && live.fullscreen; }
    bool IsMinimized() const { return IsOpen() && (live.minimized || live.hidden); }
    bool IsVisible() const { return IsOpen() && !live.hidden && !live.minimized && !live.covered; }
    glm::ivec2 GetResolution() const { return live.known ? live.known->resolution : requests.size; }
    glm::ivec2 GetLogicalSize() const { return live.known ? live.known->logicalSize : requests.size; }
    glm::ivec2 GetPosition() const { return live.known ? live.known->position : requests.position; }
    float GetScale() const { return live.known ? live.known->scale : 1.0f; }
    float GetRefreshRate() const { return live.refreshRate; }

    PointerMotion TakePointerMotion();
    Windows::Report GetReport() const;

    /// Returns the operator that asked for the window, null when none did or it is gone.
    const Operator* GetOwner() const { return owner; }
    const std::string& GetOwnerKey() const { return ownerKey; }
    void SetOwner(const Operator& op);
    void ForgetOwner() { owner = nullptr; }

private:
    struct Shown
    {
        explicit Shown(std::unique_ptr<PlatformWindow> opened) : window(std::move(opened)), surface(*window) {}
        std::unique_ptr<PlatformWindow> window;
        WindowSurface surface;
    };

    // What is, as opposed to what was asked.
    struct Live
    {
        WindowRequests followed;        // what was acted on
        std::unique_ptr<Shown> shown;   // null while closed
        std::unique_ptr<Shown> retired; // stays behind the window that takes its place until that shows something
        Placement windowed;             // where the window is, or will be when it is no longer fullscreen
        std::optional<Display> fullscreen;
        std::optional<Placement> awaited; // where it goes as soon as a display is there
        bool hidden = false;              // off the screen since the display that it fills is gone
        bool minimized = false;
        bool covered = false;
        bool toldFullscreen = false;      // what the desktop said last
        Clock::time_point settled;        // until then what the desktop says may be about our own requests
        std::optional<WindowState> known; // while it could last be seen; nothing before it was first open
        float refreshRate = 60.0f;
        Clock::time_point due; // the earliest time of the next picture
    };

    void Open();
    std::unique_ptr<Shown> OpenShown() const;
    void FollowOpen();
    void EnterFullscreen();
    void LeaveFullscreen();
    void TakeEvents();
    void AwaitDisplay();
    void FollowDisplays(const std::vector<Display>& displays, bool changed);
    void FollowFilledDisplay(const std::vector<Display>& displays);
    void FollowDesktop(const WindowState& state, const std::vector<Display>& displays);
    void Fill(const Display& display);
    void Observe(const std::vector<Display>& displays);

    const Operator* owner = nullptr;
    std::string ownerKey;
    Live live;
};

} // namespace Varkle::Gui
