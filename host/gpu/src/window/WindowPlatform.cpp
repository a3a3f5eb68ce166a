#include "Varkle/Gpu/WindowPlatform.h"

namespace Varkle::Gui
{

PlatformWindow::~PlatformWindow() = default;

WindowPlatform::~WindowPlatform() = default;

} // namespace Varkle::Gui
