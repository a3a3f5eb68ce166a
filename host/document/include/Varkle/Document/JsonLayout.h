#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Document/Json.h"

#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

// Make values that were not read from a text.
VARKLE_API JsonValue JsonNull();
VARKLE_API JsonValue JsonBool(bool value);
VARKLE_API JsonValue JsonNumber(double value);
/// Writes the number with as few digits as read back as the same float.
VARKLE_API JsonValue JsonNumber(float value);
VARKLE_API JsonValue JsonInteger(long long value);
VARKLE_API JsonValue JsonString(std::string_view value);
VARKLE_API JsonValue JsonArray(std::vector<JsonValue> elements = {});
VARKLE_API JsonValue JsonObject(std::vector<JsonMember> members = {});

/// Adds a member to an object, behind the others.
VARKLE_API void AddMember(JsonValue& object, std::string_view name, JsonValue value);
/// Sets an object's member, in its place when it has it.
VARKLE_API void SetMember(JsonValue& object, std::string_view name, JsonValue value);

/// Returns the value as text in our one layout: two spaces a level, one member of an object to a line, arrays of plain
/// values on one line and other arrays with one element to a line. Numbers stay as they were written. The text ends in
/// a line end.
VARKLE_API std::string LayOutJson(const JsonValue& value);

} // namespace Varkle
