#include "window/ManagedWindow.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Text.h"
#include "window/WindowRegistry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Varkle::Gui
{

namespace
{

constexpr int longestSide = 16384; // what GPUs draw

// How long a desktop may take to do what it was asked for.
constexpr std::chrono::milliseconds patience(500);

int Scaled(int length, float scale)
{
    return int(std::lround(std::clamp(double(length) * double(scale), 1.0, double(longestSide))));
}

// Returns the size in physical pixels of a window that is to open at the requested position.
glm::ivec2 PhysicalSize(const WindowRequests& requests, const glm::ivec2& position)
{
    float scale = 1.0f;
    if (requests.sizeUnit == SizeUnit::Logical)
    {
        const std::vector<Display> displays = Windows::GetDisplays();
        if (const Display* const display = FindDisplay(displays, {position, {1, 1}}))
            scale = display->scale;
    }
    return {Scaled(requests.size.x, scale), Scaled(requests.size.y, scale)};
}

int Overlap(int begin, int length, int otherBegin, int otherLength)
{
    return std::max(0, std::min(begin + length, otherBegin + otherLength) - std::max(begin, otherBegin));
}

bool FillsDisplay(const std::vector<Display>& displays, const Placement& window)
{
    return std::ranges::any_of(displays,
                               [&](const Display& display) {
                                   return window == Placement{display.position, display.size};
                               });
}

} // namespace

bool IsOnDisplay(const std::vector<Display>& displays, const Placement& window)
{
    return std::ranges::any_of(
        displays,
        [&](const Display& display)
        {
            return Overlap(window.position.x, window.size.x, display.position.x, display.size.x) > 0 &&
                   Overlap(window.position.y, window.size.y, display.position.y, display.size.y) > 0;
        });
}

const Display* FindDisplay(const std::vector<Display>& displays, const Placement& window)
{
    const auto visibleArea = [&](const Display& display)
    {
        return (long long)Overlap(window.position.x, window.size.x, display.position.x, display.size.x) *
               Overlap(window.position.y, window.size.y, display.position.y, display.size.y);
    };
    const auto best = std::ranges::max_element(displays, {}, visibleArea);
    return best == displays.end() ? nullptr : &*best;
}

ManagedWindow::ManagedWindow()
{
    WindowRegistry::Get().windows.push_back(this);
}

ManagedWindow::~ManagedWindow()
{
    std::erase(WindowRegistry::Get().windows, this);
}

void ManagedWindow::Follow()
{
    if (!WindowRegistry::Get().platform)
        return;
    if (!requests.open)
        Close();
    else if (!live.followed.open)
        Open();
    else if (live.shown)
        FollowOpen();
    live.followed = requests;
}

void ManagedWindow::Adopt(ManagedWindow& other)
{
    live = std::exchange(other.live, {});
}

void ManagedWindow::Open()
{
    live.windowed = {requests.position, PhysicalSize(requests, requests.position)};
    live.fullscreen.reset();
    live.hidden = false;
    live.minimized = false;
    live.covered = false;
    live.toldFullscreen = false;
    AwaitDisplay();
    if (requests.fullscreen)
    {
        const std::vector<Display> displays = Windows::GetDisplays();
        if (const Display* const display = FindDisplay(displays, live.windowed))
            live.fullscreen = *display;
    }
    live.shown = OpenShown();
    if (live.shown)
        Observe(Windows::GetDisplays());
}

std::unique_ptr<ManagedWindow::Shown> ManagedWindow::OpenShown() const
{
    const WindowSettings settings{requests.title,       live.windowed.position, live.windowed.size,
                                  live.fullscreen,      requests.decorated,     requests.transparent,
                                  requests.alwaysOnTop, requests.interactive,   !WindowRegistry::Get().presented,
                                  live.minimized};
    Result<std::unique_ptr<PlatformWindow>> opened = WindowRegistry::Get().platform->Open(settings);
    if (opened)
    {
        auto shown = std::make_unique<Shown>(std::move(*opened));
        shown->surface.SetName(requests.title);
        return shown;
    }
    LogError("The window \"" + requests.title + "\" can't be opened: " + opened.GetError().message);
    return nullptr;
}

void ManagedWindow::FollowOpen()
{
    const WindowRequests& before = live.followed;
    PlatformWindow& window = *live.shown->window;
    if (requests.title != before.title)
    {
        window.SetTitle(requests.title);
        live.shown->surface.SetName(requests.title);
    }
    if (requests.position != before.position)
    {
        live.windowed.position = requests.position;
        AwaitDisplay();
        if (!live.fullscreen)
            window.SetPosition(live.windowed.position);
    }
    if (requests.size != before.size || requests.sizeUnit != before.sizeUnit)
    {
        live.windowed.size = PhysicalSize(requests, live.windowed.position);
        if (!live.fullscreen)
            window.SetSize(live.windowed.size);
    }
    if (requests.fullscreen != before.fullscreen)
        requests.fullscreen ? EnterFullscreen() : LeaveFullscreen();
    if (requests.decorated != before.decorated)
        window.SetDecorated(requests.decorated);
    if (requests.alwaysOnTop != before.alwaysOnTop)
        window.SetAlwaysOnTop(requests.alwaysOnTop);
    if (requests.interactive != before.interactive)
        window.SetInteractive(requests.interactive);
    if (requests.transparent == before.transparent)
        return;
    // Whether a window can be transparent is settled when it is made. The old one stays until the new one has a
    // picture, so that nobody sees the desktop between.
    if (std::unique_ptr<Shown> anew = OpenShown())
        live.retired = std::exchange(live.shown, std::move(anew));
    if (live.minimized)
        live.retired.reset(); // nobody sees either
    live.settled = Clock::now() + patience;
}

// Where no display shows the place that is asked for, the window goes there when one does.
void ManagedWindow::AwaitDisplay()
{
    live.awaited.reset();
    if (IsOnDisplay(Windows::GetDisplays(), live.windowed))
        return;
    live.awaited = live.windowed;
    LogWarning("The window " + Quoted(requests.title) + " is to be at (" + std::to_string(live.windowed.position.x) +
               ", " + std::to_string(live.windowed.position.y) +
               "), where no display is; it goes there when one comes.");
}

void ManagedWindow::EnterFullscreen()
{
    if (live.fullscreen)
        return;
    const std::vector<Display> displays = Windows::GetDisplays();
    const Display* const display = FindDisplay(displays, live.windowed);
    if (!display)
        return;
    Fill(*display);
}

void ManagedWindow::Fill(const Display& display)
{
    live.fullscreen = display;
    live.settled = Clock::now() + patience;
    live.shown->window->EnterFullscreen(display);
}

void ManagedWindow::LeaveFullscreen()
{
    if (!live.fullscreen)
        return;
    live.fullscreen.reset();
    live.settled = Clock::now() + patience;
    live.shown->window->LeaveFullscreen(live.windowed.position, live.windowed.size);
    if (std::exchange(live.hidden, false))
        live.shown->window->SetVisible(true);
}

void ManagedWindow::Close()
{
    live.shown.reset();
    live.retired.reset();
}

void ManagedWindow::LosePlatform()
{
    Close();
    live.followed.open = false;
}

void ManagedWindow::Update(const std::vector<Display>& displays, bool changed)
{
    Follow();
    TakeEvents();
    if (!live.shown)
        return;
    FollowDisplays(displays, changed);
    Observe(displays);
}

void ManagedWindow::TakeEvents()
{
    if (!live.shown)
        return;
    for (const WindowEvent event : live.shown->window->TakeEvents())
    {
        if (event == WindowEvent::Close)
        {
            ++WindowRegistry::Get().closedByHand;
            Close();
            return;
        }
        if (event == WindowEvent::Uncover)
            live.shown->surface.Damage();
        if (!requests.interactive)
            continue;
        if (event == WindowEvent::KeyEscape || (event == WindowEvent::KeyF && live.fullscreen))
            LeaveFullscreen();
        else if (event == WindowEvent::KeyF)
            EnterFullscreen();
    }
}

void ManagedWindow::FollowDisplays(const std::vector<Display>& displays, bool changed)
{
    // Nobody can drag a window without a frame back to the display that it was on.
    if (changed && !live.awaited && !live.fullscreen && !requests.decorated && !IsOnDisplay(displays, live.windowed))
        live.awaited = live.windowed;
    if (live.awaited && IsOnDisplay(displays, *live.awaited))
    {
        live.windowed = *std::exchange(live.awaited, std::nullopt);
        if (live.fullscreen)
        {
            Fill(*FindDisplay(displays, live.windowed));
        }
        else
        {
            live.shown->window->SetPosition(live.windowed.position);
            live.shown->window->SetSize(live.windowed.size);
        }
    }
    if (live.fullscreen)
        FollowFilledDisplay(displays);
}

// A window that fills a display goes with it and comes back with it: it would cover another one instead.
void ManagedWindow::FollowFilledDisplay(const std::vector<Display>& displays)
{
    const auto found = std::ranges::find(displays, live.fullscreen->name, &Display::name);
    if (found == displays.end())
    {
        if (!std::exchange(live.hidden, true))
            live.shown->window->SetVisible(false);
        return;
    }
    const bool moved = found->position != live.fullscreen->position || found->size != live.fullscreen->size;
    live.fullscreen = *found;
    if (moved || live.hidden)
        Fill(*found);
    if (std::exchange(live.hidden, false))
        live.shown->window->SetVisible(true);
}

void ManagedWindow::Observe(const std::vector<Display>& displays)
{
    WindowState state = live.shown->window->GetState();
    live.minimized = state.minimized;
    live.covered = state.covered;
    if (state.minimized || live.hidden)
        return;
    const Placement now{state.position, state.resolution};
    FollowDesktop(state, displays);
    const Display* const display = live.fullscreen ? &*live.fullscreen : FindDisplay(displays, now);
    if (live.fullscreen)
        state.position = live.fullscreen->position;
    else if (!FillsDisplay(displays, now))
        live.windowed = now; // one that fills a display is about to become fullscreen, or was until a moment ago
    live.known = state;
    if (display)
        live.refreshRate = display->refreshRate;
}

// Desktops have keys and menus of their own that make a window fullscreen or end that.
void ManagedWindow::FollowDesktop(const WindowState& state, const std::vector<Display>& displays)
{
    const bool answers = state.fullscreen == live.fullscreen.has_value();
    if (state.fullscreen == live.toldFullscreen || (!answers && Clock::now() < live.settled))
        return; // nothing new, or perhaps the answer to a request before the last one
    live.toldFullscreen = state.fullscreen;
    live.settled = {};
    if (answers)
        return;
    const Display* const display = FindDisplay(displays, {state.position, state.resolution});
    if (!state.fullscreen)
        LeaveFullscreen();
    else if (!live.fullscreen && display)
        Fill(*display);
}

PointerMotion ManagedWindow::TakePointerMotion()
{
    return live.shown ? live.shown->window->TakePointerMotion() : PointerMotion();
}

void ManagedWindow::SetOwner(const Operator& op)
{
    owner = &op;
    ownerKey = op.GetKey();
}

Windows::Report ManagedWindow::GetReport() const
{
    return {owner,    requests.title, GetResolution(), GetLogicalSize(), GetPosition(), GetScale(), GetRefreshRate(),
            IsOpen(), IsFullscreen(), IsMinimized(),   IsVisible()};
}

void ManagedWindow::Present(Windows::Pace pace, Clock::time_point now)
{
    if (!IsVisible())
        return;
    if (pace == Windows::Pace::Display && live.shown->surface.MayBlock() && now < live.due)
        return;
    const glm::ivec2 resolution = live.shown->window->GetState().resolution;
    if (!live.shown->surface.Show(texture, resolution, pace))
        return;
    // On average no sooner than the display refreshes; a frame that was late must not cost the next one.
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / double(live.refreshRate)));
    live.due = std::max(live.due, now - period / 4) + period;
    live.retired.reset();
}

} // namespace Varkle::Gui
