#include "value/Suggestion.h"

#include "value/Json.h"

#include <algorithm>
#include <cstddef>

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

} // namespace

std::string Quoted(std::string_view name)
{
    if (name.size() <= LongestQuote)
        return WriteJsonString(name);

    std::size_t end = LongestQuote;
    while (end > 0 && (name[end] & 0xC0) == 0x80) // not in the middle of a character
        --end;
    return WriteJsonString(std::string(name.substr(0, end)) + "...");
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

} // namespace Varkle
