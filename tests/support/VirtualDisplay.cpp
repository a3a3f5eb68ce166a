#include "support/VirtualDisplay.h"

#include "support/TemporaryFolder.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xfixes.h>
#include <X11/extensions/Xrandr.h>
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Varkle::Testing
{

namespace
{

constexpr std::chrono::seconds patience(10);
constexpr long fromPager = 2; // the sender of a request, as window managers see it: one that acts for the user

// Windows are focused when they are new or clicked, dragged by their title bars, and closed with their buttons.
constexpr std::string_view openboxSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew><followMouse>no</followMouse></focus>
  <theme><name>Clearlooks</name><titleLayout>LIMC</titleLayout><animateIconify>no</animateIconify></theme>
  <desktops><number>1</number><popupTime>0</popupTime></desktops>
  <mouse>
    <context name="Titlebar">
      <mousebind button="Left" action="Drag"><action name="Move"/></mousebind>
    </context>
    <context name="Client">
      <mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind>
    </context>
    <context name="Close">
      <mousebind button="Left" action="Click"><action name="Close"/></mousebind>
    </context>
  </mouse>
</openbox_config>
)";

/// Is a program that ends with this object, or with this process.
class Process
{
public:
    explicit Process(std::vector<std::string> command, const std::string& home, int inherited = -1)
    {
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (std::string& text : command)
            arguments.push_back(text.data());
        arguments.push_back(nullptr);
        pid = fork();
        if (pid == -1)
            throw std::runtime_error("no process could be started");
        if (pid == 0)
            Become(arguments, home, inherited);
    }
    ~Process()
    {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

private:
    // In the child. The user's own settings must not count.
    [[noreturn]] static void Become(const std::vector<char*>& arguments, const std::string& home, int inherited)
    {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
            std::signal(signal, SIG_DFL);
        setenv("HOME", home.c_str(), 1);
        for (const char* const name : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            unsetenv(name);
        const int none = open("/dev/null", O_RDWR);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(none, stream);
        if (inherited != -1)
            fcntl(inherited, F_SETFD, 0);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }

    pid_t pid = -1;
};

/// Keeps errors of the X server from ending the process: windows may go at any time.
class ErrorsIgnored
{
public:
    explicit ErrorsIgnored(::Display* xDisplay) : display(xDisplay)
    {
        XSync(display, False);
        before = XSetErrorHandler([](::Display*, XErrorEvent*) { return 0; });
    }
    ~ErrorsIgnored()
    {
        XSync(display, False);
        XSetErrorHandler(before);
    }
    ErrorsIgnored(const ErrorsIgnored&) = delete;
    ErrorsIgnored& operator=(const ErrorsIgnored&) = delete;

private:
    ::Display* display;
    XErrorHandler before;
};

unsigned long ToPixel(Rgba8 color)
{
    return static_cast<unsigned long>(color.r) << 16 | static_cast<unsigned long>(color.g) << 8 | color.b;
}

} // namespace

struct VirtualDisplay::Server
{
    void Start(const DesktopSettings& settings)
    {
        StartServer(settings.size);
        display = XOpenDisplay(name.c_str());
        if (!display)
            throw std::runtime_error("the X server that was started can't be reached");
        root = DefaultRootWindow(display);
        XSelectInput(display, root, SubstructureNotifyMask);
        SetScale(settings.scale);
        if (settings.windowManager)
            StartWindowManager();
        if (settings.compositor)
            StartCompositor();
    }

    ~Server()
    {
        compositor.reset();
        windowManager.reset();
        if (display)
            XCloseDisplay(display);
        xvfb.reset();
        if (name.empty())
            return;
        if (displayBefore)
            setenv("DISPLAY", displayBefore->c_str(), 1);
        else
            unsetenv("DISPLAY");
    }

    void StartServer(glm::ivec2 size)
    {
        std::array<int, 2> pipe = {-1, -1};
        if (pipe2(pipe.data(), O_CLOEXEC) == -1)
            throw std::runtime_error("there are no files left for a pipe");
        const std::string screen = std::to_string(size.x) + "x" + std::to_string(size.y) + "x24";
        const std::string home = folder.GetPath().string();
        xvfb.emplace(std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(pipe[1]), "-screen", "0", screen,
                                              "-dpi", "96", "-noreset"},
                     home, pipe[1]);
        close(pipe[1]);
        std::string number; // of the display and a line end, as soon as it can be used
        char letter = 0;
        while (read(pipe[0], &letter, 1) == 1 && letter != '\n')
            number += letter;
        close(pipe[0]);
        if (number.empty() || letter != '\n')
            throw std::runtime_error("Xvfb could not be started; is it installed?");
        name = ":" + number;
        if (const char* const before = std::getenv("DISPLAY"))
            displayBefore = before;
        setenv("DISPLAY", name.c_str(), 1);
    }

    // As desktops do it. Programs read it when they connect.
    void SetScale(double scale)
    {
        const std::string resources = "Xft.dpi:\t" + std::to_string(int(std::lround(96.0 * scale))) + "\n";
        XChangeProperty(display, root, XA_RESOURCE_MANAGER, XA_STRING, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(resources.data()), int(resources.size()));
        XSync(display, False);
    }

    void StartWindowManager()
    {
        const std::string settings = folder / "openbox.xml";
        WriteBytes(settings, openboxSettings);
        windowManager.emplace(std::vector<std::string>{"openbox", "--sm-disable", "--config-file", settings},
                              folder.GetPath().string());
        WaitUntil("openbox manages windows (is it installed?)", // it sets this one when all else is ready
                  [&] { return !GetNumbers(root, "_OPENBOX_PID").empty(); });
    }

    void StartCompositor()
    {
        compositor.emplace(std::vector<std::string>{"picom", "--config", "/dev/null", "--backend", "xrender"},
                           folder.GetPath().string());
        WaitUntil("picom composes windows (is it installed?)", [&] { return HasCompositor(); });
    }

    void StopCompositor()
    {
        compositor.reset();
        WaitUntil("picom has gone", [&] { return !HasCompositor(); });
    }

    bool HasCompositor() { return XGetSelectionOwner(display, GetAtom("_NET_WM_CM_S0")) != None; }

    void WaitUntil(const std::string& what, const std::function<bool()>& condition)
    {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (std::chrono::steady_clock::now() < end)
        {
            TakeEvents();
            if (condition())
                return;
            WakeWindowManager();
            XFlush(display);
            pollfd connection{ConnectionNumber(display), POLLIN, 0};
            poll(&connection, 1, 5);
        }
        throw std::runtime_error("waited in vain until " + what);
    }

    // Openbox reads events while it handles others, and looks at those only when the next ones arrive. On a real
    // desktop the pointer brings some all the time.
    void WakeWindowManager()
    {
        const unsigned char anything = 0;
        if (windowManager)
            XChangeProperty(display, root, GetAtom("_VARKLE_WAKE"), XA_CARDINAL, 8, PropModeReplace, &anything, 1);
    }

    void TakeEvents()
    {
        while (XPending(display) > 0)
        {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == ButtonPress)
                ++clicks[event.xbutton.window];
            if (event.type == KeyPress)
                ++keys[event.xkey.window];
        }
    }

    Atom GetAtom(const std::string& atom) { return XInternAtom(display, atom.c_str(), False); }

    // Returns a property's values as they stand, empty when the window lacks it.
    std::string GetBytes(WindowId window, const std::string& property, int& format)
    {
        Atom type = None;
        unsigned long count = 0;
        unsigned long rest = 0;
        unsigned char* data = nullptr;
        format = 0;
        if (XGetWindowProperty(display, window, GetAtom(property), 0, 65536, False, AnyPropertyType, &type, &format,
                               &count, &rest, &data) != Success ||
            !data)
            return {};
        const std::size_t size = format == 32 ? sizeof(long) : std::size_t(format) / 8; // 32 bits come as longs
        std::string bytes(reinterpret_cast<const char*>(data), count * size);
        XFree(data);
        return bytes;
    }

    std::vector<unsigned long> GetNumbers(WindowId window, const std::string& property)
    {
        int format = 0;
        const std::string bytes = GetBytes(window, property, format);
        std::vector<unsigned long> numbers(format == 32 ? bytes.size() / sizeof(long) : 0);
        if (!numbers.empty())
            std::memcpy(numbers.data(), bytes.data(), bytes.size());
        return numbers;
    }

    // The name in UTF-8, else the old one.
    std::string GetTitle(WindowId window)
    {
        int format = 0;
        const std::string title = GetBytes(window, "_NET_WM_NAME", format);
        return title.empty() ? GetBytes(window, "WM_NAME", format) : title;
    }

    std::vector<WindowId> GetChildren(WindowId window, WindowId* parent = nullptr)
    {
        ::Window itsRoot = None;
        ::Window itsParent = None;
        ::Window* list = nullptr;
        unsigned int count = 0;
        std::vector<WindowId> children;
        if (XQueryTree(display, window, &itsRoot, &itsParent, &list, &count) != 0)
            children.assign(list, list + count);
        if (list)
            XFree(list);
        if (parent)
            *parent = itsParent;
        return children;
    }

    // The window, or the frame around it.
    WindowId GetTop(WindowId window)
    {
        for (WindowId top = window;;)
        {
            WindowId parent = None;
            GetChildren(top, &parent);
            if (parent == root || parent == None)
                return top;
            top = parent;
        }
    }

    bool IsShown(WindowId window)
    {
        XWindowAttributes attributes{};
        return XGetWindowAttributes(display, window, &attributes) != 0 && attributes.map_state == IsViewable;
    }

    bool IsMinimized(WindowId window)
    {
        const std::vector<unsigned long> state = GetNumbers(window, "WM_STATE");
        return !state.empty() && state[0] == IconicState;
    }

    void AddNamed(WindowId parent, const std::string& title, std::vector<WindowId>& found)
    {
        for (const WindowId window : GetChildren(parent))
        {
            if (GetTitle(window) == title && (IsShown(window) || IsMinimized(window)))
                found.push_back(window);
            else
                AddNamed(window, title, found);
        }
    }

    Area GetArea(WindowId window)
    {
        ::Window other = None;
        Area area;
        unsigned int width = 0;
        unsigned int height = 0;
        unsigned int border = 0;
        unsigned int depth = 0;
        int x = 0;
        int y = 0;
        if (XGetGeometry(display, window, &other, &x, &y, &width, &height, &border, &depth) == 0)
            throw std::runtime_error("the window has gone");
        XTranslateCoordinates(display, window, root, 0, 0, &area.position.x, &area.position.y, &other);
        area.size = {int(width), int(height)};
        return area;
    }

    // To the window manager.
    void Ask(WindowId window, const std::string& message, std::array<long, 5> values)
    {
        XEvent event{};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = GetAtom(message);
        event.xclient.format = 32;
        std::copy(values.begin(), values.end(), event.xclient.data.l);
        XSendEvent(display, root, False, SubstructureNotifyMask | SubstructureRedirectMask, &event);
    }

    void PressKey(const std::string& key, bool down)
    {
        const KeyCode code = XKeysymToKeycode(display, XStringToKeysym(key.c_str()));
        if (code == 0)
            throw std::runtime_error("there is no key " + key);
        XTestFakeKeyEvent(display, code, down ? True : False, 2); // ms later: toolkits drop keys of the same time
        XSync(display, False);
    }

    // Changes the mode of the only output; None switches it off.
    void SetMode(RRMode mode, glm::ivec2 size)
    {
        XRRScreenResources* const resources = XRRGetScreenResourcesCurrent(display, root);
        const RRCrtc crtc = resources->crtcs[0];
        RROutput output = resources->outputs[0];
        XGrabServer(display); // the steps are one change to those who watch
        XRRSetCrtcConfig(display, resources, crtc, CurrentTime, 0, 0, None, RR_Rotate_0, nullptr, 0);
        if (mode != None)
        {
            XRRSetScreenSize(display, root, size.x, size.y, size.x * 254 / 960, size.y * 254 / 960);
            XRRSetCrtcConfig(display, resources, crtc, CurrentTime, 0, 0, mode, RR_Rotate_0, &output, 1);
        }
        XUngrabServer(display);
        XSync(display, False);
        XRRFreeScreenResources(resources);
    }

    RRMode AddMode(glm::ivec2 size, unsigned long clock, glm::uvec2 total)
    {
        const std::string modeName = "test-" + std::to_string(++modeCount);
        XRRModeInfo* const mode = XRRAllocModeInfo(modeName.c_str(), int(modeName.size()));
        mode->width = unsigned(size.x);
        mode->height = unsigned(size.y);
        mode->dotClock = clock;
        mode->hTotal = total.x;
        mode->vTotal = total.y;
        const RRMode id = XRRCreateMode(display, root, mode);
        XRRFreeModeInfo(mode);
        XRRScreenResources* const resources = XRRGetScreenResourcesCurrent(display, root);
        XRRAddOutputMode(display, resources->outputs[0], id);
        XRRFreeScreenResources(resources);
        return id;
    }

    TemporaryFolder folder;
    std::optional<std::string> displayBefore;
    std::string name;
    std::optional<Process> xvfb;
    std::optional<Process> windowManager;
    std::optional<Process> compositor;
    ::Display* display = nullptr;
    ::Window root = None;
    std::map<WindowId, int> clicks;
    std::map<WindowId, int> keys;
    int modeCount = 0;
};

