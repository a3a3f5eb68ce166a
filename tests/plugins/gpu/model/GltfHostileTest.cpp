#include "model/GltfMaker.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"

#include <limits>
#include <sys/stat.h>

// Files that are broken, by accident or on purpose. What lies outside of a file's buffers and lists is left out;
// nothing crashes, reads where it must not, or goes on without end.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr std::uint64_t Huge = std::numeric_limits<std::uint64_t>::max();

struct Change
{
    const char* where;
    Json value;
    const char* expected;
};

std::size_t CountNodes(const Model& model)
{
    std::size_t count = 0;
    std::vector<const ModelNode*> open;
    if (model.GetRootNode())
        open.push_back(model.GetRootNode());
    while (!open.empty())
    {
        const ModelNode* const node = open.back();
        open.pop_back();
        ++count;
        for (const std::shared_ptr<const ModelNode>& child : node->GetChildren())
            open.push_back(child.get());
    }
    return count;
}

Model LoadNodes(const Json& nodes, const std::vector<int>& roots = {0})
{
    GltfMaker maker = MakeTriangle();
    maker.json["nodes"] = nodes;
    maker.ShowNodes(roots);
    return LoadBytes(maker.ToBinary());
}

// A text file whose only node has these members.
std::string TextWithNode(const std::string& members)
{
    return R"({"asset": {"version": "2.0"}, "scenes": [{"nodes": [0]}], "nodes": [{)" + members + "}]}";
}

void CheckRefused(const std::string& bytes, const std::string& name, const std::string& expected)
{
    INFO(expected);
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(bytes, name)) == "none");
    CHECK(heard.Contains(expected));
}

} // namespace

TEST_CASE("What lies outside of a file's buffers and lists is left out")
{
    const std::string whole = "(Position:3 Normal:3 indices:3)";
    const Change changes[] = {
        // Attributes
        {"/meshes/0/primitives/0/attributes/NORMAL", 3, "(Position:3 indices:3)"},
        {"/meshes/0/primitives/0/attributes/NORMAL", -1, "(Position:3 indices:3)"},
        {"/meshes/0/primitives/0/attributes/NORMAL", 2147483647, "(Position:3 indices:3)"},
        {"/meshes/0/primitives/0/attributes/POSITION", 99, "(Normal:3 indices:3)"},
        {"/accessors/1/bufferView", 3, "(Position:3 indices:3)"},
        {"/accessors/1/bufferView", -1, "(Position:3 indices:3)"},
        {"/accessors/1/bufferView", nullptr, "(Position:3 indices:3)"},
        {"/accessors/1/count", 4, "(Position:3 indices:3)"},
        {"/accessors/1/count", 2147483648, "(Position:3 indices:3)"},
        {"/accessors/1/count", 4294967295, "(Position:3 indices:3)"},
        {"/accessors/1/count", 4294967296, "(Position:3 indices:3)"},
        {"/accessors/1/count", 4294967299, "(Position:3 indices:3)"},
        {"/accessors/1/count", Huge, "(Position:3 indices:3)"},
        {"/accessors/1/count", Huge / 12 + 2, "(Position:3 indices:3)"},
        {"/accessors/1/count", 0, "(Position:3 indices:3)"},
        {"/accessors/1/count", 2, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", 1, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", 36, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", 4294967296, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", Huge, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", Huge - 11, "(Position:3 indices:3)"},
        {"/accessors/1/byteOffset", -1, whole.c_str()}, // not a number of bytes: counts as not given
        {"/bufferViews/1/byteOffset", 43, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteOffset", Huge, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteOffset", Huge - 35, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteLength", 35, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteLength", 43, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteLength", Huge, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteLength", 0, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteStride", 16, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteStride", 252, "(Position:3 indices:3)"},
        {"/bufferViews/1/byteStride", 4, whole.c_str()}, // the elements overlap, within the view
        {"/bufferViews/1/buffer", 1, "(Position:3 indices:3)"},
        {"/bufferViews/1/buffer", -1, "(Position:3 indices:3)"},
        // Indices
        {"/accessors/2/count", 4, "o"},
        {"/accessors/2/count", Huge, "o"},
        {"/accessors/2/count", 0, "(Position:3 Normal:3 indices:0)"},
        {"/accessors/2/byteOffset", 2, "o"},
        {"/accessors/2/byteOffset", Huge, "o"},
        {"/accessors/2/componentType", 5125, "o"},
        {"/bufferViews/2/byteLength", 5, "o"},
        {"/bufferViews/2/byteOffset", Huge, "o"},
        {"/bufferViews/2/byteStride", 4, "o"},
        {"/bufferViews/2/buffer", 7, "o"},
        {"/accessors/0/count", 2, "o"}, // the last index is 2
        {"/accessors/0/count", 0, "o"},
        // Meshes and nodes
        {"/meshes/0/primitives", Json::array(), "o"},
        {"/meshes/0/primitives", "x", "o"},
        {"/nodes/0/mesh", 1, "o"},
        {"/nodes/0/mesh", -1, "o"},
        {"/nodes/0/mesh", 2147483647, "o"},
        {"/nodes/0/children", {1}, whole.c_str()},
        {"/nodes/0/children", {-1, 2147483647}, whole.c_str()},
        {"/nodes/0/children", {0}, whole.c_str()},
        {"/nodes/0/children", "x", whole.c_str()},
        {"/scenes/0/nodes", {1}, "none"},
        {"/scenes/0/nodes", {-1}, "none"},
        {"/scenes/0/nodes", {5, 0}, "{(Position:3 Normal:3 indices:3)}"},
        {"/scenes/0/nodes", {5, 6}, "o"},
    };
    const GltfMaker triangle = MakeTriangle();
    for (const Change& change : changes)
    {
        INFO(change.where << " = " << change.value);
        GltfMaker maker = triangle;
        maker.json[Json::json_pointer(change.where)] = change.value;
        const LogRecorder heard;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == change.expected);
        CHECK(heard.lines.empty());
    }
}

