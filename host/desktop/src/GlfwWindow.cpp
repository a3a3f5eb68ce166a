#include "GlfwWindow.h"

#include "GlfwPlatform.h"
#include "X11Window.h"

#include <GLFW/glfw3.h>
#include <glm/common.hpp>
#include <string_view>
#include <utility>

namespace Varkle::Gui
{

namespace
{

// X11 has 16 bits with a sign for positions; more would wrap around. No GPU draws into larger windows.
glm::ivec2 LimitPosition(const glm::ivec2& position)
{
    return glm::clamp(position, glm::ivec2(-32768), glm::ivec2(32767));
}
glm::ivec2 LimitSize(const glm::ivec2& size)
{
    return glm::clamp(size, glm::ivec2(1), glm::ivec2(16384));
}

GLFWwindow* CreateWindow(const WindowSettings& settings)
{
    glfwDefaultWindowHints();
    glfwWindowHint(GLFW_CLIENT_API, GLFW_NO_API);
    glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
    glfwWindowHint(GLFW_DECORATED, settings.decorated ? GLFW_TRUE : GLFW_FALSE);
    glfwWindowHint(GLFW_FLOATING, settings.alwaysOnTop ? GLFW_TRUE : GLFW_FALSE);
    glfwWindowHintString(GLFW_X11_CLASS_NAME, "Varkle");
    glfwWindowHintString(GLFW_X11_INSTANCE_NAME, "varkle");
    const glm::ivec2 size = LimitSize(settings.size);
    return glfwCreateWindow(size.x, size.y, settings.title.c_str(), nullptr, nullptr);
}

GlfwWindow& Owner(GLFWwindow* window)
{
    return *static_cast<GlfwWindow*>(glfwGetWindowUserPointer(window));
}

// By the letter on the key. GLFW names keys by their places on a US keyboard; that is for layouts without Latin
// letters.
bool IsLetterF(int key, int scancode)
{
    const char* const name = glfwGetKeyName(key, scancode);
    const std::string_view letter = name ? name : "";
    const bool latin = letter.size() == 1 && letter[0] >= 'a' && letter[0] <= 'z';
    return latin ? letter == "f" : key == GLFW_KEY_F;
}

} // namespace

Result<std::unique_ptr<PlatformWindow>> GlfwWindow::Open(const WindowSettings& settings, X11::DesktopWatch& watch)
{
    const GlfwErrorsHeld errors;
    GLFWwindow* window = nullptr;
    if (settings.transparent && X11::HasCompositor())
    {
        const X11::AlphaForNewWindows alpha;
        window = CreateWindow(settings);
    }
    if (!window)
        window = CreateWindow(settings);
    if (!window)
        return Error{"The window \"" + settings.title + "\" could not be opened: " + errors.Take() + ".", true};
    return std::unique_ptr<PlatformWindow>(new GlfwWindow(window, settings, watch));
}

GlfwWindow::GlfwWindow(GLFWwindow* glfwWindow, const WindowSettings& settings, X11::DesktopWatch& desktopWatch)
    : window(glfwWindow),
      watch(desktopWatch),
      alwaysOnTop(settings.alwaysOnTop),
      focused(settings.focused),
      startsMinimized(settings.minimized)
{
    glfwGetFramebufferSize(window, &resolution.x, &resolution.y);
    watch.Add(window);
    ListenToEvents();
    ListenToPointer();
    // An overlay must not flash black before its first picture.
    X11::SetBackground(window, IsTransparent());
    SetPosition(settings.position);
    position = settings.position; // where it is soon: a window manager gets to it when it does
    if (!settings.interactive)
        SetInteractive(false);
    if (settings.fullscreen)
        EnterFullscreen(*settings.fullscreen);
    SetVisible(true);
}

GlfwWindow::~GlfwWindow()
{
    watch.Remove(window);
    glfwDestroyWindow(window);
}

void GlfwWindow::ListenToEvents()
{
    glfwSetWindowUserPointer(window, this);
    glfwSetWindowPosCallback(window, [](GLFWwindow* of, int x, int y) { Owner(of).position = {x, y}; });
    glfwSetFramebufferSizeCallback(window,
                                   [](GLFWwindow* of, int width, int height)
                                   {
                                       Owner(of).resolution = {width, height};
                                       Owner(of).Add(WindowEvent::Uncover);
                                   });
    glfwSetWindowIconifyCallback(window, [](GLFWwindow* of, int on) { Owner(of).minimized = on == GLFW_TRUE; });
    glfwSetWindowRefreshCallback(window, [](GLFWwindow* of) { Owner(of).HearUncover(); });
    glfwSetWindowCloseCallback(window,
                               [](GLFWwindow* of)
                               {
                                   glfwSetWindowShouldClose(of, GLFW_FALSE); // the owner decides
                                   Owner(of).Add(WindowEvent::Close);
                               });
    glfwSetKeyCallback(window, [](GLFWwindow* of, int key, int scancode, int action, int modifiers)
                       { Owner(of).HearKey(key, scancode, action, modifiers); });
}

void GlfwWindow::ListenToPointer()
{
    glfwSetCursorPosCallback(window,
                             [](GLFWwindow* of, double x, double y)
                             {
                                 const glm::vec2 now(x, y);
                                 const glm::vec2 way = now - std::exchange(Owner(of).pointer, now);
                                 if (glfwGetMouseButton(of, GLFW_MOUSE_BUTTON_LEFT) == GLFW_PRESS)
                                     Owner(of).motion.drag += way;
                             });
    glfwSetScrollCallback(window, [](GLFWwindow* of, double, double y) { Owner(of).motion.scroll += float(y); });
}

void GlfwWindow::HearUncover()
{
    Add(WindowEvent::Uncover);
    // Some window managers let clicks through their frame only when they see how the window's own region changes.
    if (!std::exchange(managed, true) && !interactive)
        X11::SetInteractive(window, false);
}

void GlfwWindow::HearKey(int key, int scancode, int action, int modifiers)
{
    if (!interactive || action != GLFW_PRESS)
        return;
    constexpr int forShortcuts = GLFW_MOD_CONTROL | GLFW_MOD_ALT | GLFW_MOD_SUPER;
    if (key == GLFW_KEY_ESCAPE)
        Add(WindowEvent::KeyEscape);
    else if ((modifiers & forShortcuts) == 0 && IsLetterF(key, scancode))
        Add(WindowEvent::KeyF);
}

void GlfwWindow::Add(WindowEvent event)
{
    // A window that is dragged over another uncovers it many times in one frame.
    const bool repeated = event == WindowEvent::Uncover && !events.empty() && events.back() == event;
    if (!repeated)
        events.push_back(event);
}

WindowState GlfwWindow::GetState() const
{
    WindowState state;
    state.position = position;
    state.resolution = resolution;
    float scale = 1.0f;
    glfwGetWindowContentScale(window, &scale, nullptr);
    state.scale = ToDesktopScale(scale);
    state.logicalSize = glm::ivec2(glm::round(glm::vec2(resolution) / state.scale));
    state.minimized = minimized;
    const X11::DesktopWatch::WindowView view = watch.GetView(window);
    state.fullscreen = visible && view.fullscreen;
    state.covered = visible && view.covered;
    return state;
}

std::vector<WindowEvent> GlfwWindow::TakeEvents()
{
    return std::exchange(events, {});
}

PointerMotion GlfwWindow::TakePointerMotion()
{
    return std::exchange(motion, {});
}

void GlfwWindow::SetTitle(const std::string& title)
{
    glfwSetWindowTitle(window, title.c_str());
}

void GlfwWindow::SetPosition(const glm::ivec2& newPosition)
{
    if (fullscreen)
        return;
    const glm::ivec2 limited = LimitPosition(newPosition);
    glfwSetWindowPos(window, limited.x, limited.y);
}

void GlfwWindow::SetSize(const glm::ivec2& size)
{
    if (fullscreen)
        return;
    const glm::ivec2 limited = LimitSize(size);
    glfwSetWindowSize(window, limited.x, limited.y);
}

void GlfwWindow::EnterFullscreen(const Display& display)
{
    fullscreen = display;
    glfwSetInputMode(window, GLFW_CURSOR, GLFW_CURSOR_HIDDEN); // the audience has no use for it
    const bool fills = watch.GetView(window).fullscreen && position == display.position && resolution == display.size;
    if (visible && !fills) // the desktop's own means came first
        X11::EnterFullscreen(window, display);
}

void GlfwWindow::LeaveFullscreen(const glm::ivec2& newPosition, const glm::ivec2& size)
{
    fullscreen.reset();
    glfwSetInputMode(window, GLFW_CURSOR, GLFW_CURSOR_NORMAL);
    X11::LeaveFullscreen(window, LimitPosition(newPosition), LimitSize(size));
}

void GlfwWindow::SetDecorated(bool on)
{
    glfwSetWindowAttrib(window, GLFW_DECORATED, on ? GLFW_TRUE : GLFW_FALSE);
}

void GlfwWindow::SetAlwaysOnTop(bool on)
{
    alwaysOnTop = on;
    glfwSetWindowAttrib(window, GLFW_FLOATING, on ? GLFW_TRUE : GLFW_FALSE);
}

void GlfwWindow::SetInteractive(bool on)
{
    interactive = on;
    X11::SetInteractive(window, on);
}

void GlfwWindow::SetVisible(bool on)
{
    if (on == visible)
        return;
    visible = on;
    if (on)
        Show();
    else
        X11::Hide(window);
}

// A window that is to be fullscreen starts on its display and in that state, so that it is never seen otherwise.
void GlfwWindow::Show()
{
    managed = false;
    const X11::ShowState state{fullscreen.has_value(), alwaysOnTop, focused, std::exchange(startsMinimized, false)};
    X11::PrepareShow(window, state);
    if (fullscreen)
        X11::EnterFullscreen(window, *fullscreen);
    X11::Show(window, state);
}

bool GlfwWindow::IsTransparent() const
{
    return glfwGetWindowAttrib(window, GLFW_TRANSPARENT_FRAMEBUFFER) == GLFW_TRUE;
}

wgpu::Surface GlfwWindow::CreateSurface(const wgpu::Instance& instance)
{
    return X11::CreateSurface(instance, window);
}

void GlfwWindow::ShowBlack()
{
    X11::ShowBlack(window);
}

void GlfwWindow::ShowPicture(const Image& picture)
{
    X11::PutPicture(window, picture);
}

} // namespace Varkle::Gui
