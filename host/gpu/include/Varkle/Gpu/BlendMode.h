#pragma once

#include <webgpu/webgpu_cpp.h>

/// Blend states for RenderPipelineBuilder::SetBlendMode.
namespace Varkle::BlendMode
{

/// "Over" for colors that are multiplied by their alpha already.
inline constexpr wgpu::BlendState AlphaPremultiplied{
    .color = {.operation = wgpu::BlendOperation::Add,
              .srcFactor = wgpu::BlendFactor::One,
              .dstFactor = wgpu::BlendFactor::OneMinusSrcAlpha},
    .alpha = {.operation = wgpu::BlendOperation::Add,
              .srcFactor = wgpu::BlendFactor::One,
              .dstFactor = wgpu::BlendFactor::OneMinusSrcAlpha},
};

} // namespace Varkle::BlendMode
