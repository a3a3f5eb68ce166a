#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Texture.h"
#include "Varkle/Gpu/WindowPlatform.h"

#include <glm/vec2.hpp>
#include <memory>
#include <string_view>

namespace Varkle::Gui
{

/// The units in which a window's size can be asked for.
enum class SizeUnit
{
    Physical = 0, ///< pixels of the display
    Logical = 1,  ///< pixels of the desktop, scaled with the display's settings
};

class ManagedWindow;

/// Is a window that shows a texture. The setters are requests: one that repeats the last one changes nothing, so that
/// what the user does to the window by hand stays until something else is asked for; the getters tell what is. Windows
/// open in programs that called Windows::Start; in others, and on a system without a display, they stay closed and keep
/// what they were asked.
///
/// While it is interactive, the F key toggles fullscreen and Escape leaves it. A window that opens while others are
/// shown asks for no keys. One that is asked to be where no display is goes there when one comes. A window that was
/// closed by hand stays closed until it is asked to close and to open again.
class VARKLE_API OutputWindow
{
public:
    /// Makes a closed window; it is first shown by SetOpen.
    OutputWindow();
    /// Closes the window.
    ~OutputWindow();
    OutputWindow(const OutputWindow&) = delete;
    OutputWindow& operator=(const OutputWindow&) = delete;

    /// Sets what the window shows, fitted into it on black; an empty texture is black.
    void SetTexture(const Texture& texture);
    void SetTitle(std::string_view title);
    /// Asks for the window to be shown, with what was set before, or to be closed.
    void SetOpen(bool on);
    /// Sets the size of what the window shows, while it is not fullscreen.
    void SetSize(const glm::ivec2& size, SizeUnit unit);
    /// Sets the top-left corner on the screen, while the window is not fullscreen.
    void SetPosition(const glm::ivec2& position);
    /// Asks for the window to fill the display that it is on.
    void SetFullscreen(bool on);
    /// Asks for a title bar and a border.
    void SetDecorated(bool on);
    void SetAlwaysOnTop(bool on);
    /// Asks for the desktop to show through where the texture is not opaque.
    void SetTransparent(bool on);
    /// Asks for mouse and keyboard input; without it clicks go to what is behind.
    void SetInteractive(bool on);

    /// Returns what the pointer did over the window since the last call.
    PointerMotion TakePointerMotion();

    /// True while the window is on screen, also minimized.
    bool IsOpen() const;
    /// True while the window is open and fills its display.
    bool IsFullscreen() const;
    /// True while the window is open and minimized.
    bool IsMinimized() const;
    /// True while something of the window can be seen: it is open, not minimized, and not wholly covered by others as
    /// far as the desktop tells.
    bool IsVisible() const;
    /// Returns the size of what the window shows in physical pixels. While the window is closed or minimized this, and
    /// what the getters below return, is what it was last; before the first opening it is what was asked for.
    glm::ivec2 GetResolution() const;
    /// Returns the same in logical pixels.
    glm::ivec2 GetLogicalSize() const;
    /// Returns the top-left corner on the screen; of a fullscreen window that of its display.
    glm::ivec2 GetPosition() const;
    /// Returns physical pixels per logical pixel, 1 before the first opening.
    float GetScale() const;
    /// Returns the frames per second of the window's display, 60 before the first opening.
    float GetRefreshRate() const;

private:
    std::unique_ptr<ManagedWindow> window;
};

} // namespace Varkle::Gui
