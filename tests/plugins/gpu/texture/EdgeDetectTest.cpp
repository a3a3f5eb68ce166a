#include "texture/EdgeDetect.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Detection
{
    double threshold = 0.0;
    double strength = 1.0;
    double distance = 1.0;
};

void Set(OperatorRunner<EdgeDetect>& runner, const Detection& values)
{
    runner.SetFloat("Threshold", values.threshold);
    runner.SetFloat("Strength", values.strength);
    runner.SetFloat("Sample Distance", values.distance);
}

// The Sobel operator on the luminance; the neighbors lie `distance` output pixels apart.
Picture Edges(const Picture& picture, glm::ivec2 size, const Detection& values)
{
    return {size, [&](glm::ivec2 pixel)
            {
                glm::dvec2 gradient{0.0};
                for (int y = -1; y <= 1; ++y)
                {
                    for (int x = -1; x <= 1; ++x)
                    {
                        const glm::dvec2 away = glm::dvec2(x, y) * values.distance / glm::dvec2(size);
                        const glm::dvec3 rgb(Sample(picture, CenterOf(pixel, size) + away));
                        const double luminance = glm::dot(rgb, glm::dvec3(0.2126, 0.7152, 0.0722));
                        gradient.x += luminance * x * (y == 0 ? 2.0 : 1.0);
                        gradient.y += luminance * y * (x == 0 ? 2.0 : 1.0);
                    }
                }
                return glm::dvec4(std::max(0.0, glm::length(gradient) - values.threshold) * values.strength);
            }};
}

// Black on the left, white from the column on.
Picture StepAt(int column, glm::ivec2 size)
{
    return {size, [=](glm::ivec2 pixel) { return glm::dvec4(glm::dvec3(pixel.x < column ? 0.0 : 1.0), 1.0); }};
}

// The first row of what the operator makes of a step, with a strength of 0.1: an edge of 4 becomes 0.4 * 255 = 102.
std::vector<int> RowOfStep(const Detection& values)
{
    OperatorRunner<EdgeDetect> runner;
    Set(runner, values);
    runner.SetFloat("Strength", 0.1);
    runner.Connect("Texture Input", Upload(StepAt(4, {8, 2})));
    const Image image = runner.Run();
    std::vector<int> row;
    for (int x = 0; x < 8; ++x)
        row.push_back(At(image, x, 0).r);
    return row;
}

} // namespace

TEST_CASE("Edge Detect has a threshold, a strength and a sample distance")
{
    OperatorRunner<EdgeDetect> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Threshold: Float = 0", "Strength: Float = 1",
                "Sample Distance: Float = 1"});
    CHECK(EdgeDetect::Type()->GetId() == "Varkle.Texture.EdgeDetect");
}

TEST_CASE("Edge Detect makes an even picture transparent black, up to its edges")
{
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Filled({5, 3}, {200, 100, 50, 255}));
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, {0, 0, 0, 0}));
}

TEST_CASE("Edge Detect turns a step into white on the two columns beside it, in all four channels")
{
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Upload(StepAt(2, {4, 1})));
    CheckPixels(runner.Run(), {{0, 0, 0, 0}, {255, 255, 255, 255}, {255, 255, 255, 255}, {0, 0, 0, 0}});
}

TEST_CASE("Edge Detect's edge is 4 at a full step, less the threshold, times the strength")
{
    CHECK(RowOfStep({}) == std::vector<int>{0, 0, 0, 102, 102, 0, 0, 0});
    CHECK(RowOfStep({.threshold = 2}) == std::vector<int>{0, 0, 0, 51, 51, 0, 0, 0});
    CHECK(RowOfStep({.threshold = 4.01}) == std::vector<int>(8, 0));
    CHECK(RowOfStep({.threshold = -2}) == std::vector<int>{51, 51, 51, 153, 153, 51, 51, 51});
}

