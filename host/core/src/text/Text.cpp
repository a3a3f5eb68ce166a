#include "Varkle/Core/Text.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>

namespace Varkle
{

namespace
{

constexpr std::size_t LongestQuote = 200;
constexpr std::size_t LargestDistance = 3;

char Folded(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? char(letter - 'A' + 'a') : letter;
}

/// Returns the optimal string alignment distance, or `limit + 1` when it is larger than the limit.
/// Source: the restricted edit distance of Damerau and Levenshtein, row by row.
std::size_t Distance(std::string_view a, std::string_view b, std::size_t limit)
{
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > limit)
        return limit + 1;

    std::vector<std::size_t> twoAbove(b.size() + 1);
    std::vector<std::size_t> above(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;

    for (std::size_t i = 1; i <= a.size(); ++i)
    {
        std::swap(twoAbove, above);
        std::swap(above, row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j)
        {
            const bool same = Folded(a[i - 1]) == Folded(b[j - 1]);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same ? 0 : 1)});
            const bool swapped =
                i > 1 && j > 1 && Folded(a[i - 1]) == Folded(b[j - 2]) && Folded(a[i - 2]) == Folded(b[j - 1]);
            if (swapped)
                row[j] = std::min(row[j], twoAbove[j - 2] + 1);
        }
        // A swap reaches back two rows, so both have to be beyond the limit before nothing can come in below it.
        if (*std::min_element(row.begin(), row.end()) > limit && *std::min_element(above.begin(), above.end()) > limit)
            return limit + 1;
    }
    return std::min(row.back(), limit + 1);
}

bool IsContinuationByte(char c)
{
    return (c & 0xC0) == 0x80;
}

} // namespace

std::string Escaped(std::string_view text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string Quoted(std::string_view name)
{
    if (name.size() <= LongestQuote)
        return Escaped(name);

    std::size_t end = LongestQuote;
    while (end > 0 && IsContinuationByte(name[end])) // not in the middle of a character
        --end;
    return Escaped(std::string(name.substr(0, end)) + "...");
}

std::string Printable(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string line;
    while (!text.empty())
    {
        const std::size_t length = GetCharacterLength(text);
        const std::string_view character = text.substr(0, std::max<std::size_t>(length, 1));
        text.remove_prefix(character.size());
        const auto first = std::uint8_t(character[0]);
        const bool isControl = (first < 0x20 && first != '\t') || first == 0x7f ||
                               (first == 0xC2 && length == 2 && std::uint8_t(character[1]) < 0xA0);
        if (length > 0 && !isControl)
        {
            line += character;
            continue;
        }
        for (const char byte : character)
            (line += "\\x") += {digits[std::uint8_t(byte) / 16], digits[std::uint8_t(byte) % 16]};
    }
    return line;
}

std::string Suggestion(std::string_view name, const std::vector<std::string>& known)
{
    const std::string* nearest = nullptr;
    std::size_t nearestDistance = LargestDistance + 1;
    for (const std::string& candidate : known)
    {
        if (candidate == name)
            return {};
        const std::size_t limit = std::min(std::max(name.size(), candidate.size()) / 3, LargestDistance);
        const std::size_t distance = Distance(name, candidate, limit);
        if (distance > limit || distance >= nearestDistance)
            continue;
        nearest = &candidate;
        nearestDistance = distance;
    }
    return nearest ? " (did you mean " + Quoted(*nearest) + "?)" : std::string();
}

std::string ToLower(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), Folded);
    return lower;
}

std::size_t GetCharacterLength(std::string_view text)
{
    if (text.empty())
        return 0;
    const auto first = std::uint8_t(text[0]);
    if (first < 0x80)
        return 1;

    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    if (!std::all_of(text.begin() + 1, text.begin() + std::ptrdiff_t(length), IsContinuationByte))
        return 0;

    const auto second = std::uint8_t(text[1]);
    const bool tooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool surrogate = first == 0xED && second > 0x9F;
    const bool beyondUnicode = first == 0xF4 && second > 0x8F;
    return tooLong || surrogate || beyondUnicode ? 0 : length;
}

std::size_t FindInvalidUtf8(std::string_view text)
{
    std::size_t index = 0;
    while (index < text.size())
    {
        const std::size_t length = GetCharacterLength(text.substr(index));
        if (length == 0)
            return index;
        index += length;
    }
    return std::string_view::npos;
}

} // namespace Varkle
