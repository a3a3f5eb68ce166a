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

wgpu::ShaderModule MakeModule(const std::string& wgsl)
{
    wgpu::ShaderSourceWGSL source;
    source.code = wgpu::StringView(wgsl.data(), wgsl.size());
    wgpu::ShaderModuleDescriptor descriptor;
    descriptor.nextInChain = &source;
    return Graphics::GetDevice().CreateShaderModule(&descriptor);
}

wgpu::RenderPipeline MakePipeline(const std::string& wgsl, bool premultiplied)
{
    const wgpu::ShaderModule module = MakeModule(wgsl);

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

template<class Pipeline>
wgpu::BindGroup MakeGroup(const Pipeline& pipeline, std::uint32_t group,
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

BareStorage::BareStorage(const void* data, std::size_t size)
    : BareStorage(MakeBuffer(data, size, wgpu::BufferUsage::Storage))
{
}

BareStorage::BareStorage(std::uint64_t bytes)
{
    wgpu::BufferDescriptor descriptor;
    descriptor.size = bytes;
    descriptor.usage = wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst;
    for (wgpu::Buffer& buffer : byTurns)
        buffer = Graphics::GetDevice().CreateBuffer(&descriptor);
}

BareComputePass::BareComputePass(const std::vector<BareDispatch>& dispatches)
{
    for (const BareDispatch& dispatch : dispatches)
    {
        wgpu::ComputePipelineDescriptor descriptor;
        descriptor.compute.module = MakeModule(dispatch.wgsl);
        Step& step = steps.emplace_back();
        step.pipeline = Graphics::GetDevice().CreateComputePipeline(&descriptor);
        step.workgroups = (dispatch.count + 63) / 64;
        const wgpu::Buffer uniforms =
            MakeBuffer(dispatch.uniforms.data(), dispatch.uniforms.size(), wgpu::BufferUsage::Uniform);
        for (std::size_t turn = 0; turn < 2; ++turn)
        {
            std::vector<wgpu::BindGroupEntry> entries(1 + dispatch.storage.size());
            entries[0].buffer = uniforms;
            for (std::size_t i = 1; i < entries.size(); ++i)
            {
                entries[i].binding = std::uint32_t(i);
                entries[i].buffer = dispatch.storage[i - 1].byTurns[turn];
            }
            step.groups[turn] = MakeGroup(step.pipeline, 0, entries);
        }
    }
}

void BareComputePass::Run() const
{
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    const wgpu::ComputePassEncoder pass = encoder.BeginComputePass();
    for (const Step& step : steps)
    {
        pass.SetPipeline(step.pipeline);
        pass.SetBindGroup(0, step.groups[next]);
        pass.DispatchWorkgroups(step.workgroups);
    }
    next = 1 - next;
    pass.End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
}

} // namespace Varkle::Bench
