#include "gpu/glb/GlbReading.h"
#include "support/Pixels.h"

#include <cmath>
#include <limits>

// Materials and textures in .glb files.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinite = std::numeric_limits<float>::infinity();
const glm::vec4 white(1.0f);

using Floats = std::vector<float>;

Mesh QuadOf(const std::shared_ptr<Material>& material)
{
    return Quad().SetMaterial(material);
}

const Json& MaterialOf(const GlbContent& file)
{
    REQUIRE(file.Count("materials") == 1);
    CHECK(file.Primitive()["material"] == 0);
    return file.json["materials"][0];
}

Texture Pixel(Rgba8 color)
{
    return Filled({1, 1}, color);
}

/// The first pixel of the texture that a reference like {"index": 2} means.
Rgba8 PixelOf(const GlbContent& file, const Json& reference)
{
    const Json& texture = file.json.at("textures").at(reference.at("index").get<std::size_t>());
    return At(file.GetImage(texture.at("source").get<std::size_t>()), 0, 0);
}

template<class Change>
std::shared_ptr<GltfPbrMaterial> Pbr(Change change)
{
    auto material = std::make_shared<GltfPbrMaterial>();
    change(*material);
    return material;
}

// Source: IEC 61966-2-1.
double DecodeSrgb(double value)
{
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

std::shared_ptr<UnlitMaterial> UnlitOf(const glm::vec4& color, const Texture& texture = {})
{
    auto material = std::make_shared<UnlitMaterial>();
    material->SetBaseColor(color);
    material->SetBaseColorTexture(texture);
    return material;
}

struct Other final : Material
{
};

} // namespace

TEST_CASE("A metallic-roughness material keeps every value and texture")
{
    const Rgba8 colors[] = {{1, 2, 3, 4}, {5, 6, 7, 255}, {8, 9, 10, 0}, {11, 12, 13, 14}, {15, 16, 17, 18}};
    const auto material = Pbr(
        [&](GltfPbrMaterial& m)
        {
            m.SetBaseColorFactor({0.1f, 0.2f, 0.3f, 0.4f});
            m.SetMetallicFactor(0.25f);
            m.SetRoughnessFactor(0.7f);
            m.SetNormalScale(-1.5f);
            m.SetOcclusionStrength(0.6f);
            m.SetEmissiveFactor({0.0f, 0.9f, 1.0f});
            m.SetAlphaMode(GltfPbrMaterial::AlphaMode::Mask);
            m.SetAlphaCutoff(0.35f);
            m.SetDoubleSided(true);
            m.SetBaseColorTexture(Pixel(colors[0]));
            m.SetMetallicRoughnessTexture(Pixel(colors[1]));
            m.SetNormalTexture(Pixel(colors[2]));
            m.SetOcclusionTexture(Pixel(colors[3]));
            m.SetEmissiveTexture(Pixel(colors[4]));
        });
    const GlbContent file = Write(QuadOf(material));
    const Json& json = MaterialOf(file);
    const Json& surface = json["pbrMetallicRoughness"];
    CHECK(surface["baseColorFactor"] == Json({0.1f, 0.2f, 0.3f, 0.4f}));
    CHECK(surface["metallicFactor"] == 0.25f);
    CHECK(surface["roughnessFactor"] == 0.7f);
    CHECK(json["normalTexture"]["scale"] == -1.5f);
    CHECK(json["occlusionTexture"]["strength"] == 0.6f);
    CHECK(json["emissiveFactor"] == Json({0.0f, 0.9f, 1.0f}));
    CHECK(json["alphaMode"] == "MASK");
    CHECK(json["alphaCutoff"] == 0.35f);
    CHECK(json["doubleSided"] == true);
    CHECK_FALSE(file.json.contains("extensionsUsed"));
    CHECK(file.Count("textures") == 5);
    CHECK(file.Count("images") == 5);
    for (const Json& image : file.json["images"])
        CHECK(image["mimeType"] == "image/png");
    CHECK(PixelOf(file, surface["baseColorTexture"]) == colors[0]);
    CHECK(PixelOf(file, surface["metallicRoughnessTexture"]) == colors[1]);
    CHECK(PixelOf(file, json["normalTexture"]) == colors[2]);
    CHECK(PixelOf(file, json["occlusionTexture"]) == colors[3]);
    CHECK(PixelOf(file, json["emissiveTexture"]) == colors[4]);
    CHECK(file.log == nothing);
}

