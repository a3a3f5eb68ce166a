#pragma once

#include "Varkle/Gpu/Mesh.h"

#include <cstddef>
#include <cstdint>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <vector>

namespace Varkle
{

/// Holds the triangles of a mesh that is being built on the CPU.
struct MeshArrays
{
    std::vector<glm::vec3> positions;
    std::vector<glm::vec3> normals;
    std::vector<glm::vec4> tangents; // w = handedness
    std::vector<glm::vec2> texCoords;
    std::vector<std::uint32_t> indices;

    /// What the vertices and indices of a mesh may take: 2 GiB. While it is uploaded it is in memory up to three times.
    static constexpr std::uint64_t MaxBytes = std::uint64_t(1) << 31;

    /// Makes room for all vertices and indices of a mesh, before the first is appended. Whole numbers, as double: the
    /// product of a user's numbers may need more than 64 bits. Throws std::length_error, before anything is allocated,
    /// when they are more than a mesh can have or than MaxBytes can hold, and what the allocation throws when the
    /// memory does not suffice.
    void Reserve(double vertexCount, double indexCount);

    void AppendVertex(const glm::vec3& position, const glm::vec3& normal, const glm::vec4& tangent,
                      const glm::vec2& texCoord);
    void AppendTriangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) { indices.insert(indices.end(), {a, b, c}); }

    std::uint32_t GetVertexCount() const { return std::uint32_t(positions.size()); }

    /// Uploads everything: "Position", "Normal", "Tangent", "TexCoord0" and a triangle list with 32-bit indices.
    Mesh Upload() const;
};

} // namespace Varkle
