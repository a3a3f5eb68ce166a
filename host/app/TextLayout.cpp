#include "TextLayout.h"

#include <algorithm>
#include <numeric>

namespace Varkle
{

namespace
{

using Widths = std::vector<std::size_t>; // of the columns, in characters

constexpr std::size_t gap = 2; // between columns

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

std::size_t GetLongestWord(std::string_view text)
{
    std::size_t longest = 0;
    for (const std::string_view word : SplitWords(text, text.size()))
        longest = std::max(longest, CountCharacters(word));
    return longest;
}

// As wide as a column's longest cell, as measured by `measure`; an empty column has one character.
template<class Measure>
Widths MeasureColumns(const TextTable& table, Measure measure)
{
    Widths widths(table.alignments.size(), 1);
    for (const std::vector<std::string>& row : table.rows)
    {
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], measure(row[i]));
    }
    return widths;
}

// What fits is as wide as it is. Else columns begin with their longest words, and the narrowest grow first: short ones
// stay whole, and the long ones share what is left.
Widths ChooseWidths(const TextTable& table, std::size_t columns)
{
    const Widths wanted = MeasureColumns(table, CountCharacters);
    Widths widths = MeasureColumns(table, GetLongestWord);
    const std::size_t gaps = gap * (widths.size() - 1);
    const std::size_t room = std::max(columns > gaps ? columns - gaps : 0, widths.size());
    std::size_t used = std::accumulate(widths.begin(), widths.end(), std::size_t(0));
    for (; used > room; --used)
        --*std::ranges::max_element(widths);
    for (; used < room; ++used)
    {
        std::size_t* narrowest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i)
        {
            if (widths[i] < wanted[i] && (!narrowest || widths[i] < *narrowest))
                narrowest = &widths[i];
        }
        if (!narrowest)
            break;
        ++*narrowest;
    }
    return widths;
}

std::string Align(const std::string& text, Alignment alignment, std::size_t width)
{
    const std::size_t spaces = width - CountCharacters(text);
    const std::size_t before = alignment == Alignment::Right ? spaces : alignment == Alignment::Center ? spaces / 2 : 0;
    return std::string(before, ' ') + text + std::string(spaces - before, ' ');
}

void AppendLine(std::string& text, const std::vector<std::string>& cells)
{
    std::string line;
    for (const std::string& cell : cells)
        line += (line.empty() ? "" : std::string(gap, ' ')) + cell;
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
}

void AppendRow(std::string& text, const std::vector<std::string>& row, const std::vector<Alignment>& alignments,
               const Widths& widths)
{
    std::vector<std::vector<std::string>> cells;
    std::size_t height = 1;
    for (std::size_t i = 0; i < widths.size(); ++i)
    {
        cells.push_back(BreakLines(row[i], widths[i]));
        height = std::max(height, cells.back().size());
    }
    for (std::size_t y = 0; y < height; ++y)
    {
        std::vector<std::string> line;
        for (std::size_t i = 0; i < widths.size(); ++i)
            line.push_back(Align(y < cells[i].size() ? cells[i][y] : "", alignments[i], widths[i]));
        AppendLine(text, line);
    }
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

std::string LayOutTable(const TextTable& table, std::size_t columns)
{
    const Widths widths = ChooseWidths(table, columns);
    std::vector<std::string> underlines;
    for (const std::size_t width : widths)
        underlines.emplace_back(width, '-');

    std::string text;
    for (const std::vector<std::string>& row : table.rows)
    {
        AppendRow(text, row, table.alignments, widths);
        if (&row == &table.rows.front())
            AppendLine(text, underlines);
    }
    return text;
}

} // namespace Varkle
