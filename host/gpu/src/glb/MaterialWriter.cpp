#include "glb/MaterialWriter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <glm/vec4.hpp>

namespace Varkle::Glb
{

namespace
{

template<int N>
std::span<const float> Components(const glm::vec<N, float>& v)
{
    return {&v[0], std::size_t(N)};
}

// "2, 0.5, 1"
std::string Show(std::span<const float> values)
{
    std::string text;
    for (const float value : values)
        text += (text.empty() ? "" : ", ") + (std::isfinite(value) ? Json(value).dump() : std::to_string(value));
    return text;
}

// Source: IEC 61966-2-1.
float DecodeSrgb(float encoded)
{
    const double value = encoded;
    return float(value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
}

bool HasTransparency(const Image& image)
{
    const std::size_t size = 4 * std::size_t(image.GetWidth()) * std::size_t(image.GetHeight());
    const std::uint8_t* const bytes = image.GetPixels();
    for (std::size_t alpha = 3; alpha < size; alpha += 4)
    {
        if (bytes[alpha] != 255)
            return true;
    }
    return false;
}

std::vector<Texture> TexturesOf(const Material* material)
{
    if (const auto* const unlit = dynamic_cast<const UnlitMaterial*>(material))
        return {unlit->GetBaseColorTexture()};
    if (const auto* const pbr = dynamic_cast<const GltfPbrMaterial*>(material))
        return {pbr->GetBaseColorTexture(), pbr->GetMetallicRoughnessTexture(), pbr->GetNormalTexture(),
                pbr->GetOcclusionTexture(), pbr->GetEmissiveTexture()};
    return {};
}

} // namespace

void AddTextures(const Material* material, Download& download)
{
    for (const Texture& texture : TexturesOf(material))
        download.Add(texture);
}

bool HasTexture(const Material* material)
{
    return std::ranges::any_of(TexturesOf(material), [](const Texture& texture) { return bool(texture); });
}

std::size_t MaterialWriter::Add(const Material& material, bool onTransparentColors)
{
    const auto* const unlit = dynamic_cast<const UnlitMaterial*>(&material);
    const bool blendsForColors = unlit && onTransparentColors;
    const auto [entry, isNew] = materials.try_emplace({&material, blendsForColors});
    if (!isNew)
        return entry->second;
    if (blendsForColors && IsTransparent(*unlit))
        return entry->second = Add(material); // which blends by itself
    Json json = Json::object();
    if (unlit)
        json = MakeUnlit(*unlit, blendsForColors || IsTransparent(*unlit));
    else if (const auto* const pbr = dynamic_cast<const GltfPbrMaterial*>(&material))
        json = MakePbr(*pbr);
    else
        file.Warn("a material is left out: it is neither PBR nor unlit.");
    return entry->second = file.Add("materials", std::move(json));
}

bool MaterialWriter::IsTransparent(const UnlitMaterial& material) const
{
    return material.GetBaseColor().a < 1.0f || HasTransparency(download.GetImage(material.GetBaseColorTexture()));
}

Json MaterialWriter::MakeUnlit(const UnlitMaterial& material, bool blends)
{
    // Readers that don't know the extension show something dull.
    Json surface = {{"metallicFactor", 0}, {"roughnessFactor", 0.9}};
    const glm::vec4& color = material.GetBaseColor();
    // Of base colors the format's textures are sRGB-encoded, as here, but its factors are linear.
    if (CheckFactor(Components(color), "base color"))
        surface["baseColorFactor"] = {DecodeSrgb(color.r), DecodeSrgb(color.g), DecodeSrgb(color.b), color.a};
    SetTexture(surface, "baseColorTexture", material.GetBaseColorTexture());

    file.UseExtension("KHR_materials_unlit");
    Json json = {{"pbrMetallicRoughness", std::move(surface)},
                 {"extensions", {{"KHR_materials_unlit", Json::object()}}}};
    if (blends)
        json["alphaMode"] = "BLEND";
    return json;
}

Json MaterialWriter::MakePbr(const GltfPbrMaterial& material)
{
    Json json = {{"pbrMetallicRoughness", MakeSurface(material)}, {"doubleSided", material.IsDoubleSided()}};
    SetNormalAndOcclusion(json, material);
    SetEmission(json, material);
    SetAlpha(json, material);
    return json;
}

Json MaterialWriter::MakeSurface(const GltfPbrMaterial& material)
{
    Json surface = Json::object();
    SetFactor(surface, "baseColorFactor", Components(material.GetBaseColorFactor()), "base color");
    SetFactor(surface, "metallicFactor", std::array{material.GetMetallicFactor()}, "metallic value");
    SetFactor(surface, "roughnessFactor", std::array{material.GetRoughnessFactor()}, "roughness");
    SetTexture(surface, "baseColorTexture", material.GetBaseColorTexture());
    SetTexture(surface, "metallicRoughnessTexture", material.GetMetallicRoughnessTexture());
    return surface;
}

void MaterialWriter::SetNormalAndOcclusion(Json& json, const GltfPbrMaterial& material)
{
    if (Json* const normal = SetTexture(json, "normalTexture", material.GetNormalTexture()))
    {
        if (std::isfinite(material.GetNormalScale()))
            (*normal)["scale"] = material.GetNormalScale();
        else
            file.Warn("a material's normal scale is left out: it is not finite.");
    }
    if (Json* const occlusion = SetTexture(json, "occlusionTexture", material.GetOcclusionTexture()))
        SetFactor(*occlusion, "strength", std::array{material.GetOcclusionStrength()}, "occlusion strength");
}

// The format's factor ends at 1; an extension takes it further.
void MaterialWriter::SetEmission(Json& json, const GltfPbrMaterial& material)
{
    SetTexture(json, "emissiveTexture", material.GetEmissiveTexture());
    const glm::vec3& emission = material.GetEmissiveFactor();
    if (!std::ranges::all_of(Components(emission), [](float value) { return value >= 0.0f && std::isfinite(value); }))
        return file.Warn("a material's emission is left out: " + Show(Components(emission)) +
                         " has a part that is negative or not finite.");
    const float strength = std::max({1.0f, emission.r, emission.g, emission.b});
    json["emissiveFactor"] = ToJson(Components(emission / strength));
    if (strength == 1.0f)
        return;
    file.UseExtension("KHR_materials_emissive_strength");
    json["extensions"]["KHR_materials_emissive_strength"] = {{"emissiveStrength", strength}};
}

void MaterialWriter::SetAlpha(Json& json, const GltfPbrMaterial& material)
{
    if (material.GetAlphaMode() == GltfPbrMaterial::AlphaMode::Blend)
        json["alphaMode"] = "BLEND";
    if (material.GetAlphaMode() != GltfPbrMaterial::AlphaMode::Mask)
        return;
    json["alphaMode"] = "MASK";
    const float cutoff = material.GetAlphaCutoff();
    if (cutoff >= 0.0f && std::isfinite(cutoff))
        json["alphaCutoff"] = cutoff;
    else
        file.Warn("a material's alpha cutoff is left out: " + Show({&cutoff, 1}) + " is negative or not finite.");
}

Json* MaterialWriter::SetTexture(Json& json, const char* member, const Texture& texture)
{
    const std::optional<std::size_t> place = FindTexture(texture);
    if (!place)
        return nullptr;
    json[member] = {{"index", *place}};
    return &json[member];
}

bool MaterialWriter::CheckFactor(std::span<const float> values, const char* shownName)
{
    const bool isGood = std::ranges::all_of(values, [](float value) { return value >= 0.0f && value <= 1.0f; });
    if (!isGood)
        file.Warn(std::string("a material's ") + shownName + " is left out: " + Show(values) + " lies outside 0 to 1.");
    return isGood;
}

void MaterialWriter::SetFactor(Json& json, const char* member, std::span<const float> values, const char* shownName)
{
    if (CheckFactor(values, shownName))
        json[member] = values.size() == 1 ? Json(values.front()) : ToJson(values);
}

std::optional<std::size_t> MaterialWriter::FindTexture(const Texture& texture)
{
    if (!texture)
        return std::nullopt;
    const auto found = std::ranges::find(textures, texture, &KnownTexture::texture);
    if (found != textures.end())
        return found->place;
    AddTexture(texture);
    return textures.back().place;
}

void MaterialWriter::AddTexture(const Texture& texture)
{
    if (!texture)
        return;
    KnownTexture known{texture, FindImage(texture)};
    if (known.place)
        known.place = file.Add("textures", {{"source", *known.place}});
    textures.push_back(std::move(known));
}

std::optional<std::size_t> MaterialWriter::FindImage(const Texture& texture)
{
    const auto found = std::ranges::find(images, texture, &KnownTexture::texture);
    if (found != images.end())
        return found->place;
    KnownTexture image{texture, std::nullopt};
    const std::span<const std::uint8_t> png = file.Keep(download.GetImage(texture).Encode(ImageFormat::Png));
    if (png.empty())
        file.Warn("a texture is left out: its format " + GetTextureFormatName(texture.GetTextureFormat()) +
                  " or its size can't become a PNG file.");
    else
        image.place = file.Add(
            "images", {{"bufferView", file.AddView(std::as_bytes(png), ViewTarget::None)}, {"mimeType", "image/png"}});
    images.push_back(image);
    return image.place;
}

} // namespace Varkle::Glb
