#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Buffer.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

class Material;

/// Names a vertex attribute that everyone understands alike, and its format.
struct AttributeSemantic
{
    std::string_view name;
    wgpu::VertexFormat format;
};

/// The attributes that operators look for by name and that files have a place for.
namespace Attributes
{
inline constexpr AttributeSemantic Position{"Position", wgpu::VertexFormat::Float32x3};
inline constexpr AttributeSemantic Normal{"Normal", wgpu::VertexFormat::Float32x3};
inline constexpr AttributeSemantic Tangent{"Tangent", wgpu::VertexFormat::Float32x4}; ///< w = handedness
inline constexpr AttributeSemantic TexCoord0{"TexCoord0", wgpu::VertexFormat::Float32x2};
inline constexpr AttributeSemantic TexCoord1{"TexCoord1", wgpu::VertexFormat::Float32x2};
inline constexpr AttributeSemantic Color0{"Color0", wgpu::VertexFormat::Float32x4}; ///< linear, with alpha
} // namespace Attributes

/// Returns the bytes of one element of a vertex format: 12 for Float32x3. 0 for a number that is no format.
VARKLE_API unsigned GetVertexFormatSize(wgpu::VertexFormat format);
/// Returns the number of components: 3 for Float32x3. 0 for a number that is no format.
VARKLE_API unsigned GetVertexFormatComponents(wgpu::VertexFormat format);
/// Returns the name as WebGPU's C++ header spells it: "Float32x3". "Unknown" for a number that is no format.
VARKLE_API std::string GetVertexFormatName(wgpu::VertexFormat format);
/// Returns the name as WebGPU's C++ header spells it: "TriangleList".
VARKLE_API std::string GetTopologyName(wgpu::PrimitiveTopology topology);

/// Is one named value per vertex, tightly packed in a GPU buffer (usages Vertex, Storage, CopySrc, CopyDst). Copies
/// share the buffer.
class VARKLE_API Attribute
{
public:
    /// Makes an attribute without a name, vertices or a buffer.
    Attribute() = default;
    /// Makes an attribute whose buffer holds `vertexCount` elements, undefined until they are written. With 0 vertices
    /// the buffer still has room for one, because shaders can't be given an empty one. A buffer that would be larger
    /// than the device allows stays empty, with an error in the log.
    Attribute(std::string_view name, wgpu::VertexFormat format, unsigned vertexCount);
    /// Makes the attribute with the name and the format of a semantic.
    Attribute(const AttributeSemantic& semantic, unsigned vertexCount);

    const std::string& GetName() const { return name; }
    wgpu::VertexFormat GetFormat() const { return format; }
    unsigned GetVertexCount() const { return vertexCount; }
    /// Returns the buffer, a handle that shares it: uploads through it reach the attribute.
    Buffer GetBuffer() const { return buffer; }

private:
    std::string name;
    wgpu::VertexFormat format = wgpu::VertexFormat::Float32;
    unsigned vertexCount = 0;
    Buffer buffer;
};

/// Says how vertices make primitives: a list of indices in a GPU buffer (usages Index, Storage, CopySrc, CopyDst).
/// Copies share the buffer.
class VARKLE_API Connectivity
{
public:
    /// Makes a list of triangles without indices or a buffer.
    Connectivity() = default;
    /// Makes a connectivity whose buffer holds `indexCount` indices, undefined until they are written. As with
    /// attributes, the buffer has room for one index at least, and stays empty, with an error in the log, when it would
    /// be too large.
    Connectivity(wgpu::PrimitiveTopology topology, unsigned indexCount, wgpu::IndexFormat format);

    wgpu::PrimitiveTopology GetTopology() const { return topology; }
    unsigned GetIndexCount() const { return indexCount; }
    wgpu::IndexFormat GetIndexFormat() const { return format; }
    /// Returns the buffer, a handle that shares it: uploads through it reach the connectivity.
    Buffer GetBuffer() const { return buffer; }

private:
    wgpu::PrimitiveTopology topology = wgpu::PrimitiveTopology::TriangleList;
    unsigned indexCount = 0;
    wgpu::IndexFormat format = wgpu::IndexFormat::Uint32;
    Buffer buffer;
};

/// Is a handle of a mesh: attributes in the order in which they were added, at most one connectivity, at most one
/// material. Meshes never change: what adds something returns a new mesh that shares everything else. An empty handle
/// is a mesh without anything.
class VARKLE_API Mesh
{
public:
    Mesh() = default;

    /// Returns the attribute of that name, or null. Valid while a copy of this mesh lives.
    const Attribute* GetAttribute(std::string_view name) const;
    /// Returns the attributes in their order. Valid while a copy of this mesh lives.
    const std::vector<Attribute>& GetAttributes() const;
    /// Returns a mesh with the attribute behind the others, or in the place of one of the same name.
    [[nodiscard]] Mesh AddAttribute(Attribute attribute) const;

    /// Returns the connectivity, or null when the vertices are taken in their order. Valid while a copy of this mesh
    /// lives.
    const Connectivity* GetConnectivity() const;
    /// Returns a mesh with that connectivity instead of the one before.
    [[nodiscard]] Mesh SetConnectivity(Connectivity connectivity) const;

    /// True when all attributes and the connectivity have their buffers. One of them lacks its buffer when the GPU
    /// could not make it, for want of memory, say. A mesh without anything is complete.
    bool IsComplete() const;

    /// Returns the material, or null.
    std::shared_ptr<Material> GetMaterial() const;
    /// Returns a mesh with that material instead of the one before; null takes the material away.
    [[nodiscard]] Mesh SetMaterial(std::shared_ptr<Material> material) const;

private:
    struct VARKLE_LOCAL Data;
    Data CopyData() const;
    std::shared_ptr<const Data> data;
};

} // namespace Varkle
