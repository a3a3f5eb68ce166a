#include "app/Documents.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"

#include <cstdint>

// Whatever is wrong with what the program is given: a message that says it, the right exit status, and no file left
// behind that is not whole.

using namespace Varkle;

namespace
{

Outcome Render(const TemporaryFolder& folder, const std::vector<std::string>& arguments = {})
{
    return Program(Joined({"render", "graph.varkle"}, arguments)).In(folder.GetPath()).Run();
}

// Returns what check and render, which must agree, say about a document.
std::string DocumentErrors(std::string_view text)
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", text);
    const Outcome checked = Program({"check", "graph.varkle"}).In(folder.GetPath()).Run();
    CHECK(checked.status == 1);
    CHECK(checked.output == nothing);
    const Outcome rendered = Render(folder);
    CHECK(rendered.status == 1);
    CHECK(rendered.output == nothing);
    CHECK(rendered.error == checked.error);
    CHECK(folder.Count() == 1);
    return checked.error;
}

std::string BigEndian(std::uint32_t number)
{
    return {char(number >> 24U), char(number >> 16U), char(number >> 8U), char(number)};
}

// CRC-32 as in the PNG standard, Annex D, a bit at a time.
std::uint32_t Checksum(const std::string& bytes)
{
    std::uint32_t sum = ~0U;
    for (const char byte : bytes)
    {
        sum ^= std::uint8_t(byte);
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum & 1U) != 0 ? 0xedb88320U ^ (sum >> 1U) : sum >> 1U;
    }
    return ~sum;
}

std::string PngChunk(const std::string& typeAndData)
{
    return BigEndian(std::uint32_t(typeAndData.size() - 4)) + typeAndData + BigEndian(Checksum(typeAndData));
}

// Returns a PNG file that claims a size of 8-bit RGBA pixels and holds next to none.
std::string ClaimingPng(std::uint32_t width, std::uint32_t height)
{
    const std::string noPixels("\x78\x9c\x03\x00\x00\x00\x00\x01", 8); // an empty zlib stream
    return "\x89PNG\r\n\x1a\n" +
           PngChunk("IHDR" + BigEndian(width) + BigEndian(height) + std::string("\x08\x06\0\0\0", 5)) +
           PngChunk("IDAT" + noPixels) + PngChunk("IEND");
}

} // namespace

TEST_CASE("A document that is no JSON is one error at the first fault")
{
    CHECK(DocumentErrors("") == "error: graph.varkle:1:1: the document is empty\n");
    CHECK(DocumentErrors(" \n") == "error: graph.varkle:2:1: the document is empty\n");
    CHECK(DocumentErrors(R"({"format": "varkle-graph", "version": 1, "operators": [)") ==
          "error: graph.varkle:1:56: the text ends inside an array that begins at 1:55\n");
    CHECK(DocumentErrors("{\"format\": \"varkle-graph\",\n \"x-note\": \"caf\xe9\"}") ==
          "error: graph.varkle:2:16: this is not UTF-8\n");
    CHECK(DocumentErrors(Document("") + "}") ==
          "error: graph.varkle:2:1: there is more text after the end of the document\n");
    CHECK(DocumentErrors(std::string(100000, '[')) ==
          "error: graph.varkle:1:201: arrays and objects are nested deeper than 200 levels\n");
}

TEST_CASE("A document that makes no sense is an error that names the place")
{
    CHECK(DocumentErrors("7") == "error: graph.varkle:1:1: a graph document is an object with the members \"format\", "
                                 "\"version\" and \"operators\"\n");
    CHECK(
        DocumentErrors(R"({"format": "varkle-graph", "version": 2})") ==
        "error: graph.varkle:1:39: the document has version 2, this program knows versions up to 1: a newer program is "
        "needed\n");
    CHECK(DocumentErrors("{\"format\": \"varkle-graph\", \"version\": 1,\n\"version\": 1}") ==
          "error: graph.varkle:2:1: the name \"version\" is used twice in one object, first at 1:28\n");
    CHECK(DocumentErrors("{\"format\": \"varkle-graph\", \"version\": 1, \"operators\":\n7}") ==
          "error: graph.varkle:2:1: \"operators\" must be an array\n");
}

