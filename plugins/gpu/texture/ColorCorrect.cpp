#include "texture/ColorCorrect.h"

namespace Varkle
{

ColorCorrect::ColorCorrect() = default;

ColorCorrect::~ColorCorrect() = default;

const ObjectType* ColorCorrect::Type()
{
    static const ObjectType type("Varkle.Texture.ColorCorrect", Operator::Type(), [] { return new ColorCorrect; });
    return &type;
}

void ColorCorrect::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("brightness").SetFloat(float(brightness.Value()));
    pass.GetUniform("contrast").SetFloat(float(contrast.Value()));
    pass.GetUniform("saturation").SetFloat(float(saturation.Value()));

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
