#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Recolors a texture: one of its channels is the position on a gradient between two colors.
class ColorRamp final : public Operator
{
public:
    ColorRamp();
    ~ColorRamp() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    EnumParameter channel{ParameterScope(this), "Channel"};
    EnumParameter colorSpace{ParameterScope(this), "Color Space"};
    ColorParameter colorA{ParameterScope(this), "Color A", {0, 0, 0, 1}};
    ColorParameter colorB{ParameterScope(this), "Color B", {1, 1, 1, 1}};
    FullScreenPass pass{"ColorRamp.wgsl"};
};

} // namespace Varkle
