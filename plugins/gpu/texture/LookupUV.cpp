#include "texture/LookupUV.h"

namespace Varkle
{

LookupUV::LookupUV()
{
    uvChannels.SetEditorType(StringParameter::EditorType::Swizzle);
}

LookupUV::~LookupUV() = default;

const ObjectType* LookupUV::Type()
{
    static const ObjectType type("Varkle.Texture.LookupUV", Operator::Type(), [] { return new LookupUV; });
    return &type;
}

void LookupUV::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture() || !uvInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer,
                  {pass.MakeTextureGroup(0, {MakeRepeatingView(textureInput.GetTexture()),
                                             MakeRepeatingView(uvInput.GetTexture(), uvChannels.Value())})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
