#include "Varkle/Gpu/Windows.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "device/GpuInternals.h"
#include "window/WindowRegistry.h"

#include <algorithm>
#include <utility>

namespace Varkle::Gui
{

WindowRegistry& WindowRegistry::Get()
{
    // Never destroyed: windows may live in statics of whatever is loaded.
    static WindowRegistry& registry = *new WindowRegistry;
    return registry;
}

namespace Windows
{

namespace
{

// Waits for the frame before this one, so that what is shown is never further behind than that.
void WaitForLastFrame(const WindowRegistry& registry)
{
    constexpr std::chrono::seconds patience(2); // a GPU that hangs is lost in the end; the user can stop until then
    if (registry.lastFrame.id != 0 && Internal::IsCurrent(registry.lastFrameDevice))
        Internal::Wait(registry.lastFrame, patience);
}

void LogDisplays(const std::vector<Display>& before, const std::vector<Display>& now)
{
    const auto has = [](const std::vector<Display>& displays, const std::string& name)
    { return std::ranges::find(displays, name, &Display::name) != displays.end(); };
    for (const Display& display : before)
    {
        if (!has(now, display.name))
            LogWarning("The display " + Quoted(display.name) + " is gone.");
    }
    for (const Display& display : now)
    {
        if (!has(before, display.name))
            LogInfo("The display " + Quoted(display.name) + " is there: " + std::to_string(display.size.x) + "x" +
                    std::to_string(display.size.y) + " pixels at (" + std::to_string(display.position.x) + ", " +
                    std::to_string(display.position.y) + ").");
    }
}

} // namespace

void Start(std::unique_ptr<WindowPlatform> platform)
{
    Stop();
    WindowRegistry& registry = WindowRegistry::Get();
    registry.platform = std::move(platform);
    registry.displayMissing = !registry.platform;
    registry.closedByHand = 0;
    registry.presented = false;
    registry.loss.clear();
    registry.displays = GetDisplays();
}

void Stop()
{
    WindowRegistry& registry = WindowRegistry::Get();
    registry.kept.clear();
    for (ManagedWindow* const window : registry.windows)
        window->LosePlatform();
    registry.platform.reset();
    registry.displayMissing = false;
}

bool IsStarted()
{
    return WindowRegistry::Get().platform != nullptr;
}

const std::string& GetLoss()
{
    return WindowRegistry::Get().loss;
}

std::vector<Display> GetDisplays()
{
    return IsStarted() ? WindowRegistry::Get().platform->GetDisplays() : std::vector<Display>();
}

void ProcessEvents()
{
    if (!IsStarted())
        return;
    WindowRegistry& registry = WindowRegistry::Get();
    registry.platform->ProcessEvents();
    if (std::string loss = registry.platform->GetLoss(); !loss.empty())
    {
        Stop();
        registry.loss = std::move(loss);
        return;
    }
    const std::vector<Display> displays = registry.platform->GetDisplays();
    const std::vector<Display> before = std::exchange(registry.displays, displays);
    LogDisplays(before, displays);
    for (ManagedWindow* const window : registry.windows)
        window->Update(displays, displays != before);
}

void Present(Pace pace)
{
    WindowRegistry& registry = WindowRegistry::Get();
    const ManagedWindow::Clock::time_point now = ManagedWindow::Clock::now();
    registry.presented = true;
    if (!Graphics::IsStarted() || Graphics::IsLost())
        return;
    for (ManagedWindow* const window : registry.windows)
        window->Present(pace, now);
    const wgpu::Future thisFrame = Graphics::GetQueue().OnSubmittedWorkDone(
        wgpu::CallbackMode::WaitAnyOnly, [](wgpu::QueueWorkDoneStatus, wgpu::StringView) {});
    WaitForLastFrame(registry);
    registry.lastFrame = thisFrame;
    registry.lastFrameDevice = Internal::DeviceGeneration();
}

std::size_t CountOpen()
{
    return std::size_t(std::ranges::count_if(WindowRegistry::Get().windows, &ManagedWindow::IsOpen));
}

std::vector<Report> GetReports()
{
    std::vector<Report> reports;
    for (const ManagedWindow* const window : WindowRegistry::Get().windows)
    {
        if (window->asked)
            reports.push_back(window->GetReport());
    }
    return reports;
}

std::size_t CountClosedByHand()
{
    return WindowRegistry::Get().closedByHand;
}

float GetRefreshRate()
{
    float fastest = 0;
    for (const ManagedWindow* const window : WindowRegistry::Get().windows)
    {
        if (window->IsOpen())
            fastest = std::max(fastest, window->GetRefreshRate());
    }
    return fastest > 0 ? fastest : 60.0f;
}

Keep::Keep()
{
    ++WindowRegistry::Get().keeping;
}

Keep::~Keep()
{
    WindowRegistry& registry = WindowRegistry::Get();
    if (--registry.keeping == 0)
        registry.kept.clear();
}

} // namespace Windows

} // namespace Varkle::Gui
