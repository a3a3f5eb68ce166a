#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Gpu/Windows.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace Varkle
{

/// Says what is played, and how.
struct LiveSettings
{
    /// The path of the graph document. Messages name it as it stands here.
    std::string document;
    /// The key of an operator that a window of the loop's own shows. Without it, and where the graph has no windows
    /// when it begins, that is the first operator whose output feeds nothing.
    std::string viewed = {};
    Gui::Windows::Pace pace = Gui::Windows::Pace::Display;
    /// Makes sure that windows can open (Windows::Start) and that there is a GPU device (Graphics::Start). Called when
    /// the document has been read, and again while a device that was lost is to be replaced. Without it the device is
    /// the default one, and windows open when they were started before.
    std::function<Status()> start = {};
    /// Called with each session that is built, before it runs: sets parameters that win over the document.
    std::function<Status(GraphSession&)> prepare = {};
};

/// Plays a graph: runs it in real time and shows its windows. The document, and the files that the operators read, are
/// read again when they change; a device that is lost is replaced. Only what open windows show and operators without
/// outputs need is run; a window that nobody can see costs nothing.
///
/// A graph without Window operators gets a window for one of its outputs: a texture fitted on black, a mesh, a model or
/// a material drawn, turned by dragging and brought near by the wheel. It goes when the graph gets windows of its own.
///
/// Nothing here prints: what the audience's technician should know is in the log. Main thread only, except Stop.
///
///     LiveLoop loop({.document = "stage.varkle"});
///     Status status = loop.Start();
///     while (status && !loop.IsOver())
///         status = loop.Step();
class VARKLE_API LiveLoop
{
public:
    using Clock = std::chrono::steady_clock;

    explicit LiveLoop(LiveSettings settings);
    /// Waits for what operators started, such as pictures that are being saved, and closes their windows.
    ~LiveLoop();
    LiveLoop(const LiveLoop&) = delete;
    LiveLoop& operator=(const LiveLoop&) = delete;

    /// Builds the graph and shows its first frame. Fails when that is not possible, or no window ever opens.
    Status Start();
    /// Shows the next picture, at GetDue: waits until then. A program that does other things between comes back by
    /// then; what it misses is left out. Fails when it can't go on: there is no desktop any more.
    Status Step();
    /// Returns when the next picture is due.
    Clock::time_point GetDue() const;
    /// True when the user closed the last window, after Stop and after an error. An edit that leaves no window open is
    /// no end: the loop waits for the next.
    bool IsOver() const;
    /// Ends the loop soon. May be called on every thread and by signal handlers.
    void Stop();

    /// Returns the graph that runs; null before Start, and when a device was lost and no new one came.
    GraphSession* GetSession();
    /// Returns how many pictures were shown, and how many were left out since they came too late.
    long long CountShown() const;
    long long CountDropped() const;
    /// Returns the frame, the rate, how many pictures came too late, and each window as Window Info tells it: a line
    /// each, for people.
    std::string Describe() const;

private:
    struct VARKLE_LOCAL State;
    std::unique_ptr<State> state;
};

} // namespace Varkle
