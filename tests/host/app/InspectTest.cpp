#include "app/Documents.h"
#include "app/FolderWatch.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/VirtualDisplay.h"

#include <nlohmann/json.hpp>

// The command "inspect". What it says of each kind of parameter and data is the document library's to test.

using namespace Varkle;
using Json = nlohmann::json;

namespace
{

Outcome Inspect(const TemporaryFolder& folder, const std::string& operators,
                const std::vector<std::string>& arguments = {})
{
    WriteBytes(folder / "graph.varkle", Document(operators));
    return Program(Joined({"inspect", "graph.varkle"}, arguments)).In(folder.GetPath()).Run();
}

const Json& Named(const Json& list, const std::string& name)
{
    for (const Json& entry : list)
    {
        if (entry.at("name") == name)
            return entry;
    }
    throw std::invalid_argument("there is no " + name);
}

} // namespace

TEST_CASE("Inspecting a graph prints the state of every operator after the last frame as one JSON object")
{
    const TemporaryFolder folder;
    const Outcome outcome = Inspect(folder,
                                    ColorOperator("c", R"(["frame / 4", 0, 0])", R"("Texture Size": [3, 5])") + "," +
                                        GrayScaleOperator("g", "c"),
                                    {"--frames", "3"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(folder.Count() == 1); // no file but the graph's

    const Json json = Json::parse(outcome.output);
    CHECK(json.at("frame") == 2);
    CHECK(json.at("log") == Json::array());
    REQUIRE(json.at("operators").size() == 2);
    const Json& color = json["operators"][0];
    CHECK(color.at("key") == "c");
    CHECK(color.at("type") == "Varkle.Texture.Color");
    CHECK(color.at("executions") == 3);
    CHECK(Named(color.at("parameters"), "Color").at("type") == "Color");
    CHECK(Named(color.at("parameters"), "Color").at("value") == Json({0.5, 0, 0, 1}));
    CHECK(color.at("inputs") == Json::array());
    CHECK(color.at("outputs") == Json::parse(R"([{"name": "Texture Output", "type": "Texture", "active": true,
                                                  "width": 3, "height": 5, "format": "RGBA8Unorm"}])"));
    const Json& gray = json["operators"][1];
    CHECK(gray.at("inputs") == Json::parse(R"([{"name": "Texture Input", "type": "Texture", "from": "c"}])"));
    CHECK(Named(gray.at("parameters"), "Method").at("value") == "Luminance");
    CHECK(Named(gray.at("parameters"), "Method").at("values") ==
          Json({"Luminance", "Average", "Brightest", "Darkest"}));
    CHECK(Named(gray.at("parameters"), "Texture Size").at("value") == Json({3, 5}));
}

TEST_CASE("Inspecting runs all operators, or with --operator those that are needed")
{
    const TemporaryFolder folder;
    const std::string operators = ColorOperator("a", "[1, 0, 0]") + "," + GrayScaleOperator("b", "a") + "," +
                                  ColorOperator("c", "[1, 0, 0]") + "," + GrayScaleOperator("d", "c");
    const auto executions = [&](const std::vector<std::string>& arguments)
    {
        std::vector<int> counts;
        const Json json = Json::parse(Inspect(folder, operators, arguments).output);
        for (const Json& op : json.at("operators"))
            counts.push_back(op.at("executions"));
        return counts;
    };
    CHECK(executions({}) == std::vector<int>{1, 1, 1, 1});
    CHECK(executions({"--operator", "b"}) == std::vector<int>{1, 1, 0, 0});
    CHECK(executions({"--operator", "c", "--operator", "b"}) == std::vector<int>{1, 1, 1, 0});
}

TEST_CASE("Inspecting a range runs its frames only")
{
    const TemporaryFolder folder;
    const Json json =
        Json::parse(Inspect(folder, ColorOperator("a", R"(["frame", 0, 0])"), {"--frames", "5..8"}).output);
    CHECK(json.at("frame") == 8);
    CHECK(json.at("operators")[0].at("executions") == 4);
}

TEST_CASE("Inspecting shows what --set changed")
{
    const TemporaryFolder folder;
    const Json json = Json::parse(Inspect(folder, ColorOperator("a", "[1, 0, 0]"),
                                          {"--set", "a.Texture Size=[640,360]", "--set", "a.Texture Type=R8Unorm"})
                                      .output);
    const Json& color = json.at("operators")[0];
    CHECK(color.at("outputs")[0].at("width") == 640);
    CHECK(color.at("outputs")[0].at("height") == 360);
    CHECK(color.at("outputs")[0].at("format") == "R8Unorm");
}

TEST_CASE("Inspecting lists the lines logged, exits with 0 in spite of errors, and prints the log on standard error")
{
    const TemporaryFolder folder;
    const Outcome outcome = Inspect(folder, R"({"key": "a", "type": "Test.Speaker", "parameters": {"Level": "Error"}},
                           {"key": "b", "type": "Test.Speaker"})",
                                    {"--plugin", TEST_OPERATORS_PLUGIN, "--log", "error"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == "error: operator \"a\": a speaks\n");
    CHECK(Json::parse(outcome.output).at("log") ==
          Json::parse(R"([{"level": "error", "text": "a speaks"}, {"level": "info", "text": "b speaks"}])"));
}

TEST_CASE("An output that carries nothing is inspected as not active, without an error")
{
    const TemporaryFolder folder;
    const Outcome outcome = Inspect(folder, LoadImageOperator("photo", "missing.png"));
    CHECK(outcome.status == 0);
    CHECK(Json::parse(outcome.output).at("operators")[0].at("outputs") ==
          Json::parse(R"([{"name": "Texture Output", "type": "Texture", "active": false}])"));
}

TEST_CASE("With --stats and --trace the standard output of inspect stays JSON")
{
    const TemporaryFolder folder;
    const Outcome outcome = Inspect(folder, ColorOperator("a", "[1, 0, 0]"), {"--stats", "--trace", "trace.json"});
    CHECK(outcome.status == 0);
    CHECK(Json::parse(outcome.output).at("frame") == 0);
    CHECK(Contains(outcome.error, "executions"));
    CHECK(Json::parse(ReadBytes(folder / "trace.json")).contains("traceEvents"));
}

TEST_CASE("Inspecting the same document gives the same bytes")
{
    const TemporaryFolder folder;
    const std::string operators = ColorOperator("a", R"x(["noise(frame)", 0, 0])x") + "," + GrayScaleOperator("b", "a");
    const std::string first = Inspect(folder, operators, {"--frames", "5"}).output;
    CHECK(first != nothing);
    CHECK(Inspect(folder, operators, {"--frames", "5"}).output == first);
}

TEST_CASE("An inspection that is interrupted dies by the signal and prints no JSON")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "a", "type": "Test.Speaker"})"));
    // The operator runs once, so that nothing but the frames' number takes time.
    RunningProgram program =
        Program({"inspect", "graph.varkle", "--plugin", TEST_OPERATORS_PLUGIN, "--frames", "1000000000"})
            .In(folder.GetPath())
            .Start();
    REQUIRE(program.WaitForError("a speaks"));
    program.Send(SIGINT);
    const Outcome outcome = program.Wait();
    CHECK(outcome.signal == SIGINT);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == "info: a speaks\nerror: The run was interrupted.\n");
}

