// The noise functions in GLSL: the one that the texture operator is built from, and those that go with it.

#include "Varkle/Kit/Resources.h"
#include "support/NoisePoints.h"
#include "support/ReferenceNoise.h"
#include "support/ShaderRunner.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// As in the WGSL form: angles in f32 are 1.2e-4 coarse. Second derivatives are steeper still than gradients.
constexpr double valueTolerance = 5e-4;
constexpr double gradientTolerance = 2.5e-3;
constexpr double secondTolerance = 2e-2;

constexpr const char* noise2 = "Noise/thirdparty/psrdnoise2.glsl";
constexpr const char* noise3 = "Noise/thirdparty/psrdnoise3.glsl";
constexpr const char* second2 = "Noise/thirdparty/psrddnoise2.glsl";
constexpr const char* second3 = "Noise/thirdparty/psrddnoise3.glsl";

// The noise, its gradient, and up to six second derivatives.
struct Results
{
    glm::vec4 noise;
    glm::vec4 pure;  // xx yy zz
    glm::vec4 mixed; // xy yz zx
};

constexpr const char* resultsGlsl = "struct Results { vec4 noise; vec4 pure; vec4 mixed; };\n";

constexpr const char* call2 = "vec2 g; float n = psrdnoise(point.x.xy, point.period.xy, point.alpha, g);"
                              "result = Results(vec4(n, g, 0.0), vec4(0.0), vec4(0.0));";
constexpr const char* call3 = "vec3 g; float n = psrdnoise(point.x, point.period, point.alpha, g);"
                              "result = Results(vec4(n, g), vec4(0.0), vec4(0.0));";
constexpr const char* callSecond2 = "vec2 g; vec3 dg;"
                                    "float n = psrddnoise(point.x.xy, point.period.xy, point.alpha, g, dg);"
                                    "result = Results(vec4(n, g, 0.0), vec4(dg.xy, 0.0, 0.0), vec4(dg.z, 0, 0, 0));";
constexpr const char* callSecond3 = "vec3 g; vec3 dg; vec3 dg2;"
                                    "float n = psrddnoise(point.x, point.period, point.alpha, g, dg, dg2);"
                                    "result = Results(vec4(n, g), vec4(dg, 0.0), vec4(dg2, 0.0));";

std::string TextOf(const char* path)
{
    return std::string(Resources::ReadText(path)) + "\n";
}

std::vector<Results> Run(const std::string& source, const std::string& call, const std::vector<NoiseArguments>& points)
{
    return RunShader<Results>(MakeGlslRunner(source + noiseArgumentsGlsl + resultsGlsl, "Arguments", "Results", call),
                              points);
}

glm::dvec3 Gradient3(glm::dvec3 x, const NoiseArguments& a)
{
    return ReferenceNoise(x, glm::dvec3(a.period), a.alpha).gradient;
}

glm::dvec3 Gradient2(glm::dvec3 x, const NoiseArguments& a)
{
    return {ReferenceNoise(glm::dvec2(x), glm::dvec2(a.period), a.alpha).gradient, 0.0};
}

Results Expected3(const NoiseArguments& a, const NoiseForm& form = {})
{
    const auto sample = ReferenceNoise(glm::dvec3(a.x), glm::dvec3(a.period), a.alpha, form);
    return {{float(sample.noise), glm::vec3(sample.gradient)}, {}, {}};
}

Results Expected2(const NoiseArguments& a)
{
    const auto sample = ReferenceNoise(glm::dvec2(a.x), glm::dvec2(a.period), a.alpha);
    return {{float(sample.noise), glm::vec2(sample.gradient), 0.0f}, {}, {}};
}

// How the gradient changes along each axis, by finite differences in double precision.
void AddSecondDerivatives(Results& results, const NoiseArguments& a,
                          glm::dvec3 (*gradient)(glm::dvec3, const NoiseArguments&), int axes)
{
    constexpr double step = 1e-5;
    for (int axis = 0; axis < axes; ++axis)
    {
        glm::dvec3 offset(0.0);
        offset[axis] = step;
        const glm::dvec3 x(a.x);
        const glm::dvec3 change = (gradient(x + offset, a) - gradient(x - offset, a)) / (2.0 * step);
        results.pure[axis] = float(change[axis]);
        results.mixed[axis] = float(change[(axis + 1) % 3]);
    }
    if (axes == 2)
        results.mixed.y = 0.0f; // by y, of the z that there is not
}

