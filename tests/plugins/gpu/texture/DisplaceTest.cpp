#include "texture/Displace.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::vector<Rgba8> ramp = Grays({0, 50, 100, 150, 200}); // a fifth of the texture wide each

// Shifts a picture by the same color everywhere.
struct Shift : OperatorRunner<Displace>
{
    Shift(glm::ivec2 size, const std::vector<Rgba8>& pixels, Rgba8 shift)
    {
        SetVector2("Mid Point", {0, 0});
        Connect("Texture Input", MakeTexture(size, pixels));
        Connect("Displace Input", Filled({2, 2}, shift));
    }
    Shift() : Shift({5, 1}, ramp, {51, 0, 0, 255}) {} // a fifth across
};

} // namespace

TEST_CASE("Displace has its inputs and parameters in their order, with their defaults")
{
    OperatorRunner<Displace> runner;
    CHECK(Displace::Type()->GetId() == "Varkle.Texture.Displace");
    CHECK(DescribePorts(runner.Get()) ==
          Lines{"Texture Input: takes Texture", "Displace Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input A", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Displace Channels: String = RGBA", "Strength: Float = 1",
                "Mid Point: Vector 2 = 0.5 0.5"});
    CHECK(runner.Parameter<StringParameter>("Displace Channels").GetEditorType() ==
          StringParameter::EditorType::Swizzle);
}

TEST_CASE("Displace fetches from further right by red and from further down by green")
{
    SECTION("across")
    {
        Shift shift({5, 1}, ramp, {51, 0, 0, 255});
        CheckPixels(shift.Run(), Grays({50, 100, 150, 200, 0}));
    }
    SECTION("down")
    {
        Shift shift({1, 5}, ramp, {0, 51, 0, 255});
        CheckPixels(shift.Run(), Grays({50, 100, 150, 200, 0}));
    }
    SECTION("blue and alpha don't count")
    {
        Shift shift({5, 1}, ramp, {102, 0, 255, 3});
        CheckPixels(shift.Run(), Grays({100, 150, 200, 0, 50}));
    }
    SECTION("both")
    {
        Shift shift({2, 2}, Grays({0, 50, 100, 150}), {128, 128, 0, 255});
        CheckPixels(shift.Run(), Grays({150, 100, 50, 0}), 2); // 128 is a bit more than a half
    }
}

TEST_CASE("Displace shifts by the difference to the mid point, also backwards and around the edge")
{
    Shift shift; // by 0.2
    shift.SetVector2("Mid Point", {0.4, 0});
    CheckPixels(shift.Run(), Grays({200, 0, 50, 100, 150}));
    shift.SetVector2("Mid Point", {0.2, 0});
    CheckPixels(shift.Run(), ramp);
    shift.SetVector2("Mid Point", {-0.8, 0}); // once around
    CheckPixels(shift.Run(), ramp);
    shift.SetVector2("Mid Point", {5.6, -3}); // 5.4 times to the left, three times down
    CheckPixels(shift.Run(), Grays({150, 200, 0, 50, 100}));
}

TEST_CASE("Displace multiplies the shift by its strength")
{
    Shift shift; // by 0.2
    shift.SetFloat("Strength", 2);
    CheckPixels(shift.Run(), Grays({100, 150, 200, 0, 50}));
    shift.SetFloat("Strength", -1);
    CheckPixels(shift.Run(), Grays({200, 0, 50, 100, 150}));
    shift.SetFloat("Strength", 0.5); // half a pixel: linear filtering takes the mean
    CheckPixels(shift.Run(), Grays({25, 75, 125, 175, 100}));
    shift.SetFloat("Strength", 0);
    CheckPixels(shift.Run(), ramp);
}

TEST_CASE("Displace with its defaults shifts by half the texture at most")
{
    OperatorRunner<Displace> runner;
    runner.Connect("Texture Input", MakeTexture({4, 1}, Grays({0, 50, 100, 150})));
    runner.Connect("Displace Input", Filled({1, 1}, {255, 0, 0, 255}));
    CheckPixels(runner.Run(), Grays({100, 150, 0, 50}));
    runner.Connect("Displace Input", Filled({1, 1}, {0, 255, 0, 255}));
    CheckPixels(runner.Run(), Grays({100, 150, 0, 50}));
    runner.Connect("Displace Input", MakeFloatTexture({1, 1}, {{0.5f, 0.5f, 1, 1}}));
    CheckPixels(runner.Run(), Grays({0, 50, 100, 150}));
}

