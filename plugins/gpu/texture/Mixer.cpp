#include "texture/Mixer.h"

#include "Varkle/Gpu/BlendMode.h"
#include "Varkle/Kit/ShaderCache.h"

#include <algorithm>
#include <bit>
#include <vector>

namespace Varkle
{

namespace
{

constexpr std::size_t initialBlocks = 8;
// Software rasterisers keep a pass's draws in lists of a fixed size, and crash behind their end.
constexpr std::size_t layersPerPass = 1024;

UniformBuffer MakeUniformBuffer(const Shader& shader, std::size_t blocks)
{
    return {shader, blocks, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst};
}

} // namespace

Mixer::Mixer()
    : textureInputs(this, "Inputs", TextureInput::Type(),
                    {[this](DataInput& input) { InputAdded(input); },
                     [this](DataInput& input) { InputRemoving(input); }, [this] { MarkDirty(); }}),
      opacityBundles(this, "Opacities",
                     {[this](ParameterBundle& bundle) { FillBundle(bundle); },
                      [this](ParameterBundle& bundle) { DiscardBundle(bundle); },
                      {}}),
      shader(ShaderCache::GetShader("Mixer.wgsl")),
      uniforms(MakeUniformBuffer(shader, initialBlocks))
{
    opacityBundles.SetBundlesNumbered(true);
    RebuildPipeline();
}

Mixer::~Mixer() = default;

const ObjectType* Mixer::Type()
{
    static const ObjectType type("Varkle.Texture.Mixer", Operator::Type(), [] { return new Mixer; });
    return &type;
}

void Mixer::InputAdded(DataInput& input)
{
    opacityBundles.CreateBundle("", input.GetKey());
    MarkDirty();
}

void Mixer::InputRemoving(DataInput& input)
{
    if (ParameterBundle* const bundle = BundleOf(input))
        opacityBundles.RemoveBundle(bundle);
    MarkDirty();
}

ParameterBundle* Mixer::BundleOf(const DataInput& input)
{
    return opacityBundles.FindBundle(input.GetKey());
}

void Mixer::FillBundle(ParameterBundle& bundle)
{
    bundle.SetName("Input");
    opacities[bundle.GetKey()] = std::make_unique<FloatParameter>(ParameterScope(bundle), "Opacity", 1.0);
    MarkDirty();
}

void Mixer::DiscardBundle(ParameterBundle& bundle)
{
    opacities.erase(bundle.GetKey());
    MarkDirty();
}

float Mixer::OpacityOf(const DataInput& input) const
{
    const auto found = opacities.find(input.GetKey());
    if (found == opacities.end())
        return 0.0f;
    const auto opacity = float(found->second->Value());
    return opacity > 0.0f ? std::min(opacity, 1.0f) : 0.0f; // not-a-number counts as 0
}

void Mixer::RebuildPipeline()
{
    pipelineFormat = settings.GetFrameBufferFormat();
    pipeline = RenderPipelineBuilder()
                   .SetShader(shader)
                   .SetFrameBufferFormat(pipelineFormat)
                   .DefineVertexBuffer(0, {0}, wgpu::VertexStepMode::Vertex)
                   .SetBlendMode(BlendMode::AlphaPremultiplied, -1)
                   .EnableDynamicOffsets(0, 0)
                   .Build();
    RebuildUniformGroup();
}

void Mixer::RebuildUniformGroup()
{
    uniformGroup = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
}

// The buffer never shrinks. The old contents are not needed: every execution writes all opacities.
void Mixer::PrepareUniforms(std::size_t count)
{
    if (count > uniforms.GetBlockCount())
    {
        uniforms = MakeUniformBuffer(shader, std::bit_ceil(count));
        uniformGroup = nullptr;
    }
    if (!uniformGroup)
        RebuildUniformGroup();
}

void Mixer::Execute(ExecutionContext&)
{
    settings.Update();
    if (settings.GetFrameBufferFormat() != pipelineFormat)
        RebuildPipeline();

    const std::vector<DataInput*>& list = textureInputs.GetInputs();
    PrepareUniforms(list.size());
    for (std::size_t i = 0; i < list.size(); ++i)
        uniforms.GetBlock(i).GetVariable("opacity").SetFloat(OpacityOf(*list[i]));
    uniforms.UploadChanges();

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    RenderPassRecorder recorder;
    recorder.BindFrameBuffer(frameBuffer).ClearColorBuffer({0, 0, 0, 0});
    for (std::size_t i = 0; i < list.size(); ++i)
    {
        if (i > 0 && i % layersPerPass == 0)
        {
            recorder.Submit();
            recorder.BindFrameBuffer(frameBuffer); // goes on with what is there
        }
        if (i % layersPerPass == 0)
            recorder.BindPipeline(pipeline).BindVertexBuffer(0, quad, 0, std::uint64_t(-1));
        const TextureView view = MakeRepeatingView(static_cast<TextureInput*>(list[i])->GetTextureOrDefault());
        recorder.BindBindGroup(0, uniformGroup, std::uint32_t(i * uniforms.GetBlockSize()))
            .BindBindGroup(1, BindGroupBuilder(pipeline, 1).AddTextureView(0, 1, view).Build())
            .Draw(6, 1, 0, 0);
    }
    if (recorder.Submit())
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
