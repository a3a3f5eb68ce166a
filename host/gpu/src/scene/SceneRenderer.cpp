#include "Varkle/Gpu/SceneRenderer.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "scene/SceneFraming.h"
#include "scene/ScenePass.h"
#include "scene/SceneSphere.h"
#include "shader/BuiltInShaders.h"
#include "texture/TextureStorage.h"

#include <glm/common.hpp>
#include <utility>

namespace Varkle
{

namespace
{

const FrameBufferFormat pictureFormat{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};
// Of colors that will be divided by alpha: 8 bits would not do.
constexpr wgpu::TextureFormat premultipliedFormat = wgpu::TextureFormat::RGBA16Float;

glm::vec4 Sanitize(const glm::vec4& color)
{
    // Not a number compares with nothing: it becomes 0.
    return glm::min(glm::max(glm::vec4(0.0f), color), glm::vec4(1.0f));
}

/// Divides colors by their alpha.
class Straightener
{
public:
    void Draw(const Texture& premultiplied, const FrameBuffer& target)
    {
        if (!pipeline)
            pipeline = RenderPipelineBuilder()
                           .SetShader(GetBuiltInShader("scene/Straighten.wgsl"))
                           .SetFrameBufferFormat(pictureFormat)
                           .Build();
        const TextureView view(premultiplied, {.filter = wgpu::FilterMode::Nearest});
        if (source.Get() != view.GetTextureViewHandle().Get())
            group = BindGroupBuilder(pipeline, 0).AddTextureView(0, 1, view).Build();
        source = view.GetTextureViewHandle();
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .BindPipeline(pipeline)
            .BindBindGroup(0, group)
            .Draw(3, 1, 0, 0)
            .Submit();
    }

private:
    RenderPipeline pipeline;
    wgpu::BindGroup group;
    wgpu::TextureView source; // what the group shows: the pool hands out the same texture, as a rule
};

} // namespace

struct SceneRenderer::State
{
    explicit State(unsigned long deviceGeneration) : generation(deviceGeneration) {}

    void SetContent(const void* newIdentity, SceneContent newContent, const Model& newModel = {})
    {
        identity = newIdentity;
        model = newModel;
        content = std::move(newContent);
        bindings.SetContent(content);
        framing.SetContent(content.bounds);
    }

    Texture Draw(const SceneView& view);
    bool DrawContent(const SceneView& view, const FrameBuffer& target, const glm::vec4& background);

    unsigned long generation;
    Mesh sphere; // of radius 1, for materials
    // What was shown last, and an address that stays its own as long as it is kept: by the content or the model.
    const void* identity = nullptr;
    Model model;
    SceneContent content;
    SceneFraming framing;
    SceneBindings bindings;
    Straightener straightener;
    std::optional<SceneFocus> focus; // of the last picture
};

Texture SceneRenderer::State::Draw(const SceneView& view)
{
    const FrameBuffer target = AllocateFrameBuffer(view.size, pictureFormat);
    Texture picture = target.GetColorTarget(0);
    if (!picture)
        return {}; // logged
    bindings.Age();
    const glm::vec4 background = Sanitize(view.background);
    // Also with a focus of its own: things that blend are sorted by their bounds.
    const std::optional<SceneFocus> found = framing.Find(view.mayWait);
    focus = view.focus ? view.focus : found;
    if (focus && !content.transforms.empty())
        return DrawContent(view, target, background) ? picture : Texture();
    RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer(background).Submit();
    return picture;
}

bool SceneRenderer::State::DrawContent(const SceneView& view, const FrameBuffer& target, const glm::vec4& background)
{
    const glm::ivec2 size(target.GetWidth(), target.GetHeight());
    const SceneCamera camera = MakeSceneCamera(view, *focus, size);
    ScenePicture picture{content, camera, GetStudioLight(view.light), background, target.GetColorTarget(0)};
    if (background.a >= 1.0f)
        return DrawScene(picture, bindings);
    picture.target = TextureAccess::Allocate(size, premultipliedFormat, 1);
    if (!picture.target || !DrawScene(picture, bindings))
        return false;
    straightener.Draw(picture.target, target);
    return true;
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
        state->SetContent(identity, MakeSceneContent(mesh, state->framing.GetCache()));
    return state->Draw(view);
}

Texture SceneRenderer::Render(const Model& model, const SceneView& view)
{
    if (!Begin())
        return {};
    const void* const identity = model.GetRootNode();
    if (state->identity != identity || !identity)
        state->SetContent(identity, MakeSceneContent(model, state->framing.GetCache()), model);
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
    {
        const Mesh shown = material ? state->sphere.SetMaterial(material) : Mesh();
        state->SetContent(identity, MakeSceneContent(shown, state->framing.GetCache()));
    }
    return state->Draw(view);
}

std::optional<SceneFocus> SceneRenderer::GetFocus() const
{
    return state ? state->focus : std::nullopt;
}

} // namespace Varkle
