#include "texture/Mixer.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr Rgba8 red{255, 0, 0, 255};
constexpr Rgba8 green{0, 255, 0, 255};
constexpr Rgba8 blue{0, 0, 255, 255};

struct Stack : OperatorRunner<Mixer>
{
    Stack() { SetSize({2, 2}); }

    const std::vector<ParameterBundle*>& Bundles() { return Get().FindBundleList("Opacities")->GetBundles(); }
    FloatParameter& Opacity(std::size_t index)
    {
        return dynamic_cast<FloatParameter&>(*Bundles().at(index)->FindParameter("Opacity"));
    }
    std::vector<double> Opacities()
    {
        std::vector<double> values;
        for (std::size_t i = 0; i < Bundles().size(); ++i)
            values.push_back(Opacity(i).Value());
        return values;
    }
    DataInput& Layer(std::size_t index) { return *InputList("Inputs").GetInputs().at(index); }

    DataInput& Add(const Texture& texture, double opacity = 1.0)
    {
        DataInput& input = ConnectToList("Inputs", texture);
        Opacity(Bundles().size() - 1).SetValue(opacity);
        return input;
    }
    DataInput& Add(Rgba8 color, double opacity = 1.0) { return Add(Filled({2, 2}, color), opacity); }
    void Remove(std::size_t index) { GetGraph().Disconnect(Layer(index)); }

    Rgba8 Result() { return At(Run(), 1, 0); }
};

// A layer over what lies below, which is premultiplied.
glm::dvec4 Over(glm::dvec4 below, glm::dvec4 layer, double opacity)
{
    const double alpha = layer.a * opacity;
    return glm::dvec4(glm::dvec3(layer) * alpha, alpha) + below * (1 - alpha);
}

// The blending rounds to 8 bits after every layer, half a level each time; one more level is for the GPU.
int ToleranceFor(int layers)
{
    return (layers + 1) / 2 + 1;
}

// White at one of 17 pixels, transparent elsewhere: what it leaves there is its opacity.
Texture Dot(int position)
{
    std::vector<Rgba8> pixels(17, {0, 0, 0, 0});
    pixels[std::size_t(position)] = {255, 255, 255, 255};
    return MakeTexture({17, 1}, pixels);
}

std::uint64_t BuffersTaken()
{
    return Graphics::GetCounters().buffersCreated + Graphics::GetCounters().buffersReused;
}

} // namespace

TEST_CASE("Mixer has its lists and parameters in their order, with their defaults")
{
    OperatorRunner<Mixer> runner;
    CHECK(Mixer::Type()->GetId() == "Varkle.Texture.Mixer");
    CHECK(DescribePorts(runner.Get()) ==
          Lines{"Inputs: takes a list of Texture", "Opacities: bundles", "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Texture Type: Enum = RGBA8Unorm", "Texture Size: Vector 2 Int = 1024 1024"});
    CHECK(runner.InputList("Inputs").GetElementType() == TextureInput::Type());
    CHECK(runner.InputList("Inputs").GetInputs().empty());
    CHECK(runner.Get().FindBundleList("Opacities")->GetBundles().empty());
}

TEST_CASE("Mixer gives every input a numbered bundle with an opacity of 1")
{
    Stack stack;
    stack.ConnectToList("Inputs", Filled({1, 1}, red));
    stack.InputList("Inputs").AddInput(); // not connected
    REQUIRE(stack.Bundles().size() == 2);
    for (std::size_t i = 0; i < 2; ++i)
    {
        CHECK(stack.Bundles()[i]->GetName() == "Input " + std::to_string(i + 1));
        CHECK(stack.Bundles()[i]->GetKey() == stack.Layer(i).GetKey());
        CHECK(Describe(stack.Bundles()[i]->GetParameters()) == Lines{"Opacity: Float = 1"});
    }
}

TEST_CASE("Mixer without inputs gives a transparent texture of its size and type")
{
    OperatorRunner<Mixer> runner;
    runner.SetSize({3, 5});
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, {0, 0, 0, 0}), 0);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
    runner.SetEnum("Texture Type", "RG8Unorm");
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, {0, 0, 0, 255}), 0); // what a missing alpha reads
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
}

