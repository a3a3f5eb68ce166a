#include "Varkle/Run/LiveLoop.h"

#include "Varkle/Core/FileWatcher.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Run/FrameClock.h"
#include "live/FrameRate.h"
#include "live/MissingFiles.h"
#include "live/Viewer.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace Varkle
{

namespace Windows = Gui::Windows;

namespace
{

Result<GraphDocument> ReadDocument(const std::string& path)
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Load(path, errors);
    if (errors.empty())
        errors = document.Check();
    if (!errors.empty())
        return Error{JoinErrors(errors)};
    return document;
}

std::string Describe(const Windows::Report& window)
{
    std::string text = fmt::format("window {}", Quoted(window.title));
    if (window.owner)
        text += fmt::format(" of {}", window.owner->GetKey());
    text += fmt::format(": {}x{} pixels ({}x{} logical) at ({}, {}), scale {:g}, {:.2f} Hz, {}", window.resolution.x,
                        window.resolution.y, window.logicalSize.x, window.logicalSize.y, window.position.x,
                        window.position.y, window.scale, window.refreshRate, window.open ? "open" : "closed");
    if (window.fullscreen)
        text += ", fullscreen";
    if (window.minimized)
        text += ", minimized";
    else if (window.open && !window.visible)
        text += ", covered";
    return text;
}

} // namespace

struct LiveLoop::State
{
    explicit State(LiveSettings liveSettings) : settings(std::move(liveSettings)) {}

    Status StartDevice() const;
    Status Build(GraphDocument document);
    Status ShowFirst();
    void ShowFrame(long long frame);

    std::vector<Windows::Report> FindWindows() const;
    std::vector<Operator*> CollectTargets() const;
    Operator* FindViewed();
    void UpdateViewer();
    bool MayOpenLater() const;
    bool WasLastClosedByHand() const;
    bool IsOver() const { return stopped || failed || WasLastClosedByHand(); }

    void WatchFiles();
    void FollowFiles();
    void ReadDocumentAgain();
    void TellWhatIsOpen();

    Status Recover();
    Status StartDeviceAgain();

    LiveSettings settings;
    std::filesystem::path documentPath;
    FileWatcher watcher;
    std::optional<GraphSession> session;
    std::optional<FrameClock> clock;
    std::optional<Viewer> viewer; // once the graph turned out to need one
    std::string viewedKey;
    FrameRate rate;
    MissingFiles missing;
    long long lastFrame = -1;     // that the graph ran
    long long shown = 0;          // pictures
    long long dropped = 0;        // until the last of them
    std::size_t closesBefore = 0; // by hand, when a window was last open
    bool edited = false;          // since a window was last open
    bool failed = false;
    std::atomic<bool> stopped = false;
};

LiveLoop::LiveLoop(LiveSettings settings) : state(std::make_unique<State>(std::move(settings))) {}

LiveLoop::~LiveLoop() = default;

Status LiveLoop::Start()
{
    state->documentPath = std::filesystem::absolute(state->settings.document);
    state->watcher.SetFiles({state->documentPath}); // an edit while the graph starts is not missed
    Result<GraphDocument> document = ReadDocument(state->settings.document);
    Status status = document ? state->StartDevice() : Status(document.GetError());
    if (status)
        status = state->Build(std::move(*document));
    if (status)
        status = state->ShowFirst();
    state->failed = !status;
    return status;
}

Status LiveLoop::Step()
{
    if (!state->session || state->failed)
        return Error{"There is nothing to play: the live loop was not started, or has ended."};
    std::this_thread::sleep_until(GetDue());
    Windows::ProcessEvents();
    if (const std::string& loss = Windows::GetLoss(); !loss.empty())
    {
        state->failed = true;
        return Error{loss, true};
    }
    state->FollowFiles();
    if (Graphics::IsLost())
    {
        if (Status recovered = state->Recover(); !recovered)
        {
            state->failed = true;
            return recovered;
        }
        if (!state->session)
            return Ok(); // the user ended the show meanwhile
    }
    const bool paced = state->settings.pace == Windows::Pace::Display;
    state->ShowFrame(paced ? state->clock->GetFrame() : state->lastFrame + 1);
    if (paced)
        state->clock->Advance(Clock::now(), Windows::GetRefreshRate());
    return Ok();
}

LiveLoop::Clock::time_point LiveLoop::GetDue() const
{
    return state->clock ? state->clock->GetDue() : Clock::time_point();
}

