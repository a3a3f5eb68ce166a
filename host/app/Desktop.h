#pragma once

#include "Varkle/Core/Result.h"

namespace Varkle
{

/// Lets windows open on the desktop of the machine. What that needs, GLFW and X11, is loaded here, so that commands
/// that show nothing run on machines without it. The error (a machine's) says that there is no display.
Status StartWindows();

} // namespace Varkle
