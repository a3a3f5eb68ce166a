#include "glb/Indices.h"

#include <algorithm>
#include <numeric>

namespace Varkle::Glb
{

namespace
{

struct Topology
{
    int mode;
    std::size_t multiple; // of which the number of indices must be a multiple
    std::size_t least;    // fewer indices draw nothing
};

Topology Describe(wgpu::PrimitiveTopology topology)
{
    switch (topology)
    {
    case wgpu::PrimitiveTopology::PointList:
        return {0, 1, 1};
    case wgpu::PrimitiveTopology::LineList:
        return {1, 2, 2};
    case wgpu::PrimitiveTopology::LineStrip:
        return {3, 1, 2};
    case wgpu::PrimitiveTopology::TriangleStrip:
        return {5, 1, 3};
    default:
        return {4, 3, 3};
    }
}

std::span<const std::uint32_t> Widen(const Connectivity& connectivity, const Download& download, GlbFile& file)
{
    const std::span<const std::byte> bytes = download.GetBytes(connectivity.GetBuffer());
    if (connectivity.GetIndexFormat() != wgpu::IndexFormat::Uint16)
        return As<std::uint32_t>(bytes);
    const auto narrow = As<std::uint16_t>(bytes);
    return file.Keep(std::vector<std::uint32_t>(narrow.begin(), narrow.end()));
}

std::optional<Indices> LeaveOut(GlbFile& file, const std::string& why)
{
    file.Warn("a mesh is left out: " + why + ".");
    return std::nullopt;
}

// Vertices without indices make triangles.
std::optional<Indices> CountVertices(unsigned vertexCount, GlbFile& file)
{
    const Topology triangles = Describe(wgpu::PrimitiveTopology::TriangleList);
    if (vertexCount < triangles.least)
        return LeaveOut(file, "its " + std::to_string(vertexCount) + " vertices draw nothing");
    Indices indices;
    if (vertexCount % triangles.multiple == 0)
        return indices;
    // With indices the last triangle can go without taking vertices away.
    file.Warn("a mesh gets indices: its " + std::to_string(vertexCount) + " vertices end in an incomplete triangle.");
    std::vector<std::uint32_t> numbers(vertexCount / triangles.multiple * triangles.multiple);
    std::iota(numbers.begin(), numbers.end(), 0u);
    indices.values = file.Keep(std::move(numbers));
    return indices;
}

} // namespace

std::optional<Indices> ReadIndices(const Mesh& mesh, unsigned vertexCount, const Download& download, GlbFile& file)
{
    const Connectivity* const connectivity = mesh.GetConnectivity();
    if (!connectivity)
        return CountVertices(vertexCount, file);
    const Topology topology = Describe(connectivity->GetTopology());
    const std::size_t count = connectivity->GetIndexCount();
    if (count < topology.least)
        return LeaveOut(file, "its " + std::to_string(count) + " indices draw nothing");
    const std::span<const std::uint32_t> values = Widen(*connectivity, download, file);
    if (values.empty())
        return LeaveOut(file, "the buffer of its indices could not be made");
    const std::size_t used = count / topology.multiple * topology.multiple;
    const auto indices = values.first(used);
    const auto largest = std::ranges::max_element(indices);
    if (*largest >= vertexCount)
        return LeaveOut(file, "index " + std::to_string(largest - indices.begin()) + " is " + std::to_string(*largest) +
                                  ", but the mesh has " + std::to_string(vertexCount) + " vertices");
    if (used < count)
        file.Warn("the last of a mesh's indices are left out: " + std::to_string(count) +
                  " end in an incomplete line or triangle.");
    return Indices{topology.mode, indices, connectivity->GetBuffer().GetBufferHandle().Get()};
}

} // namespace Varkle::Glb
