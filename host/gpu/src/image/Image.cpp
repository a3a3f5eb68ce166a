#include "Varkle/Gpu/Image.h"

#include "Varkle/Core/FileReading.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Gpu/PictureMemory.h"
#include "device/GpuInternals.h"
#include "device/ReadBacks.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>
#include <utility>

namespace Varkle
{
namespace
{

std::atomic<std::uint64_t> pixelBytes = 0; // of all images

struct CountedPixels
{
    explicit CountedPixels(std::vector<std::uint8_t> pixels) : bytes(std::move(pixels)) { pixelBytes += bytes.size(); }
    ~CountedPixels() { pixelBytes -= bytes.size(); }
    CountedPixels(const CountedPixels&) = delete;
    CountedPixels& operator=(const CountedPixels&) = delete;

    const std::vector<std::uint8_t> bytes;
};

// The size of the largest file that is read, in bytes: what the picture libraries can count.
constexpr std::uint64_t MaxFileSize = std::numeric_limits<std::int32_t>::max();

bool StartsWith(FileBytes bytes, std::string_view signature)
{
    return bytes.size() >= signature.size() && std::equal(signature.begin(), signature.end(), bytes.begin(),
                                                          [](char a, std::uint8_t b) { return std::uint8_t(a) == b; });
}

Image Decode(FileBytes bytes, const std::string& name)
try
{
    return DecodeImage(bytes);
}
catch (const std::bad_alloc&)
{
    ++Internal::Counters().memoryShortages;
    LogError(Internal::Label(name + " can't be decoded: there is not enough memory."));
    return {};
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
    const auto counted = std::make_shared<const CountedPixels>(std::move(newPixels));
    pixels = {counted, &counted->bytes};
}

std::uint64_t GetPictureMemory()
{
    return pixelBytes + ReadBacks::CountBytes();
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
{
    const Result<std::vector<std::uint8_t>> bytes =
        ReadRegularFile(std::u8string(path.begin(), path.end()), MaxFileSize);
    if (bytes)
        return Decode(*bytes, "The picture " + Quoted(path));
    // That it is not there, or no picture, is for those to say who asked.
    if (bytes.GetError().machine)
        LogError("The picture " + Quoted(path) + " can't be read: " + bytes.GetError().message);
    return {};
}

Image Image::LoadFromMemory(const unsigned char* data, unsigned long size)
{
    return size <= MaxFileSize ? Decode({data, size}, "A picture") : Image();
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
