#include "app/Documents.h"
#include "app/FolderWatch.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/Pixels.h"

#include <csignal>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/stat.h>

// Videos: what is in them, looked at with ffmpeg's own tools, and what happens when ffmpeg does not do as it should,
// played by scripts that are found in its place.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using Names = std::vector<std::string>;
using Json = nlohmann::json;

// Colors come back from 8-bit video with less than 256 levels of luma and half the resolution of color: 16 to 235 and
// 16 to 240 are used, which makes up to 2 levels of red, green or blue; the encoders add a little.
constexpr int tolerance = 4;

const std::string red = ColorOperator("a", "[1, 0, 0]", R"("Texture Size": [32, 16])");
const std::string fading = ColorOperator("a", R"(["frame / 10", 0, "1 - frame / 10"])", R"("Texture Size": [32, 16])");
const std::string large = ColorOperator("a", R"(["frame / 100", 0, 0])", R"("Texture Size": [512, 512])"); // 1 MiB

void WriteGraph(const TemporaryFolder& folder, const std::string& operators)
{
    WriteBytes(folder / "graph.varkle", Document(operators));
}

ProgramRunner Rendering(const TemporaryFolder& folder, const std::vector<std::string>& arguments)
{
    return Program(Joined({"render", "graph.varkle"}, arguments)).In(folder.GetPath());
}

Outcome Render(const TemporaryFolder& folder, const std::vector<std::string>& arguments)
{
    return Rendering(folder, arguments).Run();
}

// Returns the names of the files in a folder but the graph's, sorted.
Names Written(const TemporaryFolder& folder)
{
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.GetPath()))
        names.insert(entry.path().filename().string());
    names.erase("graph.varkle");
    return {names.begin(), names.end()};
}

void CheckIsSilent(const Outcome& outcome)
{
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

// Returns what ffprobe says about the one stream of a video, its frames counted.
Json Probe(const std::string& path)
{
    const Outcome outcome =
        ProgramRunner({"ffprobe", "-v", "error", "-count_frames", "-show_streams", "-of", "json", "file:" + path})
            .Run();
    INFO(outcome.error);
    REQUIRE(outcome.status == 0);
    const Json streams = Json::parse(outcome.output).at("streams");
    REQUIRE(streams.size() == 1);
    return streams[0];
}

// Returns the frames of a video. Only one of the decoders for VP9 knows about alpha.
std::vector<Image> DecodeVideo(const std::string& path)
{
    const Json stream = Probe(path);
    const glm::ivec2 size(stream.at("width"), stream.at("height"));
    const std::string decoder = stream.at("codec_name") == "vp9" ? "libvpx-vp9" : "h264";
    const Outcome outcome = ProgramRunner({"ffmpeg", "-v", "error", "-nostdin", "-c:v", decoder, "-i", "file:" + path,
                                           "-f", "rawvideo", "-pix_fmt", "rgba", "pipe:1"})
                                .Run();
    INFO(outcome.error);
    REQUIRE(outcome.status == 0);
    const std::size_t bytes = std::size_t(size.x) * std::size_t(size.y) * 4;
    std::vector<Image> frames;
    for (auto at = outcome.output.begin(); at != outcome.output.end(); at += std::ptrdiff_t(bytes))
        frames.emplace_back(size, std::vector<std::uint8_t>(at, at + std::ptrdiff_t(bytes)));
    return frames;
}

void CheckNear(Rgba8 found, Rgba8 expected)
{
    INFO("found " << found << ", expected " << expected);
    CHECK(Near(found, expected, tolerance));
}

// A folder with a graph and a script in ffmpeg's place. In the script, $file is the path of the video.
struct StandIn
{
    StandIn(const std::string& operators, const std::string& script)
    {
        WriteGraph(folder, operators);
        std::filesystem::create_directory(tools / "bin");
        const std::string path = tools / "bin/ffmpeg";
        WriteBytes(path, "#!/bin/sh\nfor file; do :; done\nfile=${file#file:}\n" + script + "\n");
        chmod(path.c_str(), 0755);
    }

    ProgramRunner Rendering(const std::vector<std::string>& arguments) const
    {
        return ::Rendering(folder, arguments).With("PATH", tools / "bin:/usr/bin:/bin");
    }

    // Runs it for ten frames.
    Outcome Render() const { return Rendering({"--output", "film.mp4", "--frames", "10"}).Run(); }

    const TemporaryFolder tools;
    const TemporaryFolder folder;
};

} // namespace

