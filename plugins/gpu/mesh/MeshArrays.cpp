#include "mesh/MeshArrays.h"

#include <algorithm>
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

// "12345", without a point.
std::string InDigits(double count)
{
    const std::string text = std::to_string(count);
    return text.substr(0, text.find_first_of(".,"));
}

} // namespace

void MeshArrays::Reserve(double vertexCount, double indexCount)
{
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    if (std::max(vertexCount, indexCount) > double(most))
        throw std::length_error("a mesh can have " + std::to_string(most) + " vertices and indices, not " +
                                InDigits(std::max(vertexCount, indexCount)) + ".");
    constexpr std::size_t vertexSize = 2 * sizeof(glm::vec3) + sizeof(glm::vec4) + sizeof(glm::vec2);
    const double bytes = vertexCount * double(vertexSize) + indexCount * double(sizeof(std::uint32_t));
    if (bytes > double(MaxBytes))
        throw std::length_error("the vertices and indices of a mesh can take " + std::to_string(MaxBytes) +
                                " bytes, not " + InDigits(bytes) + ".");
    const auto vertices = std::size_t(vertexCount);
    positions.reserve(vertices);
    normals.reserve(vertices);
    tangents.reserve(vertices);
    texCoords.reserve(vertices);
    indices.reserve(std::size_t(indexCount));
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
