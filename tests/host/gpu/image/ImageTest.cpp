#include "Varkle/Gpu/Image.h"

#include "Varkle/Gpu/PictureMemory.h"
#include "support/Catch.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// Other people's readers and writers are the judge here: ImageMagick's `convert`.

using namespace Varkle;

namespace
{

using Bytes = std::vector<std::uint8_t>;

// A folder of a test's own, gone when the test ends.
class Folder
{
public:
    Folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "varkle-image-XXXXXX").string();
        REQUIRE(mkdtemp(name.data()) != nullptr);
        path = name;
    }
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string File(const std::string& name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

void Write(const std::string& path, const Bytes& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    REQUIRE(file.good());
}

Bytes Read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    REQUIRE(file.good());
    return {std::istreambuf_iterator<char>(file), {}};
}

// Runs ImageMagick in `folder`, where the arguments' files are.
void Convert(const Folder& folder, const std::string& arguments)
{
    const std::string command = "cd '" + folder.File("") + "' && convert " + arguments;
    INFO(command);
    REQUIRE(std::system(command.c_str()) == 0);
}

// The four values of each pixel, as ImageMagick reads them from a file's bytes.
Bytes ReadByOthers(const Bytes& bytes, const std::string& extension)
{
    const Folder folder;
    Write(folder.File("in" + extension), bytes);
    Convert(folder, "in" + extension + " -depth 8 rgba:out");
    return Read(folder.File("out"));
}

// Lets ImageMagick make a file out of values and its own settings.
Bytes MakeByOthers(const Bytes& values, const std::string& reading, const std::string& writing)
{
    const Folder folder;
    Write(folder.File("in"), values);
    Convert(folder, reading + ":in " + writing + ":out");
    return Read(folder.File("out"));
}

Bytes FromText(std::string_view text)
{
    return {text.begin(), text.end()};
}

Bytes Join(std::initializer_list<Bytes> parts)
{
    Bytes whole;
    for (const Bytes& part : parts)
        whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

Image Decode(const Bytes& bytes)
{
    return Image::LoadFromMemory(bytes.data(), bytes.size());
}

Bytes Pixels(const Image& image)
{
    REQUIRE(image.IsValid());
    return {image.GetPixels(), image.GetPixels() + std::ptrdiff_t(image.GetWidth()) * image.GetHeight() * 4};
}

// 3 by 5 pixels, no two the same, with alphas from 0 to 255.
Image Sample()
{
    Bytes pixels;
    for (int i = 0; i < 15; ++i)
    {
        for (const int value : {i * 17, 255 - i * 9, i * i, i == 14 ? 255 : i * 16})
            pixels.push_back(std::uint8_t(value));
    }
    return {{3, 5}, pixels};
}

// The 2 by 2 pixels that the files below hold: red, green, blue, and 10, 20, 30.
const Bytes FourColours{255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 10, 20, 30, 255};

const Bytes SmallPpm = Join({FromText("P6\n2 2\n255\n"), {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30}});

const Bytes SmallBmp{
    'B', 'M', 70,  0, 0,   0, 0, 0, 0,   0, 54, 0,  0,  0,         // size, offset of the pixels
    40,  0,   0,   0, 2,   0, 0, 0, 2,   0, 0,  0,  1,  0,  24, 0, // 2 by 2, 24 bits
    0,   0,   0,   0, 0,   0, 0, 0, 0,   0, 0,  0,  0,  0,  0,  0,
    0,   0,   0,   0, 0,   0, 0, 0, 255, 0, 0,  30, 20, 10, 0,  0, // bottom row: blue; 10, 20, 30; padding
    0,   0,   255, 0, 255, 0, 0, 0,                                // top row: red, green
};

// Run-length packed: the bottom row is stored as it is, the top one as two runs of one pixel.
const Bytes SmallTga{
    0,   0,   10, 0,   0,   0,  0,   0, 0, 0, 0, 0, 2, 0, 2, 0, 24, 0, // 2 by 2, 24 bits, packed
    1,   255, 0,  0,   30,  20, 10,                                    // two pixels follow
    128, 0,   0,  255, 128, 0,  255, 0,                                // one red, one green
};

const Bytes SmallGif{
    'G',  'I', 'F',  '8',  '9',  'a', 2, 0, 2,   0,  0x81, 0,  0, // 2 by 2, four colours
    255,  0,   0,    0,    255,  0,   0, 0, 255, 10, 20,   30,    // the palette
    0x2c, 0,   0,    0,    0,    2,   0, 2, 0,   0,               // a picture as large as the screen
    2,    3,   0x44, 0x34, 0x05, 0,                               // 3-bit codes: clear 0 1 2, then 4-bit: 3 end
    0x3b,
};

// A Softimage picture: comment and ratio are left empty, red, green, blue in one packet of mixed runs.
Bytes MakeSmallPic()
{
    Bytes pic{0x53, 0x80, 0xf6, 0x34};
    pic.resize(4 + 4 + 80, 0);
    return Join({pic,
                 FromText("PICT"),
                 {0, 2, 0, 2, 0, 0, 0, 0, 0, 3, 0, 0},    // 2 by 2
                 {0, 8, 2, 0xe0},                         // not chained, 8 bits, mixed, RGB
                 {1, 255, 0, 0, 0, 255, 0},               // two pixels as they are
                 {128, 0, 1, 0, 0, 255, 0, 10, 20, 30}}); // a run of one, one as it is
}

// A flat Radiance picture. Values are mantissa / 256 with exponent 128, * 2 with 129.
const Bytes SmallHdr = Join({FromText("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2 +X 2\n"),
                             {128, 0, 0, 129, 0, 128, 0, 129, 0, 0, 128, 129, 0, 0, 0, 0}});

// Three channels, one after the other; rows packed: each a code 1 ("two bytes follow") and two values.
const Bytes SmallPsd{
    '8', 'B', 'P', 'S', 0,  1,  0, 0, 0, 0, 0, 0, 0, 3, // version 1, three channels
    0,   0,   0,   2,   0,  0,  0, 2, 0, 8, 0, 3,       // 2 by 2, 8 bits, RGB
    0,   0,   0,   0,   0,  0,  0, 0, 0, 0, 0, 0,       // no palette, resources, layers
    0,   1,   0,   3,   0,  3,  0, 3, 0, 3, 0, 2, 0, 3, // packed, the lengths of the rows
    1,   255, 0,   1,   0,  10,                         // red
    1,   0,   255, 1,   0,  20,                         // green
    255, 0,   1,   255, 30,                             // blue: a run of two zeros
};

} // namespace

