#pragma once

#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Pipeline.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"

#include <string>

// What tests that draw a quad over a whole target have in common.
namespace Varkle::Testing
{

inline constexpr std::uint64_t wholeBuffer = std::uint64_t(-1);
inline constexpr wgpu::BufferUsage uniformUsage = wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst;

inline FrameBufferFormat ColorFormat(wgpu::TextureFormat format)
{
    return {.colorFormats = {format}};
}

inline const FrameBufferFormat rgba8 = ColorFormat(wgpu::TextureFormat::RGBA8Unorm);

inline Rgba8 PixelOf(const Texture& texture, int x = 0, int y = 0)
{
    return At(ReadBack(texture), x, y);
}

/// Makes a vertex buffer of the two triangles that cover the whole target, two floats a corner.
inline Buffer MakeQuad()
{
    const float corners[] = {-1, 1, 1, 1, -1, -1, -1, -1, 1, 1, 1, -1};
    Buffer buffer(sizeof(corners), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    buffer.Upload(corners, sizeof(corners), 0);
    return buffer;
}

/// The pipeline of a shader that draws the quad.
inline RenderPipelineBuilder QuadPipeline(const Shader& shader, const FrameBufferFormat& format = rgba8)
{
    return RenderPipelineBuilder().SetShader(shader).SetFrameBufferFormat(format).DefineVertexBuffer(
        0, {0}, wgpu::VertexStepMode::Vertex);
}

/// A vertex stage for the quad, to be followed by a fragment stage.
inline const std::string quadVertexStage = R"(
@vertex fn vs_main(@location(0) position: vec2f) -> @builtin(position) vec4f
{
    return vec4f(position, 0, 1);
}
)";

/// A shader that fills the target with the colour of its uniform block.
inline Shader FillShader()
{
    return Shader::FromWgsl(R"(
struct UniformsStruct { color: vec4f }
@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
)" + quadVertexStage + "@fragment fn fs_main() -> @location(0) vec4f { return uniforms.color; }\n");
}

} // namespace Varkle::Testing
