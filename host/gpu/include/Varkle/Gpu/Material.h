#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Texture.h"

#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace Varkle
{

/// Is the base of all materials. Operators make a new one for every execution; one that was handed on is not changed.
class VARKLE_API Material
{
public:
    virtual ~Material();
};

/// Shows a color, or a texture times that color, without light. Both are sRGB-encoded and shown as they are: 0.5 gives
/// a pixel the level 128 of 255, and with a texture the encoded values are multiplied.
class VARKLE_API UnlitMaterial final : public Material
{
public:
    ~UnlitMaterial() override;

    /// Sets the color, red, green and blue from 0 to 1 as a picture holds them (not linear), and the alpha.
    void SetBaseColor(const glm::vec4& color) { baseColor = color; }
    void SetBaseColorTexture(const Texture& texture) { baseColorTexture = texture; }

    const glm::vec4& GetBaseColor() const { return baseColor; }
    const Texture& GetBaseColorTexture() const { return baseColorTexture; }

private:
    glm::vec4 baseColor{1.0f};
    Texture baseColorTexture;
};

/// Is the metallic-roughness material of glTF 2.0, with that format's defaults. Textures may be empty.
///
/// All factors are linear, those of the base color and the emission, too. The textures of these two are sRGB-encoded,
/// and decoded before they are multiplied; the other textures hold plain numbers.
class VARKLE_API GltfPbrMaterial final : public Material
{
public:
    ~GltfPbrMaterial() override;

    enum class AlphaMode
    {
        Opaque = 0, ///< alpha is ignored
        Mask = 1,   ///< below the alpha cutoff nothing is seen, from it on all
        Blend = 2,  ///< alpha mixes with what is behind
    };

    void SetBaseColorFactor(const glm::vec4& factor) { baseColorFactor = factor; }
    void SetBaseColorTexture(const Texture& texture) { baseColorTexture = texture; }
    void SetMetallicFactor(float factor) { metallicFactor = factor; }
    void SetRoughnessFactor(float factor) { roughnessFactor = factor; }
    void SetMetallicRoughnessTexture(const Texture& texture) { metallicRoughnessTexture = texture; }
    void SetNormalTexture(const Texture& texture) { normalTexture = texture; }
    void SetNormalScale(float scale) { normalScale = scale; }
    void SetOcclusionTexture(const Texture& texture) { occlusionTexture = texture; }
    void SetOcclusionStrength(float strength) { occlusionStrength = strength; }
    void SetEmissiveFactor(const glm::vec3& factor) { emissiveFactor = factor; }
    void SetEmissiveTexture(const Texture& texture) { emissiveTexture = texture; }
    void SetAlphaMode(AlphaMode mode) { alphaMode = mode; }
    void SetAlphaCutoff(float cutoff) { alphaCutoff = cutoff; }
    void SetDoubleSided(bool on) { doubleSided = on; }

    const glm::vec4& GetBaseColorFactor() const { return baseColorFactor; }
    const Texture& GetBaseColorTexture() const { return baseColorTexture; }
    float GetMetallicFactor() const { return metallicFactor; }
    float GetRoughnessFactor() const { return roughnessFactor; }
    const Texture& GetMetallicRoughnessTexture() const { return metallicRoughnessTexture; }
    const Texture& GetNormalTexture() const { return normalTexture; }
    float GetNormalScale() const { return normalScale; }
    const Texture& GetOcclusionTexture() const { return occlusionTexture; }
    float GetOcclusionStrength() const { return occlusionStrength; }
    const glm::vec3& GetEmissiveFactor() const { return emissiveFactor; }
    const Texture& GetEmissiveTexture() const { return emissiveTexture; }
    AlphaMode GetAlphaMode() const { return alphaMode; }
    float GetAlphaCutoff() const { return alphaCutoff; }
    bool IsDoubleSided() const { return doubleSided; }

private:
    glm::vec4 baseColorFactor{1.0f};
    Texture baseColorTexture;
    float metallicFactor = 1.0f;
    float roughnessFactor = 1.0f;
    Texture metallicRoughnessTexture;
    Texture normalTexture;
    float normalScale = 1.0f;
    Texture occlusionTexture;
    float occlusionStrength = 1.0f;
    glm::vec3 emissiveFactor{0.0f};
    Texture emissiveTexture;
    AlphaMode alphaMode = AlphaMode::Opaque;
    float alphaCutoff = 0.5f;
    bool doubleSided = false;
};

} // namespace Varkle
