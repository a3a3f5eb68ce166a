#include "document/session/Sessions.h"
#include "support/LogRecorder.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr std::string_view noError; // compared with rather than asked for, so that a failing test shows the text

// Does what the test asks for.
class Probe final : public Operator
{
public:
    void Execute(ExecutionContext&) override { during(); }

    std::function<void()> during;
};

// Updates the session to a document and returns the error, "" when there is none.
std::string Update(GraphSession& session, std::string_view text, const std::filesystem::path& folder = "/folder")
{
    std::vector<DocumentError> errors;
    GraphDocument document = GraphDocument::Parse(text, "new", folder, errors);
    if (!errors.empty())
        return JoinErrors(errors);
    const Status status = session.Update(std::move(document));
    return status ? "" : status.GetError().message;
}

std::string UpdateOperators(GraphSession& session, const std::string& operators)
{
    return Update(session, WithOperators(operators));
}

std::string UpdateEverything(GraphSession& session, const std::string& parameters)
{
    return UpdateOperators(session, MakeEverything(parameters));
}

Lines Keys(const GraphSession& session)
{
    Lines keys;
    for (const std::unique_ptr<Operator>& op : session.GetGraph().GetOperators())
        keys.push_back(op->GetKey());
    return keys;
}

// Returns the keys of what feeds the elements of a stack's list, "-" for nothing.
std::string Sources(const Stack& stack)
{
    std::string keys;
    for (const DataInput* const input : stack.inputs.GetInputs())
        keys += input->GetConnection() ? input->GetConnection()->GetOperator()->GetKey() : "-";
    return keys;
}

// Writes a stack "s" over sources "a" to "d", given as a list and bundles.
std::string MakeStack(const std::string& list, const std::string& bundles = "")
{
    std::string text = R"({ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": [)" + list +
                       R"(] }, "bundles": { "Weights": [)" + bundles + "] } }";
    for (const char key : {'a', 'b', 'c', 'd'})
        text += std::string(",\n{ \"key\": \"") + key + "\", \"type\": \"Test.Everything\" }";
    return text;
}

// Says all that a session's operators have, but for how often they ran.
std::string Describe(const GraphSession& session)
{
    std::string text = session.Inspect();
    for (const std::string_view counts : {"\"executions\": ", "\"Runs With Trigger\", \"type\": \"Int\", \"value\": "})
    {
        for (std::size_t at = text.find(counts); at != std::string::npos; at = text.find(counts, at + 1))
            text.erase(at + counts.size(),
                       text.find_first_not_of("0123456789", at + counts.size()) - at - counts.size());
    }
    return text;
}

} // namespace

TEST_CASE("An update with the same document changes nothing and runs nothing, wherever things stand in it")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything",
  "parameters": { "Float": "time", "Enum": "Two", "Trigger": true, "Transform 3D": { "scale": [1, 2, 3] } } },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", null, "a"] },
  "bundles": { "Weights": [ {}, { "Weight": 0.5 } ] } },
{ "key": "m", "type": "Test.Maker", "parameters": { "Mode": "Random", "Seeded": true, "Seed": 3 } },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "s" } })");
    RunFrame(session, 0);
    const std::vector<const Operator*> before = {session.GetGraph().Find("a"), session.GetGraph().Find("s"),
                                                 session.GetGraph().Find("m"), session.GetGraph().Find("sink")};
    const std::string state = Describe(session);
    CHECK(UpdateOperators(session, R"(
{ "position": [1, 2], "type": "Test.Everything", "key": "a", "x-color": "red",
  "parameters": { "Trigger": true, "Float": "time", "Transform 3D": { "scale": [1.0, 2, 3] }, "Enum": "Two" } },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", null, "a"] },
  "bundles": { "Weights": [ {}, { "Weight": 0.5 } ] } },

{ "key": "m", "type": "Test.Maker", "parameters": { "Seed": 3, "Mode": "Random", "Seeded": true } },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "s" } })") == noError);
    CHECK(RunFrame(session, 0).empty());
    CHECK(Describe(session) == state);
    CHECK(std::vector<const Operator*>{session.GetGraph().Find("a"), session.GetGraph().Find("s"),
                                       session.GetGraph().Find("m"), session.GetGraph().Find("sink")} == before);
    CHECK(Get<Everything>(session, "a").triggeredRuns.Value() == 1);
    CHECK(RunFrame(session, 1) == Lines{"a", "s", "sink"}); // the expression goes on
    CHECK(session.GetDocument().ToText().find("x-color") != std::string::npos);
    CHECK(session.GetDocument().GetName() == "new");
}

