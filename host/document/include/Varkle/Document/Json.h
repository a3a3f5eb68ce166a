#pragma once

#include "Varkle/Core/Export.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Names a place in a text, both counted from 1. A column is a character (a Unicode code point); a tab is one column.
struct SourcePosition
{
    int line = 1;
    int column = 1;

    bool operator==(const SourcePosition&) const = default;
};

enum class JsonKind
{
    Null,
    Bool,
    Number,
    String,
    Array,
    Object,
};

struct JsonMember;

/// Holds one value of a JSON text and where it begins. Which of the data members count follows from the kind.
struct VARKLE_API JsonValue
{
    JsonKind kind = JsonKind::Null;
    bool boolean = false;
    SourcePosition at;
    double number = 0;               ///< a number, rounded to the nearest double
    std::string text;                ///< a string's characters in UTF-8; a number exactly as it was written
    std::vector<JsonValue> elements; ///< of an array
    std::vector<JsonMember> members; ///< of an object, in the order in which they were written

    /// Returns the value of an object's first member of that name, null when there is none or this isn't an object.
    const JsonValue* Find(std::string_view name) const;
};

/// True when two values say the same, wherever they stand: numbers of one value, members in one order.
VARKLE_API bool SaySame(const JsonValue& a, const JsonValue& b);

/// Holds one member of an object and where its name begins.
struct JsonMember
{
    std::string name;
    SourcePosition at;
    JsonValue value;
};

/// Tells what is wrong with a JSON text and where. The message is a part of a sentence: it begins in lower case and has
/// no full stop, for a caller that puts the file and the position in front.
struct JsonError
{
    SourcePosition at;
    std::string message;
};

/// Holds what was read from a JSON text. A text that isn't JSON has no root and one error for the first fault, besides
/// those for names that an object uses twice. Where such names are all that is wrong there is a root, with every
/// member, so that its reader can go on and report what else is wrong. Errors are in the order of their positions.
struct JsonDocument
{
    std::optional<JsonValue> root;
    std::vector<JsonError> errors;
};

/// Arrays and objects may lie in each other this many levels deep.
constexpr int DeepestJson = 200;

/// Reads a JSON text (RFC 8259, UTF-8; a byte order mark at the start is skipped). Not JSON are, besides the grammar's
/// own faults: bytes that are not UTF-8, text after the value, more than DeepestJson levels, and numbers beyond a
/// double's range.
VARKLE_API JsonDocument ParseJson(std::string_view text);

/// Returns the number with as few digits as read back as the same double. Magnitudes from 1e-6 to below 1e15 are
/// written without an exponent, whole numbers without a point. JSON can't say infinity and NaN: they become "null".
VARKLE_API std::string FormatNumber(double number);

} // namespace Varkle
