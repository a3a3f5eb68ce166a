#include "app/Show.h"

#include <array>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <regex>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

// How playing a graph begins, goes on in time, and ends.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// What --stats prints at the end of a show.
struct Totals
{
    std::map<std::string, long> executions;
    long presents = -1;
    long frames = -1;
    double seconds = -1;
    long dropped = -1;
};

Totals ReadTotals(const std::string& text)
{
    Totals totals;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
    {
        std::istringstream words(line);
        std::string key;
        long number = 0;
        if (std::sscanf(line.c_str(), "frames %ld in %lf s, %*f a second, %ld left out", &totals.frames,
                        &totals.seconds, &totals.dropped) == 3)
            continue;
        if (const std::size_t at = line.find("presents "); at != std::string::npos)
            totals.presents = std::stol(line.substr(at + 9));
        else if (words >> key >> number)
            totals.executions[key] = number;
    }
    return totals;
}

// Returns the numbers behind "report: Value ".
std::vector<long> ReportedValues(const std::string& text)
{
    const std::string words = "report: Value ";
    std::vector<long> values;
    for (std::size_t at = text.find(words); at != std::string::npos; at = text.find(words, at + 1))
        values.push_back(std::stol(text.substr(at + words.size())));
    return values;
}

const std::string reportFrame = R"({"key": "report", "type": "Test.Reporter", "parameters": {"Value": "frame"}})";

std::string Sleeper(const std::string& source, int milliseconds)
{
    return R"({"key": "sleeper", "type": "Test.Sleeper", "inputs": {"Texture Input": ")" + source +
           R"("}, "parameters": {"Milliseconds": )" + std::to_string(milliseconds) + "}}";
}

const std::string simple = Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c");

// Checks a run that fails before anything is to be seen.
void CheckRefused(const Outcome& outcome, int status, std::string_view message)
{
    CHECK(outcome.status == status);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == message);
}

} // namespace

TEST_CASE("Closing the last window by hand ends the show")
{
    Show show(simple);
    const WindowId window = show.Play("w");
    show.UntilPixel(window, {160, 100}, green);
    show.display.AskToClose(window);
    CheckIsDone(show.Wait());
}

TEST_CASE("A signal to end closes the windows of a show and ends it well")
{
    Show show(simple);
    for (const int signal : {SIGINT, SIGTERM})
    {
        show.UntilPixel(show.Play("w"), {160, 100}, green);
        show.program->Send(signal);
        CheckIsDone(show.Wait());
        CHECK(show.Find("w") == 0);
    }
}

TEST_CASE("A show that waits for its window can be interrupted")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Open": "frame < 0")") + "," + reportFrame);
    show.Play();
    show.WaitForError("info: graph.varkle opens no window at first; waiting for one to open.");
    show.WaitForError("report: Value 5");
    CHECK(show.Interrupt().status == 0);
}

TEST_CASE("A show goes on while the graph has closed its last window, also after the user closed another one")
{
    Show show(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Open": "fract(frame / 120) < 0.5")") + "," +
              WindowOperator("other", "c"));
    show.display.AskToClose(show.Play("other"));
    show.WaitForNoWindow("other");
    show.WaitForNoWindow("w");
    show.display.AskToClose(show.WaitForWindow("w"));
    CheckIsDone(show.Wait());
}

TEST_CASE("A show ends after as many pictures as were asked for, and tells what they cost")
{
    Show show(Paint("c", moving) + "," + Paint("still", "[0, 1, 0]") + "," + WindowOperator("w", "c"));
    const Outcome outcome = show.Playing({"--frames", "12", "--stats", "--no-vsync"}).Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    const Totals totals = ReadTotals(outcome.error);
    CHECK(totals.frames == 12);
    CHECK(totals.dropped == 0);
    CHECK(totals.presents == 12);
    CHECK(totals.executions == std::map<std::string, long>{{"c", 12}, {"still", 0}, {"w", 12}});
}

TEST_CASE("A picture that does not change is presented once")
{
    Show show(simple + "," + reportFrame);
    const Outcome outcome = show.Playing({"--frames", "12", "--stats", "--no-vsync", "--log", "error"}).Run();
    CHECK(outcome.status == 0);
    const Totals totals = ReadTotals(outcome.error);
    CHECK(totals.executions == std::map<std::string, long>{{"c", 1}, {"w", 1}, {"report", 12}});
    CHECK(totals.presents >= 1); // and again when the window manager made it draw itself
    CHECK(totals.presents <= 6);
}

TEST_CASE("Without the display's pace each frame of a show runs, in order, slow or not")
{
    Show show(Paint("c", moving) + "," + Sleeper("c", 30) + "," + WindowOperator("w", "sleeper") + "," + reportFrame);
    const Outcome outcome = show.Playing({"--frames", "8", "--no-vsync"}).Run();
    CHECK(outcome.status == 0);
    CHECK(ReportedValues(outcome.error) == std::vector<long>{0, 1, 2, 3, 4, 5, 6, 7});
}

