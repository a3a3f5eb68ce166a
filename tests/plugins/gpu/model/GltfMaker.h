#pragma once

#include "Varkle/Core/Graph.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Model.h"
#include "Varkle/Gpu/Ports.h"
#include "model/Load3DModel.h"
#include "support/Pixels.h"
#include "support/ReadBuffer.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

// Small glTF files for tests, and models told in one line.

namespace Varkle::Testing
{

using Json = nlohmann::json;

template<class T>
std::string ToBytes(const std::vector<T>& values)
{
    std::string bytes(values.size() * sizeof(T), '\0');
    if (!values.empty())
        std::memcpy(bytes.data(), values.data(), bytes.size());
    return bytes;
}

inline std::string ToBytes(std::uint32_t value)
{
    return ToBytes(std::vector{value});
}

/// Returns a text as a JSON chunk or a BIN chunk of a binary file, padded to a multiple of 4.
inline std::string MakeChunk(std::uint32_t type, std::string content, char padding)
{
    content.resize((content.size() + 3) / 4 * 4, padding);
    return ToBytes(std::uint32_t(content.size())) + ToBytes(type) + content;
}

/// Returns a binary glTF file; without a BIN chunk when `bin` is empty.
inline std::string MakeGlb(const std::string& json, const std::string& bin)
{
    std::string chunks = MakeChunk(0x4E4F534A, json, ' ');
    if (!bin.empty())
        chunks += MakeChunk(0x004E4942, bin, '\0');
    return "glTF" + ToBytes(2u) + ToBytes(std::uint32_t(chunks.size() + 12)) + chunks;
}

inline std::string EncodeBase64(std::string_view bytes)
{
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3)
    {
        std::uint32_t bits = 0;
        for (std::size_t j = 0; j < 3; ++j)
            bits = bits << 8 | (i + j < bytes.size() ? std::uint8_t(bytes[i + j]) : 0);
        for (std::size_t j = 0; j < 4; ++j)
            text += i + j > bytes.size() ? '=' : letters[bits >> (18 - 6 * j) & 63];
    }
    return text;
}

inline std::string MakePng(glm::ivec2 size, Rgba8 color)
{
    const std::vector<std::uint8_t> bytes =
        MakeImage(size, std::vector<Rgba8>(std::size_t(size.x) * std::size_t(size.y), color)).Encode(ImageFormat::Png);
    return {bytes.begin(), bytes.end()};
}

/// Puts a glTF file together: JSON, and one buffer with all its data.
class GltfMaker
{
public:
    Json json = {{"asset", {{"version", "2.0"}}}};
    std::string buffer;

    /// Adds bytes to the buffer and a view of them. Returns the view's index.
    int AddView(const std::string& bytes, int stride = 0)
    {
        buffer.resize((buffer.size() + 3) / 4 * 4);
        Json view = {{"buffer", 0}, {"byteOffset", buffer.size()}, {"byteLength", bytes.size()}};
        if (stride > 0)
            view["byteStride"] = stride;
        buffer += bytes;
        return Add("bufferViews", view);
    }

    int AddAccessor(int view, std::size_t offset, int componentType, std::size_t count, const char* type)
    {
        return Add("accessors", {{"bufferView", view},
                                 {"byteOffset", offset},
                                 {"componentType", componentType},
                                 {"count", count},
                                 {"type", type}});
    }

    /// Adds floats, as an accessor of its own view. Returns the accessor's index.
    int AddFloats(const std::vector<float>& values, int components)
    {
        const char* const types[] = {"SCALAR", "VEC2", "VEC3", "VEC4"};
        return AddAccessor(AddView(ToBytes(values)), 0, 5126, values.size() / std::size_t(components),
                           types[components - 1]);
    }

    template<class T>
    int AddIndices(const std::vector<T>& indices)
    {
        const int type = std::is_same_v<T, std::uint8_t> ? 5121 : std::is_same_v<T, std::uint16_t> ? 5123 : 5125;
        return AddAccessor(AddView(ToBytes(indices)), 0, type, indices.size(), "SCALAR");
    }

    /// Adds an element to one of the file's lists. Returns its index.
    int Add(const char* list, const Json& element)
    {
        json[list].push_back(element);
        return int(json[list].size()) - 1;
    }

    /// Adds a mesh of one primitive, a node that shows it, and a scene with that node.
    void ShowPrimitive(const Json& primitive)
    {
        Add("meshes", {{"primitives", {primitive}}});
        json["nodes"] = {{{"mesh", 0}}};
        ShowNodes({0});
    }

