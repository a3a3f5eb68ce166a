#include "app/Documents.h"
#include "app/FolderWatch.h"
#include "app/Pictures.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/VirtualDisplay.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/stat.h>

// The command "render": frames, operators, files, formats, settings, and what is printed.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::string harbour = VARKLE_SOURCES "/examples/harbour.jpg";

// Writes graph.varkle into the folder.
void WriteGraph(const TemporaryFolder& folder, const std::string& operators)
{
    WriteBytes(folder / "graph.varkle", Document(operators));
}

// Runs "render graph.varkle" in the folder.
Outcome Render(const TemporaryFolder& folder, const std::vector<std::string>& arguments = {})
{
    return Program(Joined({"render", "graph.varkle"}, arguments)).In(folder.GetPath()).Run();
}

// Returns the names of the files in a folder but the graph's, sorted.
std::vector<std::string> Written(const TemporaryFolder& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath()))
        names.insert(entry.path().filename().string());
    names.erase("graph.varkle");
    return {names.begin(), names.end()};
}

using Names = std::vector<std::string>;

void CheckIsSilent(const Outcome& outcome)
{
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

// Returns the keys of the operators whose pictures a graph shows in windows, sorted.
std::vector<std::string> ShownInWindows(const std::string& path)
{
    std::set<std::string> keys;
    const auto document = nlohmann::json::parse(ReadBytes(path));
    for (const auto& op : document.at("operators"))
    {
        if (op.at("type") == "Varkle.IO.System.Window")
            keys.insert(op.at("inputs").at("Texture Input"));
    }
    return {keys.begin(), keys.end()};
}

// True when the bytes are a PNG file from its first to its last chunk.
bool IsWholePng(const std::string& bytes)
{
    const std::string end("\0\0\0\0IEND\xae\x42\x60\x82", 12);
    return bytes.starts_with("\x89PNG\r\n\x1a\n") && bytes.ends_with(end);
}

} // namespace

TEST_CASE("Rendering the example writes the photograph in gray, beside nothing else, and prints nothing")
{
    const TemporaryFolder folder;
    CheckIsSilent(Program({"render", VARKLE_SOURCES "/examples/grayscale.varkle"}).In(folder.GetPath()).Run());
    REQUIRE(Written(folder) == Names{"gray.png"});

    const Image photo = Decode(harbour);
    const Image gray = Decode(folder / "gray.png");
    REQUIRE(gray.GetWidth() == photo.GetWidth());
    REQUIRE(gray.GetHeight() == photo.GetHeight());
    double worst = 0;
    for (int y = 0; y < gray.GetHeight(); ++y)
    {
        for (int x = 0; x < gray.GetWidth(); ++x)
        {
            const Rgba8 in = At(photo, x, y);
            const Rgba8 out = At(gray, x, y);
            const double luminance = 0.2126 * in.r + 0.7152 * in.g + 0.0722 * in.b;
            worst = std::max({worst, std::abs(out.r - luminance), double(out.g != out.r), double(out.b != out.r),
                              double(out.a != 255)});
        }
    }
    CHECK(worst <= 1.0);
}

TEST_CASE("The extension of --output, in either case, chooses the format of a picture")
{
    const TemporaryFolder folder;
    // 51, 102, 153, 204 as 8-bit values; JPG has no alpha.
    WriteGraph(folder, ColorOperator("a", "[0.2, 0.4, 0.6, 0.8]", R"("Texture Size": [8, 4])"));
    const struct
    {
        const char* name;
        const char* format;
        Rgba8 color;
    } cases[] = {
        {"a.png", "PNG 8 4 srgba", {51, 102, 153, 204}}, {"a.PNG", "PNG 8 4 srgba", {51, 102, 153, 204}},
        {"a.bmp", "BMP 8 4 srgba", {51, 102, 153, 204}}, {"a.tga", "TGA 8 4 srgba", {51, 102, 153, 204}},
        {"a.jpg", "JPEG 8 4 srgb", {51, 102, 153, 255}}, {"a.jpeg", "JPEG 8 4 srgb", {51, 102, 153, 255}},
    };
    for (const auto& [name, format, color] : cases)
    {
        INFO(name);
        CheckIsSilent(Render(folder, {"--output", name}));
        CHECK(Identify(folder / name) == format);
        CHECK(Near(FirstPixel(folder / name), color, 2));
    }
}

