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
#include <map>
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
    if (XGetWindowAttributes(glfwGetX11Display(), window, &attributes) == 0)
        return 0; // the connection has ended
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

// Xlib ends the process behind the first one, unless the connection has one of the second kind.
int KeepQuiet(::Display*)
{
    return 0;
}
void HearEnd(::Display*, void* ended)
{
    *static_cast<std::atomic<bool>*>(ended) = true;
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

template<class Change>
void ChangeHints(GLFWwindow* window, const Change& change)
{
    ::Display* const xDisplay = glfwGetX11Display();
    XWMHints hints{};
    if (XWMHints* const before = XGetWMHints(xDisplay, glfwGetX11Window(window)))
    {
        hints = *before;
        XFree(before);
    }
    change(hints);
    XSetWMHints(xDisplay, glfwGetX11Window(window), &hints);
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

ErrorsLogged::ErrorsLogged() : serverName(DisplayString(glfwGetX11Display()))
{
    XSetErrorHandler(&HearError);
    XSetIOErrorHandler(&KeepQuiet);
    XSetIOErrorExitHandler(glfwGetX11Display(), &HearEnd, &ended);
}

ErrorsLogged::~ErrorsLogged()
{
    XSetErrorHandler(nullptr);
    XSetIOErrorHandler(nullptr);
}

std::string ErrorsLogged::GetLoss() const
{
    if (!ended || !loss.empty())
        return loss;
    ::Display* const again = XOpenDisplay(serverName.c_str());
    loss = again ? "The X server has ended this program's connection, and with it the windows."
                 : "The X server is gone, and with it the windows.";
    if (again)
        XCloseDisplay(again);
    return loss;
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

struct DesktopWatch::Connection
{
    ::Display* display = nullptr; // null when there is none
    std::map<::Window, WindowView> windows;
    std::atomic<bool> ended = false;

    void ReadState(::Window window, WindowView& view) const;
};

// GLFW takes all events of its connection, so this is another one.
DesktopWatch::DesktopWatch() : connection(std::make_unique<Connection>())
{
    ::Display* const xDisplay = XOpenDisplay(DisplayString(glfwGetX11Display()));
    connection->display = xDisplay;
    if (!xDisplay)
        return;
    XSetIOErrorExitHandler(xDisplay, &HearEnd, &connection->ended);
    int event = 0;
    int error = 0;
    if (XRRQueryExtension(xDisplay, &event, &error))
        XRRSelectInput(xDisplay, DefaultRootWindow(xDisplay),
                       RRScreenChangeNotifyMask | RRCrtcChangeNotifyMask | RROutputChangeNotifyMask);
    XSync(xDisplay, False); // from here on nothing is missed
}

DesktopWatch::~DesktopWatch()
{
    if (connection->display)
        XCloseDisplay(connection->display);
}

bool DesktopWatch::TakeDisplayChange()
{
    bool changed = false;
    while (connection->display && !connection->ended && XPending(connection->display) > 0)
    {
        XEvent event;
        XNextEvent(connection->display, &event);
        const auto window = connection->windows.find(event.xany.window);
        if (event.type == VisibilityNotify && window != connection->windows.end())
            window->second.covered = event.xvisibility.state == VisibilityFullyObscured;
        else if (event.type == PropertyNotify && window != connection->windows.end())
            connection->ReadState(window->first, window->second);
        else if (event.type != VisibilityNotify && event.type != PropertyNotify)
            changed = true;
    }
    return changed;
}

void DesktopWatch::Add(GLFWwindow* window)
{
    if (!connection->display)
        return;
    XSync(glfwGetX11Display(), False); // the other connection must know the window
    const ::Window xWindow = glfwGetX11Window(window);
    connection->windows[xWindow] = {};
    XSelectInput(connection->display, xWindow, VisibilityChangeMask | PropertyChangeMask);
    XFlush(connection->display);
}

void DesktopWatch::Remove(GLFWwindow* window)
{
    connection->windows.erase(glfwGetX11Window(window));
}

DesktopWatch::WindowView DesktopWatch::GetView(GLFWwindow* window) const
{
    const auto found = connection->windows.find(glfwGetX11Window(window));
    return found == connection->windows.end() ? WindowView() : found->second;
}

void DesktopWatch::Connection::ReadState(::Window window, WindowView& view) const
{
    constexpr long most = 64; // states of a window; there are a dozen
    const ::Atom wanted = XInternAtom(display, "_NET_WM_STATE_FULLSCREEN", False);
    ::Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* states = nullptr;
    view.fullscreen = false;
    if (XGetWindowProperty(display, window, XInternAtom(display, "_NET_WM_STATE", False), 0, most, False, XA_ATOM,
                           &type, &format, &count, &left, &states) != Success ||
        !states)
        return;
    const auto* const atoms = reinterpret_cast<const ::Atom*>(states); // of 32 bits, which Xlib hands over as longs
    view.fullscreen = type == XA_ATOM && std::find(atoms, atoms + count, wanted) != atoms + count;
    XFree(states);
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

void PrepareShow(GLFWwindow* window, const ShowState& state)
{
    ::Display* const xDisplay = glfwGetX11Display();
    const ::Window xWindow = glfwGetX11Window(window);
    XSizeHints hints{};
    long supplied = 0;
    XGetWMNormalHints(xDisplay, xWindow, &hints, &supplied);
    hints.flags |= USPosition | USSize;
    XSetWMNormalHints(xDisplay, xWindow, &hints);

    ChangeHints(window,
                [&](XWMHints& changed)
                {
                    changed.flags |= StateHint;
                    changed.initial_state = state.minimized ? IconicState : NormalState;
                });

    // By convention the time 0 asks for no focus.
    const unsigned long never = 0;
    if (!state.focused)
        XChangeProperty(xDisplay, xWindow, GetAtom("_NET_WM_USER_TIME"), XA_CARDINAL, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(&never), 1);

    std::vector<::Atom> states;
    if (state.fullscreen)
        states.push_back(GetAtom("_NET_WM_STATE_FULLSCREEN"));
    if (state.alwaysOnTop)
        states.push_back(GetAtom("_NET_WM_STATE_ABOVE"));
    XChangeProperty(xDisplay, xWindow, GetAtom("_NET_WM_STATE"), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(states.data()), int(states.size()));
}

void Show(GLFWwindow* window, const ShowState& state)
{
    XMapWindow(glfwGetX11Display(), glfwGetX11Window(window));
    // A window manager that only now notices that the window was hidden has forgotten what PrepareShow wrote.
    if (state.fullscreen)
        AskState(window, "_NET_WM_STATE_FULLSCREEN", true);
    if (state.alwaysOnTop)
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

    ChangeHints(window,
                [on](XWMHints& hints)
                {
                    hints.flags |= InputHint;
                    hints.input = on ? True : False;
                });

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
    XSetWindowAttributes attributes{};
    attributes.background_pixel = seeThrough ? 0 : GetBlack(xWindow);
    attributes.bit_gravity = NorthWestGravity;
    XChangeWindowAttributes(glfwGetX11Display(), xWindow, CWBackPixel | CWBitGravity, &attributes);
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
