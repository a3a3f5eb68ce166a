#include "Varkle/Document/Json.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>

namespace Varkle
{

namespace
{

constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view Blanks = " \t\r\n";

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// True for what numbers and literals are made of, and the mistyped ones.
bool IsWordCharacter(char c)
{
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '+' || c == '-' || c == '.' ||
           c == '_';
}

bool IsContinuationByte(char c)
{
    return (c & 0xC0) == 0x80;
}

/// Returns the length of the JSON number at the start of a text, 0 when there is none.
std::size_t NumberLength(std::string_view text)
{
    std::size_t length = 0;
    const auto skip = [&](std::string_view characters)
    {
        const bool found = length < text.size() && characters.find(text[length]) != std::string_view::npos;
        length += found ? 1 : 0;
        return found;
    };
    const auto skipDigits = [&]
    {
        const std::size_t before = length;
        while (length < text.size() && IsDigit(text[length]))
            ++length;
        return length > before;
    };

    skip("-");
    if (!skip("0") && !skipDigits())
        return 0;
    if (skip(".") && !skipDigits())
        return 0;
    if (!skip("eE"))
        return length;
    skip("+-");
    return skipDigits() ? length : 0;
}

/// Returns the index after the closing quote of the string that begins at an index, npos when it has none.
std::size_t EndOfString(std::string_view text, std::size_t index)
{
    for (++index; index < text.size(); ++index)
    {
        if (text[index] == '"')
            return index + 1;
        if (text[index] == '\\')
            ++index;
    }
    return std::string_view::npos;
}

/// Builds the tree from the events of the JSON parser. The events don't say where in the text they happened, so a
/// cursor follows them: from the end of one token to the next one there are only blanks, commas and colons.
class TreeBuilder final : public nlohmann::json_sax<nlohmann::json>
{
public:
    explicit TreeBuilder(std::string_view jsonText)
        : text(jsonText), start(jsonText.starts_with(ByteOrderMark) ? ByteOrderMark.size() : 0), index(start)
    {
    }

    JsonDocument Build();

    bool null() override { return AddLiteral(JsonKind::Null, 4); }
    bool boolean(bool value) override;
    bool number_integer(std::int64_t value) override { return AddNumber(double(value)); }
    bool number_unsigned(std::uint64_t value) override { return AddNumber(double(value)); }
    bool number_float(double value, const std::string&) override { return AddNumber(value); }
    bool string(std::string& value) override;
    bool binary(nlohmann::json::binary_t&) override { return false; } // no part of a JSON text
    bool start_object(std::size_t) override { return Open(JsonKind::Object); }
    bool start_array(std::size_t) override { return Open(JsonKind::Array); }
    bool key(std::string& name) override;
    bool end_object() override;
    bool end_array() override;
    bool parse_error(std::size_t bytesRead, const std::string&, const nlohmann::json::exception&) override;

private:
    void Advance(std::size_t to);
    void SkipBlanks();
    void AdvanceToToken();
    JsonValue& Add(JsonKind kind);
    bool AddLiteral(JsonKind kind, std::size_t length);
    bool AddNumber(double value);
    bool Open(JsonKind kind);
    bool Close();
    bool Fail(std::string message);
    void ReportRepeatedNames(const JsonValue& object);

    bool ExplainEnd();
    bool ExplainString(std::size_t fault);
    bool ExplainEscape(std::size_t fault);
    bool ExplainWord();
    char Before() const;
    std::string Found() const;
    std::string Expectation() const;

