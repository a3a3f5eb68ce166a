#include "window/WindowInfo.h"

#include "window/Window.h"

#include <initializer_list>

namespace Varkle
{

WindowInfo::WindowInfo()
{
    const std::initializer_list<Parameter*> reports = {&resolution,  &logicalSize, &position,   &scale,
                                                       &refreshRate, &open,        &fullscreen, &minimized};
    for (Parameter* const report : reports)
        report->SetParameterFlag(ParameterFlag::Output, true);
    window.SetFilter({WindowOperator::Type(), ObjectScope::SameDocument});
}

WindowInfo::~WindowInfo() = default;

const ObjectType* WindowInfo::Type()
{
    static const ObjectType type("Varkle.IO.System.WindowInfo", Operator::Type(), [] { return new WindowInfo; });
    return &type;
}

void WindowInfo::Execute(ExecutionContext&)
{
    const auto* const chosen = dynamic_cast<const WindowOperator*>(window.Value());
    if (!chosen)
    {
        open.SetValue(false);
        fullscreen.SetValue(false);
        minimized.SetValue(false);
        return; // the others keep what they reported last
    }

    const Gui::OutputWindow& shown = *chosen->GetWindow();
    resolution.SetValue(shown.GetResolution());
    logicalSize.SetValue(shown.GetLogicalSize());
    position.SetValue(shown.GetPosition());
    scale.SetValue(double(shown.GetScale()));
    refreshRate.SetValue(double(shown.GetRefreshRate()));
    open.SetValue(shown.IsOpen());
    fullscreen.SetValue(shown.IsFullscreen());
    minimized.SetValue(shown.IsMinimized());
}

} // namespace Varkle
