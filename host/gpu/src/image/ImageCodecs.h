#pragma once

#include "Varkle/Gpu/Image.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Varkle
{

/// The bytes of a whole picture file.
using FileBytes = std::span<const std::uint8_t>;

/// True for sizes that an Image can have. Decoders ask before they allocate, with whatever a header claims.
constexpr bool FitsImage(std::int64_t width, std::int64_t height)
{
    return width >= 1 && height >= 1 && width <= Image::MaxSide && height <= Image::MaxSide &&
           width * height <= Image::MaxPixels;
}

/// Scales a value from 0..maximum to 0..255 and rounds it.
constexpr std::uint8_t ToEightBits(std::uint32_t value, std::uint32_t maximum)
{
    return std::uint8_t((value * 255 + maximum / 2) / maximum);
}

// The decoders, one a kind of file. Each expects the signature of its kind in front (see DecodeImage), takes everything
// else as untrusted, and returns an empty image for a file that is damaged, truncated or of a variant it can't read.
Image DecodeHdr(FileBytes bytes);
Image DecodeJpeg(FileBytes bytes);
Image DecodePng(FileBytes bytes);
Image DecodePnm(FileBytes bytes);
Image DecodePsd(FileBytes bytes);

/// Decodes the kinds that are left to stb_image: BMP, GIF, PIC and, as it has no signature, anything that may be a TGA.
Image DecodeWithStb(FileBytes bytes);

/// Decodes a picture of any kind, told by its first bytes.
Image DecodeImage(FileBytes bytes);

// The encoders, for images that are not empty. No bytes on failure.
std::vector<std::uint8_t> EncodeBmp(const Image& image);
std::vector<std::uint8_t> EncodeJpeg(const Image& image);
std::vector<std::uint8_t> EncodePng(const Image& image);
std::vector<std::uint8_t> EncodeTga(const Image& image);

} // namespace Varkle