    std::string_view text;
    std::size_t start;       ///< behind the byte order mark
    std::size_t index;       ///< the cursor, in bytes: what lies before it is in the tree
    SourcePosition position; ///< the cursor, for people
    std::vector<JsonValue*> open;
    bool nameHasNoValue = false; ///< the last event was an object's member name
    JsonDocument document;
};

JsonDocument TreeBuilder::Build()
{
    const std::size_t invalid = FindInvalidUtf8(text);
    if (invalid != std::string_view::npos)
    {
        Advance(invalid);
        Fail("this is not UTF-8");
        return std::move(document);
    }

    bool complete = nlohmann::json::sax_parse(text.begin(), text.end(), this);
    if (complete)
    {
        // The parser takes a NUL for the end of the text.
        SkipBlanks();
        complete = index == text.size() || Fail(Expectation());
    }
    if (!complete)
        document.root.reset();

    std::stable_sort(document.errors.begin(), document.errors.end(),
                     [](const JsonError& a, const JsonError& b)
                     { return std::pair(a.at.line, a.at.column) < std::pair(b.at.line, b.at.column); });
    return std::move(document);
}

bool TreeBuilder::boolean(bool value)
{
    AdvanceToToken();
    Add(JsonKind::Bool).boolean = value;
    Advance(index + (value ? 4 : 5));
    return true;
}

bool TreeBuilder::string(std::string& value)
{
    AdvanceToToken();
    Add(JsonKind::String).text = value;
    Advance(EndOfString(text, index));
    return true;
}

bool TreeBuilder::key(std::string& name)
{
    AdvanceToToken();
    JsonMember& member = open.back()->members.emplace_back();
    member.name = name;
    member.at = position;
    nameHasNoValue = true;
    Advance(EndOfString(text, index));
    return true;
}

bool TreeBuilder::end_object()
{
    ReportRepeatedNames(*open.back());
    return Close();
}

bool TreeBuilder::end_array()
{
    return Close();
}

bool TreeBuilder::parse_error(std::size_t bytesRead, const std::string&, const nlohmann::json::exception&)
{
    // The last byte that was read belongs to the token at fault, so a separator before it was still right.
    const std::size_t fault = bytesRead - 1;
    SkipBlanks();
    while (index < fault && (text[index] == ',' || text[index] == ':'))
    {
        Advance(index + 1);
        SkipBlanks();
    }

    if (index == text.size())
        return ExplainEnd();
    if (text[index] == '"' && !nlohmann::json::accept(text.substr(index, EndOfString(text, index) - index)))
        return ExplainString(fault);
    if (text[index] == '/')
        return Fail("JSON has no comments");
    if (text[index] == '\'')
        return Fail("strings stand in double quotes");
    return IsWordCharacter(text[index]) ? ExplainWord() : Fail(Expectation());
}

void TreeBuilder::Advance(std::size_t to)
{
    for (; index < to; ++index)
    {
        if (text[index] == '\n')
            position = {position.line + 1, 1};
        else if (!IsContinuationByte(text[index]))
            ++position.column;
    }
}

void TreeBuilder::SkipBlanks()
{
    Advance(std::min(text.find_first_not_of(Blanks, index), text.size()));
}

void TreeBuilder::AdvanceToToken()
{
    Advance(text.find_first_not_of(" \t\r\n,:", index));
}

/// Makes the value that begins at the cursor.
JsonValue& TreeBuilder::Add(JsonKind kind)
{
    nameHasNoValue = false;
    JsonValue& value = open.empty()                           ? document.root.emplace()
                       : open.back()->kind == JsonKind::Array ? open.back()->elements.emplace_back()
                                                              : open.back()->members.back().value;
    value.kind = kind;
    value.at = position;
    return value;
}

bool TreeBuilder::AddLiteral(JsonKind kind, std::size_t length)
{
    AdvanceToToken();
    Add(kind);
    Advance(index + length);
    return true;
}

bool TreeBuilder::AddNumber(double value)
{
    AdvanceToToken();
    const std::size_t length = NumberLength(text.substr(index));
    JsonValue& number = Add(JsonKind::Number);
    number.number = value;
    number.text = text.substr(index, length);
    Advance(index + length);
    return true;
}

bool TreeBuilder::Open(JsonKind kind)
{
    AdvanceToToken();
    if (open.size() == DeepestJson)
        return Fail("arrays and objects are nested deeper than " + std::to_string(DeepestJson) + " levels");

    // The value stays where it is while it is open: only the list at the end of `open` grows.
    open.push_back(&Add(kind));
    Advance(index + 1);
    return true;
}

bool TreeBuilder::Close()
{
    AdvanceToToken();
    Advance(index + 1);
    open.pop_back();
    return true;
}

/// Reports an error at the cursor and, by its result, ends the parsing.
bool TreeBuilder::Fail(std::string message)
{
    document.errors.push_back({position, std::move(message)});
    return false;
}

void TreeBuilder::ReportRepeatedNames(const JsonValue& object)
{
    if (object.members.size() < 2)
        return;

    std::vector<const JsonMember*> byName;
    byName.reserve(object.members.size());
    for (const JsonMember& member : object.members)
        byName.push_back(&member);
    std::stable_sort(byName.begin(), byName.end(),
                     [](const JsonMember* a, const JsonMember* b) { return a->name < b->name; });

    const JsonMember* first = nullptr;
    for (const JsonMember* member : byName)
    {
        if (!first || member->name != first->name)
        {
            first = member;
            continue;
        }
        document.errors.push_back(
            {member->at, "the name " + Quoted(member->name) + " is used twice in one object, first at " +
                             std::to_string(first->at.line) + ":" + std::to_string(first->at.column)});
    }
}

bool TreeBuilder::ExplainEnd()
{
    if (open.empty())
        return Fail("the document is empty");

    const JsonValue& inner = *open.back();
    return Fail(std::string("the text ends inside ") + (inner.kind == JsonKind::Array ? "an array" : "an object") +
                " that begins at " + std::to_string(inner.at.line) + ":" + std::to_string(inner.at.column));
}

/// Explains what is wrong inside the string at the cursor, where `fault` is the first byte that can't be.
bool TreeBuilder::ExplainString(std::size_t fault)
{
    if (fault >= text.size())
        return Fail("the text ends inside the string that begins here");
    if (text[fault] == '\n' || text[fault] == '\r')
        return Fail("the string that begins here does not end on its line");
    if (std::uint8_t(text[fault]) >= 0x20)
        return ExplainEscape(fault);

    Advance(fault);
    const std::string escaped = Escaped(text.substr(fault, 1));
    return Fail("a control character in a string has to be written as " + escaped.substr(1, escaped.size() - 2));
}

bool TreeBuilder::ExplainEscape(std::size_t fault)
{
    const auto isHighSurrogate = [this](std::size_t at)
    {
        const std::string_view escape = text.substr(at, 4);
        return escape.size() == 4 && escape[1] == 'u' && (escape[2] == 'd' || escape[2] == 'D') &&
               std::string_view("89abAB").find(escape[3]) != std::string_view::npos;
    };

    // Find the escape sequence at fault; a high surrogate and the escape after it are one.
    std::size_t escape = index;
    for (std::size_t next = index + 1; next <= fault;)
    {
        if (text[next] != '\\')
        {
            ++next;
            continue;
        }
        escape = next;
        next += isHighSurrogate(next) ? 12 : text[next + 1] == 'u' ? 6 : 2;
    }
    Advance(escape);

    const std::string_view kind = text.substr(escape + 1, GetCharacterLength(text.substr(escape + 1)));
    if (kind != "u")
        return Fail("\\" + std::string(kind) + " is no escape sequence: there are " +
                    R"(\" \\ \/ \b \f \n \r \t and \u with four hexadecimal digits)");
    const std::string_view digits = text.substr(escape + 2, 4);
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos)
        return Fail("\\u needs four hexadecimal digits");
    return Fail("\\u" + std::string(digits) + " is half of a surrogate pair without the other half");
}

/// Explains what is wrong with the number, literal or bare word at the cursor.
bool TreeBuilder::ExplainWord()
{
    // In "01" the parser sees two numbers and stumbles over the second.
    while (index > start && IsWordCharacter(text[index - 1]))
    {
        --index;
        --position.column;
    }
    const std::string word = Found();
    const char before = Before();
    const bool inObject = !open.empty() && open.back()->kind == JsonKind::Object;
    if (inObject && (before == '{' || before == ','))
        return Fail("the member name " + Quoted(word) + " has to stand in double quotes");
    const bool valueIsExpected = before == '\0' || before == ':' || before == '[' || before == ',';
    if (!valueIsExpected || nlohmann::json::accept(word))
        return Fail(Expectation());
    if (NumberLength(word) == word.size())
        return Fail("the number " + Quoted(word) + " is too large");
    if (IsDigit(word[0]) || word[0] == '-' || word[0] == '+' || word[0] == '.')
        return Fail(Quoted(word) + " is not a number");
    return Fail(Quoted(word) + " is not a value" + Suggestion(word, {"true", "false", "null"}));
}

/// Returns the character before the cursor and the blanks there, 0 at the start of the text.
char TreeBuilder::Before() const
{
    const std::string_view passed = text.substr(start, index - start);
    const std::size_t last = passed.find_last_not_of(Blanks);
    return last == std::string_view::npos ? '\0' : passed[last];
}

/// Returns the string, the word or else the character at the cursor.
std::string TreeBuilder::Found() const
{
    const std::string_view rest = text.substr(index);
    if (rest[0] == '"')
        return nlohmann::json::parse(rest.substr(0, EndOfString(rest, 0))).get<std::string>();
    const auto wordEnd = std::find_if_not(rest.begin(), rest.end(), IsWordCharacter);
    return {rest.begin(), std::max(wordEnd, rest.begin() + std::ptrdiff_t(GetCharacterLength(rest)))};
}

/// Returns what could have been at the cursor instead of what is there.
std::string TreeBuilder::Expectation() const
{
    const std::string found = Quoted(Found());
    const char before = Before();
    if (before == ':' || before == '\0')
        return "a value is expected instead of " + found;
    if (open.empty())
        return "there is more text after the end of the document";
    if (nameHasNoValue)
        return "a colon is expected after the name " + Quoted(open.back()->members.back().name);

    const bool inObject = open.back()->kind == JsonKind::Object;
    const char closing = inObject ? '}' : ']';
    const std::string thing = inObject ? "a member name in double quotes" : "a value";
    if (before == ',' && text[index] == closing)
        return std::string("there is a comma before the closing ") + closing;
    if (before == ',')
        return thing + " is expected instead of " + found;
    if (before == (inObject ? '{' : '['))
        return thing + " or " + closing + " is expected instead of " + found;
    return std::string("a comma or ") + closing + " is expected instead of " + found;
}

} // namespace

