#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Bends the normals of a mesh towards the gradient of noise, so that its surface looks rough or wavy.
class MeshNoise final : public Operator
{
public:
    MeshNoise();
    ~MeshNoise() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    Transform3DParameter noiseTransform{ParameterScope(this), "Noise Transform", glm::mat4(1.0f)};
    FloatParameter strength{ParameterScope(this), "Strength", 1.0};
    FloatParameter rotation{ParameterScope(this), "Rotation", 0.0};
    Vector3Parameter repetition{ParameterScope(this), "Repetition", {0, 0, 0}};
    MeshComputePass pass{"MeshNoise.wgsl"};
};

} // namespace Varkle
