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

} // namespace Varkle
