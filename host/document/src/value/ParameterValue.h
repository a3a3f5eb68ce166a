#pragma once

#include "Varkle/Core/Parameter.h"
#include "Varkle/Document/Expression.h"
#include "Varkle/Document/Json.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

class Graph;

/// Is a number of a document: a constant, or an expression that yields it.
struct NumberSource
{
    double constant = 0;
    std::shared_ptr<Expression> expression; // null for a constant
};

/// True when the values of a type are texts, not numbers.
bool IsText(ParameterType type);

/// Is the value that a document gives a parameter, read but not yet evaluated.
struct ParameterValue
{
    ParameterType type = ParameterType::Float;
    /// Components of numbers, vectors, colors (always 4) and transforms (16, or 9 for translate, rotate and scale);
    /// the one number of a Bool or a Trigger.
    std::vector<NumberSource> numbers;
    /// Of a String, an Enum or a Reference (the key; empty for null).
    std::string text;

    /// True when it has to be evaluated on every frame.
    bool IsAnimated() const;
};

/// Hears what is wrong with a value: where, and a message that continues `parameter "Radius"`, e.g. "takes a number".
using ValueErrors = std::function<void(SourcePosition at, const std::string& message)>;

/// Reads a document's value for a parameter of a type. Reports every fault and returns nothing when there is one.
std::optional<ParameterValue> ReadParameterValue(ParameterType type, const JsonValue& json, const ValueErrors& errors);

/// Checks the value of a parameter whose type follows another parameter: a number, an expression, or 2 to 4 of them.
void CheckValueOfOpenType(const JsonValue& json, const ValueErrors& errors);

/// Computes the numbers of a value at a time.
std::vector<double> EvaluateNumbers(const ParameterValue& value, const ExpressionClock& clock);

/// Sets a parameter to the numbers of a value that was read for its type. A Trigger fires when its number is not 0.
void ApplyNumbers(const std::vector<double>& numbers, Parameter& parameter);

/// Sets a parameter to the text of a value that was read for its type. Paths that are relative are taken relative to
/// `folder`; a Reference is looked up in `graph`. Returns what is wrong as the continuation of `parameter "..."`, or an
/// empty text.
std::string ApplyText(const ParameterValue& value, Parameter& parameter, const std::filesystem::path& folder,
                      const Graph& graph);

/// Gives a parameter the value of another one, of another operator; of another type than its own it takes none. Where a
/// Reference points has no counterpart: it is set to nothing. A Trigger has no value.
void CopyValue(const Parameter& from, Parameter& to);

/// Returns a parameter's present value as a document writes it. A number that JSON does not have is an expression.
JsonValue WriteParameterValue(const Parameter& parameter);

/// Finds a parameter type by the word that operator documents use.
std::optional<ParameterType> FindParameterType(std::string_view name);

} // namespace Varkle
