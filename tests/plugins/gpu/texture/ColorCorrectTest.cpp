#include "texture/ColorCorrect.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"
#include "texture/GrayScale.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Correction
{
    double brightness = 0.0;
    double contrast = 1.0;
    double saturation = 1.0;
};

void Set(OperatorRunner<ColorCorrect>& runner, const Correction& values)
{
    runner.SetFloat("Brightness", values.brightness);
    runner.SetFloat("Contrast", values.contrast);
    runner.SetFloat("Saturation", values.saturation);
}

// Saturation around the luminance, then contrast around 0.5, then brightness, then the clip; alpha stays.
glm::dvec4 Correct(const glm::dvec4& color, const Correction& values)
{
    const glm::dvec3 rgb(color);
    const double luminance = glm::dot(rgb, glm::dvec3(0.2126, 0.7152, 0.0722));
    const glm::dvec3 saturated = luminance + (rgb - luminance) * values.saturation;
    const glm::dvec3 corrected = (saturated - 0.5) * values.contrast + 0.5 + values.brightness;
    return {glm::clamp(corrected, 0.0, 1.0), color.a};
}

Rgba8 CorrectOne(Rgba8 color, const Correction& values)
{
    OperatorRunner<ColorCorrect> runner;
    Set(runner, values);
    runner.Connect("Texture Input", Filled({2, 2}, color));
    return At(runner.Run(), 1, 0);
}

} // namespace

TEST_CASE("Color Correct has brightness, contrast and saturation, which start neutral")
{
    OperatorRunner<ColorCorrect> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Brightness: Float = 0", "Contrast: Float = 1",
                "Saturation: Float = 1"});
    CHECK(ColorCorrect::Type()->GetId() == "Varkle.Texture.ColorCorrect");
}

TEST_CASE("Color Correct with its defaults changes no pixel, also at odd sizes")
{
    OperatorRunner<ColorCorrect> runner;
    const Picture picture({7, 5},
                          [](glm::ivec2 p) { return glm::dvec4(p.x / 6.0, p.y / 4.0, 1 - p.x / 6.0, p.x / 6.0); });
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), picture);
}

TEST_CASE("Color Correct applies saturation, contrast and brightness in this order, clips, and keeps alpha")
{
    const Correction corrections[] = {
        {0.25, 1, 1},    {-0.25, 1, 1}, {2, 1, 1},         {-2, 1, 1}, // brightness alone
        {0, 2, 1},       {0, 0.5, 1},   {0, 0, 1},         {0, -1, 1}, // contrast alone
        {0, 1, 2},       {0, 1, 0.5},   {0, 1, 0},         {0, 1, -1}, // saturation alone
        {0.1, 1.5, 0.5}, {-0.3, 3, 2},  {0.2, -0.5, -0.5}, {0, 9, 9},  // together
    };
    const Picture picture = RandomPicture({8, 8});
    OperatorRunner<ColorCorrect> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const Correction& values : corrections)
    {
        INFO("brightness " << values.brightness << ", contrast " << values.contrast << ", saturation "
                           << values.saturation);
        Set(runner, values);
        const auto correct = [&](glm::ivec2 pixel) { return Correct(picture.At(pixel), values); };
        CheckPicture(runner.Run(), Picture(picture.size, correct));
    }
}

TEST_CASE("Color Correct's neutral points are the luminance, middle gray and zero")
{
    // Saturation -1 mirrors each channel at the luminance: 2 * 0.2126 * 100 = 42.5, minus the channel.
    CHECK(Near(CorrectOne({100, 0, 0, 77}, {.saturation = -1}), {0, 43, 43, 77}));
    // Contrast 0 leaves 0.5, plus the brightness: 0.7 * 255 = 178.5.
    CHECK(Near(CorrectOne({10, 120, 250, 3}, {.brightness = 0.2, .contrast = 0}), {178, 178, 178, 3}));
    // The brightness comes last, so that contrast does not multiply it: (0.4 - 0.5) * 2 + 0.5 + 0.1 = 0.4.
    CHECK(Near(CorrectOne({102, 102, 102, 255}, {.brightness = 0.1, .contrast = 2}), {102, 102, 102, 255}));
}

