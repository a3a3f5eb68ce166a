#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Outputs a texture filled with one color, without a shader: the pass only clears.
class ColorOperator final : public Operator
{
public:
    ColorOperator();
    ~ColorOperator() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {}};
    ColorParameter color{ParameterScope(this), "Color", {1.0, 1.0, 1.0, 1.0}};
};

} // namespace Varkle
