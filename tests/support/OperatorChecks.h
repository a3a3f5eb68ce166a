#pragma once

#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"

#include <sstream>

// What many operators promise alike: checks of one line for their tests.

namespace Varkle::Testing
{

using Lines = std::vector<std::string>;

inline std::string DescribeValue(const Parameter& parameter)
{
    std::ostringstream text;
    if (const auto* const number = dynamic_cast<const FloatParameter*>(&parameter))
        text << number->Value();
    else if (const auto* const integer = dynamic_cast<const IntParameter*>(&parameter))
        text << integer->Value();
    else if (const auto* const boolean = dynamic_cast<const BoolParameter*>(&parameter))
        text << (boolean->Value() ? "true" : "false");
    else if (const auto* const string = dynamic_cast<const StringParameter*>(&parameter))
        text << string->Value();
    else if (const auto* const choice = dynamic_cast<const EnumParameter*>(&parameter))
        text << choice->Value();
    else if (const auto* const vector = dynamic_cast<const Vector2Parameter*>(&parameter))
        text << vector->Value().x << ' ' << vector->Value().y;
    else if (const auto* const vector3 = dynamic_cast<const Vector3Parameter*>(&parameter))
        text << vector3->Value().x << ' ' << vector3->Value().y << ' ' << vector3->Value().z;
    else if (const auto* const vector4 = dynamic_cast<const Vector4Parameter*>(&parameter))
        text << vector4->Value().x << ' ' << vector4->Value().y << ' ' << vector4->Value().z << ' '
             << vector4->Value().w;
    else if (const auto* const size = dynamic_cast<const Vector2IntParameter*>(&parameter))
        text << size->Value().x << ' ' << size->Value().y;
    else if (const auto* const counts = dynamic_cast<const Vector3IntParameter*>(&parameter))
        text << counts->Value().x << ' ' << counts->Value().y << ' ' << counts->Value().z;
    else if (const auto* const color = dynamic_cast<const ColorParameter*>(&parameter))
        text << color->Value().r << ' ' << color->Value().g << ' ' << color->Value().b << ' ' << color->Value().a;
    else if (const auto* const transform = dynamic_cast<const Transform3DParameter*>(&parameter))
        text << (transform->Value() == glm::mat4(1.0f) ? "identity" : "not the identity");
    return text.str();
}

/// Describes parameters in their order, each as "Strength: Float = 1".
inline Lines Describe(const std::vector<Parameter*>& parameters)
{
    Lines lines;
    for (const Parameter* const parameter : parameters)
        lines.push_back(parameter->GetName() + ": " + std::string(GetParameterTypeName(parameter->GetParameterType())) +
                        " = " + DescribeValue(*parameter));
    return lines;
}

/// Describes inputs ("Mask: takes Texture"), input lists, bundle lists and outputs in their order.
inline Lines DescribePorts(const Operator& op)
{
    Lines lines;
    for (const Object* const object : op.GetInputs())
    {
        if (const auto* const input = dynamic_cast<const DataInput*>(object))
            lines.push_back(input->GetName() + ": takes " + std::string(input->GetDataTypeName()));
        else if (const auto* const list = dynamic_cast<const DataInputList*>(object))
            lines.push_back(list->GetName() + ": takes a list of " + std::string(list->GetDataTypeName()));
    }
    for (const ParameterBundleList* const list : op.GetBundleLists())
        lines.push_back(list->GetName() + ": bundles");
    for (const DataOutput* const output : op.GetOutputs())
        lines.push_back(output->GetName() + ": gives " + std::string(output->GetDataTypeName()));
    return lines;
}

/// Checks all pixels, row by row from the top.
inline void CheckPixels(const Image& image, const std::vector<Rgba8>& expected, int tolerance = 1)
{
    REQUIRE(std::size_t(image.GetWidth()) * std::size_t(image.GetHeight()) == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        const int x = int(i) % image.GetWidth();
        const int y = int(i) / image.GetWidth();
        const Rgba8 actual = At(image, x, y);
        INFO("pixel " << x << ", " << y << " is " << actual << ", not " << expected[i]);
        CHECK(Near(actual, expected[i], tolerance));
    }
}

// Two texels stretched over four pixels with linear filtering tell how edges are read: the pixels' centers lie at 1/8,
// 3/8, 5/8 and 7/8, the texels' at 1/4 and 3/4, so that the outer pixels lie a quarter of a texel outside of them.
inline const std::vector<Rgba8> twoTexels = Grays({0, 200});
inline const std::vector<Rgba8> stretchedRepeating = Grays({50, 50, 150, 150});
inline const std::vector<Rgba8> stretchedClamping = Grays({0, 50, 150, 200});

/// Runs the graph: the operator executes, once, and leaves its output as it was, without a pass.
template<class Op>
void CheckDrawsNothing(OperatorRunner<Op>& runner)
{
    const Texture output = runner.Output();
    const unsigned long executions = runner.Get().GetExecutionCount();
    const std::uint64_t passes = Graphics::GetCounters().renderPasses;
    runner.Execute();
    CHECK(runner.Get().GetExecutionCount() == executions + 1);
    CHECK(Graphics::GetCounters().renderPasses == passes);
    CHECK(runner.Output() == output);
}

/// Runs an operator whose output is `color` all over, in a size of its own, with each texture type.
template<class Op>
void CheckTextureTypes(OperatorRunner<Op>& runner, Rgba8 color)
{
    runner.SetSize({3, 5});
    runner.SetEnum("Texture Type", "R8Unorm");
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, {color.r, 0, 0, 255}));
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::R8Unorm);
    runner.SetEnum("Texture Type", "RG8Unorm");
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, {color.r, color.g, 0, 255}));
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
    runner.SetEnum("Texture Type", "RGBA8Unorm");
    CheckPixels(runner.Run(), std::vector<Rgba8>(15, color));
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
    CHECK(runner.Output().GetWidth() == 3);
    CHECK(runner.Output().GetHeight() == 5);
}