TEST_CASE("A video .mp4 is H.264 that any player shows: its frames in order, at the graph's rate, with BT.709 colors")
{
    const TemporaryFolder folder;
    WriteGraph(folder, fading);
    CheckIsSilent(Render(folder, {"--output", "film.mp4", "--frames", "10"}));
    REQUIRE(Written(folder) == Names{"film.mp4"});

    const Json stream = Probe(folder / "film.mp4");
    CHECK(stream.at("codec_name") == "h264");
    CHECK(stream.at("pix_fmt") == "yuv420p");
    CHECK(stream.at("width") == 32);
    CHECK(stream.at("height") == 16);
    CHECK(stream.at("r_frame_rate") == "60/1");
    CHECK(stream.at("nb_read_frames") == "10");
    CHECK(stream.at("color_range") == "tv");
    CHECK(stream.at("color_space") == "bt709");
    CHECK(stream.at("color_primaries") == "bt709");
    CHECK(stream.at("color_transfer") == "bt709");
    const std::string bytes = ReadBytes(folder / "film.mp4");
    CHECK(bytes.find("moov") < bytes.find("mdat")); // it plays while it loads

    const std::vector<Image> frames = DecodeVideo(folder / "film.mp4");
    REQUIRE(frames.size() == 10);
    for (int i = 0; i < 10; ++i)
    {
        INFO(i);
        CheckNear(At(frames[std::size_t(i)], 16, 8), ToRgba8({i / 10.0, 0, 1 - i / 10.0, 1}));
    }
}

TEST_CASE("A video .webm is VP9 and keeps alpha, .mp4 shows the picture over black")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", R"([1, 0.4, 0, "frame / 4"])", R"("Texture Size": [32, 16])"));
    CheckIsSilent(Render(folder, {"--output", "film.webm", "--frames", "5"}));
    CheckIsSilent(Render(folder, {"--output", "film.mp4", "--frames", "5"}));
    REQUIRE(Written(folder) == Names{"film.mp4", "film.webm"});

    const Json stream = Probe(folder / "film.webm");
    CHECK(stream.at("codec_name") == "vp9");
    CHECK(stream.at("r_frame_rate") == "60/1");
    CHECK(stream.at("nb_read_frames") == "5");
    CHECK(stream.at("color_space") == "bt709");
    const std::vector<Image> withAlpha = DecodeVideo(folder / "film.webm");
    const std::vector<Image> overBlack = DecodeVideo(folder / "film.mp4");
    REQUIRE(withAlpha.size() == 5);
    REQUIRE(overBlack.size() == 5);
    for (int i = 0; i < 5; ++i)
    {
        INFO(i);
        CheckNear(At(withAlpha[std::size_t(i)], 16, 8), ToRgba8({1, 0.4, 0, i / 4.0}));
        CheckNear(At(overBlack[std::size_t(i)], 16, 8), ToRgba8({i / 4.0, 0.4 * i / 4.0, 0, 1}));
    }
}

