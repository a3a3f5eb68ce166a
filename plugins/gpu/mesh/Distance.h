#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Stores in an attribute how far each vertex is from a point, a line or a sphere.
class MeshDistance final : public Operator
{
public:
    MeshDistance();
    ~MeshDistance() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    StringParameter attributeName{ParameterScope(this), "Attribute Name", "distance"};
    EnumParameter shape{ParameterScope(this), "Shape"};
    Vector3Parameter center{ParameterScope(this), "Center", {0, 0, 0}};
    Vector3Parameter direction{ParameterScope(this), "Direction", {0, 1, 0}};
    FloatParameter radius{ParameterScope(this), "Radius", 1.0};
    Transform3DParameter shapeTransform{ParameterScope(this), "Shape Transform", glm::mat4(1.0f)};
    MeshComputePass pass{"MeshDistance.wgsl"};
};

} // namespace Varkle
