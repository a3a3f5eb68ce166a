// The WGSL random numbers that other shaders include, run on the GPU.

#include "Varkle/Core/Plugin.h"
#include "support/ShaderRunner.h"

#include <bit>
#include <cmath>
#include <glm/glm.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// PCG-RXS-M-XS-32 as a hash, and what is made of it.
std::uint32_t RandomU32(std::uint32_t input)
{
    const std::uint32_t state = input * 747796405u + 2891336453u;
    const std::uint32_t word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}

float RandomF32(std::uint32_t input)
{
    return std::bit_cast<float>((RandomU32(input) & 0x7FFFFFu) | 0x3F800000u) - 1.0f;
}

template<class Out>
std::vector<Out> Run(const std::string& outType, const std::string& expression, const std::vector<std::uint32_t>& seeds)
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    return RunShader<Out>(MakeWgslRunner("#include \"Random.wgsl\"", "u32", outType, expression), seeds);
}

// Small seeds, both ends, where the offsets wrap around, and some in between.
std::vector<std::uint32_t> MakeSeeds()
{
    std::vector<std::uint32_t> seeds = {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 92172u,
                                        92173u,      0u - 34327u, 0u - 82173u};
    for (std::uint32_t i = 0; i < 1000; ++i)
    {
        seeds.push_back(i);
        seeds.push_back(i * 2654435761u);
    }
    return seeds;
}

// The first seed whose hash ends in 23 zero bits.
std::uint32_t FindZeroSeed()
{
    std::uint32_t seed = 0;
    while ((RandomU32(seed) & 0x7FFFFFu) != 0)
        ++seed;
    return seed;
}

} // namespace

TEST_CASE("random_u32 is the PCG hash")
{
    const std::vector<std::uint32_t> seeds = MakeSeeds();
    const auto hashes = Run<std::uint32_t>("u32", "random_u32(in)", seeds);
    REQUIRE(hashes.size() == seeds.size());
    for (std::size_t i = 0; i < seeds.size(); ++i)
        CHECK(hashes[i] == RandomU32(seeds[i]));

    // By hand: state = 2891336453, shifted by (2891336453 >> 28) + 4 = 14.
    CHECK(Run<std::uint32_t>("u32", "random_u32(in)", {0u})[0] == 129708002u);
}

TEST_CASE("random_f32 takes the low 23 bits of the hash as a number from 0 to just under 1")
{
    const std::vector<std::uint32_t> seeds = MakeSeeds();
    const auto numbers = Run<float>("f32", "random_f32(in)", seeds);
    REQUIRE(numbers.size() == seeds.size());
    double sum = 0.0;
    for (std::size_t i = 0; i < seeds.size(); ++i)
    {
        CHECK(numbers[i] == RandomF32(seeds[i]));
        CHECK(numbers[i] >= 0.0f);
        CHECK(numbers[i] < 1.0f);
        CHECK(numbers[i] * 8388608.0f == float(RandomU32(seeds[i]) & 0x7FFFFFu)); // steps of 2^-23
        sum += double(numbers[i]);
    }
    CHECK(sum / double(seeds.size()) == Approx(0.5).margin(0.03));
}

TEST_CASE("random_f32 is 0 when the low bits of the hash are, and largest when they are all set")
{
    const std::uint32_t zero = FindZeroSeed();
    std::uint32_t largest = 0;
    while ((RandomU32(largest) & 0x7FFFFFu) != 0x7FFFFFu)
        ++largest;
    const auto numbers = Run<float>("f32", "random_f32(in)", {zero, largest});
    CHECK(numbers[0] == 0.0f);
    CHECK(numbers[1] == 1.0f - 1.0f / 8388608.0f);
}

TEST_CASE("Random vectors take their components from offset seeds, the last by subtraction")
{
    const std::vector<std::uint32_t> seeds = MakeSeeds();
    const auto two = Run<glm::vec2>("vec2<f32>", "random_vec2(in)", seeds);
    const auto three = Run<glm::vec4>("vec4<f32>", "vec4<f32>(random_vec3(in), 0.0)", seeds);
    const auto four = Run<glm::vec4>("vec4<f32>", "random_vec4(in)", seeds);
    REQUIRE(four.size() == seeds.size());
    for (std::size_t i = 0; i < seeds.size(); ++i)
    {
        const glm::vec4 expected(RandomF32(seeds[i]), RandomF32(seeds[i] + 34327u), RandomF32(seeds[i] + 82173u),
                                 RandomF32(seeds[i] - 92173u));
        CHECK(two[i] == glm::vec2(expected));
        CHECK(three[i] == glm::vec4(glm::vec3(expected), 0.0f));
        CHECK(four[i] == expected);
    }
    CHECK(Run<glm::vec4>("vec4<f32>", "random_vec4(in)", {0u})[0].w == RandomF32(4294875123u));
}

TEST_CASE("random_gaussian gives two samples of a normal distribution by Box and Muller")
{
    const std::vector<std::uint32_t> seeds = MakeSeeds();
    const auto samples = Run<glm::vec2>("vec2<f32>", "random_gaussian(3.0, 2.0, in)", seeds);
    REQUIRE(samples.size() == seeds.size());
    glm::dvec2 sum(0.0);
    glm::dvec2 squares(0.0);
    for (std::size_t i = 0; i < seeds.size(); ++i)
    {
        const double radius = 2.0 * std::sqrt(-2.0 * std::log(double(RandomF32(seeds[i]))));
        const double angle = 6.283185307179586 * double(RandomF32(seeds[i] + 34327u));
        // A GPU's sine may be 5e-4 off, its logarithm is exact enough.
        CHECK(samples[i].x == Approx(3.0 + radius * std::cos(angle)).margin(1e-3 * radius + 1e-5));
        CHECK(samples[i].y == Approx(3.0 + radius * std::sin(angle)).margin(1e-3 * radius + 1e-5));
        sum += glm::dvec2(samples[i]);
        squares += glm::dvec2(samples[i] - 3.0f) * glm::dvec2(samples[i] - 3.0f);
    }
    const double count = double(seeds.size());
    for (int k = 0; k < 2; ++k)
    {
        CHECK(sum[k] / count == Approx(3.0).margin(0.2));
        CHECK(std::sqrt(squares[k] / count) == Approx(2.0).margin(0.15));
    }
}

TEST_CASE("random_gaussian is not finite where the first random number is 0")
{
    const glm::vec2 sample = Run<glm::vec2>("vec2<f32>", "random_gaussian(0.0, 1.0, in)", {FindZeroSeed()})[0];
    CHECK_FALSE(std::isfinite(sample.x));
    CHECK_FALSE(std::isfinite(sample.y));
}
