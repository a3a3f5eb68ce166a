#include "Varkle/Document/JsonLayout.h"

#include "support/Catch.h"

#include <limits>

using namespace Varkle;

namespace
{

std::string LaidOut(std::string_view text)
{
    const JsonDocument document = ParseJson(text);
    REQUIRE(document.root);
    return LayOutJson(*document.root);
}

} // namespace

TEST_CASE("Objects have one member to a line, indented by two spaces, and vectors stand on one line")
{
    CHECK(LaidOut(R"({"a":{"size":[1280,720],"name":"x"},"b":[{"c":1},[2,[3]]],"d":[true,null,"s"]})") == R"({
  "a": {
    "size": [1280, 720],
    "name": "x"
  },
  "b": [
    {
      "c": 1
    },
    [
      2,
      [3]
    ]
  ],
  "d": [true, null, "s"]
}
)");
}

TEST_CASE("Empty objects and arrays stay on their line")
{
    CHECK(LaidOut("{}") == "{}\n");
    CHECK(LaidOut("[ ]") == "[]\n");
    CHECK(LaidOut(R"({"a":{ },"b":[ ],"c":[{},[]]})") == R"({
  "a": {},
  "b": [],
  "c": [
    {},
    []
  ]
}
)");
}

TEST_CASE("Numbers keep the spelling in which they were written")
{
    CHECK(LaidOut("[1.0, 1e3, -0, 0.10, 12345678901234567890, 1E+2]") ==
          "[1.0, 1e3, -0, 0.10, 12345678901234567890, 1E+2]\n");
}

TEST_CASE("Strings keep what is beyond ASCII and escape what has to be")
{
    CHECK(LaidOut(R"(["hübsch €", "\u00fc\/", "a\"b\\c\n\u0001"])") ==
          "[\"hübsch €\", \"ü/\", \"a\\\"b\\\\c\\n\\u0001\"]\n");
}

TEST_CASE("Layout that was read is laid out the same again")
{
    const std::string once = LaidOut(R"({"x":[[1,2],{"y":["\u001f",{}]}],"":{"z":[]}})");
    CHECK(LaidOut(once) == once);
}

TEST_CASE("Values that are made are written with as few digits as read back the same")
{
    CHECK(LayOutJson(JsonNumber(0.1)) == "0.1\n");
    CHECK(LayOutJson(JsonNumber(0.1f)) == "0.1\n");
    CHECK(LayOutJson(JsonNumber(1.0f / 3.0f)) == "0.33333334\n");
    CHECK(LayOutJson(JsonNumber(1e-7f)) == "1e-07\n");
    CHECK(LayOutJson(JsonNumber(16777216.0f)) == "16777216\n");
    CHECK(LayOutJson(JsonInteger(std::numeric_limits<long long>::min())) == "-9223372036854775808\n");
    CHECK(LayOutJson(JsonBool(true)) == "true\n");
    CHECK(LayOutJson(JsonNull()) == "null\n");
    CHECK(LayOutJson(JsonString("a\tb")) == "\"a\\tb\"\n");
    CHECK(LayOutJson(JsonNumber(std::numeric_limits<double>::infinity())) == "null\n");
    CHECK(LayOutJson(JsonNumber(std::numeric_limits<float>::quiet_NaN())) == "null\n");
}

TEST_CASE("A member is added behind the others and set in its place")
{
    JsonValue json = JsonObject();
    AddMember(json, "a", JsonInteger(1));
    AddMember(json, "b", JsonInteger(2));
    SetMember(json, "a", JsonArray({JsonInteger(3), JsonString("x")}));
    SetMember(json, "c", JsonNull());
    CHECK(LayOutJson(json) == "{\n  \"a\": [3, \"x\"],\n  \"b\": 2,\n  \"c\": null\n}\n");
}
