#include "Varkle/Gpu/Model.h"

#include "support/Catch.h"

using namespace Varkle;

namespace
{

glm::mat4 Shifted(float x)
{
    glm::mat4 matrix(1.0f);
    matrix[3][0] = x;
    return matrix;
}

/// A node with the shift given, so that nodes can be told apart.
ModelNode Node(float x)
{
    ModelNode node;
    node.SetTransform(Shifted(x));
    return node;
}

float ShiftOf(const ModelNode& node)
{
    return node.GetTransform()[3][0];
}

// Far deeper than a stack of 8 MB could follow with one call a level.
constexpr int ManyLevels = 100000;

/// A chain of nodes, shifted 1 at the top, 2 below it and so on.
ModelNode Chain(int levels)
{
    ModelNode node = Node(float(levels));
    for (int level = levels - 1; level > 0; --level)
    {
        ModelNode parent = Node(float(level));
        parent.AddChild(std::move(node));
        node = std::move(parent);
    }
    return node;
}

/// The length of the chain of first children.
int CountLevels(const ModelNode& top)
{
    int levels = 1;
    for (const ModelNode* node = &top; !node->GetChildren().empty(); node = node->GetChildren()[0].get())
        ++levels;
    return levels;
}

} // namespace

TEST_CASE("A new node has the identity as its transform, no meshes and no children")
{
    const ModelNode node;
    CHECK(node.GetTransform() == glm::mat4(1.0f));
    CHECK(node.GetMeshInstances().empty());
    CHECK(node.GetChildren().empty());
}

TEST_CASE("A node keeps meshes and children in the order in which they were added")
{
    const auto first = std::make_shared<UnlitMaterial>();
    const auto second = std::make_shared<GltfPbrMaterial>();
    ModelNode node = Node(1);
    node.AddMeshInstance(MeshInstance(Mesh().SetMaterial(first)));
    node.AddMeshInstance(MeshInstance(Mesh().SetMaterial(second)));
    node.AddChild(Node(2));
    node.AddChild(Node(3));

    REQUIRE(node.GetMeshInstances().size() == 2);
    CHECK(node.GetMeshInstances()[0].GetMesh().GetMaterial() == first);
    CHECK(node.GetMeshInstances()[1].GetMesh().GetMaterial() == second);
    REQUIRE(node.GetChildren().size() == 2);
    CHECK(ShiftOf(*node.GetChildren()[0]) == 2);
    CHECK(ShiftOf(*node.GetChildren()[1]) == 3);
}

TEST_CASE("Copies of a node share its children, and what is added to a copy is not in the original")
{
    ModelNode node = Node(1);
    node.AddChild(Node(2));
    ModelNode copy = node;
    copy.AddChild(Node(3));
    CHECK(node.GetChildren().size() == 1);
    REQUIRE(copy.GetChildren().size() == 2);
    CHECK(copy.GetChildren()[0] == node.GetChildren()[0]);
}

TEST_CASE("A copy of a node keeps its tree when the original goes")
{
    ModelNode copy;
    {
        const ModelNode node = Chain(4);
        copy = node;
    }
    REQUIRE(CountLevels(copy) == 4);
    const ModelNode& last = *copy.GetChildren()[0]->GetChildren()[0]->GetChildren()[0];
    CHECK(ShiftOf(last) == 4);
}

TEST_CASE("A node can be given a node of its own tree")
{
    ModelNode node = Chain(3);
    node = *node.GetChildren()[0];
    CHECK(ShiftOf(node) == 2);
    REQUIRE(CountLevels(node) == 2);
    CHECK(ShiftOf(*node.GetChildren()[0]) == 3);
}

TEST_CASE("A node can be given a copy of itself as a child")
{
    ModelNode node = Chain(2);
    node.AddChild(node);
    REQUIRE(node.GetChildren().size() == 2);
    CHECK(node.GetChildren()[1]->GetChildren().size() == 1);
}

