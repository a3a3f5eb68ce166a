#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/MeshComputePass.h"

#include <array>
#include <string>
#include <vector>

namespace Varkle
{

/// Adds an attribute to a mesh, filled with a constant, random or evenly spaced value per vertex. Which parameters say
/// the values, and of what kind they are, follows from "Mode" and "Type".
class CreateAttribute final : public Operator
{
public:
    CreateAttribute();
    ~CreateAttribute() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;
    void UpdateStructure() override;

private:
    void SetValueUniform(std::string_view uniform, std::string_view parameter);

    MeshInput meshInput{this, "Mesh Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
    EnumParameter type{ParameterScope(this), "Type"};
    EnumParameter mode{ParameterScope(this), "Mode"};
    StringParameter attributeName{ParameterScope(this), "Attribute Name", "attribute"};
    std::vector<Parameter*> values; // owned by the base, like the seed
    IntParameter* seed = nullptr;   // null where nothing is random
    std::array<MeshComputePass, 4> passes{
        MeshComputePass("CreateAttributeF1.wgsl"), MeshComputePass("CreateAttributeF2.wgsl"),
        MeshComputePass("CreateAttributeF3.wgsl"), MeshComputePass("CreateAttributeF4.wgsl")}; // by components
};

} // namespace Varkle
