#include "Varkle/Document/Expression.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <muParser.h>
#include <optional>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

constexpr std::size_t LongestText = 10'000;
constexpr std::size_t DeepestParentheses = 200;

double Floor(double x)
{
    return std::floor(x);
}

double Ceil(double x)
{
    return std::ceil(x);
}

double Fract(double x)
{
    return x - std::floor(x);
}

double Mod(double a, double b)
{
    return a - b * std::floor(a / b);
}

double Mix(double a, double b, double t)
{
    return a * (1 - t) + b * t; // exact at both ends
}

double Clamp(double x, double a, double b)
{
    return std::min(std::max(x, a), b); // in this order a NaN stays one, and b wins where a is above it
}

double SmoothStep(double a, double b, double x)
{
    if (a == b)
        return x < a ? 0 : 1;
    const double t = Clamp((x - a) / (b - a), 0, 1);
    return t * t * (3 - 2 * t);
}

/// Returns a pseudo-random slope in -1..1 for a cell of the noise. Two rounds of xorshift and multiplication; for these
/// factors each input bit flips each output bit in 49.8 to 50.2 % of 4 million inputs.
double NoiseSlope(std::uint32_t cell)
{
    cell ^= cell >> 16;
    cell *= 0x671F1B1Bu;
    cell ^= cell >> 15;
    cell *= 0xB986A1BDu;
    cell ^= cell >> 16;
    return double(cell) * 0x1p-31 - 1;
}

/// Gradient noise on a line: a random slope through 0 at each cell's border, blended by Perlin's 6t^5 - 15t^4 + 10t^3
/// ("Improving Noise", 2002), twice that so that it can reach -1 and 1. Repeats after 2^32.
double Noise(double x)
{
    if (!std::isfinite(x))
        return std::numeric_limits<double>::quiet_NaN();

    // Borders at whole numbers would make noise(frame) always 0, so they lie at an irrational distance (the golden
    // ratio's) from them.
    const double shifted = x + 0.38196601125010515;
    const double border = std::floor(shifted);
    const double t = shifted - border;
    const auto cell = std::uint32_t(std::int64_t(std::fmod(border, 0x1p32)));

    // Fused operations are spelled out: where a compiler is free to fuse or not, machines differ in the last bit.
    const double left = NoiseSlope(cell) * t;
    const double step = std::fma(NoiseSlope(cell + 1), t - 1, -left);
    const double blend = t * t * t * std::fma(t, std::fma(t, 6, -15), 10);
    return 2 * std::fma(blend, step, left);
}

/// Reads a number for muParser, whatever the locale is and without copying the text as its own reader does.
int ReadNumber(const char* text, int* position, double* value)
{
    if (*text != '.' && (*text < '0' || *text > '9'))
        return 0;
    const std::from_chars_result read = std::from_chars(text, text + std::char_traits<char>::length(text), *value);
    *position += int(read.ptr - text);
    return 1;
}

std::vector<std::string> NamesOf(const mu::Parser& parser)
{
    std::vector<std::string> names{"time", "frame", "fps", "pi", "e"};
    for (const auto& function : parser.GetFunDef())
        names.push_back(function.first);
    return names;
}

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsNamePart(char c)
{
    return IsNameStart(c) || IsDigit(c);
}

/// Checks a text before muParser compiles it: everything that muParser takes but we don't (assignments, strings,
/// several values), and every error that it would report without a place or a suggestion.
class Scanner
{
public:
    Scanner(std::string& scannedText, const mu::Parser& knownNames) : text(scannedText), parser(knownNames) {}

    /// Returns the first error. Moves functions' names next to their parentheses, as muParser wants them.
    std::optional<ExpressionError> FindError();

    bool UsesVariables() const { return usesVariables; }

private:
    /// What stands in parentheses, or the whole text.
    struct Group
    {
        std::size_t begin = 0;
        std::string function;                     ///< empty when the parentheses only group
        int wantedValues = 1;                     ///< negative for any number but 0
        int values = 0;                           ///< complete ones, before a comma
        std::vector<std::size_t> openQuestions{}; ///< each ? that waits for its :
    };

    enum class Expected
    {
        Value,         ///< or a sign
        ValueUnsigned, ///< after a sign
        Operator,
    };

    bool PassToken();
    bool PassNumber();
    bool PassName();
    bool PassFunctionName(std::string_view name, std::size_t end, int values);
    bool PassOpening(std::string_view function, int values);
    bool PassClosing();
    bool PassComma();
    bool PassOperator();
    bool EndValue();
    bool MissingValue();
    bool MissingOperator();
    bool Fail(std::string message);
    std::string_view Found() const;
    std::string UnknownName(std::string_view name) const;

    std::string& text;
    const mu::Parser& parser;
    std::size_t index = 0;
    std::vector<Group> groups{Group()};
    Expected expected = Expected::Value;
    bool usesVariables = false;
    std::optional<ExpressionError> error;
};

