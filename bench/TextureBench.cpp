#include "TextureBench.h"

#include "BareWebGpu.h"
#include "Varkle/Core/FileWriting.h"
#include "Varkle/Kit/Resources.h"
#include "support/OperatorRunner.h"
#include "support/TemporaryFolder.h"
#include "texture/Blend.h"
#include "texture/Blur.h"
#include "texture/ChannelShuffle.h"
#include "texture/Color.h"
#include "texture/ColorCorrect.h"
#include "texture/ColorRamp.h"
#include "texture/CrossFader.h"
#include "texture/Displace.h"
#include "texture/EdgeDetect.h"
#include "texture/GrayScale.h"
#include "texture/LoadImage.h"
#include "texture/LookupUV.h"
#include "texture/Mixer.h"
#include "texture/Noise.h"
#include "texture/Resize.h"
#include "texture/SineWave.h"
#include "texture/Transform.h"

#include <fstream>
#include <glm/gtc/constants.hpp>
#include <glm/mat4x4.hpp>
#include <iterator>

namespace Varkle::Bench
{

namespace
{

using namespace Varkle::Testing;

// A picture with gradients and detail, so that sampling is as scattered as with photos.
Texture MakePicture(glm::ivec2 size, int seed)
{
    std::vector<Rgba8> pixels;
    for (int y = 0; y < size.y; ++y)
    {
        for (int x = 0; x < size.x; ++x)
            pixels.push_back({std::uint8_t(x + seed), std::uint8_t(y * 3 + seed), std::uint8_t((x ^ y) + seed),
                              std::uint8_t(255 - ((x * y) >> 8))});
    }
    return MakeTexture(size, pixels);
}

BareTexture Clamped(const Texture& texture)
{
    return {texture.GetTextureHandle(), wgpu::AddressMode::ClampToEdge};
}

BareTexture Repeated(const Texture& texture)
{
    return {texture.GetTextureHandle(), wgpu::AddressMode::Repeat};
}

// The operator's own shader, where that is the straight transcription of its formula.
std::string OwnShader(const std::string& name)
{
    return std::string(Resources::ReadText("Shaders/" + name));
}

// A straight transcription, where the operator's own shader does better.
std::string StraightShader(const std::string& name)
{
    std::ifstream file(VARKLE_BENCH_SHADERS "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

class TextureBench
{
public:
    TextureBench(const Effort& wantedEffort, std::string_view wanted) : effort(wantedEffort), filter(wanted) {}

    void CompareAll();

private:
    bool IsWanted(const std::string& name) const { return name.find(filter) != std::string::npos; }

    // A frame as a host runs it, in which the operator is outdated, beside the bare passes.
    template<class Op>
    void CompareWith(const std::string& name, OperatorRunner<Op>& runner, const std::function<void()>& bare,
                     Measured measured = Measured::WholePass)
    {
        Compare(
            name, effort, measured,
            [&runner]
            {
                runner.Get().MarkDirty();
                runner.Execute();
            },
            bare);
    }

    void CompareCpu();
    void CompareLoadImage();
    void CompareSimpleFilters();
    void CompareBlend(const char* mode, int index);
    void CompareBlur(float radius, bool masked);
    void CompareChannelShuffle();
    void CompareMixer();
    void CompareCrossFader();
    void CompareWarps();
    void CompareGenerators();
    void CompareResize();
    void CompareTransform();

    Effort effort;
    glm::ivec2 frame = effort.size;
    std::string filter;
    Texture picture = MakePicture(frame, 0);
    Texture second = MakePicture(frame, 100);
};

void TextureBench::CompareCpu()
{
    constexpr glm::ivec2 size(64, 64); // the GPU has next to nothing to do
    if (IsWanted("Color 64x64, CPU"))
    {
        OperatorRunner<ColorOperator> runner;
        runner.SetSize(size);
        const BarePass bare(size);
        CompareWith(
            "Color 64x64, CPU", runner, [&] { bare.Run(); }, Measured::Cpu);
    }
    if (IsWanted("Grayscale 64x64, CPU"))
    {
        const Texture input = MakePicture(size, 0);
        OperatorRunner<GrayScale> runner;
        runner.Connect("Texture Input", input);
        const BarePass bare(OwnShader("GrayScale.wgsl"), size, {{UniformBytes(0U, 0U, 0U, 0U), {{Clamped(input)}}}});
        CompareWith(
            "Grayscale 64x64, CPU", runner, [&] { bare.Run(); }, Measured::Cpu);
    }
}

// Decoding and uploading a picture, beside the same decoder and a write into a texture that exists.
void TextureBench::CompareLoadImage()
{
    if (!IsWanted("Load Image"))
        return;
    const TemporaryFolder folder;
    const std::string path = folder / "picture.png";
    const std::vector<std::uint8_t> png =
        MakeImage(frame, std::vector<Rgba8>(std::size_t(frame.x * frame.y), {1, 2, 3, 4})).Encode(ImageFormat::Png);
    if (!WriteFileAtomically(path, {reinterpret_cast<const char*>(png.data()), png.size()}))
        throw std::runtime_error("the benchmark's picture could not be written");
    OperatorRunner<LoadImage> runner;
    runner.GetOperator().SetPath(path);
    const wgpu::Texture target = Filled(frame, {}).GetTextureHandle();
    const auto ours = [&]
    {
        runner.Get().MarkDirty();
        runner.Execute();
        Graphics::ProcessEvents(); // as a host does once a frame: gives the upload's buffer back
    };
    const auto bare = [&]
    {
        const Image image = Image::LoadFromFile(path);
        wgpu::TexelCopyTextureInfo destination;
        destination.texture = target;
        wgpu::TexelCopyBufferLayout layout;
        layout.bytesPerRow = std::uint32_t(4 * frame.x);
        const wgpu::Extent3D extent{std::uint32_t(frame.x), std::uint32_t(frame.y), 1};
        Graphics::GetQueue().WriteTexture(&destination, image.GetPixels(), 4 * std::size_t(frame.x * frame.y), &layout,
                                          &extent);
    };
    Compare("Load Image, file to texture", effort, Measured::WholePass, ours, bare);
}

void TextureBench::CompareSimpleFilters()
{
    if (IsWanted("Color"))
    {
        OperatorRunner<ColorOperator> runner;
        runner.SetSize(frame);
        const BarePass bare(frame);
        CompareWith("Color", runner, [&] { bare.Run(); });
    }
    if (IsWanted("Grayscale"))
    {
        OperatorRunner<GrayScale> runner;
        runner.Connect("Texture Input", picture);
        const BarePass bare(OwnShader("GrayScale.wgsl"), frame, {{UniformBytes(0U, 0U, 0U, 0U), {{Clamped(picture)}}}});
        CompareWith("Grayscale", runner, [&] { bare.Run(); });
    }
    if (IsWanted("Color Correct"))
    {
        OperatorRunner<ColorCorrect> runner;
        runner.Connect("Texture Input", picture);
        const BarePass bare(OwnShader("ColorCorrect.wgsl"), frame,
                            {{UniformBytes(0.0f, 1.0f, 1.0f, 0.0f), {{Clamped(picture)}}}});
        CompareWith("Color Correct", runner, [&] { bare.Run(); });
    }
    for (unsigned mode = 0; mode < 4; ++mode)
    {
        const char* const names[] = {"RGB", "HSV", "HSL", "OKLab"};
        const std::string name = std::string("Color Ramp ") + names[mode];
        if (!IsWanted(name))
            continue;
        OperatorRunner<ColorRamp> runner;
        runner.SetEnum("Color Space", names[mode]);
        runner.Connect("Texture Input", picture);
        const BarePass bare(
            OwnShader("ColorRamp.wgsl"), frame,
            {{UniformBytes(glm::vec4(0, 0, 0, 1), glm::vec4(1, 1, 1, 1), 0U, mode, 0U, 0U), {{Clamped(picture)}}}});
        CompareWith(name, runner, [&] { bare.Run(); });
    }
    if (IsWanted("Edge Detect"))
    {
        OperatorRunner<EdgeDetect> runner;
        runner.Connect("Texture Input", picture);
        const BarePass bare(OwnShader("EdgeDetect.wgsl"), frame,
                            {{UniformBytes(1.0f / glm::vec2(frame), 0.0f, 1.0f), {{Clamped(picture)}}}});
        CompareWith("Edge Detect", runner, [&] { bare.Run(); });
    }
}

void TextureBench::CompareBlend(const char* mode, int index)
{
    const std::string name = std::string("Blend ") + mode;
    if (!IsWanted(name))
        return;
    OperatorRunner<Blend> runner;
    runner.SetEnum("Blend Mode", mode);
    runner.Connect("Foreground", picture);
    runner.Connect("Background", second);
    const BarePass bare(
        StraightShader("Blend.wgsl"), frame,
        {{UniformBytes(index, 0), {{Repeated(picture), Repeated(second)}, {Repeated(GetDefaultWhiteTexture())}}}});
    CompareWith(name, runner, [&] { bare.Run(); });
}

void TextureBench::CompareBlur(float radius, bool masked)
{
    const std::string name = "Blur of radius " + std::to_string(int(radius)) + (masked ? " with mask" : "");
    if (!IsWanted(name))
        return;
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", double(radius));
    runner.Connect("Texture Input", picture);
    if (masked)
        runner.Connect("Mask", second);
    BarePass across(StraightShader("Blur.wgsl"), frame,
                    {{UniformBytes(1.0f / float(frame.x), 0.0f, radius, 0.0f), {{Clamped(picture)}}}});
    std::vector<std::vector<BareTexture>> textures = {{{across.FixTarget()}}};
    if (masked)
        textures.insert(textures.end(), {{Clamped(picture)}, {Clamped(second)}});
    const BarePass down(StraightShader(masked ? "BlurFinal.wgsl" : "Blur.wgsl"), frame,
                        {{UniformBytes(0.0f, 1.0f / float(frame.y), radius, 0.0f), textures}});
    CompareWith(name, runner,
                [&]
                {
                    across.Run();
                    down.Run();
                });
}

void TextureBench::CompareChannelShuffle()
{
    if (!IsWanted("Channel Shuffle"))
        return;
    OperatorRunner<ChannelShuffle> runner;
    runner.Connect("Texture Input A", picture);
    runner.Connect("Texture Input B", second);
    runner.SetInt("Red Input", 1);
    const BareTexture missing = Repeated(GetDefaultTexture());
    const BarePass bare(
        OwnShader("ChannelShuffle.wgsl"), frame,
        {{UniformBytes(1, 0, 0, 0, 0, 1, 2, 3), {{Repeated(picture), Repeated(second), missing, missing}}}});
    CompareWith("Channel Shuffle of two", runner, [&] { bare.Run(); });
}

void TextureBench::CompareCrossFader()
{
    if (!IsWanted("Cross Fader"))
        return;
    OperatorRunner<CrossFader> runner;
    runner.SetSize(frame);
    runner.SetFloat("Fader Position", 0.25);
    runner.ConnectToList("Inputs", picture);
    runner.ConnectToList("Inputs", second);
    const BarePass bare(OwnShader("CrossFader.wgsl"), frame,
                        {{UniformBytes(0.25f), {{Clamped(picture), Clamped(second)}}}});
    CompareWith("Cross Fader", runner, [&] { bare.Run(); });
}

void TextureBench::CompareMixer()
{
    constexpr int layers = 8;
    if (!IsWanted("Mixer of 8 layers"))
        return;
    OperatorRunner<Mixer> runner;
    runner.SetSize(frame);
    std::vector<BareDraw> draws;
    for (int i = 0; i < layers; ++i)
    {
        runner.ConnectToList("Inputs", i % 2 ? second : picture);
        draws.push_back({UniformBytes(1.0f), {{Repeated(i % 2 ? second : picture)}}});
    }
    const BarePass bare(OwnShader("Mixer.wgsl"), frame, draws, true);
    CompareWith("Mixer of 8 layers", runner, [&] { bare.Run(); });
}

void TextureBench::CompareWarps()
{
    if (IsWanted("Displace"))
    {
        OperatorRunner<Displace> runner;
        runner.SetFloat("Strength", 0.1);
        runner.Connect("Texture Input", picture);
        runner.Connect("Displace Input", second);
        const BarePass bare(OwnShader("Displace.wgsl"), frame,
                            {{UniformBytes(0.1f, 0.0f, glm::vec2(0.5f)), {{Repeated(picture), Repeated(second)}}}});
        CompareWith("Displace", runner, [&] { bare.Run(); });
    }
    if (IsWanted("Lookup UV"))
    {
        OperatorRunner<LookupUV> runner;
        runner.Connect("Texture Input", picture);
        runner.Connect("UV Input", second);
        const BarePass bare(OwnShader("LookupUV.wgsl"), frame, {{{}, {{Repeated(picture), Repeated(second)}}}});
        CompareWith("Lookup UV", runner, [&] { bare.Run(); });
    }
}

void TextureBench::CompareGenerators()
{
    if (IsWanted("Noise"))
    {
        OperatorRunner<Noise> runner;
        runner.SetSize(frame);
        const glm::vec4 noRepetitionOrRotation(0.0f);
        const BarePass bare(StraightShader("Noise.wgsl"), frame,
                            {{UniformBytes(glm::mat4(1.0f), noRepetitionOrRotation, 0.5f, 0.5f, 0.0f, 0.0f), {}}});
        CompareWith("Noise", runner, [&] { bare.Run(); });
    }
    for (int shape = 0; shape < 3; ++shape)
    {
        const char* const names[] = {"Flat", "Concentric", "Radial"};
        const std::string name = std::string("Sine Wave ") + names[shape];
        if (!IsWanted(name))
            continue;
        OperatorRunner<SineWave> runner;
        runner.SetSize(frame);
        runner.SetEnum("Shape", names[shape]);
        const glm::vec2 viewport = glm::two_pi<float>() * glm::vec2(1.0f, float(frame.y) / float(frame.x));
        const BarePass bare(OwnShader("SineWave.wgsl"), frame,
                            {{UniformBytes(glm::mat4(1.0f), viewport, 0.5f, 0.5f, 5.0f, 0.0f, shape, 0.0f), {}}});
        CompareWith(name, runner, [&] { bare.Run(); });
    }
}

void TextureBench::CompareResize()
{
    if (!IsWanted("Resize to 1280x720"))
        return;
    constexpr glm::ivec2 size(1280, 720);
    OperatorRunner<Resize> runner;
    runner.template Parameter<Vector2IntParameter>("Output Size").SetValue(size);
    runner.Connect("Texture Input", picture);
    const BarePass bare(OwnShader("Resize.wgsl"), size,
                        {{UniformBytes(glm::vec2(size), 1U, 0U, glm::vec2(0.5f), 0.0f, 0.0f), {{Clamped(picture)}}}});
    CompareWith("Resize to 1280x720", runner, [&] { bare.Run(); });
}

void TextureBench::CompareTransform()
{
    if (!IsWanted("Transform"))
        return;
    OperatorRunner<TransformTexture> runner;
    runner.SetEnum("Tiling Mode X", "Clamp to Edge");
    runner.SetEnum("Tiling Mode Y", "Clamp to Edge");
    runner.Connect("Texture Input", picture);
    const BarePass bare(
        OwnShader("Transform.wgsl"), frame,
        {{UniformBytes(glm::mat4(1.0f), glm::vec2(frame), glm::vec2(frame), 0, 0, 0, 0), {{Clamped(picture)}}}});
    CompareWith("Transform", runner, [&] { bare.Run(); });
}

void TextureBench::CompareAll()
{
    CompareCpu();
    CompareLoadImage();
    CompareSimpleFilters();
    CompareBlend("Over", 0);
    CompareBlend("Multiply", 3);
    CompareBlend("Soft Light", 12);
    CompareBlur(4, false);
    CompareBlur(16, false);
    CompareBlur(16, true);
    CompareBlur(64, false);
    CompareChannelShuffle();
    CompareCrossFader();
    CompareMixer();
    CompareWarps();
    CompareGenerators();
    CompareResize();
    CompareTransform();
}

} // namespace

void CompareTextureOperators(const Effort& effort, std::string_view filter)
{
    TextureBench(effort, filter).CompareAll();
}

} // namespace Varkle::Bench
