#include "model/Base64.h"

#include <array>
#include <cstdint>

namespace Varkle
{

namespace
{

constexpr unsigned Invalid = 0x80;

// The six bits that each character stands for.
constexpr std::array<std::uint8_t, 256> bitsOf = []
{
    std::array<std::uint8_t, 256> bits{};
    bits.fill(Invalid);
    std::uint8_t next = 0;
    for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"))
        bits[std::uint8_t(c)] = next++;
    return bits;
}();

unsigned Bits(char c)
{
    return bitsOf[std::uint8_t(c)];
}

std::string_view WithoutPadding(std::string_view text)
{
    for (int i = 0; i < 2 && text.ends_with('='); ++i)
        text.remove_suffix(1);
    return text;
}

} // namespace

std::optional<std::vector<unsigned char>> DecodeBase64(std::string_view text)
{
    text = WithoutPadding(text);
    const std::size_t rest = text.size() % 4;
    if (rest == 1)
        return std::nullopt;
    const std::size_t whole = text.size() - rest;
    std::vector<unsigned char> bytes(whole / 4 * 3 + (rest ? rest - 1 : 0));

    unsigned seen = 0; // all bits together: an invalid character shows in them
    unsigned char* out = bytes.data();
    for (std::size_t i = 0; i < whole; i += 4)
    {
        const unsigned a = Bits(text[i]), b = Bits(text[i + 1]), c = Bits(text[i + 2]), d = Bits(text[i + 3]);
        seen |= a | b | c | d;
        *out++ = static_cast<unsigned char>(a << 2 | b >> 4);
        *out++ = static_cast<unsigned char>(b << 4 | c >> 2);
        *out++ = static_cast<unsigned char>(c << 6 | d);
    }
    if (rest > 0)
    {
        const unsigned a = Bits(text[whole]), b = Bits(text[whole + 1]), c = rest == 3 ? Bits(text[whole + 2]) : 0;
        seen |= a | b | c;
        *out++ = static_cast<unsigned char>(a << 2 | b >> 4);
        if (rest == 3)
            *out++ = static_cast<unsigned char>(b << 4 | c >> 2);
    }
    if (seen & Invalid)
        return std::nullopt;
    return bytes;
}

} // namespace Varkle