std::optional<ExpressionError> Scanner::FindError()
{
    if (std::all_of(text.begin(), text.end(), IsBlank))
        return ExpressionError{"the expression is empty", 0};
    if (text.size() > LongestText)
        return ExpressionError{"the expression has " + std::to_string(text.size()) + " bytes, more than the limit of " +
                                   std::to_string(LongestText),
                               0};

    while (index < text.size())
    {
        if (IsBlank(text[index]))
            ++index;
        else if (!PassToken())
            return error;
    }

    if (expected != Expected::Operator)
        Fail("the expression ends where a value is expected");
    else if (EndValue() && groups.size() > 1)
    {
        index = groups.back().begin;
        Fail("this parenthesis is never closed");
    }
    return error;
}

/// Passes one token. Returns false when it is wrong, with `index` where the error is.
bool Scanner::PassToken()
{
    const char c = text[index];
    if (IsDigit(c) || c == '.')
        return PassNumber();
    if (IsNameStart(c))
        return PassName();
    if (c == '(')
        return PassOpening({}, 1);
    if (c == ')')
        return PassClosing();
    if (c == ',')
        return PassComma();
    return PassOperator();
}

bool Scanner::PassNumber()
{
    const char* const begin = text.data() + index;
    const char* const end = text.data() + text.size();
    double number = 0;
    const std::from_chars_result read = std::from_chars(begin, end, number);
    const char* const wordEnd = std::find_if_not(read.ptr, end, [](char c) { return IsNamePart(c) || c == '.'; });
    if (wordEnd != read.ptr || read.ptr == begin)
        return Fail(Quoted({begin, std::max(wordEnd, begin + 1)}) + " is not a number");
    const std::string_view word(begin, read.ptr);
    if (read.ec == std::errc::result_out_of_range)
        return Fail("the number " + Quoted(word) + " is out of range");
    if (expected == Expected::Operator)
        return MissingOperator();

    expected = Expected::Operator;
    index += word.size();
    return true;
}

bool Scanner::PassName()
{
    const auto nameEnd = std::find_if_not(text.begin() + std::ptrdiff_t(index), text.end(), IsNamePart);
    const std::string name(text.begin() + std::ptrdiff_t(index), nameEnd);
    const std::size_t end = index + name.size();

    const auto function = parser.GetFunDef().find(name);
    if (function != parser.GetFunDef().end())
        return PassFunctionName(name, end, function->second.GetArgc());

    const bool isVariable = parser.GetVar().count(name) > 0;
    if (!isVariable && parser.GetConst().count(name) == 0)
        return Fail(UnknownName(name));
    if (expected == Expected::Operator)
        return MissingOperator();

    usesVariables = usesVariables || isVariable;
    expected = Expected::Operator;
    index = end;
    return true;
}

bool Scanner::PassFunctionName(std::string_view name, std::size_t end, int values)
{
    if (expected == Expected::Operator)
        return MissingOperator();
    const std::size_t parenthesis = text.find_first_not_of(" \t\r\n", end);
    if (parenthesis == std::string::npos || text[parenthesis] != '(')
        return Fail(Quoted(name) + " is a function: its values have to follow in parentheses");

    const auto place = [this](std::size_t at) { return text.begin() + std::ptrdiff_t(at); };
    std::rotate(place(index), place(end), place(parenthesis));
    index = parenthesis;
    return PassOpening(name, values);
}

bool Scanner::PassOpening(std::string_view function, int values)
{
    if (expected == Expected::Operator)
        return MissingOperator();
    if (groups.size() > DeepestParentheses)
        return Fail("parentheses are nested deeper than " + std::to_string(DeepestParentheses) + " levels");

    groups.push_back({.begin = index, .function = std::string(function), .wantedValues = values});
    expected = Expected::Value;
    ++index;
    return true;
}

bool Scanner::PassClosing()
{
    if (groups.size() == 1)
        return Fail("this parenthesis closes none");

    const Group& group = groups.back();
    const bool empty = group.values == 0 && text.find_first_not_of(" \t\r\n", group.begin + 1) == index;
    if (expected != Expected::Operator && !(empty && !group.function.empty()))
        return MissingValue();
    if (!empty && !EndValue())
        return false;

    const int values = group.values + (empty ? 0 : 1);
    if (group.wantedValues < 0 ? values == 0 : values != group.wantedValues)
    {
        const std::string wanted = group.wantedValues < 0    ? "at least 1 value"
                                   : group.wantedValues == 1 ? "1 value"
                                                             : std::to_string(group.wantedValues) + " values";
        return Fail(Quoted(group.function) + " takes " + wanted + ", not " + std::to_string(values));
    }
    groups.pop_back();
    expected = Expected::Operator;
    ++index;
    return true;
}

bool Scanner::PassComma()
{
    if (groups.back().function.empty())
        return Fail("a comma stands only between the values of a function: one value is wanted here");
    if (expected != Expected::Operator)
        return MissingValue();
    if (!EndValue())
        return false;

    ++groups.back().values;
    expected = Expected::Value;
    ++index;
    return true;
}

