#pragma once

#include "GpuInternals.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/Pipeline.h"
#include "support/Catch.h"

#include <array>
#include <cstring>
#include <string>
#include <vector>

// What tests of drawing and computing have in common.
namespace Varkle::Testing
{

/// Keeps the errors that are logged while it lives.
class ErrorRecorder
{
public:
    const std::vector<std::string>& Errors() const { return errors; }
    std::size_t Count() const { return errors.size(); }
    /// True when one of the errors holds the text.
    bool Has(std::string_view text) const
    {
        for (const std::string& error : errors)
            if (error.find(text) != std::string::npos)
                return true;
        return false;
    }

private:
    std::vector<std::string> errors;
    LogListener listener{[this](LogLevel level, std::string_view text)
                         {
                             if (level == LogLevel::Error)
                                 errors.emplace_back(text);
                         }};
};

using Rgba = std::array<int, 4>;

inline Image ReadPixels(const Texture& texture)
{
    Image image;
    texture.ReadPixelsAsync([&](Image read) { image = std::move(read); });
    while (Graphics::WaitForReadBack(std::chrono::seconds(10)))
    {
    }
    return image;
}

inline Rgba PixelOf(const Texture& texture, int x = 0, int y = 0)
{
    const Image image = ReadPixels(texture);
    REQUIRE(image.IsValid());
    REQUIRE(x < image.GetWidth());
    REQUIRE(y < image.GetHeight());
    const std::uint8_t* pixel = image.GetPixels() + 4 * (y * image.GetWidth() + x);
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

/// Reads a buffer with the usage CopySrc back.
template<class T>
std::vector<T> ReadBuffer(const Buffer& buffer)
{
    const wgpu::Device device = Graphics::GetDevice();
    REQUIRE(device);
    const std::uint64_t size = buffer.GetSizeInBytes();
    wgpu::BufferDescriptor descriptor;
    descriptor.size = size;
    descriptor.usage = wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst;
    const wgpu::Buffer readable = device.CreateBuffer(&descriptor);
    const wgpu::CommandEncoder encoder = device.CreateCommandEncoder();
    encoder.CopyBufferToBuffer(buffer.GetBufferHandle(), 0, readable, 0, size);
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
    Internal::Wait(readable.MapAsync(wgpu::MapMode::Read, 0, size, wgpu::CallbackMode::WaitAnyOnly,
                                     [](wgpu::MapAsyncStatus, wgpu::StringView) {}));
    const void* bytes = readable.GetConstMappedRange(0, size);
    REQUIRE(bytes);
    std::vector<T> values(size / sizeof(T));
    std::memcpy(values.data(), bytes, values.size() * sizeof(T));
    return values;
}

inline FrameBufferFormat ColorFormat(wgpu::TextureFormat format)
{
    return {.colorFormats = {format}};
}

inline const FrameBufferFormat rgba8 = ColorFormat(wgpu::TextureFormat::RGBA8Unorm);

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

inline constexpr std::uint64_t wholeBuffer = std::uint64_t(-1);
inline constexpr wgpu::BufferUsage uniformUsage = wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst;

} // namespace Varkle::Testing
