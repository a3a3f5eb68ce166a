#include "Varkle/Kit/TextureOutputSettings.h"

#include <algorithm>

namespace Varkle
{

namespace
{

struct TextureTypeInfo
{
    wgpu::TextureFormat format;
    std::string name;    // the stored enum value
    std::string display; // what the user sees
};

// The last row stands in wherever a lookup fails.
const std::vector<TextureTypeInfo> textureTypes = {
    {wgpu::TextureFormat::R8Unorm, "R8Unorm", "R (u8)"},
    {wgpu::TextureFormat::RG8Unorm, "RG8Unorm", "RG (u8)"},
    {wgpu::TextureFormat::RGBA8Unorm, "RGBA8Unorm", "RGBA (u8)"},
};

template<class Value>
const TextureTypeInfo& FindTextureType(Value TextureTypeInfo::*field, const Value& value)
{
    const auto found = std::ranges::find(textureTypes, value, field);
    return found != textureTypes.end() ? *found : textureTypes.back();
}

std::vector<std::string> Column(std::string TextureTypeInfo::*field)
{
    std::vector<std::string> texts;
    texts.reserve(textureTypes.size());
    for (const TextureTypeInfo& info : textureTypes)
        texts.push_back(info.*field);
    return texts;
}

} // namespace

std::vector<std::string> GetTextureSettingNames(unsigned inputCount)
{
    constexpr unsigned most = 8;
    const unsigned count = std::min(inputCount, most);
    if (count == 0)
        return {};
    if (count == 1)
        return {"Copy Input", "Manual"};
    std::vector<std::string> names;
    for (unsigned i = 0; i < count; ++i)
        names.push_back(std::string("Copy Input ") + char('A' + i));
    names.emplace_back("Manual");
    return names;
}

FrameBufferFormat InitialFrameBufferFormat()
{
    return {.colorFormats = {wgpu::TextureFormat::BGRA8Unorm}, .depthFormat = wgpu::TextureFormat::Depth24Plus};
}

TextureOutputSettings::TextureOutputSettings(Operator* owner, const std::vector<TextureInput*>& followed)
    : inputs(followed),
      outputFormat(inputs.empty() ? nullptr : std::make_unique<EnumParameter>(ParameterScope(owner), "Output Format")),
      textureType(ParameterScope(owner), "Texture Type"),
      textureSize(ParameterScope(owner), "Texture Size", {1024, 1024}),
      format(InitialFrameBufferFormat())
{
    if (outputFormat)
        outputFormat->SetPossibleValues(GetTextureSettingNames(unsigned(inputs.size())), {});
    textureType.SetPossibleValues(Column(&TextureTypeInfo::name), Column(&TextureTypeInfo::display));
    textureType.SetValue(textureTypes.back().name);
}

void TextureOutputSettings::Update()
{
    if (outputFormat && outputFormat->IsResolved() && outputFormat->Value() != "Manual")
    {
        const TextureInput& input = *inputs[std::size_t(outputFormat->GetIndex())];
        if (input.HasTexture())
        {
            const Texture texture = input.GetTexture();
            SetFrameBufferSize({texture.GetWidth(), texture.GetHeight()});
            SetFrameBufferFormat(texture.GetTextureFormat());
        }
    }
    format = {.colorFormats = {FindTextureType(&TextureTypeInfo::name, textureType.Value()).format}};
}

void TextureOutputSettings::SetFrameBufferFormat(wgpu::TextureFormat newFormat)
{
    textureType.SetValue(FindTextureType(&TextureTypeInfo::format, newFormat).name);
}

} // namespace Varkle