VirtualDisplay::VirtualDisplay(const DesktopSettings& settings) : server(std::make_unique<Server>())
{
    server->Start(settings);
}

VirtualDisplay::~VirtualDisplay() = default;

const std::string& VirtualDisplay::GetName() const
{
    return server->name;
}

void VirtualDisplay::WaitUntil(const std::string& what, const std::function<bool()>& condition)
{
    server->WaitUntil(what, condition);
}

Image VirtualDisplay::Capture()
{
    return Capture(server->GetArea(server->root));
}

Image VirtualDisplay::Capture(const Area& area)
{
    const ErrorsIgnored guard(server->display);
    XImage* const image = XGetImage(server->display, server->root, area.position.x, area.position.y,
                                    unsigned(area.size.x), unsigned(area.size.y), AllPlanes, ZPixmap);
    if (!image)
        throw std::runtime_error("that area is not on the desktop");
    std::vector<std::uint8_t> pixels;
    pixels.reserve(4 * std::size_t(area.size.x) * std::size_t(area.size.y));
    for (int y = 0; y < area.size.y; ++y)
    {
        for (int x = 0; x < area.size.x; ++x)
        {
            const unsigned long pixel = XGetPixel(image, x, y);
            for (const int shift : {16, 8, 0})
                pixels.push_back(std::uint8_t(pixel >> shift));
            pixels.push_back(255);
        }
    }
    XDestroyImage(image);
    return {area.size, std::move(pixels)};
}

