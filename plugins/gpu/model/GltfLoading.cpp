#include "model/GltfLoading.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "model/GltfFile.h"
#include "model/GltfImages.h"
#include "model/GltfMaterials.h"
#include "model/GltfMeshes.h"
#include "model/GltfNodes.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

// Null when the GPU could not take the meshes, which is said.
std::shared_ptr<Model> Load(const std::string& path, const std::string& name)
{
    GltfRemarks remarks(name);
    Result<GltfFile> file = ReadGltfFile(path, remarks);
    if (!file)
    {
        LogError(name + " can't be read" + file.GetError().message);
        return std::make_shared<Model>();
    }
    auto model = std::make_shared<Model>();
    if (file->model.scenes.empty())
        return model;

    const std::vector<Texture> images = LoadGltfImages(*file, std::filesystem::path(path).parent_path(), remarks);
    const std::vector<Texture> textures = MakeGltfTextures(file->model, images);
    const std::vector<std::shared_ptr<Material>> materials = MakeGltfMaterials(file->model, textures);
    const std::vector<std::vector<Mesh>> meshes = MakeGltfMeshes(file->model, materials);
    const auto isComplete = [](const std::vector<Mesh>& primitives)
    { return std::ranges::all_of(primitives, &Mesh::IsComplete); };
    if (!std::ranges::all_of(meshes, isComplete))
        return nullptr; // logged
    for (const Texture& texture : textures)
        model->AddTexture(texture);
    for (const std::shared_ptr<Material>& material : materials)
        model->AddMaterial(material);
    if (std::optional<ModelNode> root = BuildGltfTree(file->model, meshes))
        model->SetRootNode(std::move(*root));
    return model;
}

} // namespace

// tinygltf throws on some broken files, and memory may not suffice.
std::shared_ptr<Model> LoadFromFile(const std::string& path)
{
    const std::string name = "The model " + Quoted(path);
    try
    {
        return Load(path, name);
    }
    catch (const std::bad_alloc&)
    {
        LogError(name + " can't be read: There is not enough memory.");
    }
    catch (const std::out_of_range&)
    {
        LogError(name + " can't be read: A buffer or picture in it is empty.");
    }
    catch (const std::exception& error)
    {
        LogError(name + " can't be read: " + error.what());
    }
    return std::make_shared<Model>();
}

} // namespace Varkle