TEST_CASE("An image made of pixels hands out exactly these, and copies share them")
{
    const Image image({1, 2}, {1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(image.GetWidth() == 1);
    CHECK(image.GetHeight() == 2);
    CHECK(Pixels(image) == Bytes{1, 2, 3, 4, 5, 6, 7, 8});
    const Image copy = image;
    CHECK(copy.GetPixels() == image.GetPixels());
}

TEST_CASE("An image is empty by default and when size and pixels don't fit each other")
{
    for (const Image& image : {Image(), Image({0, 0}, {}), Image({2, 2}, Bytes(15)), Image({-1, -4}, Bytes(16)),
                               Image({1, 1}, {}), Image({Image::MaxSide + 1, 1}, Bytes(131076))})
    {
        CHECK_FALSE(image.IsValid());
        CHECK(image.GetWidth() == 0);
        CHECK(image.GetHeight() == 0);
        CHECK(image.GetPixels() == nullptr);
    }
}

TEST_CASE("File extensions carry their point")
{
    CHECK(GetImageFormatExtension(ImageFormat::Png) == ".png");
    CHECK(GetImageFormatExtension(ImageFormat::Jpg) == ".jpg");
    CHECK(GetImageFormatExtension(ImageFormat::Bmp) == ".bmp");
    CHECK(GetImageFormatExtension(ImageFormat::Tga) == ".tga");
}

// Writing

TEST_CASE("PNG, BMP and TGA keep every pixel with its alpha")
{
    const Image image = Sample();
    for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Bmp, ImageFormat::Tga})
    {
        const std::string extension(GetImageFormatExtension(format));
        INFO(extension);
        const Bytes file = image.Encode(format);
        CHECK(ReadByOthers(file, extension) == Pixels(image));
        CHECK(Decode(file).GetWidth() == 3);
        CHECK(Pixels(Decode(file)) == Pixels(image));
        CHECK(image.Encode(format) == file);
    }
}

TEST_CASE("A single pixel and a wide row can be written and read back")
{
    for (const int width : {1, 1000})
    {
        Bytes pixels;
        for (int i = 0; i < width * 4; ++i)
            pixels.push_back(std::uint8_t(i * 31 % 251));
        const Image image({width, 1}, pixels);
        for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Bmp, ImageFormat::Tga})
        {
            CHECK(ReadByOthers(image.Encode(format), std::string(GetImageFormatExtension(format))) == pixels);
            CHECK(Pixels(Decode(image.Encode(format))) == pixels);
        }
        CHECK(Decode(image.Encode(ImageFormat::Jpg)).GetWidth() == width);
    }
}

