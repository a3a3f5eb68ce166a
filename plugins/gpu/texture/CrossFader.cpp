#include "texture/CrossFader.h"

#include <algorithm>

namespace Varkle
{

namespace
{

// Not-a-number counts as 0.
double ClampPosition(double position, double last)
{
    return position > 0.0 ? std::min(position, last) : 0.0;
}

} // namespace

CrossFader::CrossFader()
    : textureInputs(this, "Inputs", TextureInput::Type(),
                    {[this](DataInput&) { MarkDirty(); }, [this](DataInput&) { MarkDirty(); }, [this] { MarkDirty(); }})
{
}

CrossFader::~CrossFader() = default;

const ObjectType* CrossFader::Type()
{
    static const ObjectType type("Varkle.Texture.CrossFader", Operator::Type(), [] { return new CrossFader; });
    return &type;
}

void CrossFader::Execute(ExecutionContext&)
{
    settings.Update();
    pass.SetFormat(settings.GetFrameBufferFormat());
    const std::vector<DataInput*>& list = textureInputs.GetInputs();
    if (list.empty())
        return; // the output keeps its last texture

    const std::size_t last = list.size() - 1;
    const double position = ClampPosition(faderPosition.Value(), double(last));
    const auto index = std::size_t(position);
    const auto& inputA = static_cast<const TextureInput&>(*list[index]);
    const auto& inputB = static_cast<const TextureInput&>(*list[std::min(last, index + 1)]);
    if (!inputA.HasTexture() || !inputB.HasTexture())
        return; // likewise

    pass.GetUniform("faderPosition").SetFloat(float(position - double(index)));
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {inputA.GetTexture(), inputB.GetTexture()})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
