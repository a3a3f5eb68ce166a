#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Adjusts the saturation, the contrast and the brightness of a texture, in that order.
class ColorCorrect final : public Operator
{
public:
    ColorCorrect();
    ~ColorCorrect() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    FloatParameter brightness{ParameterScope(this), "Brightness", 0.0};
    FloatParameter contrast{ParameterScope(this), "Contrast", 1.0};
    FloatParameter saturation{ParameterScope(this), "Saturation", 1.0};
    FullScreenPass pass{"ColorCorrect.wgsl"};
};

} // namespace Varkle
