#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Gpu/OutputWindow.h"
#include "Varkle/Gpu/Ports.h"

#include <memory>

namespace Varkle
{

/// Shows a texture in a window of its own. Passes all that it was asked on to the window, which does the rest.
class WindowOperator final : public Operator
{
public:
    WindowOperator();
    ~WindowOperator() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

    /// Returns the window, never null. It is the operator's own and closes with it.
    Gui::OutputWindow* GetWindow() const { return window.get(); }

private:
    TextureInput textureInput{this, "Texture Input"};
    BoolParameter open{ParameterScope(this), "Open", false};
    BoolParameter fullscreen{ParameterScope(this), "Fullscreen", false};
    Vector2IntParameter size{ParameterScope(this), "Size", {1280, 720}};
    EnumParameter sizeUnit{ParameterScope(this), "Size Unit"};
    Vector2IntParameter position{ParameterScope(this), "Position", {100, 100}};
    StringParameter title{ParameterScope(this), "Title", "Output"};
    BoolParameter decorated{ParameterScope(this), "Decorated", true};
    BoolParameter transparent{ParameterScope(this), "Transparent", false};
    BoolParameter alwaysOnTop{ParameterScope(this), "Always On Top", false};
    BoolParameter interactive{ParameterScope(this), "Interactive", true};
    std::unique_ptr<Gui::OutputWindow> window{std::make_unique<Gui::OutputWindow>()};
};

} // namespace Varkle