TEST_CASE("A slow graph leaves frames out and keeps to the clock")
{
    Show show(Paint("c", moving) + "," + Sleeper("c", 80) + "," + WindowOperator("w", "sleeper") + "," + reportFrame);
    const Outcome outcome = show.Playing({"--frames", "10", "--stats"}).Run();
    CHECK(outcome.status == 0);
    const Totals totals = ReadTotals(outcome.error);
    const std::vector<long> frames = ReportedValues(outcome.error);
    CHECK(totals.frames == 10);
    REQUIRE(frames.size() == 10);
    CHECK(std::ranges::is_sorted(frames));
    // The clock starts behind the first picture, and each further one but the last takes 80 ms at least before the
    // next. Frames are 60 a second; one may be rounded down.
    CHECK(frames.back() >= 8 * 80 * 60 / 1000);
    CHECK(double(frames.back()) <= totals.seconds * 60);
    CHECK(frames.back() == 9 + totals.dropped); // the display has the graph's rate
    CHECK(totals.executions.at("sleeper") == 10);
}

TEST_CASE("A graph that is slower than its display runs each frame once")
{
    Show show(Paint("c", moving) + "," + WindowOperator("w", "c") + "," + reportFrame);
    const std::string text = ReadBytes(show.folder / "graph.varkle");
    WriteBytes(show.folder / "graph.varkle", R"({"frameRate": 20, )" + text.substr(1));
    const Outcome outcome = show.Playing({"--frames", "31", "--stats"}).Run();
    CHECK(outcome.status == 0);
    const Totals totals = ReadTotals(outcome.error);
    CHECK(totals.frames == 31);
    // 60 pictures a second, three of them for each frame.
    CHECK(ReportedValues(outcome.error).back() == (30 + totals.dropped) / 3);
    CHECK(totals.executions.at("c") == long(ReportedValues(outcome.error).size()));
}

TEST_CASE("A show says at its start how it is used, and what it is like when asked by a signal")
{
    Show show(simple);
    const WindowId window = show.Play("w");
    show.WaitForError("info: F fills the display with a window, Escape ends that; Ctrl-C ends the show.\n");
    show.display.Move(window, {300, 220});
    show.UntilAt(window, {{300, 220}, {320, 200}});
    show.program->Send(SIGUSR1);
    show.WaitForError("window \"w\" of w: 320x200 pixels (320x200 logical) at (300, 220), scale 1, 60.00 Hz, open\n");
    const Outcome outcome = show.Interrupt();
    CHECK(outcome.status == 0);
    CHECK(
        std::regex_search(outcome.error, std::regex("frame [0-9]+: [0-9.]+ pictures a second, [0-9]+ came too late")));
}

TEST_CASE("A show that misses its frame rate for seconds says so once, with what costs most")
{
    Show show(Paint("c", moving) + "," + Sleeper("c", 80) + "," + WindowOperator("w", "sleeper"));
    show.Play("w");
    show.WaitForError("warning: The show misses its frame rate: ");
    const Outcome outcome = show.Interrupt();
    CHECK(std::regex_search(outcome.error, std::regex("Most of the processor's time take \"sleeper\" [0-9]+ %, ")));
}

TEST_CASE("A show goes on when nobody reads what it says, and tells how much was left out")
{
    Show show(Paint("c", moving) + "," + WindowOperator("w", "c") + "," + reportFrame);
    const std::string pipe = show.folder / "pipe";
    REQUIRE(mkfifo(pipe.c_str(), 0600) == 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    REQUIRE(reader != -1);
    REQUIRE(fcntl(reader, F_SETPIPE_SZ, 8192) == 8192);
    std::vector<std::string> command = {"sh", "-c", "exec \"$0\" \"$@\" 2>pipe", VARKLE_PROGRAM};
    for (const char* const word :
         {"play", "graph.varkle", "--no-vsync", "--plugin", VARKLE_PLUGIN, "--plugin", TEST_OPERATORS_PLUGIN})
        command.push_back(word);
    show.program.emplace(ProgramRunner(command).In(show.folder.GetPath()).Start());
    const WindowId window = show.WaitForWindow("w");
    const auto isFull = [&]
    {
        pollfd entry{reader, POLLIN, 0};
        int waiting = 0;
        return poll(&entry, 1, 0) == 1 && ioctl(reader, FIONREAD, &waiting) == 0 && waiting > 4096;
    };
    show.Until("the pipe is full", isFull);
    show.UntilMoved(window);
    std::string text;
    show.Until("it tells what was left out",
               [&]
               {
                   std::array<char, 4096> buffer;
                   const ssize_t count = read(reader, buffer.data(), buffer.size());
                   text.append(buffer.data(), std::size_t(std::max<ssize_t>(count, 0)));
                   return Contains(text, " left out here since nobody read on.\n");
               });
    show.program->Send(SIGINT);
    CHECK(show.program->Wait().status == 0);
    close(reader);
    CHECK(std::regex_search(text, std::regex("\nwarning: [0-9]+ lines? w(as|ere) left out here")));
}

TEST_CASE("A window that nobody can see costs nothing")
{
    Show show(Paint("c", moving) + "," + WindowOperator("w", "c", R"("Position": [0, 40])") + "," + Paint("d", moving) +
              "," + WindowOperator("other", "d", R"("Position": [400, 40])"));
    show.UntilMoved(show.Play("other", {"--stats"}));
    const WindowId window = show.WaitForWindow("w");
    SECTION("minimized")
    {
        show.display.Minimize(window);
        show.Until("the window is minimized", [&] { return show.display.IsMinimized(window); });
    }
    SECTION("closed by hand")
    {
        show.display.AskToClose(window);
        show.WaitForNoWindow("w");
    }
    SECTION("covered")
    {
        show.display.OpenPlainWindow("cover", {{0, 20}, {380, 300}}, {255, 0, 255});
    }
    for (int i = 0; i < 20; ++i)
        show.UntilMoved(show.Find("other"));
    const Totals totals = ReadTotals(show.Interrupt().error);
    CHECK(totals.executions.at("d") > totals.executions.at("c") + 30);
}

TEST_CASE("Without a display there is no show, and the error says so")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(simple));
    const ProgramRunner play = Program({"play", "graph.varkle"}).In(folder.GetPath());
    CheckRefused(ProgramRunner(play).With("DISPLAY", "").Run(), 2,
                 "error: There is no display: DISPLAY is not set; start the program in a desktop session (X11, or "
                 "Wayland with XWayland), or set DISPLAY to the name of an X server.\n");
    const Outcome outcome = ProgramRunner(play).With("DISPLAY", ":987654").Run();
    CHECK(outcome.status == 2);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error.starts_with("error: There is no display: DISPLAY is \":987654\", and that cannot be opened ("));
    CHECK(std::ranges::count(outcome.error, '\n') == 1);
}