TEST_CASE("Mixer multiplies a single layer by its alpha and opacity")
{
    Stack stack;
    stack.Add({200, 100, 50, 255});
    CHECK(Near(stack.Result(), {200, 100, 50, 255}));
    stack.Opacity(0).SetValue(0.5);
    CHECK(Near(stack.Result(), {100, 50, 25, 128}));
    stack.Connect(stack.Layer(0), Filled({2, 2}, {200, 100, 50, 102})); // alpha 0.4
    CHECK(Near(stack.Result(), {40, 20, 10, 51}));
    stack.Opacity(0).SetValue(1);
    CHECK(Near(stack.Result(), {80, 40, 20, 102}));
    stack.Connect(stack.Layer(0), Filled({2, 2}, {200, 100, 50, 0}));
    CHECK(Near(stack.Result(), {0, 0, 0, 0}));
}

TEST_CASE("Mixer lays its inputs over each other in the order of the list")
{
    Stack stack;
    stack.Add(blue);
    stack.Add(red, 0.5);
    CHECK(Near(stack.Result(), {128, 0, 128, 255}));
    stack.Add(green, 0.2); // a fifth of green over four fifths of what lies below
    CHECK(Near(stack.Result(), {102, 51, 102, 255}));
    stack.Opacity(2).SetValue(1);
    CHECK(stack.Result() == green);
    stack.Opacity(2).SetValue(0);
    CHECK(Near(stack.Result(), {128, 0, 128, 255}));
}

TEST_CASE("Mixer composites translucent layers as the formula of over says")
{
    const struct
    {
        Rgba8 color;
        double opacity;
    } layers[] = {{{250, 120, 30, 90}, 0.9},
                  {{10, 200, 60, 160}, 0.75},
                  {{90, 15, 240, 255}, 0.3},
                  {{255, 255, 0, 40}, 1.0},
                  {{0, 0, 0, 128}, 0.5}};
    Stack stack;
    glm::dvec4 expected{0, 0, 0, 0};
    int count = 0;
    for (const auto& layer : layers)
    {
        stack.Add(layer.color, layer.opacity);
        expected = Over(expected, ToUnit(layer.color), layer.opacity);
        const Rgba8 result = stack.Result();
        ++count;
        INFO(count << " layers: " << result << ", not " << ToRgba8(expected));
        CHECK(Near(result, ToRgba8(expected), ToleranceFor(count)));
    }
}

TEST_CASE("Mixer composites pictures of several sizes pixel by pixel")
{
    const glm::ivec2 size{9, 7};
    const glm::ivec2 sizes[] = {{9, 7}, {18, 14}, {3, 1}};
    Stack stack;
    stack.SetSize(size);
    Picture expected(size, [](glm::ivec2) { return glm::dvec4(0); });
    for (unsigned i = 0; i < 3; ++i)
    {
        const Picture layer = RandomPicture(sizes[i], i);
        stack.Add(Upload(layer), 0.6);
        expected = Picture(size,
                           [&](glm::ivec2 pixel)
                           {
                               const glm::dvec2 uv = CenterOf(pixel, size);
                               return Over(expected.At(pixel), Sample(layer, uv, Edge::Repeat, Edge::Repeat), 0.6);
                           });
    }
    CheckPicture(stack.Run(), expected, ToleranceFor(3));
}

TEST_CASE("Mixer clamps opacities to 0 and 1 and counts what is not a number as 0")
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const struct
    {
        double opacity;
        int counted; // in percent
    } rows[] = {{1.5, 100},  {-0.2, 0},       {0.4, 40},      {1e300, 100},
                {-1e300, 0}, {infinity, 100}, {-infinity, 0}, {std::numeric_limits<double>::quiet_NaN(), 0}};
    Stack stack;
    stack.Add(blue);
    stack.Add(red);
    for (const auto& row : rows)
    {
        INFO(row.opacity);
        stack.Opacity(1).SetValue(row.opacity);
        CHECK(Near(stack.Result(),
                   {std::uint8_t(255 * row.counted / 100), 0, std::uint8_t(255 * (100 - row.counted) / 100), 255}));
    }
}

