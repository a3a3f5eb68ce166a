#include "value/ParameterValue.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentPaths.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <glm/gtc/type_ptr.hpp>
#include <limits>

namespace Varkle
{

namespace
{

constexpr std::array parameterTypes = {
    ParameterType::Float,   ParameterType::Int,        ParameterType::Bool,       ParameterType::String,
    ParameterType::Enum,    ParameterType::Color,      ParameterType::Vector2,    ParameterType::Vector3,
    ParameterType::Vector4, ParameterType::Vector2Int, ParameterType::Vector3Int, ParameterType::Transform3D,
    ParameterType::Trigger, ParameterType::Reference,
};

std::string_view KindName(JsonKind kind)
{
    switch (kind)
    {
    case JsonKind::Null:
        return "null";
    case JsonKind::Bool:
        return "true or false";
    case JsonKind::Number:
        return "a number";
    case JsonKind::String:
        return "a string";
    case JsonKind::Array:
        return "an array";
    case JsonKind::Object:
        return "an object";
    }
    return "";
}

// Reports that the JSON value is of the wrong kind.
void WrongKind(const JsonValue& json, std::string_view wanted, const ValueErrors& errors)
{
    errors(json.at, "takes " + std::string(wanted) + ", not " + std::string(KindName(json.kind)));
}

std::optional<NumberSource> ReadExpression(const JsonValue& json, const ValueErrors& errors)
{
    auto parsed = Expression::Parse(json.text);
    if (const auto* error = std::get_if<ExpressionError>(&parsed))
    {
        errors(json.at, "has an expression that can't be read, at its character " + std::to_string(error->offset + 1) +
                            ": " + error->message);
        return std::nullopt;
    }
    return NumberSource{0, std::make_shared<Expression>(std::move(std::get<Expression>(parsed)))};
}

std::optional<NumberSource> ReadNumber(const JsonValue& json, std::string_view wanted, const ValueErrors& errors)
{
    if (json.kind == JsonKind::Number)
        return NumberSource{json.number, nullptr};
    if (json.kind == JsonKind::String)
        return ReadExpression(json, errors);
    WrongKind(json, wanted, errors);
    return std::nullopt;
}

// Reads an array of between `least` and `most` numbers into `numbers`.
bool ReadNumbers(const JsonValue& json, std::size_t least, std::size_t most, std::string_view wanted,
                 const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    if (json.kind != JsonKind::Array)
    {
        WrongKind(json, wanted, errors);
        return false;
    }
    if (json.elements.size() < least || json.elements.size() > most)
    {
        errors(json.at, "takes " + std::string(wanted) + ", not an array of " + std::to_string(json.elements.size()));
        return false;
    }
    bool good = true;
    for (const JsonValue& element : json.elements)
    {
        if (auto number = ReadNumber(element, "a number or an expression as a component", errors))
            numbers.push_back(std::move(*number));
        else
            good = false;
    }
    return good;
}

bool ReadVector(const JsonValue& json, std::size_t size, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    return ReadNumbers(json, size, size, "an array of " + std::to_string(size) + " numbers", errors, numbers);
}

// "#rrggbb" or "#rrggbbaa".
bool ReadHexColor(const JsonValue& json, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    const std::string& text = json.text;
    const bool digits = std::all_of(text.begin() + (text.empty() ? 0 : 1), text.end(),
                                    [](unsigned char c) { return std::isxdigit(c) != 0; });
    if (text.empty() || text.front() != '#' || !digits || (text.size() != 7 && text.size() != 9))
    {
        errors(json.at, "takes a color as \"#rrggbb\" or \"#rrggbbaa\", not " + Quoted(text));
        return false;
    }
    for (std::size_t i = 1; i < text.size(); i += 2)
        numbers.push_back({std::stoi(text.substr(i, 2), nullptr, 16) / 255.0, nullptr});
    return true;
}

bool ReadColor(const JsonValue& json, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    constexpr std::string_view wanted = "an array of 3 or 4 numbers or a string \"#rrggbb\" or \"#rrggbbaa\"";
    const bool good = json.kind == JsonKind::String ? ReadHexColor(json, errors, numbers)
                                                    : ReadNumbers(json, 3, 4, wanted, errors, numbers);
    if (numbers.size() == 3)
        numbers.push_back({1.0, nullptr});
    return good;
}

// An object with translate, rotate (degrees) and scale, each optional.
bool ReadTransformParts(const JsonValue& json, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    numbers = {{0, {}}, {0, {}}, {0, {}}, {0, {}}, {0, {}}, {0, {}}, {1, {}}, {1, {}}, {1, {}}};
    const std::vector<std::string> names = {"translate", "rotate", "scale"};
    bool good = true;
    for (const JsonMember& member : json.members)
    {
        const auto name = std::ranges::find(names, member.name);
        if (name == names.end())
        {
            errors(member.at, "takes the members \"translate\", \"rotate\" and \"scale\", not " + Quoted(member.name) +
                                  Suggestion(member.name, names));
            good = false;
            continue;
        }
        std::vector<NumberSource> part;
        if (ReadVector(member.value, 3, errors, part))
            std::ranges::move(part, numbers.begin() + 3 * (name - names.begin()));
        else
            good = false;
    }
    return good;
}

bool ReadTransform(const JsonValue& json, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    constexpr std::string_view wanted = "16 numbers or an object with \"translate\", \"rotate\" and \"scale\"";
    if (json.kind == JsonKind::Object)
        return ReadTransformParts(json, errors, numbers);
    return ReadNumbers(json, 16, 16, wanted, errors, numbers);
}

bool ReadText(const JsonValue& json, std::string_view wanted, const ValueErrors& errors, std::string& text)
{
    if (json.kind != JsonKind::String)
    {
        WrongKind(json, wanted, errors);
        return false;
    }
    text = json.text;
    return true;
}

// Leaves the text empty for null.
bool ReadKey(const JsonValue& json, const ValueErrors& errors, std::string& text)
{
    constexpr std::string_view wanted = "the key of an operator or null";
    if (json.kind == JsonKind::Null)
        return true;
    if (json.kind != JsonKind::String || !json.text.empty())
        return ReadText(json, wanted, errors, text);
    errors(json.at, "takes " + std::string(wanted) + ", not an empty string");
    return false;
}

bool ReadOneNumber(const JsonValue& json, const ValueErrors& errors, std::vector<NumberSource>& numbers)
{
    auto number = ReadNumber(json, "a number or an expression", errors);
    if (number)
        numbers.push_back(std::move(*number));
    return number.has_value();
}

bool ReadSwitch(const JsonValue& json, std::string_view wanted, const ValueErrors& errors,
                std::vector<NumberSource>& numbers)
{
    if (json.kind == JsonKind::Bool)
    {
        numbers.push_back({json.boolean ? 1.0 : 0.0, nullptr});
        return true;
    }
    if (json.kind == JsonKind::String)
        return ReadOneNumber(json, errors, numbers);
    WrongKind(json, wanted, errors);
    return false;
}

// Rounds to the nearest whole number, halves away from zero, within the type's range; not a number becomes 0.
template<class Integer>
Integer Round(double value)
{
    if (std::isnan(value))
        return 0;
    constexpr auto lowest = double(std::numeric_limits<Integer>::min());
    if (value <= lowest)
        return std::numeric_limits<Integer>::min();
    if (value >= -lowest)
        return std::numeric_limits<Integer>::max();
    return Integer(std::round(value));
}

struct Turn
{
    double cosine;
    double sine;
};

// Exact for quarter turns, whose angles no radians can say, so that matrices get clean zeros and ones.
Turn MakeTurn(double degrees)
{
    const double angle = std::remainder(degrees, 360.0);
    const double quarters = angle / 90;
    if (quarters != std::round(quarters))
        return {std::cos(glm::radians(angle)), std::sin(glm::radians(angle))};
    constexpr Turn turns[] = {{-1, 0}, {0, -1}, {1, 0}, {0, 1}, {-1, 0}}; // by -2, -1, 0, 1 and 2 quarters
    return turns[int(quarters) + 2];
}

// T * Rz * Ry * Rx * S, angles in degrees: translate, rotate and scale with three numbers each.
glm::mat4 ComposeTransform(const std::vector<double>& n)
{
    const Turn x = MakeTurn(n[3]);
    const Turn y = MakeTurn(n[4]);
    const Turn z = MakeTurn(n[5]);
    const glm::dmat3 aroundX({1, 0, 0}, {0, x.cosine, x.sine}, {0, -x.sine, x.cosine});
    const glm::dmat3 aroundY({y.cosine, 0, -y.sine}, {0, 1, 0}, {y.sine, 0, y.cosine});
    const glm::dmat3 aroundZ({z.cosine, z.sine, 0}, {-z.sine, z.cosine, 0}, {0, 0, 1});
    const glm::dmat3 rotation = aroundZ * aroundY * aroundX;
    return glm::dmat4(glm::dvec4(rotation[0] * n[6], 0), glm::dvec4(rotation[1] * n[7], 0),
                      glm::dvec4(rotation[2] * n[8], 0), glm::dvec4(n[0], n[1], n[2], 1));
}

std::string ApplyReference(const std::string& key, PtrParameter& parameter, const Graph& graph)
{
    if (key.empty())
    {
        parameter.SetValue(nullptr);
        return {};
    }
    Operator* const target = graph.Find(key);
    if (!target)
        return "refers to " + Quoted(key) + ", but there is no such operator";
    if (!parameter.SetValue(target))
        return "can't refer to the operator " + Quoted(key) + ", which is a " + target->GetType()->GetId();
    return {};
}

template<class P>
void Copy(const Parameter& from, Parameter& to)
{
    static_cast<P&>(to).SetValue(static_cast<const P&>(from).Value());
}

void CopyEnum(const EnumParameter& from, EnumParameter& to)
{
    if (from.WasSet())
        to.SetValue(from.Value());
    else
        to.Unset();
}

// JSON has neither infinity nor NaN; an expression can say them.
template<class Number>
JsonValue WriteNumber(Number value)
{
    if (std::isfinite(value))
        return JsonNumber(value);
    return JsonString(std::isnan(value) ? "0/0" : value > 0 ? "1/0" : "-1/0");
}

template<class Vector>
JsonValue WriteVector(const Vector& vector)
{
    JsonValue json = JsonArray();
    for (glm::length_t i = 0; i < vector.length(); ++i)
    {
        if constexpr (std::is_integral_v<typename Vector::value_type>)
            json.elements.push_back(JsonInteger(vector[i]));
        else
            json.elements.push_back(WriteNumber(vector[i]));
    }
    return json;
}

// A document can refer to operators; other objects have no name there.
JsonValue WriteReference(const PtrParameter& parameter)
{
    const auto* const target = dynamic_cast<const Operator*>(parameter.Value());
    return target ? JsonString(target->GetKey()) : JsonNull();
}

JsonValue WriteMatrix(const glm::mat4& matrix)
{
    JsonValue json = JsonArray();
    for (int i = 0; i < 16; ++i)
        json.elements.push_back(WriteNumber(glm::value_ptr(matrix)[i]));
    return json;
}

} // namespace

bool ParameterValue::IsAnimated() const
{
    if (type == ParameterType::Trigger)
        return !numbers.empty() && numbers[0].expression != nullptr;
    return std::ranges::any_of(numbers,
                               [](const NumberSource& n) { return n.expression && !n.expression->IsConstant(); });
}

bool IsText(ParameterType type)
{
    return type == ParameterType::String || type == ParameterType::Enum || type == ParameterType::Reference;
}

std::optional<ParameterValue> ReadParameterValue(ParameterType type, const JsonValue& json, const ValueErrors& errors)
{
    ParameterValue value;
    value.type = type;
    bool good = true;
    switch (type)
    {
    case ParameterType::Float:
    case ParameterType::Int:
        good = ReadOneNumber(json, errors, value.numbers);
        break;
    case ParameterType::Bool:
        good = ReadSwitch(json, "true, false or an expression", errors, value.numbers);
        break;
    case ParameterType::Trigger:
        good = ReadSwitch(json, "true or an expression", errors, value.numbers);
        break;
    case ParameterType::String:
        good = ReadText(json, "a string", errors, value.text);
        break;
    case ParameterType::Enum:
        good = ReadText(json, "one of its names as a string", errors, value.text);
        break;
    case ParameterType::Reference:
        good = ReadKey(json, errors, value.text);
        break;
    case ParameterType::Color:
        good = ReadColor(json, errors, value.numbers);
        break;
    case ParameterType::Vector2:
    case ParameterType::Vector2Int:
        good = ReadVector(json, 2, errors, value.numbers);
        break;
    case ParameterType::Vector3:
    case ParameterType::Vector3Int:
        good = ReadVector(json, 3, errors, value.numbers);
        break;
    case ParameterType::Vector4:
        good = ReadVector(json, 4, errors, value.numbers);
        break;
    case ParameterType::Transform3D:
        good = ReadTransform(json, errors, value.numbers);
        break;
    }
    if (!good)
        return std::nullopt;
    return value;
}

void CheckValueOfOpenType(const JsonValue& json, const ValueErrors& errors)
{
    constexpr std::string_view wanted = "a number, an expression or an array of them";
    std::vector<NumberSource> numbers;
    if (json.kind == JsonKind::Array)
        ReadNumbers(json, 2, 4, "an array of 2 to 4 numbers", errors, numbers);
    else
        ReadNumber(json, wanted, errors);
}

std::vector<double> EvaluateNumbers(const ParameterValue& value, const ExpressionClock& clock)
{
    std::vector<double> numbers;
    numbers.reserve(value.numbers.size());
    for (const NumberSource& source : value.numbers)
        numbers.push_back(source.expression ? source.expression->Evaluate(clock) : source.constant);
    return numbers;
}

void ApplyNumbers(const std::vector<double>& n, Parameter& parameter)
{
    switch (parameter.GetParameterType())
    {
    case ParameterType::Float:
        static_cast<FloatParameter&>(parameter).SetValue(n[0]);
        break;
    case ParameterType::Int:
        static_cast<IntParameter&>(parameter).SetValue(Round<long long>(n[0]));
        break;
    case ParameterType::Bool:
        static_cast<BoolParameter&>(parameter).SetValue(n[0] != 0);
        break;
    case ParameterType::Color:
        static_cast<ColorParameter&>(parameter).SetValue({n[0], n[1], n[2], n[3]});
        break;
    case ParameterType::Vector2:
        static_cast<Vector2Parameter&>(parameter).SetValue({n[0], n[1]});
        break;
    case ParameterType::Vector3:
        static_cast<Vector3Parameter&>(parameter).SetValue({n[0], n[1], n[2]});
        break;
    case ParameterType::Vector4:
        static_cast<Vector4Parameter&>(parameter).SetValue({n[0], n[1], n[2], n[3]});
        break;
    case ParameterType::Vector2Int:
        static_cast<Vector2IntParameter&>(parameter).SetValue({Round<int>(n[0]), Round<int>(n[1])});
        break;
    case ParameterType::Vector3Int:
        static_cast<Vector3IntParameter&>(parameter).SetValue({Round<int>(n[0]), Round<int>(n[1]), Round<int>(n[2])});
        break;
    case ParameterType::Transform3D:
        static_cast<Transform3DParameter&>(parameter).SetValue(n.size() == 16 ? glm::mat4(glm::make_mat4(n.data()))
                                                                              : ComposeTransform(n));
        break;
    case ParameterType::Trigger:
        if (n[0] != 0)
            static_cast<TriggerParameter&>(parameter).Trigger();
        break;
    default:
        break;
    }
}

std::string ApplyText(const ParameterValue& value, Parameter& parameter, const std::filesystem::path& folder,
                      const Graph& graph)
{
    if (value.type == ParameterType::Reference)
        return ApplyReference(value.text, static_cast<PtrParameter&>(parameter), graph);
    if (value.type == ParameterType::Enum)
        static_cast<EnumParameter&>(parameter).SetValue(value.text);
    else
        static_cast<StringParameter&>(parameter).SetValue(IsPath(parameter) ? ToAbsolutePath(value.text, folder)
                                                                            : value.text);
    return {};
}

void CopyValue(const Parameter& from, Parameter& to)
{
    if (from.GetParameterType() != to.GetParameterType())
        return;
    switch (to.GetParameterType())
    {
    case ParameterType::Float:
        return Copy<FloatParameter>(from, to);
    case ParameterType::Int:
        return Copy<IntParameter>(from, to);
    case ParameterType::Bool:
        return Copy<BoolParameter>(from, to);
    case ParameterType::String:
        return Copy<StringParameter>(from, to);
    case ParameterType::Enum:
        return CopyEnum(static_cast<const EnumParameter&>(from), static_cast<EnumParameter&>(to));
    case ParameterType::Color:
        return Copy<ColorParameter>(from, to);
    case ParameterType::Vector2:
        return Copy<Vector2Parameter>(from, to);
    case ParameterType::Vector3:
        return Copy<Vector3Parameter>(from, to);
    case ParameterType::Vector4:
        return Copy<Vector4Parameter>(from, to);
    case ParameterType::Vector2Int:
        return Copy<Vector2IntParameter>(from, to);
    case ParameterType::Vector3Int:
        return Copy<Vector3IntParameter>(from, to);
    case ParameterType::Transform3D:
        return Copy<Transform3DParameter>(from, to);
    case ParameterType::Trigger:
        return;
    case ParameterType::Reference:
        static_cast<PtrParameter&>(to).SetValue(nullptr);
        return;
    }
}

JsonValue WriteParameterValue(const Parameter& parameter)
{
    switch (parameter.GetParameterType())
    {
    case ParameterType::Float:
        return WriteNumber(static_cast<const FloatParameter&>(parameter).Value());
    case ParameterType::Int:
        return JsonInteger(static_cast<const IntParameter&>(parameter).Value());
    case ParameterType::Bool:
        return JsonBool(static_cast<const BoolParameter&>(parameter).Value());
    case ParameterType::String:
        return JsonString(static_cast<const StringParameter&>(parameter).Value());
    case ParameterType::Enum:
        return JsonString(static_cast<const EnumParameter&>(parameter).Value());
    case ParameterType::Color:
    {
        const Color color = static_cast<const ColorParameter&>(parameter).Value();
        return WriteVector(glm::dvec4(color.r, color.g, color.b, color.a));
    }
    case ParameterType::Vector2:
        return WriteVector(static_cast<const Vector2Parameter&>(parameter).Value());
    case ParameterType::Vector3:
        return WriteVector(static_cast<const Vector3Parameter&>(parameter).Value());
    case ParameterType::Vector4:
        return WriteVector(static_cast<const Vector4Parameter&>(parameter).Value());
    case ParameterType::Vector2Int:
        return WriteVector(static_cast<const Vector2IntParameter&>(parameter).Value());
    case ParameterType::Vector3Int:
        return WriteVector(static_cast<const Vector3IntParameter&>(parameter).Value());
    case ParameterType::Transform3D:
        return WriteMatrix(static_cast<const Transform3DParameter&>(parameter).Value());
    case ParameterType::Trigger:
        return JsonBool(static_cast<const TriggerParameter&>(parameter).IsTriggered());
    case ParameterType::Reference:
        return WriteReference(static_cast<const PtrParameter&>(parameter));
    }
    return JsonNull();
}

std::optional<ParameterType> FindParameterType(std::string_view name)
{
    const auto found = std::ranges::find(parameterTypes, name, GetParameterTypeName);
    if (found == parameterTypes.end())
        return std::nullopt;
    return *found;
}

} // namespace Varkle
