#include "Varkle/Gpu/Pipeline.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "device/GpuInternals.h"
#include "pass/PipelineInternals.h"
#include "pass/VertexLayout.h"

#include <algorithm>
#include <string>

namespace Varkle
{

namespace
{

bool Equal(const wgpu::BlendComponent& a, const wgpu::BlendComponent& b)
{
    return a.operation == b.operation && a.srcFactor == b.srcFactor && a.dstFactor == b.dstFactor;
}

bool Equal(const std::map<int, wgpu::BlendState>& a, const std::map<int, wgpu::BlendState>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const auto& x, const auto& y) {
                          return x.first == y.first && Equal(x.second.color, y.second.color) &&
                                 Equal(x.second.alpha, y.second.alpha);
                      });
}

const wgpu::BlendState* FindBlendState(const RenderPipelineDescription& description, int target)
{
    auto found = description.blendStates.find(target);
    if (found == description.blendStates.end())
        found = description.blendStates.find(-1);
    return found == description.blendStates.end() ? nullptr : &found->second;
}

std::nullptr_t Refuse(std::string_view why)
{
    LogError(Internal::Label("The pipeline cannot be created: " + std::string(why)));
    return nullptr;
}

/// Gets the shader and the layout of a pipeline ready. False when they have errors, which are logged.
bool PrepareParts(const Shader& shader, BindingLayout* layout)
{
    ShaderData* data = ShaderAccess::Data(shader);
    if (!data)
        Refuse("It was built without a shader.");
    return data && PrepareShader(*data) && PrepareLayout(data->reflection, *layout);
}

const wgpu::ShaderModule& ModuleOf(const Shader& shader, const EntryPoint& entry)
{
    return ShaderAccess::Data(shader)->modules[entry.module];
}

std::vector<wgpu::ColorTargetState> MakeColorTargets(const RenderPipelineDescription& description)
{
    std::vector<wgpu::ColorTargetState> targets;
    for (const wgpu::TextureFormat format : description.format.colorFormats)
    {
        wgpu::ColorTargetState target;
        target.format = format;
        target.blend = FindBlendState(description, int(targets.size()));
        targets.push_back(target);
    }
    return targets;
}

std::vector<wgpu::ConstantEntry> MakeConstants(const RenderPipelineDescription& description)
{
    std::vector<wgpu::ConstantEntry> constants;
    for (const auto& [name, value] : description.constants)
    {
        wgpu::ConstantEntry& entry = constants.emplace_back();
        entry.key = std::string_view(name);
        entry.value = value;
    }
    return constants;
}

const EntryPoint* FindEntryPoint(const RenderPipelineDescription& description, ShaderStage stage)
{
    const ShaderReflection& reflection = description.shader.GetReflection();
    const auto chosen = description.entryPoints.find(stage);
    if (chosen == description.entryPoints.end())
        return reflection.FindEntryPoint(stage);
    const auto found = std::ranges::find_if(reflection.entryPoints, [&](const EntryPoint& entry)
                                            { return entry.stage == stage && entry.name == chosen->second; });
    return found == reflection.entryPoints.end() ? nullptr : &*found;
}

std::string NameEntryPoint(const RenderPipelineDescription& description, ShaderStage stage)
{
    const std::string name = stage == ShaderStage::Vertex ? "vertex entry point" : "fragment entry point";
    const auto chosen = description.entryPoints.find(stage);
    return chosen == description.entryPoints.end() ? name : name + " " + Quoted(chosen->second);
}