TEST_CASE("A video .mp4 of an odd size repeats the last column and row, and says so, .webm has any size")
{
    const TemporaryFolder folder;
    std::string pixels = "P6 33 17 255\n"; // a PPM picture: black, but green on the right and at the bottom
    for (int y = 0; y < 17; ++y)
    {
        for (int x = 0; x < 33; ++x)
            pixels += x >= 24 || y >= 8 ? std::string("\0\xff\0", 3) : std::string(3, '\0');
    }
    WriteBytes(folder / "picture.ppm", pixels);
    WriteGraph(folder, LoadImageOperator("a", "picture.ppm"));
    const Outcome outcome = Render(folder, {"--output", "film.mp4"});
    CHECK(outcome.status == 0);
    CHECK(outcome.error ==
          "info: film.mp4: the pictures have 33 by 17 pixels, the video has 34 by 18: its encoder takes "
          "even sizes only, so the last column or row is repeated.\n");
    CheckIsSilent(Render(folder, {"--output", "film.webm"}));

    for (const auto& [name, size] : {std::pair("film.mp4", glm::ivec2(34, 18)), {"film.webm", glm::ivec2(33, 17)}})
    {
        INFO(name);
        const std::vector<Image> frames = DecodeVideo(folder / name);
        REQUIRE(frames.size() == 1);
        REQUIRE(frames[0].GetWidth() == size.x);
        REQUIRE(frames[0].GetHeight() == size.y);
        CheckNear(At(frames[0], 8, 2), {0, 0, 0, 255});
        CheckNear(At(frames[0], size.x - 1, 2), {0, 255, 0, 255});
        CheckNear(At(frames[0], 8, size.y - 1), {0, 255, 0, 255});
        CheckNear(At(frames[0], size.x - 1, size.y - 1), {0, 255, 0, 255});
    }
}

TEST_CASE("A video of a texture of one pixel is a video of four")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[0, 0, 1]", R"("Texture Size": [1, 1])"));
    CHECK(Render(folder, {"--output", "film.mp4", "--frames", "2"}).status == 0);
    const std::vector<Image> frames = DecodeVideo(folder / "film.mp4");
    REQUIRE(frames.size() == 2);
    CHECK(frames[0].GetWidth() == 2);
    CheckNear(At(frames[1], 1, 1), {0, 0, 255, 255});
}

TEST_CASE("A video has the document's frame rate and the frames of --frames only")
{
    const struct
    {
        const char* rate;
        const char* found;
    } cases[] = {{"25", "25/1"}, {"29.97", "2997/100"}, {"23.976023976023978", "24000/1001"}, {"0.5", "1/2"}};
    for (const auto& [rate, found] : cases)
    {
        INFO(rate);
        const TemporaryFolder folder;
        WriteBytes(folder / "graph.varkle", R"({"format": "varkle-graph", "version": 1, "frameRate": )" +
                                                std::string(rate) + R"(, "operators": [)" + fading + "]}");
        CheckIsSilent(Render(folder, {"--output", "film.mp4", "--frames", "8..9"}));
        CHECK(Probe(folder / "film.mp4").at("r_frame_rate") == found);
        const std::vector<Image> frames = DecodeVideo(folder / "film.mp4");
        REQUIRE(frames.size() == 2);
        CheckNear(At(frames[0], 16, 8), {204, 0, 51, 255}); // 0.8 and 0.2
        CheckNear(At(frames[1], 16, 8), {230, 0, 26, 255}); // 0.9 and 0.1
    }
}

TEST_CASE("A texture that never changes gives as many frames as one that does")
{
    const TemporaryFolder folder;
    WriteGraph(folder, red);
    CheckIsSilent(Render(folder, {"--output", "film.mp4", "--frames", "20"}));
    CHECK(Probe(folder / "film.mp4").at("nb_read_frames") == "20");
}

TEST_CASE("The same document gives the same video")
{
    const TemporaryFolder folder;
    WriteGraph(folder, fading);
    for (const std::string extension : {".mp4", ".webm"})
    {
        CheckIsSilent(Render(folder, {"--output", "first" + extension, "--frames", "10"}));
        CheckIsSilent(Render(folder, {"--output", "second" + extension, "--frames", "10"}));
        CHECK(ReadBytes(folder / ("first" + extension)) == ReadBytes(folder / ("second" + extension)));
    }
}

