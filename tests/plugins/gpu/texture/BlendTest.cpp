#include "texture/Blend.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <cmath>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const Lines modeNames = {"Over",       "Add",       "Subtract",    "Multiply",  "Divide",  "Average",
                         "Difference", "Screen",    "Darken",      "Lighten",   "Overlay", "Hard Light",
                         "Soft Light", "Exclusion", "Color Dodge", "Color Burn"};

double SoftLight(double a, double b)
{
    if (b <= 0.5)
        return a - (1 - 2 * b) * a * (1 - a);
    const double d = a <= 0.25 ? ((16 * a - 12) * a + 4) * a : std::sqrt(a);
    return a + (2 * b - 1) * (d - a);
}

// The foreground is a, the background b.
double BlendValues(const std::string& mode, double a, double b)
{
    const double multiplied = 2 * a * b;
    const double screened = 1 - 2 * (1 - a) * (1 - b);
    if (mode == "Add")
        return a + b;
    if (mode == "Subtract")
        return a - b;
    if (mode == "Multiply")
        return a * b;
    if (mode == "Divide")
        return a / b;
    if (mode == "Average")
        return (a + b) / 2;
    if (mode == "Difference")
        return std::abs(a - b);
    if (mode == "Screen")
        return 1 - (1 - a) * (1 - b);
    if (mode == "Darken")
        return std::min(a, b);
    if (mode == "Lighten")
        return std::max(a, b);
    if (mode == "Overlay")
        return a < 0.5 ? multiplied : screened;
    if (mode == "Hard Light")
        return b < 0.5 ? multiplied : screened;
    if (mode == "Soft Light")
        return SoftLight(a, b);
    if (mode == "Exclusion")
        return a + b - 2 * a * b;
    if (mode == "Color Dodge")
        return std::clamp(a / (1 - b), 0.0, 1.0);
    if (mode == "Color Burn")
        return std::clamp(1 - (1 - a) / b, 0.0, 1.0);
    throw std::invalid_argument(mode);
}

glm::dvec4 BlendColors(const std::string& mode, bool blendAlpha, glm::dvec4 foreground, glm::dvec4 background)
{
    const double overAlpha = foreground.a + (1 - foreground.a) * background.a;
    if (mode == "Over")
        return {glm::dvec3(foreground) * foreground.a + glm::dvec3(background) * (1 - foreground.a), overAlpha};
    glm::dvec4 result;
    for (int i = 0; i < 4; ++i)
        result[i] = BlendValues(mode, foreground[i], background[i]);
    if (!blendAlpha)
        result.a = overAlpha;
    return result;
}

// Every color is three pixels wide, so that filtering can't mix the middle one with a neighbor.
Texture Stripes(const std::vector<Rgba8>& colors)
{
    std::vector<Rgba8> pixels;
    for (const Rgba8& color : colors)
        pixels.insert(pixels.end(), 3, color);
    return MakeTexture({int(pixels.size()), 1}, pixels);
}

Rgba8 StripeAt(const Image& image, std::size_t index)
{
    return At(image, 3 * int(index) + 1, 0);
}

struct Colors
{
    std::optional<Rgba8> foreground;
    std::optional<Rgba8> background;
    std::optional<Rgba8> mask;
};

Rgba8 Blended(const char* mode, const Colors& colors, bool blendAlpha = false)
{
    OperatorRunner<Blend> runner;
    runner.SetSize({2, 2});
    runner.SetEnum("Blend Mode", mode);
    runner.SetBool("Blend Alpha", blendAlpha);
    if (colors.foreground)
        runner.Connect("Foreground", Filled({2, 2}, *colors.foreground));
    if (colors.background)
        runner.Connect("Background", Filled({2, 2}, *colors.background));
    if (colors.mask)
        runner.Connect("Mask", Filled({2, 2}, *colors.mask));
    return At(runner.Run(), 1, 1);
}

// Gives the input as it is read, since the other one is transparent black.
Rgba8 Swizzled(const char* input, const char* parameter, const char* swizzle, Rgba8 color)
{
    OperatorRunner<Blend> runner;
    runner.SetSize({2, 2});
    runner.SetEnum("Blend Mode", "Lighten");
    runner.SetBool("Blend Alpha", true);
    runner.SetString(parameter, swizzle);
    runner.Connect(input, Filled({2, 2}, color));
    return At(runner.Run(), 0, 1);
}

