#include "texture/ChannelShuffle.h"

#include <algorithm>

namespace Varkle
{

const std::vector<std::string>& ChannelNames()
{
    static const std::vector<std::string> names = {"Red", "Green", "Blue", "Alpha", "0", "1"};
    return names;
}

ChannelShuffle::ChannelShuffle()
{
    for (EnumParameter* const channel : {&redChannel, &greenChannel, &blueChannel, &alphaChannel})
        channel->SetPossibleValues(ChannelNames(), {});
    redChannel.SetValue("Red");
    greenChannel.SetValue("Green");
    blueChannel.SetValue("Blue");
    alphaChannel.SetValue("Alpha");
}

ChannelShuffle::~ChannelShuffle() = default;

const ObjectType* ChannelShuffle::Type()
{
    static const ObjectType type("Varkle.Texture.ChannelShuffle", Operator::Type(), [] { return new ChannelShuffle; });
    return &type;
}

void ChannelShuffle::Execute(ExecutionContext&)
{
    settings.Update();
    pass.SetFormat(settings.GetFrameBufferFormat());

    const auto clampInput = [](const IntParameter& input) { return int(std::clamp(input.Value(), 0LL, 3LL)); };
    pass.GetUniform("redInput").SetInt(clampInput(redInput));
    pass.GetUniform("greenInput").SetInt(clampInput(greenInput));
    pass.GetUniform("blueInput").SetInt(clampInput(blueInput));
    pass.GetUniform("alphaInput").SetInt(clampInput(alphaInput));
    pass.GetUniform("redChannel").SetInt(int(redChannel.GetIndexOr(0)));
    pass.GetUniform("greenChannel").SetInt(int(greenChannel.GetIndexOr(1)));
    pass.GetUniform("blueChannel").SetInt(int(blueChannel.GetIndexOr(2)));
    pass.GetUniform("alphaChannel").SetInt(int(alphaChannel.GetIndexOr(3)));

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {MakeRepeatingView(textureInputA.GetTextureOrDefault()),
                                                          MakeRepeatingView(textureInputB.GetTextureOrDefault()),
                                                          MakeRepeatingView(textureInputC.GetTextureOrDefault()),
                                                          MakeRepeatingView(textureInputD.GetTextureOrDefault())})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
