#include "texture/Resize.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"
#include "texture/ColorCorrect.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const Lines modes = {"Stretch", "Fit", "Fill", "Center"};
const Lines horizontals = {"Left", "Center", "Right"};
const Lines verticals = {"Top", "Center", "Bottom"};

struct Frame
{
    glm::ivec2 size{1, 1};
    std::string mode = "Fit";
    std::string horizontal = "Center";
    std::string vertical = "Center";
};

void Set(OperatorRunner<Resize>& runner, const Frame& frame)
{
    runner.Parameter<Vector2IntParameter>("Output Size").SetValue(frame.size);
    runner.SetEnum("Fit Mode", frame.mode);
    runner.SetEnum("Horizontal Align", frame.horizontal);
    runner.SetEnum("Vertical Align", frame.vertical);
}

double ShareOf(const Lines& names, const std::string& name)
{
    return 0.5 * double(std::find(names.begin(), names.end(), name) - names.begin());
}

// How many output pixels each pixel of the picture covers.
double ScaleOf(const std::string& mode, glm::dvec2 scale)
{
    if (mode == "Fit")
        return std::min(scale.x, scale.y);
    if (mode == "Fill")
        return std::max(scale.x, scale.y);
    return 1.0;
}

Picture Resized(const Picture& picture, const Frame& frame)
{
    const glm::dvec2 outputSize(frame.size);
    const glm::dvec2 inputSize(picture.size);
    glm::dvec2 shown = outputSize; // of the whole picture, in output pixels
    if (frame.mode != "Stretch")
        shown = inputSize * ScaleOf(frame.mode, outputSize / inputSize);
    const glm::dvec2 alignment(ShareOf(horizontals, frame.horizontal), ShareOf(verticals, frame.vertical));
    const glm::dvec2 corner = (outputSize - shown) * alignment;
    return {frame.size, [&](glm::ivec2 pixel)
            {
                const glm::dvec2 uv = (glm::dvec2(pixel) + 0.5 - corner) / shown;
                const bool isInside = uv.x >= 0.0 && uv.x <= 1.0 && uv.y >= 0.0 && uv.y <= 1.0;
                return isInside ? Sample(picture, uv) : glm::dvec4(0.0);
            }};
}

// The part of a picture that starts at a corner.
Picture Part(const Picture& picture, glm::ivec2 corner, glm::ivec2 size)
{
    return {size, [&](glm::ivec2 pixel) { return picture.At(corner + pixel); }};
}

// Opaque noise.
Picture OpaquePicture(glm::ivec2 size)
{
    const Picture random = RandomPicture(size);
    return {size, [&](glm::ivec2 pixel) { return glm::dvec4(glm::dvec3(random.At(pixel)), 1.0); }};
}

} // namespace

TEST_CASE("Resize fits into 1920 by 1080 pixels, centered, until it is told otherwise")
{
    OperatorRunner<Resize> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Output Size: Vector 2 Int = 1920 1080",
                                                          "Fit Mode: Enum = Fit", "Horizontal Align: Enum = Center",
                                                          "Vertical Align: Enum = Center"});
    CHECK(runner.Parameter<EnumParameter>("Fit Mode").GetPossibleValues() == modes);
    CHECK(runner.Parameter<EnumParameter>("Horizontal Align").GetPossibleValues() == horizontals);
    CHECK(runner.Parameter<EnumParameter>("Vertical Align").GetPossibleValues() == verticals);
    CHECK(Resize::Type()->GetId() == "Varkle.Texture.Resize");
}

TEST_CASE("Resize puts the picture where its fit mode and alignments say")
{
    // Sizes at which no pixel's center lies on the picture's border.
    const std::pair<glm::ivec2, glm::ivec2> sizes[] = {
        {{6, 4}, {10, 10}}, {{4, 6}, {10, 10}}, {{7, 5}, {4, 3}},
        {{5, 3}, {11, 3}},  {{3, 7}, {2, 13}},  {{1, 1}, {5, 3}},
    };
    for (const auto& [from, to] : sizes)
    {
        const Picture picture = RandomPicture(from);
        OperatorRunner<Resize> runner;
        runner.Connect("Texture Input", Upload(picture));
        for (const std::string& mode : modes)
        {
            for (const std::string& horizontal : horizontals)
            {
                for (const std::string& vertical : verticals)
                {
                    INFO(from.x << " by " << from.y << " to " << to.x << " by " << to.y << ", " << mode << ", "
                                << horizontal << ", " << vertical);
                    const Frame frame{to, mode, horizontal, vertical};
                    Set(runner, frame);
                    CheckPicture(runner.Run(), Resized(picture, frame));
                }
            }
        }
    }
}

