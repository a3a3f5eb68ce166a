#include "model/Load3DModel.h"
#include "model/GltfMaker.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// As glm stores it: column by column.
std::vector<float> Numbers(const glm::mat4& matrix)
{
    std::vector<float> numbers;
    for (int column = 0; column < 4; ++column)
    {
        for (int row = 0; row < 4; ++row)
            numbers.push_back(matrix[column][row]);
    }
    return numbers;
}

glm::mat4 LoadTransform(const Json& node)
{
    GltfMaker maker;
    maker.Add("nodes", node);
    maker.ShowNodes({0});
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(model.GetRootNode());
    return model.GetRootNode()->GetTransform();
}

} // namespace

TEST_CASE("Load 3D Model has one output and one file path")
{
    OperatorRunner<Load3DModel> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Model Output: gives Model"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"File Path: String = "});
    CHECK(runner.Parameter<StringParameter>("File Path").GetEditorType() == StringParameter::EditorType::FilePath);
}

TEST_CASE("Load 3D Model without a path publishes an empty model and says nothing")
{
    const LogRecorder heard;
    const Model model = LoadModel("");
    CHECK(Describe(model) == "none");
    CHECK(model.GetTextures().empty());
    CHECK(model.GetMaterials().empty());
    CHECK(heard.lines.empty());
}

