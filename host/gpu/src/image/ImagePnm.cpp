#include "image/ByteReader.h"
#include "image/ImageCodecs.h"

#include <algorithm>
#include <string_view>
#include <utility>

// PNM: pbm(5), pgm(5) and ppm(5) of Netpbm. P1 to P3 hold their values as text, P4 to P6 as bytes; each three are bits
// (1 is black), grey values and colors.

namespace Varkle
{
namespace
{

// Larger than any side or value that is accepted.
constexpr std::uint32_t TooLarge = 1u << 20;

bool IsSpace(char letter)
{
    return std::string_view(" \t\n\v\f\r").find(letter) != std::string_view::npos;
}

bool IsDigit(char letter)
{
    return letter >= '0' && letter <= '9';
}

// Reads a letter of the header or of values in text; comments count as the end of line that closes them.
char ReadLetter(ByteReader& file)
{
    char letter = char(file.Byte());
    if (letter == '#')
    {
        while (letter != '\n' && letter != '\r' && !file.HasRunOut())
            letter = char(file.Byte());
    }
    return letter;
}

// Reads a number and the one space behind it, TooLarge where there is none. At the end of the file the space may lack.
std::uint32_t ReadNumber(ByteReader& file)
{
    char letter = ReadLetter(file);
    while (IsSpace(letter))
        letter = ReadLetter(file);
    if (!IsDigit(letter))
        return TooLarge;

    std::uint32_t number = 0;
    while (true)
    {
        number = std::min(number * 10 + std::uint32_t(letter - '0'), TooLarge);
        if (file.GetRest().empty())
            return number;
        letter = ReadLetter(file);
        if (!IsDigit(letter))
            return IsSpace(letter) ? number : TooLarge;
    }
}

// Reads a bit of P1, which needs no space around it.
std::uint32_t ReadTextBit(ByteReader& file)
{
    char letter = ReadLetter(file);
    while (IsSpace(letter))
        letter = ReadLetter(file);
    return letter == '0' || letter == '1' ? std::uint32_t(letter - '0') : TooLarge;
}

} // namespace

Image DecodePnm(FileBytes bytes)
{
    ByteReader file(bytes);
    file.Take(1);
    const int kind = file.Byte() - '0';
    const bool isText = kind <= 3;
    const bool hasBits = kind == 1 || kind == 4;
    const bool hasColor = kind == 3 || kind == 6;

    const std::uint32_t width = ReadNumber(file);
    const std::uint32_t height = ReadNumber(file);
    const std::uint32_t maximum = hasBits ? 1 : ReadNumber(file);
    if (!FitsImage(width, height) || maximum < 1 || maximum > 65535)
        return {};
    const bool isWide = maximum > 255;

    // In text each value has at least one digit.
    const std::size_t rowValues = std::size_t(width) * (hasColor ? 3 : 1);
    const std::size_t rowBytes = kind == 4 ? (rowValues + 7) / 8 : rowValues * (isWide && !isText ? 2 : 1);
    if (file.GetRest().size() < rowBytes * height)
        return {};

    std::vector<std::uint8_t> pixels(std::size_t(width) * height * 4, 255);
    std::uint8_t* pixel = pixels.data();
    for (std::uint32_t y = 0; y < height; ++y)
    {
        std::uint32_t bits = 0;
        for (std::uint32_t x = 0; x < width; ++x, pixel += 4)
        {
            for (int channel = 0; channel < (hasColor ? 3 : 1); ++channel)
            {
                std::uint32_t value = 0;
                if (kind == 1)
                    value = ReadTextBit(file);
                else if (isText)
                    value = ReadNumber(file);
                else if (kind == 4)
                {
                    bits = x % 8 == 0 ? file.Byte() : bits << 1;
                    value = bits >> 7 & 1;
                }
                else
                    value = isWide ? file.Big16() : file.Byte();

                if (value > maximum || file.HasRunOut())
                    return {};
                pixel[channel] = ToEightBits(hasBits ? 1 - value : value, maximum);
            }
            if (!hasColor)
                pixel[1] = pixel[2] = pixel[0];
        }
    }
    return {{width, height}, std::move(pixels)};
}

} // namespace Varkle