wgpu::RenderPipeline CreatePipeline(const RenderPipelineData& data)
{
    const RenderPipelineDescription& description = data.description;
    if (!PrepareParts(description.shader, data.layout))
        return nullptr;
    const EntryPoint* vertexEntry = FindEntryPoint(description, ShaderStage::Vertex);
    if (!vertexEntry)
        return Refuse("The shader has no " + NameEntryPoint(description, ShaderStage::Vertex) + ".");
    const EntryPoint* fragmentEntry = FindEntryPoint(description, ShaderStage::Fragment);
    if (!fragmentEntry)
        return Refuse("The shader has no " + NameEntryPoint(description, ShaderStage::Fragment) + ".");
    const Result<VertexLayout> vertexLayout = MakeVertexLayout(description, Graphics::GetLimits().maxVertexBuffers);
    if (!vertexLayout)
        return Refuse(vertexLayout.GetError().message);

    const std::vector<wgpu::ColorTargetState> targets = MakeColorTargets(description);
    wgpu::FragmentState fragment;
    fragment.module = ModuleOf(description.shader, *fragmentEntry);
    fragment.entryPoint = std::string_view(fragmentEntry->name);
    fragment.targetCount = targets.size();
    fragment.targets = targets.data();
    const std::vector<wgpu::ConstantEntry> constants = MakeConstants(description);
    fragment.constantCount = constants.size();
    fragment.constants = constants.data();

    wgpu::DepthStencilState depth;
    depth.format = description.format.depthFormat;
    depth.depthWriteEnabled = description.depthWrite ? wgpu::OptionalBool::True : wgpu::OptionalBool::False;
    depth.depthCompare = description.depthCompare;

    const std::string label = Internal::Label("render pipeline");
    wgpu::RenderPipelineDescriptor descriptor;
    descriptor.label = std::string_view(label);
    descriptor.layout = data.layout->pipelineLayout;
    descriptor.vertex.module = ModuleOf(description.shader, *vertexEntry);
    descriptor.vertex.entryPoint = std::string_view(vertexEntry->name);
    descriptor.vertex.constantCount = constants.size();
    descriptor.vertex.constants = constants.data();
    descriptor.vertex.bufferCount = vertexLayout->buffers.size();
    descriptor.vertex.buffers = vertexLayout->buffers.data();
    descriptor.primitive.topology = description.topology;
    descriptor.primitive.stripIndexFormat = description.stripIndexFormat;
    descriptor.primitive.cullMode = description.cullMode;
    descriptor.primitive.frontFace = description.frontFace;
    descriptor.depthStencil = depth.format == wgpu::TextureFormat::Undefined ? nullptr : &depth;
    descriptor.multisample.count = description.format.sampleCount;
    descriptor.fragment = &fragment;

    const TraceSpan span("pipeline", label);
    const wgpu::Device device = Graphics::GetDevice();
    Internal::ErrorScope scope;
    wgpu::RenderPipeline pipeline = device.CreateRenderPipeline(&descriptor);
    ++Internal::Counters().pipelinesCreated;
    const std::string error = scope.Finish();
    return error.empty() ? pipeline : Refuse(error);
}

wgpu::ComputePipeline CreatePipeline(const ComputePipelineData& data)
{
    if (!PrepareParts(data.shader, data.layout))
        return nullptr;
    const EntryPoint* entry = data.shader.GetReflection().FindEntryPoint(ShaderStage::Compute);
    if (!entry)
        return Refuse("The shader has no compute entry point.");

    const std::string label = Internal::Label("compute pipeline");
    wgpu::ComputePipelineDescriptor descriptor;
    descriptor.label = std::string_view(label);
    descriptor.layout = data.layout->pipelineLayout;
    descriptor.compute.module = ModuleOf(data.shader, *entry);
    descriptor.compute.entryPoint = std::string_view(entry->name);

    const TraceSpan span("pipeline", label);
    const wgpu::Device device = Graphics::GetDevice();
    Internal::ErrorScope scope;
    wgpu::ComputePipeline pipeline = device.CreateComputePipeline(&descriptor);
    ++Internal::Counters().pipelinesCreated;
    const std::string error = scope.Finish();
    return error.empty() ? pipeline : Refuse(error);
}

template<class Data>
const auto& Prepare(Data& data)
{
    if (data.generation == Internal::DeviceGeneration())
        return data.pipeline;
    data.generation = Internal::DeviceGeneration();
    data.pipeline = CreatePipeline(data);
    return data.pipeline;
}

} // namespace

