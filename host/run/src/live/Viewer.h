#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/OutputWindow.h"
#include "Varkle/Gpu/SceneRenderer.h"

#include <string>

namespace Varkle
{

/// Is a window that shows what an operator carries: a texture as it is, a mesh, a model or a material as a scene that
/// dragging turns and the wheel brings near.
class Viewer
{
public:
    /// Shows what the operator's first output carries now, in a window of that title. Opens the window at first; one
    /// that was closed by hand stays closed.
    void Show(const Operator& op, const std::string& title);
    /// Closes the window.
    void Close();
    /// Lets go of what belongs to the device.
    void Release();
    /// True unless the window is closed or nobody can see it: then nothing needs to run for it.
    bool IsWanted() const;

private:
    void ShowScene(const Operator& op);
    void Open(const Operator& op);
    void Turn();

    Gui::OutputWindow window;
    SceneRenderer renderer;
    SceneView view;
    float zoom = 1.0f; // of the distance at which everything is seen
    const Operator* shown = nullptr;
    unsigned long executions = 0; // of it, when it was drawn
    bool settled = false;         // drawn with its final framing
    bool opened = false;
};

} // namespace Varkle
