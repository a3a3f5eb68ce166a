#include "BareWebGpu.h"

#include "Varkle/Gpu/Graphics.h"

#include <array>

namespace Varkle::Bench
{

namespace
{

wgpu::TextureView MakeTarget(glm::ivec2 size)
{
    wgpu::TextureDescriptor descriptor;
    descriptor.size = {std::uint32_t(size.x), std::uint32_t(size.y), 1};
    descriptor.format = wgpu::TextureFormat::RGBA8Unorm;
    descriptor.usage = wgpu::TextureUsage::RenderAttachment | wgpu::TextureUsage::TextureBinding;
    return Graphics::GetDevice().CreateTexture(&descriptor).CreateView();
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

wgpu::RenderPipeline MakePipeline(const std::string& wgsl)
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
                          const wgpu::BindGroupEntry* entries, std::size_t count)
{
    wgpu::BindGroupDescriptor descriptor;
    descriptor.layout = pipeline.GetBindGroupLayout(group);
    descriptor.entryCount = count;
    descriptor.entries = entries;
    return Graphics::GetDevice().CreateBindGroup(&descriptor);
}

} // namespace

BarePass::BarePass(glm::ivec2 size) : targets{MakeTarget(size), MakeTarget(size)} {}

BarePass::BarePass(const std::string& wgsl, glm::ivec2 size, const wgpu::Texture& input)
    : targets{MakeTarget(size), MakeTarget(size)}, pipeline(MakePipeline(wgsl))
{
    constexpr std::array<float, 12> corners = {-1, 1, 1, 1, -1, -1, -1, -1, 1, 1, 1, -1};
    quad = MakeBuffer(corners.data(), sizeof(corners), wgpu::BufferUsage::Vertex);

    constexpr std::array<std::uint32_t, 4> zeros = {};
    wgpu::BindGroupEntry uniform;
    uniform.binding = 0;
    uniform.buffer = MakeBuffer(zeros.data(), sizeof(zeros), wgpu::BufferUsage::Uniform);
    uniformGroup = MakeGroup(pipeline, 0, &uniform, 1);

    wgpu::SamplerDescriptor samplerDescriptor;
    samplerDescriptor.magFilter = wgpu::FilterMode::Linear;
    samplerDescriptor.minFilter = wgpu::FilterMode::Linear;
    std::array<wgpu::BindGroupEntry, 2> textureEntries;
    textureEntries[0].binding = 0;
    textureEntries[0].textureView = input.CreateView();
    textureEntries[1].binding = 1;
    textureEntries[1].sampler = Graphics::GetDevice().CreateSampler(&samplerDescriptor);
    textureGroup = MakeGroup(pipeline, 1, textureEntries.data(), textureEntries.size());
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
        pass.SetBindGroup(0, uniformGroup);
        pass.SetBindGroup(1, textureGroup);
        pass.Draw(6);
    }
    pass.End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
}

} // namespace Varkle::Bench
