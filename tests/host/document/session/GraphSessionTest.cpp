#include "Varkle/Document/GraphSession.h"

#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "document/session/Sessions.h"
#include "support/LogRecorder.h"
#include "support/RunAs.h"
#include "support/TemporaryFolder.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr std::string_view noError; // compared with rather than asked for, so that a failing test shows the text

std::string OpeningError(const std::string& operators)
{
    RegisterDocumentOperators();
    const Result<GraphSession> session = GraphSession::Parse(WithOperators(operators), "g", "/folder");
    return session ? "" : session.GetError().message;
}

Lines RunFrame(GraphSession& session, long long frame, const Lines& keys)
{
    NotingOperator::Executed().clear();
    const Status status = session.GoToFrame(frame, keys);
    if (!status)
        return {status.GetError().message};
    return NotingOperator::Executed();
}

} // namespace

TEST_CASE("A session makes the operators of the document in order, with keys, connections and parameters")
{
    const LogRecorder log;
    GraphSession session = OpenOperators(R"({ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "b" } },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a", "Texture Input": "p" } },
{ "key": "p", "type": "Test.Picture" },
{ "key": "a", "type": "Test.Everything", "inputs": { "Mesh Input": null }, "parameters": { "Float": 2 } },
{ "key": "s", "type": "Test.Stack" }, { "key": "m", "type": "Test.Maker" }, { "key": "r", "type": "Test.Report" },
{ "key": "c", "type": "Test.Copier" })");
    CHECK(log.lines.empty()); // the documents fit the operators
    Lines keys;
    for (const std::unique_ptr<Operator>& op : session.GetGraph().GetOperators())
        keys.push_back(op->GetKey());
    CHECK(keys == Lines{"sink", "b", "p", "a", "s", "m", "r", "c"});
    CHECK(Get<Everything>(session, "b").meshInput.GetConnection() == &Get<Everything>(session, "a").output);
    CHECK(Get<Everything>(session, "b").textureInput.GetConnection() == &Get<Picture>(session, "p").output);
    CHECK(Get<Sink>(session, "sink").input.GetConnection() == &Get<Everything>(session, "b").output);
    CHECK(Get<Everything>(session, "a").meshInput.GetConnection() == nullptr);
    CHECK(Get<Everything>(session, "a").number.Value() == 2);
    CHECK(Get<Everything>(session, "b").number.Value() == 0.5);
    CHECK(session.GetDefaultOutputs() == Lines{"s", "m"});
}

TEST_CASE("A session sets parameters of every kind")
{
    GraphSession session = OpenOperators(R"({ "key": "sink", "type": "Test.Sink" },
{ "key": "a", "type": "Test.Everything", "parameters": {
  "Float": "2 * 3", "Int": 7, "Bool": true, "String": "time", "File": "a.png", "Folder": "../out", "Enum": "Two",
  "Side": "Middle", "Color": "#ff0000", "Vector 2": [1, 2], "Vector 3": [1, 2, 3], "Vector 4": [1, 2, 3, 4],
  "Vector 2 Int": [1, 2], "Vector 3 Int": [1, 2, 3], "Transform 3D": { "translate": [1, 2, 3] }, "Reference": "sink",
  "Runs With Trigger": "no matter what" } })");
    const auto& a = Get<Everything>(session, "a");
    CHECK(a.number.Value() == 6);
    CHECK(a.count.Value() == 7);
    CHECK(a.flag.Value());
    CHECK(a.text.Value() == "time");
    CHECK(a.file.Value() == "/folder/a.png");
    CHECK(a.folder.Value() == "/out");
    CHECK(a.choice.Value() == "Two");
    CHECK(a.plainChoice.Value() == "Middle");
    CHECK_FALSE(a.plainChoice.IsResolved());
    CHECK(a.color.Value() == Color{1, 0, 0, 1});
    CHECK(a.vector2.Value() == glm::dvec2(1, 2));
    CHECK(a.vector3.Value() == glm::dvec3(1, 2, 3));
    CHECK(a.vector4.Value() == glm::dvec4(1, 2, 3, 4));
    CHECK(a.vector2Int.Value() == glm::ivec2(1, 2));
    CHECK(a.vector3Int.Value() == glm::ivec3(1, 2, 3));
    CHECK(a.transform.Value()[3] == glm::vec4(1, 2, 3, 1));
    CHECK(a.reference.Value() == session.GetGraph().Find("sink"));
    CHECK(a.triggeredRuns.Value() == 0);
}

