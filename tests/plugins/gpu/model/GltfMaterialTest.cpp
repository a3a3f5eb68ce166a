#include "model/GltfMaker.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using AlphaMode = GltfPbrMaterial::AlphaMode;

constexpr Rgba8 red{200, 10, 20, 255};
constexpr Rgba8 blue{10, 20, 200, 128};

const GltfPbrMaterial& MaterialOf(const Model& model, std::size_t index)
{
    return dynamic_cast<const GltfPbrMaterial&>(*model.GetMaterials().at(index));
}

// A file with one image for each element and a texture for each image; loaded from a folder with these files.
Model LoadImages(const TemporaryFolder& folder, GltfMaker maker, const std::vector<Json>& images)
{
    for (const Json& image : images)
    {
        maker.Add("images", image);
        maker.Add("textures", {{"source", maker.json["images"].size() - 1}});
    }
    maker.json["scenes"] = {Json::object()};
    WriteBytes(folder / "model.glb", maker.ToBinary());
    return LoadModel(folder / "model.glb");
}

std::string DataUri(const std::string& mediaType, const std::string& bytes)
{
    return "data:" + mediaType + ";base64," + EncodeBase64(bytes);
}

// "2x1 1x1 -": sizes, "-" for a slot without a texture.
std::string DescribeTextures(const Model& model)
{
    std::string text;
    for (const Texture& texture : model.GetTextures())
    {
        text += text.empty() ? "" : " ";
        text += texture ? std::to_string(texture.GetWidth()) + "x" + std::to_string(texture.GetHeight()) : "-";
    }
    return text;
}

Model LoadMaterials(const std::vector<Json>& materials)
{
    GltfMaker maker;
    maker.json["images"] = {{{"uri", DataUri("image/png", MakePng({2, 1}, red))}}};
    maker.json["textures"] = {{{"source", 0}}};
    maker.json["materials"] = materials;
    maker.json["scenes"] = {Json::object()};
    return LoadBytes(maker.ToBinary());
}

} // namespace

TEST_CASE("A material without anything has glTF's defaults")
{
    const Model model = LoadMaterials({Json::object()});
    REQUIRE(model.GetMaterials().size() == 1);
    const GltfPbrMaterial& material = MaterialOf(model, 0);
    CHECK(material.GetBaseColorFactor() == glm::vec4(1.0f));
    CHECK(material.GetMetallicFactor() == 1.0f);
    CHECK(material.GetRoughnessFactor() == 1.0f);
    CHECK(material.GetNormalScale() == 1.0f);
    CHECK(material.GetOcclusionStrength() == 1.0f);
    CHECK(material.GetEmissiveFactor() == glm::vec3(0.0f));
    CHECK(material.GetAlphaMode() == AlphaMode::Opaque);
    CHECK(material.GetAlphaCutoff() == 0.5f);
    CHECK_FALSE(material.IsDoubleSided());
    for (const Texture& texture :
         {material.GetBaseColorTexture(), material.GetMetallicRoughnessTexture(), material.GetNormalTexture(),
          material.GetOcclusionTexture(), material.GetEmissiveTexture()})
        CHECK_FALSE(texture);
}

TEST_CASE("A material's factors and textures are read")
{
    const Model model = LoadMaterials({{{"pbrMetallicRoughness",
                                         {{"baseColorFactor", {0.1, 0.2, 0.3, 0.4}},
                                          {"baseColorTexture", {{"index", 0}}},
                                          {"metallicFactor", 0.25},
                                          {"roughnessFactor", 0.75},
                                          {"metallicRoughnessTexture", {{"index", 0}}}}},
                                        {"normalTexture", {{"index", 0}, {"scale", 0.5}}},
                                        {"occlusionTexture", {{"index", 0}, {"strength", 0.625}}},
                                        {"emissiveTexture", {{"index", 0}, {"texCoord", 1}}},
                                        {"emissiveFactor", {0.5, 0.6, 0.7}},
                                        {"doubleSided", true}}});
    const GltfPbrMaterial& material = MaterialOf(model, 0);
    CHECK(material.GetBaseColorFactor() == glm::vec4(0.1f, 0.2f, 0.3f, 0.4f));
    CHECK(material.GetMetallicFactor() == 0.25f);
    CHECK(material.GetRoughnessFactor() == 0.75f);
    CHECK(material.GetNormalScale() == 0.5f);
    CHECK(material.GetOcclusionStrength() == 0.625f);
    CHECK(material.GetEmissiveFactor() == glm::vec3(0.5f, 0.6f, 0.7f));
    CHECK(material.IsDoubleSided());
    const Texture texture = model.GetTextures().at(0);
    REQUIRE(texture);
    CHECK(At(ReadBack(texture), 1, 0) == red);
    CHECK(material.GetBaseColorTexture() == texture);
    CHECK(material.GetMetallicRoughnessTexture() == texture);
    CHECK(material.GetNormalTexture() == texture);
    CHECK(material.GetOcclusionTexture() == texture);
    CHECK(material.GetEmissiveTexture() == texture);
}