TEST_CASE("A fully transparent picture stays transparent in PNG, BMP and TGA")
{
    const Image image({2, 1}, {10, 20, 30, 0, 40, 50, 60, 0});
    for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Bmp, ImageFormat::Tga})
    {
        CHECK(ReadByOthers(image.Encode(format), std::string(GetImageFormatExtension(format))) == Pixels(image));
        CHECK(Pixels(Decode(image.Encode(format))) == Pixels(image));
    }
}

TEST_CASE("A PNG has four 8-bit channels even for an opaque grey picture")
{
    const Bytes png = Image({1, 1}, {7, 7, 7, 255}).Encode(ImageFormat::Png);
    REQUIRE(png.size() > 26);
    CHECK(png[24] == 8); // bit depth
    CHECK(png[25] == 6); // colour type: RGB with alpha
}

TEST_CASE("JPG drops alpha and keeps flat colours within two steps")
{
    Bytes pixels;
    for (int i = 0; i < 16 * 16; ++i)
        pixels.insert(pixels.end(), {200, 100, 50, 128});
    const Bytes file = Image({16, 16}, pixels).Encode(ImageFormat::Jpg);
    for (const Bytes& read : {ReadByOthers(file, ".jpg"), Pixels(Decode(file))})
    {
        REQUIRE(read.size() == 1024);
        CHECK(std::abs(read[0] - 200) <= 2);
        CHECK(std::abs(read[1] - 100) <= 2);
        CHECK(std::abs(read[2] - 50) <= 2);
        CHECK(read[3] == 255);
    }
}

TEST_CASE("JPG keeps the colour of a line that is one pixel wide")
{
    Bytes pixels;
    for (int i = 0; i < 16 * 16; ++i)
        pixels.insert(pixels.end(), {std::uint8_t(i % 16 == 8 ? 255 : 0), 0, 0, 255});
    const Bytes read = Pixels(Decode(Image({16, 16}, pixels).Encode(ImageFormat::Jpg)));
    CHECK(read[32] > 235); // with colours at half the resolution: 142
    CHECK(read[28] < 20);
}

TEST_CASE("An empty image and an unknown format give no bytes")
{
    CHECK(Image().Encode(ImageFormat::Png).empty());
    CHECK(Sample().Encode(ImageFormat(4)).empty());
    CHECK(GetImageFormatExtension(ImageFormat(4)).empty());
}

// Reading: every kind from bytes written by hand

TEST_CASE("Every kind of file that can be written by hand in a few bytes gives its pixels")
{
    CHECK(Pixels(Decode(SmallPpm)) == FourColours);
    CHECK(Pixels(Decode(SmallBmp)) == FourColours);
    CHECK(Pixels(Decode(SmallTga)) == FourColours);
    CHECK(Pixels(Decode(SmallGif)) == FourColours);
    CHECK(Pixels(Decode(MakeSmallPic())) == FourColours);
    CHECK(Pixels(Decode(SmallPsd)) == FourColours);
}

TEST_CASE("PNG pictures of every kind and depth become four channels of 8 bits")
{
    // Black, white; 4 bits: 0, 5, 15 of 15.
    CHECK(Pixels(Decode(MakeByOthers({0, 255}, "-size 2x1 -depth 8 gray", "-define png:bit-depth=1 png"))) ==
          Bytes{0, 0, 0, 255, 255, 255, 255, 255});
    CHECK(Pixels(Decode(MakeByOthers({0, 85, 255}, "-size 3x1 -depth 8 gray",
                                     "-define png:color-type=0 -define png:bit-depth=2 png"))) ==
          Bytes{0, 0, 0, 255, 85, 85, 85, 255, 255, 255, 255, 255});
    CHECK(Pixels(Decode(MakeByOthers({0, 85, 255}, "-size 3x1 -depth 8 gray",
                                     "-define png:color-type=0 -define png:bit-depth=4 png"))) ==
          Bytes{0, 0, 0, 255, 85, 85, 85, 255, 255, 255, 255, 255});
    CHECK(Pixels(Decode(MakeByOthers({0, 86, 255}, "-size 3x1 -depth 8 gray", "-define png:color-type=0 png"))) ==
          Bytes{0, 0, 0, 255, 86, 86, 86, 255, 255, 255, 255, 255});

    const std::string rgba = "-size 2x2 -depth 8 rgba";
    const Bytes clear{255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 255, 255, 10, 20, 30, 255};
    CHECK(Pixels(Decode(MakeByOthers(FourColours, rgba, "png8"))) == FourColours);
    CHECK(Pixels(Decode(MakeByOthers(clear, rgba, "png8")))[3] == 0);
    CHECK(Pixels(Decode(MakeByOthers(FourColours, rgba, "png24"))) == FourColours);
    CHECK(Pixels(Decode(MakeByOthers(FourColours, rgba, "-interlace PNG png24"))) == FourColours);
    CHECK(Pixels(Decode(MakeByOthers(Pixels(Sample()), "-size 3x5 -depth 8 rgba", "-interlace PNG png32"))) ==
          Pixels(Sample()));

    const Bytes greyAlpha{9, 9, 9, 128, 200, 200, 200, 0};
    CHECK(Pixels(Decode(MakeByOthers(greyAlpha, "-size 2x1 -depth 8 rgba", "-define png:color-type=4 png"))) ==
          greyAlpha);
}