TEST_CASE("A triangle is the same from every form of file")
{
    GltfMaker maker = MakeTriangle();
    const LogRecorder heard;
    const TemporaryFolder folder;
    WriteBytes(folder / "data.bin", maker.buffer);
    WriteBytes(folder / "two words.bin", maker.buffer);
    const std::string binary = maker.ToBinary();
    const std::string longer = MakeGlb(maker.json.dump(), maker.buffer + std::string(100, 'x'));
    const std::pair<const char*, std::string> files[] = {
        {"binary.glb", binary},
        {"longer.glb", longer},
        {"other.extension", binary},
        {"none", binary},
        {"external.gltf", maker.ToText("data.bin")},
        {"escaped.gltf", maker.ToText("two%20words.bin")},
        {"embedded.gltf", maker.ToTextWithData()},
        {"media.gltf", maker.ToTextWithData("application/gltf-buffer")},
        {"untyped.gltf", maker.ToTextWithData("")},
        {"binary with text.glb", MakeGlb(maker.ToTextWithData(), "")},
        {"binary with file.glb", MakeGlb(maker.ToText("data.bin"), "")},
    };
    for (const auto& [name, bytes] : files)
    {
        INFO(name);
        WriteBytes(folder / name, bytes);
        const Mesh mesh = OnlyMesh(LoadModel(folder / name));
        CHECK(Describe(mesh) == "Position:3 Normal:3 indices:3");
        CHECK(ReadFloats(mesh, "Position") == trianglePositions);
        CHECK(ReadFloats(mesh, "Normal") == triangleNormals);
        CHECK(ReadIndices(mesh) == std::vector<std::uint32_t>{0, 1, 2});
        CHECK(mesh.GetConnectivity()->GetTopology() == wgpu::PrimitiveTopology::TriangleList);
        CHECK(mesh.GetConnectivity()->GetIndexFormat() == wgpu::IndexFormat::Uint32);
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("The six known attributes are read, others are not")
{
    GltfMaker maker;
    const std::vector<float> four = {0.1f, 0.2f, 0.3f, 0.4f, 1, 2, 3, 4};
    const std::vector<float> two = {0.5f, 0.25f, -1, 7};
    const Json attributes = {
        {"COLOR_0", maker.AddFloats(four, 4)},
        {"TEXCOORD_1", maker.AddFloats(two, 2)},
        {"TEXCOORD_0", maker.AddFloats(two, 2)},
        {"TANGENT", maker.AddFloats(four, 4)},
        {"NORMAL", maker.AddFloats({0, 0, 1, 0, 1, 0}, 3)},
        {"POSITION", maker.AddFloats({1, 2, 3, 4, 5, 6}, 3)},
        {"TEXCOORD_2", maker.AddFloats(two, 2)},
        {"COLOR_1", maker.AddFloats(four, 4)},
        {"JOINTS_0", maker.AddFloats(four, 4)},
        {"_CUSTOM", maker.AddFloats(four, 4)},
    };
    maker.ShowPrimitive({{"attributes", attributes}});
    const Mesh mesh = OnlyMesh(LoadBytes(maker.ToBinary()));
    CHECK(Describe(mesh) == "Position:2 Normal:2 Tangent:2 TexCoord0:2 TexCoord1:2 Color0:2");
    CHECK(ReadFloats(mesh, "Position") == std::vector<float>{1, 2, 3, 4, 5, 6});
    CHECK(ReadFloats(mesh, "Normal") == std::vector<float>{0, 0, 1, 0, 1, 0});
    CHECK(ReadFloats(mesh, "Tangent") == four);
    CHECK(ReadFloats(mesh, "TexCoord0") == two);
    CHECK(ReadFloats(mesh, "TexCoord1") == two);
    CHECK(ReadFloats(mesh, "Color0") == four);
    CHECK(mesh.GetAttribute("Position")->GetFormat() == wgpu::VertexFormat::Float32x3);
    CHECK(mesh.GetAttribute("Tangent")->GetFormat() == wgpu::VertexFormat::Float32x4);
    CHECK(mesh.GetAttribute("TexCoord1")->GetFormat() == wgpu::VertexFormat::Float32x2);
    CHECK(mesh.GetAttribute("Color0")->GetFormat() == wgpu::VertexFormat::Float32x4);
}

TEST_CASE("Attributes that are not floats are left out without a message")
{
    GltfMaker maker;
    const int view = maker.AddView(std::string(64, '\1'));
    const int positions = maker.AddFloats(trianglePositions, 3);
    for (const int type : {5120, 5121, 5122, 5123, 5124, 5125, 5130})
        maker.AddAccessor(view, 0, type, 3, "VEC2");
    maker.ShowPrimitive({{"attributes", {{"POSITION", positions}}}});
    const LogRecorder heard;
    for (int accessor = positions + 1; accessor <= positions + 7; ++accessor)
    {
        INFO(maker.json["accessors"][std::size_t(accessor)]);
        maker.json["meshes"][0]["primitives"][0]["attributes"]["TEXCOORD_0"] = accessor;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3)");
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("Interleaved attributes are taken apart")
{
    // Position, texture coordinate, a float that nobody reads; twice, the last time without that float.
    const std::vector<float> floats = {1, 2, 3, 0.1f, 0.2f, 99, 4, 5, 6, 0.3f, 0.4f};
    GltfMaker maker;
    maker.AddView("offset of the buffer view");
    const int view = maker.AddView(ToBytes(floats), 24);
    const int positions = maker.AddAccessor(view, 0, 5126, 2, "VEC3");
    const int coordinates = maker.AddAccessor(view, 12, 5126, 2, "VEC2");
    maker.ShowPrimitive({{"attributes", {{"POSITION", positions}, {"TEXCOORD_0", coordinates}}}});
    const Mesh mesh = OnlyMesh(LoadBytes(maker.ToBinary()));
    CHECK(ReadFloats(mesh, "Position") == std::vector<float>{1, 2, 3, 4, 5, 6});
    CHECK(ReadFloats(mesh, "TexCoord0") == std::vector<float>{0.1f, 0.2f, 0.3f, 0.4f});
}

TEST_CASE("Colors are always read as four floats")
{
    GltfMaker maker;
    const int view = maker.AddView(ToBytes(std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8}), 16);
    const int positions = maker.AddFloats({0, 0, 0, 1, 1, 1}, 3);
    maker.ShowPrimitive(
        {{"attributes", {{"POSITION", positions}, {"COLOR_0", maker.AddAccessor(view, 0, 5126, 2, "VEC3")}}}});
    CHECK(ReadFloats(OnlyMesh(LoadBytes(maker.ToBinary())), "Color0") == std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8});

    // Packed as three floats, the second one's fourth float would lie behind the view.
    maker.json["meshes"][0]["primitives"][0]["attributes"]["COLOR_0"] = maker.AddFloats({1, 2, 3, 4, 5, 6}, 3);
    maker.AddFloats({9, 9, 9}, 3);
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:2)");
}