TEST_CASE("Channels that a texture lacks are written as 0, its alpha as 1")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[0.2, 0.4, 0.6, 0.8]", R"("Texture Type": "RG8Unorm")"));
    CheckIsSilent(Render(folder));
    CHECK(FirstPixel(folder / "a.png") == Rgba8{51, 102, 0, 255});
}

TEST_CASE("By default every operator with an output that feeds nothing is written under its key")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("used", "[1, 0, 0]") + "," + GrayScaleOperator("gray", "used") + "," +
                           ColorOperator("free", "[0, 1, 0]"));
    CheckIsSilent(Render(folder));
    CHECK(Written(folder) == Names{"free.png", "gray.png"});
    CHECK(FirstPixel(folder / "free.png") == Rgba8{0, 255, 0, 255});
    CHECK(FirstPixel(folder / "gray.png") == Rgba8{54, 54, 54, 255}); // 0.2126 * 255
}

TEST_CASE("The option --operator writes the operators that it names, also those that feed others, each once")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0, 0]") + "," + GrayScaleOperator("b", "a") + "," +
                           ColorOperator("c", "[0, 1, 0]"));
    CheckIsSilent(Render(folder, {"--operator", "a"}));
    CHECK(Written(folder) == Names{"a.png"});
    CheckIsSilent(Render(folder, {"--operator", "c", "--operator", "b", "--operator", "c"}));
    CHECK(Written(folder) == Names{"a.png", "b.png", "c.png"});
}

TEST_CASE("The option --frames N runs the first N frames and numbers the files with four digits")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", R"(["(10 + frame) / 255", 0, 0])"));
    CheckIsSilent(Render(folder, {"--frames", "3"}));
    REQUIRE(Written(folder) == Names{"a_0000.png", "a_0001.png", "a_0002.png"});
    CHECK(FirstPixel(folder / "a_0000.png").r == 10);
    CHECK(FirstPixel(folder / "a_0002.png").r == 12);
}

TEST_CASE("The option --frames 1 writes one file without a number")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 1, 1]"));
    CheckIsSilent(Render(folder, {"--frames", "1"}));
    CHECK(Written(folder) == Names{"a.png"});
}

TEST_CASE("The option --frames A..B runs from A to B, both included, and none before")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", R"(["frame / 255", "time * 60 / 255", 0])"));
    const Outcome outcome = Render(folder, {"--frames", "4..6", "--stats"});
    CHECK(outcome.status == 0);
    REQUIRE(Written(folder) == Names{"a_0004.png", "a_0005.png", "a_0006.png"});
    CHECK(FirstPixel(folder / "a_0004.png") == Rgba8{4, 4, 0, 255});
    CHECK(FirstPixel(folder / "a_0006.png") == Rgba8{6, 6, 0, 255});
    CHECK(Contains(outcome.error, "\na                  3 ")); // executions
}

TEST_CASE("A range of one frame writes one file without a number")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", R"(["frame / 255", 0, 0])"));
    CheckIsSilent(Render(folder, {"--frames", "200..200"}));
    REQUIRE(Written(folder) == Names{"a.png"});
    CHECK(FirstPixel(folder / "a.png").r == 200);
}

