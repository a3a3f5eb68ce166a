#include "window/Window.h"

namespace Varkle
{

WindowOperator::WindowOperator()
{
    sizeUnit.SetPossibleValues({"Physical", "Logical"}, {"Physical pixels", "Logical pixels"});
    sizeUnit.SetValue("Physical");
}

WindowOperator::~WindowOperator() = default;

const ObjectType* WindowOperator::Type()
{
    static const ObjectType type("Varkle.IO.System.Window", Operator::Type(), [] { return new WindowOperator; });
    return &type;
}

// Everything, every time: the window knows which request is new.
void WindowOperator::Execute(ExecutionContext&)
{
    window->SetTitle(title.Value());
    window->SetPosition(position.Value());
    window->SetSize(size.Value(), sizeUnit.Value() == "Logical" ? Gui::SizeUnit::Logical : Gui::SizeUnit::Physical);
    window->SetFullscreen(fullscreen.Value());
    window->SetDecorated(decorated.Value());
    window->SetTransparent(transparent.Value());
    window->SetAlwaysOnTop(alwaysOnTop.Value());
    window->SetInteractive(interactive.Value());
    window->SetOpen(open.Value()); // behind what a window that opens begins with
    window->SetTexture(textureInput.GetTexture());
}

} // namespace Varkle