TEST_CASE("Displace shifts all four channels alike")
{
    Shift shift({2, 1}, {{10, 20, 30, 40}, {200, 150, 100, 50}}, {0, 0, 0, 255});
    shift.SetVector2("Mid Point", {-0.5, 0});
    CheckPixels(shift.Run(), {{200, 150, 100, 50}, {10, 20, 30, 40}});
}

TEST_CASE("Displace takes its shift from the channels that its letters name")
{
    const struct
    {
        const char* channels;
        double across;
        double down;
    } rows[] = {
        // Missing letters and those that are none read 0.
        {"RGBA", 0.2, 0.4}, {"GR00", 0.4, 0.2}, {"BA", 0.6, 0.8}, {"ab", 0.8, 0.6}, {"00", 0, 0},
        {"11", 1, 1},       {"R", 0.2, 0},      {"", 0, 0},       {"?G", 0, 0.4},   {"RGBARG", 0.2, 0.4},
    };
    const glm::ivec2 size{5, 5};
    const Picture picture = RandomPicture(size);
    OperatorRunner<Displace> runner;
    runner.SetVector2("Mid Point", {0, 0});
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("Displace Input", Filled({1, 1}, {51, 102, 153, 204}));
    for (const auto& row : rows)
    {
        INFO('"' << row.channels << '"');
        runner.SetString("Displace Channels", row.channels);
        const glm::dvec2 shift{row.across, row.down};
        CheckPicture(runner.Run(),
                     {size, [&](glm::ivec2 pixel)
                      { return Sample(picture, CenterOf(pixel, size) + shift, Edge::Repeat, Edge::Repeat); }},
                     3); // weights of 1/256 between texels on both axes, and rounding
    }
}

TEST_CASE("Displace shifts every pixel by its own color")
{
    const glm::ivec2 size{8, 6};
    // Rises and falls by 32 levels from texel to texel, without a jump where it wraps around.
    const Picture picture({8, 8}, [](glm::ivec2 p)
                          { return glm::dvec4(std::abs(4 - p.x), std::abs(4 - p.y), std::abs(2 - p.x / 2), 8) / 8.0; });
    const Picture shifts = RandomPicture(size);
    const glm::dvec2 midPoint{0.3, 0.8};
    OperatorRunner<Displace> runner;
    runner.SetVector2("Mid Point", midPoint);
    runner.SetFloat("Strength", -1.75);
    runner.SetSize(size);
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("Displace Input", Upload(shifts));
    const Picture expected(size,
                           [&](glm::ivec2 pixel)
                           {
                               const glm::dvec2 shift = -1.75 * (glm::dvec2(shifts.At(pixel)) - midPoint);
                               return Sample(picture, CenterOf(pixel, size) + shift, Edge::Repeat, Edge::Repeat);
                           });
    // Between the texels of the shifts a filter weighs by 1/256, which is up to a level of these: a shift of 0.007, or
    // 2 levels of the picture.
    CheckPicture(runner.Run(), expected, 3);
}

TEST_CASE("Displace stretches its input and wraps around at its edges")
{
    OperatorRunner<Displace> runner;
    runner.SetFloat("Strength", 0);
    runner.SetSize({4, 1});
    runner.Connect("Texture Input", MakeTexture({2, 1}, twoTexels));
    runner.Connect("Displace Input", Filled({3, 3}, {7, 77, 177, 255}));
    CheckPixels(runner.Run(), stretchedRepeating);
    runner.SetSize({1, 4});
    runner.Connect("Texture Input", MakeTexture({1, 2}, twoTexels));
    CheckPixels(runner.Run(), stretchedRepeating);
}

