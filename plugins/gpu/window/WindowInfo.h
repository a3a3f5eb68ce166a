#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/Parameters.h"

namespace Varkle
{

/// Reports the position, size, display and state of a Window operator's window.
class WindowInfo final : public Operator
{
public:
    WindowInfo();
    ~WindowInfo() override;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext& context) override;

    /// True on every frame: users move, resize and close windows, which no parameter tells.
    bool Outdated() const override { return true; }

private:
    Vector2IntParameter resolution{ParameterScope(this), "Resolution", {0, 0}};
    Vector2IntParameter logicalSize{ParameterScope(this), "Logical Size", {0, 0}};
    Vector2IntParameter position{ParameterScope(this), "Position", {0, 0}};
    FloatParameter scale{ParameterScope(this), "DPI Scale", 0.0};
    FloatParameter refreshRate{ParameterScope(this), "Refresh Rate", 0.0};
    BoolParameter open{ParameterScope(this), "Open", false};
    BoolParameter fullscreen{ParameterScope(this), "Fullscreen", false};
    BoolParameter minimized{ParameterScope(this), "Minimized", false};
    PtrParameter window{ParameterScope(this), "Window", nullptr};
};

} // namespace Varkle
