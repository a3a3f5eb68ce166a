#pragma once

#include <Varkle/Core/Operator.h>
#include <Varkle/Core/Parameters.h>
#include <Varkle/Gpu/Ports.h>
#include <Varkle/Kit/MeshComputePass.h>

namespace Example
{

/// Turns the vertices of a mesh around the y axis, the further the higher they are.
class Twist final : public Varkle::Operator
{
public:
    static const Varkle::ObjectType* Type();
    const Varkle::ObjectType* GetType() const override { return Type(); }
    void Execute(Varkle::ExecutionContext& context) override;

private:
    Varkle::MeshInput meshInput{this, "Mesh Input"};
    Varkle::MeshOutput meshOutput{this, "Mesh Output"};
    Varkle::FloatParameter angle{Varkle::ParameterScope(this), "Angle", 90.0};

    Varkle::MeshComputePass pass{"Twist.wgsl"};
};

} // namespace Example
