#include "app/Show.h"

#include <sstream>

// A show that goes on while files change, and the GPU or the display goes and comes back.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

std::string Graph(const std::string& color, const std::string& more = "")
{
    return Paint("c", color) + "," + WindowOperator("w", "c", more);
}

// Writes a picture of a window's proportions in one color, beside and then over what is there.
void WritePicture(const Show& show, const std::string& name, const std::string& color)
{
    const std::string path = show.folder / ("new-" + name);
    REQUIRE(ProgramRunner({"convert", "-size", "32x20", "xc:" + color, path}).Run().status == 0);
    std::filesystem::rename(path, show.folder / name);
}

std::string Breaker(int losses)
{
    return R"({"key": "breaker", "type": "Test.Breaker", "inputs": {"Texture Input": "c"}, "parameters": {"Losses": )" +
           std::to_string(losses) + "}}";
}

bool HasFullBlue(Show& show, WindowId window)
{
    return show.GetPixel(window, {10, 10}).b == 255;
}

void CheckGoesOnAfter(int losses)
{
    const auto graph = [](int count)
    { return Paint("c", moving) + "," + Breaker(count) + "," + WindowOperator("w", "breaker"); };
    Show show(graph(0));
    const WindowId window = show.Play("w");
    show.Until("the picture is there", [&] { return HasFullBlue(show, window); });
    show.display.Move(window, {300, 220});
    show.UntilAt(window, {{300, 220}, {320, 200}});
    show.Save(graph(losses));
    show.WaitForError("error: The GPU device was lost: someone stumbled over a cable\n", losses);
    show.WaitForError("info: The graph runs on a new GPU device.\n");
    show.UntilMoved(window);
    show.Until("the picture is back", [&] { return HasFullBlue(show, window); });
    CHECK(show.Find("w") == window);
    CHECK(show.display.GetArea(window) == Area{{300, 220}, {320, 200}});
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(outcome.error.starts_with("info: graph.varkle was read again.\nerror: The GPU device was lost: "));
    CHECK(outcome.error.ends_with("\ninfo: The graph runs on a new GPU device.\n"));
}

} // namespace

TEST_CASE("A document that is edited during the show takes effect in the windows that are there")
{
    Show show(Graph("[1, 0, 0]"));
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, red);
    show.display.Move(window, {300, 220});
    show.UntilAt(window, {{300, 220}, {320, 200}});
    SECTION("replaced")
    {
        show.Save(Graph("[0, 1, 0]"));
    }
    SECTION("written in place")
    {
        WriteBytes(show.folder / "graph.varkle", Document(Graph("[0, 1, 0]")));
    }
    show.UntilPixel(window, {160, 100}, green);
    CHECK(show.Find("w") == window);
    CHECK(show.display.GetArea(window) == Area{{300, 220}, {320, 200}});
    show.Save(Graph("[0, 0, 1]", R"("Title": "another")"));
    show.UntilPixel(window, {160, 100}, blue);
    show.Until("the title is another", [&] { return show.Find("another") == window; });
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "info: graph.varkle was read again.\ninfo: graph.varkle was read again.\n");
}

TEST_CASE("A document that is edited while the show begins is read again")
{
    const auto graph = [](const std::string& color)
    {
        return R"({"key": "report", "type": "Test.Reporter"},)" + Paint("c", color) +
               R"(, {"key": "s", "type": "Test.Sleeper", "inputs": {"Texture Input": "c"},
                  "parameters": {"Milliseconds": 400}},)" +
               WindowOperator("w", "s");
    };
    Show show(graph("[1, 0, 0]"));
    show.Play();
    show.WaitForError("report: Value 0\n"); // the sleeper has yet to run
    show.Save(graph("[0, 1, 0]"));
    show.UntilPixel(show.WaitForWindow("w"), {160, 100}, green);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A document with an error is reported during the show, which goes on until a good one comes")
{
    Show show(Graph(moving));
    const WindowId window = show.Play("w");
    show.Until("the picture is there", [&] { return HasFullBlue(show, window); });
    show.Save("\n" + Paint("c", R"([0, 1, 0, 1, 1])") + ",\n" + WindowOperator("w", "d"));
    show.WaitForError("warning: graph.varkle goes on as it was before.\n");
    show.UntilMoved(window);
    CHECK(HasFullBlue(show, window));
    show.Save(Graph("[0, 1, 0]"));
    show.UntilPixel(window, {160, 100}, green);
    CHECK(show.Find("w") == window);
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(std::ranges::count(outcome.error, '\n') == 4);
    CHECK(outcome.error.starts_with("error: graph.varkle:2:"));
    CHECK(Contains(outcome.error, "\nerror: graph.varkle:3:"));
    CHECK(outcome.error.ends_with("\nwarning: graph.varkle goes on as it was before.\n"
                                  "info: graph.varkle was read again.\n"));
}

