#pragma once

#include "Varkle/Gpu/WindowPlatform.h"

#include <atomic>
#include <memory>
#include <string>
#include <webgpu/webgpu_cpp.h>

struct GLFWmonitor;
struct GLFWwindow;

// What GLFW leaves to X11, or does in a way that doesn't suit a show. None of it waits for the window manager.
namespace Varkle::Gui::X11
{

/// True when a program puts the windows of this desktop together and looks at their alpha.
bool HasCompositor();

/// Gives windows that GLFW creates while this lives an alpha channel, where the X server has such a visual. GLFW asks
/// for one only together with an OpenGL context.
class AlphaForNewWindows
{
public:
    AlphaForNewWindows();
    ~AlphaForNewWindows();
    AlphaForNewWindows(const AlphaForNewWindows&) = delete;
    AlphaForNewWindows& operator=(const AlphaForNewWindows&) = delete;

private:
    struct Screen;
    std::unique_ptr<Screen> screen;
};

/// Logs what the X server refuses, each kind once, while it lives, and notices when GLFW's connection to it ends. Xlib
/// ends the process otherwise, and requests for a window that is just going, such as those of drivers, are nothing to
/// end a show for. What is asked of a connection that ended does nothing.
class ErrorsLogged
{
public:
    ErrorsLogged();
    ~ErrorsLogged();
    ErrorsLogged(const ErrorsLogged&) = delete;
    ErrorsLogged& operator=(const ErrorsLogged&) = delete;

    /// Says why the connection ended; empty while there is one.
    std::string GetLoss() const;

private:
    std::string serverName;
    std::atomic<bool> ended = false; // by a driver's thread, too
    mutable std::string loss;
};

/// Notices what GLFW does not tell: displays that changed their mode or moved, and how the desktop shows windows.
class DesktopWatch
{
public:
    DesktopWatch();
    ~DesktopWatch();
    DesktopWatch(const DesktopWatch&) = delete;
    DesktopWatch& operator=(const DesktopWatch&) = delete;

    /// Takes in what happened. Returns true when something about the displays changed since the last call.
    bool TakeDisplayChange();

    struct WindowView
    {
        bool fullscreen = false;
        bool covered = false; ///< wholly, as far as the X server knows: with a compositor it doesn't
    };
    void Add(GLFWwindow* window);
    void Remove(GLFWwindow* window);
    WindowView GetView(GLFWwindow* window) const;

private:
    struct Connection;
    std::unique_ptr<Connection> connection;
};

/// Fills in position, size and refresh rate as the X server has them; what it doesn't know stays.
void ReadMonitor(GLFWmonitor* monitor, Display& display);

/// Says how a window begins.
struct ShowState
{
    bool fullscreen = false;
    bool alwaysOnTop = false;
    bool focused = true;
    bool minimized = false;
};
/// Before the window is shown: makes the window manager take its position and size as they are, not as a wish that it
/// may improve, and begin in that state.
void PrepareShow(GLFWwindow* window, const ShowState& state);
/// Puts the window on the screen. GLFW's own function waits until the window manager has done it, without end when that
/// keeps the window for another workspace.
void Show(GLFWwindow* window, const ShowState& state);
/// Takes the window off the screen, also one that is minimized.
void Hide(GLFWwindow* window);
/// Fills the display. GLFW's own function waits as above, and moves the window to another display when this one goes.
void EnterFullscreen(GLFWwindow* window, const Display& display);
void LeaveFullscreen(GLFWwindow* window, const glm::ivec2& position, const glm::ivec2& size);
/// Puts off the moment when displays are blanked because nobody touches anything.
void KeepAwake();
/// Sets whether the window takes clicks and keys.
void SetInteractive(GLFWwindow* window, bool on);
/// Sets what the window shows where nothing was drawn yet: nothing, or opaque black. What was drawn stays where it is
/// when the size changes, until the next picture.
void SetBackground(GLFWwindow* window, bool seeThrough);
/// Makes the window opaque black.
void ShowBlack(GLFWwindow* window);
/// Shows a picture whose colors are multiplied by alpha.
void PutPicture(GLFWwindow* window, const Image& picture);
wgpu::Surface CreateSurface(const wgpu::Instance& instance, GLFWwindow* window);

} // namespace Varkle::Gui::X11
