#include "GlfwPlatform.h"

#include "GlfwWindow.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Desktop/Desktop.h"
#include "X11Window.h"

#include <GLFW/glfw3.h>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <set>
#include <span>
#include <string_view>
#include <utility>

namespace Varkle::Gui
{

namespace
{

/// Logs it the first time: GLFW repeats itself on every call.
void HearError(int, const char* text)
{
    static std::set<std::string> s_heard;
    if (s_heard.insert(text).second)
        LogWarning("The desktop's windows: " + std::string(text));
}

Display Describe(GLFWmonitor* monitor)
{
    Display display;
    display.name = glfwGetMonitorName(monitor); // on X11 that of the connector
    X11::ReadMonitor(monitor, display);
    float scale = 1.0f;
    glfwGetMonitorContentScale(monitor, &scale, nullptr);
    display.scale = ToDesktopScale(scale);
    return display;
}

// Displays that come and go, as GLFW hears of it.
bool s_monitorsChanged = false;

void HearOfMonitor(GLFWmonitor*, int)
{
    s_monitorsChanged = true;
}

/// Is the process's use of GLFW, which has one connection to the desktop.
class GlfwSession
{
public:
    GlfwSession()
    {
        glfwSetErrorCallback(&HearError);
        glfwSetMonitorCallback(&HearOfMonitor);
        ReadDisplays();
    }
    ~GlfwSession()
    {
        watch.reset();
        glfwTerminate();
        glfwSetErrorCallback(nullptr);
    }
    GlfwSession(const GlfwSession&) = delete;
    GlfwSession& operator=(const GlfwSession&) = delete;

    const std::vector<Display>& GetDisplays() const { return displays; }
    X11::DesktopWatch& GetWatch() { return *watch; }
    std::string GetLoss() const { return errorsLogged.GetLoss(); }

    void ProcessEvents()
    {
        // The watch has a connection of its own and also hears of modes; GLFW may hear of displays later than it.
        const bool changed = watch->TakeDisplayChange();
        glfwPollEvents();
        if (std::exchange(s_monitorsChanged, false) || changed)
            ReadDisplays();
        const auto now = std::chrono::steady_clock::now();
        if (now - lastSignOfLife < std::chrono::seconds(20)) // screen savers wait for a minute at least
            return;
        lastSignOfLife = now;
        X11::KeepAwake();
    }

private:
    void ReadDisplays()
    {
        displays.clear();
        int count = 0;
        GLFWmonitor* const* const monitors = glfwGetMonitors(&count);
        for (GLFWmonitor* const monitor : std::span(monitors, std::size_t(count)))
        {
            Display display = Describe(monitor);
            if (display.size.x > 0 && display.size.y > 0)
                displays.push_back(std::move(display));
        }
    }

    X11::ErrorsLogged errorsLogged;
    std::vector<Display> displays;
    std::chrono::steady_clock::time_point lastSignOfLife;
    std::unique_ptr<X11::DesktopWatch> watch = std::make_unique<X11::DesktopWatch>();
};

class GlfwPlatform final : public WindowPlatform
{
public:
    explicit GlfwPlatform(std::shared_ptr<GlfwSession> used) : session(std::move(used)) {}

    std::vector<Display> GetDisplays() const override { return session->GetDisplays(); }
    Result<std::unique_ptr<PlatformWindow>> Open(const WindowSettings& settings) override
    {
        return GlfwWindow::Open(settings, session->GetWatch());
    }
    void ProcessEvents() override { session->ProcessEvents(); }
    std::string GetLoss() const override { return session->GetLoss(); }

private:
    std::shared_ptr<GlfwSession> session;
};

std::string ExplainNoDisplay(const std::string& reason)
{
    const char* const name = std::getenv("DISPLAY");
    if (!name || *name == '\0')
        return "There is no display: DISPLAY is not set; start the program in a desktop session (X11, or Wayland with "
               "XWayland), or set DISPLAY to the name of an X server.";
    return "There is no display: DISPLAY is \"" + std::string(name) + "\", and that cannot be opened (" + reason +
           "); check that this X server runs and lets this user connect.";
}

} // namespace

GlfwErrorsHeld::GlfwErrorsHeld()
{
    glfwGetError(nullptr);
    glfwSetErrorCallback(nullptr);
}

GlfwErrorsHeld::~GlfwErrorsHeld()
{
    glfwGetError(nullptr);
    glfwSetErrorCallback(&HearError);
}

std::string GlfwErrorsHeld::Take() const
{
    const char* text = nullptr;
    glfwGetError(&text);
    std::string reason = text ? text : "GLFW gives no reason";
    while (!reason.empty() && reason.back() == '.')
        reason.pop_back();
    return reason;
}

float ToDesktopScale(float scale)
{
    return std::round(scale * 96.0f) / 96.0f;
}

Result<std::unique_ptr<WindowPlatform>> ConnectDesktop()
{
    static std::weak_ptr<GlfwSession> s_session; // platforms that live at the same time share one
    std::shared_ptr<GlfwSession> session = s_session.lock();
    if (!session)
    {
        const GlfwErrorsHeld errors;
#ifdef GLFW_PLATFORM
        glfwInitHint(GLFW_PLATFORM, GLFW_PLATFORM_X11); // Wayland lets no program place its windows
#endif
        if (glfwInit() == GLFW_FALSE)
            return Error{ExplainNoDisplay(errors.Take()), true};
        session = std::make_shared<GlfwSession>();
        s_session = session;
    }
    return std::unique_ptr<WindowPlatform>(std::make_unique<GlfwPlatform>(std::move(session)));
}

} // namespace Varkle::Gui

void VarkleConnectDesktop(Varkle::Result<std::unique_ptr<Varkle::Gui::WindowPlatform>>& desktop)
{
    desktop = Varkle::Gui::ConnectDesktop();
}