TEST_CASE("Mixer keeps each opacity with its input while inputs come and go")
{
    using Values = std::vector<double>;
    Stack stack;
    stack.Add(red, 0.1);
    stack.Add(green, 0.2);
    stack.Add(blue, 0.3);
    const std::string greensKey = stack.Bundles()[1]->GetKey();
    stack.Execute();
    stack.Remove(0);
    CHECK(stack.Opacities() == Values{0.2, 0.3});
    CHECK(stack.Bundles()[0]->GetKey() == greensKey);
    CHECK(stack.Bundles()[0]->GetName() == "Input 1");
    CHECK(stack.Bundles()[1]->GetName() == "Input 2");
    CHECK(Near(stack.Result(), {0, 36, 77, 112}, ToleranceFor(2))); // green 0.2 * 0.7, blue 0.3

    stack.Add(red, 0.4);
    stack.Remove(1);
    CHECK(stack.Opacities() == Values{0.2, 0.4});
    CHECK(Near(stack.Result(), {102, 31, 0, 133}, ToleranceFor(2))); // green 0.2 * 0.6, red 0.4

    stack.ConnectToList("Inputs", Filled({2, 2}, blue)); // does not inherit the opacity of the blue that went
    CHECK(stack.Opacities() == Values{0.2, 0.4, 1.0});
    CHECK(stack.Result() == blue);
    stack.Remove(0);
    stack.Remove(0);
    stack.Remove(0);
    CHECK(stack.Bundles().empty());
    CHECK(stack.Result() == Rgba8{0, 0, 0, 0});
}

TEST_CASE("Mixer keeps the opacity of an input that is fed by something else")
{
    Stack stack;
    DataInput& input = stack.Add(red, 0.5);
    stack.Execute();
    Operator* const other = stack.GetGraph().Add(TextureSource::Type());
    static_cast<TextureSource*>(other)->Set(Filled({2, 2}, green));
    REQUIRE(stack.GetGraph().Connect(*other->GetOutputs()[0], input));
    CHECK(stack.Opacities() == std::vector<double>{0.5});
    CHECK(Near(stack.Result(), {0, 128, 0, 128}));
}

TEST_CASE("Mixer drops the input of a source that is deleted")
{
    Stack stack;
    DataInput& bottom = stack.Add(red, 0.5);
    stack.Add(green, 0.2);
    stack.Execute();
    stack.GetGraph().Remove(bottom.GetConnection()->GetOperator());
    CHECK(stack.Opacities() == std::vector<double>{0.2});
    CHECK(Near(stack.Result(), {0, 51, 0, 51}));
}

TEST_CASE("Mixer draws nothing for inputs without a texture, which have an opacity all the same")
{
    Stack stack;
    stack.Add(blue);
    stack.InputList("Inputs").AddInput();
    stack.Add(Texture());
    stack.Add(red, 0.5);
    REQUIRE(stack.Bundles().size() == 4);
    CHECK(Near(stack.Result(), {128, 0, 128, 255}));

    stack.Opacity(1).SetValue(0.2);
    stack.Connect(stack.Layer(1), Filled({2, 2}, green)); // 204 of blue, 51 of green, then half of red
    CHECK(Near(stack.Result(), {128, 26, 102, 255}, ToleranceFor(3)));
}

TEST_CASE("Mixer doesn't show an input whose bundle is gone")
{
    Stack stack;
    stack.Add(blue);
    stack.Add(red);
    CHECK(stack.Result() == red);
    stack.Get().FindBundleList("Opacities")->RemoveBundle(stack.Bundles()[1]);
    CHECK(stack.Result() == blue);
    stack.Remove(1); // without a bundle to remove
    CHECK(stack.Result() == blue);
    CHECK(stack.Bundles().size() == 1);
}

TEST_CASE("Mixer draws all layers in one pass")
{
    Stack stack;
    for (const Rgba8& color : {red, green, blue})
        stack.Add(color, 0.5);
    const GpuCounters before = Graphics::GetCounters();
    stack.Execute();
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.renderPasses == before.renderPasses + 1);
    CHECK(after.draws == before.draws + 3);
}

TEST_CASE("Mixer draws any number of layers, which lie over each other as those of one pass do")
{
    Stack stack;
    stack.Add(red);
    DataOutput& source = *stack.Add(green, 0.0).GetConnection();
    // More than lavapipe takes in a pass, which crashed there; all of them from one source, to be quick.
    constexpr std::size_t layers = 33000;
    for (std::size_t i = stack.Bundles().size(); i < layers; ++i)
        REQUIRE(stack.GetGraph().Connect(source, stack.InputList("Inputs")));
    for (std::size_t i = 2; i < layers; ++i)
        stack.Opacity(i).SetValue(0.0);
    CHECK(Near(stack.Result(), red));
    stack.Opacity(layers - 1).SetValue(1.0);
    CHECK(Near(stack.Result(), green));
}

