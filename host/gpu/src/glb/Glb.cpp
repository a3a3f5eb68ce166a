#include "Varkle/Gpu/Glb.h"

#include "Varkle/Core/PendingFile.h"
#include "glb/NodeWriter.h"

#include <cerrno>
#include <fstream>
#include <memory>
#include <system_error>
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

Model MakeModel(const Mesh& mesh)
{
    ModelNode node;
    node.AddMeshInstance(MeshInstance(mesh));
    Model model;
    model.SetRootNode(std::move(node));
    return model;
}

} // namespace

Status WriteGlb(const Model& model, const GlbSink& sink)
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
    return file.Finish(sink);
}

Status WriteGlb(const Mesh& mesh, const GlbSink& sink)
{
    return WriteGlb(MakeModel(mesh), sink);
}

Status WriteGlb(const Model& model, const std::string& path)
{
    Result<std::unique_ptr<PendingFile>> pending = PendingFile::Create(path, ".glb");
    if (!pending)
        return pending.GetError();
    std::ofstream file((*pending)->GetHiddenPath(), std::ios::binary);
    const auto describe = [&] {
        return Error{"could not write " + path + ": " + std::generic_category().message(errno), true};
    };
    Status written =
        WriteGlb(model,
                 [&](std::span<const std::uint8_t> bytes) -> Status
                 {
                     errno = 0;
                     file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
                     return file ? Ok() : Status(describe());
                 });
    if (!written)
        return Error{written.GetError().message.starts_with("could not write ")
                         ? written.GetError().message
                         : "could not write " + path + ": " + written.GetError().message,
                     written.GetError().machine};
    errno = 0;
    file.close();
    return file ? (*pending)->Keep() : Status(describe());
}

Status WriteGlb(const Mesh& mesh, const std::string& path)
{
    return WriteGlb(MakeModel(mesh), path);
}

Result<std::vector<std::uint8_t>> EncodeGlb(const Mesh& mesh)
{
    return EncodeGlb(MakeModel(mesh));
}

Result<std::vector<std::uint8_t>> EncodeGlb(const Model& model)
{
    std::vector<std::uint8_t> file;
    const Status written = WriteGlb(model,
                                    [&](std::span<const std::uint8_t> bytes)
                                    {
                                        file.insert(file.end(), bytes.begin(), bytes.end());
                                        return Ok();
                                    });
    if (!written)
        return written.GetError();
    return file;
}

} // namespace Varkle
