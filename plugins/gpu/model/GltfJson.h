#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Is an element of "buffers" that names no file.
struct PlainBuffer
{
    std::size_t begin = 0;  ///< behind its opening brace, as an offset in the text
    std::uint64_t size = 0; ///< its byteLength

    bool operator==(const PlainBuffer&) const = default;
};

/// Is an element of "buffers" that names a file, as it stands in the text.
struct NamedBuffer
{
    std::string_view members; ///< between its braces
    std::string_view uri;     ///< between its quotes
};

/// Is what a glance over the JSON text of a glTF file tells, before anything is built from it.
struct JsonSurvey
{
    std::size_t depth = 0;        ///< levels of nesting
    std::size_t values = 0;       ///< commas and opening brackets: there are hardly more values than that
    std::size_t objects = 0;      ///< opening braces
    std::size_t rareElements = 0; ///< elements of the file's lists other than nodes, meshes, accessors, bufferViews
    std::size_t buffers = 0;      ///< elements of the list "buffers"
    /// The one buffer, when there is no other and it surely has no URI.
    std::optional<PlainBuffer> plainBuffer;
    /// The data URIs that are values of members named "uri", as they stand between their quotes.
    std::vector<std::string_view> dataUris;
    /// The buffers with a URI that is none of these, where the name of that member is not written with escapes.
    std::vector<NamedBuffer> namedBuffers;
};

/// Walks over JSON text once. Text that is no JSON is walked over all the same: its errors are the parser's to find.
JsonSurvey SurveyJson(std::string_view text);

/// Returns where JSON text goes wrong and how: "line 3, column 14: unexpected end of input". Nothing when it doesn't.
std::optional<std::string> FindJsonError(std::string_view text);

/// Returns the plain text of a JSON string, given as it stands between its quotes. Nothing when it has other escapes
/// than that of the slash, which some writers use.
std::optional<std::string> Unescape(std::string_view text);

/// Is JSON text with short names in the place of its data URIs, and what these held.
struct LiftedJson
{
    std::string text;                                 ///< empty when there was nothing to lift
    std::vector<std::vector<unsigned char>> contents; ///< by number
};

/// Takes the data URIs in base64 out of JSON text, any media type. The survey is that of the same text. A data URI that
/// can't be decoded stays. The buffers of whose URIs `isRefused` says so become buffers of one byte, so that there is
/// nothing in them and the rest of the file can be read.
///
/// Why: parsers copy such a string several times, character by character. Decoded here, the megabytes never reach them.
LiftedJson LiftDataUris(std::string_view text, const JsonSurvey& survey,
                        const std::function<bool(std::string_view uri)>& isRefused = {});

/// Gives the buffer of a survey of the same text the URI by which FindLifted finds the contents of that number.
std::string NameLifted(std::string_view text, const PlainBuffer& buffer, std::size_t number);

/// Returns the contents that a lifted URI, or a path that ends with one, is the name of; null for any other.
std::vector<unsigned char>* FindLifted(std::vector<std::vector<unsigned char>>& contents, std::string_view path);

} // namespace Varkle
