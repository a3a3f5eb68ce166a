#include "Varkle/Document/GraphDocument.h"

#include "Varkle/Document/GraphSession.h"
#include "document/DocumentOperators.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <filesystem>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr std::string_view noErrors; // compared with rather than asked for, so that a failing test shows the text

// Returns what is wrong with a document, a line for each error, as users read it.
std::string ErrorsOf(std::string_view text)
{
    RegisterDocumentOperators();
    std::vector<DocumentError> errors;
    const GraphDocument document = GraphDocument::Parse(text, "g", "/folder", errors);
    if (errors.empty())
        errors = document.Check();
    return JoinErrors(errors);
}

std::string ErrorsOfOperators(const std::string& operators)
{
    return ErrorsOf(WithOperators(operators));
}

GraphDocument ParseFine(std::string_view text, const std::filesystem::path& folder = "/folder")
{
    RegisterDocumentOperators();
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, "g", folder, errors);
    REQUIRE(JoinErrors(errors).empty());
    REQUIRE(JoinErrors(document.Check()).empty());
    return document;
}

// A chain of operators, each fed by the one before it and with an expression; sources last when reversed.
std::string Chain(int length, bool reversed)
{
    std::string operators;
    for (int place = 0; place < length; ++place)
    {
        const int i = reversed ? length - 1 - place : place;
        operators += place > 0 ? ",\n" : "";
        operators += R"({ "key": "op)" + std::to_string(i) +
                     R"(", "type": "Test.Everything", "parameters": { "Float": ")" + std::to_string(i) +
                     R"-( + sin(time)", "Vector 3": [1, 2, 3], "Color": "#ff8000" })-";
        if (i > 0)
            operators += R"(, "inputs": { "Mesh Input": "op)" + std::to_string(i - 1) + "\" }";
        operators += " }";
    }
    return WithOperators(operators);
}

// In the layout of saved documents, with everything that a document may say.
constexpr const char* savedDocument = R"({
  "format": "varkle-graph",
  "version": 1,
  "frameRate": 29.970,
  "x-editor": {
    "zoom": 1e0,
    "panels": [
      {
        "open": true
      },
      []
    ]
  },
  "operators": [
    {
      "x-note": "Grüße\n",
      "key": "a.b-c_1",
      "type": "Test.Everything",
      "position": [320, -80.50],
      "parameters": {
        "Trigger": "frame == 3",
        "Float": 1.50,
        "Int": "2 * frame",
        "Bool": true,
        "String": "\"quoted\"",
        "File": "pictures/harbour.jpg",
        "Enum": "No Such Name",
        "Color": "#FF8000",
        "Vector 2": [1.0, "time"],
        "Transform 3D": {
          "rotate": [0, "10 * time", 0],
          "translate": [1, 2, 3]
        },
        "Reference": "stack"
      }
    },
    {
      "key": "stack",
      "type": "Test.Stack",
      "inputs": {
        "Inputs": ["a.b-c_1", null, "a.b-c_1"]
      },
      "bundles": {
        "Weights": [
          {},
          {
            "Weight": "0.5 * time",
            "Tint": [1, 0, 0]
          }
        ]
      },
      "x-color": [1, 2]
    },
    {
      "key": "empty",
      "type": "Test.Sink",
      "inputs": {
        "Mesh Input": null
      },
      "parameters": {}
    }
  ]
}
)";

} // namespace

TEST_CASE("A document with everything that one may say has no errors")
{
    CHECK(ErrorsOf(savedDocument) == noErrors);
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 1 })") == noErrors);
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 1.0, "frameRate": 0.5, "operators": [] })") == noErrors);
    CHECK(ErrorsOf("\xEF\xBB\xBF{ \"format\": \"varkle-graph\",\r\n\"version\": 1 }\r\n") == noErrors);
}

TEST_CASE("A document's head is checked")
{
    CHECK(ErrorsOf("[]") ==
          "g:1:1: a graph document is an object with the members \"format\", \"version\" and \"operators\"");
    CHECK(ErrorsOf("{}") == "g:1:1: the member \"format\" is missing: it must be \"varkle-graph\"\n"
                            "g:1:1: the member \"version\" is missing: it must be 1");
    CHECK(ErrorsOf("{ \"format\": \"graph\",\n  \"version\": \"1\",\n  \"frameRate\": 0 }") ==
          "g:1:13: \"format\" must be \"varkle-graph\"\n"
          "g:2:14: \"version\" must be 1\n"
          "g:3:16: \"frameRate\" must be a number of frames per second from 0.001 to 1000, not 0");
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 1, "frameRate": "60" })") ==
          "g:1:56: \"frameRate\" must be a number of frames per second from 0.001 to 1000");
    for (const char* const rate : {"1e308", "1e-320", "1e-5", "1000.001", "-1"})
        CHECK(ErrorsOf(std::string(R"({ "format": "varkle-graph", "version": 1, "frameRate": )") + rate + " }")
                  .ends_with(std::string("from 0.001 to 1000, not ") + rate));
    for (const char* const rate : {"0.001", "1000", "59.94"})
        CHECK(ErrorsOf(std::string(R"({ "format": "varkle-graph", "version": 1, "frameRate": )") + rate + " }") ==
              noErrors);
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 0 })") == "g:1:40: \"version\" must be 1");
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 1, "operators": {} })") ==
          "g:1:56: \"operators\" must be an array");
}