TEST_CASE("A plain metallic-roughness material is the default of glTF")
{
    const GlbContent file = Write(QuadOf(std::make_shared<GltfPbrMaterial>()));
    const Json& json = MaterialOf(file);
    const Json& surface = json["pbrMetallicRoughness"];
    CHECK(surface["baseColorFactor"] == Json({1, 1, 1, 1}));
    CHECK(surface["metallicFactor"] == 1);
    CHECK(surface["roughnessFactor"] == 1);
    CHECK(json["emissiveFactor"] == Json({0, 0, 0}));
    CHECK(json["doubleSided"] == false);
    for (const char* const absent : {"alphaMode", "alphaCutoff", "normalTexture", "extensions"})
        CHECK_FALSE(json.contains(absent));
    CHECK(file.Count("textures") == 0);
    CHECK(file.log == nothing);
}

TEST_CASE("An alpha cutoff is written for a masked material only")
{
    const auto modes = {GltfPbrMaterial::AlphaMode::Opaque, GltfPbrMaterial::AlphaMode::Mask,
                        GltfPbrMaterial::AlphaMode::Blend};
    std::vector<Mesh> meshes;
    for (const GltfPbrMaterial::AlphaMode mode : modes)
        meshes.push_back(QuadOf(Pbr(
            [&](GltfPbrMaterial& m)
            {
                m.SetAlphaMode(mode);
                m.SetAlphaCutoff(3); // nothing is seen
            })));
    const std::vector<GlbContent> files = WriteAll(meshes);
    CHECK_FALSE(MaterialOf(files[0]).contains("alphaMode"));
    CHECK_FALSE(MaterialOf(files[0]).contains("alphaCutoff"));
    CHECK(MaterialOf(files[1])["alphaMode"] == "MASK");
    CHECK(MaterialOf(files[1])["alphaCutoff"] == 3);
    CHECK(MaterialOf(files[2])["alphaMode"] == "BLEND");
    CHECK_FALSE(MaterialOf(files[2]).contains("alphaCutoff"));
}

TEST_CASE("An emission above 1 needs an extension")
{
    const GlbContent file = Write(QuadOf(Pbr([](GltfPbrMaterial& m) { m.SetEmissiveFactor({0.5f, 8.0f, 2.0f}); })));
    const Json& json = MaterialOf(file);
    CHECK(json["emissiveFactor"] == Json({0.0625f, 1.0f, 0.25f}));
    CHECK(json["extensions"] == Json::parse(R"({"KHR_materials_emissive_strength": {"emissiveStrength": 8.0}})"));
    CHECK(file.json["extensionsUsed"] == Json({"KHR_materials_emissive_strength"}));
    CHECK_FALSE(file.json.contains("extensionsRequired"));
    CHECK(file.log == nothing);
}

TEST_CASE("An unlit material is written with the extension for it")
{
    const Texture holes = MakeTexture({2, 2}, {{}, {}, {}, {0, 0, 0, 254}});
    const std::vector<GlbContent> files = WriteAll(
        std::vector{QuadOf(UnlitOf({0.25f, 0.5f, 0.75f, 1.0f})), QuadOf(UnlitOf(white, Pixel({10, 20, 30, 255}))),
                    QuadOf(UnlitOf({1.0f, 1.0f, 1.0f, 0.5f})), QuadOf(UnlitOf(white, holes))});
    for (const GlbContent& file : files)
    {
        CHECK(MaterialOf(file)["extensions"] == Json::parse(R"({"KHR_materials_unlit": {}})"));
        CHECK(file.json["extensionsUsed"] == Json({"KHR_materials_unlit"}));
        CHECK_FALSE(file.json.contains("extensionsRequired"));
        CHECK(file.log == nothing);
    }
    CHECK_FALSE(MaterialOf(files[0])["pbrMetallicRoughness"].contains("baseColorTexture"));
    CHECK(PixelOf(files[1], MaterialOf(files[1])["pbrMetallicRoughness"]["baseColorTexture"]) ==
          Rgba8{10, 20, 30, 255});
    CHECK_FALSE(MaterialOf(files[0]).contains("alphaMode"));
    CHECK_FALSE(MaterialOf(files[1]).contains("alphaMode"));
    CHECK(MaterialOf(files[2])["alphaMode"] == "BLEND");
    CHECK(MaterialOf(files[3])["alphaMode"] == "BLEND");
}

