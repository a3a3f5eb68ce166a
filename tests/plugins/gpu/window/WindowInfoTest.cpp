#include "window/WindowInfo.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "window/Window.h"

// What Window Info makes of what a window says of itself. The window is the one of
// recording/Varkle/Gpu/OutputWindow.h, where a test puts the answers.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Holds a Window and, behind or in front of it, a Window Info that nothing was chosen for yet.
struct Setup
{
    explicit Setup(bool infoFirst = false)
    {
        if (infoFirst)
            info = graph.Add(WindowInfo::Type(), "info");
        window = static_cast<WindowOperator*>(graph.Add(WindowOperator::Type(), "window"));
        if (!infoFirst)
            info = graph.Add(WindowInfo::Type(), "info");
        Gui::OutputWindow& answers = *window->GetWindow();
        answers.resolution = {1920, 1081};
        answers.logicalSize = {960, 541};
        answers.position = {-40, 30};
        answers.scale = 2.0f;
        answers.refreshRate = 59.94f;
        answers.open = true;
    }

    PtrParameter& Reference() const { return static_cast<PtrParameter&>(*info->FindParameter("Window")); }

    // Runs the graph and returns the values that Window Info reports, each as text.
    Lines Run()
    {
        graph.Run();
        return Values();
    }

    Lines Values() const
    {
        Lines values;
        for (const Parameter* const parameter : info->GetParameters())
        {
            if (parameter->HasFlag(ParameterFlag::Output))
                values.push_back(DescribeValue(*parameter));
        }
        return values;
    }

    Graph graph;
    WindowOperator* window = nullptr;
    Operator* info = nullptr;
};

const Lines nothingKnown = {"0 0", "0 0", "0 0", "0", "0", "false", "false", "false"};
const Lines reported = {"1920 1081", "960 541", "-40 30", "2", "59.94", "true", "false", "false"};
const Lines lastKnown = {"1920 1081", "960 541", "-40 30", "2", "59.94", "false", "false", "false"};

} // namespace

TEST_CASE("Window Info without a window reports nothing open and zeros, frame by frame, without a message")
{
    const LogRecorder heard;
    Setup setup;
    CHECK(setup.Values() == nothingKnown);
    CHECK(setup.Run() == nothingKnown);
    CHECK(setup.Run() == nothingKnown);
    CHECK(heard.lines.empty());
}

TEST_CASE("Window Info reports what the chosen window says of itself")
{
    Setup setup;
    REQUIRE(setup.Reference().SetValue(setup.window));
    CHECK(setup.Run() == reported);

    // Each of the three on its own, so that none stands for another.
    Gui::OutputWindow& window = *setup.window->GetWindow();
    window.open = false;
    window.fullscreen = true;
    CHECK(setup.Run()[5] == "false");
    CHECK(setup.Values()[6] == "true");
    CHECK(setup.Values()[7] == "false");
    window.fullscreen = false;
    window.minimized = true;
    CHECK(setup.Run()[5] == "false");
    CHECK(setup.Values()[6] == "false");
    CHECK(setup.Values()[7] == "true");
}

TEST_CASE("Window Info widens scale and refresh rate from 32 bits without rounding them")
{
    Setup setup;
    setup.window->GetWindow()->scale = 1.1f;
    REQUIRE(setup.Reference().SetValue(setup.window));
    setup.graph.Run();
    const auto value = [&](const char* name)
    { return static_cast<const FloatParameter*>(setup.info->FindParameter(name))->Value(); };
    CHECK(value("DPI Scale") == double(1.1f));
    CHECK(value("DPI Scale") != 1.1);
    CHECK(value("Refresh Rate") == double(59.94f));
    CHECK(value("Refresh Rate") != 59.94);
}

TEST_CASE("Window Info sees in the next frame what was done to the window by hand, and the Window does not run")
{
    Setup setup;
    REQUIRE(setup.Reference().SetValue(setup.window));
    REQUIRE(setup.Run() == reported);
    Gui::OutputWindow& window = *setup.window->GetWindow();
    window.calls.clear();

    window.position = {300, 200};
    CHECK(setup.Run()[2] == "300 200");
    window.resolution = {800, 600};
    window.logicalSize = {400, 300};
    CHECK(setup.Run()[0] == "800 600");
    CHECK(setup.Values()[1] == "400 300");
    window.open = false;
    CHECK(setup.Run()[5] == "false");
    CHECK(setup.window->GetExecutionCount() == 1);
    CHECK(window.calls.empty()); // it only looks
}