Rgba8 VirtualDisplay::GetPixel(glm::ivec2 position)
{
    return At(Capture({position, {1, 1}}), 0, 0);
}

void VirtualDisplay::SetBackground(Rgba8 color)
{
    // A picture rather than a color: this is where compositors look for it.
    const Pixmap picture =
        XCreatePixmap(server->display, server->root, 1, 1, unsigned(DefaultDepth(server->display, 0)));
    const GC painter = XCreateGC(server->display, picture, 0, nullptr);
    XSetForeground(server->display, painter, ToPixel(color));
    XFillRectangle(server->display, picture, painter, 0, 0, 1, 1);
    XFreeGC(server->display, painter);
    XSetWindowBackgroundPixmap(server->display, server->root, picture);
    XChangeProperty(server->display, server->root, server->GetAtom("_XROOTPMAP_ID"), XA_PIXMAP, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&picture), 1);
    XClearWindow(server->display, server->root);
    XSync(server->display, False);
}

std::vector<WindowId> VirtualDisplay::FindAll(const std::string& title)
{
    const ErrorsIgnored guard(server->display);
    std::vector<WindowId> found;
    server->AddNamed(server->root, title, found);
    return found;
}

WindowId VirtualDisplay::Find(const std::string& title)
{
    const std::vector<WindowId> found = FindAll(title);
    if (found.size() > 1)
        throw std::runtime_error("there are several windows with the title " + title);
    return found.empty() ? 0 : found[0];
}