TEST_CASE("Everything that is wrong with the operators of a document is reported")
{
    const std::string text =
        "{\"format\": \"varkle-graph\", \"version\": 1, \"operators\": [\n"
        "{\"key\": \"a\", \"type\": \"Varkle.Texture.Color\", \"parameters\": {\"Color\": true}},\n"
        "{\"key\": \"a\", \"type\": \"Varkle.Texture.Color\"},\n"
        "{\"key\": \"b\", \"type\": \"Varkle.Texture.GrayScale\", \"inputs\": {\"Texture Input\": \"c\"}},\n"
        "{\"key\": \"d\", \"type\": \"Varkle.Texture.GrayScale\", \"parameters\": {\"Metod\": \"Average\"}}\n"
        "]}";
    CHECK(DocumentErrors(text) ==
          "error: graph.varkle:2:70: operator \"a\": parameter \"Color\" takes an array of 3 or 4 numbers or a string "
          "\"#rrggbb\" or \"#rrggbbaa\", not true or false\n"
          "error: graph.varkle:3:9: operator \"a\": the key is used already in line 2\n"
          "error: graph.varkle:4:78: operator \"b\": input \"Texture Input\": there is no operator \"c\"\n"
          "error: graph.varkle:5:65: operator \"d\": there is no parameter \"Metod\" (did you mean \"Method\"?)\n");
}

TEST_CASE("A cycle is an error, be it of one operator or of several")
{
    const std::string self = DocumentErrors(Document(GrayScaleOperator("a", "a")));
    CHECK(Contains(self, "operator \"a\": the operator feeds itself: a graph can't have cycles\n"));
    const std::string two = DocumentErrors(Document(GrayScaleOperator("a", "b") + "," + GrayScaleOperator("b", "a")));
    CHECK(Contains(two, "a graph can't have cycles: \"a\" <- \"b\" <- \"a\"\n"));
    CHECK(std::count(two.begin(), two.end(), '\n') == 1);
}

TEST_CASE("A document that can't be read is an error")
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder.varkle");
    const struct
    {
        const char* path;
        const char* message;
    } cases[] = {
        {"missing.varkle", "error: missing.varkle: the file can't be opened: No such file or directory\n"},
        {"folder.varkle", "error: folder.varkle: this is a folder, not a graph document\n"},
    };
    for (const auto& [path, message] : cases)
    {
        for (const char* const command : {"check", "render", "inspect"})
        {
            const Outcome outcome = Program({command, path}).In(folder.GetPath()).Run();
            CHECK(outcome.status == 1);
            CHECK(outcome.output == nothing);
            CHECK(outcome.error == message);
        }
    }
}

TEST_CASE("A document that can't be read for the machine's sake, or has no end, is an error of reading")
{
    const TemporaryFolder folder;
    const Outcome unreadable = Program({"check", "/proc/self/mem"}).In(folder.GetPath()).Run();
    CHECK(unreadable.status == 2);
    CHECK(unreadable.error == "error: /proc/self/mem: the file can't be read: Input/output error\n");
    const Outcome endless = Program({"check", "/dev/zero"}).In(folder.GetPath()).Run();
    CHECK(endless.status == 1);
    CHECK(endless.error == "error: /dev/zero: the file has more than 64 MiB, which no graph document has\n");
}

