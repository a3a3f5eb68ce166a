#include "window/Window.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorRunner.h"

// What Window asks of its window, call by call. The window is the one of recording/Varkle/Gpu/OutputWindow.h.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using Lines = std::vector<std::string>;

const Lines defaultCalls = {"SetTitle Output", "SetPosition 100 100", "SetSize 1280 720 physical", "SetFullscreen off",
                            "SetDecorated on", "SetTransparent off",  "SetAlwaysOnTop off",        "SetInteractive on",
                            "SetOpen off",     "SetTexture empty"};

// Returns the default calls with one of them replaced.
Lines With(std::size_t place, const std::string& call)
{
    Lines calls = defaultCalls;
    calls.at(place) = call;
    return calls;
}

// Runs the graph and returns the calls that it led to.
Lines Execute(OperatorRunner<WindowOperator>& runner)
{
    Gui::OutputWindow& window = *runner.GetOperator().GetWindow();
    window.calls.clear();
    runner.Execute();
    return window.calls;
}

} // namespace

TEST_CASE("A Window has its window from the start and asks nothing of it before it executes")
{
    OperatorRunner<WindowOperator> runner;
    const Gui::OutputWindow* const window = runner.GetOperator().GetWindow();
    REQUIRE(window);
    CHECK(window->calls.empty());
    runner.Execute();
    CHECK(runner.GetOperator().GetWindow() == window);
    CHECK(runner.GetGraph().Add(WindowOperator::Type()));
    CHECK(Gui::OutputWindow::living == 2);
}

TEST_CASE("A Window's window ends with the operator")
{
    REQUIRE(Gui::OutputWindow::living == 0);
    {
        OperatorRunner<WindowOperator> runner;
        CHECK(Gui::OutputWindow::living == 1);
        Operator* const other = runner.GetGraph().Add(WindowOperator::Type());
        CHECK(Gui::OutputWindow::living == 2);
        runner.GetGraph().Remove(other);
        CHECK(Gui::OutputWindow::living == 1);
    }
    CHECK(Gui::OutputWindow::living == 0);
}

TEST_CASE("A new Window passes its defaults on in their order: opening behind the other settings, then the texture")
{
    const LogRecorder heard;
    OperatorRunner<WindowOperator> runner;
    CHECK(Execute(runner) == defaultCalls);
    CHECK(heard.lines.empty());
}

TEST_CASE("Each parameter of Window reaches the request of its own")
{
    OperatorRunner<WindowOperator> runner;
    const auto setVector = [&](const char* name, const glm::ivec2& value)
    { runner.Parameter<Vector2IntParameter>(name).SetValue(value); };
    SECTION("Open")
    {
        runner.SetBool("Open", true);
        CHECK(Execute(runner) == With(8, "SetOpen on"));
    }
    SECTION("Fullscreen")
    {
        runner.SetBool("Fullscreen", true);
        CHECK(Execute(runner) == With(3, "SetFullscreen on"));
    }
    SECTION("Size, in whatever range")
    {
        for (const glm::ivec2& size : {glm::ivec2(640, 361), glm::ivec2(0, -7), glm::ivec2(2000000000, 1)})
        {
            setVector("Size", size);
            CHECK(Execute(runner) ==
                  With(2, "SetSize " + std::to_string(size.x) + " " + std::to_string(size.y) + " physical"));
        }
    }
    SECTION("Size Unit")
    {
        runner.SetEnum("Size Unit", "Logical");
        CHECK(Execute(runner) == With(2, "SetSize 1280 720 logical"));
    }
    SECTION("Position, also on displays to the left or above")
    {
        setVector("Position", {-1920, -3});
        CHECK(Execute(runner) == With(1, "SetPosition -1920 -3"));
    }
    SECTION("Title, byte for byte")
    {
        for (const std::string title : {"", "B\xC3\xBChne 2", "a\nb"})
        {
            runner.SetString("Title", title);
            CHECK(Execute(runner) == With(0, "SetTitle " + title));
        }
    }
    SECTION("Decorated")
    {
        runner.SetBool("Decorated", false);
        CHECK(Execute(runner) == With(4, "SetDecorated off"));
    }
    SECTION("Transparent")
    {
        runner.SetBool("Transparent", true);
        CHECK(Execute(runner) == With(5, "SetTransparent on"));
    }
    SECTION("Always On Top")
    {
        runner.SetBool("Always On Top", true);
        CHECK(Execute(runner) == With(6, "SetAlwaysOnTop on"));
    }
    SECTION("Interactive")
    {
        runner.SetBool("Interactive", false);
        CHECK(Execute(runner) == With(7, "SetInteractive off"));
    }
}

TEST_CASE("Only the very name Logical makes Window's size logical")
{
    OperatorRunner<WindowOperator> runner;
    for (const char* const unit :
         {"Logical", "logical", "Logical pixels", "Physical", "Physical pixels", "Furlong", ""})
    {
        INFO(unit);
        runner.SetEnum("Size Unit", unit);
        const std::string flag = std::string(unit) == "Logical" ? "logical" : "physical";
        // The operator executes although one unknown unit means the same as the next.
        CHECK(Execute(runner) == With(2, "SetSize 1280 720 " + flag));
    }
}

TEST_CASE("Window shows the texture of its input, and an empty one when there is none")
{
    OperatorRunner<WindowOperator> runner;
    const Gui::OutputWindow& window = *runner.GetOperator().GetWindow();
    const Texture first = Filled({4, 2}, {255, 0, 0, 255});
    const Texture second = Filled({2, 2}, {0, 255, 0, 255});

    runner.Connect("Texture Input", first);
    CHECK(Execute(runner) == With(9, "SetTexture"));
    CHECK(window.texture == first);
    runner.Connect("Texture Input", second);
    CHECK(Execute(runner) == With(9, "SetTexture"));
    CHECK(window.texture == second);
    SECTION("when nothing is connected any more")
    {
        runner.Disconnect("Texture Input");
    }
    SECTION("when what is connected carries nothing")
    {
        runner.Connect("Texture Input", {});
    }
    CHECK(Execute(runner) == defaultCalls);
    CHECK_FALSE(window.texture);
}

TEST_CASE("Window repeats every request on every execution, whatever it was that changed")
{
    OperatorRunner<WindowOperator> runner;
    REQUIRE(Execute(runner) == defaultCalls);
    runner.Get().MarkDirty();
    CHECK(Execute(runner) == defaultCalls);
    runner.SetBool("Open", true);
    const Lines opened = Execute(runner);
    CHECK(opened == With(8, "SetOpen on"));
    runner.Get().MarkDirty();
    CHECK(Execute(runner) == opened);
}

TEST_CASE("Window executes when something changes, not on every frame")
{
    OperatorRunner<WindowOperator> runner;
    runner.Connect("Texture Input", Filled({2, 2}, {255, 0, 0, 255}));
    REQUIRE_FALSE(Execute(runner).empty());
    CHECK(Execute(runner).empty());
    runner.SetString("Title", "Stage");
    CHECK_FALSE(Execute(runner).empty());
    CHECK(Execute(runner).empty());
}
