#include "Varkle/Core/Plugin.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Gpu/Graphics.h"
#include "app/Documents.h"
#include "app/FolderWatch.h"
#include "app/Pictures.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

// Graphs that save pictures while they run: which files are there when the program has ended, and what it said.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// What render says of a graph that only saves pictures by itself.
const std::string remark =
    ": every output feeds something, so that no output is written. Choose one with --operator.\n";
const std::string note = "info: graphs/graph.varkle" + remark;

const std::string harbour = VARKLE_SOURCES "/examples/harbour.jpg";

// Returns a Save Image; `parameters` is what stands in the document's braces.
std::string SaveOperator(const std::string& source, const std::string& parameters)
{
    return R"({"key": "save", "type": "Varkle.Texture.SaveImage", "parameters": {)" + parameters +
           R"(}, "inputs": {"Texture Input": ")" + source + R"("}})";
}

// A folder with a folder "graphs", which holds graph.varkle and a folder "out".
class GraphFolder : public TemporaryFolder
{
public:
    explicit GraphFolder(const std::string& operators)
    {
        std::filesystem::create_directories(*this / "graphs/out");
        WriteBytes(*this / "graphs/graph.varkle", Document(operators));
    }

    std::string Out(std::string_view name) const { return *this / ("graphs/out/" + std::string(name)); }

    std::set<std::string> Written() const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(Out("")))
            names.insert(entry.path().filename().string());
        return names;
    }

    ProgramRunner Command(const std::string& command, const std::vector<std::string>& arguments) const
    {
        return Program(Joined({command, "graphs/graph.varkle"}, arguments)).In(GetPath());
    }

    Outcome Render(const std::vector<std::string>& arguments = {}) const { return Command("render", arguments).Run(); }
};

using Names = std::set<std::string>;

} // namespace

TEST_CASE("Rendering a graph that saves a picture writes it below the document's folder and says so")
{
    const GraphFolder folder(ColorOperator("color", "[0.2, 0.4, 0.6, 0.8]", R"("Texture Size": [8, 4])") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": true)"));
    const Outcome outcome = folder.Render();
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == note + "info: Saved " + folder.Out("image.png") + "\n");
    CHECK(folder.Written() == Names{"image.png"});
    CHECK(folder.Count() == 1); // the color feeds Save Image: it is not written
    CHECK(FirstPixel(folder.Out("image.png")) == Rgba8{51, 102, 153, 204});
}

TEST_CASE("Saved pictures of every format are what other programs take for it")
{
    const GraphFolder folder(ColorOperator("color", "[0.2, 0.4, 0.6, 0.8]", R"("Texture Size": [8, 4])") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": true)"));
    const struct
    {
        const char* format;
        const char* file;
        const char* identity;
        Rgba8 color;
    } cases[] = {
        {"PNG", "image.png", "PNG 8 4 srgba", {51, 102, 153, 204}},
        {"BMP", "image.bmp", "BMP 8 4 srgba", {51, 102, 153, 204}},
        {"TGA", "image.tga", "TGA 8 4 srgba", {51, 102, 153, 204}},
        {"JPG", "image.jpg", "JPEG 8 4 srgb", {51, 102, 153, 255}},
    };
    for (const auto& [format, file, identity, color] : cases)
    {
        INFO(format);
        CHECK(folder.Render({"--set", std::string("save.Format=") + format}).status == 0);
        CHECK(Identify(folder.Out(file)) == identity);
        CHECK(Near(FirstPixel(folder.Out(file)), color, 2));
    }
}

TEST_CASE("A saved picture has no color in channels that the texture lacks, and is opaque without alpha")
{
    const GraphFolder folder(ColorOperator("color", "[0.2, 0.4, 0.6, 0.8]", R"("Texture Type": "RG8Unorm")") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": true)"));
    CHECK(folder.Render().status == 0);
    CHECK(FirstPixel(folder.Out("image.png")) == Rgba8{51, 102, 0, 255});
}

