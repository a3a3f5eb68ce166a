#include "texture/Blend.h"

#include <string>
#include <vector>

namespace Varkle
{

namespace
{

// The order is that of the shader's constants.
const std::vector<std::string>& BlendModeNames()
{
    static const std::vector<std::string> names = {
        "Over",   "Add",     "Subtract", "Multiply",   "Divide",     "Average",   "Difference",  "Screen",
        "Darken", "Lighten", "Overlay",  "Hard Light", "Soft Light", "Exclusion", "Color Dodge", "Color Burn"};
    return names;
}

} // namespace

Blend::Blend()
{
    blendMode.SetPossibleValues(BlendModeNames(), {});
    blendMode.SetValue("Over");
    foregroundSwizzle.SetEditorType(StringParameter::EditorType::Swizzle);
    backgroundSwizzle.SetEditorType(StringParameter::EditorType::Swizzle);
}

Blend::~Blend() = default;

const ObjectType* Blend::Type()
{
    static const ObjectType type("Varkle.Texture.Blend", Operator::Type(), [] { return new Blend; });
    return &type;
}

void Blend::Execute(ExecutionContext&)
{
    settings.Update();
    if (!foreground.HasTexture() && !background.HasTexture())
    {
        textureOutput.Clear();
        return;
    }

    pass.SetFormat(settings.GetFrameBufferFormat());
    pass.GetUniform("blendMode").SetInt(int(blendMode.GetIndexOr(0)));
    pass.GetUniform("blendAlpha").SetInt(blendAlpha.Value() ? 1 : 0);

    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    const TextureView foregroundView = MakeRepeatingView(foreground.GetTextureOrDefault(), foregroundSwizzle.Value());
    const TextureView backgroundView = MakeRepeatingView(background.GetTextureOrDefault(), backgroundSwizzle.Value());
    const TextureView maskView = MakeRepeatingView(mask.HasTexture() ? mask.GetTexture() : GetDefaultWhiteTexture());
    if (pass.Draw(frameBuffer,
                  {pass.MakeTextureGroup(1, {foregroundView, backgroundView}), pass.MakeTextureGroup(2, {maskView})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
