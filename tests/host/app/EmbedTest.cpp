#include "Varkle/Core/Plugin.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Gpu/Graphics.h"
#include "app/Documents.h"
#include "app/Pictures.h"
#include "app/ProgramRunner.h"
#include "app/Show.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <csignal>

// The libraries in other people's programs: the example that embeds them, the installed package, and what a session
// must leave alone.

using namespace Varkle;

namespace
{

const std::string example = VARKLE_SOURCES "/examples/grayscale.varkle";

Outcome Embed(const std::vector<std::string>& arguments)
{
    return ProgramRunner(Joined({VARKLE_EMBED}, arguments)).Run();
}

// Returns what the build folder's cache says of a name, empty when it says nothing.
std::string BuildSetting(const std::string& name)
{
    std::ifstream cache(VARKLE_BUILD "/CMakeCache.txt");
    for (std::string line; std::getline(cache, line);)
    {
        if (line.starts_with(name + ":"))
            return line.substr(line.find('=') + 1);
    }
    return {};
}

// Returns the flags with which a program must be built to run with libraries under the sanitizers that these have.
std::string SanitizerFlags()
{
    std::string names = BuildSetting("VARKLE_SANITIZE");
    std::ranges::replace(names, ';', ',');
    return names.empty() ? "" : "-fsanitize=" + names;
}

void Succeed(const std::vector<std::string>& command)
{
    INFO(command.front() + " " + command.at(1));
    const Outcome outcome = ProgramRunner(command).Run();
    INFO(outcome.output + outcome.error);
    REQUIRE(outcome.status == 0);
}

// Returns the path of the file with that name somewhere in a folder.
std::filesystem::path Find(const std::filesystem::path& folder, const std::string& name)
{
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    {
        if (entry.path().filename() == name)
            return entry.path();
    }
    return {};
}

// Installs the build into a folder, moves what was installed, and returns where it then lies.
std::string InstallAndMove(const TemporaryFolder& folder)
{
    const std::string prefix = folder / "moved/varkle";
    Succeed({"cmake", "--install", VARKLE_BUILD, "--prefix", folder / "installed"});
    std::filesystem::create_directory(folder / "moved");
    std::filesystem::rename(folder / "installed", prefix);
    return prefix;
}

// Builds a project of its own with an installed package.
void BuildProject(const std::string& project, const std::string& build, const std::string& prefix)
{
    Succeed({"cmake", "-S", project, "-B", build, "-G", "Ninja", "-DCMAKE_PREFIX_PATH=" + prefix,
             "-DCMAKE_CXX_COMPILER=" + BuildSetting("CMAKE_CXX_COMPILER"), "-DCMAKE_CXX_FLAGS=" + SanitizerFlags()});
    Succeed({"cmake", "--build", build});
}

std::vector<struct sigaction> SignalActions()
{
    std::vector<struct sigaction> actions;
    for (int signal = 1; signal < NSIG; ++signal)
        sigaction(signal, nullptr, &actions.emplace_back());
    return actions;
}

} // namespace

TEST_CASE("The embedding example writes the same picture as the program, and the libraries print nothing")
{
    const TemporaryFolder folder;
    const Outcome outcome = Embed({example, "gray", folder / "embedded.png"});
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
    REQUIRE(Program({"render", example, "--output", folder / "rendered.png"}).Run().status == 0);
    CHECK(ReadBytes(folder / "embedded.png") == ReadBytes(folder / "rendered.png"));
}

TEST_CASE("The embedding example sets a parameter, and a warning of the libraries stays in the log")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    // The size can't be made: the log gets a warning.
    const Outcome outcome = Embed({folder / "graph.varkle", "a", folder / "a.png", "a.Texture Size=[3, 0]"});
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
    const Outcome same =
        Program({"render", folder / "graph.varkle", "--set", "a.Texture Size=[3, 0]", "--output", folder / "b.png"})
            .Run();
    CHECK(Contains(same.error, "warning: "));
    CHECK(ReadBytes(folder / "a.png") == ReadBytes(folder / "b.png"));
}

TEST_CASE("The embedding example gets errors as values")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(GrayScaleOperator("a", "a") + "," + GrayScaleOperator("b", "c")));
    const Outcome wrong = Embed({folder / "graph.varkle", "a", folder / "a.png"});
    CHECK(wrong.status == 1);
    CHECK(wrong.output == nothing);
    CHECK(Contains(wrong.error, "operator \"a\": the operator feeds itself"));
    CHECK(Contains(wrong.error, "operator \"b\": input \"Texture Input\": there is no operator \"c\""));
    CHECK(Embed({folder / "missing.varkle", "a", folder / "a.png"}).status == 1);
    CHECK(Embed({example, "nobody", folder / "a.png"}).status == 1);
    CHECK(Embed({example, "gray", folder / "missing/a.png"}).status == 1);
    CHECK(folder.Count() == 1);
}