TEST_CASE("Inspecting opens no window, with and without a display, and Window Info reports what the window was asked")
{
    const TemporaryFolder folder;
    const std::string operators = ColorOperator("c", "[1, 0, 0]") + R"(,
        {"key": "show", "type": "Varkle.IO.System.Window", "inputs": {"Texture Input": "c"}, "parameters":
            {"Open": true, "Fullscreen": true, "Size": [640, 361], "Position": [-30, 40], "Title": "Stage"}},
        {"key": "info", "type": "Varkle.IO.System.WindowInfo", "parameters": {"Window": "show"}})";
    const auto check = [&](const Outcome& outcome)
    {
        CHECK(outcome.status == 0);
        CHECK(outcome.error == nothing);
        const Json json = Json::parse(outcome.output);
        CHECK(json.at("log") == Json::array());
        const Json& show = json.at("operators")[1];
        CHECK(show.at("executions") == 1);
        CHECK(show.at("outputs") == Json::array());
        CHECK(Named(show.at("parameters"), "Open").at("value") == true);
        const Json& info = json.at("operators")[2];
        CHECK(info.at("executions") == 3); // on every frame
        CHECK(info.at("parameters") == Json::parse(R"([
            {"name": "Resolution", "type": "Vector 2 Int", "value": [640, 361], "output": true},
            {"name": "Logical Size", "type": "Vector 2 Int", "value": [640, 361], "output": true},
            {"name": "Position", "type": "Vector 2 Int", "value": [-30, 40], "output": true},
            {"name": "DPI Scale", "type": "Float", "value": 1, "output": true},
            {"name": "Refresh Rate", "type": "Float", "value": 60, "output": true},
            {"name": "Open", "type": "Bool", "value": false, "output": true},
            {"name": "Fullscreen", "type": "Bool", "value": false, "output": true},
            {"name": "Minimized", "type": "Bool", "value": false, "output": true},
            {"name": "Window", "type": "Reference", "value": "show"}])"));
    };
    WriteBytes(folder / "graph.varkle", Document(operators));
    const ProgramRunner inspect = Program({"inspect", "graph.varkle", "--frames", "3"}).In(folder.GetPath());
    SECTION("without a display")
    {
        check(ProgramRunner(inspect).With("DISPLAY", "").Run());
    }
    SECTION("with a display that does not answer")
    {
        check(ProgramRunner(inspect).With("DISPLAY", ":65000").Run());
    }
    SECTION("with a display")
    {
        Testing::VirtualDisplay display;
        check(inspect.Run());
    }
}

TEST_CASE("Inspecting some operators runs the windows too, and what they need")
{
    const TemporaryFolder folder;
    const std::string operators = ColorOperator("a", "[1, 0, 0]") + "," + ColorOperator("b", "[1, 0, 0]") + "," +
                                  ColorOperator("c", "[1, 0, 0]") + "," +
                                  Filter("show", "Varkle.IO.System.Window", "b") +
                                  R"(, {"key": "info", "type": "Varkle.IO.System.WindowInfo"})";
    std::vector<int> executions;
    const Json json = Json::parse(Inspect(folder, operators, {"--operator", "a"}).output);
    for (const Json& op : json.at("operators"))
        executions.push_back(op.at("executions"));
    CHECK(executions == std::vector<int>{1, 1, 0, 1, 1});
}