TEST_CASE("An update of a parameter runs its operator and what depends on it, nothing else")
{
    const auto text = [](const char* value)
    {
        return std::string(R"({ "key": "a", "type": "Test.Everything", "parameters": { "Float": )") + value +
               R"( } }, { "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } },
{ "key": "c", "type": "Test.Everything" })";
    };
    GraphSession session = OpenOperators(text("1"));
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, text("2")) == noError);
    CHECK(Get<Everything>(session, "a").number.Value() == 2);
    CHECK(RunFrame(session, 1) == Lines{"a", "b"});
    CHECK(UpdateOperators(session, text("\"1 + 1\"")) == noError); // says the same in other words
    CHECK(RunFrame(session, 2).empty());
}

TEST_CASE("Parameters of every kind that are no longer mentioned return to what they were when the operator was new")
{
    const std::string sink = R"(, { "key": "sink", "type": "Test.Sink" })";
    GraphSession session = OpenOperators(MakeEverything(R"("Float": 2, "Int": 7, "Bool": true, "String": "x",
"File": "a.png", "Folder": "out", "Enum": "Two", "Side": "Middle", "Color": "#ff0000", "Vector 2": [1, 2],
"Vector 3": [1, 2, 3], "Vector 4": [1, 2, 3, 4], "Vector 2 Int": [1, 2], "Vector 3 Int": [1, 2, 3],
"Transform 3D": { "translate": [1, 2, 3] }, "Reference": "sink", "Trigger": true, "Runs With Trigger": 5)") +
                                         sink);
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, MakeEverything("") + sink) == noError);

    const auto& a = Get<Everything>(session, "a");
    CHECK(a.number.Value() == 0.5);
    CHECK(a.count.Value() == 3);
    CHECK_FALSE(a.flag.Value());
    CHECK(a.text.Value() == "plain");
    CHECK(a.file.Value().empty());
    CHECK(a.folder.Value().empty());
    CHECK(a.choice.Value() == "One");
    CHECK_FALSE(a.choice.WasSet());
    CHECK(a.plainChoice.Value() == "Left");
    CHECK(a.color.Value() == Color{0, 0, 0, 1});
    CHECK(a.vector2.Value() == glm::dvec2(0));
    CHECK(a.vector3.Value() == glm::dvec3(0));
    CHECK(a.vector4.Value() == glm::dvec4(0));
    CHECK(a.vector2Int.Value() == glm::ivec2(0));
    CHECK(a.vector3Int.Value() == glm::ivec3(0));
    CHECK(a.transform.Value() == glm::mat4(1));
    CHECK(a.reference.Value() == nullptr);
    CHECK(a.triggeredRuns.Value() == 1); // the operator's own
    CHECK(RunFrame(session, 1) == Lines{"a"});
    CHECK(a.triggeredRuns.Value() == 1);
    CHECK(RunFrame(session, 2).empty());
}

TEST_CASE("Parameters of every kind are set by an update as by opening the document")
{
    const std::string parameters = R"("Float": "2 * 3", "Int": 7, "Bool": true, "String": "time", "File": "a.png",
"Folder": "../out", "Enum": "Two", "Side": "Middle", "Color": "#ff0000", "Vector 2": [1, 2], "Vector 3": [1, 2, 3],
"Vector 4": [1, 2, 3, "4 * frame"], "Vector 2 Int": [1, 2], "Vector 3 Int": [1, 2, 3],
"Transform 3D": { "rotate": [1, 2, 3] }, "Reference": "a", "Trigger": true)";
    GraphSession opened = OpenEverything(parameters);
    RunFrame(opened, 3);
    for (const char* const before : {"", R"("Float": 1, "Int": "frame", "Bool": "frame", "String": "x", "File": "b",
"Folder": "/b", "Enum": "0", "Side": "Right", "Color": [1, 1, 1], "Vector 2": [3, "time"],
"Transform 3D": { "scale": [1, 1, "time"] }, "Reference": null, "Trigger": false)"})
    {
        GraphSession session = OpenEverything(before);
        RunFrame(session, 2);
        CHECK(UpdateEverything(session, parameters) == noError);
        CHECK(RunFrame(session, 3) == Lines{"a"});
        CHECK(Describe(session) == Describe(opened));
        CHECK(Get<Everything>(session, "a").triggeredRuns.Value() == 1);
    }
}

