#include "Swizzle.h"

#include "TextureStorage.h"
#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Gpu/Pipeline.h"

#include <cctype>
#include <map>

namespace Varkle
{

namespace
{

// Draws one triangle that covers the target: each pixel is the same pixel of the source with its channels rearranged.
constexpr const char* shaderSource = R"(
// Where each channel of the target comes from: 0 to 3 stand for R to A, 4 for zero, 5 for one.
struct Channels { red: u32, green: u32, blue: u32, alpha: u32 }
@group(0) @binding(0) var<uniform> channels: Channels;
@group(0) @binding(1) var source: texture_2d<f32>;
@group(0) @binding(2) var nearest: sampler;

struct Corner { @builtin(position) position: vec4<f32>, @location(0) uv: vec2<f32> }

@vertex fn vs_main(@builtin(vertex_index) index: u32) -> Corner
{
    let uv = vec2<f32>(select(0.0, 2.0, index == 1u), select(0.0, 2.0, index == 2u));
    return Corner(vec4<f32>(2.0 * uv.x - 1.0, 1.0 - 2.0 * uv.y, 0.0, 1.0), uv);
}

@fragment fn fs_main(corner: Corner) -> @location(0) vec4<f32>
{
    let pixel = textureSampleLevel(source, nearest, corner.uv, 0.0);
    var values = array<f32, 6>(pixel.r, pixel.g, pixel.b, pixel.a, 0.0, 1.0);
    return vec4<f32>(values[channels.red], values[channels.green], values[channels.blue], values[channels.alpha]);
}
)";

constexpr std::string_view letters = "RGBA01"; // in the order of the shader's numbers

} // namespace

std::string NormalizeSwizzle(std::string_view swizzle)
{
    std::string normal = "0001";
    for (std::size_t i = 0; i < normal.size() && i < swizzle.size(); ++i)
    {
        const char letter = char(std::toupper(static_cast<unsigned char>(swizzle[i])));
        normal[i] = letters.find(letter) == std::string_view::npos ? '0' : letter;
    }
    return normal;
}

Texture CopySwizzled(const Texture& source, wgpu::TextureFormat format, const std::string& swizzle)
{
    static const Shader& shader = *new Shader(Shader::FromWgsl(shaderSource));
    // Kept, since a pipeline that nobody holds is dropped, and a running graph may copy in every frame.
    static auto& pipelines = *new std::map<wgpu::TextureFormat, RenderPipeline>;
    const FrameBufferFormat targetFormat{.colorFormats = {format}};
    RenderPipeline& pipeline = pipelines[format];
    if (!pipeline)
        pipeline = RenderPipelineBuilder().SetShader(shader).SetFrameBufferFormat(targetFormat).Build();
    UniformBuffer channels(shader, 1, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst);
    const char* const names[] = {"red", "green", "blue", "alpha"};
    for (std::size_t i = 0; i < 4; ++i)
        channels.GetBlock(0).GetVariable(names[i]).SetUInt(unsigned(letters.find(swizzle[i])));
    channels.UploadChanges();

    const TextureView view(source, {.filter = wgpu::FilterMode::Nearest});
    const wgpu::BindGroup bindGroup =
        BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, channels, 0).AddTextureView(1, 2, view).Build();
    const FrameBuffer target = AllocateFrameBuffer({source.GetWidth(), source.GetHeight()}, targetFormat);
    RenderPassRecorder()
        .BindFrameBuffer(target)
        .ClearColorBuffer(glm::vec4(0.0f))
        .BindPipeline(pipeline)
        .BindBindGroup(0, bindGroup)
        .Draw(3, 1, 0, 0)
        .Submit();
    return target.GetColorTarget(0);
}

} // namespace Varkle
