#include "model/GltfJson.h"

#include "model/Base64.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace Varkle
{

namespace
{

// No media type: no data URI looks so, and no file is likely to be called so.
constexpr std::string_view LiftedPrefix = "data:embedded-";

constexpr std::string_view Space = " \t\r\n";

using Json = nlohmann::json;
using Bytes = std::vector<unsigned char>;

// Takes in nothing but the first error.
class ErrorFinder final : public Json::json_sax_t
{
public:
    explicit ErrorFinder(std::string_view jsonText) : text(jsonText) {}

    std::string GetError() const { return error; }

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(string_t&) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }

    // `position` counts the bytes up to the one at fault.
    bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception& exception) override
    {
        const std::string_view before = text.substr(0, std::max<std::size_t>(position, 1) - 1);
        const std::size_t lineBegin = before.rfind('\n') + 1; // 0 when there is none
        error = "line " + std::to_string(std::ranges::count(before, '\n') + 1) + ", column " +
                std::to_string(before.size() - lineBegin + 1) + ": " + Explain(exception.what());
        return false;
    }

private:
    // The library's sentence: "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error while
    // parsing value - invalid literal; last read: 'x'".
    static std::string Explain(std::string_view sentence)
    {
        sentence.remove_prefix(std::min(sentence.find("] ") + 2, sentence.size()));
        if (const std::size_t dash = sentence.find(" - "); dash != sentence.npos)
            sentence.remove_prefix(dash + 3);
        return std::string(sentence.substr(0, sentence.find("; last read")));
    }

    std::string_view text;
    std::string error;
};

class Surveyor
{
public:
    explicit Surveyor(std::string_view jsonText) : text(jsonText) {}

    JsonSurvey Run()
    {
        while (at < text.size())
            Step(text[at++]);
        if (survey.buffers == 1 && bufferSizes == 1 && !mayHaveUri)
            survey.plainBuffer = buffer;
        return std::move(survey);
    }

private:
    void Step(char c)
    {
        switch (c)
        {
        case '"':
            return TakeString();
        case ':':
            key = lastString;
            isMember = true;
            if (depth == 1)
                list = key;
            if (depth == 3 && list == "buffers")
                TakeBufferMember();
            return;
        case ',':
            ++survey.values;
            isMember = false;
            return;
        case '[':
        case '{':
            return Open(c);
        case '}':
            if (depth == 3 && list == "buffers" && !bufferUri.empty())
                survey.namedBuffers.push_back({text.substr(buffer.begin, at - 1 - buffer.begin), bufferUri});
            [[fallthrough]];
        case ']':
            depth -= depth > 0;
            return;
        default:
            return;
        }
    }

    void Open(char c)
    {
        isMember = false;
        ++survey.values;
        survey.depth = std::max(survey.depth, ++depth);
        if (c == '[')
            return;
        ++survey.objects;
        if (depth != 3)
            return;
        survey.rareElements += list != "nodes" && list != "meshes" && list != "accessors" && list != "bufferViews";
        // With an escape in it, the name may be this one.
        survey.buffers += list == "buffers" || list.find('\\') != list.npos;
        if (list != "buffers")
            return;
        buffer.begin = at;
        bufferUri = {};
    }

    void TakeBufferMember()
    {
        // With an escape in it, the key may be this one.
        mayHaveUri = mayHaveUri || key == "uri" || key.find('\\') != key.npos;
        if (key != "byteLength")
            return;
        ++bufferSizes;
        const std::size_t begin = text.find_first_not_of(Space, at);
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data() + std::min(begin, text.size()), end, buffer.size);
        const std::size_t behind = text.find_first_not_of(Space, std::size_t(rest - text.data()));
        if (error != std::errc() || behind == text.npos || (text[behind] != ',' && text[behind] != '}'))
            ++bufferSizes; // a fraction, or no number
    }

    void TakeString()
    {
        const std::size_t begin = at;
        at = std::min(FindClosingQuote(begin), text.size());
        lastString = text.substr(begin, at - begin);
        ++at;
        if (!std::exchange(isMember, false) || key != "uri")
            return;
        const bool isData = lastString.starts_with("data:");
        if (isData)
            survey.dataUris.push_back(lastString);
        if (depth == 3 && list == "buffers")
            bufferUri = isData ? std::string_view() : lastString;
    }

    // Data URIs have megabytes: the C library's search beats a loop by far.
    std::size_t FindClosingQuote(std::size_t begin) const
    {
        for (std::size_t quote = text.find('"', begin); quote != text.npos; quote = text.find('"', quote + 1))
        {
            std::size_t backslashes = 0;
            while (quote - backslashes > begin && text[quote - backslashes - 1] == '\\')
                ++backslashes;
            if (backslashes % 2 == 0)
                return quote;
        }
        return text.npos;
    }

    std::string_view text;
    std::size_t at = 0;
    std::size_t depth = 0;
    std::string_view lastString;
    std::string_view key;  // of the member whose value comes next
    std::string_view list; // the member of the outermost object
    bool isMember = false; // a colon came, its value didn't yet
    PlainBuffer buffer;    // the last one
    std::string_view bufferUri;
    std::size_t bufferSizes = 0;
    bool mayHaveUri = false;
    JsonSurvey survey;
};

