#pragma once

#include "value/Json.h"

#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

// Make values that were not read from a text.
JsonValue JsonNull();
JsonValue JsonBool(bool value);
JsonValue JsonNumber(double value);
/// Writes the number with as few digits as read back as the same float.
JsonValue JsonNumber(float value);
JsonValue JsonInteger(long long value);
JsonValue JsonString(std::string_view value);
JsonValue JsonArray(std::vector<JsonValue> elements = {});
JsonValue JsonObject(std::vector<JsonMember> members = {});

/// Adds a member to an object, behind the others.
void AddMember(JsonValue& object, std::string_view name, JsonValue value);
/// Sets an object's member, in its place when it has it.
void SetMember(JsonValue& object, std::string_view name, JsonValue value);

/// Returns the value as text in our one layout: two spaces a level, one member of an object to a line, arrays of plain
/// values on one line and other arrays with one element to a line. Numbers stay as they were written. The text ends in
/// a line end.
std::string LayOutJson(const JsonValue& value);

} // namespace Varkle