TEST_CASE("A document of a newer version is an error that says so")
{
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 2 })") ==
          "g:1:40: the document has version 2, this program knows versions up to 1: a newer program is needed");
    CHECK(ErrorsOf(R"({ "format": "varkle-graph", "version": 1.5 })") ==
          "g:1:40: the document has version 1.5, this program knows versions up to 1: a newer program is needed");
}

TEST_CASE("An unknown member is an error where it stands, unless its name starts with \"x-\"")
{
    CHECK(ErrorsOf("{ \"format\": \"varkle-graph\", \"version\": 1,\n  \"framerate\": 1, \"x-y\": 1, \"X-y\": 1 }") ==
          "g:2:3: there is no member \"framerate\" (did you mean \"frameRate\"?)\n"
          "g:2:29: there is no member \"X-y\"");
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Sink",
  "input": {}, "x-": null })") == "g:3:3: operator \"a\": there is no member \"input\" (did you mean \"inputs\"?)");
}

TEST_CASE("An operator without a key or with a wrong one is an error")
{
    CHECK(ErrorsOfOperators("{ \"type\": \"Test.Sink\" }") == "g:2:1: the operator has no \"key\"");
    CHECK(ErrorsOfOperators("{ \"key\": 3, \"type\": \"Test.Sink\" }") == "g:2:10: \"key\" must be a string");
    CHECK(ErrorsOfOperators("{ \"key\": \"\", \"type\": \"Test.Sink\" }") ==
          "g:2:10: the key \"\" must consist of letters, digits, \"_\", \"-\" and \".\"");
    CHECK(ErrorsOfOperators("{ \"key\": \"a b\", \"type\": \"Test.Sink\" }") ==
          "g:2:10: the key \"a b\" must consist of letters, digits, \"_\", \"-\" and \".\"");
    CHECK(ErrorsOfOperators("{ \"key\": \"ü\", \"type\": \"Test.Sink\" }") ==
          "g:2:10: the key \"ü\" must consist of letters, digits, \"_\", \"-\" and \".\"");
    CHECK(ErrorsOfOperators("{ \"key\": \"Az09_-.\", \"type\": \"Test.Sink\" }") == noErrors);
    CHECK(ErrorsOfOperators("7, null") == "g:2:1: an operator must be an object with at least \"key\" and \"type\"\n"
                                          "g:2:4: an operator must be an object with at least \"key\" and \"type\"");
}

TEST_CASE("A wrong key is one mistake: who refers to it makes none")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a b", "type": "Test.Everything" },
{ "key": "c", "type": "Test.Sink", "inputs": { "Mesh Input": "a b" } })") ==
          "g:2:10: the key \"a b\" must consist of letters, digits, \"_\", \"-\" and \".\"");
}

TEST_CASE("A key that is used twice is an error at each use but the first")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Sink" },
{ "key": "A", "type": "Test.Sink" },
{ "type": "Test.Sink", "key": "a" },
{ "key": "a", "type": "Test.Sink" })") == "g:4:31: operator \"a\": the key is used already in line 2\n"
                                          "g:5:10: operator \"a\": the key is used already in line 2");
}

TEST_CASE("An operator without a type or with an unknown one is an error")
{
    CHECK(ErrorsOfOperators("{ \"key\": \"a\" }") == "g:2:1: operator \"a\": the member \"type\" is missing");
    CHECK(ErrorsOfOperators("{ \"key\": \"a\", \"type\": null }") ==
          "g:2:23: operator \"a\": \"type\" must be a string");
    CHECK(ErrorsOfOperators("{ \"key\": \"a\", \"type\": \"Test.Snik\" }") ==
          "g:2:23: operator \"a\": there is no operator type \"Test.Snik\" (did you mean \"Test.Sink\"?)");
}

TEST_CASE("An operator of an unknown type is checked as far as that goes")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Nobody.Knows", "parameters": { "Any": [] }, "positon": 1,
  "inputs": { "Some": "a", "Other":
  "nobody" }, "bundles":
  [] })") == "g:2:23: operator \"a\": there is no operator type \"Nobody.Knows\"\n"
             "g:2:68: operator \"a\": there is no member \"positon\" (did you mean \"position\"?)\n"
             "g:3:23: operator \"a\": the operator feeds itself: a graph can't have cycles\n"
             "g:4:3: operator \"a\": input \"Other\": there is no operator \"nobody\"\n"
             "g:5:3: operator \"a\": \"bundles\" must be an object");
}

