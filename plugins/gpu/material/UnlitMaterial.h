#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"

namespace Varkle
{

/// Creates a material that shows its color or texture without lighting.
class UnlitMaterialOperator final : public Operator
{
public:
    UnlitMaterialOperator();
    ~UnlitMaterialOperator() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    MaterialOutput materialOutput{this, "Material Output"};
    TextureInput baseColorTexture{this, "Base Color Texture"};
    ColorParameter baseColor{ParameterScope(this), "Base Color", {1, 1, 1, 1}};
};

} // namespace Varkle
