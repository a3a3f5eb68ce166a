#include "image/ByteReader.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <utility>

// Adobe Photoshop File Formats Specification, "File Header Section" and "Image Data Section": after the layers comes
// the flattened picture, one channel after the other.

namespace Varkle
{
namespace
{

constexpr int RgbMode = 3;

// Unpacks a row of a channel (PackBits): up to 127 is followed by one byte more than that, above 128 the next byte is
// repeated 257 - code times.
bool UnpackRow(ByteReader packed, std::vector<std::uint8_t>& row)
{
    for (auto to = row.begin(); to != row.end();)
    {
        const int code = packed.Byte();
        if (packed.HasRunOut())
            return false;
        if (code == 128)
            continue;
        const int count = code < 128 ? code + 1 : 257 - code;
        if (count > row.end() - to)
            return false;
        if (code > 128)
            to = std::fill_n(to, count, packed.Byte());
        else
            to = std::ranges::copy(packed.Take(std::size_t(count)), to).out;
    }
    return !packed.HasRunOut();
}

// Takes the white that Photoshop lays behind transparent pixels of the flattened picture out of their color.
void RemoveWhite(std::uint8_t* pixel)
{
    const int alpha = pixel[3];
    if (alpha == 0)
        return;
    for (int channel = 0; channel < 3; ++channel)
    {
        const int scaled = std::max(pixel[channel] - (255 - alpha), 0) * 255;
        pixel[channel] = std::uint8_t(std::min((scaled + alpha / 2) / alpha, 255));
    }
}

} // namespace

Image DecodePsd(FileBytes bytes)
{
    ByteReader file(bytes);
    file.Take(4); // signature
    const int version = file.Big16();
    file.Take(6); // reserved
    const int channelCount = file.Big16();
    const std::uint32_t height = file.Big32();
    const std::uint32_t width = file.Big32();
    const int depth = file.Big16();
    const int mode = file.Big16();
    if (version != 1 || mode != RgbMode || channelCount < 3 || (depth != 8 && depth != 16) || !FitsImage(width, height))
        return {};

    for (int section = 0; section < 3; ++section) // palette, resources, layers
        file.Take(file.Big32());
    const int compression = file.Big16();
    if (compression > 1)
        return {};
    const bool isPacked = compression == 1;
    ByteReader packedLengths(file.Take(isPacked ? std::size_t(height) * std::size_t(channelCount) * 2 : 0));

    // Packed best, 128 bytes take 2.
    const std::size_t rowBytes = std::size_t(width) * std::size_t(depth / 8);
    const std::size_t unpackedSize = rowBytes * height * 3;
    if (file.GetRest().size() < (isPacked ? unpackedSize / 64 : unpackedSize))
        return {};

    const bool hasAlpha = channelCount > 3;
    std::vector<std::uint8_t> pixels(std::size_t(width) * height * 4, 255);
    std::vector<std::uint8_t> row(rowBytes);
    for (std::size_t channel = 0; channel < (hasAlpha ? 4 : 3); ++channel)
    {
        std::uint8_t* to = pixels.data() + channel;
        for (std::uint32_t y = 0; y < height; ++y)
        {
            if (isPacked && !UnpackRow(ByteReader(file.Take(packedLengths.Big16())), row))
                return {};
            if (!isPacked)
                std::ranges::copy(file.Take(rowBytes), row.begin());
            for (std::size_t x = 0; x < width; ++x, to += 4)
                *to = depth == 8 ? row[x] : ToEightBits(row[2 * x] * 256u + row[2 * x + 1], 65535);
        }
    }
    if (file.HasRunOut())
        return {};

    if (hasAlpha)
    {
        for (std::uint8_t* pixel = pixels.data(); pixel != pixels.data() + pixels.size(); pixel += 4)
            RemoveWhite(pixel);
    }
    return {{width, height}, std::move(pixels)};
}

} // namespace Varkle
