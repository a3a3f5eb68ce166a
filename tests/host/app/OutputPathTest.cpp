#include "app/Documents.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"

#include <set>

// What --output may say, and the names that come of it.

using namespace Varkle;

namespace
{

using Names = std::set<std::string>;

// Renders two operators, "a" and "b.c", and returns the files that come out, by their paths below the folder.
struct TwoOperators
{
    TwoOperators()
    {
        WriteBytes(folder / "graph.varkle",
                   Document(ColorOperator("a", "[1, 0, 0]") + "," + ColorOperator("b.c", "[0, 1, 0]")));
        std::filesystem::create_directory(folder / "sub.dir");
    }

    Outcome Render(const std::vector<std::string>& arguments) const
    {
        return Program(Joined({"render", "graph.varkle"}, arguments)).In(folder.GetPath()).Run();
    }

    Names Files() const
    {
        Names names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.GetPath()))
        {
            if (entry.is_regular_file())
                names.insert(entry.path().lexically_relative(folder.GetPath()).string());
        }
        names.erase("graph.varkle");
        return names;
    }

    const TemporaryFolder folder;
};

} // namespace

TEST_CASE_METHOD(TwoOperators, "In --output {key} and {frame} are replaced, {frame:04} with leading zeros")
{
    const struct
    {
        const char* output;
        Names files;
    } cases[] = {
        {"{key}-{frame}.png", {"a-9.png", "a-10.png", "b.c-9.png", "b.c-10.png"}},
        {"{frame:04}{key}.png", {"0009a.png", "0010a.png", "0009b.c.png", "0010b.c.png"}},
        {"{frame:02}.{key}.png", {"09.a.png", "10.a.png", "09.b.c.png", "10.b.c.png"}},
        {"sub.dir/{key}{key}{frame:03}{frame}.png",
         {"sub.dir/aa0099.png", "sub.dir/aa01010.png", "sub.dir/b.cb.c0099.png", "sub.dir/b.cb.c01010.png"}},
        {"x}{key}{frame}.png", {"x}a9.png", "x}a10.png", "x}b.c9.png", "x}b.c10.png"}},
    };
    for (const auto& [output, files] : cases)
    {
        INFO(output);
        CHECK(Render({"--frames", "9..10", "--output", output}).status == 0);
        CHECK(Files() == files);
        for (const std::string& file : files)
            std::filesystem::remove(folder / file);
    }
}

TEST_CASE_METHOD(TwoOperators, "Several frames get their number before the extension when --output has no {frame}")
{
    CHECK(Render({"--frames", "2", "--output", "sub.dir/{key}.png"}).status == 0);
    CHECK(Files() == Names{"sub.dir/a_0000.png", "sub.dir/a_0001.png", "sub.dir/b.c_0000.png", "sub.dir/b.c_0001.png"});
}

TEST_CASE_METHOD(TwoOperators, "Frame numbers with more digits than asked for are written in full")
{
    CHECK(Render({"--frames", "99999..100000", "--operator", "a"}).status == 0);
    CHECK(Files() == Names{"a_99999.png", "a_100000.png"});
}

TEST_CASE_METHOD(TwoOperators, "A {frame} in --output counts for a single frame too")
{
    CHECK(Render({"--operator", "a", "--frames", "7..7", "--output", "{frame:04}.png"}).status == 0);
    CHECK(Files() == Names{"0007.png"});
}

TEST_CASE_METHOD(TwoOperators, "An output path that can't be is refused before anything is rendered")
{
    const struct
    {
        std::vector<std::string> arguments;
        const char* message;
    } cases[] = {
        {{"--output", "x.png"}, "error: --output \"x.png\": several operators are written, so the path needs {key}.\n"},
        {{"--output", "{kay}.png"},
         "error: --output \"{kay}.png\": {kay} is not known; there are {key}, {frame} and {frame:04}.\n"},
        {{"--operator", "a", "--output", "{frame:4}.png"},
         "error: --output \"{frame:4}.png\": {frame:4} is not known; there are {key}, {frame} and {frame:04}.\n"},
        {{"--operator", "a", "--output", "{frame:0x}.png"},
         "error: --output \"{frame:0x}.png\": {frame:0x} is not known; there are {key}, {frame} and {frame:04}.\n"},
        {{"--operator", "a", "--output", "{frame:0999999999}.png"},
         "error: --output \"{frame:0999999999}.png\": {frame:0999999999} is not known; there are {key}, {frame} and "
         "{frame:04}.\n"},
        {{"--operator", "a", "--output", "a.gif"},
         "error: --output \"a.gif\": a texture is written as .png, .jpg, .bmp or .tga, or all frames as a video, .mp4 "
         "or "
         ".webm.\n"},
        {{"--operator", "a", "--output", "png"},
         "error: --output \"png\": a texture is written as .png, .jpg, .bmp or .tga, or all frames as a video, .mp4 or "
         ".webm.\n"},
        {{"--operator", "a", "--output", "a.glb"},
         "error: --output \"a.glb\": a texture is written as .png, .jpg, .bmp or .tga, or all frames as a video, .mp4 "
         "or "
         ".webm.\n"},
        {{"--operator", "a", "--output", "{frame}.mp4"},
         "error: --output \"{frame}.mp4\": a video holds all frames, so its path can't have {frame}.\n"},
        {{"--output", "x.webm"},
         "error: --output \"x.webm\": several operators are written, so the path needs {key}.\n"},
    };
    for (const auto& [arguments, message] : cases)
    {
        const Outcome outcome = Render(arguments);
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == message);
        CHECK(Files().empty());
    }
}

TEST_CASE("What can't be written in the form that is asked for says which forms there are")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "m", "type": "Test.MeshSource"})"));
    const Outcome outcome = Program({"render", "graph.varkle", "--plugin", TEST_OPERATORS_PLUGIN, "--output", "m.tiff"})
                                .In(folder.GetPath())
                                .Run();
    CHECK(outcome.status == 1);
    CHECK(outcome.error == "error: --output \"m.tiff\": a mesh is written as .glb, .png, .jpg, .bmp or .tga, or all "
                           "frames as a video, .mp4 or .webm.\n");
    CHECK(folder.Count() == 1);
}

TEST_CASE("A mesh goes to standard output as binary glTF")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(R"({"key": "m", "type": "Varkle.Mesh.Cube"})"));
    const Outcome outcome = Program({"render", "graph.varkle", "--output", "-"}).In(folder.GetPath()).Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.output.starts_with("glTF"));
    CHECK(outcome.error == nothing);
}
