#include "Varkle/Run/LiveLoop.h"

#include "Varkle/Core/Plugin.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/Catch.h"
#include "support/FakeWindows.h"
#include "support/TemporaryFolder.h"

#include <fstream>

// The loop as programs use it that embed it.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Is a program that shows a green window on a desktop which exists here only.
struct Program
{
    Program()
    {
        REQUIRE(plugin);
        std::ofstream(folder / "graph.varkle") << R"({"format": "varkle-graph", "version": 1, "operators": [
            {"key": "c", "type": "Varkle.Texture.Color", "parameters": {"Color": [0, 1, 0]}},
            {"key": "w", "type": "Varkle.IO.System.Window", "inputs": {"Texture Input": "c"},
             "parameters": {"Open": true}}]})";
        Gui::Windows::Start(std::make_unique<FakePlatform>(desktop));
    }
    ~Program()
    {
        Gui::Windows::Stop();
        Graphics::Shutdown();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    LiveSettings Playing() const { return {.document = folder / "graph.varkle"}; }

    TemporaryFolder folder;
    Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    std::shared_ptr<FakePlatform::Desktop> desktop = std::make_shared<FakePlatform::Desktop>();
};

} // namespace

TEST_CASE("A live loop shows a picture when it is due, until it is stopped")
{
    const Program program;
    {
        LiveLoop loop(program.Playing());
        CHECK_FALSE(loop.Step()); // before the start
        REQUIRE(loop.Start());
        CHECK(program.desktop->CountOpen() == 1);
        CHECK(loop.CountShown() == 1);
        const LiveLoop::Clock::time_point due = loop.GetDue();
        REQUIRE(loop.Step());
        CHECK(LiveLoop::Clock::now() >= due);
        CHECK(loop.GetDue() > due);
        CHECK(loop.CountShown() == 2);
        CHECK(loop.GetSession() != nullptr);
        CHECK(loop.Describe().find("window \"Output\" of w: 1280x720 pixels") != std::string::npos);
        CHECK_FALSE(loop.IsOver());
        loop.Stop();
        CHECK(loop.IsOver());
    }
    CHECK(program.desktop->CountOpen() == 0);
    CHECK(Gui::Windows::IsStarted());
}

TEST_CASE("A live loop runs its caller's settings over the document")
{
    const Program program;
    LiveSettings settings = program.Playing();
    settings.prepare = [](GraphSession& session) { return session.SetParameter("w.Title", "Mine"); };
    LiveLoop loop(settings);
    REQUIRE(loop.Start());
    CHECK(program.desktop->Last().settings.title == "Mine");
}

TEST_CASE("A live loop whose desktop goes fails with the reason, and is over")
{
    const Program program;
    LiveLoop loop(program.Playing());
    REQUIRE(loop.Start());
    program.desktop->loss = "Somebody fell over the cable.";
    const Status status = loop.Step();
    REQUIRE_FALSE(status);
    CHECK(status.GetError().message == "Somebody fell over the cable.");
    CHECK(status.GetError().machine);
    CHECK(loop.IsOver());
    CHECK_FALSE(loop.Step());
}
