#include "texture/Blur.h"

#include <algorithm>

namespace Varkle
{

namespace
{

// Bounds the loop of the shader; not-a-number counts as 0.
float ClampRadius(double radius)
{
    return radius > 0.0 ? float(std::min(radius, 64.0)) : 0.0f;
}

} // namespace

Blur::Blur() = default;

Blur::~Blur() = default;

const ObjectType* Blur::Type()
{
    static const ObjectType type("Varkle.Texture.Blur", Operator::Type(), [] { return new Blur; });
    return &type;
}

void Blur::Execute(ExecutionContext&)
{
    settings.Update();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    blurPass.SetFormat(settings.GetFrameBufferFormat());
    maskedPass.SetFormat(settings.GetFrameBufferFormat());
    blurPass.GetUniform("radius").SetFloat(ClampRadius(radius.Value()));

    const FrameBuffer across = settings.CreateFrameBuffer();
    blurPass.GetUniform("step").SetVec2({1.0f / float(across.GetWidth()), 0.0f});
    if (!blurPass.Draw(across, {blurPass.MakeTextureGroup(1, {textureInput.GetTexture()})}))
        return; // logged; likewise

    // Only now: both passes read the same uniform block, and the queue keeps the order of writes and passes.
    blurPass.GetUniform("step").SetVec2({0.0f, 1.0f / float(across.GetHeight())});
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    const Texture blurredAcross = across.GetColorTarget(0);
    const bool drawn = mask.HasTexture()
                           ? maskedPass.Draw(frameBuffer, {maskedPass.MakeTextureGroup(1, {blurredAcross}),
                                                           maskedPass.MakeTextureGroup(2, {textureInput.GetTexture()}),
                                                           maskedPass.MakeTextureGroup(3, {mask.GetTexture()})})
                           : blurPass.Draw(frameBuffer, {blurPass.MakeTextureGroup(1, {blurredAcross})});
    if (drawn)
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
