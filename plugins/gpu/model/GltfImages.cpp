#include "model/GltfImages.h"

#include "Varkle/Core/Log.h"
#include "model/GltfAccessors.h"
#include "model/GltfJson.h"
#include "texture/ImageLoading.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace Varkle
{

namespace
{

// A small file can hold pictures that decode to terabytes. The largest real scenes need about half of this.
constexpr std::uint64_t MaxTextureBytes = std::uint64_t(16) << 30;

std::optional<Texture> LoadImage(GltfFile& file, const tinygltf::Image& image, const std::filesystem::path& folder)
{
    if (image.uri.empty())
    {
        const std::optional<std::span<const unsigned char>> view = FindView(file.model, image.bufferView);
        return view ? LoadTextureFromMemory(view->data(), view->size()) : std::nullopt;
    }
    if (const std::vector<unsigned char>* const bytes = FindLifted(file.embedded, image.uri))
        return LoadTextureFromMemory(bytes->data(), bytes->size());
    return LoadTextureFromFile((folder / image.uri).string());
}

std::uint64_t CountBytes(const Texture& texture)
{
    return std::uint64_t(texture.GetWidth()) * std::uint64_t(texture.GetHeight()) * 4;
}

} // namespace

std::vector<Texture> LoadGltfImages(GltfFile& file, const std::filesystem::path& folder)
{
    std::vector<Texture> textures(file.model.images.size());
    std::map<std::pair<int, std::string>, Texture> loaded; // what several images share is decoded once
    std::uint64_t bytes = 0;
    for (std::size_t i = 0; i < textures.size(); ++i)
    {
        const tinygltf::Image& image = file.model.images[i];
        const auto [place, isNew] = loaded.try_emplace({image.bufferView, image.uri});
        if (isNew && bytes > MaxTextureBytes)
        {
            LogError("The model's images need more than " + std::to_string(MaxTextureBytes) +
                     " bytes. Those from image " + std::to_string(i) + " on are left out.");
            break;
        }
        if (isNew)
        {
            place->second = LoadImage(file, image, folder).value_or(Texture());
            bytes += CountBytes(place->second);
        }
        textures[i] = place->second;
    }
    return textures;
}

std::vector<Texture> MakeGltfTextures(const tinygltf::Model& model, const std::vector<Texture>& images)
{
    std::vector<Texture> textures;
    textures.reserve(model.textures.size());
    for (const tinygltf::Texture& texture : model.textures)
    {
        const bool hasImage = texture.source >= 0 && std::size_t(texture.source) < images.size();
        textures.push_back(hasImage ? images[std::size_t(texture.source)] : Texture());
    }
    return textures;
}

} // namespace Varkle