/// Checks that "Output Format" offers to copy each of the inputs, and that each choice follows that input alone.
template<class Op>
void CheckFollowedInputs(OperatorRunner<Op>& runner, const std::vector<std::string>& inputs)
{
    const auto makeTexture = [](int i) {
        return Texture::Create({i + 2, 9 - i}, i % 2 ? wgpu::TextureFormat::R8Unorm : wgpu::TextureFormat::RG8Unorm);
    };
    auto& size = runner.template Parameter<Vector2IntParameter>("Texture Size");
    auto& type = runner.template Parameter<EnumParameter>("Texture Type");
    auto& format = runner.template Parameter<EnumParameter>("Output Format");
    REQUIRE(format.GetPossibleValues().size() == inputs.size() + 1);
    CHECK(format.GetPossibleValues().back() == "Manual");

    for (int i = 0; i < int(inputs.size()); ++i)
        runner.Connect(inputs[std::size_t(i)], makeTexture(i));
    for (int i = 0; i < int(inputs.size()); ++i)
    {
        const std::string& input = inputs[std::size_t(i)];
        INFO(input);
        format.SetValue(std::string("Copy Input ") + char('A' + i));
        REQUIRE(format.GetIndex() == i);
        runner.Execute();
        CHECK(runner.Output().GetWidth() == i + 2);
        CHECK(runner.Output().GetHeight() == 9 - i);
        CHECK(runner.Output().GetTextureFormat() == makeTexture(i).GetTextureFormat());
        CHECK(size.Value() == glm::ivec2(i + 2, 9 - i));

        // Nothing to follow: size and type stay, whatever the other inputs carry.
        size.SetValue({5, 4});
        type.SetValue("RGBA8Unorm");
        runner.Connect(input, {});
        runner.Execute();
        CHECK(size.Value() == glm::ivec2(5, 4));
        CHECK(type.Value() == "RGBA8Unorm");
        runner.Connect(input, makeTexture(i));
    }
    runner.SetSize({6, 7}); // manual
    type.SetValue("RG8Unorm");
    runner.Execute();
    CHECK(runner.Output().GetWidth() == 6);
    CHECK(runner.Output().GetHeight() == 7);
    CHECK(runner.Output().GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
}

/// Checks that a new texture type costs one pipeline (or as many as the operator draws with), and neither a new size
/// nor the changes that `change` makes any.
template<class Op, class Change>
void CheckPipelines(OperatorRunner<Op>& runner, Change change, std::uint64_t pipelines = 1)
{
    runner.SetSize({4, 4});
    runner.SetEnum("Texture Type", "RGBA8Unorm");
    runner.Execute();
    const std::uint64_t before = Graphics::GetCounters().pipelinesCreated;
    runner.SetSize({8, 2});
    runner.Execute();
    change();
    runner.Execute();
    CHECK(Graphics::GetCounters().pipelinesCreated == before);
    runner.SetEnum("Texture Type", "R8Unorm");
    runner.Execute();
    runner.SetSize({5, 5});
    runner.Execute();
    CHECK(Graphics::GetCounters().pipelinesCreated == before + pipelines);
}

/// Checks that between two looks at the counters nothing was created on the GPU, and nothing went wrong there.
inline void CheckNothingCreated(const GpuCounters& before, const GpuCounters& after)
{
    CHECK(after.texturesCreated == before.texturesCreated);
    CHECK(after.pipelinesCreated == before.pipelinesCreated);
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.samplersCreated == before.samplersCreated);
    CHECK(after.shadersCompiled == before.shadersCompiled);
    CHECK(after.errors == before.errors);
}

/// Runs the operator again and again; `change` gets a number that counts up and changes something. Each execution draws
/// one pass (or more) into a texture that nobody holds, and after the first few nothing is created on the GPU or
/// logged.
template<class Op, class Change>
void CheckSteadyState(OperatorRunner<Op>& runner, Change change, std::uint64_t passes = 1)
{
    const LogRecorder heard;
    int step = 0;
    const auto runSome = [&](int count)
    {
        for (int i = 0; i < count; ++i)
        {
            const Texture previous = runner.Output();
            change(step++);
            runner.Execute();
            CHECK_FALSE(runner.Output() == previous);
        }
    };
    runSome(6);
    const GpuCounters before = Graphics::GetCounters();
    runSome(10);
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.renderPasses == before.renderPasses + 10 * passes);
    CheckNothingCreated(before, after);
    CHECK(heard.lines.empty());
}

/// Runs the operator, `change` and the operator again: what the first run published shows the same as before.
template<class Op, class Change>
void CheckFreshOutput(OperatorRunner<Op>& runner, Change change)
{
    runner.Execute();
    const Texture first = runner.Output();
    const Rgba8 shown = At(ReadBack(first), 0, 0);
    change();
    runner.Execute();
    CHECK_FALSE(runner.Output() == first);
    CHECK(At(ReadBack(first), 0, 0) == shown);
    CHECK_FALSE(At(ReadBack(runner.Output()), 0, 0) == shown);
}

} // namespace Varkle::Testing
