#include "model/GltfMeshes.h"

#include "Varkle/Core/Log.h"
#include "model/GltfAccessors.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>

namespace Varkle
{

namespace
{

struct KnownAttribute
{
    const char* name;
    AttributeSemantic semantic;
};

constexpr KnownAttribute knownAttributes[] = {
    {"POSITION", Attributes::Position},    {"NORMAL", Attributes::Normal},        {"TANGENT", Attributes::Tangent},
    {"TEXCOORD_0", Attributes::TexCoord0}, {"TEXCOORD_1", Attributes::TexCoord1}, {"COLOR_0", Attributes::Color0},
};

// Views and accessors may overlap, so that a small file could ask for terabytes of vertices. Real files ask for the
// bytes of their buffers, up to four times as many where indices of 8 bits become 32.
std::uint64_t FindBytesAllowed(const tinygltf::Model& model)
{
    std::uint64_t bytes = 0;
    for (const tinygltf::Buffer& buffer : model.buffers)
        bytes += buffer.data.size();
    return 16 * bytes + (std::uint64_t(64) << 20);
}

// What an accessor shows. Files often have several accessors that show the same.
using Shown = std::tuple<int, std::size_t, std::size_t, int>;

Shown GetShown(const tinygltf::Accessor& accessor)
{
    return {accessor.bufferView, accessor.byteOffset, accessor.count, accessor.componentType};
}

struct Indices
{
    Connectivity connectivity;
    std::uint32_t largest = 0;
};

class MeshMaker
{
public:
    MeshMaker(const tinygltf::Model& file, const std::vector<std::shared_ptr<Material>>& fileMaterials)
        : model(file), materials(fileMaterials), bytesAllowed(FindBytesAllowed(file))
    {
    }

    std::optional<Mesh> Make(const tinygltf::Primitive& primitive)
    {
        if (primitive.mode != TINYGLTF_MODE_TRIANGLES || isFull)
            return std::nullopt;
        Mesh mesh = MakeVertices(primitive);
        if (primitive.indices >= 0)
        {
            const tinygltf::Accessor* const accessor = FindAccessor(model, primitive.indices);
            if (!accessor)
                return std::nullopt;
            if (IsIndexType(accessor->componentType))
            {
                const Indices* const indices = FindIndices(*accessor);
                if (!indices || !Fit(*indices, mesh))
                    return std::nullopt;
                mesh = mesh.SetConnectivity(indices->connectivity);
            }
        }
        if (isFull)
            return std::nullopt;
        if (primitive.material >= 0 && std::size_t(primitive.material) < materials.size())
            mesh = mesh.SetMaterial(materials[std::size_t(primitive.material)]);
        return mesh;
    }

private:
    Mesh MakeVertices(const tinygltf::Primitive& primitive)
    {
        Mesh mesh;
        for (const KnownAttribute& known : knownAttributes)
        {
            const auto entry = primitive.attributes.find(known.name);
            if (entry == primitive.attributes.end())
                continue;
            const tinygltf::Accessor* const accessor = FindAccessor(model, entry->second);
            if (!accessor || accessor->componentType != TINYGLTF_COMPONENT_TYPE_FLOAT)
                continue;
            const bool isOdd =
                !mesh.GetAttributes().empty() && accessor->count != mesh.GetAttributes().front().GetVertexCount();
            if (const Attribute* const attribute = isOdd ? nullptr : FindAttribute(known.semantic, *accessor))
                mesh = mesh.AddAttribute(*attribute);
        }
        return mesh;
    }

    const Attribute* FindAttribute(const AttributeSemantic& semantic, const tinygltf::Accessor& accessor)
    {
        const auto [place, isNew] = attributes.try_emplace({semantic.name, GetShown(accessor)});
        if (isNew)
            place->second = MakeAttribute(semantic, accessor);
        return place->second ? &*place->second : nullptr;
    }

    std::optional<Attribute> MakeAttribute(const AttributeSemantic& semantic, const tinygltf::Accessor& accessor)
    {
        const std::optional<PackedElements> elements =
            GatherElements(model, accessor, GetVertexFormatSize(semantic.format), scratch);
        if (!elements || !Spend(elements->bytes.size()))
            return std::nullopt;
        const Attribute attribute(semantic, elements->count);
        attribute.GetBuffer().Upload(elements->bytes.data(), elements->bytes.size(), 0);
        return attribute;
    }

    const Indices* FindIndices(const tinygltf::Accessor& accessor)
    {
        const auto [place, isNew] = indexLists.try_emplace(GetShown(accessor));
        if (isNew)
            place->second = MakeIndices(accessor);
        return place->second ? &*place->second : nullptr;
    }

    std::optional<Indices> MakeIndices(const tinygltf::Accessor& accessor)
    {
        const std::optional<PackedElements> elements = GatherIndices(model, accessor, scratch);
        if (!elements || !Spend(elements->bytes.size()))
            return std::nullopt;
        const Connectivity connectivity(wgpu::PrimitiveTopology::TriangleList, elements->count,
                                        wgpu::IndexFormat::Uint32);
        connectivity.GetBuffer().Upload(elements->bytes.data(), elements->bytes.size(), 0);
        return Indices{connectivity, FindLargestIndex(*elements)};
    }

    // A mesh without any attribute has no vertices to point beyond.
    static bool Fit(const Indices& indices, const Mesh& mesh)
    {
        return indices.connectivity.GetIndexCount() == 0 || mesh.GetAttributes().empty() ||
               indices.largest < mesh.GetAttributes().front().GetVertexCount();
    }

    bool Spend(std::uint64_t bytes)
    {
        if (!isFull && bytes <= bytesAllowed - bytesUsed)
        {
            bytesUsed += bytes;
            return true;
        }
        if (!isFull)
            LogError("The model's vertices and indices need more than " + std::to_string(bytesAllowed) +
                     " bytes, too many for the size of its buffers. What does not fit is left out.");
        isFull = true;
        return false;
    }

    const tinygltf::Model& model;
    const std::vector<std::shared_ptr<Material>>& materials;
    std::map<std::pair<std::string_view, Shown>, std::optional<Attribute>> attributes;
    std::map<Shown, std::optional<Indices>> indexLists;
    Scratch scratch;
    std::uint64_t bytesAllowed;
    std::uint64_t bytesUsed = 0;
    bool isFull = false;
};

} // namespace

std::vector<std::vector<Mesh>> MakeGltfMeshes(const tinygltf::Model& model,
                                              const std::vector<std::shared_ptr<Material>>& materials)
{
    MeshMaker maker(model, materials);
    std::vector<std::vector<Mesh>> meshes(model.meshes.size());
    for (std::size_t i = 0; i < meshes.size(); ++i)
    {
        for (const tinygltf::Primitive& primitive : model.meshes[i].primitives)
        {
            if (const std::optional<Mesh> mesh = maker.Make(primitive))
                meshes[i].push_back(*mesh);
        }
    }
    return meshes;
}

} // namespace Varkle