TEST_CASE("The option --set replaces a value or an expression for the run, as JSON or as a bare word")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("c", R"(["time", 1, 1])") + "," + GrayScaleOperator("g", "c"));
    const std::string before = ReadBytes(folder / "graph.varkle");
    SECTION("a vector, and an equals sign in the value")
    {
        CheckIsSilent(Render(folder, {"--set", "c.Texture Size=[3, 5]", "--set", R"(c.Color=["1 == 1", 0, 0])"}));
        CHECK(Identify(folder / "g.png") == "PNG 3 5 srgba");
        CHECK(FirstPixel(folder / "g.png").r == 54);
    }
    SECTION("a bare word")
    {
        CheckIsSilent(Render(folder, {"--set", "c.Color=#ff0000", "--set", "g.Method=Brightest"}));
        CHECK(FirstPixel(folder / "g.png").r == 255);
    }
    SECTION("a quoted word")
    {
        CheckIsSilent(Render(folder, {"--set", R"(c.Color="#ff0000")", "--set", R"(g.Method="Average")"}));
        CHECK(FirstPixel(folder / "g.png").r == 85);
    }
    SECTION("the last of two for one parameter counts")
    {
        CheckIsSilent(Render(folder, {"--set", "c.Color=[1,0,0]", "--set", "c.Color=[0,0,0]"}));
        CHECK(FirstPixel(folder / "g.png").r == 0);
    }
    CHECK(ReadBytes(folder / "graph.varkle") == before);
}

TEST_CASE("The option --set finds operators whose keys have points")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[0, 0, 0]") + "," + ColorOperator("a.b", "[0, 0, 0]"));
    CheckIsSilent(Render(folder, {"--set", "a.b.Color=[1,0,0]"}));
    CHECK(FirstPixel(folder / "a.png").r == 0);
    CHECK(FirstPixel(folder / "a.b.png").r == 255);
}

TEST_CASE("The option --output - writes the file to standard output, byte for byte")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0.5, 0]"));
    REQUIRE(Render(folder, {"--output", "file.png"}).status == 0);
    const Outcome outcome = Render(folder, {"--output", "-"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(outcome.output == ReadBytes(folder / "file.png"));
    CHECK(Written(folder) == Names{"file.png"});

    const std::string pipeline = std::string(VARKLE_PROGRAM) + " render graph.varkle --output - | cat >piped.png";
    CHECK(ProgramRunner({"sh", "-c", pipeline}).In(folder.GetPath()).Run().status == 0);
    CHECK(ReadBytes(folder / "piped.png") == outcome.output);
}

TEST_CASE("The option --output - takes the file of one operator and one frame only")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0, 0]") + "," + ColorOperator("b", "[1, 0, 0]"));
    for (const std::vector<std::string>& more : {std::vector<std::string>{}, {"--operator", "a", "--frames", "2"}})
    {
        const Outcome outcome = Render(folder, Joined({"--output", "-"}, more));
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(Contains(outcome.error, "--output -: it takes the file of one operator and one frame"));
    }
}

TEST_CASE("The same document gives the same bytes: again, in any order of operators, alone and in a sequence")
{
    const TemporaryFolder folder;
    WriteGraph(folder, LoadImageOperator("photo", harbour) + "," + GrayScaleOperator("gray", "photo") + "," +
                           ColorOperator("pulse", R"x(["noise(frame)", "fract(time * 7)", 0.3])x"));
    const std::vector<std::string> sequence = {"--frames", "5", "--output", "first_{key}_{frame}.png"};
    REQUIRE(Render(folder, sequence).status == 0);
    const std::string gray = ReadBytes(folder / "first_gray_3.png");
    const std::string pulse = ReadBytes(folder / "first_pulse_3.png");
    REQUIRE(IsWholePng(gray));
    REQUIRE(IsWholePng(pulse));
    CHECK(ReadBytes(folder / "first_gray_0.png") == gray);
    CHECK(ReadBytes(folder / "first_pulse_2.png") != pulse);

    const std::vector<std::vector<std::string>> runs = {
        {"--frames", "5", "--output", "then_{key}_{frame}.png"},
        {"--frames", "3..4", "--operator", "pulse", "--operator", "gray", "--output", "then_{key}_{frame}.png"},
        {"--frames", "2..3", "--operator", "gray", "--operator", "pulse", "--output", "then_{key}_{frame}.png"},
        {"--frames", "3..3", "--output", "then_{key}_{frame}.png"},
    };
    for (const std::vector<std::string>& arguments : runs)
    {
        REQUIRE(Render(folder, arguments).status == 0);
        CHECK(ReadBytes(folder / "then_gray_3.png") == gray);
        CHECK(ReadBytes(folder / "then_pulse_3.png") == pulse);
        std::filesystem::remove(folder / "then_gray_3.png");
        std::filesystem::remove(folder / "then_pulse_3.png");
    }
    REQUIRE(Render(folder, {"--frames", "3..3", "--operator", "pulse", "--output", "alone.png"}).status == 0);
    CHECK(ReadBytes(folder / "alone.png") == pulse);
}