TEST_CASE("An unlit color becomes the linear one that readers show as it was, alpha and texture stay as they are")
{
    // On both sides of the end of the curve's straight part, which is 0.04045.
    const glm::vec4 colors[] = {{0.0f, 0.04f, 0.041f, 1.0f}, {0.25f, 0.5f, 0.75f, 0.5f}, {0.999f, 1.0f, 1e-6f, 0.0f}};
    std::vector<Mesh> meshes;
    for (const glm::vec4& color : colors)
        meshes.push_back(QuadOf(UnlitOf(color, Pixel({10, 128, 255, 255}))));
    const std::vector<GlbContent> files = WriteAll(meshes);
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        const Json& surface = MaterialOf(files[i])["pbrMetallicRoughness"];
        INFO(surface);
        const Json& factor = surface["baseColorFactor"];
        REQUIRE(factor.size() == 4);
        for (int c = 0; c < 3; ++c)
            CHECK(factor[std::size_t(c)] == float(DecodeSrgb(double(colors[i][c]))));
        CHECK(factor[3] == colors[i].a);
        CHECK(PixelOf(files[i], surface["baseColorTexture"]) == Rgba8{10, 128, 255, 255});
        CHECK(files[i].log == nothing);
    }
    CHECK(MaterialOf(Write(QuadOf(UnlitOf(white))))["pbrMetallicRoughness"]["baseColorFactor"] == Json({1, 1, 1, 1}));
}

TEST_CASE("Vertex colors stay linear, and an unlit material blends where they are transparent")
{
    const auto colored = [](float alpha)
    {
        return With(Quad(), Attributes::Color0,
                    std::vector<glm::vec4>{{0.5f, 0.5f, 0.5f, 1}, {0, 0, 0, 1}, {1, 1, 1, 1}, {1, 0, 0, alpha}});
    };
    const auto unlit = UnlitOf(white);
    const auto transparent = UnlitOf({1, 1, 1, 0.5f});
    const auto pbr = std::make_shared<GltfPbrMaterial>();
    Model model = ModelOf({NodeOf({colored(1).SetMaterial(unlit), colored(0.5f).SetMaterial(unlit), QuadOf(unlit),
                                   colored(0.5f).SetMaterial(transparent), QuadOf(transparent),
                                   colored(0.5f).SetMaterial(pbr), colored(0.75f).SetMaterial(unlit)})});
    const GlbContent file = Write(model);
    CHECK(file.Values("COLOR_0", 0, 1) == Floats{0.5f, 0.5f, 0.5f, 1, 0, 0, 0, 1, 1, 1, 1, 1, 1, 0, 0, 0.5f});
    const std::size_t places[] = {0, 1, 0, 2, 2, 3, 1};
    for (std::size_t i = 0; i < std::size(places); ++i)
        CHECK(file.Primitive(0, i)["material"] == places[i]);
    REQUIRE(file.Count("materials") == 4);
    Json blended = file.json["materials"][0];
    blended["alphaMode"] = "BLEND";
    CHECK_FALSE(file.json["materials"][0].contains("alphaMode"));
    CHECK(file.json["materials"][1] == blended);
    CHECK(file.json["materials"][2]["alphaMode"] == "BLEND");
    CHECK_FALSE(file.json["materials"][3].contains("alphaMode"));
    CHECK(file.log == nothing);
}

