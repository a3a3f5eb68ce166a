#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"

namespace Varkle
{

/// Changes the size of a texture, with a choice of how the picture fits the new frame.
class Resize final : public Operator
{
public:
    Resize();
    ~Resize() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    Vector2IntParameter outputSize{ParameterScope(this), "Output Size", {1920, 1080}};
    EnumParameter fitMode{ParameterScope(this), "Fit Mode"};
    EnumParameter horizontalAlign{ParameterScope(this), "Horizontal Align"};
    EnumParameter verticalAlign{ParameterScope(this), "Vertical Align"};
    FullScreenPass pass{"Resize.wgsl"};
};

} // namespace Varkle