bool Scanner::PassOperator()
{
    const std::string_view rest = std::string_view(text).substr(index);
    for (const std::string_view pair : {"<=", ">=", "==", "!=", "&&", "||"})
    {
        if (!rest.starts_with(pair))
            continue;
        if (expected != Expected::Operator)
            return MissingValue();
        expected = Expected::Value;
        index += pair.size();
        return true;
    }

    const char c = rest[0];
    if (c == '=')
        return Fail("an expression can't assign: == compares");
    if (c == '&' || c == '|')
        return Fail(std::string("a single ") + c + " is no operator: " + c + c + " combines conditions");
    if (c == '!')
        return Fail("! is no operator: x == 0 is the opposite of x");
    if (c == '%')
        return Fail("% is no operator: mod(a, b) gives the remainder");
    if (c == '"')
        return Fail("an expression has no strings");
    if (std::string_view("+-*/^<>?:").find(c) == std::string_view::npos)
        return Fail(Quoted(Found()) + " does not belong in an expression");

    const bool isSign = expected == Expected::Value && (c == '+' || c == '-');
    if (expected != Expected::Operator && !isSign)
        return expected == Expected::ValueUnsigned && (c == '+' || c == '-')
                   ? Fail("a sign can't follow another one: put the value in parentheses")
                   : MissingValue();

    std::vector<std::size_t>& questions = groups.back().openQuestions;
    if (c == '?')
        questions.push_back(index);
    if (c == ':' && questions.empty())
        return Fail("there is no ? for this :");
    if (c == ':')
        questions.pop_back();
    expected = isSign ? Expected::ValueUnsigned : Expected::Value;
    ++index;
    return true;
}

bool Scanner::EndValue()
{
    if (groups.back().openQuestions.empty())
        return true;
    index = groups.back().openQuestions.back();
    return Fail("there is no : for this ?");
}

/// Returns the name or number at the index, else the character.
std::string_view Scanner::Found() const
{
    const std::string_view rest = std::string_view(text).substr(index);
    const bool isWord = IsNamePart(rest[0]);
    const auto end =
        std::find_if_not(rest.begin() + 1, rest.end(),
                         [isWord](char c) { return isWord ? IsNamePart(c) || c == '.' : (c & 0xC0) == 0x80; });
    return {rest.begin(), end};
}

bool Scanner::MissingValue()
{
    return Fail("a value is expected before " + Quoted(Found()));
}

bool Scanner::MissingOperator()
{
    return Fail("an operator is expected before " + Quoted(Found()));
}

bool Scanner::Fail(std::string message)
{
    // So far the text is ASCII: bytes are characters.
    error = ExpressionError{std::move(message), int(index)};
    return false;
}

std::string Scanner::UnknownName(std::string_view name) const
{
    return "there is no " + Quoted(name) + " in expressions" + Suggestion(name, NamesOf(parser));
}

} // namespace

struct Expression::State
{
    explicit State(std::string_view expressionText);

    std::string text;
    bool isConstant = true;
    ExpressionClock clock;
    mu::Parser parser; // reads the clock
};

Expression::State::State(std::string_view expressionText) : text(expressionText)
{
    // Its optimizer cuts the operands of && and || to whole numbers where both are constant: 0.5 && 1 would be 0.
    parser.EnableOptimizer(false);
    parser.AddValIdent(ReadNumber);
    parser.DefineFun("floor", Floor);
    parser.DefineFun("ceil", Ceil);
    parser.DefineFun("fract", Fract);
    parser.DefineFun("mod", Mod);
    parser.DefineFun("mix", Mix);
    parser.DefineFun("clamp", Clamp);
    parser.DefineFun("smoothstep", SmoothStep);
    parser.DefineFun("noise", Noise);
    parser.DefineConst("pi", 3.14159265358979323846);
    parser.DefineConst("e", 2.71828182845904523536);
    parser.DefineVar("time", &clock.time);
    parser.DefineVar("frame", &clock.frame);
    parser.DefineVar("fps", &clock.fps);
}

std::variant<Expression, ExpressionError> Expression::Parse(std::string_view text)
{
    auto state = std::make_unique<State>(text);
    std::string scanned(text);
    Scanner scanner(scanned, state->parser);
    if (std::optional<ExpressionError> error = scanner.FindError())
        return *std::move(error);

    state->isConstant = !scanner.UsesVariables();
    try
    {
        state->parser.SetExpr(scanned);
        state->parser.Eval(); // the first evaluation compiles, the others only compute
    }
    catch (const mu::ParserError& error)
    {
        return ExpressionError{error.GetMsg(), std::clamp(error.GetPos(), 0, int(text.size()))};
    }
    return Expression(std::move(state));
}

Expression::Expression(std::unique_ptr<State> parsed) : state(std::move(parsed)) {}
Expression::Expression(Expression&& other) noexcept = default;
Expression& Expression::operator=(Expression&& other) noexcept = default;
Expression::~Expression() = default;

std::vector<std::string> Expression::GetNames()
{
    return NamesOf(State({}).parser);
}

double Expression::Evaluate(const ExpressionClock& clock)
{
    state->clock = clock;
    return state->parser.Eval();
}

bool Expression::IsConstant() const
{
    return state->isConstant;
}

const std::string& Expression::Text() const
{
    return state->text;
}

} // namespace Varkle
