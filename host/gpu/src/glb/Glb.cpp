#include "Varkle/Gpu/Glb.h"

#include "glb/NodeWriter.h"

#include <utility>

namespace Varkle
{

namespace
{

constexpr std::size_t MaxNodes = std::size_t(1) << 22;

void AddAll(const Model& model, const std::vector<const ModelNode*>& nodes, Glb::Download& download)
{
    for (const Texture& texture : model.GetTextures())
        download.Add(texture);
    for (const std::shared_ptr<Material>& material : model.GetMaterials())
        Glb::AddTextures(material.get(), download);
    for (const ModelNode* const node : nodes)
    {
        for (const MeshInstance& instance : node->GetMeshInstances())
        {
            Glb::AddBuffers(instance.GetMesh(), download);
            Glb::AddTextures(instance.GetMesh().GetMaterial().get(), download);
        }
    }
}

} // namespace

Result<std::vector<std::uint8_t>> EncodeGlb(const Mesh& mesh)
{
    ModelNode node;
    node.AddMeshInstance(MeshInstance(mesh));
    Model model;
    model.SetRootNode(std::move(node));
    return EncodeGlb(model);
}

Result<std::vector<std::uint8_t>> EncodeGlb(const Model& model)
{
    std::vector<const ModelNode*> nodes;
    if (const ModelNode* const root = model.GetRootNode())
        nodes = Glb::ListNodes(*root, MaxNodes + 1);
    if (nodes.size() > MaxNodes)
        return Error{"A model with more than " + std::to_string(MaxNodes) +
                     " nodes can't be written as .glb; nodes that appear in several places count each time."};

    Glb::Download download;
    AddAll(model, nodes, download);
    if (!download.Run())
        return Error{"The vertices and textures could not be read back from the GPU.", true};

    Glb::GlbFile file;
    Glb::MaterialWriter materials(file, download);
    Glb::MeshWriter meshes(file, materials, download);
    // What the model lists comes first, used or not, so that it keeps its order.
    for (const Texture& texture : model.GetTextures())
        materials.AddTexture(texture);
    for (const std::shared_ptr<Material>& material : model.GetMaterials())
    {
        if (material)
            materials.Add(*material);
    }
    if (!nodes.empty())
        Glb::AddNodes(file, nodes, meshes);
    return file.Finish();
}

} // namespace Varkle