TEST_CASE("A document that is gone for a while does not end the show")
{
    Show show(Graph(moving));
    const WindowId window = show.Play("w");
    std::filesystem::remove(show.folder / "graph.varkle");
    show.UntilMoved(window);
    show.Save(Graph("[0, 1, 0]"));
    show.UntilPixel(window, {160, 100}, green);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A picture that is replaced during the show appears")
{
    Show show(LoadImageOperator("c", "picture.png") + "," + WindowOperator("w", "c"));
    WritePicture(show, "picture.png", "#ff0000");
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, red);
    WritePicture(show, "picture.png", "#00ff00");
    show.UntilPixel(window, {160, 100}, green);
    WritePicture(show, "picture.png", "#0000ff");
    show.UntilPixel(window, {160, 100}, blue);
    CHECK(show.Find("w") == window);
    CheckIsDone(show.Interrupt());
}

TEST_CASE("A picture that is missing is told of, appears as soon as it is there, and that is told as well")
{
    Show show(LoadImageOperator("c", "picture.png") + "," + WindowOperator("w", "c"));
    show.display.SetBackground(blue);
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, black);
    const std::string file = "file \"" + (show.folder / "picture.png") + "\"";
    show.WaitForError("warning: c: there is no " + file + ".\n");
    WritePicture(show, "picture.png", "#00ff00");
    show.UntilPixel(window, {160, 100}, green);
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "warning: c: there is no " + file + ".\ninfo: c: the " + file + " is there now.\n");
}

