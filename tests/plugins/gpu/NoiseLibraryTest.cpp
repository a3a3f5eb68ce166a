// The WGSL noise functions that other shaders include, run on the GPU.

#include "Varkle/Core/Plugin.h"
#include "Varkle/Kit/Resources.h"
#include "support/LogRecorder.h"
#include "support/NoisePoints.h"
#include "support/ReferenceNoise.h"
#include "support/ShaderRunner.h"

#include <functional>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// How far f32 may be from double precision. Angles reach 1118 radians, where neighboring floats are 1.2e-4 apart;
// gradients are several times as steep as values are high.
constexpr double valueTolerance = 5e-4;
constexpr double gradientTolerance = 2.5e-3;

std::string ReplaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// The 2D file is in an older form of WGSL: semicolons behind the members of its struct.
std::string Noise2Source()
{
    std::string text(Resources::ReadText("Shaders/Noise/psrdnoise2.wgsl"));
    text = ReplaceAll(std::move(text), "noise: f32;", "noise: f32,");
    return ReplaceAll(std::move(text), "gradient: vec2<f32>;", "gradient: vec2<f32>,");
}

// Runs an expression of in.x, in.p and in.alpha, a vec4<f32>, with the 3D functions as the plug-in registers them.
std::vector<glm::vec4> Run3(const std::string& expression, const std::vector<NoiseArguments>& points)
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    return RunShader<glm::vec4>(MakeWgslRunner(std::string("#include \"Noise/PSRD3.wgsl\"\n") + noiseArgumentsWgsl,
                                               "Arguments", "vec4<f32>", expression),
                                points);
}

std::vector<glm::vec4> Run2(const std::string& expression, const std::vector<NoiseArguments>& points)
{
    return RunShader<glm::vec4>(
        MakeWgslRunner(Noise2Source() + noiseArgumentsWgsl, "Arguments", "vec4<f32>", expression), points);
}

// The gradient forms as one vector: the noise, then its gradient.
const std::string packNoise3 = "fn pack(n: NG3) -> vec4<f32> { return vec4<f32>(n.noise, n.gradient); }\n";
const std::string packNoise2 = "fn pack(n: NG2) -> vec4<f32> { return vec4<f32>(n.noise, n.gradient, 0.0); }\n";

std::vector<glm::vec4> RunGradient3(const std::string& call, const std::vector<NoiseArguments>& points)
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    return RunShader<glm::vec4>(MakeWgslRunner("#include \"Noise/PSRD3.wgsl\"\n" + packNoise3 + noiseArgumentsWgsl,
                                               "Arguments", "vec4<f32>", "pack(" + call + ")"),
                                points);
}

std::vector<glm::vec4> RunGradient2(const std::string& call, const std::vector<NoiseArguments>& points)
{
    return RunShader<glm::vec4>(MakeWgslRunner(Noise2Source() + packNoise2 + noiseArgumentsWgsl, "Arguments",
                                               "vec4<f32>", "pack(" + call + ")"),
                                points);
}

using Sample = std::function<glm::vec4(const NoiseArguments&)>;

glm::vec4 Sample3(const NoiseArguments& a)
{
    const auto sample = ReferenceNoise(glm::dvec3(a.x), glm::dvec3(a.period), a.alpha);
    return {float(sample.noise), glm::vec3(sample.gradient)};
}

glm::vec4 Sample2(const NoiseArguments& a)
{
    const auto sample = ReferenceNoise(glm::dvec2(a.x), glm::dvec2(a.period), a.alpha);
    return {float(sample.noise), glm::vec2(sample.gradient), 0.0f};
}

void CheckGradientForm(const std::vector<glm::vec4>& actual, const std::vector<NoiseArguments>& points,
                       const Sample& expected)
{
    double value = 0.0;
    double gradient = 0.0;
    REQUIRE(actual.size() == points.size());
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        const glm::vec4 difference = glm::abs(actual[i] - expected(points[i]));
        value = std::max(value, double(difference.x));
        gradient = std::max(gradient, double(std::max({difference.y, difference.z, difference.w})));
    }
    CHECK(value < valueTolerance);
    CHECK(gradient < gradientTolerance);
}

// Each column of the results against the sample with some arguments left out.
void CheckValueForms(const std::vector<glm::vec4>& actual, const std::vector<NoiseArguments>& points,
                     const Sample& expected)
{
    REQUIRE(actual.size() == points.size());
    for (int column = 0; column < 4; ++column)
    {
        INFO("column " << column);
        double largest = 0.0;
        for (std::size_t i = 0; i < points.size(); ++i)
        {
            NoiseArguments arguments = points[i];
            if (column == 1 || column == 3)
                arguments.alpha = 0.0f;
            if (column == 2 || column == 3)
                arguments.period = glm::vec3(0.0f);
            largest = std::max(largest, double(std::abs(actual[i][column] - expected(arguments).x)));
        }
        CHECK(largest < valueTolerance);
    }
}