TEST_CASE("What the operators themselves refuse is reported by check as by render")
{
    const auto errors = [](const std::string& operators)
    {
        return DocumentErrors("{\"format\": \"varkle-graph\", \"version\": 1, \"operators\": [\n"
                              "{\"key\": \"c\", \"type\": \"Varkle.Texture.Color\"},\n" +
                              operators + "]}");
    };
    CHECK(errors(R"({"key": "b", "type": "Varkle.Texture.Blur", "inputs": {"Texture Input": ["c"]}})") ==
          "error: graph.varkle:3:73: operator \"b\": input \"Texture Input\" takes one key, not an array\n");
    CHECK(Contains(errors(R"({"key": "m", "type": "Varkle.Texture.Mixer", "inputs": {"Inputs": "c"}})"),
                   "input \"Inputs\" is a list: it takes an array of keys\n"));
    CHECK(Contains(errors(R"({"key": "m", "type": "Varkle.Texture.Mixer", "bundles": {"Opacities": [{}]}})"),
                   "\"Opacities\" has more parameter maps (1) than bundles (0)\n"));
    CHECK(Contains(errors(R"({"key": "w", "type": "Varkle.IO.System.WindowInfo", "parameters": {"Window": "c"}})"),
                   "parameter \"Window\" can't refer to the operator \"c\", which is a Varkle.Texture.Color\n"));
    CHECK(Contains(errors(R"({"key": "a", "type": "Varkle.Mesh.CreateAttribute", "parameters": {"Value": [1, 2, 3]}})"),
                   "operator \"a\": parameter \"Value\" takes "));
}

TEST_CASE("check warns of files that are not there, where the document names them, and is content otherwise")
{
    const TemporaryFolder folder;
    WriteBytes(
        folder / "graph.varkle",
        "{\"format\": \"varkle-graph\", \"version\": 1, \"operators\": [\n"
        "{\"key\": \"a\", \"type\": \"Varkle.Texture.LoadImage\", \"parameters\": {\"Path\": \"gone.png\"}},\n"
        "{\"key\": \"b\", \"type\": \"Varkle.Texture.LoadImage\", \"parameters\": {\"Path\": \"graph.varkle\"}},\n"
        "{\"key\": \"c\", \"type\": \"Varkle.Texture.LoadImage\", \"parameters\": {\"Path\": \"\"}}]}");
    // No adapter is of that name: the GPU is not asked for.
    const Outcome checked =
        Program({"check", "graph.varkle"}).In(folder.GetPath()).With("VARKLE_ADAPTER", "none at all").Run();
    CHECK(checked.status == 0);
    CHECK(checked.error == "warning: graph.varkle:2:73: operator \"a\": parameter \"Path\": there is no file \"" +
                               (folder / "gone.png") + "\"\n");
}

TEST_CASE("A graph without operators has nothing to render")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(""));
    const Outcome outcome = Render(folder);
    CHECK(outcome.status == 1);
    CHECK(outcome.error == "error: graph.varkle: the graph has no operators: there is nothing to render.\n");
    CHECK(Program({"check", "graph.varkle"}).In(folder.GetPath()).Run().status == 0);
}

TEST_CASE("A picture that can't be loaded leaves its operator without one, which is an error")
{
    const std::string photo = ReadBytes(VARKLE_SOURCES "/examples/harbour.jpg");
    const struct
    {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"empty.png", ""},
        {"text.png", "this is no picture"},
        {"half.jpg", photo.substr(0, photo.size() / 2)},
        {"flat.png", ClaimingPng(4, 0)},
        {"hollow.png", ClaimingPng(4, 4)},
        {"huge.png", ClaimingPng(100000, 100000)},
    };
    for (const auto& [name, bytes] : cases)
    {
        INFO(name);
        const TemporaryFolder folder;
        WriteBytes(folder / name, bytes);
        WriteBytes(folder / "graph.varkle", Document(LoadImageOperator("photo", name)));
        const Outcome outcome = Render(folder);
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error ==
              "error: The operator \"photo\" carries nothing after frame 0: no file is written for it.\n");
        CHECK(folder.Count() == 2);
    }
}