bool LiveLoop::IsOver() const
{
    return state->IsOver();
}

void LiveLoop::Stop()
{
    state->stopped = true;
}

GraphSession* LiveLoop::GetSession()
{
    return state->session ? &*state->session : nullptr;
}

long long LiveLoop::CountShown() const
{
    return state->shown;
}

long long LiveLoop::CountDropped() const
{
    return state->dropped;
}

std::string LiveLoop::Describe() const
{
    if (!state->session)
        return {};
    std::string text = fmt::format("frame {}: {:.1f} pictures a second, {} came too late\n", state->lastFrame,
                                   state->rate.GetRate(), state->dropped);
    for (const Windows::Report& window : Windows::GetReports())
        text += Varkle::Describe(window) + "\n";
    return text;
}

Status LiveLoop::State::StartDevice() const
{
    return settings.start ? settings.start() : Graphics::Start();
}

Status LiveLoop::State::Build(GraphDocument document)
{
    Result<GraphSession> built = GraphSession::Build(std::move(document));
    if (!built)
        return built.GetError();
    if (Status prepared = settings.prepare ? settings.prepare(*built) : Ok(); !prepared)
        return prepared;
    session = std::move(*built);
    rate.Restart();
    missing.Clear();
    lastFrame = -1;
    return Ok();
}

// Runs the first frame, which may take its time: the clock starts behind it.
Status LiveLoop::State::ShowFirst()
{
    // Operators that nothing needs do not run, so the windows are known before what is viewed.
    session->GoToFrameFor(0, CollectTargets());
    lastFrame = 0;
    if (!settings.viewed.empty() || FindWindows().empty())
    {
        viewer.emplace();
        const Operator* const op = FindViewed();
        viewedKey = op ? op->GetKey() : "";
        session->GetGraph().Run(CollectTargets());
    }
    ShowFrame(0);
    clock.emplace(session->GetFrameRate(), Clock::now());
    if (settings.pace == Windows::Pace::Display)
        clock->Advance(Clock::now(), Windows::GetRefreshRate());
    if (Windows::CountOpen() > 0)
        return Ok();
    if (MayOpenLater())
    {
        LogInfo(fmt::format("{} opens no window at first; waiting for one to open.", settings.document));
        return Ok();
    }
    return Error{fmt::format("{} opens no window, so there is nothing to see. A window opens when \"Open\" of its "
                             "operator is on; \"varkle render\" writes pictures without one.",
                             settings.document)};
}

void LiveLoop::State::ShowFrame(long long frame)
{
    const TraceSpan span("frame", fmt::format("frame {}", frame));
    // On a display that is faster than the graph a frame is shown more than once; running it again would fire its
    // triggers again.
    if (std::exchange(lastFrame, frame) != frame)
        session->GoToFrameFor(frame, CollectTargets());
    else
        GraphSession::Pump();
    UpdateViewer();
    WatchFiles();
    missing.Look(session->GetGraph());
    Windows::Present(settings.pace);
    ++shown;
    dropped = clock ? clock->CountDropped() : 0;
    rate.Note(session->GetGraph(), dropped, Clock::now());
    if (const std::string warning = rate.TakeWarning(); !warning.empty())
        LogWarning(warning);
    TellWhatIsOpen();
}

// An edit that leaves no window open is no reason to end the show.
void LiveLoop::State::TellWhatIsOpen()
{
    const bool wasEdited = std::exchange(edited, false);
    if (Windows::CountOpen() > 0)
        closesBefore = Windows::CountClosedByHand();
    else if (wasEdited && !WasLastClosedByHand())
        LogInfo(fmt::format("{} opens no window any more; waiting for one to open.", settings.document));
}

std::vector<Windows::Report> LiveLoop::State::FindWindows() const
{
    std::vector<Windows::Report> windows = Windows::GetReports();
    std::erase_if(windows, [&](const Windows::Report& window)
                  { return !window.owner || window.owner->GetGraph() != &session->GetGraph(); });
    return windows;
}

