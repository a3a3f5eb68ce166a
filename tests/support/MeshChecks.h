#pragma once

#include "support/MeshRunner.h"
#include "support/OperatorChecks.h"

#include <limits>

// What mesh operators promise alike: checks of one line for their tests.

namespace Varkle::Testing
{

/// Describes attributes in their order, each as "Position: Float32x3, 24".
inline Lines DescribeAttributes(const Mesh& mesh)
{
    Lines lines;
    for (const Attribute& attribute : mesh.GetAttributes())
        lines.push_back(attribute.GetName() + ": " + GetVertexFormatName(attribute.GetFormat()) + ", " +
                        std::to_string(attribute.GetVertexCount()));
    return lines;
}

/// Numbers of vertices around the size of a workgroup, and none.
inline constexpr unsigned vertexCounts[] = {0, 1, 63, 64, 65, 130};

inline bool IsFinite(glm::vec3 v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// Returns the largest difference between two lists in any component; infinite when one is not a number or their
/// lengths differ.
template<class Vector>
double LargestError(const std::vector<Vector>& actual, const std::vector<Vector>& expected)
{
    if (actual.size() != expected.size())
        return std::numeric_limits<double>::infinity();
    double largest = 0.0;
    for (std::size_t i = 0; i < actual.size(); ++i)
    {
        const double error = double(glm::length(actual[i] - expected[i]));
        largest = std::isnan(error) ? std::numeric_limits<double>::infinity() : std::max(largest, error);
    }
    return largest;
}

/// Checks that the result has the input's attributes in their order, then `added`; that those named in `rewritten` are
/// new buffers of the input's format and count; and that everything else is shared: buffers, indices, material.
inline void CheckShared(const Mesh& input, const Mesh& result, const Lines& rewritten, const Lines& added = {})
{
    Lines expected = DescribeAttributes(input);
    expected.insert(expected.end(), added.begin(), added.end());
    CHECK(DescribeAttributes(result) == expected);
    for (const Attribute& before : input.GetAttributes())
    {
        INFO(before.GetName());
        const Attribute* const after = result.GetAttribute(before.GetName());
        REQUIRE(after);
        const bool isRewritten = std::find(rewritten.begin(), rewritten.end(), before.GetName()) != rewritten.end();
        CHECK((after->GetBuffer() == before.GetBuffer()) != isRewritten);
        CHECK(after->GetBuffer());
    }
    CHECK((input.GetConnectivity() == nullptr) == (result.GetConnectivity() == nullptr));
    if (input.GetConnectivity() && result.GetConnectivity())
        CHECK(result.GetConnectivity()->GetBuffer() == input.GetConnectivity()->GetBuffer());
    CHECK(result.GetMaterial() == input.GetMaterial());
}

/// Runs the graph: the operator executes, once, without a pass and without a word. Returns what its output carries.
template<class Op>
Mesh RunWithoutPass(MeshRunner<Op>& runner)
{
    const LogRecorder log;
    const unsigned long executions = runner.Get().GetExecutionCount();
    const GpuCounters before = Graphics::GetCounters();
    runner.Execute();
    CHECK(runner.Get().GetExecutionCount() == executions + 1);
    CHECK(Graphics::GetCounters().computePasses == before.computePasses);
    CHECK(log.lines.empty());
    return runner.Output();
}

/// Checks that the operator without a mesh does nothing, says nothing, and keeps what it published.
template<class Op>
void CheckNeedsMesh(MeshRunner<Op>& runner)
{
    RunWithoutPass(runner);
    CHECK_FALSE(runner.GetOutput().IsActive());
    runner.Feed({});
    RunWithoutPass(runner);
    CHECK_FALSE(runner.GetOutput().IsActive());

    const Mesh published = runner.Run(MakeRichMesh(5));
    REQUIRE(runner.GetOutput().IsActive());
    runner.Feed({});
    CHECK(IsSame(RunWithoutPass(runner), published));
    runner.Disconnect("Mesh Input");
    runner.Get().MarkDirty();
    CHECK(IsSame(RunWithoutPass(runner), published));
    CHECK(runner.GetOutput().IsActive());
}

/// Checks that the operator hands a mesh on as it is: the same handle.
template<class Op>
void CheckPassesThrough(MeshRunner<Op>& runner, const Mesh& mesh)
{
    runner.Feed(mesh);
    CHECK(IsSame(RunWithoutPass(runner), mesh));
    CHECK(runner.GetOutput().IsActive());
}

/// Runs the operator again and again as a host does; `change` gets a number that counts up and changes something. Each
/// execution submits so many compute passes, and after the first few nothing is created on the GPU, read back or
/// logged.
template<class Op, class Change>
void CheckMeshSteadyState(MeshRunner<Op>& runner, Change change, std::uint64_t passes = 1)
{
    const LogRecorder log;
    int step = 0;
    const auto runSome = [&](int count)
    {
        for (int i = 0; i < count; ++i)
        {
            const Mesh previous = runner.Output();
            change(step++);
            runner.Execute();
            CHECK_FALSE(IsSame(runner.Output(), previous));
            Graphics::ProcessEvents();
        }
    };
    runSome(6);
    const GpuCounters before = Graphics::GetCounters();
    runSome(10);
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.computePasses == before.computePasses + 10 * passes);
    CHECK(after.renderPasses == before.renderPasses);
    CheckNothingCreated(before, after);
    CHECK(after.readBacks == before.readBacks);
    CHECK(log.lines.empty());
}

/// Checks that what the operator published stays as it is when it runs again with other numbers.
template<class T, class Op, class Change>
void CheckPublishedStays(MeshRunner<Op>& runner, const std::string& attribute, Change change)
{
    const Mesh first = runner.Run();
    const std::vector<T> values = ReadAttribute<T>(first, attribute);
    change();
    const Mesh second = runner.Run();
    CHECK_FALSE(AttributeOf(first, attribute).GetBuffer() == AttributeOf(second, attribute).GetBuffer());
    CHECK(ReadAttribute<T>(first, attribute) == values);
    CHECK_FALSE(ReadAttribute<T>(second, attribute) == values);
}

/// Checks that numbers which no formula foresees (huge, infinite, not a number) in any parameter neither stop the
/// operator nor upset the device.
template<class Op>
void CheckMeshSurvivesOddNumbers(MeshRunner<Op>& runner)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double odd[] = {-1.0, 0.0, 1e30, -1e30, infinity, -infinity, std::numeric_limits<double>::quiet_NaN()};
    const LogRecorder log;
    const auto vary = [&](auto* parameter, auto valueOf)
    {
        if (!parameter)
            return;
        for (const double number : odd)
        {
            INFO(parameter->GetName() << " = " << number);
            parameter->SetValue(valueOf(number));
            CHECK_FALSE(runner.Run().GetAttributes().empty());
        }
        parameter->SetValue(parameter->DefaultValue());
    };
    for (Parameter* const parameter : runner.Get().GetParameters())
    {
        vary(dynamic_cast<FloatParameter*>(parameter), [](double number) { return number; });
        vary(dynamic_cast<Vector3Parameter*>(parameter), [](double number) { return glm::dvec3(number); });
        vary(dynamic_cast<Transform3DParameter*>(parameter), [](double number) { return glm::mat4(float(number)); });
    }
    Graphics::WaitForGpu();
    CHECK(log.lines.empty());
    CHECK_FALSE(Graphics::IsLost());
}

} // namespace Varkle::Testing
