#include "model/GltfMaterials.h"

namespace Varkle
{

namespace
{

using AlphaMode = GltfPbrMaterial::AlphaMode;

const Texture* Find(const std::vector<Texture>& textures, int index)
{
    return index >= 0 && std::size_t(index) < textures.size() ? &textures[std::size_t(index)] : nullptr;
}

void SetPbr(GltfPbrMaterial& material, const tinygltf::PbrMetallicRoughness& pbr, const std::vector<Texture>& textures)
{
    if (const std::vector<double>& factor = pbr.baseColorFactor; factor.size() == 4)
        material.SetBaseColorFactor({factor[0], factor[1], factor[2], factor[3]});
    if (const Texture* const texture = Find(textures, pbr.baseColorTexture.index))
        material.SetBaseColorTexture(*texture);
    material.SetMetallicFactor(float(pbr.metallicFactor));
    material.SetRoughnessFactor(float(pbr.roughnessFactor));
    if (const Texture* const texture = Find(textures, pbr.metallicRoughnessTexture.index))
        material.SetMetallicRoughnessTexture(*texture);
}

void SetSurface(GltfPbrMaterial& material, const tinygltf::Material& from, const std::vector<Texture>& textures)
{
    if (const Texture* const texture = Find(textures, from.normalTexture.index))
    {
        material.SetNormalTexture(*texture);
        material.SetNormalScale(float(from.normalTexture.scale));
    }
    if (const Texture* const texture = Find(textures, from.occlusionTexture.index))
    {
        material.SetOcclusionTexture(*texture);
        material.SetOcclusionStrength(float(from.occlusionTexture.strength));
    }
    if (const std::vector<double>& factor = from.emissiveFactor; factor.size() == 3)
        material.SetEmissiveFactor({factor[0], factor[1], factor[2]});
    if (const Texture* const texture = Find(textures, from.emissiveTexture.index))
        material.SetEmissiveTexture(*texture);
}

void SetAlpha(GltfPbrMaterial& material, const tinygltf::Material& from)
{
    if (from.alphaMode == "BLEND")
        material.SetAlphaMode(AlphaMode::Blend);
    if (from.alphaMode == "MASK")
    {
        material.SetAlphaMode(AlphaMode::Mask);
        material.SetAlphaCutoff(float(from.alphaCutoff));
    }
}

} // namespace

std::vector<std::shared_ptr<Material>> MakeGltfMaterials(const tinygltf::Model& model,
                                                         const std::vector<Texture>& textures)
{
    std::vector<std::shared_ptr<Material>> materials;
    materials.reserve(model.materials.size());
    for (const tinygltf::Material& from : model.materials)
    {
        const auto material = std::make_shared<GltfPbrMaterial>();
        SetPbr(*material, from.pbrMetallicRoughness, textures);
        SetSurface(*material, from, textures);
        SetAlpha(*material, from);
        material->SetDoubleSided(from.doubleSided);
        materials.push_back(material);
    }
    return materials;
}

} // namespace Varkle
