#include "Varkle/Gpu/Windows.h"
#include "support/Catch.h"
#include "support/FakeWindows.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"
#include "window/Window.h"
#include "window/WindowInfo.h"

// What editors and documents see of the two operators, and that a real window obeys them: on a desktop of the test's
// own.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Lets windows open on a desktop that exists in the test only.
struct FakeDesktop
{
    FakeDesktop() { Gui::Windows::Start(std::make_unique<FakePlatform>(seen)); }
    ~FakeDesktop() { Gui::Windows::Stop(); }
    FakeDesktop(const FakeDesktop&) = delete;
    FakeDesktop& operator=(const FakeDesktop&) = delete;

    std::shared_ptr<FakePlatform::Desktop> seen = std::make_shared<FakePlatform::Desktop>();
};

// One frame of a program that shows windows. Without Present: nothing is drawn here.
template<class Op>
void RunFrame(OperatorRunner<Op>& runner)
{
    Gui::Windows::ProcessEvents();
    runner.Execute();
}

} // namespace

TEST_CASE("Window has its parameters in their order with their defaults, and one input")
{
    OperatorRunner<WindowOperator> runner;
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Open: Bool = false", "Fullscreen: Bool = false",
                                                          "Size: Vector 2 Int = 1280 720", "Size Unit: Enum = Physical",
                                                          "Position: Vector 2 Int = 100 100", "Title: String = Output",
                                                          "Decorated: Bool = true", "Transparent: Bool = false",
                                                          "Always On Top: Bool = false", "Interactive: Bool = true"});
    CHECK(DescribePorts(runner.Get()) == Lines{"Texture Input: takes Texture"});
    for (const Parameter* const parameter : runner.Get().GetParameters())
        CHECK_FALSE(parameter->HasFlag(ParameterFlag::Output));
    CHECK(runner.Get().GetType()->GetId() == "Varkle.IO.System.Window");
    CHECK(runner.Get().GetType()->GetParent() == Operator::Type());
}

TEST_CASE("Window's size unit has names for documents and labels for people")
{
    OperatorRunner<WindowOperator> runner;
    const auto& unit = runner.Parameter<EnumParameter>("Size Unit");
    CHECK(unit.GetPossibleValues() == Lines{"Physical", "Logical"});
    CHECK(unit.GetLabels() == Lines{"Physical pixels", "Logical pixels"});
    CHECK(unit.Value() == "Physical");
}

TEST_CASE("Window Info has its parameters in their order, all but the last written by the operator, and no ports")
{
    OperatorRunner<WindowInfo> runner;
    const std::vector<Parameter*>& parameters = runner.Get().GetParameters();
    CHECK(Describe(parameters) == Lines{"Resolution: Vector 2 Int = 0 0", "Logical Size: Vector 2 Int = 0 0",
                                        "Position: Vector 2 Int = 0 0", "DPI Scale: Float = 0",
                                        "Refresh Rate: Float = 0", "Open: Bool = false", "Fullscreen: Bool = false",
                                        "Minimized: Bool = false", "Window: Reference = "});
    CHECK(DescribePorts(runner.Get()).empty());
    for (const Parameter* const parameter : parameters)
    {
        INFO(parameter->GetName());
        CHECK(parameter->HasFlag(ParameterFlag::Output) == (parameter != parameters.back()));
    }
    CHECK(runner.Parameter<PtrParameter>("Window").Value() == nullptr);
    CHECK(runner.Get().GetType()->GetId() == "Varkle.IO.System.WindowInfo");
    CHECK(runner.Get().GetType()->GetParent() == Operator::Type());
}

TEST_CASE("A new Window shows nothing until Open is turned on, then its window opens with the defaults")
{
    const FakeDesktop desktop;
    OperatorRunner<WindowOperator> runner;
    RunFrame(runner);
    CHECK(desktop.seen->windows.empty());

    runner.SetBool("Open", true);
    RunFrame(runner);
    REQUIRE(desktop.seen->windows.size() == 1);
    const Gui::WindowSettings& settings = desktop.seen->Last().settings;
    CHECK(settings.title == "Output");
    CHECK(settings.position == glm::ivec2(100, 100));
    CHECK(settings.size == glm::ivec2(1280, 720));
    CHECK_FALSE(settings.fullscreen);
    CHECK(settings.decorated);
    CHECK_FALSE(settings.transparent);
    CHECK_FALSE(settings.alwaysOnTop);
    CHECK(settings.interactive);
    CHECK(runner.GetOperator().GetWindow()->IsOpen());
}

TEST_CASE("A window that one execution opens begins with all that the same execution asks")
{
    const FakeDesktop desktop;
    OperatorRunner<WindowOperator> runner;
    runner.SetBool("Open", true);
    runner.SetString("Title", "Stage");
    runner.Parameter<Vector2IntParameter>("Size").SetValue({640, 480});
    runner.Parameter<Vector2IntParameter>("Position").SetValue({50, 60});
    runner.SetBool("Decorated", false);
    runner.SetBool("Always On Top", true);
    runner.SetBool("Transparent", true);
    runner.SetBool("Interactive", false);
    RunFrame(runner);
    REQUIRE(desktop.seen->windows.size() == 1);
    const Gui::WindowSettings& settings = desktop.seen->Last().settings;
    CHECK(settings.title == "Stage");
    CHECK(settings.position == glm::ivec2(50, 60));
    CHECK(settings.size == glm::ivec2(640, 480));
    CHECK_FALSE(settings.decorated);
    CHECK(settings.alwaysOnTop);
    CHECK(settings.transparent);
    CHECK_FALSE(settings.interactive);
}

