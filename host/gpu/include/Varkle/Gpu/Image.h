#pragma once

#include "Varkle/Core/Export.h"

#include <cstdint>
#include <glm/vec2.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Names the image file formats that can be written. The values are stable: operators pass them as indices.
enum class ImageFormat
{
    Png = 0,
    Jpg = 1,
    Bmp = 2,
    Tga = 3,
};

/// Returns the usual file extension of a format with its leading point: ".png", ".jpg", ".bmp", ".tga".
VARKLE_API std::string_view GetImageFormatExtension(ImageFormat format);

/// Holds a picture in main memory: four 8-bit channels a pixel (red, green, blue, alpha; not premultiplied), rows
/// without padding, top row first. A cheap handle: copies share the pixels, which never change once an image is made.
/// An empty image (default-constructed, or the result of a failure) has no pixels and is 0 by 0. Safe to use from any
/// thread.
class VARKLE_API Image
{
public:
    /// The largest picture: 32,768 pixels a side, and 2^28 pixels (16,384 by 16,384; 1 GiB of memory) in all. A file
    /// that claims more is refused from its header alone. Decoding takes up to three times the picture's memory.
    static constexpr int MaxSide = 32768;
    static constexpr std::int64_t MaxPixels = std::int64_t(1) << 28;

    /// Makes an empty image.
    Image() = default;

    /// Takes over pixels of size.x by size.y; the vector must hold size.x * size.y * 4 bytes, and the size must be at
    /// least 1 by 1 and within the limits above, else the image is empty.
    Image(glm::ivec2 size, std::vector<std::uint8_t> pixels);

    /// Decodes a picture file: PNG, JPEG, BMP, TGA, GIF (first frame), PIC, PNM (P1 to P6: PBM, PGM, PPM), HDR, PSD
    /// (flattened, RGB). The content decides, not the extension. The path is UTF-8.
    ///
    /// Grey becomes red = green = blue, missing alpha 255, 16 bits a channel are rounded to 8. HDR is brought down to
    /// 8-bit color: 1.0 and above become 255, below that the gamma is 2.2. CMYK JPEGs become RGB without a color
    /// profile. Otherwise the values are those stored in the file: color profiles, gamma and the orientation that a
    /// camera notes in a JPEG are ignored, so that texture coordinates made for the stored picture fit.
    ///
    /// Errors: an empty image, and nothing is logged, when the file can't be read, isn't a regular file, is of another
    /// kind, damaged or truncated (an end that only lacks data which no pixel needs may pass, but not in PNG and JPEG),
    /// when it is larger than 2 GiB or its picture larger than the limits above. An empty image and an error in the log
    /// when it is the machine's fault: an input/output error, or not enough memory.
    static Image LoadFromFile(const std::string& path);

    /// Decodes the bytes of a picture file, as LoadFromFile. They are only read during the call; null with size 0 is
    /// as good as an empty file.
    static Image LoadFromMemory(const unsigned char* data, unsigned long size);

    /// Encodes the picture as a file of the format and returns its bytes: none for an empty image, a format that isn't
    /// one of ImageFormat's, and when memory doesn't suffice.
    ///
    /// PNG always has four 8-bit channels. JPG has quality 90 with the colors at full resolution (4:4:4, for thin
    /// colored lines keep their color so) and drops alpha. BMP has 32 bits with an alpha mask, TGA 32 bits with 8
    /// bits of alpha; both are uncompressed. The same picture gives the same bytes each time.
    std::vector<std::uint8_t> Encode(ImageFormat format) const;

    /// True when the image holds pixels.
    bool IsValid() const { return pixels != nullptr; }

    /// Width and height in pixels, 0 for an empty image.
    int GetWidth() const { return size.x; }
    int GetHeight() const { return size.y; }

    /// The pixels, GetWidth() * GetHeight() * 4 bytes, or null for an empty image. Valid while a copy of the image
    /// lives.
    const std::uint8_t* GetPixels() const { return pixels ? pixels->data() : nullptr; }

private:
    glm::ivec2 size{0, 0};
    std::shared_ptr<const std::vector<std::uint8_t>> pixels;
};

} // namespace Varkle
