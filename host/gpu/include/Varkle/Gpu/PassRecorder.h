#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Pipeline.h"

#include <cstdint>
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace Varkle
{

/// Records one render pass and submits it. Steps are chained and take effect in the order in which they are called; the
/// frame buffer and what the pass begins with come first. What is bound stays bound until something else takes its
/// place. Sizes and offsets of buffers are in bytes, positions in pixels from the top left.
class VARKLE_API RenderPassRecorder
{
public:
    /// Says what the pass draws into. Without it there is no pass.
    RenderPassRecorder& BindFrameBuffer(const FrameBuffer& newFrameBuffer);
    /// Clears every color target at the start of the pass, and the depth target too. Channels are 0 to 1 for formats
    /// that hold no more; not-a-number counts as 0, and what is infinite as the largest float. Without it the pass
    /// keeps what the targets hold; fresh ones start transparent black.
    RenderPassRecorder& ClearColorBuffer(const glm::vec4& color);
    /// Says which depth, 0 to 1, a depth target that is cleared or fresh starts with. 1 by default.
    RenderPassRecorder& SetClearDepth(float depth);

    /// Binds the pipeline of the draws that follow. None is bound at first.
    RenderPassRecorder& BindPipeline(const RenderPipeline& pipeline);
    /// Binds a group of a shader's bindings by its number.
    RenderPassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup);
    /// Binds a group with one binding that has dynamic offsets; the offset is a multiple of
    /// UniformBuffer::GetBlockSize.
    RenderPassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup, std::uint32_t dynamicOffset);
    /// Binds a part of a buffer (BufferUsage::Vertex) to a slot of the pipeline; `offset` is a multiple of 4, `size` -1
    /// stands for the rest of the buffer.
    RenderPassRecorder& BindVertexBuffer(int slot, const Buffer& buffer, std::uint64_t offset, std::uint64_t size);
    /// Binds the indices (BufferUsage::Index) that DrawIndexed reads, all of the buffer's.
    RenderPassRecorder& BindIndexBuffer(const Buffer& buffer, wgpu::IndexFormat format);
    /// Draws only what lies in a rectangle, which lies in the frame buffer. Clearing is not bound by it. All of the
    /// frame buffer by default.
    RenderPassRecorder& SetScissor(const glm::ivec2& position, const glm::ivec2& size);

    /// Draws vertices in their order, once for each instance. No vertices or instances draw nothing.
    RenderPassRecorder& Draw(std::uint32_t vertexCount, std::uint32_t instanceCount, std::uint32_t firstVertex,
                             std::uint32_t firstInstance);
    /// Draws the vertices that the bound indices name, `baseVertex` added to each.
    RenderPassRecorder& DrawIndexed(std::uint32_t indexCount, std::uint32_t instanceCount, std::uint32_t firstIndex = 0,
                                    std::int32_t baseVertex = 0, std::uint32_t firstInstance = 0);

    /// Ends the pass and hands it to the queue. Passes run in the order of submission. The recorder is as new then.
    ///
    /// Returns true when the GPU took all of it, so that what it draws into may be shown. False with the reason in the
    /// log: with a pipeline that could not be created, or something empty bound, the targets are cleared and nothing is
    /// drawn; without a frame buffer or a device, or when the GPU refuses the pass, nothing happens, and fresh targets
    /// stay fresh.
    bool Submit();

private:
    bool Begin();
    void SetBindGroup(int group, const wgpu::BindGroup& bindGroup, std::size_t offsetCount,
                      const std::uint32_t* offsets);
    void Fail(std::string_view reason);
    std::string Describe() const;

    FrameBuffer frameBuffer;
    std::optional<glm::vec4> clearColor;
    float clearDepth = 1.0f;
    wgpu::CommandEncoder encoder;
    wgpu::RenderPassEncoder pass; // null until something is bound
    bool usable = true;           // false once something is missing: draws are left out
};

/// Records one compute pass and submits it. Steps are chained, as those of RenderPassRecorder.
class VARKLE_API ComputePassRecorder
{
public:
    /// Binds the pipeline of the dispatches that follow. None is bound at first.
    ComputePassRecorder& BindPipeline(const ComputePipeline& pipeline);
    /// Binds a group of a shader's bindings by its number.
    ComputePassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup);
    /// Runs x * y * z workgroups. Nothing is dispatched when one of them is 0, or, with an error in the log, more than
    /// the device allows in one dimension (65535 on most).
    ComputePassRecorder& Dispatch(std::uint32_t x, std::uint32_t y, std::uint32_t z);
    /// Ends the pass and hands it to the queue. Returns true when the GPU took all of it. False with the reason in the
    /// log: with a pipeline that could not be created, something empty bound, too many workgroups, a pass that the GPU
    /// refuses, or without a device, what the pass was to write must not be used. The recorder is as new then.
    bool Submit();

private:
    bool Begin();
    void Fail(std::string_view reason);

    wgpu::CommandEncoder encoder;
    wgpu::ComputePassEncoder pass; // null until something is bound
    bool usable = true;            // false once something is missing: dispatches are left out
};

} // namespace Varkle