TEST_CASE("The live example shows a graph in another program, which turns a parameter meanwhile")
{
    Show show(Paint("c", "[0, 0, 1]") + "," + WindowOperator("w", "c"));
    RunningProgram program =
        ProgramRunner({VARKLE_LIVE_EMBED, show.folder / "graph.varkle", "w.Position", "0", "1"}).Start();
    const Outcome wrong = program.Wait();
    CHECK(wrong.status == 1);
    CHECK(Contains(wrong.error, "Position"));

    show.Save(R"({"key": "lens", "type": "Test.None"})");
    const Outcome unknown =
        ProgramRunner({VARKLE_LIVE_EMBED, show.folder / "graph.varkle", "w.Position", "0", "1"}).Run();
    CHECK(unknown.status == 1);
    CHECK(Contains(unknown.error, "Test.None"));

    show.Save(Paint("a", "[1, 0, 0]") + "," + Paint("b", "[0, 1, 0]") +
              R"(, {"key": "mix", "type": "Varkle.Texture.CrossFader", "inputs": {"Inputs": ["a", "b"]}},)" +
              WindowOperator("w", "mix"));
    show.program.emplace(
        ProgramRunner({VARKLE_LIVE_EMBED, show.folder / "graph.varkle", "mix.Fader Position", "0", "1"}).Start());
    const Testing::WindowId window = show.WaitForWindow("w");
    show.UntilMoved(window);
    show.display.AskToClose(window);
    const Outcome outcome = show.program->Wait();
    CHECK(outcome.status == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

TEST_CASE("A session leaves the signals of its process alone")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "graph.varkle", Document(ColorOperator("a", "[1, 0, 0]")));
    const std::vector<struct sigaction> before = SignalActions();
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    {
        Result<GraphSession> session = GraphSession::Load(folder / "graph.varkle");
        REQUIRE(session);
        session->GoToFrame(0);
        CHECK(session->ReadPixels("a").IsValid());
        GraphSession::Finish();
    }
    const std::vector<struct sigaction> after = SignalActions();
    for (std::size_t i = 0; i < before.size(); ++i)
    {
        INFO("signal " << i + 1);
        CHECK(after[i].sa_handler == before[i].sa_handler);
    }
    Graphics::Shutdown();
}

TEST_CASE("The installed package serves other projects, and runs from wherever it was moved to")
{
    const TemporaryFolder folder;
    const std::string prefix = InstallAndMove(folder);

    // The program, with its libraries and the plug-in.
    const ProgramRunner render({prefix + "/bin/varkle", "render", example, "--output", folder / "rendered.png"});
    const Outcome rendered = render.Run();
    CHECK(rendered.error == nothing);
    REQUIRE(rendered.status == 0);
    const Outcome info = ProgramRunner({prefix + "/bin/varkle", "info"}).Run();
    CHECK(Contains(info.output, "plug-in         " + prefix + "/"));
    CHECK(Contains(info.output, "/varkle/plugins/libVarkleGpuOperators.so\n"));

    // A machine without a desktop renders all the same.
    const auto desktop = Find(prefix, "libVarkleDesktop.so.0.1");
    const auto away = std::filesystem::path(folder / "away");
    std::filesystem::rename(desktop, away);
    CHECK(render.Run().status == 0);
    const Outcome played = ProgramRunner({prefix + "/bin/varkle", "play", example}).Run();
    CHECK(played.status == 2);
    CHECK(played.error.starts_with("error: There is no display: what shows windows can't be loaded ("));
    std::filesystem::rename(away, desktop);

    // Nobody else finds the WebGPU library that came along.
    CHECK(!std::filesystem::exists(prefix + "/" + BuildSetting("CMAKE_INSTALL_LIBDIR") + "/libwebgpu_wrapper.so"));

    // A project of its own.
    std::filesystem::copy(VARKLE_SOURCES "/examples/embed", folder / "project");
    BuildProject(folder / "project", folder / "build", prefix);
    const Outcome embedded = ProgramRunner({folder / "build/embed", example, "gray", folder / "embedded.png"}).Run();
    CHECK(embedded.output == nothing);
    CHECK(embedded.error == nothing);
    REQUIRE(embedded.status == 0);
    CHECK(ReadBytes(folder / "embedded.png") == ReadBytes(folder / "rendered.png"));
}

TEST_CASE("The example plug-in builds with the installed package, and the program runs its operators")
{
    const TemporaryFolder folder;
    const std::string prefix = InstallAndMove(folder);
    std::filesystem::copy(VARKLE_SOURCES "/examples/plugin", folder / "project",
                          std::filesystem::copy_options::recursive);
    BuildProject(folder / "project", folder / "build", prefix);
    const std::string plugin = folder / "build/libExampleOperators.so";
    CHECK(ProgramRunner({"nm", "--dynamic", "--defined-only", "--format=just-symbols", plugin}).Run().output ==
          "VarklePluginLoad\nVarklePluginUnload\n");

    // Its documents agree with its operators: nothing is printed.
    const Outcome rendered =
        ProgramRunner({prefix + "/bin/varkle", "render", folder / "project/example.varkle", "--plugin", plugin})
            .In(folder.GetPath())
            .Run();
    CHECK(rendered.error == nothing);
    REQUIRE(rendered.status == 0);
    CHECK(Identify(folder / "tint.png").starts_with("PNG 64 64 ")); // as large as the input
    CHECK(Testing::Near(FirstPixel(folder / "tint.png"), {51, 153, 128, 255}));
    CHECK(std::filesystem::file_size(folder / "twist.glb") > 1000);

    const Outcome found =
        ProgramRunner({prefix + "/bin/varkle", "operators"}).With("VARKLE_PLUGIN_PATH", folder / "build").Run();
    CHECK(found.error == nothing);
    CHECK(Contains(found.output, "Example.Texture.Tint "));
    CHECK(Contains(found.output, "Example.Mesh.Twist "));
}