TEST_CASE("Each operator has a video of its own, whose name may be anything that a file's may")
{
    const TemporaryFolder folder;
    WriteGraph(folder, red + "," + ColorOperator("b", "[0, 1, 0]", R"("Texture Size": [32, 16])"));
    CheckIsSilent(Render(folder, {"--output=-my \"$(film)\" of 100%d: '{key}'.MP4", "--frames", "3"}));
    const std::string first = "-my \"$(film)\" of 100%d: 'a'.MP4";
    const std::string second = "-my \"$(film)\" of 100%d: 'b'.MP4";
    REQUIRE(Written(folder) == Names{first, second});
    CheckNear(At(DecodeVideo(folder / first).at(2), 16, 8), {255, 0, 0, 255});
    CheckNear(At(DecodeVideo(folder / second).at(2), 16, 8), {0, 255, 0, 255});
}

TEST_CASE("A video is written under a hidden name and renamed when it is complete")
{
    const TemporaryFolder folder;
    WriteGraph(folder, red);
    FolderWatch watch(folder.GetPath());
    CheckIsSilent(Render(folder, {"--output", "film.webm", "--frames", "3"}));
    const std::vector<std::string>& events = watch.GetEvents();
    REQUIRE(events.size() == 3);
    CHECK(events[0].starts_with("created ."));
    const std::string hidden = events[0].substr(8);
    CHECK(events[1] == "renamed " + hidden);
    CHECK(events[2] == "renamed to film.webm");
}

TEST_CASE("A video takes the place of a file that is there: behind a link, and with its permissions")
{
    const TemporaryFolder folder;
    WriteGraph(folder, red);
    WriteBytes(folder / "old.mp4", "old");
    chmod((folder / "old.mp4").c_str(), 0640);
    std::filesystem::create_symlink("old.mp4", folder / "film.mp4");
    CheckIsSilent(Render(folder, {"--output", "film.mp4"}));
    CHECK(std::filesystem::is_symlink(folder / "film.mp4"));
    CHECK(Probe(folder / "old.mp4").at("nb_read_frames") == "1");
    CHECK(std::filesystem::status(folder / "old.mp4").permissions() == std::filesystem::perms(0640));
}

TEST_CASE("Where a video can't be is an error before anything is rendered")
{
    const TemporaryFolder folder;
    WriteGraph(folder, red);
    std::filesystem::create_directory(folder / "folder.mp4");
    REQUIRE(mkfifo((folder / "pipe.webm").c_str(), 0600) == 0);
    const struct
    {
        const char* output;
        const char* message;
    } cases[] = {
        {"missing/film.mp4", "error: could not write missing/film.mp4: No such file or directory.\n"},
        {"folder.mp4", "error: could not write folder.mp4: Is a directory.\n"},
        {"pipe.webm", "error: could not write pipe.webm: it is a device or a pipe, and only a file can be replaced.\n"},
    };
    for (const auto& [output, message] : cases)
    {
        const Outcome outcome = Render(folder, {"--output", output});
        CHECK(outcome.status == 1);
        CHECK(outcome.error == message);
        CHECK(Written(folder) == Names{"folder.mp4", "pipe.webm"});
    }
}

TEST_CASE("A video whose pictures change their size is an error that names the frame and the sizes")
{
    const TemporaryFolder folder;
    WriteGraph(folder, ColorOperator("a", "[1, 0, 0]", R"("Texture Size": ["frame < 3 ? 32 : 64", 16])"));
    const Outcome outcome = Render(folder, {"--output", "film.mp4", "--frames", "10"});
    CHECK(outcome.status == 1);
    CHECK(outcome.error == "error: could not write film.mp4: a video has one size, and its pictures have 32 by 16 "
                           "pixels before frame 3 and 64 by 16 there.\n");
    CHECK(Written(folder).empty());
}