TEST_CASE("Values of 16 bits are rounded to 8, not cut")
{
    // 128 * 255 / 65535 = 0.498, 129: 0.502, 65406: 254.498, 65407: 254.502
    const Bytes deep{0, 128, 0, 129, 0xff, 0x7e, 0xff, 0x7f};
    const Bytes shallow{0, 0, 0, 255, 1, 1, 1, 255, 254, 254, 254, 255, 255, 255, 255, 255};
    const std::string grey = "-size 4x1 -depth 16 -endian MSB gray";
    const std::string rgb = "-size 2x1 -depth 16 -endian MSB rgb";
    for (const char* kind : {"-define png:bit-depth=16 png", "pgm", "-compress none pgm"})
    {
        INFO(kind);
        CHECK(Pixels(Decode(MakeByOthers(deep, grey, kind))) == shallow);
    }

    const Bytes deepColours = Join({deep, {0, 0, 0xff, 0xff}});
    for (const char* kind :
         {"png48", "-interlace PNG png48", "ppm", "-compress none ppm", "-compress none psd", "-compress RLE psd"})
    {
        INFO(kind);
        CHECK(Pixels(Decode(MakeByOthers(deepColours, rgb, kind))) == Bytes{0, 1, 254, 255, 255, 0, 255, 255});
    }
}

TEST_CASE("A grey JPEG becomes red = green = blue with alpha 255")
{
    const Bytes pixels = Pixels(Decode(MakeByOthers(Bytes(64, 77), "-size 8x8 -depth 8 gray", "-quality 95 jpg")));
    REQUIRE(pixels.size() == 256);
    CHECK(Bytes(pixels.begin(), pixels.begin() + 4) == Bytes{77, 77, 77, 255});
}

TEST_CASE("Progressive and subsampled JPEGs of odd sizes are read like other programs read them")
{
    Bytes values;
    for (int i = 0; i < 19 * 13; ++i)
        values.insert(values.end(), {std::uint8_t(i % 19 * 13), std::uint8_t(i / 19 * 19), std::uint8_t(i)});
    for (const char* kind : {"-quality 80 jpg", "-interlace JPEG jpg", "-sampling-factor 2x2 jpg",
                             "-sampling-factor 2x1 -interlace JPEG jpg", "-define jpeg:optimize-coding=false jpg"})
    {
        INFO(kind);
        const Bytes file = MakeByOthers(values, "-size 19x13 -depth 8 rgb", kind);
        CHECK(Decode(file).GetWidth() == 19);
        CHECK(Decode(file).GetHeight() == 13);
        CHECK(Pixels(Decode(file)) == ReadByOthers(file, ".jpg"));
    }
}

TEST_CASE("A CMYK JPEG becomes RGB")
{
    Bytes inks;
    for (int i = 0; i < 64; ++i)
        inks.insert(inks.end(), {255, 0, 51, 51}); // cyan 100%, yellow 20%, black 20%
    const Bytes pixels = Pixels(Decode(MakeByOthers(inks, "-size 8x8 -depth 8 cmyk", "-quality 98 jpg")));
    REQUIRE(pixels.size() == 256);
    CHECK(pixels[0] <= 2);
    CHECK(std::abs(pixels[1] - 204) <= 2); // 255 * 80%
    CHECK(std::abs(pixels[2] - 163) <= 2); // 255 * 80% * 80%
    CHECK(pixels[3] == 255);
}

TEST_CASE("The orientation noted in a JPEG is left alone")
{
    const Bytes plain = MakeByOthers(Bytes(96, 128), "-size 8x4 -depth 8 rgb", "jpg");
    // Behind the two bytes of the start mark: Exif with one entry, orientation 6 (turn by 90 degrees).
    Bytes turned = Join({{0xff, 0xd8, 0xff, 0xe1, 0, 34},
                         FromText("Exif"),
                         {0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1},
                         {0x01, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0, 0, 0, 0, 0}});
    turned.insert(turned.end(), plain.begin() + 2, plain.end());
    const Folder folder;
    Write(folder.File("turned.jpg"), turned);
    Convert(folder, "turned.jpg -auto-orient -format %wx%h info:out");
    REQUIRE(Read(folder.File("out")) == FromText("4x8"));
    CHECK(Decode(turned).GetWidth() == 8);
    CHECK(Decode(turned).GetHeight() == 4);
}

