#pragma once

#include "Varkle/Core/Export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What messages, documents and file names need of text. Texts are UTF-8 (RFC 3629) unless a function says otherwise.

namespace Varkle
{

/// Returns the text in double quotes with quotes, backslashes and control characters escaped as in JSON. Everything
/// else is kept; bytes that are not UTF-8 become U+FFFD.
VARKLE_API std::string Escaped(std::string_view text);

/// Returns a name for a message: Escaped, so that it reads as it does in a document and can't upset a terminal. Texts
/// longer than 200 bytes end in "..." before the closing quote.
VARKLE_API std::string Quoted(std::string_view name);

/// Returns a text that may come from anywhere, such as the name of a file, as it can stand in a line of a message:
/// control characters (but tabs) and bytes that are not UTF-8 as "\\x0a".
VARKLE_API std::string Printable(std::string_view text);

/// Returns ` (did you mean "Radius"?)` with the known name that is nearest to a mistyped one, or an empty string when
/// none is near or the name itself is known. The distance counts letters that are missing, added, wrong or swapped with
/// their neighbour; upper and lower case (of ASCII letters) are the same. A third of the letters may differ, three at
/// most. Among equally near names the first one wins.
VARKLE_API std::string Suggestion(std::string_view name, const std::vector<std::string>& known);

/// Returns the text with its ASCII letters in lower case; other bytes are kept, whatever the locale.
VARKLE_API std::string ToLower(std::string_view text);

/// Returns the length in bytes of the UTF-8 character at the start of a text, 0 when its bytes are none or it is empty.
VARKLE_API std::size_t GetCharacterLength(std::string_view text);

/// Returns the index of the first byte that is not UTF-8, std::string_view::npos when there is none.
VARKLE_API std::size_t FindInvalidUtf8(std::string_view text);

} // namespace Varkle
