#include "Varkle/Gpu/OutputWindow.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Operator.h"
#include "window/ManagedWindow.h"
#include "window/WindowRegistry.h"

#include <algorithm>
#include <utility>

namespace Varkle::Gui
{

namespace
{

// Returns the window of an OutputWindow that is gone, which the operator had; null when there is none.
std::unique_ptr<ManagedWindow> TakeKept(const std::string& owner)
{
    std::vector<std::unique_ptr<ManagedWindow>>& kept = WindowRegistry::Get().kept;
    const auto found = std::ranges::find(kept, owner, [](const auto& window) { return window->GetOwnerKey(); });
    if (found == kept.end())
        return nullptr;
    std::unique_ptr<ManagedWindow> window = std::move(*found);
    kept.erase(found);
    return window;
}

} // namespace

OutputWindow::OutputWindow() : window(std::make_unique<ManagedWindow>()) {}

OutputWindow::~OutputWindow()
{
    WindowRegistry& registry = WindowRegistry::Get();
    window->texture = {};
    if (registry.keeping == 0 || !window->GetOwner())
        return;
    window->ForgetOwner();
    registry.kept.push_back(std::move(window));
}

void OutputWindow::SetTexture(const Texture& texture)
{
    window->texture = texture;
}

void OutputWindow::SetTitle(std::string_view title)
{
    window->requests.title = title;
    window->Follow();
}

void OutputWindow::SetOpen(bool on)
{
    if (const Operator* const op = Operator::Executing(); op && !window->GetOwner())
    {
        window->SetOwner(*op);
        if (const std::unique_ptr<ManagedWindow> kept = TakeKept(op->GetKey()))
            window->Adopt(*kept);
    }
    window->requests.open = on;
    window->asked = true;
    if (on && std::exchange(WindowRegistry::Get().displayMissing, false))
        LogWarning("There is no display: output windows stay closed.");
    window->Follow();
}

void OutputWindow::SetSize(const glm::ivec2& size, SizeUnit unit)
{
    window->requests.size = size;
    window->requests.sizeUnit = unit;
    window->Follow();
}

void OutputWindow::SetPosition(const glm::ivec2& position)
{
    window->requests.position = position;
    window->Follow();
}

void OutputWindow::SetFullscreen(bool on)
{
    window->requests.fullscreen = on;
    window->Follow();
}

void OutputWindow::SetDecorated(bool on)
{
    window->requests.decorated = on;
    window->Follow();
}

void OutputWindow::SetAlwaysOnTop(bool on)
{
    window->requests.alwaysOnTop = on;
    window->Follow();
}

void OutputWindow::SetTransparent(bool on)
{
    window->requests.transparent = on;
    window->Follow();
}

void OutputWindow::SetInteractive(bool on)
{
    window->requests.interactive = on;
    window->Follow();
}

PointerMotion OutputWindow::TakePointerMotion()
{
    return window->TakePointerMotion();
}

bool OutputWindow::IsOpen() const
{
    return window->IsOpen();
}

bool OutputWindow::IsFullscreen() const
{
    return window->IsFullscreen();
}

bool OutputWindow::IsMinimized() const
{
    return window->IsMinimized();
}

bool OutputWindow::IsVisible() const
{
    return window->IsVisible();
}

glm::ivec2 OutputWindow::GetResolution() const
{
    return window->GetResolution();
}

glm::ivec2 OutputWindow::GetLogicalSize() const
{
    return window->GetLogicalSize();
}

glm::ivec2 OutputWindow::GetPosition() const
{
    return window->GetPosition();
}

float OutputWindow::GetScale() const
{
    return window->GetScale();
}

float OutputWindow::GetRefreshRate() const
{
    return window->GetRefreshRate();
}

} // namespace Varkle::Gui
