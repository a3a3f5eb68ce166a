#include "texture/ColorRamp.h"

namespace Varkle
{

ColorRamp::ColorRamp()
{
    channel.SetPossibleValues({"Red", "Green", "Blue", "Alpha"}, {});
    colorSpace.SetPossibleValues({"RGB", "HSV", "HSL", "OKLab"}, {});
    colorSpace.SetValue("OKLab");
}

ColorRamp::~ColorRamp() = default;

const ObjectType* ColorRamp::Type()
{
    static const ObjectType type("Varkle.Texture.ColorRamp", Operator::Type(), [] { return new ColorRamp; });
    return &type;
}

void ColorRamp::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("colorA").SetVec4(colorA.Value().ToVec4());
    pass.GetUniform("colorB").SetVec4(colorB.Value().ToVec4());
    pass.GetUniform("channel").SetUInt(unsigned(channel.GetIndexOr(0)));
    pass.GetUniform("mode").SetUInt(unsigned(colorSpace.GetIndexOr(3)));

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
