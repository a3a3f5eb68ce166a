#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace Varkle
{

/// Returns the text with its ASCII letters in lower case; other bytes are kept, whatever the locale.
inline std::string ToLower(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    return lower;
}

} // namespace Varkle
