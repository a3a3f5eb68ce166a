#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Pipeline.h"

#include <cstdint>
#include <glm/vec4.hpp>
#include <optional>
#include <string_view>

namespace Varkle
{

/// Records one render pass and submits it. Steps are chained and take effect in the order in which they are called; the
/// frame buffer and the clear colour come first.
class VARKLE_API RenderPassRecorder
{
public:
    RenderPassRecorder& BindFrameBuffer(const FrameBuffer& newFrameBuffer);
    /// Clears every colour target at the start of the pass, and the depth target to 1. Without it the pass keeps what
    /// the targets hold; fresh ones start transparent black, and with depth 1.
    RenderPassRecorder& ClearColorBuffer(const glm::vec4& color);
    RenderPassRecorder& BindPipeline(const RenderPipeline& pipeline);
    RenderPassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup);
    /// Binds a group with one binding that has dynamic offsets; the offset is a multiple of
    /// UniformBuffer::GetBlockSize.
    RenderPassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup, std::uint32_t dynamicOffset);
    /// `size` -1 stands for the rest of the buffer.
    RenderPassRecorder& BindVertexBuffer(int slot, const Buffer& buffer, std::uint64_t offset, std::uint64_t size);
    RenderPassRecorder& Draw(std::uint32_t vertexCount, std::uint32_t instanceCount, std::uint32_t firstVertex,
                             std::uint32_t firstInstance);
    /// Ends the pass and hands it to the queue. Passes run in the order of submission. With a pipeline that could not
    /// be created, or something empty bound, the targets are cleared and nothing is drawn; without a frame buffer
    /// nothing happens. The reason is in the log. The recorder is as new then.
    void Submit();

private:
    bool Begin();
    void SetBindGroup(int group, const wgpu::BindGroup& bindGroup, std::size_t offsetCount,
                      const std::uint32_t* offsets);
    void Fail(std::string_view reason);

    FrameBuffer frameBuffer;
    std::optional<glm::vec4> clearColor;
    wgpu::CommandEncoder encoder;
    wgpu::RenderPassEncoder pass; // null until something is bound
    bool usable = true;           // false once something is missing: draws are left out
};

/// Records one compute pass and submits it.
class VARKLE_API ComputePassRecorder
{
public:
    ComputePassRecorder& BindPipeline(const ComputePipeline& pipeline);
    ComputePassRecorder& BindBindGroup(int group, const wgpu::BindGroup& bindGroup);
    /// Runs x * y * z workgroups. Nothing is dispatched when one of them is 0, or, with an error in the log, more than
    /// the device allows in one dimension (65535 on most).
    ComputePassRecorder& Dispatch(std::uint32_t x, std::uint32_t y, std::uint32_t z);
    /// Ends the pass and hands it to the queue. With a pipeline that could not be created, or something empty bound,
    /// nothing is dispatched; the reason is in the log. The recorder is as new then.
    void Submit();

private:
    bool Begin();
    void Fail(std::string_view reason);

    wgpu::CommandEncoder encoder;
    wgpu::ComputePassEncoder pass; // null until something is bound
    bool usable = true;            // false once something is missing: dispatches are left out
};

} // namespace Varkle
