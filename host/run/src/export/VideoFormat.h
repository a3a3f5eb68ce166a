#pragma once

#include "Varkle/Gpu/Image.h"

#include <cstdint>
#include <glm/vec2.hpp>
#include <span>
#include <string>
#include <vector>

namespace Varkle
{

/// Is a kind of video file and how ffmpeg makes it.
struct VideoFormat
{
    std::string extension;   ///< with its point
    std::string muxer;       ///< as ffmpeg names it
    std::string pixelFormat; ///< that of the encoder
    bool keepsAlpha;         ///< else the pictures are put over black
    bool evenSizesOnly;
    std::vector<std::string> encoder; ///< ffmpeg's options for the encoder
};

/// Returns the format for a path's extension (case ignored), or null when it is no video's.
const VideoFormat* FindVideoFormat(const std::string& path);

/// Returns the size of the video for pictures of a size: the same, or the next even one.
glm::ivec2 GetVideoSize(const VideoFormat& format, glm::ivec2 pictureSize);

/// Returns ffmpeg's arguments for turning raw pictures (four bytes a pixel) on its standard input into a video file.
/// The same pictures give the same bytes each time.
std::vector<std::string> GetVideoArguments(const VideoFormat& format, glm::ivec2 videoSize, double frameRate,
                                           const std::string& path);

/// Returns a picture's bytes as the arguments above promise them: four bytes a pixel, the last column and row once more
/// where the size grows, color times alpha where the format has no alpha. They lie in the picture itself where nothing
/// has to change, else in `scratch`.
std::span<const std::uint8_t> ToVideoPixels(const VideoFormat& format, const Image& image,
                                            std::vector<std::uint8_t>& scratch);

} // namespace Varkle
