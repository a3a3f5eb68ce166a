#pragma once

#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"
#include "scene/MeshBounds.h"
#include "scene/SceneMaterial.h"
#include "scene/ScenePipelines.h"

#include <array>
#include <cstdint>
#include <glm/mat4x4.hpp>
#include <vector>

namespace Varkle
{

/// Is a mesh as the scene's pipelines draw it.
struct SceneMesh
{
    Mesh mesh;                                             ///< keeps the buffers
    std::array<Buffer, sceneAttributes.size()> attributes; ///< empty for what it lacks
    std::array<wgpu::VertexFormat, sceneAttributes.size()> formats{};
    Buffer indices; ///< empty when the vertices are taken in their order
    wgpu::IndexFormat indexFormat = wgpu::IndexFormat::Undefined;
    wgpu::PrimitiveTopology topology = wgpu::PrimitiveTopology::TriangleList;
    std::uint32_t count = 0; ///< of indices or vertices; 0 when there is nothing to draw
};

/// Returns a mesh as the pipelines draw it.
SceneMesh DescribeMesh(const Mesh& mesh);

/// Is a draw of a mesh: instances one after the other, with one pipeline. The numbers are positions in the lists of
/// SceneContent.
struct SceneDraw
{
    std::uint32_t pipeline = 0;
    std::uint32_t material = 0;
    std::uint32_t mesh = 0;
    std::uint32_t firstInstance = 0;
    std::uint32_t instanceCount = 0;
};

/// Is something that blends with what is behind.
struct SceneBlend
{
    SceneDraw draw;
    std::uint32_t backFaces = none; ///< the pipeline that draws them first; `none` when they are not drawn apart

    static constexpr std::uint32_t none = ~0u;
};

/// Is all that a picture shows, in the order in which it is drawn.
struct SceneContent
{
    std::vector<SceneMesh> meshes;
    std::vector<SceneMaterial> materials;
    std::vector<ScenePipelineKey> pipelines;
    std::vector<SceneDraw> opaque;
    std::vector<SceneBlend> blends;    ///< in the order of the nodes
    std::vector<glm::mat4> transforms; ///< by instance
    /// By mesh; none before somebody measured them.
    std::vector<std::shared_ptr<const MeshBounds>> meshBounds;
};

/// Is a mesh at a place of the scene.
struct PlacedMesh
{
    Mesh mesh;
    glm::mat4 toScene{1.0f};
};

/// Lists the meshes of a model at the places that its nodes say, behind what is listed already.
void AppendMeshes(const Model& model, const glm::mat4& toScene, std::vector<PlacedMesh>& list);

/// Collects what there is to draw.
SceneContent MakeSceneContent(const std::vector<PlacedMesh>& things);

} // namespace Varkle