TEST_CASE("A model takes in no file from outside of its folders")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "a/b");
    const std::string secret(36, 's'); // three positions
    WriteBytes(folder / "secret.bin", secret);
    WriteBytes(folder / "a/b/ship.gltf",
               R"({"asset": {"version": "2.0"}, "scenes": [{"nodes": [0]}], "nodes": [{"mesh": 0}],
                   "meshes": [{"primitives": [{"attributes": {"POSITION": 0}}]}],
                   "accessors": [{"bufferView": 0, "componentType": 5126, "count": 3, "type": "VEC3"}],
                   "bufferViews": [{"buffer": 0, "byteLength": 36}],
                   "buffers": [{"byteLength": 36, "uri": "../../secret.bin"}]})");
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "ship", "type": "Varkle.Model.Load3DModel",)"
                                                 R"( "parameters": {"File Path": "a/b/ship.gltf"}})"));
    const Outcome outcome = Render(folder, {"--output", "ship.glb"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error.starts_with("warning: "));
    CHECK(outcome.error.find("The model \"" + folder / "a/b/ship.gltf" +
                             "\": The buffer \"../../secret.bin\" is left out. ") != std::string::npos);
    CHECK(ReadBytes(folder / "ship.glb").starts_with("glTF"));
    CHECK(ReadBytes(folder / "ship.glb").find(secret) == std::string::npos);
}

TEST_CASE("A model that can't be loaded is an error of one line, behind which stands what is not written")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "ship", "type": "Varkle.Model.Load3DModel",)"
                                                 R"( "parameters": {"File Path": "ship.glb"}})"));
    const Outcome outcome = Render(folder, {"--output", "ship.png"});
    CHECK(outcome.status == 1);
    CHECK(outcome.error.starts_with("error: "));
    CHECK(Contains(outcome.error,
                   "The model \"" + folder / "ship.glb" + "\" can't be read: No such file or directory.\n"));
    CHECK(std::count(outcome.error.begin(), outcome.error.end(), '\n') == 2);
    CHECK(Contains(outcome.error,
                   "\nerror: The operator \"ship\" carries nothing after frame 0, since there is no file "));
}

TEST_CASE("What a stranger's file says can't command the terminal")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "ship.gltf", R"({"asset": {"version": "2.0"}, "buffers": [{"byteLength": 4,)"
                                     R"( "uri": "\u001b[2J\u0007\u007f.bin"}]})");
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "ship", "type": "Varkle.Model.Load3DModel",)"
                                                 R"( "parameters": {"File Path": "ship.gltf"}})"));
    const Outcome outcome = Render(folder, {"--output", "ship.png"});
    CHECK(outcome.status == 1);
    CHECK(outcome.error.find("\\u001b[2J\\u0007\\x7f.bin") != std::string::npos);
    CHECK(outcome.error.find('\x1b') == std::string::npos);
}

TEST_CASE("A folder in place of a picture leaves its operator without one, which is an error")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(LoadImageOperator("photo", ".")));
    CHECK(Render(folder).status == 1);
    CHECK(folder.Count() == 1);
}

TEST_CASE("A plug-in that can't be loaded is an error with the status 1")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    WriteBytes(folder / "text.so", "this is no library");
    const struct
    {
        std::string path;
        std::string reason;
    } cases[] = {
        {"missing.so", ": there is no such file."},
        {"text.so", ": this is not a shared library."},
        {".", ": this is a folder."},
        {NO_ENTRY_POINTS_PLUGIN, ": it does not export VarklePluginLoad."},
    };
    for (const auto& [path, reason] : cases)
    {
        const Outcome outcome = Render(folder, {"--plugin", path});
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error.starts_with("error: could not load the plug-in " + path + ": "));
        CHECK(outcome.error.ends_with(reason + "\n"));
    }
    CHECK(folder.Count() == 2);
}

TEST_CASE("A plug-in that is loaded by itself may be named too, and any twice")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    for (const char* const defaults : {"--stats", "--no-default-plugins"})
    {
        const Outcome outcome = Render(folder, {defaults, "--plugin", VARKLE_PLUGIN, "--plugin", VARKLE_PLUGIN});
        CHECK(outcome.status == 0);
        CHECK_FALSE(Contains(outcome.error, "error: "));
    }
}