TEST_CASE("A graph that opens no window can't be played")
{
    Show show(WindowOperator("w", "", R"("Open": false)"));
    const std::string message = "error: graph.varkle opens no window, so there is nothing to see. A window opens when "
                                "\"Open\" of its operator is on; \"varkle render\" writes pictures without one.\n";
    CheckRefused(show.Playing().Run(), 1, message);
    show.Save("");
    CheckRefused(show.Playing().Run(), 1, message);
    show.Save(Paint("c", "[0, 1, 0]") + "," + WindowOperator("w", "c", R"("Open": false)"));
    CheckRefused(show.Playing().Run(), 1, message);
    CHECK(show.Playing({"--set", "w.Open=true", "--frames", "2"}).Run().status == 0);
}

TEST_CASE("A document with errors can't be played, and all of them are reported")
{
    Show show(Paint("c", "[0, 1]") + ",\n" + WindowOperator("w", "d"));
    const Outcome outcome = show.Playing().Run();
    CHECK(outcome.status == 1);
    CHECK(outcome.output == nothing);
    CHECK(std::ranges::count(outcome.error, '\n') == 2);
    CHECK(Contains(outcome.error, "error: graph.varkle:1:"));
    CHECK(Contains(outcome.error, "error: graph.varkle:2:"));
    CHECK(outcome.error == Program({"check", "graph.varkle"}).In(show.folder.GetPath()).Run().error);
}

TEST_CASE("What can't be played is refused with the reason")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(simple));
    const auto play = [&](const std::vector<std::string>& arguments)
    { return Program(Joined({"play"}, arguments)).In(folder.GetPath()).With("DISPLAY", "").Run(); };
    const Outcome missing = play({"none.varkle"});
    CHECK(missing.status == 1);
    CHECK(missing.error == Program({"check", "none.varkle"}).In(folder.GetPath()).Run().error);
    for (const std::string frames : {"0", "-3", "many", "1.5", "0..4"})
    {
        INFO(frames);
        const Outcome outcome = play({"graph.varkle", "--frames", frames});
        CHECK(outcome.status == 1);
        CHECK(outcome.output == nothing);
        CHECK(outcome.error.starts_with("error: "));
        CHECK(Contains(outcome.error, "--frames"));
    }
}

TEST_CASE("A parameter that --set gives wrongly ends the show before it begins")
{
    Show show(simple);
    const Outcome outcome = show.Playing({"--set", "w.Opne=true"}).Run();
    CHECK(outcome.status == 1);
    CHECK(Contains(outcome.error, "--set \"w.Opne=true\""));
}

TEST_CASE("The command info lists the displays")
{
    const ProgramRunner info = Program({"info"});
    {
        DesktopSettings settings;
        settings.size = {800, 600};
        const VirtualDisplay display(settings);
        const Outcome outcome = info.Run();
        CHECK(outcome.status == 0);
        CHECK(Contains(outcome.output, "\ndisplay         screen (800x600 at 0,0, 60.00 Hz, scale 1)\n"));
    }
    const Outcome outcome = ProgramRunner(info).With("DISPLAY", "").Run();
    CHECK(outcome.status == 0);
    CHECK(outcome.error == nothing);
    CHECK(Contains(outcome.output, "\ndisplay         none: There is no display: DISPLAY is not set"));
}
