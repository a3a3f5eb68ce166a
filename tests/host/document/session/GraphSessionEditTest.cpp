#include "Sessions.h"
#include "Varkle/Document/DocumentHistory.h"
#include "document/document/Edits.h"

using namespace Varkle;
using namespace Varkle::Testing;

// Sessions that follow edits of their document.

namespace
{

const std::string fine;

const std::string chain = R"({ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } },
{ "key": "c", "type": "Test.Everything", "inputs": { "Mesh Input": "a" }, "parameters": { "Reference": "b" } },
{ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["b", "c"] }, "bundles": { "Weights": [{}, { "Weight": 0.5 }] } })";

DocumentEdit SetOwn(const char* key, const char* parameter, const char* json)
{
    return SetParameter{key, parameter, Json(json), {}, 0};
}

std::string Problem(const Result<DocumentChange>& result)
{
    return result ? "" : result.GetError().message;
}

// Returns what a graph of the document would be, when it is opened anew.
std::string InspectAnew(const GraphSession& session)
{
    GraphSession anew = Open(session.GetDocument().ToText());
    return anew.Inspect();
}

} // namespace

TEST_CASE("A session follows an edit and runs what depends on it, nothing else")
{
    GraphSession session = OpenOperators(chain);
    CHECK(RunFrame(session, 0).size() == 4);
    REQUIRE(session.Apply(SetOwn("b", "Float", "0.75")));
    CHECK(Get<Everything>(session, "b").number.Value() == 0.75);
    CHECK(RunFrame(session, 1) == Lines{"b", "s"});
    REQUIRE(session.Apply(SetParameter{"b", "Float", {}, {}, 0}));
    CHECK(Get<Everything>(session, "b").number.Value() == 0.5);
    REQUIRE(session.Apply(SetOwn("b", "Float", "\"frame\"")));
    RunFrame(session, 3);
    CHECK(Get<Everything>(session, "b").number.Value() == 3);
    CHECK(RunFrame(session, 3).empty());
    REQUIRE(session.Apply(SetPosition{"b", 1, 2}));
    REQUIRE(session.Apply(SetExtra{"", "x-note", Json("1")}));
    CHECK(RunFrame(session, 3).empty());
}

TEST_CASE("A session refuses an edit that its document can't have, and is as before")
{
    GraphSession session = OpenOperators(chain);
    RunFrame(session, 0);
    const std::string before = session.GetDocument().ToText();
    CHECK(Problem(session.Apply(SetOwn("b", "Float", "[1]"))).ends_with("not an array"));
    CHECK(Problem(session.Apply(ConnectInput{"a", "Mesh Input", {}, "s"})).find("cycle") != std::string::npos);
    CHECK(session.GetDocument().ToText() == before);
    CHECK(RunFrame(session, 0).empty());
}

TEST_CASE("An operator that is renamed stays the object that it is, with its connections and what was set of it")
{
    GraphSession session = OpenOperators(chain);
    CHECK(Set(session, "b.Float", "0.25") == fine);
    RunFrame(session, 0);
    const Operator* const b = session.GetGraph().Find("b");
    REQUIRE(session.Apply(RenameOperator{"b", "soft"}));
    CHECK(session.GetGraph().Find("soft") == b);
    CHECK_FALSE(session.GetGraph().Find("b"));
    CHECK(Get<Everything>(session, "c").reference.Value() == b);
    CHECK(Get<Everything>(session, "soft").number.Value() == 0.25);
    CHECK(RunFrame(session, 0).empty());
    REQUIRE(session.Apply(SetOwn("soft", "Float", "0.75"))); // stays behind what was set for this run
    CHECK(Get<Everything>(session, "soft").number.Value() == 0.25);
    CHECK(session.GetDocument().ToText().find("0.25") == std::string::npos);
    CHECK(session.GetDocument().ToText().find("0.75") != std::string::npos);
}

