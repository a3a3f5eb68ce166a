#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

namespace Varkle
{

/// Pushes every vertex along its normal, by a fixed amount or by an attribute.
class MeshMove final : public Operator
{
public:
    MeshMove();
    ~MeshMove() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    FloatParameter amount{ParameterScope(this), "Amount", 0.1};
    StringParameter amountAttribute{ParameterScope(this), "Amount Attribute", ""};
    MeshComputePass pass{"MoveMesh.wgsl"};
    Buffer missingAmounts{MakePlaceholder(4)};
};

} // namespace Varkle
