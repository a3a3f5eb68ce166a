#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "device/ResourcePool.h"
#include "shader/BuiltInShaders.h"
#include "shader/ShaderInternals.h"
#include "texture/TextureStorage.h"
#include "window/WindowSurface.h"

#include <algorithm>
#include <cstdint>
#include <glm/common.hpp>
#include <map>

namespace Varkle::Gui
{

namespace
{

// A pixel averages so many texels of each axis at most, lest one with a huge picture under it stalls the GPU.
constexpr float widestArea = 16.0f;

// What a pass reads of a picture.
struct Source
{
    wgpu::TextureView view;
    wgpu::BindGroup group; // null when it could not be made
};

// What the drawing of windows keeps: few pictures are shown, again and again.
struct Kept
{
    std::map<wgpu::TextureFormat, RenderPipeline> pipelines;
    UniformBuffer placing;
    ResourcePool<WGPUTextureView, Source> sources; // those of pictures that went are dropped after a while
    unsigned long generation = noGeneration;
};

// Never destroyed, as all that may hold GPU objects.
Kept& GetKept()
{
    static Kept& kept = *new Kept;
    return kept;
}

const RenderPipeline& GetPipeline(wgpu::TextureFormat format)
{
    RenderPipeline& pipeline = GetKept().pipelines[format];
    if (!pipeline)
        pipeline = RenderPipelineBuilder()
                       .SetShader(GetBuiltInShader("window/Window.wgsl"))
                       .SetFrameBufferFormat({.colorFormats = {format}})
                       .Build();
    return pipeline;
}

wgpu::BindGroup GetBindGroup(const Texture& texture, const RenderPipeline& pipeline)
{
    Kept& kept = GetKept();
    const TextureView view(texture, {.filter = wgpu::FilterMode::Nearest});
    WGPUTextureView const key = view.GetTextureViewHandle().Get();
    std::optional<Source> source = kept.sources.Take(key);
    if (!source)
        source = Source{
            view.GetTextureViewHandle(),
            BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, kept.placing, 0).AddTextureView(1, 2, view).Build()};
    // It keeps the picture's memory, of about this size.
    kept.sources.Give(key, *source, std::uint64_t(texture.GetWidth()) * std::uint64_t(texture.GetHeight()) * 4);
    return source->group;
}

void SetPlacing(const glm::ivec2& picture, const Placement& placement, bool opaque)
{
    Kept& kept = GetKept();
    if (!kept.placing.GetStructSize())
        kept.placing = UniformBuffer(GetBuiltInShader("window/Window.wgsl"), 1,
                                     wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst);
    const glm::vec2 scale = glm::vec2(picture) / glm::vec2(placement.size);
    const UniformProxy block = kept.placing.GetBlock(0);
    block.GetVariable("corner").SetVec2(placement.position);
    block.GetVariable("scale").SetVec2(scale);
    block.GetVariable("area").SetVec2(glm::clamp(scale, 1.0f, widestArea));
    block.GetVariable("texel").SetVec2(1.0f / glm::vec2(picture));
    block.GetVariable("exact").SetUInt(placement.size == picture ? 1 : 0);
    block.GetVariable("opaque").SetUInt(opaque ? 1 : 0);
    kept.placing.UploadChanges();
}

bool IsDrawable(const Texture& texture)
{
    return texture && Internal::IsCurrent(TextureAccess::Storage(texture)->generation) &&
           IsFloatFormat(texture.GetTextureFormat());
}

} // namespace

Placement FitInto(const glm::ivec2& picture, const glm::ivec2& window)
{
    if (picture.x < 1 || picture.y < 1 || window.x < 1 || window.y < 1)
        return {};
    const auto scale = [](int length, int numerator, int denominator)
    {
        const std::int64_t scaled = (std::int64_t(length) * numerator + denominator / 2) / denominator;
        return std::max(1, int(scaled));
    };
    glm::ivec2 size = window;
    if (std::int64_t(picture.x) * window.y > std::int64_t(picture.y) * window.x)
        size.y = scale(picture.y, window.x, picture.x);
    else
        size.x = scale(picture.x, window.y, picture.y);
    return {(window - size) / 2, size};
}

void DrawFitted(const Texture& texture, const FrameBuffer& target, bool transparent)
{
    Kept& kept = GetKept();
    if (!Internal::IsCurrent(Internal::DeviceGeneration()) || !target.GetColorTarget(0))
        return;
    if (kept.generation != Internal::DeviceGeneration())
        ReleaseFitted();
    kept.generation = Internal::DeviceGeneration();
    kept.sources.Trim(false);

    RenderPassRecorder pass;
    pass.BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1});
    const glm::ivec2 picture{texture.GetWidth(), texture.GetHeight()};
    const Placement placement = FitInto(picture, {target.GetWidth(), target.GetHeight()});
    if (IsDrawable(texture) && placement != Placement{})
    {
        SetPlacing(picture, placement, !transparent);
        const RenderPipeline& pipeline = GetPipeline(target.GetFormat().colorFormats[0]);
        pass.BindPipeline(pipeline)
            .BindBindGroup(0, GetBindGroup(texture, pipeline))
            .SetScissor(placement.position, placement.size)
            .Draw(3, 1, 0, 0);
    }
    pass.Submit();
}

void ReleaseFitted()
{
    GetKept().sources.Trim(true);
}

} // namespace Varkle::Gui
