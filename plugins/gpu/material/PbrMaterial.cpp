#include "material/PbrMaterial.h"

#include <memory>
#include <string>

namespace Varkle
{

namespace
{

GltfPbrMaterial::AlphaMode ReadAlphaMode(const std::string& name)
{
    if (name == "Mask")
        return GltfPbrMaterial::AlphaMode::Mask;
    if (name == "Blend")
        return GltfPbrMaterial::AlphaMode::Blend;
    return GltfPbrMaterial::AlphaMode::Opaque;
}

} // namespace

PbrMaterial::PbrMaterial()
{
    emissive.SetAlphaEnabled(false);
    alphaMode.SetPossibleValues({"Opaque", "Mask", "Blend"}, {});
    alphaMode.SetValue("Opaque");
}

PbrMaterial::~PbrMaterial() = default;

const ObjectType* PbrMaterial::Type()
{
    static const ObjectType type("Varkle.Material.PbrMaterial", Operator::Type(), [] { return new PbrMaterial; });
    return &type;
}

void PbrMaterial::Execute(ExecutionContext&)
{
    const auto material = std::make_shared<GltfPbrMaterial>();
    material->SetBaseColorFactor(baseColor.Value().ToVec4());
    material->SetMetallicFactor(float(metallic.Value()));
    material->SetRoughnessFactor(float(roughness.Value()));
    material->SetNormalScale(float(normalScale.Value()));
    material->SetOcclusionStrength(float(occlusionStrength.Value()));
    material->SetEmissiveFactor(glm::vec3(emissive.Value().ToVec4()));
    material->SetAlphaCutoff(float(alphaCutoff.Value()));
    material->SetDoubleSided(doubleSided.Value());
    material->SetAlphaMode(ReadAlphaMode(alphaMode.Value()));

    if (baseColorTexture.HasTexture())
        material->SetBaseColorTexture(baseColorTexture.GetTexture());
    if (metallicRoughnessTexture.HasTexture())
        material->SetMetallicRoughnessTexture(metallicRoughnessTexture.GetTexture());
    if (normalTexture.HasTexture())
        material->SetNormalTexture(normalTexture.GetTexture());
    if (occlusionTexture.HasTexture())
        material->SetOcclusionTexture(occlusionTexture.GetTexture());
    if (emissiveTexture.HasTexture())
        material->SetEmissiveTexture(emissiveTexture.GetTexture());
    materialOutput.Activate(material);
}

} // namespace Varkle