TEST_CASE("Indices of 8, 16 and 32 bits become 32 bits")
{
    GltfMaker maker;
    const int positions = maker.AddFloats(std::vector<float>(210'000), 3);
    const int bytes = maker.AddIndices<std::uint8_t>({0, 128, 255});
    const int shorts = maker.AddIndices<std::uint16_t>({0, 0x8000, 0xFFFF});
    const int words = maker.AddIndices<std::uint32_t>({0, 65536, 69999});
    const int view = maker.AddView(ToBytes(std::vector<std::uint16_t>{1, 99, 2, 99, 3}), 4);
    const int strided = maker.AddAccessor(view, 0, 5123, 3, "SCALAR");
    const int offset =
        maker.AddAccessor(maker.AddView(ToBytes(std::vector<std::uint32_t>{9, 1, 2, 3})), 4, 5125, 3, "SCALAR");
    maker.ShowPrimitive({{"attributes", {{"POSITION", positions}}}});
    const std::pair<int, std::vector<std::uint32_t>> expected[] = {{bytes, {0, 128, 255}},
                                                                   {shorts, {0, 0x8000, 0xFFFF}},
                                                                   {words, {0, 65536, 69999}},
                                                                   {strided, {1, 2, 3}},
                                                                   {offset, {1, 2, 3}}};
    for (const auto& [accessor, indices] : expected)
    {
        maker.json["meshes"][0]["primitives"][0]["indices"] = accessor;
        CHECK(ReadIndices(OnlyMesh(LoadBytes(maker.ToBinary()))) == indices);
    }
}

TEST_CASE("A mesh without indices, or with indices of another type, has no connectivity")
{
    GltfMaker maker = MakeTriangle();
    Json& primitive = maker.json["meshes"][0]["primitives"][0];
    for (const int type : {5120, 5122, 5126})
    {
        maker.json["accessors"][2]["componentType"] = type;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3)");
    }
    primitive.erase("indices");
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3)");
    primitive["indices"] = -1;
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3)");
}

TEST_CASE("Only triangles are kept, a mesh without any leaves its node without meshes")
{
    GltfMaker maker = MakeTriangle();
    Json& primitives = maker.json["meshes"][0]["primitives"];
    const LogRecorder heard;
    for (const int mode : {0, 1, 2, 3, 5, 6, 7, -1})
    {
        primitives[0]["mode"] = mode;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == "o");
    }
    primitives[0]["mode"] = 4;
    primitives.push_back({{"attributes", {{"POSITION", 1}}}, {"mode", 1}});
    primitives.push_back({{"attributes", {{"NORMAL", 0}}}});
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3 indices:3)(Normal:3)");
    CHECK(heard.lines.empty());
}

TEST_CASE("Meshes that show the same vertices share them")
{
    GltfMaker maker = MakeTriangle();
    const Json accessor = maker.json["accessors"][0];
    maker.json["meshes"][0]["primitives"].push_back({{"attributes", {{"POSITION", maker.Add("accessors", accessor)}}}});
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(Describe(model) == "(Position:3 Normal:3 indices:3)(Position:3)");
    const std::vector<MeshInstance>& shown = model.GetRootNode()->GetMeshInstances();
    CHECK(shown[0].GetMesh().GetAttribute("Position")->GetBuffer() ==
          shown[1].GetMesh().GetAttribute("Position")->GetBuffer());
    CHECK_FALSE(shown[0].GetMesh().GetAttribute("Position")->GetBuffer() ==
                shown[0].GetMesh().GetAttribute("Normal")->GetBuffer());
}

TEST_CASE("The default scene is shown, the first one when there is no such scene")
{
    GltfMaker maker = MakeTriangle();
    maker.json["nodes"] = {Json::object(), {{"mesh", 0}}, {{"children", {0, 1}}}};
    maker.json["scenes"] = {
        {{"nodes", {0}}}, {{"nodes", {1}}}, {{"nodes", {0, 2}}}, Json::object(), {{"nodes", Json::array()}}};
    const std::string triangle = "(Position:3 Normal:3 indices:3)";
    const std::pair<Json, std::string> expected[] = {
        {nullptr, "o"}, {0, "o"}, {1, triangle}, {2, "{o {o " + triangle + "}}"}, {3, "none"}, {4, "none"},
        {-1, "o"},      {5, "o"}, {"x", "o"},
    };
    for (const auto& [scene, tree] : expected)
    {
        INFO(scene);
        maker.json["scene"] = scene;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == tree);
    }
    maker.json.erase("scene");
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "o");
}

