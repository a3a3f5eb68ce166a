#include "texture/Blur.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// One pass: a Gaussian of standard deviation radius / 3 over whole output pixels in one direction, normalized.
Picture BlurAlong(const Picture& picture, glm::ivec2 size, double radius, glm::dvec2 direction)
{
    const double sigma = std::max(radius / 3.0, 0.001);
    const int reach = int(std::ceil(radius));
    return {size, [&](glm::ivec2 pixel)
            {
                glm::dvec4 sum{0.0};
                double weights = 0.0;
                for (int i = -reach; i <= reach; ++i)
                {
                    const double weight = std::exp(-0.5 * (i / sigma) * (i / sigma));
                    sum += weight * Sample(picture, CenterOf(pixel, size) + direction * double(i) / glm::dvec2(size));
                    weights += weight;
                }
                return sum / weights;
            }};
}

// Across, stored in the output's format, then down.
Picture BlurBoth(const Picture& picture, double radius, glm::ivec2 size,
                 wgpu::TextureFormat format = wgpu::TextureFormat::RGBA8Unorm)
{
    return BlurAlong(Stored(BlurAlong(picture, size, radius, {1, 0}), format), size, radius, {0, 1});
}

Picture BlurBoth(const Picture& picture, double radius)
{
    return BlurBoth(picture, radius, picture.size);
}

// What a mask's red lets through of the blurred picture, above the picture as it was.
Picture Masked(const Picture& picture, const Picture& blurred, const Picture& mask)
{
    return {blurred.size, [&](glm::ivec2 pixel)
            {
                const glm::dvec2 uv = CenterOf(pixel, blurred.size);
                return glm::mix(Sample(picture, uv), blurred.At(pixel), Sample(mask, uv).r);
            }};
}

glm::dvec4 Red(int level)
{
    return {level / 255.0, 0, 0, 0};
}

} // namespace

TEST_CASE("Blur takes a texture and a mask and has a radius of 4")
{
    OperatorRunner<Blur> runner;
    CHECK(DescribePorts(runner.Get()) ==
          Lines{"Texture Input: takes Texture", "Mask: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Radius: Float = 4"});
    CHECK(runner.Parameter<EnumParameter>("Output Format").GetPossibleValues() == Lines{"Copy Input", "Manual"});
    CHECK(Blur::Type()->GetId() == "Varkle.Texture.Blur");
}

TEST_CASE("Blur is a Gaussian across, rounded, then down, with edges that go on")
{
    const Picture picture = RandomPicture({37, 23});
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const double radius : {0.3, 1.0, 2.5, 3.01, 4.0, 16.0, 17.0, 31.5, 63.9, 64.0})
    {
        INFO("radius " << radius);
        runner.SetFloat("Radius", radius);
        CheckPicture(runner.Run(), BlurBoth(picture, radius));
    }
}

TEST_CASE("Blur of radius 0, or less, returns its input")
{
    const Picture picture = RandomPicture({7, 5});
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const double radius : {0.0, -4.0, -1e300, -std::numeric_limits<double>::infinity()})
    {
        INFO("radius " << radius);
        runner.SetFloat("Radius", radius);
        CheckPicture(runner.Run(), picture);
    }
}

TEST_CASE("Blur of a radius beyond 64 is one of 64")
{
    const Picture picture = RandomPicture({90, 40});
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(picture));
    runner.SetFloat("Radius", 64.0);
    const Picture limit = ToPicture(runner.Run());
    for (const double radius : {64.5, 100.0, 1e300, std::numeric_limits<double>::infinity()})
    {
        INFO("radius " << radius);
        runner.SetFloat("Radius", radius);
        CheckPicture(runner.Run(), limit, 0);
    }
}

TEST_CASE("Blur spreads a dot alike across and down, whatever the shape of the picture, also through a mask")
{
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", 3.0); // a standard deviation of one pixel
    const auto dot = [](glm::ivec2 pixel) { return Red(pixel == glm::ivec2(7, 4) ? 255 : 0); };
    runner.Connect("Texture Input", Upload(Picture({15, 9}, dot)));
    // Weights e^(-d*d/2) / 2.506: 0.39905, 0.24203, 0.05400, 0.00443. After the first pass 102, 62, 14, 1, after the
    // second 40.7, 24.7, 5.6 or 5.5, 0.4: none on a half, so that the levels are exact.
    const int expected[] = {41, 25, 6, 0, 0};
    for (int run = 0; run < 2; ++run)
    {
        const Image image = runner.Run();
        for (int d = 0; d <= 4; ++d)
        {
            INFO("distance " << d << (run ? " with a mask" : ""));
            for (const glm::ivec2 away : {glm::ivec2(d, 0), glm::ivec2(-d, 0), glm::ivec2(0, d), glm::ivec2(0, -d)})
                CHECK(At(image, 7 + away.x, 4 + away.y) == Rgba8{std::uint8_t(expected[d]), 0, 0, 0});
        }
        runner.Connect("Mask", Filled({1, 1}, {255, 255, 255, 255}));
    }
}

