#include "Varkle/Document/JsonLayout.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Varkle
{

namespace
{

bool IsPlain(const JsonValue& value)
{
    return value.kind != JsonKind::Array && value.kind != JsonKind::Object;
}

void Append(std::string& text, const JsonValue& value, std::size_t depth);

void AppendLineEnd(std::string& text, std::size_t depth)
{
    text += '\n';
    text.append(2 * depth, ' ');
}

void AppendArray(std::string& text, const std::vector<JsonValue>& elements, std::size_t depth)
{
    const bool onOneLine = std::ranges::all_of(elements, IsPlain);
    text += '[';
    for (std::size_t i = 0; i < elements.size(); ++i)
    {
        if (i > 0)
            text += onOneLine ? ", " : ",";
        if (!onOneLine)
            AppendLineEnd(text, depth + 1);
        Append(text, elements[i], depth + 1);
    }
    if (!onOneLine)
        AppendLineEnd(text, depth);
    text += ']';
}

void AppendObject(std::string& text, const std::vector<JsonMember>& members, std::size_t depth)
{
    text += '{';
    for (std::size_t i = 0; i < members.size(); ++i)
    {
        if (i > 0)
            text += ',';
        AppendLineEnd(text, depth + 1);
        text += Escaped(members[i].name) + ": ";
        Append(text, members[i].value, depth + 1);
    }
    if (!members.empty())
        AppendLineEnd(text, depth);
    text += '}';
}

void Append(std::string& text, const JsonValue& value, std::size_t depth)
{
    switch (value.kind)
    {
    case JsonKind::Null:
        text += "null";
        break;
    case JsonKind::Bool:
        text += value.boolean ? "true" : "false";
        break;
    case JsonKind::Number:
        text += value.text;
        break;
    case JsonKind::String:
        text += Escaped(value.text);
        break;
    case JsonKind::Array:
        AppendArray(text, value.elements, depth);
        break;
    case JsonKind::Object:
        AppendObject(text, value.members, depth);
        break;
    }
}

} // namespace

JsonValue JsonNull()
{
    return {};
}

JsonValue JsonBool(bool value)
{
    JsonValue json;
    json.kind = JsonKind::Bool;
    json.boolean = value;
    return json;
}

JsonValue JsonNumber(double value)
{
    if (!std::isfinite(value))
        return JsonNull();
    JsonValue json;
    json.kind = JsonKind::Number;
    json.number = value;
    json.text = FormatNumber(value);
    return json;
}

JsonValue JsonNumber(float value)
{
    // The shortest text of the float, read back as a double, is the number that a user would have typed for it.
    std::array<char, 32> digits;
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    double shortest = 0;
    std::from_chars(digits.data(), written.ptr, shortest);
    return std::isfinite(value) ? JsonNumber(shortest) : JsonNull();
}

JsonValue JsonInteger(long long value)
{
    JsonValue json;
    json.kind = JsonKind::Number;
    json.number = double(value);
    json.text = std::to_string(value);
    return json;
}

JsonValue JsonString(std::string_view value)
{
    JsonValue json;
    json.kind = JsonKind::String;
    json.text = value;
    return json;
}

JsonValue JsonArray(std::vector<JsonValue> elements)
{
    JsonValue json;
    json.kind = JsonKind::Array;
    json.elements = std::move(elements);
    return json;
}

JsonValue JsonObject(std::vector<JsonMember> members)
{
    JsonValue json;
    json.kind = JsonKind::Object;
    json.members = std::move(members);
    return json;
}

void AddMember(JsonValue& object, std::string_view name, JsonValue value)
{
    object.members.push_back({std::string(name), {}, std::move(value)});
}

void SetMember(JsonValue& object, std::string_view name, JsonValue value)
{
    for (JsonMember& member : object.members)
    {
        if (member.name == name)
        {
            member.value = std::move(value);
            return;
        }
    }
    AddMember(object, name, std::move(value));
}

std::string LayOutJson(const JsonValue& value)
{
    std::string text;
    Append(text, value, 0);
    text += '\n';
    return text;
}

} // namespace Varkle
