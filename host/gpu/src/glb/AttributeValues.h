#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

// What the format asks of the values of attributes.
namespace Varkle::Glb
{

/// Names what values have to be.
enum class Rule
{
    Finite,
    UnitVector, ///< of the first three components; a fourth is 1 or -1
    ZeroToOne,
};

/// Returns why the values can't be written: "at vertex 3 it is not finite". Empty when they can, if need be as unit
/// vectors.
std::string FindProblem(std::span<const float> values, unsigned components, Rule rule);

/// Returns the first vertex whose vector is not a unit vector, as far as readers care.
std::optional<std::size_t> FindOtherThanUnit(std::span<const float> values, unsigned components);

/// Makes the vectors unit vectors. Those that are, as far as readers care, stay as they are.
std::vector<float> Normalize(std::span<const float> values, unsigned components);

} // namespace Varkle::Glb