WindowId VirtualDisplay::WaitForWindow(const std::string& title)
{
    WaitUntil("a window has the title " + title, [&] { return Find(title) != 0 && IsShown(Find(title)); });
    return Find(title);
}

void VirtualDisplay::WaitForNoWindow(const std::string& title)
{
    WaitUntil("no window has the title " + title, [&] { return FindAll(title).empty(); });
}

Area VirtualDisplay::GetArea(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    return server->GetArea(window);
}

Area VirtualDisplay::GetFrame(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    return server->GetArea(server->GetTop(window));
}

std::string VirtualDisplay::GetTitle(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    return server->GetTitle(window);
}

bool VirtualDisplay::IsShown(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    return server->IsShown(window);
}

bool VirtualDisplay::IsMinimized(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    return server->IsMinimized(window);
}

bool VirtualDisplay::HasState(WindowId window, const std::string& name)
{
    const ErrorsIgnored guard(server->display);
    const std::vector<unsigned long> states = server->GetNumbers(window, "_NET_WM_STATE");
    return std::find(states.begin(), states.end(), server->GetAtom(name)) != states.end();
}

bool VirtualDisplay::WantsFrame(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    const std::vector<unsigned long> hints = server->GetNumbers(window, "_MOTIF_WM_HINTS");
    constexpr unsigned long aboutDecorations = 2; // bit of the first number; the third then tells
    return hints.size() < 3 || (hints[0] & aboutDecorations) == 0 || hints[2] != 0;
}

