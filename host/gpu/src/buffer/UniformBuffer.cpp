#include "Varkle/Gpu/UniformBuffer.h"

#include "Varkle/Core/Log.h"
#include "device/GpuInternals.h"
#include "shader/ShaderInternals.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <glm/gtc/packing.hpp>
#include <limits>
#include <optional>
#include <string>

namespace Varkle
{

struct UniformBufferData
{
    Shader shader;                         // keeps the layout
    const UniformMember* layout = nullptr; // of a block; null without a variable
    unsigned long structSize = 0;
    unsigned long blockSize = 0;
    unsigned long blockCount = 0;
    wgpu::BufferUsage usage = wgpu::BufferUsage::None;

    std::vector<std::byte> bytes; // what the blocks hold, or will after the next upload
    std::size_t changedBegin = 0; // the bytes that the GPU does not have yet
    std::size_t changedEnd = 0;

    Buffer buffer; // made when first asked for
    unsigned long generation = noGeneration;
};

namespace
{

// WebGPU lets a device demand multiples of at most 256 bytes, so that the layout is known without a device.
constexpr unsigned long blockAlignment = 256;

std::uint32_t SizeOf(ScalarType scalar)
{
    return scalar == ScalarType::Half ? 2 : 4;
}

std::string_view NameOf(ScalarType scalar)
{
    switch (scalar)
    {
    case ScalarType::Float:
        return "f32";
    case ScalarType::Int:
        return "i32";
    case ScalarType::UInt:
        return "u32";
    case ScalarType::Half:
        return "f16";
    case ScalarType::Bool:
        break;
    }
    return "bool";
}

/// The WGSL name of a type: "f32", "vec3<u32>", "mat4x4<f32>".
std::string NameOf(ScalarType scalar, unsigned columns, unsigned rows)
{
    const std::string inner = rows == 1 ? std::string(NameOf(scalar)) : "<" + std::string(NameOf(scalar)) + ">";
    if (columns > 1)
        return "mat" + std::to_string(columns) + "x" + std::to_string(rows) + inner;
    return rows > 1 ? "vec" + std::to_string(rows) + inner : inner;
}

std::optional<std::uint32_t> ToHalf(float value)
{
    if (std::isfinite(value) && std::abs(value) > 65504.0f) // the largest f16
        return std::nullopt;
    return glm::packHalf1x16(value);
}

/// Converts one scalar as WGSL converts a literal; gives the target's bits. Nothing where WGSL refuses.
std::optional<std::uint32_t> Convert(ScalarType from, std::uint32_t bits, ScalarType to)
{
    if (from == to)
        return bits;
    if (from == ScalarType::Float)
        return to == ScalarType::Half ? ToHalf(std::bit_cast<float>(bits)) : std::nullopt;

    const std::int64_t whole = from == ScalarType::Int ? std::int64_t(std::int32_t(bits)) : std::int64_t(bits);
    switch (to)
    {
    case ScalarType::Float:
        return std::bit_cast<std::uint32_t>(float(whole));
    case ScalarType::Half:
        return ToHalf(float(whole));
    case ScalarType::Int:
        return whole <= std::numeric_limits<std::int32_t>::max() ? std::optional(bits) : std::nullopt;
    case ScalarType::UInt:
        return whole >= 0 ? std::optional(bits) : std::nullopt;
    case ScalarType::Bool:
        break;
    }
    return std::nullopt;
}

/// Writes bytes of the copy in main memory, and notes it when they differ.
void WriteBytes(UniformBufferData& data, std::size_t offset, const void* value, std::size_t size)
{
    std::byte* target = data.bytes.data() + offset;
    if (std::memcmp(target, value, size) == 0)
        return;
    std::memcpy(target, value, size);
    if (data.changedBegin == data.changedEnd)
    {
        data.changedBegin = offset;
        data.changedEnd = offset + size;
        return;
    }
    data.changedBegin = std::min(data.changedBegin, offset);
    data.changedEnd = std::max(data.changedEnd, offset + size);
}

/// Makes the GPU buffer when there is none on this device; it lacks everything then.
void PrepareBuffer(UniformBufferData& data)
{
    const bool isThere = data.buffer && data.generation == Internal::DeviceGeneration();
    if (data.bytes.empty() || !Graphics::GetDevice() || isThere)
        return;
    data.generation = Internal::DeviceGeneration();
    data.buffer = Buffer(data.bytes.size(), data.usage, true);
    data.changedBegin = 0;
    data.changedEnd = data.bytes.size();
}

const ShaderBinding* FirstUniformVariable(const ShaderReflection& reflection)
{
    for (const ShaderBinding& binding : reflection.bindings) // sorted
        if (binding.kind == BindingKind::UniformBuffer)
            return &binding;
    return nullptr;
}

/// Lays out the blocks after the variable that `find` finds in the shader's reflection.
template<class Find>
std::shared_ptr<UniformBufferData> MakeData(Shader shader, Find find, unsigned long blockCount, wgpu::BufferUsage usage)
{
    auto data = std::make_shared<UniformBufferData>();
    data->blockCount = blockCount;
    data->usage = usage;
    const ShaderBinding* variable = find(shader.GetReflection());
    if (!variable || variable->kind != BindingKind::UniformBuffer)
        return data;
    data->layout = &variable->layout;
    data->structSize = variable->minSize;
    data->blockSize = (data->structSize + blockAlignment - 1) / blockAlignment * blockAlignment;
    data->bytes.resize(data->blockSize * blockCount);
    data->shader = std::move(shader);
    return data;
}

} // namespace

// ---- UniformProxy ----

UniformProxy::UniformProxy(UniformBufferData* owner, const UniformMember* addressed, std::size_t position, bool element)
    : data(owner), member(addressed), offset(position), isElement(element)
{
}

UniformProxy UniformProxy::GetVariable(std::string_view name) const
{
    if (!data)
        return {};
    if (member->arrayLength == 0 || isElement)
        for (const UniformMember& candidate : member->members)
            if (candidate.name == name)
                return {data, &candidate, offset + candidate.offset, false};
    LogError(Internal::Label("The uniform " + Describe() + " has no member \"" + std::string(name) + "\"."));
    return {};
}

UniformProxy UniformProxy::GetElement(unsigned index) const
{
    if (!data)
        return {};
    if (member->arrayLength == 0 || isElement)
    {
        LogError(Internal::Label("The uniform " + Describe() + " is not an array."));
        return {};
    }
    if (index >= member->arrayLength)
    {
        LogError(Internal::Label("The uniform " + Describe() + " has " + std::to_string(member->arrayLength) +
                                 " elements, and element " + std::to_string(index) + " is not one of them."));
        return {};
    }
    const std::size_t position = offset + std::size_t(index) * member->arrayStride;
    const bool isArrayOfArrays = member->members.size() == 1 && member->members[0].name.empty();
    if (isArrayOfArrays)
        return {data, &member->members[0], position, false};
    return {data, member, position, true};
}

void UniformProxy::SetFloat(float value) const
{
    Write(ScalarType::Float, 1, 1, &value);
}

void UniformProxy::SetInt(int value) const
{
    Write(ScalarType::Int, 1, 1, &value);
}

void UniformProxy::SetUInt(unsigned value) const
{
    Write(ScalarType::UInt, 1, 1, &value);
}

void UniformProxy::SetVec2(const glm::vec2& value) const
{
    Write(ScalarType::Float, 1, 2, &value);
}

void UniformProxy::SetVec3(const glm::vec3& value) const
{
    Write(ScalarType::Float, 1, 3, &value);
}

void UniformProxy::SetVec4(const glm::vec4& value) const
{
    Write(ScalarType::Float, 1, 4, &value);
}

void UniformProxy::SetMat4(const glm::mat4& value) const
{
    Write(ScalarType::Float, 4, 4, &value);
}

/// Writes columns of tightly packed 32-bit scalars.
void UniformProxy::Write(ScalarType scalar, unsigned columns, unsigned rows, const void* value) const
{
    if (!data)
        return;
    const bool isValue = member->members.empty() && (member->arrayLength == 0 || isElement);
    if (!isValue || member->columns != columns || member->rows != rows)
    {
        LogError(Internal::Label("The uniform " + Describe() + " does not take a value of type " +
                                 NameOf(scalar, columns, rows) + "."));
        return;
    }
    const std::size_t size = SizeOf(member->scalar);
    std::byte converted[16 * sizeof(float)];
    for (unsigned i = 0; i < columns * rows; ++i)
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, static_cast<const std::byte*>(value) + i * sizeof(bits), sizeof(bits));
        const std::optional<std::uint32_t> result = Convert(scalar, bits, member->scalar);
        if (!result)
        {
            LogError(Internal::Label("The uniform " + Describe() + " cannot hold this value of type " +
                                     NameOf(scalar, columns, rows) + "."));
            return;
        }
        std::memcpy(converted + i * size, &*result, size); // little-endian: the low bytes come first
    }
    const std::size_t columnSize = rows * size;
    for (std::size_t column = 0; column < columns; ++column)
        WriteBytes(*data, offset + column * member->columnStride, converted + column * columnSize, columnSize);
}

