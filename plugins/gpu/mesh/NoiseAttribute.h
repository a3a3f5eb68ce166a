#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Fills an attribute with a smooth noise value for every vertex.
class NoiseAttribute final : public Operator
{
public:
    NoiseAttribute();
    ~NoiseAttribute() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    StringParameter attributeName{ParameterScope(this), "Attribute Name", "noise"};
    Transform3DParameter noiseTransform{ParameterScope(this), "Noise Transform", glm::mat4(1.0f)};
    FloatParameter rotation{ParameterScope(this), "Rotation", 0.0};
    Vector3Parameter repetition{ParameterScope(this), "Repetition", {0, 0, 0}};
    FloatParameter amplitude{ParameterScope(this), "Amplitude", 1.0};
    FloatParameter offset{ParameterScope(this), "Offset", 0.0};
    MeshComputePass pass{"MeshNoiseAttribute.wgsl"};
};

} // namespace Varkle
