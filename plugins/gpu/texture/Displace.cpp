#include "texture/Displace.h"

namespace Varkle
{

Displace::Displace()
{
    displaceChannels.SetEditorType(StringParameter::EditorType::Swizzle);
}

Displace::~Displace() = default;

const ObjectType* Displace::Type()
{
    static const ObjectType type("Varkle.Texture.Displace", Operator::Type(), [] { return new Displace; });
    return &type;
}

void Displace::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture() || !displaceInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("strength").SetFloat(float(strength.Value()));
    pass.GetUniform("midPoint").SetVec2(glm::vec2(midPoint.Value()));

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(
                                   1, {MakeRepeatingView(textureInput.GetTexture()),
                                       MakeRepeatingView(displaceInput.GetTexture(), displaceChannels.Value())})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
