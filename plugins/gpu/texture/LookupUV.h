#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

namespace Varkle
{

/// Reads a texture at the coordinates that a second texture provides, wrapping around at the edges.
class LookupUV final : public Operator
{
public:
    LookupUV();
    ~LookupUV() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInput{this, "Texture Input"};
    TextureInput uvInput{this, "UV Input"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInput, &uvInput}};
    StringParameter uvChannels{ParameterScope(this), "UV Channels", "RGBA"};
    FullScreenPass pass{"LookupUV.wgsl"}; // has no uniforms: the textures are group 0
};

} // namespace Varkle
