#include "Varkle/Gpu/Mesh.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Material.h"
#include "device/GpuInternals.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace Varkle
{

namespace
{

struct VertexFormatInfo
{
    wgpu::VertexFormat format;
    const char* name;
    unsigned components;
    unsigned size; // bytes of one element
};

constexpr VertexFormatInfo VertexFormats[] = {
    {wgpu::VertexFormat::Uint8, "Uint8", 1, 1},
    {wgpu::VertexFormat::Uint8x2, "Uint8x2", 2, 2},
    {wgpu::VertexFormat::Uint8x4, "Uint8x4", 4, 4},
    {wgpu::VertexFormat::Sint8, "Sint8", 1, 1},
    {wgpu::VertexFormat::Sint8x2, "Sint8x2", 2, 2},
    {wgpu::VertexFormat::Sint8x4, "Sint8x4", 4, 4},
    {wgpu::VertexFormat::Unorm8, "Unorm8", 1, 1},
    {wgpu::VertexFormat::Unorm8x2, "Unorm8x2", 2, 2},
    {wgpu::VertexFormat::Unorm8x4, "Unorm8x4", 4, 4},
    {wgpu::VertexFormat::Snorm8, "Snorm8", 1, 1},
    {wgpu::VertexFormat::Snorm8x2, "Snorm8x2", 2, 2},
    {wgpu::VertexFormat::Snorm8x4, "Snorm8x4", 4, 4},
    {wgpu::VertexFormat::Uint16, "Uint16", 1, 2},
    {wgpu::VertexFormat::Uint16x2, "Uint16x2", 2, 4},
    {wgpu::VertexFormat::Uint16x4, "Uint16x4", 4, 8},
    {wgpu::VertexFormat::Sint16, "Sint16", 1, 2},
    {wgpu::VertexFormat::Sint16x2, "Sint16x2", 2, 4},
    {wgpu::VertexFormat::Sint16x4, "Sint16x4", 4, 8},
    {wgpu::VertexFormat::Unorm16, "Unorm16", 1, 2},
    {wgpu::VertexFormat::Unorm16x2, "Unorm16x2", 2, 4},
    {wgpu::VertexFormat::Unorm16x4, "Unorm16x4", 4, 8},
    {wgpu::VertexFormat::Snorm16, "Snorm16", 1, 2},
    {wgpu::VertexFormat::Snorm16x2, "Snorm16x2", 2, 4},
    {wgpu::VertexFormat::Snorm16x4, "Snorm16x4", 4, 8},
    {wgpu::VertexFormat::Float16, "Float16", 1, 2},
    {wgpu::VertexFormat::Float16x2, "Float16x2", 2, 4},
    {wgpu::VertexFormat::Float16x4, "Float16x4", 4, 8},
    {wgpu::VertexFormat::Float32, "Float32", 1, 4},
    {wgpu::VertexFormat::Float32x2, "Float32x2", 2, 8},
    {wgpu::VertexFormat::Float32x3, "Float32x3", 3, 12},
    {wgpu::VertexFormat::Float32x4, "Float32x4", 4, 16},
    {wgpu::VertexFormat::Uint32, "Uint32", 1, 4},
    {wgpu::VertexFormat::Uint32x2, "Uint32x2", 2, 8},
    {wgpu::VertexFormat::Uint32x3, "Uint32x3", 3, 12},
    {wgpu::VertexFormat::Uint32x4, "Uint32x4", 4, 16},
    {wgpu::VertexFormat::Sint32, "Sint32", 1, 4},
    {wgpu::VertexFormat::Sint32x2, "Sint32x2", 2, 8},
    {wgpu::VertexFormat::Sint32x3, "Sint32x3", 3, 12},
    {wgpu::VertexFormat::Sint32x4, "Sint32x4", 4, 16},
    {wgpu::VertexFormat::Unorm10_10_10_2, "Unorm10_10_10_2", 4, 4},
    {wgpu::VertexFormat::Unorm8x4BGRA, "Unorm8x4BGRA", 4, 4},
};

VertexFormatInfo GetInfo(wgpu::VertexFormat format)
{
    const auto info = std::ranges::find(VertexFormats, format, &VertexFormatInfo::format);
    return info != std::end(VertexFormats) ? *info : VertexFormatInfo{format, "Unknown", 0, 0};
}

/// Makes the buffer of an attribute or of indices; `what` names it in the log. WebGPU binds no empty buffers to
/// shaders, and arrays only when one element fits, so that one is made room for where there are none.
Buffer MakeElementBuffer(const std::string& what, unsigned count, unsigned elementSize, wgpu::BufferUsage usage)
{
    if (!Graphics::GetDevice())
        return {};
    const std::uint64_t size = std::uint64_t(std::max(count, 1u)) * elementSize;
    const std::uint64_t limit = Graphics::GetLimits().maxBufferSize;
    if (size > limit)
    {
        LogError(Internal::Label(what + " needs " + std::to_string(size) + " bytes for " + std::to_string(count) +
                                 " elements; the largest buffer of this GPU has " + std::to_string(limit) + "."));
        return {};
    }
    return {size, usage | wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopySrc | wgpu::BufferUsage::CopyDst, false};
}

} // namespace

unsigned GetVertexFormatSize(wgpu::VertexFormat format)
{
    return GetInfo(format).size;
}

unsigned GetVertexFormatComponents(wgpu::VertexFormat format)
{
    return GetInfo(format).components;
}

std::string GetVertexFormatName(wgpu::VertexFormat format)
{
    return GetInfo(format).name;
}

std::string GetTopologyName(wgpu::PrimitiveTopology topology)
{
    switch (topology)
    {
    case wgpu::PrimitiveTopology::PointList:
        return "PointList";
    case wgpu::PrimitiveTopology::LineList:
        return "LineList";
    case wgpu::PrimitiveTopology::LineStrip:
        return "LineStrip";
    case wgpu::PrimitiveTopology::TriangleList:
        return "TriangleList";
    case wgpu::PrimitiveTopology::TriangleStrip:
        return "TriangleStrip";
    default:
        return "Undefined";
    }
}

Attribute::Attribute(std::string_view attributeName, wgpu::VertexFormat vertexFormat, unsigned count)
    : name(attributeName),
      format(vertexFormat),
      vertexCount(count),
      buffer(MakeElementBuffer("The attribute \"" + name + "\"", count, GetVertexFormatSize(vertexFormat),
                               wgpu::BufferUsage::Vertex))
{
}

Attribute::Attribute(const AttributeSemantic& semantic, unsigned count)
    : Attribute(semantic.name, semantic.format, count)
{
}

Connectivity::Connectivity(wgpu::PrimitiveTopology primitives, unsigned count, wgpu::IndexFormat indexFormat)
    : topology(primitives),
      indexCount(count),
      format(indexFormat),
      buffer(MakeElementBuffer("The connectivity", count, indexFormat == wgpu::IndexFormat::Uint16 ? 2 : 4,
                               wgpu::BufferUsage::Index))
{
}

struct Mesh::Data
{
    std::vector<Attribute> attributes;
    std::optional<Connectivity> connectivity;
    std::shared_ptr<Material> material;
};

Mesh::Data Mesh::CopyData() const
{
    return data ? *data : Data{};
}

const Attribute* Mesh::GetAttribute(std::string_view name) const
{
    const std::vector<Attribute>& attributes = GetAttributes();
    const auto attribute = std::ranges::find(attributes, name, &Attribute::GetName);
    return attribute != attributes.end() ? &*attribute : nullptr;
}

const std::vector<Attribute>& Mesh::GetAttributes() const
{
    static const std::vector<Attribute> s_none;
    return data ? data->attributes : s_none;
}

Mesh Mesh::AddAttribute(Attribute attribute) const
{
    Data copy = CopyData();
    const auto place = std::ranges::find(copy.attributes, attribute.GetName(), &Attribute::GetName);
    if (place != copy.attributes.end())
        *place = std::move(attribute);
    else
        copy.attributes.push_back(std::move(attribute));

    Mesh mesh;
    mesh.data = std::make_shared<const Data>(std::move(copy));
    return mesh;
}

const Connectivity* Mesh::GetConnectivity() const
{
    return data && data->connectivity ? &*data->connectivity : nullptr;
}

Mesh Mesh::SetConnectivity(Connectivity connectivity) const
{
    Data copy = CopyData();
    copy.connectivity = std::move(connectivity);

    Mesh mesh;
    mesh.data = std::make_shared<const Data>(std::move(copy));
    return mesh;
}

bool Mesh::IsComplete() const
{
    const auto hasBuffer = [](const Attribute& attribute) { return bool(attribute.GetBuffer()); };
    return std::ranges::all_of(GetAttributes(), hasBuffer) && (!GetConnectivity() || GetConnectivity()->GetBuffer());
}

std::shared_ptr<Material> Mesh::GetMaterial() const
{
    return data ? data->material : nullptr;
}

Mesh Mesh::SetMaterial(std::shared_ptr<Material> material) const
{
    Data copy = CopyData();
    copy.material = std::move(material);

    Mesh mesh;
    mesh.data = std::make_shared<const Data>(std::move(copy));
    return mesh;
}

} // namespace Varkle
