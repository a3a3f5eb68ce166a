#include "Varkle/Gpu/Glb.h"
#include "mesh/Cube.h"
#include "mesh/Sphere.h"
#include "model/GltfMaker.h"
#include "support/Catch.h"
#include "support/GltfValidator.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"

#include <algorithm>
#include <glm/gtc/matrix_transform.hpp>

// What is written as .glb and loaded again is what it was.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using Lines = std::vector<std::string>;

const Lines nothing; // is logged when all is well

// Returns what was logged.
template<class T>
Lines WriteAndValidate(const T& thing, const std::string& path)
{
    const LogRecorder recorder;
    const Result<std::vector<std::uint8_t>> bytes = EncodeGlb(thing);
    REQUIRE(bytes);
    WriteBytes(path, {reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    CHECK(ValidateGltf({path}) == nothing);
    return recorder.lines;
}

// Writes a mesh or a model, loads it again, and checks that neither has anything to say about it.
template<class T>
Model RoundTrip(const T& thing)
{
    const TemporaryFolder folder;
    const std::string path = folder / "model.glb";
    CHECK(WriteAndValidate(thing, path) == nothing);
    const LogRecorder recorder;
    Model model = LoadModel(path);
    CHECK(recorder.lines == nothing);
    return model;
}

Json ToJson(const glm::mat4& matrix)
{
    Json numbers;
    for (int i = 0; i < 16; ++i)
        numbers.push_back(matrix[i / 4][i % 4]);
    return numbers;
}

Json PixelsOf(const Texture& texture)
{
    const Image image = ReadBack(texture);
    const std::size_t size = 4 * std::size_t(image.GetWidth()) * std::size_t(image.GetHeight());
    return {image.GetWidth(), image.GetHeight(),
            std::vector<std::uint8_t>(image.GetPixels(), image.GetPixels() + size)};
}

// Tells everything about a model. Its textures and materials appear as their places in its lists, -1 when they are not
// there.
class Teller
{
public:
    explicit Teller(const Model& toldModel) : model(toldModel) {}

    Json Tell() const
    {
        Json json = {{"textures", Json::array()}, {"materials", Json::array()}};
        for (const Texture& texture : model.GetTextures())
            json["textures"].push_back(PixelsOf(texture));
        for (const std::shared_ptr<Material>& material : model.GetMaterials())
            json["materials"].push_back(Tell(dynamic_cast<const GltfPbrMaterial&>(*material)));
        if (model.GetRootNode())
            json["root"] = Tell(*model.GetRootNode());
        return json;
    }

    // Recursive: for trees of a few levels.
    Json Tell(const ModelNode& node) const
    {
        Json json = {
            {"transform", ToJson(node.GetTransform())}, {"meshes", Json::array()}, {"children", Json::array()}};
        for (const MeshInstance& instance : node.GetMeshInstances())
            json["meshes"].push_back(Tell(instance.GetMesh()));
        for (const std::shared_ptr<const ModelNode>& child : node.GetChildren())
            json["children"].push_back(Tell(*child));
        return json;
    }

    Json Tell(const Mesh& mesh) const
    {
        Json json = {{"attributes", Json::array()}};
        for (const Attribute& attribute : mesh.GetAttributes())
            json["attributes"].push_back({attribute.GetName(), GetVertexFormatName(attribute.GetFormat()),
                                          attribute.GetVertexCount(), ReadFloats(mesh, attribute.GetName())});
        if (const Connectivity* const connectivity = mesh.GetConnectivity())
            json["connectivity"] = {GetTopologyName(connectivity->GetTopology()),
                                    connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint32, ReadIndices(mesh)};
        if (mesh.GetMaterial())
            json["material"] = Find(model.GetMaterials(), mesh.GetMaterial());
        return json;
    }

private:
    Json Tell(const GltfPbrMaterial& material) const
    {
        const glm::vec4& color = material.GetBaseColorFactor();
        const glm::vec3& emission = material.GetEmissiveFactor();
        Json textures;
        for (const Texture& texture :
             {material.GetBaseColorTexture(), material.GetMetallicRoughnessTexture(), material.GetNormalTexture(),
              material.GetOcclusionTexture(), material.GetEmissiveTexture()})
            textures.push_back(texture ? Find(model.GetTextures(), texture) : Json("none"));
        return {{"color", {color.r, color.g, color.b, color.a}},
                {"metallic and roughness", {material.GetMetallicFactor(), material.GetRoughnessFactor()}},
                {"normal scale", material.GetNormalScale()},
                {"occlusion strength", material.GetOcclusionStrength()},
                {"emission", {emission.r, emission.g, emission.b}},
                {"alpha", {int(material.GetAlphaMode()), material.GetAlphaCutoff()}},
                {"double-sided", material.IsDoubleSided()},
                {"textures", textures}};
    }

    template<class T>
    static Json Find(const std::vector<T>& list, const T& element)
    {
        const auto found = std::ranges::find(list, element);
        return found == list.end() ? -1 : int(found - list.begin());
    }

    const Model& model;
};

// The differences of two models, as a JSON patch.
Json Differences(const Model& before, const Model& after)
{
    return Json::diff(Teller(before).Tell(), Teller(after).Tell());
}

void AddImages(GltfMaker& maker)
{
    for (const Rgba8 color : {Rgba8{200, 100, 50, 255}, Rgba8{1, 2, 3, 4}})
        maker.Add("images", {{"bufferView", maker.AddView(MakePng({3, 2}, color))}, {"mimeType", "image/png"}});
    for (const int source : {1, 0, 1}) // the last one is not used
        maker.Add("textures", {{"source", source}});
}

void AddMaterials(GltfMaker& maker)
{
    maker.json["materials"] = Json::parse(R"([
        {},
        {
            "pbrMetallicRoughness": {
                "baseColorFactor": [0.1, 0.2, 0.3, 0.4], "metallicFactor": 0.7, "roughnessFactor": 0.6,
                "baseColorTexture": {"index": 0}, "metallicRoughnessTexture": {"index": 1}
            },
            "normalTexture": {"index": 0, "scale": 0.5},
            "occlusionTexture": {"index": 1, "strength": 0.25},
            "emissiveTexture": {"index": 0},
            "emissiveFactor": [0.9, 0.8, 0.7],
            "alphaMode": "MASK", "alphaCutoff": 0.3,
            "doubleSided": true
        },
        {"alphaMode": "BLEND", "emissiveFactor": [0, 1, 0]}
    ])");
}

void AddMeshes(GltfMaker& maker)
{
    const int positions = maker.AddFloats({0, 0, 0, 1, 0, 0, 0, 1, 0, 0.1f, 0.2f, 0.3f}, 3);
    const int indices = maker.AddIndices<std::uint16_t>({0, 1, 2, 2, 1, 3});
    const Json attributes = {
        {"POSITION", positions},
        {"NORMAL", maker.AddFloats({0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0.6f, 0.8f}, 3)},
        {"TANGENT", maker.AddFloats({1, 0, 0, 1, 0, 0, 1, -1, 0, 1, 0, 1, 1, 0, 0, -1}, 4)},
        {"TEXCOORD_0", maker.AddFloats({0, 0, 1, 0, 0, 1, -3.5f, 1e-3f}, 2)},
        {"TEXCOORD_1", maker.AddFloats({5, 6, 7, 8, 9, 10, 11, 12}, 2)},
        {"COLOR_0", maker.AddFloats({1, 0, 0, 1, 0, 1, 0, 0.5f, 0, 0, 1, 0, 0.1f, 0.2f, 0.3f, 0.4f}, 4)},
    };
    const Json full = {{"attributes", attributes}, {"indices", indices}, {"material", 1}};
    const Json plain = {{"attributes", {{"POSITION", maker.AddFloats(trianglePositions, 3)}}}};
    const Json blended = {{"attributes", {{"POSITION", positions}}}, {"indices", indices}, {"material", 2}};
    maker.Add("meshes", {{"primitives", {full, plain}}});
    maker.Add("meshes", {{"primitives", {blended}}});
}

void AddNodes(GltfMaker& maker)
{
    maker.json["nodes"] = Json::parse(R"([
        {"children": [1, 2], "mesh": 0,
         "translation": [1, 2, 3], "rotation": [0.1, 0.7, 0.1, 0.7], "scale": [2, 0.5, -3]},
        {"matrix": [0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 1e6, 1e-6, 0.3, 1], "mesh": 1},
        {"children": [3], "rotation": [0, 0, 0.6, 0.8]},
        {"mesh": 0},
        {"mesh": 1, "scale": [3, 3, 3]}
    ])");
    maker.ShowNodes({0, 4});
}

