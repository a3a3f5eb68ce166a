#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Gpu/WindowPlatform.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Varkle
{
class Operator;
}

/// The output windows of the process, for the program that runs a graph. Windows open only after Start: a program that
/// never calls it (a server that renders files) runs the same graphs with their windows closed. Main thread only.
///
/// A frame is: ProcessEvents, run the graph, Present.
namespace Varkle::Gui::Windows
{

/// Lets windows open on a platform, such as the desktop of the machine (Varkle/Desktop/Desktop.h); replaces the one
/// before, whose windows close. Null is for a program that goes on without a display: its windows stay closed, and the
/// log says so at the first that should open.
VARKLE_API void Start(std::unique_ptr<WindowPlatform> platform);
/// Closes all windows; they open no more.
VARKLE_API void Stop();
VARKLE_API bool IsStarted();
/// Says, in a sentence, why the platform went while it was used (the X server died): windows are closed since then, and
/// Start begins anew. Empty otherwise.
VARKLE_API const std::string& GetLoss();

/// Returns the displays that are connected, the main one first; empty before Start.
VARKLE_API std::vector<Display> GetDisplays();

/// Takes in what users and desktop did, and brings windows in line with it: closes those that were closed by hand,
/// toggles fullscreen by the keys, follows displays that come and go, which the log tells.
VARKLE_API void ProcessEvents();

/// Says when pictures reach the screen.
enum class Pace
{
    Display, ///< with the display's next refresh, never in the middle of one
    AtOnce,  ///< as soon as they are drawn, for measuring
};

/// Draws into every open window what it shows, where that changed. Waits while the GPU is more than one frame behind,
/// not for displays.
VARKLE_API void Present(Pace pace = Pace::Display);

/// Returns how many windows are open.
VARKLE_API std::size_t CountOpen();

/// Tells how an output window is; see the getters of OutputWindow.
struct Report
{
    const Operator* owner = nullptr; ///< the operator that asked for it; null for a window of the program's own
    std::string title;
    glm::ivec2 resolution{0, 0};
    glm::ivec2 logicalSize{0, 0};
    glm::ivec2 position{0, 0};
    float scale = 1.0f;
    float refreshRate = 60.0f;
    bool open = false;
    bool fullscreen = false;
    bool minimized = false;
    bool visible = false; ///< open, not minimized, and not wholly covered as far as the desktop tells
};
/// Returns a report on each window that was ever asked to open or to stay closed.
VARKLE_API std::vector<Report> GetReports();

/// Returns how many windows were closed by hand since Start.
VARKLE_API std::size_t CountClosedByHand();
/// Returns the frames per second of the fastest display that shows an open window; 60 when none is open.
VARKLE_API float GetRefreshRate();

/// Keeps the windows of OutputWindows that are destroyed while it lives on the screen. The first OutputWindow that is
/// opened by an operator with the same key, of the graph that is built anew, takes its window over, with what the user
/// did to it. What nobody took over closes when this ends. For programs that build their graph anew while people watch.
class VARKLE_API Keep
{
public:
    Keep();
    ~Keep();
    Keep(const Keep&) = delete;
    Keep& operator=(const Keep&) = delete;
};

} // namespace Varkle::Gui::Windows