TEST_CASE("A trigger that is newly true fires once, and not again with the next update")
{
    GraphSession session = OpenEverything(R"("Trigger": false)");
    const auto& runs = Get<Everything>(session, "a").triggeredRuns;
    RunFrame(session, 0);
    CHECK(UpdateEverything(session, R"("Trigger": true)") == noError);
    CHECK(RunFrame(session, 1) == Lines{"a"});
    CHECK(RunFrame(session, 2).empty());
    CHECK(UpdateEverything(session, R"("Float": 9, "Trigger": true)") == noError);
    CHECK(RunFrame(session, 3) == Lines{"a"}); // for the number
    CHECK(runs.Value() == 1);

    CHECK(UpdateEverything(session, R"("Trigger": "frame == 5")") == noError);
    CHECK(RunFrame(session, 4) == Lines{"a"}); // for the number that is gone
    CHECK(runs.Value() == 1);
    CHECK(RunFrame(session, 5) == Lines{"a"});
    CHECK(runs.Value() == 2);
    CHECK(UpdateEverything(session, "") == noError);
    CHECK(RunFrame(session, 5).empty());
}

TEST_CASE("An update lets an expression begin, change and end")
{
    GraphSession session = OpenEverything(R"("Float": 1)");
    const auto& number = Get<Everything>(session, "a").number;
    RunFrame(session, 4);
    CHECK_FALSE(session.IsAnimated("a"));
    CHECK(UpdateEverything(session, R"("Float": "frame")") == noError);
    CHECK(session.IsAnimated("a"));
    CHECK(RunFrame(session, 5) == Lines{"a"});
    CHECK(number.Value() == 5);
    CHECK(UpdateEverything(session, R"("Float": "frame - 1")") == noError);
    CHECK(RunFrame(session, 6).empty()); // which is 5 again
    CHECK(RunFrame(session, 7) == Lines{"a"});
    CHECK(number.Value() == 6);
    CHECK(UpdateEverything(session, R"("Float": 6)") == noError);
    CHECK(RunFrame(session, 8).empty());
    CHECK_FALSE(session.IsAnimated("a"));
    CHECK(UpdateEverything(session, R"("Float": "frame")") == noError);
    RunFrame(session, 9);
    CHECK(UpdateEverything(session, "") == noError);
    CHECK(number.Value() == 0.5);
    RunFrame(session, 10);
    CHECK(number.Value() == 0.5);
}

TEST_CASE("Another frame rate counts from the next frame on")
{
    const auto text = [](const char* rate)
    {
        return std::string(R"({ "format": "varkle-graph", "version": 1, "frameRate": )") + rate +
               R"(, "operators": [ { "key": "a", "type": "Test.Everything", "parameters": { "Float": "time" } } ] })";
    };
    GraphSession session = Open(text("60"));
    const auto& number = Get<Everything>(session, "a").number;
    RunFrame(session, 30);
    CHECK(number.Value() == 0.5);
    CHECK(Update(session, text("30")) == noError);
    CHECK(session.GetFrameRate() == 30);
    CHECK(RunFrame(session, 15).empty()); // the same time
    CHECK(RunFrame(session, 30) == Lines{"a"});
    CHECK(number.Value() == 1);
}