TEST_CASE("Displace stretches the displace input and wraps around at its edges")
{
    // The shifts 0 and 0.8 become 0.2, 0.2, 0.6 and 0.6 at 1/8, 3/8, 5/8 and 7/8: centers of texels 6, 11, 4 and 9.
    const std::vector<Rgba8> steps =
        Grays({0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150, 160, 170, 180, 190});
    const std::vector<Rgba8> shifts = {{0, 0, 0, 255}, {204, 0, 0, 255}};
    OperatorRunner<Displace> runner;
    runner.SetVector2("Mid Point", {0, 0});
    runner.SetSize({4, 1});
    runner.Connect("Texture Input", MakeTexture({20, 1}, steps));
    runner.Connect("Displace Input", MakeTexture({2, 1}, shifts));
    CheckPixels(runner.Run(), Grays({60, 110, 40, 90}));
    runner.SetString("Displace Channels", "GRBA"); // through a swizzle, and downwards
    runner.SetSize({1, 4});
    runner.Connect("Texture Input", MakeTexture({1, 20}, steps));
    runner.Connect("Displace Input", MakeTexture({1, 2}, shifts));
    CheckPixels(runner.Run(), Grays({60, 110, 40, 90}));
}

TEST_CASE("Displace without one of its inputs draws nothing and keeps what it published")
{
    for (const char* const missing : {"Texture Input", "Displace Input"})
    {
        INFO(missing);
        OperatorRunner<Displace> runner;
        const bool first = std::string_view(missing) == "Texture Input";
        runner.Connect(first ? "Displace Input" : "Texture Input", Filled({2, 2}, {200, 0, 0, 255}));
        CheckNeedsInput(runner, missing);
    }
}

TEST_CASE("Displace survives numbers that no shift makes sense of")
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    Shift shift;
    CheckSurvivesOddNumbers(shift);
    const std::uint64_t errors = Graphics::GetCounters().errors;
    for (const double number : {1e30, infinity, -infinity, nan})
    {
        shift.SetVector2("Mid Point", {number, -number});
        CHECK(shift.Run().IsValid());
    }
    CHECK(Graphics::GetCounters().errors == errors);
    shift.SetVector2("Mid Point", {0, 0}); // nothing is left of them
    CheckPixels(shift.Run(), Grays({50, 100, 150, 200, 0}));
}

TEST_CASE("Displace keeps pictures the right way up at odd sizes")
{
    const Picture picture = RandomPicture({3, 5});
    OperatorRunner<Displace> runner;
    runner.SetFloat("Strength", 0);
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("Displace Input", Filled({7, 2}, {1, 2, 3, 4}));
    CheckPicture(runner.Run(), picture);
}

TEST_CASE("Displace writes the channels that its texture type has, in the size that is asked for")
{
    Shift shift({1, 1}, {{200, 100, 50, 150}}, {51, 0, 0, 255});
    CheckTextureTypes(shift, {200, 100, 50, 150});
}

TEST_CASE("Displace follows the input that is chosen and no other")
{
    OperatorRunner<Displace> runner;
    CheckFollowedInputs(runner, {"Texture Input", "Displace Input"});
}

TEST_CASE("Displace builds a pipeline for a new texture type, not for a new size, strength or swizzle")
{
    Shift shift;
    shift.SetString("Displace Channels", "BGRA"); // the first swizzled view has a pipeline of its own
    CheckPipelines(shift,
                   [&]
                   {
                       shift.SetFloat("Strength", 0.1);
                       shift.SetVector2("Mid Point", {0.2, 0.1});
                       shift.SetString("Displace Channels", "GRBA");
                   });
}

TEST_CASE("Displace publishes a fresh texture on every execution")
{
    Shift shift;
    CheckFreshOutput(shift, [&] { shift.SetFloat("Strength", 2); });
}

TEST_CASE("Displace in the steady state creates nothing")
{
    Shift shift;
    SECTION("plain") {}
    SECTION("with a swizzle")
    {
        shift.SetString("Displace Channels", "GR00");
    }
    CheckSteadyState(shift, [&](int step) { shift.SetFloat("Strength", 0.1 * (step + 1)); });
}
