#include "Varkle/Gpu/PassRecorder.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Trace.h"
#include "device/GpuInternals.h"
#include "pass/PipelineInternals.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

bool HasWorkingDevice()
{
    return Graphics::GetDevice() && !Graphics::IsLost();
}

/// Finishes an encoder whose pass was ended and gives its commands to the queue. False, with an error in the log that
/// says what was refused, when the device does not take what was recorded.
template<class Describe>
bool SubmitEncoder(const wgpu::CommandEncoder& encoder, std::string_view name, const Describe& describe)
{
    const TraceSpan span("pass", name);
    std::string error;
    if (Internal::TakeFailure(GpuRequest::Pass))
        error = Internal::FailureReason;
    else
    {
        Graphics::GetQueue(); // copies that wait are not of this pass
        Internal::ErrorScope scope;
        Internal::Submit(encoder.Finish());
        error = scope.Finish();
    }
    if (!error.empty())
        LogError(Internal::Label("The GPU refuses " + describe() + ": " + error));
    return error.empty();
}

/// WebGPU refuses colors that are not finite.
double Finite(float value)
{
    constexpr float largest = std::numeric_limits<float>::max();
    return std::isnan(value) ? 0.0 : double(std::clamp(value, -largest, largest));
}

} // namespace

// ---- RenderPassRecorder ----

RenderPassRecorder& RenderPassRecorder::BindFrameBuffer(const FrameBuffer& newFrameBuffer)
{
    frameBuffer = newFrameBuffer;
    return *this;
}

RenderPassRecorder& RenderPassRecorder::ClearColorBuffer(const glm::vec4& color)
{
    clearColor = color;
    return *this;
}

RenderPassRecorder& RenderPassRecorder::SetClearDepth(float depth)
{
    clearDepth = depth;
    return *this;
}

RenderPassRecorder& RenderPassRecorder::BindPipeline(const RenderPipeline& pipeline)
{
    if (!Begin())
        return *this;
    RenderPipelineData* data = PipelineAccess::Data(pipeline);
    if (!data)
        Fail("The pipeline is empty.");
    else if (const wgpu::RenderPipeline& created = PreparePipeline(*data))
        pass.SetPipeline(created);
    else
        usable = false; // logged
    return *this;
}

RenderPassRecorder& RenderPassRecorder::BindBindGroup(int group, const wgpu::BindGroup& bindGroup)
{
    SetBindGroup(group, bindGroup, 0, nullptr);
    return *this;
}

RenderPassRecorder& RenderPassRecorder::BindBindGroup(int group, const wgpu::BindGroup& bindGroup,
                                                      std::uint32_t dynamicOffset)
{
    SetBindGroup(group, bindGroup, 1, &dynamicOffset);
    return *this;
}

void RenderPassRecorder::SetBindGroup(int group, const wgpu::BindGroup& bindGroup, std::size_t offsetCount,
                                      const std::uint32_t* offsets)
{
    if (!Begin())
        return;
    if (!bindGroup)
        return Fail("Bind group " + std::to_string(group) + " is empty.");
    pass.SetBindGroup(std::uint32_t(group), bindGroup, offsetCount, offsets);
}

RenderPassRecorder& RenderPassRecorder::BindVertexBuffer(int slot, const Buffer& buffer, std::uint64_t offset,
                                                         std::uint64_t size)
{
    if (!Begin())
        return *this;
    if (buffer)
        pass.SetVertexBuffer(std::uint32_t(slot), buffer.GetBufferHandle(), offset, size);
    else
        Fail("The vertex buffer in slot " + std::to_string(slot) + " is empty.");
    return *this;
}

RenderPassRecorder& RenderPassRecorder::BindIndexBuffer(const Buffer& buffer, wgpu::IndexFormat format)
{
    if (!Begin())
        return *this;
    if (buffer)
        pass.SetIndexBuffer(buffer.GetBufferHandle(), format);
    else
        Fail("The index buffer is empty.");
    return *this;
}

RenderPassRecorder& RenderPassRecorder::SetScissor(const glm::ivec2& position, const glm::ivec2& size)
{
    if (Begin())
        pass.SetScissorRect(std::uint32_t(position.x), std::uint32_t(position.y), std::uint32_t(size.x),
                            std::uint32_t(size.y));
    return *this;
}

RenderPassRecorder& RenderPassRecorder::Draw(std::uint32_t vertexCount, std::uint32_t instanceCount,
                                             std::uint32_t firstVertex, std::uint32_t firstInstance)
{
    if (!Begin() || !usable)
        return *this;
    pass.Draw(vertexCount, instanceCount, firstVertex, firstInstance);
    ++Internal::Counters().draws;
    return *this;
}

RenderPassRecorder& RenderPassRecorder::DrawIndexed(std::uint32_t indexCount, std::uint32_t instanceCount,
                                                    std::uint32_t firstIndex, std::int32_t baseVertex,
                                                    std::uint32_t firstInstance)
{
    if (!Begin() || !usable)
        return *this;
    pass.DrawIndexed(indexCount, instanceCount, firstIndex, baseVertex, firstInstance);
    ++Internal::Counters().draws;
    return *this;
}

bool RenderPassRecorder::Submit()
{
    bool taken = false;
    if (Begin())
    {
        pass.End();
        taken = SubmitEncoder(encoder, "render pass", [this] { return Describe(); });
    }
    if (taken)
    {
        ++Internal::Counters().renderPasses;
        for (const Texture& target : frameBuffer.colorTargets)
            Internal::NoteDrawn(target);
        Internal::NoteDrawn(frameBuffer.depthTarget);
    }
    const bool complete = taken && usable;
    *this = {};
    return complete;
}

