#include "scene/ScenePass.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Trace.h"
#include "device/GpuInternals.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <glm/geometric.hpp>
#include <numeric>
#include <optional>
#include <vector>

namespace Varkle
{

namespace
{

glm::vec3 CenterOf(const PlacedBounds& placed)
{
    return glm::vec3(glm::dmat4(placed.toScene) * glm::dvec4(placed.bounds->Center(), 1.0));
}

// The positions of what blends, from back to front.
std::vector<std::size_t> SortBlends(const SceneContent& content, const SceneCamera& camera)
{
    std::vector<float> depths;
    for (const SceneBlend& blend : content.blends)
        depths.push_back(glm::dot(CenterOf(content.bounds[blend.draw.firstInstance]) - camera.eye, camera.forward));
    std::vector<std::size_t> order(depths.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) { return depths[a] > depths[b]; });
    return order;
}

// Records draws and leaves out settings that are in force already.
class SceneEncoder
{
public:
    SceneEncoder(const ScenePicture& shownPicture, SceneBindings& sceneBindings, const wgpu::RenderPassEncoder& encoder)
        : picture(shownPicture), bindings(sceneBindings), pass(encoder)
    {
        for (ScenePipelineKey key : picture.content.pipelines)
        {
            key.target = picture.target.GetTextureFormat();
            pipelines.push_back(GetScenePipeline(key));
        }
    }

    void Draw(const SceneDraw& draw, std::uint32_t pipeline)
    {
        if (!pipelines[pipeline])
            return; // logged
        if (boundPipeline != pipeline)
            pass.SetPipeline(pipelines[pipeline]);
        boundPipeline = pipeline;
        if (boundMaterial != draw.material)
            BindMaterial(draw.material);
        if (boundMesh != draw.mesh)
            BindMesh(draw.mesh);
        const SceneMesh& mesh = picture.content.meshes[draw.mesh];
        if (mesh.indices)
            pass.DrawIndexed(mesh.count, draw.instanceCount, 0, 0, draw.firstInstance);
        else
            pass.Draw(mesh.count, draw.instanceCount, 0, draw.firstInstance);
        ++Internal::Counters().draws;
    }

private:
    void BindMaterial(std::uint32_t material)
    {
        const std::uint32_t offset = bindings.GetMaterialOffset(material);
        pass.SetBindGroup(1, bindings.GetMaterialGroup(material), 1, &offset);
        boundMaterial = material;
    }

    void BindMesh(std::uint32_t index)
    {
        const SceneMesh& mesh = picture.content.meshes[index];
        for (std::size_t i = 0; i < mesh.attributes.size(); ++i)
        {
            const auto slot = std::uint32_t(i);
            if (mesh.attributes[i])
                pass.SetVertexBuffer(slot, mesh.attributes[i]);
            else
                pass.SetVertexBuffer(slot, bindings.GetMissingAttributes(), SceneBindings::GetMissingOffset(i), 16);
        }
        if (mesh.indices)
            pass.SetIndexBuffer(mesh.indices, mesh.indexFormat);
        boundMesh = index;
    }

    static constexpr std::uint32_t none = ~0u;

    const ScenePicture& picture;
    SceneBindings& bindings;
    const wgpu::RenderPassEncoder& pass;
    std::vector<wgpu::RenderPipeline> pipelines; // of the content, for this target
    std::uint32_t boundPipeline = none;
    std::uint32_t boundMaterial = none;
    std::uint32_t boundMesh = none;
};

void EncodeDraws(const ScenePicture& picture, SceneBindings& bindings, const wgpu::RenderPassEncoder& pass)
{
    const wgpu::BindGroup frameGroup = bindings.GetFrameGroup();
    if (!frameGroup)
        return; // logged
    pass.SetBindGroup(0, frameGroup);
    SceneEncoder encoder(picture, bindings, pass);
    for (const SceneDraw& draw : picture.content.opaque)
        encoder.Draw(draw, draw.pipeline);
    for (const std::size_t index : SortBlends(picture.content, picture.camera))
    {
        const SceneBlend& blend = picture.content.blends[index];
        if (blend.backFaces != SceneBlend::none)
            encoder.Draw(blend.draw, blend.backFaces);
        encoder.Draw(blend.draw, blend.draw.pipeline);
    }
}

} // namespace

bool DrawScene(const ScenePicture& picture, SceneBindings& bindings)
{
    const glm::ivec2 size(picture.target.GetWidth(), picture.target.GetHeight());
    // They go back to the pool with this function: the queue keeps the order of passes.
    const Texture samples = TextureAccess::Allocate(size, picture.target.GetTextureFormat(), sceneSampleCount);
    const Texture depth = TextureAccess::Allocate(size, sceneDepthFormat, sceneSampleCount);
    if (!samples || !depth)
        return false; // logged
    bindings.SetCamera(picture.camera, picture.light);

    const glm::dvec4 background(glm::vec3(picture.background) * picture.background.a, picture.background.a);
    wgpu::RenderPassColorAttachment color;
    color.view = Internal::GetRenderView(samples);
    color.resolveTarget = Internal::GetRenderView(picture.target);
    color.loadOp = wgpu::LoadOp::Clear;
    color.storeOp = wgpu::StoreOp::Discard;
    color.clearValue = {background.r, background.g, background.b, background.a};
    wgpu::RenderPassDepthStencilAttachment depthAttachment;
    depthAttachment.view = Internal::GetRenderView(depth);
    depthAttachment.depthLoadOp = wgpu::LoadOp::Clear;
    depthAttachment.depthStoreOp = wgpu::StoreOp::Discard;
    depthAttachment.depthClearValue = 0.0f;
    wgpu::RenderPassDescriptor descriptor;
    descriptor.label = "scene";
    descriptor.colorAttachmentCount = 1;
    descriptor.colorAttachments = &color;
    descriptor.depthStencilAttachment = &depthAttachment;
    descriptor.timestampWrites = Internal::BeginPassTiming();

    const TraceSpan span("pass", "scene");
    Internal::ErrorScope scope;
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    const wgpu::RenderPassEncoder pass = encoder.BeginRenderPass(&descriptor);
    EncodeDraws(picture, bindings, pass);
    pass.End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    const std::string problem = scope.Finish();
    if (!problem.empty())
    {
        LogError("A picture of the scene renderer is refused: " + problem);
        return false;
    }
    Internal::Submit(commands);
    Internal::NoteDrawn(picture.target);
    ++Internal::Counters().renderPasses;
    return true;
}

} // namespace Varkle