TEST_CASE("Without its texture a material's normal scale and occlusion strength stay at their defaults")
{
    const Model model = LoadMaterials({{{"normalTexture", {{"scale", 0.5}}}, {"occlusionTexture", {{"strength", 0.5}}}},
                                       {{"normalTexture", {{"index", 1}, {"scale", 0.5}}},
                                        {"occlusionTexture", {{"index", -1}, {"strength", 0.5}}}}});
    REQUIRE(model.GetMaterials().size() == 2);
    for (const std::size_t index : {0, 1})
    {
        CHECK(MaterialOf(model, index).GetNormalScale() == 1.0f);
        CHECK(MaterialOf(model, index).GetOcclusionStrength() == 1.0f);
        CHECK_FALSE(MaterialOf(model, index).GetNormalTexture());
    }
}

TEST_CASE("Alpha modes: only a mask takes its cutoff")
{
    const Model model = LoadMaterials({{{"alphaMode", "OPAQUE"}, {"alphaCutoff", 0.25}},
                                       {{"alphaMode", "MASK"}, {"alphaCutoff", 0.25}},
                                       {{"alphaMode", "BLEND"}, {"alphaCutoff", 0.25}},
                                       {{"alphaMode", "mask"}, {"alphaCutoff", 0.25}},
                                       {{"alphaMode", "MASK"}}});
    const std::pair<AlphaMode, float> expected[] = {{AlphaMode::Opaque, 0.5f},
                                                    {AlphaMode::Mask, 0.25f},
                                                    {AlphaMode::Blend, 0.5f},
                                                    {AlphaMode::Opaque, 0.5f},
                                                    {AlphaMode::Mask, 0.5f}};
    REQUIRE(model.GetMaterials().size() == std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i)
    {
        INFO(i);
        CHECK(MaterialOf(model, i).GetAlphaMode() == expected[i].first);
        CHECK(MaterialOf(model, i).GetAlphaCutoff() == expected[i].second);
    }
}

TEST_CASE("A mesh has the material that its primitive names, and none that the file lacks")
{
    GltfMaker maker = MakeTriangle();
    maker.json["materials"] = {Json::object(), {{"doubleSided", true}}};
    Json& primitives = maker.json["meshes"][0]["primitives"];
    primitives = {primitives[0], primitives[0], primitives[0], primitives[0]};
    primitives[0]["material"] = 1;
    primitives[1]["material"] = 2;
    primitives[2]["material"] = -1;
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(model.GetRootNode());
    const std::vector<MeshInstance>& shown = model.GetRootNode()->GetMeshInstances();
    REQUIRE(shown.size() == 4);
    REQUIRE(model.GetMaterials().size() == 2);
    CHECK(shown[0].GetMesh().GetMaterial() == model.GetMaterials()[1]);
    CHECK(shown[1].GetMesh().GetMaterial() == nullptr);
    CHECK(shown[2].GetMesh().GetMaterial() == nullptr);
    CHECK(shown[3].GetMesh().GetMaterial() == nullptr);
}

TEST_CASE("Images are read from buffer views, from files beside the model and from data URIs")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "beside.png", MakePng({3, 2}, red));
    WriteBytes(folder / "two words.png", MakePng({4, 1}, red));
    WriteBytes(folder / "coded%20name.png", MakePng({5, 1}, blue));
    GltfMaker maker;
    maker.AddView("something before");
    const int view = maker.AddView(MakePng({1, 2}, blue));
    const LogRecorder heard;
    const Model model = LoadImages(folder, maker,
                                   {{{"bufferView", view}, {"mimeType", "image/png"}},
                                    {{"uri", "beside.png"}},
                                    {{"uri", "two words.png"}},
                                    {{"uri", "coded%20name.png"}},
                                    {{"uri", DataUri("image/png", MakePng({6, 1}, blue))}},
                                    {{"uri", DataUri("", MakePng({7, 1}, blue))}},
                                    {{"uri", DataUri("image/png;charset=utf-8", MakePng({8, 1}, blue))}}});
    CHECK(DescribeTextures(model) == "1x2 3x2 4x1 5x1 6x1 7x1 8x1");
    CHECK(At(ReadBack(model.GetTextures()[0]), 0, 1) == blue);
    CHECK(At(ReadBack(model.GetTextures()[1]), 2, 1) == red);
    CHECK(At(ReadBack(model.GetTextures()[4]), 5, 0) == blue);
    CHECK(heard.lines.empty());
}

