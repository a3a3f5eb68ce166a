#include "gpu/glb/GlbReading.h"
#include "support/Pixels.h"

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <limits>
#include <random>

// Models with their trees of nodes as .glb files.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

glm::mat4 Shifted(float x)
{
    return glm::translate(glm::mat4(1.0f), {x, 0, 0});
}

/// The matrix that a node of a file stands for, as an exact reader takes it.
glm::dmat4 TransformOf(const Json& node)
{
    glm::dmat4 matrix(1.0);
    if (node.contains("matrix"))
    {
        for (int i = 0; i < 16; ++i)
            matrix[i / 4][i % 4] = node["matrix"][std::size_t(i)].get<double>();
        return matrix;
    }
    if (node.contains("translation"))
        matrix = glm::translate(matrix, {node["translation"][0], node["translation"][1], node["translation"][2]});
    if (const Json q = node.value("rotation", Json()); !q.is_null())
        matrix *=
            glm::mat4_cast(glm::dquat(q[3].get<double>(), q[0].get<double>(), q[1].get<double>(), q[2].get<double>()));
    if (node.contains("scale"))
        matrix = glm::scale(matrix, {node["scale"][0], node["scale"][1], node["scale"][2]});
    return matrix;
}

/// Returns the largest difference of two matrices in proportion to the largest number of the expected one's first three
/// columns. Translations are exact.
double ErrorOf(const glm::dmat4& actual, const glm::mat4& expected)
{
    double largest = 0.0;
    double error = 0.0;
    for (int column = 0; column < 3; ++column)
    {
        for (int row = 0; row < 3; ++row)
        {
            largest = std::max(largest, std::abs(double(expected[column][row])));
            error = std::max(error, std::abs(actual[column][row] - double(expected[column][row])));
        }
    }
    if (actual[3] != glm::dvec4(expected[3]))
        return std::numeric_limits<double>::infinity();
    return error == 0.0 ? 0.0 : error / largest;
}

Model OneNode(const glm::mat4& transform)
{
    Model model;
    model.SetRootNode(NodeOf({BareQuad()}, transform));
    return model;
}

/// A chain of nodes, of which the last one shows something.
Model Chain(std::size_t levels)
{
    ModelNode node = NodeOf({BareQuad()}, Shifted(1));
    for (std::size_t level = 1; level < levels; ++level)
    {
        ModelNode parent = NodeOf({}, Shifted(1));
        parent.AddChild(std::move(node));
        node = std::move(parent);
    }
    Model model;
    model.SetRootNode(std::move(node));
    return model;
}

struct Random
{
    std::mt19937 engine{1};
    float Within(float low, float high) { return std::uniform_real_distribution<float>(low, high)(engine); }
    glm::vec3 Vector(float size) { return {Within(-size, size), Within(-size, size), Within(-size, size)}; }
    glm::quat Rotation()
    {
        return glm::normalize(glm::quat(Within(-1, 1), Within(-1, 1), Within(-1, 1), Within(-1, 1)));
    }
};

} // namespace

TEST_CASE("An empty model becomes a file without nodes")
{
    const GlbContent file = Write(Model());
    CHECK(file.json == Json::parse(R"({"asset": {"version": "2.0", "generator": "Varkle"}})"));
    CHECK(file.binary.empty());
    CHECK(file.log == nothing);
}

TEST_CASE("A model of one bare node becomes a file with that node")
{
    Model model;
    model.SetRootNode(ModelNode());
    const GlbContent file = Write(model);
    CHECK(file.json["nodes"] == Json::parse("[{}]"));
    CHECK(file.json["scenes"] == Json::parse(R"([{"nodes": [0]}])"));
    CHECK(file.log == nothing);
}

TEST_CASE("A tree keeps its nodes, their order and their matrices")
{
    // 1 has the children 2 and 3; 2 has 4 and 5; 3 has 6.
    ModelNode second = NodeOf({}, Shifted(2));
    second.AddChild(NodeOf({}, Shifted(4)));
    second.AddChild(NodeOf({}, Shifted(5)));
    ModelNode third = NodeOf({}, Shifted(3));
    third.AddChild(NodeOf({}, Shifted(6)));
    ModelNode root = NodeOf({}, Shifted(1));
    root.AddChild(second);
    root.AddChild(third);
    Model model;
    model.SetRootNode(root);

    const GlbContent file = Write(model);
    CHECK(file.json["scenes"] == Json::parse(R"([{"nodes": [0]}])"));
    CHECK(file.Count("nodes") == 6);
    const auto describe = [&](const auto& self, std::size_t index) -> std::string
    {
        const Json& node = file.json["nodes"][index];
        std::string text = std::to_string(int(TransformOf(node)[3][0]));
        for (const Json& child : node.value("children", Json::array()))
            text += " (" + self(self, child.get<std::size_t>()) + ")";
        return text;
    };
    CHECK(describe(describe, 0) == "1 (2 (4) (5)) (3 (6))");
    CHECK(file.log == nothing);
}

