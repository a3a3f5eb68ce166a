#include "TextLayout.h"

#include <algorithm>

namespace Varkle
{

namespace
{

// UTF-8: all bytes of a character but its first have 10 as their highest bits.
bool StartsCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::size_t CountCharacters(std::string_view text)
{
    return std::size_t(std::ranges::count_if(text, StartsCharacter));
}

// Returns the bytes of the first characters.
std::string_view TakeCharacters(std::string_view text, std::size_t count)
{
    std::size_t end = 0;
    for (std::size_t characters = 0; end < text.size(); ++end)
    {
        if (StartsCharacter(text[end]) && characters++ == count)
            break;
    }
    return text.substr(0, end);
}

// The words, those that are longer than a line in pieces.
std::vector<std::string_view> SplitWords(std::string_view text, std::size_t columns)
{
    constexpr std::string_view space = " \n";
    std::vector<std::string_view> words;
    std::size_t begin = text.find_first_not_of(space);
    while (begin != std::string_view::npos)
    {
        const std::size_t end = std::min(text.find_first_of(space, begin), text.size());
        words.push_back(TakeCharacters(text.substr(begin, end - begin), columns));
        begin = text.find_first_not_of(space, begin + words.back().size());
    }
    return words;
}

} // namespace

std::vector<std::string> BreakLines(std::string_view text, std::size_t columns)
{
    std::vector<std::string> lines;
    std::size_t length = 0;
    for (const std::string_view word : SplitWords(text, columns))
    {
        const std::size_t wordLength = CountCharacters(word);
        if (lines.empty() || length + 1 + wordLength > columns)
        {
            lines.emplace_back(word);
            length = wordLength;
            continue;
        }
        lines.back().append(" ").append(word);
        length += 1 + wordLength;
    }
    return lines;
}

} // namespace Varkle
