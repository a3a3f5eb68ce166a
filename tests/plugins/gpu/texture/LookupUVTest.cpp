#include "texture/LookupUV.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::vector<Rgba8> ramp = Grays({0, 50, 100, 150}); // texel centers at 1/8, 3/8, 5/8 and 7/8

// Reads a picture at one place and shows it in one pixel.
struct Lookup : OperatorRunner<LookupUV>
{
    Lookup(glm::ivec2 size, const std::vector<Rgba8>& pixels)
    {
        Connect("Texture Input", MakeTexture(size, pixels));
        SetSize({1, 1});
    }
    Lookup() : Lookup({4, 1}, ramp) { Connect("UV Input", Filled({1, 1}, {64, 0, 0, 255})); }

    Rgba8 ResultAt(float u, float v)
    {
        Connect("UV Input", MakeFloatTexture({1, 1}, {{u, v, 0.3f, 0.9f}}));
        return At(Run(), 0, 0);
    }
};

} // namespace

TEST_CASE("Lookup UV has its inputs and parameters in their order, with their defaults")
{
    OperatorRunner<LookupUV> runner;
    CHECK(LookupUV::Type()->GetId() == "Varkle.Texture.LookupUV");
    CHECK(DescribePorts(runner.Get()) ==
          Lines{"Texture Input: takes Texture", "UV Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input A", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "UV Channels: String = RGBA"});
    CHECK(runner.Parameter<StringParameter>("UV Channels").GetEditorType() == StringParameter::EditorType::Swizzle);
}

TEST_CASE("Lookup UV reads across by red and down by green, between texels with linear filtering")
{
    Lookup across({4, 1}, ramp);
    CHECK(Near(across.ResultAt(0.125f, 0.5f), ramp[0]));
    CHECK(Near(across.ResultAt(0.875f, 0.5f), ramp[3]));
    CHECK(Near(across.ResultAt(0.5f, 0.5f), Gray(75)));
    CHECK(Near(across.ResultAt(0.6875f, 0.5f), Gray(113))); // a quarter of a texel past 100
    Lookup down({1, 4}, ramp);
    CHECK(Near(down.ResultAt(0.5f, 0.125f), ramp[0]));
    CHECK(Near(down.ResultAt(0.5f, 0.625f), ramp[2]));
    CHECK(Near(down.ResultAt(0.5f, 0.75f), Gray(125)));
}

TEST_CASE("Lookup UV takes all four channels from the place that it reads")
{
    Lookup lookup({2, 1}, {{10, 20, 30, 40}, {200, 150, 100, 50}});
    CHECK(Near(lookup.ResultAt(0.25f, 0), {10, 20, 30, 40}));
    CHECK(Near(lookup.ResultAt(0.75f, 0), {200, 150, 100, 50}));
}

TEST_CASE("Lookup UV wraps around outside of 0 to 1")
{
    Lookup across({4, 1}, ramp);
    for (const float u : {0.375f, 1.375f, 3.375f, -0.625f, -2.625f})
    {
        INFO(u);
        CHECK(Near(across.ResultAt(u, 0.5f), ramp[1]));
    }
    CHECK(Near(across.ResultAt(1.25f, 0.5f), Gray(25))); // as at 0.25
    CHECK(Near(across.ResultAt(0, 0.5f), Gray(75)));     // between the last and the first
    CHECK(Near(across.ResultAt(1, 0.5f), Gray(75)));
    Lookup down({1, 4}, ramp);
    CHECK(Near(down.ResultAt(0.5f, 5.375f), ramp[1]));
    CHECK(Near(down.ResultAt(0.5f, -0.125f), ramp[3]));
    CHECK(Near(down.ResultAt(0.5f, 1), Gray(75)));
}

TEST_CASE("Lookup UV reproduces a picture at its own coordinates and transposes it with red and green swapped")
{
    const glm::ivec2 size{4, 2};
    const Picture picture = RandomPicture(size);
    const Picture coordinates(size, [&](glm::ivec2 p) { return glm::dvec4(CenterOf(p, size), 0, 1); });
    OperatorRunner<LookupUV> runner;
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("UV Input", Upload(coordinates, wgpu::TextureFormat::RGBA16Float));
    CheckPicture(runner.Run(), picture);

    const glm::ivec2 transposed{2, 4};
    const Picture swapped(transposed, [&](glm::ivec2 p) { return glm::dvec4(CenterOf(p, transposed), 0, 1); });
    runner.Connect("UV Input", Upload(swapped, wgpu::TextureFormat::RGBA16Float));
    runner.SetString("UV Channels", "GRBA");
    runner.SetEnum("Output Format", "Copy Input B");
    runner.Execute();
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm); // floats are not offered
    CheckPicture(runner.Run(), {transposed, [&](glm::ivec2 p) { return picture.At({p.y, p.x}); }});
}

TEST_CASE("Lookup UV reads one of 256 places by an 8-bit channel")
{
    // Level n of 255 lies between the texels n - 1 and n.
    const Picture levels({255, 1}, [](glm::ivec2 p) { return ToUnit(Gray(p.x)); });
    OperatorRunner<LookupUV> runner;
    runner.SetSize({1, 1});
    runner.Connect("Texture Input", Upload(levels));
    for (const int level : {1, 2, 100, 101, 254})
    {
        runner.Connect("UV Input", Filled({1, 1}, {std::uint8_t(level), 0, 0, 255}));
        CHECK(Near(At(runner.Run(), 0, 0), Gray(level)));
    }
}