TEST_CASE("An operator that carries nothing for some frames: its video begins black and later holds the frame before")
{
    const TemporaryFolder folder;
    WriteGraph(folder, fading + R"(, {"key": "gate", "type": "Test.Gate", "inputs": {"Texture Input": "a"},
                              "parameters": {"Open": "frame != 0 && frame != 1 && frame != 4"}})");
    const Outcome outcome = Render(folder, {"--output", "film.mp4", "--frames", "6", "--plugin", GATE_OPERATOR_PLUGIN});
    CHECK(outcome.status == 1);
    CHECK(outcome.error == "error: The operator \"gate\" carries nothing after frame 0: its video begins black.\n"
                           "error: The operator \"gate\" carried nothing after 3 frames in all.\n");
    const std::vector<Image> frames = DecodeVideo(folder / "film.mp4");
    REQUIRE(frames.size() == 6);
    const Rgba8 expected[] = {{0, 0, 0, 255},    {0, 0, 0, 255},    {51, 0, 204, 255},
                              {77, 0, 179, 255}, {77, 0, 179, 255}, {128, 0, 128, 255}}; // 0.2, 0.3, 0.3, 0.5
    for (std::size_t i = 0; i < 6; ++i)
    {
        INFO(i);
        CheckNear(At(frames[i], 16, 8), expected[i]);
    }
}

TEST_CASE("An operator that never carries anything has no video")
{
    const TemporaryFolder folder;
    WriteGraph(folder, LoadImageOperator("photo", "missing.png"));
    for (const std::string frames : {"1", "2"})
    {
        const Outcome outcome = Render(folder, {"--output", "film.mp4", "--frames", frames});
        CHECK(outcome.status == 1);
        CHECK(outcome.error ==
              "error: The operator \"photo\" carries nothing after frame 0, since there is no file \"" +
                  (folder / "missing.png") +
                  "\": its video begins black.\n"
                  "error: The operator \"photo\" carried nothing after " +
                  frames + (frames == "1" ? " frame" : " frames") + " in all: no video is written for it.\n");
        CHECK(Written(folder).empty());
    }
}

TEST_CASE("Without ffmpeg a video is an error of the machine that says how to get it, before anything is rendered")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "bin/ffmpeg"); // a folder is no program
    WriteBytes(folder / "ffmpeg", "no program either");
    WriteGraph(folder, R"({"key": "a", "type": "Test.Speaker"})");
    const Outcome outcome = Rendering(folder, {"--output", "film.mp4", "--plugin", TEST_OPERATORS_PLUGIN})
                                .With("PATH", (folder / "bin") + ":" + (folder / "missing") + ":")
                                .Run();
    CHECK(outcome.status == 2);
    CHECK(outcome.error == "error: could not write film.mp4: videos are made by the program ffmpeg, which is not "
                           "installed. Install it; Debian's package is called ffmpeg (apt install ffmpeg).\n");
    CHECK(Written(folder) == Names{"bin", "ffmpeg"});
}

TEST_CASE("An ffmpeg that can't be started is an error of the machine")
{
    const StandIn standIn(red, "");
    WriteBytes(standIn.tools / "bin/ffmpeg", "\x7f"
                                             "ELF, so it says");
    const Outcome outcome = standIn.Render();
    CHECK(outcome.status == 2);
    CHECK(outcome.error == "error: could not write film.mp4: the program \"" + (standIn.tools / "bin/ffmpeg") +
                               "\" could not be started: Exec format error.\n");
    CHECK(Written(standIn.folder).empty());
}

TEST_CASE("What ffmpeg prints stays between it and the program as long as all goes well")
{
    const StandIn standIn(red, R"(echo talk; echo noise >&2; cat >/dev/null; echo film >"$file")");
    CheckIsSilent(standIn.Render());
    CHECK(ReadBytes(standIn.folder / "film.mp4") == "film\n");
    CHECK(Written(standIn.folder) == Names{"film.mp4"});
}

