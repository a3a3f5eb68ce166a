#include "mesh/MeshArrays.h"

#include <limits>
#include <stdexcept>
#include <string>

namespace Varkle
{

namespace
{

template<class T>
Attribute MakeAttribute(const AttributeSemantic& semantic, const std::vector<T>& values)
{
    Attribute attribute(semantic, unsigned(values.size()));
    attribute.GetBuffer().Upload(values.data(), values.size() * sizeof(T), 0);
    return attribute;
}

} // namespace

void MeshArrays::Reserve(std::uint64_t vertexCount, std::uint64_t indexCount)
{
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    if (positions.size() + vertexCount > most || indices.size() + indexCount > most)
        throw std::length_error("a mesh can have " + std::to_string(most) + " vertices and indices, not " +
                                std::to_string(std::max(vertexCount, indexCount)) + ".");
    positions.reserve(positions.size() + vertexCount);
    normals.reserve(normals.size() + vertexCount);
    tangents.reserve(tangents.size() + vertexCount);
    texCoords.reserve(texCoords.size() + vertexCount);
    indices.reserve(indices.size() + indexCount);
}

void MeshArrays::AppendVertex(const glm::vec3& position, const glm::vec3& normal, const glm::vec4& tangent,
                              const glm::vec2& texCoord)
{
    positions.push_back(position);
    normals.push_back(normal);
    tangents.push_back(tangent);
    texCoords.push_back(texCoord);
}

Mesh MeshArrays::Upload() const
{
    Connectivity connectivity(wgpu::PrimitiveTopology::TriangleList, unsigned(indices.size()),
                              wgpu::IndexFormat::Uint32);
    connectivity.GetBuffer().Upload(indices.data(), indices.size() * sizeof(std::uint32_t), 0);
    return Mesh()
        .AddAttribute(MakeAttribute(Attributes::Position, positions))
        .AddAttribute(MakeAttribute(Attributes::Normal, normals))
        .AddAttribute(MakeAttribute(Attributes::Tangent, tangents))
        .AddAttribute(MakeAttribute(Attributes::TexCoord0, texCoords))
        .SetConnectivity(connectivity);
}

} // namespace Varkle
