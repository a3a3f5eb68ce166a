#include "Varkle/Document/Json.h"

#include "Varkle/Core/Text.h"

#include "support/Catch.h"
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

using namespace Varkle;

namespace
{

const std::string Sample = R"({
  "name": "h\u00fc\"llo €",
  "numbers": [0.10, -1e3, 9007199254740993],
  "empty": [ {}, [] ],
  "flags": { "yes": true, "no": false, "none": null }
})";

JsonValue Root(std::string_view text)
{
    JsonDocument document = ParseJson(text);
    REQUIRE(document.errors.empty());
    REQUIRE(document.root);
    return *std::move(document.root);
}

/// Returns the errors as lines "line:column: message".
std::string ErrorsOf(std::string_view text)
{
    std::string lines;
    for (const JsonError& error : ParseJson(text).errors)
        lines += (lines.empty() ? "" : "\n") + std::to_string(error.at.line) + ":" + std::to_string(error.at.column) +
                 ": " + error.message;
    return lines;
}

std::string Repeated(std::string_view text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

bool IsWithin(SourcePosition at, std::string_view text)
{
    SourcePosition end;
    for (const char c : text)
        end = c == '\n' ? SourcePosition{end.line + 1, 1} : SourcePosition{end.line, end.column + 1};
    return at.line >= 1 && at.column >= 1 && (at.line < end.line || (at.line == end.line && at.column <= end.column));
}

/// What holds for every text, whatever is in it.
void CheckAnyText(const std::string& text)
{
    const JsonDocument document = ParseJson(text);
    const bool isJson = nlohmann::json::accept(text) && text.find('\0') == std::string::npos;
    bool fine = document.root.has_value() == isJson && (isJson || !document.errors.empty());
    for (const JsonError& error : document.errors)
        fine = fine && !error.message.empty() && IsWithin(error.at, text);
    if (!fine)
        FAIL(Escaped(text) << " gives " << ErrorsOf(text));
}

} // namespace

TEST_CASE("Values, names and their order are read as they were written")
{
    const JsonValue root = Root(Sample);
    REQUIRE(root.kind == JsonKind::Object);
    REQUIRE(root.members.size() == 4);
    CHECK(root.members[0].name == "name");
    CHECK(root.members[1].name == "numbers");
    CHECK(root.members[2].name == "empty");
    CHECK(root.members[3].name == "flags");

    CHECK(root.members[0].value.kind == JsonKind::String);
    CHECK(root.members[0].value.text == "h\xC3\xBC\"llo \xE2\x82\xAC");
    const JsonValue& flags = root.members[3].value;
    CHECK(flags.members[0].value.kind == JsonKind::Bool);
    CHECK(flags.members[0].value.boolean);
    CHECK_FALSE(flags.members[1].value.boolean);
    CHECK(flags.members[2].value.kind == JsonKind::Null);
    REQUIRE(root.members[2].value.elements.size() == 2);
    CHECK(root.members[2].value.elements[0].kind == JsonKind::Object);
    CHECK(root.members[2].value.elements[1].kind == JsonKind::Array);
}

TEST_CASE("A member is found by its name, and nothing is found in what is no object")
{
    const JsonValue root = Root(R"({ "a": 1, "b": [2] })");
    REQUIRE(root.Find("b"));
    CHECK(root.Find("b")->elements[0].number == 2);
    CHECK_FALSE(root.Find("c"));
    CHECK_FALSE(root.Find("b")->Find("a"));
}

TEST_CASE("Every value and name knows where it begins")
{
    const JsonValue root = Root(Sample);
    CHECK(root.at == SourcePosition{1, 1});
    CHECK(root.members[0].at == SourcePosition{2, 3});
    CHECK(root.members[0].value.at == SourcePosition{2, 11});
    const JsonValue& numbers = root.members[1].value;
    CHECK(numbers.at == SourcePosition{3, 14});
    CHECK(numbers.elements[0].at == SourcePosition{3, 15});
    CHECK(numbers.elements[1].at == SourcePosition{3, 21});
    CHECK(numbers.elements[2].at == SourcePosition{3, 27});
    const JsonValue& empty = root.members[2].value;
    CHECK(empty.elements[0].at == SourcePosition{4, 14});
    CHECK(empty.elements[1].at == SourcePosition{4, 18});
    const JsonValue& flags = root.members[3].value;
    CHECK(flags.at == SourcePosition{5, 12});
    CHECK(flags.members[1].at == SourcePosition{5, 27});
    CHECK(flags.members[1].value.at == SourcePosition{5, 33});
    CHECK(flags.members[2].value.at == SourcePosition{5, 48});
}

