#include "Player.h"

#include "Console.h"
#include "Desktop.h"
#include "GraphOptions.h"
#include "Interrupts.h"
#include "Statistics.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Windows.h"

#include <algorithm>
#include <fmt/format.h>
#include <thread>
#include <utility>

namespace Varkle
{

namespace Windows = Gui::Windows;

Player::~Player()
{
    session.reset();
    Windows::Stop();
}

Status Player::Play()
{
    if (Status opened = Open(); !opened)
        return opened;
    WatchForInterrupts();
    if (Status first = PlayFirst(); !first)
        return first;
    const Clock::time_point start = Clock::now();
    clock.emplace(session->GetFrameRate(), start);
    while (!IsOver())
    {
        if (options.vsync)
        {
            clock->Advance(Clock::now(), Windows::GetRefreshRate());
            std::this_thread::sleep_until(clock->GetDue());
        }
        Windows::ProcessEvents();
        FollowFiles();
        if (Graphics::IsLost())
        {
            if (Status recovered = Recover(); !recovered)
                return recovered;
            if (!session)
                return Ok(); // the user ended the show meanwhile
        }
        ShowFrame(options.vsync ? clock->GetFrame() : lastFrame + 1);
    }
    if (common.stats)
        PrintStatistics(start);
    return Ok();
}

Status Player::Open()
{
    documentPath = std::filesystem::absolute(options.graph);
    watcher.SetFiles({documentPath}); // an edit while the graph starts is not missed
    Result<GraphDocument> document = ReadDocument(options.graph);
    if (!document)
        return document.GetError();
    if (Status started = StartWindows(); !started)
        return started;
    if (Status started = StartGraphics(common); !started)
        return started;
    Result<GraphSession> built = BuildGraph(std::move(*document), options.set);
    if (!built)
        return built.GetError();
    session = std::move(*built);
    timed = common.stats && Graphics::StartTimings();
    return Ok();
}

// Runs the first frame, which may take its time: the clock starts behind it.
Status Player::PlayFirst()
{
    ShowFrame(0);
    if (Windows::CountOpen() > 0)
        return Ok();
    if (MayOpenLater())
    {
        LogInfo(fmt::format("{} opens no window at first; waiting for one to open.", options.graph));
        return Ok();
    }
    return Error{fmt::format("{} opens no window, so there is nothing to see. A window opens when \"Open\" of its "
                             "operator is on; \"varkle render\" writes pictures without one.",
                             options.graph)};
}

void Player::ShowFrame(long long frame)
{
    const TraceSpan span("frame", fmt::format("frame {}", frame));
    // On a display that is faster than the graph a frame is shown more than once; running it again would fire its
    // triggers again.
    if (std::exchange(lastFrame, frame) != frame)
    {
        session->GoToFrame(frame);
        WatchFiles();
    }
    else
        GraphSession::Pump();
    Windows::Present(options.vsync ? Windows::Pace::Display : Windows::Pace::AtOnce);
    ++shown;
    if (Windows::CountOpen() > 0)
        closesBefore = Windows::CountClosedByHand();
}

bool Player::IsOver() const
{
    if (WasInterrupted() || (options.frames && shown >= *options.frames))
        return true;
    return Windows::CountOpen() == 0 && (WasLastClosedByHand() || !MayOpenLater());
}

// True when no window is open since the user closed one.
bool Player::WasLastClosedByHand() const
{
    return Windows::CountOpen() == 0 && Windows::CountClosedByHand() > closesBefore;
}

// True when an operator with a window has parameters that move: it may open it in a later frame.
bool Player::MayOpenLater() const
{
    return std::ranges::any_of(Windows::GetOwners(), [&](const std::string& key) { return session->IsAnimated(key); });
}

void Player::WatchFiles()
{
    std::vector<std::filesystem::path> files{documentPath};
    for (const std::unique_ptr<Operator>& op : session->GetGraph().GetOperators())
        files.insert(files.end(), op->GetFilesRead().begin(), op->GetFilesRead().end());
    watcher.SetFiles(files);
}

void Player::FollowFiles()
{
    const std::vector<std::filesystem::path> changes = watcher.TakeChanges();
    if (changes.empty())
        return;
    const auto hasChanged = [&](const std::filesystem::path& file)
    { return std::ranges::find(changes, file) != changes.end(); };
    for (const std::unique_ptr<Operator>& op : session->GetGraph().GetOperators())
    {
        if (std::ranges::any_of(op->GetFilesRead(), hasChanged))
            op->MarkDirty();
    }
    if (hasChanged(documentPath))
        ReadDocumentAgain();
}

void Player::ReadDocumentAgain()
{
    Result<GraphDocument> document = ReadDocument(options.graph);
    const Status updated = document ? session->Update(std::move(*document)) : Status(document.GetError());
    if (!updated)
    {
        PrintError(updated.GetError());
        LogWarning(fmt::format("{} goes on as it was before.", options.graph));
        return;
    }
    clock->SetFrameRate(session->GetFrameRate());
    LogInfo(fmt::format("{} was read again.", options.graph));
}

// Builds the graph anew on a new device. The windows stay where they are. There is no session afterwards when the user
// did not want to wait for that.
Status Player::Recover()
{
    const Windows::Keep keep;
    GraphDocument document = session->GetDocument();
    session.reset();
    Graphics::Shutdown();
    if (!StartDeviceAgain())
        return Ok();
    Result<GraphSession> built = BuildGraph(std::move(document), options.set);
    if (!built)
        return built.GetError();
    session = std::move(*built);
    timed = common.stats && Graphics::StartTimings();
    lastFrame = -1;
    ShowFrame(options.vsync ? clock->GetFrame() : shown);
    if (!Graphics::IsLost())
        LogInfo("The graph runs on a new GPU device.");
    return Ok();
}

// Tries until there is one again. Returns false when the user has had enough.
bool Player::StartDeviceAgain()
{
    constexpr std::chrono::milliseconds pause(500);
    Status started = StartGraphics(common);
    if (!started)
        LogWarning("The windows are black until there is a GPU device again: " + started.GetError().message);
    while (!started)
    {
        std::this_thread::sleep_for(pause);
        Windows::ProcessEvents();
        if (WasInterrupted() || WasLastClosedByHand())
            return false;
        started = StartGraphics(common);
    }
    return true;
}

void Player::PrintStatistics(Clock::time_point start) const
{
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    PrintNote(fmt::format("{}frames {} in {:.2f} s, {:.1f} a second, {} left out\n",
                          FormatStatistics(session->GetGraph(), timed), shown, seconds, double(shown - 1) / seconds,
                          clock->CountDropped()));
}

} // namespace Varkle
