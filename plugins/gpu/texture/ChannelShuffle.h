#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/Ports.h"
#include "Varkle/Kit/FullScreenPass.h"
#include "Varkle/Kit/TextureOutputSettings.h"

#include <string>
#include <vector>

namespace Varkle
{

/// Builds a texture by picking each channel from one of four textures, or setting it to 0 or 1.
class ChannelShuffle final : public Operator
{
public:
    ChannelShuffle();
    ~ChannelShuffle() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

private:
    TextureInput textureInputA{this, "Texture Input A"};
    TextureInput textureInputB{this, "Texture Input B"};
    TextureInput textureInputC{this, "Texture Input C"};
    TextureInput textureInputD{this, "Texture Input D"};
    TextureOutput textureOutput{this, "Texture Output"};
    TextureOutputSettings settings{this, {&textureInputA, &textureInputB, &textureInputC, &textureInputD}};
    IntParameter redInput{ParameterScope(this), "Red Input", 0};
    EnumParameter redChannel{ParameterScope(this), "Red Channel"};
    IntParameter greenInput{ParameterScope(this), "Green Input", 0};
    EnumParameter greenChannel{ParameterScope(this), "Green Channel"};
    IntParameter blueInput{ParameterScope(this), "Blue Input", 0};
    EnumParameter blueChannel{ParameterScope(this), "Blue Channel"};
    IntParameter alphaInput{ParameterScope(this), "Alpha Input", 0};
    EnumParameter alphaChannel{ParameterScope(this), "Alpha Channel"};
    FullScreenPass pass{"ChannelShuffle.wgsl"};
};

/// Returns the names of what a channel can be set to: the four channels of an input, "0" and "1".
const std::vector<std::string>& ChannelNames();

} // namespace Varkle