void ConnectTwo(OperatorRunner<Blend>& runner)
{
    runner.Connect("Foreground", Filled({2, 2}, {255, 0, 0, 102}));
    runner.Connect("Background", Filled({2, 2}, {0, 0, 255, 255}));
}

} // namespace

TEST_CASE("Blend has its inputs and parameters in their order, with their defaults")
{
    OperatorRunner<Blend> runner;
    CHECK(Blend::Type()->GetId() == "Varkle.Texture.Blend");
    CHECK(DescribePorts(runner.Get()) == Lines{"Foreground: takes Texture", "Background: takes Texture",
                                               "Mask: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input A", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Blend Mode: Enum = Over", "Blend Alpha: Bool = false",
                "Input A Swizzle: String = RGBA", "Input B Swizzle: String = RGBA"});
    CHECK(runner.Parameter<EnumParameter>("Blend Mode").GetPossibleValues() == modeNames);
    CHECK(runner.Parameter<EnumParameter>("Blend Mode").GetLabels().empty());
    for (const char* const name : {"Input A Swizzle", "Input B Swizzle"})
        CHECK(runner.Parameter<StringParameter>(name).GetEditorType() == StringParameter::EditorType::Swizzle);
}

TEST_CASE("Blend combines 0.2, 0.8 and 0.6 with 0.4, 0.2 and 0.8 as worked out by hand")
{
    const struct
    {
        const char* mode;
        Rgba8 result;
    } rows[] = {
        {"Over", {51, 204, 153}},        // the foreground, which is opaque
        {"Add", {153, 255, 255}},        // 0.6, 1.0, 1.4
        {"Subtract", {0, 153, 0}},       // -0.2, 0.6, -0.2
        {"Multiply", {20, 41, 122}},     // 0.08, 0.16, 0.48
        {"Divide", {128, 255, 191}},     // 0.5, 4.0, 0.75
        {"Average", {77, 128, 179}},     // 0.3, 0.5, 0.7
        {"Difference", {51, 153, 51}},   // 0.2, 0.6, 0.2
        {"Screen", {133, 214, 235}},     // 0.52, 0.84, 0.92
        {"Darken", {51, 51, 153}},       // the smaller
        {"Lighten", {102, 204, 204}},    // the larger
        {"Overlay", {41, 173, 214}},     // 0.16; 0.68 and 0.84, where the foreground is bright
        {"Hard Light", {41, 82, 214}},   // 0.16, 0.32; 0.84, where the background is bright
        {"Soft Light", {43, 180, 180}},  // 0.168, 0.704; 0.705 with a square root
        {"Exclusion", {112, 173, 112}},  // 0.44, 0.68, 0.44
        {"Color Dodge", {85, 255, 255}}, // 0.333, 1, 3
        {"Color Burn", {0, 0, 128}},     // -1, 0, 0.5
    };
    REQUIRE(std::size(rows) == modeNames.size());
    for (const auto& row : rows)
    {
        INFO(row.mode);
        const Rgba8 result = Blended(row.mode, {Rgba8{51, 204, 153, 255}, Rgba8{102, 51, 204, 255}, {}});
        INFO(result);
        CHECK(Near(result, row.result));
    }
}

TEST_CASE("Blend follows the formula of every mode, with and without alpha")
{
    // Pairs that divide 0 by 0 are left out: what that gives is up to the GPU.
    const std::vector<Rgba8> foregrounds = {{10, 60, 70, 40},    {130, 200, 250, 180}, {255, 128, 64, 255},
                                            {20, 127, 63, 1},    {90, 5, 254, 128},    {1, 150, 33, 77},
                                            {254, 127, 128, 90}, {64, 63, 180, 220}};
    const std::vector<Rgba8> backgrounds = {{60, 10, 200, 90},    {30, 220, 100, 60}, {1, 128, 254, 128},
                                            {130, 250, 129, 200}, {127, 127, 5, 129}, {64, 150, 210, 50},
                                            {254, 128, 127, 254}, {63, 64, 20, 30}};
    OperatorRunner<Blend> runner;
    runner.Connect("Foreground", Stripes(foregrounds));
    runner.Connect("Background", Stripes(backgrounds));
    for (const bool blendAlpha : {false, true})
    {
        runner.SetBool("Blend Alpha", blendAlpha);
        for (const std::string& mode : modeNames)
        {
            runner.SetEnum("Blend Mode", mode);
            const Image result = runner.Run();
            for (std::size_t i = 0; i < foregrounds.size(); ++i)
            {
                const Rgba8 expected =
                    ToRgba8(BlendColors(mode, blendAlpha, ToUnit(foregrounds[i]), ToUnit(backgrounds[i])));
                INFO(mode << ", blend alpha " << blendAlpha << ": " << foregrounds[i] << " and " << backgrounds[i]
                          << " give " << StripeAt(result, i) << ", not " << expected);
                CHECK(Near(StripeAt(result, i), expected));
            }
        }
    }
}