TEST_CASE("A position that is not two numbers is an error")
{
    for (const char* position : {"[1]", "[1, 2, 3]", "[1, \"2\"]", "{}", "null"})
        CHECK(ErrorsOfOperators("{ \"key\": \"a\", \"type\": \"Test.Sink\",\n\"position\": " + std::string(position) +
                                " }") == "g:3:13: operator \"a\": \"position\" must be an array of 2 numbers");
}

TEST_CASE("Members that must be objects are checked")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Sink",
"inputs": [],
"parameters": null,
"bundles": 1 })") == "g:3:11: operator \"a\": \"inputs\" must be an object\n"
                     "g:4:15: operator \"a\": \"parameters\" must be an object\n"
                     "g:5:12: operator \"a\": \"bundles\" must be an object");
}

TEST_CASE("An unknown parameter is an error at its name, with the nearest known one")
{
    CHECK(ErrorsOfOperators(R"({ "key": "soft", "type": "Test.Everything",
  "parameters": {
    "Flaot": 1,
    "Colour": 1,
    "Nothing Like It": 1 } })") ==
          "g:4:5: operator \"soft\": there is no parameter \"Flaot\" (did you mean \"Float\"?)\n"
          "g:5:5: operator \"soft\": there is no parameter \"Colour\" (did you mean \"Color\"?)\n"
          "g:6:5: operator \"soft\": there is no parameter \"Nothing Like It\"");
}

TEST_CASE("A wrong value is an error where it stands that names operator and parameter")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": {
"Float": true,
"Int": "1 +",
"Bool": 1,
"String": 1,
"Enum": 1,
"Color": [1],
"Vector 2": [1, null],
"Transform 3D": { "rotat": [] },
"Trigger": 1,
"Reference": 1 } })") ==
          "g:3:10: operator \"a\": parameter \"Float\" takes a number or an expression, not true or false\n"
          "g:4:8: operator \"a\": parameter \"Int\" has an expression that can't be read, at its character 4: the "
          "expression ends where a value is expected\n"
          "g:5:9: operator \"a\": parameter \"Bool\" takes true, false or an expression, not a number\n"
          "g:6:11: operator \"a\": parameter \"String\" takes a string, not a number\n"
          "g:7:9: operator \"a\": parameter \"Enum\" takes one of its names as a string, not a number\n"
          "g:8:10: operator \"a\": parameter \"Color\" takes an array of 3 or 4 numbers or a string \"#rrggbb\" or "
          "\"#rrggbbaa\", not an array of 1\n"
          "g:9:17: operator \"a\": parameter \"Vector 2\" takes a number or an expression as a component, not null\n"
          "g:10:19: operator \"a\": parameter \"Transform 3D\" takes the members \"translate\", \"rotate\" and "
          "\"scale\", not \"rotat\" (did you mean \"rotate\"?)\n"
          "g:11:12: operator \"a\": parameter \"Trigger\" takes true or an expression, not a number\n"
          "g:12:14: operator \"a\": parameter \"Reference\" takes the key of an operator or null, not a number");
}

TEST_CASE("Columns count characters, not bytes")
{
    CHECK(ErrorsOfOperators(R"({ "x-ü€😀": "ü", "key": "a", "type": "Test.Sink", "x": 1 })") ==
          "g:2:50: operator \"a\": there is no member \"x\"");
}

TEST_CASE("An expression with an unknown name is an error")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": {
"Float": "8 + tme" } })") == "g:3:10: operator \"a\": parameter \"Float\" has an expression that can't be read, at its "
                             "character 5: there is no \"tme\" in expressions (did you mean \"time\"?)");
}

TEST_CASE("A reference to an operator that there is not is an error")
{
    CHECK(ErrorsOfOperators(R"({ "key": "sink", "type": "Test.Sink" },
{ "key": "report", "type": "Test.Report", "parameters": {
"Target": "snik" } })") == "g:4:11: operator \"report\": parameter \"Target\" refers to \"snik\", but there is no such "
                           "operator (did you mean \"sink\"?)");
    CHECK(ErrorsOfOperators(R"({ "key": "report", "type": "Test.Report", "parameters": { "Target": null } })") ==
          noErrors);
}

TEST_CASE("Parameters that the operator writes are ignored, whatever they say")
{
    CHECK(ErrorsOfOperators(R"({ "key": "r", "type": "Test.Report", "parameters": { "Found": [{}] } })") == noErrors);
}

TEST_CASE("Parameters that come and go are known, and their values are checked as far as their type is fixed")
{
    CHECK(ErrorsOfOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
"Type": "Vector 3", "Value": [1, 2, "time"], "Min": 1, "Seeded": "frame", "Seed": 3 } })") == noErrors);
    CHECK(ErrorsOfOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
"Value": [1, 2, 3] } })") ==
          "g:3:10: operator \"m\": parameter \"Value\" takes a number or an expression, not an array");
    CHECK(
        ErrorsOfOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
"Value": {},
"Seed": [],
"Valeu": 1 } })") ==
        "g:3:10: operator \"m\": parameter \"Value\" takes a number, an expression or an array of them, not an object\n"
        "g:4:9: operator \"m\": parameter \"Seed\" takes a number or an expression, not an array\n"
        "g:5:1: operator \"m\": there is no parameter \"Valeu\" (did you mean \"Value\"?)");
}

