#include "Varkle/Gpu/Scene.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "scene/SceneAccess.h"
#include "scene/ScenePass.h"
#include "shader/BuiltInShaders.h"
#include "texture/TextureStorage.h"

#include <glm/common.hpp>
#include <string>
#include <utility>

namespace Varkle
{

namespace
{

constexpr std::int64_t mostPixels = std::int64_t(1) << 26;
// Of colors that will be divided by alpha: 8 bits would not do.
constexpr wgpu::TextureFormat premultipliedFormat = wgpu::TextureFormat::RGBA16Float;

glm::vec4 Sanitize(const glm::vec4& color)
{
    // Not a number compares with nothing: it becomes 0.
    return glm::min(glm::max(glm::vec4(0.0f), color), glm::vec4(1.0f));
}

bool IsTooLarge(const FrameBuffer& target)
{
    const bool isTooLarge = std::int64_t(target.GetWidth()) * target.GetHeight() > mostPixels;
    if (isTooLarge)
        LogError(Internal::Label("A picture of a scene of " + std::to_string(target.GetWidth()) + " by " +
                                 std::to_string(target.GetHeight()) + " pixels is too large: it can have " +
                                 std::to_string(mostPixels) + ", 8192 by 8192 for example."));
    return isTooLarge;
}

} // namespace

bool Straightener::Draw(const Texture& premultiplied, const FrameBuffer& target)
{
    if (!pipeline || pipelineFormat != target.GetFormat())
    {
        pipelineFormat = target.GetFormat();
        pipeline = RenderPipelineBuilder()
                       .SetShader(GetBuiltInShader("scene/Straighten.wgsl"))
                       .SetFrameBufferFormat(pipelineFormat)
                       .Build();
    }
    const TextureView view(premultiplied, {.filter = wgpu::FilterMode::Nearest});
    if (!group || source.Get() != view.GetTextureViewHandle().Get())
        group = BindGroupBuilder(pipeline, 0).AddTextureView(0, 1, view).Build();
    source = view.GetTextureViewHandle();
    return RenderPassRecorder()
        .BindFrameBuffer(target)
        .BindPipeline(pipeline)
        .BindBindGroup(0, group)
        .Draw(3, 1, 0, 0)
        .Submit();
}

SceneContent& Scene::State::GetContent()
{
    FollowDevice();
    if (std::exchange(isOrdered, true))
        return content;
    content = MakeSceneContent(things);
    isBound = false;
    ++version;
    return content;
}

void Scene::State::FollowDevice()
{
    if (std::exchange(generation, Internal::DeviceGeneration()) == generation)
        return;
    bindings = {};
    straightener = {};
    isOrdered = false;
}

bool Scene::State::DrawContent(const FrameBuffer& target, const SceneCamera& camera, const glm::vec4& background)
{
    bindings.Age();
    if (!std::exchange(isBound, true))
        bindings.SetContent(content);
    const Texture picture = target.GetColorTarget(0);
    const bool isOpaque = background.a >= 1.0f;
    const glm::ivec2 size(target.GetWidth(), target.GetHeight());
    const Texture drawn = isOpaque ? picture : TextureAccess::Allocate(size, premultipliedFormat, 1);
    const FrameBuffer samples = FrameBuffer::FromTexture(drawn, sceneDepthFormat, sceneSampleCount);
    if (!samples.GetColorTarget(0) ||
        !DrawScene({content, camera, GetStudioLight(light), background, samples}, bindings))
        return false; // logged
    return isOpaque || straightener.Draw(drawn, FrameBuffer::FromTexture(picture));
}

Scene::Scene() : state(std::make_unique<State>()) {}
Scene::Scene(Scene&&) noexcept = default;
Scene& Scene::operator=(Scene&&) noexcept = default;
Scene::~Scene() = default;

void Scene::Clear()
{
    state->things.clear();
    state->isOrdered = false;
}

void Scene::Add(const Mesh& mesh, const glm::mat4& place)
{
    state->things.push_back({mesh, place});
    state->isOrdered = false;
}

void Scene::Add(const Model& model, const glm::mat4& place)
{
    AppendMeshes(model, place, state->things);
    state->isOrdered = false;
}

void Scene::SetLight(SceneLight light)
{
    state->light = light;
}

bool Scene::Draw(const FrameBuffer& target, const SceneCamera& camera, const glm::vec4& background)
{
    if (!target.GetColorTarget(0) || Graphics::IsLost() || IsTooLarge(target))
        return false;
    const glm::vec4 behind = Sanitize(background);
    if (!state->GetContent().transforms.empty())
        return state->DrawContent(target, camera, behind);
    return RenderPassRecorder()
        .BindFrameBuffer(FrameBuffer::FromTexture(target.GetColorTarget(0)))
        .ClearColorBuffer(behind)
        .Submit();
}

} // namespace Varkle
