#include "app/Show.h"

// What a graph that is played shows in its windows, and what the user does to them.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr Rgba8 orange{255, 128, 64}; // of 1, 0.5, 0.25
const std::string fullscreenState = "_NET_WM_STATE_FULLSCREEN";

void WaitForKeys(Show& show, WindowId window)
{
    show.display.Activate(window);
    show.Until("the window gets the keys", [&] { return show.display.GetFocused() == window; });
}

// Returns the number behind the last "report: Value " before that place.
int LastValue(const std::string& text, std::size_t before)
{
    const std::string_view words = "report: Value ";
    return std::stoi(text.substr(text.rfind(words, before) + words.size()));
}

void CheckSeeThrough(bool compositor)
{
    Show show(Paint("c", "[1, 0.5, 0, 0.5]") + "," + WindowOperator("w", "c", R"("Transparent": true)"), compositor);
    const Rgba8 desktop{0, 0, 200};
    show.display.SetBackground(desktop);
    const WindowId window = show.Play("w");
    // The picture's color and alpha are 8-bit numbers: 0.5 is 128 / 255.
    const double alpha = 128.0 / 255.0;
    const glm::dvec4 behind = compositor ? ToUnit(desktop) : ToUnit(black);
    const glm::dvec4 mixed = ToUnit({255, 128, 0}) * alpha + behind * (1.0 - alpha);
    show.UntilPixel(window, {160, 100}, ToRgba8({mixed.r, mixed.g, mixed.b, 1.0}));
    CheckIsDone(show.Interrupt());
}

} // namespace

TEST_CASE("A played graph shows its picture in a window as it asks for")
{
    Show show(Paint("c", "[1, 0.5, 0.25]") + "," +
              WindowOperator("w", "c", R"("Position": [120, 90], "Title": "Größe: 1")"));
    const WindowId window = show.Play("Größe: 1");
    show.UntilAt(window, {{120, 90}, {320, 200}});
    for (const glm::ivec2 pixel : {glm::ivec2(0, 0), glm::ivec2(319, 0), glm::ivec2(160, 100), glm::ivec2(319, 199)})
        show.UntilPixel(window, pixel, orange);
    CHECK(show.display.WantsFrame(window));
    CHECK(show.display.GetFrame(window).size.y > 200);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played window without decorations has no frame")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Decorated": false)"));
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, green);
    CHECK_FALSE(show.display.WantsFrame(window));
    CHECK(show.display.GetFrame(window) == Area{{100, 100}, {320, 200}});
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played picture keeps its proportions on black")
{
    Show show(ColorOperator("c", "[0, 1, 0]", R"("Texture Size": [20, 20])") + "," + WindowOperator("w", "c"));
    show.display.SetBackground(blue);
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, green);
    // A square in the middle of 320 by 200 pixels: 200 of them from 60 on.
    CHECK(show.GetPixel(window, {60, 0}) == green);
    CHECK(show.GetPixel(window, {259, 199}) == green);
    CHECK(show.GetPixel(window, {59, 0}) == black);
    CHECK(show.GetPixel(window, {260, 199}) == black);
    CHECK(show.GetPixel(window, {0, 100}) == black);
    CHECK(show.GetPixel(window, {319, 100}) == black);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played window with nothing connected is black")
{
    Show show(WindowOperator("w", ""));
    show.display.SetBackground(blue);
    const WindowId window = show.Play("w");
    for (const glm::ivec2 pixel : {glm::ivec2(0, 0), glm::ivec2(160, 100), glm::ivec2(319, 199)})
        show.UntilPixel(window, pixel, black);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A graph is played on until an expression opens its window")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Open": "frame > 20")") + "," +
              Reporting("w", "\"frame\""));
    show.Play();
    show.WaitForError("report: Open false");
    show.UntilPixel(show.WaitForWindow("w"), {160, 100}, green);
    show.WaitForError("report: Open true");
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(LastValue(outcome.error, outcome.error.find("report: Open false")) == 0);
    CHECK(LastValue(outcome.error, outcome.error.find("report: Open true")) > 20);
}