TEST_CASE("An unknown input and a source that there is not are errors")
{
    CHECK(
        ErrorsOfOperators(R"({ "key": "mesh", "type": "Test.Everything" },
{ "key": "sink", "type": "Test.Sink", "inputs": {
"Mesh Inptu": "mesh" } },
{ "key": "sink2", "type": "Test.Sink", "inputs": {
"Mesh Input": "mehs" } },
{ "key": "sink3", "type": "Test.Sink", "inputs": {
"Mesh Input": 3 } })") ==
        "g:4:1: operator \"sink\": there is no input \"Mesh Inptu\" (did you mean \"Mesh Input\"?)\n"
        "g:6:15: operator \"sink2\": input \"Mesh Input\": there is no operator \"mehs\" (did you mean \"mesh\"?)\n"
        "g:8:15: operator \"sink3\": input \"Mesh Input\" takes the key of an operator, null, or an array of them for "
        "a list");
}

TEST_CASE("An input that is fed by another kind of output, or by none, is an error")
{
    CHECK(ErrorsOfOperators(R"({ "key": "photo", "type": "Test.Picture" },
{ "key": "sink", "type": "Test.Sink" },
{ "key": "a", "type": "Test.Everything", "inputs": {
"Mesh Input": "photo",
"Texture Input": "photo" } },
{ "key": "b", "type": "Test.Sink", "inputs": {
"Mesh Input": "sink" } })") ==
          "g:5:15: operator \"a\": input \"Mesh Input\" takes a Mesh, but \"photo\" gives a Texture\n"
          "g:8:15: operator \"b\": input \"Mesh Input\": the operator \"sink\" has no output");
}

TEST_CASE("Every element of an input list is checked, and may be null")
{
    CHECK(ErrorsOfOperators(R"({ "key": "photo", "type": "Test.Picture" },
{ "key": "mesh", "type": "Test.Everything" },
{ "key": "stack", "type": "Test.Stack", "inputs": { "Inputs": [
"mesh", null, "mesh",
"photo",
"mess",
["mesh"],
false ] } })") ==
          "g:6:1: operator \"stack\": input \"Inputs\" takes a Mesh, but \"photo\" gives a Texture\n"
          "g:7:1: operator \"stack\": input \"Inputs\": there is no operator \"mess\" (did you mean \"mesh\"?)\n"
          "g:8:1: operator \"stack\": input \"Inputs\" takes the key of an operator, null, or an array of them for a "
          "list\n"
          "g:9:1: operator \"stack\": input \"Inputs\" takes the key of an operator, null, or an array of them for a "
          "list");
}

TEST_CASE("Bundles are checked like parameters, with their number and list named")
{
    CHECK(ErrorsOfOperators(R"({ "key": "stack", "type": "Test.Stack", "bundles": {
"Weigths": [],
"Weights": [ {},
{ "Weigth": 1,
  "Weight": true, "Tint":
  "red" },
[] ] } })") == "g:3:1: operator \"stack\": there is no list of bundles \"Weigths\" (did you mean \"Weights\"?)\n"
               "g:5:3: operator \"stack\": bundle 2 of \"Weights\": there is no parameter \"Weigth\" (did you mean "
               "\"Weight\"?)\n"
               "g:6:13: operator \"stack\": bundle 2 of \"Weights\": parameter \"Weight\" takes a number or an "
               "expression, not "
               "true or false\n"
               "g:7:3: operator \"stack\": bundle 2 of \"Weights\": parameter \"Tint\" takes a color as \"#rrggbb\" or "
               "\"#rrggbbaa\", not \"red\"\n"
               "g:8:1: operator \"stack\": bundle 3 of \"Weights\": a bundle must be an object of parameters");
    CHECK(ErrorsOfOperators(R"({ "key": "stack", "type": "Test.Stack",
"parameters": { "Weights": [] },
"bundles": { "Weights": {} } })") ==
          "g:3:17: operator \"stack\": \"Weights\" is a list of bundles: it belongs into \"bundles\"\n"
          "g:4:25: operator \"stack\": the bundles \"Weights\" must be an array of parameter maps");
}

TEST_CASE("An operator that feeds itself is an error")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "inputs": {
"Mesh Input": "a" } })") == "g:3:15: operator \"a\": the operator feeds itself: a graph can't have cycles");
}

TEST_CASE("A cycle is one error, at a connection that is part of it, and names its operators")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "inputs": { "Mesh Input": "c" } },
{ "key": "b", "type": "Test.Everything", "inputs": {
"Mesh Input": "a" } },
{ "key": "c", "type": "Test.Everything", "inputs": { "Mesh Input": "b" } },
{ "key": "d", "type": "Test.Everything", "inputs": { "Mesh Input": "c" } })") ==
          "g:4:15: operator \"b\": a graph can't have cycles: \"a\" <- \"c\" <- \"b\" <- \"a\"");
}

