#pragma once

#include "Varkle/Gpu/SceneRenderer.h"
#include "gpu/scene/SceneMeshes.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"

#include <cmath>
#include <glm/glm.hpp>
#include <vector>

// Draws scenes for tests and looks at the pictures.
namespace Varkle::Testing
{

inline constexpr Rgba8 black{0, 0, 0, 255};
inline constexpr glm::vec4 red{1, 0, 0, 1};
inline constexpr glm::vec4 green{0, 1, 0, 1};

/// The square of Quad() fills the picture when it is looked at like this.
inline SceneView Front(int size = 16)
{
    SceneView view;
    view.size = {size, size};
    view.yaw = 0;
    view.pitch = 0;
    view.focus = SceneFocus{{0, 0, 0}, 1};
    view.distance = float(0.9 / std::tan(glm::radians(15.0)));
    view.background = {0, 0, 0, 1};
    view.light = SceneLight::Even;
    return view;
}

template<class Shown>
Image Draw(const Shown& shown, const SceneView& view = Front())
{
    SceneRenderer renderer;
    return ReadBack(renderer.Render(shown, view));
}

inline Rgba8 Center(const Image& image)
{
    return At(image, image.GetWidth() / 2, image.GetHeight() / 2);
}

template<class Shown>
Rgba8 DrawCenter(const Shown& shown, const SceneView& view = Front())
{
    return Center(Draw(shown, view));
}

/// True when every pixel of both pictures is at most that far apart.
inline bool Alike(const Image& a, const Image& b, int tolerance = 1)
{
    REQUIRE(a.IsValid());
    REQUIRE(glm::ivec2(a.GetWidth(), a.GetHeight()) == glm::ivec2(b.GetWidth(), b.GetHeight()));
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
            if (!Near(At(a, x, y), At(b, x, y), tolerance))
                return false;
    return true;
}

inline bool IsFilled(const Image& image, Rgba8 color)
{
    return Alike(image,
                 MakeImage({image.GetWidth(), image.GetHeight()},
                           std::vector<Rgba8>(std::size_t(image.GetWidth() * image.GetHeight()), color)),
                 0);
}

} // namespace Varkle::Testing
