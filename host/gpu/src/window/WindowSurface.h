#pragma once

#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Texture.h"
#include "Varkle/Gpu/WindowPlatform.h"
#include "Varkle/Gpu/Windows.h"
#include "window/PicturePresenter.h"

#include <glm/vec2.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <webgpu/webgpu_cpp.h>

namespace Varkle::Gui
{

/// Is a rectangle of whole pixels.
struct Placement
{
    glm::ivec2 position{0, 0};
    glm::ivec2 size{0, 0};

    bool operator==(const Placement&) const = default;
};

/// Returns where a picture is shown in a window: as large as fits with its proportions kept, in the middle. At least
/// one pixel wide and high; nothing when either has no size.
Placement FitInto(const glm::ivec2& picture, const glm::ivec2& window);

/// Draws a texture into a frame buffer, fitted, on black. An empty texture is black. Alpha is not
/// premultiplied in the texture; with `transparent` it is in what is drawn, and the rest is opaque black, else what is
/// not opaque lies over black and alpha is 1. Pixels come out exactly where the sizes are the same, are interpolated
/// where the picture grows and averaged where it shrinks.
void DrawFitted(const Texture& texture, const FrameBuffer& target, bool transparent);

/// Lets go of the pictures that were drawn lately, whose memory DrawFitted keeps for a few seconds otherwise.
void ReleaseFitted();

/// Shows textures in a window.
class WindowSurface
{
public:
    /// The window must live as long.
    explicit WindowSurface(PlatformWindow& shownIn);
    ~WindowSurface();
    WindowSurface(const WindowSurface&) = delete;
    WindowSurface& operator=(const WindowSurface&) = delete;

    /// Sets what the log calls the window.
    void SetName(std::string_view newName);

    /// Shows the texture in a window of that resolution; does nothing when that is what it shows already. A surface
    /// that was lost is made anew, one that can't be made is an error in the log, once. Returns true when something was
    /// presented.
    bool Show(const Texture& texture, const glm::ivec2& resolution, Windows::Pace pace);
    /// True when Show waits for the display where it is called more often than that refreshes: the system offers no
    /// other way. Known once something was shown.
    bool MayBlock() const;
    /// Makes the next Show draw in any case: what was on the screen is damaged.
    void Damage();
    /// Lets go of everything that belongs to the device and makes the window black; the next Show begins anew. To be
    /// called before the device goes, which Graphics::Shutdown does for all that live.
    void Release();

private:
    // What the system offers for the window, as far as it is made use of.
    struct Offer
    {
        wgpu::TextureFormat format = wgpu::TextureFormat::Undefined;
        wgpu::CompositeAlphaMode alphaMode = wgpu::CompositeAlphaMode::Auto;
        bool transparent = false;
        bool mailbox = false;
        bool immediate = false;
    };

    struct Configuration
    {
        glm::ivec2 size{0, 0};
        wgpu::PresentMode presentMode = wgpu::PresentMode::Undefined;

        bool operator==(const Configuration&) const = default;
    };

    void LetGo();
    bool DropSurface();
    static void FinishPresenting();
    bool MakeSurface();
    bool ReadOffer();
    wgpu::PresentMode Choose(Windows::Pace pace) const;
    bool Configure(const Configuration& wanted);
    void TurnToPictures();
    wgpu::Texture Acquire(const Configuration& wanted);
    bool Draw(const Texture& texture, const glm::ivec2& size, Windows::Pace pace);
    bool DrawOnSurface(const Texture& texture, const glm::ivec2& size, Windows::Pace pace);
    void LogTrouble(const std::string& what);
    std::string Describe() const;

    PlatformWindow& window;
    std::string name;
    wgpu::Surface surface; // null until something is shown, and after a loss
    Offer offer;
    Configuration configuration; // of the surface; without a present mode while it has none
    bool presented = false;      // on this surface
    bool suboptimal = false;     // true when a new configuration makes it no better
    Texture shown;               // held, so that nobody draws into it meanwhile
    glm::ivec2 shownSize{0, 0};
    bool damaged = true;
    bool black = false;                         // without the GPU
    std::unique_ptr<PicturePresenter> pictures; // once the GPU refused the surface of a transparent window
    std::string trouble;                        // what goes wrong in the Show under way
    std::string loggedTrouble;
};

} // namespace Varkle::Gui
