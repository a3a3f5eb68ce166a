#include "texture/Noise.h"
#include "support/ReferenceNoise.h"
#include "support/TextureChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Settings
{
    glm::mat4 transform{1.0f};
    glm::dvec3 position{0.0};
    double scale = 1.0;
    double offset = 0.5;
    double amplitude = 0.5;
    double rotation = 0.0;
    glm::dvec3 repetition{0.0};
};

void Apply(const Settings& settings, OperatorRunner<Noise>& runner)
{
    runner.SetTransform("Transform", settings.transform);
    runner.Parameter<Vector3Parameter>("Position").SetValue(settings.position);
    runner.SetFloat("Scale", settings.scale);
    runner.SetFloat("Offset", settings.offset);
    runner.SetFloat("Amplitude", settings.amplitude);
    runner.SetFloat("Noise Rotation", settings.rotation);
    runner.Parameter<Vector3Parameter>("Repetition").SetValue(settings.repetition);
}

// The pixel's centre in clip space: -1..1 on both axes, y up.
glm::dvec3 PlaceOf(glm::ivec2 pixel, glm::ivec2 size)
{
    const glm::dvec2 uv = CenterOf(pixel, size);
    return {2.0 * uv.x - 1.0, 1.0 - 2.0 * uv.y, 0.0};
}

Picture Expected(const Settings& settings, glm::ivec2 size)
{
    const glm::dmat4 inverse = glm::inverse(glm::dmat4(settings.transform));
    return {size, [&](glm::ivec2 pixel)
            {
                const glm::dvec3 moved = (PlaceOf(pixel, size) - settings.position) / settings.scale;
                const glm::dvec3 x(inverse * glm::dvec4(moved, 1.0));
                const double noise = ReferenceNoise(x, settings.repetition, settings.rotation).noise;
                return glm::dvec4(glm::dvec3(noise * settings.amplitude + settings.offset), 1.0);
            }};
}

void CheckNoise(const Settings& settings, glm::ivec2 size = {16, 16})
{
    OperatorRunner<Noise> runner;
    runner.SetSize(size);
    Apply(settings, runner);
    CheckPicture(runner.Run(), Expected(settings, size));
}

const glm::mat4 tipped = glm::rotate(glm::mat4(1.0f), 0.7f, glm::vec3(1.0f, 2.0f, 3.0f));

} // namespace

TEST_CASE("Noise has no inputs and starts as a still gray slice through the origin, 1024 by 1024")
{
    OperatorRunner<Noise> runner;
    CHECK(runner.Get().GetInputs().empty());
    REQUIRE(runner.Get().GetOutputs().size() == 1);
    CHECK(runner.Get().GetOutputs()[0]->GetName() == "Texture Output");
    Lines names;
    for (const Parameter* const parameter : runner.Get().GetParameters())
        names.push_back(parameter->GetName());
    CHECK(names == Lines{"Texture Type", "Texture Size", "Transform", "Position", "Scale", "Offset", "Amplitude",
                         "Noise Rotation", "Repetition"});

    CHECK(runner.Parameter<Vector2IntParameter>("Texture Size").Value() == glm::ivec2(1024, 1024));
    CHECK(runner.Parameter<EnumParameter>("Texture Type").Value() == "RGBA8Unorm");
    CHECK(runner.Parameter<Transform3DParameter>("Transform").Value() == glm::mat4(1.0f));
    CHECK(runner.Parameter<Vector3Parameter>("Position").Value() == glm::dvec3(0.0));
    CHECK(runner.Parameter<FloatParameter>("Scale").Value() == 1.0);
    CHECK(runner.Parameter<FloatParameter>("Offset").Value() == 0.5);
    CHECK(runner.Parameter<FloatParameter>("Amplitude").Value() == 0.5);
    CHECK(runner.Parameter<FloatParameter>("Noise Rotation").Value() == 0.0);
    CHECK(runner.Parameter<Vector3Parameter>("Repetition").Value() == glm::dvec3(0.0));
}

TEST_CASE("Noise is gray around a half, mostly between a quarter and three quarters")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({64, 64});
    runner.SetFloat("Scale", 0.1);
    const Image image = runner.Run();
    int inside = 0;
    double sum = 0.0;
    for (int i = 0; i < 64 * 64; ++i)
    {
        const Rgba8 pixel = At(image, i % 64, i / 64);
        CHECK((pixel.r == pixel.g && pixel.g == pixel.b && pixel.a == 255));
        inside += pixel.r >= 64 && pixel.r <= 191;
        sum += pixel.r;
    }
    CHECK(inside > 64 * 64 * 3 / 4);
    CHECK(sum / (64 * 64) == Approx(127.5).margin(8));
    CheckNoise({.scale = 0.1}, {64, 64});
}

