#include "texture/ColorRamp.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Hue, saturation and value; hue, saturation and lightness; or OKLab's L, a and b.
using Coordinates = glm::dvec3;

double Brightest(const glm::dvec3& rgb)
{
    return std::max({rgb.r, rgb.g, rgb.b});
}

double Chroma(const glm::dvec3& rgb)
{
    return Brightest(rgb) - std::min({rgb.r, rgb.g, rgb.b});
}

double Fraction(double value)
{
    return value - std::floor(value);
}

// In turns; 0 for grays.
double HueOf(const glm::dvec3& rgb)
{
    const double chroma = Chroma(rgb);
    if (chroma == 0.0)
        return 0.0;
    if (Brightest(rgb) == rgb.r)
        return Fraction((rgb.g - rgb.b) / chroma / 6.0);
    if (Brightest(rgb) == rgb.g)
        return ((rgb.b - rgb.r) / chroma + 2.0) / 6.0;
    return ((rgb.r - rgb.g) / chroma + 4.0) / 6.0;
}

// The color of a hue at full saturation, each channel a trapezoid over the circle.
glm::dvec3 PureColor(double hue)
{
    const auto channel = [hue](double center)
    { return std::clamp(2.0 - 6.0 * std::abs(Fraction(hue - center + 0.5) - 0.5), 0.0, 1.0); };
    return {channel(0.0), channel(1.0 / 3.0), channel(2.0 / 3.0)};
}

Coordinates ToHsv(const glm::dvec3& rgb)
{
    const double value = Brightest(rgb);
    return {HueOf(rgb), value > 0.0 ? Chroma(rgb) / value : 0.0, value};
}

glm::dvec3 FromHsv(const Coordinates& hsv)
{
    return hsv.z * glm::mix(glm::dvec3(1.0), PureColor(hsv.x), hsv.y);
}

Coordinates ToHsl(const glm::dvec3& rgb)
{
    const double lightness = Brightest(rgb) - 0.5 * Chroma(rgb);
    const double chroma = Chroma(rgb);
    return {HueOf(rgb), chroma > 0.0 ? chroma / (1.0 - std::abs(2.0 * lightness - 1.0)) : 0.0, lightness};
}

glm::dvec3 FromHsl(const Coordinates& hsl)
{
    const double chroma = hsl.y * (1.0 - std::abs(2.0 * hsl.z - 1.0));
    return hsl.z + chroma * (PureColor(hsl.x) - 0.5);
}

// IEC 61966-2-1.
double ToLinear(double encoded)
{
    return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
}

double ToEncoded(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

// Björn Ottosson, "A perceptual color space for image processing", 2020. GLM's matrices are written column by column.
const glm::dmat3 rgbToCones = glm::transpose(glm::dmat3(0.4122214708, 0.5363325363, 0.0514459929, //
                                                        0.2119034982, 0.6806995451, 0.1073969566, //
                                                        0.0883024619, 0.2817188376, 0.6299787005));
const glm::dmat3 conesToLab = glm::transpose(glm::dmat3(0.2104542553, 0.7936177850, -0.0040720468, //
                                                        1.9779984951, -2.4285922050, 0.4505937099, //
                                                        0.0259040371, 0.7827717662, -0.8086757660));

Coordinates ToOkLab(const glm::dvec3& rgb)
{
    const glm::dvec3 cones = rgbToCones * glm::dvec3(ToLinear(rgb.r), ToLinear(rgb.g), ToLinear(rgb.b));
    return conesToLab * glm::dvec3(std::cbrt(cones.x), std::cbrt(cones.y), std::cbrt(cones.z));
}

glm::dvec3 FromOkLab(const Coordinates& lab)
{
    const glm::dvec3 roots = glm::inverse(conesToLab) * lab;
    const glm::dvec3 rgb = glm::inverse(rgbToCones) * (roots * roots * roots);
    return {ToEncoded(rgb.r), ToEncoded(rgb.g), ToEncoded(rgb.b)};
}

// Goes the short way round the circle of hues. The half circle goes up: it rounds to 0, the even neighbor.
Coordinates MixWithHue(const Coordinates& a, const Coordinates& b, double t)
{
    const double way = b.x - a.x;
    return {Fraction(a.x + t * (way - std::nearbyint(way))), glm::mix(a.y, b.y, t), glm::mix(a.z, b.z, t)};
}

glm::dvec3 MixColors(const std::string& space, const glm::dvec3& a, const glm::dvec3& b, double t)
{
    if (space == "RGB")
        return glm::mix(a, b, t);
    if (space == "HSV")
        return FromHsv(MixWithHue(ToHsv(a), ToHsv(b), t));
    if (space == "HSL")
        return FromHsl(MixWithHue(ToHsl(a), ToHsl(b), t));
    return FromOkLab(glm::mix(ToOkLab(a), ToOkLab(b), t));
}

const Lines spaces = {"RGB", "HSV", "HSL", "OKLab"};

glm::dvec4 ToDouble(const Color& color)
{
    return {color.r, color.g, color.b, color.a};
}

void SetColors(OperatorRunner<ColorRamp>& runner, const Color& a, const Color& b)
{
    runner.SetColor("Color A", a);
    runner.SetColor("Color B", b);
}

// Red climbs from 0 to 1 in 16 steps of 17 levels.
Picture Steps()
{
    return {{16, 1}, [](glm::ivec2 pixel) { return glm::dvec4(pixel.x / 15.0, 0.3, 0.6, 1.0); }};
}

// What a ramp makes of a picture, whose red is the position.
Picture Ramp(const Picture& picture, const std::string& space, const Color& a, const Color& b)
{
    return {picture.size, [&](glm::ivec2 pixel)
            {
                const double t = picture.At(pixel).r;
                const glm::dvec3 rgb = MixColors(space, glm::dvec3(ToDouble(a)), glm::dvec3(ToDouble(b)), t);
                return glm::dvec4(rgb, glm::mix(a.a, b.a, t));
            }};
}

} // namespace