TEST_CASE("Resize fits a wide picture into a square between transparent bars")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{9, 9}, "Fit"});
    runner.Connect("Texture Input", Filled({16, 9}, {10, 20, 30, 255}));
    const Image image = runner.Run(); // a band of 9 * 9 / 16 = 5.06 rows below a bar of 1.97
    for (int y = 0; y < 9; ++y)
    {
        INFO("row " << y);
        CHECK(Near(At(image, 0, y), y >= 2 && y <= 6 ? Rgba8{10, 20, 30, 255} : Rgba8{0, 0, 0, 0}));
        CHECK(At(image, 8, y) == At(image, 0, y));
    }
}

TEST_CASE("Resize fills a square with the left, the middle or the right of a wide picture")
{
    const Picture picture = RandomPicture({13, 9});
    OperatorRunner<Resize> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (int i = 0; i < 3; ++i)
    {
        INFO(horizontals[std::size_t(i)]);
        Set(runner, {{9, 9}, "Fill", horizontals[std::size_t(i)], "Top"});
        CheckPicture(runner.Run(), Part(picture, {2 * i, 0}, {9, 9}));
    }
}

TEST_CASE("Resize centers a larger picture pixel by pixel, cropped")
{
    const Picture picture = RandomPicture({7, 5});
    OperatorRunner<Resize> runner;
    Set(runner, {{3, 3}, "Center"});
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), Part(picture, {2, 1}, {3, 3}));
}

TEST_CASE("Resize surrounds a smaller picture with transparent black")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{4, 3}, "Center"});
    runner.Connect("Texture Input", Filled({2, 1}, {255, 255, 255, 255}));
    const Rgba8 none{0, 0, 0, 0};
    const Rgba8 white{255, 255, 255, 255};
    CheckPixels(runner.Run(), {none, none, none, none, none, white, white, none, none, none, none, none});
}

TEST_CASE("Resize stretches over the whole frame")
{
    OperatorRunner<Resize> runner;
    runner.Connect("Texture Input", Upload(OpaquePicture({5, 4})));
    for (const glm::ivec2 size : {glm::ivec2(17, 3), glm::ivec2(1, 20), glm::ivec2(2, 2)})
    {
        INFO(size.x << " by " << size.y);
        Set(runner, {size, "Stretch"});
        const Image image = runner.Run();
        REQUIRE(image.GetWidth() == size.x);
        REQUIRE(image.GetHeight() == size.y);
        for (int i = 0; i < size.x * size.y; ++i)
            CHECK(int(At(image, i % size.x, i / size.x).a) == 255);
    }
}

TEST_CASE("Resize filters linearly and clamps at the edges")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{4, 1}, "Stretch"});
    runner.Connect("Texture Input", MakeTexture({2, 1}, twoTexels));
    CheckPixels(runner.Run(), stretchedClamping);
}

TEST_CASE("Resize takes an unknown mode as fit and an unknown alignment as center")
{
    const Picture picture = RandomPicture({6, 4});
    OperatorRunner<Resize> runner;
    runner.Connect("Texture Input", Upload(picture));
    Set(runner, {{10, 10}, "Zoom", "Left", "Bottom"});
    CheckPicture(runner.Run(), Resized(picture, {{10, 10}, "Fit", "Left", "Bottom"}));
    Set(runner, {{10, 10}, "Center", "Middle", "top"});
    CheckPicture(runner.Run(), Resized(picture, {{10, 10}, "Center", "Center", "Center"}));
}

TEST_CASE("Resize keeps its input's texture format")
{
    std::vector<wgpu::TextureFormat> formats = {
        wgpu::TextureFormat::R8Unorm,     wgpu::TextureFormat::RG8Unorm, wgpu::TextureFormat::RGBA8Unorm,
        wgpu::TextureFormat::BGRA8Unorm,  wgpu::TextureFormat::R16Float, wgpu::TextureFormat::RG16Float,
        wgpu::TextureFormat::RGBA16Float,
    };
    if (Graphics::HasFeature(wgpu::FeatureName::Float32Filterable))
        formats.push_back(wgpu::TextureFormat::RGBA32Float);
    const Picture picture = RandomPicture({6, 4});
    const Frame frame{{9, 8}, "Fit", "Left", "Top"};
    OperatorRunner<Resize> runner;
    Set(runner, frame);
    for (const wgpu::TextureFormat format : formats)
    {
        INFO(GetTextureFormatName(format));
        runner.Connect("Texture Input", Upload(picture, format));
        const Image image = runner.Run();
        CHECK(runner.Output().GetTextureFormat() == format);
        CheckPicture(image, Stored(Resized(picture, frame), format));
    }
}

