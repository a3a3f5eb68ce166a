#pragma once

#include "Varkle/Gpu/Image.h"
#include "support/Pixels.h"

#include <functional>
#include <glm/vec2.hpp>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

// A desktop for tests of real windows, without a screen, and what a user or a desktop does to windows.

namespace Varkle::Testing
{

/// Says what the desktop consists of.
struct DesktopSettings
{
    glm::ivec2 size{1920, 1080};
    bool windowManager = false; ///< openbox: frames, focus, fullscreen, minimizing, stacking
    bool compositor = false;    ///< picom: transparency
    double scale = 1.0;         ///< physical pixels per logical pixel
};

/// Is a window on the desktop; 0 is none.
using WindowId = unsigned long;

/// Is a rectangle of the desktop, in pixels from its top-left corner.
struct Area
{
    glm::ivec2 position{0, 0};
    glm::ivec2 size{0, 0};

    bool operator==(const Area&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Area& area)
{
    return stream << area.size.x << 'x' << area.size.y << " at (" << area.position.x << ' ' << area.position.y << ')';
}

/// Runs an X server with one display, named "screen", while it lives. The environment variable DISPLAY names it
/// meanwhile, for this process and the programs that it starts.
///
/// Whoever connected to it from this process must let go before it ends: Xlib ends a process that loses its server. So
/// make it the first object of a test.
///
/// Window manager and compositor act when they get to it: wait for what is expected, never check at once.
///
/// Everything that waits gives up after ten seconds with an exception that says what did not happen, which fails the
/// test.
class VirtualDisplay
{
public:
    explicit VirtualDisplay(const DesktopSettings& settings = {});
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// Returns the value of DISPLAY, such as ":1".
    const std::string& GetName() const;

    /// Waits until `condition` returns true, asking again whenever something happens on the desktop and every few
    /// milliseconds. A condition about windows of this process should process their events, too. `what` goes on after
    /// "waited in vain until ".
    void WaitUntil(const std::string& what, const std::function<bool()>& condition);

    /// Returns what is to be seen now: the desktop, or a part of it, with all windows. Programs, the compositor above
    /// all, draw when they get to it: wait for the pixels that a test expects.
    Image Capture();
    Image Capture(const Area& area);
    /// Returns the color of one pixel of the desktop.
    Rgba8 GetPixel(glm::ivec2 position);
    /// Fills the desktop behind the windows with a color; black at first.
    void SetBackground(Rgba8 color);

    /// Returns the windows of programs with that title, without those that are withdrawn; minimized ones are included.
    std::vector<WindowId> FindAll(const std::string& title);
    /// Returns the one window with that title; 0 when there is none. More than one is an exception.
    WindowId Find(const std::string& title);
    /// Waits for a window with that title to be on the screen. For windows of other processes.
    WindowId WaitForWindow(const std::string& title);
    /// Waits until no window has that title. For windows of other processes.
    void WaitForNoWindow(const std::string& title);

    /// Returns where the window's contents are.
    Area GetArea(WindowId window);
    /// Returns the same with title bar and border.
    Area GetFrame(WindowId window);
    std::string GetTitle(WindowId window);
    /// True when it can be seen: not withdrawn, not minimized.
    bool IsShown(WindowId window);
    bool IsMinimized(WindowId window);
    /// True when its state (_NET_WM_STATE) names that, such as "_NET_WM_STATE_FULLSCREEN" or "_NET_WM_STATE_ABOVE".
    bool HasState(WindowId window, const std::string& name);
    /// True when it asks for a title bar and border (_MOTIF_WM_HINTS).
    bool WantsFrame(WindowId window);
    /// Returns the bits of each pixel: 24, or 32 with transparency.
    int GetDepth(WindowId window);
    /// True when `upper` is stacked above `lower`.
    bool IsAbove(WindowId upper, WindowId lower);
    /// Returns the window that gets the keys; 0 when none, or the one under the pointer.
    WindowId GetFocused();

    // What users do, by hand or through the window manager. Takes effect soon, not at once.

    /// Uses the close button.
    void AskToClose(WindowId window);
    /// Ends the X server's connection with the window's program.
    void Disconnect(WindowId window);
    /// Makes the window fullscreen or ends that, as a desktop's keys do.
    void SetFullscreen(WindowId window, bool on);
    /// Drags the window so that its contents begin there.
    void Move(WindowId window, glm::ivec2 position);
    /// Resizes its contents.
    void Resize(WindowId window, glm::ivec2 size);
    void Minimize(WindowId window);
    /// Brings it to the front, out of minimizing too, and gives it the keys. Needs the window manager.
    void Activate(WindowId window);
    void MovePointer(glm::ivec2 position);
    /// Moves the pointer from one place to another with its first button held.
    void Drag(glm::ivec2 from, glm::ivec2 to);
    /// Turns the wheel by so many steps, away from the user where above 0.
    void Scroll(int steps);
    /// Moves the pointer there and presses and releases its first button.
    void Click(glm::ivec2 position);
    /// Presses and releases a key while others are held. Names are those of X11: "f", "Escape", "Control_L".
    void TypeKey(const std::string& key, const std::vector<std::string>& held = {});
    /// The two halves of it.
    void PressKey(const std::string& key);
    void ReleaseKey(const std::string& key);
    /// True when the pointer is to be seen where it is.
    bool IsPointerShown();

    /// Opens a plain window of one color, as of another program; it closes with the display. Waits until it is shown.
    WindowId OpenPlainWindow(const std::string& title, const Area& area, Rgba8 color);
    /// Returns how often such a window was clicked, and how often a key was pressed in it.
    int CountClicks(WindowId window);
    int CountKeys(WindowId window);

    /// Gives the display another mode, as its settings or a projector do; it must not be larger than at the start.
    /// Frames per second are clock / (total.x * total.y), in pixels; a clock of 0 leaves them unknown.
    void SetMode(glm::ivec2 size, unsigned long clock = 0, glm::uvec2 total = {0, 0});
    /// Pulls the display's cable, and plugs it in again with the mode that it had at the start.
    void Unplug();
    void PlugIn();

    void StartCompositor();
    void StopCompositor();

private:
    struct Server;
    std::unique_ptr<Server> server;
};

} // namespace Varkle::Testing