TEST_CASE("Without a GPU adapter the status is 2, and the message says what to do")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    for (const char* const command : {"render", "inspect"})
    {
        // The loader reads the one or the other, by its age.
        const Outcome outcome = Program({command, "graph.varkle"})
                                    .In(folder.GetPath())
                                    .With("VK_DRIVER_FILES", "/nonexistent")
                                    .With("VK_ICD_FILENAMES", "/nonexistent")
                                    .Run();
        CHECK(outcome.status == 2);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error.starts_with("error: No Vulkan driver was found that can be used. Install "));
        CHECK(std::count(outcome.error.begin(), outcome.error.end(), '\n') == 1);
    }
    const Outcome unknown = Render(folder, {"--adapter", "no such adapter"});
    CHECK(unknown.status == 2);
    CHECK(unknown.error.starts_with("error: No GPU adapter has \"no such adapter\" in its name. This machine has: \""));
    CHECK(folder.Count() == 1);
}

TEST_CASE("A full disk is an error with the status 2")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const std::string noSpace = "could not write to standard output: No space left on device.\n";
    const std::vector<std::vector<std::string>> commands = {
        {"render", "graph.varkle", "--output", "-"},
        {"inspect", "graph.varkle"},
        {"operators"},
        {"describe", "Texture/Color"},
        {"import", VARKLE_SOURCES "/examples/harbour.jpg"},
        {"info"},
        {"--help"},
        {"--version"},
    };
    for (const std::vector<std::string>& command : commands)
    {
        INFO(command.front());
        const Outcome outcome = Program(command).In(folder.GetPath()).OutputTo("/dev/full").Run();
        CHECK(outcome.status == 2);
        CHECK(outcome.error == "error: " + noSpace);
    }
    std::filesystem::create_symlink("/dev/full", folder / "full.png");
    const Outcome file = Render(folder, {"--output", "full.png"});
    CHECK(file.status == 2);
    CHECK(file.error == "error: could not write full.png: No space left on device.\n");
    CHECK(Render(folder, {"--trace", "full.png"}).status == 2);
}

TEST_CASE("A file that outgrows the limit on file sizes is an error with the status 2 and leaves nothing")
{
    const TemporaryFolder folder;
    // 4400 by 4400 pixels: 19 MB in the texture, 77 MB in the file.
    WriteBytes(folder / "graph.varkle",
               Document(ColorOperator("a", "[1, 0, 0]", R"("Texture Size": [4400, 4400], "Texture Type": "R8Unorm")")));
    const Outcome outcome =
        Program({"render", "graph.varkle", "--output", "a.bmp"}).In(folder.GetPath()).LimitFileSize(70'000'000).Run();
    CHECK(outcome.status == 2);
    CHECK(outcome.error == "error: could not write a.bmp: File too large.\n");
    CHECK(folder.Count() == 1);
}

TEST_CASE("A limit on file sizes that leaves no room to work is an error with the status 2")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]", R"("Texture Size": [8192, 8192])")));
    for (const rlim_t limit : {0, 1024, 10'000, 1 << 20, 64 << 20}) // the texture has 256 MiB
    {
        INFO(limit);
        const Outcome outcome =
            Program({"render", "graph.varkle", "--output", "a.bmp"}).In(folder.GetPath()).LimitFileSize(limit).Run();
        CHECK(outcome.status == 2);
        CHECK(std::count(outcome.error.begin(), outcome.error.end(), '\n') == 1);
        CHECK(outcome.error.starts_with("error: The limit on file sizes (ulimit -f) is "));
        CHECK(folder.Count() == 1);
    }
}

#ifndef __SANITIZE_ADDRESS__ // which takes more than that for itself
TEST_CASE("A limit on memory under which no driver starts is told, and nobody is asked to install one")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const std::string command = "ulimit -v 200000; exec " + std::string(VARKLE_PROGRAM) + " render graph.varkle";
    const Outcome outcome = ProgramRunner({"bash", "-c", command}).In(folder.GetPath()).Run();
    CHECK(outcome.status == 2);
    CHECK(outcome.error == "error: No Vulkan driver could be started. The limit on the memory of a process (ulimit -v) "
                           "is 200000 KiB, which may be too little for one.\n");
}
#endif

