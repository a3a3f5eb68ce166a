#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Breaks a text at its spaces and line ends into lines of at most `columns` characters, one or more. A word that is
/// longer is broken wherever the line ends. No lines for a text without words.
std::vector<std::string> BreakLines(std::string_view text, std::size_t columns);

enum class Alignment
{
    Left,
    Center,
    Right,
};

/// Is a table of text: rows of as many cells as there are alignments, the first row being the head.
struct TextTable
{
    std::vector<Alignment> alignments; ///< by column
    std::vector<std::vector<std::string>> rows;
};

/// Lays out a table in lines of at most `columns` characters: the head underlined, two spaces between columns. Cells
/// that are too long for that go on below. A table of so many columns that not even one character of each fits is
/// wider.
std::string LayOutTable(const TextTable& table, std::size_t columns);

} // namespace Varkle
