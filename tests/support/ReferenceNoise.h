#pragma once

#include <cmath>
#include <cstdint>
#include <glm/glm.hpp>

// psrdnoise in double precision, by another way than the shaders: the kernels of all lattice points within reach are
// summed, not those of the corners of one simplex, and rotation is written as a turn in a plane.

namespace Varkle::Testing
{

/// What the GLSL form can be switched to.
struct NoiseForm
{
    bool perlinGrid = false;
    bool fastRotation = false;
};

/// The value of a noise and its gradient.
template<class Vector>
struct NoiseSample
{
    double noise = 0.0;
    Vector gradient{0.0};
};

inline std::int64_t Mod289(double whole)
{
    const std::int64_t rest = std::int64_t(whole) % 289;
    return rest < 0 ? rest + 289 : rest;
}

/// Brings a coordinate of a corner into the first period. What lies no more than `slack` below it counts as its start.
inline double WrapAxis(double position, double period, double slack = 0.0)
{
    return period > 0.0 ? position - std::floor((position + slack) / period) * period : position;
}

inline NoiseSample<glm::dvec2> ReferenceNoise(glm::dvec2 x, glm::dvec2 period, double alpha)
{
    NoiseSample<glm::dvec2> sum;
    const glm::dvec2 base = glm::floor(glm::dvec2(x.x + 0.5 * x.y, x.y));
    for (int n = 0; n < 16; ++n)
    {
        const glm::dvec2 cell = base + glm::dvec2(n % 4 - 1, n / 4 - 1);
        const glm::dvec2 corner(cell.x - 0.5 * cell.y, cell.y);
        const glm::dvec2 d = x - corner;
        const double w = 0.8 - glm::dot(d, d);
        if (w <= 0.0)
            continue;
        const glm::dvec2 wrapped(WrapAxis(corner.x, period.x), WrapAxis(corner.y, period.y));
        const double u = std::round(wrapped.x + 0.5 * wrapped.y);
        std::int64_t hash = Mod289(u);
        hash = Mod289(double((hash * 51 + 2) * hash + std::int64_t(std::round(wrapped.y))));
        hash = (hash * 34 + 10) * hash % 289;
        const double psi = double(hash) * 0.07482 + alpha;
        const glm::dvec2 g(std::cos(psi), std::sin(psi));
        sum.noise += 10.9 * std::pow(w, 4) * glm::dot(g, d);
        sum.gradient += 10.9 * (std::pow(w, 4) * g - 8.0 * std::pow(w, 3) * glm::dot(g, d) * d);
    }
    return sum;
}

inline std::int64_t Permute289(std::int64_t i)
{
    const std::int64_t m = Mod289(double(i));
    return (m * 34 + 10) * m % 289;
}

inline glm::dvec3 ReferenceGradient(std::int64_t hash, double alpha, const NoiseForm& form)
{
    const double theta = double(hash) * 3.883222077;
    const double z = double(hash) * -0.006920415 + 0.996539792;
    const double r = std::sqrt(1.0 - z * z);
    const glm::dvec3 p(std::cos(theta) * r, std::sin(theta) * r, z);
    const glm::dvec3 tangent(std::sin(theta), -std::cos(theta), 0.0);
    const glm::dvec3 other = glm::cross(p, tangent);
    const double turn = theta + double(hash) * 0.108705628;
    const glm::dvec3 q = form.fastRotation ? tangent : std::sin(turn) * other - std::cos(turn) * tangent;
    return std::cos(alpha) * p + std::sin(alpha) * q;
}

inline NoiseSample<glm::dvec3> ReferenceNoise(glm::dvec3 x, glm::dvec3 period, double alpha, const NoiseForm& form = {})
{
    const auto skew = [&](glm::dvec3 v)
    { return form.perlinGrid ? v + (v.x + v.y + v.z) / 3.0 : glm::dvec3(v.y + v.z, v.x + v.z, v.x + v.y); };
    const auto unskew = [&](glm::dvec3 v)
    { return form.perlinGrid ? v - (v.x + v.y + v.z) / 6.0 : 0.5 * (v.x + v.y + v.z) - v; };

    const double slack = form.perlinGrid ? 1.0 / 12.0 : 0.0; // its coordinates are sixths, which floats round

    NoiseSample<glm::dvec3> sum;
    const glm::dvec3 base = glm::floor(skew(x));
    for (int n = 0; n < 64; ++n)
    {
        const glm::dvec3 corner = unskew(base + glm::dvec3(n % 4 - 1, n / 4 % 4 - 1, n / 16 - 1));
        const glm::dvec3 d = x - corner;
        const double w = 0.5 - glm::dot(d, d);
        if (w <= 0.0)
            continue;
        const glm::dvec3 wrapped(WrapAxis(corner.x, period.x, slack), WrapAxis(corner.y, period.y, slack),
                                 WrapAxis(corner.z, period.z, slack));
        const glm::dvec3 cell = glm::round(skew(wrapped));
        const std::int64_t hash =
            Permute289(Permute289(Permute289(std::int64_t(cell.z)) + std::int64_t(cell.y)) + std::int64_t(cell.x));
        const glm::dvec3 g = ReferenceGradient(hash, alpha, form);
        sum.noise += 39.5 * std::pow(w, 3) * glm::dot(g, d);
        sum.gradient += 39.5 * (std::pow(w, 3) * g - 6.0 * std::pow(w, 2) * glm::dot(g, d) * d);
    }
    return sum;
}

} // namespace Varkle::Testing