TEST_CASE("A relative path is taken from the folder of the document's file")
{
    const TemporaryFolder folder;
    RegisterDocumentOperators();
    WriteBytes(folder / "g.varkle",
               WithOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": { "File": "x/a.png" } })"));
    Result<GraphSession> session = GraphSession::Load(folder / "g.varkle");
    REQUIRE(session);
    CHECK(Get<Everything>(*session, "a").file.Value() == folder / "x/a.png");
    REQUIRE(session->SetParameter("a.File", "b.png"));
    CHECK(Get<Everything>(*session, "a").file.Value() == folder / "b.png");
}

TEST_CASE("A document with errors makes no session, the error has a line for each")
{
    CHECK(OpeningError(R"({ "key": "a", "type": "Test.Sink", "inputs": { "Mesh Input": "b" } }, 3)") ==
          "g:2:62: operator \"a\": input \"Mesh Input\": there is no operator \"b\"\n"
          "g:2:71: an operator must be an object with at least \"key\" and \"type\"");
    const Result<GraphSession> missing = GraphSession::Load("/no such/file.varkle");
    REQUIRE_FALSE(missing);
    CHECK(missing.GetError().message == "/no such/file.varkle: the file can't be opened: No such file or directory");
    CHECK_FALSE(GraphSession::Parse("{"));
}

TEST_CASE("What only the operators themselves know is checked when they are made, all of it, in the order of the text")
{
    CHECK(OpeningError(R"({ "key": "r", "type": "Test.Report", "parameters": {
"Target": "r" } },
{ "key": "m", "type": "Test.Maker", "parameters": {
"Value": [1, 2, 3] } },
{ "key": "s", "type": "Test.Stack", "inputs": {
"Inputs": "f" }, "bundles": { "Weights": [
{} ] } },
{ "key": "t", "type": "Test.Stack", "inputs": { "Inputs": ["f"] }, "bundles": { "Weights": [ {},
{ "Weight": 1 }, {} ] } },
{ "key": "e", "type": "Test.Everything", "inputs": {
"Mesh Input": ["s"] } },
{ "key": "f", "type": "Test.Everything" })") ==
          "g:3:11: operator \"r\": parameter \"Target\" can't refer to the operator \"r\", which is a Test.Report\n"
          "g:5:10: operator \"m\": parameter \"Value\" takes a number or an expression, not an array\n"
          "g:7:11: operator \"s\": input \"Inputs\" is a list: it takes an array of keys\n"
          "g:8:1: operator \"s\": \"Weights\" has more parameter maps (1) than bundles (0)\n"
          "g:10:1: operator \"t\": \"Weights\" has more parameter maps (3) than bundles (1)\n"
          "g:12:15: operator \"e\": input \"Mesh Input\" takes one key, not an array");
}

