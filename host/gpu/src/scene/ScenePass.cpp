#include "scene/ScenePass.h"

#include "Varkle/Gpu/PassRecorder.h"

#include <algorithm>
#include <glm/geometric.hpp>
#include <numeric>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

// The middle of a mesh at its place where its bounds are known, else its place.
glm::vec3 CenterOf(const SceneContent& content, const SceneDraw& draw)
{
    const glm::dmat4 toScene(content.transforms[draw.firstInstance]);
    const bool isKnown = !content.meshBounds.empty() && content.meshBounds[draw.mesh]->known;
    return glm::vec3(toScene * glm::dvec4(isKnown ? content.meshBounds[draw.mesh]->Center() : glm::dvec3(0.0), 1.0));
}

// The positions of what blends, from back to front.
std::vector<std::size_t> SortBlends(const SceneContent& content, const SceneCamera& camera)
{
    std::vector<float> depths;
    for (const SceneBlend& blend : content.blends)
        depths.push_back(glm::dot(CenterOf(content, blend.draw) - camera.eye, camera.forward));
    std::vector<std::size_t> order(depths.size());
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) { return depths[a] > depths[b]; });
    return order;
}

// Records draws and leaves out settings that are in force already.
class SceneRecorder
{
public:
    SceneRecorder(const ScenePicture& shownPicture, SceneBindings& sceneBindings, RenderPassRecorder& recorder)
        : picture(shownPicture), bindings(sceneBindings), pass(recorder)
    {
        for (ScenePipelineKey key : picture.content.pipelines)
        {
            key.target = picture.target.GetFormat().colorFormats[0];
            pipelines.push_back(GetScenePipeline(key));
        }
    }

    void Draw(const SceneDraw& draw, std::uint32_t pipeline)
    {
        if (std::exchange(boundPipeline, pipeline) != pipeline)
            pass.BindPipeline(pipelines[pipeline]);
        if (std::exchange(boundMaterial, draw.material) != draw.material)
            pass.BindBindGroup(1, bindings.GetMaterialGroup(draw.material), bindings.GetMaterialOffset(draw.material));
        if (std::exchange(boundMesh, draw.mesh) != draw.mesh)
            BindMesh(draw.mesh);
        const SceneMesh& mesh = picture.content.meshes[draw.mesh];
        if (mesh.indices)
            pass.DrawIndexed(mesh.count, draw.instanceCount, 0, 0, draw.firstInstance);
        else
            pass.Draw(mesh.count, draw.instanceCount, 0, draw.firstInstance);
    }

private:
    void BindMesh(std::uint32_t index)
    {
        constexpr auto wholeBuffer = std::uint64_t(-1);
        const SceneMesh& mesh = picture.content.meshes[index];
        for (std::size_t i = 0; i < mesh.attributes.size(); ++i)
        {
            if (mesh.attributes[i])
                pass.BindVertexBuffer(int(i), mesh.attributes[i], 0, wholeBuffer);
            else
                pass.BindVertexBuffer(int(i), bindings.GetMissingAttributes(), SceneBindings::GetMissingOffset(i), 16);
        }
        if (mesh.indices)
            pass.BindIndexBuffer(mesh.indices, mesh.indexFormat);
    }

    static constexpr std::uint32_t none = ~0u;

    const ScenePicture& picture;
    SceneBindings& bindings;
    RenderPassRecorder& pass;
    std::vector<RenderPipeline> pipelines; // of the content, for this target
    std::uint32_t boundPipeline = none;
    std::uint32_t boundMaterial = none;
    std::uint32_t boundMesh = none;
};

} // namespace

bool DrawScene(const ScenePicture& picture, SceneBindings& bindings)
{
    bindings.SetCamera(picture.camera, picture.light);
    const glm::vec4& background = picture.background;
    RenderPassRecorder pass;
    pass.BindFrameBuffer(picture.target)
        .ClearColorBuffer({glm::vec3(background) * background.a, background.a})
        .SetClearDepth(0.0f)
        .BindBindGroup(0, bindings.GetFrameGroup());
    SceneRecorder recorder(picture, bindings, pass);
    for (const SceneDraw& draw : picture.content.opaque)
        recorder.Draw(draw, draw.pipeline);
    for (const std::size_t index : SortBlends(picture.content, picture.camera))
    {
        const SceneBlend& blend = picture.content.blends[index];
        if (blend.backFaces != SceneBlend::none)
            recorder.Draw(blend.draw, blend.backFaces);
        recorder.Draw(blend.draw, blend.draw.pipeline);
    }
    return pass.Submit();
}

} // namespace Varkle
