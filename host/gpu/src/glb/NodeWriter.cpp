#include "glb/NodeWriter.h"

#include "glb/NodeTransform.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Varkle::Glb
{

namespace
{

Json ToJson(const glm::dquat& q)
{
    return {q.x, q.y, q.z, q.w};
}

// Readers take a matrix for sheared when what they make of its parts differs by a fixed amount, whatever its size: only
// matrices that are safe from that are written as they are, the others as their parts.
bool CanBeMatrix(const NodeTransform& parts)
{
    constexpr double smallest = 1e-3;
    constexpr double largest = 16.0;
    for (int i = 0; i < 3; ++i)
    {
        if (std::abs(parts.scale[i]) < smallest || std::abs(parts.scale[i]) > largest)
            return false;
    }
    return !parts.innerRotation;
}

// Sets the transform of a node that has its content already. A sheared one becomes two nodes: the content goes to a
// child, which is added behind the others.
void SetTransform(Json& node, const glm::mat4& matrix, Json::array_t& nodes, GlbFile& file)
{
    if (matrix == glm::mat4(1.0f))
        return;
    const std::optional<NodeTransform> parts = Decompose(matrix);
    if (!parts)
        return file.Warn("the matrix of a node is left out: it is not affine or not finite.");
    if (CanBeMatrix(*parts))
    {
        node["matrix"] = Glb::ToJson({&matrix[0][0], 16});
        return;
    }
    if (parts->innerRotation)
    {
        file.Warn("a node becomes two: its matrix is sheared.");
        node["rotation"] = ToJson(*parts->innerRotation);
        nodes.push_back(std::move(node));
        node = {{"children", Json::array({nodes.size() - 1})}};
    }
    node["translation"] = Glb::ToJson(parts->translation);
    node["rotation"] = ToJson(parts->rotation);
    node["scale"] = Glb::ToJson(parts->scale);
}

} // namespace

std::vector<const ModelNode*> ListNodes(const ModelNode& root, std::size_t limit)
{
    std::vector<const ModelNode*> nodes = {&root};
    for (std::size_t i = 0; i < nodes.size(); ++i)
    {
        for (const std::shared_ptr<const ModelNode>& child : nodes[i]->GetChildren())
        {
            if (nodes.size() == limit)
                return nodes;
            nodes.push_back(child.get());
        }
    }
    return nodes;
}

void AddNodes(GlbFile& file, const std::vector<const ModelNode*>& nodes, MeshWriter& meshes)
{
    Json::array_t list(nodes.size());
    std::size_t nextChild = 1;
    for (std::size_t i = 0; i < nodes.size(); ++i)
    {
        Json node = Json::object();
        if (const std::optional<std::size_t> mesh = meshes.Add(nodes[i]->GetMeshInstances()))
            node["mesh"] = *mesh;
        std::vector<std::size_t> children(nodes[i]->GetChildren().size());
        std::iota(children.begin(), children.end(), nextChild);
        nextChild += children.size();
        if (!children.empty())
            node["children"] = children;
        SetTransform(node, nodes[i]->GetTransform(), list, file);
        list[i] = std::move(node);
    }
    file.root["nodes"] = std::move(list);
    file.root["scenes"] = {{{"nodes", {0}}}};
    file.root["scene"] = 0;
}

} // namespace Varkle::Glb