TEST_CASE("Blur of a fractional radius reaches the next whole pixel, in both directions and with a mask")
{
    // Two white lines three pixels from the middle one. At radius 2.9 each weighs e^(-(9 / 0.967^2) / 2) / 2.423 =
    // 0.0033.
    const auto lines = [](int position) { return glm::dvec4(glm::dvec3(position == 0 || position == 6), 1.0); };
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", 2.9);
    const auto middle = [&](const Picture& picture)
    {
        runner.Connect("Texture Input", Upload(picture));
        return At(runner.Run(), picture.size.x / 2, picture.size.y / 2);
    };
    for (int i = 0; i < 2; ++i)
    {
        CHECK(Near(middle(Picture({7, 1}, [&](glm::ivec2 pixel) { return lines(pixel.x); })), {2, 2, 2, 255}));
        CHECK(Near(middle(Picture({1, 7}, [&](glm::ivec2 pixel) { return lines(pixel.y); })), {2, 2, 2, 255}));
        runner.Connect("Mask", Filled({1, 1}, {255, 255, 255, 255}));
    }
}

TEST_CASE("Blur keeps its first pass in 8 bits")
{
    // Faint dots in one column, one of them stronger. The center weights of the first pass turn 1 and 9 levels into 0.4
    // and 3.6, rounded 0 and 4. Two pixels below the strong dot 0.054 * 4 = 0.2 rounds to 0; without the rounding
    // before it were 0.054 * 3.6 + 0.946 * 0.4 = 0.57, which rounds to 1.
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", 3.0);
    const auto levelAt = [](glm::ivec2 pixel) { return pixel.x != 4 ? 0 : pixel.y == 4 ? 9 : 1; };
    runner.Connect("Texture Input", Upload(Picture({9, 9}, [&](glm::ivec2 pixel) { return Red(levelAt(pixel)); })));
    const Image image = runner.Run();
    CHECK(int(At(image, 4, 4).r) == 2); // 0.399 * 4 = 1.6
    CHECK(int(At(image, 4, 6).r) == 0);
}

TEST_CASE("Blur reaches beyond pictures that are smaller than its radius")
{
    for (const glm::ivec2 size : {glm::ivec2(1, 1), glm::ivec2(1, 9), glm::ivec2(9, 1), glm::ivec2(2, 3)})
    {
        for (const double radius : {4.0, 16.0, 64.0})
        {
            INFO(size.x << " by " << size.y << ", radius " << radius);
            const Picture picture = RandomPicture(size);
            OperatorRunner<Blur> runner;
            runner.SetFloat("Radius", radius);
            runner.Connect("Texture Input", Upload(picture));
            CheckPicture(runner.Run(), BlurBoth(picture, radius));
        }
    }
}

TEST_CASE("Blur measures its radius in output pixels")
{
    const Picture picture = RandomPicture({12, 10});
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", 3.0);
    runner.Connect("Texture Input", Upload(picture));
    for (const glm::ivec2 size : {glm::ivec2(24, 20), glm::ivec2(6, 20), glm::ivec2(5, 3), glm::ivec2(40, 1)})
    {
        INFO(size.x << " by " << size.y);
        runner.SetSize(size);
        CheckPicture(runner.Run(), BlurBoth(picture, 3.0, size));
    }
}

TEST_CASE("Blur through a mask lies above the picture as it was, as strongly as the mask is red")
{
    const Picture picture = RandomPicture({13, 9});
    const Picture blurred = BlurBoth(picture, 4.0);
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(picture));
    SECTION("black")
    {
        runner.Connect("Mask", Filled({13, 9}, {0, 255, 255, 255}));
        CheckPicture(runner.Run(), picture);
    }
    SECTION("red")
    {
        runner.Connect("Mask", Filled({13, 9}, {255, 0, 0, 0}));
        CheckPicture(runner.Run(), blurred);
    }
    SECTION("anything")
    {
        const Picture mask = RandomPicture({13, 9}, 2);
        runner.Connect("Mask", Upload(mask));
        CheckPicture(runner.Run(), Masked(picture, blurred, mask));
    }
    SECTION("of one channel and another size")
    {
        const Picture mask = RandomPicture({4, 3}, 3);
        runner.Connect("Mask", Upload(mask, wgpu::TextureFormat::R8Unorm));
        CheckPicture(runner.Run(), Masked(picture, blurred, mask));
    }
}

