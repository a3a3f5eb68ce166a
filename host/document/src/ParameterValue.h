#pragma once

#include "Json.h"
#include "Varkle/Core/Parameter.h"
#include "Varkle/Document/Expression.h"

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

/// Is the value that a document gives a parameter, read but not yet evaluated.
struct ParameterValue
{
    ParameterType type = ParameterType::Float;
    /// Components of numbers, vectors, colours (always 4) and transforms (16, or 9 for translate, rotate and scale); the
    /// one number of a Bool or a Trigger.
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

/// Reads the value of a parameter whose type follows another parameter: anything that some parameter takes.
void CheckValueOfOpenType(const JsonValue& json, const ValueErrors& errors);

/// Sets a parameter of the value's type at a time. File paths that are relative are taken relative to `folder`; a Reference
/// is looked up in `graph`. Returns what is wrong as the continuation of `parameter "..."`, or an empty text.
std::string ApplyParameterValue(const ParameterValue& value, Parameter& parameter, const ExpressionClock& clock,
                                const std::filesystem::path& folder, const Graph& graph);

/// Returns a parameter's present value as a document writes it.
JsonValue WriteParameterValue(const Parameter& parameter);

/// Finds a parameter type by the word that operator documents use.
std::optional<ParameterType> FindParameterType(std::string_view name);

} // namespace Varkle
