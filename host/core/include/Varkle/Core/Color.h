#pragma once

#include <glm/vec4.hpp>

namespace Varkle
{

/// Holds a color: red, green, blue and alpha, usually 0 to 1, not premultiplied. Double precision, so that a value
/// that a user typed reads back as typed.
struct Color
{
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
    double a = 1.0;

    bool operator==(const Color&) const = default;

    /// Returns the color in the precision of shaders.
    glm::vec4 ToVec4() const { return {float(r), float(g), float(b), float(a)}; }
};

} // namespace Varkle