TEST_CASE("A folder that is missing or can't be written to is an error with the status 1")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    WriteBytes(folder / "file", "");
    const struct
    {
        const char* path;
        const char* reason;
    } cases[] = {
        {"missing/a.png", "No such file or directory."},
        {"file/a.png", "Not a directory."},
    };
    for (const auto& [path, reason] : cases)
    {
        const Outcome outcome = Render(folder, {"--output", path, "--frames", "1"});
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == "error: could not write " + std::string(path) + ": " + reason + "\n");
    }
    CHECK(Render(folder, {"--output", "/proc/a.png"}).status == 1); // nobody can make files there
    CHECK(Render(folder, {"--trace", "missing/trace.json", "--output", "a.png"}).status == 1);
    CHECK(Program({"import", VARKLE_SOURCES "/examples/harbour.jpg", "--output", "missing/a.varkle"})
              .In(folder.GetPath())
              .Run()
              .status == 1);
    CHECK(folder.Count() == 3);
}

TEST_CASE("A long run ends at the first file that can't be written, with one message")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", R"(["frame", 0, 0])")));
    const Outcome outcome = Render(folder, {"--output", "missing/a.png", "--frames", "100000000"});
    CHECK(outcome.status == 1);
    CHECK(outcome.error == "error: could not write missing/a_0000.png: No such file or directory.\n");
}

TEST_CASE("A closed standard output is an error with the status 2, and nothing else gets what was for it")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const std::vector<std::vector<std::string>> commands = {
        {"render", "graph.varkle", "--output", "-"}, {"inspect", "graph.varkle"}, {"operators"}, {"--help"}};
    for (const std::vector<std::string>& command : commands)
    {
        INFO(command.front());
        const Outcome outcome = Program(command).In(folder.GetPath()).Close(STDOUT_FILENO).Run();
        CHECK(outcome.status == 2);
        CHECK(outcome.error == "error: could not write to standard output: Bad file descriptor.\n");
    }
    CHECK(folder.Count() == 1);
}

TEST_CASE("Rendering to files needs no standard streams at all")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const Outcome outcome = Program({"render", "graph.varkle", "--stats"})
                                .In(folder.GetPath())
                                .Close(STDIN_FILENO)
                                .Close(STDOUT_FILENO)
                                .Close(STDERR_FILENO)
                                .Run();
    CHECK(outcome.status == 0);
    CHECK(folder.Count() == 2);
    const Outcome refused = Program({"render", "missing.varkle"}).In(folder.GetPath()).Close(STDERR_FILENO).Run();
    CHECK(refused.status == 1);
}

TEST_CASE("A reader that goes away is an error, not the end of the process by a signal")
{
    const std::string pipeline = "{ " + std::string(VARKLE_PROGRAM) +
                                 " render " VARKLE_SOURCES
                                 "/examples/grayscale.varkle --output -; echo $? >&2; } | true";
    const Outcome outcome = ProgramRunner({"sh", "-c", pipeline}).Run();
    CHECK(outcome.error == "error: could not write to standard output: Broken pipe.\n2\n");
}

TEST_CASE("An empty value is an error that names the option and what it takes")
{
    const struct
    {
        const char* option;
        const char* wanted;
    } cases[] = {
        {"--size", "WIDTHxHEIGHT"},
        {"--camera", "YAW,PITCH[,DISTANCE]"},
        {"--background", "#RRGGBB[AA]"},
        {"--output", "PATH"},
        {"--trace", "FILE"},
        {"--frames", "N|A..B"},
        {"--operator", "KEY"},
    };
    for (const auto& [option, wanted] : cases)
    {
        INFO(option);
        const Outcome outcome = Program({"render", "graph.varkle", option, ""}).Run();
        CHECK(outcome.status == 1);
        CHECK(outcome.error == "error: varkle render: " + std::string(option) +
                                   " \"\": the value is empty; it must be " + wanted + ". See varkle render --help.\n");
    }
    CHECK(Program({"render", ""}).Run().error == "error: varkle render: GRAPH is empty. See varkle render --help.\n");
}