TEST_CASE("A logical size on a display at 200% gives a window of twice as many pixels")
{
    const FakeDesktop desktop;
    desktop.seen->displays = {{"Fine", {0, 0}, {3840, 2160}, 2.0f, 60.0f}};
    OperatorRunner<WindowOperator> runner;
    runner.SetEnum("Size Unit", "Logical");
    runner.SetBool("Open", true);
    RunFrame(runner);
    REQUIRE(desktop.seen->windows.size() == 1);
    CHECK(desktop.seen->Last().state.resolution == glm::ivec2(2560, 1440));
    CHECK(runner.GetOperator().GetWindow()->GetResolution() == glm::ivec2(2560, 1440));
    CHECK(runner.GetOperator().GetWindow()->GetLogicalSize() == glm::ivec2(1280, 720));
}

TEST_CASE("Deleting a Window closes its window and no other")
{
    const FakeDesktop desktop;
    OperatorRunner<WindowOperator> runner;
    Operator* const other = runner.GetGraph().Add(WindowOperator::Type());
    runner.SetBool("Open", true);
    static_cast<BoolParameter*>(other->FindParameter("Open"))->SetValue(true);
    RunFrame(runner);
    REQUIRE(desktop.seen->CountOpen() == 2);
    REQUIRE(desktop.seen->windows.size() == 2);

    runner.GetGraph().Remove(other);
    CHECK(desktop.seen->windows[0]->open);
    CHECK_FALSE(desktop.seen->windows[1]->open);
    RunFrame(runner);
    CHECK(desktop.seen->CountOpen() == 1);
    CHECK(desktop.seen->windows.size() == 2);
}

TEST_CASE("A window closed by hand stays closed until Open is turned off and on again")
{
    const FakeDesktop desktop;
    OperatorRunner<WindowOperator> runner;
    runner.SetBool("Open", true);
    RunFrame(runner);
    REQUIRE(desktop.seen->CountOpen() == 1);
    desktop.seen->Last().events = {Gui::WindowEvent::Close};
    RunFrame(runner);
    CHECK(desktop.seen->CountOpen() == 0);
    runner.SetString("Title", "Stage"); // another execution, with Open still on
    RunFrame(runner);
    CHECK(desktop.seen->CountOpen() == 0);

    runner.SetBool("Open", false);
    RunFrame(runner);
    runner.SetBool("Open", true);
    RunFrame(runner);
    CHECK(desktop.seen->CountOpen() == 1);
    CHECK(desktop.seen->Last().settings.title == "Stage");
}

TEST_CASE("Dragging a window changes what Window Info reports in the next frame, and no parameter of Window")
{
    const FakeDesktop desktop;
    OperatorRunner<WindowOperator> runner;
    Operator* const info = runner.GetGraph().Add(WindowInfo::Type());
    REQUIRE(static_cast<PtrParameter*>(info->FindParameter("Window"))->SetValue(&runner.Get()));
    runner.SetBool("Open", true);
    RunFrame(runner);
    REQUIRE(desktop.seen->windows.size() == 1);
    CHECK(DescribeValue(*info->FindParameter("Position")) == "100 100");
    CHECK(DescribeValue(*info->FindParameter("Open")) == "true");
    const Lines asked = Describe(runner.Get().GetParameters());

    desktop.seen->Last().Drag({330, 220}, {800, 500});
    RunFrame(runner);
    CHECK(DescribeValue(*info->FindParameter("Position")) == "330 220");
    CHECK(DescribeValue(*info->FindParameter("Resolution")) == "800 500");
    CHECK(Describe(runner.Get().GetParameters()) == asked);
    CHECK(runner.Get().GetExecutionCount() == 1);
    CHECK(desktop.seen->Last().state.position == glm::ivec2(330, 220));

    desktop.seen->Last().events = {Gui::WindowEvent::Close};
    RunFrame(runner);
    CHECK(DescribeValue(*info->FindParameter("Open")) == "false");
    CHECK(DescribeValue(*info->FindParameter("Position")) == "330 220"); // the last one known
}

TEST_CASE("Window Info reports what was asked before a window was ever open, and zeros are gone")
{
    OperatorRunner<WindowOperator> runner;
    Operator* const info = runner.GetGraph().Add(WindowInfo::Type());
    REQUIRE(static_cast<PtrParameter*>(info->FindParameter("Window"))->SetValue(&runner.Get()));
    runner.Parameter<Vector2IntParameter>("Size").SetValue({640, 480});
    runner.Parameter<Vector2IntParameter>("Position").SetValue({50, 60});
    runner.Execute();
    CHECK(Describe(info->GetParameters()) ==
          Lines{"Resolution: Vector 2 Int = 640 480", "Logical Size: Vector 2 Int = 640 480",
                "Position: Vector 2 Int = 50 60", "DPI Scale: Float = 1", "Refresh Rate: Float = 60",
                "Open: Bool = false", "Fullscreen: Bool = false", "Minimized: Bool = false", "Window: Reference = "});
}