int VirtualDisplay::GetDepth(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    XWindowAttributes attributes{};
    return XGetWindowAttributes(server->display, window, &attributes) != 0 ? attributes.depth : 0;
}

bool VirtualDisplay::IsAbove(WindowId upper, WindowId lower)
{
    const ErrorsIgnored guard(server->display);
    const std::vector<WindowId> stack = server->GetChildren(server->root); // from the bottom
    const auto place = [&](WindowId window) { return std::find(stack.begin(), stack.end(), server->GetTop(window)); };
    return place(upper) > place(lower);
}

WindowId VirtualDisplay::GetFocused()
{
    ::Window focused = None;
    int revert = 0;
    XGetInputFocus(server->display, &focused, &revert);
    return focused == PointerRoot ? 0 : focused;
}

void VirtualDisplay::AskToClose(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    if (server->windowManager)
    {
        server->Ask(window, "_NET_CLOSE_WINDOW", {CurrentTime, fromPager});
        return;
    }
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = server->GetAtom("WM_PROTOCOLS");
    event.xclient.format = 32;
    event.xclient.data.l[0] = long(server->GetAtom("WM_DELETE_WINDOW"));
    XSendEvent(server->display, window, False, NoEventMask, &event);
}

void VirtualDisplay::Move(WindowId window, glm::ivec2 position)
{
    const ErrorsIgnored guard(server->display);
    constexpr long givesPosition = 1 << 8 | 1 << 9;
    if (server->windowManager)
        server->Ask(window, "_NET_MOVERESIZE_WINDOW",
                    {StaticGravity | givesPosition | fromPager << 12, position.x, position.y});
    else
        XMoveWindow(server->display, window, position.x, position.y);
}

void VirtualDisplay::Resize(WindowId window, glm::ivec2 size)
{
    const ErrorsIgnored guard(server->display);
    constexpr long givesSize = 1 << 10 | 1 << 11;
    if (server->windowManager)
        server->Ask(window, "_NET_MOVERESIZE_WINDOW",
                    {StaticGravity | givesSize | fromPager << 12, 0, 0, size.x, size.y});
    else
        XResizeWindow(server->display, window, unsigned(size.x), unsigned(size.y));
}

void VirtualDisplay::Minimize(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    XIconifyWindow(server->display, window, DefaultScreen(server->display));
}

void VirtualDisplay::Activate(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    server->Ask(window, "_NET_ACTIVE_WINDOW", {fromPager, CurrentTime});
}

void VirtualDisplay::MovePointer(glm::ivec2 position)
{
    XTestFakeMotionEvent(server->display, DefaultScreen(server->display), position.x, position.y, CurrentTime);
    XSync(server->display, False);
}

void VirtualDisplay::Click(glm::ivec2 position)
{
    MovePointer(position);
    XTestFakeButtonEvent(server->display, Button1, True, CurrentTime);
    XTestFakeButtonEvent(server->display, Button1, False, CurrentTime);
    XSync(server->display, False);
}

