#pragma once

#include "Varkle/Gpu/Texture.h"
#include "Varkle/Gpu/WindowPlatform.h"

#include <glm/vec2.hpp>
#include <memory>

namespace Varkle::Gui
{

/// Shows textures in a window without a surface, each some milliseconds after it was asked to: drawn on the GPU, read
/// back and handed to the window. WebGPU on Vulkan refuses surfaces that are see-through only, which all of Mesa's
/// drivers make of a transparent X11 window.
class PicturePresenter
{
public:
    /// The window must live as long.
    explicit PicturePresenter(PlatformWindow& shownIn);

    /// Draws the texture, fitted, and has the window show it once the GPU is done. Returns false, and does nothing,
    /// while too many pictures are on their way.
    bool Show(const Texture& texture, const glm::ivec2& size);
    /// Forgets the pictures on their way, and lets go of what belongs to the device.
    void Cancel();

private:
    PlatformWindow& window;
    Texture canvas;
    std::shared_ptr<int> underWay = std::make_shared<int>(0); // another one once they are forgotten
};

} // namespace Varkle::Gui