TEST_CASE("An expression saves a picture on every frame where it is not zero, true on the first that is run")
{
    const GraphFolder folder(ColorOperator("color", R"(["frame / 255", 0, 0])") + "," +
                             SaveOperator("color", R"("Folder": "out", "Numbering": "Counter")"));
    SECTION("an expression")
    {
        CHECK(folder.Render({"--frames", "1..7", "--set", R"x(save.Save="mod(frame, 3) == 0")x"}).status == 0);
        REQUIRE(folder.Written() == Names{"image_0000.png", "image_0001.png"});
        CHECK(FirstPixel(folder.Out("image_0000.png")).r == 3);
        CHECK(FirstPixel(folder.Out("image_0001.png")).r == 6);
    }
    SECTION("true")
    {
        CHECK(folder.Render({"--frames", "5..8", "--set", "save.Save=true"}).status == 0);
        REQUIRE(folder.Written() == Names{"image_0000.png"});
        CHECK(FirstPixel(folder.Out("image_0000.png")).r == 5);
    }
    SECTION("neither")
    {
        const Outcome outcome = folder.Render({"--frames", "5"});
        CHECK(outcome.status == 0);
        CHECK(outcome.error == note);
        CHECK(folder.Written().empty());
    }
}

TEST_CASE("The program ends when every picture of a sequence is written and reported, each with its own frame")
{
    const GraphFolder folder(
        ColorOperator("color", R"(["frame / 255", 0, 0])", R"("Texture Size": [64, 64])") + "," +
        SaveOperator("color", R"("Folder": "out", "File Name": "f", "Numbering": "Counter", "Save": "1")"));
    const Outcome outcome = folder.Render({"--frames", "100"});
    CHECK(outcome.status == 0);
    CHECK(std::count(outcome.error.begin(), outcome.error.end(), '\n') == 101); // with the note
    REQUIRE(folder.Written().size() == 100);
    for (const int frame : {0, 1, 42, 98, 99})
    {
        const std::string number = (frame < 10 ? "000" : "00") + std::to_string(frame);
        CHECK(FirstPixel(folder.Out("f_" + number + ".png")).r == frame);
        CHECK(Contains(outcome.error, "info: Saved " + folder.Out("f_" + number + ".png") + "\n"));
    }
}

TEST_CASE("Two programs that save into one folder at once lose no picture")
{
    for (const char* const numbering : {"Counter", "Timestamp"})
    {
        INFO(numbering);
        const GraphFolder folder(
            ColorOperator("color", "[1, 0, 0]") + "," +
            SaveOperator("color", R"("Folder": "out", "Save": "1", "Numbering": ")" + std::string(numbering) + "\""));
        RunningProgram first = folder.Command("render", {"--frames", "50"}).Start();
        RunningProgram second = folder.Command("render", {"--frames", "50"}).Start();
        CHECK(first.Wait().status == 0);
        CHECK(second.Wait().status == 0);
        CHECK(folder.Written().size() == 100);
    }
}

TEST_CASE("Without numbering a sequence leaves its last frame's picture")
{
    const GraphFolder folder(ColorOperator("color", R"(["frame / 255", 0, 0])") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": "1")"));
    CHECK(folder.Render({"--frames", "60"}).status == 0);
    CHECK(folder.Written() == Names{"image.png"});
    CHECK(FirstPixel(folder.Out("image.png")).r == 59);
}

TEST_CASE("A saved picture is complete when it gets its name")
{
    const GraphFolder folder(ColorOperator("color", "[1, 0, 0]") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": true)"));
    FolderWatch watch(folder.Out(""));
    CHECK(folder.Render().status == 0);
    const std::vector<std::string>& events = watch.GetEvents();
    REQUIRE(events.size() == 3);
    CHECK(events[0].starts_with("created ."));
    CHECK(events[2] == "renamed to image.png");
}

TEST_CASE("A picture that can't be saved gives the status 1, and all other files are written")
{
    const GraphFolder folder(ColorOperator("color", "[1, 0, 0]") + "," + GrayScaleOperator("gray", "color") + "," +
                             SaveOperator("color", R"("Save": "1")"));
    const auto render = [&](const std::string& target) {
        return folder.Render(
            {"--frames", "2", "--output", "graphs/gray_{frame}.png", "--set", "save.Folder=" + target});
    };
    const struct
    {
        std::string folder;
        std::string line;
    } cases[] = {
        {"", "error: operator \"save\": Cannot save the image: no folder has been set.\n"},
        {"missing", "error: operator \"save\": Cannot save the image: " + folder / "graphs/missing" +
                        " is not an existing folder.\n"},
        {"/proc", "error: operator \"save\": SaveImage: could not open /proc/image.png for writing.\n"},
    };
    for (const auto& [target, line] : cases)
    {
        INFO(line);
        const Outcome outcome = render(target);
        CHECK(outcome.status == 1);
        CHECK(outcome.error == line + line);
        CHECK(std::filesystem::remove(folder / "graphs/gray_0.png"));
        CHECK(std::filesystem::remove(folder / "graphs/gray_1.png"));
    }
    CHECK(render("out").status == 0);
}

