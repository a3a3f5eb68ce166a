#include "image/ByteReader.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <cstring>
#include <libdeflate.h>
#include <memory>
#include <spng.h>
#include <string_view>
#include <utility>

namespace Varkle
{
namespace
{

// Texts and profiles beside the picture are not used; compressed ones must not fill the memory.
constexpr std::size_t MaxMetadata = std::size_t(64) << 20;

// Deflate turns one byte into at most this many.
constexpr std::uint64_t MaxInflation = 1032;

// True for a file whose last chunk is there in full. libspng is content with less.
bool HasEnd(FileBytes bytes)
{
    ByteReader file(bytes);
    file.Take(8); // signature
    while (!file.HasRunOut())
    {
        const std::uint32_t length = file.Big32();
        const bool isEnd = std::ranges::equal(file.Take(4), std::string_view("IEND"));
        file.Take(std::size_t(length) + 4); // and the checksum
        if (isEnd)
            return !file.HasRunOut();
    }
    return false;
}

// The size of the pixels before they were compressed, without the byte in front of each row.
std::uint64_t GetUncompressedSize(const spng_ihdr& header)
{
    std::uint64_t channels = 1; // grey, palette
    if (header.color_type == SPNG_COLOR_TYPE_GRAYSCALE_ALPHA)
        channels = 2;
    if (header.color_type == SPNG_COLOR_TYPE_TRUECOLOR)
        channels = 3;
    if (header.color_type == SPNG_COLOR_TYPE_TRUECOLOR_ALPHA)
        channels = 4;
    return channels * header.bit_depth * header.width * header.height / 8;
}

void AppendBig32(std::vector<std::uint8_t>& bytes, std::uint32_t value)
{
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(std::uint8_t(value >> shift));
}

// Appends a chunk: length, type, data, and the checksum of type and data.
void AppendChunk(std::vector<std::uint8_t>& png, std::string_view type, std::span<const std::uint8_t> data)
{
    AppendBig32(png, std::uint32_t(data.size()));
    png.insert(png.end(), type.begin(), type.end());
    png.insert(png.end(), data.begin(), data.end());
    const std::size_t covered = type.size() + data.size();
    AppendBig32(png, libdeflate_crc32(0, png.data() + png.size() - covered, covered));
}

} // namespace

Image DecodePng(FileBytes bytes)
{
    if (!HasEnd(bytes))
        return {};
    const std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> png(spng_ctx_new(0), spng_ctx_free);
    spng_ihdr header{};
    if (!png || spng_set_chunk_limits(png.get(), MaxMetadata, MaxMetadata) != 0 ||
        spng_set_png_buffer(png.get(), bytes.data(), bytes.size()) != 0 || spng_get_ihdr(png.get(), &header) != 0)
        return {};
    if (!FitsImage(header.width, header.height) || GetUncompressedSize(header) / MaxInflation > bytes.size())
        return {};

    const glm::ivec2 size(header.width, header.height);
    const std::size_t valueCount = std::size_t(size.x) * std::size_t(size.y) * 4;
    std::vector<std::uint8_t> pixels(valueCount);
    if (header.bit_depth == 16)
    {
        // libspng would cut 16 bits down to 8 without rounding.
        std::vector<std::uint16_t> deep(valueCount);
        if (spng_decode_image(png.get(), deep.data(), valueCount * 2, SPNG_FMT_RGBA16, SPNG_DECODE_TRNS) != 0)
            return {};
        for (std::size_t i = 0; i < valueCount; ++i)
            pixels[i] = ToEightBits(deep[i], 65535);
    }
    else if (spng_decode_image(png.get(), pixels.data(), valueCount, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS) != 0)
        return {};
    return {size, std::move(pixels)};
}

// One core is enough: libdeflate at level 1 takes less time on one core than zlib at level 1 spread over two, and its
// streams can't be joined.
std::vector<std::uint8_t> EncodePng(const Image& image)
{
    const std::size_t stride = std::size_t(image.GetWidth()) * 4;
    const std::size_t height = std::size_t(image.GetHeight());

    // The Sub filter: each row begins with its number, 1, and each pixel has its left neighbour subtracted.
    const std::size_t filteredSize = (1 + stride) * height;
    const auto filtered = std::make_unique_for_overwrite<std::uint8_t[]>(filteredSize);
    for (std::size_t y = 0; y < height; ++y)
    {
        const std::uint8_t* from = image.GetPixels() + y * stride;
        std::uint8_t* to = filtered.get() + y * (1 + stride);
        *to++ = 1;
        std::memcpy(to, from, 4);
        for (std::size_t i = 4; i < stride; ++i)
            to[i] = std::uint8_t(from[i] - from[i - 4]);
    }

    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(1), libdeflate_free_compressor);
    if (!compressor)
        return {};
    const std::size_t bound = libdeflate_zlib_compress_bound(compressor.get(), filteredSize);
    const auto compressed = std::make_unique_for_overwrite<std::uint8_t[]>(bound);
    const std::size_t compressedSize =
        libdeflate_zlib_compress(compressor.get(), filtered.get(), filteredSize, compressed.get(), bound);
    if (compressedSize == 0)
        return {};
    static_assert(Image::MaxPixels <= 1 << 28, "One chunk holds 2 GiB, pixels that can't be compressed included.");

    std::vector<std::uint8_t> header;
    AppendBig32(header, std::uint32_t(image.GetWidth()));
    AppendBig32(header, std::uint32_t(image.GetHeight()));
    header.insert(header.end(), {8, SPNG_COLOR_TYPE_TRUECOLOR_ALPHA, 0, 0, 0}); // 8 bits a channel, not interlaced

    std::vector<std::uint8_t> png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    png.reserve(compressedSize + 64);
    AppendChunk(png, "IHDR", header);
    AppendChunk(png, "IDAT", {compressed.get(), compressedSize});
    AppendChunk(png, "IEND", {});
    return png;
}

} // namespace Varkle
