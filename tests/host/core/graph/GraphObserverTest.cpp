#include "Varkle/Core/GraphObserver.h"

#include "core/TestOperators.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <optional>
#include <stdexcept>

using namespace Varkle;

namespace
{

// Notes what an observer hears, in words.
struct Notes
{
    explicit Notes(Graph& graph)
    {
        GraphHandlers handlers;
        handlers.added = [this](Operator& op) { heard.push_back("added " + op.GetKey()); };
        handlers.removing = [this](Operator& op) { heard.push_back("removing " + op.GetKey()); };
        handlers.renamed = [this](Operator& op) { heard.push_back("renamed " + op.GetKey()); };
        handlers.reordered = [this] { heard.emplace_back("reordered"); };
        handlers.connected = [this](DataOutput& output, DataInput& input)
        { heard.push_back("connected " + output.GetPath() + " to " + input.GetPath()); };
        handlers.disconnected = [this](DataOutput& output, DataInput& input)
        {
            CHECK(input.GetDataTypeName() == "Number"); // it is still whole
            heard.push_back("disconnected " + output.GetPath() + " from " + input.GetPath());
        };
        handlers.valueChanged = [this](Parameter& parameter) { heard.push_back("value " + parameter.GetPath()); };
        handlers.structureChanged = [this](Operator& op)
        { heard.push_back("structure " + op.GetKey() + " " + std::to_string(op.GetParameters().size())); };
        handlers.executed = [this](Operator& op) { heard.push_back("executed " + op.GetKey()); };
        handlers.failed = [this](Operator& op, std::string_view text)
        { heard.push_back("failed " + op.GetKey() + ": " + std::string(text)); };
        observer.emplace(graph, std::move(handlers));
    }

    Keys Take() { return std::exchange(heard, {}); }

    Keys heard;
    std::optional<GraphObserver> observer;
};

} // namespace

TEST_CASE("An observer hears that operators come, go, are renamed and put into another order")
{
    Graph graph;
    Notes notes(graph);
    auto& a = Add<Source>(graph, "a");
    auto& b = Add<Sum>(graph, "b");
    CHECK(notes.Take() == Keys{"added a", "added b"});
    a.SetKey("b");
    CHECK(notes.Take() == Keys{"renamed b2"});
    a.SetKey("b2");
    graph.SetOrder({&a, &b});
    CHECK(notes.Take().empty());
    graph.SetOrder({&b, &a});
    CHECK(notes.Take() == Keys{"reordered"});
    graph.Remove(&a);
    CHECK(notes.Take() == Keys{"removing b2"});
}

TEST_CASE("An observer hears of connections that are made, replaced and undone, also by an operator's end")
{
    Graph graph;
    auto& a = Add<Source>(graph, "a");
    auto& b = Add<Source>(graph, "b");
    auto& sum = Add<Sum>(graph, "sum");
    auto& list = Add<Collect>(graph, "list");
    Notes notes(graph);
    REQUIRE(graph.Connect(a.output, sum.first));
    REQUIRE(graph.Connect(b.output, sum.first));
    REQUIRE(graph.Connect(b.output, sum.first)); // as it is already
    CHECK(notes.Take() == Keys{"connected a/Number Output to sum/First", "disconnected a/Number Output from sum/First",
                               "connected b/Number Output to sum/First"});
    REQUIRE(graph.Connect(sum.output, list.inputs));
    CHECK(notes.Take() == Keys{"structure list 0", "connected sum/Number Output to list/Inputs/1"});
    graph.Remove(&sum);
    CHECK(notes.Take() == Keys{"disconnected sum/Number Output from list/Inputs/1", "structure list 0",
                               "disconnected b/Number Output from sum/First", "removing sum"});
}

TEST_CASE("An observer hears of values that change, and of the structure once when all of it is there")
{
    Graph graph;
    Notes notes(graph);
    auto& shape = Add<Shape>(graph, "shape");
    CHECK(notes.Take() == Keys{"added shape"}); // with the parameters that it made
    shape.random.SetValue(true);
    CHECK(notes.Take() == Keys{"value shape/Random", "structure shape 4"});
    shape.random.SetValue(true);
    CHECK(notes.Take().empty());
    shape.type.SetValue("Vector 2"); // one goes and one comes
    CHECK(notes.Take() == Keys{"value shape/Type", "structure shape 4"});

    auto& weigh = Add<Weigh>(graph, "weigh");
    DataInput* const input = weigh.inputs.AddInput();
    CHECK(notes.Take() == Keys{"added weigh", "structure weigh 0", "structure weigh 0"}); // the bundle, the element
    weigh.WeightOf(*input).SetValue(2.0);
    CHECK(notes.Take() == Keys{"value weigh/Weights/1/Weight"});
}

TEST_CASE("An observer hears of executions, and of those that fail with the first error")
{
    Graph graph;
    auto& good = Add<Source>(graph, "good");
    auto& bad = Add<Source>(graph, "bad");
    auto& worse = Add<Report>(graph, "worse");
    bad.during = []
    {
        LogWarning("This is not it.");
        LogError("There is no fish.");
        throw std::runtime_error("There is no sea.");
    };
    worse.during = [] { throw 5; };
    Notes notes(graph);
    const LogRecorder log;
    Run(graph);
    CHECK(notes.Take() == Keys{"executed good", "executed bad", "failed bad: There is no fish.", "executed worse",
                               "failed worse: The execution failed for an unknown reason."});
    good.value.SetValue(2.0);
    worse.wants = false;
    Run(graph);
    CHECK(notes.Take() == Keys{"value good/Value", "executed good"});
}

TEST_CASE("Observers may end, themselves or each other, and begin while they are told")
{
    Graph graph;
    int firstHeard = 0;
    int thirdHeard = 0;
    std::optional<GraphObserver> first;
    std::optional<GraphObserver> second;
    std::optional<GraphObserver> third;
    GraphHandlers handlers;
    handlers.added = [&](Operator&)
    {
        ++firstHeard;
        second.reset();
        GraphHandlers late;
        late.added = [&](Operator&) { ++thirdHeard; };
        third.emplace(graph, std::move(late));
        first.reset();
        ++firstHeard; // what the handler captured is still there
    };
    first.emplace(graph, std::move(handlers));
    GraphHandlers never;
    never.added = [](Operator&) { FAIL("It has ended."); };
    second.emplace(graph, std::move(never));
    Add<Source>(graph, "a");
    CHECK(firstHeard == 2);
    CHECK(thirdHeard == 0);
    Add<Source>(graph, "b");
    CHECK(firstHeard == 2);
    CHECK(thirdHeard == 1);
}

TEST_CASE("An observer may change the graph when it is told of something, and outlive the graph")
{
    auto graph = std::make_unique<Graph>();
    auto& a = Add<Source>(*graph, "a");
    auto& sum = Add<Sum>(*graph, "sum");
    GraphHandlers handlers;
    handlers.connected = [&](DataOutput&, DataInput& input)
    {
        if (&input == &sum.first)
            REQUIRE(graph->Connect(a.output, sum.second));
    };
    const GraphObserver observer(*graph, std::move(handlers));
    REQUIRE(graph->Connect(a.output, sum.first));
    CHECK(sum.second.GetConnection() == &a.output);
    graph.reset();
}