TEST_CASE("BMP is read with palettes, top row first, and with alpha where it has some")
{
    const std::string rgba = "-size 2x2 -depth 8 rgba";
    CHECK(Pixels(Decode(MakeByOthers(FourColours, rgba, "-type Palette -colors 4 bmp3"))) == FourColours);
    CHECK(Pixels(Decode(MakeByOthers(FourColours, rgba, "-type TrueColor bmp3"))) == FourColours);
    const Bytes clear{255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 255, 128, 10, 20, 30, 255};
    CHECK(Pixels(Decode(MakeByOthers(clear, rgba, "bmp"))) == clear);

    Bytes topDown = SmallBmp;
    std::fill_n(topDown.begin() + 23, 3, 255); // the height becomes -2
    topDown[22] = 254;
    CHECK(Pixels(Decode(topDown)) == Bytes{0, 0, 255, 255, 10, 20, 30, 255, 255, 0, 0, 255, 0, 255, 0, 255});
}

TEST_CASE("TGA is read packed and unpacked, from either end, grey and with alpha")
{
    const Bytes pixels = Pixels(Sample());
    const std::string rgba = "-size 3x5 -depth 8 rgba";
    for (const char* kind : {"-orient TopLeft -compress none tga", "-orient TopLeft -compress RLE tga"})
        CHECK(Pixels(Decode(MakeByOthers(pixels, rgba, kind))) == pixels);
    CHECK(Pixels(Decode(MakeByOthers(FourColours, "-size 2x2 -depth 8 rgba",
                                     "-orient TopLeft -alpha off -type TrueColor tga"))) == FourColours);
    CHECK(Pixels(Decode({0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 8, 0x20, 7, 9})) ==
          Bytes{7, 7, 7, 255, 9, 9, 9, 255});
}

TEST_CASE("Of a moving GIF the first frame is read, and a transparent colour has alpha 0")
{
    const Folder folder;
    Convert(folder, "-size 2x2 xc:red xc:blue out.gif");
    CHECK(Pixels(Image::LoadFromFile(folder.File("out.gif"))) ==
          Bytes{255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255});
    Convert(folder, "-size 2x1 xc:red \\( -size 1x1 xc:none \\) +append clear.gif");
    const Bytes clear = Pixels(Image::LoadFromFile(folder.File("clear.gif")));
    REQUIRE(clear.size() == 12);
    CHECK(clear[3] == 255);
    CHECK(clear[11] == 0);
}

TEST_CASE("PNM is read as bits, grey and colours, as text and as bytes, with comments and any largest value")
{
    const Bytes bits{0, 0, 0, 255, 255, 255, 255, 255}; // 1 is black
    CHECK(Pixels(Decode(FromText("P1\n2 1\n10"))) == bits);
    CHECK(Pixels(Decode(FromText("P1 # two bits\n2 # wide\n1\n1 # black\n0\n"))) == bits);
    CHECK(Pixels(Decode(Join({FromText("P4 2 1\n"), {0x80}}))) == bits);
    CHECK(Decode(Join({FromText("P4 9 2\n"), {0, 0, 0, 0}})).GetWidth() == 9);

    // 1 of 3 is 85; 2 of 5: 102; 512 of 1023: 127.6
    CHECK(Pixels(Decode(FromText("P2 2 1 3 1 3"))) == Bytes{85, 85, 85, 255, 255, 255, 255, 255});
    CHECK(Pixels(Decode(FromText("P3 1 1 5 2 5 0"))) == Bytes{102, 255, 0, 255});
    CHECK(Pixels(Decode(Join({FromText("P5 1 1 1023\n"), {2, 0}}))) == Bytes{128, 128, 128, 255});
    CHECK(Pixels(Decode(Join({FromText("P5\n#a\n1\n#b\n1\n255\n"), {'#'}}))) == Bytes{35, 35, 35, 255});

    const std::string rgb = "-size 2x2 -depth 8 rgba";
    for (const char* kind : {"ppm", "-compress none ppm", "pnm"})
        CHECK(Pixels(Decode(MakeByOthers(FourColours, rgb, kind))) == FourColours);
    CHECK_FALSE(Decode(FromText("P2 1 1 3 4")).IsValid());
    CHECK_FALSE(Decode(FromText("P2 1 1 3 -1")).IsValid());
    CHECK_FALSE(Decode(FromText("P2 1 1 65536 4")).IsValid());
}

