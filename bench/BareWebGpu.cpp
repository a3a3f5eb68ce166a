#include "BareWebGpu.h"

#include "Varkle/Gpu/BlendMode.h"
#include "Varkle/Gpu/Graphics.h"

namespace Varkle::Bench
{

namespace
{

wgpu::Texture MakeTarget(glm::ivec2 size)
{
    wgpu::TextureDescriptor descriptor;
    descriptor.size = {std::uint32_t(size.x), std::uint32_t(size.y), 1};
    descriptor.format = wgpu::TextureFormat::RGBA8Unorm;
    descriptor.usage = wgpu::TextureUsage::RenderAttachment | wgpu::TextureUsage::TextureBinding;
    return Graphics::GetDevice().CreateTexture(&descriptor);
}

wgpu::Buffer MakeBuffer(const void* data, std::size_t size, wgpu::BufferUsage usage)
{
    wgpu::BufferDescriptor descriptor;
    descriptor.size = size;
    descriptor.usage = usage | wgpu::BufferUsage::CopyDst;
    wgpu::Buffer buffer = Graphics::GetDevice().CreateBuffer(&descriptor);
    Graphics::GetQueue().WriteBuffer(buffer, 0, data, size);
    return buffer;
}

wgpu::RenderPipeline MakePipeline(const std::string& wgsl, bool premultiplied)
{
    wgpu::ShaderSourceWGSL source;
    source.code = wgpu::StringView(wgsl.data(), wgsl.size());
    wgpu::ShaderModuleDescriptor moduleDescriptor;
    moduleDescriptor.nextInChain = &source;
    const wgpu::ShaderModule module = Graphics::GetDevice().CreateShaderModule(&moduleDescriptor);

    wgpu::VertexAttribute attribute;
    attribute.format = wgpu::VertexFormat::Float32x2;
    attribute.offset = 0; // has no default
    attribute.shaderLocation = 0;
    wgpu::VertexBufferLayout layout;
    layout.arrayStride = sizeof(glm::vec2);
    layout.attributeCount = 1;
    layout.attributes = &attribute;
    layout.stepMode = wgpu::VertexStepMode::Vertex;
    wgpu::ColorTargetState color;
    color.format = wgpu::TextureFormat::RGBA8Unorm;
    color.blend = premultiplied ? &BlendMode::AlphaPremultiplied : nullptr;
    wgpu::FragmentState fragment;
    fragment.module = module;
    fragment.targetCount = 1;
    fragment.targets = &color;
    wgpu::RenderPipelineDescriptor descriptor;
    descriptor.vertex.module = module;
    descriptor.vertex.bufferCount = 1;
    descriptor.vertex.buffers = &layout;
    descriptor.fragment = &fragment;
    return Graphics::GetDevice().CreateRenderPipeline(&descriptor);
}

wgpu::BindGroup MakeGroup(const wgpu::RenderPipeline& pipeline, std::uint32_t group,
                          const std::vector<wgpu::BindGroupEntry>& entries)
{
    wgpu::BindGroupDescriptor descriptor;
    descriptor.layout = pipeline.GetBindGroupLayout(group);
    descriptor.entryCount = entries.size();
    descriptor.entries = entries.data();
    return Graphics::GetDevice().CreateBindGroup(&descriptor);
}

wgpu::BindGroup MakeUniformGroup(const wgpu::RenderPipeline& pipeline, const std::vector<std::byte>& uniforms)
{
    wgpu::BindGroupEntry entry;
    entry.binding = 0;
    entry.buffer = MakeBuffer(uniforms.data(), uniforms.size(), wgpu::BufferUsage::Uniform);
    return MakeGroup(pipeline, 0, {entry});
}

wgpu::BindGroup MakeTextureGroup(const wgpu::RenderPipeline& pipeline, std::uint32_t group,
                                 const std::vector<BareTexture>& textures)
{
    std::vector<wgpu::BindGroupEntry> entries;
    for (const BareTexture& texture : textures)
    {
        wgpu::SamplerDescriptor descriptor;
        descriptor.magFilter = wgpu::FilterMode::Linear;
        descriptor.minFilter = wgpu::FilterMode::Linear;
        descriptor.addressModeU = descriptor.addressModeV = descriptor.addressModeW = texture.addressMode;
        wgpu::BindGroupEntry& view = entries.emplace_back();
        view.binding = std::uint32_t(entries.size() - 1);
        view.textureView = texture.texture.CreateView();
        wgpu::BindGroupEntry& sampler = entries.emplace_back();
        sampler.binding = std::uint32_t(entries.size() - 1);
        sampler.sampler = Graphics::GetDevice().CreateSampler(&descriptor);
    }
    return MakeGroup(pipeline, group, entries);
}

} // namespace

BarePass::BarePass(glm::ivec2 size) : textures{MakeTarget(size), MakeTarget(size)}
{
    targets = {textures[0].CreateView(), textures[1].CreateView()};
}

BarePass::BarePass(const std::string& wgsl, glm::ivec2 size, const std::vector<BareDraw>& draws, bool premultiplied)
    : BarePass(size)
{
    constexpr std::array<float, 12> corners = {-1, 1, 1, 1, -1, -1, -1, -1, 1, 1, 1, -1};
    quad = MakeBuffer(corners.data(), sizeof(corners), wgpu::BufferUsage::Vertex);
    pipeline = MakePipeline(wgsl, premultiplied);
    for (const BareDraw& draw : draws)
    {
        std::vector<wgpu::BindGroup>& made = groups.emplace_back();
        if (!draw.uniforms.empty())
            made.push_back(MakeUniformGroup(pipeline, draw.uniforms));
        for (const std::vector<BareTexture>& group : draw.textures)
            made.push_back(MakeTextureGroup(pipeline, std::uint32_t(made.size()), group));
    }
}

wgpu::Texture BarePass::FixTarget()
{
    textures[1] = textures[0];
    targets[1] = targets[0];
    return textures[0];
}

void BarePass::Run() const
{
    wgpu::RenderPassColorAttachment color;
    color.view = targets[next];
    next = 1 - next;
    color.loadOp = wgpu::LoadOp::Clear;
    color.storeOp = wgpu::StoreOp::Store;
    color.clearValue = {0, 0, 0, 1};
    wgpu::RenderPassDescriptor descriptor;
    descriptor.colorAttachmentCount = 1;
    descriptor.colorAttachments = &color;
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    const wgpu::RenderPassEncoder pass = encoder.BeginRenderPass(&descriptor);
    if (pipeline)
    {
        pass.SetPipeline(pipeline);
        pass.SetVertexBuffer(0, quad);
        for (const std::vector<wgpu::BindGroup>& draw : groups)
        {
            for (std::size_t i = 0; i < draw.size(); ++i)
                pass.SetBindGroup(std::uint32_t(i), draw[i]);
            pass.Draw(6);
        }
    }
    pass.End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
}

} // namespace Varkle::Bench
