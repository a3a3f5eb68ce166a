#include "Varkle/Gpu/OutputWindow.h"

#include "Varkle/Core/Log.h"
#include "support/Catch.h"

#include <string>
#include <vector>

using namespace Varkle;
using Gui::OutputWindow;
using Gui::SizeUnit;

TEST_CASE("A new window is closed and reports what it would open with")
{
    const OutputWindow window;
    CHECK_FALSE(window.IsOpen());
    CHECK_FALSE(window.IsFullscreen());
    CHECK_FALSE(window.IsMinimized());
    CHECK(window.GetResolution() == glm::ivec2(1280, 720));
    CHECK(window.GetLogicalSize() == glm::ivec2(1280, 720));
    CHECK(window.GetPosition() == glm::ivec2(100, 100));
    CHECK(window.GetScale() == 1.0f);
    CHECK(window.GetRefreshRate() == 60.0f);
}

TEST_CASE("A window that was never open reports the size and the position that it was asked for, at a scale of 1")
{
    OutputWindow window;
    window.SetPosition({-30, 40});
    window.SetSize({640, 360}, SizeUnit::Physical);
    CHECK(window.GetPosition() == glm::ivec2(-30, 40));
    CHECK(window.GetResolution() == glm::ivec2(640, 360));
    CHECK(window.GetLogicalSize() == glm::ivec2(640, 360));

    window.SetSize({800, 600}, SizeUnit::Logical);
    CHECK(window.GetResolution() == glm::ivec2(800, 600));
    CHECK(window.GetLogicalSize() == glm::ivec2(800, 600));
    CHECK(window.GetScale() == 1.0f);
}

TEST_CASE("A window that is not open is not fullscreen, whatever was asked")
{
    OutputWindow window;
    window.SetSize({640, 360}, SizeUnit::Physical);
    window.SetFullscreen(true);
    CHECK_FALSE(window.IsFullscreen());
    CHECK(window.GetResolution() == glm::ivec2(640, 360));
}

// The only test that asks for windows to open, since the process says only once that they do not.
TEST_CASE("Without a display windows stay closed, and the log says so once")
{
    std::vector<std::string> warnings;
    const LogListener listener(
        [&](LogLevel level, std::string_view text)
        {
            if (level == LogLevel::Warning)
                warnings.emplace_back(text);
        });
    OutputWindow first;
    OutputWindow second;
    first.SetOpen(false);
    CHECK(warnings.empty());
    first.SetOpen(true);
    first.SetOpen(true);
    second.SetOpen(true);
    CHECK_FALSE(first.IsOpen());
    CHECK_FALSE(second.IsOpen());
    CHECK(warnings == std::vector<std::string>{"There is no display: output windows stay closed."});
}