TEST_CASE("A matrix that a translation, a rotation and a scale make is written as it is")
{
    glm::mat4 matrix = glm::translate(glm::mat4(1.0f), {1, -2, 3e6f});
    matrix = glm::scale(matrix * glm::mat4_cast(glm::normalize(glm::quat(1, 2, -3, 4))), {0.5f, 2, 7});
    const glm::mat4 mirrored = glm::scale(matrix, {1, -1, 1});
    const std::vector<GlbContent> files = WriteAll(std::vector{OneNode(matrix), OneNode(mirrored)});
    CHECK(files[0].json["nodes"][0]["matrix"].get<std::vector<float>>() == Flat(std::vector{matrix}));
    CHECK(files[1].json["nodes"][0]["matrix"].get<std::vector<float>>() == Flat(std::vector{mirrored}));
    CHECK(files[0].log == nothing);
    CHECK(files[1].log == nothing);
}

TEST_CASE("The identity is not written")
{
    CHECK(Write(OneNode(glm::mat4(1.0f))).json["nodes"] == Json::parse(R"([{"mesh": 0}])"));
}

TEST_CASE("Matrices that readers can't take apart are written in parts")
{
    const glm::mat4 turned = glm::mat4_cast(glm::normalize(glm::quat(4, -1, 2, 3)));
    const std::pair<glm::mat4, double> cases[] = {
        {glm::scale(glm::mat4(1.0f), {2, 3, 0}), 0},
        {glm::scale(glm::mat4(1.0f), {0, 0, 0}), 0},
        {glm::scale(glm::mat4(1.0f), {0, -5, 0}), 0},
        // Single precision: a rotation's entries are off by 6e-8 each.
        {glm::scale(turned, {1e6f, 2e6f, 3e6f}), 3e-7},
        {glm::scale(turned, {1e-6f, 2e-6f, -3e-6f}), 3e-7},
        {glm::scale(turned, {1, 0, 1e-5f}), 3e-7},
    };
    std::vector<Model> models;
    for (const auto& [matrix, tolerance] : cases)
        models.push_back(OneNode(matrix));
    const std::vector<GlbContent> files = WriteAll(models);
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        INFO(i << ": " << files[i].json["nodes"]);
        REQUIRE(files[i].Count("nodes") == 1);
        const Json& node = files[i].json["nodes"][0];
        CHECK_FALSE(node.contains("matrix"));
        CHECK(node["mesh"] == 0);
        CHECK(ErrorOf(TransformOf(node), cases[i].first) <= cases[i].second);
        CHECK(files[i].log == nothing);
    }
}

TEST_CASE("A sheared node becomes two whose product is its matrix")
{
    glm::mat4 matrix(1.0f);
    matrix[1] = {0.5f, 1, 0, 0}; // leans to the right
    matrix[3] = {1, 2, 3, 1};
    ModelNode node = NodeOf({BareQuad()}, matrix);
    node.AddChild(NodeOf({}, Shifted(1)));
    node.AddChild(NodeOf({}, Shifted(2)));
    const GlbContent file = Write(ModelOf({node, NodeOf({}, Shifted(3))}));

    const Json& nodes = file.json["nodes"];
    REQUIRE(nodes.size() == 6);
    CHECK(nodes[0]["children"] == Json({1, 2}));
    const Json& outer = nodes[1];
    CHECK_FALSE(outer.contains("mesh"));
    REQUIRE(outer["children"].size() == 1);
    const Json& inner = nodes[outer["children"][0].get<std::size_t>()];
    CHECK(inner["mesh"] == 0);
    REQUIRE(inner["children"].size() == 2);
    CHECK(TransformOf(nodes[inner["children"][0].get<std::size_t>()])[3][0] == 1);
    CHECK(TransformOf(nodes[inner["children"][1].get<std::size_t>()])[3][0] == 2);
    CHECK(TransformOf(nodes[2])[3][0] == 3);
    CHECK(ErrorOf(TransformOf(outer) * TransformOf(inner), matrix) <= 1e-14);
    CHECK(file.log == Lines{"warning: In the .glb a node becomes two: its matrix is sheared."});
}

