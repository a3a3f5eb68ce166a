#include "image/ImageCodecs.h"

#include <initializer_list>

// Both formats are a header and rows of blue, green, red, alpha.

namespace Varkle
{
namespace
{

void AppendLittle32(std::vector<std::uint8_t>& bytes, std::initializer_list<std::uint32_t> values)
{
    for (const std::uint32_t value : values)
    {
        for (const int shift : {0, 8, 16, 24})
            bytes.push_back(std::uint8_t(value >> shift));
    }
}

// Appends a row of pixels as blue, green, red, alpha.
void AppendRow(std::vector<std::uint8_t>& bytes, const Image& image, int y)
{
    const std::size_t stride = std::size_t(image.GetWidth()) * 4;
    const std::uint8_t* row = image.GetPixels() + std::size_t(y) * stride;
    std::size_t at = bytes.size();
    bytes.resize(at + stride);
    for (const std::uint8_t* pixel = row; pixel != row + stride; pixel += 4, at += 4)
    {
        bytes[at + 0] = pixel[2];
        bytes[at + 1] = pixel[1];
        bytes[at + 2] = pixel[0];
        bytes[at + 3] = pixel[3];
    }
}

} // namespace

// With BITMAPV4HEADER: the oldest header with a mask for alpha, without which readers take the fourth byte for padding.
std::vector<std::uint8_t> EncodeBmp(const Image& image)
{
    constexpr std::uint32_t infoSize = 108;
    constexpr std::uint32_t headerSize = 14 + infoSize;
    constexpr std::uint32_t bitFields = 3;
    constexpr std::uint32_t pixelsPerMetre = 2835; // 72 an inch
    constexpr std::uint32_t srgb = 0x73524742;     // "sRGB"
    const auto width = std::uint32_t(image.GetWidth());
    const auto height = std::uint32_t(image.GetHeight());
    const std::uint32_t pixelSize = width * height * 4;

    std::vector<std::uint8_t> bmp{'B', 'M'};
    bmp.reserve(headerSize + pixelSize);
    AppendLittle32(bmp, {headerSize + pixelSize, 0, headerSize});
    AppendLittle32(bmp, {infoSize, width, height, 32 << 16 | 1, bitFields, pixelSize}); // 32 bits, 1 plane
    AppendLittle32(bmp, {pixelsPerMetre, pixelsPerMetre, 0, 0});                        // no palette
    AppendLittle32(bmp, {0x00ff0000, 0x0000ff00, 0x000000ff, 0xff000000});              // red, green, blue, alpha
    AppendLittle32(bmp, {srgb, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});                    // no own primaries and gamma
    for (int y = image.GetHeight() - 1; y >= 0; --y) // few readers expect the other order here
        AppendRow(bmp, image, y);
    return bmp;
}

// With the top row first: there are readers that take it for the first one whatever the header says.
std::vector<std::uint8_t> EncodeTga(const Image& image)
{
    constexpr std::uint32_t headerSize = 18;
    constexpr std::uint32_t trueColor = 2;
    constexpr std::uint8_t bitsPerPixel = 32;
    constexpr std::uint8_t alphaBits = 8;
    constexpr std::uint8_t topRowFirst = 0x20;
    const auto width = std::uint32_t(image.GetWidth());
    const auto height = std::uint32_t(image.GetHeight());

    std::vector<std::uint8_t> tga;
    tga.reserve(headerSize + std::size_t(width) * height * 4);
    AppendLittle32(tga, {trueColor << 16, 0, 0, height << 16 | width}); // no name, no palette, origin 0, 0
    tga.push_back(bitsPerPixel);
    tga.push_back(topRowFirst | alphaBits);
    for (int y = 0; y < image.GetHeight(); ++y)
        AppendRow(tga, image, y);
    return tga;
}

} // namespace Varkle
