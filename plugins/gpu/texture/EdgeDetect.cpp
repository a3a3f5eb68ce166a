#include "texture/EdgeDetect.h"

namespace Varkle
{

EdgeDetect::EdgeDetect() = default;

EdgeDetect::~EdgeDetect() = default;

const ObjectType* EdgeDetect::Type()
{
    static const ObjectType type("Varkle.Texture.EdgeDetect", Operator::Type(), [] { return new EdgeDetect; });
    return &type;
}

void EdgeDetect::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    const glm::vec2 size(frameBuffer.GetWidth(), frameBuffer.GetHeight());
    pass.GetUniform("step").SetVec2(float(sampleDistance.Value()) / size);
    pass.GetUniform("threshold").SetFloat(float(threshold.Value()));
    pass.GetUniform("strength").SetFloat(float(strength.Value()));

    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