/// Names the pass and its values for messages.
std::string RenderPassRecorder::Describe() const
{
    std::string text = "a render pass into " + std::to_string(frameBuffer.GetWidth()) + " by " +
                       std::to_string(frameBuffer.GetHeight()) + " pixels";
    for (const wgpu::TextureFormat format : frameBuffer.GetFormat().colorFormats)
        text += " of " + GetTextureFormatName(format);
    return text;
}

/// Begins the pass with the first command. False when there is nothing to draw into.
bool RenderPassRecorder::Begin()
{
    if (pass || !usable)
        return pass != nullptr;
    if (!HasWorkingDevice())
    {
        usable = false; // logged
        return false;
    }

    std::vector<wgpu::RenderPassColorAttachment> colors(frameBuffer.colorTargets.size());
    for (std::size_t i = 0; i < colors.size(); ++i)
    {
        const Texture& target = frameBuffer.colorTargets[i];
        colors[i].view = Internal::GetRenderView(target);
        colors[i].loadOp = Internal::IsFresh(target) || clearColor ? wgpu::LoadOp::Clear : wgpu::LoadOp::Load;
        colors[i].storeOp = wgpu::StoreOp::Store;
        const glm::vec4 color = clearColor.value_or(glm::vec4(0));
        colors[i].clearValue = {Finite(color.r), Finite(color.g), Finite(color.b), Finite(color.a)};
        if (frameBuffer.multisampled.empty())
            continue;
        colors[i].resolveTarget = colors[i].view;
        colors[i].view = Internal::GetRenderView(frameBuffer.multisampled[i]);
    }
    const bool complete =
        std::all_of(colors.begin(), colors.end(), [](const auto& color) { return color.view != nullptr; });
    if (!complete || (colors.empty() && !frameBuffer.depthTarget))
    {
        Fail("It has no frame buffer.");
        return false;
    }

    wgpu::RenderPassDescriptor descriptor;
    descriptor.colorAttachmentCount = colors.size();
    descriptor.colorAttachments = colors.data();
    wgpu::RenderPassDepthStencilAttachment depth;
    if (frameBuffer.depthTarget)
    {
        depth.view = Internal::GetRenderView(frameBuffer.depthTarget);
        depth.depthLoadOp =
            Internal::IsFresh(frameBuffer.depthTarget) || clearColor ? wgpu::LoadOp::Clear : wgpu::LoadOp::Load;
        depth.depthStoreOp = wgpu::StoreOp::Store;
        depth.depthClearValue = clearDepth;
        descriptor.depthStencilAttachment = &depth;
    }
    descriptor.timestampWrites = Internal::BeginPassTiming();
    encoder = Graphics::GetDevice().CreateCommandEncoder();
    pass = encoder.BeginRenderPass(&descriptor);
    return true;
}

/// Leaves out all draws from here on and says why.
void RenderPassRecorder::Fail(std::string_view reason)
{
    if (usable)
        LogError(Internal::Label("A render pass draws nothing: " + std::string(reason)));
    usable = false;
}

// ---- ComputePassRecorder ----

ComputePassRecorder& ComputePassRecorder::BindPipeline(const ComputePipeline& pipeline)
{
    if (!Begin())
        return *this;
    ComputePipelineData* data = PipelineAccess::Data(pipeline);
    if (!data)
        Fail("The pipeline is empty.");
    else if (const wgpu::ComputePipeline& created = PreparePipeline(*data))
        pass.SetPipeline(created);
    else
        usable = false; // logged
    return *this;
}

ComputePassRecorder& ComputePassRecorder::BindBindGroup(int group, const wgpu::BindGroup& bindGroup)
{
    if (!Begin())
        return *this;
    if (bindGroup)
        pass.SetBindGroup(std::uint32_t(group), bindGroup);
    else
        Fail("Bind group " + std::to_string(group) + " is empty.");
    return *this;
}

ComputePassRecorder& ComputePassRecorder::Dispatch(std::uint32_t x, std::uint32_t y, std::uint32_t z)
{
    if (!Begin() || !usable || x == 0 || y == 0 || z == 0)
        return *this;
    const std::uint32_t limit = Graphics::GetLimits().maxComputeWorkgroupsPerDimension;
    if (std::max({x, y, z}) > limit)
    {
        Fail(std::to_string(x) + " x " + std::to_string(y) + " x " + std::to_string(z) +
             " workgroups are asked for, and this device runs at most " + std::to_string(limit) +
             " in each dimension.");
        return *this;
    }
    pass.DispatchWorkgroups(x, y, z);
    ++Internal::Counters().dispatches;
    return *this;
}

bool ComputePassRecorder::Submit()
{
    bool taken = false;
    if (Begin())
    {
        pass.End();
        taken = SubmitEncoder(encoder, "compute pass", [] { return std::string("a compute pass"); });
    }
    if (taken)
        ++Internal::Counters().computePasses;
    const bool complete = taken && usable;
    *this = {};
    return complete;
}

/// Begins the pass with the first command. False without a device.
bool ComputePassRecorder::Begin()
{
    if (pass || !usable)
        return pass != nullptr;
    if (!HasWorkingDevice())
    {
        usable = false; // logged
        return false;
    }
    wgpu::ComputePassDescriptor descriptor;
    descriptor.timestampWrites = Internal::BeginPassTiming();
    encoder = Graphics::GetDevice().CreateCommandEncoder();
    pass = encoder.BeginComputePass(&descriptor);
    return true;
}

/// Leaves out all dispatches from here on and says why.
void ComputePassRecorder::Fail(std::string_view reason)
{
    if (usable)
        LogError(Internal::Label("A compute pass does nothing: " + std::string(reason)));
    usable = false;
}

} // namespace Varkle
