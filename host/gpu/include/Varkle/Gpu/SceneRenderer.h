#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Material.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"
#include "Varkle/Gpu/Scene.h"
#include "Varkle/Gpu/Texture.h"

#include <glm/vec2.hpp>
#include <glm/vec4.hpp>
#include <memory>
#include <optional>

namespace Varkle
{

/// Says how something is looked at. Right-handed, Y up; at yaw and pitch 0 the camera looks along -Z.
struct SceneView
{
    /// The size of the picture in pixels. One that can't be made becomes the nearest that can, with a warning. At most
    /// 2^26 pixels are drawn (Scene::Draw).
    glm::ivec2 size{1024, 1024};
    /// Turns the camera around +Y, in degrees: 90 looks from +X.
    float yaw = 30.0f;
    /// Lifts the camera, in degrees: 90 looks straight down. Any angle will do.
    float pitch = 20.0f;
    /// The distance between the camera and the center of what is shown, in scene units. Without it, or when it isn't
    /// above 0, everything fits into the picture with a little margin, whatever the picture's shape and the angles: the
    /// shorter side of the picture sees 30 degrees.
    std::optional<float> distance;
    /// What to look at; without it the sphere around all that is shown.
    std::optional<SceneFocus> focus;
    /// Red, green, blue and alpha from 0 to 1, as an 8-bit picture holds them, not premultiplied.
    glm::vec4 background{0.22f, 0.22f, 0.22f, 1.0f};
    SceneLight light = SceneLight::Studio;
    /// Whether Render may wait for the GPU to tell how large a mesh is that it has not shown before. A still waits.
    /// What is drawn in every frame does not: until the size is known, some frames later (Graphics::ProcessEvents), the
    /// picture is framed as the one before, or shows the background only when there was none.
    bool mayWait = true;
};

/// Draws a mesh, a model or a material into a picture of its own, framed: the pictures of an editor's viewport and of
/// files. It is a Scene with one thing and a SceneFraming for it.
///
/// A renderer keeps what it needs for the next picture of the same things, and the mesh, model or material that it
/// showed last: have one for each view that goes on. Drawing the same things again creates nothing on the GPU. What
/// belonged to a lost device is made anew. Belongs to the main thread, as all of the GPU layer.
class VARKLE_API SceneRenderer
{
public:
    SceneRenderer();
    SceneRenderer(SceneRenderer&&) noexcept;
    SceneRenderer& operator=(SceneRenderer&&) noexcept;
    ~SceneRenderer();

    /// Draws a mesh, all meshes of a model at the places that its nodes say, or a material on a sphere of radius 1.
    ///
    /// Returns a new RGBA8Unorm texture from the pool: colors are sRGB-encoded, not premultiplied, and alpha says how
    /// much of the background is covered, where that is transparent. Null materials and empty meshes and models show
    /// the background. Empty, with a reason in the log, when the GPU can't make the textures or is lost.
    Texture Render(const Mesh& mesh, const SceneView& view);
    Texture Render(const Model& model, const SceneView& view);
    Texture Render(const std::shared_ptr<Material>& material, const SceneView& view);

    /// Returns what the last picture looked at: SceneView::focus, or the sphere around what was shown. Nothing when the
    /// last picture had nothing to look at.
    std::optional<SceneFocus> GetFocus() const;

private:
    struct VARKLE_LOCAL State;
    bool Begin();
    std::unique_ptr<State> state; // null before the first picture
};

} // namespace Varkle
