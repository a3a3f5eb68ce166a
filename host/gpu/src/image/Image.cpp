#include "Varkle/Gpu/Image.h"

#include "Varkle/Core/FileReading.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <new>
#include <utility>

namespace Varkle
{
namespace
{

// The size of the largest file that is read, in bytes: what the picture libraries can count.
constexpr std::uint64_t MaxFileSize = std::numeric_limits<std::int32_t>::max();

bool StartsWith(FileBytes bytes, std::string_view signature)
{
    return bytes.size() >= signature.size() && std::equal(signature.begin(), signature.end(), bytes.begin(),
                                                          [](char a, std::uint8_t b) { return std::uint8_t(a) == b; });
}

// Returns the bytes of a regular file, none when it can't be read. Other files (a pipe, a terminal) may never end.
std::vector<std::uint8_t> ReadFile(const std::filesystem::path& path)
{
    const FileRead read(path);
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        return {};
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > MaxFileSize)
        return {};

    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(size);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(size)))
        return {};
    return bytes;
}

} // namespace

std::string_view GetImageFormatExtension(ImageFormat format)
{
    switch (format)
    {
    case ImageFormat::Png:
        return ".png";
    case ImageFormat::Jpg:
        return ".jpg";
    case ImageFormat::Bmp:
        return ".bmp";
    case ImageFormat::Tga:
        return ".tga";
    }
    return {};
}

Image::Image(glm::ivec2 newSize, std::vector<std::uint8_t> newPixels)
{
    if (!FitsImage(newSize.x, newSize.y) || newPixels.size() != std::size_t(newSize.x) * std::size_t(newSize.y) * 4)
        return;
    size = newSize;
    pixels = std::make_shared<const std::vector<std::uint8_t>>(std::move(newPixels));
}

Image DecodeImage(FileBytes bytes)
{
    if (StartsWith(bytes, "\x89PNG\r\n\x1a\n"))
        return DecodePng(bytes);
    if (StartsWith(bytes, "\xff\xd8\xff"))
        return DecodeJpeg(bytes);
    if (StartsWith(bytes, "8BPS"))
        return DecodePsd(bytes);
    if (StartsWith(bytes, "#?RADIANCE\n") || StartsWith(bytes, "#?RGBE\n"))
        return DecodeHdr(bytes);
    if (bytes.size() >= 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6')
        return DecodePnm(bytes);
    return DecodeWithStb(bytes);
}

Image Image::LoadFromFile(const std::string& path)
try
{
    return DecodeImage(ReadFile(std::u8string(path.begin(), path.end())));
}
catch (const std::bad_alloc&)
{
    return {};
}

Image Image::LoadFromMemory(const unsigned char* data, unsigned long size)
try
{
    if (size > MaxFileSize)
        return {};
    return DecodeImage({data, size});
}
catch (const std::bad_alloc&)
{
    return {};
}

std::vector<std::uint8_t> Image::Encode(ImageFormat format) const
try
{
    if (!IsValid())
        return {};
    switch (format)
    {
    case ImageFormat::Png:
        return EncodePng(*this);
    case ImageFormat::Jpg:
        return EncodeJpeg(*this);
    case ImageFormat::Bmp:
        return EncodeBmp(*this);
    case ImageFormat::Tga:
        return EncodeTga(*this);
    }
    return {};
}
catch (const std::bad_alloc&)
{
    return {};
}

} // namespace Varkle