template<class Op>
Mesh MeshOf()
{
    OperatorRunner<Op> runner;
    runner.Execute();
    return static_cast<MeshOutput*>(runner.Get().GetOutputs()[0])->GetMeshData().GetMesh();
}

// The mesh that a file of a mesh holds.
Json OnlyMeshOf(const Model& model)
{
    return Teller(model).Tell(OnlyMesh(model));
}

} // namespace

TEST_CASE("A model that is loaded, written and loaded again is the same")
{
    GltfMaker maker;
    AddImages(maker);
    AddMaterials(maker);
    AddMeshes(maker);
    AddNodes(maker);
    const Model first = LoadBytes(maker.ToBinary());
    REQUIRE(Describe(first) == "{(Position:4 Normal:4 Tangent:4 TexCoord0:4 TexCoord1:4 Color0:4 indices:6 material)"
                               "(Position:3){(Position:4 indices:6 material) "
                               "{(Position:4 Normal:4 Tangent:4 TexCoord0:4 TexCoord1:4 Color0:4 indices:6 material)"
                               "(Position:3)}} (Position:4 indices:6 material)}");
    REQUIRE(first.GetMaterials().size() == 3);
    REQUIRE(first.GetTextures().size() == 3);

    const Model second = RoundTrip(first);
    CHECK(Differences(first, second) == Json::array());
    const Model third = RoundTrip(second);
    CHECK(Differences(first, third) == Json::array());
}