TEST_CASE("Broken lists are errors that name the file, and no model")
{
    const std::pair<const char*, Json> changes[] = {
        {"/meshes/0/primitives/0/indices", 3},
        {"/accessors/2/bufferView", 3},
        {"/accessors/2/bufferView", -1},
        {"/accessors/1/count", -1},
        {"/accessors/1/count", 1.5},
        {"/accessors/1/type", "VEC9"},
        {"/accessors/1/componentType", 1},
        {"/accessors/1", 5},
        {"/bufferViews/1/byteStride", 3},
        {"/bufferViews/1/byteStride", 256},
        {"/bufferViews/1/byteLength", -1},
        {"/bufferViews/1", "x"},
        {"/meshes/0", Json::array()},
        {"/nodes/0", 1},
        {"/scenes/0", 1},
        {"/images", {{{"bufferView", 9}}}},
        {"/images", {{{"bufferView", -2}}}},
        {"/images", Json::array({Json::object()})},
        {"/materials", {1}},
    };
    const GltfMaker triangle = MakeTriangle();
    for (const auto& [where, value] : changes)
    {
        INFO(where << " = " << value);
        GltfMaker maker = triangle;
        maker.json[Json::json_pointer(where)] = value;
        const LogRecorder heard;
        CHECK(Describe(LoadBytes(maker.ToBinary())) == "none");
        REQUIRE(heard.lines.size() == 1);
        CHECK(heard.lines[0].starts_with("error: The model \""));
        CHECK(heard.Contains("model.glb\" can't be read: "));
    }
}