TEST_CASE("A model is loaded again when one of its files changes during the show")
{
    Show show(WindowOperator("w", "") +
              R"(, {"key": "m", "type": "Varkle.Model.Load3DModel", "parameters": {"File Path": "point.gltf"}},
                 {"key": "sink", "type": "Test.ModelSink", "inputs": {"Model Input": "m"}})");
    WriteBytes(show.folder / "point.gltf", R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}],
        "nodes": [{"mesh": 0}], "meshes": [{"primitives": [{"attributes": {"POSITION": 0}, "mode": 0}]}],
        "accessors": [{"bufferView": 0, "componentType": 5126, "count": 1, "type": "VEC3", "min": [0, 0, 0],
        "max": [0, 0, 0]}], "bufferViews": [{"buffer": 0, "byteLength": 12}],
        "buffers": [{"byteLength": 12, "uri": "point.bin"}]})");
    const WindowId window = show.Play("w");
    show.WaitForError("point.bin");
    WriteBytes(show.folder / "point.bin", std::string(12, '\0'));
    show.WaitForError("sink takes a model\n");
    WriteBytes(show.folder / "point.bin", std::string(12, '\1'));
    show.WaitForError("sink takes a model\n", 2);
    CHECK(show.Find("w") == window);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A document whose last window is taken out during the show is waited with until one opens")
{
    Show show(Graph("[1, 0, 0]"));
    show.UntilPixel(show.Play("w"), {160, 100}, red);
    SECTION("with its operator")
    {
        show.Save(Paint("c", "[1, 0, 0]"));
    }
    SECTION("closed")
    {
        show.Save(Graph("[1, 0, 0]", R"("Open": false)"));
    }
    show.WaitForError("info: graph.varkle opens no window any more; waiting for one to open.\n");
    show.WaitForNoWindow("w");
    show.Save(Graph("[0, 1, 0]"));
    show.UntilPixel(show.WaitForWindow("w"), {160, 100}, green);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A graph without windows that begins to have one during the show is seen in that")
{
    Show show(Paint("c", "[1, 0, 0]"));
    show.UntilPixel(show.Play("c - graph.varkle"), {160, 100}, red);
    show.Save(Graph("[0, 1, 0]"));
    show.UntilPixel(show.WaitForWindow("w"), {160, 100}, green);
    show.WaitForNoWindow("c - graph.varkle");
    show.Save(Paint("d", "[0, 0, 1]"));
    show.UntilPixel(show.WaitForWindow("d - graph.varkle"), {160, 100}, blue);
    show.WaitForNoWindow("w");
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A document that is replaced without rest is followed")
{
    Show show(Graph("[1, 0, 0]"));
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, red);
    show.Until("the picture is green",
               [&]
               {
                   show.Save(Graph("[0, 1, 0]"));
                   return Near(show.GetPixel(window, {160, 100}), green);
               });
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A window that is added to the document during the show opens")
{
    Show show(Graph("[1, 0, 0]"));
    const WindowId window = show.Play("w");
    show.Save(Graph("[1, 0, 0]") + "," + Paint("d", "[0, 1, 0]") + "," +
              WindowOperator("second", "d", R"("Position": [440, 100])"));
    show.UntilPixel(show.WaitForWindow("second"), {160, 100}, green);
    CHECK(show.Find("w") == window);
    show.UntilPixel(window, {160, 100}, red);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("What --set gives stays in force when the document is edited")
{
    Show show(Graph("[1, 0, 0]", R"("Title": "first")"));
    const WindowId window = show.Play("first", {"--set", "c.Color=[0, 1, 0]"});
    show.UntilPixel(window, {160, 100}, green);
    show.Save(Graph("[0, 0, 1]", R"("Title": "second")"));
    show.Until("the title is new", [&] { return show.Find("second") == window; });
    show.UntilPixel(window, {160, 100}, green);
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("After the GPU device was lost the show goes on in the same window")
{
    CheckGoesOnAfter(1);
}

TEST_CASE("When the new GPU device is lost at once the show goes on with the next")
{
    CheckGoesOnAfter(2);
}

TEST_CASE("Without the display's pace no frame is left out when the GPU device is lost")
{
    Show show(Paint("c", moving) + "," + Breaker(1) + "," + WindowOperator("w", "breaker") + "," +
              R"({"key": "report", "type": "Test.Reporter", "parameters": {"Value": "frame"}})");
    const Outcome outcome = show.Playing({"--no-vsync", "--frames", "8"}).Run();
    CHECK(outcome.status == 0);
    std::vector<std::string> frames;
    std::istringstream lines(outcome.error);
    for (std::string line; std::getline(lines, line);)
    {
        if (line.starts_with("info: report: Value "))
            frames.push_back(line.substr(20));
    }
    CHECK(frames == std::vector<std::string>{"0", "1", "2", "3", "4", "5", "6", "7"});
    CHECK(Contains(outcome.error, "info: The graph runs on a new GPU device.\n"));
}

TEST_CASE("A fullscreen window goes with its display and comes back with it during the show")
{
    Show show(Graph(moving, R"("Fullscreen": true)"));
    const WindowId window = show.Play("w");
    show.UntilAt(window, {{0, 0}, {800, 600}});
    show.Until("the picture is there", [&] { return show.GetPixel(window, {400, 300}).b == 255; });
    show.display.Unplug();
    show.Until("the window is off the screen", [&] { return !show.display.IsShown(window); });
    show.display.PlugIn();
    show.Until("the window is back", [&] { return show.display.IsShown(window); });
    show.UntilAt(window, {{0, 0}, {800, 600}});
    show.Until("the picture is back", [&] { return show.GetPixel(window, {799, 300}).b == 255; });
    show.UntilMoved(window);
    CHECK(show.GetPixel(window, {400, 20}) == black);
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "warning: The display \"screen\" is gone.\n"
                           "info: The display \"screen\" is there: 800x600 pixels at (0, 0).\n");
}

TEST_CASE("When the X server goes the show ends with an error, and what it is to leave is there")
{
    std::optional<VirtualDisplay> display(std::in_place);
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(Graph(moving)));
    RunningProgram program =
        Program({"play", "graph.varkle", "--stats", "--trace", "trace.json"}).In(folder.GetPath()).Start();
    const WindowId window = display->WaitForWindow("w");
    display->WaitUntil("the picture is there",
                       [&] { return display->GetPixel(display->GetArea(window).position + 10).b == 255; });
    std::string reason;
    SECTION("itself")
    {
        display.reset();
        reason = "The X server is gone, and with it the windows.";
    }
    SECTION("or only the program's connection to it")
    {
        display->Disconnect(window);
        reason = "The X server has ended this program's connection, and with it the windows.";
    }
    const Outcome outcome = Show::WithoutKeys(program.Wait());
    CHECK(outcome.status == 2);
    CHECK(outcome.signal == 0);
    CHECK(outcome.output == nothing);
    CHECK(Contains(outcome.error, "\npasses ")); // the statistics
    CHECK(Contains(outcome.error, "error: " + reason + "\n"));
    CHECK(nlohmann::json::accept(ReadBytes(folder / "trace.json")));
}
