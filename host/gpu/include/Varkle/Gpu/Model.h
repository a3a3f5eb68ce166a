#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Material.h"
#include "Varkle/Gpu/Mesh.h"

#include <glm/mat4x4.hpp>
#include <memory>
#include <utility>
#include <vector>

namespace Varkle
{

/// Is one appearance of a mesh in a model.
class VARKLE_API MeshInstance
{
public:
    explicit MeshInstance(Mesh shownMesh) : mesh(std::move(shownMesh)) {}
    const Mesh& GetMesh() const { return mesh; }

private:
    Mesh mesh;
};

/// Is a node of a model's tree: a transform relative to its parent, meshes, children. Copies share the children, which
/// don't change any more; a tree may be as deep as memory allows.
class VARKLE_API ModelNode
{
public:
    /// Makes a node with the identity as its transform, without meshes or children.
    ModelNode() = default;
    ModelNode(const ModelNode&) = default;
    ModelNode(ModelNode&&) noexcept = default;
    /// Assigns a copy or what was moved; `other` may be a node of this one's own tree.
    ModelNode& operator=(ModelNode other) noexcept;
    ~ModelNode();

    /// Sets the matrix that takes points of this node into the space of its parent.
    void SetTransform(const glm::mat4& newTransform) { transform = newTransform; }
    void AddMeshInstance(MeshInstance instance) { meshInstances.push_back(std::move(instance)); }
    /// Adds a node, and with it the tree below it, behind the other children.
    void AddChild(ModelNode child);

    const glm::mat4& GetTransform() const { return transform; }
    const std::vector<MeshInstance>& GetMeshInstances() const { return meshInstances; }
    const std::vector<std::shared_ptr<const ModelNode>>& GetChildren() const { return children; }

private:
    glm::mat4 transform{1.0f};
    std::vector<MeshInstance> meshInstances;
    std::vector<std::shared_ptr<const ModelNode>> children;
};

/// Is a tree of nodes together with the textures and materials that its file listed. Copies share all of it.
class VARKLE_API Model
{
public:
    Model() = default;

    /// Sets the tree; the one before is let go.
    void SetRootNode(ModelNode node);
    void AddTexture(Texture texture) { textures.push_back(std::move(texture)); }
    void AddMaterial(std::shared_ptr<Material> material) { materials.push_back(std::move(material)); }

    /// Returns the root, or null for an empty model.
    const ModelNode* GetRootNode() const { return root.get(); }
    const std::vector<Texture>& GetTextures() const { return textures; }
    const std::vector<std::shared_ptr<Material>>& GetMaterials() const { return materials; }

private:
    std::shared_ptr<const ModelNode> root;
    std::vector<Texture> textures;
    std::vector<std::shared_ptr<Material>> materials;
};

} // namespace Varkle
