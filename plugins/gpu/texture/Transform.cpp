#include "texture/Transform.h"

#include "Varkle/Gpu/Graphics.h"

#include <glm/matrix.hpp>

namespace Varkle
{

namespace
{

// "None" clamps too: the shader masks what lies outside.
wgpu::AddressMode GetAddressMode(const EnumParameter& tilingMode)
{
    const std::string name = tilingMode.Value();
    if (name == "Repeat")
        return wgpu::AddressMode::Repeat;
    if (name == "Mirrored Repeat")
        return wgpu::AddressMode::MirrorRepeat;
    return wgpu::AddressMode::ClampToEdge;
}

} // namespace

const std::vector<std::string>& TilingModeNames()
{
    static const std::vector<std::string> names = {"None", "Repeat", "Mirrored Repeat", "Clamp to Edge"};
    return names;
}

TransformTexture::TransformTexture()
{
    tilingModeX.SetPossibleValues(TilingModeNames(), {});
    tilingModeY.SetPossibleValues(TilingModeNames(), {});
}

TransformTexture::~TransformTexture() = default;

const ObjectType* TransformTexture::Type()
{
    static const ObjectType type("Varkle.Texture.Transform", Operator::Type(), [] { return new TransformTexture; });
    return &type;
}

void TransformTexture::RebuildSampler()
{
    wgpu::SamplerDescriptor descriptor;
    descriptor.addressModeU = GetAddressMode(tilingModeX);
    descriptor.addressModeV = GetAddressMode(tilingModeY);
    descriptor.addressModeW = wgpu::AddressMode::Repeat;
    descriptor.magFilter = wgpu::FilterMode::Linear;
    descriptor.minFilter = wgpu::FilterMode::Linear;
    descriptor.lodMaxClamp = 32;
    descriptor.maxAnisotropy = 1;
    sampler = Graphics::CreateSampler(descriptor);
}

void TransformTexture::Execute(ExecutionContext&)
{
    settings.Update();
    // Also without a texture, since the marks of the change are gone after this execution.
    if (!sampler || tilingModeX.HasValueChanged() || tilingModeY.HasValueChanged())
        RebuildSampler();
    if (!textureInput.HasTexture())
        return; // the output keeps its last texture

    pass.SetFormat(settings.GetFrameBufferFormat());
    const Texture input = textureInput.GetTexture();
    const FrameBuffer frameBuffer = settings.CreateFrameBuffer();
    pass.GetUniform("transform").SetMat4(glm::inverse(transform.Value()));
    pass.GetUniform("outputSize").SetVec2({frameBuffer.GetWidth(), frameBuffer.GetHeight()});
    pass.GetUniform("inputSize").SetVec2({input.GetWidth(), input.GetHeight()});
    pass.GetUniform("tilingNoneX").SetInt(tilingModeX.Value() == "None" ? 1 : 0);
    pass.GetUniform("tilingNoneY").SetInt(tilingModeY.Value() == "None" ? 1 : 0);

    if (pass.Draw(frameBuffer, {pass.MakeTextureGroup(1, {TextureView(input.GetTextureView({}), sampler)})}))
        textureOutput.Activate(frameBuffer.GetColorTarget(0));
}

} // namespace Varkle
