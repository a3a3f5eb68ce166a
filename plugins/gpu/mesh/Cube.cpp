#include "mesh/Cube.h"

#include "mesh/MeshArrays.h"

#include <algorithm>

namespace Varkle
{

namespace
{

// A grid of columns along u and rows along v.
struct Face
{
    glm::vec3 origin;
    glm::vec3 u;
    glm::vec3 v;
    glm::vec3 normal; // u x v: counter-clockwise seen from outside
    glm::vec3 tangent;
    int columns;
    int rows;
};

void AppendFace(const Face& face, MeshArrays& arrays)
{
    const auto columns = std::uint32_t(face.columns);
    const auto rows = std::uint32_t(face.rows);
    const std::uint32_t base = arrays.GetVertexCount();
    for (int j = 0; j <= face.rows; ++j)
    {
        for (int i = 0; i <= face.columns; ++i)
        {
            const float s = float(i) / float(face.columns);
            const float t = float(j) / float(face.rows);
            // The texture's first row is its top: pictures stand upright on the side faces.
            arrays.AppendVertex(face.origin + s * face.u + t * face.v, face.normal, glm::vec4(face.tangent, 1.0f),
                                {s, 1.0f - t});
        }
    }

    const std::uint32_t stride = columns + 1;
    for (std::uint32_t j = 0; j < rows; ++j)
    {
        for (std::uint32_t i = 0; i < columns; ++i)
        {
            const std::uint32_t a = base + j * stride + i;
            const std::uint32_t c = a + stride;
            arrays.AppendTriangle(a, a + 1, c + 1);
            arrays.AppendTriangle(a, c + 1, c);
        }
    }
}

Mesh BuildCube(const glm::ivec3& subdivisions, const glm::vec3& size)
{
    const glm::ivec3 n = glm::max(subdivisions, 1);
    const glm::vec3 s = size;
    const glm::vec3 h = size / 2.0f;
    const Face faces[] = {
        {{-h.x, -h.y, +h.z}, {s.x, 0, 0}, {0, s.y, 0}, {0, 0, 1}, {1, 0, 0}, n.x, n.y},
        {{+h.x, -h.y, -h.z}, {-s.x, 0, 0}, {0, s.y, 0}, {0, 0, -1}, {-1, 0, 0}, n.x, n.y},
        {{+h.x, -h.y, +h.z}, {0, 0, -s.z}, {0, s.y, 0}, {1, 0, 0}, {0, 0, -1}, n.z, n.y},
        {{-h.x, -h.y, -h.z}, {0, 0, s.z}, {0, s.y, 0}, {-1, 0, 0}, {0, 0, 1}, n.z, n.y},
        {{-h.x, +h.y, +h.z}, {s.x, 0, 0}, {0, 0, -s.z}, {0, 1, 0}, {1, 0, 0}, n.x, n.z},
        {{-h.x, -h.y, -h.z}, {s.x, 0, 0}, {0, 0, s.z}, {0, -1, 0}, {1, 0, 0}, n.x, n.z},
    };
    double vertexCount = 0;
    double indexCount = 0;
    for (const Face& face : faces)
    {
        vertexCount += (face.columns + 1.0) * (face.rows + 1.0);
        indexCount += 6.0 * face.columns * face.rows;
    }
    MeshArrays arrays;
    arrays.Reserve(vertexCount, indexCount);
    for (const Face& face : faces)
        AppendFace(face, arrays);
    return arrays.Upload();
}

} // namespace

Cube::Cube() = default;

Cube::~Cube() = default;

const ObjectType* Cube::Type()
{
    static const ObjectType type("Varkle.Mesh.Cube", Operator::Type(), [] { return new Cube; });
    return &type;
}

void Cube::Execute(ExecutionContext&)
{
    meshOutput.Activate(BuildCube(subdivisions.Value(), glm::vec3(size.Value())));
}

} // namespace Varkle