    void ShowNodes(const std::vector<int>& nodes)
    {
        json["scenes"] = {{{"nodes", nodes}}};
        json["scene"] = 0;
    }

    std::string ToBinary()
    {
        if (!buffer.empty())
            json["buffers"] = {{{"byteLength", buffer.size()}}};
        return MakeGlb(json.dump(), buffer);
    }

    std::string ToText(const std::string& bufferUri)
    {
        json["buffers"] = {{{"byteLength", buffer.size()}, {"uri", bufferUri}}};
        return json.dump();
    }

    std::string ToTextWithData(const std::string& mediaType = "application/octet-stream")
    {
        return ToText("data:" + mediaType + ";base64," + EncodeBase64(buffer));
    }
};

inline const std::vector<float> trianglePositions = {0, 0, 0, 1, 0, 0, 0, 1, 0};
inline const std::vector<float> triangleNormals = {0, 0, 1, 0, 0, 1, 0, 0, 1};

/// Returns a file that shows one triangle with indices.
inline GltfMaker MakeTriangle()
{
    GltfMaker maker;
    const int positions = maker.AddFloats(trianglePositions, 3);
    const int normals = maker.AddFloats(triangleNormals, 3);
    const int indices = maker.AddIndices<std::uint16_t>({0, 1, 2});
    maker.ShowPrimitive({{"attributes", {{"POSITION", positions}, {"NORMAL", normals}}}, {"indices", indices}});
    return maker;
}

/// Runs a Load 3D Model of that path and returns what it publishes.
inline Model LoadModel(const std::string& path)
{
    Graph graph;
    auto* const op = static_cast<Load3DModel*>(graph.Add(Load3DModel::Type(), "model"));
    op->SetFilePath(path);
    graph.Run();
    const auto* const output = static_cast<ModelOutput*>(op->GetOutputs()[0]);
    if (!output->IsActive())
        throw std::logic_error("the output carries nothing");
    return output->GetModel();
}

/// Writes a file and loads it.
inline Model LoadBytes(const std::string& bytes, const std::string& name = "model.glb")
{
    const TemporaryFolder folder;
    WriteBytes(folder / name, bytes);
    return LoadModel(folder / name);
}

/// "Position:3 Normal:3 indices:3 material"
inline std::string Describe(const Mesh& mesh)
{
    std::string text;
    for (const Attribute& attribute : mesh.GetAttributes())
        text += attribute.GetName() + ":" + std::to_string(attribute.GetVertexCount()) + " ";
    if (const Connectivity* const connectivity = mesh.GetConnectivity())
        text += "indices:" + std::to_string(connectivity->GetIndexCount()) + " ";
    if (mesh.GetMaterial())
        text += "material ";
    return text.empty() ? "empty" : text.substr(0, text.size() - 1);
}

/// "(mesh){child child}" for each node: its meshes in parentheses, its children in braces; "o" for one without either.
/// Recursive: for trees of a few levels.
inline std::string Describe(const ModelNode& node)
{
    std::string text;
    for (const MeshInstance& instance : node.GetMeshInstances())
        text += "(" + Describe(instance.GetMesh()) + ")";
    std::string children;
    for (const std::shared_ptr<const ModelNode>& child : node.GetChildren())
        children += (children.empty() ? "" : " ") + Describe(*child);
    if (!children.empty())
        text += "{" + children + "}";
    return text.empty() ? "o" : text;
}

/// "none" for a model without a root.
inline std::string Describe(const Model& model)
{
    return model.GetRootNode() ? Describe(*model.GetRootNode()) : "none";
}

/// Returns the only mesh of a model whose root shows one.
inline Mesh OnlyMesh(const Model& model)
{
    if (!model.GetRootNode() || model.GetRootNode()->GetMeshInstances().size() != 1)
        throw std::logic_error("the model is " + Describe(model));
    return model.GetRootNode()->GetMeshInstances()[0].GetMesh();
}

inline std::vector<float> ReadFloats(const Mesh& mesh, std::string_view attribute)
{
    const Attribute* const found = mesh.GetAttribute(attribute);
    if (!found)
        throw std::logic_error("the mesh has no " + std::string(attribute));
    return ReadBuffer<float>(found->GetBuffer());
}

inline std::vector<std::uint32_t> ReadIndices(const Mesh& mesh)
{
    if (!mesh.GetConnectivity())
        throw std::logic_error("the mesh has no indices");
    return ReadBuffer<std::uint32_t>(mesh.GetConnectivity()->GetBuffer());
}

} // namespace Varkle::Testing