TEST_CASE("A document with errors changes nothing, and all of them are told")
{
    const std::string text = MakeStack(R"("a", "b")", R"({ "Weight": 2 })");
    GraphSession session = OpenOperators(text);
    RunFrame(session, 0);
    const std::string state = Describe(session);
    const Operator* const stack = session.GetGraph().Find("s");
    const LogRecorder log;

    CHECK(Update(session, "{").starts_with("new:1:2: "));
    // What the operators' documents tell.
    CHECK(UpdateOperators(session, R"({ "key": "s", "type": "Test.Stack", "parameters": { "Wieght": 1 },
"inputs": { "Inputs": ["z"] } })") ==
          "new:2:53: operator \"s\": there is no parameter \"Wieght\" (did you mean \"Weights\"?)\n"
          "new:3:24: operator \"s\": input \"Inputs\": there is no operator \"z\"");
    // What only the operators themselves tell.
    CHECK(UpdateOperators(session, R"({ "key": "s", "type": "Test.Stack", "bundles": { "Weights": [
{} ] } },
{ "key": "r", "type": "Test.Report", "parameters": {
"Target": "s" } })") == "new:3:1: operator \"s\": \"Weights\" has more parameter maps (1) than bundles (0)\n"
                        "new:5:11: operator \"r\": parameter \"Target\" can't refer to the operator \"s\", which is a "
                        "Test.Stack");
    // A cycle.
    CHECK(UpdateOperators(session, R"({ "key": "a", "type": "Test.Everything", "inputs": { "Mesh Input": "b" } },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } })") != noError);

    CHECK(Describe(session) == state);
    CHECK(session.GetGraph().Find("s") == stack);
    CHECK(session.GetDocument().GetName() == "g");
    CHECK(RunFrame(session, 1).empty());
    CHECK(log.lines.empty());
    CHECK(UpdateOperators(session, text) == noError);
    CHECK(RunFrame(session, 2).empty());
}

TEST_CASE("Operators come and go with an update, and stand in the document's order")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "b" } })");
    RunFrame(session, 0);
    const Operator* const a = session.GetGraph().Find("a");
    const Operator* const sink = session.GetGraph().Find("sink");
    CHECK(UpdateOperators(session, R"({ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "c" } },
{ "key": "c", "type": "Test.Everything", "inputs": { "Mesh Input": "a" }, "parameters": { "Float": 4 } },
{ "key": "a", "type": "Test.Everything" })") == noError);
    CHECK(Keys(session) == Lines{"sink", "c", "a"});
    CHECK(session.GetGraph().Find("a") == a);
    CHECK(session.GetGraph().Find("sink") == sink);
    CHECK(session.GetGraph().Find("b") == nullptr);
    CHECK(Get<Everything>(session, "c").number.Value() == 4);
    CHECK(RunFrame(session, 1) == Lines{"c", "sink"});
    CHECK(UpdateOperators(session, "") == noError);
    CHECK(Keys(session).empty());
    CHECK(RunFrame(session, 2).empty());
    CHECK(Update(session, R"({ "format": "varkle-graph", "version": 1 })") == noError);
}

TEST_CASE("Operators that do not depend on each other run in the order of the new document")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Sink" }, { "key": "b", "type": "Test.Sink" })");
    CHECK(RunFrame(session, 0) == Lines{"a", "b"});
    CHECK(UpdateOperators(session, R"({ "key": "c", "type": "Test.Sink" }, { "key": "b", "type": "Test.Sink" },
{ "key": "a", "type": "Test.Sink" })") == noError);
    session.GetGraph().Find("a")->MarkDirty();
    session.GetGraph().Find("b")->MarkDirty();
    CHECK(RunFrame(session, 1) == Lines{"c", "b", "a"});
}

TEST_CASE("An operator of another type is another operator, with new parameters, and feeds what the old one fed")
{
    GraphSession session = OpenOperators(R"({ "key": "a", "type": "Test.Everything" },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", "a"] } },
{ "key": "t", "type": "Test.Sink", "inputs": { "Mesh Input": "a" } },
{ "key": "r", "type": "Test.Everything", "parameters": { "Reference": "a" } })");
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, R"({ "key": "a", "type": "Test.Maker", "parameters": { "Value": 5 } },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", "a"] } },
{ "key": "t", "type": "Test.Sink", "inputs": { "Mesh Input": "a" } },
{ "key": "r", "type": "Test.Everything", "parameters": { "Reference": "a" } })") == noError);
    CHECK(dynamic_cast<FloatParameter&>(*Get<Maker>(session, "a").FindParameter("Value")).Value() == 5);
    CHECK(Sources(Get<Stack>(session, "s")) == "aa");
    CHECK(Get<Sink>(session, "t").input.GetConnection() == &Get<Maker>(session, "a").output);
    CHECK(Get<Everything>(session, "r").reference.Value() == session.GetGraph().Find("a"));
    CHECK(RunFrame(session, 1) == Lines{"a", "s", "t", "r"});
}

