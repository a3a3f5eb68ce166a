#include "Varkle/Document/Expression.h"

#include "support/Catch.h"
#include <cctype>
#include <cmath>
#include <fstream>
#include <limits>
#include <locale>
#include <set>
#include <string>
#include <utility>

using namespace Varkle;

namespace
{

constexpr double Infinity = std::numeric_limits<double>::infinity();

/// Evaluates a text at frame 120 of 60 in a second.
double Value(std::string_view text)
{
    auto parsed = Expression::Parse(text);
    if (const auto* error = std::get_if<ExpressionError>(&parsed))
    {
        FAIL(text << ": " << error->message);
        return 0;
    }
    return std::get<Expression>(parsed).Evaluate({.time = 2, .frame = 120, .fps = 60});
}

bool IsNear(double a, double b)
{
    return std::abs(a - b) < 1e-12;
}

/// Returns "offset: message" of a text that is no expression.
std::string ErrorOf(std::string_view text)
{
    const auto parsed = Expression::Parse(text);
    const auto* error = std::get_if<ExpressionError>(&parsed);
    return error ? std::to_string(error->offset) + ": " + error->message : "no error";
}

std::string Repeated(std::string_view text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

bool IsConstant(std::string_view text)
{
    const auto parsed = Expression::Parse(text);
    return std::get<Expression>(parsed).IsConstant();
}

} // namespace

TEST_CASE("An expression reads time, frame and fps from its clock each time it is evaluated")
{
    auto parsed = Expression::Parse("time + 10 * frame + 1000 * fps");
    auto& expression = std::get<Expression>(parsed);
    CHECK(expression.Evaluate({.time = 0.5, .frame = 1, .fps = 2}) == 2010.5);
    CHECK(expression.Evaluate({.time = 0.25, .frame = 3, .fps = 1}) == 1030.25);
    CHECK(expression.Evaluate({.time = 0.5, .frame = 1, .fps = 2}) == 2010.5);
}

TEST_CASE("An expression keeps its text as it was written, also when it is moved")
{
    auto parsed = Expression::Parse("  sin (time) ");
    Expression first = std::move(std::get<Expression>(parsed));
    CHECK(first.Text() == "  sin (time) ");

    Expression second = std::move(first);
    CHECK(second.Text() == "  sin (time) ");
    CHECK(second.Evaluate({.time = 0}) == 0);

    auto other = Expression::Parse("frame");
    second = std::move(std::get<Expression>(other));
    CHECK(second.Evaluate({.frame = 7}) == 7);
}

TEST_CASE("An expression without variables is constant")
{
    CHECK(IsConstant("2 * pi + noise(0.5)"));
    CHECK_FALSE(IsConstant("2 * time"));
    CHECK_FALSE(IsConstant("min(1, frame)"));
    CHECK_FALSE(IsConstant("0 ? fps : 1"));
}

TEST_CASE("Arithmetic has the usual precedence, powers group from the right and bind stronger than signs")
{
    CHECK(Value("2 + 3 * 4 - 6 / 3") == 12);
    CHECK(Value("(2 + 3) * 4") == 20);
    CHECK(Value("10 - 4 - 3") == 3);
    CHECK(Value("2 ^ 3 ^ 2") == 512);
    CHECK(Value("-2 ^ 2") == -4);
    CHECK(Value("2 ^ -1") == 0.5);
    CHECK(Value("3 - -4") == 7);
    CHECK(Value("+5") == 5);
}

TEST_CASE("Comparisons and logic give 1 or 0, and every value but 0 is true")
{
    CHECK(Value("1 < 2") == 1);
    CHECK(Value("2 <= 1") == 0);
    CHECK(Value("3 >= 3") == 1);
    CHECK(Value("3 > 3") == 0);
    CHECK(Value("2 == 2") == 1);
    CHECK(Value("2 != 2") == 0);
    CHECK(Value("1 || 0 && 0") == 1);
    CHECK(Value("0.5 && 6") == 1); // fractions count too, in constants as in variables
    CHECK(Value("0 || 0.125") == 1);
    CHECK(Value("time / 4 && 1") == 1);
    CHECK(Value("0 && 1") == 0);
}

TEST_CASE("A condition chooses one of two values and can be nested")
{
    CHECK(Value("time > 1 ? 10 : 20") == 10);
    CHECK(Value("time > 3 ? 10 : time > 1 ? 20 : 30") == 20);
    CHECK(Value("1 ? 0 ? 1 : 2 : 3") == 2);
    CHECK(Value("(0 ? 1 : 2) + 1") == 3);
    CHECK(Value("max(0 ? 1 : 2, 1)") == 2);
}

TEST_CASE("The functions of the arithmetic library are there")
{
    CHECK(IsNear(Value("sin(pi / 6)"), 0.5));
    CHECK(IsNear(Value("cos(pi)"), -1));
    CHECK(IsNear(Value("tan(pi / 4)"), 1));
    CHECK(IsNear(Value("asin(1) - pi / 2"), 0));
    CHECK(IsNear(Value("acos(1)"), 0));
    CHECK(IsNear(Value("atan(1) * 4"), 3.14159265358979323846));
    CHECK(IsNear(Value("atan2(1, 0) * 2"), 3.14159265358979323846));
    CHECK(Value("sqrt(9)") == 3);
    CHECK(IsNear(Value("exp(1)"), 2.71828182845904523536));
    CHECK(IsNear(Value("ln(e)"), 1));
    CHECK(IsNear(Value("log(e)"), 1));
    CHECK(Value("log10(1000)") == 3);
    CHECK(Value("log2(8)") == 3);
    CHECK(Value("abs(-2)") == 2);
    CHECK(Value("sign(-2) + sign(0) + sign(9)") == 0);
    CHECK(Value("rint(2.4)") == 2);
    CHECK(Value("rint(2.5)") == 3);
    CHECK(Value("min(3, 1, 2)") == 1);
    CHECK(Value("max(3, 1, 2)") == 3);
    CHECK(Value("sum(3, 1, 2)") == 6);
    CHECK(Value("avg(3, 1, 2)") == 2);
    CHECK(Value("min(4)") == 4);
}

TEST_CASE("floor, ceil, fract and mod go towards the smaller number for negative values as well")
{
    CHECK(Value("floor(1.75)") == 1);
    CHECK(Value("floor(-1.25)") == -2);
    CHECK(Value("ceil(1.25)") == 2);
    CHECK(Value("ceil(-1.75)") == -1);
    CHECK(Value("fract(1.75)") == 0.75);
    CHECK(Value("fract(-1.25)") == 0.75);
    CHECK(Value("mod(7, 3)") == 1);
    CHECK(Value("mod(-1, 3)") == 2);
    CHECK(Value("mod(1, -3)") == -2);
    CHECK(Value("mod(5.5, 2)") == 1.5);
}

TEST_CASE("mix is exact at both ends, clamp keeps a value in its bounds, smoothstep rises between two edges")
{
    CHECK(Value("mix(2, 6, 0.25)") == 3);
    CHECK(Value("mix(0.1, 0.7, 1)") == 0.7);
    CHECK(Value("mix(0.1, 0.7, 0)") == 0.1);
    CHECK(Value("clamp(5, 0, 1)") == 1);
    CHECK(Value("clamp(-5, 0, 1)") == 0);
    CHECK(Value("clamp(0.5, 0, 1)") == 0.5);
    CHECK(std::isnan(Value("clamp(0 / 0, 0, 1)")));
    CHECK(Value("smoothstep(2, 4, 1)") == 0);
    CHECK(Value("smoothstep(2, 4, 2.5)") == 0.15625); // t = 1/4: 3/16 - 2/64
    CHECK(Value("smoothstep(2, 4, 3)") == 0.5);
    CHECK(Value("smoothstep(2, 4, 5)") == 1);
    CHECK(Value("smoothstep(2, 2, 1.9)") == 0);
    CHECK(Value("smoothstep(2, 2, 2)") == 1);
}

TEST_CASE("noise has the same values on every machine")
{
    // Worked out with exact fractions from the definition, rounded once.
    CHECK(IsNear(Value("noise(0)"), -0.5169365693133041));
    CHECK(IsNear(Value("noise(1)"), -0.34154389131997903));
    CHECK(IsNear(Value("noise(-1)"), 0.3270242676258597));
    CHECK(IsNear(Value("noise(100.125)"), -0.5496950268411367));
    CHECK(IsNear(Value("noise(1e6)"), 0.07500832876566152));
}

TEST_CASE("noise stays between -1 and 1, uses most of that range, and is centred on 0")
{
    auto parsed = Expression::Parse("noise(frame * 0.0371)");
    auto& noise = std::get<Expression>(parsed);
    double lowest = 1;
    double highest = -1;
    double sum = 0;
    for (int frame = 0; frame < 100'000; ++frame)
    {
        const double value = noise.Evaluate({.frame = double(frame)});
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
        sum += value;
    }
    CHECK(lowest >= -1);
    CHECK(lowest < -0.9);
    CHECK(highest <= 1);
    CHECK(highest > 0.9);
    CHECK(std::abs(sum / 100'000) < 0.02);
}

TEST_CASE("noise and its slope have no jumps")
{
    // With slopes g and h, the blend u and their ramps r in -1..1 the noise is 2 ((1-u) g t + u h (t-1)). Its
    // derivative 2 ((1-u) g + u h + u' r) is at most 2 (1 + 1.875), the next one 2 (2 u' (h-g) + u'' r) at most 2 (7.5
    // + 5.8).
    auto parsed = Expression::Parse("noise(time)");
    auto& noise = std::get<Expression>(parsed);
    constexpr double step = 1e-4;
    double before = noise.Evaluate({.time = -5});
    double slopeBefore = (before - noise.Evaluate({.time = -5 - step})) / step;
    double steepest = 0;
    double sharpest = 0;
    for (int i = 1; i <= 100'000; ++i)
    {
        const double value = noise.Evaluate({.time = -5 + i * step});
        const double slope = (value - before) / step;
        steepest = std::max(steepest, std::abs(slope));
        sharpest = std::max(sharpest, std::abs(slope - slopeBefore));
        before = value;
        slopeBefore = slope;
    }
    CHECK(steepest < 5.75);
    CHECK(sharpest < 26.6 * step);
    CHECK(steepest > 0.5); // it does move
}

TEST_CASE("noise differs from frame to frame and takes any number")
{
    CHECK(Value("noise(1) == noise(2)") == 0);
    CHECK(Value("noise(1) == 0") == 0);
    CHECK(Value("noise(-4.25) == noise(4.25)") == 0);
    CHECK(std::abs(Value("noise(1e300)")) <= 1);
    CHECK(std::abs(Value("noise(-1e19)")) <= 1);
    CHECK(std::isnan(Value("noise(1 / 0)")));
    CHECK(std::isnan(Value("noise(0 / 0)")));
}

TEST_CASE("Dividing by zero and roots of negative numbers follow IEEE 754")
{
    CHECK(Value("1 / 0") == Infinity);
    CHECK(Value("-1 / 0") == -Infinity);
    CHECK(std::isnan(Value("0 / 0")));
    CHECK(std::isnan(Value("sqrt(-1)")));
    CHECK(Value("ln(0)") == -Infinity);
    CHECK(Value("1 / (time - 2)") == Infinity);
}

TEST_CASE("Numbers have a decimal point whatever the locale is")
{
    struct Comma : std::numpunct<char>
    {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
    const double value = Value("1.5 + .25 + 1e1 + 2.5e-1");
    const std::string comma = ErrorOf("1,5");
    std::locale::global(before);
    CHECK(value == 12);
    CHECK(comma.starts_with("1: a comma stands only between the values of a function"));
}

TEST_CASE("Blanks and line breaks may stand between all parts")
{
    CHECK(Value("\t1 +\r\n 2 ") == 3);
    CHECK(Value("max (1 ,\n2) * min\t(3, 4)") == 6);
}

TEST_CASE("An unknown name is an error with its place and a suggestion")
{
    CHECK(ErrorOf("tme") == "0: there is no \"tme\" in expressions (did you mean \"time\"?)");
    CHECK(ErrorOf("2 * Sin(time)") == "4: there is no \"Sin\" in expressions (did you mean \"sin\"?)");
    CHECK(ErrorOf("1 + smothstep(0, 1, 2)") ==
          "4: there is no \"smothstep\" in expressions (did you mean \"smoothstep\"?)");
    CHECK(ErrorOf("time + xyz_9") == "7: there is no \"xyz_9\" in expressions");
    CHECK(ErrorOf("1 ? 2 : quux(3)") == "8: there is no \"quux\" in expressions");
}

TEST_CASE("An empty text is no expression")
{
    CHECK(ErrorOf("") == "0: the expression is empty");
    CHECK(ErrorOf(" \t\n") == "0: the expression is empty");
}

TEST_CASE("An expression has one value")
{
    const std::string commaMessage = "a comma stands only between the values of a function: one value is wanted here";
    CHECK(ErrorOf("1, 2") == "1: " + commaMessage);
    CHECK(ErrorOf("(1, 2)") == "2: " + commaMessage);
    CHECK(ErrorOf("max(1, (2, 3))") == "9: " + commaMessage);
}

TEST_CASE("An expression can't change a variable")
{
    CHECK(ErrorOf("time = 5") == "5: an expression can't assign: == compares");
    CHECK(ErrorOf("1 + (fps=1)") == "8: an expression can't assign: == compares");
    CHECK(ErrorOf("time === 5") == "7: an expression can't assign: == compares");
    CHECK(ErrorOf("time <== 5") == "7: an expression can't assign: == compares");
}

TEST_CASE("Strings and foreign characters are errors at their characters")
{
    CHECK(ErrorOf("1 + \"a\"") == "4: an expression has no strings");
    CHECK(ErrorOf("1 + \xC3\xBC") == "4: \"\xC3\xBC\" does not belong in an expression");
    CHECK(ErrorOf("1 # 2") == "2: \"#\" does not belong in an expression");
    CHECK(ErrorOf(std::string("1\0+2", 4)) == "1: \"\\u0000\" does not belong in an expression");
    CHECK(ErrorOf("\xFF") == "0: \"\xEF\xBF\xBD\" does not belong in an expression");
    CHECK(ErrorOf("1\x0F") == "1: \"\\u000f\" does not belong in an expression");
}

TEST_CASE("Operators of other languages are errors that name ours")
{
    CHECK(ErrorOf("7 % 2") == "2: % is no operator: mod(a, b) gives the remainder");
    CHECK(ErrorOf("!time") == "0: ! is no operator: x == 0 is the opposite of x");
    CHECK(ErrorOf("1 & 2") == "2: a single & is no operator: && combines conditions");
    CHECK(ErrorOf("1 | 2") == "2: a single | is no operator: || combines conditions");
}

TEST_CASE("Missing and misplaced parts are errors at their places")
{
    CHECK(ErrorOf("1 +") == "3: the expression ends where a value is expected");
    CHECK(ErrorOf("* 2") == "0: a value is expected before \"*\"");
    CHECK(ErrorOf("2 time") == "2: an operator is expected before \"time\"");
    CHECK(ErrorOf("2 (3)") == "2: an operator is expected before \"(\"");
    CHECK(ErrorOf("(1 + 2") == "0: this parenthesis is never closed");
    CHECK(ErrorOf("1 + 2)") == "5: this parenthesis closes none");
    CHECK(ErrorOf("()") == "1: a value is expected before \")\"");
    CHECK(ErrorOf("1 ? 2") == "2: there is no : for this ?");
    CHECK(ErrorOf("max(1 ? 2, 3)") == "6: there is no : for this ?");
    CHECK(ErrorOf("1 : 2") == "2: there is no ? for this :");
    CHECK(ErrorOf("1 - - -2") == "6: a sign can't follow another one: put the value in parentheses");
    CHECK(ErrorOf("max(1,,2)") == "6: a value is expected before \",\"");
    CHECK(ErrorOf("max(1,)") == "6: a value is expected before \")\"");
}

TEST_CASE("A function wants its own number of values, also where it would never be reached")
{
    CHECK(ErrorOf("sin") == "0: \"sin\" is a function: its values have to follow in parentheses");
    CHECK(ErrorOf("sin()") == "4: \"sin\" takes 1 value, not 0");
    CHECK(ErrorOf("1 ? 2 : sum( )") == "13: \"sum\" takes at least 1 value, not 0");
    CHECK(ErrorOf("atan2(1)") == "7: \"atan2\" takes 2 values, not 1");
    CHECK(ErrorOf("clamp(1, 2, 3, 4)") == "16: \"clamp\" takes 3 values, not 4");
}

TEST_CASE("Mistyped numbers are errors")
{
    CHECK(ErrorOf("1 + 2x") == "4: \"2x\" is not a number");
    CHECK(ErrorOf("1.2.3") == "0: \"1.2.3\" is not a number");
    CHECK(ErrorOf("0x10") == "0: \"0x10\" is not a number");
    CHECK(ErrorOf("2e") == "0: \"2e\" is not a number");
    CHECK(ErrorOf(".") == "0: \".\" is not a number");
    CHECK(ErrorOf("1e999") == "0: the number \"1e999\" is out of range");
}

TEST_CASE("Length and nesting have limits that the error names")
{
    CHECK(Value(Repeated("1+", 4999) + "10") == 5009); // 10,000 bytes
    CHECK(ErrorOf(Repeated("1+", 5000) + "1") == "0: the expression has 10001 bytes, more than the limit of 10000");
    CHECK(ErrorOf(Repeated("(", 100'000)) == "0: the expression has 100000 bytes, more than the limit of 10000");
    CHECK(Value(Repeated("(", 200) + "1" + Repeated(")", 200)) == 1);
    CHECK(ErrorOf(Repeated("(", 201) + "1" + Repeated(")", 201)) ==
          "200: parentheses are nested deeper than 200 levels");
    CHECK(ErrorOf(Repeated("sin(", 2000)) == "803: parentheses are nested deeper than 200 levels");
}

TEST_CASE("Long chains of conditions and powers are computed")
{
    CHECK(Value(Repeated("0?1:", 2000) + "7") == 7);
    CHECK(Value(Repeated("1?", 2000) + "7" + Repeated(":0", 2000)) == 7);
    CHECK(Value(Repeated("1^", 4000) + "2") == 1);
}

TEST_CASE("Every start of an expression is an expression or an error within it")
{
    const std::string text = "time > 1 ? -max(1, 2.5e1, mod(frame, 7)) ^ 2 : (noise(.5) + pi) / fps && 1 <= e";
    for (std::size_t length = 0; length <= text.size(); ++length)
    {
        const auto parsed = Expression::Parse(text.substr(0, length));
        const auto* error = std::get_if<ExpressionError>(&parsed);
        if (!error)
            continue;
        CHECK_FALSE(error->message.empty());
        CHECK(error->offset >= 0);
        CHECK(error->offset <= int(length));
    }
    CHECK(ErrorOf(text) == "no error");
}

TEST_CASE("An expression with any one byte changed is an expression or an error within it")
{
    const std::string text = "time>1?-max(1,2.5e1)^2:(noise(.5)+pi)/fps&&1<=e";
    for (std::size_t place = 0; place < text.size(); ++place)
    {
        std::string changed = text;
        for (int byte = 0; byte < 256; ++byte)
        {
            changed[place] = char(byte);
            auto parsed = Expression::Parse(changed);
            if (auto* expression = std::get_if<Expression>(&parsed))
            {
                expression->Evaluate({.time = 1, .frame = 60});
                continue;
            }
            const auto& error = std::get<ExpressionError>(parsed);
            if (error.message.empty() || error.offset < 0 || error.offset > int(changed.size()))
                FAIL(changed << ": " << error.offset << " " << error.message);
        }
    }
}

TEST_CASE("The page about expressions has every name that they know, and no other")
{
    std::ifstream page(VARKLE_SOURCES "/docs/expressions.md");
    REQUIRE(page);
    // Rows of tables begin with the name in backquotes, functions with their values: | `mix(a, b, t)` | ...
    std::multiset<std::string> described;
    for (std::string line; std::getline(page, line);)
    {
        std::size_t end = 3;
        while (end < line.size() && std::isalnum(static_cast<unsigned char>(line[end])))
            ++end;
        if (line.starts_with("| `") && end > 3 && end < line.size() && (line[end] == '`' || line[end] == '('))
            described.insert(line.substr(3, end - 3));
    }
    const std::vector<std::string> names = Expression::GetNames();
    CHECK(described == std::multiset<std::string>(names.begin(), names.end()));
}
