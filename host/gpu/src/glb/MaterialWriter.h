#pragma once

#include "Varkle/Gpu/Material.h"
#include "glb/Download.h"
#include "glb/GlbFile.h"

#include <map>
#include <optional>
#include <utility>

namespace Varkle::Glb
{

/// Adds the textures of a material to what is fetched.
void AddTextures(const Material* material, Download& download);

/// Returns true for a material that reads a texture.
bool HasTexture(const Material* material);

/// Writes materials and textures, each once. What it is given must live until the file is finished.
class MaterialWriter
{
public:
    MaterialWriter(GlbFile& target, const Download& fetched) : file(target), download(fetched) {}

    /// Returns the material's place in the file. With `onTransparentColors` it is for a mesh whose colors let something
    /// show through: an unlit one blends then.
    std::size_t Add(const Material& material, bool onTransparentColors = false);
    /// Adds a texture even if it is there already; one that is empty or can't be read is left out.
    void AddTexture(const Texture& texture);

private:
    struct KnownTexture
    {
        Texture texture;
        std::optional<std::size_t> place; // nothing for one that can't be read
    };

    bool IsTransparent(const UnlitMaterial& material) const;
    Json MakeUnlit(const UnlitMaterial& material, bool blends);
    Json MakePbr(const GltfPbrMaterial& material);
    Json MakeSurface(const GltfPbrMaterial& material);
    void SetNormalAndOcclusion(Json& json, const GltfPbrMaterial& material);
    void SetEmission(Json& json, const GltfPbrMaterial& material);
    void SetAlpha(Json& json, const GltfPbrMaterial& material);

    /// Sets a member to a reference to the texture. Returns it, null when the texture can't be referred to.
    Json* SetTexture(Json& json, const char* member, const Texture& texture);
    /// Returns whether all values lie within 0 and 1; warns when not.
    bool CheckFactor(std::span<const float> values, const char* shownName);
    /// Sets a member to a number or, with several, to an array, if they lie within 0 and 1.
    void SetFactor(Json& json, const char* member, std::span<const float> values, const char* shownName);
    std::optional<std::size_t> FindTexture(const Texture& texture);
    std::optional<std::size_t> FindImage(const Texture& texture);

    GlbFile& file;
    const Download& download;
    std::map<std::pair<const Material*, bool>, std::size_t> materials; // true: on transparent colors
    std::vector<KnownTexture> textures;
    std::vector<KnownTexture> images;
};

} // namespace Varkle::Glb