template<class Expected>
void CheckResults(const std::vector<Results>& actual, const std::vector<NoiseArguments>& points, Expected expected)
{
    double value = 0.0;
    double gradient = 0.0;
    double second = 0.0;
    REQUIRE(actual.size() == points.size());
    for (std::size_t i = 0; i < points.size(); ++i)
    {
        const Results wanted = expected(points[i]);
        for (int k = 0; k < 4; ++k)
        {
            const double difference = double(std::abs(actual[i].noise[k] - wanted.noise[k]));
            (k == 0 ? value : gradient) = std::max(k == 0 ? value : gradient, difference);
            second = std::max({second, double(std::abs(actual[i].pure[k] - wanted.pure[k])),
                               double(std::abs(actual[i].mixed[k] - wanted.mixed[k]))});
        }
        CHECK_FALSE(std::isnan(glm::dot(actual[i].noise + actual[i].pure + actual[i].mixed, glm::vec4(1.0f))));
    }
    CHECK(value < valueTolerance);
    CHECK(gradient < gradientTolerance);
    CHECK(second < secondTolerance);
}

const std::vector<NoiseArguments> settings = {
    {{}, 0.0f, {}}, {{}, 1.3f, {}}, {{}, 0.0f, {3, 4, 6}}, {{}, -2.0f, {3, 0, 9}}, {{}, 10.0f, {-2, 8, 0}}};

} // namespace

TEST_CASE("The 3D GLSL noise is the published one, with each of its switches too")
{
    struct Variant
    {
        const char* switches;
        NoiseForm form;
    };
    const Variant variants[] = {{"", {}},
                                {"#define PSRD_PERLIN_GRID\n", {.perlinGrid = true}},
                                {"#define PSRD_FAST_ROTATION\n", {.fastRotation = true}},
                                {"#define PSRD_PERLIN_GRID\n#define PSRD_FAST_ROTATION\n", {true, true}}};
    for (const Variant& variant : variants)
    {
        for (const NoiseArguments& setting : settings)
        {
            INFO(variant.switches << "period " << setting.period.x << ' ' << setting.period.y << ' ' << setting.period.z
                                  << ", rotation " << setting.alpha);
            const auto points = MakeNoisePoints(setting.period, setting.alpha);
            CheckResults(Run(variant.switches + TextOf(noise3), call3, points), points,
                         [&](const NoiseArguments& a) { return Expected3(a, variant.form); });
        }
    }
}

TEST_CASE("The 2D GLSL noise is the published one")
{
    for (const NoiseArguments& setting : settings)
    {
        INFO("period " << setting.period.x << ' ' << setting.period.y << ", rotation " << setting.alpha);
        const auto points = MakeNoisePoints(setting.period, setting.alpha);
        CheckResults(Run(TextOf(noise2), call2, points), points, Expected2);
    }
}

TEST_CASE("The GLSL noise with second derivatives gives how its gradient changes")
{
    for (const NoiseArguments& setting : settings)
    {
        INFO("period " << setting.period.x << ' ' << setting.period.y << ' ' << setting.period.z << ", rotation "
                       << setting.alpha);
        const auto points = MakeNoisePoints(setting.period, setting.alpha);
        CheckResults(Run(TextOf(second3), callSecond3, points), points,
                     [](const NoiseArguments& a)
                     {
                         Results results = Expected3(a);
                         AddSecondDerivatives(results, a, Gradient3, 3);
                         return results;
                     });
        CheckResults(Run(TextOf(second2), callSecond2, points), points,
                     [](const NoiseArguments& a)
                     {
                         Results results = Expected2(a);
                         AddSecondDerivatives(results, a, Gradient2, 2);
                         return results;
                     });
    }
}

TEST_CASE("A shader may include all GLSL noises at once")
{
    const auto points = MakeNoisePoints({3, 4, 5}, 0.4f);
    const std::string all = TextOf(noise2) + TextOf(noise3) + TextOf(second2) + TextOf(second3);
    CheckResults(Run(all, call2, points), points, Expected2);
    CheckResults(Run(all, call3, points), points, [](const NoiseArguments& a) { return Expected3(a); });
}

TEST_CASE("On the Perlin grid periods that are multiples of 3 tile, others don't")
{
    const std::string source = "#define PSRD_PERLIN_GRID\n" + TextOf(noise3);
    const auto difference = [&](glm::vec3 period)
    {
        const auto points = MakeNoisePoints(period);
        const auto here = Run(source, call3, points);
        const auto there = Run(source, call3, Moved(points, period));
        double largest = 0.0;
        for (std::size_t i = 0; i < here.size(); ++i)
            largest = std::max(largest, double(std::abs(here[i].noise.x - there[i].noise.x)));
        return largest;
    };
    CHECK(difference({3, 0, 0}) < 1e-3);
    CHECK(difference({6, 3, 9}) < 1e-3);
    CHECK(difference({4, 0, 0}) > 0.1);
}
