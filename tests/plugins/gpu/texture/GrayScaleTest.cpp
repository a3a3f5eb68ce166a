#include "texture/GrayScale.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

Rgba8 GrayOf(const char* method, Rgba8 color)
{
    OperatorRunner<GrayScale> runner;
    runner.SetEnum("Method", method);
    runner.Connect("Texture Input", Filled({4, 4}, color));
    return At(runner.Run(), 1, 2);
}

} // namespace

TEST_CASE("Grayscale by luminance weighs red, green and blue by BT.709 and keeps alpha")
{
    CHECK(Near(GrayOf("Luminance", {255, 0, 0, 51}), {54, 54, 54, 51}));      // 0.2126 * 255 = 54.2
    CHECK(Near(GrayOf("Luminance", {0, 255, 0, 255}), {182, 182, 182, 255})); // 0.7152 * 255 = 182.4
    CHECK(Near(GrayOf("Luminance", {0, 0, 255, 0}), {18, 18, 18, 0}));        // 0.0722 * 255 = 18.4
}

TEST_CASE("Grayscale by average, brightest and darkest takes the mean, the largest and the smallest channel")
{
    CHECK(Near(GrayOf("Average", {255, 0, 0, 51}), {85, 85, 85, 51}));
    CHECK(Near(GrayOf("Brightest", {10, 200, 30, 128}), {200, 200, 200, 128}));
    CHECK(Near(GrayOf("Darkest", {10, 200, 30, 128}), {10, 10, 10, 128}));
    CHECK(Near(GrayOf("Brightest", {255, 0, 0, 9}), {255, 255, 255, 9}));
    CHECK(Near(GrayOf("Darkest", {255, 0, 0, 9}), {0, 0, 0, 9}));
}

TEST_CASE("Grayscale starts with luminance, which an unknown method counts as too")
{
    OperatorRunner<GrayScale> runner;
    CHECK(runner.Parameter<EnumParameter>("Method").Value() == "Luminance");
    CHECK(Near(GrayOf("Moonlight", {255, 0, 0, 255}), {54, 54, 54, 255}));
}

TEST_CASE("Grayscale keeps the picture the right way up, also at odd sizes")
{
    OperatorRunner<GrayScale> runner;
    runner.SetEnum("Method", "Brightest");
    std::vector<Rgba8> pixels;
    for (int i = 0; i < 15; ++i)
        pixels.push_back({std::uint8_t(10 * i), 0, 0, std::uint8_t(255 - i)});
    runner.Connect("Texture Input", MakeTexture({3, 5}, pixels));
    const Image result = runner.Run();
    REQUIRE(result.GetWidth() == 3);
    REQUIRE(result.GetHeight() == 5);
    for (int i = 0; i < 15; ++i)
    {
        const auto gray = std::uint8_t(10 * i);
        CHECK(Near(At(result, i % 3, i / 3), {gray, gray, gray, std::uint8_t(255 - i)}));
    }
}

TEST_CASE("Grayscale stretches its input to a size of its own with linear filtering")
{
    OperatorRunner<GrayScale> runner;
    runner.SetSize({4, 1});
    runner.Connect("Texture Input", MakeTexture({2, 1}, {{0, 0, 0, 255}, {200, 200, 200, 255}}));
    const Image result = runner.Run();
    REQUIRE(result.GetWidth() == 4);
    // Pixel centres lie at 1/8, 3/8, 5/8, 7/8; the texel centres at 1/4 and 3/4, clamped outside.
    CHECK(Near(At(result, 0, 0), {0, 0, 0, 255}));
    CHECK(Near(At(result, 1, 0), {50, 50, 50, 255}));
    CHECK(Near(At(result, 2, 0), {150, 150, 150, 255}));
    CHECK(Near(At(result, 3, 0), {200, 200, 200, 255}));
}

TEST_CASE("Grayscale writes the channels that its texture type has")
{
    OperatorRunner<GrayScale> runner;
    runner.SetSize({2, 2});
    runner.Connect("Texture Input", Filled({2, 2}, {30, 60, 90, 120}));
    runner.SetEnum("Method", "Average");
    SECTION("one")
    {
        runner.SetEnum("Texture Type", "R8Unorm");
        CHECK(Near(At(runner.Run(), 0, 0), {60, 0, 0, 255}));
        CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::R8Unorm);
    }
    SECTION("two")
    {
        runner.SetEnum("Texture Type", "RG8Unorm");
        CHECK(Near(At(runner.Run(), 1, 1), {60, 60, 0, 255}));
        CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
    }
    SECTION("four")
    {
        CHECK(Near(At(runner.Run(), 1, 0), {60, 60, 60, 120}));
        CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
    }
}

TEST_CASE("Grayscale builds a pipeline for a new texture type, not for a new size or method")
{
    OperatorRunner<GrayScale> runner;
    runner.SetSize({4, 4});
    runner.Connect("Texture Input", Filled({4, 4}, {1, 2, 3, 4}));
    runner.Execute();
    runner.SetEnum("Texture Type", "R8Unorm");
    runner.Execute();
    runner.SetEnum("Texture Type", "RGBA8Unorm");
    runner.Execute();

    const std::uint64_t before = Graphics::GetCounters().pipelinesCreated;
    runner.SetSize({8, 2});
    runner.Execute();
    runner.SetEnum("Method", "Darkest");
    runner.Execute();
    CHECK(Graphics::GetCounters().pipelinesCreated == before);
    runner.SetEnum("Texture Type", "RG8Unorm");
    runner.Execute();
    CHECK(Graphics::GetCounters().pipelinesCreated == before + 1);
}

TEST_CASE("Grayscale without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<GrayScale> runner;
    const std::uint64_t before = Graphics::GetCounters().renderPasses;
    runner.Execute();
    CHECK_FALSE(runner.Output());
    CHECK(Graphics::GetCounters().renderPasses == before);

    runner.Connect("Texture Input", Filled({2, 2}, {255, 255, 255, 255}));
    runner.Execute();
    const Texture first = runner.Output();
    REQUIRE(first);
    runner.Disconnect("Texture Input");
    runner.Execute();
    CHECK(runner.Output() == first);
}

TEST_CASE("Grayscale publishes a fresh texture on every execution")
{
    OperatorRunner<GrayScale> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {255, 0, 0, 255}));
    runner.Execute();
    const Texture first = runner.Output();
    runner.SetEnum("Method", "Darkest");
    runner.Execute();
    CHECK_FALSE(runner.Output() == first);
    CHECK(Near(At(ReadBack(first), 0, 0), {54, 54, 54, 255}));
    CHECK(Near(At(ReadBack(runner.Output()), 0, 0), {0, 0, 0, 255}));
}

TEST_CASE("Grayscale in the steady state creates no texture, pipeline or buffer")
{
    OperatorRunner<GrayScale> runner;
    runner.Connect("Texture Input", Filled({16, 16}, {255, 0, 0, 255}));
    const char* const methods[] = {"Luminance", "Average"};
    CheckSteadyState(runner, [&](int step) { runner.SetEnum("Method", methods[step % 2]); });
}
