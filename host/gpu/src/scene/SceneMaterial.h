#pragma once

#include "Varkle/Gpu/Material.h"
#include "Varkle/Gpu/UniformBuffer.h"
#include "scene/MipTextures.h"
#include "scene/ScenePipelines.h"

#include <array>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>

namespace Varkle
{

/// Is a material as the scene's shader takes it. All numbers are finite and in range.
struct SceneMaterial
{
    static constexpr std::size_t textureCount = 5;

    ScenePipelineKey::Shading shading = ScenePipelineKey::Shading::Lit;
    bool blends = false;
    bool writesDepth = true;
    bool doubleSided = false;
    glm::vec4 baseColor{1.0f};
    glm::vec3 emission{0.0f};
    float metallic = 1.0f;
    float roughness = 1.0f;
    float normalScale = 1.0f;
    float occlusionStrength = 1.0f;
    float alphaCutoff = 0.5f;
    /// Base color, metallic and roughness, normal, occlusion, emission. Empty where there is none.
    std::array<Texture, textureCount> textures;

    bool IsTextured() const;
    TexelKind KindOf(std::size_t texture) const;
    void Write(const UniformProxy& block) const;
};

/// Describes a material; null, and one of a kind that is not known, becomes a rough, neutral gray.
SceneMaterial DescribeMaterial(const Material* material);

} // namespace Varkle