TEST_CASE("A chain can be turned around by an update")
{
    const auto chain = [](const char* first, const char* second, const char* third)
    {
        const auto op = [](const std::string& key, const std::string& from) {
            return R"({ "key": ")" + key + R"(", "type": "Test.Everything", "inputs": { "Mesh Input": )" + from +
                   " } }";
        };
        const auto quoted = [](const std::string& key) { return "\"" + key + "\""; };
        return op(first, "null") + "," + op(second, quoted(first)) + "," + op(third, quoted(second));
    };
    const LogRecorder log;
    GraphSession session = OpenOperators(chain("a", "b", "c"));
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, chain("c", "b", "a")) == noError);
    CHECK(RunFrame(session, 1) == Lines{"c", "b", "a"});
    CHECK(UpdateOperators(session, chain("b", "c", "a")) == noError);
    CHECK(RunFrame(session, 2) == Lines{"b", "c", "a"});
    CHECK(log.lines.empty());
}

TEST_CASE("An input list follows the document, whatever comes, goes or changes places")
{
    const Lines lists = {"",    "a",    "ab",  "abc", "abcd", "bcd", "acd", "abd",   "dcba",
                         "aab", "aaab", "a-b", "-",   "--ab", "b-",  "cab", "abcabc"};
    const auto write = [](const std::string& keys)
    {
        std::string list;
        std::string bundles;
        for (std::size_t i = 0; i < keys.size(); ++i)
        {
            list += i > 0 ? ", " : "";
            list += keys[i] == '-' ? "null" : std::string("\"") + keys[i] + "\"";
            // By the source, and none for some.
            bundles += i > 0 ? ", " : "";
            bundles +=
                keys[i] == 'a' || keys[i] == '-' ? "{}" : R"({ "Weight": )" + std::to_string(int(keys[i])) + " }";
        }
        return MakeStack(list, bundles);
    };
    const LogRecorder log;
    for (const std::string& from : lists)
    {
        for (const std::string& to : lists)
        {
            INFO(from << " to " << to);
            GraphSession session = OpenOperators(write(from));
            RunFrame(session, 0);
            REQUIRE(UpdateOperators(session, write(to)) == noError);
            const auto& stack = Get<Stack>(session, "s");
            CHECK(Sources(stack) == to);
            REQUIRE(stack.weightList.GetBundles().size() == to.size());
            for (std::size_t i = 0; i < to.size(); ++i)
                CHECK(stack.Weight(i).Value() == (to[i] == 'a' || to[i] == '-' ? 1 : int(to[i])));
            CHECK(RunFrame(session, 1) == (from == to ? Lines{} : Lines{"s"}));
        }
    }
    CHECK(log.lines.empty());
}

TEST_CASE("Elements of a list that do not change stay, with what their bundles hold")
{
    GraphSession session = OpenOperators(MakeStack(R"("a", "b", "c")"));
    auto& stack = Get<Stack>(session, "s");
    const DataInput* const first = stack.inputs.GetInputs()[0];
    const DataInput* const last = stack.inputs.GetInputs()[2];
    static_cast<FloatParameter&>(*stack.weightList.GetBundles()[2]->FindParameter("Weight")).SetValue(0.25);
    RunFrame(session, 0);

    CHECK(UpdateOperators(session, MakeStack(R"("a", "c", "d")")) == noError); // one goes, one comes: b and c move
    CHECK(stack.inputs.GetInputs()[0] == first);
    CHECK(UpdateOperators(session, MakeStack(R"("a", "b", "c")")) == noError);
    CHECK(stack.inputs.GetInputs()[2] == last);
    CHECK(stack.Weight(2).Value() == 0.25);

    CHECK(UpdateOperators(session, MakeStack(R"("a", "c")")) == noError);
    CHECK(stack.inputs.GetInputs()[0] == first);
    CHECK(stack.inputs.GetInputs()[1] == last);
    CHECK(stack.Weight(1).Value() == 0.25);
    CHECK(stack.weightList.GetBundles()[1]->GetName() == "Input 2");

    CHECK(UpdateOperators(session, MakeStack(R"("a", "c", "b")")) == noError);
    CHECK(stack.inputs.GetInputs()[1] == last);
    CHECK(stack.Weight(1).Value() == 0.25);
    CHECK(stack.Weight(2).Value() == 1);
}

