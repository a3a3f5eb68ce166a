#include "mesh/Sphere.h"

#include "mesh/MeshArrays.h"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <glm/gtc/constants.hpp>

namespace Varkle
{

namespace
{

struct Corner
{
    glm::vec3 position;
    glm::vec3 tangent;
    glm::vec2 texCoord;
};

// The points of the sphere: ring 0 is the north pole, meridian 0 lies in the direction of +Z.
struct Grid
{
    int meridians;
    int rings;
    float radius;

    Corner GetCorner(int ring, int meridian) const
    {
        const float theta = float(ring) * glm::pi<float>() / float(rings);
        // The last meridian is the first one again, to the last bit.
        const float phi = 2.0f * float(meridian % meridians) * glm::pi<float>() / float(meridians);
        const float ringRadius = radius * std::sin(theta);
        return {{ringRadius * std::sin(phi), radius * std::cos(theta), ringRadius * std::cos(phi)},
                {std::cos(phi), 0.0f, -std::sin(phi)},
                {float(meridian) / float(meridians), float(ring) / float(rings)}};
    }
    Corner GetNorthPole() const { return {{0, radius, 0}, {1, 0, 0}, {0.5f, 0}}; }
    Corner GetSouthPole() const { return {{0, -radius, 0}, {1, 0, 0}, {0.5f, 1}}; }

    // Of both constructions: two caps of one triangle a meridian, bands of two.
    double GetIndexCount() const { return 6.0 * meridians * (rings - 1.0); }
};

void AppendVertex(const Corner& corner, const glm::vec3& normal, MeshArrays& arrays)
{
    arrays.AppendVertex(corner.position, normal, glm::vec4(corner.tangent, 1.0f), corner.texCoord);
}

// Neighboring triangles share their vertices; the last meridian repeats the first with another texture coordinate.
Mesh BuildSmooth(const Grid& grid)
{
    MeshArrays arrays;
    arrays.Reserve(2.0 + (grid.rings - 1.0) * (grid.meridians + 1.0), grid.GetIndexCount());
    AppendVertex(grid.GetNorthPole(), {0, 1, 0}, arrays);
    for (int i = 1; i < grid.rings; ++i)
    {
        for (int j = 0; j <= grid.meridians; ++j)
        {
            const Corner corner = grid.GetCorner(i, j);
            AppendVertex(corner, glm::normalize(corner.position), arrays);
        }
    }
    AppendVertex(grid.GetSouthPole(), {0, -1, 0}, arrays);

    const auto meridians = std::uint32_t(grid.meridians);
    const auto ring = [meridians](int i) { return 1 + std::uint32_t(i - 1) * (meridians + 1); };
    for (std::uint32_t j = 0; j < meridians; ++j)
        arrays.AppendTriangle(0, 1 + j, 2 + j);
    for (int i = 1; i < grid.rings - 1; ++i)
    {
        for (std::uint32_t j = 0; j < meridians; ++j)
        {
            const std::uint32_t a = ring(i) + j;
            const std::uint32_t c = ring(i + 1) + j;
            arrays.AppendTriangle(a, c, c + 1);
            arrays.AppendTriangle(a, c + 1, a + 1);
        }
    }
    const std::uint32_t southPole = arrays.GetVertexCount() - 1;
    const std::uint32_t lastRing = ring(grid.rings - 1);
    for (std::uint32_t j = 0; j < meridians; ++j)
        arrays.AppendTriangle(southPole, lastRing + j + 1, lastRing + j);
    return arrays.Upload();
}

void AppendFacet(Corner a, Corner b, Corner c, MeshArrays& arrays)
{
    const glm::vec3 normal = glm::normalize(glm::cross(b.position - a.position, c.position - a.position));
    const glm::vec3 sum = a.tangent + b.tangent + c.tangent;
    // With three meridians the tangents around a pole can cancel: the first is as good as any.
    const glm::vec3 tangent = glm::length(sum) > 1e-5f ? glm::normalize(sum / 3.0f) : a.tangent;
    const std::uint32_t first = arrays.GetVertexCount();
    for (Corner* const corner : {&a, &b, &c})
    {
        corner->tangent = tangent;
        AppendVertex(*corner, normal, arrays);
    }
    arrays.AppendTriangle(first, first + 1, first + 2);
}

// Every triangle has vertices of its own, with its own normal.
Mesh BuildFaceted(const Grid& grid)
{
    MeshArrays arrays;
    arrays.Reserve(grid.GetIndexCount(), grid.GetIndexCount());
    for (int j = 0; j < grid.meridians; ++j)
        AppendFacet(grid.GetNorthPole(), grid.GetCorner(1, j), grid.GetCorner(1, j + 1), arrays);
    for (int i = 1; i < grid.rings - 1; ++i)
    {
        for (int j = 0; j < grid.meridians; ++j)
        {
            const Corner a = grid.GetCorner(i, j);
            const Corner c = grid.GetCorner(i + 1, j + 1);
            AppendFacet(a, grid.GetCorner(i + 1, j), c, arrays);
            AppendFacet(a, c, grid.GetCorner(i, j + 1), arrays);
        }
    }
    const int last = grid.rings - 1;
    for (int j = 0; j < grid.meridians; ++j)
        AppendFacet(grid.GetSouthPole(), grid.GetCorner(last, j + 1), grid.GetCorner(last, j), arrays);
    return arrays.Upload();
}

} // namespace

Sphere::Sphere() = default;

Sphere::~Sphere() = default;

const ObjectType* Sphere::Type()
{
    static const ObjectType type("Varkle.Mesh.Sphere", Operator::Type(), [] { return new Sphere; });
    return &type;
}

void Sphere::Execute(ExecutionContext&)
{
    const glm::ivec2 counts = segments.Value();
    const Grid grid{std::max(counts.x, 3), std::max(counts.y, 2), float(radius.Value())};
    meshOutput.Activate(smoothNormals.Value() ? BuildSmooth(grid) : BuildFaceted(grid));
}

} // namespace Varkle
