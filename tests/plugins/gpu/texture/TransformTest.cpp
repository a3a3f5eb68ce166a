#include "texture/Transform.h"
#include "support/Catch.h"
#include "support/TextureChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const Lines tilings = {"None", "Repeat", "Mirrored Repeat", "Clamp to Edge"};

struct Placement
{
    glm::mat4 transform{1.0f};
    std::string tilingX = "None";
    std::string tilingY = "None";
};

void Set(OperatorRunner<TransformTexture>& runner, const Placement& placement)
{
    runner.SetTransform("Transform", placement.transform);
    runner.SetEnum("Tiling Mode X", placement.tilingX);
    runner.SetEnum("Tiling Mode Y", placement.tilingY);
}

Edge EdgeOf(const std::string& tiling)
{
    if (tiling == "Repeat")
        return Edge::Repeat;
    return tiling == "Mirrored Repeat" ? Edge::Mirror : Edge::Clamp;
}

// Each output pixel shows what the inverse transform finds in the picture, in pixels from the top-left corner.
Picture Placed(const Picture& picture, glm::ivec2 size, const Placement& placement)
{
    const glm::dmat4 toInput = glm::inverse(glm::dmat4(placement.transform));
    const auto isBeside = [](const std::string& tiling, double u) { return tiling == "None" && (u < 0.0 || u >= 1.0); };
    return {size, [&](glm::ivec2 pixel)
            {
                const glm::dvec4 place = toInput * glm::dvec4(glm::dvec2(pixel) + 0.5, 0, 1);
                const glm::dvec2 uv = glm::dvec2(place) / glm::dvec2(picture.size);
                if (isBeside(placement.tilingX, uv.x) || isBeside(placement.tilingY, uv.y))
                    return glm::dvec4(0.0);
                return Sample(picture, uv, EdgeOf(placement.tilingX), EdgeOf(placement.tilingY));
            }};
}

glm::mat4 Translation(float x, float y)
{
    return glm::translate(glm::mat4(1.0f), {x, y, 0.0f});
}

glm::mat4 Rotation(float degrees, glm::vec3 axis = {0, 0, 1})
{
    return glm::rotate(glm::mat4(1.0f), glm::radians(degrees), axis);
}

glm::mat4 Scaling(float x, float y)
{
    return glm::scale(glm::mat4(1.0f), {x, y, 1.0f});
}

constexpr Rgba8 none{0, 0, 0, 0};

// What a row of four grays, 10, 20, 30 and 40, becomes.
void CheckRow(const Placement& placement, const std::vector<Rgba8>& expected)
{
    OperatorRunner<TransformTexture> runner;
    Set(runner, placement);
    runner.Connect("Texture Input", MakeTexture({4, 1}, Grays({10, 20, 30, 40})));
    CheckPixels(runner.Run(), expected);
}

} // namespace

TEST_CASE("Texture Transform leaves the picture where it is, without tiling, until it is told otherwise")
{
    OperatorRunner<TransformTexture> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Tiling Mode X: Enum = None", "Tiling Mode Y: Enum = None",
                "Transform: Transform 3D = identity"});
    CHECK(TilingModeNames() == tilings);
    CHECK(runner.Parameter<EnumParameter>("Tiling Mode X").GetPossibleValues() == tilings);
    CHECK(runner.Parameter<EnumParameter>("Tiling Mode Y").GetPossibleValues() == tilings);
    CHECK(TransformTexture::Type()->GetId() == "Varkle.Texture.Transform");
}

TEST_CASE("Texture Transform with its defaults outputs its input, also at odd sizes")
{
    const Picture picture = RandomPicture({7, 5});
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), picture);
}

TEST_CASE("Texture Transform moves the picture to the right and fills the band as the tiling says")
{
    CheckRow({Translation(1, 0)}, {none, Grays({10})[0], Grays({20})[0], Grays({30})[0]});
    CheckRow({Translation(1, 0), "Repeat"}, Grays({40, 10, 20, 30}));
    CheckRow({Translation(1, 0), "Clamp to Edge"}, Grays({10, 10, 20, 30}));
    CheckRow({Translation(2, 0), "Mirrored Repeat"}, Grays({20, 10, 10, 20}));
    CheckRow({Translation(-3, 0), "Mirrored Repeat"}, Grays({40, 40, 30, 20}));
}