TEST_CASE("Color Ramp maps red from black to white in OKLab until it is told otherwise")
{
    OperatorRunner<ColorRamp> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Channel: Enum = Red", "Color Space: Enum = OKLab",
                "Color A: Color = 0 0 0 1", "Color B: Color = 1 1 1 1"});
    CHECK(runner.Parameter<EnumParameter>("Channel").GetPossibleValues() == Lines{"Red", "Green", "Blue", "Alpha"});
    CHECK(runner.Parameter<EnumParameter>("Color Space").GetPossibleValues() == spaces);
    CHECK(ColorRamp::Type()->GetId() == "Varkle.Texture.ColorRamp");
}

TEST_CASE("Color Ramp's middle gray is darker in OKLab than in the encoded values")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {128, 0, 0, 255}));
    // L = 0.502, so that the linear gray is 0.502^3 = 0.1265, encoded 0.391.
    CHECK(Near(At(runner.Run(), 0, 0), {100, 100, 100, 255}));
    for (const char* const space : {"RGB", "HSV", "HSL"})
    {
        INFO(space);
        runner.SetEnum("Color Space", space);
        CHECK(Near(At(runner.Run(), 0, 0), {128, 128, 128, 255}));
    }
}

TEST_CASE("Color Ramp goes from color to color in each of its spaces")
{
    const std::pair<Color, Color> ramps[] = {
        {{0, 0, 0, 1}, {1, 1, 1, 1}},              // the defaults
        {{1, 0, 0, 1}, {0, 0, 1, 0}},              // red to transparent blue: down through magenta
        {{1, 0.6, 0, 1}, {0.4, 0, 1, 0.5}},        // hues 0.1 and 0.73: down through red
        {{0.2, 0.9, 0.1, 0}, {0.9, 0.1, 0.8, 1}},  // green to purple
        {{0, 0.2, 0.4, 0.2}, {1, 1, 0, 0.8}},      // dark blue to yellow
        {{0.5, 0.5, 0.5, 1}, {0, 1, 0, 1}},        // a gray has hue 0
        {{0.3, 0.3, 0.3, 1}, {0.8, 0.8, 0.8, 1}},  // no hue at all
        {{1, 0, 0, 1}, {0, 1, 1, 1}},              // opposite hues: up, from red over green
        {{0.02, 0.03, 0.01, 1}, {0.9, 1, 0.95, 1}} // the straight piece of the transfer function
    };
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Upload(Steps()));
    for (const auto& [a, b] : ramps)
    {
        SetColors(runner, a, b);
        for (const std::string& space : spaces)
        {
            INFO("from " << ToRgba8(ToDouble(a)) << " to " << ToRgba8(ToDouble(b)) << " in " << space);
            runner.SetEnum("Color Space", space);
            CheckPicture(runner.Run(), Ramp(Steps(), space, a, b));
        }
    }
}

TEST_CASE("Color Ramp goes the short way round the hues")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", MakeFloatTexture({1, 1}, {{0.5f, 0, 0, 1}}));
    SetColors(runner, {1, 0, 0.6, 1}, {1, 0.6, 0, 1}); // hues 0.9 and 0.1 meet at 0, red, not at 0.5, cyan
    for (const char* const space : {"HSV", "HSL"})
    {
        INFO(space);
        runner.SetEnum("Color Space", space);
        CHECK(Near(At(runner.Run(), 0, 0), {255, 0, 0, 255}));
    }
}

TEST_CASE("Color Ramp takes its position from any channel")
{
    const Picture picture = RandomPicture({6, 5});
    OperatorRunner<ColorRamp> runner;
    runner.SetEnum("Color Space", "RGB");
    SetColors(runner, {0.1, 0.9, 0.2, 0.3}, {0.8, 0.4, 0.7, 1});
    runner.Connect("Texture Input", Upload(picture));
    const char* const channels[] = {"Red", "Green", "Blue", "Alpha"};
    for (int i = 0; i < 4; ++i)
    {
        INFO(channels[i]);
        runner.SetEnum("Channel", channels[i]);
        const auto shade = [&](glm::ivec2 pixel)
        { return glm::mix(glm::dvec4(0.1, 0.9, 0.2, 0.3), glm::dvec4(0.8, 0.4, 0.7, 1), picture.At(pixel)[i]); };
        CheckPicture(runner.Run(), Picture(picture.size, shade));
    }
}