TEST_CASE("Lookup UV takes the coordinates from the channels that its letters name")
{
    const struct
    {
        const char* channels;
        double u;
        double v;
    } rows[] = {
        // Missing letters and those that are none read 0.
        {"RGBA", 0.2, 0.4}, {"GRBA", 0.4, 0.2}, {"BA", 0.6, 0.8}, {"ab", 0.8, 0.6}, {"00", 0, 0},
        {"11", 1, 1},       {"R", 0.2, 0},      {"", 0, 0},       {"?G", 0, 0.4},   {"RGBARG", 0.2, 0.4},
    };
    const Picture picture = RandomPicture({5, 3});
    OperatorRunner<LookupUV> runner;
    runner.SetSize({1, 1});
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("UV Input", Filled({1, 1}, {51, 102, 153, 204}));
    for (const auto& row : rows)
    {
        INFO('"' << row.channels << '"');
        runner.SetString("UV Channels", row.channels);
        const glm::dvec4 expected = Sample(picture, {row.u, row.v}, Edge::Repeat, Edge::Repeat);
        CheckPicture(runner.Run(), {{1, 1}, [&](glm::ivec2) { return expected; }},
                     3); // weights of 1/256 between texels on both axes, and rounding
    }
}

TEST_CASE("Lookup UV reads every pixel at its own coordinates")
{
    const glm::ivec2 size{7, 5};
    // Rises and falls by 32 levels from texel to texel, without a jump where it wraps around.
    const Picture picture({8, 8}, [](glm::ivec2 p)
                          { return glm::dvec4(std::abs(4 - p.x), std::abs(4 - p.y), std::abs(2 - p.x / 2), 8) / 8.0; });
    const Picture places = RandomPicture(size);
    OperatorRunner<LookupUV> runner;
    runner.SetEnum("Output Format", "Copy Input B");
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("UV Input", Upload(places));
    const Picture expected(size, [&](glm::ivec2 pixel)
                           { return Sample(picture, glm::dvec2(places.At(pixel)), Edge::Repeat, Edge::Repeat); });
    // Between the texels of the places a filter weighs by 1/256, which is up to a level of these: 0.004 of the picture,
    // or a level of it.
    CheckPicture(runner.Run(), expected, 2);
}

TEST_CASE("Lookup UV wraps around at the edges of a stretched UV input")
{
    // The places 0 and 0.8 become 0.2, 0.2, 0.6 and 0.6: between the texels of ten.
    const std::vector<Rgba8> steps = Grays({0, 20, 40, 60, 80, 100, 120, 140, 160, 180});
    const std::vector<Rgba8> places = {{0, 0, 0, 255}, {204, 0, 0, 255}};
    OperatorRunner<LookupUV> runner;
    runner.SetSize({4, 1});
    runner.Connect("Texture Input", MakeTexture({10, 1}, steps));
    runner.Connect("UV Input", MakeTexture({2, 1}, places));
    CheckPixels(runner.Run(), Grays({30, 30, 110, 110}));
    runner.SetString("UV Channels", "GRBA"); // through a swizzle, and downwards
    runner.SetSize({1, 4});
    runner.Connect("Texture Input", MakeTexture({1, 10}, steps));
    runner.Connect("UV Input", MakeTexture({1, 2}, places));
    CheckPixels(runner.Run(), Grays({30, 30, 110, 110}));
}

TEST_CASE("Lookup UV without one of its inputs draws nothing and keeps what it published")
{
    for (const char* const missing : {"Texture Input", "UV Input"})
    {
        INFO(missing);
        OperatorRunner<LookupUV> runner;
        const bool first = std::string_view(missing) == "Texture Input";
        runner.Connect(first ? "UV Input" : "Texture Input", Filled({2, 2}, {200, 0, 0, 255}));
        CheckNeedsInput(runner, missing);
    }
}

TEST_CASE("Lookup UV survives coordinates that are no place")
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    Lookup lookup;
    const std::uint64_t errors = Graphics::GetCounters().errors;
    for (const float number : {60000.0f, infinity, -infinity, std::numeric_limits<float>::quiet_NaN()})
        lookup.ResultAt(number, -number);
    CHECK(Graphics::GetCounters().errors == errors);
    CHECK_FALSE(Graphics::IsLost());
    CHECK(Near(lookup.ResultAt(0.375f, 0.5f), ramp[1]));
}

TEST_CASE("Lookup UV writes the channels that its texture type has, in the size that is asked for")
{
    OperatorRunner<LookupUV> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {200, 100, 50, 150}));
    runner.Connect("UV Input", Filled({2, 2}, {51, 0, 0, 255}));
    CheckTextureTypes(runner, {200, 100, 50, 150});
}

TEST_CASE("Lookup UV follows the input that is chosen and no other")
{
    OperatorRunner<LookupUV> runner;
    CheckFollowedInputs(runner, {"Texture Input", "UV Input"});
}

TEST_CASE("Lookup UV builds a pipeline for a new texture type, not for a new size or swizzle")
{
    Lookup lookup;
    lookup.SetString("UV Channels", "BGRA"); // the first swizzled view has a pipeline of its own
    CheckPipelines(lookup, [&] { lookup.SetString("UV Channels", "GRBA"); });
}

TEST_CASE("Lookup UV publishes a fresh texture on every execution")
{
    Lookup lookup;
    CheckFreshOutput(lookup, [&] { lookup.Connect("UV Input", Filled({1, 1}, {200, 0, 0, 255})); });
}

TEST_CASE("Lookup UV in the steady state creates nothing")
{
    Lookup lookup;
    const Texture places[] = {Filled({1, 1}, {64, 0, 0, 255}), Filled({1, 1}, {200, 0, 0, 255})};
    SECTION("plain") {}
    SECTION("with a swizzle")
    {
        lookup.SetString("UV Channels", "GR00");
    }
    CheckSteadyState(lookup, [&](int step) { lookup.Connect("UV Input", places[step % 2]); });
}