TEST_CASE("Every cycle is reported")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "inputs": { "Mesh Input": "b" } },
{ "key": "b", "type": "Test.Everything", "inputs": {
"Mesh Input": "a" } },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": [ "a",
"t",
"s" ] } },
{ "key": "t", "type": "Test.Stack", "inputs": { "Inputs": [
"s" ] } })") == "g:4:15: operator \"b\": a graph can't have cycles: \"a\" <- \"b\" <- \"a\"\n"
                "g:7:1: operator \"s\": the operator feeds itself: a graph can't have cycles\n"
                "g:9:1: operator \"t\": a graph can't have cycles: \"s\" <- \"t\" <- \"s\"");
}

TEST_CASE("A diamond is no cycle")
{
    CHECK(ErrorsOfOperators(R"({ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", "b", "a"] } },
{ "key": "a", "type": "Test.Everything", "inputs": { "Mesh Input": "c" } },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "c" } },
{ "key": "c", "type": "Test.Everything" })") == noErrors);
}

TEST_CASE("A long cycle is named in short")
{
    std::string operators;
    for (int i = 0; i < 50; ++i)
    {
        operators += i > 0 ? ",\n" : "";
        operators += R"({ "key": "k)" + std::to_string(i) +
                     R"(", "type": "Test.Everything", "inputs": { "Mesh Input": "k)" + std::to_string((i + 1) % 50) +
                     "\" } }";
    }
    CHECK(ErrorsOfOperators(operators) == "g:51:70: operator \"k49\": a graph can't have cycles: \"k0\" <- \"k1\" <- "
                                          "\"k2\" <- \"k3\" <- \"k4\" <- \"k5\" "
                                          "<- \"k6\" <- \"k7\" <- ... <- \"k0\"");
}

TEST_CASE("Names that an object has twice are reported together with everything else, in the order of the text")
{
    CHECK(ErrorsOfOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": {
"Flaot": 1,
"Int": 1,
"Int": true },
"inputs": { "Mesh Input": "b" } })") ==
          "g:3:1: operator \"a\": there is no parameter \"Flaot\" (did you mean \"Float\"?)\n"
          "g:5:1: the name \"Int\" is used twice in one object, first at 4:1\n"
          "g:5:8: operator \"a\": parameter \"Int\" takes a number or an expression, not true or false\n"
          "g:6:27: operator \"a\": input \"Mesh Input\": there is no operator \"b\"");
}

TEST_CASE("A text that is no JSON has the errors of JSON only")
{
    CHECK(ErrorsOf("{ \"format\": 1,\n  \"version\" 1 }") == "g:2:13: a colon is expected after the name \"version\"");
    CHECK(ErrorsOf("") == "g:1:1: the document is empty");
}

TEST_CASE("A document with errors comes back empty")
{
    std::vector<DocumentError> errors;
    const GraphDocument document =
        GraphDocument::Parse(R"({ "version": 1, "version": 1, "frameRate": 5 })", "g", "/folder", errors);
    CHECK_FALSE(errors.empty());
    CHECK(document.ToText() == GraphDocument().ToText());
    CHECK(document.GetName() == "g");
}

TEST_CASE("A document that is cut off anywhere, or has any byte changed, gives errors or a document and never more")
{
    RegisterDocumentOperators();
    const std::string text = savedDocument;
    const std::size_t end = text.rfind('}');
    for (std::size_t length = 0; length <= end; ++length)
        CHECK_FALSE(ErrorsOf(std::string_view(text).substr(0, length)).empty());

    for (std::size_t at = 0; at < text.size(); ++at)
    {
        for (const char replacement : {'"', '0', '}', '\\', '\xFF', '\n'})
        {
            std::string changed = text;
            changed[at] = replacement;
            std::vector<DocumentError> errors;
            const GraphDocument document = GraphDocument::Parse(changed, "g", "/folder", errors);
            if (errors.empty() && document.Check().empty())
                CHECK(GraphSession::Build(document));
        }
    }
}

TEST_CASE("Deep nesting is an error, not a crash")
{
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    CHECK(ErrorsOf(deep).find("nested deeper than 200 levels") != std::string::npos);
    const std::string inside = std::string(190, '[') + std::string(190, ']');
    CHECK(ErrorsOfOperators("{ \"key\": \"a\", \"type\": \"Test.Everything\", \"parameters\": { \"Vector 2\": " +
                            inside + " }, \"x-deep\": " + inside + " }")
              .find("takes an array of 2 numbers, not an array of 1") != std::string::npos);
}

