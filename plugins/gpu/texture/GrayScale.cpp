#include "texture/GrayScale.h"

namespace Varkle
{

GrayScale::GrayScale()
{
    method.SetPossibleValues({"Luminance", "Average", "Brightest", "Darkest"}, {});
}

GrayScale::~GrayScale() = default;

const ObjectType* GrayScale::Type()
{
    static const ObjectType type("Varkle.Texture.GrayScale", Operator::Type(), [] { return new GrayScale; });
    return &type;
}

void GrayScale::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("method").SetUInt(unsigned(method.GetIndexOr(0)));

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
