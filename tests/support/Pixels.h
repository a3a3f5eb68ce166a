#pragma once

#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Texture.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <glm/vec2.hpp>
#include <ostream>
#include <stdexcept>
#include <vector>

// Tiny pictures for tests: made by hand, uploaded, read back, compared.

namespace Varkle::Testing
{

struct Rgba8
{
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    std::uint8_t a = 255;

    bool operator==(const Rgba8&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, Rgba8 pixel)
{
    return stream << '(' << int(pixel.r) << ' ' << int(pixel.g) << ' ' << int(pixel.b) << ' ' << int(pixel.a) << ')';
}

/// True when no channel differs by more than `tolerance` levels.
inline bool Near(Rgba8 a, Rgba8 b, int tolerance = 1)
{
    return std::abs(a.r - b.r) <= tolerance && std::abs(a.g - b.g) <= tolerance && std::abs(a.b - b.b) <= tolerance &&
           std::abs(a.a - b.a) <= tolerance;
}

inline Rgba8 At(const Image& image, int x, int y)
{
    if (x < 0 || y < 0 || x >= image.GetWidth() || y >= image.GetHeight())
        throw std::out_of_range("there is no such pixel");
    const std::uint8_t* const p =
        image.GetPixels() + 4 * (std::size_t(y) * std::size_t(image.GetWidth()) + std::size_t(x));
    return {p[0], p[1], p[2], p[3]};
}

inline Image MakeImage(glm::ivec2 size, const std::vector<Rgba8>& pixels)
{
    std::vector<std::uint8_t> bytes;
    for (const Rgba8& p : pixels)
        bytes.insert(bytes.end(), {p.r, p.g, p.b, p.a});
    return {size, bytes};
}

inline Texture MakeTexture(glm::ivec2 size, const std::vector<Rgba8>& pixels)
{
    return Texture::FromImage(MakeImage(size, pixels), false);
}

inline Texture Filled(glm::ivec2 size, Rgba8 color)
{
    return MakeTexture(size, std::vector<Rgba8>(std::size_t(size.x) * std::size_t(size.y), color));
}

/// Reads a texture back, waiting for the GPU.
inline Image ReadBack(const Texture& texture)
{
    Image result;
    bool done = false;
    texture.ReadPixelsAsync(
        [&](Image image)
        {
            result = std::move(image);
            done = true;
        });
    while (!done && Graphics::WaitForReadBack(std::chrono::seconds(10)))
    {
    }
    return result;
}

} // namespace Varkle::Testing