TEST_CASE("Blend by Over weighs with the foreground's alpha alone, whatever the background's is")
{
    // 255 * 0.4 + 100 * 0.6; alpha is 0.4 + 0.6 * 0.2.
    CHECK(Near(Blended("Over", {Rgba8{255, 0, 0, 102}, Rgba8{100, 200, 0, 51}, {}}), {162, 120, 0, 133}));
    CHECK(Near(Blended("Over", {Rgba8{255, 0, 0, 102}, Rgba8{100, 200, 0, 51}, {}}, true), {162, 120, 0, 133}));
    CHECK(Near(Blended("Over", {Rgba8{255, 9, 9, 0}, Rgba8{100, 200, 50, 0}, {}}), {100, 200, 50, 0}));
}

TEST_CASE("Blend applies its mode to alpha only when asked to")
{
    const Colors colors{Rgba8{255, 255, 255, 102}, Rgba8{255, 255, 255, 51}, {}};
    CHECK(Near(Blended("Multiply", colors), {255, 255, 255, 133}));      // 0.4 + 0.6 * 0.2 = 0.52
    CHECK(Near(Blended("Multiply", colors, true), {255, 255, 255, 20})); // 0.08
    CHECK(Near(Blended("Divide", colors, true), {255, 255, 255, 255}));  // 2
    CHECK(Near(Blended("Subtract", colors, true), {0, 0, 0, 51}));       // 0.2
}

TEST_CASE("Blend counts a mode that it does not know as Over")
{
    const Colors colors{Rgba8{255, 0, 0, 102}, Rgba8{100, 200, 0, 51}, {}};
    CHECK(Near(Blended("Dissolve", colors, true), {162, 120, 0, 133}));
    CHECK(Near(Blended("multiply", colors), {162, 120, 0, 133}));
}

TEST_CASE("Blend divides by zero as the GPU does and clamps what dodge and burn make of it")
{
    const Rgba8 black{0, 0, 0, 255};
    const Rgba8 white{255, 255, 255, 255};
    const Rgba8 foreground{1, 102, 254, 255};
    CHECK(Near(Blended("Divide", {foreground, black, {}}), white));
    CHECK(Near(Blended("Color Burn", {foreground, black, {}}), black));
    CHECK(Near(Blended("Color Dodge", {foreground, white, {}}), white));
    CHECK(Near(Blended("Divide", {foreground, black, black}), black)); // the mask leaves the background
    // The same in alpha.
    CHECK(Blended("Divide", {Rgba8{0, 0, 0, 51}, Rgba8{0, 0, 0, 0}, {}}, true).a == 255);
    CHECK(Blended("Color Burn", {Rgba8{0, 0, 0, 51}, Rgba8{0, 0, 0, 0}, {}}, true).a == 0);
    CHECK(Blended("Color Dodge", {Rgba8{0, 0, 0, 51}, Rgba8{0, 0, 0, 255}, {}}, true).a == 255);
}

TEST_CASE("Blend lets the mask's red decide between the background and the blend, alpha included")
{
    const Rgba8 foreground{200, 100, 0, 255};
    const Rgba8 background{100, 200, 50, 51};
    const struct
    {
        Rgba8 mask;
        Rgba8 result;
    } rows[] = {
        {{0, 0, 0, 255}, background},
        {{0, 255, 255, 255}, background}, // green and blue don't count
        {{255, 255, 255, 255}, foreground},
        {{255, 0, 0, 0}, foreground},            // nor does alpha
        {{51, 51, 51, 255}, {120, 180, 40, 92}}, // 0.2 of the way
        {{51, 200, 0, 128}, {120, 180, 40, 92}},
    };
    for (const auto& row : rows)
    {
        INFO(row.mask);
        CHECK(Near(Blended("Over", {foreground, background, row.mask}), row.result));
    }
}

TEST_CASE("Blend cuts nothing off before the mask weighs it")
{
    // Mask 0.2. Add: 0.6 + (1.6 - 0.6) * 0.2; subtract: 0.6 + (-0.6 - 0.6) * 0.2; divide: 0.2 + (5 - 0.2) * 0.2.
    const Rgba8 mask{51, 51, 51, 255};
    CHECK(Near(Blended("Add", {Gray(255), Gray(153), mask}), Gray(204)));
    CHECK(Near(Blended("Subtract", {Gray(0), Gray(153), mask}), Gray(92)));
    CHECK(Near(Blended("Divide", {Gray(255), Gray(51), Rgba8{26, 0, 0, 255}}), Gray(176)));
}

