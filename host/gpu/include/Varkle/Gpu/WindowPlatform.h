#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Image.h"

#include <glm/vec2.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <webgpu/webgpu_cpp.h>

// What output windows need of the system that shows them. libVarkleDesktop has the desktop of the machine; an editor
// that has a window library of its own, and tests, bring others. Positions and sizes are in physical pixels on the
// desktop that all displays share, and those of a window are of its contents, without title bar and border. Main thread
// only.
namespace Varkle::Gui
{

/// Is a monitor or projector.
struct Display
{
    std::string name;          ///< of its connector: "HDMI-1"; displays that come back are known by it
    glm::ivec2 position{0, 0}; ///< the top-left corner
    glm::ivec2 size{0, 0};
    float scale = 1.0f;        ///< physical pixels per logical pixel
    float refreshRate = 60.0f; ///< frames per second

    bool operator==(const Display&) const = default;
};

/// Says how a window begins.
struct WindowSettings
{
    std::string title;
    glm::ivec2 position{100, 100};
    glm::ivec2 size{1280, 720};
    std::optional<Display> fullscreen = {}; ///< the display to fill; position and size are then for afterwards
    bool decorated = true;
    bool transparent = false;
    bool alwaysOnTop = false;
    bool interactive = true;
    bool focused = true;    ///< asks for the keys when it opens
    bool minimized = false; ///< begins minimized
};

/// Tells how a window is at the moment.
struct WindowState
{
    glm::ivec2 position{0, 0};
    glm::ivec2 resolution{0, 0}; ///< of what it shows
    glm::ivec2 logicalSize{0, 0};
    float scale = 1.0f;
    bool minimized = false;
    bool fullscreen = false; ///< the desktop says that it fills its display, whoever asked for that
    bool covered = false;    ///< nothing of it can be seen behind other windows, as far as the desktop tells
};

/// Is what the pointer did over a window since that was last asked for.
struct PointerMotion
{
    glm::vec2 drag{0.0f, 0.0f}; ///< the way with the first button held, in pixels, y down
    float scroll = 0.0f;        ///< steps of the wheel; above 0 away from the user
};

/// Is what a user or the desktop did to a window.
enum class WindowEvent
{
    Close,     ///< the close button, or what else the desktop offers
    KeyF,      ///< pressed, without Control, Alt or Super
    KeyEscape, ///< pressed
    Uncover,   ///< what the window shows must be drawn again
};

/// Is one window on a screen; it closes when destroyed. Requests may take effect later or, where the desktop does not
/// allow it, never: GetState tells what is.
class VARKLE_API PlatformWindow
{
public:
    PlatformWindow() = default;
    virtual ~PlatformWindow();
    PlatformWindow(const PlatformWindow&) = delete;
    PlatformWindow& operator=(const PlatformWindow&) = delete;

    virtual WindowState GetState() const = 0;
    /// Returns what happened since the last call, in order.
    virtual std::vector<WindowEvent> TakeEvents() = 0;
    /// Returns what the pointer did since the last call; nothing where the platform has none.
    virtual PointerMotion TakePointerMotion();

    virtual void SetTitle(const std::string& title) = 0;
    /// Both are for a window that is not fullscreen.
    virtual void SetPosition(const glm::ivec2& position) = 0;
    virtual void SetSize(const glm::ivec2& size) = 0;
    /// Fills the display.
    virtual void EnterFullscreen(const Display& display) = 0;
    /// Becomes a window like others again.
    virtual void LeaveFullscreen(const glm::ivec2& position, const glm::ivec2& size) = 0;
    virtual void SetDecorated(bool on) = 0;
    virtual void SetAlwaysOnTop(bool on) = 0;
    virtual void SetInteractive(bool on) = 0;
    /// Takes the window off the screen for a while, or shows it again. It begins shown.
    virtual void SetVisible(bool on) = 0;

    /// True when the desktop shows through where alpha is below 1: it was asked for and the system offers it.
    virtual bool IsTransparent() const = 0;
    /// Makes the surface that the GPU draws the window's contents on; null when there is none, and nothing is shown.
    virtual wgpu::Surface CreateSurface(const wgpu::Instance& instance) = 0;
    /// Shows a picture of the window's size whose colors are multiplied by alpha, without the GPU: for windows that
    /// have no surface that it can draw on.
    virtual void ShowPicture(const Image& picture) = 0;
    /// Makes the window black without the GPU.
    virtual void ShowBlack() = 0;
};

/// Is a system with displays and windows.
class VARKLE_API WindowPlatform
{
public:
    WindowPlatform() = default;
    /// All windows must have been closed.
    virtual ~WindowPlatform();
    WindowPlatform(const WindowPlatform&) = delete;
    WindowPlatform& operator=(const WindowPlatform&) = delete;

    /// Returns the displays that are connected now, the main one first. Cheap: windows ask on every frame.
    virtual std::vector<Display> GetDisplays() const = 0;
    /// Opens a window. The error (a machine's) says why it could not be opened.
    virtual Result<std::unique_ptr<PlatformWindow>> Open(const WindowSettings& settings) = 0;
    /// Takes in what happened since the last call.
    virtual void ProcessEvents() = 0;
    /// Says, in a sentence, why there is no platform any more; empty while it is there. One that is gone shows nothing
    /// and opens no windows.
    virtual std::string GetLoss() const;
};

} // namespace Varkle::Gui
