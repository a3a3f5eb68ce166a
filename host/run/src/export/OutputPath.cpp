#include "Varkle/Run/OutputPath.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

struct Placeholder
{
    bool isFrame = false;
    std::size_t width = 0; // digits, filled with zeros
};

// Reads what stands between two braces: "key", "frame" or "frame:04".
std::optional<Placeholder> ReadPlaceholder(std::string_view text)
{
    if (text == "key")
        return Placeholder{};
    if (text == "frame")
        return Placeholder{true, 0};
    constexpr std::string_view start = "frame:";
    constexpr std::size_t mostDigits = 18;
    Placeholder placeholder{true, 0};
    if (!text.starts_with(start))
        return std::nullopt;
    const std::string_view digits = text.substr(start.size());
    const auto [end, code] = std::from_chars(digits.data(), digits.data() + digits.size(), placeholder.width);
    const bool whole = code == std::errc() && end == digits.data() + digits.size();
    return whole && digits.front() == '0' && placeholder.width <= mostDigits ? std::optional(placeholder)
                                                                             : std::nullopt;
}

// Calls `text` for what stands between placeholders and `placeholder` for those; stops at one that it can't read.
template<class Text, class Replace>
std::optional<std::string_view> Walk(std::string_view pattern, Text text, Replace replace)
{
    while (!pattern.empty())
    {
        const std::size_t open = pattern.find('{');
        const std::size_t close = open == std::string_view::npos ? open : pattern.find('}', open);
        text(pattern.substr(0, close == std::string_view::npos ? pattern.size() : open));
        if (close == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = pattern.substr(open + 1, close - open - 1);
        const std::optional<Placeholder> placeholder = ReadPlaceholder(name);
        if (!placeholder)
            return name;
        replace(*placeholder);
        pattern.remove_prefix(close + 1);
    }
    return std::nullopt;
}

} // namespace

Result<OutputPattern> OutputPattern::Read(std::string_view pattern, bool severalOperators, bool severalFrames)
{
    bool hasKey = false;
    bool hasFrame = false;
    const auto unknown = Walk(
        pattern, [](std::string_view) {},
        [&](const Placeholder& placeholder) { (placeholder.isFrame ? hasFrame : hasKey) = true; });
    if (unknown)
        return Error{fmt::format("output {}: {{{}}} is not known; there are {{key}}, {{frame}} and {{frame:04}}.",
                                 Quoted(pattern), *unknown)};
    if (severalOperators && !hasKey)
        return Error{
            fmt::format("output {}: several operators are written, so the path needs {{key}}.", Quoted(pattern))};
    OutputPattern result;
    result.pattern = pattern;
    if (severalFrames && !hasFrame)
    {
        const std::filesystem::path path = result.pattern;
        const std::size_t extension = result.pattern.size() - path.extension().string().size();
        result.pattern.insert(extension, "_{frame:04}");
    }
    return result;
}

std::string OutputPattern::Path(std::string_view key, long long frame) const
{
    std::string path;
    Walk(
        pattern, [&](std::string_view text) { path += text; },
        [&](const Placeholder& placeholder)
        { path += placeholder.isFrame ? fmt::format("{:0{}}", frame, placeholder.width) : std::string(key); });
    return path;
}

std::optional<ImageFormat> FindImageFormat(const std::string& path)
{
    const std::string extension = ToLower(std::filesystem::path(path).extension().string());
    if (extension == ".jpeg")
        return ImageFormat::Jpg;
    for (const ImageFormat format : {ImageFormat::Png, ImageFormat::Jpg, ImageFormat::Bmp, ImageFormat::Tga})
    {
        if (extension == GetImageFormatExtension(format))
            return format;
    }
    return std::nullopt;
}

} // namespace Varkle