TEST_CASE("Buffers that are missing, empty or of another size are errors, and no model")
{
    const GltfMaker triangle = MakeTriangle();
    const std::string data = "data:application/octet-stream;base64,";
    const std::pair<Json, std::string> changes[] = {
        {Json::object(), "'byteLength' property is missing in Buffer."},
        {{{"byteLength", 0}}, "can't be read: A buffer or picture in it is empty."},
        {{{"byteLength", 81}}, "Invalid `byteLength'."},
        {{{"byteLength", Huge}}, "Invalid `byteLength'."},
        {{{"byteLength", -1}}, "not a positive integer"},
        {{{"byteLength", 4}, {"uri", data}}, "Failed to decode 'uri'"},
        {{{"byteLength", 4}, {"uri", data + "AAAA"}},
         "can't be read: Its embedded buffer has 3 bytes, but its byteLength is 4."},
        {{{"byteLength", 4}, {"uri", data + "AA!A"}}, "Failed to decode 'uri'"},
        {{{"byteLength", 4}, {"uri", data + "?"}}, "Failed to decode 'uri'"},
        {{{"byteLength", 4}, {"uri", data + std::string(100'000, '!')}}, "Failed to decode 'uri'"},
        {{{"byteLength", 4}, {"uri", "a.bin"}},
         "can't be read, as its buffer \"a.bin\" can't: No such file or directory."},
        {{{"byteLength", 4}, {"uri", std::string(100000, 'x') + ".bin"}}, "File name too long."},
    };
    for (const auto& [buffer, expected] : changes)
    {
        GltfMaker maker = triangle;
        maker.json["buffers"] = {buffer};
        CheckRefused(MakeGlb(maker.json.dump(), maker.buffer), "model.glb", expected);
    }
    CheckRefused(MakeGlb(MakeTriangle().ToText(""), ""), "model.glb", "GLB with empty BIN chunk");
}

TEST_CASE("Without a list of buffers everything that lies in them is left out")
{
    GltfMaker maker = MakeTriangle();
    const std::string bin = maker.buffer;
    for (const Json& buffers : {Json(), Json::array(), Json("x"), Json(1)})
    {
        INFO(buffers);
        maker.json["buffers"] = buffers;
        CHECK(Describe(LoadBytes(MakeGlb(maker.json.dump(), bin))) == "o");
        CHECK(Describe(LoadBytes(maker.json.dump(), "model.gltf")) == "o");
    }
    maker.json.erase("bufferViews");
    maker.json.erase("accessors");
    CHECK(Describe(LoadBytes(maker.json.dump(), "model.gltf")) == "none");
}

TEST_CASE("Images outside of their buffer leave their places empty")
{
    const std::string png = MakePng({2, 1}, {1, 2, 3, 255});
    const Json views[] = {
        {{"buffer", 0}, {"byteLength", Huge}},
        {{"buffer", 0}, {"byteOffset", Huge}, {"byteLength", png.size()}},
        {{"buffer", 0}, {"byteOffset", 0}, {"byteLength", png.size() + 4}},
        {{"buffer", 0}, {"byteOffset", 4294967296}, {"byteLength", 1}},
        {{"buffer", 0}, {"byteOffset", png.size()}, {"byteLength", 0}},
        {{"buffer", 0}, {"byteOffset", 0}, {"byteLength", png.size() - 1}},
        {{"buffer", 0}, {"byteLength", png.size()}},
    };
    GltfMaker maker;
    maker.buffer = png;
    maker.json["scenes"] = {Json::object()};
    for (const Json& view : views)
    {
        maker.Add("images", {{"bufferView", maker.Add("bufferViews", view)}});
        maker.Add("textures", {{"source", maker.json["images"].size() - 1}});
    }
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(model.GetTextures().size() == std::size(views));
    for (std::size_t i = 0; i < std::size(views); ++i)
    {
        INFO(views[i]);
        CHECK(bool(model.GetTextures()[i]) == (i + 1 == std::size(views)));
    }
}

TEST_CASE("A chain of 100,000 nodes is a tree of that depth")
{
    Json nodes = Json::array();
    for (int i = 0; i < 100'000; ++i)
        nodes.push_back({{"children", {i + 1}}});
    CHECK(CountNodes(LoadNodes(nodes)) == 100'000);
}

TEST_CASE("Nodes that contain themselves are left out where they do")
{
    CHECK(Describe(LoadNodes({{{"children", {0, 1}}}, {{"mesh", 0}}})) == "{(Position:3 Normal:3 indices:3)}");
    // 0 -> 1 -> 2 -> 0, and 2 -> 3
    CHECK(Describe(LoadNodes({{{"children", {1}}}, {{"children", {2}}}, {{"children", {0, 3, 1}}}, Json::object()})) ==
          "{{{o}}}");
    CHECK(Describe(LoadNodes({{{"children", {1}}}, {{"children", {0}}}}, {0, 1})) == "{{o} {o}}");
}

TEST_CASE("A node that several others refer to appears below each of them")
{
    CHECK(Describe(LoadNodes({{{"children", {1, 2}}}, {{"children", {3}}}, {{"children", {3, 3}}}, Json::object()})) ==
          "{{o} {o o}}");
    CHECK(Describe(LoadNodes(Json::array({Json::object()}), {0, 0, 0})) == "{o o o}");
}

TEST_CASE("Nodes below each other many times over don't make a tree without end")
{
    Json nodes = Json::array();
    for (int i = 0; i < 100; ++i)
        nodes.push_back({{"children", {i + 1, i + 1}}});
    nodes.push_back(Json::object());
    const LogRecorder heard;
    // Each node once, and 100,000 repetitions.
    CHECK(CountNodes(LoadNodes(nodes)) == 100'101);
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.Contains("warning: The model's nodes appear in several places more than 100000 times."));
}

TEST_CASE("Many nodes with many meshes each don't fill the memory")
{
    GltfMaker maker = MakeTriangle();
    Json& primitives = maker.json["meshes"][0]["primitives"];
    for (int i = 1; i < 5000; ++i)
        primitives.push_back(primitives[0]);
    maker.json["nodes"] = Json::array();
    std::vector<int> roots(5000);
    for (int& root : roots)
        root = maker.Add("nodes", {{"mesh", 0}});
    maker.ShowNodes(roots);
    const LogRecorder heard;
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(model.GetRootNode());
    std::size_t instances = 0;
    for (const std::shared_ptr<const ModelNode>& child : model.GetRootNode()->GetChildren())
        instances += child->GetMeshInstances().size();
    CHECK(instances == 4'190'000); // as many whole nodes as 4,194,304 meshes make
    CHECK(heard.Contains("warning: The model's nodes show more than 4194304 meshes."));
}

TEST_CASE("Accessors that overlap many times over don't fill the memory")
{
    // 200 primitives that each ask for a buffer of 1.2 MB, from another byte on each.
    GltfMaker maker;
    const int view = maker.AddView(std::string(1'200'000, '\0'));
    Json primitives = Json::array();
    for (int i = 0; i < 200; ++i)
        primitives.push_back(
            {{"attributes", {{"POSITION", maker.AddAccessor(view, std::size_t(i), 5126, 99'900, "VEC3")}}}});
    maker.Add("meshes", {{"primitives", primitives}});
    maker.json["nodes"] = {{{"mesh", 0}}};
    maker.ShowNodes({0});
    const LogRecorder heard;
    const Model model = LoadBytes(maker.ToBinary());
    REQUIRE(model.GetRootNode());
    // 64 MiB and 16 times the buffer are 86,308,864 bytes; each takes 1,198,800.
    CHECK(model.GetRootNode()->GetMeshInstances().size() == 71);
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.Contains("error: The model's vertices and indices need more than 86308864 bytes"));
}

TEST_CASE("JSON that would exhaust memory or the stack is refused")
{
    const std::string head = R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[]}],)";
    const auto repeat = [](const std::string& text, std::size_t count)
    {
        std::string all;
        for (std::size_t i = 0; i < count; ++i)
            all += text;
        return all;
    };
    const std::pair<std::string, std::string> bombs[] = {
        {head + "\"extras\":" + std::string(5'000'000, '[') + std::string(5'000'000, ']') + "}",
         "Its JSON has 5000001 levels of nesting; the limit is 256."},
        {head + "\"extras\":" + repeat("{\"a\":", 300) + "1" + std::string(300, '}') + "}", "301 levels of nesting"},
        {head + "\"materials\":[" + repeat("{},", 300'000) + "{}]}",
         "It has 300002 materials, textures, images and the like; the limit is 262144."},
        {head + "\"nodes\":[" + repeat("{},", 4'200'000) + "{}]}", "objects; the limit is 4194304."},
        {head + "\"extras\":[" + repeat("0,", 17'000'000) + "0]}", "values; the limit is 16777216."},
    };
    for (const auto& [text, expected] : bombs)
    {
        CheckRefused(text, "bomb.gltf", expected);
        CheckRefused(MakeGlb(text, ""), "bomb.glb", expected);
    }
    CHECK(Describe(LoadBytes(head + "\"extras\":" + std::string(255, '[') + std::string(255, ']') + "}", "a.gltf")) ==
          "none");
}

TEST_CASE("Numbers of any size are read or refused")
{
    const std::string overflow = ": number overflow parsing '";
    CheckRefused(TextWithNode(R"("translation": [1e999, 0, 0])"), "model.gltf", overflow + "1e999'");
    const std::string digits(100'000, '7');
    CheckRefused(TextWithNode("\"translation\": [" + digits + ", 0, 0]"), "model.gltf", overflow + "7777");
    CheckRefused(TextWithNode(R"("mesh": -1e999)"), "model.gltf", overflow);

    const LogRecorder heard;
    const auto load = [](const std::string& members) { return LoadBytes(TextWithNode(members), "model.gltf"); };
    const Model model = load("\"translation\": [0." + digits + ", 1e-999, 3]");
    REQUIRE(model.GetRootNode());
    const glm::vec4 place = model.GetRootNode()->GetTransform()[3];
    CHECK(place.x == Approx(7.0f / 9.0f));
    CHECK(place.y == 0.0f);
    CHECK(place.z == 3.0f);
    CHECK(Describe(load("\"translation\": [1e300, 0, 0]")) == "o"); // infinite as a float
    for (const std::string mesh : {"1e300", "999999999999999999999999999999", "18446744073709551615", "4294967296",
                                   "-9223372036854775808", "-4294967296", "0.5", "-0"})
    {
        INFO(mesh);
        CHECK(Describe(load("\"mesh\": " + mesh)) == "o");
        CHECK(Describe(load("\"children\": [" + mesh + "]")) == "o");
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("Strings of any size and kind are read or refused")
{
    const std::string many(8'000'000, 'x');
    const LogRecorder heard;
    for (const std::string& members :
         {"\"name\": \"" + many + "\"", "\"" + many + "\": 0", "\"extensions\": {\"" + many + "\": {}}",
          "\"extras\": {\"a\": \"" + many + "\"}", std::string(R"("name": "\u0000\ud83d\ude00\/\"")")})
        CHECK(Describe(LoadBytes(TextWithNode(members), "model.gltf")) == "o");
    CHECK(heard.lines.empty());

    CheckRefused(TextWithNode("\"name\": \"\xff\""), "model.gltf", "ill-formed UTF-8 byte");
    CheckRefused(TextWithNode(R"("name": "\ud800")"), "model.gltf", "surrogate U+D800..U+DBFF must be followed");
    CheckRefused(TextWithNode("\"name\": \"" + std::string(2, '\0') + "\""), "model.gltf", "control character U+0000");
    CheckRefused(TextWithNode("\"name\": \"" + many), "model.gltf", "missing closing quote");
}

TEST_CASE("Buffers that each copy the whole file are refused")
{
    GltfMaker maker = MakeTriangle();
    maker.buffer.resize(5'000'000);
    for (int i = 0; i < 1000; ++i)
        maker.Add("buffers", {{"byteLength", maker.buffer.size()}});
    CheckRefused(MakeGlb(maker.json.dump(), maker.buffer), "model.glb",
                 "Its buffers have 5000000000 bytes; the limit is 4294967295.");
}

TEST_CASE("A binary file may end anywhere")
{
    const std::string whole = MakeTriangle().ToBinary();
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        INFO(size);
        const LogRecorder heard;
        REQUIRE(Describe(LoadBytes(whole.substr(0, size))) == "none");
        REQUIRE(heard.lines.size() == 1);
        REQUIRE(heard.lines[0].starts_with("error: "));
    }
    CHECK(Describe(LoadBytes(whole + "and more")) == "(Position:3 Normal:3 indices:3)");
}

TEST_CASE("A text file may end anywhere")
{
    const std::string whole = MakeTriangle().ToTextWithData();
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        INFO(size);
        const LogRecorder heard;
        REQUIRE(Describe(LoadBytes(whole.substr(0, size), "model.gltf")) == "none");
        REQUIRE(heard.lines.size() == 1);
        REQUIRE(heard.lines[0].starts_with("error: "));
    }
}

TEST_CASE("The lengths in a binary file's headers may be anything")
{
    const std::string whole = MakeTriangle().ToBinary();
    std::uint32_t jsonSize = 0;
    std::memcpy(&jsonSize, whole.data() + 12, 4);
    const std::size_t fields[] = {4, 8, 12, 16, 20 + jsonSize, 24 + jsonSize};
    const auto size = std::uint32_t(whole.size());
    for (const std::size_t field : fields)
    {
        for (const std::uint32_t value : {0u, 1u, 3u, 4u, 12u, 80u, 84u, 88u, size - 20, size - 8, size - 4, size,
                                          size + 4, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFECu, 0xFFFFFFFFu})
        {
            INFO("bytes " << field << " to " << field + 3 << " are " << value);
            std::string bytes = whole;
            bytes.replace(field, 4, ToBytes(value));
            const std::string tree = Describe(LoadBytes(bytes));
            CHECK((tree == "none" || tree == "(Position:3 Normal:3 indices:3)"));
        }
    }
}

TEST_CASE("A BIN chunk that reaches a few bytes beyond the file is refused")
{
    GltfMaker maker = MakeTriangle();
    std::string bytes = maker.ToBinary();
    // The file ends eight bytes early and says so, the chunk doesn't.
    bytes.resize(bytes.size() - 8);
    bytes.replace(8, 4, ToBytes(std::uint32_t(bytes.size())));
    CheckRefused(bytes, "model.glb", "Its BIN chunk reaches beyond the end of the file.");
}

TEST_CASE("A path to something other than a file is an error at once")
{
    const TemporaryFolder folder;
    REQUIRE(mkfifo((folder / "pipe.glb").c_str(), 0600) == 0);
    for (const std::string& path : {folder / "pipe.glb", folder.GetPath().string(), std::string("/dev/zero")})
    {
        INFO(path);
        const LogRecorder heard;
        CHECK(Describe(LoadModel(path)) == "none");
        CHECK(heard.Contains("It is not a regular file."));
    }
    REQUIRE(mkfifo((folder / "pipe.bin").c_str(), 0600) == 0);
    WriteBytes(folder / "model.gltf", MakeTriangle().ToText("pipe.bin"));
    const LogRecorder heard;
    CHECK(Describe(LoadModel(folder / "model.gltf")) == "none");
    CHECK(heard.Contains("model.gltf\" can't be read, as its buffer \"pipe.bin\" can't: It is not a regular file."));
}

TEST_CASE("Text that changes anywhere is read or refused")
{
    const std::string text = MakeTriangle().ToTextWithData();
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        std::string changed = text;
        changed[i] = "\"{}[]:,9-\\x"[i % 11];
        const std::string tree = Describe(LoadBytes(changed, "model.gltf"));
        CHECK_FALSE(tree.empty());
    }
}

TEST_CASE("A model names files by relative paths in its folder, below it and in the folder around it")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "models/a/b");
    std::filesystem::create_directories(folder / "data");
    std::filesystem::create_directory_symlink(folder / "data", folder / "models/a/link");
    GltfMaker maker = MakeTriangle();
    for (const char* const path : {"models/a/0.bin", "models/a/b/1.BIN", "models/2.glbin", "data/3.bin", "4.bin"})
        WriteBytes(folder / path, maker.buffer);
    const LogRecorder heard;
    for (const std::string uri : {"0.bin", "./0.bin", "b/1.BIN", "b/../0.bin", "../2.glbin", "../a/0.bin", "link/3.bin",
                                  "%30.bin", "b/../../2.glbin"})
    {
        INFO(uri);
        WriteBytes(folder / "models/a/model.gltf", maker.ToText(uri));
        CHECK(Describe(LoadModel(folder / "models/a/model.gltf")) == "(Position:3 Normal:3 indices:3)");
    }
    CHECK(heard.lines.empty());
}

TEST_CASE("A buffer that a model must not name is left out with a warning, and the rest is read")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "models/a");
    GltfMaker maker = MakeTriangle();
    const int second = maker.Add("buffers", {{"byteLength", 4}}); // takes the place of what ToText adds
    CHECK(second == 0);
    WriteBytes(folder / "0.bin", maker.buffer);
    WriteBytes(folder / "models/a/0.txt", maker.buffer);
    WriteBytes(folder / "models/a/0.bin", maker.buffer);
    const std::pair<std::string, std::string> uris[] = {
        {"../../0.bin", "It leads out of the folders"},
        {"../a/../../0.bin", "It leads out of the folders"},
        {"%2e%2e/%2e./0.bin", "It leads out of the folders"},
        {"../../../../../../../../../../../../etc/passwd", "It leads out of the folders"},
        {folder / "models/a/0.bin", "An absolute path leads out of the folders"},
        {"/dev/zero", "An absolute path"},
        {"\\\\server\\0.bin", "An absolute path"},
        {"file:0.bin", "by relative paths only"},
        {"C:/0.bin", "by relative paths only"},
        {"http://example.org/0.bin", "by relative paths only"},
        {"data:,AAAA", "It is a data URI that is not in base64."},
        {"data:embedded-0", "It is a data URI that is not in base64."},
        {"0.txt", "ends in \".bin\""},
        {".", "ends in \".bin\""},
    };
    for (const auto& [uri, reason] : uris)
    {
        for (const bool isBinary : {false, true})
        {
            INFO(uri << (isBinary ? " in a binary file" : ""));
            const std::string path = folder / (isBinary ? "models/a/model.glb" : "models/a/model.gltf");
            const std::string text = maker.ToText(uri);
            WriteBytes(path, isBinary ? MakeGlb(text, "") : text);
            const LogRecorder heard;
            const Model model = LoadModel(path);
            // Such a URI is not lifted, and its backslashes are escaped: refused later, and the model with it.
            if (uri.starts_with("data:") || uri.starts_with('\\'))
                CHECK(Describe(model) == "none");
            else
            {
                CHECK(Describe(model) == "o");
                REQUIRE(heard.lines.size() == 1);
                CHECK(heard.lines[0].starts_with("warning: The model \"" + path + "\": The buffer \""));
            }
            CHECK(heard.Contains(reason));
        }
    }
}

TEST_CASE("Other buffers of a model keep their bytes when one is left out")
{
    GltfMaker maker = MakeTriangle();
    const Json refused = {{"byteLength", 4}, {"uri", "/etc/passwd"}, {"extras", {{"uri", "data:;base64,AAAA"}}}};
    const std::string text = maker.ToTextWithData();
    maker.json["buffers"].push_back(refused);
    maker.json["accessors"][1]["bufferView"] =
        maker.Add("bufferViews", {{"buffer", 1}, {"byteOffset", 0}, {"byteLength", 36}});
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(maker.json.dump(), "model.gltf")) == "(Position:3 indices:3)");
    CHECK(Describe(LoadBytes(MakeGlb(maker.json.dump(), "1234"), "model.glb")) == "(Position:3 indices:3)");
    maker.json["buffers"] = {maker.json["buffers"][1], maker.json["buffers"][0]};
    for (int view = 0; view < 4; ++view)
        maker.json["bufferViews"][std::size_t(view)]["buffer"] = view < 3 ? 1 : 0;
    CHECK(Describe(LoadBytes(maker.json.dump(), "model.gltf")) == "(Position:3 indices:3)");
    CHECK(heard.lines.size() == 3);
}

TEST_CASE("A thousand files that a model must not name are ten warnings and a count")
{
    GltfMaker maker = MakeTriangle();
    for (int i = 0; i < 1000; ++i)
        maker.Add("images", {{"uri", "../../" + std::to_string(i) + ".png"}});
    const LogRecorder heard;
    CHECK(Describe(LoadBytes(maker.ToBinary())) == "(Position:3 Normal:3 indices:3)");
    REQUIRE(heard.lines.size() == 11);
    CHECK(heard.lines[0].ends_with(
        "model.glb\": The picture \"../../0.png\" is left out. It leads out of the folders that "
        "a model may read from: its own and the one around it."));
    CHECK(heard.lines[10].ends_with("model.glb\": ... and 990 more remarks."));
}

TEST_CASE("Pictures of the same bytes are decoded once, wherever they lie")
{
    const std::string png = MakePng({2, 1}, {1, 2, 3, 255});
    const std::string other = MakePng({2, 1}, {1, 2, 4, 255});
    GltfMaker maker;
    maker.json["scenes"] = {Json::object()};
    for (const std::string& bytes : {png, other, png})
        maker.Add("images", {{"bufferView", maker.AddView(bytes)}});
    for (const std::string& bytes : {png, other, png})
        maker.Add("images", {{"uri", "data:image/png;base64," + EncodeBase64(bytes)}});
    for (int i = 0; i < 6; ++i)
        maker.Add("textures", {{"source", i}});
    const std::vector<Texture> textures = LoadBytes(maker.ToTextWithData(), "model.gltf").GetTextures();
    REQUIRE(textures.size() == 6);
    for (const std::size_t i : {2, 3, 5})
        CHECK(textures[i].GetTextureHandle().Get() == textures[0].GetTextureHandle().Get());
    CHECK(textures[4].GetTextureHandle().Get() == textures[1].GetTextureHandle().Get());
    CHECK(textures[1].GetTextureHandle().Get() != textures[0].GetTextureHandle().Get());
}

TEST_CASE("Attributes of other lengths than the positions are left out, and indices fit all that stay")
{
    GltfMaker maker;
    const int three = maker.AddFloats(trianglePositions, 3);
    const int four = maker.AddFloats({0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1}, 3);
    const int two = maker.AddFloats({0, 0, 1, 0, 0, 1}, 3);
    const int pairs = maker.AddFloats({0, 0, 1, 1, 0, 1}, 2);
    const int upTo2 = maker.AddIndices<std::uint16_t>({0, 1, 2});
    const int upTo3 = maker.AddIndices<std::uint16_t>({1, 2, 3});
    maker.ShowPrimitive(Json::object());
    const auto load = [&](const Json& attributes, int indices)
    {
        maker.json["meshes"][0]["primitives"][0] = {{"attributes", attributes}, {"indices", indices}};
        return Describe(LoadBytes(maker.ToBinary()));
    };
    CHECK(load({{"POSITION", three}, {"NORMAL", two}, {"TEXCOORD_0", pairs}}, upTo2) ==
          "(Position:3 TexCoord0:3 indices:3)");
    CHECK(load({{"POSITION", three}, {"NORMAL", four}}, upTo2) == "(Position:3 indices:3)");
    CHECK(load({{"POSITION", three}, {"NORMAL", four}}, upTo3) == "o");
    CHECK(load({{"NORMAL", four}, {"TEXCOORD_0", pairs}}, upTo3) == "(Normal:4 indices:3)");
}