bool RenderPipelineDescription::operator==(const RenderPipelineDescription& other) const
{
    return shader == other.shader && format == other.format && Equal(blendStates, other.blendStates) &&
           vertexBuffers == other.vertexBuffers && dynamicOffsets == other.dynamicOffsets &&
           entryPoints == other.entryPoints && constants == other.constants && topology == other.topology &&
           stripIndexFormat == other.stripIndexFormat && cullMode == other.cullMode && frontFace == other.frontFace &&
           depthCompare == other.depthCompare && depthWrite == other.depthWrite;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetShader(const Shader& newShader)
{
    description.shader = newShader;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetEntryPoint(ShaderStage stage, const std::string& name)
{
    description.entryPoints[stage] = name;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetConstant(const std::string& name, double value)
{
    description.constants[name] = value;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetTopology(wgpu::PrimitiveTopology topology,
                                                          wgpu::IndexFormat stripIndexFormat)
{
    description.topology = topology;
    description.stripIndexFormat = stripIndexFormat;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetCulling(wgpu::CullMode mode, wgpu::FrontFace frontFace)
{
    description.cullMode = mode;
    description.frontFace = frontFace;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetDepthTest(wgpu::CompareFunction compare, bool write)
{
    description.depthCompare = compare;
    description.depthWrite = write;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetFrameBufferFormat(const FrameBufferFormat& newFormat)
{
    description.format = newFormat;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::SetBlendMode(const wgpu::BlendState& state, int target)
{
    if (target == -1)
        description.blendStates.clear(); // the later word counts
    description.blendStates[target] = state;
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::DefineVertexBuffer(int slot, const std::vector<int>& locations,
                                                                 wgpu::VertexStepMode stepMode)
{
    description.vertexBuffers[slot] = {.locations = locations, .stepMode = stepMode, .fields = {}, .stride = 0};
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::DefineVertexBuffer(int slot, const std::vector<VertexField>& fields,
                                                                 std::uint64_t stride, wgpu::VertexStepMode stepMode)
{
    description.vertexBuffers[slot] = {.locations = {}, .stepMode = stepMode, .fields = fields, .stride = stride};
    return *this;
}

RenderPipelineBuilder& RenderPipelineBuilder::EnableDynamicOffsets(int group, int binding)
{
    description.dynamicOffsets.insert({group, binding});
    return *this;
}

RenderPipeline RenderPipelineBuilder::Build()
{
    RenderPipeline pipeline;
    ShaderData* shader = ShaderAccess::Data(description.shader);
    if (shader)
    {
        std::erase_if(shader->renderPipelines, [](const auto& built) { return built.expired(); });
        for (const std::weak_ptr<RenderPipelineData>& built : shader->renderPipelines)
        {
            pipeline.data = built.lock();
            if (pipeline.data->description == description)
                return pipeline;
        }
    }
    pipeline.data = std::make_shared<RenderPipelineData>();
    pipeline.data->description = description;
    if (shader)
    {
        pipeline.data->layout = &GetBindingLayout(*shader, description.dynamicOffsets);
        shader->renderPipelines.push_back(pipeline.data);
    }
    return pipeline;
}

ComputePipelineBuilder& ComputePipelineBuilder::SetShader(const Shader& newShader)
{
    shader = newShader;
    return *this;
}

ComputePipeline ComputePipelineBuilder::Build()
{
    ComputePipeline pipeline;
    ShaderData* data = ShaderAccess::Data(shader);
    if (data)
        pipeline.data = data->computePipeline.lock();
    if (pipeline.data)
        return pipeline;
    pipeline.data = std::make_shared<ComputePipelineData>();
    pipeline.data->shader = shader;
    if (data)
    {
        pipeline.data->layout = &GetBindingLayout(*data, {});
        data->computePipeline = pipeline.data;
    }
    return pipeline;
}

const wgpu::RenderPipeline& PreparePipeline(RenderPipelineData& data)
{
    return Prepare(data);
}

const wgpu::ComputePipeline& PreparePipeline(ComputePipelineData& data)
{
    return Prepare(data);
}

} // namespace Varkle