TEST_CASE("A picture keeps its size and its pixels")
{
    const std::vector<Rgba8> pixels = {{255, 0, 0, 255}, {0, 255, 0, 128},     {0, 0, 255, 0},
                                       {1, 2, 3, 4},     {250, 251, 252, 253}, {0, 0, 0, 255}};
    for (const bool srgb : {false, true}) // the bytes are the same
    {
        const Texture texture = Texture::FromImage(MakeImage({3, 2}, pixels), srgb);
        const GlbContent file = Write(QuadOf(Pbr([&](GltfPbrMaterial& m) { m.SetBaseColorTexture(texture); })));
        const Image image = file.GetImage(0);
        REQUIRE(image.GetWidth() == 3);
        REQUIRE(image.GetHeight() == 2);
        for (int i = 0; i < 6; ++i)
            CHECK(At(image, i % 3, i / 3) == pixels[std::size_t(i)]);
    }
}

TEST_CASE("What materials and meshes share is written once")
{
    const Texture shared = Pixel({1, 2, 3, 255});
    const auto first = Pbr(
        [&](GltfPbrMaterial& m)
        {
            m.SetBaseColorTexture(shared);
            m.SetEmissiveTexture(shared);
        });
    const auto second = std::make_shared<UnlitMaterial>();
    second->SetBaseColorTexture(shared);
    const GlbContent file = Write(ModelOf({NodeOf({QuadOf(first), QuadOf(second)}), NodeOf({QuadOf(first)})}));
    REQUIRE(file.Count("materials") == 2);
    CHECK(file.Count("textures") == 1);
    CHECK(file.Count("images") == 1);
    CHECK(file.json["materials"][0]["pbrMetallicRoughness"]["baseColorTexture"]["index"] == 0);
    CHECK(file.json["materials"][0]["emissiveTexture"]["index"] == 0);
    CHECK(file.json["materials"][1]["pbrMetallicRoughness"]["baseColorTexture"]["index"] == 0);
    CHECK(file.Primitive(0, 0)["material"] == 0);
    CHECK(file.Primitive(0, 1)["material"] == 1);
    CHECK(file.Primitive(1, 0)["material"] == 0);
    CHECK(file.log == nothing);
}

TEST_CASE("A value that glTF does not allow is left out, with one warning that names it")
{
    struct Case
    {
        std::shared_ptr<Material> material;
        const char* absent; // a JSON pointer
        std::string warning;
    };
    const auto unlit = UnlitOf({0, 0, 1.5f, 1});
    const Texture texture = Pixel({});
    const char* const color = "/pbrMetallicRoughness/baseColorFactor";
    const std::vector<Case> cases = {
        {unlit, color, "base color is left out: 0.0, 0.0, 1.5, 1.0 lies outside 0 to 1."},
        {Pbr(
             [](GltfPbrMaterial& m) {
                 m.SetBaseColorFactor({0, -1, 0, 1});
             }),
         color, "base color is left out: 0.0, -1.0, 0.0, 1.0 lies outside 0 to 1."},
        {Pbr(
             [](GltfPbrMaterial& m) {
                 m.SetBaseColorFactor({0, 0, 0, notANumber});
             }),
         color, "base color is left out: 0.0, 0.0, 0.0, nan lies outside 0 to 1."},
        {Pbr([](GltfPbrMaterial& m) { m.SetMetallicFactor(2); }), "/pbrMetallicRoughness/metallicFactor",
         "metallic value is left out: 2.0 lies outside 0 to 1."},
        {Pbr([](GltfPbrMaterial& m) { m.SetRoughnessFactor(-0.25f); }), "/pbrMetallicRoughness/roughnessFactor",
         "roughness is left out: -0.25 lies outside 0 to 1."},
        {Pbr(
             [](GltfPbrMaterial& m) {
                 m.SetEmissiveFactor({3, -1, 0});
             }),
         "/emissiveFactor", "emission is left out: 3.0, -1.0, 0.0 has a part that is negative or not finite."},
        {Pbr(
             [](GltfPbrMaterial& m) {
                 m.SetEmissiveFactor({0, infinite, 0});
             }),
         "/emissiveFactor", "emission is left out: 0.0, inf, 0.0 has a part that is negative or not finite."},
        {Pbr(
             [&](GltfPbrMaterial& m)
             {
                 m.SetNormalTexture(texture);
                 m.SetNormalScale(infinite);
             }),
         "/normalTexture/scale", "normal scale is left out: it is not finite."},
        {Pbr(
             [&](GltfPbrMaterial& m)
             {
                 m.SetOcclusionTexture(texture);
                 m.SetOcclusionStrength(1.25f);
             }),
         "/occlusionTexture/strength", "occlusion strength is left out: 1.25 lies outside 0 to 1."},
        {Pbr(
             [](GltfPbrMaterial& m)
             {
                 m.SetAlphaMode(GltfPbrMaterial::AlphaMode::Mask);
                 m.SetAlphaCutoff(-0.5f);
             }),
         "/alphaCutoff", "alpha cutoff is left out: -0.5 is negative or not finite."},
    };
    std::vector<Mesh> meshes;
    meshes.reserve(cases.size());
    for (const Case& c : cases)
        meshes.push_back(QuadOf(c.material));
    const std::vector<GlbContent> files = WriteAll(meshes);
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        CHECK(files[i].log == Lines{"warning: In the .glb a material's " + cases[i].warning});
        CHECK_FALSE(MaterialOf(files[i]).contains(Json::json_pointer(cases[i].absent)));
        CHECK_FALSE(MaterialOf(files[i]).dump().find("emissive_strength") != std::string::npos);
    }
}

