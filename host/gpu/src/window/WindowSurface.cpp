#include "window/WindowSurface.h"

#include "Varkle/Core/Log.h"
#include "device/GpuInternals.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

namespace Varkle
{

namespace Gui
{

namespace
{

// Those that live; all of them must let go before the device does.
std::vector<WindowSurface*>& GetSurfaces()
{
    static auto& surfaces = *new std::vector<WindowSurface*>;
    return surfaces;
}

template<class Value>
bool Contains(const Value* values, std::size_t count, Value value)
{
    return std::find(values, values + count, value) != values + count;
}

// The bytes of the picture are shown as they are: no format that encodes them once more.
wgpu::TextureFormat ChooseFormat(const wgpu::SurfaceCapabilities& capabilities)
{
    for (const wgpu::TextureFormat format : std::span(capabilities.formats, capabilities.formatCount))
    {
        if (format == wgpu::TextureFormat::BGRA8Unorm || format == wgpu::TextureFormat::RGBA8Unorm)
            return format;
    }
    return wgpu::TextureFormat::Undefined;
}

bool Offers(const wgpu::SurfaceCapabilities& capabilities, wgpu::CompositeAlphaMode mode)
{
    return Contains(capabilities.alphaModes, capabilities.alphaModeCount, mode);
}

wgpu::CompositeAlphaMode ChooseAlphaMode(const wgpu::SurfaceCapabilities& capabilities, bool transparent)
{
    const bool premultiplied = transparent && Offers(capabilities, wgpu::CompositeAlphaMode::Premultiplied);
    return premultiplied ? wgpu::CompositeAlphaMode::Premultiplied : wgpu::CompositeAlphaMode::Opaque;
}

} // namespace

WindowSurface::WindowSurface(PlatformWindow& shownIn) : window(shownIn)
{
    GetSurfaces().push_back(this);
}

WindowSurface::~WindowSurface()
{
    LetGo();
    std::erase(GetSurfaces(), this);
    if (GetSurfaces().empty())
        ReleaseFitted();
}

void WindowSurface::SetName(std::string_view newName)
{
    name = newName;
}

bool WindowSurface::Show(const Texture& texture, const glm::ivec2& resolution, Windows::Pace pace)
{
    if (!Graphics::GetDevice() || Graphics::IsLost())
    {
        if (damaged || !black)
            Release();
        damaged = false;
        return false;
    }
    if (resolution.x < 1 || resolution.y < 1)
    {
        Damage();
        return false;
    }
    if (!damaged && texture == shown && resolution == shownSize)
        return false;

    Internal::ErrorScope scope;
    trouble.clear();
    const bool drawn = Draw(texture, resolution, pace);
    const std::string complaint = scope.Finish();
    LogTrouble(complaint.empty() ? trouble : complaint);
    if (!drawn)
        return false;
    shown = texture;
    shownSize = resolution;
    damaged = false;
    black = false;
    return true;
}

void WindowSurface::Damage()
{
    damaged = true;
}

void WindowSurface::Release()
{
    LetGo();
    if (pictures)
        pictures->Cancel();
    window.ShowBlack();
    black = true;
}

bool WindowSurface::MayBlock() const
{
    return configuration.presentMode == wgpu::PresentMode::Fifo;
}

void WindowSurface::LetGo()
{
    if (DropSurface())
        FinishPresenting();
    shown = {};
}

/// Returns true when something was presented on it.
bool WindowSurface::DropSurface()
{
    if (configuration != Configuration{})
        surface.Unconfigure();
    surface = nullptr;
    configuration = {};
    damaged = true;
    return std::exchange(presented, false);
}

/// Waits until what was presented is over, so that it does not come after whatever is next: the window becomes black,
/// or closes.
void WindowSurface::FinishPresenting()
{
    Graphics::GetInstance().ProcessEvents(); // is the device lost?
    if (!Graphics::IsLost())
    {
        // The driver presents on until the GPU did what is submitted after the surface was dropped, and WebGPU notices
        // that it did with the submit after that.
        for (int i = 0; i < 2; ++i)
        {
            Internal::Submit(Graphics::GetDevice().CreateCommandEncoder());
            Graphics::WaitForGpu();
        }
        return;
    }
    // There it presents on until the device goes, and nobody needs that one. No surface may be left by then.
    for (WindowSurface* const other : GetSurfaces())
        other->DropSurface();
    Graphics::GetDevice().Destroy();
}

/// Returns false when the window has no surface, or none that can be drawn on.
bool WindowSurface::MakeSurface()
{
    if (surface)
        return true;
    surface = window.CreateSurface(Graphics::GetInstance());
    if (surface && !ReadOffer())
        TurnToPictures();
    return surface != nullptr;
}

bool WindowSurface::ReadOffer()
{
    wgpu::SurfaceCapabilities capabilities;
    if (!surface.GetCapabilities(Graphics::GetDevice().GetAdapter(), &capabilities))
    {
        trouble = "The GPU \"" + Graphics::GetAdapterInfo().name + "\" can't draw on its display.";
        return false;
    }
    const auto offersMode = [&](wgpu::PresentMode mode)
    { return Contains(capabilities.presentModes, capabilities.presentModeCount, mode); };
    offer.format = ChooseFormat(capabilities);
    offer.transparent = window.IsTransparent();
    offer.alphaMode = ChooseAlphaMode(capabilities, offer.transparent);
    offer.mailbox = offersMode(wgpu::PresentMode::Mailbox);
    offer.immediate = offersMode(wgpu::PresentMode::Immediate);
    const bool takesBytes = offer.format != wgpu::TextureFormat::Undefined;
    const bool canBeOpaque = Offers(capabilities, wgpu::CompositeAlphaMode::Opaque);
    if (!takesBytes)
        trouble = "Its display takes no pictures of 8 bits a channel.";
    else if (!canBeOpaque)
        trouble = "Its surface can't be opaque."; // Dawn refuses such ones, and loses the memory of those that it tries
    return takesBytes && canBeOpaque;
}

wgpu::PresentMode WindowSurface::Choose(Windows::Pace pace) const
{
    if (pace == Windows::Pace::AtOnce && offer.immediate)
        return wgpu::PresentMode::Immediate;
    return offer.mailbox ? wgpu::PresentMode::Mailbox : wgpu::PresentMode::Fifo;
}

/// Returns false when the GPU refuses.
bool WindowSurface::Configure(const Configuration& wanted)
{
    wgpu::SurfaceConfiguration settings;
    settings.device = Graphics::GetDevice();
    settings.format = offer.format;
    settings.width = std::uint32_t(wanted.size.x);
    settings.height = std::uint32_t(wanted.size.y);
    settings.alphaMode = offer.alphaMode;
    settings.presentMode = wanted.presentMode;
    Internal::ErrorScope scope;
    surface.Configure(&settings);
    trouble = scope.Finish();
    configuration = trouble.empty() ? wanted : Configuration{};
    suboptimal = false;
    return trouble.empty();
}

/// Goes on without a surface. It is no news where desktop and picture are to show through it.
void WindowSurface::TurnToPictures()
{
    if (!window.IsTransparent())
        LogWarning(Describe() + " takes longer to draw, since the GPU can't do it itself: " + trouble);
    DropSurface();
    trouble.clear();
    pictures = std::make_unique<PicturePresenter>(window);
}

/// Returns the texture that the next picture is drawn into, null when there is none in this frame.
wgpu::Texture WindowSurface::Acquire(const Configuration& wanted)
{
    for (const bool last : {false, true})
    {
        if (!MakeSurface())
            return nullptr;
        if (configuration != wanted && !Configure(wanted))
        {
            TurnToPictures();
            return nullptr;
        }
        wgpu::SurfaceTexture current;
        surface.GetCurrentTexture(&current);
        switch (current.status)
        {
        case wgpu::SurfaceGetCurrentTextureStatus::SuccessOptimal:
            return current.texture;
        case wgpu::SurfaceGetCurrentTextureStatus::SuccessSuboptimal:
            suboptimal = suboptimal || last;
            if (suboptimal)
                return current.texture;
            Configure(wanted);
            break;
        case wgpu::SurfaceGetCurrentTextureStatus::Outdated:
            Configure(wanted);
            break;
        case wgpu::SurfaceGetCurrentTextureStatus::Lost:
            trouble = "Its surface was lost.";
            LetGo();
            break;
        case wgpu::SurfaceGetCurrentTextureStatus::Timeout:
            return nullptr;
        default:
            if (trouble.empty())
                trouble = "Its surface gives no texture to draw into.";
            return nullptr;
        }
    }
    return nullptr;
}

bool WindowSurface::Draw(const Texture& texture, const glm::ivec2& size, Windows::Pace pace)
{
    if (!pictures && !DrawOnSurface(texture, size, pace) && !pictures)
        return false;
    if (pictures && !pictures->Show(texture, size))
        return false;
    ++Internal::Counters().presents;
    return true;
}

bool WindowSurface::DrawOnSurface(const Texture& texture, const glm::ivec2& size, Windows::Pace pace)
{
    if (!MakeSurface())
        return false;
    const wgpu::Texture target = Acquire({size, Choose(pace)});
    if (!target)
        return false;
    trouble.clear(); // it is over
    DrawFitted(texture, FrameBuffer::FromTexture(TextureAccess::Wrap(target)), offer.transparent);
    surface.Present();
    presented = true;
    return true;
}

/// Logs why a picture could not be shown, unless the same was said before or the device's loss explains it.
void WindowSurface::LogTrouble(const std::string& what)
{
    if (what.empty() || what == loggedTrouble)
        return;
    Graphics::GetInstance().ProcessEvents();
    if (Graphics::IsLost())
        return;
    loggedTrouble = what;
    LogError(Describe() + " can't be drawn: " + what);
}

std::string WindowSurface::Describe() const
{
    return name.empty() ? "A window" : "The window \"" + name + "\"";
}

} // namespace Gui

namespace Internal
{

void ReleaseWindowSurfaces()
{
    for (Gui::WindowSurface* const surface : Gui::GetSurfaces())
        surface->Release();
    Gui::ReleaseFitted();
}

} // namespace Internal

} // namespace Varkle
