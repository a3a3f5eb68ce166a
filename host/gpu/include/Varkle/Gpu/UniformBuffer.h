#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/Shader.h"

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <memory>
#include <string>
#include <string_view>

namespace Varkle
{

struct UniformBufferData;

/// Addresses a block of a uniform buffer, or a member of it. Setters write with the layout of the shader's struct; a
/// value of another type than the member's is converted where WGSL would accept the same literal (whole numbers fit any
/// scalar type that can hold them, floats fit f16), else refused with an error in the log, as is a name that the struct
/// does not have. A proxy is used at once and not kept.
class VARKLE_API UniformProxy
{
public:
    /// Returns the proxy of a struct member by its name.
    UniformProxy GetVariable(std::string_view name) const;
    /// Returns the proxy of an array's element, counted from 0.
    UniformProxy GetElement(unsigned index) const;

    void SetFloat(float value) const;
    void SetInt(int value) const;
    void SetUInt(unsigned value) const;
    void SetVec2(const glm::vec2& value) const;
    void SetVec3(const glm::vec3& value) const;
    void SetVec4(const glm::vec4& value) const;
    void SetMat4(const glm::mat4& value) const;

private:
    friend class UniformBuffer;
    UniformProxy() = default;
    UniformProxy(UniformBufferData* owner, const UniformMember* addressed, std::size_t position, bool element);
    void Write(ScalarType scalar, unsigned columns, unsigned rows, const void* value) const;
    std::string Describe() const;

    UniformBufferData* data = nullptr; // null when something unknown was asked for: setters do nothing
    const UniformMember* member = nullptr;
    std::size_t offset = 0;
    bool isElement = false; // one element of the member, which is an array
};

/// Is a GPU buffer laid out after a uniform struct of a shader: `blockCount` blocks, each aligned for dynamic offsets,
/// with a copy in main memory that remembers what changed. Copies share the buffer; a default-constructed handle is
/// empty.
class VARKLE_API UniformBuffer
{
public:
    UniformBuffer() = default;

    /// Lays the buffer out after the shader's first uniform variable (lowest group, then binding), ...
    UniformBuffer(Shader shader, unsigned long blockCount, wgpu::BufferUsage usage);
    /// ... after the uniform variable of that name, ...
    UniformBuffer(Shader shader, std::string_view variable, unsigned long blockCount, wgpu::BufferUsage usage);
    /// ... or after the one at a group and binding. A shader without such a variable gives a buffer of size 0.
    UniformBuffer(Shader shader, glm::ivec2 groupAndBinding, unsigned long blockCount, wgpu::BufferUsage usage);

    /// Returns the proxy of a block; of an index outside the blocks one that ignores what it is given.
    UniformProxy GetBlock(unsigned long index) const;
    /// Returns the distance between two blocks in bytes: the size of the struct rounded up to a multiple of 256, which
    /// suits the uniform offset alignment of every device.
    unsigned long GetBlockSize() const;
    unsigned long GetBlockCount() const;
    /// Returns the size of the struct in bytes, 0 when the shader has no such variable.
    unsigned long GetStructSize() const;

    /// Queues the write of all bytes that changed since the last upload. Passes submitted earlier don't see it.
    void UploadChanges();

    /// Returns the GPU buffer that holds the blocks, made by the first call; zeros until the first upload. Empty when
    /// the size is 0 or there is no device.
    Buffer GetBuffer() const;

private:
    std::shared_ptr<UniformBufferData> data;
};

} // namespace Varkle
