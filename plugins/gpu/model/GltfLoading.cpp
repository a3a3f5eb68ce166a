#include "model/GltfLoading.h"

#include "Varkle/Core/Log.h"
#include "model/GltfFile.h"
#include "model/GltfImages.h"
#include "model/GltfMaterials.h"
#include "model/GltfMeshes.h"
#include "model/GltfNodes.h"

#include <exception>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

namespace Varkle
{

// tinygltf throws on some broken files, and memory may not suffice.
std::shared_ptr<Model> LoadFromFile(const std::string& path)
try
{
    auto model = std::make_shared<Model>();
    std::optional<GltfFile> file = ReadGltfFile(path);
    if (!file || file->model.scenes.empty())
        return model;

    const std::vector<Texture> images = LoadGltfImages(*file, std::filesystem::path(path).parent_path());
    const std::vector<Texture> textures = MakeGltfTextures(file->model, images);
    const std::vector<std::shared_ptr<Material>> materials = MakeGltfMaterials(file->model, textures);
    const std::vector<std::vector<Mesh>> meshes = MakeGltfMeshes(file->model, materials);
    for (const Texture& texture : textures)
        model->AddTexture(texture);
    for (const std::shared_ptr<Material>& material : materials)
        model->AddMaterial(material);
    if (std::optional<ModelNode> root = BuildGltfTree(file->model, meshes))
        model->SetRootNode(std::move(*root));
    return model;
}
catch (const std::exception& error)
{
    LogError("The model \"" + path + "\" could not be loaded: " + error.what());
    return std::make_shared<Model>();
}

} // namespace Varkle
