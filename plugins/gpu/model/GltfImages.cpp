#include "model/GltfImages.h"

#include "Varkle/Core/Log.h"
#include "model/GltfAccessors.h"
#include "model/GltfJson.h"
#include "model/GltfUris.h"
#include "texture/ImageLoading.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Varkle
{

namespace
{

// A small file can hold pictures that decode to terabytes. 4 GiB are 64 pictures of 4096 by 4096; while they are on
// their way to the GPU they take as much again.
constexpr std::uint64_t MaxTextureBytes = std::uint64_t(4) << 30;

class ImageLoader
{
public:
    ImageLoader(GltfFile& gltf, std::filesystem::path modelFolder, GltfRemarks& modelRemarks)
        : file(gltf), folder(std::move(modelFolder)), remarks(modelRemarks)
    {
    }

    // Empty when the image can't be loaded.
    Texture Load(const tinygltf::Image& image)
    {
        if (!image.uri.empty())
        {
            if (const std::vector<unsigned char>* const bytes = FindLifted(file.embedded, image.uri))
                return LoadBytes(*bytes);
            return LoadFile(image.uri);
        }
        const std::optional<std::span<const unsigned char>> view = FindView(file.model, image.bufferView);
        return view ? LoadBytes(*view) : Texture();
    }

private:
    Texture LoadBytes(std::span<const unsigned char> bytes)
    {
        const auto [place, isNew] =
            ofBytes.try_emplace(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        if (isNew && !IsFull())
            place->second = Count(LoadTextureFromMemory(bytes.data(), bytes.size()));
        return place->second;
    }

    Texture LoadFile(const std::string& name)
    {
        const auto [place, isNew] = ofFiles.try_emplace(name);
        if (!isNew)
            return place->second;
        if (const std::optional<std::string> refusal = FindRefusal(name))
            remarks.AddLeftOut("picture", name, *refusal);
        else if (!IsFull())
            place->second = Count(LoadTextureFromFile((folder / name).string()));
        return place->second;
    }

    bool IsFull()
    {
        if (bytesUsed >= MaxTextureBytes && !std::exchange(hasSaid, true))
            LogError("The model's images need more than " + std::to_string(MaxTextureBytes) +
                     " bytes. Further ones are left out.");
        return bytesUsed >= MaxTextureBytes;
    }

    Texture Count(const std::optional<Texture>& texture)
    {
        if (!texture)
            return {};
        bytesUsed += std::uint64_t(texture->GetWidth()) * std::uint64_t(texture->GetHeight()) * 4;
        return *texture;
    }

    GltfFile& file;
    std::filesystem::path folder;
    GltfRemarks& remarks;
    std::map<std::string_view, Texture> ofBytes; // the bytes are the file's
    std::map<std::string, Texture> ofFiles;
    std::uint64_t bytesUsed = 0;
    bool hasSaid = false;
};

} // namespace

std::vector<Texture> LoadGltfImages(GltfFile& file, const std::filesystem::path& folder, GltfRemarks& remarks)
{
    ImageLoader loader(file, folder, remarks);
    std::vector<Texture> textures;
    textures.reserve(file.model.images.size());
    for (const tinygltf::Image& image : file.model.images)
        textures.push_back(loader.Load(image));
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