TEST_CASE("Texture Transform takes an unknown tiling as the edge that goes on")
{
    CheckRow({Translation(2, 0), "Wrap", "Wrap"}, Grays({10, 10, 10, 20}));
    CheckRow({Translation(2, 9), "none", "none"}, Grays({10, 10, 10, 20})); // names are case-sensitive
}

TEST_CASE("Texture Transform places the picture by any transform with any pair of tilings")
{
    const glm::mat4 transforms[] = {
        Translation(3, -2),
        Translation(0.25f, 0.5f),
        Translation(-13, 21),
        Scaling(0.5f, 0.5f),
        Scaling(3, 1.5f) * Translation(-2, 0),
        Scaling(-1, 1), // mirrored, out to the left
        Rotation(90),   // clockwise, out to the left
        Translation(4, 3) * Rotation(30) * Scaling(0.7f, 1.3f),
        Rotation(60, {0, 1, 0}), // tilted: the inverse of the whole matrix counts, which stretches to the double
    };
    const Picture picture = RandomPicture({8, 6});
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const glm::mat4& transform : transforms)
    {
        for (const std::string& x : tilings)
        {
            for (const std::string& y : tilings)
            {
                INFO("transform " << (&transform - transforms) << ", " << x << ", " << y);
                const Placement placement{transform, x, y};
                Set(runner, placement);
                CheckPicture(runner.Run(), Placed(picture, picture.size, placement));
            }
        }
    }
}

TEST_CASE("Texture Transform turns the picture clockwise about the top-left corner")
{
    const Picture picture = RandomPicture({6, 6});
    OperatorRunner<TransformTexture> runner;
    // A quarter turn takes the picture out to the left; moving it by its height brings it back.
    Set(runner, {Translation(6, 0) * Rotation(90)});
    runner.Connect("Texture Input", Upload(picture));
    const auto turned = [&](glm::ivec2 pixel) { return picture.At({pixel.y, 5 - pixel.x}); };
    CheckPicture(runner.Run(), Picture(picture.size, turned));

    Set(runner, {Rotation(90)});
    CheckPixels(runner.Run(), std::vector<Rgba8>(36, none));
}

TEST_CASE("Texture Transform at half the size with repetition shows the picture two by two times")
{
    // Blocks of 2 by 2 pixels, each of one color, so that halving them gives that color.
    const auto blockColor = [](glm::ivec2 block) { return glm::dvec4(glm::dvec2(block) * 0.3, 0.5, 1); };
    const Picture picture({8, 8}, [&](glm::ivec2 pixel) { return blockColor(pixel / 2); });
    OperatorRunner<TransformTexture> runner;
    Set(runner, {Scaling(0.5f, 0.5f), "Repeat", "Repeat"});
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), Picture({8, 8}, [&](glm::ivec2 pixel) { return blockColor(pixel % 4); }));
}

TEST_CASE("Texture Transform's picture includes its first edge and excludes its last")
{
    // Half a pixel to the right puts the first pixel's center on u = 0; half a pixel to the left the last one's on u
    // = 1.
    CheckRow({Translation(0.5f, 0)}, Grays({10, 15, 25, 35}));
    CheckRow({Translation(-0.5f, 0)}, {Grays({15})[0], Grays({25})[0], Grays({35})[0], none});

    OperatorRunner<TransformTexture> runner;
    Set(runner, {Translation(0, 0.5f)});
    runner.Connect("Texture Input", MakeTexture({1, 2}, Grays({10, 20})));
    CheckPixels(runner.Run(), Grays({10, 15}));
    Set(runner, {Translation(0, -0.5f)});
    CheckPixels(runner.Run(), {Grays({15})[0], none});
}

TEST_CASE("Texture Transform masks each axis by its own tiling")
{
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {9, 9, 9, 255}));
    const Rgba8 shown{9, 9, 9, 255};
    Set(runner, {Translation(1, 1), "None", "Repeat"});
    CheckPixels(runner.Run(), {none, shown, none, shown});
    Set(runner, {Translation(1, 1), "Clamp to Edge", "None"});
    CheckPixels(runner.Run(), {none, none, shown, shown});
}

TEST_CASE("Texture Transform shows the picture pixel by pixel in an output of another size")
{
    const Picture picture = RandomPicture({5, 3});
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const glm::ivec2 size : {glm::ivec2(9, 8), glm::ivec2(3, 2), glm::ivec2(4, 7)})
    {
        INFO(size.x << " by " << size.y);
        runner.SetSize(size);
        const Placement placement{Translation(1, 1), "None", "Mirrored Repeat"};
        Set(runner, placement);
        CheckPicture(runner.Run(), Placed(picture, size, placement));
    }
}

