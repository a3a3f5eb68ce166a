#include "Varkle/Core/DataTypes.h"

#include "Varkle/Gpu/Ports.h"

#include <glm/gtc/type_ptr.hpp>
#include <glm/vec4.hpp>

// The types of data that this library brings.
namespace Varkle
{

namespace
{

using Description = DataDescription;
using List = Description::List;
using Members = Description::Members;

Description Text(std::string text)
{
    return {std::move(text)};
}

Description Count(std::size_t count)
{
    return {static_cast<long long>(count)};
}

template<class Vector>
Description Numbers(const Vector& vector)
{
    List list;
    for (glm::length_t i = 0; i < vector.length(); ++i)
        list.emplace_back().value = vector[i];
    return {std::move(list)};
}

Members Describe(const Texture& texture)
{
    return {{"width", {static_cast<long long>(texture.GetWidth())}},
            {"height", {static_cast<long long>(texture.GetHeight())}},
            {"format", Text(GetTextureFormatName(texture.GetTextureFormat()))}};
}

Members Describe(const Mesh& mesh)
{
    List attributes;
    for (const Attribute& attribute : mesh.GetAttributes())
        attributes.push_back({Members{{"name", Text(attribute.GetName())},
                                      {"format", Text(GetVertexFormatName(attribute.GetFormat()))},
                                      {"count", Count(attribute.GetVertexCount())}}});
    Members members{{"attributes", {std::move(attributes)}}};
    const Connectivity* const connectivity = mesh.GetConnectivity();
    if (connectivity)
    {
        const bool isShort = connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint16;
        members.emplace_back("indexCount", Count(connectivity->GetIndexCount()));
        members.emplace_back("indexFormat", Text(isShort ? "Uint16" : "Uint32"));
    }
    const auto topology = connectivity ? connectivity->GetTopology() : wgpu::PrimitiveTopology::TriangleList;
    members.emplace_back("topology", Text(GetTopologyName(topology)));
    members.emplace_back("material", Description{mesh.GetMaterial() != nullptr});
    return members;
}

Members Describe(const GltfPbrMaterial& material)
{
    constexpr const char* alphaModes[] = {"Opaque", "Mask", "Blend"};
    return {{"kind", Text("PBR")},
            {"Base Color", Numbers(material.GetBaseColorFactor())},
            {"Metallic", {material.GetMetallicFactor()}},
            {"Roughness", {material.GetRoughnessFactor()}},
            {"Normal Scale", {material.GetNormalScale()}},
            {"Occlusion Strength", {material.GetOcclusionStrength()}},
            {"Emissive", Numbers(material.GetEmissiveFactor())},
            {"Alpha Mode", Text(alphaModes[int(material.GetAlphaMode())])},
            {"Alpha Cutoff", {material.GetAlphaCutoff()}},
            {"Double Sided", {material.IsDoubleSided()}},
            {"Base Color Texture", {bool(material.GetBaseColorTexture())}},
            {"Metallic Roughness Texture", {bool(material.GetMetallicRoughnessTexture())}},
            {"Normal Texture", {bool(material.GetNormalTexture())}},
            {"Occlusion Texture", {bool(material.GetOcclusionTexture())}},
            {"Emissive Texture", {bool(material.GetEmissiveTexture())}}};
}

Members Describe(const Material* material)
{
    if (const auto* const pbr = dynamic_cast<const GltfPbrMaterial*>(material))
        return Describe(*pbr);
    if (const auto* const unlit = dynamic_cast<const UnlitMaterial*>(material))
        return {{"kind", Text("Unlit")},
                {"Base Color", Numbers(unlit->GetBaseColor())},
                {"Base Color Texture", {bool(unlit->GetBaseColorTexture())}}};
    return {};
}

// What lies deeper is left out: a model may be a chain of any length, programs that read JSON stop somewhere.
constexpr int deepestNode = 400;

Members Describe(const ModelNode& node, int depth)
{
    List transform;
    for (int i = 0; i < 16; ++i)
        transform.emplace_back().value = glm::value_ptr(node.GetTransform())[i];
    List meshes;
    for (const MeshInstance& instance : node.GetMeshInstances())
        meshes.push_back({Describe(instance.GetMesh())});
    List children;
    for (const auto& child : node.GetChildren())
    {
        if (depth < deepestNode)
            children.push_back({Describe(*child, depth + 1)});
    }
    return {
        {"transform", {std::move(transform)}}, {"meshes", {std::move(meshes)}}, {"children", {std::move(children)}}};
}

Members Describe(const Model& model)
{
    const ModelNode* const root = model.GetRootNode();
    return {{"root", root ? Description{Describe(*root, 1)} : Description{}},
            {"materials", Count(model.GetMaterials().size())},
            {"textures", Count(model.GetTextures().size())}};
}

// Types are told apart by name, so an output of another class may come along under one of these.
template<class Output>
DataType MakeType(const char* name, Members (*describe)(const Output&))
{
    return {name, [describe](const DataOutput& output)
            {
                const auto* const known = dynamic_cast<const Output*>(&output);
                return known ? describe(*known) : Members();
            }};
}

// Nobody needs them to go: the library stays as long as the process.
[[maybe_unused]] const auto* const registrations = new DataTypeRegistration[4]{
    DataTypeRegistration(
        MakeType<TextureOutput>("Texture", [](const TextureOutput& output) { return Describe(output.GetTexture()); })),
    DataTypeRegistration(MakeType<MeshOutput>("Mesh", [](const MeshOutput& output)
                                              { return Describe(output.GetMeshData().GetMesh()); })),
    DataTypeRegistration(MakeType<MaterialOutput>("Material", [](const MaterialOutput& output)
                                                  { return Describe(output.GetMaterialData().GetMaterial().get()); })),
    DataTypeRegistration(
        MakeType<ModelOutput>("Model", [](const ModelOutput& output) { return Describe(output.GetModel()); })),
};

} // namespace

} // namespace Varkle
