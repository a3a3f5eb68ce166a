#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Combines a foreground with a background texture in one of sixteen blend modes, limited by a mask.
class Blend final : public Operator
{
public:
    Blend();
    ~Blend() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput foreground{this, "Foreground"};
    TextureInput background{this, "Background"};
    TextureInput mask{this, "Mask"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&foreground, &background}};
    EnumParameter blendMode{ParameterScope(this), "Blend Mode"};
    BoolParameter blendAlpha{ParameterScope(this), "Blend Alpha", false};
    StringParameter foregroundSwizzle{ParameterScope(this), "Input A Swizzle", "RGBA"};
    StringParameter backgroundSwizzle{ParameterScope(this), "Input B Swizzle", "RGBA"};
    FullScreenPass pass{"Blend.wgsl"};
};

} // namespace Varkle