TEST_CASE("Resize keeps an sRGB texture's format and bytes")
{
    const Picture picture = RandomPicture({5, 3});
    std::vector<Rgba8> pixels;
    for (const glm::dvec4& color : picture.pixels)
        pixels.push_back(ToRgba8(color));
    OperatorRunner<Resize> runner;
    Set(runner, {{5, 3}, "Stretch"});
    runner.Connect("Texture Input", Texture::FromImage(MakeImage({5, 3}, pixels), true));
    CheckPixels(runner.Run(), pixels);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8UnormSrgb);
}

TEST_CASE("Resize keeps what lies beyond 1 in a texture of floats")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{3, 3}, "Stretch"});
    runner.Connect("Texture Input", MakeFloatTexture({1, 1}, {{2.25f, 1.5f, -0.5f, 1}}));
    runner.Execute();
    OperatorRunner<ColorCorrect> darker;
    darker.SetFloat("Brightness", -1.25);
    darker.Connect("Texture Input", runner.Output());
    CheckPixels(darker.Run(), std::vector<Rgba8>(9, {255, 64, 0, 255}));
    darker.SetFloat("Brightness", 1.0);
    CheckPixels(darker.Run(), std::vector<Rgba8>(9, {255, 255, 128, 255}));
}

TEST_CASE("Resize builds a pipeline for a new format, not for a new size, mode or picture")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{4, 4}});
    runner.Connect("Texture Input", Upload(RandomPicture({6, 4})));
    runner.Execute();
    const std::uint64_t before = Graphics::GetCounters().pipelinesCreated;
    Set(runner, {{7, 2}, "Fill", "Left", "Bottom"});
    runner.Execute();
    runner.Connect("Texture Input", Upload(RandomPicture({3, 9})));
    runner.Execute();
    CHECK(Graphics::GetCounters().pipelinesCreated == before);

    for (int i = 0; i < 2; ++i)
    {
        runner.Connect("Texture Input", Upload(RandomPicture({6, 4}), wgpu::TextureFormat::R16Float));
        runner.Execute();
        CHECK(Graphics::GetCounters().pipelinesCreated == before + 1);
    }
}

TEST_CASE("Resize makes the nearest size that is possible and says so")
{
    const Picture picture = OpaquePicture({4, 4});
    const int limit = int(Graphics::GetLimits().maxTextureDimension2D);
    const std::pair<glm::ivec2, glm::ivec2> sizes[] = {
        {{0, 17}, {1, 17}}, {{-3, 0}, {1, 1}}, {{5, limit + 19}, {5, limit}}};
    for (const auto& [asked, made] : sizes)
    {
        INFO(asked.x << " by " << asked.y);
        const LogRecorder log;
        OperatorRunner<Resize> runner;
        Set(runner, {asked, "Stretch"});
        runner.Connect("Texture Input", Upload(picture));
        CheckPicture(runner.Run(), Resized(picture, {made, "Stretch"}));
        REQUIRE(log.lines.size() == 1);
        CHECK(log.lines[0].starts_with("warning: "));
        CHECK(log.Contains(std::to_string(asked.x) + " by " + std::to_string(asked.y) + " pixels can't be made"));
        for (const std::string& mode : modes)
        {
            runner.SetEnum("Fit Mode", mode);
            runner.Execute();
            CHECK(runner.Output().GetWidth() == made.x);
            CHECK(runner.Output().GetHeight() == made.y);
        }
    }
}

TEST_CASE("Resize makes a single pixel of any picture")
{
    const Picture picture = RandomPicture({4, 6});
    OperatorRunner<Resize> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const std::string& mode : modes)
    {
        INFO(mode);
        Set(runner, {{1, 1}, mode});
        CheckPicture(runner.Run(), Resized(picture, {{1, 1}, mode}));
    }
}

TEST_CASE("Resize without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{8, 8}});
    CheckNeedsInput(runner, "Texture Input");
}

TEST_CASE("Resize in the steady state makes nothing")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{16, 16}});
    runner.Connect("Texture Input", Upload(RandomPicture({9, 4})));
    CheckSteadyState(runner, [&](int i) { runner.SetEnum("Fit Mode", modes[std::size_t(i) % 4]); });
}

TEST_CASE("Resize publishes a fresh texture on every execution")
{
    OperatorRunner<Resize> runner;
    Set(runner, {{8, 8}, "Stretch"});
    runner.Connect("Texture Input", Filled({4, 2}, {255, 255, 255, 255}));
    CheckFreshOutput(runner, [&] { runner.SetEnum("Fit Mode", "Center"); });
}
