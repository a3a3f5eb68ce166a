#include "texture/CrossFader.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

struct Fader : OperatorRunner<CrossFader>
{
    // Grays of these levels, in the order of the list.
    explicit Fader(std::initializer_list<int> levels = {})
    {
        SetSize({2, 2});
        for (const Rgba8& color : Grays(levels))
            ConnectToList("Inputs", Filled({2, 2}, color));
    }

    DataInput& Input(std::size_t index) { return *InputList("Inputs").GetInputs().at(index); }
    void SetPosition(double position) { SetFloat("Fader Position", position); }
    Rgba8 Result() { return At(Run(), 0, 1); }
    int Level() { return Result().r; }
};

} // namespace

TEST_CASE("Cross Fader has its list and parameters in their order, with their defaults")
{
    OperatorRunner<CrossFader> runner;
    CHECK(CrossFader::Type()->GetId() == "Varkle.Texture.CrossFader");
    CHECK(DescribePorts(runner.Get()) == Lines{"Inputs: takes a list of Texture", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Texture Type: Enum = RGBA8Unorm",
                                                          "Texture Size: Vector 2 Int = 1024 1024",
                                                          "Fader Position: Float = 0"});
    CHECK(runner.InputList("Inputs").GetElementType() == TextureInput::Type());
    CHECK(runner.InputList("Inputs").GetInputs().empty());
}

TEST_CASE("Cross Fader mixes the two inputs beside its position and stops at the ends of the list")
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const struct
    {
        double position;
        int level;
    } rows[] = {{-3, 50},     {-0.25, 50},     {0, 50},         {0.25, 75},
                {0.5, 100},   {1, 150},        {1.25, 165},     {1.75, 195},
                {2, 210},     {2.5, 210},      {7, 210},        {1e300, 210},
                {-1e300, 50}, {infinity, 210}, {-infinity, 50}, {std::numeric_limits<double>::quiet_NaN(), 50}};
    Fader fader{50, 150, 210};
    for (const auto& row : rows)
    {
        INFO(row.position);
        fader.SetPosition(row.position);
        const Rgba8 result = fader.Result();
        INFO(result);
        CHECK(Near(result, Gray(row.level)));
    }
}

TEST_CASE("Cross Fader mixes red, green, blue and alpha each by itself")
{
    Fader fader;
    fader.ConnectToList("Inputs", Filled({2, 2}, {200, 0, 40, 0}));
    fader.ConnectToList("Inputs", Filled({2, 2}, {0, 100, 80, 200}));
    fader.SetPosition(0.25);
    CHECK(Near(fader.Result(), {150, 25, 50, 50}));
}

TEST_CASE("Cross Fader with one input shows it at any position")
{
    Fader fader{90};
    for (const double position : {-1.0, 0.0, 0.5, 1.0, 9.0})
    {
        fader.SetPosition(position);
        CHECK(fader.Level() == 90);
    }
}

TEST_CASE("Cross Fader without inputs draws nothing and keeps what it published")
{
    Fader fader;
    CheckDrawsNothing(fader);
    CHECK_FALSE(fader.Output());

    DataInput& input = fader.ConnectToList("Inputs", Filled({2, 2}, {255, 0, 0, 255}));
    fader.Execute();
    REQUIRE(fader.Output());
    fader.GetGraph().Disconnect(input); // the element goes with its connection
    REQUIRE(fader.InputList("Inputs").GetInputs().empty());
    CheckDrawsNothing(fader);
}

TEST_CASE("Cross Fader keeps its picture while an input at either side of the position has no texture")
{
    Fader fader{50, 150, 210, 250};
    fader.Execute();
    fader.Connect(fader.Input(2), {}); // connected, and carries nothing
    const struct
    {
        double position;
        bool draws;
    } rows[] = {{0.5, true}, {1, false}, {1.5, false}, {2, false}, {2.5, false}, {3, true}, {0, true}};
    for (const auto& row : rows)
    {
        INFO(row.position);
        fader.SetPosition(row.position);
        const Texture before = fader.Output();
        if (row.draws)
            fader.Execute();
        else
            CheckDrawsNothing(fader);
        CHECK((fader.Output() == before) == !row.draws);
    }
    fader.SetPosition(2);
    fader.Connect(fader.Input(2), Filled({2, 2}, {99, 99, 99, 255}));
    CHECK(fader.Level() == 99);
}

