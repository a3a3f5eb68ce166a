#include "texture/Noise.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/ShaderCache.h"

#include <glm/gtc/matrix_transform.hpp>

namespace Varkle
{

namespace
{

UniformBuffer MakeUniforms(const Shader& shader, int binding)
{
    return {shader, glm::ivec2(0, binding), 1, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst};
}

} // namespace

Noise::Noise()
    : shader(ShaderCache::GetShaderSpirv({"Noise/vertex.spv", "Noise/PSRD-3D.spv"})),
      quadPositions(MakeFullScreenQuad()),
      noisePositions(MakeFullScreenQuad()), // the field's units are those of clip space
      vertexUniforms(MakeUniforms(shader, 0)),
      fragmentUniforms(MakeUniforms(shader, 1))
{
    RebuildPipeline();
}

Noise::~Noise() = default;

const ObjectType* Noise::Type()
{
    static const ObjectType type("Varkle.Texture.Noise", Operator::Type(), [] { return new Noise; });
    return &type;
}

void Noise::RebuildPipeline()
{
    pipelineFormat = settings.GetFrameBufferFormat();
    pipeline = RenderPipelineBuilder()
                   .SetShader(shader)
                   .SetFrameBufferFormat(pipelineFormat)
                   .DefineVertexBuffer(0, {0}, wgpu::VertexStepMode::Vertex)
                   .DefineVertexBuffer(1, {1}, wgpu::VertexStepMode::Vertex)
                   .Build();
    uniformGroup = BindGroupBuilder(pipeline, 0)
                       .AddUniformBuffer(0, vertexUniforms, 0)
                       .AddUniformBuffer(1, fragmentUniforms, 0)
                       .Build();
}

void Noise::Execute(ExecutionContext&)
{
    settings.Update();
    if (settings.GetFrameBufferFormat() != pipelineFormat || !uniformGroup)
        RebuildPipeline();
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();

    // Where the field lies in the picture. A scale of 0 has no inverse: its elements, and the picture, are undefined.
    const glm::mat4 placed = glm::translate(glm::mat4(1.0f), glm::vec3(position.Value()));
    const glm::mat4 scaled = glm::scale(placed, glm::vec3(float(scale.Value())));
    vertexUniforms.GetBlock(0).GetVariable("noiseTransform").SetMat4(glm::inverse(scaled * transform.Value()));
    vertexUniforms.UploadChanges();

    const UniformProxy fragment = fragmentUniforms.GetBlock(0);
    fragment.GetVariable("noiseRotation").SetFloat(float(noiseRotation.Value()));
    fragment.GetVariable("offset").SetFloat(float(offset.Value()));
    fragment.GetVariable("amplitude").SetFloat(float(amplitude.Value()));
    fragment.GetVariable("repetition").SetVec3(glm::vec3(repetition.Value()));
    fragmentUniforms.UploadChanges();

    const bool drawn = RenderPassRecorder()
                           .BindFrameBuffer(frameBuffer)
                           .ClearColorBuffer({0, 0, 0, 1})
                           .BindPipeline(pipeline)
                           .BindVertexBuffer(0, quadPositions, 0, std::uint64_t(-1))
                           .BindVertexBuffer(1, noisePositions, 0, std::uint64_t(-1))
                           .BindBindGroup(0, uniformGroup)
                           .Draw(6, 1, 0, 0)
                           .Submit();
    if (drawn)
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
