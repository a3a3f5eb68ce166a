#pragma once

#include "Varkle/Gpu/Material.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"

#include <cmath>
#include <cstdint>
#include <glm/glm.hpp>
#include <glm/gtc/constants.hpp>
#include <memory>
#include <vector>

// Tiny meshes and models for tests of what is drawn.
namespace Varkle::Testing
{

template<class T>
Mesh With(const Mesh& mesh, std::string_view name, wgpu::VertexFormat format, const std::vector<T>& values)
{
    const Attribute attribute(name, format, unsigned(values.size() * sizeof(T) / GetVertexFormatSize(format)));
    attribute.GetBuffer().Upload(values.data(), values.size() * sizeof(T), 0);
    return mesh.AddAttribute(attribute);
}

template<class T>
Mesh With(const Mesh& mesh, const AttributeSemantic& semantic, const std::vector<T>& values)
{
    return With(mesh, semantic.name, semantic.format, values);
}

/// Sets the indices; 16-bit ones for a vector of those.
template<class T>
Mesh Indexed(const Mesh& mesh, const std::vector<T>& indices,
             wgpu::PrimitiveTopology topology = wgpu::PrimitiveTopology::TriangleList)
{
    const Connectivity connectivity(topology, unsigned(indices.size()),
                                    sizeof(T) == 2 ? wgpu::IndexFormat::Uint16 : wgpu::IndexFormat::Uint32);
    connectivity.GetBuffer().Upload(indices.data(), indices.size() * sizeof(T), 0);
    return mesh.SetConnectivity(connectivity);
}

inline const std::vector<std::uint32_t> quadIndices{0, 1, 2, 0, 2, 3};

/// Makes a square in the plane z = 0 from -1 to 1 that faces +Z, with positions only. Corners run from below left to
/// the right.
inline Mesh BareQuad()
{
    const std::vector<glm::vec3> corners{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
    return Indexed(With(Mesh(), Attributes::Position, corners), quadIndices);
}

/// Makes the same with a texture that stands upright.
inline Mesh Quad()
{
    return With(BareQuad(), Attributes::TexCoord0, std::vector<glm::vec2>{{0, 1}, {1, 1}, {1, 0}, {0, 0}});
}

/// Makes a box around the origin with sides of that length, with normals if wanted.
inline Mesh Box(float side, bool normals)
{
    const glm::vec3 faces[][2] = {{{0, 0, 1}, {1, 0, 0}},  {{0, 0, -1}, {-1, 0, 0}}, {{1, 0, 0}, {0, 0, -1}},
                                  {{-1, 0, 0}, {0, 0, 1}}, {{0, 1, 0}, {1, 0, 0}},   {{0, -1, 0}, {1, 0, 0}}};
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> directions;
    std::vector<std::uint32_t> indices;
    for (const auto& [normal, right] : faces)
    {
        const glm::vec3 up = glm::cross(normal, right);
        for (const std::uint32_t index : quadIndices)
            indices.push_back(std::uint32_t(positions.size()) + index);
        for (const glm::vec3& corner : {-right - up, right - up, right + up, up - right})
        {
            positions.push_back((normal + corner) * (side / 2.0f));
            directions.push_back(normal);
        }
    }
    const Mesh box = Indexed(With(Mesh(), Attributes::Position, positions), indices);
    return normals ? With(box, Attributes::Normal, directions) : box;
}

inline Mesh Sphere(float radius, const glm::vec3& center = {})
{
    constexpr unsigned columns = 64;
    constexpr unsigned rows = 32;
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<std::uint32_t> indices;
    for (unsigned row = 0; row <= rows; ++row)
    {
        for (unsigned column = 0; column <= columns; ++column)
        {
            const float down = glm::pi<float>() * float(row) / float(rows);
            const float around = 2.0f * glm::pi<float>() * float(column) / float(columns);
            normals.emplace_back(std::sin(down) * std::sin(around), std::cos(down), std::sin(down) * std::cos(around));
            positions.push_back(center + radius * normals.back());
            const std::uint32_t at = row * (columns + 1) + column;
            const std::uint32_t below = at + columns + 1;
            if (row < rows && column < columns)
                indices.insert(indices.end(), {at, below, below + 1, at, below + 1, at + 1});
        }
    }
    return With(Indexed(With(Mesh(), Attributes::Position, positions), indices), Attributes::Normal, normals);
}

inline std::shared_ptr<UnlitMaterial> Unlit(const glm::vec4& color, const Texture& texture = {})
{
    auto material = std::make_shared<UnlitMaterial>();
    material->SetBaseColor(color);
    material->SetBaseColorTexture(texture);
    return material;
}

inline std::shared_ptr<GltfPbrMaterial> Pbr(const glm::vec4& color, float metallic, float roughness)
{
    auto material = std::make_shared<GltfPbrMaterial>();
    material->SetBaseColorFactor(color);
    material->SetMetallicFactor(metallic);
    material->SetRoughnessFactor(roughness);
    return material;
}

inline ModelNode Node(const glm::mat4& transform, const Mesh& mesh)
{
    ModelNode node;
    node.SetTransform(transform);
    node.AddMeshInstance(MeshInstance(mesh));
    return node;
}

inline Model ModelOf(const std::vector<ModelNode>& nodes)
{
    ModelNode root;
    for (const ModelNode& node : nodes)
        root.AddChild(node);
    Model model;
    model.SetRootNode(root);
    return model;
}

} // namespace Varkle::Testing
