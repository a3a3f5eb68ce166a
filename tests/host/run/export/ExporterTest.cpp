#include "Varkle/Run/Exporter.h"

#include "run/export/Sessions.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <sys/stat.h>

// The exporter as an embedding program uses it.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using Names = std::set<std::string>;

Names Written(const TemporaryFolder& folder)
{
    Names names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath()))
        names.insert(entry.path().filename().string());
    return names;
}

Exporter Make(GraphSession& session, ExportOptions options)
{
    Result<Exporter> exporter = Exporter::Create(session, std::move(options));
    if (!exporter)
        FAIL(exporter.GetError().message);
    return std::move(*exporter);
}

std::string ErrorOf(GraphSession& session, ExportOptions options)
{
    const Result<Exporter> exporter = Exporter::Create(session, std::move(options));
    return exporter ? "" : exporter.GetError().message;
}

// Puts a script in the place of ffmpeg while it lives.
class StandIn
{
public:
    explicit StandIn(const std::string& script)
    {
        WriteBytes(folder / "ffmpeg", "#!/bin/sh\n" + script + "\n");
        chmod((folder / "ffmpeg").c_str(), 0755);
        setenv("PATH", (folder.GetPath().string() + ":/usr/bin:/bin").c_str(), 1);
    }
    ~StandIn() { setenv("PATH", before.c_str(), 1); }
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

private:
    TemporaryFolder folder;
    std::string before = std::getenv("PATH");
};

} // namespace

TEST_CASE("An exporter writes a file for each frame of each output and says how far it is")
{
    const TemporaryFolder folder;
    GraphSession session = Open(Fading("a") + "," + Fading("b"));
    Exporter exporter = Make(session, {.frames = {7, 9}, .output = folder / "{key}_{frame}.png"});
    REQUIRE(exporter.GetOutputs().size() == 2);
    CHECK(exporter.GetOutputs()[0].key == "a");
    CHECK(exporter.GetOutputs()[0].kind == ExportedOutput::Kind::Texture);

    std::vector<long long> said;
    CHECK(exporter.Run({.progress = [&](long long done) { said.push_back(done); }}));
    CHECK(said == std::vector<long long>{1, 2, 3});
    CHECK(Written(folder) == Names{"a_7.png", "a_8.png", "a_9.png", "b_7.png", "b_8.png", "b_9.png"});
    CHECK(Image::LoadFromFile(folder / "b_9.png").GetPixels()[0] == 9);
    CHECK(exporter.GetOutputs()[1].emptyFrames == 0);
}

TEST_CASE("An exporter that is stopped starts no other frame, and the files that are there are whole")
{
    const TemporaryFolder folder;
    GraphSession session = Open(Fading("a", 512));
    std::stop_source stop;
    Exporter exporter =
        Make(session, {.frames = {0, 999'999}, .output = folder / "{frame}.bmp", .stop = stop.get_token()});
    long long frames = 0;
    const auto count = [&](long long done)
    {
        frames = done;
        if (done == 12)
            stop.request_stop();
    };
    CHECK(exporter.Run({.progress = count}));
    CHECK(frames == 12);
    GraphSession::Finish();
    const Names names = Written(folder);
    CHECK(names.size() <= 12);
    for (const std::string& name : names)
        CHECK(Image::LoadFromFile(folder / name).IsValid());
}

TEST_CASE("What a callback throws leaves the exporter, and work in the background does not miss it")
{
    const TemporaryFolder folder;
    {
        GraphSession session = Open(Fading("a", 512));
        Exporter exporter = Make(session, {.frames = {0, 9}, .output = folder / "{frame}.png"});
        const auto fail = [](long long done)
        {
            if (done == 3)
                throw std::runtime_error("out of order");
        };
        CHECK_THROWS_AS(exporter.Run({.progress = fail}), std::runtime_error);
    }
    GraphSession::Finish();
    for (const std::string& name : Written(folder))
        CHECK(Image::LoadFromFile(folder / name).IsValid());
}

TEST_CASE("An operator that carries nothing is told once with the file that is not there, and replaces no file")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "photo_0.png", "precious");
    GraphSession session = Open(R"({"key": "photo", "type": "Varkle.Texture.LoadImage",
        "parameters": {"Path": ")" +
                                folder / "gone.jpg" + R"("}})");
    Exporter exporter = Make(session, {.frames = {0, 1}, .output = folder / "{key}_{frame}.png"});
    std::vector<std::string> messages;
    CHECK(exporter.Run({.carriesNothing = [&](const std::string& message) { messages.push_back(message); }}));
    CHECK(messages ==
          std::vector<std::string>{"The operator \"photo\" carries nothing after frame 0, since there is no file \"" +
                                   (folder / "gone.jpg") + "\": no file is written for it."});
    CHECK(exporter.GetOutputs()[0].emptyFrames == 2);
    CHECK(ReadBytes(folder / "photo_0.png") == "precious");
    CHECK(folder.Count() == 1);
}