TEST_CASE("HDR is brought down with gamma 2.2, where 1.0 and more become 255")
{
    // 128 / 256 * 2 = 1; 128 / 256 = 0.5: 0.5 ^ (1 / 2.2) * 255 = 186.08; 1 / 256: 20.51
    const Bytes header = FromText("#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 2\n");
    CHECK(Pixels(Decode(Join({header, {128, 255, 0, 129, 128, 1, 0, 128}}))) ==
          Bytes{255, 255, 0, 255, 186, 21, 0, 255});
    CHECK(Pixels(Decode(SmallHdr)) == Bytes{255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 0, 0, 0, 255});
}

TEST_CASE("HDR rows that are packed by channel give the same pixels as flat ones")
{
    // 8 pixels: red is a run of 1.0, green a run of five zeros and three values as they are, blue and exponent runs.
    const Bytes packed = Join({FromText("#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 1 +X 8\n"),
                               {2, 2, 0, 8, 136, 128, 133, 0, 3, 128, 64, 128, 136, 0, 136, 129}});
    const Bytes pixels = Pixels(Decode(packed));
    REQUIRE(pixels.size() == 32);
    CHECK(Bytes(pixels.begin(), pixels.begin() + 4) == Bytes{255, 0, 0, 255});
    CHECK(Bytes(pixels.end() - 8, pixels.end()) == Bytes{255, 186, 0, 255, 255, 255, 0, 255});

    const Bytes made = MakeByOthers(Bytes(60, 255), "-size 20x1 -depth 8 rgb", "hdr");
    CHECK(Pixels(Decode(made)) == Bytes(80, 255));
}

TEST_CASE("PSD is read with its alpha, and the white behind transparent pixels is taken out")
{
    const Bytes clear{255, 0, 0, 0, 0, 255, 0, 255, 0, 0, 255, 255, 10, 20, 30, 255};
    const Bytes made = Pixels(Decode(MakeByOthers(clear, "-size 2x2 -depth 8 rgba", "psd")));
    CHECK(made[3] == 0);
    CHECK(Bytes(made.begin() + 4, made.end()) == Bytes(clear.begin() + 4, clear.end()));

    // Raw, one pixel: half (128) of 100, 0, 255 over white: 100 * 128 / 255 + 127 = 177, 127, 255.
    Bytes psd(SmallPsd.begin(), SmallPsd.begin() + 38);
    psd[13] = 4;           // channels
    psd[17] = psd[21] = 1; // height, width
    psd = Join({psd, {0, 0, 177, 127, 255, 128}});
    CHECK(Pixels(Decode(psd)) == Bytes{100, 0, 255, 128});
}

TEST_CASE("The content decides which kind a file is, and paths are UTF-8")
{
    const Folder folder;
    const std::string path = folder.File("Größe – 画像.jpg");
    Write(path, SmallPpm);
    CHECK(Pixels(Image::LoadFromFile(path)) == FourColours);
}

TEST_CASE("A PNG of more than 64 MiB in one piece is read")
{
    const int side = 4300;
    Bytes pixels(std::size_t(side) * side * 4);
    std::uint32_t noise = 1;
    for (std::uint8_t& value : pixels)
    {
        noise = noise * 1664525u + 1013904223u;
        value = std::uint8_t(noise >> 24);
    }
    const Image image({side, side}, pixels);
    const Bytes png = image.Encode(ImageFormat::Png);
    CHECK(png.size() > 65u << 20);
    const Image read = Decode(png);
    REQUIRE(read.IsValid());
    CHECK(std::memcmp(read.GetPixels(), image.GetPixels(), pixels.size()) == 0);
}

// Reading what is no picture

