#pragma once

#include <Varkle/Core/Operator.h>
#include <Varkle/Core/Parameters.h>
#include <Varkle/Gpu/Ports.h>
#include <Varkle/Kit/FullScreenPass.h>
#include <Varkle/Kit/TextureOutputSettings.h>

namespace Example
{

/// Multiplies a texture by a color.
class Tint final : public Varkle::Operator
{
public:
    static const Varkle::ObjectType* Type();
    const Varkle::ObjectType* GetType() const override { return Type(); }
    void Execute(Varkle::ExecutionContext& context) override;

private:
    // Members are what the user sees, in this order.
    Varkle::TextureInput textureInput{this, "Texture Input"};
    Varkle::TextureOutput textureOutput{this, "Texture Output"};
    Varkle::TextureOutputSettings settings{this, {&textureInput}}; // "Output Format", "Texture Type", "Texture Size"
    Varkle::ColorParameter color{Varkle::ParameterScope(this), "Color", Varkle::Color{1.0, 0.6, 0.2}};

    // What works on the GPU. The driver sees the shader when the operator first draws.
    Varkle::FullScreenPass pass{"Tint.wgsl"};
};

} // namespace Example
