#pragma once

#include "window/ManagedWindow.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Varkle::Gui
{

/// Holds the windows of the process and the platform that shows them.
struct WindowRegistry
{
    static WindowRegistry& Get();

    std::unique_ptr<WindowPlatform> platform; ///< null: windows stay closed
    bool displayMissing = false;              ///< the program wanted to show windows; the log will say that it can't
    std::vector<ManagedWindow*> windows;      ///< all that there are, open or not
    int keeping = 0;                          ///< how many Keep live
    std::vector<std::unique_ptr<ManagedWindow>> kept;
    std::size_t closedByHand = 0;
    std::vector<Display> displays;     ///< as last seen
    bool presented = false;            ///< since the start: what opens from now on asks for no keys
    std::string loss;                  ///< why the platform went
    wgpu::Future lastFrame{0};         ///< is complete when the GPU has done what was last presented
    unsigned long lastFrameDevice = 0; ///< its device's generation
};

/// Returns the display that shows most of the window, the first one where none does; null when there are none.
const Display* FindDisplay(const std::vector<Display>& displays, const Placement& window);
/// True when one of the displays shows some of the window.
bool IsOnDisplay(const std::vector<Display>& displays, const Placement& window);

} // namespace Varkle::Gui
