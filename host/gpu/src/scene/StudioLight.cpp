#include "scene/StudioLight.h"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/gtc/constants.hpp>

namespace Varkle
{

namespace
{

constexpr double edge = 0.04; // as wide as the shader's smallest lobe

StudioLamp MakeLamp(const glm::dvec3& toward, const glm::dvec2& halfSize, double radiance)
{
    const glm::dvec3 z = glm::normalize(toward);
    const glm::dvec3 x = glm::normalize(glm::cross(glm::dvec3(0.0, 1.0, 0.0), z));
    return {x, glm::cross(z, x), z, halfSize, radiance};
}

double Edge(double distance)
{
    const double t = glm::clamp((distance + edge) / (2.0 * edge), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// The irradiance / pi as a polynomial of the normal: Ramamoorthi and Hanrahan, "An Efficient Representation for
// Irradiance Environment Maps", 2001, with the light's first nine spherical harmonics by numerical integration.
glm::dmat4 MakeDiffuse(const StudioLight& light)
{
    constexpr int rows = 180;
    constexpr int columns = 360;
    double l[9] = {};
    for (int row = 0; row < rows; ++row)
    {
        const double down = glm::pi<double>() * (row + 0.5) / rows;
        const double area = std::sin(down) * (glm::pi<double>() / rows) * (2.0 * glm::pi<double>() / columns);
        for (int column = 0; column < columns; ++column)
        {
            const double around = 2.0 * glm::pi<double>() * (column + 0.5) / columns;
            const glm::dvec3 d(std::sin(down) * std::sin(around), std::cos(down), std::sin(down) * std::cos(around));
            const double power = GetRadiance(light, d) * area;
            const double basis[9] = {0.282095,
                                     0.488603 * d.y,
                                     0.488603 * d.z,
                                     0.488603 * d.x,
                                     1.092548 * d.x * d.y,
                                     1.092548 * d.y * d.z,
                                     0.315392 * (3.0 * d.z * d.z - 1.0),
                                     1.092548 * d.x * d.z,
                                     0.546274 * (d.x * d.x - d.y * d.y)};
            for (int i = 0; i < 9; ++i)
                l[i] += power * basis[i];
        }
    }
    constexpr double c1 = 0.429043;
    constexpr double c2 = 0.511664;
    constexpr double c3 = 0.743125;
    constexpr double c4 = 0.886227;
    constexpr double c5 = 0.247708;
    const glm::dmat4 irradiance(glm::dvec4(c1 * l[8], c1 * l[4], c1 * l[7], c2 * l[3]),
                                glm::dvec4(c1 * l[4], -c1 * l[8], c1 * l[5], c2 * l[1]),
                                glm::dvec4(c1 * l[7], c1 * l[5], c3 * l[6], c2 * l[2]),
                                glm::dvec4(c2 * l[3], c2 * l[1], c2 * l[2], c4 * l[0] - c5 * l[6]));
    return irradiance / glm::pi<double>();
}

StudioLight MakeStudio()
{
    StudioLight light;
    light.walls = {0.12, 0.26, 0.42};
    light.lamps = {
        MakeLamp({-0.8, 0.8, 0.9}, {0.5, 0.42}, 4.4),   // the key
        MakeLamp({1.0, 0.3, 0.5}, {0.4, 0.65}, 0.8),    // the fill
        MakeLamp({0.0, 1.0, -0.35}, {0.6, 0.3}, 1.2),   // above
        MakeLamp({-1.0, 0.05, -0.8}, {0.12, 0.6}, 2.8), // strips behind, for the outlines
        MakeLamp({1.0, 0.05, -0.8}, {0.12, 0.6}, 2.8),
    };
    light.diffuse = MakeDiffuse(light);
    return light;
}

StudioLight MakeEvenLight()
{
    StudioLight light; // no lamp is on
    light.diffuse[3].w = 1.0;
    return light;
}

} // namespace

double GetRadiance(const StudioLight& light, const glm::dvec3& direction)
{
    const double up = glm::smoothstep(0.0, 1.0, direction.y);
    const double down = glm::smoothstep(0.0, 0.6, -direction.y);
    double radiance = glm::mix(glm::mix(light.walls.y, light.walls.z, up), light.walls.x, down);
    for (const StudioLamp& lamp : light.lamps)
    {
        const double depth = glm::dot(direction, lamp.z);
        if (depth <= 0.001)
            continue;
        const glm::dvec2 at = glm::dvec2(glm::dot(direction, lamp.x), glm::dot(direction, lamp.y)) / depth;
        const glm::dvec2 part(Edge(at.x + lamp.halfSize.x) - Edge(at.x - lamp.halfSize.x),
                              Edge(at.y + lamp.halfSize.y) - Edge(at.y - lamp.halfSize.y));
        radiance += lamp.radiance * part.x * part.y;
    }
    return radiance;
}

const StudioLight& GetStudioLight(SceneLight light)
{
    static const StudioLight s_studio = MakeStudio();
    static const StudioLight s_even = MakeEvenLight();
    return light == SceneLight::Even ? s_even : s_studio;
}

} // namespace Varkle
