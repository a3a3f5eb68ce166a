#pragma once

#include <string>

// What the parts of the platform on GLFW share.
namespace Varkle::Gui
{

/// Keeps what GLFW complains about while it lives out of the log.
class GlfwErrorsHeld
{
public:
    GlfwErrorsHeld();
    ~GlfwErrorsHeld();
    GlfwErrorsHeld(const GlfwErrorsHeld&) = delete;
    GlfwErrorsHeld& operator=(const GlfwErrorsHeld&) = delete;

    /// Returns the last complaint, without a point at its end.
    std::string Take() const;
};

/// Returns the scale that desktop settings mean. They are whole dots per inch, 96 for a scale of 1; where there are
/// none GLFW makes do with the display's size in millimeters, which gives 1.0011 and the like.
float ToDesktopScale(float scale);

} // namespace Varkle::Gui