TEST_CASE("Any affine matrix is written so that readers get it back, and can be checked")
{
    Random random;
    std::vector<ModelNode> children;
    for (int i = 0; i < 400; ++i)
    {
        glm::mat4 matrix(1.0f);
        if (i % 2 == 0) // anything
        {
            const float size = std::pow(10.0f, random.Within(-8, 8));
            for (int column = 0; column < 3; ++column)
                matrix[column] = glm::vec4(random.Vector(size), 0);
            if (i % 6 == 0)
                matrix[2] = matrix[0] - 2.0f * matrix[1];
        }
        else // no shear
        {
            matrix = glm::mat4_cast(random.Rotation()) * glm::mat4_cast(random.Rotation());
            const float size = std::pow(10.0f, random.Within(-4, 4));
            matrix = glm::scale(matrix, random.Vector(size));
        }
        matrix[3] = glm::vec4(random.Vector(1e5f), 1);
        children.push_back(NodeOf({}, matrix));
    }
    const GlbContent file = Write(ModelOf(children));
    std::size_t sheared = 0;
    for (std::size_t i = 0; i < children.size(); ++i)
    {
        const Json& node = file.json["nodes"][1 + i];
        glm::dmat4 matrix = TransformOf(node);
        if (node.contains("children"))
        {
            matrix *= TransformOf(file.json["nodes"][node["children"][0].get<std::size_t>()]);
            ++sheared;
        }
        INFO(i << ": " << node);
        CHECK(ErrorOf(matrix, children[i].GetTransform()) <= (i % 2 == 0 ? 1e-13 : 1e-6));
    }
    CHECK(sheared == 200);
    CHECK(file.log == Lines{"warning: In the .glb a node becomes two: its matrix is sheared."});
}

TEST_CASE("A matrix that is not affine or not finite is left out")
{
    glm::mat4 perspective(1.0f);
    perspective[2][3] = -1;
    glm::mat4 scaled(2.0f);
    glm::mat4 broken(1.0f);
    broken[3][1] = std::numeric_limits<float>::quiet_NaN();
    const std::vector<GlbContent> files = WriteAll(std::vector{OneNode(perspective), OneNode(scaled), OneNode(broken)});
    for (const GlbContent& file : files)
    {
        CHECK(file.json["nodes"] == Json::parse(R"([{"mesh": 0}])"));
        CHECK(file.log ==
              Lines{"warning: In the .glb the matrix of a node is left out: it is not affine or not finite."});
    }
}

TEST_CASE("The meshes of a node are the primitives of one mesh")
{
    const Mesh other = Quad();
    const GlbContent file = Write(ModelOf({NodeOf({BareQuad(), Mesh(), other}), NodeOf({Mesh()})}));
    REQUIRE(file.Count("meshes") == 1);
    CHECK(file.json["meshes"][0]["primitives"].size() == 2);
    CHECK_FALSE(file.Primitive(0, 0)["attributes"].contains("TEXCOORD_0"));
    CHECK(file.Primitive(0, 1)["attributes"].contains("TEXCOORD_0"));
    CHECK(file.json["nodes"][1]["mesh"] == 0);
    CHECK_FALSE(file.json["nodes"][2].contains("mesh"));
    CHECK(file.log == Lines{"warning: In the .glb a mesh is left out: it has no positions of three floats."});
}

TEST_CASE("What several nodes show is written once")
{
    const Mesh mesh = Quad();
    const GlbContent file = Write(ModelOf({NodeOf({mesh}), NodeOf({mesh, BareQuad()}), NodeOf({mesh})}));
    CHECK(file.json["nodes"][1]["mesh"] == 0);
    CHECK(file.json["nodes"][2]["mesh"] == 1);
    CHECK(file.json["nodes"][3]["mesh"] == 0);
    CHECK(file.Count("meshes") == 2);
    CHECK(file.Primitive(0, 0)["attributes"] == file.Primitive(1, 0)["attributes"]);
    CHECK(file.Primitive(0, 0)["indices"] == file.Primitive(1, 0)["indices"]);
    CHECK(file.Count("accessors") == 5); // two attributes and indices, then one attribute and indices
}