TEST_CASE("The output \"-\" hands the bytes of the file to the caller, whose error ends the run")
{
    GraphSession session = Open(R"({"key": "cube", "type": "Varkle.Mesh.Cube"})");
    std::string file;
    const auto take = [&](std::string_view bytes) -> Status
    {
        file = bytes;
        return Error{"the caller does not like it"};
    };
    Exporter exporter = Make(session, {.output = "-", .takeFile = take});
    CHECK(exporter.GetOutputs()[0].kind == ExportedOutput::Kind::Shape);
    const Status written = exporter.Run();
    REQUIRE(!written);
    CHECK(written.GetError().message == "the caller does not like it");
    CHECK(file.starts_with("glTF"));
}

TEST_CASE("What an exporter can't write is refused before anything runs")
{
    GraphSession session = Open(Fading("a") + "," + Fading("b"));
    CHECK(ErrorOf(session, {.operators = {"c"}}) == "There is no operator \"c\".");
    CHECK(ErrorOf(session, {.output = "x.png"}) ==
          "output \"x.png\": several operators are written, so the path needs {key}.");
    CHECK(
        ErrorOf(session, {.operators = {"a"}, .output = "x.glb"}) ==
        "output \"x.glb\": a texture is written as .png, .jpg, .bmp or .tga, or all frames as a video, .mp4 or .webm.");
    CHECK(ErrorOf(session, {.operators = {"a"}, .frames = {0, 1}, .output = "-"}) ==
          "output -: it takes the file of one operator and one frame.");
}

TEST_CASE("An ffmpeg that takes no frames is an error in a process that does nothing about the signal of a broken pipe")
{
    struct sigaction action = {};
    sigaction(SIGPIPE, nullptr, &action);
    REQUIRE(action.sa_handler == SIG_DFL);

    const TemporaryFolder folder;
    const StandIn standIn("echo no >&2; exit 3");
    GraphSession session = Open(Fading("a", 512));
    Exporter exporter = Make(session, {.frames = {0, 9}, .output = folder / "film.mp4"});
    CHECK(exporter.GetOutputs()[0].isVideo);
    const Status written = exporter.Run();
    REQUIRE(!written);
    CHECK(written.GetError().machine);
    CHECK(written.GetError().message == "could not write " + folder / "film.mp4" +
                                            ": ffmpeg ended with exit status 3 before it had all frames and said:\nno");
    CHECK(Written(folder).empty());
}

TEST_CASE("A video whose exporter goes before its end goes too, and ffmpeg with it")
{
    const TemporaryFolder folder;
    const StandIn standIn("exec cat >/dev/null");
    GraphSession session = Open(Fading("a"));
    std::stop_source stop;
    {
        Exporter exporter =
            Make(session, {.frames = {0, 99}, .output = folder / "film.webm", .stop = stop.get_token()});
        CHECK(exporter.Run({.progress = [&](long long) { stop.request_stop(); }}));
    }
    CHECK(Written(folder).empty());
}