TEST_CASE("Bundles follow the document: values, expressions, and what is no longer mentioned")
{
    GraphSession session =
        OpenOperators(MakeStack(R"("a", "b")", R"({ "Weight": 2, "Tint": "#ff0000" }, { "Weight": 3 })"));
    const auto& stack = Get<Stack>(session, "s");
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, MakeStack(R"("a", "b")", R"({ "Weight": "frame" }, { "Weight": 3 })")) == noError);
    CHECK(stack.Tint(0).Value() == Color{1, 1, 1, 1});
    CHECK(session.IsAnimated("s"));
    CHECK(RunFrame(session, 7) == Lines{"s"});
    CHECK(stack.Weight(0).Value() == 7);
    CHECK(stack.Weight(1).Value() == 3);
    CHECK(UpdateOperators(session, MakeStack(R"("b")", R"({ "Weight": 3 })")) == noError);
    CHECK(stack.Weight(0).Value() == 3);
    CHECK_FALSE(session.IsAnimated("s"));
    CHECK(RunFrame(session, 8) == Lines{"s"});
    CHECK(UpdateOperators(session, MakeStack(R"("b")")) == noError);
    CHECK(stack.Weight(0).Value() == 1);
}

TEST_CASE("Parameters that come and go follow the document")
{
    const auto maker = [](const std::string& parameters)
    { return R"({ "key": "m", "type": "Test.Maker", "parameters": {)" + parameters + "} }"; };
    const Lines texts = {"",
                         R"("Value": 4)",
                         R"("Value": "frame")",
                         R"("Value": [1, 2, 3], "Type": "Vector 3")",
                         R"("Mode": "Random")",
                         R"("Mode": "Random", "Min": 1, "Max": "frame + 1", "Value": 7)",
                         R"("Mode": "Random", "Max": 2, "Seed": 5)",
                         R"("Mode": "Random", "Seeded": true)",
                         R"("Mode": "Random", "Seeded": true, "Seed": 5)",
                         R"("Seed": 5, "Seeded": "frame > 1", "Mode": "Random", "Min": [1, 1, 1], "Type": "Vector 3")"};
    const LogRecorder log;
    for (const std::string& from : texts)
    {
        for (const std::string& to : texts)
        {
            INFO(from << " to " << to);
            GraphSession opened = OpenOperators(maker(to));
            GraphSession session = OpenOperators(maker(from));
            RunFrame(session, 2);
            const bool same = Describe(session) == (RunFrame(opened, 2), Describe(opened));
            REQUIRE(UpdateOperators(session, maker(to)) == noError);
            CHECK(RunFrame(session, 2) == (same ? Lines{} : Lines{"m"}));
            // In the order in which they came; that may differ.
            const auto& model = Get<Maker>(opened, "m");
            const auto& made = Get<Maker>(session, "m");
            CHECK(made.GetParameters().size() == model.GetParameters().size());
            for (const char* name : {"Type", "Mode", "Value", "Min", "Max", "Seeded", "Seed"})
            {
                INFO(name);
                const Parameter* const a = made.FindParameter(name);
                const Parameter* const b = model.FindParameter(name);
                REQUIRE((a == nullptr) == (b == nullptr));
                if (!a)
                    continue;
                REQUIRE(a->GetParameterType() == b->GetParameterType());
                if (const auto* const number = dynamic_cast<const FloatParameter*>(a))
                    CHECK(number->Value() == static_cast<const FloatParameter*>(b)->Value());
                if (const auto* const vector = dynamic_cast<const Vector3Parameter*>(a))
                    CHECK(vector->Value() == static_cast<const Vector3Parameter*>(b)->Value());
                if (const auto* const seed = dynamic_cast<const IntParameter*>(a))
                    CHECK(seed->Value() == static_cast<const IntParameter*>(b)->Value());
            }
        }
    }
    CHECK(log.lines.empty());
}