TEST_CASE("A column is a character, also a tab or one outside ASCII, and a line ends with its line feed")
{
    const JsonValue root = Root("[\t1,\r\n\"\xC3\xBC\xF0\x9F\x8C\x8A\", 2]");
    CHECK(root.elements[0].at == SourcePosition{1, 3});
    CHECK(root.elements[1].at == SourcePosition{2, 1});
    CHECK(root.elements[2].at == SourcePosition{2, 7});
}

TEST_CASE("Strings with quotes, backslashes and separators in them don't shift what follows")
{
    const JsonValue root = Root(R"(["\\", "\"],", "a:b", 1])");
    CHECK(root.elements[0].text == "\\");
    CHECK(root.elements[1].text == "\"],");
    CHECK(root.elements[2].at == SourcePosition{1, 16});
    CHECK(root.elements[3].at == SourcePosition{1, 23});
}

TEST_CASE("A number keeps the text it was written with")
{
    const JsonValue root =
        Root("[0.10, 1e3, 1E+03, -0, -0.0, 1234567890123456789, 123456789012345678901234567890, 1e-400]");
    CHECK(root.elements[0].text == "0.10");
    CHECK(root.elements[0].number == 0.1);
    CHECK(root.elements[1].text == "1e3");
    CHECK(root.elements[1].number == 1000);
    CHECK(root.elements[2].text == "1E+03");
    CHECK(root.elements[3].text == "-0");
    CHECK(root.elements[4].text == "-0.0");
    CHECK(std::signbit(root.elements[4].number));
    CHECK(root.elements[5].text == "1234567890123456789");
    CHECK(root.elements[5].number == 1234567890123456789.0);
    CHECK(root.elements[6].text == "123456789012345678901234567890");
    CHECK(root.elements[6].number == 123456789012345678901234567890.0);
    CHECK(root.elements[7].text == "1e-400");
    CHECK(root.elements[7].number == 0);
}

TEST_CASE("A text of a single value is JSON too")
{
    CHECK(Root(" 12 ").number == 12);
    CHECK(Root("\"a\"").text == "a");
    CHECK(Root("null").kind == JsonKind::Null);
}

TEST_CASE("A byte order mark at the start is skipped and takes no column")
{
    const JsonValue root = Root("\xEF\xBB\xBF[1]");
    CHECK(root.at == SourcePosition{1, 1});
    CHECK(root.elements[0].at == SourcePosition{1, 2});
    CHECK(ErrorsOf("\xEF\xBB\xBF") == "1:1: the document is empty");
    CHECK(ErrorsOf("\xEF\xBB\xBF\xEF\xBB\xBF[1]") == "1:1: a value is expected instead of \"\xEF\xBB\xBF\"");
}

TEST_CASE("An empty document is an error")
{
    CHECK(ErrorsOf("") == "1:1: the document is empty");
    CHECK(ErrorsOf(" \n ") == "2:2: the document is empty");
}

TEST_CASE("A text that ends early is an error that tells what it ends in")
{
    CHECK(ErrorsOf("{\n  \"a\": [1,\n") == "3:1: the text ends inside an array that begins at 2:8");
    CHECK(ErrorsOf("{ \"a\"") == "1:6: the text ends inside an object that begins at 1:1");
    CHECK(ErrorsOf("[\"abc") == "1:2: the text ends inside the string that begins here");
    CHECK(ErrorsOf("[tr") == "1:2: \"tr\" is not a value");
    CHECK(ErrorsOf("-") == "1:1: \"-\" is not a number");
}

TEST_CASE("Text after the value is an error")
{
    CHECK(ErrorsOf("{} {}") == "1:4: there is more text after the end of the document");
    CHECK(ErrorsOf("1 2") == "1:3: there is more text after the end of the document");
    CHECK(ErrorsOf(std::string("1\0", 2)) == "1:2: there is more text after the end of the document");
    CHECK(ErrorsOf("[1]]") == "1:4: there is more text after the end of the document");
}