TEST_CASE("A file is written under a hidden name and renamed when it is complete")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0, 0]"));
    FolderWatch watch(folder.GetPath());
    CheckIsSilent(Render(folder));
    const std::vector<std::string>& events = watch.GetEvents();
    REQUIRE(events.size() == 3);
    CHECK(events[0].starts_with("created ."));
    const std::string hidden = events[0].substr(8);
    CHECK(events[1] == "renamed " + hidden);
    CHECK(events[2] == "renamed to a.png");
}

TEST_CASE("Only what the chosen outputs need is run, and the operators without outputs")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("c", "[1, 0, 0]") + "," + Filter("first", "Test.Speaker", "c") + "," +
                           Filter("second", "Test.Speaker", "c") + "," + Filter("third", "Test.Speaker", "c") + "," +
                           Filter("sink", "Test.Sink", "third"));
    const std::vector<std::string> plugins = {"--plugin", TEST_OPERATORS_PLUGIN};
    const Outcome outcome = Render(folder, Joined({"--operator", "second"}, plugins));
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == "info: second speaks\ninfo: third speaks\ninfo: sink takes a texture\n");
    CHECK(Written(folder) == Names{"second.png"});

    SECTION("and nobody can ask for the file of an operator without outputs")
    {
        const Outcome refused = Render(folder, Joined({"--operator", "sink"}, plugins));
        CHECK(refused.status == 1);
        CHECK(refused.error == "error: The operator \"sink\" has no output: there is nothing to write.\n");
    }
}

TEST_CASE("A graph whose operators have no outputs runs and writes nothing")
{
    const TemporaryFolder folder;
    WriteGraph(folder, R"({"key": "sink", "type": "Test.Sink"})");
    const Outcome outcome = Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--frames", "2"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "info: sink takes a texture\n");
    CHECK(Written(folder).empty());
    CHECK(Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--output", "x.png"}).error ==
          "error: graph.varkle: no operator has an output, so that --output has nothing to write.\n");
}

TEST_CASE("Rendering a graph with a window opens none and writes the other outputs, with and without a display")
{
    const TemporaryFolder folder;
    const std::string window = R"(, {"key": "show", "type": "Varkle.IO.System.Window",
        "inputs": {"Texture Input": "used"}, "parameters": {"Open": true, "Title": "Stage"}},
        {"key": "info", "type": "Varkle.IO.System.WindowInfo", "parameters": {"Window": "show"}})";
    WriteGraph(folder, ColorOperator("used", "[1, 0, 0]") + "," + ColorOperator("free", "[0, 1, 0]") + window);
    const ProgramRunner render = Program({"render", "graph.varkle", "--frames", "2"}).In(folder.GetPath());
    SECTION("without a display")
    {
        CheckIsSilent(ProgramRunner(render).With("DISPLAY", "").Run());
    }
    SECTION("with a display")
    {
        VirtualDisplay display;
        CheckIsSilent(render.Run());
    }
    CHECK(Written(folder) == Names{"free_0000.png", "free_0001.png"});
}