TEST_CASE("An input list takes its elements in order, null among them, and each has its bundle")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything" },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["b", null, "a", "b"] }, "bundles": { "Weights": [
  {}, { "Weight": "0.5 + frame" }, { "Tint": "#ffffff00", "Weight": 0.25 } ] } },
{ "key": "none", "type": "Test.Stack", "inputs": { "Inputs": [] }, "bundles": { "Weights": [] } })");
    auto& stack = Get<Stack>(session, "s");
    REQUIRE(stack.inputs.GetInputs().size() == 4);
    CHECK(stack.inputs.GetInputs()[0]->GetConnection() == &Get<Everything>(session, "b").output);
    CHECK(stack.inputs.GetInputs()[1]->GetConnection() == nullptr);
    CHECK(stack.inputs.GetInputs()[2]->GetConnection() == &Get<Everything>(session, "a").output);
    CHECK(stack.inputs.GetInputs()[3]->GetConnection() == &Get<Everything>(session, "b").output);
    CHECK(Get<Stack>(session, "none").inputs.GetInputs().empty());
    CHECK(stack.Weight(0).Value() == 1);
    CHECK(stack.Weight(2).Value() == 0.25);
    CHECK(stack.Tint(2).Value() == Color{1, 1, 1, 0});
    CHECK(stack.Weight(3).Value() == 1);
    session.GoToFrame(2);
    CHECK(stack.Weight(1).Value() == 2.5);
}

TEST_CASE("The clock of expressions follows the frame and the document's frame rate")
{
    GraphSession session = Open(R"({ "format": "varkle-graph", "version": 1, "frameRate": 25, "operators": [
{ "key": "a", "type": "Test.Everything", "parameters": { "Vector 3": ["time", "frame", "fps"] } } ] })");
    CHECK(session.GetFrameRate() == 25);
    session.GoToFrame(0);
    CHECK(Get<Everything>(session, "a").vector3.Value() == glm::dvec3(0, 0, 25));
    session.GoToFrame(50);
    CHECK(Get<Everything>(session, "a").vector3.Value() == glm::dvec3(2, 50, 25));
    CHECK(session.GetFrame() == 50);
}

TEST_CASE("An expression makes its operator run only on frames on which its value changes")
{
    GraphSession session = OpenOperators(R"-({ "key": "steps", "type": "Test.Everything",
  "parameters": { "Float": "floor(frame / 2)" } },
{ "key": "rounded", "type": "Test.Everything", "parameters": { "Int": "frame / 4" } },
{ "key": "constant", "type": "Test.Everything", "parameters": { "Float": "2 * pi" } },
{ "key": "undefined", "type": "Test.Everything", "parameters": { "Float": "sqrt(-1 - frame)" } },
{ "key": "below", "type": "Test.Sink", "inputs": { "Mesh Input": "steps" } })-");
    CHECK(RunFrame(session, 0) == Lines{"steps", "rounded", "constant", "undefined", "below"});
    CHECK(RunFrame(session, 1).empty());
    CHECK(RunFrame(session, 2) == Lines{"steps", "rounded", "below"}); // 2 / 4 is rounded to 1
    CHECK(RunFrame(session, 3).empty());
    CHECK(RunFrame(session, 4) == Lines{"steps", "below"});
    CHECK(RunFrame(session, 4).empty());
    CHECK(RunFrame(session, 0) == Lines{"steps", "rounded", "below"});
}

TEST_CASE("An operator that sets a parameter itself is not made to run by an expression that yields the same as before")
{
    GraphSession session = OpenOperators(R"-({ "key": "c", "type": "Test.Copier",
  "parameters": { "Size": "3 + floor(frame / 2)" } })-");
    CHECK(RunFrame(session, 0) == Lines{"c"});
    CHECK(Get<Copier>(session, "c").size.Value() == 7);
    CHECK(RunFrame(session, 1).empty());
    CHECK(RunFrame(session, 2) == Lines{"c"});
}

