#include "Player.h"

#include "Console.h"
#include "Desktop.h"
#include "GraphOptions.h"
#include "Interrupts.h"
#include "Statistics.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Windows.h"

#include <csignal>
#include <fmt/format.h>
#include <utility>

namespace Varkle
{

namespace
{

volatile std::sig_atomic_t wantsReport = 0;

} // namespace

Player::Player(const PlayOptions& playOptions, const CommonOptions& commonOptions)
    : options(playOptions), common(commonOptions)
{
    loop.emplace(LiveSettings{.document = options.graph,
                              .viewed = options.viewed,
                              .pace = options.vsync ? Gui::Windows::Pace::Display : Gui::Windows::Pace::AtOnce,
                              .start = [this] { return StartMachine(); },
                              .prepare = [this](GraphSession& session) { return Prepare(session); }});
}

Player::~Player()
{
    loop.reset();
    Gui::Windows::Stop();
}

Status Player::Play()
{
    PrepareLongRun();
    std::signal(SIGUSR1, [](int) { wantsReport = 1; });
    Status status = loop->Start();
    if (!status)
        return status;
    LogInfo("F fills the display with a window, Escape ends that; Ctrl-C ends the show.");
    const LiveLoop::Clock::time_point start = LiveLoop::Clock::now();
    const auto isOver = [&]
    { return WasInterrupted() || loop->IsOver() || (options.frames && loop->CountShown() >= *options.frames); };
    while (status && !isOver())
    {
        status = loop->Step();
        if (std::exchange(wantsReport, 0))
            PrintNote(loop->Describe());
        TellLinesLeftOut();
        if (WasInterrupted())
            loop->Stop();
    }
    if (common.stats && loop->GetSession())
        PrintStatistics(start);
    return status;
}

// Also after a device was lost, when the windows are there already.
Status Player::StartMachine()
{
    if (WasInterrupted())
        loop->Stop();
    if (!Gui::Windows::IsStarted())
    {
        if (Status started = StartWindows(); !started)
            return started;
    }
    return StartGraphics(common);
}

Status Player::Prepare(GraphSession& session)
{
    timed = common.stats && Graphics::StartTimings();
    if (!std::exchange(begun, true))
    {
        WatchForInterrupts(); // the show is about to begin
        if (Status known = CheckViewed(session.GetGraph()); !known)
            return known; // later it may be gone by an edit
    }
    return ApplySettings(session, options.set);
}

Status Player::CheckViewed(const Graph& graph) const
{
    if (options.viewed.empty())
        return Ok();
    const Operator* const op = graph.Find(options.viewed);
    if (op && op->GetOutputs().empty())
        return Error{fmt::format("The operator {} has no output: there is nothing to show.", Quoted(options.viewed))};
    if (op)
        return Ok();
    std::vector<std::string> known;
    for (const std::unique_ptr<Operator>& each : graph.GetOperators())
        known.push_back(each->GetKey());
    return Error{fmt::format("--operator {}: there is no such operator in {}{}.", Quoted(options.viewed), options.graph,
                             Suggestion(options.viewed, known))};
}

void Player::PrintStatistics(LiveLoop::Clock::time_point start)
{
    const double seconds = std::chrono::duration<double>(LiveLoop::Clock::now() - start).count();
    PrintNote(fmt::format("{}frames {} in {:.2f} s, {:.1f} a second, {} left out\n",
                          FormatStatistics(loop->GetSession()->GetGraph(), timed), loop->CountShown(), seconds,
                          double(loop->CountShown() - 1) / seconds, loop->CountDropped()));
}

} // namespace Varkle