TEST_CASE("An ffmpeg that fails is an error of the machine with its last words, and nothing is left behind")
{
    const std::string takeOne = "head -c 1048576 >/dev/null; ";
    const struct
    {
        std::string script;
        const char* message;
    } cases[] = {
        {"echo first >&2; echo >&2; printf 'a tab\\there\\nand an end' >&2; exit 1",
         "ended with exit status 1 before it had all frames and said:\nerror: first\nerror: a tab here\nerror: and an "
         "end\n"},
        {"seq 1 100000 >&2; exit 1",
         "ended with exit status 1 before it had all frames and said:\nerror: 99998\nerror: 99999\nerror: 100000\n"},
        {takeOne + "echo partial >\"$file\"; echo 'No space left on device' >&2; exit 228",
         "ended with exit status 228 before it had all frames and said:\nerror: No space left on device\n"},
        {takeOne + "kill -KILL $$", "was ended by signal 9 (Killed) before it had all frames and said nothing.\n"},
        {"exit 0", "ended with exit status 0 before it had all frames and said nothing.\n"},
        {"cat >/dev/null; echo late >&2; exit 3", "ended with exit status 3 and said:\nerror: late\n"},
        {"cat >/dev/null", "ended with exit status 0 without a video and said nothing.\n"},
    };
    for (const auto& [script, message] : cases)
    {
        INFO(script);
        const StandIn standIn(large, script);
        const Outcome outcome = standIn.Render();
        CHECK(outcome.status == 2);
        CHECK(outcome.signal == 0);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error == "error: could not write film.mp4: ffmpeg " + std::string(message));
        CHECK(Written(standIn.folder).empty());
    }
}

TEST_CASE("An ffmpeg that takes no more frames and does not end is ended")
{
    const StandIn standIn(large, "echo $$ >pid; exec <&-; exec sleep 1000");
    const Outcome outcome = standIn.Render();
    CHECK(outcome.status == 2);
    CHECK(outcome.error == "error: could not write film.mp4: ffmpeg takes no more frames and does not end.\n");
    CHECK(Written(standIn.folder) == Names{"pid"});
    CHECK(kill(std::stoi(ReadBytes(standIn.folder / "pid")), 0) == -1);
}

TEST_CASE("A video that does not fit is an error of the machine with ffmpeg's words, and nothing is left behind")
{
    for (const std::string name : {"film.mp4", "film.webm"})
    {
        // The real ffmpeg, which may write no more than 20 blocks of 512 bytes.
        const StandIn standIn(LoadImageOperator("a", VARKLE_SOURCES "/examples/harbour.jpg"),
                              "ulimit -f 20; PATH=/usr/bin:/bin exec ffmpeg \"$@\"");
        const Outcome outcome = standIn.Rendering({"--output", name, "--frames", "3"}).Run();
        CHECK(outcome.status == 2);
        CHECK(outcome.error.starts_with("error: could not write " + name + ": ffmpeg ended with exit status "));
        CHECK(Contains(outcome.error, ": File too large\n"));
        CHECK(Written(standIn.folder).empty());
    }
}

TEST_CASE("Rendering stays a few frames ahead of a slow ffmpeg, however long the run is")
{
    const StandIn standIn(large, R"(while dd bs=1048576 count=1 iflag=fullblock status=none of="$file" && [ -s "$file" ]
        do sleep 0.02; done; echo film >"$file")");
    constexpr std::size_t frameCount = 60;
    CheckIsSilent(
        standIn.Rendering({"--output", "film.mp4", "--frames", std::to_string(frameCount), "--trace", "trace.json"})
            .Run());
    const Json trace = Json::parse(ReadBytes(standIn.folder / "trace.json"));

    std::vector<double> begun; // rendering a frame
    std::vector<double> taken; // a frame by ffmpeg
    for (const Json& event : trace.at("traceEvents"))
    {
        if (event.at("ph") != "X")
            continue;
        if (event.at("cat") == "frame")
            begun.push_back(event.at("ts"));
        else if (event.at("name") == "film.mp4")
            taken.push_back(event.at("ts").get<double>() + event.at("dur").get<double>());
    }
    std::ranges::sort(begun);
    std::ranges::sort(taken);
    REQUIRE(begun.size() == frameCount);
    REQUIRE(taken.size() == frameCount + 1); // and the end of ffmpeg
    for (std::size_t frame = 0; frame < frameCount; ++frame)
    {
        INFO(frame);
        // Four frames under way, and one whose time was not noted yet.
        const auto before = std::ranges::lower_bound(taken, begun[frame]) - taken.begin();
        CHECK(std::size_t(before) + 5 >= frame);
    }
}

