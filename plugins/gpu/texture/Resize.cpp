#include "texture/Resize.h"

namespace Varkle
{

Resize::Resize()
{
    fitMode.SetPossibleValues({"Stretch", "Fit", "Fill", "Center"}, {});
    fitMode.SetValue("Fit");
    horizontalAlign.SetPossibleValues({"Left", "Center", "Right"}, {});
    horizontalAlign.SetValue("Center");
    verticalAlign.SetPossibleValues({"Top", "Center", "Bottom"}, {});
    verticalAlign.SetValue("Center");
}

Resize::~Resize() = default;

const ObjectType* Resize::Type()
{
    static const ObjectType type("Varkle.Texture.Resize", Operator::Type(), [] { return new Resize; });
    return &type;
}

void Resize::Execute(ExecutionContext&)
{
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    const Texture input = textureInput.GetTexture();
    const FrameBufferFormat format{{input.GetTextureFormat()}};
    pass.SetFormat(format);

    const FrameBuffer frameBuffer = AllocateFrameBuffer(outputSize.Value(), format);
    const glm::vec2 alignment(horizontalAlign.GetIndexOr(1), verticalAlign.GetIndexOr(1));
    pass.GetUniform("outputSize").SetVec2({frameBuffer.GetWidth(), frameBuffer.GetHeight()});
    pass.GetUniform("fitMode").SetUInt(unsigned(fitMode.GetIndexOr(1)));
    pass.GetUniform("alignment").SetVec2(0.5f * alignment);

    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {input})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
