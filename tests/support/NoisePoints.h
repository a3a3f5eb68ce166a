#pragma once

#include <algorithm>
#include <cmath>
#include <glm/glm.hpp>
#include <random>
#include <vector>

// Places at which the noise functions of shaders are tried, and comparisons of what they give.

namespace Varkle::Testing
{

/// The arguments of a noise function, laid out as a shader reads them. The 2D functions take x and y.
struct NoiseArguments
{
    glm::vec3 x{0.0f};
    float alpha = 0.0f;
    glm::vec3 period{0.0f};
    float unused = 0.0f;
};

inline constexpr const char* noiseArgumentsWgsl =
    "struct Arguments { x: vec3<f32>, alpha: f32, p: vec3<f32>, unused: f32 }\n";
inline constexpr const char* noiseArgumentsGlsl =
    "struct Arguments { vec3 x; float alpha; vec3 period; float unused; };\n";

/// Returns points on a grid of 1/256 within -20..20: sums with small whole numbers are exact.
inline std::vector<NoiseArguments> MakeNoisePoints(glm::vec3 period = {}, float alpha = 0.0f, int count = 400)
{
    std::mt19937 random(7);
    const auto coordinate = [&] { return float(int(random() % 10241) - 5120) / 256.0f; };
    std::vector<NoiseArguments> points(std::size_t(count), {{}, alpha, period});
    for (NoiseArguments& point : points)
    {
        point.x.x = coordinate();
        point.x.y = coordinate();
        point.x.z = coordinate();
    }
    return points;
}

/// Returns the points moved.
inline std::vector<NoiseArguments> Moved(std::vector<NoiseArguments> points, glm::vec3 by)
{
    for (NoiseArguments& point : points)
        point.x += by;
    return points;
}

/// Returns the points with another rotation.
inline std::vector<NoiseArguments> Turned(std::vector<NoiseArguments> points, float by)
{
    for (NoiseArguments& point : points)
        point.alpha += by;
    return points;
}

/// Returns the largest difference between two lists of results in any component.
inline double LargestDifference(const std::vector<glm::vec4>& a, const std::vector<glm::vec4>& b)
{
    double largest = a.size() == b.size() ? 0.0 : INFINITY;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
    {
        for (int k = 0; k < 4; ++k)
            largest = std::max(largest, std::isnan(a[i][k] - b[i][k]) ? INFINITY : std::abs(double(a[i][k]) - b[i][k]));
    }
    return largest;
}

} // namespace Varkle::Testing