TEST_CASE("Blend takes transparent black for one missing input")
{
    const Rgba8 color{200, 100, 50, 102};
    CHECK(Near(Blended("Over", {color, {}, {}}), {80, 40, 20, 102})); // times 0.4
    CHECK(Near(Blended("Over", {{}, color, {}}), color));
    CHECK(Near(Blended("Add", {color, {}, {}}), color));
    CHECK(Near(Blended("Multiply", {{}, color, {}}), {0, 0, 0, 102}));
    CHECK(Near(Blended("Multiply", {{}, color, {}}, true), {0, 0, 0, 0}));
    CHECK(Near(Blended("Subtract", {{}, color, {}}, true), {0, 0, 0, 0}));
    CHECK(Near(Blended("Over", {color, {}, Rgba8{0, 0, 0, 255}}), {0, 0, 0, 0}));
}

TEST_CASE("Blend clears its output while neither the foreground nor the background has a texture")
{
    OperatorRunner<Blend> runner;
    const std::uint64_t before = Graphics::GetCounters().renderPasses;
    runner.Connect("Mask", Filled({2, 2}, {255, 255, 255, 255}));
    runner.Execute();
    CHECK_FALSE(runner.Output());
    CHECK(Graphics::GetCounters().renderPasses == before);

    runner.Connect("Background", Filled({2, 2}, {0, 0, 255, 255}));
    runner.SetSize({2, 2});
    CHECK(Near(At(runner.Run(), 0, 0), {0, 0, 255, 255}));
    runner.Connect("Background", {}); // connected still, to something that carries nothing
    runner.Execute();
    CHECK_FALSE(runner.Output());

    runner.Connect("Foreground", Filled({2, 2}, {0, 255, 0, 255}));
    CHECK(Near(At(runner.Run(), 0, 0), {0, 255, 0, 255}));
    runner.Disconnect("Foreground");
    runner.Execute();
    CHECK_FALSE(runner.Output());
}

TEST_CASE("Blend reads its inputs through their swizzles, also through odd ones")
{
    const struct
    {
        const char* swizzle;
        Rgba8 result;
    } rows[] = {
        {"RGBA", {10, 20, 30, 40}},  {"RRRA", {10, 10, 10, 40}}, // a gray picture of red
        {"RGB1", {10, 20, 30, 255}}, {"ABGR", {40, 30, 20, 10}},  {"1010", {255, 0, 255, 0}},
        {"gbra", {20, 30, 10, 40}},  {"RG", {10, 20, 0, 255}},    // what is missing reads 0, alpha 1
        {"", {0, 0, 0, 255}},        {"XYZW", {0, 0, 0, 0}},      // what is no letter reads 0
        {"R GA", {10, 0, 20, 40}},   {"BGRA1", {30, 20, 10, 40}}, // what is too much is left out
    };
    for (const auto& row : rows)
    {
        INFO('"' << row.swizzle << '"');
        CHECK(Near(Swizzled("Foreground", "Input A Swizzle", row.swizzle, {10, 20, 30, 40}), row.result));
        CHECK(Near(Swizzled("Background", "Input B Swizzle", row.swizzle, {10, 20, 30, 40}), row.result));
    }
}

TEST_CASE("Blend swizzles each input by its own letters and the mask not at all")
{
    OperatorRunner<Blend> runner;
    runner.SetEnum("Blend Mode", "Subtract");
    runner.SetString("Input A Swizzle", "BBB1");
    runner.SetString("Input B Swizzle", "GGGA");
    runner.Connect("Foreground", Filled({2, 2}, {1, 2, 203, 0}));
    runner.Connect("Background", Filled({2, 2}, {1, 102, 3, 255}));
    runner.Connect("Mask", Filled({2, 2}, {255, 0, 0, 0}));
    CHECK(Near(At(runner.Run(), 0, 0), {101, 101, 101, 255}));
    // A missing input has a swizzle too: opaque black over the background.
    runner.SetEnum("Blend Mode", "Over");
    runner.SetString("Input A Swizzle", "RGB1");
    runner.Disconnect("Foreground");
    CHECK(Near(At(runner.Run(), 0, 0), {0, 0, 0, 255}));
}