TEST_CASE("A graph whose every output goes to a window runs and writes nothing")
{
    const TemporaryFolder folder;
    const std::vector<std::string> plugins = {"--plugin", TEST_OPERATORS_PLUGIN};
    WriteGraph(folder, ColorOperator("c", R"(["frame / 8", 0, 0])") + "," + Filter("heard", "Test.Speaker", "c") + "," +
                           Filter("show", "Varkle.IO.System.Window", "heard"));
    const Outcome outcome = Render(folder, Joined({"--frames", "3", "--set", "show.Open=true"}, plugins));
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == "info: graph.varkle: every output feeds something, so that no output is written. Choose one "
                           "with --operator.\ninfo: heard speaks\ninfo: heard speaks\ninfo: heard speaks\n");
    CHECK(Written(folder).empty());

    SECTION("but for what is asked for by name")
    {
        CHECK(Render(folder, Joined({"--operator", "c"}, plugins)).status == 0);
        CHECK(Written(folder) == Names{"c.png"});
    }
    SECTION("and the window itself has nothing to write")
    {
        const Outcome refused = Render(folder, Joined({"--operator", "show"}, plugins));
        CHECK(refused.status == 1);
        CHECK(refused.error == "error: The operator \"show\" has no output: there is nothing to write.\n");
    }
}

TEST_CASE(
    "The option --log chooses what is printed, and an error that an operator logs gives the status 1 and all files")
{
    const TemporaryFolder folder;
    WriteGraph(folder, R"({"key": "a", "type": "Test.Speaker", "parameters": {"Level": "Error"}},
                          {"key": "b", "type": "Test.Speaker", "parameters": {"Level": "Warning"}},
                          {"key": "c", "type": "Test.Speaker"})");
    const struct
    {
        const char* level;
        const char* printed;
    } cases[] = {
        {"info", "error: operator \"a\": a speaks\nwarning: operator \"b\": b speaks\ninfo: c speaks\n"},
        {"warning", "error: operator \"a\": a speaks\nwarning: operator \"b\": b speaks\n"},
        {"error", "error: operator \"a\": a speaks\n"},
        {"none", ""},
    };
    for (const auto& [level, printed] : cases)
    {
        INFO(level);
        const Outcome outcome = Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--log", level});
        CHECK(outcome.error == printed);
        CHECK(outcome.status == 1);
        CHECK(Written(folder) == Names{"a.png", "b.png", "c.png"});
    }
    CHECK(Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--set", "a.Level=Warning"}).status == 0);
}

TEST_CASE("An operator that carries nothing is an error, and the other files are written all the same")
{
    const TemporaryFolder folder;
    WriteGraph(folder, LoadImageOperator("photo", "missing.png") + "," + GrayScaleOperator("gray", "photo") + "," +
                           ColorOperator("c", "[1, 0, 0]"));
    const Outcome outcome =
        Render(folder, {"--frames", "2", "--operator", "photo", "--operator", "gray", "--operator", "c"});
    CHECK(outcome.status == 1);
    CHECK(outcome.output == nothing);
    CHECK(
        outcome.error ==
        "error: The operator \"gray\" carries nothing after frame 0, and neither does \"photo\", which it depends on, "
        "since there is no file \"" +
            (folder / "missing.png") +
            "\": no file is written for it.\n"
            "error: The operator \"photo\" carries nothing after frame 0, since there is no file \"" +
            (folder / "missing.png") +
            "\": no file is written for it.\n"
            "error: The operator \"gray\" carried nothing after 2 frames in all.\n"
            "error: The operator \"photo\" carried nothing after 2 frames in all.\n");
    CHECK(Written(folder) == Names{"c_0000.png", "c_0001.png"});
}

TEST_CASE("Paths in a document are relative to the document, files are written to the current folder")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "graphs/pictures");
    std::filesystem::copy_file(harbour, folder / "graphs/pictures/a.jpg");
    WriteBytes(folder / "graphs/graph.varkle", Document(LoadImageOperator("photo", "pictures/a.jpg")));
    const auto render = [&](const std::vector<std::string>& more) {
        return Program(Joined({"render", "graphs/graph.varkle"}, more)).In(folder.GetPath()).Run();
    };
    CheckIsSilent(render({}));
    CHECK(Written(folder) == Names{"graphs", "photo.png"});
    CheckIsSilent(render({"--output", "graphs/pictures/out.png"}));
    CHECK(ReadBytes(folder / "graphs/pictures/out.png") == ReadBytes(folder / "photo.png"));
}

