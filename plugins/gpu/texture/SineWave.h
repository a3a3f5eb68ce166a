#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Generates stripes, rings or spokes in the shape of a sine wave.
class SineWave final : public Operator
{
public:
    SineWave();
    ~SineWave() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    EnumParameter shape{ParameterScope(this), "Shape"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {}};
    Transform3DParameter transform{ParameterScope(this), "Transform", glm::mat4(1.0f)};
    FloatParameter offset{ParameterScope(this), "Offset", 0.5};
    FloatParameter amplitude{ParameterScope(this), "Amplitude", 0.5};
    FloatParameter frequency{ParameterScope(this), "Frequency", 5.0};
    FloatParameter phase{ParameterScope(this), "Phase", 0.0};
    BoolParameter alpha{ParameterScope(this), "Alpha", false};
    FullScreenPass pass{"SineWave.wgsl"};
};

} // namespace Varkle