TEST_CASE("A node that is moved takes its tree along")
{
    ModelNode node = Chain(2);
    const ModelNode* child = node.GetChildren()[0].get();
    const ModelNode target = std::move(node);
    REQUIRE(target.GetChildren().size() == 1);
    CHECK(target.GetChildren()[0].get() == child);
}

TEST_CASE("A tree of 100000 levels can be built, copied, assigned and destroyed")
{
    Model model;
    {
        ModelNode top = Chain(ManyLevels);
        const ModelNode copy = top;
        CHECK(CountLevels(copy) == ManyLevels);
        model.SetRootNode(copy);
        top = Node(0); // the copy still has it all
        CHECK(CountLevels(copy) == ManyLevels);
    }
    REQUIRE(model.GetRootNode() != nullptr);
    CHECK(CountLevels(*model.GetRootNode()) == ManyLevels);

    Model other = model;
    model = Model();
    CHECK(CountLevels(*other.GetRootNode()) == ManyLevels);
    other.SetRootNode(Node(1));
    CHECK(CountLevels(*other.GetRootNode()) == 1);
}

TEST_CASE("Two deep trees that share their lower part go one after the other")
{
    const ModelNode shared = Chain(ManyLevels);
    ModelNode left = Node(1);
    left.AddChild(shared);
    {
        ModelNode right = Node(2);
        right.AddChild(shared);
        right.AddChild(shared);
        CHECK(CountLevels(right) == ManyLevels + 1);
    }
    CHECK(CountLevels(left) == ManyLevels + 1);
}

TEST_CASE("A tree of shared nodes goes without visiting every path")
{
    ModelNode node;
    for (int level = 0; level < 64; ++level) // 2 to the power of 64 paths, 128 nodes
    {
        ModelNode parent;
        parent.AddChild(node);
        parent.AddChild(node);
        node = parent;
    }
    CHECK(CountLevels(node) == 65);
}

TEST_CASE("An empty model has no root, no textures and no materials")
{
    const Model model;
    CHECK(model.GetRootNode() == nullptr);
    CHECK(model.GetTextures().empty());
    CHECK(model.GetMaterials().empty());
}

TEST_CASE("A model keeps its textures and materials in the order in which they were added")
{
    const auto unlit = std::make_shared<UnlitMaterial>();
    const auto pbr = std::make_shared<GltfPbrMaterial>();
    Model model;
    model.AddTexture(Texture());
    model.AddTexture(Texture());
    model.AddMaterial(unlit);
    model.AddMaterial(pbr);
    CHECK(model.GetTextures().size() == 2);
    CHECK(model.GetMaterials() == std::vector<std::shared_ptr<Material>>{unlit, pbr});
}

TEST_CASE("A metallic-roughness material starts with the defaults of glTF 2.0")
{
    const GltfPbrMaterial material;
    CHECK(material.GetBaseColorFactor() == glm::vec4(1.0f));
    CHECK(material.GetMetallicFactor() == 1.0f);
    CHECK(material.GetRoughnessFactor() == 1.0f);
    CHECK(material.GetNormalScale() == 1.0f);
    CHECK(material.GetOcclusionStrength() == 1.0f);
    CHECK(material.GetEmissiveFactor() == glm::vec3(0.0f));
    CHECK(material.GetAlphaMode() == GltfPbrMaterial::AlphaMode::Opaque);
    CHECK(material.GetAlphaCutoff() == 0.5f);
    CHECK_FALSE(material.IsDoubleSided());
    CHECK_FALSE(material.GetBaseColorTexture());
    CHECK_FALSE(material.GetMetallicRoughnessTexture());
    CHECK_FALSE(material.GetNormalTexture());
    CHECK_FALSE(material.GetOcclusionTexture());
    CHECK_FALSE(material.GetEmissiveTexture());
}

TEST_CASE("A material's class is known from its base")
{
    const std::shared_ptr<Material> material = std::make_shared<UnlitMaterial>();
    CHECK(std::dynamic_pointer_cast<UnlitMaterial>(material) != nullptr);
    CHECK(std::dynamic_pointer_cast<GltfPbrMaterial>(material) == nullptr);
}