TEST_CASE("Missing and doubled separators are errors at the token that came instead")
{
    CHECK(ErrorsOf("[1 2]") == "1:4: a comma or ] is expected instead of \"2\"");
    CHECK(ErrorsOf("[1,,2]") == "1:4: a value is expected instead of \",\"");
    CHECK(ErrorsOf("[1,\n]") == "2:1: there is a comma before the closing ]");
    CHECK(ErrorsOf("{\"a\": 1, }") == "1:10: there is a comma before the closing }");
    CHECK(ErrorsOf("{\"a\": 1 \"be\": 2}") == "1:9: a comma or } is expected instead of \"be\"");
    CHECK(ErrorsOf("{\"a\": 1 be: 2}") == "1:9: a comma or } is expected instead of \"be\"");
    CHECK(ErrorsOf("{\"a\" 1}") == "1:6: a colon is expected after the name \"a\"");
    CHECK(ErrorsOf("{\"a\": }") == "1:7: a value is expected instead of \"}\"");
    CHECK(ErrorsOf("{\"a\":: 1}") == "1:6: a value is expected instead of \":\"");
    CHECK(ErrorsOf("{, }") == "1:2: a member name in double quotes or } is expected instead of \",\"");
    CHECK(ErrorsOf("{\"a\": [1}") == "1:9: a comma or ] is expected instead of \"}\"");
    CHECK(ErrorsOf("]") == "1:1: a value is expected instead of \"]\"");
    CHECK(ErrorsOf("{\"a\": 1, 2: 3}") == "1:10: the member name \"2\" has to stand in double quotes");
}

TEST_CASE("What other notations allow is an error that says how JSON has it")
{
    CHECK(ErrorsOf("{a: 1}") == "1:2: the member name \"a\" has to stand in double quotes");
    CHECK(ErrorsOf("['a']") == "1:2: strings stand in double quotes");
    CHECK(ErrorsOf("[1] // one") == "1:5: JSON has no comments");
    CHECK(ErrorsOf("[True]") == "1:2: \"True\" is not a value (did you mean \"true\"?)");
    CHECK(ErrorsOf("[NaN]") == "1:2: \"NaN\" is not a value");
    CHECK(ErrorsOf("[01]") == "1:2: \"01\" is not a number");
    CHECK(ErrorsOf("01") == "1:1: \"01\" is not a number");
    CHECK(ErrorsOf("{\"a\": .5}") == "1:7: \".5\" is not a number");
    CHECK(ErrorsOf("[1, +1]") == "1:5: \"+1\" is not a number");
    CHECK(ErrorsOf("[1.]") == "1:2: \"1.\" is not a number");
    CHECK(ErrorsOf("[0x10]") == "1:2: \"0x10\" is not a number");
    CHECK(ErrorsOf("[-1e999]") == "1:2: the number \"-1e999\" is too large");
}

TEST_CASE("Faults inside strings are errors at their characters")
{
    CHECK(ErrorsOf("[\"a\nb\"]") == "1:2: the string that begins here does not end on its line");
    CHECK(ErrorsOf("[\"a\tb\"]") == "1:4: a control character in a string has to be written as \\t");
    CHECK(ErrorsOf("[\"a\\qb\"]") ==
          R"(1:4: \q is no escape sequence: there are \" \\ \/ \b \f \n \r \t and \u with four hexadecimal digits)");
    CHECK(ErrorsOf(R"(["\u12G4"])") == "1:3: \\u needs four hexadecimal digits");
    CHECK(ErrorsOf(R"(["\u12"])") == "1:3: \\u needs four hexadecimal digits");
    CHECK(ErrorsOf(R"(["\\\ud800"])") == "1:5: \\ud800 is half of a surrogate pair without the other half");
    CHECK(ErrorsOf(R"(["\ud800\n"])") == "1:3: \\ud800 is half of a surrogate pair without the other half");
    CHECK(ErrorsOf(R"(["\ud800\ud800"])") == "1:3: \\ud800 is half of a surrogate pair without the other half");
    CHECK(ErrorsOf(R"(["\u0041\udc00"])") == "1:9: \\udc00 is half of a surrogate pair without the other half");
    CHECK(Root(R"("\ud83c\udf0a")").text == "\xF0\x9F\x8C\x8A");
}