TEST_CASE("Blend wraps around at the edges of stretched inputs and of the mask")
{
    OperatorRunner<Blend> runner;
    runner.SetSize({4, 1});
    SECTION("foreground")
    {
        runner.Connect("Foreground", MakeTexture({2, 1}, twoTexels));
    }
    SECTION("background")
    {
        runner.Connect("Background", MakeTexture({2, 1}, twoTexels));
    }
    SECTION("swizzled")
    {
        runner.SetString("Input A Swizzle", "GBR1");
        runner.Connect("Foreground", MakeTexture({2, 1}, twoTexels));
    }
    SECTION("mask")
    {
        runner.Connect("Foreground", Filled({1, 1}, {255, 255, 255, 255}));
        runner.Connect("Background", Filled({1, 1}, {0, 0, 0, 255}));
        runner.Connect("Mask", MakeTexture({2, 1}, twoTexels));
    }
    SECTION("downwards")
    {
        runner.SetSize({1, 4});
        runner.Connect("Background", MakeTexture({1, 2}, twoTexels));
    }
    CheckPixels(runner.Run(), stretchedRepeating);
}

TEST_CASE("Blend keeps pictures the right way up at odd sizes, inputs of other sizes included")
{
    OperatorRunner<Blend> runner;
    const Picture picture = RandomPicture({3, 5});
    runner.Connect("Background", Upload(picture));
    runner.SetEnum("Output Format", "Copy Input B");
    runner.SetEnum("Blend Mode", "Add");
    runner.Connect("Foreground", Filled({7, 2}, {51, 0, 0, 0}));
    CheckPicture(runner.Run(), {picture.size, [&](glm::ivec2 p) { return picture.At(p) + glm::dvec4(0.2, 0, 0, 0); }});
}

TEST_CASE("Blend writes the channels that its texture type has, in the size that is asked for")
{
    OperatorRunner<Blend> runner;
    ConnectTwo(runner);
    CheckTextureTypes(runner, {102, 0, 153, 255});
}

TEST_CASE("Blend follows the foreground or the background, never the mask")
{
    OperatorRunner<Blend> runner;
    runner.Connect("Mask", Filled({13, 14}, {255, 255, 255, 255}));
    CheckFollowedInputs(runner, {"Foreground", "Background"});
}

TEST_CASE("Blend builds a pipeline for a new texture type, not for a new size, mode or swizzle")
{
    OperatorRunner<Blend> runner;
    ConnectTwo(runner);
    runner.SetString("Input A Swizzle", "BGRA"); // the first swizzled view has a pipeline of its own
    CheckPipelines(runner,
                   [&]
                   {
                       runner.SetEnum("Blend Mode", "Screen");
                       runner.SetBool("Blend Alpha", true);
                       runner.SetString("Input A Swizzle", "GBRA");
                       runner.Connect("Mask", Filled({3, 3}, {128, 0, 0, 255}));
                   });
}

TEST_CASE("Blend publishes a fresh texture on every execution")
{
    OperatorRunner<Blend> runner;
    ConnectTwo(runner);
    CheckFreshOutput(runner, [&] { runner.SetEnum("Blend Mode", "Screen"); });
}

TEST_CASE("Blend in the steady state creates nothing")
{
    OperatorRunner<Blend> runner;
    ConnectTwo(runner);
    SECTION("with all inputs")
    {
        runner.Connect("Mask", Filled({3, 3}, {128, 0, 0, 255}));
    }
    SECTION("with one input")
    {
        runner.Disconnect("Foreground");
    }
    SECTION("with swizzles")
    {
        runner.SetString("Input A Swizzle", "BGR1");
        runner.SetString("Input B Swizzle", "RRRA");
    }
    CheckSteadyState(runner,
                     [&](int step) { runner.SetEnum("Blend Mode", modeNames[std::size_t(step) % modeNames.size()]); });
}

TEST_CASE("Blend in the steady state creates nothing for swizzled inputs that are new each time")
{
    OperatorRunner<Blend> runner;
    ConnectTwo(runner);
    runner.SetString("Input A Swizzle", "BGR1");
    const auto renew = [&](int)
    {
        const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};
        runner.Connect("Foreground", AllocateFrameBuffer({2, 2}, format).GetColorTarget(0));
    };
    const std::uint64_t before = Graphics::GetCounters().renderPasses;
    renew(0);
    runner.Execute();
    CheckSteadyState(runner, renew, Graphics::GetCounters().renderPasses - before); // a swizzle may take a pass
}