TEST_CASE("Window Info executes once on every frame, with and without a window, and its own values are no reason to")
{
    Setup setup;
    for (unsigned long frame = 1; frame <= 3; ++frame)
    {
        setup.graph.Run();
        CHECK(setup.info->GetExecutionCount() == frame);
        CHECK(setup.info->Outdated());
    }
    REQUIRE(setup.Reference().SetValue(setup.window));
    setup.graph.Run();
    setup.graph.Run();
    CHECK(setup.info->GetExecutionCount() == 5);
}

TEST_CASE("Window Info may refer to a Window that is later in the graph, and reports what that was a frame before")
{
    Setup setup(true);
    REQUIRE(setup.Reference().SetValue(setup.window));
    CHECK(setup.Run() == reported);
    setup.window->GetWindow()->position = {7, 8};
    CHECK(setup.Run()[2] == "7 8");
    CHECK(setup.Reference().Value() == setup.window);
}

TEST_CASE("Window Info keeps sizes, position, scale and rate when its Window is deleted, and the flags turn false")
{
    Setup setup;
    REQUIRE(setup.Reference().SetValue(setup.window));
    setup.window->GetWindow()->fullscreen = true;
    setup.window->GetWindow()->minimized = true;
    setup.graph.Run();
    setup.graph.Remove(setup.window);
    CHECK(setup.Reference().Value() == nullptr);
    CHECK(setup.Run() == lastKnown);
    CHECK(setup.Run() == lastKnown);
}

TEST_CASE("Window Info keeps what it reported when no window is chosen any more, and follows the next one")
{
    Setup setup;
    REQUIRE(setup.Reference().SetValue(setup.window));
    setup.graph.Run();
    REQUIRE(setup.Reference().SetValue(nullptr));
    CHECK(setup.Run() == lastKnown);

    auto* const other = static_cast<WindowOperator*>(setup.graph.Add(WindowOperator::Type()));
    other->GetWindow()->position = {5, 6};
    REQUIRE(setup.Reference().SetValue(other));
    CHECK(setup.Run() == Lines{"0 0", "0 0", "5 6", "0", "0", "false", "false", "false"});
}

TEST_CASE("Window Info's reference takes Windows of the same graph and nothing else")
{
    Setup setup;
    PtrParameter& reference = setup.Reference();
    CHECK(reference.GetFilter().type == WindowOperator::Type());
    CHECK(int(reference.GetFilter().scope) == 3);
    REQUIRE(reference.SetValue(setup.window));
    CHECK_FALSE(reference.SetValue(setup.info));
    CHECK_FALSE(reference.SetValue(&reference));
    CHECK_FALSE(reference.SetValue(setup.window->FindParameter("Open")));
    CHECK_FALSE(reference.SetValue(&setup.graph));
    Graph other;
    CHECK_FALSE(reference.SetValue(other.Add(WindowOperator::Type())));
    CHECK(reference.Value() == setup.window);
    CHECK(setup.Run() == reported);
}

TEST_CASE("A reference to another kind of operator, past the filter, counts as none")
{
    Setup setup;
    PtrParameter& reference = setup.Reference();
    REQUIRE(reference.SetValue(setup.window));
    setup.graph.Run();
    reference.SetFilter({});
    REQUIRE(reference.SetValue(setup.info));
    CHECK(setup.Run() == lastKnown);
}

TEST_CASE("Several Window Infos report one window")
{
    Setup setup;
    REQUIRE(setup.Reference().SetValue(setup.window));
    auto* const second = setup.graph.Add(WindowInfo::Type());
    REQUIRE(static_cast<PtrParameter*>(second->FindParameter("Window"))->SetValue(setup.window));
    CHECK(setup.Run() == reported);
    CHECK(DescribeValue(*second->FindParameter("Position")) == "-40 30");
    setup.graph.Remove(setup.window);
    CHECK(setup.Run() == lastKnown);
    CHECK(DescribeValue(*second->FindParameter("Open")) == "false");
}