TEST_CASE("Bytes that are not UTF-8 are an error at the first of them, inside strings and outside")
{
    const std::string notUtf8 = "1:4: this is not UTF-8";
    CHECK(ErrorsOf("[\"\xC3\xBC\xFF\"]") == notUtf8);             // no character begins so
    CHECK(ErrorsOf("[\"\xC3\xBC\x80\"]") == notUtf8);             // a continuation without a beginning
    CHECK(ErrorsOf("[\"\xC3\xBC\xC3\"]") == notUtf8);             // a beginning without a continuation
    CHECK(ErrorsOf("[\"\xC3\xBC\xC0\xAF\"]") == notUtf8);         // longer than necessary
    CHECK(ErrorsOf("[\"\xC3\xBC\xE0\x80\xAF\"]") == notUtf8);     // longer than necessary
    CHECK(ErrorsOf("[\"\xC3\xBC\xED\xA0\x80\"]") == notUtf8);     // a surrogate
    CHECK(ErrorsOf("[\"\xC3\xBC\xF4\x90\x80\x80\"]") == notUtf8); // beyond U+10FFFF
    CHECK(ErrorsOf("[\"\xC3\xBC\xF0\x9F\x8C") == notUtf8);        // cut off
    CHECK(ErrorsOf("[1]\xE9") == notUtf8);
    CHECK(ErrorsOf("\xFF\xFE[") == "1:1: this is not UTF-8"); // UTF-16
    CHECK(Root("\"\xF4\x8F\xBF\xBF\"").text == "\xF4\x8F\xBF\xBF");
}

TEST_CASE("A name used again in one object is an error each time, and the rest is still there to be read")
{
    const std::string text = "{\n  \"a\": 1, \"b\": { \"c\": 1, \"\\u0063\": 2, \"c\": 3 },\n  \"a\": 2\n}";
    CHECK(ErrorsOf(text) == "2:26: the name \"c\" is used twice in one object, first at 2:18\n"
                            "2:39: the name \"c\" is used twice in one object, first at 2:18\n"
                            "3:3: the name \"a\" is used twice in one object, first at 2:3");
    const JsonDocument document = ParseJson(text);
    REQUIRE(document.root);
    CHECK(document.root->members.size() == 3);
    CHECK(document.root->Find("a")->number == 1);
    CHECK(ErrorsOf(R"([{ "a": 1 }, { "a": { "a": 2 } }])").empty());
}

TEST_CASE("Names used twice are reported besides a fault further on")
{
    CHECK(ErrorsOf(R"([{ "a": 1, "a": 2 }, 01])") == "1:12: the name \"a\" is used twice in one object, first at 1:4\n"
                                                     "1:22: \"01\" is not a number");
}

TEST_CASE("Values say the same wherever they stand and however their numbers are written")
{
    const std::pair<const char*, const char*> same[] = {
        {"1", "\n  1.0"},
        {"[1, 2]", "[1,\n2e0]"},
        {R"({"a": [null, true], "b": "x"})", R"({ "a":[null,true],"b":"\u0078"})"},
        {"{}", "{ }"}};
    for (const auto& [a, b] : same)
        CHECK(SaySame(Root(a), Root(b)));
    const std::vector<std::string> all = {
        "null", "true",   "false",  "0",  "1",           "\"\"",        "\"1\"",       "[]",
        "[1]",  "[1, 1]", "[2, 1]", "{}", R"({"a": 1})", R"({"b": 1})", R"({"a": 2})", R"({"a": 1, "b": 1})"};
    for (const std::string& a : all)
    {
        for (const std::string& b : all)
        {
            INFO(a << " and " << b);
            CHECK(SaySame(Root(a), Root(b)) == (a == b));
        }
    }
}

TEST_CASE("Arrays and objects may be nested 200 levels deep")
{
    CHECK(ErrorsOf(Repeated("[", 200) + Repeated("]", 200)).empty());
    CHECK(ErrorsOf(Repeated("[", 201) + Repeated("]", 201)) ==
          "1:201: arrays and objects are nested deeper than 200 levels");
    CHECK(ErrorsOf(Repeated("{\"a\":", 5'000'000)) == "1:1001: arrays and objects are nested deeper than 200 levels");
}

TEST_CASE("Every start of a document is an error at its end or before")
{
    for (std::size_t length = 0; length < Sample.size(); ++length)
    {
        CheckAnyText(Sample.substr(0, length));
        CHECK_FALSE(ParseJson(Sample.substr(0, length)).root);
    }
}

TEST_CASE("A document with any one byte changed, removed or doubled is read or is an error within it")
{
    for (std::size_t place = 0; place < Sample.size(); ++place)
    {
        std::string changed = Sample;
        for (int byte = 0; byte < 256; ++byte)
        {
            changed[place] = char(byte);
            CheckAnyText(changed);
        }
        CheckAnyText(std::string(Sample).erase(place, 1));
        CheckAnyText(std::string(Sample).insert(place, 1, Sample[place]));
    }
}