TEST_CASE("A file without scenes gives an empty model")
{
    GltfMaker maker = MakeTriangle();
    maker.Add("materials", Json::object());
    const LogRecorder heard;
    for (const Json& scenes : {Json(), Json::array()})
    {
        maker.json["scenes"] = scenes;
        const Model model = LoadBytes(maker.ToBinary());
        CHECK(Describe(model) == "none");
        CHECK(model.GetMaterials().empty());
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("Nodes keep their order and show the meshes of theirs")
{
    GltfMaker maker = MakeTriangle();
    maker.Add("meshes", {{"primitives", {{{"attributes", {{"POSITION", 0}}}}, {{"attributes", {{"NORMAL", 1}}}}}}});
    maker.json["nodes"] = {{{"mesh", 1}, {"children", {3, 2}}},
                           {{"camera", 0}, {"skin", 0}, {"weights", {0.5}}},
                           {{"mesh", 0}},
                           {{"children", {1}}}};
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3)(Normal:3){{o} (Position:3 Normal:3 indices:3)}");
}

TEST_CASE("A node's transform is its matrix, or else translation times rotation times scale")
{
    const std::vector<float> counted = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    CHECK(Numbers(LoadTransform({{"matrix", counted}})) == counted);
    CHECK(Numbers(LoadTransform({{"matrix", counted}, {"scale", {2, 2, 2}}, {"translation", {1, 1, 1}}})) == counted);
    CHECK(LoadTransform(Json::object()) == glm::mat4(1.0f));
    CHECK(LoadTransform({{"translation", {1, 2, 3}}}) == glm::translate(glm::mat4(1.0f), glm::vec3(1, 2, 3)));

    // A quarter turn around Z takes x to y: columns are the images of the axes.
    const double half = std::sqrt(0.5);
    const glm::mat4 turned =
        LoadTransform({{"translation", {1, 2, 3}}, {"rotation", {0, 0, half, half}}, {"scale", {10, 20, 30}}});
    const std::vector<float> expected = {0, 10, 0, 0, -20, 0, 0, 0, 0, 0, 30, 0, 1, 2, 3, 1};
    const std::vector<float> numbers = Numbers(turned);
    for (std::size_t i = 0; i < 16; ++i)
        CHECK(numbers[i] == Approx(expected[i]).margin(1e-5));
}

TEST_CASE("Parts of a transform with a wrong number of values are left out")
{
    const glm::mat4 doubled = glm::scale(glm::mat4(1.0f), glm::vec3(2.0f));
    CHECK(LoadTransform({{"translation", {1, 2}}, {"rotation", {0, 0, 1}}, {"scale", {2, 2, 2}}}) == doubled);
    CHECK(LoadTransform({{"translation", {1, 2, 3, 4}}, {"scale", {2, 2, 2}}}) == doubled);
    CHECK(LoadTransform({{"scale", Json::array()}}) == glm::mat4(1.0f));
    CHECK(LoadTransform({{"matrix", {1, 2, 3}}}) == glm::mat4(1.0f));
    CHECK(LoadTransform({{"matrix", "x"}, {"scale", {2, 2, 2}}}) == doubled);
}

TEST_CASE("A text file with an upper-case extension is taken for a binary one and can't be read")
{
    GltfMaker maker = MakeTriangle();
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(maker.ToTextWithData(), "MODEL.GLTF")) == "none");
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.lines[0].ends_with(
        "MODEL.GLTF\" can't be read: It looks like the text form of glTF, and the name of such "
        "a file must end in \".gltf\"."));
}