TEST_CASE("Color Ramp by the alpha of an opaque texture is its second color everywhere")
{
    OperatorRunner<ColorRamp> runner;
    runner.SetEnum("Channel", "Alpha");
    SetColors(runner, {0, 0, 0, 1}, {0.2, 0.4, 0.6, 0.8});
    runner.Connect("Texture Input", Upload(RandomPicture({3, 3}), wgpu::TextureFormat::RG8Unorm));
    for (const std::string& space : spaces)
    {
        INFO(space);
        runner.SetEnum("Color Space", space);
        CheckPixels(runner.Run(), std::vector<Rgba8>(9, {51, 102, 0, 255})); // the output copies the two channels
    }
}

TEST_CASE("Color Ramp takes an unknown channel as red and an unknown space as OKLab")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Upload(Steps()));
    const Color a{0.9, 0.2, 0.1, 1};
    const Color b{0.1, 0.5, 1, 1};
    SetColors(runner, a, b);
    runner.SetEnum("Channel", "Depth");
    runner.SetEnum("Color Space", "CMYK");
    CheckPicture(runner.Run(), Ramp(Steps(), "OKLab", a, b));
}

TEST_CASE("Color Ramp goes on beyond its colors")
{
    // Binary fractions, which half floats hold.
    const Picture positions({3, 1}, [](glm::ivec2 pixel) { return glm::dvec4(pixel.x - 0.5, 0, 0, 1); });
    const Color a{0.2, 0.3, 0.25, 0.4};
    const Color b{0.4, 0.35, 0.5, 0.6};
    OperatorRunner<ColorRamp> runner;
    SetColors(runner, a, b);
    runner.Connect("Texture Input", Upload(positions, wgpu::TextureFormat::RGBA16Float));
    for (const std::string& space : spaces)
    {
        INFO(space);
        runner.SetEnum("Color Space", space);
        CheckPicture(runner.Run(), Ramp(positions, space, a, b));
    }
    runner.SetEnum("Color Space", "RGB");
    CheckPixels(runner.Run(), {{26, 70, 32, 77}, {77, 83, 96, 128}, {128, 96, 159, 179}});
}

TEST_CASE("Color Ramp in OKLab takes colors outside of 0 to 1 too")
{
    const std::pair<Color, Color> ramps[] = {{{0, -1, 0, 1}, {1, 1, 1, 1}}, {{-0.5, 2, 0, 1}, {0, -0.2, 1.5, 1}}};
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Upload(Steps()));
    for (const auto& [a, b] : ramps)
    {
        SetColors(runner, a, b);
        CheckPicture(runner.Run(), Ramp(Steps(), "OKLab", a, b));
    }
}

TEST_CASE("Color Ramp stretches its input to a size of its own with linear filtering and clamped edges")
{
    OperatorRunner<ColorRamp> runner;
    runner.SetSize({4, 1});
    runner.SetEnum("Color Space", "RGB");
    runner.Connect("Texture Input", MakeTexture({2, 1}, twoTexels));
    CheckPixels(runner.Run(), stretchedClamping);
}

TEST_CASE("Color Ramp writes the channels that its texture type has")
{
    const Picture picture = RandomPicture({5, 3});
    const Color a{0.9, 0.2, 0.1, 0.3};
    const Color b{0.1, 0.5, 1, 0.6};
    OperatorRunner<ColorRamp> runner;
    SetColors(runner, a, b);
    runner.Connect("Texture Input", Upload(picture));
    CheckTextureTypes(runner, Ramp(picture, "OKLab", a, b));
}

TEST_CASE("Color Ramp without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<ColorRamp> runner;
    CheckNeedsInput(runner, "Texture Input");
}

TEST_CASE("Color Ramp survives any number in any space")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input",
                   MakeFloatTexture({2, 2}, {{-2, 0, 0, 1}, {0, 0, 0, 1}, {0.5, 0, 0, 1}, {9, 0, 0, 1}}));
    for (const std::string& space : spaces)
    {
        INFO(space);
        runner.SetEnum("Color Space", space);
        CheckSurvivesOddNumbers(runner);
    }
}

TEST_CASE("Color Ramp builds pipelines for texture types only and makes nothing in the steady state")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Upload(Steps()));
    CheckSteadyState(runner, [&](int i) { runner.SetEnum("Color Space", spaces[std::size_t(i) % 4]); });
    CheckPipelines(runner, [&] { runner.SetEnum("Channel", "Blue"); });
}

TEST_CASE("Color Ramp publishes a fresh texture on every execution")
{
    OperatorRunner<ColorRamp> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {100, 0, 0, 255}));
    CheckFreshOutput(runner, [&] { runner.SetColor("Color A", {1, 0, 0, 1}); });
}