TEST_CASE("A saved document that is loaded and saved has the same bytes")
{
    CHECK(ParseFine(savedDocument).ToText() == savedDocument);
    CHECK(GraphDocument(ParseFine(savedDocument)).ToText() == savedDocument);

    const TemporaryFolder folder;
    WriteBytes(folder / "a.varkle", savedDocument);
    std::vector<DocumentError> errors;
    const GraphDocument document = GraphDocument::Load(folder / "a.varkle", errors);
    REQUIRE(errors.empty());
    REQUIRE(document.Save(folder / "b.varkle"));
    CHECK(ReadBytes(folder / "b.varkle") == savedDocument);
    REQUIRE(document.Save(folder / "a.varkle"));
    CHECK(ReadBytes(folder / "a.varkle") == savedDocument);
}

TEST_CASE("A document in another layout is saved in ours, with nothing lost")
{
    const char* const text =
        "\xEF\xBB\xBF{\"version\":1,\"format\":\"varkle-graph\",\"operators\":[\r\n{\"type\":"
        "\"Test.Everything\",\"key\":\"a\",\"parameters\":{\"Vector 2\":[1,\n2],\"String\":\"\\u00fc\"},"
        "\"x-n\":{}}]}";
    const std::string saved = ParseFine(text).ToText();
    CHECK(saved == R"({
  "version": 1,
  "format": "varkle-graph",
  "operators": [
    {
      "type": "Test.Everything",
      "key": "a",
      "parameters": {
        "Vector 2": [1, 2],
        "String": "ü"
      },
      "x-n": {}
    }
  ]
}
)");
    CHECK(ParseFine(saved).ToText() == saved);
}

TEST_CASE("Parameters that the operator writes are not saved")
{
    const std::string saved =
        ParseFine(
            WithOperators(R"({ "key": "s", "type": "Test.Sink" }, { "key": "r", "type": "Test.Report", "parameters": {)"
                          R"( "Found": true, "Target": "s" } })"))
            .ToText();
    CHECK(saved.find("Found") == std::string::npos);
    CHECK(saved.find("\"Target\": \"s\"") != std::string::npos);
}

TEST_CASE("A document saved into another folder names the same files from there")
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "shows/one");
    std::filesystem::create_directories(folder / "other");
    const std::string text = WithOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": {
"File": "pictures/a.png", "Folder": "../out/", "String": "pictures/a.png" } },
{ "key": "b", "type": "Test.Everything", "parameters": { "File": "/abs/b.png", "Folder": "" } },
{ "key": "c", "type": "Nobody.Knows", "parameters": { "File": "c.png" } })");
    WriteBytes(folder / "shows/one/g.varkle", text);
    RegisterDocumentOperators();
    std::vector<DocumentError> errors;
    const GraphDocument document = GraphDocument::Load(folder / "shows/one/g.varkle", errors);
    REQUIRE(errors.empty());

    REQUIRE(document.Save(folder / "other/g.varkle"));
    const std::string moved = ReadBytes(folder / "other/g.varkle");
    CHECK(moved.find(R"("File": "../shows/one/pictures/a.png")") != std::string::npos);
    CHECK(moved.find(R"("Folder": "../shows/out/")") != std::string::npos);
    CHECK(moved.find(R"("String": "pictures/a.png")") != std::string::npos);
    CHECK(moved.find(R"("File": "/abs/b.png")") != std::string::npos);
    CHECK(moved.find(R"("Folder": "")") != std::string::npos);
    CHECK(moved.find(R"("File": "c.png")") != std::string::npos); // nobody knows that it is a path

    // The document itself, and copies that stay in the folder by whatever path, are as they were.
    CHECK(document.ToText().find(R"("File": "pictures/a.png")") != std::string::npos);
    std::filesystem::create_directory_symlink(folder / "shows/one", folder / "link");
    REQUIRE(document.Save(folder / "link/copy.varkle"));
    CHECK(ReadBytes(folder / "shows/one/copy.varkle") == document.ToText());
}

TEST_CASE("A file that can't be read or written is an error that names it and the reason")
{
    const TemporaryFolder folder;
    std::vector<DocumentError> errors;
    const GraphDocument missing = GraphDocument::Load(folder / "none.varkle", errors);
    CHECK(JoinErrors(errors) == folder / "none.varkle" + ": the file can't be opened: No such file or directory");
    CHECK(missing.ToText() == GraphDocument().ToText());
    errors.clear();
    GraphDocument::Load(folder.GetPath().string(), errors);
    CHECK(JoinErrors(errors) == folder.GetPath().string() + ": this is a folder, not a graph document");
    errors.clear();
    WriteBytes(folder / "empty.varkle", "");
    GraphDocument::Load(folder / "empty.varkle", errors);
    CHECK(JoinErrors(errors) == folder / "empty.varkle" + ":1:1: the document is empty");

    const Status saved = GraphDocument().Save(folder / "none/g.varkle");
    REQUIRE_FALSE(saved);
    CHECK(saved.GetError().message.find(folder / "none/g.varkle") != std::string::npos);
}

