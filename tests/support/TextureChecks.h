#pragma once

#include "support/OperatorChecks.h"
#include "support/Picture.h"

#include <limits>

// What texture operators promise alike, checked with whole pictures.

namespace Varkle::Testing
{

/// Runs the operator with each texture type in the size of the expected picture: the output has the type, and of the
/// picture the channels that the type has.
template<class Op>
void CheckTextureTypes(OperatorRunner<Op>& runner, const Picture& expected, int tolerance = 1)
{
    runner.SetSize(expected.size);
    for (const auto format :
         {wgpu::TextureFormat::R8Unorm, wgpu::TextureFormat::RG8Unorm, wgpu::TextureFormat::RGBA8Unorm})
    {
        INFO(GetTextureFormatName(format));
        runner.SetEnum("Texture Type", GetTextureFormatName(format));
        const Image image = runner.Run();
        CHECK(runner.Output().GetTextureFormat() == format);
        CheckPicture(image, Stored(expected, format), tolerance);
    }
}

/// Checks that the operator without the input draws nothing, says nothing about it, and keeps what it published.
template<class Op>
void CheckNeedsInput(OperatorRunner<Op>& runner, std::string_view input)
{
    const LogRecorder log;
    CheckDrawsNothing(runner);
    CHECK_FALSE(runner.Output());

    runner.Connect(input, Filled({2, 2}, {255, 255, 255, 255}));
    runner.Execute();
    REQUIRE(runner.Output());
    runner.Connect(input, {});
    CheckDrawsNothing(runner);
    runner.Disconnect(input);
    runner.Get().MarkDirty();
    CheckDrawsNothing(runner);
    CHECK(log.lines.empty());
}

/// Checks that numbers which no formula foresees (huge, infinite, not a number) in any parameter neither stop the
/// operator nor upset the device.
template<class Op>
void CheckSurvivesOddNumbers(OperatorRunner<Op>& runner)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double odd[] = {-1.0, 0.0, 1e30, -1e30, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
    const std::uint64_t errors = Graphics::GetCounters().errors;
    const auto vary = [&](auto* parameter, auto valueOf)
    {
        if (!parameter)
            return;
        for (const double number : odd)
        {
            INFO(parameter->GetName() << " = " << number);
            parameter->SetValue(valueOf(number));
            CHECK(runner.Run().IsValid());
        }
        parameter->SetValue(parameter->DefaultValue());
    };
    for (Parameter* const parameter : runner.Get().GetParameters())
    {
        vary(dynamic_cast<FloatParameter*>(parameter), [](double number) { return number; });
        vary(dynamic_cast<ColorParameter*>(parameter),
             [](double number) {
                 return Color{number, number, number, number};
             });
        vary(dynamic_cast<Transform3DParameter*>(parameter), [](double number) { return glm::mat4(float(number)); });
    }
    CHECK(Graphics::GetCounters().errors == errors);
    CHECK_FALSE(Graphics::IsLost());
}

} // namespace Varkle::Testing
