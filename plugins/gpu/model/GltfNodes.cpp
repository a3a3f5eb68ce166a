#include "model/GltfNodes.h"

#include "Varkle/Core/Log.h"

#include <cstddef>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <string>
#include <utility>

namespace Varkle
{

namespace
{

// glTF allows a node one place only. Files that give it more are read, but a hundred such nodes could make a tree
// without end, each being below the next one twice.
constexpr std::size_t MaxRepeatedNodes = 100'000;
// As many nodes may each show as many meshes.
constexpr std::size_t MaxInstances = std::size_t(1) << 22;

glm::mat4 ReadMatrix(const std::vector<double>& values)
{
    glm::mat4 matrix;
    for (int i = 0; i < 16; ++i)
        matrix[i / 4][i % 4] = float(values[std::size_t(i)]);
    return matrix;
}

glm::mat4 ReadTransform(const tinygltf::Node& node)
{
    if (node.matrix.size() == 16)
        return ReadMatrix(node.matrix);
    glm::mat4 transform(1.0f);
    if (const std::vector<double>& t = node.translation; t.size() == 3)
        transform = glm::translate(transform, glm::vec3(t[0], t[1], t[2]));
    if (const std::vector<double>& r = node.rotation; r.size() == 4)
        transform *= glm::mat4_cast(glm::quat(float(r[3]), float(r[0]), float(r[1]), float(r[2])));
    if (const std::vector<double>& s = node.scale; s.size() == 3)
        transform = glm::scale(transform, glm::vec3(s[0], s[1], s[2]));
    return transform;
}

// Builds trees in a loop: files may nest nodes deeper than the stack is.
class TreeBuilder
{
public:
    TreeBuilder(const tinygltf::Model& file, const std::vector<std::vector<Mesh>>& fileMeshes)
        : model(file), meshes(fileMeshes), isOpen(file.nodes.size()), isUsed(file.nodes.size())
    {
    }

    // Nothing when there is no such node.
    std::optional<ModelNode> Build(int index)
    {
        if (!CanOpen(index))
            return std::nullopt;
        Open(index);
        while (true)
        {
            Level& level = path.back();
            const std::vector<int>& children = model.nodes[level.index].children;
            if (level.nextChild < children.size())
            {
                const int child = children[level.nextChild++];
                if (CanOpen(child))
                    Open(child);
                continue;
            }
            ModelNode done = std::move(level.node);
            isOpen[level.index] = false;
            path.pop_back();
            if (path.empty())
                return done;
            path.back().node.AddChild(std::move(done));
        }
    }

private:
    struct Level
    {
        std::size_t index;
        std::size_t nextChild;
        ModelNode node;
    };

    bool CanOpen(int index)
    {
        if (index < 0 || std::size_t(index) >= model.nodes.size() || isOpen[std::size_t(index)])
            return false;
        if (!isUsed[std::size_t(index)])
            return true;
        if (repeatsLeft > 0)
        {
            --repeatsLeft;
            return true;
        }
        WarnOnce("The model's nodes appear in several places more than " + std::to_string(MaxRepeatedNodes) +
                 " times. Further repetitions are left out.");
        return false;
    }

    void Open(int signedIndex)
    {
        const auto index = std::size_t(signedIndex);
        isOpen[index] = true;
        isUsed[index] = true;
        path.push_back({index, 0, MakeNode(model.nodes[index])});
    }

    ModelNode MakeNode(const tinygltf::Node& from)
    {
        ModelNode node;
        node.SetTransform(ReadTransform(from));
        if (from.mesh < 0 || std::size_t(from.mesh) >= meshes.size())
            return node;
        const std::vector<Mesh>& shown = meshes[std::size_t(from.mesh)];
        if (shown.size() > instancesLeft)
        {
            WarnOnce("The model's nodes show more than " + std::to_string(MaxInstances) +
                     " meshes. Further ones are left out.");
            return node;
        }
        instancesLeft -= shown.size();
        for (const Mesh& mesh : shown)
            node.AddMeshInstance(MeshInstance(mesh));
        return node;
    }

    void WarnOnce(const std::string& text)
    {
        if (!std::exchange(hasWarned, true))
            LogWarning(text);
    }

    const tinygltf::Model& model;
    const std::vector<std::vector<Mesh>>& meshes;
    std::vector<bool> isOpen; // the node is on the way from the root to the one being built
    std::vector<bool> isUsed;
    std::vector<Level> path;
    std::size_t repeatsLeft = MaxRepeatedNodes;
    std::size_t instancesLeft = MaxInstances;
    bool hasWarned = false;
};

// The file's default scene, else its first one.
const tinygltf::Scene* FindScene(const tinygltf::Model& model)
{
    if (model.defaultScene >= 0 && std::size_t(model.defaultScene) < model.scenes.size())
        return &model.scenes[std::size_t(model.defaultScene)];
    return model.scenes.empty() ? nullptr : &model.scenes.front();
}

} // namespace

std::optional<ModelNode> BuildGltfTree(const tinygltf::Model& model, const std::vector<std::vector<Mesh>>& meshes)
{
    const tinygltf::Scene* const scene = FindScene(model);
    if (!scene || scene->nodes.empty())
        return std::nullopt;
    TreeBuilder builder(model, meshes);
    if (scene->nodes.size() == 1)
        return builder.Build(scene->nodes.front());
    ModelNode root;
    for (const int index : scene->nodes)
    {
        if (std::optional<ModelNode> node = builder.Build(index))
            root.AddChild(std::move(*node));
    }
    return root;
}

} // namespace Varkle