struct Setting
{
    glm::vec3 period;
    float alpha;
};

const Setting settings[] = {{{0, 0, 0}, 0.0f},   {{0, 0, 0}, 1.3f}, {{3, 4, 5}, 0.0f},
                            {{3, 4, 5}, -2.0f},  {{7, 0, 0}, 0.4f}, {{0, 6, 0}, 0.0f},
                            {{-2, 8, 3}, 10.0f}, {{0, 0, 4}, 0.0f}, {{2.5f, 3.5f, 1.5f}, 0.7f}};

constexpr const char* valueForms3 = "vec4<f32>(psrnoise3(in.x, in.p, in.alpha), psnoise3(in.x, in.p), "
                                    "srnoise3(in.x, in.alpha), snoise3(in.x))";
constexpr const char* valueForms2 = "vec4<f32>(psrnoise2(in.x.xy, in.p.xy, in.alpha), psnoise2(in.x.xy, in.p.xy), "
                                    "srnoise2(in.x.xy, in.alpha), snoise2(in.x.xy))";

} // namespace

TEST_CASE("The 3D noise of every form is the published one")
{
    for (const Setting& setting : settings)
    {
        INFO("period " << setting.period.x << ' ' << setting.period.y << ' ' << setting.period.z << ", rotation "
                       << setting.alpha);
        const auto points = MakeNoisePoints(setting.period, setting.alpha);
        CheckValueForms(Run3(valueForms3, points), points, Sample3);
        CheckGradientForm(RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", points), points, Sample3);
    }
}

TEST_CASE("The 2D noise of every form is the published one")
{
    for (const Setting& setting : settings)
    {
        INFO("period " << setting.period.x << ' ' << setting.period.y << ", rotation " << setting.alpha);
        const auto points = MakeNoisePoints(setting.period, setting.alpha);
        CheckValueForms(Run2(valueForms2, points), points, Sample2);
        CheckGradientForm(RunGradient2("psrdnoise2(in.x.xy, in.p.xy, in.alpha)", points), points, Sample2);
    }
}

TEST_CASE("The 3D forms give what the full one gives with the missing arguments at 0")
{
    const auto points = MakeNoisePoints();
    const auto turned = MakeNoisePoints({}, 0.9f);
    const auto periodic = MakeNoisePoints({3, 5, 0});
    for (const glm::vec4& forms : Run3(valueForms3, points))
        CHECK((forms.x == forms.w && forms.y == forms.w && forms.z == forms.w));
    for (const glm::vec4& forms : Run3(valueForms3, turned))
        CHECK(forms.x == forms.z);
    for (const glm::vec4& forms : Run3(valueForms3, periodic))
        CHECK(forms.x == forms.y);

    CHECK(RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", turned) ==
          RunGradient3("srdnoise3(in.x, in.alpha)", turned));
    CHECK(RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", periodic) ==
          RunGradient3("psdnoise3(in.x, in.p)", periodic));
    CHECK(RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", points) == RunGradient3("sdnoise3(in.x)", points));
}

TEST_CASE("The 2D forms give what the full one gives with the missing arguments at 0")
{
    const auto points = MakeNoisePoints();
    const auto turned = MakeNoisePoints({}, 0.9f);
    const auto periodic = MakeNoisePoints({3, 4, 0});
    for (const glm::vec4& forms : Run2(valueForms2, points))
        CHECK((forms.x == forms.w && forms.y == forms.w && forms.z == forms.w));
    for (const glm::vec4& forms : Run2(valueForms2, turned))
        CHECK(forms.x == forms.z);
    for (const glm::vec4& forms : Run2(valueForms2, periodic))
        CHECK(forms.x == forms.y);

    const std::string full = "psrdnoise2(in.x.xy, in.p.xy, in.alpha)";
    CHECK(RunGradient2(full, turned) == RunGradient2("srdnoise2(in.x.xy, in.alpha)", turned));
    CHECK(RunGradient2(full, periodic) == RunGradient2("psdnoise2(in.x.xy, in.p.xy)", periodic));
    CHECK(RunGradient2(full, points) == RunGradient2("sdnoise2(in.x.xy)", points));
}

TEST_CASE("The noise is the same with its gradient and without")
{
    const auto points = MakeNoisePoints({5, 0, 4}, 0.6f);
    for (const glm::vec4& pair : Run3("vec4<f32>(psrnoise3(in.x, in.p, in.alpha), "
                                      "psrdnoise3(in.x, in.p, in.alpha).noise, snoise3(in.x), sdnoise3(in.x).noise)",
                                      points))
    {
        CHECK(pair.x == pair.y);
        CHECK(pair.z == pair.w);
    }
    for (const glm::vec4& pair : Run2("vec4<f32>(psrnoise2(in.x.xy, in.p.xy, in.alpha), "
                                      "psrdnoise2(in.x.xy, in.p.xy, in.alpha).noise, "
                                      "snoise2(in.x.xy), sdnoise2(in.x.xy).noise)",
                                      points))
    {
        CHECK(pair.x == pair.y);
        CHECK(pair.z == pair.w);
    }
}

TEST_CASE("The gradient is how the noise changes from place to place")
{
    // Over a distance of 2 * 2^-7 the slope of the curve differs from that of its chord by less than 0.005.
    constexpr float step = 1.0f / 128.0f;
    const auto points = MakeNoisePoints({6, 6, 6}, 0.8f);
    const auto check = [&](auto runValue, const std::vector<glm::vec4>& gradients, int axes)
    {
        for (int axis = 0; axis < axes; ++axis)
        {
            glm::vec3 offset(0.0f);
            offset[axis] = step;
            const std::vector<glm::vec4> ahead = runValue(Moved(points, offset));
            const std::vector<glm::vec4> behind = runValue(Moved(points, -offset));
            double largest = 0.0;
            for (std::size_t i = 0; i < points.size(); ++i)
            {
                const float chord = (ahead[i].x - behind[i].x) / (2.0f * step);
                largest = std::max(largest, double(std::abs(chord - gradients[i][axis + 1])));
            }
            CHECK(largest < 0.02); // with the rounding of the values, 1e-4, over that distance
        }
    };
    check([](const auto& at) { return Run3("vec4<f32>(psrnoise3(in.x, in.p, in.alpha))", at); },
          RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", points), 3);
    check([](const auto& at) { return Run2("vec4<f32>(psrnoise2(in.x.xy, in.p.xy, in.alpha))", at); },
          RunGradient2("psrdnoise2(in.x.xy, in.p.xy, in.alpha)", points), 2);
}

TEST_CASE("3D noise repeats after any whole period, on its axis only")
{
    const auto run = [](const auto& at) { return RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", at); };
    const auto repeats = [&](glm::vec3 period, glm::vec3 distance)
    {
        const auto points = MakeNoisePoints(period, 0.5f);
        return LargestDifference(run(points), run(Moved(points, distance))) < 1e-3;
    };
    CHECK(repeats({3, 3, 3}, {3, 0, 0}));
    CHECK(repeats({3, 3, 3}, {0, 3, 0}));
    CHECK(repeats({3, 3, 3}, {0, 0, 3}));
    CHECK(repeats({3, 3, 3}, {-6, 9, 3}));
    CHECK(repeats({1, 2, 5}, {1, -2, 10}));
    CHECK(repeats({0, 4, 0}, {0, 4, 0}));
    CHECK_FALSE(repeats({0, 4, 0}, {4, 0, 0}));
    CHECK_FALSE(repeats({3, 3, 3}, {2, 0, 0}));
    CHECK_FALSE(repeats({2.5f, 0, 0}, {2.5f, 0, 0}));
}

TEST_CASE("2D noise repeats along x after any whole period, along y after even ones")
{
    const auto run = [](const auto& at) { return RunGradient2("psrdnoise2(in.x.xy, in.p.xy, in.alpha)", at); };
    const auto repeats = [&](glm::vec3 period, glm::vec3 distance)
    {
        const auto points = MakeNoisePoints(period, 0.5f);
        return LargestDifference(run(points), run(Moved(points, distance))) < 1e-3;
    };
    CHECK(repeats({3, 0, 0}, {3, 0, 0}));
    CHECK(repeats({0, 4, 0}, {0, 4, 0}));
    CHECK(repeats({5, 2, 0}, {-10, 6, 0}));
    CHECK_FALSE(repeats({0, 3, 0}, {0, 3, 0}));
    CHECK_FALSE(repeats({3, 0, 0}, {0, 3, 0}));
    CHECK_FALSE(repeats({2.5f, 0, 0}, {2.5f, 0, 0}));
}

TEST_CASE("A negative period counts as none on that axis")
{
    const auto run3 = [](glm::vec3 period)
    { return RunGradient3("psrdnoise3(in.x, in.p, in.alpha)", MakeNoisePoints(period, 0.3f)); };
    CHECK(run3({-3, -1, -0.5f}) == run3({0, 0, 0}));
    CHECK(run3({-3, 4, -1}) == run3({0, 4, 0}));
    const auto run2 = [](glm::vec3 period)
    { return RunGradient2("psrdnoise2(in.x.xy, in.p.xy, in.alpha)", MakeNoisePoints(period, 0.3f)); };
    CHECK(run2({-3, -4, 0}) == run2({0, 0, 0}));
    CHECK(run2({3, -4, 0}) == run2({3, 0, 0}));
}

TEST_CASE("The noise is 0 at the corners of its lattice, whatever the rotation")
{
    std::vector<NoiseArguments> corners3;
    for (const glm::vec3 corner : {glm::vec3(0, 0, 0), {0.5f, 0.5f, 0.5f}, {1, 0, 0}, {-0.5f, 0.5f, 0.5f}, {-7, 12, 3}})
        corners3.push_back({corner, 0.7f});
    for (const glm::vec4& noise : Run3(valueForms3, corners3))
        CHECK(noise == glm::vec4(0.0f));
    CHECK(Run3(valueForms3, {{{0.25f, 0, 0}}})[0].x != 0.0f);

    std::vector<NoiseArguments> corners2;
    for (const glm::vec2 corner : {glm::vec2(0, 0), {1, 0}, {0.5f, 1}, {-0.5f, 1}, {-7, 12}})
        corners2.push_back({{corner, 0.0f}, 0.7f});
    for (const glm::vec4& noise : Run2(valueForms2, corners2))
        CHECK(noise == glm::vec4(0.0f));
    CHECK(Run2(valueForms2, {{{0.25f, 0, 0}}})[0].x != 0.0f);
}

TEST_CASE("Half a turn of the gradients negates the noise, a whole turn brings it back")
{
    constexpr float pi = 3.14159265f;
    const auto points = MakeNoisePoints({}, 0.2f);
    const auto check = [&](auto run)
    {
        const std::vector<glm::vec4> noise = run(points);
        std::vector<glm::vec4> negated = run(Turned(points, pi));
        for (glm::vec4& value : negated)
            value = -value;
        CHECK(LargestDifference(noise, negated) < valueTolerance);
        CHECK(LargestDifference(noise, run(Turned(points, 2.0f * pi))) < valueTolerance);
        CHECK(LargestDifference(noise, run(Turned(points, 1.0f))) > 0.1);
    };
    check([](const auto& at) { return Run3("vec4<f32>(srnoise3(in.x, in.alpha))", at); });
    check([](const auto& at) { return Run2("vec4<f32>(srnoise2(in.x.xy, in.alpha))", at); });
}

TEST_CASE("The noise uses most of -1 to 1 and leaves it nowhere")
{
    const auto points = MakeNoisePoints({}, 0.0f, 20000);
    const auto check = [](const std::vector<glm::vec4>& values)
    {
        float lowest = 0.0f;
        float highest = 0.0f;
        double sum = 0.0;
        for (const glm::vec4& value : values)
        {
            lowest = std::min(lowest, value.x);
            highest = std::max(highest, value.x);
            sum += double(value.x);
        }
        CHECK(lowest > -1.05f);
        CHECK(lowest < -0.7f);
        CHECK(highest < 1.05f);
        CHECK(highest > 0.7f);
        CHECK(std::abs(sum / double(values.size())) < 0.05);
    };
    check(Run3("vec4<f32>(snoise3(in.x))", points));
    check(Run2("vec4<f32>(snoise2(in.x.xy))", points));
}

TEST_CASE("The hashes' remainder and permutation are exact for whole numbers")
{
    std::vector<NoiseArguments> points;
    for (int i = -1000; i < 3000; ++i)
        points.push_back({{float(i), float(i * 289), float(i * 1000 + 7)}});
    const std::string x = "vec4<f32>(in.x, 0.0)";
    const auto remainder = Run3("mod289v4f(" + x + ")", points);
    const auto remainder2 = Run2("vec4<f32>(mod289v3f(in.x), 0.0)", points);
    const auto permuted = Run3("permute289v4f(" + x + ")", points);
    REQUIRE(remainder.size() == points.size());
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        for (int k = 0; k < 3; ++k)
        {
            const double whole = double(points[i].x[k]);
            INFO(whole);
            CHECK(remainder[i][k] == float(Mod289(whole)));
            CHECK(remainder2[i][k] == float(Mod289(whole)));
            CHECK(permuted[i][k] == float(Permute289(std::int64_t(whole))));
        }
    }
}

TEST_CASE("The 2D noise is includable under its name, as it is")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    const LogRecorder heard;
    RunShader<float>(MakeWgslRunner("#include \"Noise/PSRD2.wgsl\"", "f32", "f32", "in"), std::vector<float>{1.0f});
    // Today's compilers stop at the first semicolon of its struct; their message names the file that they got.
    CHECK(heard.Contains("Noise/PSRD2.wgsl:"));
    CHECK_FALSE(heard.Contains("no includable file"));
}