TEST_CASE("An image that can't be loaded leaves its place empty without a message")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "two words.png", MakePng({4, 1}, red));
    WriteBytes(folder / "note.png", "this is no picture");
    WriteBytes(folder / "empty.png", "");
    GltfMaker maker;
    const int view = maker.AddView("this is no picture");
    const LogRecorder heard;
    const Model model = LoadImages(folder, maker,
                                   {{{"uri", "missing.png"}},
                                    {{"uri", "two%20words.png"}},
                                    {{"uri", "note.png"}},
                                    {{"uri", "empty.png"}},
                                    {{"uri", "."}},
                                    {{"uri", ""}},
                                    {{"uri", DataUri("image/png", "this is no picture")}},
                                    {{"bufferView", view}},
                                    {{"uri", "two words.png"}}});
    CHECK(DescribeTextures(model) == "- - - - - - - - 4x1");
    CHECK(heard.lines.empty());
}

TEST_CASE("An image that a model must not name leaves its place empty with a warning")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "beside.png", MakePng({3, 2}, red));
    GltfMaker maker;
    const LogRecorder heard;
    const Model model = LoadImages(folder, maker,
                                   {{{"uri", folder / "beside.png"}},
                                    {{"uri", "../../beside.png"}},
                                    {{"uri", "file:beside.png"}},
                                    {{"uri", "data:image/png,notbase64"}},
                                    {{"uri", "data:image/png;base64,not base 64!"}},
                                    {{"uri", folder / "beside.png"}},
                                    {{"uri", "beside.png"}}});
    CHECK(DescribeTextures(model) == "- - - - - - 3x2");
    REQUIRE(heard.lines.size() == 4); // the same name is said once, and the last data URI is no name
    for (const std::string& line : heard.lines)
    {
        INFO(line);
        CHECK(line.starts_with("warning: The model \""));
        CHECK(line.find(" is left out. ") != line.npos);
    }
}

TEST_CASE("Slashes of a data URI may be escaped, as some writers do")
{
    GltfMaker maker;
    maker.json["images"] = {{{"uri", "URI"}}};
    maker.json["textures"] = {{{"source", 0}}};
    maker.json["scenes"] = {Json::object()};
    const std::vector<std::uint8_t> white =
        MakeImage({9, 1}, std::vector<Rgba8>(9, {255, 255, 255, 255})).Encode(ImageFormat::Tga);
    std::string uri = DataUri("image/tga", {white.begin(), white.end()}); // white is slashes in base64
    REQUIRE(uri.ends_with("////"));
    for (std::size_t slash = uri.find('/'); slash != uri.npos; slash = uri.find('/', slash + 2))
        uri.insert(slash, 1, '\\');
    std::string text = maker.json.dump();
    text.replace(text.find("URI"), 3, uri);
    CHECK(DescribeTextures(LoadBytes(text, "model.gltf")) == "9x1");
}

TEST_CASE("Textures show their images, one without an image, or with one that the file lacks, is empty")
{
    GltfMaker maker;
    maker.json["images"] = {{{"uri", DataUri("image/png", MakePng({2, 1}, red))}},
                            {{"uri", DataUri("image/png", MakePng({1, 2}, red))}}};
    maker.json["textures"] = {{{"source", 1}},          {{"source", 0}},  {{"sampler", 0}}, {{"source", 2}},
                              {{"source", 2000000000}}, {{"source", -7}}, {{"source", 1}}};
    maker.json["materials"] = {{{"normalTexture", {{"index", 2}, {"scale", 0.5}}}}};
    maker.json["scenes"] = {Json::object()};
    const Model model = LoadBytes(maker.ToBinary());
    CHECK(DescribeTextures(model) == "1x2 2x1 - - - - 1x2");
    CHECK(model.GetTextures()[0] == model.GetTextures()[6]);
    // The texture is there, though it shows nothing.
    CHECK(MaterialOf(model, 0).GetNormalScale() == 0.5f);
}

TEST_CASE("Images that are the same in the file are one texture")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "beside.png", MakePng({3, 2}, red));
    GltfMaker maker;
    const int view = maker.AddView(MakePng({1, 2}, blue));
    const Model model =
        LoadImages(folder, maker,
                   {{{"uri", "beside.png"}}, {{"bufferView", view}}, {{"uri", "beside.png"}}, {{"bufferView", view}}});
    REQUIRE(DescribeTextures(model) == "3x2 1x2 3x2 1x2");
    CHECK(model.GetTextures()[0] == model.GetTextures()[2]);
    CHECK(model.GetTextures()[1] == model.GetTextures()[3]);
}
