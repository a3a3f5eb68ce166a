#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Softens a texture with a Gaussian blur in two passes, across and down, the second one limited by a mask.
class Blur final : public Operator
{
public:
    Blur();
    ~Blur() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureInput mask{this, "Mask"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    FloatParameter radius{ParameterScope(this), "Radius", 4.0};
    FullScreenPass blurPass{"Blur.wgsl"};
    FullScreenPass maskedPass{"BlurFinal.wgsl", blurPass.GetUniforms()};
};

} // namespace Varkle