const JsonValue* JsonValue::Find(std::string_view name) const
{
    const auto member =
        std::find_if(members.begin(), members.end(), [name](const JsonMember& m) { return m.name == name; });
    return member == members.end() ? nullptr : &member->value;
}

bool SaySame(const JsonValue& a, const JsonValue& b)
{
    const auto sameMember = [](const JsonMember& x, const JsonMember& y)
    { return x.name == y.name && SaySame(x.value, y.value); };
    if (a.kind != b.kind)
        return false;
    switch (a.kind)
    {
    case JsonKind::Null:
        return true;
    case JsonKind::Bool:
        return a.boolean == b.boolean;
    case JsonKind::Number:
        return a.number == b.number;
    case JsonKind::String:
        return a.text == b.text;
    case JsonKind::Array:
        return std::ranges::equal(a.elements, b.elements, SaySame);
    case JsonKind::Object:
        return std::ranges::equal(a.members, b.members, sameMember);
    }
    return false;
}

JsonDocument ParseJson(std::string_view text)
{
    return TreeBuilder(text).Build();
}

std::string FormatNumber(double number)
{
    if (!std::isfinite(number))
        return "null";

    const double magnitude = std::abs(number);
    const bool plain = magnitude == 0 || (magnitude >= 1e-6 && magnitude < 1e15);
    std::array<char, 32> buffer{};
    const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
    const std::to_chars_result end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, format);
    return {buffer.data(), end.ptr};
}

} // namespace Varkle
