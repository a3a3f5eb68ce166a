#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Dissolves along a list of textures: the fader position picks two neighbors and mixes them.
class CrossFader final : public Operator
{
public:
    CrossFader();
    ~CrossFader() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {}};
    FloatParameter faderPosition{ParameterScope(this), "Fader Position", 0.0};
    DataInputList textureInputs;
    FullScreenPass pass{"CrossFader.wgsl"};
};

} // namespace Varkle