TEST_CASE("The option --stats prints a table on standard error: executions and milliseconds of every operator")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("still", "[1, 0, 0]") + "," + ColorOperator("moving", R"(["frame", 0, 0])"));
    const Outcome outcome = Render(folder, {"--stats", "--frames", "3"});
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error.starts_with("operator  executions      CPU ms      GPU ms\nstill              1  "));
    CHECK(Contains(outcome.error, "\nmoving             3  "));
    CHECK(Contains(outcome.error, "\npasses 4, pipelines created 0,"));
}

TEST_CASE("The option --trace writes a trace that is JSON and has a span for each kind of work")
{
    const TemporaryFolder folder;
    WriteGraph(folder, LoadImageOperator("photo", harbour) + "," + GrayScaleOperator("gray", "photo"));
    CheckIsSilent(Render(folder, {"--trace", "trace.json", "--frames", "2"}));
    const auto trace = nlohmann::json::parse(ReadBytes(folder / "trace.json"));
    std::map<std::string, std::vector<std::string>> names; // of the spans, by category
    for (const auto& event : trace.at("traceEvents"))
    {
        if (event.at("ph") != "X")
            continue;
        names[event.at("cat")].push_back(event.at("name"));
        CHECK(event.at("ts").get<double>() >= 0);
        CHECK(event.at("dur").get<double>() >= 0);
    }
    CHECK(names["operator"] == Names{"photo", "gray"}); // once: nothing changes
    CHECK(names["pass"].size() == 1);
    CHECK(names["pipeline"].size() == 1);
    CHECK(names["shader"].size() == 1);
    CHECK(names["frame"] == Names{"frame 0", "frame 1"});
    const std::set<std::string> files(names["file"].begin(), names["file"].end());
    CHECK(files == std::set<std::string>{"graph.varkle", harbour, "gray_0000.png", "gray_0001.png"});
}

TEST_CASE("Options that all commands share may stand before and behind the command")
{
    const TemporaryFolder folder;
    WriteGraph(folder, R"({"key": "a", "type": "Test.Speaker"})");
    const std::vector<std::vector<std::string>> lines = {
        {"--plugin", TEST_OPERATORS_PLUGIN, "--log=none", "render", "graph.varkle"},
        {"render", "--plugin", TEST_OPERATORS_PLUGIN, "graph.varkle", "--log=none"},
    };
    for (const std::vector<std::string>& line : lines)
        CheckIsSilent(Program(line).In(folder.GetPath()).Run());
}

TEST_CASE("The adapter is chosen by --adapter, else by VARKLE_ADAPTER")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0, 0]"));
    const auto render = [&](const std::vector<std::string>& arguments, const char* environment)
    {
        return Program(Joined({"render", "graph.varkle"}, arguments))
            .In(folder.GetPath())
            .With("VARKLE_ADAPTER", environment)
            .Run();
    };
    CHECK(render({"--adapter", "cpu"}, "").status == 0);
    CHECK(render({"--adapter", "CPU"}, "no such adapter").status == 0);
    CHECK(render({}, "cpu").status == 0);
    CHECK(render({}, "no such adapter").status == 2);
    CHECK(render({"--adapter", "no such adapter"}, "cpu").status == 2);
}

TEST_CASE("A chain of 10,000 operators renders in one go, in any order of the document")
{
    const TemporaryFolder folder;
    std::vector<std::string> operators = {ColorOperator("g0", "[1, 0, 0]")};
    for (int i = 1; i < 10000; ++i)
        operators.push_back(GrayScaleOperator("g" + std::to_string(i), "g" + std::to_string(i - 1)));
    std::reverse(operators.begin(), operators.end());
    std::string text = operators[0];
    for (std::size_t i = 1; i < operators.size(); ++i)
        text += ",\n" + operators[i];
    WriteGraph(folder, text);
    CheckIsSilent(Render(folder));
    REQUIRE(Written(folder) == Names{"g9999.png"});
    CHECK(FirstPixel(folder / "g9999.png") == Rgba8{54, 54, 54, 255});
}