// RFC 2397: data:[media type][;base64],data
std::optional<std::vector<unsigned char>> DecodeDataUri(std::string_view uri)
{
    if (uri.find('\\') != uri.npos)
    {
        const std::optional<std::string> plain = Unescape(uri);
        return plain ? DecodeDataUri(*plain) : std::nullopt;
    }
    const std::size_t comma = uri.find(',');
    if (comma == uri.npos || !uri.substr(0, comma).ends_with(";base64"))
        return std::nullopt;
    return DecodeBase64(uri.substr(comma + 1));
}

} // namespace

JsonSurvey SurveyJson(std::string_view text)
{
    return Surveyor(text).Run();
}

std::optional<std::string> FindJsonError(std::string_view text)
{
    ErrorFinder finder(text);
    if (Json::sax_parse(text, &finder))
        return std::nullopt;
    return finder.GetError();
}

std::optional<std::string> Unescape(std::string_view text)
{
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '\\' && (++i == text.size() || text[i] != '/'))
            return std::nullopt;
        plain += text[i];
    }
    return plain;
}

LiftedJson LiftDataUris(std::string_view text, const JsonSurvey& survey,
                        const std::function<bool(std::string_view uri)>& isRefused)
{
    LiftedJson lifted;
    const char* rest = text.data();
    const auto replace = [&](std::string_view place, std::string_view before, std::string_view behind, Bytes content)
    {
        lifted.text.append(rest, place.data());
        lifted.text += before;
        lifted.text += LiftedPrefix;
        lifted.text += std::to_string(lifted.contents.size());
        lifted.text += behind;
        lifted.contents.push_back(std::move(content));
        rest = place.data() + place.size();
    };
    auto refuseBuffersBefore = [&, next = survey.namedBuffers.begin()](const char* end) mutable
    {
        for (; next != survey.namedBuffers.end() && next->members.data() < end; ++next)
        {
            if (isRefused && isRefused(next->uri))
                replace(next->members, "\"uri\":\"", "\",\"byteLength\":1", {0});
        }
    };
    for (const std::string_view uri : survey.dataUris)
    {
        refuseBuffersBefore(uri.data());
        if (uri.data() < rest)
            continue; // it went with its buffer
        if (std::optional<Bytes> content = DecodeDataUri(uri); content && !content->empty())
            replace(uri, "", "", std::move(*content));
    }
    refuseBuffersBefore(text.data() + text.size());
    if (!lifted.contents.empty())
        lifted.text.append(rest, text.data() + text.size());
    return lifted;
}

std::string NameLifted(std::string_view text, const PlainBuffer& buffer, std::size_t number)
{
    std::string named(text.substr(0, buffer.begin));
    named += "\"uri\":\"";
    named += LiftedPrefix;
    named += std::to_string(number);
    named += "\",";
    named += text.substr(buffer.begin);
    return named;
}

std::vector<unsigned char>* FindLifted(std::vector<std::vector<unsigned char>>& contents, std::string_view path)
{
    const std::string_view name = path.substr(path.rfind('/') + 1);
    if (!name.starts_with(LiftedPrefix))
        return nullptr;
    std::size_t number = 0;
    const std::string_view digits = name.substr(LiftedPrefix.size());
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
    return isNumber && number < contents.size() ? &contents[number] : nullptr;
}

} // namespace Varkle