TEST_CASE("Texture Transform follows a tiling that changes")
{
    const Picture picture = RandomPicture({4, 4});
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(picture));
    for (const char* const tiling : {"Repeat", "Clamp to Edge", "None", "Mirrored Repeat", "Repeat"})
    {
        INFO(tiling);
        const Placement placement{Translation(2, 1), tiling, "Repeat"};
        Set(runner, placement);
        CheckPicture(runner.Run(), Placed(picture, picture.size, placement));
        runner.SetTransform("Transform", Translation(-1, 3)); // nothing but the transform changes
        CheckPicture(runner.Run(), Placed(picture, picture.size, {Translation(-1, 3), tiling, "Repeat"}));
    }
}

TEST_CASE("Texture Transform makes a sampler once for each change of a tiling, and none when nothing but the transform "
          "changes")
{
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({4, 4})));
    Set(runner, {});
    runner.Execute();
    const auto countNew = [&](const Placement& placement)
    {
        const std::uint64_t before = Graphics::GetCounters().samplersCreated;
        Set(runner, placement);
        runner.Execute();
        runner.Execute();
        return Graphics::GetCounters().samplersCreated - before;
    };
    CHECK(countNew({Translation(1, 2)}) == 0);
    CHECK(countNew({Translation(1, 2), "Repeat"}) == 1);
    CHECK(countNew({Translation(1, 2), "Mirrored Repeat", "Repeat"}) == 1);
    CHECK(countNew({Translation(3, 2), "Mirrored Repeat", "Repeat"}) == 0);
}

TEST_CASE("Texture Transform takes a tiling that was chosen while there was no picture")
{
    const Picture picture = RandomPicture({4, 4});
    OperatorRunner<TransformTexture> runner;
    SECTION("never before")
    {
        runner.Execute();
    }
    SECTION("not any more")
    {
        runner.Connect("Texture Input", Upload(picture));
        runner.Execute();
        runner.Connect("Texture Input", {});
    }
    const Placement placement{Translation(2, 1), "Repeat", "Mirrored Repeat"};
    Set(runner, placement);
    runner.Execute();
    runner.Connect("Texture Input", Upload(picture));
    CheckPicture(runner.Run(), Placed(picture, picture.size, placement));
}

TEST_CASE("Texture Transform writes the channels that its texture type has")
{
    const Picture picture = RandomPicture({5, 3});
    const Placement placement{Translation(1, 0), "None", "None"};
    OperatorRunner<TransformTexture> runner;
    Set(runner, placement);
    runner.Connect("Texture Input", Upload(picture));
    CheckTextureTypes(runner, Placed(picture, {5, 3}, placement));
}

TEST_CASE("Texture Transform without an input texture draws nothing and keeps what it published")
{
    OperatorRunner<TransformTexture> runner;
    CheckNeedsInput(runner, "Texture Input");
}

TEST_CASE("Texture Transform survives any number and transforms without an inverse")
{
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({4, 4})));
    for (const std::string& tiling : tilings)
    {
        INFO(tiling);
        runner.SetEnum("Tiling Mode X", tiling);
        runner.SetEnum("Tiling Mode Y", tiling);
        CheckSurvivesOddNumbers(runner);
        for (const glm::mat4& transform :
             {Scaling(0, 0), Scaling(0, 1), Rotation(90, {1, 0, 0}), Scaling(1e-30f, 1e30f)})
        {
            runner.SetTransform("Transform", transform);
            CHECK(runner.Run().GetWidth() == 4);
        }
    }
}

TEST_CASE("Texture Transform builds pipelines for texture types only and makes nothing in the steady state")
{
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Upload(RandomPicture({16, 16})));
    CheckSteadyState(runner, [&](int i) { runner.SetTransform("Transform", Translation(float(i), 0)); });
    CheckPipelines(runner, [&] { runner.SetEnum("Tiling Mode X", "Repeat"); });
}

TEST_CASE("Texture Transform publishes a fresh texture on every execution")
{
    OperatorRunner<TransformTexture> runner;
    runner.Connect("Texture Input", Filled({4, 4}, {255, 255, 255, 255}));
    CheckFreshOutput(runner, [&] { runner.SetTransform("Transform", Translation(1, 1)); });
}
