#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Generates a sphere of rings and meridians with its poles on the Y axis, smooth or faceted.
class Sphere final : public Operator
{
public:
    Sphere();
    ~Sphere() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshOutput meshOutput{this, "Mesh Output"};
    FloatParameter radius{ParameterScope(this), "Radius", 0.5};
    Vector2IntParameter segments{ParameterScope(this), "Segments", {32, 16}};
    BoolParameter smoothNormals{ParameterScope(this), "Smooth Normals", true};
};

} // namespace Varkle