TEST_CASE("An expression closes a played window and opens it again")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Open": "fract(frame / 60) < 0.5")"));
    show.Play();
    for (int i = 0; i < 2; ++i)
    {
        show.WaitForWindow("w");
        show.WaitForNoWindow("w");
    }
    show.UntilPixel(show.WaitForWindow("w"), {160, 100}, green);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A graph is played in two windows with a picture each")
{
    Show show(Paint("a", "[1, 0, 0]") + "," + Paint("b", "[0, 1, 0]") + "," +
              WindowOperator("left", "a", R"("Position": [40, 100])") + "," +
              WindowOperator("right", "b", R"("Position": [420, 100])"));
    const WindowId left = show.Play("left");
    const WindowId right = show.WaitForWindow("right");
    show.UntilPixel(left, {160, 100}, red);
    show.UntilPixel(right, {160, 100}, green);
    CheckIsDone(show.Interrupt());
    CHECK(show.Find("left") == 0);
    CHECK(show.Find("right") == 0);
}

TEST_CASE("A played window stays where the user drags it and as the user resizes it")
{
    Show show(Paint("c", moving) + "," + WindowOperator("w", "c"));
    const WindowId window = show.Play("w");
    show.display.Move(window, {300, 220});
    show.UntilAt(window, {{300, 220}, {320, 200}});
    show.display.Resize(window, {400, 250});
    const Area area{{300, 220}, {400, 250}};
    show.UntilAt(window, area);
    show.UntilMoved(window);
    CHECK(show.display.GetArea(window) == area);
    show.Until("the picture fills the window", [&] { return show.GetPixel(window, {399, 249}).b == 255; });
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played window that is closed by hand stays closed, and with the last the show ends")
{
    Show show(Paint("c", moving) + "," + WindowOperator("a", "c", R"("Position": [40, 100])") + "," +
              WindowOperator("b", "c", R"("Position": [420, 100])") + "," + Reporting("a"));
    show.Play("a", {"--log", "info"});
    const WindowId other = show.WaitForWindow("b");
    show.WaitForError("report: Open true");
    show.display.AskToClose(show.Find("a"));
    show.WaitForNoWindow("a");
    show.WaitForError("report: Open false");
    show.UntilMoved(other);
    CHECK(show.Find("a") == 0);
    CHECK(show.Find("b") == other);
    show.display.AskToClose(other);
    const Outcome outcome = show.Wait();
    CHECK(outcome.status == 0);
    CHECK_FALSE(Contains(outcome.error, "error"));
}

TEST_CASE("The keys F and Escape take a played window to fullscreen and back to its place")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Position": [60, 70])"));
    show.display.SetBackground(blue);
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, green);
    WaitForKeys(show, window);
    for (const std::string key : {"Escape", "f"})
    {
        show.display.TypeKey("f");
        show.UntilAt(window, {{0, 0}, {800, 600}});
        show.Until("the state is fullscreen", [&] { return show.display.HasState(window, fullscreenState); });
        // 32 by 20 in 800 by 600: 800 by 500, with 50 rows of black above and below.
        show.UntilPixel(window, {799, 50}, green);
        show.UntilPixel(window, {799, 549}, green);
        show.UntilPixel(window, {0, 49}, black);
        show.UntilPixel(window, {0, 550}, black);
        show.display.TypeKey(key);
        show.UntilAt(window, {{60, 70}, {320, 200}});
        show.Until("the state is not", [&] { return !show.display.HasState(window, fullscreenState); });
        show.UntilPixel(window, {319, 199}, green);
    }
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played window that the desktop makes fullscreen comes back to its place by key and by desktop")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Position": [60, 70])") + "," +
              Reporting("w"));
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, green);
    WaitForKeys(show, window);
    show.display.SetFullscreen(window, true);
    show.UntilAt(window, {{0, 0}, {800, 600}});
    show.WaitForError("report: Fullscreen true\n");
    SECTION("by key")
    {
        show.display.TypeKey("f");
    }
    SECTION("by desktop")
    {
        show.display.SetFullscreen(window, false);
    }
    show.UntilAt(window, {{60, 70}, {320, 200}});
    show.WaitForError("report: Fullscreen false\n", 2); // it was at the start
    show.Until("the state is not", [&] { return !show.display.HasState(window, fullscreenState); });
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A window that opens during the show leaves the keys to who has them")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c"));
    show.UntilPixel(show.Play("w"), {160, 100}, green);
    const WindowId plain = show.display.OpenPlainWindow("plain", {{0, 300}, {200, 200}}, blue);
    WaitForKeys(show, plain);
    show.Save(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c") + "," + WindowOperator("second", "c"));
    show.UntilPixel(show.WaitForWindow("second"), {160, 100}, green);
    show.display.TypeKey("a");
    show.Until("the key arrives", [&] { return show.display.CountKeys(plain) == 1; });
    CHECK(show.display.GetFocused() == plain);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A played window that is not interactive lets clicks and keys through")
{
    Show show(Paint("c", moving) + "," +
              WindowOperator("w", "c", R"("Interactive": false, "Decorated": false, "Always On Top": true)"));
    const WindowId plain = show.display.OpenPlainWindow("plain", {{50, 50}, {500, 400}}, green);
    const WindowId window = show.Play("w");
    show.Until("the picture is there", [&] { return show.GetPixel(window, {10, 10}).b == 255; });
    show.Until("a click arrives behind it", // the window manager lets them through soon after it shows the window
               [&]
               {
                   show.display.Click({110, 110});
                   return show.display.CountClicks(plain) > 0;
               });
    CHECK(show.display.IsAbove(window, plain));
    show.Until("the keys do, too", [&] { return show.display.GetFocused() == plain; });
    show.display.TypeKey("f");
    show.Until("the key arrives", [&] { return show.display.CountKeys(plain) == 1; });
    CHECK(show.display.GetArea(window) == Area{{100, 100}, {320, 200}});
    CHECK_FALSE(show.display.HasState(window, fullscreenState));
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A played window that is always on top stays above one that is used")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Always On Top": true)"));
    const WindowId window = show.Play("w");
    const WindowId plain = show.display.OpenPlainWindow("plain", {{50, 50}, {500, 400}}, red);
    WaitForKeys(show, plain);
    CHECK(show.display.IsAbove(window, plain));
    show.UntilPixel(window, {160, 100}, green);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("The desktop shows through a played window that is transparent where a compositor lets it")
{
    CheckSeeThrough(true);
}

TEST_CASE("Without a compositor a played window that is transparent shows its picture over black")
{
    CheckSeeThrough(false);
}

TEST_CASE("Window Info follows what the user does to a played window")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c") + "," + Reporting("w"));
    const WindowId window = show.Play("w");
    show.WaitForError("report: Position 100 100\n");
    show.WaitForError("report: Resolution 320 200\n");
    show.WaitForError("report: DPI Scale 1\n");
    show.WaitForError("report: Refresh Rate 60\n");
    show.display.Move(window, {210, 180});
    show.WaitForError("report: Position 210 180\n");
    show.display.Resize(window, {400, 250});
    show.WaitForError("report: Resolution 400 250\n");
    show.WaitForError("report: Logical Size 400 250\n");
    WaitForKeys(show, window);
    show.display.TypeKey("f");
    show.WaitForError("report: Fullscreen true\n");
    show.WaitForError("report: Position 0 0\n");
    show.WaitForError("report: Resolution 800 600\n");
    show.display.TypeKey("f");
    show.WaitForError("report: Position 210 180\n", 2);
    show.WaitForError("report: Resolution 400 250\n", 2);
    show.display.Minimize(window);
    show.WaitForError("report: Minimized true\n");
    show.display.Activate(window);
    show.WaitForError("report: Minimized false\n", 2);
    CHECK(show.Interrupt().status == 0);
}