TEST_CASE("A frame is the same alone, in a sequence and backwards")
{
    const char* const parameters = R"-("Float": "noise(time)", "Int": "frame * frame", "Bool": "mod(frame, 2)",
"Color": ["time", "frame / 10", 0], "Vector 2 Int": ["frame", "-frame"], "Transform 3D": { "rotate": ["time", 0, 0] },
"Trigger": "frame == 0")-";
    const auto state = [](const GraphSession& session)
    {
        const std::string text = session.Inspect();
        const std::string rest = text.substr(text.find("\"parameters\""));
        return rest.substr(0, rest.find("Runs With Trigger")); // that one counts
    };
    GraphSession alone = OpenEverything(parameters);
    alone.GoToFrame(5);
    GraphSession sequence = OpenEverything(parameters);
    for (int frame = 0; frame <= 5; ++frame)
        sequence.GoToFrame(frame);
    GraphSession backwards = OpenEverything(parameters);
    for (int frame = 9; frame >= 5; --frame)
        backwards.GoToFrame(frame);
    CHECK(state(alone) == state(sequence));
    CHECK(state(alone) == state(backwards));
    CHECK(Get<Everything>(alone, "a").count.Value() == 25);
}

TEST_CASE("A trigger that is true fires on the first frame only, whichever that is")
{
    for (const int first : {0, 5})
    {
        GraphSession session = OpenEverything(R"("Trigger": true)");
        const auto& runs = Get<Everything>(session, "a").triggeredRuns;
        CHECK(RunFrame(session, first) == Lines{"a"});
        CHECK(runs.Value() == 1);
        CHECK(RunFrame(session, first + 1).empty());
        CHECK(RunFrame(session, first).empty());
        CHECK(runs.Value() == 1);
    }
    GraphSession never = OpenEverything(R"("Trigger": false)");
    CHECK(RunFrame(never, 0) == Lines{"a"});
    CHECK(Get<Everything>(never, "a").triggeredRuns.Value() == 0);
}

TEST_CASE("A trigger with an expression fires on every frame where that is not 0")
{
    GraphSession session = OpenEverything(R"("Trigger": "frame >= 1 && frame <= 2")");
    const auto& runs = Get<Everything>(session, "a").triggeredRuns;
    CHECK(RunFrame(session, 0) == Lines{"a"}); // because it never ran
    CHECK(runs.Value() == 0);
    CHECK(RunFrame(session, 1) == Lines{"a"});
    CHECK(RunFrame(session, 2) == Lines{"a"});
    CHECK(runs.Value() == 2);
    CHECK(RunFrame(session, 3).empty());

    GraphSession always = OpenEverything(R"("Trigger": "1")");
    CHECK(RunFrame(always, 0) == Lines{"a"});
    CHECK(RunFrame(always, 1) == Lines{"a"});
    CHECK(Get<Everything>(always, "a").triggeredRuns.Value() == 2);
}

TEST_CASE("A trigger whose expression holds on frame 0 only does not fire when the run begins later")
{
    GraphSession session = OpenEverything(R"("Trigger": "frame == 0")");
    CHECK(RunFrame(session, 5) == Lines{"a"});
    CHECK(Get<Everything>(session, "a").triggeredRuns.Value() == 0);
}

TEST_CASE("Parameters that an operator creates are set after those that decide which there are, in any order")
{
    GraphSession session = OpenOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
  "Seed": 12, "Seeded": true, "Max": [1, 2, "frame"], "Mode": "Random", "Value": 4, "Type": "Vector 3" } })");
    const auto& maker = Get<Maker>(session, "m");
    CHECK(dynamic_cast<Vector3Parameter&>(*maker.FindParameter("Max")).Value() == glm::dvec3(1, 2, 0));
    CHECK(dynamic_cast<IntParameter&>(*maker.FindParameter("Seed")).Value() == 12);
    CHECK(maker.FindParameter("Value") == nullptr); // kept for when there is one
    session.GoToFrame(3);
    CHECK(dynamic_cast<Vector3Parameter&>(*maker.FindParameter("Max")).Value() == glm::dvec3(1, 2, 3));
    CHECK(session.GetDocument().ToText().find("\"Value\": 4") != std::string::npos);
}