void VirtualDisplay::Drag(glm::ivec2 from, glm::ivec2 to)
{
    MovePointer(from);
    XTestFakeButtonEvent(server->display, Button1, True, CurrentTime);
    XSync(server->display, False);
    MovePointer(to);
    XTestFakeButtonEvent(server->display, Button1, False, CurrentTime);
    XSync(server->display, False);
}

void VirtualDisplay::Scroll(int steps)
{
    const unsigned button = steps > 0 ? Button4 : Button5; // X11's buttons for the wheel
    for (int i = 0; i < std::abs(steps); ++i)
    {
        XTestFakeButtonEvent(server->display, button, True, CurrentTime);
        XTestFakeButtonEvent(server->display, button, False, CurrentTime);
    }
    XSync(server->display, False);
}

void VirtualDisplay::Disconnect(WindowId window)
{
    const ErrorsIgnored guard(server->display);
    XKillClient(server->display, window);
    XSync(server->display, False);
}

void VirtualDisplay::SetFullscreen(WindowId window, bool on)
{
    const ErrorsIgnored guard(server->display);
    server->Ask(window, "_NET_WM_STATE", {on ? 1 : 0, long(server->GetAtom("_NET_WM_STATE_FULLSCREEN")), 0, fromPager});
    XFlush(server->display);
}

void VirtualDisplay::TypeKey(const std::string& key, const std::vector<std::string>& held)
{
    for (const std::string& modifier : held)
        PressKey(modifier);
    PressKey(key);
    ReleaseKey(key);
    for (const std::string& modifier : held)
        ReleaseKey(modifier);
}

void VirtualDisplay::PressKey(const std::string& key)
{
    server->PressKey(key, true);
}

void VirtualDisplay::ReleaseKey(const std::string& key)
{
    server->PressKey(key, false);
}

bool VirtualDisplay::IsPointerShown()
{
    XFixesCursorImage* const image = XFixesGetCursorImage(server->display);
    if (!image)
        throw std::runtime_error("the pointer's picture is unknown");
    const std::size_t count = std::size_t(image->width) * image->height;
    const bool shown =
        std::any_of(image->pixels, image->pixels + count, [](unsigned long pixel) { return (pixel >> 24 & 255) != 0; });
    XFree(image);
    return shown;
}

WindowId VirtualDisplay::OpenPlainWindow(const std::string& title, const Area& area, Rgba8 color)
{
    ::Display* const display = server->display;
    const WindowId window = XCreateSimpleWindow(display, server->root, area.position.x, area.position.y,
                                                unsigned(area.size.x), unsigned(area.size.y), 0, 0, ToPixel(color));
    XSelectInput(display, window, ButtonPressMask | KeyPressMask);
    XSizeHints hints{};
    hints.flags = USPosition | USSize | PWinGravity;
    hints.win_gravity = StaticGravity; // the contents are at the position, not the frame
    XSetWMNormalHints(display, window, &hints);
    XStoreName(display, window, title.c_str());
    XMapWindow(display, window);
    WaitUntil("the plain window is shown", [&] { return IsShown(window); });
    return window;
}

int VirtualDisplay::CountClicks(WindowId window)
{
    server->TakeEvents();
    return server->clicks[window];
}

int VirtualDisplay::CountKeys(WindowId window)
{
    server->TakeEvents();
    return server->keys[window];
}

void VirtualDisplay::SetMode(glm::ivec2 size, unsigned long clock, glm::uvec2 total)
{
    const ErrorsIgnored guard(server->display);
    server->SetMode(server->AddMode(size, clock, total), size);
}

void VirtualDisplay::Unplug()
{
    const ErrorsIgnored guard(server->display);
    server->SetMode(None, {0, 0});
}

void VirtualDisplay::PlugIn()
{
    const ErrorsIgnored guard(server->display);
    XRRScreenResources* const resources = XRRGetScreenResourcesCurrent(server->display, server->root);
    const XRRModeInfo first = resources->modes[0];
    XRRFreeScreenResources(resources);
    server->SetMode(first.id, {int(first.width), int(first.height)});
}

void VirtualDisplay::StartCompositor()
{
    server->StartCompositor();
}

void VirtualDisplay::StopCompositor()
{
    server->StopCompositor();
}

} // namespace Varkle::Testing