TEST_CASE("A video that is interrupted goes, and so does ffmpeg, which Ctrl-C in a terminal does not reach by itself")
{
    const std::string tellIds = "cut -d ' ' -f 1,5 /proc/$$/stat >ids; mv ids started; ";
    const struct
    {
        std::string script;
        const char* frames;
    } cases[] = {
        {tellIds + "exec sleep 1000", "1000000"},                // takes no frame
        {tellIds + "exec cat >/dev/null", "1000000"},            // takes all that come
        {"cat >\"$file\"; " + tellIds + "exec sleep 1000", "2"}, // has all and does not end
        {tellIds + "(sleep 1000) & exec sleep 1000", "1000000"}, // has started others
    };
    for (const auto& [script, frames] : cases)
    {
        INFO(script);
        const StandIn standIn(large, script);
        FolderWatch watch(standIn.folder.GetPath());
        RunningProgram program = standIn.Rendering({"--output", "film.mp4", "--frames", frames}).Start();
        REQUIRE(watch.WaitForRename("started") == "started");
        program.Send(SIGINT);
        const Outcome outcome = program.Wait();
        CHECK(outcome.signal == SIGINT);
        CHECK(outcome.error ==
              "error: The run was interrupted; the files written so far are complete, and a video that "
              "was not is gone.\n");
        CHECK(Written(standIn.folder) == Names{"started"});

        const std::string ids = ReadBytes(standIn.folder / "started"); // of the process and of its group
        const int process = std::stoi(ids);
        CHECK(std::stoi(ids.substr(ids.find(' '))) == process);
        CHECK(kill(process, 0) == -1);
    }
}

TEST_CASE(
    "A program that can't end by itself when it is interrupted, or is hurried, leaves no ffmpeg and no hidden file")
{
    for (const int signals : {1, 2})
    {
        // Stuck in the second frame, as soon as "heard" has spoken of it, with a video that was begun.
        const StandIn standIn(large + "," + Filter("heard", "Test.Speaker", "a") + R"(,
            {"key": "late", "type": "Test.Sleeper", "parameters": {"Milliseconds": "frame * 1000000"},
             "inputs": {"Texture Input": "heard"}})",
                              "echo part >\"$file\"; echo $$ >id; mv id started; exec sleep 1000");
        FolderWatch watch(standIn.folder.GetPath());
        RunningProgram program = standIn
                                     .Rendering({"--output", "film.mp4", "--frames", "2", "--plugin", VARKLE_PLUGIN,
                                                 "--plugin", TEST_OPERATORS_PLUGIN})
                                     .Start();
        REQUIRE(watch.WaitForRename("started") == "started");
        REQUIRE(program.WaitForError("heard speaks", 2));
        for (int i = 0; i < signals; ++i)
            program.Send(SIGINT);
        const Outcome outcome = program.Wait();
        CHECK(outcome.signal == SIGINT);
        CHECK(outcome.error ==
              "info: heard speaks\ninfo: heard speaks\nerror: The run was interrupted; the files written "
              "so far are complete, and those that were not are gone.\n");
        CHECK(Written(standIn.folder) == Names{"started"});
        CHECK(kill(std::stoi(ReadBytes(standIn.folder / "started")), 0) == -1);
    }
}

TEST_CASE("When one video fails the others go too")
{
    const StandIn standIn(
        large + "," + ColorOperator("b", R"(["frame / 100", 0, 0])", R"("Texture Size": [512, 512])"),
        R"(if mkdir first 2>/dev/null; then echo broken >&2; exit 1; fi; cat >/dev/null; echo film >"$file")");
    const Outcome outcome = standIn.Rendering({"--output", "{key}.mp4", "--frames", "50"}).Run();
    CHECK(outcome.status == 2);
    CHECK(Contains(outcome.error, "\nerror: broken\n"));
    CHECK(Written(standIn.folder) == Names{"first"});
}
