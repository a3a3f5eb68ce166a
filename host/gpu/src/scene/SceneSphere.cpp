#include "scene/SceneSphere.h"

#include <cmath>
#include <cstdint>
#include <glm/gtc/constants.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <vector>

namespace Varkle
{

namespace
{

// Fine enough for the outline of a large picture.
constexpr unsigned columns = 192;
constexpr unsigned rows = 96;

template<class T>
Mesh With(const Mesh& mesh, const AttributeSemantic& semantic, const std::vector<T>& values)
{
    const Attribute attribute(semantic, unsigned(values.size()));
    attribute.GetBuffer().Upload(values.data(), values.size() * sizeof(T), 0);
    return mesh.AddAttribute(attribute);
}

std::vector<std::uint32_t> MakeIndices()
{
    std::vector<std::uint32_t> indices;
    for (unsigned row = 0; row < rows; ++row)
    {
        for (unsigned column = 0; column < columns; ++column)
        {
            const std::uint32_t above = row * (columns + 1) + column;
            const std::uint32_t below = above + columns + 1;
            indices.insert(indices.end(), {above, below, below + 1, above, below + 1, above + 1});
        }
    }
    return indices;
}

} // namespace

Mesh MakeSceneSphere()
{
    std::vector<glm::vec3> positions;
    std::vector<glm::vec4> tangents;
    std::vector<glm::vec2> uvs;
    for (unsigned row = 0; row <= rows; ++row)
    {
        for (unsigned column = 0; column <= columns; ++column)
        {
            const glm::dvec2 uv(double(column) / columns, double(row) / rows);
            const double around = 2.0 * glm::pi<double>() * uv.x;
            const double down = glm::pi<double>() * uv.y;
            // The middle of the texture looks to +Z, where the camera is at yaw 0.
            positions.emplace_back(-std::sin(down) * std::sin(around), std::cos(down),
                                   -std::sin(down) * std::cos(around));
            tangents.emplace_back(-std::cos(around), 0.0, std::sin(around), 1.0);
            uvs.emplace_back(uv);
        }
    }
    const std::vector<std::uint32_t> indices = MakeIndices();
    const Connectivity connectivity(wgpu::PrimitiveTopology::TriangleList, unsigned(indices.size()),
                                    wgpu::IndexFormat::Uint32);
    connectivity.GetBuffer().Upload(indices.data(), indices.size() * sizeof(std::uint32_t), 0);
    Mesh mesh = Mesh().SetConnectivity(connectivity);
    mesh = With(mesh, Attributes::Position, positions);
    mesh = With(mesh, Attributes::Normal, positions);
    mesh = With(mesh, Attributes::Tangent, tangents);
    return With(mesh, Attributes::TexCoord0, uvs);
}

} // namespace Varkle
