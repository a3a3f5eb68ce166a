#include "texture/Color.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"

#include <cmath>

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("A new Color operator gives an 8 by 8 opaque white texture of four channels")
{
    OperatorRunner<ColorOperator> runner;
    const Image result = runner.Run();
    REQUIRE(result.GetWidth() == 8);
    REQUIRE(result.GetHeight() == 8);
    CHECK(At(result, 0, 0) == Rgba8{255, 255, 255, 255});
    CHECK(At(result, 7, 7) == Rgba8{255, 255, 255, 255});
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
}

TEST_CASE("Color shows its parameters in the order texture type, texture size, color")
{
    OperatorRunner<ColorOperator> runner;
    const auto& parameters = runner.Get().GetParameters();
    REQUIRE(parameters.size() == 3);
    CHECK(parameters[0]->GetName() == "Texture Type");
    CHECK(parameters[1]->GetName() == "Texture Size");
    CHECK(parameters[2]->GetName() == "Color");
}

TEST_CASE("Color stores its color as it is, alpha included")
{
    OperatorRunner<ColorOperator> runner;
    runner.Parameter<ColorParameter>("Color").SetValue({1.0, 0.2, 0.0, 0.5});
    CHECK(Near(At(runner.Run(), 3, 3), {255, 51, 0, 128}));
}

TEST_CASE("Color cuts off what lies outside 0 to 1")
{
    OperatorRunner<ColorOperator> runner;
    runner.Parameter<ColorParameter>("Color").SetValue({1.5, -0.2, 0.4, 2.0});
    CHECK(Near(At(runner.Run(), 3, 3), {255, 0, 102, 255}));
}

TEST_CASE("A Color that is not finite becomes the nearest that can be drawn")
{
    const LogRecorder heard;
    OperatorRunner<ColorOperator> runner;
    runner.Parameter<ColorParameter>("Color").SetValue({1e300, std::nan(""), -1e300, 1.0});
    CHECK(At(runner.Run(), 3, 3) == Rgba8{255, 0, 0, 255});
    CHECK(heard.lines.empty());
}

TEST_CASE("Color keeps the first channels in narrow texture types")
{
    OperatorRunner<ColorOperator> runner;
    runner.Parameter<ColorParameter>("Color").SetValue({1.0, 0.6, 0.3, 0.5});
    runner.SetEnum("Texture Type", "R8Unorm");
    CHECK(At(runner.Run(), 0, 0) == Rgba8{255, 0, 0, 255});
    runner.SetEnum("Texture Type", "RG8Unorm");
    CHECK(Near(At(runner.Run(), 0, 0), {255, 153, 0, 255}));
}

TEST_CASE("Color makes textures of odd sizes, one pixel included")
{
    OperatorRunner<ColorOperator> runner;
    for (const glm::ivec2 size : {glm::ivec2(1, 1), glm::ivec2(3, 7), glm::ivec2(257, 2)})
    {
        runner.SetSize(size);
        const Image result = runner.Run();
        CHECK(result.GetWidth() == size.x);
        CHECK(result.GetHeight() == size.y);
        CHECK(At(result, size.x - 1, size.y - 1) == Rgba8{255, 255, 255, 255});
    }
}

TEST_CASE("Color takes the nearest possible size for one that can't be made, and warns")
{
    const LogRecorder heard;
    OperatorRunner<ColorOperator> runner;
    runner.SetSize({0, -3});
    const Image result = runner.Run();
    CHECK(result.GetWidth() == 1);
    CHECK(result.GetHeight() == 1);
    REQUIRE(heard.lines.size() == 1);
    CHECK(heard.Contains("warning: "));
    CHECK(heard.Contains("0 by -3"));
    CHECK(runner.Parameter<Vector2IntParameter>("Texture Size").Value() == glm::ivec2(0, -3));
}
