#pragma once

#include "Varkle/Core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// The stages of a shader, as bits, so that a binding can name all that see it.
enum class ShaderStage : std::uint32_t
{
    None = 0,
    Vertex = 1,
    Fragment = 2,
    Compute = 4,
};

constexpr ShaderStage operator|(ShaderStage a, ShaderStage b)
{
    return ShaderStage(std::uint32_t(a) | std::uint32_t(b));
}

/// Leaves one stage out of a set.
constexpr ShaderStage WithoutStage(ShaderStage set, ShaderStage one)
{
    return ShaderStage(std::uint32_t(set) & ~std::uint32_t(one));
}

constexpr bool HasStage(ShaderStage set, ShaderStage one)
{
    return (std::uint32_t(set) & std::uint32_t(one)) != 0;
}

/// The scalar type that a value is made of.
enum class ScalarType
{
    Float,
    Int,
    UInt,
    Half,
    Bool
};

/// One member of a uniform struct, or the struct itself (then `name` is the variable's name and `offset` 0).
struct UniformMember
{
    std::string name;
    std::uint32_t offset = 0; ///< bytes from the start of the enclosing struct
    std::uint32_t size = 0;   ///< bytes, arrays whole, without what alignment adds behind it
    ScalarType scalar = ScalarType::Float;
    std::uint32_t columns = 1;      ///< 1 for scalars and vectors, 2 to 4 for matrices
    std::uint32_t rows = 1;         ///< components of a vector or of a matrix column
    std::uint32_t arrayLength = 0;  ///< 0 when not an array
    std::uint32_t arrayStride = 0;  ///< bytes between two elements, 0 when not an array
    std::uint32_t columnStride = 0; ///< bytes between two columns of a matrix, 0 otherwise
    /// Of a struct (or of an array's struct element): its members in order. Of an array of arrays: one member without a
    /// name, the inner array. Else empty.
    std::vector<UniformMember> members;

    bool operator==(const UniformMember&) const = default;
};

enum class BindingKind
{
    UniformBuffer,
    StorageBuffer,
    ReadOnlyStorageBuffer,
    Texture,
    Sampler,
    StorageTexture
};

/// What a texture binding's shader type says: its dimension and what a sample yields. Float textures count as
/// filterable, except multisampled ones, which WebGPU never filters.
enum class TextureDimension
{
    D1,
    D2,
    D2Array,
    D3,
    Cube,
    CubeArray
};
enum class TextureSampleKind
{
    Float,
    UnfilterableFloat,
    Int,
    UInt,
    Depth
};

/// One `@group(g) @binding(b)` variable of a shader, used or not.
struct VARKLE_API ShaderBinding
{
    int group = 0;
    int binding = 0;
    std::string name; ///< the variable's name
    BindingKind kind = BindingKind::UniformBuffer;
    /// The stages of the shader's entry points: of a WGSL shader all of them, of a SPIR-V shader those of the modules
    /// that declare the binding. Never Vertex for what the shader may write: WebGPU forbids it.
    ShaderStage stages = ShaderStage::None;
    /// Buffers: the smallest size that the shader accepts, in bytes (a runtime-sized array counts one element).
    std::uint32_t minSize = 0;
    /// Uniform buffers: the layout of the struct.
    UniformMember layout;
    TextureDimension textureDimension = TextureDimension::D2;
    TextureSampleKind sampleKind = TextureSampleKind::Float;
    bool multisampled = false;
    bool comparisonSampler = false;
    std::string storageFormat; ///< storage textures: the WGSL format name, e.g. "rgba8unorm"
    std::string storageAccess; ///< storage textures: "read", "write" or "read_write"

    /// Tells whether the shader may write to what is bound.
    bool IsWritable() const;

    bool operator==(const ShaderBinding&) const = default;
};

/// One `@location(n)` input of the vertex stage.
struct VertexInput
{
    int location = 0;
    std::string name;
    ScalarType scalar = ScalarType::Float;
    std::uint32_t components = 1; ///< 1 to 4
};

struct EntryPoint
{
    std::string name;
    ShaderStage stage = ShaderStage::None;
    std::size_t module = 0; ///< SPIR-V: the position of its module in the list that the shader was made from; WGSL: 0
};

/// Says what a shader's source declares, so that pipelines, bind groups and uniform buffers can be laid out without
/// asking the GPU. An empty shader has an empty reflection.
struct VARKLE_API ShaderReflection
{
    std::vector<EntryPoint> entryPoints;   ///< in source order
    std::vector<ShaderBinding> bindings;   ///< sorted by group, then binding
    std::vector<VertexInput> vertexInputs; ///< of the first vertex entry point, sorted by location
    /// The color targets that the first fragment entry point writes: its highest output location plus one.
    std::uint32_t fragmentOutputs = 0;

    /// Finds the first entry point of a stage, or null.
    const EntryPoint* FindEntryPoint(ShaderStage stage) const;
    /// Finds a binding by group and number, or null.
    const ShaderBinding* FindBinding(int group, int binding) const;
    /// Finds a binding by its variable's name, or null.
    const ShaderBinding* FindBinding(std::string_view name) const;
    /// The number of bind groups that a pipeline layout needs: the highest group used plus one.
    int GroupCount() const;
};

} // namespace Varkle
