#include "texture/ChannelShuffle.h"
#include "support/Catch.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "support/TextureChecks.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const char* const outputs[] = {"Red", "Green", "Blue", "Alpha"};
const char* const inputNames[] = {"Texture Input A", "Texture Input B", "Texture Input C", "Texture Input D"};

// Level 10 * (input + 1) + channel: 32 is the blue of the third input.
Rgba8 ColorOf(int input)
{
    const int level = 10 * (input + 1);
    return {std::uint8_t(level), std::uint8_t(level + 1), std::uint8_t(level + 2), std::uint8_t(level + 3)};
}

std::uint8_t& ChannelOf(Rgba8& color, int channel)
{
    std::uint8_t* const channels[] = {&color.r, &color.g, &color.b, &color.a};
    return *channels[channel];
}

struct Shuffle : OperatorRunner<ChannelShuffle>
{
    Shuffle()
    {
        SetSize({2, 2});
        for (int i = 0; i < 4; ++i)
            Connect(inputNames[i], Filled({2, 2}, ColorOf(i)));
    }

    void SetInput(const char* channel, long long input) { SetInt(std::string(channel) + " Input", input); }
    void SetChannel(const char* channel, const char* source) { SetEnum(std::string(channel) + " Channel", source); }
    Rgba8 Result() { return At(Run(), 1, 0); }
};

} // namespace

TEST_CASE("Channel Shuffle has its inputs and parameters in their order, with their defaults")
{
    CHECK(ChannelShuffle::Type()->GetId() == "Varkle.Texture.ChannelShuffle");
    OperatorRunner<ChannelShuffle> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input A: takes Texture", "Texture Input B: takes Texture",
                                               "Texture Input C: takes Texture", "Texture Input D: takes Texture",
                                               "Texture Output: gives Texture"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Output Format: Enum = Copy Input A", "Texture Type: Enum = RGBA8Unorm",
                "Texture Size: Vector 2 Int = 1024 1024", "Red Input: Int = 0", "Red Channel: Enum = Red",
                "Green Input: Int = 0", "Green Channel: Enum = Green", "Blue Input: Int = 0",
                "Blue Channel: Enum = Blue", "Alpha Input: Int = 0", "Alpha Channel: Enum = Alpha"});
    for (const char* const output : outputs)
        CHECK(runner.Parameter<EnumParameter>(std::string(output) + " Channel").GetPossibleValues() ==
              Lines{"Red", "Green", "Blue", "Alpha", "0", "1"});
}

TEST_CASE("Channel Shuffle copies its first input unless told otherwise")
{
    Shuffle shuffle;
    CHECK(shuffle.Result() == ColorOf(0));
}

TEST_CASE("Channel Shuffle takes each output channel from any channel of any input")
{
    const char* const sources[] = {"Red", "Green", "Blue", "Alpha", "0", "1"};
    Shuffle shuffle;
    for (int output = 0; output < 4; ++output)
    {
        for (int input = 0; input < 4; ++input)
        {
            for (int source = 0; source < 6; ++source)
            {
                INFO(outputs[output] << " from " << inputNames[input] << ", " << sources[source]);
                shuffle.SetInput(outputs[output], input);
                shuffle.SetChannel(outputs[output], sources[source]);
                Rgba8 expected = ColorOf(0);
                Rgba8 from = ColorOf(input);
                ChannelOf(expected, output) =
                    source < 4 ? ChannelOf(from, source) : std::uint8_t(source == 4 ? 0 : 255);
                CHECK(shuffle.Result() == expected);
            }
        }
        shuffle.SetInput(outputs[output], 0);
        shuffle.SetChannel(outputs[output], outputs[output]);
    }
}

TEST_CASE("Channel Shuffle takes its four channels from four inputs at once")
{
    Shuffle shuffle;
    shuffle.SetInput("Red", 3);
    shuffle.SetChannel("Red", "Alpha");
    shuffle.SetInput("Green", 2);
    shuffle.SetChannel("Green", "Red");
    shuffle.SetInput("Blue", 1);
    shuffle.SetChannel("Blue", "Green");
    shuffle.SetInput("Alpha", 0);
    shuffle.SetChannel("Alpha", "Blue");
    CHECK(shuffle.Result() == Rgba8{43, 30, 21, 12});
}

