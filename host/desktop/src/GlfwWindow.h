#pragma once

#include "Varkle/Gpu/WindowPlatform.h"

#include <optional>
#include <string>
#include <vector>

struct GLFWwindow;

namespace Varkle::Gui::X11
{
class DesktopWatch;
}

namespace Varkle::Gui
{

/// Is a window of GLFW's, on X11. It has an alpha channel when that is asked for and a compositor runs at the time.
///
/// Of one that takes no input but has decorations, the window manager decides whether its frame goes on taking clicks.
class GlfwWindow final : public PlatformWindow
{
public:
    /// Opens it. The watch must live as long. The error is that of GLFW.
    static Result<std::unique_ptr<PlatformWindow>> Open(const WindowSettings& settings, X11::DesktopWatch& watch);
    ~GlfwWindow() override;

    WindowState GetState() const override;
    std::vector<WindowEvent> TakeEvents() override;
    PointerMotion TakePointerMotion() override;
    void SetTitle(const std::string& title) override;
    void SetPosition(const glm::ivec2& position) override;
    void SetSize(const glm::ivec2& size) override;
    void EnterFullscreen(const Display& display) override;
    void LeaveFullscreen(const glm::ivec2& position, const glm::ivec2& size) override;
    void SetDecorated(bool on) override;
    void SetAlwaysOnTop(bool on) override;
    void SetInteractive(bool on) override;
    void SetVisible(bool on) override;
    bool IsTransparent() const override;
    wgpu::Surface CreateSurface(const wgpu::Instance& instance) override;
    void ShowBlack() override;
    void ShowPicture(const Image& picture) override;

private:
    GlfwWindow(GLFWwindow* glfwWindow, const WindowSettings& settings, X11::DesktopWatch& desktopWatch);
    void ListenToEvents();
    void ListenToPointer();
    void HearUncover();
    void HearKey(int key, int scancode, int action, int modifiers);
    void Add(WindowEvent event);
    void Show();

    GLFWwindow* window;
    X11::DesktopWatch& watch;
    // As the last events had them: asking the X server on every frame would wait for it.
    glm::ivec2 position{0, 0};
    glm::ivec2 resolution{0, 0};
    bool minimized = false;
    std::vector<WindowEvent> events;
    PointerMotion motion;
    glm::vec2 pointer{0.0f, 0.0f};
    bool visible = false;
    bool managed = false; ///< it was seen since it was shown last, so the window manager has it
    bool alwaysOnTop = false;
    bool interactive = true;
    bool focused = true;
    bool startsMinimized = false;
    std::optional<Display> fullscreen; ///< the display that it fills, or is to fill when it is shown
};

} // namespace Varkle::Gui
