#include "Varkle/Gpu/OutputWindow.h"

#include "Varkle/Core/Log.h"

namespace Varkle::Gui
{

namespace
{

/// Says once in a process why windows do not open: operators repeat their requests on every execution.
void WarnWithoutDisplay()
{
    static bool s_said = false;
    if (s_said)
        return;
    s_said = true;
    LogWarning("There is no display: output windows stay closed.");
}

} // namespace

OutputWindow::OutputWindow() = default;

OutputWindow::~OutputWindow() = default;

void OutputWindow::SetTexture(const Texture& newTexture)
{
    texture = newTexture;
}

void OutputWindow::SetTitle(std::string_view newTitle)
{
    title = newTitle;
}

void OutputWindow::SetOpen(bool on)
{
    open = on;
    if (open)
        WarnWithoutDisplay();
}

void OutputWindow::SetSize(const glm::ivec2& newSize, SizeUnit unit)
{
    size = newSize;
    sizeUnit = unit;
}

void OutputWindow::SetPosition(const glm::ivec2& newPosition)
{
    position = newPosition;
}

void OutputWindow::SetFullscreen(bool on)
{
    fullscreen = on;
}

void OutputWindow::SetDecorated(bool on)
{
    decorated = on;
}

void OutputWindow::SetAlwaysOnTop(bool on)
{
    alwaysOnTop = on;
}

void OutputWindow::SetTransparent(bool on)
{
    transparent = on;
}

void OutputWindow::SetInteractive(bool on)
{
    interactive = on;
}

bool OutputWindow::IsOpen() const
{
    return false;
}

bool OutputWindow::IsFullscreen() const
{
    return false;
}

bool OutputWindow::IsMinimized() const
{
    return false;
}

glm::ivec2 OutputWindow::GetResolution() const
{
    return size; // in either unit: the scale is 1
}

glm::ivec2 OutputWindow::GetLogicalSize() const
{
    return size;
}

glm::ivec2 OutputWindow::GetPosition() const
{
    return position;
}

float OutputWindow::GetScale() const
{
    return 1.0f;
}

float OutputWindow::GetRefreshRate() const
{
    return 60.0f;
}

} // namespace Varkle::Gui