TEST_CASE("A run that is interrupted dies by the signal, and the files written so far are whole")
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        INFO(signal);
        const TemporaryFolder folder;
        WriteGraph(folder, ColorOperator("a", R"x(["fract(time)", 0, 0])x", R"("Texture Size": [64, 64])"));
        FolderWatch watch(folder.GetPath());
        RunningProgram program =
            Program({"render", "graph.varkle", "--frames", "1000000"}).In(folder.GetPath()).Start();
        REQUIRE(watch.WaitForRename("_0003.png") == "a_0003.png");
        program.Send(signal);
        const Outcome outcome = program.Wait();
        CHECK(outcome.signal == signal);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == "error: The run was interrupted; the files written so far are complete.\n");
        for (const std::string& name : Written(folder))
        {
            INFO(name);
            CHECK(name.ends_with(".png"));
            CHECK(IsWholePng(ReadBytes(folder / name)));
        }
    }
}

TEST_CASE("A run that waits for what does not come ends by the signal within a moment")
{
    // The first waits for the GPU, a minute where that is a CPU, the second for someone who reads.
    const std::string speaker = R"({"key": "a", "type": "Test.Speaker"})";
    const std::string heavy =
        R"(, {"key": "n", "type": "Varkle.Texture.Noise", "parameters": {"Texture Size": [4096, 4096]}},
        {"key": "b", "type": "Varkle.Texture.Blur", "parameters": {"Radius": "63 + frame / 1e6"},
         "inputs": {"Texture Input": "n"}})";
    const struct
    {
        std::string operators;
        std::string output;
    } cases[] = {
        {speaker + heavy, "{key}_{frame}.png"},
        {speaker, "pipe_{frame}.png"},
    };
    for (const auto& [operators, output] : cases)
    {
        INFO(output);
        const TemporaryFolder folder;
        WriteGraph(folder, operators);
        mkfifo((folder / "pipe_0.png").c_str(), 0600);
        RunningProgram program = Program({"render", "graph.varkle", "--output", output, "--frames", "10", "--plugin",
                                          VARKLE_PLUGIN, "--plugin", TEST_OPERATORS_PLUGIN})
                                     .In(folder.GetPath())
                                     .Start();
        REQUIRE(program.WaitForError("a speaks"));
        const auto start = std::chrono::steady_clock::now();
        program.Send(SIGTERM);
        const Outcome outcome = program.Wait();
        CHECK(std::chrono::steady_clock::now() - start < std::chrono::seconds(10)); // less than one on an idle machine
        CHECK(outcome.signal == SIGTERM);
        CHECK(Contains(outcome.error, "error: The run was interrupted; the files written so far are complete"));
        for (const std::string& name : Written(folder))
            CHECK(!name.starts_with(".")); // a hidden file that was not complete
    }
}

TEST_CASE("A signal that the caller ignores does not end a run")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", R"(["frame / 255", 0, 0])"));
    FolderWatch watch(folder.GetPath());
    RunningProgram program =
        Program({"render", "graph.varkle", "--frames", "60"}).In(folder.GetPath()).Ignore(SIGHUP).Start();
    REQUIRE(watch.WaitForRename("_0000.png") == "a_0000.png");
    program.Send(SIGHUP);
    CheckIsSilent(program.Wait());
    CHECK(Written(folder).size() == 60);
}

TEST_CASE("Every example renders without a message")
{
    int examples = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VARKLE_SOURCES "/examples"))
    {
        if (entry.path().extension() != ".varkle")
            continue;
        ++examples;
        INFO(entry.path().string());
        const std::vector<std::string> shown = ShownInWindows(entry.path().string());
        std::vector<std::string> command = {"render", entry.path().string(), "--frames", "2"};
        for (const std::string& key : shown)
            command = Joined(command, {"--operator", key});
        const TemporaryFolder folder;
        const Outcome outcome = Program(command).In(folder.GetPath()).Run();
        CHECK(outcome.status == 0);
        CHECK(outcome.error == nothing);
        CHECK(Written(folder).size() >= 2 * std::max<std::size_t>(shown.size(), 1));
    }
    CHECK(examples >= 2);
}
