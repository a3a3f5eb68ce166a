#include "texture/SineWave.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"

#include <glm/gtc/constants.hpp>
#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Wave
{
    std::string shape = "Flat";
    double offset = 0.5;
    double amplitude = 0.5;
    double frequency = 5.0;
    double phase = 0.0;
    bool alpha = false;
    glm::mat4 transform{1.0f};
};

std::ostream& operator<<(std::ostream& stream, const Wave& wave)
{
    return stream << wave.shape << ", offset " << wave.offset << ", amplitude " << wave.amplitude << ", frequency "
                  << wave.frequency << ", phase " << wave.phase << (wave.alpha ? ", alpha" : "");
}

void Set(OperatorRunner<SineWave>& runner, const Wave& wave)
{
    runner.SetEnum("Shape", wave.shape);
    runner.SetFloat("Offset", wave.offset);
    runner.SetFloat("Amplitude", wave.amplitude);
    runner.SetFloat("Frequency", wave.frequency);
    runner.SetFloat("Phase", wave.phase);
    runner.SetBool("Alpha", wave.alpha);
    runner.SetTransform("Transform", wave.transform);
}

// The width spans -pi to pi, the height as much as keeps pixels square, upwards; the pattern, not the plane, moves with
// the transform.
Picture Draw(glm::ivec2 size, const Wave& wave)
{
    const glm::dmat4 toPattern = glm::inverse(glm::dmat4(wave.transform));
    return {size, [&, toPattern](glm::ivec2 pixel)
            {
                const glm::dvec2 fromCenter = glm::dvec2(1, -1) * (glm::dvec2(pixel) + 0.5 - 0.5 * glm::dvec2(size));
                const glm::dvec2 place = fromCenter * glm::two_pi<double>() / double(size.x);
                const glm::dvec4 s = toPattern * glm::dvec4(place, 0, 1);
                double t = s.x;
                if (wave.shape == "Concentric")
                    t = std::hypot(s.x, s.y);
                if (wave.shape == "Radial")
                    t = std::atan2(s.y, s.x);
                const double value = wave.amplitude * std::sin(wave.frequency * t + wave.phase) + wave.offset;
                return glm::dvec4(glm::dvec3(value), wave.alpha ? value : 1.0);
            }};
}

// Even sizes in most tests: no pixel's center lies on the middle of the rings and spokes or on the spokes' seam.
constexpr glm::ivec2 evenSize{32, 18};

glm::mat4 Translation(float x, float y, float z)
{
    return glm::translate(glm::mat4(1.0f), {x, y, z});
}

glm::mat4 Rotation(float degrees, glm::vec3 axis)
{
    return glm::rotate(glm::mat4(1.0f), glm::radians(degrees), axis);
}

glm::mat4 Scaling(float x, float y)
{
    return glm::scale(glm::mat4(1.0f), {x, y, 1.0f});
}

} // namespace

TEST_CASE("Sine Wave draws five flat stripes until it is told otherwise")
{
    OperatorRunner<SineWave> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Shape: Enum = Flat", "Texture Type: Enum = RGBA8Unorm", "Texture Size: Vector 2 Int = 1024 1024",
                "Transform: Transform 3D = identity", "Offset: Float = 0.5", "Amplitude: Float = 0.5",
                "Frequency: Float = 5", "Phase: Float = 0", "Alpha: Bool = false"});
    CHECK(runner.Parameter<EnumParameter>("Shape").GetPossibleValues() == Lines{"Flat", "Concentric", "Radial"});
    CHECK(SineWave::Type()->GetId() == "Varkle.Texture.SineWave");
}

TEST_CASE("Sine Wave's five stripes go from black to white, opaque, with middle gray in the center")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize({101, 3});
    const Image image = runner.Run();
    CHECK(Near(At(image, 50, 1), {128, 128, 128, 255}));
    int whites = 0;
    int blacks = 0;
    for (int x = 1; x < 100; ++x)
    {
        const int before = At(image, x - 1, 0).r;
        const int here = At(image, x, 0).r;
        const int after = At(image, x + 1, 0).r;
        whites += here > 250 && here >= before && here > after;
        blacks += here < 5 && here <= before && here < after;
        CHECK(At(image, x, 0) == At(image, x, 2)); // upright stripes
        CHECK(int(At(image, x, 0).a) == 255);
    }
    CHECK(whites == 5);
    CHECK(blacks == 5);
    // Right of the center the sine climbs: a quarter of a wave is 101 / 20 pixels.
    CHECK(int(At(image, 55, 1).r) > 250);
    CHECK(int(At(image, 45, 1).r) < 5);
}

TEST_CASE("Sine Wave draws stripes, rings and spokes of any offset, amplitude, frequency and phase")
{
    const Wave waves[] = {
        {},
        {.frequency = 1},
        {.frequency = 2.5},
        {.frequency = 0},
        {.frequency = -3},
        {.phase = 1},
        {.phase = -2.5},
        {.offset = 0.3, .amplitude = 0.2, .phase = 0.7},
        {.offset = 0.7, .amplitude = -0.25, .frequency = 4},
        {.offset = 1, .amplitude = 2, .frequency = 2}, // more than white, less than black
        {.amplitude = 0, .alpha = true},
        {.frequency = 3, .alpha = true},
        {.offset = 0.9, .amplitude = 0.6, .alpha = true},
    };
    OperatorRunner<SineWave> runner;
    runner.SetSize(evenSize);
    for (const char* const shape : {"Flat", "Concentric", "Radial"})
    {
        for (Wave wave : waves)
        {
            wave.shape = shape;
            INFO(wave);
            Set(runner, wave);
            CheckPicture(runner.Run(), Draw(evenSize, wave));
        }
    }
}

