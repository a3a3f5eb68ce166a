#include "window/PicturePresenter.h"

#include "device/GpuInternals.h"
#include "window/WindowSurface.h"

namespace Varkle::Gui
{

namespace
{

constexpr int mostUnderWay = 2;

} // namespace

PicturePresenter::PicturePresenter(PlatformWindow& shownIn) : window(shownIn) {}

bool PicturePresenter::Show(const Texture& texture, const glm::ivec2& size)
{
    if (*underWay >= mostUnderWay)
        return false;
    if (glm::ivec2(canvas.GetWidth(), canvas.GetHeight()) != size)
        canvas = Texture::Create(size, wgpu::TextureFormat::RGBA8Unorm);
    if (!canvas)
        return false; // logged
    DrawFitted(texture, FrameBuffer::FromTexture(canvas), true);
    ++*underWay;
    canvas.ReadPixelsAsync(
        [this, wanted = std::weak_ptr<int>(underWay)](const Image& picture)
        {
            const std::shared_ptr<int> counter = wanted.lock();
            if (!counter)
                return; // the window may be gone
            --*counter;
            if (picture.IsValid())
                window.ShowPicture(picture);
        });
    return true;
}

void PicturePresenter::Cancel()
{
    canvas = {};
    underWay = std::make_shared<int>(0);
}

} // namespace Varkle::Gui
