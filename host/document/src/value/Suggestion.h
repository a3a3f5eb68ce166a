#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Returns the name for a message, in double quotes and escaped as in a document, so that it reads as it does there and
/// can't upset a terminal. Texts longer than 200 bytes end in "..." before the closing quote.
std::string Quoted(std::string_view name);

/// Returns ` (did you mean "Radius"?)` with the known name that is nearest to a mistyped one, or an empty string when
/// none is near or the name itself is known. The distance counts letters that are missing, added, wrong or swapped with
/// their neighbour; upper and lower case (of ASCII letters) are the same. A third of the letters may differ, three at
/// most. Among equally near names the first one wins.
std::string Suggestion(std::string_view name, const std::vector<std::string>& known);

} // namespace Varkle
