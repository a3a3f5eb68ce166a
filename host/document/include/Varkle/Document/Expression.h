#pragma once

#include "Varkle/Core/Export.h"

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Varkle
{

/// Holds what an expression's variables `time` (seconds), `frame` (0, 1, 2, ...) and `fps` (frames per second) read.
struct ExpressionClock
{
    double time = 0;
    double frame = 0;
    double fps = 60;
};

/// Tells why a text is no expression, and at which of its characters (Unicode code points, from 0). The message is a
/// part of a sentence: it begins in lower case and has no full stop, for a caller that puts the place in front.
struct ExpressionError
{
    std::string message;
    int offset = 0;
};

/// Computes a number from an arithmetic text such as "8 + 6 * sin(2 * pi * time)", parsed once and evaluated often.
///
/// Operators, the weakest first: ?: || && comparisons, + - and * / and ^; a sign binds weaker than ^, so -2^2 is -4.
/// Comparisons and logic give 1 or 0, whatever is not 0 counts as true. Functions of one value (angles in radians): sin
/// cos tan asin acos atan sinh cosh tanh asinh acosh atanh sqrt exp ln log (both natural) log2 log10 abs sign rint
/// (halves upwards) floor ceil fract noise; of two: atan2(y, x), mod(a, b) (has the sign of b); of three: mix(a, b, t),
/// clamp(x, a, b), smoothstep(a, b, x); of one or more: sum avg min max. Constants: pi e. Variables: time frame fps.
/// noise(x) is smooth, in -1..1, and the same on every machine.
///
/// Nothing in an expression can fail once it is parsed: 1/0 is infinite and sqrt(-1) is NaN. Numbers have a decimal
/// point whatever the locale is.
class VARKLE_API Expression
{
public:
    /// Parses a text of at most 10,000 bytes with parentheses at most 200 deep that has exactly one value.
    static std::variant<Expression, ExpressionError> Parse(std::string_view text);

    Expression(Expression&& other) noexcept;
    Expression& operator=(Expression&& other) noexcept;
    ~Expression();

    /// Returns the names that expressions know: variables, constants and functions.
    static std::vector<std::string> GetNames();

    /// Returns the value at a time. One expression may be evaluated by one thread at a time, different ones by several.
    double Evaluate(const ExpressionClock& clock);

    /// True when the text has none of the variables, so that the value never changes.
    bool IsConstant() const;

    /// Returns the text as it was given to Parse.
    const std::string& Text() const;

private:
    struct VARKLE_LOCAL State; // keeps muParser out of this header

    explicit Expression(std::unique_ptr<State> parsed);

    std::unique_ptr<State> state;
};

} // namespace Varkle