TEST_CASE("A value whose parameter does not exist at the moment is kept until it does")
{
    GraphSession session = OpenOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
  "Value": 4, "Min": "10 * frame", "Seeded": "frame >= 2", "Seed": "frame" } })");
    const auto& maker = Get<Maker>(session, "m");
    CHECK(dynamic_cast<FloatParameter&>(*maker.FindParameter("Value")).Value() == 4);
    REQUIRE(session.SetParameter("m.Mode", "Random"));
    session.GoToFrame(1);
    CHECK(dynamic_cast<FloatParameter&>(*maker.FindParameter("Min")).Value() == 10);
    CHECK(maker.FindParameter("Seed") == nullptr);
    session.GoToFrame(2);
    CHECK(dynamic_cast<FloatParameter&>(*maker.FindParameter("Min")).Value() == 20);
    CHECK(dynamic_cast<IntParameter&>(*maker.FindParameter("Seed")).Value() == 2);
    session.GoToFrame(3);
    CHECK(dynamic_cast<IntParameter&>(*maker.FindParameter("Seed")).Value() == 3);
    REQUIRE(session.SetParameter("m.Mode", "Constant"));
    session.GoToFrame(4);
    CHECK(maker.FindParameter("Min") == nullptr);
    CHECK(dynamic_cast<FloatParameter&>(*maker.FindParameter("Value")).Value() == 4);
}

TEST_CASE("A kept value that does not fit the parameter when it appears is an error in the log, once")
{
    LogRecorder log;
    GraphSession session = OpenOperators(R"({ "key": "m", "type": "Test.Maker", "parameters": {
"Value": 4 } })");
    REQUIRE(session.SetParameter("m.Type", "Vector 3"));
    CHECK(log.lines.empty());
    session.GoToFrame(0);
    session.GoToFrame(1);
    CHECK(log.lines ==
          Lines{"error: g:3:10: operator \"m\": parameter \"Value\" takes an array of 3 numbers, not a number"});
}

TEST_CASE("A parameter is set by its operator's key and its name, to a value as in a document")
{
    GraphSession session = OpenEverything("");
    const auto& a = Get<Everything>(session, "a");
    CHECK(Set(session, "a.Float", "12") == noError);
    CHECK(a.number.Value() == 12);
    CHECK(Set(session, "a.Vector 2 Int", "[640,360]") == noError);
    CHECK(a.vector2Int.Value() == glm::ivec2(640, 360));
    CHECK(Set(session, "a.Bool", "true") == noError);
    CHECK(a.flag.Value());
    CHECK(Set(session, "a.Transform 3D", R"({ "scale": [2, 2, 2] })") == noError);
    CHECK(a.transform.Value()[0][0] == 2);
    CHECK(Set(session, "a.Color", "[1, 0, 0]") == noError);
    CHECK(a.color.Value() == Color{1, 0, 0, 1});
}

TEST_CASE("Bare words are strings, so enums, colors, keys and expressions need no quotes")
{
    GraphSession session = OpenEverything("");
    const auto& a = Get<Everything>(session, "a");
    CHECK(Set(session, "a.Enum", "Two") == noError);
    CHECK(a.choice.Value() == "Two");
    CHECK(Set(session, "a.Enum", "0") == noError); // a name like any other
    CHECK(a.choice.Value() == "0");
    CHECK(Set(session, "a.Enum", "\"One\"") == noError);
    CHECK(a.choice.Value() == "One");
    CHECK(Set(session, "a.Color", "#0000ff") == noError);
    CHECK(a.color.Value() == Color{0, 0, 1, 1});
    CHECK(Set(session, "a.Reference", "a") == noError);
    CHECK(a.reference.Value() == &a);
    CHECK(Set(session, "a.Reference", "null") == noError);
    CHECK(a.reference.Value() == nullptr);
    CHECK(Set(session, "a.Float", "8 + frame") == noError);
    CHECK(Set(session, "a.Int", "\"2 * frame\"") == noError);
    session.GoToFrame(4);
    CHECK(a.number.Value() == 12);
    CHECK(a.count.Value() == 8);
}