namespace
{

struct Claim
{
    const char* kind;
    Bytes bytes;
};

// Beginnings of files that say that megapixels without end are to follow.
std::vector<Claim> MakeHugeClaims()
{
    const Bytes zeros(200, 0);
    Bytes pic = MakeSmallPic();
    std::fill_n(pic.begin() + 92, 4, 255);
    Bytes gif = SmallGif;
    std::fill_n(gif.begin() + 6, 4, 255);
    Bytes bmp = SmallBmp;
    bmp[20] = bmp[24] = 1; // 65,538 by 65,538
    Bytes bmpWithinLimits = SmallBmp;
    bmpWithinLimits[19] = bmpWithinLimits[23] = 0x3f; // 16,130 by 16,130
    Bytes negativeBmp = SmallBmp;
    std::fill_n(negativeBmp.begin() + 22, 3, 0);
    negativeBmp[25] = 128; // -2^31 rows
    Bytes tga = SmallTga;
    std::fill_n(tga.begin() + 12, 4, 255);
    Bytes psd = SmallPsd;
    psd[15] = psd[19] = 2; // 131,074 by 131,074
    const Bytes pngEnd{0, 0, 0, 0, 'I', 'E', 'N', 'D', 0xae, 0x42, 0x60, 0x82};
    // 100,000 by 100,000 with the right checksum
    const Bytes png = Join({{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'},
                            {0, 1, 0x86, 0xa0, 0, 1, 0x86, 0xa0, 8, 6, 0, 0, 0, 0xa8, 0x52, 0x0b, 0xc8},
                            pngEnd});
    Bytes jpeg = Sample().Encode(ImageFormat::Jpg);
    const Bytes frame{0xff, 0xc0, 0, 17, 8};
    const auto size = std::search(jpeg.begin(), jpeg.end(), frame.begin(), frame.end()) + 5;
    Bytes jpegWithinLimits = jpeg;
    std::fill_n(size, 4, 255);
    std::fill_n(jpegWithinLimits.begin() + (size - jpeg.begin()), 4, 0x3f); // 16,191 by 16,191

    // 16,384 by 16,384, complete, but without pixels
    const Bytes pngWithinLimits = Join({Bytes(png.begin(), png.begin() + 16),
                                        {0, 0, 0x40, 0, 0, 0, 0x40, 0, 8, 6, 0, 0, 0, 0xa9, 0xc8, 0x10, 0x84},
                                        pngEnd});

    return {
        {"PNG", png},
        {"PNG within the limits", pngWithinLimits},
        {"JPEG", jpeg},
        {"JPEG within the limits", jpegWithinLimits},
        {"BMP", bmp},
        {"BMP within the limits", bmpWithinLimits},
        {"BMP, negative", negativeBmp},
        {"TGA", tga},
        {"GIF", gif},
        {"PIC", pic},
        {"PSD", psd},
        {"PNM", Join({FromText("P6 100000 100000 255\n"), zeros})},
        {"PNM within the limits", Join({FromText("P4 16384 16384\n"), zeros})},
        {"PNM beyond all numbers", FromText("P6 99999999999999999999 1 255\n")},
        {"HDR", Join({FromText("#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 100000 +X 100000\n"), zeros})},
        {"HDR beyond all numbers", FromText("#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 99999999999 +X 99999999999\n")},
        {"HDR within the limits", Join({FromText("#?RGBE\nFORMAT=32-bit_rle_rgbe\n\n-Y 16384 +X 16384\n"), zeros})},
    };
}

long GetPeakMemoryInKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

TEST_CASE("A picture of no size, or of one beyond the limits, is refused without taking memory for it")
{
    for (const Claim& claim : MakeHugeClaims())
    {
        INFO(claim.kind);
        const long before = GetPeakMemoryInKiB();
        CHECK_FALSE(Decode(claim.bytes).IsValid());
        CHECK(GetPeakMemoryInKiB() - before < 65536);
    }
    for (const std::size_t at : {16u, 20u}) // the bytes of width and height
    {
        Bytes png = Sample().Encode(ImageFormat::Png);
        std::fill_n(png.begin() + std::ptrdiff_t(at), 4, 0);
        CHECK_FALSE(Decode(png).IsValid());
    }
    CHECK_FALSE(Decode(FromText("P6 0 1 255\n")).IsValid());
    CHECK_FALSE(Decode(FromText("P2 1 0 255\n")).IsValid());
}

TEST_CASE("Every kind of file is refused when it is cut off anywhere")
{
    const Bytes png = Sample().Encode(ImageFormat::Png);
    const Bytes deepPng =
        MakeByOthers({1, 2, 3, 4}, "-size 2x1 -depth 16 gray", "-define png:bit-depth=16 -interlace PNG png");
    const Bytes jpeg = Sample().Encode(ImageFormat::Jpg);
    const Bytes progressive = MakeByOthers(Bytes(1800, 90), "-size 30x20 -depth 8 rgb", "-interlace JPEG jpg");
    const Bytes tga = Sample().Encode(ImageFormat::Tga);
    const Bytes bmp = Sample().Encode(ImageFormat::Bmp);
    const Bytes packedHdr = MakeByOthers(Bytes(180, 99), "-size 20x3 -depth 8 rgb", "hdr");
    const Bytes gif(SmallGif.begin(), SmallGif.end() - 1); // the last byte says that no more frames follow

    for (const Bytes& whole : {png, deepPng, jpeg, progressive, tga, bmp, gif, packedHdr, SmallPpm, SmallBmp, SmallTga,
                               MakeSmallPic(), SmallHdr, SmallPsd, FromText("P3 1 1 5 2 5 0")})
    {
        REQUIRE(Decode(whole).IsValid());
        for (std::size_t size = 0; size < whole.size(); ++size)
        {
            INFO(std::string(whole.begin(), whole.begin() + 4) << ", " << size << " of " << whole.size() << " bytes");
            CHECK_FALSE(Decode(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size))).IsValid());
        }
    }
}

