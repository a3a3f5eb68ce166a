#include "image/ByteReader.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

// Radiance pictures (RGBE): Greg Ward, "Real Pixels", Graphics Gems II, 1991. Red, green and blue share an exponent:
// a value is mantissa * 2^(exponent - 136).

namespace Varkle
{
namespace
{

// Rows of other widths are never packed.
constexpr int MinPackedWidth = 8;
constexpr int MaxPackedWidth = 32767;

std::string ReadLine(ByteReader& file)
{
    const auto rest = file.GetRest();
    const auto end = std::find(rest.begin(), rest.end(), '\n');
    const auto line = file.Take(std::size_t(end - rest.begin()));
    file.Byte();
    return {line.begin(), line.end()};
}

// Unpacks one channel of a row: counts above 128 repeat the next byte, others are followed by as many bytes.
bool UnpackChannel(ByteReader& file, std::uint8_t* to, int width)
{
    for (int x = 0; x < width;)
    {
        const int code = file.Byte();
        const int count = code > 128 ? code - 128 : code;
        if (count == 0 || count > width - x)
            return false;
        const std::uint8_t repeated = code > 128 ? file.Byte() : std::uint8_t(0);
        for (const int end = x + count; x < end; ++x, to += 4)
            *to = code > 128 ? repeated : file.Byte();
    }
    return true;
}

// Reads a row of red, green, blue, exponent.
bool ReadRow(ByteReader& file, std::uint8_t* row, int width)
{
    const std::array<std::uint8_t, 4> packedMark{2, 2, std::uint8_t(width >> 8), std::uint8_t(width & 255)};
    const auto start = file.Take(4);
    if (start.size() < 4)
        return false;
    if (width >= MinPackedWidth && width <= MaxPackedWidth && std::ranges::equal(start, packedMark))
    {
        for (int channel = 0; channel < 4; ++channel)
        {
            if (!UnpackChannel(file, row + channel, width))
                return false;
        }
        return !file.HasRunOut();
    }

    const auto others = file.Take(std::size_t(width - 1) * 4);
    std::ranges::copy(others, std::ranges::copy(start, row).out);
    return !file.HasRunOut();
}

// Returns the 8-bit color of each exponent and mantissa (in this order): gamma 2.2, 1.0 becomes 255.
std::vector<std::uint8_t> MakeToneTable()
{
    std::vector<std::uint8_t> table(65536, 0); // exponent 0 means black
    for (std::size_t i = 256; i < table.size(); ++i)
    {
        const auto exponent = int(i / 256);
        const auto mantissa = int(i % 256);
        const double value = std::min(std::ldexp(mantissa, exponent - 136), 1.0);
        table[i] = std::uint8_t(std::lround(std::pow(value, 1 / 2.2) * 255));
    }
    return table;
}

} // namespace

Image DecodeHdr(FileBytes bytes)
{
    ByteReader file(bytes);
    bool isRgbe = false;
    for (std::string line = ReadLine(file); !line.empty(); line = ReadLine(file))
        isRgbe = isRgbe || line == "FORMAT=32-bit_rle_rgbe";

    glm::ivec2 size(0);
    if (!isRgbe || std::sscanf(ReadLine(file).c_str(), "-Y %9d +X %9d", &size.y, &size.x) != 2 ||
        !FitsImage(size.x, size.y))
        return {};

    // Packed best, 127 pixels take 2 bytes for each of four channels: a byte holds less than 16 pixels.
    const std::size_t pixelCount = std::size_t(size.x) * std::size_t(size.y);
    if (file.GetRest().size() < pixelCount / 16)
        return {};

    static const std::vector<std::uint8_t> s_toneTable = MakeToneTable();
    std::vector<std::uint8_t> pixels(pixelCount * 4);
    for (std::uint8_t* row = pixels.data(); row != pixels.data() + pixels.size(); row += std::size_t(size.x) * 4)
    {
        if (!ReadRow(file, row, size.x))
            return {};
        for (std::uint8_t* pixel = row; pixel != row + std::size_t(size.x) * 4; pixel += 4)
        {
            const std::uint8_t* tones = s_toneTable.data() + std::size_t(pixel[3]) * 256;
            for (int channel = 0; channel < 3; ++channel)
                pixel[channel] = tones[pixel[channel]];
            pixel[3] = 255;
        }
    }
    return {size, std::move(pixels)};
}

} // namespace Varkle