TEST_CASE("Noise is the exact one within a level up to an amplitude of 1 and 1,000 units from the origin of the field")
{
    for (const double sign : {1.0, -1.0})
    {
        CheckNoise({.position = {3.0, 0.0, 0.0}, .scale = 0.004, .amplitude = sign}, {64, 64});
        CheckNoise({.position = {1.0, -2.0, 1.0}, .scale = 0.003, .amplitude = sign, .rotation = 1.0}, {64, 64});
    }
}

TEST_CASE("Noise shows exactly the offset at the origin of the field")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({5, 5});
    for (const double offset : {0.0, 0.2, 0.8, 1.0})
    {
        runner.SetFloat("Offset", offset);
        runner.SetFloat("Noise Rotation", offset);
        const auto level = std::uint8_t(std::lround(255 * offset));
        CHECK(At(runner.Run(), 2, 2) == Rgba8{level, level, level, 255});
    }
    runner.Parameter<Vector3Parameter>("Position").SetValue({0.4, -0.8, 0.0}); // one pixel right, two down
    CHECK(At(runner.Run(), 3, 4) == Rgba8{255, 255, 255, 255});
}

TEST_CASE("Each parameter of Noise does what it says")
{
    CheckNoise({});
    CheckNoise({.position = {0.3, -0.6, 0.0}});
    CheckNoise({.position = {0.0, 0.0, 0.37}});
    CheckNoise({.scale = 0.25});
    CheckNoise({.scale = 3.0});
    CheckNoise({.scale = -0.5});
    CheckNoise({.scale = 0.25, .offset = 0.7});
    CheckNoise({.scale = 0.25, .amplitude = 0.2});
    CheckNoise({.scale = 0.25, .amplitude = -0.5});
    CheckNoise({.scale = 0.25, .offset = 0.3, .amplitude = 0.0});
    CheckNoise({.scale = 0.25, .rotation = 1.2});
    CheckNoise({.scale = 0.25, .rotation = -4.0});
    CheckNoise({.position = {0.1, 0.2, 0.3}, .scale = 0.2, .repetition = {3, 2, 1}});
    CheckNoise({.position = {0.1, 0.2, 0.3}, .scale = 0.2, .rotation = 0.5, .repetition = {0, 4, -1}});
    CheckNoise({.transform = tipped, .scale = 0.25});
}

TEST_CASE("Noise cuts off what leaves black to white")
{
    const Settings settings{.scale = 0.25, .offset = 0.4, .amplitude = 2.0};
    const Picture expected = Expected(settings, {16, 16});
    int black = 0;
    int white = 0;
    for (const glm::dvec4& color : expected.pixels)
    {
        black += color.r < 0.0;
        white += color.r > 1.0;
    }
    CHECK(black > 10);
    CHECK(white > 10);
    OperatorRunner<Noise> runner;
    runner.SetSize({16, 16});
    Apply(settings, runner);
    CheckPicture(runner.Run(), expected);
}

TEST_CASE("Noise applies its transform first, then the scale, then the position")
{
    const glm::mat4 moved = glm::translate(glm::mat4(1.0f), glm::vec3(0.5f, -0.25f, 0.75f));
    const glm::mat4 stretched = glm::scale(moved * tipped, glm::vec3(1.5f, 0.5f, 2.0f));
    CheckNoise({.transform = stretched, .position = {0.4, 0.9, -0.3}, .scale = 0.3});

    // A transform moves in units that the scale has shrunk to a half.
    OperatorRunner<Noise> runner;
    runner.SetSize({16, 16});
    Apply({.transform = glm::translate(glm::mat4(1.0f), glm::vec3(0.8f, 0.4f, 1.0f)), .scale = 0.5}, runner);
    CheckPicture(runner.Run(), Expected({.position = {0.4, 0.2, 0.5}, .scale = 0.5}, {16, 16}));
}

TEST_CASE("Noise is stretched with a picture that is not square")
{
    CheckNoise({.scale = 0.4}, {31, 7});
    CheckNoise({.scale = 0.4, .rotation = 1.0}, {3, 24});
    CheckNoise({.position = {0.2, 0.1, 0.0}}, {1, 1});
}

TEST_CASE("Noise writes the channels that its texture type has")
{
    OperatorRunner<Noise> runner;
    runner.SetFloat("Scale", 0.25);
    CheckTextureTypes(runner, Expected({.scale = 0.25}, {12, 9}));
}