TEST_CASE("Channel Shuffle counts numbers beyond the inputs as the nearest input")
{
    using Limits = std::numeric_limits<long long>;
    const struct
    {
        long long input;
        int counted;
    } rows[] = {{-1, 0},           {-2, 0}, {4, 3}, {7, 3}, {(1ll << 32) + 1, 3}, {-(1ll << 32), 0}, {Limits::max(), 3},
                {Limits::min(), 0}};
    Shuffle shuffle;
    for (const auto& row : rows)
    {
        INFO(row.input);
        for (const char* const output : outputs)
            shuffle.SetInput(output, row.input);
        CHECK(shuffle.Result() == ColorOf(row.counted));
    }
}

TEST_CASE("Channel Shuffle counts a channel that it does not know as the output's own")
{
    Shuffle shuffle;
    for (const char* const output : outputs)
    {
        shuffle.SetInput(output, 2);
        shuffle.SetChannel(output, "Hue");
    }
    CHECK(shuffle.Result() == ColorOf(2));
}

TEST_CASE("Channel Shuffle takes transparent black for inputs without a texture, all of them included")
{
    Shuffle shuffle;
    shuffle.Connect("Texture Input A", {});
    CHECK(shuffle.Result() == Rgba8{0, 0, 0, 0});
    shuffle.SetInput("Green", 1);
    shuffle.SetChannel("Alpha", "1");
    CHECK(shuffle.Result() == Rgba8{0, 21, 0, 255});
    for (const char* const input : inputNames)
        shuffle.Disconnect(input);
    CHECK(shuffle.Result() == Rgba8{0, 0, 0, 255});

    OperatorRunner<ChannelShuffle> unconnected;
    unconnected.SetSize({3, 2});
    CheckPixels(unconnected.Run(), std::vector<Rgba8>(6, {0, 0, 0, 0}), 0);
}

TEST_CASE("Channel Shuffle wraps around at the edges of stretched inputs")
{
    for (int i = 0; i < 4; ++i)
    {
        INFO(inputNames[i]);
        OperatorRunner<ChannelShuffle> runner;
        for (const char* const output : outputs)
            runner.SetInt(std::string(output) + " Input", i);
        runner.SetSize({4, 1});
        runner.Connect(inputNames[i], MakeTexture({2, 1}, twoTexels));
        CheckPixels(runner.Run(), stretchedRepeating);
        runner.SetSize({1, 4});
        runner.Connect(inputNames[i], MakeTexture({1, 2}, twoTexels));
        CheckPixels(runner.Run(), stretchedRepeating);
    }
}

TEST_CASE("Channel Shuffle keeps pictures the right way up at odd sizes, inputs of other sizes included")
{
    OperatorRunner<ChannelShuffle> runner;
    const Picture picture = RandomPicture({3, 5});
    runner.Connect("Texture Input B", Upload(picture));
    runner.Connect("Texture Input D", Filled({7, 2}, {1, 2, 3, 204}));
    runner.SetEnum("Output Format", "Copy Input B");
    runner.SetInt("Red Input", 1);
    runner.SetInt("Green Input", 1);
    runner.SetInt("Blue Input", 1);
    runner.SetInt("Alpha Input", 3);
    CheckPicture(runner.Run(),
                 {picture.size, [&](glm::ivec2 p) { return glm::dvec4(glm::dvec3(picture.At(p)), 0.8); }});
}

TEST_CASE("Channel Shuffle writes the channels that its texture type has, in the size that is asked for")
{
    Shuffle shuffle;
    CheckTextureTypes(shuffle, ColorOf(0));
}

TEST_CASE("Channel Shuffle follows the input that is chosen and no other")
{
    OperatorRunner<ChannelShuffle> runner;
    CheckFollowedInputs(runner, {inputNames[0], inputNames[1], inputNames[2], inputNames[3]});
}

TEST_CASE("Channel Shuffle builds a pipeline for a new texture type, not for a new size or channel")
{
    Shuffle shuffle;
    CheckPipelines(shuffle,
                   [&]
                   {
                       shuffle.SetInput("Red", 3);
                       shuffle.SetChannel("Green", "1");
                       shuffle.Disconnect("Texture Input B");
                   });
}

TEST_CASE("Channel Shuffle publishes a fresh texture on every execution")
{
    Shuffle shuffle;
    CheckFreshOutput(shuffle, [&] { shuffle.SetInput("Red", 3); });
}

TEST_CASE("Channel Shuffle in the steady state creates nothing")
{
    Shuffle shuffle;
    SECTION("with all inputs") {}
    SECTION("with two inputs")
    {
        shuffle.Disconnect("Texture Input A");
        shuffle.Disconnect("Texture Input C");
    }
    CheckSteadyState(shuffle, [&](int step) { shuffle.SetInput("Blue", step % 4); });
}