TEST_CASE("A parameter that its operator sets is left alone while what the document says of it stays the same")
{
    const auto copier = [](const char* parameters)
    { return std::string(R"({ "key": "c", "type": "Test.Copier", "parameters": {)") + parameters + "} }"; };
    for (const char* same : {"", R"("Size": 3)", R"("Size": "3 + 0 * frame")"})
    {
        GraphSession session = OpenOperators(copier(same));
        RunFrame(session, 0);
        CHECK(UpdateOperators(session, copier(same)) == noError);
        CHECK(RunFrame(session, 1).empty());
        CHECK(Get<Copier>(session, "c").size.Value() == 7);
    }
    GraphSession session = OpenOperators(copier(R"("Size": 3)"));
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, copier(R"("Size": 4)")) == noError);
    CHECK(Get<Copier>(session, "c").size.Value() == 4);
    CHECK(RunFrame(session, 1) == Lines{"c"});
    CHECK(UpdateOperators(session, copier("")) == noError);
    CHECK(Get<Copier>(session, "c").size.Value() == 1);
    CHECK(RunFrame(session, 2) == Lines{"c"});
}

TEST_CASE("What was set for this run stays in force over the document")
{
    GraphSession session = OpenEverything(R"("Float": 1, "Int": 2)");
    const auto& a = Get<Everything>(session, "a");
    CHECK(Set(session, "a.Float", "10") == noError);
    CHECK(Set(session, "a.Vector 2", R"(["frame", 1])") == noError);
    CHECK(Set(session, "a.Trigger", "true") == noError);
    RunFrame(session, 1);
    CHECK(UpdateEverything(session, R"("Float": 3, "Int": 4)") == noError);
    CHECK(a.number.Value() == 10);
    CHECK(a.count.Value() == 4);
    CHECK(RunFrame(session, 2) == Lines{"a"});
    CHECK(a.vector2.Value() == glm::dvec2(2, 1));
    CHECK(a.triggeredRuns.Value() == 1);
    CHECK(UpdateEverything(session, "") == noError);
    CHECK(a.number.Value() == 10);
    CHECK(Set(session, "a.Float", "11") == noError);
    CHECK(UpdateEverything(session, R"("Float": 5)") == noError);
    CHECK(a.number.Value() == 11);

    // Also over an operator that went and came back.
    CHECK(UpdateOperators(session, "") == noError);
    CHECK(UpdateEverything(session, R"("Float": 6, "Int": 7)") == noError);
    RunFrame(session, 3);
    CHECK(Get<Everything>(session, "a").number.Value() == 11);
    CHECK(Get<Everything>(session, "a").count.Value() == 7);
    CHECK(Get<Everything>(session, "a").vector2.Value() == glm::dvec2(3, 1));
}

TEST_CASE("What was set for this run makes no document wrong")
{
    LogRecorder log;
    const std::string text = R"({ "key": "m", "type": "Test.Maker", "parameters": { "Value": 4 } },
{ "key": "r", "type": "Test.Report" }, { "key": "sink", "type": "Test.Sink" })";
    GraphSession session = OpenOperators(text);
    CHECK(Set(session, "m.Type", "Vector 3") == noError);
    CHECK(Set(session, "r.Target", "sink") == noError);
    RunFrame(session, 0); // tells that 4 is no vector
    log.lines.clear();
    CHECK(UpdateOperators(session, text) == noError);
    CHECK(Get<Maker>(session, "m").FindParameter("Value")->GetParameterType() == ParameterType::Vector3);
    CHECK(log.lines.empty());

    CHECK(UpdateOperators(session, R"({ "key": "r", "type": "Test.Report" })") == noError);
    RunFrame(session, 1);
    CHECK_FALSE(Get<Report>(session, "r").found.Value());
    CHECK(log.lines.empty());
    CHECK(UpdateOperators(session, text) == noError);
    CHECK(Get<Report>(session, "r").target.Value() == session.GetGraph().Find("sink"));
    RunFrame(session, 2);
    CHECK(Get<Maker>(session, "m").FindParameter("Value")->GetParameterType() == ParameterType::Vector3);
}

TEST_CASE("A graph is not updated while it runs")
{
    GraphSession session = OpenEverything("");
    auto& probe = static_cast<Probe&>(*session.GetGraph().Add(std::make_unique<Probe>(), "probe"));
    std::string error;
    probe.during = [&] { error = UpdateOperators(session, ""); };
    session.GoToFrame(0);
    CHECK(error == "a graph can't be updated while it runs");
    CHECK(Keys(session) == Lines{"a", "probe"});
    CHECK(UpdateOperators(session, "") == noError);
    CHECK(Keys(session).empty());
}