TEST_CASE("A String parameter takes whatever text there is")
{
    GraphSession session = OpenEverything("");
    const auto& text = Get<Everything>(session, "a").text;
    const std::pair<const char*, const char*> cases[] = {{"plain words", "plain words"},
                                                         {"12", "12"},
                                                         {"true", "true"},
                                                         {"null", "null"},
                                                         {"[1, 2]", "[1, 2]"},
                                                         {"", ""},
                                                         {"\"quoted \\u00fc\"", "quoted ü"},
                                                         {"\"half", "\"half"},
                                                         {"a=b", "a=b"}};
    for (const auto& [typed, meant] : cases)
    {
        CHECK(Set(session, "a.String", typed) == noError);
        CHECK(text.Value() == meant);
    }
}

TEST_CASE("A key may hold points, the longest that fits is meant")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything" },
{ "key": "a.b", "type": "Test.Everything" }, { "key": "x.y.", "type": "Test.Everything" })");
    CHECK(Set(session, "a.b.Float", "1") == noError);
    CHECK(Set(session, "a.Float", "2") == noError);
    CHECK(Set(session, "x.y..Float", "3") == noError);
    CHECK(Get<Everything>(session, "a.b").number.Value() == 1);
    CHECK(Get<Everything>(session, "a").number.Value() == 2);
    CHECK(Get<Everything>(session, "x.y.").number.Value() == 3);
}

TEST_CASE("Setting what there is not is an error with the nearest name")
{
    GraphSession session = OpenOperators(R"({ "key": "soft", "type": "Test.Everything" },
{ "key": "r", "type": "Test.Report" })");
    CHECK(Set(session, "soft.Flaot", "1") ==
          "operator \"soft\": there is no parameter \"Flaot\" (did you mean \"Float\"?)");
    CHECK(Set(session, "sotf.Float", "1") == "there is no operator \"sotf\" (did you mean \"soft\"?)");
    CHECK(Set(session, "soft", "1") == "\"soft\" names no parameter: it must have the form \"key.Parameter\"");
    CHECK(Set(session, "", "1") == "\"\" names no parameter: it must have the form \"key.Parameter\"");
    CHECK(Set(session, ".Float", "1") == "there is no operator \"\"");
    CHECK(Set(session, "soft.", "1") == "operator \"soft\": there is no parameter \"\"");
    CHECK(Set(session, "r.Found", "true") ==
          "operator \"r\": parameter \"Found\" is written by the operator and can't be set");
}

TEST_CASE("Setting a wrong value is an error and changes nothing")
{
    GraphSession session = OpenEverything(R"("Float": "frame", "Vector 2": [1, 2])");
    CHECK(Set(session, "a.Float", "[1]") ==
          "operator \"a\": parameter \"Float\" takes a number or an expression, not an array");
    CHECK(Set(session, "a.Float", "8 + tme") ==
          "operator \"a\": parameter \"Float\" has an expression that can't be read, at its character 5: there is no "
          "\"tme\" in expressions (did you mean \"time\"?)");
    CHECK(Set(session, "a.Vector 2", "[true, null]") ==
          "operator \"a\": parameter \"Vector 2\" takes a number or an expression as a component, not true or false; "
          "operator \"a\": parameter \"Vector 2\" takes a number or an expression as a component, not null");
    CHECK(Set(session, "a.Reference", "nobody") ==
          "operator \"a\": parameter \"Reference\" refers to \"nobody\", but there is no such operator");
    session.GoToFrame(3);
    CHECK(Get<Everything>(session, "a").number.Value() == 3);
    CHECK(Get<Everything>(session, "a").vector2.Value() == glm::dvec2(1, 2));
}

