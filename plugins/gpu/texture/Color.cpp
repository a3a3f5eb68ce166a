#include "texture/Color.h"

#include "Varkle/Gpu/PassRecorder.h"

namespace Varkle
{

ColorOperator::ColorOperator()
{
    settings.SetFrameBufferSize({8, 8}); // one color needs no large texture
}

ColorOperator::~ColorOperator() = default;

const ObjectType* ColorOperator::Type()
{
    static const ObjectType type("Varkle.Texture.Color", Operator::Type(), [] { return new ColorOperator; });
    return &type;
}

void ColorOperator::Execute(ExecutionContext&)
{
    settings.Update();
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (RenderPassRecorder().BindFrameBuffer(frameBuffer).ClearColorBuffer(color.Value().ToVec4()).Submit())
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
