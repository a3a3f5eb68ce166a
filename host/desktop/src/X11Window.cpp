#include "X11Window.h"

#include "Varkle/Core/Log.h"

#define GLFW_EXPOSE_NATIVE_X11
#include <GLFW/glfw3.h>
#include <GLFW/glfw3native.h>
#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <X11/extensions/Xfixes.h>
#include <X11/extensions/Xrandr.h>
#include <X11/extensions/shapeconst.h>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Varkle::Gui::X11
{

namespace
{

::Atom GetAtom(const char* name)
{
    return XInternAtom(glfwGetX11Display(), name, False);
}

// Black that covers what is behind. Where alpha exists it is the highest byte.
unsigned long GetBlack(::Window window)
{
    XWindowAttributes attributes{};
    XGetWindowAttributes(glfwGetX11Display(), window, &attributes);
    return attributes.depth == 32 ? 0xff000000ul : BlackPixelOfScreen(attributes.screen);
}

int HearError(::Display* xDisplay, XErrorEvent* error)
{
    static std::set<std::pair<int, int>> s_logged;
    if (!s_logged.emplace(error->error_code, error->request_code).second)
        return 0;
    std::array<char, 200> text{};
    XGetErrorText(xDisplay, error->error_code, text.data(), int(text.size()));
    LogWarning("The X server refused the request " + std::to_string(error->request_code) + ": " + text.data());
    return 0;
}

// Xlib ends the process behind this at the latest, with words and a status of its own.
int HearEndOfServer(::Display*)
{
    constexpr int machineFailed = 2;
    LogError("The X server is gone, and with it the windows.");
    std::_Exit(machineFailed);
}

// Asks the window manager, which is without effect where there is none.
void AskState(GLFWwindow* window, const char* name, bool on)
{
    ::Display* const xDisplay = glfwGetX11Display();
    constexpr long fromProgram = 1;
    const std::array<long, 5> values{on ? 1 : 0, long(GetAtom(name)), 0, fromProgram};
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = glfwGetX11Window(window);
    event.xclient.message_type = GetAtom("_NET_WM_STATE");
    event.xclient.format = 32;
    std::copy(values.begin(), values.end(), event.xclient.data.l);
    XSendEvent(xDisplay, DefaultRootWindow(xDisplay), False, SubstructureNotifyMask | SubstructureRedirectMask, &event);
}

// Tells compositors to leave the window alone, or to do as they like: copies cost time, and a frame or two.
void SetBypassCompositor(GLFWwindow* window, bool on)
{
    const long value = on ? 1 : 0;
    XChangeProperty(glfwGetX11Display(), glfwGetX11Window(window), GetAtom("_NET_WM_BYPASS_COMPOSITOR"), XA_CARDINAL,
                    32, PropModeReplace, reinterpret_cast<const unsigned char*>(&value), 1);
}

// Frames per second; the mode's totals include blanking. GLFW rounds them: 59.94 becomes 60. 0 when unknown.
double GetRefreshRate(const XRRModeInfo& mode)
{
    double lines = mode.vTotal;
    if (mode.modeFlags & RR_DoubleScan)
        lines *= 2.0;
    if (mode.modeFlags & RR_Interlace)
        lines /= 2.0;
    const double pixels = lines * mode.hTotal;
    return pixels > 0.0 ? double(mode.dotClock) / pixels : 0.0;
}

} // namespace

ErrorsLogged::ErrorsLogged()
{
    XSetErrorHandler(&HearError);
    XSetIOErrorHandler(&HearEndOfServer);
}

ErrorsLogged::~ErrorsLogged()
{
    XSetErrorHandler(nullptr);
    XSetIOErrorHandler(nullptr);
}

bool HasCompositor()
{
    ::Display* const xDisplay = glfwGetX11Display();
    const std::string name = "_NET_WM_CM_S" + std::to_string(DefaultScreen(xDisplay));
    return XGetSelectionOwner(xDisplay, GetAtom(name.c_str())) != None;
}

struct AlphaForNewWindows::Screen
{
    ::Screen* screen = nullptr;
    Visual* visual = nullptr;
    int depth = 0;
};

// GLFW creates windows without OpenGL in the default visual, which Xlib keeps in this structure: for so long it is
// another one. The detour over an OpenGL context would load a second driver, and some drivers then refuse Vulkan on
// the window.
AlphaForNewWindows::AlphaForNewWindows()
{
    ::Display* const xDisplay = glfwGetX11Display();
    ::Screen* const xScreen = DefaultScreenOfDisplay(xDisplay);
    screen.reset(new Screen{xScreen, xScreen->root_visual, xScreen->root_depth});
    XVisualInfo info{};
    if (XMatchVisualInfo(xDisplay, DefaultScreen(xDisplay), 32, TrueColor, &info) == 0)
        return;
    xScreen->root_visual = info.visual;
    xScreen->root_depth = info.depth;
}

AlphaForNewWindows::~AlphaForNewWindows()
{
    screen->screen->root_visual = screen->visual;
    screen->screen->root_depth = screen->depth;
}

struct DisplayWatch::Connection
{
    ::Display* display = nullptr;
};

// GLFW takes all events of its connection, so this is another one.
DisplayWatch::DisplayWatch() : connection(std::make_unique<Connection>())
{
    connection->display = XOpenDisplay(DisplayString(glfwGetX11Display()));
    int event = 0;
    int error = 0;
    if (!connection->display || !XRRQueryExtension(connection->display, &event, &error))
        return;
    XRRSelectInput(connection->display, DefaultRootWindow(connection->display),
                   RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask);
    XSync(connection->display, False); // from here on nothing is missed
}

DisplayWatch::~DisplayWatch()
{
    if (connection->display)
        XCloseDisplay(connection->display);
}

bool DisplayWatch::TakeChange()
{
    bool changed = false;
    while (connection->display && XPending(connection->display) > 0)
    {
        XEvent event;
        XNextEvent(connection->display, &event);
        changed = true;
    }
    return changed;
}

void ReadMonitor(GLFWmonitor* monitor, Display& display)
{
    ::Display* const xDisplay = glfwGetX11Display();
    XRRScreenResources* const resources = XRRGetScreenResourcesCurrent(xDisplay, DefaultRootWindow(xDisplay));
    if (!resources)
        return;
    XRRCrtcInfo* const info = XRRGetCrtcInfo(xDisplay, resources, glfwGetX11Adapter(monitor));
    if (info)
    {
        display.position = {info->x, info->y};
        display.size = {int(info->width), int(info->height)};
        const XRRModeInfo* const end = resources->modes + resources->nmode;
        const XRRModeInfo* const mode =
            std::find_if(resources->modes, resources->modes + resources->nmode,
                         [info](const XRRModeInfo& candidate) { return candidate.id == info->mode; });
        const double rate = mode != end ? GetRefreshRate(*mode) : 0.0;
        if (rate > 0.0)
            display.refreshRate = float(rate);
        XRRFreeCrtcInfo(info);
    }
    XRRFreeScreenResources(resources);
}

void PrepareShow(GLFWwindow* window, bool fullscreen, bool alwaysOnTop)
{
    ::Display* const xDisplay = glfwGetX11Display();
    const ::Window xWindow = glfwGetX11Window(window);
    XSizeHints hints{};
    long supplied = 0;
    XGetWMNormalHints(xDisplay, xWindow, &hints, &supplied);
    hints.flags |= USPosition | USSize;
    XSetWMNormalHints(xDisplay, xWindow, &hints);

    std::vector<::Atom> states;
    if (fullscreen)
        states.push_back(GetAtom("_NET_WM_STATE_FULLSCREEN"));
    if (alwaysOnTop)
        states.push_back(GetAtom("_NET_WM_STATE_ABOVE"));
    XChangeProperty(xDisplay, xWindow, GetAtom("_NET_WM_STATE"), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(states.data()), int(states.size()));
}

void Show(GLFWwindow* window, bool fullscreen, bool alwaysOnTop)
{
    XMapWindow(glfwGetX11Display(), glfwGetX11Window(window));
    // A window manager that only now notices that the window was hidden has forgotten what PrepareShow wrote.
    if (fullscreen)
        AskState(window, "_NET_WM_STATE_FULLSCREEN", true);
    if (alwaysOnTop)
        AskState(window, "_NET_WM_STATE_ABOVE", true);
    XFlush(glfwGetX11Display());
}

void Hide(GLFWwindow* window)
{
    ::Display* const xDisplay = glfwGetX11Display();
    XWithdrawWindow(xDisplay, glfwGetX11Window(window), DefaultScreen(xDisplay));
    XFlush(xDisplay);
}

void EnterFullscreen(GLFWwindow* window, const Display& display)
{
    ::Display* const xDisplay = glfwGetX11Display();
    const ::Window xWindow = glfwGetX11Window(window);
    // A window that is fullscreen already can be moved only while it isn't. The window manager then takes the display
    // that the window is on; without one this is all.
    AskState(window, "_NET_WM_STATE_FULLSCREEN", false);
    XMoveResizeWindow(xDisplay, xWindow, display.position.x, display.position.y, unsigned(display.size.x),
                      unsigned(display.size.y));
    AskState(window, "_NET_WM_STATE_FULLSCREEN", true);
    SetBypassCompositor(window, glfwGetWindowAttrib(window, GLFW_TRANSPARENT_FRAMEBUFFER) == GLFW_FALSE);
    XRaiseWindow(xDisplay, xWindow);
    XFlush(xDisplay);
}

void LeaveFullscreen(GLFWwindow* window, const glm::ivec2& position, const glm::ivec2& size)
{
    ::Display* const xDisplay = glfwGetX11Display();
    SetBypassCompositor(window, false);
    AskState(window, "_NET_WM_STATE_FULLSCREEN", false);
    XMoveResizeWindow(xDisplay, glfwGetX11Window(window), position.x, position.y, unsigned(size.x), unsigned(size.y));
    XFlush(xDisplay);
}

void KeepAwake()
{
    XResetScreenSaver(glfwGetX11Display());
}

void SetInteractive(GLFWwindow* window, bool on)
{
    ::Display* const xDisplay = glfwGetX11Display();
    const ::Window xWindow = glfwGetX11Window(window);

    int major = 0;
    int minor = 0;
    if (XFixesQueryVersion(xDisplay, &major, &minor) != 0 && major >= 2)
    {
        const XserverRegion nowhere = XFixesCreateRegion(xDisplay, nullptr, 0);
        XFixesSetWindowShapeRegion(xDisplay, xWindow, ShapeInput, 0, 0, on ? XserverRegion(None) : nowhere);
        XFixesDestroyRegion(xDisplay, nowhere);
    }

    XWMHints hints{};
    if (XWMHints* const before = XGetWMHints(xDisplay, xWindow))
    {
        hints = *before;
        XFree(before);
    }
    hints.flags |= InputHint;
    hints.input = on ? True : False;
    XSetWMHints(xDisplay, xWindow, &hints);

    // The keys that it has already go on to whom the window manager chooses.
    ::Window focused = None;
    int revert = 0;
    XGetInputFocus(xDisplay, &focused, &revert);
    if (!on && focused == xWindow)
        XSetInputFocus(xDisplay, PointerRoot, RevertToPointerRoot, CurrentTime);
    XFlush(xDisplay);
}

void SetBackground(GLFWwindow* window, bool seeThrough)
{
    const ::Window xWindow = glfwGetX11Window(window);
    XSetWindowBackground(glfwGetX11Display(), xWindow, seeThrough ? 0 : GetBlack(xWindow));
}

void ShowBlack(GLFWwindow* window)
{
    SetBackground(window, false);
    XClearWindow(glfwGetX11Display(), glfwGetX11Window(window));
    XFlush(glfwGetX11Display());
}

wgpu::Surface CreateSurface(const wgpu::Instance& instance, GLFWwindow* window)
{
    wgpu::SurfaceSourceXlibWindow source;
    source.display = glfwGetX11Display();
    source.window = glfwGetX11Window(window);
    wgpu::SurfaceDescriptor descriptor;
    descriptor.nextInChain = &source;
    descriptor.label = "output window";
    return instance.CreateSurface(&descriptor);
}

} // namespace Varkle::Gui::X11