TEST_CASE("A line end in the name of a file does not end the line of a message")
{
    CHECK(Program({"check", "a\nerror: b.varkle"}).Run().error ==
          "error: a\\x0aerror: b.varkle: the file can't be opened: No such file or directory\n");
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    CHECK(Render(folder, {"--output", "no/a\nb.png"}).error ==
          "error: could not write no/a\\x0ab.png: No such file or directory.\n");
}

TEST_CASE("Importing does not overwrite what it imports, by whatever name")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "photo.png", "precious");
    std::filesystem::create_symlink("photo.png", folder / "link.png");
    for (const std::string output : {"photo.png", "./photo.png", "link.png"})
    {
        const Outcome outcome = Program({"import", "photo.png", "--output", output}).In(folder.GetPath()).Run();
        CHECK(outcome.status == 1);
        CHECK(outcome.error == "error: --output \"" + output +
                                   "\": this is the file \"photo.png\" that is to be imported, which would be lost.\n");
        CHECK(ReadBytes(folder / "photo.png") == "precious");
    }
}

TEST_CASE("A model of which nothing could be loaded replaces no file, and the file that is not there is named")
{
    for (const std::string name : {"keep.glb", "keep.png"})
    {
        const TemporaryFolder folder;
        WriteBytes(folder / "graph.varkle", Document(R"({"key": "m", "type": "Varkle.Model.Load3DModel",
                                                         "parameters": {"File Path": "gone.glb"}})"));
        WriteBytes(folder / name, "precious");
        const Outcome outcome = Render(folder, {"--output", name});
        CHECK(outcome.status == 1);
        CHECK(Contains(outcome.error,
                       "error: The operator \"m\" carries nothing after frame 0, since there is no file \"" +
                           (folder / "gone.glb") + "\": no file is written for it.\n"));
        CHECK(ReadBytes(folder / name) == "precious");
    }
}

TEST_CASE("A graph in which every output feeds something says so, which is an error when a file was asked for")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle",
               Document(ColorOperator("a", "[1, 0, 0]") + "," + Filter("sink", "Test.Sink", "a")));
    const Outcome silent = Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--plugin", VARKLE_PLUGIN});
    CHECK(silent.status == 0);
    CHECK(silent.error == "info: graph.varkle: every output feeds something, so that no output is written. Choose one "
                          "with --operator.\ninfo: sink takes a texture\n");
    const Outcome asked =
        Render(folder, {"--plugin", TEST_OPERATORS_PLUGIN, "--plugin", VARKLE_PLUGIN, "--output", "x.jpg"});
    CHECK(asked.status == 1);
    CHECK(asked.error == "error: graph.varkle: every output feeds something, so that --output has nothing to write. "
                         "Choose what with --operator.\n");
    CHECK(folder.Count() == 1);
}

TEST_CASE("Arguments that nobody knows are errors with the status 1 that say what was meant")
{
    const struct
    {
        std::vector<std::string> arguments;
        const char* message;
    } cases[] = {
        {{}, "error: varkle: a command is missing. See varkle --help.\n"},
        {{"--stat"}, "error: varkle: there is no option \"--stat\" (did you mean \"--stats\"?). See varkle --help.\n"},
        {{"rendr", "a"},
         "error: varkle: there is no command \"rendr\" (did you mean \"render\"?). See varkle --help.\n"},
        {{"render"}, "error: varkle render: GRAPH is missing: the graph document to run. See varkle render --help.\n"},
        {{"render", "--frame=3"},
         "error: varkle render: there is no option \"--frame\" (did you mean \"--frames\"?). See varkle render "
         "--help.\n"},
        {{"render", "a", "--frame", "3"},
         "error: varkle render: there is no option \"--frame\" (did you mean \"--frames\"?). See varkle render "
         "--help.\n"},
        {{"render", "a", "b"},
         "error: varkle render: there is an argument too many: \"b\". See varkle render --help.\n"},
        {{"render", "a", "--output"},
         "error: varkle render: --output needs a value: PATH. See varkle render --help.\n"},
        {{"check"},
         "error: varkle check: GRAPH... is missing: the graph documents to check. See varkle check --help.\n"},
        {{"render", "a", "--frames"},
         "error: varkle render: --frames needs a value: N|A..B. See varkle render --help.\n"},
        {{"render", "a", "--frames", "1", "--frames", "2"},
         "error: varkle render: --frames is given 2 times; it takes one value, N|A..B. See varkle render --help.\n"},
        {{"render", "a", "--stats=some"}, "error: varkle render: --stats takes no value. See varkle render --help.\n"},
        {{"play", "a", "--frames", "99999999999999999999"},
         "error: varkle play: --frames \"99999999999999999999\": it must be a whole number from 1 to 1000000000000. "
         "See varkle play --help.\n"},
        {{"render", "caf\xe9.varkle"},
         "error: varkle: the argument \"caf\\xe9.varkle\" is not UTF-8. See varkle --help.\n"},
        {{"--log", "loud", "operators"},
         "error: varkle operators: --log \"loud\": it must be info, warning, error or none. See varkle operators "
         "--help.\n"},
    };
    for (const auto& [arguments, message] : cases)
    {
        const Outcome outcome = Program(arguments).Run();
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == message);
    }
}

