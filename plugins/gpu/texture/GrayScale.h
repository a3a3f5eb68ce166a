#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Converts a texture to gray and leaves its alpha alone.
class GrayScale final : public Operator
{
public:
    GrayScale();
    ~GrayScale() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    EnumParameter method{ParameterScope(this), "Method"};
    FullScreenPass pass{"GrayScale.wgsl"};
};

} // namespace Varkle