TEST_CASE("Edge Detect compares pixels that are a sample distance apart, which makes lines thick")
{
    CHECK(RowOfStep({.distance = 3}) == std::vector<int>{0, 102, 102, 102, 102, 102, 102, 0});
    CHECK(RowOfStep({.distance = -1}) == std::vector<int>{0, 0, 0, 102, 102, 0, 0, 0}); // mirrored: the same
    CHECK(RowOfStep({.distance = 0}) == std::vector<int>(8, 0));
    CHECK(RowOfStep({.distance = 0.5}) == std::vector<int>{0, 0, 0, 51, 51, 0, 0, 0}); // half a step on each side
}

TEST_CASE("Edge Detect's negative strength shows nothing, also below the threshold")
{
    OperatorRunner<EdgeDetect> runner;
    runner.SetFloat("Strength", -1.0);
    runner.SetFloat("Threshold", 1.0);
    runner.Connect("Texture Input", Upload(StepAt(2, {4, 2})));
    CheckPixels(runner.Run(), std::vector<Rgba8>(8, {0, 0, 0, 0}));
}

TEST_CASE("Edge Detect sees no edge between hues of one luminance")
{
    // 0.2126 * 74 = 0.7152 * 22 = 15.73
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", MakeTexture({2, 1}, {{74, 0, 0, 255}, {0, 22, 0, 255}}));
    CheckPixels(runner.Run(), {{0, 0, 0, 0}, {0, 0, 0, 0}});
}

TEST_CASE("Edge Detect is the Sobel operator on any picture")
{
    const Picture picture = RandomPicture({11, 7});
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const Detection& values : {Detection{0, 0.25, 1}, Detection{0.5, 0.3, 1}, Detection{0, 0.25, 2},
                                    Detection{0.25, 0.25, 5}, Detection{-0.5, 0.2, 30}})
    {
        INFO("threshold " << values.threshold << ", strength " << values.strength << ", distance " << values.distance);
        Set(runner, values);
        CheckPicture(runner.Run(), Edges(picture, picture.size, values));
    }
}

TEST_CASE("Edge Detect measures its distance in output pixels")
{
    const Picture picture = RandomPicture({8, 6});
    const Detection values{0.0, 0.25, 1.0};
    OperatorRunner<EdgeDetect> runner;
    Set(runner, values);
    runner.Connect("Texture Input", Upload(picture));
    for (const glm::ivec2 size : {glm::ivec2(16, 12), glm::ivec2(4, 12), glm::ivec2(5, 3)})
    {
        INFO(size.x << " by " << size.y);
        runner.SetSize(size);
        CheckPicture(runner.Run(), Edges(picture, size, values));
    }
}

TEST_CASE("Edge Detect writes the channels that its texture type has")
{
    const Picture picture = RandomPicture({5, 3});
    OperatorRunner<EdgeDetect> runner;
    runner.SetFloat("Strength", 0.25);
    runner.Connect("Texture Input", Upload(picture));
    CheckTextureTypes(runner, Edges(picture, {5, 3}, {.strength = 0.25}));
}

TEST_CASE("Edge Detect without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<EdgeDetect> runner;
    CheckNeedsInput(runner, "Texture Input");
}

TEST_CASE("Edge Detect survives any number")
{
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({4, 3})));
    CheckSurvivesOddNumbers(runner);
}

TEST_CASE("Edge Detect builds pipelines for texture types only and makes nothing in the steady state")
{
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({16, 16})));
    CheckSteadyState(runner, [&](int i) { runner.SetFloat("Sample Distance", 1.0 + i); });
    CheckPipelines(runner, [&] { runner.SetFloat("Threshold", 1.0); });
}

TEST_CASE("Edge Detect publishes a fresh texture on every execution")
{
    OperatorRunner<EdgeDetect> runner;
    runner.Connect("Texture Input", Upload(StepAt(1, {4, 4})));
    CheckFreshOutput(runner, [&] { runner.SetFloat("Strength", 0.0); });
}