TEST_CASE("Blur through a mask takes the picture from the input also in a size of its own")
{
    const Picture picture = RandomPicture({6, 4});
    const Picture mask = RandomPicture({3, 5}, 2);
    OperatorRunner<Blur> runner;
    runner.SetSize({12, 16});
    runner.SetFloat("Radius", 2.5);
    runner.Connect("Texture Input", Upload(picture));
    runner.Connect("Mask", Upload(mask));
    CheckPicture(runner.Run(), Masked(picture, BlurBoth(picture, 2.5, {12, 16}), mask));
}

TEST_CASE("Blur follows a mask that comes and goes")
{
    const Picture picture = RandomPicture({9, 9});
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), BlurBoth(picture, 4.0));
    runner.Connect("Mask", Filled({1, 1}, {0, 0, 0, 255}));
    CheckPicture(runner.Run(), picture);
    runner.Connect("Mask", {}); // connected, but nothing there
    CheckPicture(runner.Run(), BlurBoth(picture, 4.0));
    runner.Connect("Mask", Filled({1, 1}, {0, 0, 0, 255}));
    CheckPicture(runner.Run(), picture);
    runner.Disconnect("Mask");
    CheckPicture(runner.Run(), BlurBoth(picture, 4.0));
}

TEST_CASE("Blur follows its input's size and type, not the mask's")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({5, 7}), wgpu::TextureFormat::RG8Unorm));
    runner.Connect("Mask", Filled({3, 3}, {255, 255, 255, 255}));
    runner.Execute();
    CHECK(runner.Output().GetWidth() == 5);
    CHECK(runner.Output().GetHeight() == 7);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
}

TEST_CASE("Blur writes the channels that its texture type has")
{
    const Picture picture = RandomPicture({9, 7});
    OperatorRunner<Blur> runner;
    runner.SetFloat("Radius", 2.0);
    runner.Connect("Texture Input", Upload(picture));
    SECTION("without a mask")
    {
        CheckTextureTypes(runner, BlurBoth(picture, 2.0));
    }
    SECTION("with a mask")
    {
        const Picture mask = RandomPicture({9, 7}, 2);
        runner.Connect("Mask", Upload(mask));
        CheckTextureTypes(runner, Masked(picture, BlurBoth(picture, 2.0), mask));
    }
}

TEST_CASE("Blur without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<Blur> runner;
    SECTION("without a mask")
    {
        CheckNeedsInput(runner, "Texture Input");
    }
    SECTION("with a mask")
    {
        runner.Connect("Mask", Filled({2, 2}, {255, 255, 255, 255}));
        CheckNeedsInput(runner, "Texture Input");
    }
}

TEST_CASE("Blur survives any number")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Filled({3, 3}, {200, 100, 50, 25}));
    CheckSurvivesOddNumbers(runner);
    runner.SetFloat("Radius", std::numeric_limits<double>::quiet_NaN());
    CHECK(Near(At(runner.Run(), 1, 1), {200, 100, 50, 25})); // an even picture stays so with any radius
}

TEST_CASE("Blur draws two passes, and in the steady state makes nothing")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({16, 16})));
    const auto change = [&](int i) { runner.SetFloat("Radius", 1.0 + i); };
    SECTION("without a mask")
    {
        CheckSteadyState(runner, change, 2);
    }
    SECTION("with a mask")
    {
        runner.Connect("Mask", Filled({2, 2}, {128, 0, 0, 255}));
        CheckSteadyState(runner, change, 2);
    }
}

TEST_CASE("Blur gives the texture between its passes back at once")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({16, 16})));
    Graphics::TrimPools(true);
    runner.Execute();
    CHECK(Graphics::GetCounters().idleTextures == 1);
}

TEST_CASE("Blur builds its pipelines for texture types only")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({16, 16})));
    SECTION("one without a mask")
    {
        CheckPipelines(runner, [&] { runner.SetFloat("Radius", 9.0); });
    }
    SECTION("two with a mask")
    {
        runner.Connect("Mask", Filled({2, 2}, {128, 0, 0, 255}));
        CheckPipelines(
            runner, [&] { runner.SetFloat("Radius", 9.0); }, 2);
    }
}

TEST_CASE("Blur publishes a fresh texture on every execution")
{
    OperatorRunner<Blur> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({8, 8})));
    runner.SetFloat("Radius", 0.0);
    CheckFreshOutput(runner, [&] { runner.SetFloat("Radius", 8.0); });
}
