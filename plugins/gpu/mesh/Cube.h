#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Generates a box whose faces are grids of their own, so that its edges stay sharp.
class Cube final : public Operator
{
public:
    Cube();
    ~Cube() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshOutput meshOutput{this, "Mesh Output"};
    Vector3Parameter size{ParameterScope(this), "Size", {1, 1, 1}};
    Vector3IntParameter subdivisions{ParameterScope(this), "Subdivisions", {1, 1, 1}};
};

} // namespace Varkle
