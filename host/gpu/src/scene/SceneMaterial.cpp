#include "scene/SceneMaterial.h"

#include "texture/TextureStorage.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Varkle
{

namespace
{

// Without a number there is nothing to scale: 0.
float Bounded(float value, float low, float high)
{
    return std::isnan(value) ? 0.0f : std::clamp(value, low, high);
}

float Unit(float value)
{
    return Bounded(value, 0.0f, 1.0f);
}

// Half of the largest number, so that products with other small numbers stay finite.
constexpr float huge = std::numeric_limits<float>::max() / 2.0f;

Texture Usable(const Texture& texture)
{
    return texture && IsFloatFormat(texture.GetTextureFormat()) ? texture : Texture();
}

SceneMaterial Describe(const GltfPbrMaterial& material)
{
    using AlphaMode = GltfPbrMaterial::AlphaMode;
    SceneMaterial scene;
    if (material.GetAlphaMode() == AlphaMode::Mask)
        scene.shading = ScenePipelineKey::Shading::Masked;
    scene.blends = material.GetAlphaMode() == AlphaMode::Blend;
    scene.writesDepth = !scene.blends;
    scene.doubleSided = material.IsDoubleSided();
    for (int i = 0; i < 4; ++i)
        scene.baseColor[i] = Unit(material.GetBaseColorFactor()[i]);
    for (int i = 0; i < 3; ++i)
        scene.emission[i] = Bounded(material.GetEmissiveFactor()[i], 0.0f, huge);
    scene.metallic = Unit(material.GetMetallicFactor());
    scene.roughness = Unit(material.GetRoughnessFactor());
    scene.normalScale = Bounded(material.GetNormalScale(), -1e6f, 1e6f);
    scene.occlusionStrength = Unit(material.GetOcclusionStrength());
    scene.alphaCutoff = Bounded(material.GetAlphaCutoff(), -huge, huge);
    scene.textures = {Usable(material.GetBaseColorTexture()), Usable(material.GetMetallicRoughnessTexture()),
                      Usable(material.GetNormalTexture()), Usable(material.GetOcclusionTexture()),
                      Usable(material.GetEmissiveTexture())};
    return scene;
}

// What is opaque after all hides what is behind it, in whatever order things are drawn.
SceneMaterial Describe(const UnlitMaterial& material)
{
    SceneMaterial scene;
    scene.shading = ScenePipelineKey::Shading::Unlit;
    for (int i = 0; i < 4; ++i)
        scene.baseColor[i] = Unit(material.GetBaseColor()[i]);
    scene.textures[0] = Usable(material.GetBaseColorTexture());
    scene.blends = scene.baseColor.a < 1.0f || scene.textures[0];
    return scene;
}

SceneMaterial DefaultMaterial()
{
    SceneMaterial scene;
    scene.baseColor = {0.5f, 0.5f, 0.5f, 1.0f};
    scene.metallic = 0.0f;
    scene.roughness = 0.6f;
    return scene;
}

} // namespace

bool SceneMaterial::IsTextured() const
{
    return std::ranges::any_of(textures, [](const Texture& texture) { return bool(texture); });
}

TexelKind SceneMaterial::KindOf(std::size_t texture) const
{
    const bool isColor = (texture == 0 || texture == 4) && shading != ScenePipelineKey::Shading::Unlit;
    return isColor ? TexelKind::Color : TexelKind::Plain;
}

void SceneMaterial::Write(const UniformProxy& block) const
{
    unsigned bits = 0;
    for (std::size_t i = 0; i < textureCount; ++i)
        bits |= textures[i] ? 1u << i : 0u;
    block.GetVariable("baseColor").SetVec4(baseColor);
    block.GetVariable("emission").SetVec3(emission);
    block.GetVariable("metallic").SetFloat(metallic);
    block.GetVariable("roughness").SetFloat(roughness);
    block.GetVariable("normalScale").SetFloat(normalScale);
    block.GetVariable("occlusionStrength").SetFloat(occlusionStrength);
    block.GetVariable("alphaCutoff").SetFloat(alphaCutoff);
    block.GetVariable("textures").SetUInt(bits);
}

SceneMaterial DescribeMaterial(const Material* material)
{
    if (const auto* const pbr = dynamic_cast<const GltfPbrMaterial*>(material))
        return Describe(*pbr);
    if (const auto* const unlit = dynamic_cast<const UnlitMaterial*>(material))
        return Describe(*unlit);
    return DefaultMaterial();
}

} // namespace Varkle
