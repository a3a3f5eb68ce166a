#include "app/Documents.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

// The commands that tell about operators, documents, files and the machine, and help.

using namespace Varkle;
using Json = nlohmann::json;

namespace
{

Outcome Run(const std::vector<std::string>& arguments)
{
    return Program(arguments).Run();
}

} // namespace

TEST_CASE("The command operators lists the type and the summary of each operator, one a line")
{
    const Outcome outcome = Run({"operators"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(Contains(outcome.output, "Varkle.Texture.GrayScale"));
    CHECK(Contains(outcome.output, "  Converts a texture to gray.\n"));
}

TEST_CASE("The command operators --json lists the operators in the same order as objects")
{
    const Outcome outcome = Run({"operators", "--json", "--no-default-plugins", "--plugin", TEST_OPERATORS_PLUGIN});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    const Json json = Json::parse(outcome.output);
    REQUIRE(json.size() > 2);
    CHECK(json[0] == Json::parse(R"({"type": "Test.Speaker", "category": "Test", "name": "Speaker",
                                     "summary": "Passes a texture on and logs a message.", "tags": []})"));
    CHECK(json[2].at("name") == "Mesh Source");

    std::size_t width = 0;
    for (const Json& info : json)
        width = std::max(width, info.at("type").get<std::string>().size());
    std::string expected;
    for (const Json& info : json)
    {
        std::string type = info.at("type");
        type.resize(width + 2, ' ');
        expected += type + info.at("summary").get<std::string>() + "\n";
    }
    CHECK(Run({"operators", "--no-default-plugins", "--plugin", TEST_OPERATORS_PLUGIN}).output == expected);
}

TEST_CASE("Plug-ins of --plugin are loaded after those of the plug-in folder, in their order, or alone")
{
    const auto ends = [](const std::vector<std::string>& options)
    {
        const Outcome outcome = Run(Joined({"operators", "--json"}, options));
        CHECK(outcome.error == nothing);
        const Json json = Json::parse(outcome.output);
        return std::pair<std::string, std::string>(json.front().at("type"), json.back().at("type"));
    };
    const auto [first, last] = ends({"--plugin", TEST_OPERATORS_PLUGIN});
    CHECK(first.starts_with("Varkle."));
    CHECK(last.starts_with("Test."));
    const auto [own, host] =
        ends({"--no-default-plugins", "--plugin", TEST_OPERATORS_PLUGIN, "--plugin", VARKLE_PLUGIN});
    CHECK(own == "Test.Speaker");
    CHECK(host.starts_with("Varkle."));
}

TEST_CASE("Plug-ins of the folders of VARKLE_PLUGIN_PATH are loaded, and what can't be loaded there is a warning")
{
    const TemporaryFolder folder;
    std::filesystem::create_symlink(TEST_OPERATORS_PLUGIN, folder / "test.so");
    WriteBytes(folder / "text.so", "this is no library");
    const Outcome outcome =
        Program({"operators"}).With("VARKLE_PLUGIN_PATH", folder.GetPath().string() + ":" + folder / "none").Run();
    CHECK(outcome.status == 0);
    CHECK(Contains(outcome.output, "Varkle.Texture.Blur "));
    CHECK(Contains(outcome.output, "Test.Speaker "));
    CHECK(outcome.error == "warning: could not load the plug-in " + folder / "text.so" +
                               ": this is not a shared library.\nwarning: The folder of VARKLE_PLUGIN_PATH \"" +
                               folder / "none" + "\" can't be read: No such file or directory.\n");
    const Outcome without =
        Program({"operators", "--no-default-plugins"}).With("VARKLE_PLUGIN_PATH", folder.GetPath().string()).Run();
    CHECK(without.output == nothing);
    CHECK(without.error == nothing);
}

TEST_CASE(
    "The command describe prints an operator's document, by its type or its name in any case, with links resolved")
{
    const Outcome byType = Run({"describe", "Varkle.Texture.GrayScale"});
    CHECK(byType.status == 0);
    CHECK(byType.error == nothing);
    CHECK(byType.output.starts_with("Grayscale  (Varkle.Texture.GrayScale)\n\nConverts a texture to gray.\n"));
    CHECK(Contains(byType.output, "\n  Method (Enum)\n"));
    CHECK(Contains(byType.output, "Values: Luminance, Average, Brightest, Darkest.\n"));
    CHECK(Contains(byType.output, "(varkle describe Varkle.Texture.LoadImage)"));
    CHECK(!Contains(byType.output, "op:"));
    CHECK(Run({"describe", "Texture/Grayscale"}).output == byType.output);
    CHECK(Run({"describe", "texture/grayscale"}).output == byType.output);
}

TEST_CASE("The window operators are listed first and described with what they read and write")
{
    const Outcome list = Run({"operators"});
    CHECK(list.output.starts_with("Varkle.IO.System.Window "));
    CHECK(Contains(list.output, "  Shows a texture in a window of its own, on any display, windowed or fullscreen.\n"));
    CHECK(Contains(list.output, "\nVarkle.IO.System.WindowInfo "));
    const Json json = Json::parse(Run({"operators", "--json"}).output);
    CHECK(json.size() == 34);
    CHECK(json[0] == Json::parse(R"({"type": "Varkle.IO.System.Window", "category": "IO/System", "name": "Window",
        "summary": "Shows a texture in a window of its own, on any display, windowed or fullscreen.",
        "tags": ["output", "screen", "display", "monitor", "projector", "fullscreen", "present", "show"]})"));
    CHECK(json[1] == Json::parse(R"({"type": "Varkle.IO.System.WindowInfo", "category": "IO/System",
        "name": "Window Info",
        "summary": "Reports the position, size, display and state of a Window operator's window.",
        "tags": ["resolution", "screen size", "dpi", "scale", "refresh rate", "monitor", "display"]})"));

    const Outcome window = Run({"describe", "IO/System/Window"});
    CHECK(window.status == 0);
    CHECK(window.error == nothing);
    CHECK(window.output == Run({"describe", "Varkle.IO.System.Window"}).output);
    CHECK(window.output.starts_with("Window  (Varkle.IO.System.Window)\n"));
    CHECK(Contains(window.output, "\n  Size Unit (Enum)\n"));
    CHECK(Contains(window.output, "Values: Physical, Logical.\n"));
    CHECK(Contains(window.output, "(varkle describe Varkle.IO.System.WindowInfo)"));
    const Outcome info = Run({"describe", "io/system/window info"});
    CHECK(info.status == 0);
    CHECK(Contains(info.output, "\n  Resolution (Vector 2 Int, reported)\n"));
    CHECK(Contains(info.output, "\n  Window (Reference)\n"));
    CHECK(Contains(info.output, "(varkle describe Varkle.IO.System.Window)"));
}

TEST_CASE("The command describe prints the text of a document as it stands, with links resolved in tables, too")
{
    const Outcome outcome = Run({"describe", "Test/Speaker", "--plugin", TEST_OPERATORS_PLUGIN});
    CHECK(outcome.error == nothing);
    CHECK(Contains(outcome.output, R"(
How serious a message can be:

| Level   | Meaning | Lines |
|---------|:-------:|------:|
| Info    | all is *well* | 1 |
| Warning | see the sink (varkle describe Test.Sink) or `a \| b` | 10 |
| Error   | größer als 3 | 100 |

1. The next: Mesh Source (varkle describe Test.MeshSource), or nobody (Test/Nobody: there is no such
   operator).
)"));
}

TEST_CASE("Paragraphs and items of lists that links made longer than 100 characters are broken anew")
{
    const std::string text = Run({"describe", "Mesh/Sphere"}).output;
    CHECK(Contains(text, R"(
Use it with Noise Attribute (varkle describe Varkle.Mesh.NoiseAttribute) and Move (varkle describe
Varkle.Mesh.Move) for planets and blobs: enough segments make the bumps fine. Noise (varkle describe
)"));
    const std::string items = Run({"describe", "Texture/Save Image"}).output;
    CHECK(Contains(items, R"(
- *Cannot save the image: there is no texture on the texture input.* Nothing is connected, or what
  is connected has nothing to show yet.
- *Cannot save the image: no folder has been set.*
)"));
    CHECK(Contains(items, "\n      \"key\": \"pulse\",\n")); // code stands as it does
}

TEST_CASE("The command describe suggests a name for an operator that there is not")
{
    const struct
    {
        const char* name;
        const char* message;
    } cases[] = {
        {"Texture/Greyscale",
         "error: There is no operator \"Texture/Greyscale\" (did you mean \"Texture/Grayscale\"?).\n"},
        {"Varkle.Texture.Colour",
         "error: There is no operator \"Varkle.Texture.Colour\" (did you mean \"Varkle.Texture.Color\"?).\n"},
        {"Blur", "error: There is no operator \"Blur\" (did you mean \"Texture/Blur\"?).\n"},
        {"blurr", "error: There is no operator \"blurr\" (did you mean \"Texture/Blur\"?).\n"},
        {"noise", "error: There is no operator \"noise\" (did you mean \"Mesh/Noise\" or \"Texture/Noise\"?).\n"},
        {"", "error: varkle describe: OPERATOR is empty. See varkle describe --help.\n"},
    };
    for (const auto& [name, message] : cases)
    {
        const Outcome outcome = Run({"describe", name});
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == message);
    }
}

TEST_CASE("The command info prints the adapter, its limits, the plug-ins and the versions")
{
    const Outcome outcome = Run({"info"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(Contains(outcome.output, "\nadapter "));
    CHECK(Contains(outcome.output, "\nlimits          texture side "));
    CHECK(Contains(outcome.output, "\nplug-in         " + std::string(VARKLE_PLUGIN) + "\n"));
    CHECK(Contains(outcome.output, "\nbuilt with      "));
}

TEST_CASE("The command info prints what it can where there is no GPU adapter, and exits with 2")
{
    const Outcome outcome = Program({"info", "--adapter", "no such adapter"}).Run();
    CHECK(outcome.status == 2);
    CHECK(Contains(outcome.output, "\nplug-in "));
    CHECK(!Contains(outcome.output, "\nadapter "));
    CHECK(Contains(outcome.error, "\"no such adapter\""));
}

TEST_CASE("The command import makes a graph of files, with a key from each name and paths relative to the graph")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "pictures");
    for (const char* const name : {"sea view (1).jpg", "pictures/a.PNG", "pictures/b.tga"})
        std::filesystem::copy_file(VARKLE_SOURCES "/examples/harbour.jpg", folder / name);
    const auto import = [&](const std::vector<std::string>& arguments)
    {
        return Program(Joined({"import", "sea view (1).jpg", "pictures/a.PNG", "pictures/b.tga"}, arguments))
            .In(folder.GetPath())
            .Run();
    };
    const Outcome printed = import({});
    CHECK(printed.status == 0);
    CHECK(printed.error == nothing);
    const Json operators = Json::parse(printed.output).at("operators");
    CHECK(operators == Json::parse(R"([
        {"key": "sea_view__1_", "type": "Varkle.Texture.LoadImage", "parameters": {"Path": "sea view (1).jpg"}},
        {"key": "a", "type": "Varkle.Texture.LoadImage", "parameters": {"Path": "pictures/a.PNG"}},
        {"key": "b", "type": "Varkle.Texture.LoadImage", "parameters": {"Path": "pictures/b.tga"}}])"));
    CHECK(import({"--output", "-"}).output == printed.output);

    const Outcome saved = import({"--output", "pictures/graph.varkle"});
    CHECK(saved.status == 0);
    CHECK(saved.output == nothing);
    CHECK(saved.error == nothing);
    const Json inFolder = Json::parse(ReadBytes(folder / "pictures/graph.varkle")).at("operators");
    CHECK(inFolder[0].at("parameters").at("Path") == "../sea view (1).jpg");
    CHECK(inFolder[1].at("parameters").at("Path") == "a.PNG");
    CHECK(Program({"render", "pictures/graph.varkle"}).In(folder.GetPath()).Run().status == 0);
    CHECK(std::filesystem::exists(folder / "sea_view__1_.png"));
}

TEST_CASE("The command import gives files of one name keys of their own")
{
    const TemporaryFolder folder;
    for (const char* const name : {"a.jpg", "a.png", "a.bmp"})
        std::filesystem::copy_file(VARKLE_SOURCES "/examples/harbour.jpg", folder / name);
    const Outcome outcome = Program({"import", "a.jpg", "a.png", "a.bmp"}).In(folder.GetPath()).Run();
    std::set<std::string> keys;
    const Json json = Json::parse(outcome.output);
    for (const Json& op : json.at("operators"))
        keys.insert(op.at("key"));
    CHECK(keys.size() == 3);
}

TEST_CASE("The command import reports every file that it can't take, and writes nothing then")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "notes.txt", "hello");
    WriteBytes(folder / "fine.png", "never looked at");
    const Outcome outcome = Program({"import", "notes.txt", "missing.png", ".", "fine.png", "--output", "graph.varkle"})
                                .In(folder.GetPath())
                                .Run();
    CHECK(outcome.status == 1);
    CHECK(outcome.output == nothing);
    CHECK(Contains(outcome.error,
                   "error: notes.txt: no importer takes files of this kind; there are importers for .bmp "));
    CHECK(Contains(outcome.error, "error: missing.png: there is no such file.\n"));
    CHECK(Contains(outcome.error, "error: .: this is a folder, not a picture or a model.\n"));
    CHECK(folder.Count() == 2);
}

TEST_CASE("The command check says nothing about documents that are right")
{
    const Outcome outcome =
        Run({"check", VARKLE_SOURCES "/examples/grayscale.varkle", VARKLE_SOURCES "/examples/pulse.varkle"});
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

TEST_CASE("The command check reports every error of every document, without a GPU")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "right.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    WriteBytes(folder / "first.varkle", "{\"format\": \"varkle-graph\", \"version\": 1,\n"
                                        " \"operators\": [{\"key\": \"a\", \"type\": \"Varkle.Texture.Colour\"},\n"
                                        "               {\"key\": \"b\", \"tipe\": 1, \"key\": \"c\"}]}\n");
    WriteBytes(folder / "second.varkle", "[]");
    const Outcome outcome = Program({"check", "first.varkle", "right.varkle", "second.varkle"})
                                .In(folder.GetPath())
                                .With("VK_DRIVER_FILES", "/nonexistent")
                                .Run();
    CHECK(outcome.status == 1);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error ==
          "error: first.varkle:2:37: operator \"a\": there is no operator type \"Varkle.Texture.Colour\" (did you mean "
          "\"Varkle.Texture.Color\"?)\n"
          "error: first.varkle:3:16: operator \"b\": the member \"type\" is missing\n"
          "error: first.varkle:3:29: operator \"b\": there is no member \"tipe\" (did you mean \"type\"?)\n"
          "error: first.varkle:3:40: the name \"key\" is used twice in one object, first at 3:17\n"
          "error: second.varkle:1:1: a graph document is an object with the members \"format\", \"version\" and "
          "\"operators\"\n");
}

TEST_CASE("Help lists the commands and the options, of a command or of all")
{
    const Outcome all = Run({"--help"});
    CHECK(all.status == 0);
    CHECK(all.error == nothing);
    for (const char* const name : {"render", "inspect", "check", "import", "operators", "describe", "info", "--plugin",
                                   "--no-default-plugins", "--adapter", "--log", "--trace", "--stats", "--version"})
        CHECK(Contains(all.output, name));
    const Outcome one = Run({"render", "--help"});
    CHECK(one.status == 0);
    CHECK(one.error == nothing);
    for (const char* const name : {"GRAPH", "--frames", "--operator", "--output", "--set", "varkle --help"})
        CHECK(Contains(one.output, name));
    CHECK(Run({"-h"}).output == all.output);
}

TEST_CASE("The version is printed on one line with the name")
{
    const Outcome outcome = Run({"--version"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(outcome.output.starts_with("varkle "));
    CHECK(std::count(outcome.output.begin(), outcome.output.end(), '\n') == 1);
}

TEST_CASE("Help, operators and documents need neither a GPU nor a driver")
{
    const std::vector<std::vector<std::string>> commands = {
        {"--help"},
        {"--version"},
        {"operators"},
        {"describe", "Texture/Color"},
        {"check", VARKLE_SOURCES "/examples/grayscale.varkle"},
        {"import", VARKLE_SOURCES "/examples/harbour.jpg"},
    };
    for (const std::vector<std::string>& command : commands)
    {
        INFO(command.front());
        const Outcome outcome = Program(command).With("VK_DRIVER_FILES", "/nonexistent").Run();
        CHECK(outcome.status == 0);
        CHECK(outcome.error == nothing);
    }
}
