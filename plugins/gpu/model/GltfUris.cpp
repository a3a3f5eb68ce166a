#include "model/GltfUris.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace Varkle
{

namespace
{

constexpr int MaxFoldersUp = 1;

// "C:", "http:", "file:", "data:" (RFC 3986, 3.1).
bool HasScheme(std::string_view name)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isMore = [&](char c)
    { return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; };
    const std::size_t colon = name.find(':');
    return colon != name.npos && colon > 0 && isLetter(name.front()) &&
           std::ranges::all_of(name.substr(0, colon), isMore);
}

// Returns how far above the folder it starts in a path gets on its way.
int CountFoldersUp(const std::filesystem::path& path)
{
    int up = 0;
    int most = 0;
    for (const std::filesystem::path& part : path)
    {
        if (part == "..")
            most = std::max(most, ++up);
        else if (!part.empty() && part != ".")
            --up;
    }
    return most;
}

unsigned char HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned char>(c - '0');
    const char lower = char(c | 0x20);
    return static_cast<unsigned char>(lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : 0);
}

} // namespace

std::optional<std::string> FindRefusal(std::string_view name)
{
    if (name.starts_with("data:"))
        return "It is a data URI that is not in base64.";
    if (HasScheme(name))
        return "A model may name files by relative paths only.";
    if (name.starts_with('/') || name.starts_with('\\'))
        return "An absolute path leads out of the folders that a model may read from.";
    if (name.find('\0') != name.npos)
        return "It has a null character.";
    if (CountFoldersUp(name) > MaxFoldersUp)
        return "It leads out of the folders that a model may read from: its own and the one around it.";
    return std::nullopt;
}

std::optional<std::string> FindBufferRefusal(std::string_view name)
{
    if (std::optional<std::string> refusal = FindRefusal(name))
        return refusal;
    constexpr std::array<std::string_view, 3> extensions = {".bin", ".glbin", ".glbuf"};
    const std::string extension = ToLower(std::filesystem::path(name).extension().native());
    if (std::ranges::find(extensions, extension) == extensions.end())
        return "The name of a buffer ends in \".bin\".";
    return std::nullopt;
}

std::string DecodeUri(std::string_view uri)
{
    std::string decoded;
    decoded.reserve(uri.size());
    for (std::size_t i = 0; i < uri.size(); ++i)
    {
        if (uri[i] == '%' && i + 2 < uri.size())
        {
            decoded += char(HexDigit(uri[i + 1]) << 4 | HexDigit(uri[i + 2]));
            i += 2;
        }
        else
            decoded += uri[i] == '+' ? ' ' : uri[i];
    }
    return decoded;
}

} // namespace Varkle
