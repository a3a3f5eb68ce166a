#pragma once

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Gpu/Pipeline.h"
#include "Varkle/Gpu/UniformBuffer.h"

#include <cstdint>
#include <glm/mat4x4.hpp>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Varkle
{

/// Is a buffer that a compute shader reads, or one that it writes.
struct StorageBinding
{
    Buffer buffer;
    bool written;
};

inline StorageBinding Read(const Buffer& buffer)
{
    return {buffer, false};
}
inline StorageBinding Read(const Attribute& attribute)
{
    return {attribute.GetBuffer(), false};
}
inline StorageBinding Write(const Buffer& buffer)
{
    return {buffer, true};
}
inline StorageBinding Write(const Attribute& attribute)
{
    return {attribute.GetBuffer(), true};
}

/// Runs a compute shader once for each vertex of a mesh: what operators that rewrite attributes have in common. An
/// operator owns one and drives it step by step:
///
///     pass.GetUniform("amount").SetFloat(0.1f);
///     pass.GetUniform("vertexCount").SetUInt(count);
///     const Attribute moved(Attributes::Position, count);
///     if (!pass.Run(count, {Read(position), Write(moved)}))
///         return;
///
/// The shader has the entry point main with workgroups of 64, in group 0 its uniform block `uniforms` at binding 0 and
/// its storage buffers from binding 1 on.
class MeshComputePass
{
public:
    /// Takes the shader "Shaders/" + name.
    explicit MeshComputePass(const std::string& shaderName);

    /// Addresses a member of the uniform block.
    UniformProxy GetUniform(std::string_view name) { return uniforms.GetBlock(0).GetVariable(name); }

    /// Uploads the uniforms that changed, binds the buffers in the order of their bindings and runs the shader `count`
    /// times, in a pass of its own. Returns false, with an error in the log, when the GPU can't take the buffers,
    /// because they are too large for its shaders, say: nothing is written then.
    bool Run(std::uint64_t count, std::initializer_list<StorageBinding> buffers);
    /// Does the same as one step of a pass that is being recorded.
    bool Record(ComputePassRecorder& recorder, std::uint64_t count, std::initializer_list<StorageBinding> buffers);

private:
    Shader shader;
    UniformBuffer uniforms;
    ComputePipeline pipeline;
};

/// Returns a buffer of one element (12 bytes for three floats, 16 for four) to bind where a mesh lacks an attribute.
Buffer MakePlaceholder(unsigned bytes);

/// Returns the matrix that turns normals along with points that `transform` moves: the transposed inverse of its upper
/// left 3 by 3, in a 4 by 4. Not finite when the transform is singular.
glm::mat4 GetNormalMatrix(const glm::mat4& transform);

} // namespace Varkle