TEST_CASE("Sine Wave takes an unknown shape as flat")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize(evenSize);
    runner.SetEnum("Shape", "Square");
    CheckPicture(runner.Run(), Draw(evenSize, {}));
}

TEST_CASE("Sine Wave moves, turns and scales its pattern")
{
    const glm::mat4 transforms[] = {
        Translation(1, 0, 0),    Translation(0, 0.5f, 0),
        Translation(-2, 1, 7),   Rotation(90, {0, 0, 1}),
        Rotation(30, {0, 0, 1}), Scaling(2, 2),
        Scaling(0.5f, 3),        Translation(1, -0.5f, 0) * Rotation(40, {0, 0, 1}) * Scaling(2, 0.7f),
        Rotation(60, {0, 1, 0}), // tilted: the inverse of the whole matrix counts
    };
    OperatorRunner<SineWave> runner;
    runner.SetSize(evenSize);
    for (const char* const shape : {"Flat", "Concentric", "Radial"})
    {
        for (const glm::mat4& transform : transforms)
        {
            const Wave wave{.shape = shape, .frequency = 3, .transform = transform};
            INFO(shape << ", transform " << (&transform - transforms));
            Set(runner, wave);
            CheckPicture(runner.Run(), Draw(evenSize, wave));
        }
    }
}

TEST_CASE("Sine Wave moves its pattern to the right and up with a positive translation")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize({20, 20});
    Set(runner, {.shape = "Concentric",
                 .offset = 1,
                 .amplitude = -1,
                 .frequency = 0.5, // white in the middle
                 .transform = Translation(glm::half_pi<float>(), glm::half_pi<float>(), 0)});
    const Image image = runner.Run();
    CHECK(int(At(image, 15, 4).r) > 220); // a quarter of the width away from the center
    CHECK(int(At(image, 4, 15).r) < 100);
    CHECK(int(At(image, 15, 15).r) < 100);
}

TEST_CASE("Sine Wave's rings are round in pictures of any shape")
{
    OperatorRunner<SineWave> runner;
    runner.SetEnum("Shape", "Concentric");
    for (const glm::ivec2 size : {glm::ivec2(65, 33), glm::ivec2(33, 65)})
    {
        INFO(size.x << " by " << size.y);
        runner.SetSize(size);
        const Image image = runner.Run();
        const glm::ivec2 center = size / 2;
        for (int d = 1; d <= 16; ++d)
            CHECK(Near(At(image, center.x + d, center.y), At(image, center.x, center.y - d)));
    }
}

TEST_CASE("Sine Wave's spokes have a seam on the left when their number is not whole")
{
    OperatorRunner<SineWave> runner;
    runner.SetEnum("Shape", "Radial");
    runner.SetSize({200, 200});
    runner.SetFloat("Frequency", 2.5);
    Image image = runner.Run();
    CHECK(int(At(image, 10, 99).r) > 250); // sin(2.5 * pi), just above the line
    CHECK(int(At(image, 10, 100).r) < 5);
    CHECK(Near(At(image, 190, 99), At(image, 190, 100), 5)); // no seam on the right: a slope of 2.5 / 90 a pixel
    runner.SetFloat("Frequency", 3.0);
    image = runner.Run();
    CHECK(Near(At(image, 10, 99), At(image, 10, 100), 6));
}

TEST_CASE("Sine Wave works at odd sizes and in single rows and columns")
{
    OperatorRunner<SineWave> runner;
    for (const glm::ivec2 size : {glm::ivec2(1, 1), glm::ivec2(17, 1), glm::ivec2(1, 17), glm::ivec2(7, 5)})
    {
        INFO(size.x << " by " << size.y);
        runner.SetSize(size);
        for (const char* const shape : {"Flat", "Concentric"})
        {
            runner.SetEnum("Shape", shape);
            CheckPicture(runner.Run(), Draw(size, {.shape = shape}));
        }
    }
}

TEST_CASE("Sine Wave writes the channels that its texture type has")
{
    const Wave wave{.shape = "Concentric", .frequency = 2, .alpha = true};
    OperatorRunner<SineWave> runner;
    Set(runner, wave);
    CheckTextureTypes(runner, Draw({9, 7}, wave));
}

TEST_CASE("Sine Wave survives any number in any shape, and a transform without an inverse")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize({4, 4});
    for (const char* const shape : {"Flat", "Concentric", "Radial"})
    {
        INFO(shape);
        runner.SetEnum("Shape", shape);
        CheckSurvivesOddNumbers(runner);
        runner.SetTransform("Transform", Scaling(0, 1));
        CHECK(runner.Run().GetWidth() == 4);
    }
}

TEST_CASE("Sine Wave builds pipelines for texture types only and makes nothing in the steady state")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize(evenSize);
    CheckSteadyState(runner, [&](int i) { runner.SetFloat("Phase", 0.1 * i); });
    CheckPipelines(runner, [&] { runner.SetEnum("Shape", "Radial"); });
}

TEST_CASE("Sine Wave publishes a fresh texture on every execution")
{
    OperatorRunner<SineWave> runner;
    runner.SetSize({8, 8});
    CheckFreshOutput(runner, [&] { runner.SetFloat("Phase", 2.0); });
}
