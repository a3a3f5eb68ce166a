#include "Varkle/Gpu/WindowPlatform.h"

namespace Varkle::Gui
{

PlatformWindow::~PlatformWindow() = default;

PointerMotion PlatformWindow::TakePointerMotion()
{
    return {};
}

WindowPlatform::~WindowPlatform() = default;

std::string WindowPlatform::GetLoss() const
{
    return {};
}

} // namespace Varkle::Gui
