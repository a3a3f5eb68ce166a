#include "image/ImageCodecs.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <utility>

// After <cstdio>, which they need.
#include <jerror.h>
#include <jpeglib.h>

namespace Varkle
{
namespace
{

constexpr int Quality = 90;

// A progressive picture is sent in some ten scans. A small file with thousands would keep the decoder busy for minutes.
constexpr int MaxScans = 100;

// Huffman codes have at least one bit for each block of 64 values. In the strangest of subsamplings (4 by 1 next to
// 1 by 4) a component has one value for 4 pixels, and there are two of them.
constexpr std::size_t MaxPixelsPerByte = std::size_t(64) * 4 / 2 * 8;

// Where to jump on errors. libjpeg's own answers are to end the process and to print.
struct JpegErrors
{
    jpeg_error_mgr base{};
    std::jmp_buf whenFailed{};
};

[[noreturn]] void Fail(j_common_ptr codec)
{
    std::longjmp(reinterpret_cast<JpegErrors*>(codec->err)->whenFailed, 1);
}

// Tells warnings about lost pixels, which end the work, from those about oddities that do no harm. Levels from 0 up are
// mere traces.
void HandleMessage(j_common_ptr codec, int level)
{
    if (level >= 0)
        return;
    switch (codec->err->msg_code)
    {
    case JWRN_ADOBE_XFORM:
    case JWRN_BOGUS_PROGRESSION:
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_JFIF_MAJOR:
    case JWRN_NOT_SEQUENTIAL:
        return;
    default:
        Fail(codec);
    }
}

void PrintNothing(j_common_ptr) {}

void LimitScans(j_common_ptr codec)
{
    if (reinterpret_cast<j_decompress_ptr>(codec)->input_scan_number > MaxScans)
        Fail(codec);
}

jpeg_error_mgr* SetUp(JpegErrors& errors)
{
    jpeg_std_error(&errors.base);
    errors.base.error_exit = Fail;
    errors.base.emit_message = HandleMessage;
    errors.base.output_message = PrintNothing;
    return &errors.base;
}

struct JpegReader
{
    jpeg_decompress_struct codec{};
    jpeg_progress_mgr progress{};
    JpegErrors errors;

    ~JpegReader() { jpeg_destroy_decompress(&codec); }
};

struct JpegWriter
{
    jpeg_compress_struct codec{};
    JpegErrors errors;
    unsigned char* bytes = nullptr;
    unsigned long size = 0;

    ~JpegWriter()
    {
        jpeg_destroy_compress(&codec);
        std::free(bytes);
    }
};

// Mixes four inks into red, green and blue, in place. Files with Adobe's marker store how much of an ink is missing.
void MixInks(std::uint8_t* row, std::size_t width, bool isInverted)
{
    for (std::uint8_t* pixel = row; pixel != row + width * 4; pixel += 4)
    {
        const unsigned flip = isInverted ? 0 : 255;
        const unsigned light = pixel[3] ^ flip;
        for (int i = 0; i < 3; ++i)
            pixel[i] = ToEightBits((pixel[i] ^ flip) * light, 255 * 255);
        pixel[3] = 255;
    }
}

// libjpeg reports failures by jumping back to the start of the three functions below, which return false then. So
// nothing in them may have a destructor.

bool ReadHeader(JpegReader& reader, FileBytes bytes)
{
    if (setjmp(reader.errors.whenFailed) != 0)
        return false;
    jpeg_decompress_struct& codec = reader.codec;
    codec.err = SetUp(reader.errors);
    jpeg_create_decompress(&codec);
    jpeg_mem_src(&codec, bytes.data(), bytes.size());
    jpeg_read_header(&codec, TRUE);
    return true;
}

bool ReadPixels(JpegReader& reader, std::uint8_t* pixels)
{
    if (setjmp(reader.errors.whenFailed) != 0)
        return false;
    jpeg_decompress_struct& codec = reader.codec;
    const bool hasInks = codec.jpeg_color_space == JCS_CMYK || codec.jpeg_color_space == JCS_YCCK;
    codec.out_color_space = hasInks ? JCS_CMYK : JCS_EXT_RGBA;
    reader.progress.progress_monitor = LimitScans;
    codec.progress = &reader.progress;
    jpeg_start_decompress(&codec);
    while (codec.output_scanline < codec.output_height)
    {
        JSAMPROW row = pixels + std::size_t(codec.output_scanline) * codec.output_width * 4;
        jpeg_read_scanlines(&codec, &row, 1);
        if (hasInks)
            MixInks(row, codec.output_width, codec.saw_Adobe_marker != FALSE);
    }
    jpeg_finish_decompress(&codec); // reads on to the end mark, and fails where it is missing
    return true;
}

bool Write(JpegWriter& writer, const Image& image)
{
    if (setjmp(writer.errors.whenFailed) != 0)
        return false;
    jpeg_compress_struct& codec = writer.codec;
    codec.err = SetUp(writer.errors);
    jpeg_create_compress(&codec);
    jpeg_mem_dest(&codec, &writer.bytes, &writer.size);
    codec.image_width = JDIMENSION(image.GetWidth());
    codec.image_height = JDIMENSION(image.GetHeight());
    codec.input_components = 4;
    codec.in_color_space = JCS_EXT_RGBA; // alpha is skipped
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, Quality, TRUE);
    codec.comp_info[0].h_samp_factor = 1; // 4:4:4
    codec.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&codec, TRUE);
    while (codec.next_scanline < codec.image_height)
    {
        const std::uint8_t* from = image.GetPixels() + std::size_t(codec.next_scanline) * codec.image_width * 4;
        JSAMPROW row = const_cast<JSAMPROW>(from); // only read, but the interface is older than const
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
    return true;
}

} // namespace

Image DecodeJpeg(FileBytes bytes)
{
    JpegReader reader;
    if (!ReadHeader(reader, bytes))
        return {};
    const jpeg_decompress_struct& codec = reader.codec;
    if (!FitsImage(codec.image_width, codec.image_height))
        return {};
    const std::size_t pixelCount = std::size_t(codec.image_width) * codec.image_height;
    if (codec.arith_code == FALSE && pixelCount / MaxPixelsPerByte > bytes.size())
        return {};

    std::vector<std::uint8_t> pixels(pixelCount * 4);
    if (!ReadPixels(reader, pixels.data()))
        return {};
    return {{codec.image_width, codec.image_height}, std::move(pixels)};
}

std::vector<std::uint8_t> EncodeJpeg(const Image& image)
{
    JpegWriter writer;
    if (!Write(writer, image))
        return {};
    return {writer.bytes, writer.bytes + writer.size};
}

} // namespace Varkle