TEST_CASE("Setting a parameter replaces its value or expression from then on, and makes the operator run")
{
    GraphSession session = OpenEverything(R"("Float": "frame")");
    const auto& number = Get<Everything>(session, "a").number;
    session.GoToFrame(1);
    CHECK(Set(session, "a.Float", "100") == noError);
    CHECK(RunFrame(session, 2) == Lines{"a"});
    CHECK(number.Value() == 100);
    CHECK(RunFrame(session, 3).empty());
    CHECK(Set(session, "a.Float", "\"10 * frame\"") == noError);
    CHECK(number.Value() == 30);
    CHECK(RunFrame(session, 4) == Lines{"a"});
    CHECK(number.Value() == 40);
    CHECK(session.GetDocument().ToText().find("\"Float\": \"frame\"") != std::string::npos);
}

TEST_CASE("Setting a trigger fires it once for true, and on its frames for an expression")
{
    GraphSession session = OpenEverything("");
    const auto& runs = Get<Everything>(session, "a").triggeredRuns;
    session.GoToFrame(0);
    CHECK(Set(session, "a.Trigger", "true") == noError);
    CHECK(RunFrame(session, 1) == Lines{"a"});
    CHECK(RunFrame(session, 2).empty());
    CHECK(runs.Value() == 1);
    CHECK(Set(session, "a.Trigger", "frame == 2") == noError);
    CHECK(RunFrame(session, 3).empty());
    CHECK(RunFrame(session, 2) == Lines{"a"});
    CHECK(runs.Value() == 2);
}

TEST_CASE("A parameter that other settings bring may be set before them")
{
    GraphSession session = OpenOperators(R"({ "key": "m", "type": "Test.Maker" })");
    const auto& maker = Get<Maker>(session, "m");
    CHECK(Set(session, "m.Max", "[1, 2, 3]") == noError);
    CHECK(Set(session, "m.Seed", "5") == noError);
    CHECK(Set(session, "m.Seeded", "true") == noError);
    CHECK(Set(session, "m.Type", "Vector 3") == noError);
    CHECK(Set(session, "m.Mode", "Random") == noError);
    session.GoToFrame(0);
    CHECK(dynamic_cast<Vector3Parameter&>(*maker.FindParameter("Max")).Value() == glm::dvec3(1, 2, 3));
    CHECK(dynamic_cast<IntParameter&>(*maker.FindParameter("Seed")).Value() == 5);

    CHECK(Set(session, "m.Value", "true") ==
          "operator \"m\": parameter \"Value\" takes a number, an expression or an array of them, not true or false");
    CHECK(Set(session, "m.Valeu", "1") == "operator \"m\": there is no parameter \"Valeu\" (did you mean \"Value\"?)");
}

TEST_CASE(
    "A value that was set and does not fit the parameter when it appears is logged without a place in the document")
{
    LogRecorder log;
    GraphSession session = OpenOperators(R"({ "key": "m", "type": "Test.Maker" })");
    CHECK(Set(session, "m.Max", "[1, 2, 3]") == noError);
    CHECK(Set(session, "m.Mode", "Random") == noError);
    session.GoToFrame(0);
    CHECK(log.lines ==
          Lines{"error: g: operator \"m\": parameter \"Max\" takes a number or an expression, not an array"});
}

TEST_CASE("Operators that a program adds, removes and renames in the graph are no trouble")
{
    GraphSession session =
        OpenOperators(R"({ "key": "a", "type": "Test.Everything", "parameters": { "Float": "frame" } },
{ "key": "m", "type": "Test.Maker", "parameters": { "Value": "frame" } })");
    Graph& graph = session.GetGraph();
    graph.Add(Maker::Type(), "new");
    CHECK(Set(session, "new.Value", "frame") == noError);
    CHECK(Set(session, "new.Max", "7") == noError);
    graph.Remove(graph.Find("m"));
    graph.Remove(graph.Find("a"));
    graph.Find("new")->SetKey("renamed");
    CHECK(Set(session, "a.Float", "1") == "there is no operator \"a\"");
    CHECK(Set(session, "renamed.Mode", "Random") == noError);
    session.GoToFrame(5);
    CHECK(dynamic_cast<FloatParameter&>(*graph.Find("renamed")->FindParameter("Max")).Value() == 7);
}