TEST_CASE("Damaged files are refused or read, but never break anything")
{
    const Bytes jpeg = MakeByOthers(Bytes(1800, 90), "-size 30x20 -depth 8 rgb", "-interlace JPEG jpg");
    std::uint32_t random = 1;
    for (const Bytes& whole : {Sample().Encode(ImageFormat::Png), jpeg, Sample().Encode(ImageFormat::Bmp), SmallTga,
                               SmallGif, MakeSmallPic(), SmallHdr, SmallPsd, SmallPpm})
    {
        for (int round = 0; round < 300; ++round)
        {
            Bytes damaged = whole;
            for (int i = 0; i < 3; ++i)
            {
                random = random * 1664525u + 1013904223u;
                damaged[(random >> 8) % damaged.size()] = std::uint8_t(random >> 24);
            }
            const Image image = Decode(damaged);
            if (image.IsValid())
                CHECK(Pixels(image).size() == std::size_t(image.GetWidth()) * std::size_t(image.GetHeight()) * 4);
        }
    }
}

TEST_CASE("A changed byte in a PNG's pixels is noticed")
{
    Bytes png = Sample().Encode(ImageFormat::Png);
    png[45] ^= 1;
    CHECK_FALSE(Decode(png).IsValid());
}

TEST_CASE("A JPEG with thousands of scans is refused")
{
    // The one scan of a large grey picture, again and again.
    const Bytes whole = MakeByOthers(Bytes(1000000, 90), "-size 1000x1000 -depth 8 gray", "-interlace JPEG jpg");
    const Bytes mark{0xff, 0xda};
    const auto first = std::search(whole.begin(), whole.end(), mark.begin(), mark.end());
    const auto second = std::search(first + 2, whole.end(), mark.begin(), mark.end());
    REQUIRE(second != whole.end());
    Bytes many(whole.begin(), second);
    for (int i = 0; i < 5000; ++i)
        many.insert(many.end(), first, second);
    many.insert(many.end(), second, whole.end());

    CHECK_FALSE(Decode(many).IsValid()); // decoding every scan would take minutes, longer than the test may
}

TEST_CASE("What is no picture gives an empty image")
{
    CHECK_FALSE(Image::LoadFromMemory(nullptr, 0).IsValid());
    for (const char* text : {"", "\n", "P", "P6", "P7 1 1 255 xxx", "PNG", "BM", "GIF89a", "8BPS", "#?RADIANCE\n",
                             "\xff\xd8\xff", "\x89PNG\r\n\x1a\n", "Just a text, longer than the header of a TGA file."})
        CHECK_FALSE(Decode(FromText(text)).IsValid());
}

TEST_CASE("A path that can't be read gives an empty image, silently")
{
    const Folder folder;
    Write(folder.File("empty.png"), {});
    Write(folder.File("text.png"), FromText("Dear reader,\nthis is a letter.\n"));
    Write(folder.File("cut.jpg"), {0xff, 0xd8, 0xff, 0xe0, 0, 16});
    REQUIRE(mkfifo(folder.File("pipe.png").c_str(), 0600) == 0);

    // What libraries print goes to this file meanwhile.
    const int screen = dup(STDERR_FILENO);
    REQUIRE(freopen(folder.File("printed").c_str(), "w", stderr) != nullptr);
    std::vector<Image> images;
    for (const std::string& path :
         {folder.File("empty.png"), folder.File("text.png"), folder.File("cut.jpg"), folder.File("pipe.png"),
          folder.File("missing.png"), folder.File(""), std::string(), std::string("\xff\xfe"), std::string(5000, 'a')})
        images.push_back(Image::LoadFromFile(path));
    images.push_back(Decode(FromText("\xff\xd8\xff rubbish")));
    std::fflush(stderr);
    dup2(screen, STDERR_FILENO);
    close(screen);

    for (const Image& image : images)
        CHECK_FALSE(image.IsValid());
    CHECK(Read(folder.File("printed")).empty());
}

TEST_CASE("The memory of a picture counts once while any copy of it lives")
{
    const std::uint64_t before = GetPictureMemory();
    Image image({4, 2}, std::vector<std::uint8_t>(32));
    Image copy = image;
    CHECK(GetPictureMemory() == before + 32);
    image = {};
    CHECK(GetPictureMemory() == before + 32);
    copy = {};
    CHECK(GetPictureMemory() == before);
}
