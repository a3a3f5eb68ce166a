#pragma once

#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Image.h"
#include "Varkle/Gpu/Texture.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <glm/gtc/packing.hpp>
#include <glm/vec2.hpp>
#include <glm/vec4.hpp>
#include <initializer_list>
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

inline Rgba8 Gray(int level)
{
    return {std::uint8_t(level), std::uint8_t(level), std::uint8_t(level), 255};
}

/// Returns opaque grays of these levels.
inline std::vector<Rgba8> Grays(std::initializer_list<int> levels)
{
    std::vector<Rgba8> pixels;
    for (const int level : levels)
        pixels.push_back(Gray(level));
    return pixels;
}

/// Returns what a shader reads from a pixel.
inline glm::dvec4 ToUnit(Rgba8 pixel)
{
    return glm::dvec4(pixel.r, pixel.g, pixel.b, pixel.a) / 255.0;
}

/// Returns what an 8-bit texture stores of a color.
inline Rgba8 ToRgba8(glm::dvec4 color)
{
    const auto level = [](double value) { return std::uint8_t(std::lround(255.0 * std::clamp(value, 0.0, 1.0))); };
    return {level(color.r), level(color.g), level(color.b), level(color.a)};
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

/// Makes a texture of 16-bit floats, for values that 8 bits can't hold.
inline Texture MakeFloatTexture(glm::ivec2 size, const std::vector<glm::vec4>& pixels)
{
    Texture texture = Texture::Create(size, wgpu::TextureFormat::RGBA16Float);
    std::vector<std::uint64_t> halves;
    halves.reserve(pixels.size());
    for (const glm::vec4& pixel : pixels)
        halves.push_back(glm::packHalf4x16(pixel));
    wgpu::TexelCopyTextureInfo target;
    target.texture = texture.GetTextureHandle();
    wgpu::TexelCopyBufferLayout layout;
    layout.bytesPerRow = std::uint32_t(size.x) * 8;
    layout.rowsPerImage = std::uint32_t(size.y);
    const wgpu::Extent3D extent{std::uint32_t(size.x), std::uint32_t(size.y)};
    Graphics::GetQueue().WriteTexture(&target, halves.data(), halves.size() * 8, &layout, &extent);
    return texture;
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
