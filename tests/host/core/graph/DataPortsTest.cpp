#include "core/TestOperators.h"
#include "support/Catch.h"

using namespace Varkle;

TEST_CASE("Inputs and outputs stand in creation order under their names")
{
    const Sum sum;
    CHECK(sum.GetInputs() ==
          std::vector<Object*>{sum.FindInput("First"), sum.FindInput("Second"), sum.FindInput("Word")});
    CHECK(sum.FindInput("First") == &sum.first);
    CHECK(sum.FindInput("first") == nullptr);
    CHECK(sum.FindOutput("Number Output") == &sum.output);
    CHECK(sum.first.GetOperator() == &sum);
    CHECK(sum.first.GetParentObject() == &sum);
    CHECK(sum.output.GetOperator() == &sum);

    const Collect collect;
    CHECK(collect.FindInputList("Inputs") == &collect.inputs);
    CHECK(collect.FindInput("Inputs") == nullptr);
}

TEST_CASE("An input carries what the output that feeds it carries")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    CHECK_FALSE(sum.first.HasNumber());
    REQUIRE(graph.Connect(source.output, sum.first));
    CHECK(sum.first.GetConnection() == &source.output);
    CHECK(source.output.GetConnections() == std::vector<DataInput*>{&sum.first});
    CHECK_FALSE(sum.first.HasNumber()); // nothing published yet

    source.output.Activate(5.0);
    CHECK(source.output.IsActive());
    CHECK(sum.first.GetNumber() == 5.0);

    source.output.Clear();
    CHECK_FALSE(source.output.IsActive());
    CHECK_FALSE(sum.first.HasNumber());
}

TEST_CASE("Publishing makes what the output feeds outdated, even with the same data")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(source.output, sum.first);
    Run(graph);
    CHECK_FALSE(sum.Outdated());

    source.output.Activate(1.0);
    CHECK(sum.Outdated());
    CHECK(Run(graph) == Keys{"sum"});
}

TEST_CASE("Clearing an output makes what it feeds outdated, once")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(source.output, sum.first);
    Run(graph);
    CHECK(sum.output.GetNumber() == 1.0);

    source.output.Clear();
    CHECK(Run(graph) == Keys{"sum"});
    CHECK(sum.output.GetNumber() == 0.0);

    source.output.Clear(); // carries nothing already
    CHECK(Run(graph).empty());
}

TEST_CASE("An operator that clears its output in Execute empties the inputs downstream within the run")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(source.output, sum.first);
    Run(graph);

    source.during = [&] { source.output.Clear(); };
    source.value.SetValue(3.0);
    CHECK(Run(graph) == Keys{"source", "sum"});
    CHECK_FALSE(sum.first.HasNumber());
    CHECK(sum.output.GetNumber() == 0.0);
}

TEST_CASE("An output that goes leaves what it fed unconnected and outdated")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    {
        NumberOutput extra(&source, "Extra");
        graph.Connect(extra, sum.first);
        extra.Activate(4.0);
        Run(graph);
        CHECK(sum.output.GetNumber() == 4.0);
    }
    CHECK(sum.first.GetConnection() == nullptr);
    CHECK(source.GetOutputs() == std::vector<DataOutput*>{&source.output});
    CHECK(Run(graph) == Keys{"sum"});
    CHECK(sum.output.GetNumber() == 0.0);
}

TEST_CASE("A list element has its list's name, a key that is never used again, and its operator")
{
    Collect collect;
    DataInput* const first = collect.inputs.AddInput();
    DataInput* const second = collect.inputs.AddInput();
    CHECK(collect.inputs.GetInputs() == std::vector<DataInput*>{first, second});
    CHECK(first->GetKey() == "1");
    CHECK(second->GetKey() == "2");
    CHECK(first->GetName() == "Inputs");
    CHECK(first->GetOperator() == &collect);
    CHECK(first->GetList() == &collect.inputs);
    CHECK(first->GetParentObject() == &collect.inputs);
    CHECK(first->GetType() == NumberInput::Type());
    CHECK(collect.GetInputs() == std::vector<Object*>{&collect.inputs});

    collect.inputs.RemoveInput(second);
    CHECK(collect.inputs.AddInput()->GetKey() == "3");
}

TEST_CASE("A list tells what it takes")
{
    const Collect collect;
    CHECK(collect.inputs.GetElementType() == NumberInput::Type());
    CHECK(collect.inputs.GetDataTypeName() == "Number");
}

TEST_CASE("A list whose element type makes no inputs stays empty")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& op = Add<Sum>(graph, "op");
    DataInputList list(&op, "List", Operator::Type(), {});
    CHECK(list.AddInput() == nullptr);
    CHECK(list.GetDataTypeName().empty());
    CHECK_FALSE(graph.Connect(source.output, list));
    CHECK(list.GetInputs().empty());
}

TEST_CASE("A list calls added and then changed, removing and then changed")
{
    Collect collect;
    DataInput* const input = collect.inputs.AddInput();
    CHECK(collect.heard == Keys{"added 1", "changed"});
    collect.heard.clear();
    collect.inputs.RemoveInput(input);
    CHECK(collect.heard == Keys{"removing 1", "changed"});
    CHECK(collect.inputs.GetInputs().empty());
}