TEST_CASE("Operators and connections come, go and move in a session as in its document")
{
    GraphSession session = OpenOperators(chain);
    RunFrame(session, 0);
    const auto apply = [&](const DocumentEdit& edit)
    {
        CHECK(Problem(session.Apply(edit)) == fine);
        CHECK(session.Inspect() == InspectAnew(session));
    };
    // What ran is what differs from a graph that is opened anew.
    session = OpenOperators(chain);
    apply(AddOperators{{Json(R"({ "key": "n", "type": "Test.Everything", "inputs": { "Mesh Input": "c" } })")}, 1});
    apply(ConnectInput{"s", "Inputs", {}, "n"});
    apply(MoveElement{"s", "Inputs", 1, 0});
    apply(InsertElement{"s", "Inputs", 1, "a"});
    apply(SetParameter{"s", "Tint", Json("\"#ff0000\""), "Weights", 2});
    apply(MoveOperator{"a", 9});
    apply(DisconnectInput{"n", "Mesh Input", {}});
    apply(RemoveOperators{{"b"}});
    apply(SetFrameRate{24});
    apply(ReplaceDocument{Json(WithOperators(chain))});
    apply(RemoveOperators{{"a", "b", "c", "s"}});
}

TEST_CASE("A session follows what a history undoes and does again")
{
    DocumentHistory history(ReadOperators(chain));
    GraphSession session = OpenOperators(chain);
    const auto follow = [&](const DocumentChange& change)
    {
        CHECK(bool(session.Apply(change)));
        CHECK(session.GetDocument().ToText() == history.GetDocument().ToText());
        CHECK(session.Inspect() == InspectAnew(session));
    };
    history.BeginGroup("Swap");
    REQUIRE(history.Apply(RenameOperator{"b", "x"}));
    REQUIRE(history.Apply(RenameOperator{"c", "b"}));
    REQUIRE(history.Apply(RenameOperator{"x", "c"}));
    REQUIRE(history.Apply(SetOwn("c", "Float", "7")));
    history.EndGroup();
    const Operator* const b = session.GetGraph().Find("b");
    const DocumentChange undone = history.Undo();
    follow(history.Redo());
    CHECK(session.GetGraph().Find("c") == b);
    follow(history.Undo());
    CHECK(session.GetGraph().Find("b") == b);

    const Result<DocumentChange> removed = history.Apply(RemoveOperators{{"b"}});
    REQUIRE(removed);
    follow(*removed);
    const Result<DocumentChange> renamed = history.Apply(RenameOperator{"c", "b"});
    REQUIRE(renamed);
    follow(*renamed);
    follow(history.Undo());
    follow(history.Undo());
    CHECK_FALSE(session.Apply(undone)); // made on another state
}

TEST_CASE("A key that passes from an operator that goes to another one in one step makes no confusion")
{
    DocumentHistory history(ReadOperators(chain));
    GraphSession session = OpenOperators(chain);
    const Operator* const c = session.GetGraph().Find("c");
    history.BeginGroup("Replace");
    REQUIRE(history.Apply(RemoveOperators{{"b"}}));
    REQUIRE(history.Apply(RenameOperator{"c", "b"}));
    history.EndGroup();
    history.Undo();
    REQUIRE(session.Apply(history.Redo()));
    CHECK(session.GetGraph().Find("b") == c);
    CHECK(session.Inspect() == InspectAnew(session));
}

TEST_CASE("An edit brings back an operator that a program took out of the graph")
{
    GraphSession session = OpenOperators(chain);
    session.GetGraph().Remove(session.GetGraph().Find("b"));
    REQUIRE(session.Apply(SetOwn("b", "Float", "0.75")));
    CHECK(Get<Everything>(session, "b").number.Value() == 0.75);
    CHECK(session.Inspect() == InspectAnew(session));
}

TEST_CASE("A value that is only written otherwise is left alone")
{
    GraphSession session = OpenOperators(R"({ "key": "c", "type": "Test.Copier", "parameters": { "Size": 3 } })");
    RunFrame(session, 0);
    CHECK(Get<Copier>(session, "c").size.Value() == 7);
    REQUIRE(session.Apply(SetOwn("c", "Size", "3.0")));
    CHECK(Get<Copier>(session, "c").size.Value() == 7);
    REQUIRE(session.Apply(SetOwn("c", "Size", "4")));
    CHECK(Get<Copier>(session, "c").size.Value() == 4);
}
