#pragma once

#include "Varkle/Gpu/WindowPlatform.h"

#include <memory>
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

/// Logs what the X server refuses, each kind once, while it lives. Xlib ends the process otherwise, and requests for a
/// window that is just going, such as those of drivers, are nothing to end a show for. When the server itself is gone
/// the process can't go on: it logs that and ends with the status 2.
class ErrorsLogged
{
public:
    ErrorsLogged();
    ~ErrorsLogged();
    ErrorsLogged(const ErrorsLogged&) = delete;
    ErrorsLogged& operator=(const ErrorsLogged&) = delete;
};

/// Notices that displays came, went or changed. GLFW tells neither of changed modes nor of displays that moved.
class DisplayWatch
{
public:
    DisplayWatch();
    ~DisplayWatch();
    DisplayWatch(const DisplayWatch&) = delete;
    DisplayWatch& operator=(const DisplayWatch&) = delete;

    /// True when something changed since the last call.
    bool TakeChange();

private:
    struct Connection;
    std::unique_ptr<Connection> connection;
};

/// Fills in position, size and refresh rate as the X server has them; what it doesn't know stays.
void ReadMonitor(GLFWmonitor* monitor, Display& display);

/// Before the window is shown: makes the window manager take its position and size as they are, not as a wish that it
/// may improve, and begin in that state.
void PrepareShow(GLFWwindow* window, bool fullscreen, bool alwaysOnTop);
/// Puts the window on the screen. GLFW's own function waits until the window manager has done it, without end when that
/// keeps the window for another workspace.
void Show(GLFWwindow* window, bool fullscreen, bool alwaysOnTop);
/// Takes the window off the screen, also one that is minimized.
void Hide(GLFWwindow* window);
/// Fills the display. GLFW's own function waits as above, and moves the window to another display when this one goes.
void EnterFullscreen(GLFWwindow* window, const Display& display);
void LeaveFullscreen(GLFWwindow* window, const glm::ivec2& position, const glm::ivec2& size);
/// Puts off the moment when displays are blanked because nobody touches anything.
void KeepAwake();
/// Sets whether the window takes clicks and keys.
void SetInteractive(GLFWwindow* window, bool on);
/// Sets what the window shows where nothing was drawn yet: nothing, or opaque black.
void SetBackground(GLFWwindow* window, bool seeThrough);
/// Makes the window opaque black.
void ShowBlack(GLFWwindow* window);
/// Shows a picture whose colors are multiplied by alpha.
void PutPicture(GLFWwindow* window, const Image& picture);
wgpu::Surface CreateSurface(const wgpu::Instance& instance, GLFWwindow* window);

} // namespace Varkle::Gui::X11