TEST_CASE("Frames that can't be are refused")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const std::string number = ": it must be a number of frames from 1 on, or A..B.\n";
    const std::string range = ": a range must be two whole numbers A..B from 0 on.\n";
    const struct
    {
        const char* text;
        std::string reason;
    } cases[] = {
        {"0", number},
        {"-1", number},
        {"1.5", number},
        {"many", number},
        {"3x", number},
        {"1..", range},
        {"..1", range},
        {"1...2", range},
        {"-2..2", range},
        {"a..b", range},
        {"5..4", ": the range ends before it begins.\n"},
        {"99999999999999999999", number},
        {"0..9223372036854775807", ": the last frame that there is has the number 1000000000000.\n"},
    };
    for (const auto& [text, reason] : cases)
    {
        for (const char* const command : {"render", "inspect"})
        {
            const Outcome outcome = Program({command, "graph.varkle", "--frames", text}).In(folder.GetPath()).Run();
            CHECK(outcome.status == 1);
            CHECK(outcome.output == nothing);
            CHECK(outcome.error == "error: --frames \"" + std::string(text) + "\"" + reason);
        }
    }
    CHECK(folder.Count() == 1);
}

TEST_CASE("Operators and settings that don't fit the graph are refused, with a suggestion where one is near")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle",
               Document(ColorOperator("color", "[1, 0, 0]") + "," + GrayScaleOperator("gray", "color")));
    const struct
    {
        std::vector<std::string> arguments;
        std::string message;
    } cases[] = {
        {{"--operator", "grey"},
         "--operator \"grey\": there is no such operator in graph.varkle (did you mean \"gray\"?)"},
        {{"--operator", "gray", "--operator", "other"},
         "--operator \"other\": there is no such operator in graph.varkle"},
        {{"--set", "gray.Method"}, "--set \"gray.Method\": it must have the form KEY.PARAMETER=VALUE"},
        {{"--set", "gray.Metod=Average"},
         "--set \"gray.Metod=Average\": operator \"gray\": there is no parameter \"Metod\" (did you mean \"Method\"?)"},
        {{"--set", "grey.Method=Average"},
         "--set \"grey.Method=Average\": there is no operator \"grey\" (did you mean \"gray\"?)"},
        {{"--set", "color.Texture Size=[1,2,3]"},
         "--set \"color.Texture Size=[1,2,3]\": operator \"color\": parameter \"Texture Size\" takes an array of 2 "
         "numbers, "
         "not an array of 3"},
        {{"--set", "color.Color=[\"1 +\", 0, 0]"},
         "--set \"color.Color=[\\\"1 +\\\", 0, 0]\": operator \"color\": parameter \"Color\" has an expression that "
         "can't be "
         "read, at its character 4: the expression ends where a value is expected"},
    };
    for (const auto& [arguments, message] : cases)
    {
        const Outcome outcome = Render(folder, arguments);
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == "error: " + message + ".\n");
    }
    CHECK(folder.Count() == 1);
}