TEST_CASE("Cross Fader counts an element that is not connected as one of the list")
{
    Fader fader{50};
    fader.SetPosition(1);
    CHECK(fader.Level() == 50);
    DataInput* const element = fader.InputList("Inputs").AddInput();
    CheckDrawsNothing(fader); // the position is that element's now
    fader.Connect(*element, Filled({2, 2}, {150, 150, 150, 255}));
    CHECK(fader.Level() == 150);
}

TEST_CASE("Cross Fader runs again when an input comes or goes")
{
    Fader fader{50, 150};
    fader.SetPosition(2);
    CHECK(fader.Level() == 150);
    fader.ConnectToList("Inputs", Filled({2, 2}, {210, 210, 210, 255}));
    CHECK(fader.Level() == 210);
    fader.GetGraph().Disconnect(fader.Input(1));
    fader.SetPosition(0.5);
    CHECK(fader.Level() == 130); // between 50 and 210
    fader.GetGraph().Disconnect(fader.Input(0));
    CHECK(fader.Level() == 210);

    const unsigned long executions = fader.Get().GetExecutionCount();
    fader.Execute();
    CHECK(fader.Get().GetExecutionCount() == executions); // nothing changed
}

TEST_CASE("Cross Fader takes any number of inputs")
{
    Fader fader;
    for (int i = 0; i < 17; ++i)
        fader.ConnectToList("Inputs", Filled({2, 2}, Gray(10 * i)));
    for (const double position : {0.5, 7.5, 8.0, 13.5, 16.0})
    {
        fader.SetPosition(position);
        CHECK(Near(fader.Result(), Gray(int(10 * position))));
    }
}

TEST_CASE("Cross Fader clamps at the edges of stretched inputs, which may differ in size")
{
    OperatorRunner<CrossFader> runner;
    runner.ConnectToList("Inputs", MakeTexture({2, 1}, twoTexels));
    runner.ConnectToList("Inputs", MakeTexture({2, 1}, twoTexels));
    runner.SetSize({4, 1});
    for (const double position : {0.0, 0.5, 1.0})
    {
        runner.SetFloat("Fader Position", position);
        CheckPixels(runner.Run(), stretchedClamping);
    }
    DataInputList& list = runner.InputList("Inputs");
    runner.Connect(*list.GetInputs()[0], MakeTexture({1, 2}, twoTexels));
    runner.Connect(*list.GetInputs()[1], Filled({3, 3}, {0, 0, 0, 255}));
    runner.SetSize({1, 4});
    runner.SetFloat("Fader Position", 0.5);
    CheckPixels(runner.Run(), Grays({0, 25, 75, 100}));
}

TEST_CASE("Cross Fader keeps pictures the right way up at odd sizes")
{
    OperatorRunner<CrossFader> runner;
    const Picture picture = RandomPicture({3, 5});
    runner.SetSize(picture.size);
    runner.ConnectToList("Inputs", Upload(picture));
    CheckPicture(runner.Run(), picture);
}

TEST_CASE("Cross Fader has its own size and type, whatever its inputs have")
{
    OperatorRunner<CrossFader> runner;
    runner.ConnectToList("Inputs", Texture::Create({3, 3}, wgpu::TextureFormat::R8Unorm));
    runner.Execute();
    CHECK(runner.Output().GetWidth() == 1024);
    CHECK(runner.Output().GetHeight() == 1024);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
}

TEST_CASE("Cross Fader writes the channels that its texture type has, in the size that is asked for")
{
    Fader fader;
    fader.ConnectToList("Inputs", Filled({2, 2}, {200, 100, 50, 150}));
    CheckTextureTypes(fader, {200, 100, 50, 150});
}

TEST_CASE("Cross Fader builds a pipeline for a new texture type, not for a new size, position or input")
{
    Fader fader{50, 150};
    CheckPipelines(fader,
                   [&]
                   {
                       fader.SetPosition(1.5);
                       fader.ConnectToList("Inputs", Filled({3, 3}, {1, 2, 3, 4}));
                   });
}

TEST_CASE("Cross Fader publishes a fresh texture on every execution")
{
    Fader fader{50, 150};
    CheckFreshOutput(fader, [&] { fader.SetPosition(0.5); });
}

TEST_CASE("Cross Fader in the steady state creates nothing")
{
    Fader fader{50, 150, 210};
    CheckSteadyState(fader, [&](int step) { fader.SetPosition(0.1 * (step + 1)); });
}
