#include "export/VideoFormat.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

// x264 and libvpx scale quality differently: these factors look alike, which is next to lossless for the eye. In VP9,
// "cpu-used 4" takes about as long as x264's default preset.
const std::array<VideoFormat, 2> formats = {{
    {".mp4",
     "mp4",
     "yuv420p",
     false,
     true,
     {"-c:v", "libx264", "-crf", "18", "-movflags", "+faststart"}}, // the index in front: plays while it loads
    {".webm",
     "webm",
     "yuva420p",
     true,
     false,
     {"-c:v", "libvpx-vp9", "-crf", "24", "-b:v", "0", "-deadline", "good", "-cpu-used", "4", "-row-mt", "1"}},
}};

bool IsOpaque(const Image& image)
{
    const std::size_t size = std::size_t(image.GetWidth()) * std::size_t(image.GetHeight()) * 4;
    std::uint8_t all = 255;
    for (std::size_t i = 3; i < size; i += 4)
        all &= image.GetPixels()[i];
    return all == 255;
}

// Color times alpha, rounded: the picture over black.
void PutOverBlack(std::span<std::uint8_t> pixels)
{
    for (std::size_t i = 0; i < pixels.size(); i += 4)
    {
        const unsigned alpha = pixels[i + 3];
        for (std::size_t c = i; c < i + 3; ++c)
            pixels[c] = std::uint8_t((pixels[c] * alpha + 127) / 255);
    }
}

// Copies the picture into a larger one, repeating its last column and row.
void Enlarge(const Image& image, glm::ivec2 size, std::vector<std::uint8_t>& pixels)
{
    const std::size_t from = std::size_t(image.GetWidth()) * 4;
    const std::size_t to = std::size_t(size.x) * 4;
    pixels.resize(to * std::size_t(size.y));
    for (int y = 0; y < size.y; ++y)
    {
        const std::uint8_t* const row = image.GetPixels() + std::size_t(std::min(y, image.GetHeight() - 1)) * from;
        std::uint8_t* const target = pixels.data() + std::size_t(y) * to;
        std::memcpy(target, row, from);
        for (std::size_t x = from; x < to; x += 4)
            std::memcpy(target + x, row + from - 4, 4);
    }
}

} // namespace

const VideoFormat* FindVideoFormat(const std::string& path)
{
    const std::string extension = ToLower(std::filesystem::path(path).extension().string());
    const auto* const found = std::ranges::find(formats, extension, &VideoFormat::extension);
    return found == formats.end() ? nullptr : found;
}

glm::ivec2 GetVideoSize(const VideoFormat& format, glm::ivec2 pictureSize)
{
    return format.evenSizesOnly ? (pictureSize + 1) / 2 * 2 : pictureSize;
}

std::vector<std::string> GetVideoArguments(const VideoFormat& format, glm::ivec2 videoSize, double frameRate,
                                           const std::string& path)
{
    // Without "-xerror" a file that could not be written to its end counts as a success.
    std::vector<std::string> arguments = {"-nostdin", "-loglevel", "error", "-xerror", "-y"};
    const auto add = [&](const std::vector<std::string>& more)
    { arguments.insert(arguments.end(), more.begin(), more.end()); };
    add({"-f", "rawvideo", "-pixel_format", format.keepsAlpha ? "rgba" : "rgb0"});
    add({"-video_size", fmt::format("{}x{}", videoSize.x, videoSize.y)});
    add({"-framerate", fmt::format("{}", frameRate), "-i", "pipe:0"});
    // Players take untagged video for BT.601 or BT.709 by its size, so it is converted by the one and says so.
    // Without "full_chroma_inp" the color of a last odd column would be mixed with the next row's first.
    add({"-vf", "scale=out_color_matrix=bt709:out_range=tv:flags=bicubic+accurate_rnd+full_chroma_inp,format=" +
                    format.pixelFormat});
    add({"-color_range", "tv", "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709"});
    add(format.encoder);
    add({"-fflags", "+bitexact", "-flags:v", "+bitexact"}); // no random ids
    add({"-f", format.muxer, "file:" + path});
    return arguments;
}

std::span<const std::uint8_t> ToVideoPixels(const VideoFormat& format, const Image& image,
                                            std::vector<std::uint8_t>& scratch)
{
    const glm::ivec2 size(image.GetWidth(), image.GetHeight());
    const glm::ivec2 videoSize = GetVideoSize(format, size);
    const bool overBlack = !format.keepsAlpha && !IsOpaque(image);
    if (size == videoSize && !overBlack)
        return {image.GetPixels(), std::size_t(size.x) * std::size_t(size.y) * 4};
    Enlarge(image, videoSize, scratch);
    if (overBlack)
        PutOverBlack(scratch);
    return scratch;
}

} // namespace Varkle
