#include "Varkle/Document/DocumentEdit.h"

#include "Edits.h"
#include "Varkle/Document/DocumentQuery.h"

#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const std::string fine;

// A stack of three meshes, the second and third with bundles; a report that refers to a sink; a text that is a key.
const std::string scene = R"(
{ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything", "parameters": { "Float": 1, "String": "a", "Reference": "a" }, "inputs": { "Mesh Input": "a" } },
{ "key": "stack", "type": "Test.Stack", "inputs": { "Inputs": ["a", "b", "a"] },
  "bundles": { "Weights": [{}, { "Weight": 0.2 }, { "Weight": 0.3 }] } },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "stack" }, "position": [1, 2] },
{ "key": "report", "type": "Test.Report", "parameters": { "Target": "sink" } },
{ "key": "picture", "type": "Test.Picture" })";

DocumentEdit Set(const char* key, const char* parameter, const char* json)
{
    return SetParameter{key, parameter, Json(json), {}, 0};
}

std::vector<std::string> Sources(const GraphDocument& document, const char* key)
{
    return ViewOperator(document, key)->inputs.at(0).sources;
}

using Keys = std::vector<std::string>;

} // namespace

TEST_CASE("An edit sets a parameter to a value, an expression, and back to its default")
{
    GraphDocument document = ReadOperators(R"({ "key": "a", "type": "Test.Everything", "position": [1, 2] })");
    CHECK(Edit(document, Set("a", "Color", "\"#ff0000\"")) == fine);
    CHECK(Edit(document, Set("a", "Float", "\"sin(time)\"")) == fine);
    CHECK(Show(document, "a") == R"-({ "key": "a", "type": "Test.Everything", "parameters": { "Float": "sin(time)", )-"
                                 R"("Color": "#ff0000" }, "position": [1, 2] })");
    CHECK(Edit(document, SetParameter{"a", "Float", {}, {}, 0}) == fine);
    CHECK(Edit(document, SetParameter{"a", "Color", {}, {}, 0}) == fine);
    CHECK(Edit(document, SetParameter{"a", "Color", {}, {}, 0}) == fine);
    CHECK(Show(document, "a") == R"({ "key": "a", "type": "Test.Everything", "position": [1, 2] })");
}

TEST_CASE("An edit that a document could not say is refused in the words of the check")
{
    GraphDocument document = ReadOperators(scene);
    CHECK(Edit(document, Set("c", "Float", "1")) == R"(there is no operator "c")");
    CHECK(Edit(document, Set("a", "Floot", "1")) ==
          R"(operator "a": there is no parameter "Floot" (did you mean "Float"?))");
    CHECK(Edit(document, Set("a", "Float", "[1]")) ==
          R"(operator "a": parameter "Float" takes a number or an expression, not an array)");
    CHECK(Edit(document, Set("a", "Float", "\"1 +\"")).starts_with(R"(operator "a": parameter "Float" has an expr)"));
    CHECK(Edit(document, Set("a", "Runs With Trigger", "1")) ==
          R"(operator "a": parameter "Runs With Trigger" is written by the operator and can't be set)");
    CHECK(Edit(document, Set("report", "Target", "\"a\"")) ==
          R"(operator "report": parameter "Target" can't refer to the operator "a", which is a Test.Everything)");
    CHECK(Edit(document, SetParameter{"stack", "Weight", Json("1"), "Weights", 3}) ==
          R"(operator "stack": "Weights" has more parameter maps (4) than bundles (3))");
    CHECK(Edit(document, ConnectInput{"a", "Mesh Input", {}, "stack"}) ==
          R"(operator "a": a graph can't have cycles: "a" <- "stack" <- "a")");
    CHECK(Edit(document, ConnectInput{"a", "Mesh Input", {}, "picture"}) ==
          R"(operator "a": input "Mesh Input" takes a Mesh, but "picture" gives a Texture)");
    CHECK(Edit(document, ConnectInput{"sink", "Mesh Input", 0, "b"}) ==
          R"(operator "sink": input "Mesh Input" is no list)");
    CHECK(Edit(document, ConnectInput{"stack", "Inputs", 3, "b"}) ==
          R"(operator "stack": input "Inputs" has no element 4: it has 3)");
    CHECK(Edit(document, InsertElement{"sink", "Mesh Input", 0, "b"}) ==
          R"(operator "sink": input "Mesh Input" is no list)");
    CHECK(Edit(document, MoveElement{"stack", "Inputs", 0, 3}) ==
          R"(operator "stack": input "Inputs" has no element 4: it has 3)");
    CHECK(Edit(document, RenameOperator{"a", "b"}) == R"(operator "b": the key is used already)");
    CHECK(Edit(document, RenameOperator{"a", "ä"}).starts_with(R"(the key "ä" must consist of)"));
    CHECK(Edit(document, RenameOperator{"x", "y"}) == R"(there is no operator "x")");
    CHECK(Edit(document, RemoveOperators{{"a", "x"}}) == R"(there is no operator "x")");
    CHECK(Edit(document, AddOperators{{Json(R"({"key": "a", "type": "Test.Sink"})")}, {}}) ==
          R"(operator "a": the key is used already)");
    CHECK(Edit(document, AddOperators{{Json(R"({"key": "n", "type": "Test.Sunk"})")}, {}}) ==
          R"(operator "n": there is no operator type "Test.Sunk" (did you mean "Test.Sink"?))");
    CHECK(Edit(document, AddOperators{{Json("3")}, {}}).starts_with("an operator must be an object"));
    CHECK(Edit(document, SetExtra{"a", "note", Json("1")}).ends_with(R"(must begin with "x-")"));
    CHECK(Edit(document, SetFrameRate{0}) ==
          R"("frameRate" must be a number of frames per second from 0.001 to 1000, not 0)");
    CHECK(Edit(document, SetPosition{"a", std::numeric_limits<double>::infinity(), 0}) ==
          R"(operator "a": "position" must be an array of 2 numbers)");
}

TEST_CASE("Operators that are removed take along what names them")
{
    GraphDocument document = ReadOperators(scene);
    CHECK(Edit(document, RemoveOperators{{"a", "sink"}}) == fine);
    CHECK(GetKeys(document) == Keys{"b", "stack", "report", "picture"});
    CHECK(Show(document, "b") ==
          R"({ "key": "b", "type": "Test.Everything", "parameters": { "Float": 1, "String": "a" } })");
    CHECK(Show(document, "stack") == R"({ "key": "stack", "type": "Test.Stack", "inputs": { "Inputs": ["b"] }, )"
                                     R"("bundles": { "Weights": [ { "Weight": 0.2 } ] } })");
    CHECK(Show(document, "report") == R"({ "key": "report", "type": "Test.Report" })");
    CHECK(JoinErrors(document.Check()) == fine);
}

TEST_CASE("Connections and references follow an operator that is renamed, and texts don't")
{
    GraphDocument document = ReadOperators(scene);
    CHECK(Edit(document, RenameOperator{"a", "first"}) == fine);
    CHECK(Edit(document, RenameOperator{"sink", "end"}) == fine);
    CHECK(Show(document, "b") ==
          R"({ "key": "b", "type": "Test.Everything", "parameters": { "Float": 1, "String": "a", )"
          R"("Reference": "first" }, "inputs": { "Mesh Input": "first" } })");
    CHECK(Sources(document, "stack") == Keys{"first", "b", "first"});
    CHECK(ViewOperator(document, "report")->parameters.at(1).value.text == "end");
}

TEST_CASE("Elements of an input list come, go and move with their bundles")
{
    GraphDocument document = ReadOperators(scene);
    const auto weights = [&]
    {
        std::string text = Show(document, "stack");
        return text.substr(text.find("\"inputs\""));
    };
    CHECK(Edit(document, InsertElement{"stack", "Inputs", 1, ""}) == fine);
    CHECK(
        weights() ==
        R"("inputs": { "Inputs": ["a", null, "b", "a"] }, "bundles": { "Weights": [ {}, {}, { "Weight": 0.2 }, { "Weight": 0.3 } ] } })");
    CHECK(Edit(document, MoveElement{"stack", "Inputs", 3, 0}) == fine);
    CHECK(
        weights() ==
        R"("inputs": { "Inputs": ["a", "a", null, "b"] }, "bundles": { "Weights": [ { "Weight": 0.3 }, {}, {}, { "Weight": 0.2 } ] } })");
    CHECK(Edit(document, DisconnectInput{"stack", "Inputs", 0}) == fine);
    CHECK(weights() ==
          R"("inputs": { "Inputs": ["a", null, "b"] }, "bundles": { "Weights": [ {}, {}, { "Weight": 0.2 } ] } })");
    CHECK(Edit(document, ConnectInput{"stack", "Inputs", 1, "b"}) == fine);
    CHECK(Edit(document, ConnectInput{"stack", "Inputs", {}, "a"}) == fine);
    CHECK(Sources(document, "stack") == Keys{"a", "b", "b", "a"});
    CHECK(Edit(document, SetParameter{"stack", "Tint", Json("\"#00ff00\""), "Weights", 3}) == fine);
    CHECK(Edit(document, SetParameter{"stack", "Weight", {}, "Weights", 2}) == fine);
    CHECK(
        weights() ==
        R"("inputs": { "Inputs": ["a", "b", "b", "a"] }, "bundles": { "Weights": [ {}, {}, {}, { "Tint": "#00ff00" } ] } })");
    CHECK(Edit(document, DisconnectInput{"stack", "Inputs", {}}) == fine);
    CHECK(Show(document, "stack") == R"({ "key": "stack", "type": "Test.Stack" })");
}

TEST_CASE("A single input is fed, fed by another operator, and loosened")
{
    GraphDocument document = ReadOperators(scene);
    CHECK(Edit(document, ConnectInput{"sink", "Mesh Input", {}, "b"}) == fine);
    CHECK(Sources(document, "sink") == Keys{"b"});
    CHECK(Edit(document, DisconnectInput{"sink", "Mesh Input", {}}) == fine);
    CHECK(Show(document, "sink") == R"({ "key": "sink", "type": "Test.Sink", "position": [1, 2] })");
}

TEST_CASE("Copied operators are pasted under free keys, with the wires among them")
{
    GraphDocument document = ReadOperators(scene);
    const std::vector<JsonValue> copies = CopyOperators(document, {"stack", "b", "report"});
    CHECK(Edit(document, AddOperators{FitOperators(document, copies, false), 1}) == fine);
    CHECK(GetKeys(document) == Keys{"a", "b2", "stack2", "report2", "b", "stack", "sink", "report", "picture"});
    CHECK(Sources(document, "stack2") == Keys{"", "b2", ""});
    CHECK(Sources(document, "b2") == Keys{""});
    CHECK(Edit(document, AddOperators{FitOperators(document, copies, true), {}}) == fine);
    CHECK(Sources(document, "stack3") == Keys{"a", "b3", "a"});
    CHECK(JoinErrors(document.Check()) == fine);
}

TEST_CASE("Operators change places, positions and an editor's own members, and the document its frame rate")
{
    GraphDocument document = ReadOperators(scene);
    CHECK(Edit(document, MoveOperator{"a", 99}) == fine);
    CHECK(Edit(document, MoveOperator{"picture", 0}) == fine);
    CHECK(GetKeys(document) == Keys{"picture", "b", "stack", "sink", "report", "a"});
    CHECK(Edit(document, SetPosition{"sink", -0.5, 20}) == fine);
    CHECK(Edit(document, SetExtra{"sink", "x-note", Json(R"({"text": "here"})")}) == fine);
    CHECK(Show(document, "sink") == R"({ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "stack" }, )"
                                    R"("position": [-0.5, 20], "x-note": { "text": "here" } })");
    CHECK(Edit(document, SetExtra{"", "x-zoom", Json("2")}) == fine);
    CHECK(Edit(document, SetExtra{"", "x-zoom", {}}) == fine);
    CHECK(Edit(document, SetFrameRate{29.97}) == fine);
    CHECK(document.GetFrameRate() == 29.97);
}

TEST_CASE("Operators of unknown types are edited as far as can be, and what was wrong before is in nobody's way")
{
    GraphDocument document = ReadOperators(R"(
{ "key": "u", "type": "Gone.Type", "parameters": { "Size": 3 }, "inputs": { "In": ["a", null], "Other": "a" } },
{ "key": "a", "type": "Test.Everything", "parameters": { "Nothing": 1 } },
{ "key": "s", "type": "Test.Sink", "inputs": { "Mesh Input": "u" } })");
    CHECK(document.Check().size() == 2);
    CHECK(Edit(document, RenameOperator{"a", "b"}) == fine);
    CHECK(Edit(document, SetParameter{"u", "Size", Json("[1, 2]"), {}, 0}) == fine);
    CHECK(Edit(document, ConnectInput{"u", "In", 1, "b"}) == fine);
    CHECK(Edit(document, MoveElement{"u", "In", 1, 0}) == fine);
    CHECK(Show(document, "u") == R"({ "key": "u", "type": "Gone.Type", "parameters": { "Size": [1, 2] }, "inputs": { )"
                                 R"("In": ["b", "b"], "Other": "b" } })");
    CHECK(Edit(document, Set("b", "Float", "2")) == fine);
    CHECK(Edit(document, Set("b", "Float", "[2]")).ends_with("not an array"));
    CHECK(Edit(document, RemoveOperators{{"u"}}) == fine);
    CHECK(Show(document, "s") == R"({ "key": "s", "type": "Test.Sink" })");
}

TEST_CASE("A document whose operators are no list is not edited")
{
    GraphDocument document = ReadAny(R"({ "format": "varkle-graph", "version": 1, "operators": 3 })");
    CHECK(Edit(document, SetFrameRate{24}) == "the document has no list of operators");
    CHECK(Edit(document, ReplaceDocument{ReadOperators(scene).GetRoot()}) == fine);
    CHECK(document.ToText() == ReadOperators(scene).ToText());
}

TEST_CASE("A change only fits the document that it was made on")
{
    GraphDocument document = ReadOperators(scene);
    const Result<DocumentChange> change = ApplyEdit(document, Set("b", "Float", "2"));
    REQUIRE(change);
    const std::string text = document.ToText();
    CHECK_FALSE(ApplyChange(document, *change));
    GraphDocument other = ReadOperators(R"({ "key": "a", "type": "Test.Everything" })");
    CHECK_FALSE(ApplyChange(other, *change));
    CHECK(document.ToText() == text);
}

TEST_CASE("An edit changes only the lines that it concerns")
{
    GraphDocument document = ReadOperators(scene);
    const std::string before = document.ToText();
    REQUIRE(ApplyEdit(document, Set("b", "Float", "2.50")));
    std::string expected = before;
    expected.replace(expected.find("\"Float\": 1"), 10, "\"Float\": 2.50");
    CHECK(document.ToText() == expected);
}

TEST_CASE("Edits are written as JSON and read again")
{
    const std::vector<DocumentEdit> edits = {
        AddOperators{{Json(R"({"key": "n"})")}, 2},
        RemoveOperators{{"a", "b"}},
        RenameOperator{"a", "b"},
        MoveOperator{"a", 3},
        ConnectInput{"a", "In", 1, "b"},
        InsertElement{"a", "In", 0, ""},
        MoveElement{"a", "In", 0, 2},
        DisconnectInput{"a", "In", {}},
        SetParameter{"a", "P", Json("null"), "List", 2},
        SetParameter{"a", "P", {}, {}, 0},
        SetPosition{"a", 1.5, -2},
        SetExtra{"", "x-a", Json("[1]")},
        SetFrameRate{30},
        ReplaceDocument{Json("{}")},
    };
    for (const DocumentEdit& edit : edits)
    {
        const JsonValue json = WriteEdit(edit);
        const Result<DocumentEdit> read = ReadEdit(json);
        REQUIRE(read);
        CHECK(read->index() == edit.index());
        CHECK(LayOutJson(WriteEdit(*read)) == LayOutJson(json));
    }
    CHECK(LayOutJson(WriteEdit(Set("soft", "Radius", "12"))) ==
          "{\n  \"edit\": \"setParameter\",\n  \"key\": \"soft\",\n  \"parameter\": \"Radius\",\n  \"value\": 12\n}\n");
    const auto problem = [](const char* text) { return ReadEdit(Json(text)).GetError().message; };
    CHECK(problem("3").starts_with("an edit must be an object"));
    CHECK(problem(R"({"edit": "setParametre"})") ==
          R"(there is no edit "setParametre" (did you mean "setParameter"?))");
    CHECK(problem(R"({"edit": "renameOperator", "key": "a"})") ==
          R"(edit "renameOperator": the member "newKey" is missing)");
    CHECK(problem(R"({"edit": "moveOperator", "key": "a", "index": -1})") ==
          R"(edit "moveOperator": the member "index" must be a whole number from 0 on)");
    CHECK(problem(R"({"edit": "setFrameRate", "framesPerSecond": 1, "kee": 2})") ==
          R"(edit "setFrameRate": there is no member "kee")");
}
