#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/WindowPlatform.h"

#include <memory>

namespace Varkle::Gui
{

/// Connects to the desktop of the machine, an X server; the result is for Windows::Start. The error (a machine's) says
/// why that is not possible: "There is no display ...". Main thread only.
VARKLE_API Result<std::unique_ptr<WindowPlatform>> ConnectDesktop();

} // namespace Varkle::Gui

/// Does the same, for programs that load this library with dlopen when they need a desktop, and else run on machines
/// without GLFW and X11. `desktop` is assigned. The library must stay loaded.
extern "C" VARKLE_API void VarkleConnectDesktop(Varkle::Result<std::unique_ptr<Varkle::Gui::WindowPlatform>>& desktop);
