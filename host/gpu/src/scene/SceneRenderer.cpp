#include "Varkle/Gpu/SceneRenderer.h"

#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "scene/SceneSphere.h"

namespace Varkle
{

namespace
{

const FrameBufferFormat pictureFormat{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};

} // namespace

struct SceneRenderer::State
{
    explicit State(unsigned long deviceGeneration) : generation(deviceGeneration) {}

    template<class Thing>
    void Show(const void* newIdentity, const Thing& thing)
    {
        identity = newIdentity;
        model = {};
        scene.Clear();
        scene.Add(thing);
    }

    Texture Draw(const SceneView& view);

    unsigned long generation;
    Mesh sphere; // of radius 1, for materials
    // What was shown last, by an address that stays its own as long as that is kept: by the scene or here.
    const void* identity = nullptr;
    Model model;
    Scene scene;
    SceneFraming framing;
    std::optional<SceneFocus> focus; // of the last picture
};

Texture SceneRenderer::State::Draw(const SceneView& view)
{
    const FrameBuffer target = AllocateFrameBuffer(view.size, pictureFormat);
    if (!target.GetColorTarget(0))
        return {}; // logged
    // Also with a focus of its own: things that blend are sorted by their bounds.
    const std::optional<SceneFocus> found = framing.Find(scene, view.mayWait);
    focus = view.focus ? view.focus : found;
    scene.SetLight(view.light);
    const glm::ivec2 size(target.GetWidth(), target.GetHeight());
    const bool isDrawn =
        focus ? scene.Draw(target, OrbitAround(*focus, view.yaw, view.pitch, view.distance, size), view.background)
              : Scene().Draw(target, {}, view.background);
    return isDrawn ? target.GetColorTarget(0) : Texture();
}

SceneRenderer::SceneRenderer() = default;
SceneRenderer::SceneRenderer(SceneRenderer&&) noexcept = default;
SceneRenderer& SceneRenderer::operator=(SceneRenderer&&) noexcept = default;
SceneRenderer::~SceneRenderer() = default;

// Returns false without a device that works.
bool SceneRenderer::Begin()
{
    if (!Graphics::GetDevice() || Graphics::IsLost())
        return false;
    if (!state || state->generation != Internal::DeviceGeneration())
        state = std::make_unique<State>(Internal::DeviceGeneration());
    return true;
}

Texture SceneRenderer::Render(const Mesh& mesh, const SceneView& view)
{
    if (!Begin())
        return {};
    const void* const identity = &mesh.GetAttributes(); // each mesh has a list of its own
    if (state->identity != identity)
        state->Show(identity, mesh);
    return state->Draw(view);
}

Texture SceneRenderer::Render(const Model& model, const SceneView& view)
{
    if (!Begin())
        return {};
    const void* const identity = model.GetRootNode();
    if (state->identity != identity || !identity)
        state->Show(identity, model);
    state->model = model;
    return state->Draw(view);
}

Texture SceneRenderer::Render(const std::shared_ptr<Material>& material, const SceneView& view)
{
    if (!Begin())
        return {};
    if (!state->sphere.GetConnectivity())
        state->sphere = MakeSceneSphere();
    const void* const identity = material.get();
    if (state->identity != identity || !identity)
        state->Show(identity, material ? state->sphere.SetMaterial(material) : Mesh());
    return state->Draw(view);
}

std::optional<SceneFocus> SceneRenderer::GetFocus() const
{
    return state ? state->focus : std::nullopt;
}

} // namespace Varkle
