#include "scene/MeshBounds.h"

#include "Varkle/Gpu/SceneRenderer.h"
#include "buffer/BufferAccess.h"
#include "buffer/BufferPool.h"
#include "device/GpuInternals.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/gtc/packing.hpp>
#include <glm/mat3x3.hpp>
#include <glm/packing.hpp>
#include <glm/vec4.hpp>
#include <limits>
#include <utility>

namespace Varkle
{

namespace
{

constexpr std::size_t batchSize = 16u << 20; // bytes, unless a mesh alone has more

// The first three components; those that the format lacks are 0.
using ReadPosition = glm::vec3 (*)(const std::byte*);

template<class T>
T Load(const std::byte* bytes)
{
    T value{};
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

template<int Components>
glm::vec3 ReadFloats(const std::byte* bytes)
{
    glm::vec3 position(0.0f);
    std::memcpy(&position, bytes, Components * sizeof(float));
    return position;
}

template<auto Unpack>
glm::vec3 ReadPair(const std::byte* bytes)
{
    return {Unpack(Load<std::uint32_t>(bytes)), 0.0f};
}

template<auto Unpack>
glm::vec3 ReadQuad(const std::byte* bytes)
{
    return glm::vec3(Unpack(Load<std::uint64_t>(bytes)));
}

template<auto Unpack>
glm::vec3 ReadBytes(const std::byte* bytes)
{
    return glm::vec3(Unpack(Load<std::uint32_t>(bytes)));
}

// Null for formats in which positions aren't drawn.
ReadPosition FindReader(wgpu::VertexFormat format)
{
    switch (format)
    {
    case wgpu::VertexFormat::Float32:
        return ReadFloats<1>;
    case wgpu::VertexFormat::Float32x2:
        return ReadFloats<2>;
    case wgpu::VertexFormat::Float32x3:
    case wgpu::VertexFormat::Float32x4:
        return ReadFloats<3>;
    case wgpu::VertexFormat::Float16x2:
        return ReadPair<glm::unpackHalf2x16>;
    case wgpu::VertexFormat::Float16x4:
        return ReadQuad<glm::unpackHalf4x16>;
    case wgpu::VertexFormat::Unorm16x2:
        return ReadPair<glm::unpackUnorm2x16>;
    case wgpu::VertexFormat::Unorm16x4:
        return ReadQuad<glm::unpackUnorm4x16>;
    case wgpu::VertexFormat::Snorm16x2:
        return ReadPair<glm::unpackSnorm2x16>;
    case wgpu::VertexFormat::Snorm16x4:
        return ReadQuad<glm::unpackSnorm4x16>;
    case wgpu::VertexFormat::Unorm8x4:
        return ReadBytes<glm::unpackUnorm4x8>;
    case wgpu::VertexFormat::Snorm8x4:
        return ReadBytes<glm::unpackSnorm4x8>;
    case wgpu::VertexFormat::Unorm10_10_10_2:
        return ReadBytes<glm::unpackUnorm3x10_1x2>;
    default:
        return nullptr;
    }
}

template<class Vector>
bool IsFinite(const Vector& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

struct Box
{
    glm::dvec3 low{std::numeric_limits<double>::infinity()};
    glm::dvec3 high{-std::numeric_limits<double>::infinity()};

    void Add(const glm::dvec3& point)
    {
        low = glm::min(low, point);
        high = glm::max(high, point);
    }
    bool IsEmpty() const { return low.x > high.x; }
    glm::dvec3 Center() const { return low * 0.5 + high * 0.5; }
};

using Corners = std::array<glm::dvec3, 8>;

// The corners of a mesh's box in the scene; nothing when they don't count.
std::optional<Corners> PlaceCorners(const PlacedBounds& placed)
{
    const MeshBounds& bounds = *placed.bounds;
    if (!bounds.known || bounds.empty)
        return std::nullopt;
    const glm::dmat4 toScene(placed.toScene);
    Corners corners;
    for (std::size_t i = 0; i < corners.size(); ++i)
    {
        const glm::dvec3 corner((i & 1) != 0 ? bounds.high.x : bounds.low.x,
                                (i & 2) != 0 ? bounds.high.y : bounds.low.y,
                                (i & 4) != 0 ? bounds.high.z : bounds.low.z);
        corners[i] = glm::dvec3(toScene * glm::dvec4(corner, 1.0));
        if (!IsFinite(corners[i]))
            return std::nullopt;
    }
    return corners;
}

// The most by which a matrix stretches: not above the root of the largest row sum of |M^T M|, and just that where the
// axes stay perpendicular.
double LargestScale(const glm::mat4& matrix)
{
    const glm::dmat3 linear(glm::dmat4{matrix});
    const glm::dmat3 squared = glm::transpose(linear) * linear;
    double largest = 0.0;
    for (int i = 0; i < 3; ++i)
        largest = std::max(largest, std::abs(squared[i].x) + std::abs(squared[i].y) + std::abs(squared[i].z));
    return std::sqrt(largest);
}

// How far a mesh reaches from a point, by its box or by its sphere, whichever is less.
double Reach(const PlacedBounds& placed, const Corners& corners, const glm::dvec3& from)
{
    double box = 0.0;
    for (const glm::dvec3& corner : corners)
        box = std::max(box, glm::length(corner - from));
    const glm::dvec3 middle = corners[0] * 0.5 + corners[7] * 0.5;
    const double sphere = glm::length(middle - from) + placed.bounds->radius * LargestScale(placed.toScene);
    return std::min(box, sphere);
}

} // namespace

MeshBounds MeasurePositions(std::span<const std::byte> bytes, wgpu::VertexFormat format)
{
    MeshBounds bounds;
    bounds.known = true;
    const ReadPosition read = FindReader(format);
    if (!read)
        return bounds;
    const std::size_t stride = GetVertexFormatSize(format);
    Box box;
    for (std::size_t at = 0; at + stride <= bytes.size(); at += stride)
    {
        const glm::vec3 position = read(&bytes[at]);
        if (IsFinite(position))
            box.Add(position);
    }
    bounds.empty = box.IsEmpty();
    if (bounds.empty)
        return bounds;
    bounds.low = box.low;
    bounds.high = box.high;
    double squared = 0.0;
    for (std::size_t at = 0; at + stride <= bytes.size(); at += stride)
    {
        const glm::vec3 position = read(&bytes[at]);
        const glm::dvec3 fromCenter = glm::dvec3(position) - box.Center();
        if (IsFinite(position))
            squared = std::max(squared, glm::dot(fromCenter, fromCenter));
    }
    bounds.radius = std::sqrt(squared);
    return bounds;
}

std::optional<SceneFocus> Enclose(std::span<const PlacedBounds> placed)
{
    Box box;
    for (const PlacedBounds& one : placed)
    {
        if (const std::optional<Corners> corners = PlaceCorners(one))
            std::ranges::for_each(*corners, [&](const glm::dvec3& corner) { box.Add(corner); });
    }
    if (box.IsEmpty())
        return std::nullopt;
    double radius = 0.0;
    for (const PlacedBounds& one : placed)
    {
        if (const std::optional<Corners> corners = PlaceCorners(one))
            radius = std::max(radius, Reach(one, *corners, box.Center()));
    }
    const SceneFocus focus{glm::vec3(box.Center()), float(radius)};
    if (!IsFinite(focus.center) || !std::isfinite(focus.radius))
        return std::nullopt;
    return focus;
}

std::shared_ptr<const MeshBounds> MeshBoundsCache::Get(const Mesh& mesh)
{
    const Attribute* const positions = mesh.GetAttribute(Attributes::Position.name);
    if (!positions || positions->GetVertexCount() == 0 || !FindReader(positions->GetFormat()) ||
        !BufferAccess::IsCurrent(positions->GetBuffer()))
        return std::make_shared<MeshBounds>(MeshBounds{.known = true});
    const std::shared_ptr<const void> identity = BufferAccess::Identity(positions->GetBuffer());
    Entry& entry = entries[identity.get()];
    if (entry.positions.lock() == identity)
        return entry.bounds;
    entry = {identity, std::make_shared<MeshBounds>()};
    requests.push_back({positions->GetBuffer(), positions->GetFormat(),
                        std::size_t(positions->GetVertexCount()) * GetVertexFormatSize(positions->GetFormat()),
                        entry.bounds});
    return entry.bounds;
}

void MeshBoundsCache::Measure()
{
    if (requests.empty())
        return;
    std::erase_if(entries, [](const auto& entry) { return entry.second.positions.expired(); });
    Batch batch;
    for (Request& request : std::exchange(requests, {}))
    {
        if (!batch.requests.empty() && batch.size + request.size > batchSize)
            Begin(std::exchange(batch, {}));
        batch.size += request.size;
        batch.requests.push_back(std::move(request));
    }
    Begin(std::move(batch));
}

void MeshBoundsCache::Begin(Batch batch)
{
    // Powers of two, so that the pool has fitting ones the next time.
    batch.readable =
        BufferPool::Take(std::bit_ceil(batch.size), wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst);
    if (batch.readable)
    {
        const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
        std::size_t at = 0;
        for (const Request& request : batch.requests)
        {
            encoder.CopyBufferToBuffer(request.positions.GetBufferHandle(), 0, batch.readable, at, request.size);
            at += request.size;
        }
        Internal::Submit(encoder);
        batch.mapping =
            batch.readable.MapAsync(wgpu::MapMode::Read, 0, batch.size, wgpu::CallbackMode::AllowProcessEvents,
                                    [](wgpu::MapAsyncStatus, wgpu::StringView) {});
    }
    for (Request& request : batch.requests)
        request.positions = {}; // the GPU keeps what it reads
    batches.push_back(std::move(batch));
}

void MeshBoundsCache::Update(bool wait)
{
    std::size_t finished = 0;
    for (; finished < batches.size(); ++finished)
    {
        Batch& batch = batches[finished];
        const auto isUnderWay = [&]
        { return batch.readable && batch.readable.GetMapState() == wgpu::BufferMapState::Pending; };
        if (wait && isUnderWay())
            Internal::Wait(batch.mapping);
        if (isUnderWay())
            break;
        Finish(batch);
    }
    batches.erase(batches.begin(), batches.begin() + std::ptrdiff_t(finished));
}

void MeshBoundsCache::Finish(Batch& batch)
{
    const void* const mapped = batch.readable ? batch.readable.GetConstMappedRange(0, batch.size) : nullptr;
    const std::span bytes(static_cast<const std::byte*>(mapped), mapped ? batch.size : 0);
    std::size_t at = 0;
    for (const Request& request : batch.requests)
    {
        // What could not be read is as good as empty: nobody should wait for it.
        *request.bounds =
            mapped ? MeasurePositions(bytes.subspan(at, request.size), request.format) : MeshBounds{.known = true};
        at += request.size;
    }
    if (!mapped)
        return;
    batch.readable.Unmap();
    BufferPool::Give(std::move(batch.readable), Internal::DeviceGeneration());
}

} // namespace Varkle
