#include "image/ImageCodecs.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

// stb_image is compiled into this file, private to it, for the kinds of files that nothing else here reads. It isn't
// trusted with HDR (a file that is cut off keeps it busy for ever), PNM (it misreads 16-bit values and doesn't
// scale others) and PSD (it takes packed 16-bit rows for 8-bit ones).
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_ONLY_BMP
#define STBI_ONLY_GIF
#define STBI_ONLY_PIC
#define STBI_ONLY_TGA
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_FAILURE_STRINGS
#define STBI_MAX_DIMENSIONS Varkle::Image::MaxSide
#define STBI_ASSERT(condition) ((void)(condition))
#include <stb/stb_image.h>

namespace Varkle
{
namespace
{

// stb_image looks this far ahead to tell the kind of a file, and loses a file's start when it ends before.
constexpr std::size_t LookAhead = 128;

// No picture that makes sense is packed better (PIC repeats a pixel 65535 times in 4 bytes). A GIF may be, when it
// draws on next to nothing of its area.
constexpr std::uint64_t MaxPixelsPerByte = 16384;

// Serves the bytes of a file, then LookAhead zeros.
struct Stream
{
    FileBytes bytes;
    std::size_t position = 0;

    std::size_t GetEnd() const { return bytes.size() + LookAhead; }
};

int Read(void* user, char* to, int count)
{
    Stream& stream = *static_cast<Stream*>(user);
    const std::size_t served = std::min(std::size_t(count), stream.GetEnd() - stream.position);
    const FileBytes rest = stream.bytes.subspan(std::min(stream.position, stream.bytes.size()));
    const std::size_t real = std::min(served, rest.size());
    std::copy_n(rest.begin(), real, to);
    std::fill_n(to + real, served - real, '\0');
    stream.position += served;
    return int(served);
}

void Skip(void* user, int count)
{
    Stream& stream = *static_cast<Stream*>(user);
    stream.position = std::min(stream.position + std::size_t(count), stream.GetEnd());
}

int IsAtEnd(void* user)
{
    const Stream& stream = *static_cast<Stream*>(user);
    return stream.position >= stream.GetEnd() ? 1 : 0;
}

} // namespace

Image DecodeWithStb(FileBytes bytes)
{
    glm::ivec2 size(0);
    int channels = 0;
    if (stbi_info_from_memory(bytes.data(), int(bytes.size()), &size.x, &size.y, &channels) == 0)
        return {};
    const std::int64_t height = std::abs(std::int64_t(size.y)); // negative in a BMP whose first row is the top one
    if (!FitsImage(size.x, height) || std::uint64_t(size.x * height) / MaxPixelsPerByte > bytes.size())
        return {};

    // stbi_load_from_callbacks, written out: stb_image takes what lacks at the end of a file for zeros, and only its
    // context tells how much of the stream it has used.
    Stream stream{bytes};
    stbi_io_callbacks callbacks{Read, Skip, IsAtEnd};
    stbi__context context;
    stbi__start_callbacks(&context, &callbacks, &stream);
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi__load_and_postprocess_8bit(&context, &size.x, &size.y, &channels, 4), stbi_image_free);
    const auto unused = std::size_t(context.img_buffer_end - context.img_buffer);
    if (!pixels || stream.position - unused > bytes.size())
        return {};
    return {size,
            std::vector<std::uint8_t>(pixels.get(), pixels.get() + std::size_t(size.x) * std::size_t(size.y) * 4)};
}

} // namespace Varkle
