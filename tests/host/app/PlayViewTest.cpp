#include "app/Show.h"

// The window that the program itself opens for graphs that have none.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Returns how many pixels of the window's middle row differ from its background, which the corner shows.
int MeasureWidth(Show& show, WindowId window)
{
    const Area area = show.display.GetArea(window);
    const Image row = show.display.Capture({{area.position.x, area.position.y + area.size.y / 2}, {area.size.x, 1}});
    const Rgba8 background = show.GetPixel(window, {2, 2});
    int width = 0;
    for (int x = 0; x < row.GetWidth(); ++x)
    {
        const std::uint8_t* const pixel = row.GetPixels() + 4 * std::size_t(x);
        width += Near({pixel[0], pixel[1], pixel[2]}, background) ? 0 : 1;
    }
    return width;
}

// Waits until the window's contents stay the same for some captures.
void UntilStill(Show& show, WindowId window)
{
    const Area area = show.display.GetArea(window);
    const auto capture = [&]
    {
        const Image image = show.display.Capture(area);
        return std::vector<std::uint8_t>(image.GetPixels(), image.GetPixels() + 4 * area.size.x * area.size.y);
    };
    std::vector<std::uint8_t> last;
    int same = 0;
    show.Until("the picture is still",
               [&]
               {
                   std::vector<std::uint8_t> now = capture();
                   same = now == last ? same + 1 : 0;
                   last = std::move(now);
                   return same >= 10;
               });
}

const std::string cube = R"({"key": "cube", "type": "Varkle.Mesh.Cube"})";

} // namespace

TEST_CASE("A graph without windows is played in one of the program's own, titled by operator and file")
{
    Show show(Paint("first", "[0, 0, 1]") + "," + Paint("second", "[0, 1, 0]"));
    SECTION("that shows the first output")
    {
        const WindowId window = show.Play("first - graph.varkle");
        show.UntilPixel(window, {160, 100}, blue);
        CHECK(show.display.GetArea(window).size == glm::ivec2(320, 200)); // 32 x 20 is enlarged
        show.display.AskToClose(window);
        CheckIsDone(show.Wait());
    }
    SECTION("that shows the operator that is asked for")
    {
        show.UntilPixel(show.Play("second - graph.varkle", {"--operator", "second"}), {160, 100}, green);
        CheckIsDone(show.Interrupt());
    }
}

TEST_CASE("The program's own window takes two thirds of the display at most and shows the picture on black")
{
    Show show(ColorOperator("c", "[0, 1, 0]", R"("Texture Size": [4000, 1000])"));
    const WindowId window = show.Play("c - graph.varkle");
    show.UntilPixel(window, {200, 60}, green);
    CHECK(show.display.GetArea(window).size == glm::ivec2(533, 133));
    show.display.Resize(window, {400, 400});
    show.UntilPixel(window, {200, 40}, black);
    show.UntilPixel(window, {200, 200}, green);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("The program's own window goes on with another operator when an edit takes its own out")
{
    Show show(Paint("c", "[1, 0, 0]"));
    const WindowId window = show.Play("c - graph.varkle", {"--operator", "c"});
    show.UntilPixel(window, {160, 100}, red);
    show.Save(Paint("d", "[0, 1, 0]"));
    show.UntilPixel(window, {160, 100}, green);
    CHECK(show.display.GetTitle(window) == "d - graph.varkle");
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A mesh is seen in the program's own window, turned by dragging and brought near by the wheel")
{
    Show show(cube);
    const WindowId window = show.Play("cube - graph.varkle");
    show.Until("the cube is seen", [&] { return MeasureWidth(show, window) > 50; });
    UntilStill(show, window);
    const int width = MeasureWidth(show, window);
    const glm::ivec2 middle = show.display.GetArea(window).position + show.display.GetArea(window).size / 2;

    const Rgba8 before = show.GetPixel(window, show.display.GetArea(window).size / 2);
    show.display.Drag(middle, middle + glm::ivec2(60, 0));
    show.Until("the cube has turned",
               [&] { return !Near(show.GetPixel(window, show.display.GetArea(window).size / 2), before); });

    show.display.MovePointer(middle);
    for (int i = 0; i < 3; ++i)
        show.display.Scroll(1);
    show.Until("the cube is nearer", [&] { return MeasureWidth(show, window) > width + 30; });
    CheckIsDone(show.Interrupt());
}

TEST_CASE("An operator that can't be shown is refused before the show")
{
    Show show(Paint("color", "[1, 0, 0]") + "," + WindowOperator("w", "color"));
    const Outcome unknown = show.Playing({"--operator", "colour"}).Run();
    CHECK(unknown.status == 1);
    CHECK(unknown.error == "error: --operator \"colour\": there is no such operator in graph.varkle (did you mean "
                           "\"color\"?).\n");
    const Outcome without = show.Playing({"--operator", "w"}).Run();
    CHECK(without.status == 1);
    CHECK(without.error == "error: The operator \"w\" has no output: there is nothing to show.\n");
}

TEST_CASE("Every example can be played")
{
    const VirtualDisplay display({{800, 600}, false, false, 1.0});
    for (const auto& entry : std::filesystem::directory_iterator(VARKLE_SOURCES "/examples"))
    {
        if (entry.path().extension() != ".varkle")
            continue;
        INFO(entry.path());
        const Outcome outcome = Program({"play", entry.path().string(), "--frames", "2"}).Run();
        CHECK(outcome.status == 0);
        CHECK(outcome.error == Show::keys);
    }
}
