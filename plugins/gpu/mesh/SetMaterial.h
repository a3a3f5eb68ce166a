#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Gives a mesh the material that it is drawn with.
class SetMaterial final : public Operator
{
public:
    SetMaterial();
    ~SetMaterial() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MeshInput meshInput{this, "Mesh Input"};
    MaterialInput materialInput{this, "Material Input"};
    MeshOutput meshOutput{this, "Mesh Output"};
};

} // namespace Varkle