TEST_CASE("Connecting to a list adds an element first and connects it then")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& collect = Add<Collect>(graph, "collect");
    const Result<DataInput*> element = graph.Connect(source.output, collect.inputs);
    REQUIRE(element);
    CHECK((*element)->GetConnection() == &source.output);
    CHECK(collect.heard == Keys{"added 1", "changed", "changed"});
}

TEST_CASE("An element is still connected while its list says that it is about to be removed")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& collect = Add<Collect>(graph, "collect");
    DataInput* const element = *graph.Connect(source.output, collect.inputs);
    collect.heard.clear();
    graph.Disconnect(*element);
    CHECK(collect.heard == Keys{"removing 1 connected", "changed"});
    CHECK(collect.inputs.GetInputs().empty());
    CHECK(source.output.GetConnections().empty());
}

TEST_CASE("Connecting an element of a list anew calls changed only")
{
    Graph graph;
    auto& first = Add<Source>(graph, "first");
    auto& second = Add<Source>(graph, "second");
    auto& collect = Add<Collect>(graph, "collect");
    DataInput* const element = *graph.Connect(first.output, collect.inputs);
    collect.heard.clear();
    REQUIRE(graph.Connect(second.output, *element));
    CHECK(collect.heard == Keys{"changed"});
    CHECK(element->GetConnection() == &second.output);
    CHECK(first.output.GetConnections().empty());
}

TEST_CASE("Disconnecting an unconnected element of a list removes it, disconnecting an unconnected input does nothing")
{
    Graph graph;
    auto& collect = Add<Collect>(graph, "collect");
    auto& sum = Add<Sum>(graph, "sum");
    DataInput* const element = collect.inputs.AddInput();
    Run(graph);
    graph.Disconnect(*element);
    CHECK(collect.inputs.GetInputs().empty());
    graph.Disconnect(sum.first);
    CHECK(Run(graph) == Keys{"collect"});
}

TEST_CASE("Removing nothing, or an input of another list, does nothing")
{
    Collect collect;
    Collect other;
    DataInput* const input = other.inputs.AddInput();
    collect.inputs.RemoveInput(nullptr);
    collect.inputs.RemoveInput(input);
    CHECK(collect.heard.empty());
    CHECK(other.inputs.GetInputs().size() == 1);
}

TEST_CASE("A list's handlers are not called while its operator is destroyed")
{
    int calls = 0;
    class Watched final : public TestOperator
    {
    public:
        explicit Watched(int& count)
            : list(this, "List", NumberInput::Type(),
                   DataInputList::InputHandlers{{}, [&count](DataInput&) { ++count; }, [&count] { ++count; }})
        {
        }
        DataInputList list;
    };
    SECTION("in a graph")
    {
        auto graph = std::make_unique<Graph>();
        auto& source = Add<Source>(*graph, "source");
        auto* const watched = new Watched(calls);
        graph->Add(std::unique_ptr<Operator>(watched));
        graph->Connect(source.output, watched->list);
        CHECK(calls == 2); // added and connected
        SECTION("removed from it")
        {
            graph->Remove(watched);
            CHECK(source.output.GetConnections().empty());
        }
        graph.reset();
        CHECK(calls == 2);
    }
    SECTION("in no graph")
    {
        auto watched = std::make_unique<Watched>(calls);
        watched->list.AddInput();
        CHECK(calls == 1);
        watched.reset();
        CHECK(calls == 1);
    }
}

TEST_CASE("An operator that weighs its inputs gets and loses a bundle with each of them")
{
    Graph graph;
    auto& first = Add<Source>(graph, "first");
    auto& second = Add<Source>(graph, "second");
    auto& weigh = Add<Weigh>(graph, "weigh");
    DataInput* const firstInput = *graph.Connect(first.output, weigh.inputs);
    DataInput* const secondInput = *graph.Connect(second.output, weigh.inputs);
    first.value.SetValue(10.0);
    second.value.SetValue(100.0);
    weigh.WeightOf(*firstInput).SetValue(0.5);
    Run(graph);
    CHECK(weigh.output.GetNumber() == 105.0); // 0.5 * 10 + 1 * 100
    REQUIRE(weigh.weightList.GetBundles().size() == 2);
    CHECK(weigh.weightList.GetBundles()[0]->GetName() == "Input 1");
    CHECK(weigh.weightList.GetBundles()[1]->GetName() == "Input 2");

    graph.Disconnect(*firstInput);
    CHECK(Run(graph) == Keys{"weigh"});
    CHECK(weigh.output.GetNumber() == 100.0);
    CHECK(weigh.weightList.GetBundles().size() == 1);
    CHECK(weigh.weightList.GetBundles()[0]->GetName() == "Input 1");
    CHECK(weigh.weights.size() == 1);

    weigh.WeightOf(*secondInput).SetValue(0.25);
    CHECK(Run(graph) == Keys{"weigh"});
    CHECK(weigh.output.GetNumber() == 25.0);

    graph.Remove(&second);
    CHECK(weigh.weights.empty());
    CHECK(weigh.inputs.GetInputs().empty());
    CHECK(Run(graph) == Keys{"weigh"});
    CHECK(weigh.output.GetNumber() == 0.0);
}