TEST_CASE("Relative paths follow the folder of the new document")
{
    const std::string text = WithOperators(MakeEverything(R"("File": "a.png", "String": "a.png")"));
    GraphSession session = Open(text, "/one");
    RunFrame(session, 0);
    CHECK(Update(session, text, "/one") == noError);
    CHECK(RunFrame(session, 1).empty());
    CHECK(Update(session, text, "/two") == noError);
    CHECK(Get<Everything>(session, "a").file.Value() == "/two/a.png");
    CHECK(Get<Everything>(session, "a").text.Value() == "a.png");
    CHECK(RunFrame(session, 2) == Lines{"a"});
}

TEST_CASE("What a program put into the graph beside the document goes with an update")
{
    GraphSession session = OpenEverything(R"("Float": 1)");
    session.GetGraph().Add(Sink::Type(), "mine");
    session.GetGraph().Add(Sink::Type(), "b");
    session.GetGraph().Find("a")->SetKey("renamed");
    RunFrame(session, 0);
    CHECK(UpdateOperators(session, MakeEverything(R"("Float": 1)") +
                                       R"(, { "key": "b", "type": "Test.Everything" })") == noError);
    CHECK(Keys(session) == Lines{"a", "b"});
    CHECK(Get<Everything>(session, "a").number.Value() == 1);
    CHECK(RunFrame(session, 1) == Lines{"a", "b"});
}

TEST_CASE("An operator is animated while one of its parameters has an expression that changes with the frame")
{
    GraphSession session =
        OpenOperators(R"-({ "key": "plain", "type": "Test.Everything", "parameters": { "Float": 2 } },
{ "key": "constant", "type": "Test.Everything", "parameters": { "Float": "2 * pi" } },
{ "key": "moving", "type": "Test.Everything", "parameters": { "Color": [0, "fract(time)", 0]
}
},
{ "key": "below", "type": "Test.Everything", "inputs": { "Mesh Input": "moving" } },
{ "key": "button", "type": "Test.Everything", "parameters": { "Trigger": "frame == 3" } },
{ "key": "stack", "type": "Test.Stack", "inputs": { "Inputs": [null] },
  "bundles": { "Weights": [ { "Weight": "time" } ] } },
{ "key": "absent", "type": "Test.Maker", "parameters": { "Min": "time" } })-");
    CHECK_FALSE(session.IsAnimated("plain"));
    CHECK_FALSE(session.IsAnimated("constant"));
    CHECK(session.IsAnimated("moving"));
    CHECK_FALSE(session.IsAnimated("below"));
    CHECK(session.IsAnimated("button"));
    CHECK(session.IsAnimated("stack"));
    CHECK_FALSE(session.IsAnimated("absent"));
    CHECK_FALSE(session.IsAnimated("nobody"));
    CHECK(Set(session, "absent.Mode", "Random") == noError);
    session.GoToFrame(0);
    CHECK(session.IsAnimated("absent"));
    CHECK(Set(session, "moving.Color", "#ffffff") == noError);
    CHECK_FALSE(session.IsAnimated("moving"));
}

TEST_CASE("An update in a graph of twenty thousand operators costs no more than opening it")
{
    RegisterDocumentOperators();
    constexpr int length = 20'000; // long enough for anything quadratic to run into the limit of the test's time
    const auto write = [](int first, int last)
    {
        std::string operators;
        for (int i = first; i < last; ++i)
        {
            operators +=
                R"({ "key": "op)" + std::to_string(i) + R"(", "type": "Test.Everything", "parameters": { "Float": 2 })";
            if (i > first)
                operators += R"(, "inputs": { "Mesh Input": "op)" + std::to_string(i - 1) + "\" }";
            operators += i + 1 < last ? " },\n" : " }";
        }
        return operators;
    };
    GraphSession session = OpenOperators(write(0, length));
    CHECK(int(RunFrame(session, 0).size()) == length);
    CHECK(UpdateOperators(session, write(0, length)) == noError);
    CHECK(RunFrame(session, 0).empty());
    CHECK(UpdateOperators(session, write(length / 2, length + length / 2)) == noError);
    CHECK(int(RunFrame(session, 0).size()) == length); // the first that is left lost its input
    CHECK(UpdateOperators(session, "") == noError);
}
