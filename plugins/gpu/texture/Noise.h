#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Pipeline.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Gpu/UniformBuffer.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Draws a slice through a field of 3D simplex noise as opaque gray. The picture spans -1..1 of the slice's plane along
/// both axes, whatever its aspect.
class Noise final : public Operator
{
public:
    Noise();
    ~Noise() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    void RebuildPipeline();

    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {}};
    Transform3DParameter transform{ParameterScope(this), "Transform", glm::mat4(1.0f)};
    Vector3Parameter position{ParameterScope(this), "Position", {0, 0, 0}};
    FloatParameter scale{ParameterScope(this), "Scale", 1.0};
    FloatParameter offset{ParameterScope(this), "Offset", 0.5};
    FloatParameter amplitude{ParameterScope(this), "Amplitude", 0.5};
    FloatParameter noiseRotation{ParameterScope(this), "Noise Rotation", 0.0}; // radians
    Vector3Parameter repetition{ParameterScope(this), "Repetition", {0, 0, 0}};

    Shader shader;
    Buffer quadPositions;
    Buffer noisePositions;
    UniformBuffer vertexUniforms;
    UniformBuffer fragmentUniforms;
    RenderPipeline pipeline;
    wgpu::BindGroup uniformGroup;
    FrameBufferFormat pipelineFormat;
};

} // namespace Varkle