TEST_CASE("Random brackets, separators and words are read or are an error within them")
{
    constexpr std::array<std::string_view, 18> Tokens{"[",     "]",  "{",        "}",    ",",       ":",
                                                      "\"a\"", "\"", "1",        "-1e2", "true",    "t",
                                                      " ",     "\n", "\xC3\xBC", "\\",   "\\ud800", "0"};
    std::mt19937 random(1); // any seed will do
    for (int i = 0; i < 30'000; ++i)
    {
        std::string text;
        for (auto length = random() % 12; length > 0; --length)
            text += Tokens[random() % Tokens.size()];
        CheckAnyText(text);
    }
}

TEST_CASE("Ten megabytes are read")
{
    std::string text = "[";
    for (int i = 0; i < 100'000; ++i)
        text += R"({ "key": "operator)" + std::to_string(i) +
                R"(", "type": "Blur", "parameters": { "Radius": 12.50, )" + R"("Color": [0, 0.25, 1] } },)" + "\n";
    text += "null]";
    REQUIRE(text.size() > 10'000'000);
    const JsonValue root = Root(text);
    REQUIRE(root.elements.size() == 100'001);
    CHECK(root.elements.back().at == SourcePosition{100'001, 1});
    CHECK(root.elements[99'999].at == SourcePosition{100'000, 1});
    CHECK(root.elements[99'999].Find("key")->text == "operator99999");
    CHECK(root.elements[99'999].Find("parameters")->Find("Radius")->text == "12.50");
}

TEST_CASE("A written string keeps UTF-8 and escapes quotes, backslashes and control characters")
{
    CHECK(Escaped("") == "\"\"");
    CHECK(Escaped("h\xC3\xBC/\xF0\x9F\x8C\x8A") == "\"h\xC3\xBC/\xF0\x9F\x8C\x8A\"");
    CHECK(Escaped("a\"b\\c") == R"("a\"b\\c")");
    CHECK(Escaped("\b\f\n\r\t") == R"("\b\f\n\r\t")");
    CHECK(Escaped(std::string_view("\0\x1F\x7F", 3)) == "\"\\u0000\\u001f\x7F\"");
}

TEST_CASE("A written string reads back the same, with replacements for what is not UTF-8")
{
    std::string text;
    for (int c = 0; c < 128; ++c)
        text += char(c);
    text += "\xC3\xBC\xE2\x82\xAC";
    CHECK(Root(Escaped(text)).text == text);
    CHECK(Root(Escaped("a\xFFz")).text == "a\xEF\xBF\xBDz");
    CHECK(Root(Escaped("a\xC3")).text == "a\xEF\xBF\xBD");
}

TEST_CASE("A number is written with as few digits as it needs, whole ones without a point")
{
    CHECK(FormatNumber(0) == "0");
    CHECK(FormatNumber(-0.0) == "-0");
    CHECK(FormatNumber(1) == "1");
    CHECK(FormatNumber(-12) == "-12");
    CHECK(FormatNumber(0.1) == "0.1");
    CHECK(FormatNumber(0.1 + 0.2) == "0.30000000000000004");
    CHECK(FormatNumber(100000) == "100000");
    CHECK(FormatNumber(999999999999999) == "999999999999999");
    CHECK(FormatNumber(1e15) == "1e+15");
    CHECK(FormatNumber(0.000001) == "0.000001");
    CHECK(FormatNumber(0.00000015) == "1.5e-07");
    CHECK(FormatNumber(std::numeric_limits<double>::infinity()) == "null");
    CHECK(FormatNumber(std::numeric_limits<double>::quiet_NaN()) == "null");
}

TEST_CASE("Every written number is JSON and reads back as the same number")
{
    std::mt19937_64 random(1); // any seed will do
    for (int i = 0; i < 20'000; ++i)
    {
        // All magnitudes by their bits, and those of everyday.
        const double number = i % 2 == 0 ? std::bit_cast<double>(random())
                                         : std::ldexp(double(random() % 1'000'000), int(random() % 40) - 30);
        if (!std::isfinite(number))
            continue;
        const std::string text = FormatNumber(number);
        const JsonDocument document = ParseJson(text);
        REQUIRE(document.root);
        CHECK(std::bit_cast<std::uint64_t>(document.root->number) == std::bit_cast<std::uint64_t>(number));
    }
}