TEST_CASE("A file that can't be read gives an empty model and a message that says which, why and where")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "broken.gltf", "{ \"asset\": ");
    WriteBytes(folder / "line.gltf", "{\n\"buffers\": [{\"uri\": \"data:;base64,QUJD\", \"name\": \"x\"]}");
    WriteBytes(folder / "nameless.gltf", R"({"asset": {"version": "2.0"}, "buffers": [{"byteLength": 4}]})");
    WriteBytes(folder / "short.bin", "abc");
    WriteBytes(folder / "short.gltf", MakeTriangle().ToText("short.bin"));
    WriteBytes(folder / "note.gltf", "this is no model");
    WriteBytes(folder / "note.glb", "this is no model either");
    WriteBytes(folder / "empty.gltf", "");
    WriteBytes(folder / "empty.glb", "");
    WriteBytes(folder / "list.gltf", "[1, 2]");
    WriteBytes(folder / "versionless.gltf", "{ \"scenes\": [] }");
    WriteBytes(folder / "bufferless.gltf", MakeTriangle().ToText("missing.bin"));
    const std::pair<std::string, std::string> expected[] = {
        {"broken.gltf", ": Its JSON goes wrong at line 1, column 12: unexpected end of input; expected '[', '{', or a "
                        "literal."},
        {"line.gltf", ": Its JSON goes wrong at line 2, column 53: unexpected ']'; expected '}'."},
        {"note.gltf", ": Its JSON goes wrong at line 1, column 2: invalid literal."},
        {"note.glb", ": It is no binary glTF file: it does not begin with \"glTF\"."},
        {"empty.gltf", ": It is empty."},
        {"empty.glb", ": It is empty."},
        {"list.gltf", ": Root element is not a JSON object"},
        {"versionless.gltf", ": \"asset\" object not found in .gltf or not an object type"},
        {"bufferless.gltf", ", as its buffer \"missing.bin\" can't: No such file or directory."},
        {"nameless.gltf", ": A buffer has no URI, which only the first one of a binary file may do without."},
        {"short.gltf", ": Its buffer \"short.bin\" has 3 bytes, but its byteLength is 78."},
        {"missing.gltf", ": No such file or directory."},
        {"missing.glb", ": No such file or directory."},
    };
    for (const auto& [name, text] : expected)
    {
        INFO(name);
        const LogRecorder heard;
        CHECK(Describe(LoadModel(folder / name)) == "none");
        REQUIRE(heard.lines.size() == 1);
        CHECK(heard.lines[0] == "error: The model \"" + folder / name + "\" can't be read" + text);
    }
}

TEST_CASE("Skins are left out without a message, also those without matrices")
{
    GltfMaker maker = MakeTriangle();
    maker.json["skins"] = {{{"joints", {0}}}, {{"joints", {0}}, {"inverseBindMatrices", 7}}};
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3 indices:3)");
    CHECK(heard.lines.empty());
}

TEST_CASE("What is odd in a file that is read nevertheless is a warning")
{
    GltfMaker maker = MakeTriangle();
    maker.json["nodes"][0]["children"] = "x";
    std::string json = maker.json.dump();
    json.resize(json.size() / 4 * 4 + 5, ' '); // the format asks for a multiple of 4
    const std::string chunk = ToBytes(std::uint32_t(json.size())) + ToBytes(0x4E4F534Au) + json;
    const std::string bytes = "glTF" + ToBytes(2u) + ToBytes(std::uint32_t(chunk.size() + 12)) + chunk;
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(bytes)) == "o");
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.lines[0].starts_with("warning: The model \""));
    CHECK(heard.lines[0].ends_with("model.glb\": JSON Chunk end does not aligned to a 4-byte boundary."));
}

TEST_CASE("Load 3D Model loads again only when its path changes, and a failure replaces the model")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "triangle.glb", MakeTriangle().ToBinary());
    Graph graph;
    auto* const op = static_cast<Load3DModel*>(graph.Add(Load3DModel::Type(), "model"));
    const auto* const output = static_cast<ModelOutput*>(op->GetOutputs()[0]);
    op->SetFilePath(folder / "triangle.glb");
    graph.Run();
    graph.Run();
    CHECK(op->GetExecutionCount() == 1);
    const Model first = output->GetModel();
    CHECK(Describe(first) == "(Position:3 Normal:3 indices:3)");

    op->SetFilePath(folder / "missing.glb");
    graph.Run();
    CHECK(op->GetExecutionCount() == 2);
    CHECK(Describe(output->GetModel()) == "none");
    CHECK(ReadFloats(OnlyMesh(first), "Position") == trianglePositions);
    op->SetFilePath("");
    graph.Run();
    CHECK(output->IsActive());
    CHECK(Describe(output->GetModel()) == "none");
}