TEST_CASE("An empty document has a head and no operators, and 60 frames per second")
{
    const GraphDocument document;
    CHECK(document.ToText() == R"({
  "format": "varkle-graph",
  "version": 1,
  "frameRate": 60,
  "operators": []
}
)");
    CHECK(document.GetFrameRate() == 60);
    CHECK(ParseFine(R"({ "format": "varkle-graph", "version": 1 })").GetFrameRate() == 60);
    CHECK(ParseFine(R"({ "format": "varkle-graph", "version": 1, "frameRate": 12.5 })").GetFrameRate() == 12.5);
}

TEST_CASE("A document's folder is absolute, that of its file or the one given")
{
    std::vector<DocumentError> errors;
    CHECK(GraphDocument::Parse("{}", "g", "/a/./b/../c/", errors).GetFolder() == "/a/c");
    CHECK(GraphDocument::Parse("{}", "g", "", errors).GetFolder() == std::filesystem::current_path());
    CHECK(GraphDocument::Parse("{}", "g", "x", errors).GetFolder() == std::filesystem::current_path() / "x");
    const TemporaryFolder folder;
    WriteBytes(folder / "g.varkle", "{}");
    CHECK(GraphDocument::Load(folder / "g.varkle", errors).GetFolder() == folder.GetPath());
    CHECK(GraphDocument::Load(folder / "g.varkle", errors).GetName() == folder / "g.varkle");
}

TEST_CASE("A document of a graph holds what differs from the defaults, and makes the same graph again")
{
    RegisterDocumentOperators();
    Graph graph;
    auto& a = static_cast<Everything&>(*graph.Add(Everything::Type(), "a"));
    auto& stack = static_cast<Stack&>(*graph.Add(Stack::Type(), "stack"));
    auto& maker = static_cast<Maker&>(*graph.Add(Maker::Type(), "maker"));
    graph.Add(Sink::Type(), "sink");
    REQUIRE(graph.Connect(a.output, stack.inputs));
    stack.inputs.AddInput();
    a.number.SetValue(1.25);
    a.flag.SetValue(true);
    a.file.SetValue("/shows/pictures/a.png");
    a.folder.SetValue("/out");
    a.choice.SetValue("Unheard Of");
    a.vector3Int.SetValue({1, 2, 3});
    a.transform.SetValue(glm::mat4(2));
    a.trigger.Trigger();
    a.triggeredRuns.SetValue(4);
    REQUIRE(a.reference.SetValue(&stack));
    maker.mode.SetValue("Random");
    static_cast<FloatParameter*>(maker.FindParameter("Max"))->SetValue(5);

    const GraphDocument document = GraphDocument::FromGraph(graph, 29.97, "/shows/one");
    CHECK(document.ToText() == R"({
  "format": "varkle-graph",
  "version": 1,
  "frameRate": 29.97,
  "operators": [
    {
      "key": "a",
      "type": "Test.Everything",
      "parameters": {
        "Float": 1.25,
        "Bool": true,
        "File": "../pictures/a.png",
        "Folder": "../../out",
        "Enum": "Unheard Of",
        "Vector 3 Int": [1, 2, 3],
        "Transform 3D": [2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2],
        "Reference": "stack"
      }
    },
    {
      "key": "stack",
      "type": "Test.Stack",
      "inputs": {
        "Inputs": ["a", null]
      },
      "bundles": {
        "Weights": [
          {
            "Weight": 1,
            "Tint": [1, 1, 1, 1]
          },
          {
            "Weight": 1,
            "Tint": [1, 1, 1, 1]
          }
        ]
      }
    },
    {
      "key": "maker",
      "type": "Test.Maker",
      "parameters": {
        "Mode": "Random",
        "Min": 0,
        "Max": 5,
        "Seeded": false
      }
    },
    {
      "key": "sink",
      "type": "Test.Sink"
    }
  ]
}
)");
    CHECK(document.GetFolder() == "/shows/one");
    const Result<GraphSession> session = GraphSession::Build(document);
    REQUIRE(session);
    CHECK(GraphDocument::FromGraph(session->GetGraph(), 29.97, "/shows/one").ToText() == document.ToText());
}

TEST_CASE("Relative paths of a document that runs are relative again in the document of its graph")
{
    const TemporaryFolder folder;
    RegisterDocumentOperators();
    const std::string text = WithOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": {
"File": "pictures/a.png", "Folder": "../../.." } },
{ "key": "b", "type": "Test.Everything", "parameters": { "File": ".", "Folder": "./out/" } })");
    const auto session = GraphSession::Parse(text, "g", folder.GetPath());
    REQUIRE(session);
    const std::string saved = GraphDocument::FromGraph(session->GetGraph(), 60, folder.GetPath()).ToText();
    CHECK(saved.find(R"("File": "pictures/a.png")") != std::string::npos);
    CHECK(saved.find(R"("File": ".")") != std::string::npos);
    CHECK(saved.find(R"("Folder": "out/")") != std::string::npos);
    CHECK(saved.find(R"("Folder": "..)") != std::string::npos);
    const auto again = GraphSession::Parse(saved, "g", folder.GetPath());
    REQUIRE(again);
    CHECK(GraphDocument::FromGraph(again->GetGraph(), 60, folder.GetPath()).ToText() == saved);
}

