// Reads any bytes as a glTF file and walks through all that the model loader takes from it, up to where pictures are
// decoded and GPU objects made.

#include "model/GltfAccessors.h"
#include "model/GltfFile.h"
#include "model/GltfJson.h"
#include "model/GltfMaterials.h"
#include "model/GltfNodes.h"
#include "model/GltfUris.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

using namespace Varkle;

namespace
{

unsigned sum = 0; // of all bytes seen: reading them is what finds a range that is none

void Touch(std::span<const unsigned char> bytes)
{
    for (const unsigned char byte : bytes)
        sum += byte;
}

std::string WriteInput(const std::uint8_t* data, std::size_t size)
{
    const bool isBinary = size >= 4 && std::string_view(reinterpret_cast<const char*>(data), 4) == "glTF";
    static const std::string folder = std::filesystem::temp_directory_path().string();
    std::string path = folder + "/gltf-fuzz-" + std::to_string(getpid()) + (isBinary ? ".glb" : ".gltf");
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data), std::streamsize(size));
    return path;
}

void GatherPrimitive(const tinygltf::Model& model, const tinygltf::Primitive& primitive)
{
    Scratch scratch;
    for (const auto& [name, index] : primitive.attributes)
    {
        const tinygltf::Accessor* const accessor = FindAccessor(model, index);
        for (const unsigned size : {8U, 12U, 16U})
        {
            if (const auto elements = accessor ? GatherElements(model, *accessor, size, scratch) : std::nullopt)
                Touch(elements->bytes);
        }
    }
    const tinygltf::Accessor* const accessor = FindAccessor(model, primitive.indices);
    if (const auto indices = accessor ? GatherIndices(model, *accessor, scratch) : std::nullopt)
        sum += FindLargestIndex(*indices);
}

void Walk(GltfFile& file)
{
    for (const tinygltf::Image& image : file.model.images)
    {
        if (const auto view = FindView(file.model, image.bufferView))
            Touch(*view);
        if (const std::vector<unsigned char>* const bytes = FindLifted(file.embedded, image.uri))
            Touch(*bytes);
        else
            sum += FindRefusal(image.uri).has_value();
    }
    std::vector<std::vector<Mesh>> meshes;
    for (const tinygltf::Mesh& mesh : file.model.meshes)
    {
        for (const tinygltf::Primitive& primitive : mesh.primitives)
            GatherPrimitive(file.model, primitive);
        meshes.emplace_back(mesh.primitives.size());
    }
    sum += unsigned(MakeGltfMaterials(file.model, std::vector<Texture>(file.model.textures.size())).size());
    if (const std::optional<ModelNode> root = BuildGltfTree(file.model, meshes))
        sum += unsigned(root->GetChildren().size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
try
{
    GltfRemarks remarks("The model");
    if (Result<GltfFile> file = ReadGltfFile(WriteInput(data, size), remarks))
        Walk(*file);
    return sum == 0xFFFFFFFF ? -1 : 0;
}
catch (const std::exception&)
{
    return 0; // the loader catches it and says so
}