TEST_CASE("Only the operators that were asked for run, with what feeds them and those without outputs")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } },
{ "key": "c", "type": "Test.Everything" },
{ "key": "d", "type": "Test.Everything" },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "c" } },
{ "key": "r", "type": "Test.Report", "parameters": { "Target": "sink" } })");
    CHECK(session.GetDefaultOutputs() == Lines{"b", "d"});
    CHECK(RunFrame(session, 0, {"b"}) == Lines{"a", "b", "c", "sink", "r"});
    CHECK(Get<Report>(session, "r").found.Value());
    CHECK(RunFrame(session, 0, {"d", "b"}) == Lines{"d", "r"});
    CHECK(RunFrame(session, 0, {}) == Lines{"r"});
    CHECK(RunFrame(session, 1, {"d", "e"}) == Lines{"there is no operator \"e\""});
    CHECK(session.GetFrame() == 0);
    CHECK(RunFrame(session, 1) == Lines{"r"});
}

TEST_CASE("A session hands out no texture where there is none")
{
    GraphSession session = OpenOperators(R"({ "key": "p", "type": "Test.Picture" }, { "key": "s", "type": "Test.Sink" },
{ "key": "m", "type": "Test.Everything" })");
    session.GoToFrame(0);
    for (const char* key : {"p", "s", "m", "nobody"})
    {
        CHECK_FALSE(session.GetTexture(key));
        CHECK_FALSE(session.ReadPixels(key).IsValid());
    }
}

TEST_CASE("A session can be moved and keeps its document")
{
    GraphSession first = OpenEverything(R"("Float": "frame")");
    GraphSession session = std::move(first);
    session.GoToFrame(2);
    CHECK(Get<Everything>(session, "a").number.Value() == 2);
    CHECK(session.GetDocument().GetName() == "g");
    CHECK(session.GetDocument().GetFolder() == "/folder");
}

TEST_CASE("A graph of twenty thousand operators is built and run, sources first or last")
{
    RegisterDocumentOperators();
    constexpr int length = 20'000; // long enough for anything quadratic to run into the limit of the test's time
    for (const bool reversed : {false, true})
    {
        std::string operators;
        for (int place = 0; place < length; ++place)
        {
            const int i = reversed ? length - 1 - place : place;
            operators += place > 0 ? ",\n" : "";
            operators += R"({ "key": "op)" + std::to_string(i) +
                         R"(", "type": "Test.Everything", "parameters": { "Float": "frame", "String": "x" })";
            if (i > 0)
                operators += R"(, "inputs": { "Mesh Input": "op)" + std::to_string(i - 1) + "\" }";
            operators += " }";
        }
        std::vector<DocumentError> errors;
        Result<GraphSession> session =
            GraphSession::Build(GraphDocument::Parse(WithOperators(operators), "g", {}, errors));
        REQUIRE(session);
        CHECK(int(RunFrame(*session, 0).size()) == length);
        CHECK(int(RunFrame(*session, 1).size()) == length);
    }
}

TEST_CASE("However fast a session goes from frame to frame, at most three of them are under way on the GPU")
{
    GraphSession session = OpenOperators(R"({ "key": "s", "type": "Test.Stack" })");
    const FrameBuffer target = AllocateFrameBuffer({2048, 2048}, {.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}});
    Operator* const painter = session.GetGraph().Add(std::make_unique<Worker>(
        [&]
        {
            for (int i = 0; i < 20; ++i)
                RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1}).Submit();
        }));
    Graphics::ResetCounters();
    for (long long frame = 0; frame < 10; ++frame)
    {
        painter->MarkDirty();
        session.GoToFrame(frame);
    }
    CHECK(Graphics::GetCounters().renderPasses == 200);
    CHECK(Graphics::GetCounters().mostFrames >= 1);
    CHECK(Graphics::GetCounters().mostFrames <= 3);
}
