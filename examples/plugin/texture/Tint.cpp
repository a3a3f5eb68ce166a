#include "texture/Tint.h"

namespace Example
{

const Varkle::ObjectType* Tint::Type()
{
    static const Varkle::ObjectType type("Example.Texture.Tint", Operator::Type(), [] { return new Tint; });
    return &type;
}

// Runs only when the input or a parameter has changed since the last time.
void Tint::Execute(Varkle::ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("color").SetVec4(color.Value().ToVec4());

    const Varkle::FrameBuffer target = settings.CreateFrameBuffer();
    if (pass.Draw(target, {pass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        textureOutput.Activate(target.GetColorTarget(0)); // otherwise the error is logged and the last texture stays
}

} // namespace Example
