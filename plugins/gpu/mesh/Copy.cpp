#include "mesh/Copy.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Graphics.h"
#include "mesh/TakeMesh.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace Varkle
{

namespace
{

// What the shader moves; other attributes are repeated as they are.
bool IsMoved(const Attribute& attribute)
{
    const std::string& name = attribute.GetName();
    return name == "Position" || name == "Normal" || name == "Tangent";
}

// The matrices of the copies are computed one after the other on the main thread: a million take about a tenth of a
// second and 128 MB.
constexpr std::uint64_t MaxCopies = 1'000'000;

// Returns how many copies fit into a mesh and into the buffers that the GPU can make and give to the shaders.
std::uint64_t CountPossibleCopies(const Mesh& mesh)
{
    constexpr std::uint64_t mostElements = std::numeric_limits<std::uint32_t>::max();
    wgpu::Limits limits;
    if (const wgpu::Device device = Graphics::GetDevice())
        device.GetLimits(&limits);
    const std::uint64_t mostBound = limits.maxStorageBufferBindingSize;

    std::uint64_t most = std::min(MaxCopies, mostBound / sizeof(glm::mat4));
    const auto limit = [&most](std::uint64_t elements, std::uint64_t elementSize, std::uint64_t mostBytes)
    {
        if (elements > 0)
            most = std::min({most, mostElements / elements, mostBytes / elementSize / elements});
    };
    for (const Attribute& attribute : mesh.GetAttributes())
        limit(attribute.GetVertexCount(), std::max(GetVertexFormatSize(attribute.GetFormat()), 1U),
              IsMoved(attribute) ? mostBound : limits.maxBufferSize);
    if (mesh.GetConnectivity())
        limit(mesh.GetConnectivity()->GetIndexCount(), sizeof(std::uint32_t), mostBound);
    return most;
}

Attribute Repeat(const Attribute& source, unsigned copies)
{
    Attribute repeated(source.GetName(), source.GetFormat(), source.GetVertexCount() * copies);
    const std::uint64_t size = std::uint64_t(source.GetVertexCount()) * GetVertexFormatSize(source.GetFormat());
    Buffer target = repeated.GetBuffer();
    for (unsigned k = 0; k < copies; ++k)
        target.CopyFrom(source.GetBuffer(), 0, k * size, size);
    return repeated;
}

} // namespace

CopyMesh::CopyMesh() = default;

CopyMesh::~CopyMesh() = default;

const ObjectType* CopyMesh::Type()
{
    static const ObjectType type("Varkle.Mesh.Copy", Operator::Type(), [] { return new CopyMesh; });
    return &type;
}

void CopyMesh::UploadMatrices(unsigned copies)
{
    const glm::mat4 step = stepTransform.Value();
    std::vector<glm::mat4> moved(copies);
    std::vector<glm::mat4> turned(copies);
    glm::mat4 matrix(1.0f);
    for (unsigned k = 0; k < copies; ++k)
    {
        moved[k] = matrix;
        turned[k] = GetNormalMatrix(matrix);
        matrix = matrix * step;
    }

    const std::uint64_t bytes = copies * sizeof(glm::mat4);
    if (copies != matrixCount)
    {
        transforms = Buffer(bytes, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
        normalMatrices = Buffer(bytes, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
        matrixCount = copies;
    }
    transforms.Upload(moved.data(), bytes, 0);
    normalMatrices.Upload(turned.data(), bytes, 0);
}

void CopyMesh::Execute(ExecutionContext&)
{
    const std::optional<Mesh> taken = TakeMesh(meshInput, meshOutput, {"Position"});
    if (!taken)
        return;
    const Mesh& mesh = *taken;
    const Attribute* const position = mesh.GetAttribute("Position");
    const unsigned vertexCount = position->GetVertexCount();
    const Connectivity* const connectivity = mesh.GetConnectivity();
    const unsigned indexCount = connectivity ? connectivity->GetIndexCount() : 0;
    const auto wanted = std::uint64_t(std::max(count.Value(), 1LL));
    const std::uint64_t most = CountPossibleCopies(mesh);
    if (wanted > most)
    {
        LogError("Copy: " + std::to_string(wanted) + " copies of a mesh of " + std::to_string(vertexCount) +
                 " vertices are too many; " + std::to_string(most) + " are possible.");
        return;
    }

    const auto copies = unsigned(wanted);
    UploadMatrices(copies);
    Mesh result;
    for (const Attribute& attribute : mesh.GetAttributes())
    {
        if (!IsMoved(attribute))
            result = result.AddAttribute(Repeat(attribute, copies));
    }

    const Attribute* const normal = mesh.GetAttribute("Normal");
    const Attribute* const tangent = mesh.GetAttribute("Tangent");
    const Attribute newPosition(Attributes::Position, vertexCount * copies);
    const Attribute newNormal = normal ? Attribute(Attributes::Normal, vertexCount * copies) : Attribute();
    const Attribute newTangent = tangent ? Attribute(Attributes::Tangent, vertexCount * copies) : Attribute();
    result = result.AddAttribute(newPosition);
    if (normal)
        result = result.AddAttribute(newNormal);
    if (tangent)
        result = result.AddAttribute(newTangent);

    ComputePassRecorder recorder;
    vertexPass.GetUniform("vertexCount").SetUInt(vertexCount);
    vertexPass.GetUniform("copyCount").SetUInt(copies);
    vertexPass.GetUniform("flags").SetUInt((normal ? 1U : 0U) + (tangent ? 2U : 0U));
    if (!vertexPass.Record(
            recorder, std::uint64_t(vertexCount) * copies,
            {Read(transforms), Read(normalMatrices), Read(*position), Write(newPosition),
             normal ? Read(*normal) : Read(missingNormals), normal ? Write(newNormal) : Write(unusedNormals),
             tangent ? Read(*tangent) : Read(missingTangents), tangent ? Write(newTangent) : Write(unusedTangents)}))
        return; // logged; the output keeps its last mesh
    if (connectivity)
    {
        // 16-bit indices would not reach the vertices of later copies: they become 32-bit ones.
        const Connectivity newConnectivity(connectivity->GetTopology(), indexCount * copies, wgpu::IndexFormat::Uint32);
        indexPass.GetUniform("indexCount").SetUInt(indexCount);
        indexPass.GetUniform("vertexCount").SetUInt(vertexCount);
        indexPass.GetUniform("copyCount").SetUInt(copies);
        indexPass.GetUniform("indexBits")
            .SetUInt(connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint16 ? 16 : 32);
        if (!indexPass.Record(recorder, std::uint64_t(indexCount) * copies,
                              {Read(connectivity->GetBuffer()), Write(newConnectivity.GetBuffer())}))
            return;
        result = result.SetConnectivity(newConnectivity);
    }
    if (recorder.Submit())
        meshOutput.Activate(result.SetMaterial(mesh.GetMaterial()));
}

} // namespace Varkle
