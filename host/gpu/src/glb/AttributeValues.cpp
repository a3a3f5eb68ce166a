#include "glb/AttributeValues.h"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

namespace Varkle::Glb
{

namespace
{

// Returns the first vertex with a component that is not good. Mostly there is none, which a loop without an exit finds
// out faster.
template<class Good>
std::optional<std::size_t> FindVertex(std::span<const float> values, unsigned components, Good isGood)
{
    bool areGood = true;
    for (const float value : values)
        areGood &= isGood(value);
    if (areGood)
        return std::nullopt;
    return std::size_t(std::ranges::find_if_not(values, isGood) - values.begin()) / components;
}

double LengthOf(std::span<const float> v)
{
    return glm::length(glm::dvec3(v[0], v[1], v[2]));
}

bool IsUnit(std::span<const float> v)
{
    return std::abs(LengthOf(v) - 1.0) <= 0.0005;
}

bool HasDirection(std::span<const float> v)
{
    return LengthOf(v) > 0.0;
}

bool HasHand(std::span<const float> v)
{
    return v.size() < 4 || std::abs(v[3]) == 1.0f;
}

// Returns the first vertex whose vector is not good.
template<class Good>
std::optional<std::size_t> FindVector(std::span<const float> values, unsigned components, Good isGood)
{
    for (std::size_t i = 0; i < values.size(); i += components)
    {
        if (!isGood(values.subspan(i, components)))
            return i / components;
    }
    return std::nullopt;
}

std::string At(std::size_t vertex, const std::string& what)
{
    return "at vertex " + std::to_string(vertex) + " it " + what;
}

} // namespace

std::string FindProblem(std::span<const float> values, unsigned components, Rule rule)
{
    if (const auto vertex = FindVertex(values, components, [](float value) { return std::isfinite(value); }))
        return At(*vertex, "is not finite");
    if (rule == Rule::ZeroToOne)
    {
        const auto vertex = FindVertex(values, components, [](float value) { return value >= 0.0f && value <= 1.0f; });
        return vertex ? At(*vertex, "lies outside 0 to 1") : "";
    }
    if (rule != Rule::UnitVector)
        return {};
    if (const auto vertex = FindVector(values, components, HasDirection))
        return At(*vertex, "has no direction");
    if (const auto vertex = FindVector(values, components, HasHand))
        return At(*vertex, "has a handedness (w) other than 1 and -1");
    return {};
}

std::optional<std::size_t> FindOtherThanUnit(std::span<const float> values, unsigned components)
{
    return FindVector(values, components, IsUnit);
}

std::vector<float> Normalize(std::span<const float> values, unsigned components)
{
    std::vector<float> result(values.begin(), values.end());
    for (std::size_t i = 0; i < result.size(); i += components)
    {
        const std::span<float> v = std::span(result).subspan(i, components);
        if (IsUnit(v))
            continue;
        const double length = LengthOf(v);
        for (float& component : v.first(3))
            component = float(double(component) / length);
    }
    return result;
}

} // namespace Varkle::Glb
