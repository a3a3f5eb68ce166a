#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Draws the edges in a texture as bright lines on a transparent background.
class EdgeDetect final : public Operator
{
public:
    EdgeDetect();
    ~EdgeDetect() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput}};
    FloatParameter threshold{ParameterScope(this), "Threshold", 0.0};
    FloatParameter strength{ParameterScope(this), "Strength", 1.0};
    FloatParameter sampleDistance{ParameterScope(this), "Sample Distance", 1.0};
    FullScreenPass pass{"EdgeDetect.wgsl"};
};

} // namespace Varkle