TEST_CASE("An empty model stays empty")
{
    CHECK(Differences(Model(), RoundTrip(Model())) == Json::array());
}

TEST_CASE("A mesh that an operator makes is the same when it was written and loaded")
{
    for (const Mesh& mesh : {MeshOf<Cube>(), MeshOf<Sphere>()})
    {
        REQUIRE(mesh.GetAttributes().size() == 4);
        const Json expected = Teller(Model()).Tell(mesh);
        CHECK(Json::diff(expected, OnlyMeshOf(RoundTrip(mesh))) == Json::array());
    }
}

TEST_CASE("A sheared node comes back as two whose product is its matrix")
{
    glm::mat4 matrix = glm::scale(glm::translate(glm::mat4(1.0f), {1, 2, 3}), {1, 5, 0.25f});
    matrix = glm::rotate(matrix, 1.0f, glm::vec3(1, 2, 3));
    ModelNode node;
    node.SetTransform(matrix);
    node.AddMeshInstance(MeshInstance(MeshOf<Cube>()));
    node.AddChild(ModelNode());
    Model model;
    model.SetRootNode(node);

    const TemporaryFolder folder;
    CHECK(WriteAndValidate(model, folder / "model.glb") ==
          Lines{"warning: In the .glb a node becomes two: its matrix is sheared."});
    const Model loaded = LoadModel(folder / "model.glb");
    const ModelNode& outer = *loaded.GetRootNode();
    REQUIRE(outer.GetChildren().size() == 1);
    CHECK(outer.GetMeshInstances().empty());
    const ModelNode& inner = *outer.GetChildren()[0];
    CHECK(inner.GetMeshInstances().size() == 1);
    CHECK(inner.GetChildren().size() == 1);
    const glm::mat4 product = outer.GetTransform() * inner.GetTransform();
    for (int i = 0; i < 16; ++i) // of single precision with numbers up to 5
        CHECK(std::abs(product[i / 4][i % 4] - matrix[i / 4][i % 4]) < 2e-6f);
}
