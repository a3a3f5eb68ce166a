#pragma once

#include "support/Catch.h"
#include "support/Pixels.h"

#include <algorithm>
#include <cmath>
#include <glm/glm.hpp>
#include <glm/gtc/packing.hpp>
#include <random>
#include <stdexcept>
#include <string_view>
#include <vector>

// Expected results: pictures in double precision that a test computes from an operator's formula, and what it takes to
// compare them with what the operator drew.

namespace Varkle::Testing
{

/// Is a picture of colors from 0 to 1, or beyond. Rows from the top.
struct Picture
{
    /// Takes each pixel from shade(glm::ivec2 pixel).
    template<class Shade>
    Picture(glm::ivec2 pictureSize, Shade shade) : size(pictureSize)
    {
        for (int y = 0; y < size.y; ++y)
        {
            for (int x = 0; x < size.x; ++x)
                pixels.push_back(shade(glm::ivec2(x, y)));
        }
    }

    const glm::dvec4& At(glm::ivec2 pixel) const
    {
        return pixels.at(std::size_t(pixel.y) * std::size_t(size.x) + std::size_t(pixel.x));
    }

    glm::ivec2 size;
    std::vector<glm::dvec4> pixels;
};

/// Returns noise in all four channels: the same for the same size and seed. Its levels are 64 to 191, because a GPU may
/// filter with weights of 8 bits: at full contrast that alone could make a level and a half.
inline Picture RandomPicture(glm::ivec2 size, unsigned seed = 1)
{
    std::mt19937 random(seed);
    const auto level = [&random] { return double(64 + random() % 128) / 255.0; };
    return {size, [&](glm::ivec2)
            {
                const double r = level();
                const double g = level();
                const double b = level();
                return glm::dvec4(r, g, b, level());
            }};
}

inline Picture ToPicture(const Image& image)
{
    return {{image.GetWidth(), image.GetHeight()},
            [&](glm::ivec2 pixel) { return ToUnit(At(image, pixel.x, pixel.y)); }};
}

/// Returns the texture coordinates of a pixel's centre.
inline glm::dvec2 CenterOf(glm::ivec2 pixel, glm::ivec2 size)
{
    return (glm::dvec2(pixel) + 0.5) / glm::dvec2(size);
}

/// How a texture goes on beyond its edge.
enum class Edge
{
    Clamp,
    Repeat,
    Mirror,
};

inline int ContinueAt(int index, int count, Edge edge)
{
    const auto modulo = [index](int n) { return ((index % n) + n) % n; };
    switch (edge)
    {
    case Edge::Repeat:
        return modulo(count);
    case Edge::Mirror:
        return std::min(modulo(2 * count), 2 * count - 1 - modulo(2 * count));
    default:
        return std::clamp(index, 0, count - 1);
    }
}

/// Samples with linear filtering.
inline glm::dvec4 Sample(const Picture& picture, glm::dvec2 uv, Edge edgeX = Edge::Clamp, Edge edgeY = Edge::Clamp)
{
    const glm::dvec2 position = uv * glm::dvec2(picture.size) - 0.5;
    const glm::ivec2 first = glm::floor(position);
    const glm::dvec2 share = position - glm::dvec2(first);
    const auto texel = [&](int dx, int dy)
    {
        return picture.At(
            {ContinueAt(first.x + dx, picture.size.x, edgeX), ContinueAt(first.y + dy, picture.size.y, edgeY)});
    };
    return glm::mix(glm::mix(texel(0, 0), texel(1, 0), share.x), glm::mix(texel(0, 1), texel(1, 1), share.x), share.y);
}

/// Returns the order in which a format stores the channels.
inline std::string_view ChannelsOf(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R8Unorm:
    case wgpu::TextureFormat::R16Float:
        return "r";
    case wgpu::TextureFormat::RG8Unorm:
    case wgpu::TextureFormat::RG16Float:
        return "rg";
    case wgpu::TextureFormat::RGBA8Unorm:
    case wgpu::TextureFormat::RGBA16Float:
    case wgpu::TextureFormat::RGBA32Float:
        return "rgba";
    case wgpu::TextureFormat::BGRA8Unorm:
        return "bgra";
    default:
        throw std::invalid_argument("tests don't write this format");
    }
}

