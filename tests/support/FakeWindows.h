#pragma once

#include "Varkle/Gpu/WindowPlatform.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Varkle::Testing
{

/// Is what a test sees of a window of FakePlatform, also after it was closed.
struct FakeWindow
{
    Gui::WindowSettings settings;         ///< that it was opened with
    Gui::WindowState state;               ///< what it says of itself; requests change it at once
    std::vector<Gui::WindowEvent> events; ///< that it will tell next
    std::vector<std::string> calls;       ///< requests since it was opened, "SetSize 640 360"
    std::vector<Image> pictures;          ///< that it was shown
    bool open = true;
    bool visible = true;

    /// Moves and resizes it as a user does.
    void Drag(const glm::ivec2& position, const glm::ivec2& size)
    {
        state.position = position;
        state.resolution = size;
        state.logicalSize = glm::ivec2(glm::vec2(size) / state.scale);
    }
};

/// Is a desktop that exists in the test only, whose windows are drawn nowhere. Displays and windows are changed by the
/// test as a user would.
class FakePlatform final : public Gui::WindowPlatform
{
public:
    /// What the test holds on to: the platform itself is handed over.
    struct Desktop
    {
        std::vector<Gui::Display> displays{{"Main", {0, 0}, {1920, 1080}, 1.0f, 60.0f}};
        std::vector<std::shared_ptr<FakeWindow>> windows; ///< all that were ever opened, in order
        std::string refusal;                              ///< why no window can be opened; empty when they can
        bool transparency = true;
        std::string loss;  ///< why the desktop is gone; empty while it is there
        int processed = 0; ///< calls of ProcessEvents

        FakeWindow& Last() const { return *windows.back(); }
        std::size_t CountOpen() const
        {
            return std::size_t(std::ranges::count_if(windows, [](const auto& window) { return window->open; }));
        }
    };

    explicit FakePlatform(std::shared_ptr<Desktop> seen) : desktop(std::move(seen)) {}

    std::vector<Gui::Display> GetDisplays() const override { return desktop->displays; }
    Result<std::unique_ptr<Gui::PlatformWindow>> Open(const Gui::WindowSettings& settings) override;
    void ProcessEvents() override { ++desktop->processed; }
    std::string GetLoss() const override { return desktop->loss; }

private:
    std::shared_ptr<Desktop> desktop;
};

class FakePlatformWindow final : public Gui::PlatformWindow
{
public:
    FakePlatformWindow(std::shared_ptr<FakeWindow> seen, bool isTransparent)
        : window(std::move(seen)), transparent(isTransparent)
    {
    }
    ~FakePlatformWindow() override { window->open = false; }

    Gui::WindowState GetState() const override { return window->state; }
    std::vector<Gui::WindowEvent> TakeEvents() override { return std::exchange(window->events, {}); }
    void SetTitle(const std::string& title) override { Note("SetTitle", title); }
    void SetPosition(const glm::ivec2& position) override
    {
        Note("SetPosition", position.x, position.y);
        window->state.position = position;
    }
    void SetSize(const glm::ivec2& size) override
    {
        Note("SetSize", size.x, size.y);
        window->Drag(window->state.position, size);
    }
    void EnterFullscreen(const Gui::Display& display) override
    {
        Note("EnterFullscreen", display.name);
        window->state.scale = display.scale;
        window->Drag(display.position, display.size);
    }
    void LeaveFullscreen(const glm::ivec2& position, const glm::ivec2& size) override
    {
        Note("LeaveFullscreen", position.x, position.y, size.x, size.y);
        window->Drag(position, size);
    }
    void SetDecorated(bool on) override { Note("SetDecorated", on); }
    void SetAlwaysOnTop(bool on) override { Note("SetAlwaysOnTop", on); }
    void SetInteractive(bool on) override { Note("SetInteractive", on); }
    void SetVisible(bool on) override
    {
        Note("SetVisible", on);
        window->visible = on;
    }
    bool IsTransparent() const override { return transparent; }
    wgpu::Surface CreateSurface(const wgpu::Instance&) override { return nullptr; }
    void ShowPicture(const Image& picture) override { window->pictures.push_back(picture); }
    void ShowBlack() override { Note("ShowBlack"); }

private:
    // Keeps the words of a request with spaces between.
    template<class... Values>
    void Note(const char* request, const Values&... values)
    {
        std::ostringstream words;
        words << std::boolalpha << request;
        ((words << ' ' << values), ...);
        window->calls.push_back(words.str());
    }

    std::shared_ptr<FakeWindow> window;
    bool transparent;
};

inline Result<std::unique_ptr<Gui::PlatformWindow>> FakePlatform::Open(const Gui::WindowSettings& settings)
{
    if (!desktop->refusal.empty())
        return Error{desktop->refusal, true};
    auto window = std::make_shared<FakeWindow>();
    window->settings = settings;
    const auto on = std::ranges::find_if(desktop->displays,
                                         [&](const Gui::Display& display)
                                         {
                                             const glm::ivec2 inside = settings.position - display.position;
                                             return inside.x >= 0 && inside.y >= 0 && inside.x < display.size.x &&
                                                    inside.y < display.size.y;
                                         });
    if (settings.fullscreen)
        window->state.scale = settings.fullscreen->scale;
    else if (on != desktop->displays.end())
        window->state.scale = on->scale;
    if (settings.fullscreen)
        window->Drag(settings.fullscreen->position, settings.fullscreen->size);
    else
        window->Drag(settings.position, settings.size);
    desktop->windows.push_back(window);
    return std::unique_ptr<Gui::PlatformWindow>(
        std::make_unique<FakePlatformWindow>(window, settings.transparent && desktop->transparency));
}

} // namespace Varkle::Testing