TEST_CASE("A graph's numbers that JSON does not have make a document that can be read")
{
    RegisterDocumentOperators();
    Graph graph;
    auto& op = static_cast<Everything&>(*graph.Add(Everything::Type(), "a"));
    op.number.SetValue(1 / 0.0);
    op.vector2.SetValue({-1 / 0.0, 2});
    const auto session = GraphSession::Build(GraphDocument::FromGraph(graph, 60, {}));
    REQUIRE(session);
    const auto& read = static_cast<const Everything&>(*session->GetGraph().Find("a"));
    CHECK(read.number.Value() == 1 / 0.0);
    CHECK(read.vector2.Value() == glm::dvec2(-1 / 0.0, 2));
}

TEST_CASE("A document of forty thousand operators is read, checked and written, sources first or last")
{
    RegisterDocumentOperators();
    // Long enough for anything quadratic to run into the limit of the test's time.
    for (const bool reversed : {false, true})
    {
        const std::string text = Chain(40'000, reversed);
        std::vector<DocumentError> errors;
        const GraphDocument document = GraphDocument::Parse(text, "g", {}, errors);
        REQUIRE(errors.empty());
        CHECK(document.Check().empty());
        CHECK(document.ToText().size() > text.size());
    }
}

TEST_CASE("Ten thousand mistakes are all reported")
{
    std::string operators;
    for (int i = 0; i < 10'000; ++i)
    {
        operators += i > 0 ? ",\n" : "";
        operators += R"({ "key": "op)" + std::to_string(i) + R"(", "type": "Test.Everythink", "parametres": 1,
 "inputs": { "Mesh Input": "po)" +
                     std::to_string(i) + "\" } }";
    }
    // A look at every key for every mistake would take minutes, longer than the test may.
    RegisterDocumentOperators();
    std::vector<DocumentError> errors;
    CHECK(GraphDocument::Parse(WithOperators(operators), "g", "/folder", errors).Check().size() == 30'000);
}

TEST_CASE("Of a mistake that is made in many operators ten are printed, and how many more there are")
{
    std::string operators = R"({ "key": "other", "type": "Test.Everything", "parameters": { "Int": {} } })";
    for (int i = 0; i < 149; ++i)
        operators += ",\n{ \"key\": \"op" + std::to_string(i) +
                     R"(", "type": "Test.Everything", "parameters": { "Radios": 1 } })";
    const std::string text = ErrorsOfOperators(operators);
    CHECK(std::ranges::count(text, '\n') == 11);
    CHECK(text.starts_with("g:2:69: operator \"other\": parameter \"Int\""));
    CHECK(text.find("operator \"op9\": there is no parameter \"Radios\"") != std::string::npos);
    CHECK(text.ends_with("\n... and 139 more"));
}

TEST_CASE("What only the operators themselves know to be wrong is among a document's errors")
{
    const std::string sources = R"({ "key": "s", "type": "Test.Sink" }, { "key": "e", "type": "Test.Everything" },)";
    const auto errors = [&](const char* op) { return ErrorsOfOperators(sources + "\n" + op); };
    CHECK(errors(R"({ "key": "x", "type": "Test.Sink", "inputs": { "Mesh Input": ["e"] } })") ==
          "g:3:62: operator \"x\": input \"Mesh Input\" takes one key, not an array");
    CHECK(errors(R"({ "key": "x", "type": "Test.Stack", "inputs": { "Inputs": "e" } })") ==
          "g:3:59: operator \"x\": input \"Inputs\" is a list: it takes an array of keys");
    CHECK(errors(R"({ "key": "x", "type": "Test.Stack", "bundles": { "Weights": [{}] } })") ==
          "g:3:62: operator \"x\": \"Weights\" has more parameter maps (1) than bundles (0)");
    CHECK(errors(R"({ "key": "x", "type": "Test.Report", "parameters": { "Target": "e" } })") ==
          "g:3:64: operator \"x\": parameter \"Target\" can't refer to the operator \"e\", which is a Test.Everything");
    // Faults elsewhere don't hide it.
    CHECK(
        errors(
            R"({ "key": "u", "type": "Gone" }, { "key": "x", "type": "Test.Sink", "inputs": { "Mesh Input": ["e"] } })")
            .ends_with("takes one key, not an array"));
}

TEST_CASE("A file that can't be read, or never ends, is an error with the system's reason")
{
    std::vector<DocumentError> errors;
    GraphDocument::Load("/proc/self/mem", errors); // nothing is mapped at its start
    CHECK(JoinErrors(errors) == "/proc/self/mem: the file can't be read: Input/output error");
    CHECK(errors.at(0).machine);
    errors.clear();
    GraphDocument::Load("/dev/zero", errors);
    CHECK(JoinErrors(errors) == "/dev/zero: the file has more than 64 MiB, which no graph document has");
    CHECK_FALSE(errors.at(0).machine);
}