inline std::size_t BytesPerChannel(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R16Float:
    case wgpu::TextureFormat::RG16Float:
    case wgpu::TextureFormat::RGBA16Float:
        return 2;
    case wgpu::TextureFormat::RGBA32Float:
        return 4;
    default:
        return 1;
    }
}

inline glm::length_t ChannelIndex(char letter)
{
    return glm::length_t(std::string_view("rgba").find(letter));
}

/// Returns the picture as it comes back from a texture of the format: without the channels that the format lacks, in
/// 8-bit formats from 0 to 1 and rounded.
inline Picture Stored(const Picture& picture, wgpu::TextureFormat format)
{
    return {picture.size, [&](glm::ivec2 pixel)
            {
                glm::dvec4 color{0, 0, 0, 1};
                for (const char letter : ChannelsOf(format))
                    color[ChannelIndex(letter)] = picture.At(pixel)[ChannelIndex(letter)];
                return BytesPerChannel(format) > 1 ? color : ToUnit(ToRgba8(color));
            }};
}

/// Returns a texture that holds the picture.
inline Texture Upload(const Picture& picture, wgpu::TextureFormat format = wgpu::TextureFormat::RGBA8Unorm)
{
    std::vector<std::uint8_t> bytes;
    for (const glm::dvec4& color : picture.pixels)
    {
        for (const char letter : ChannelsOf(format))
        {
            const double value = color[ChannelIndex(letter)];
            const auto number = float(value);
            const std::uint16_t half = glm::packHalf1x16(number);
            const std::uint8_t level = ToRgba8(glm::dvec4(value)).r;
            const void* const stored[] = {&level, &half, &number};
            const auto* const first = static_cast<const std::uint8_t*>(stored[BytesPerChannel(format) / 2]);
            bytes.insert(bytes.end(), first, first + BytesPerChannel(format));
        }
    }
    Texture texture = Texture::Create(picture.size, format);
    const wgpu::Extent3D extent{std::uint32_t(picture.size.x), std::uint32_t(picture.size.y)};
    wgpu::TexelCopyTextureInfo target;
    target.texture = texture.GetTextureHandle();
    wgpu::TexelCopyBufferLayout layout;
    layout.bytesPerRow = std::uint32_t(bytes.size()) / extent.height;
    layout.rowsPerImage = extent.height;
    Graphics::GetQueue().WriteTexture(&target, bytes.data(), bytes.size(), &layout, &extent);
    return texture;
}

/// Checks that no channel of no pixel is more than `tolerance` levels off, and shows the worst pixel.
inline void CheckPicture(const Image& actual, const Picture& expected, int tolerance = 1)
{
    REQUIRE(actual.GetWidth() == expected.size.x);
    REQUIRE(actual.GetHeight() == expected.size.y);
    glm::ivec2 worst{0, 0};
    int difference = -1;
    for (int y = 0; y < expected.size.y; ++y)
    {
        for (int x = 0; x < expected.size.x; ++x)
        {
            const Rgba8 a = At(actual, x, y);
            const Rgba8 b = ToRgba8(expected.At({x, y}));
            const int here =
                std::max({std::abs(a.r - b.r), std::abs(a.g - b.g), std::abs(a.b - b.b), std::abs(a.a - b.a)});
            if (here > difference)
            {
                difference = here;
                worst = {x, y};
            }
        }
    }
    INFO("worst at (" << worst.x << ' ' << worst.y << "): " << At(actual, worst.x, worst.y) << " instead of "
                      << ToRgba8(expected.At(worst)));
    CHECK(difference <= tolerance);
}

} // namespace Varkle::Testing