// A window that nobody sees needs no picture. Its operator runs when a parameter asks something of it.
std::vector<Operator*> LiveLoop::State::CollectTargets() const
{
    std::vector<const Operator*> unseen;
    for (const Windows::Report& window : FindWindows())
    {
        if (!window.visible)
            unseen.push_back(window.owner);
    }
    std::vector<Operator*> targets;
    for (const std::unique_ptr<Operator>& op : session->GetGraph().GetOperators())
    {
        if (op->GetOutputs().empty() && (std::ranges::find(unseen, op.get()) == unseen.end() || op->Outdated()))
            targets.push_back(op.get());
    }
    if (viewer && viewer->IsWanted())
        targets.push_back(session->GetGraph().Find(viewedKey)); // null, which is ignored, when there is none
    return targets;
}

Operator* LiveLoop::State::FindViewed()
{
    const Graph& graph = session->GetGraph();
    const auto find = [&](const std::string& key) -> Operator*
    {
        Operator* const op = graph.Find(key);
        return op && !op->GetOutputs().empty() ? op : nullptr;
    };
    if (Operator* const asked = find(settings.viewed))
        return asked;
    if (settings.viewed.empty() && !FindWindows().empty())
        return nullptr;
    if (Operator* const before = find(viewedKey))
        return before;
    const std::vector<std::string> outputs = session->GetDefaultOutputs();
    return outputs.empty() ? nullptr : find(outputs.front());
}

void LiveLoop::State::UpdateViewer()
{
    if (!viewer)
        return;
    const Operator* const op = FindViewed();
    if (!op && viewedKey.empty())
        return;
    viewedKey = op ? op->GetKey() : "";
    if (op)
        viewer->Show(*op, fmt::format("{} - {}", viewedKey, documentPath.filename().string()));
    else
        viewer->Close();
}

// True when no window is open since the user closed one.
bool LiveLoop::State::WasLastClosedByHand() const
{
    return Windows::CountOpen() == 0 && Windows::CountClosedByHand() > closesBefore;
}

// True when an operator with a window has parameters that move: it may open it in a later frame.
bool LiveLoop::State::MayOpenLater() const
{
    return std::ranges::any_of(FindWindows(), [&](const Windows::Report& window)
                               { return session->IsAnimated(window.owner->GetKey()); });
}

void LiveLoop::State::WatchFiles()
{
    std::vector<std::filesystem::path> files{documentPath};
    for (const std::unique_ptr<Operator>& op : session->GetGraph().GetOperators())
        files.insert(files.end(), op->GetFilesRead().begin(), op->GetFilesRead().end());
    watcher.SetFiles(files);
}

void LiveLoop::State::FollowFiles()
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

void LiveLoop::State::ReadDocumentAgain()
{
    const bool open = Windows::CountOpen() > 0;
    Result<GraphDocument> document = ReadDocument(settings.document);
    const Status updated = document ? session->Update(std::move(*document)) : Status(document.GetError());
    if (!updated)
    {
        LogError(updated.GetError().message);
        LogWarning(fmt::format("{} goes on as it was before.", settings.document));
        return;
    }
    clock->SetFrameRate(session->GetFrameRate());
    rate.Restart();
    edited = open;
    LogInfo(fmt::format("{} was read again.", settings.document));
}

// Builds the graph anew on a new device. The windows stay where they are. There is no session afterwards when the user
// did not want to wait for that.
Status LiveLoop::State::Recover()
{
    const Windows::Keep keep;
    GraphDocument document = session->GetDocument();
    session.reset();
    if (viewer)
        viewer->Release();
    Graphics::Shutdown();
    const long long frame = lastFrame;
    if (Status started = StartDeviceAgain(); !started || !Graphics::IsStarted())
        return started;
    if (Status built = Build(std::move(document)); !built)
        return built;
    ShowFrame(settings.pace == Windows::Pace::Display ? clock->GetFrame() : frame + 1);
    if (!Graphics::IsLost())
        LogInfo("The graph runs on a new GPU device.");
    return Ok();
}

// Tries until there is one again, or the user has had enough. Fails when there are no windows any more.
Status LiveLoop::State::StartDeviceAgain()
{
    constexpr std::chrono::milliseconds pause(500);
    Status started = StartDevice();
    if (!started)
        LogWarning("The windows are black until there is a GPU device again: " + started.GetError().message);
    while (!started)
    {
        std::this_thread::sleep_for(pause);
        Windows::ProcessEvents();
        if (const std::string& loss = Windows::GetLoss(); !loss.empty())
            return Error{loss, true};
        if (IsOver())
            return Ok();
        started = StartDevice();
    }
    return Ok();
}

} // namespace Varkle