TEST_CASE("Noise with a repetition as wide as the picture continues at the opposite edges")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({64, 64});
    // The largest step between the last column and the first, and the last row and the first.
    const auto seams = [&](const Settings& settings)
    {
        Apply(settings, runner);
        const Image image = runner.Run();
        int across = 0;
        int down = 0;
        for (int i = 0; i < 64; ++i)
        {
            across = std::max(across, std::abs(At(image, 63, i).r - At(image, 0, i).r));
            down = std::max(down, std::abs(At(image, i, 63).r - At(image, i, 0).r));
        }
        return glm::ivec2(across, down);
    };
    // The largest gradient is some 5 per unit: half of that in gray, over 1/32 of a unit, is 20 levels.
    const glm::dvec3 place(0.1, 0.2, 0.3);
    const glm::ivec2 both = seams({.position = place, .repetition = {2, 2, 0}});
    CHECK(both.x <= 20);
    CHECK(both.y <= 20);
    const glm::ivec2 none = seams({.position = place});
    CHECK(none.x > 40);
    CHECK(none.y > 40);
    const glm::ivec2 onlyX = seams({.position = place, .repetition = {2, 0, 0}});
    CHECK(onlyX.x <= 20);
    CHECK(onlyX.y > 40);

    // One period on, the picture is the same: at a scale of a quarter it spans 8 units of the field.
    const auto shot = [&](const glm::dvec3& position)
    {
        Apply({.position = position, .scale = 0.25, .repetition = {8, 8, 3}}, runner);
        return ToPicture(runner.Run());
    };
    const Picture first = shot({0, 0, 0});
    for (const glm::dvec3 step : {glm::dvec3(2, 0, 0), {0, -2, 0}, {0, 0, 0.75}, {4, 2, -1.5}})
    {
        Apply({.position = step, .scale = 0.25, .repetition = {8, 8, 3}}, runner);
        CheckPicture(runner.Run(), first);
    }
}

TEST_CASE("Noise builds a pipeline for a new texture type, not for a new size or other numbers")
{
    OperatorRunner<Noise> runner;
    CheckPipelines(runner, [&] { Apply({.position = {1, 2, 3}, .rotation = 1.0, .repetition = {2, 2, 2}}, runner); });
}

TEST_CASE("Noise draws once each time it runs, and runs only when something changed")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({8, 8});
    runner.Execute();
    const GpuCounters before = Graphics::GetCounters();
    runner.Execute();
    CHECK(Graphics::GetCounters().renderPasses == before.renderPasses);
    runner.SetFloat("Amplitude", 0.3);
    runner.Execute();
    CHECK(Graphics::GetCounters().renderPasses == before.renderPasses + 1);
    CHECK(Graphics::GetCounters().draws == before.draws + 1);
}

TEST_CASE("Noise publishes a fresh texture on every execution")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({4, 4});
    CheckFreshOutput(runner, [&] { runner.SetFloat("Offset", 0.9); });
}

TEST_CASE("Animated Noise in the steady state creates nothing on the GPU")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({16, 16});
    CheckSteadyState(
        runner,
        [&](int step) {
            Apply({.position = {0, 0, 0.1 * step}, .rotation = 0.2 * step, .repetition = glm::dvec3(step % 3)}, runner);
        });
}

TEST_CASE("All Noise operators draw with one pipeline and one compilation of the shader")
{
    OperatorRunner<Noise> first;
    first.SetSize({4, 4});
    first.Execute();
    const GpuCounters before = Graphics::GetCounters();
    OperatorRunner<Noise> second;
    second.SetSize({4, 4});
    second.SetFloat("Offset", 0.0);
    second.SetFloat("Amplitude", 0.0);
    CHECK(At(second.Run(), 1, 1) == Rgba8{0, 0, 0, 255});
    CHECK(Graphics::GetCounters().shadersCompiled == before.shadersCompiled);
    CHECK(Graphics::GetCounters().pipelinesCreated == before.pipelinesCreated);
    // Its own numbers are its own.
    CheckPicture(ReadBack(first.Output()), Expected({}, {4, 4}));
}

TEST_CASE("Noise without an inverse or with odd numbers goes on, and shows the next good numbers right")
{
    OperatorRunner<Noise> runner;
    runner.SetSize({8, 8});
    CheckSurvivesOddNumbers(runner);

    Apply({.scale = 0.0}, runner);
    CHECK(runner.Run().IsValid());
    Apply({.transform = glm::mat4(0.0f), .repetition = glm::dvec3(NAN)}, runner);
    CHECK(runner.Run().IsValid());
    Apply({.position = glm::dvec3(INFINITY), .rotation = NAN, .repetition = glm::dvec3(INFINITY)}, runner);
    CHECK(runner.Run().IsValid());
    CHECK_FALSE(Graphics::IsLost());

    const Settings good{.position = {0.1, 0.2, 0.3}, .scale = 0.3, .rotation = 0.4};
    Apply(good, runner);
    CheckPicture(runner.Run(), Expected(good, {8, 8}));
}