TEST_CASE("Mixer gives every input its own opacity, from the first to the seventeenth")
{
    Stack stack;
    stack.SetSize({17, 1});
    std::vector<Rgba8> expected(17, {0, 0, 0, 0});
    for (int i = 0; i < 17; ++i)
    {
        const int level = 15 * (i + 1);
        stack.Add(Dot(i), level / 255.0);
        expected[std::size_t(i)] = {std::uint8_t(level), std::uint8_t(level), std::uint8_t(level), std::uint8_t(level)};
        if (i == 7 || i == 8 || i == 15 || i == 16) // around the sizes of the uniform buffer
            CheckPixels(stack.Run(), expected, 2);  // a filter's weight of 1/256 and rounding
    }
    for (std::size_t i = 0; i < 8; ++i) // every other one goes
    {
        stack.Remove(i);
        expected[2 * i] = {0, 0, 0, 0};
    }
    CheckPixels(stack.Run(), expected, 2);
}

TEST_CASE("Mixer grows its uniform buffer from 8 blocks by powers of two and never shrinks it")
{
    Stack stack;
    const auto runWith = [&](std::size_t count)
    {
        while (stack.Bundles().size() > count)
            stack.Remove(0);
        while (stack.Bundles().size() < count)
            stack.Add(red, 0.5);
        const std::uint64_t before = BuffersTaken();
        stack.Execute();
        return BuffersTaken() - before;
    };
    runWith(1);
    CHECK(runWith(8) == 0);
    CHECK(runWith(9) == 1);
    CHECK(runWith(16) == 0);
    CHECK(runWith(17) == 1);
    CHECK(runWith(32) == 0);
    CHECK(runWith(2) == 0);
    CHECK(runWith(32) == 0);
    CHECK(runWith(33) == 1);
}

TEST_CASE("Mixer grows at once to the power of two that many inputs need")
{
    Stack stack;
    stack.Execute();
    for (int i = 0; i < 40; ++i)
        stack.Add(Rgba8{0, 0, 0, 0});
    stack.Add(green, 0.2);
    const std::uint64_t before = BuffersTaken();
    stack.Execute();
    CHECK(BuffersTaken() - before == 1);
    CHECK(Near(At(ReadBack(stack.Output()), 0, 0), {0, 51, 0, 51}));
    while (stack.Bundles().size() < 64)
        stack.Add(Rgba8{0, 0, 0, 0});
    const std::uint64_t grown = BuffersTaken();
    stack.Execute();
    CHECK(BuffersTaken() == grown);
    stack.Add(Rgba8{0, 0, 0, 0}); // the 65th
    stack.Execute();
    CHECK(BuffersTaken() == grown + 1);
}

TEST_CASE("Mixer wraps around at the edges of stretched inputs")
{
    Stack stack;
    stack.Add(MakeTexture({2, 1}, twoTexels));
    stack.SetSize({4, 1});
    CheckPixels(stack.Run(), stretchedRepeating);
    stack.Connect(stack.Layer(0), MakeTexture({1, 2}, twoTexels));
    stack.SetSize({1, 4});
    CheckPixels(stack.Run(), stretchedRepeating);
}

TEST_CASE("Mixer has its own size and type, whatever its inputs have")
{
    OperatorRunner<Mixer> runner;
    runner.ConnectToList("Inputs", Texture::Create({3, 3}, wgpu::TextureFormat::R8Unorm));
    runner.Execute();
    CHECK(runner.Output().GetWidth() == 1024);
    CHECK(runner.Output().GetHeight() == 1024);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
}

TEST_CASE("Mixer writes the channels that its texture type has, blended by an alpha that is not stored")
{
    Stack stack;
    stack.Add({0, 100, 200, 255});
    stack.Add({200, 100, 0, 255}, 0.5);
    CheckTextureTypes(stack, {100, 100, 100, 255});
}

TEST_CASE("Mixer builds a pipeline for a new texture type, not for a new size, opacity or more inputs")
{
    Stack stack;
    stack.Add(red);
    CheckPipelines(stack,
                   [&]
                   {
                       for (int i = 0; i < 10; ++i)
                           stack.Add(green, 0.5);
                   });
}

TEST_CASE("Mixer publishes a fresh texture on every execution")
{
    Stack stack;
    stack.Add(red);
    CheckFreshOutput(stack, [&] { stack.Opacity(0).SetValue(0.5); });
}

TEST_CASE("Mixer in the steady state creates nothing")
{
    for (const int count : {1, 3, 17})
    {
        INFO(count << " inputs");
        Stack stack;
        for (int i = 0; i < count; ++i)
            stack.Add(red, 0.5);
        CheckSteadyState(stack, [&](int step) { stack.Opacity(0).SetValue(0.01 * (step + 1)); });
    }
}