/// Names the member and its type for messages.
std::string UniformProxy::Describe() const
{
    std::string name = member->name.empty() ? "array" : '"' + member->name + '"';
    if (!member->members.empty() || (member->arrayLength != 0 && !isElement))
        return name;
    return name + " of type " + NameOf(member->scalar, member->columns, member->rows);
}

// ---- UniformBuffer ----

UniformBuffer::UniformBuffer(Shader shader, unsigned long blockCount, wgpu::BufferUsage usage)
    : data(MakeData(std::move(shader), FirstUniformVariable, blockCount, usage))
{
}

UniformBuffer::UniformBuffer(Shader shader, std::string_view variable, unsigned long blockCount,
                             wgpu::BufferUsage usage)
    : data(MakeData(
          std::move(shader), [&](const ShaderReflection& reflection) { return reflection.FindBinding(variable); },
          blockCount, usage))
{
}

UniformBuffer::UniformBuffer(Shader shader, glm::ivec2 groupAndBinding, unsigned long blockCount,
                             wgpu::BufferUsage usage)
    : data(MakeData(
          std::move(shader),
          [&](const ShaderReflection& reflection)
          { return reflection.FindBinding(groupAndBinding.x, groupAndBinding.y); },
          blockCount, usage))
{
}

UniformProxy UniformBuffer::GetBlock(unsigned long index) const
{
    if (!data || !data->layout || index >= data->blockCount)
        return {};
    return {data.get(), data->layout, index * data->blockSize, false};
}

unsigned long UniformBuffer::GetBlockSize() const
{
    return data ? data->blockSize : 0;
}

unsigned long UniformBuffer::GetBlockCount() const
{
    return data ? data->blockCount : 0;
}

unsigned long UniformBuffer::GetStructSize() const
{
    return data ? data->structSize : 0;
}

void UniformBuffer::UploadChanges()
{
    if (!data)
        return;
    PrepareBuffer(*data);
    if (!data->buffer || data->changedBegin == data->changedEnd)
        return;
    // Whole words, as the queue's writes demand; blocks are multiples of them.
    const std::size_t begin = data->changedBegin / 4 * 4;
    const std::size_t end = (data->changedEnd + 3) / 4 * 4;
    data->buffer.Upload(data->bytes.data() + begin, end - begin, begin);
    data->changedBegin = data->changedEnd = 0;
}

Buffer UniformBuffer::GetBuffer() const
{
    if (!data)
        return {};
    PrepareBuffer(*data);
    return data->buffer;
}

} // namespace Varkle
