#include "texture/Swizzle.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Gpu/Pipeline.h"
#include "shader/BuiltInShaders.h"
#include "texture/TextureStorage.h"

#include <cctype>
#include <map>

namespace Varkle
{

namespace
{

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
    const Shader shader = GetBuiltInShader("texture/Swizzle.wgsl");
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
