#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <memory>
#include <optional>

namespace Varkle
{

/// Names the light in which things are shown.
enum class SceneLight
{
    /// A photographer's studio: a large soft box above and to the left of the camera, a weaker one to the right, strips
    /// behind, over a gradient. It stands around the camera and turns with its yaw, as if the thing turned on a table.
    Studio,
    /// White light of strength 1 from everywhere: a surface shows how much of it it returns.
    Even,
};

/// Is a sphere around what is looked at, in scene units.
struct SceneFocus
{
    glm::vec3 center{0.0f};
    float radius = 1.0f;

    bool operator==(const SceneFocus&) const = default;
};

/// Is where a scene is seen from, with a lens for pictures of one shape. Right-handed, Y up.
struct SceneCamera
{
    glm::vec3 eye{0.0f};
    glm::vec3 forward{0.0f, 0.0f, -1.0f}; ///< where it looks, of length 1
    /// Takes positions relative to the eye to clip space. Depth is 1 at the near plane and 0 in the infinite: floats
    /// are dense around 0, which makes up for the perspective, so that no far plane is needed.
    glm::mat4 viewProjection{1.0f};
    float yaw = 0.0f; ///< radians; the studio turns with it
};

/// Returns a camera at `position` that looks at `target`; +Y is up in the picture. The shorter side of a picture of
/// that size in pixels sees `angle` degrees, more than 0 and less than 180, and nothing shows that is nearer than
/// `near`, more than 0, in scene units. Where the target is the position it looks along -Z.
VARKLE_API SceneCamera LookAt(const glm::vec3& position, const glm::vec3& target, float angle, float near,
                              glm::ivec2 size);

/// Returns the distance, in scene units, from which OrbitAround sees the whole of a sphere when none is given.
VARKLE_API float GetFittingDistance(const SceneFocus& focus);

/// Returns a camera that looks at the middle of a sphere, as from a place on a globe around it: `yaw` degrees to the
/// right (90 looks from +X) and `pitch` degrees up (90 looks straight down); at 0 and 0 it looks along -Z. Without a
/// distance, in scene units, or with one that isn't above 0, the sphere fits into a picture of that size in pixels,
/// with a little margin. The shorter side sees 30 degrees; the near plane lies at a thousandth of the distance.
VARKLE_API SceneCamera OrbitAround(const SceneFocus& focus, float yaw, float pitch, std::optional<float> distance,
                                   glm::ivec2 size);

/// Shows meshes and models together, each at its places, with depth and anti-aliased with four samples a pixel.
///
/// Materials are shaded after glTF 2.0 (metallic-roughness) and tone mapped with Khronos PBR Neutral. Opaque and masked
/// things come first, then what blends, from back to front: by the middles of the meshes once a SceneFraming has
/// measured them, by their places until then. Back faces are culled unless the material is double-sided. Colors of an
/// UnlitMaterial come out as they are: sRGB-encoded base color times sRGB-encoded texture; alpha blends. Without a
/// material a mesh is a rough, neutral gray.
///
/// Of a mesh the attributes of Varkle::Attributes are used, except TexCoord1: Color0, which is linear as in glTF,
/// multiplies the base color (that of an UnlitMaterial after it was sRGB-encoded itself), without Normal the surface is
/// shaded flat (lines and points without light), without Tangent the normal texture's frame comes from TexCoord0. Any
/// format of floats or normalized integers will do whose element is a multiple of 4 bytes; others, and attributes with
/// fewer vertices than Position, count as missing. A mesh without positions or vertices, and a place that isn't finite,
/// draw nothing.
///
/// Nothing is ever read back from the GPU. A scene keeps what it needs for the next picture: once it is warm it creates
/// nothing on the GPU, also when meshes and textures of the same sizes are new in every frame. Have one for each view
/// that goes on. What belonged to a lost device is made anew. Belongs to the main thread, as all of the GPU layer.
class VARKLE_API Scene
{
public:
    /// Makes a scene that shows nothing, in the light of the studio.
    Scene();
    Scene(Scene&&) noexcept;
    Scene& operator=(Scene&&) noexcept;
    ~Scene();

    /// Takes out all that it shows.
    void Clear();
    /// Adds a mesh; `place` takes its vertices to the scene. A mesh that is added at many places is drawn in one go
    /// unless it blends.
    void Add(const Mesh& mesh, const glm::mat4& place = glm::mat4(1.0f));
    /// Adds all meshes of a model, at the places that its nodes say.
    void Add(const Model& model, const glm::mat4& place = glm::mat4(1.0f));
    /// Studio by default.
    void SetLight(SceneLight light);

    /// Draws into the first color target of a frame buffer, all of it: any format that can be blended, of one sample;
    /// its depth is not used. `background` is red, green, blue and alpha from 0 to 1, as an 8-bit picture holds them.
    /// Colors come out sRGB-encoded and not premultiplied, and alpha says how much of a transparent background is
    /// covered.
    ///
    /// Returns false, with the reason in the log, when the GPU can't: the target must not be shown then. More than
    /// 2^26 pixels (8192 by 8192) are not drawn, since the samples of a larger picture need more than 2 GiB.
    bool Draw(const FrameBuffer& target, const SceneCamera& camera, const glm::vec4& background);

private:
    friend struct SceneAccess;
    struct VARKLE_LOCAL State;
    std::unique_ptr<State> state;
};

/// Finds what a camera has to look at to see all of a scene. It reads positions back from the GPU, once for each mesh,
/// and remembers their bounds as long as they exist: have one beside each scene that needs it.
class VARKLE_API SceneFraming
{
public:
    SceneFraming();
    SceneFraming(SceneFraming&&) noexcept;
    SceneFraming& operator=(SceneFraming&&) noexcept;
    ~SceneFraming();

    /// Returns a sphere around what a scene shows; nothing when it shows nothing. Vertices that aren't finite numbers
    /// don't count. Where the GPU must be asked first, it waits for the answer if it may; else the answer comes some
    /// frames later (Graphics::ProcessEvents), and until then it returns the newest sphere that is known, around what
    /// was shown earlier; nothing before the first answer.
    std::optional<SceneFocus> Find(Scene& scene, bool mayWait);

private:
    struct VARKLE_LOCAL State;
    std::unique_ptr<State> state; // null before the first question
};

} // namespace Varkle