TEST_CASE("Values of textures that a material does not have don't matter")
{
    const GlbContent file = Write(QuadOf(Pbr(
        [](GltfPbrMaterial& m)
        {
            m.SetNormalScale(notANumber);
            m.SetOcclusionStrength(7);
            m.SetAlphaCutoff(-1);
        })));
    CHECK(file.log == nothing);
}

TEST_CASE("A texture that can't become a picture is left out")
{
    const Texture numbers = Texture::Create({2, 2}, wgpu::TextureFormat::R32Uint);
    REQUIRE(numbers);
    const GlbContent file = Write(QuadOf(Pbr(
        [&](GltfPbrMaterial& m)
        {
            m.SetBaseColorTexture(numbers);
            m.SetNormalTexture(numbers);
            m.SetNormalScale(2);
            m.SetEmissiveTexture(Pixel({1, 2, 3, 255}));
        })));
    const Json& json = MaterialOf(file);
    CHECK_FALSE(json["pbrMetallicRoughness"].contains("baseColorTexture"));
    CHECK_FALSE(json.contains("normalTexture"));
    CHECK(PixelOf(file, json["emissiveTexture"]) == Rgba8{1, 2, 3, 255});
    CHECK(file.Count("images") == 1);
    CHECK(file.log == Lines{"warning: In the .glb a texture is left out: its format R32Uint or its size can't become a "
                            "PNG file."});
}

TEST_CASE("A textured mesh without texture coordinates gets some that are 0")
{
    const auto material = Pbr([](GltfPbrMaterial& m) { m.SetBaseColorTexture(Pixel({1, 2, 3, 255})); });
    const GlbContent file = Write(BareQuad().SetMaterial(material));
    CHECK(file.Accessor("TEXCOORD_0") ==
          Json({{"componentType", 5126}, {"count", 4}, {"type", "VEC2"}})); // without a view all is 0
    CHECK(file.log ==
          Lines{"warning: In the .glb a mesh without texture coordinates gets some that are 0: its material "
                "has textures."});
    CHECK_FALSE(Write(BareQuad().SetMaterial(std::make_shared<GltfPbrMaterial>())).Has("TEXCOORD_0"));
}

TEST_CASE("A material of a kind that glTF doesn't know becomes a default one")
{
    const GlbContent file = Write(QuadOf(std::make_shared<Other>()));
    CHECK(MaterialOf(file) == Json::object());
    CHECK(file.log == Lines{"warning: In the .glb a material is left out: it is neither PBR nor unlit."});
}
