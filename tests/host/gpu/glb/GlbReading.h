#pragma once

#include "Varkle/Gpu/Glb.h"
#include "Varkle/Gpu/Image.h"
#include "gpu/scene/SceneMeshes.h"
#include "support/Catch.h"
#include "support/GltfValidator.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <cstring>
#include <nlohmann/json.hpp>

// Writes .glb files and takes them apart again.
namespace Varkle::Testing
{

using Json = nlohmann::json;
using Lines = std::vector<std::string>;

/// Is what is logged when all is well: comparing with it shows what was logged instead.
inline const Lines nothing;

/// Is a file taken apart, with what was logged while it was written.
struct GlbContent
{
    Json json;
    std::string binary;
    Lines log;

    /// Returns how many elements one of the lists has, 0 for one that isn't there.
    std::size_t Count(const char* list) const { return json.contains(list) ? json[list].size() : 0; }

    const Json& Primitive(std::size_t mesh = 0, std::size_t primitive = 0) const
    {
        return json.at("meshes").at(mesh).at("primitives").at(primitive);
    }

    const Json& Accessor(const char* attribute, std::size_t mesh = 0, std::size_t primitive = 0) const
    {
        return json.at("accessors").at(Primitive(mesh, primitive).at("attributes").at(attribute).get<std::size_t>());
    }

    bool Has(const char* attribute) const { return Primitive().at("attributes").contains(attribute); }

    std::string View(std::size_t view) const
    {
        const Json& json_ = json.at("bufferViews").at(view);
        return binary.substr(json_.at("byteOffset").get<std::size_t>(), json_.at("byteLength").get<std::size_t>());
    }

    template<class T>
    std::vector<T> Numbers(const Json& accessor) const
    {
        const std::string bytes = View(accessor.at("bufferView").get<std::size_t>());
        std::vector<T> numbers(bytes.size() / sizeof(T));
        std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(T));
        return numbers;
    }

    std::vector<float> Values(const char* attribute, std::size_t mesh = 0, std::size_t primitive = 0) const
    {
        return Numbers<float>(Accessor(attribute, mesh, primitive));
    }

    std::vector<std::uint32_t> Indices(std::size_t mesh = 0, std::size_t primitive = 0) const
    {
        return Numbers<std::uint32_t>(
            json.at("accessors").at(Primitive(mesh, primitive).at("indices").get<std::size_t>()));
    }

    Image GetImage(std::size_t image) const
    {
        const std::string bytes = View(json.at("images").at(image).at("bufferView").get<std::size_t>());
        return Image::LoadFromMemory(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    }
};

inline std::uint32_t ReadUint32(std::string_view bytes, std::size_t offset)
{
    std::uint32_t number = 0;
    REQUIRE(offset + sizeof(number) <= bytes.size());
    std::memcpy(&number, bytes.data() + offset, sizeof(number));
    return number;
}

/// Takes a file apart, and checks that its parts lie where they should.
inline GlbContent TakeApart(const std::vector<std::uint8_t>& file)
{
    const std::string_view bytes(reinterpret_cast<const char*>(file.data()), file.size());
    GlbContent content;
    CHECK(bytes.substr(0, 4) == "glTF");
    CHECK(ReadUint32(bytes, 4) == 2);
    CHECK(ReadUint32(bytes, 8) == bytes.size());
    const std::size_t jsonSize = ReadUint32(bytes, 12);
    CHECK(jsonSize % 4 == 0);
    CHECK(bytes.substr(16, 4) == "JSON");
    REQUIRE(20 + jsonSize <= bytes.size());
    content.json = Json::parse(bytes.substr(20, jsonSize));
    const std::size_t end = 20 + jsonSize;
    if (end < bytes.size())
    {
        CHECK(ReadUint32(bytes, end) == bytes.size() - end - 8);
        CHECK(bytes.substr(end + 4, 4) == std::string_view("BIN\0", 4));
        content.binary = bytes.substr(end + 8);
    }
    CHECK(content.Count("buffers") == (content.binary.empty() ? 0 : 1));
    if (!content.binary.empty())
        CHECK(content.json["buffers"] == Json{{{"byteLength", content.binary.size()}}});
    std::size_t viewsEnd = 0;
    for (const Json& view : content.json.value("bufferViews", Json::array()))
    {
        CHECK(view.at("buffer") == 0);
        CHECK(view.at("byteOffset") == viewsEnd);
        viewsEnd += (view.at("byteLength").get<std::size_t>() + 3) / 4 * 4;
    }
    CHECK(content.binary.size() == viewsEnd);
    return content;
}

/// Writes meshes or models, each as a file of its own, takes these apart and asks the Khronos validator about all.
template<class T>
std::vector<GlbContent> WriteAll(const std::vector<T>& things)
{
    const TemporaryFolder folder;
    std::vector<GlbContent> contents;
    Lines paths;
    for (const T& thing : things)
    {
        INFO("file " << paths.size());
        const LogRecorder recorder;
        const Result<std::vector<std::uint8_t>> bytes = EncodeGlb(thing);
        REQUIRE(bytes);
        contents.push_back(TakeApart(*bytes));
        contents.back().log = recorder.lines;
        paths.push_back(folder / std::to_string(paths.size()) + ".glb");
        WriteBytes(paths.back(), {reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    }
    CHECK(ValidateGltf(paths) == nothing);
    return contents;
}

inline GlbContent Write(const Mesh& mesh)
{
    return WriteAll(std::vector{mesh}).front();
}

inline GlbContent Write(const Model& model)
{
    return WriteAll(std::vector{model}).front();
}

inline ModelNode NodeOf(const std::vector<Mesh>& meshes, const glm::mat4& transform = glm::mat4(1.0f))
{
    ModelNode node;
    node.SetTransform(transform);
    for (const Mesh& mesh : meshes)
        node.AddMeshInstance(MeshInstance(mesh));
    return node;
}

/// Returns numbers of vectors or matrices one after the other.
template<class T>
std::vector<float> Flat(const std::vector<T>& values)
{
    std::vector<float> numbers(values.size() * sizeof(T) / sizeof(float));
    std::memcpy(numbers.data(), values.data(), numbers.size() * sizeof(float));
    return numbers;
}

} // namespace Varkle::Testing