TEST_CASE("Meshes that differ in their material share their vertices and indices")
{
    const Mesh mesh = Quad();
    const GlbContent file = Write(ModelOf({NodeOf({mesh.SetMaterial(std::make_shared<GltfPbrMaterial>())}),
                                           NodeOf({mesh.SetMaterial(std::make_shared<UnlitMaterial>())})}));
    REQUIRE(file.Count("meshes") == 2);
    CHECK(file.Count("accessors") == 3);
    CHECK(file.Primitive(0)["attributes"] == file.Primitive(1)["attributes"]);
    CHECK(file.Primitive(0)["material"] == 0);
    CHECK(file.Primitive(1)["material"] == 1);
}

TEST_CASE("What is left out is warned of once, however often it is shown")
{
    const Mesh mesh = With(BareQuad(), Attributes::TexCoord1, std::vector<glm::vec2>(4));
    const GlbContent file = Write(ModelOf({NodeOf({mesh}), NodeOf({mesh, mesh}), NodeOf({BareQuad(), mesh})}));
    CHECK(file.log == Lines{"warning: In the .glb the attribute \"TexCoord1\" is left out: glTF has no TEXCOORD_1 "
                            "without TEXCOORD_0."});
}

TEST_CASE("Textures and materials that a model lists come first, in their order, used or not")
{
    const Texture red = Filled({1, 1}, {255, 0, 0, 255});
    const Texture green = Filled({1, 1}, {0, 255, 0, 255});
    const auto first = std::make_shared<UnlitMaterial>();
    first->SetBaseColorTexture(green);
    const auto second = std::make_shared<GltfPbrMaterial>();
    const auto unlisted = std::make_shared<UnlitMaterial>();
    Model model = ModelOf({NodeOf({Quad().SetMaterial(unlisted), Quad().SetMaterial(second)})});
    for (const Texture& texture : {red, Texture(), green, red})
        model.AddTexture(texture);
    model.AddMaterial(first);
    model.AddMaterial(nullptr);
    model.AddMaterial(second);

    const GlbContent file = Write(model);
    CHECK(file.json["textures"] == Json::parse(R"([{"source": 0}, {"source": 1}, {"source": 0}])"));
    REQUIRE(file.Count("images") == 2);
    CHECK(At(file.GetImage(0), 0, 0) == Rgba8{255, 0, 0, 255});
    CHECK(At(file.GetImage(1), 0, 0) == Rgba8{0, 255, 0, 255});
    REQUIRE(file.Count("materials") == 3);
    CHECK(file.json["materials"][0]["pbrMetallicRoughness"]["baseColorTexture"]["index"] == 1);
    CHECK(file.json["materials"][1].contains("emissiveFactor"));
    CHECK(file.Primitive(0, 0)["material"] == 2);
    CHECK(file.Primitive(0, 1)["material"] == 1);
    CHECK(file.log == nothing);
}

TEST_CASE("A tree of 100000 levels can be written")
{
    CHECK(Write(Chain(1000)).Count("nodes") == 1000);
    // The validator follows trees by recursion, in a time that grows with the square of their depth.
    constexpr std::size_t levels = 100000;
    const auto bytes = EncodeGlb(Chain(levels));
    REQUIRE(bytes);
    const GlbContent file = TakeApart(*bytes);
    REQUIRE(file.Count("nodes") == levels);
    for (std::size_t i = 0; i + 1 < levels; ++i)
        REQUIRE(file.json["nodes"][i]["children"] == Json({i + 1}));
    CHECK(file.json["nodes"][levels - 1]["mesh"] == 0);
}

TEST_CASE("A node that several parents share comes several times")
{
    const ModelNode shared = NodeOf({BareQuad()}, Shifted(7));
    ModelNode parent;
    parent.AddChild(shared);
    const GlbContent file = Write(ModelOf({parent, parent}));
    REQUIRE(file.Count("nodes") == 5);
    CHECK(file.json["nodes"][1]["children"] == Json({3}));
    CHECK(file.json["nodes"][2]["children"] == Json({4}));
    CHECK(file.json["nodes"][3] == file.json["nodes"][4]);
    CHECK(file.Count("meshes") == 1);
}

TEST_CASE("A tree of shared nodes that would fill the memory can't be written")
{
    ModelNode node;
    for (int level = 0; level < 64; ++level) // 2 to the power of 64 paths
    {
        ModelNode parent;
        parent.AddChild(node);
        parent.AddChild(node);
        node = parent;
    }
    Model model;
    model.SetRootNode(node);
    const auto bytes = EncodeGlb(model);
    REQUIRE_FALSE(bytes);
    CHECK(bytes.GetError().message ==
          "A model with more than 4194304 nodes can't be written as .glb; nodes that appear "
          "in several places count each time.");
    CHECK_FALSE(bytes.GetError().machine);
}
