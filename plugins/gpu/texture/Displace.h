#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Shifts the pixels of a texture by the values of another texture, wrapping around at the edges.
class Displace final : public Operator
{
public:
    Displace();
    ~Displace() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureInput displaceInput{this, "Displace Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput, &displaceInput}};
    StringParameter displaceChannels{ParameterScope(this), "Displace Channels", "RGBA"};
    FloatParameter strength{ParameterScope(this), "Strength", 1.0};
    Vector2Parameter midPoint{ParameterScope(this), "Mid Point", {0.5, 0.5}};
    FullScreenPass pass{"Displace.wgsl"};
};

} // namespace Varkle