TEST_CASE("Color Correct without saturation is Grayscale's luminance")
{
    const Texture texture = Upload(RandomPicture({6, 6}));
    OperatorRunner<GrayScale> gray;
    gray.Connect("Texture Input", texture);
    OperatorRunner<ColorCorrect> runner;
    runner.SetFloat("Saturation", 0);
    runner.Connect("Texture Input", texture);
    CheckPicture(runner.Run(), ToPicture(gray.Run()));
}

TEST_CASE("Color Correct works on values beyond 1 before it clips")
{
    OperatorRunner<ColorCorrect> runner;
    runner.SetSize({1, 1});
    runner.SetFloat("Brightness", -1.25);
    runner.Connect("Texture Input", MakeFloatTexture({1, 1}, {{1.5, 1.25, 3, 1}}));
    CHECK(Near(At(runner.Run(), 0, 0), {64, 0, 255, 255})); // 0.25, 0, 1.75
}

TEST_CASE("Color Correct stretches its input to a size of its own with linear filtering and clamped edges")
{
    OperatorRunner<ColorCorrect> runner;
    runner.SetSize({4, 1});
    runner.Connect("Texture Input", MakeTexture({2, 1}, twoTexels));
    CheckPixels(runner.Run(), stretchedClamping);
}

TEST_CASE("Color Correct writes the channels that its texture type has")
{
    OperatorRunner<ColorCorrect> runner;
    const Picture picture = RandomPicture({3, 5});
    const Correction values{0.1, 0.8, 1.2};
    Set(runner, values);
    runner.Connect("Texture Input", Upload(picture));
    CheckTextureTypes(runner, Picture({3, 5}, [&](glm::ivec2 p) { return Correct(picture.At(p), values); }));
}

TEST_CASE("Color Correct reads a texture of one channel as red")
{
    OperatorRunner<ColorCorrect> runner;
    runner.SetFloat("Brightness", 0.2);
    const Picture red = Stored(RandomPicture({3, 3}), wgpu::TextureFormat::R8Unorm);
    runner.Connect("Texture Input", Upload(red, wgpu::TextureFormat::R8Unorm));
    const auto correct = [&](glm::ivec2 pixel) { return Correct(red.At(pixel), {.brightness = 0.2}); };
    CheckPicture(runner.Run(), Stored(Picture({3, 3}, correct), wgpu::TextureFormat::R8Unorm));
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::R8Unorm); // it copies the type too
}

TEST_CASE("Color Correct without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<ColorCorrect> runner;
    CheckNeedsInput(runner, "Texture Input");
}

TEST_CASE("Color Correct survives any number")
{
    OperatorRunner<ColorCorrect> runner;
    runner.Connect("Texture Input", Filled({3, 3}, {200, 100, 50, 25}));
    CheckSurvivesOddNumbers(runner);
    runner.SetFloat("Contrast", std::numeric_limits<double>::quiet_NaN());
    CHECK(int(At(runner.Run(), 1, 1).a) == 25);
}

TEST_CASE("Color Correct builds pipelines for texture types only and makes nothing in the steady state")
{
    OperatorRunner<ColorCorrect> runner;
    runner.Connect("Texture Input", Filled({16, 16}, {200, 100, 50, 255}));
    CheckSteadyState(runner, [&](int i) { runner.SetFloat("Brightness", 0.01 * i); });
    CheckPipelines(runner, [&] { runner.SetFloat("Contrast", 2.0); });
}

TEST_CASE("Color Correct publishes a fresh texture on every execution")
{
    OperatorRunner<ColorCorrect> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {255, 0, 0, 255}));
    CheckFreshOutput(runner, [&] { runner.SetFloat("Saturation", 0.0); });
}