TEST_CASE("When there is no room for a saved picture the one that was there stays")
{
    // 4400 by 4400 pixels: 19 MB in the texture, which the limit has to leave room for, 77 MB in the file.
    const GraphFolder folder(
        ColorOperator("color", "[1, 0, 0]", R"("Texture Size": [4400, 4400], "Texture Type": "R8Unorm")") + "," +
        SaveOperator("color", R"("Folder": "out", "Format": "BMP", "Save": true)"));
    WriteBytes(folder.Out("image.bmp"), "the old picture");
    const Outcome outcome = folder.Command("render", {}).LimitFileSize(70'000'000).Run();
    CHECK(outcome.status == 1);
    CHECK(outcome.error == note + "error: operator \"save\": Could not write " + folder.Out("image.bmp") + "\n");
    CHECK(ReadBytes(folder.Out("image.bmp")) == "the old picture");
    CHECK(folder.Written() == Names{"image.bmp"});
}

TEST_CASE("Inspecting a graph saves its pictures too, and has the messages in its log")
{
    const GraphFolder folder(ColorOperator("color", "[1, 0, 0]") + "," +
                             SaveOperator("color", R"("Folder": "out", "Save": true)"));
    const Outcome outcome = folder.Command("inspect", {"--operator", "color"}).Run();
    CHECK(outcome.status == 0);
    CHECK(folder.Written() == Names{"image.png"});
    const auto json = nlohmann::json::parse(outcome.output);
    REQUIRE(json.at("log").size() == 1);
    CHECK(json.at("log")[0].at("level") == "info");
    CHECK(json.at("log")[0].at("text") == "Saved " + folder.Out("image.png"));
    CHECK(json.at("operators")[1].at("executions") == 1);
    CHECK(json.at("operators")[1].at("outputs").empty());
}

TEST_CASE("The graph in Save Image's document saves a picture every 30 frames")
{
    const std::string page = ReadBytes(VARKLE_SOURCES "/plugins/gpu/Docs/Operators/Texture/Save Image.md");
    const std::size_t begin = page.find("```json\n") + 8;
    const std::string graph = page.substr(begin, page.find("```", begin) - begin);
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", graph);
    const Outcome outcome = Program({"render", "graph.varkle", "--frames", "31"}).In(folder.GetPath()).Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "info: graph.varkle" + remark + "info: Saved " + folder / "pulse_0000.png" +
                               "\ninfo: Saved " + folder / "pulse_0001.png" + "\n");
    CHECK(folder.Count() == 3);
}

TEST_CASE("A program that embeds the libraries may end while pictures are being saved")
{
    const GraphFolder folder(LoadImageOperator("photo", harbour) + "," + ColorOperator("color", "[1, 0, 0]") + "," +
                             SaveOperator("photo", R"("Folder": "out", "Save": true)"));
    const Outcome outcome =
        ProgramRunner({VARKLE_EMBED, folder / "graphs/graph.varkle", "color", folder / "color.png"}).Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.signal == 0);
    CHECK(folder.Written() == Names{"image.png"});
    CHECK(Decode(folder.Out("image.png")).GetWidth() == Decode(harbour).GetWidth());
}

TEST_CASE("A session that saves on every frame waits, so that only so many pictures are in memory at once")
{
    const GraphFolder folder(LoadImageOperator("photo", harbour) + "," +
                             SaveOperator("photo", R"("Folder": "out", "Save": "1")"));
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    Result<GraphSession> session = GraphSession::Load(folder / "graphs/graph.varkle");
    REQUIRE(session);
    const LogRecorder heard;
    // Of as many as may be under way, those that run count twice while they hand over to the next step.
    const std::size_t cores = std::thread::hardware_concurrency();
    const std::size_t most = 2 * std::max<std::size_t>(16, 2 * cores);
    std::size_t worst = 0;
    for (std::size_t frame = 0; frame < 2 * most; ++frame)
    {
        session->GoToFrame((long long)frame);
        worst = std::max(worst, Graphics::CountReadBacks() + Tasks::CountWork());
    }
    CHECK(worst <= most);
    GraphSession::Finish();
    CHECK(heard.lines.size() == 2 * most);
}
