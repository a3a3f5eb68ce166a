#include "core/TestOperators.h"
#include "support/Catch.h"

#include <stdexcept>

using namespace Varkle;

namespace
{

Keys ParameterNames(const Operator& op)
{
    Keys names;
    for (const Parameter* const parameter : op.GetParameters())
        names.push_back(parameter->GetName());
    return names;
}

std::unique_ptr<FloatParameter> MakeParameter(const char* name)
{
    auto parameter = std::make_unique<FloatParameter>();
    parameter->SetKey(name);
    parameter->SetName(name);
    return parameter;
}

} // namespace

TEST_CASE("An operator is outdated until it ran, and again when it is marked dirty")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    CHECK(source.Outdated());
    Run(graph);
    CHECK_FALSE(source.Outdated());
    source.MarkDirty();
    CHECK(source.Outdated());
    Run(graph);
    CHECK_FALSE(source.Outdated());
}

TEST_CASE("Marking dirty inside Execute asks for the next run")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    source.during = [&] { source.MarkDirty(); };
    CHECK(Run(graph) == Keys{"source"});
    CHECK(source.Outdated());
    source.during = {};
    CHECK(Run(graph) == Keys{"source"});
    CHECK(Run(graph).empty());
}

TEST_CASE("An operator that sets its own parameters in Execute is not outdated by that")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    source.during = [&] { source.value.SetValue(source.value.Value() + 1.0); };
    CHECK(Run(graph) == Keys{"source"});
    CHECK_FALSE(source.Outdated());
    CHECK_FALSE(source.value.HasValueChanged());
    CHECK(Run(graph).empty());
    CHECK(source.value.Value() == 2.0);

    source.value.SetValue(7.0);
    CHECK(Run(graph) == Keys{"source"});
}

TEST_CASE("Added parameters stand at the end, are owned, and make the operator outdated")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    Run(graph);
    const unsigned long before = source.GetStructureVersion();
    source.AddParameter(MakeParameter("Extra"));
    CHECK(ParameterNames(source) == Keys{"Value", "Extra"});
    CHECK(source.GetStructureVersion() > before);
    CHECK(Run(graph) == Keys{"source"});

    auto* const extra = static_cast<FloatParameter*>(source.FindParameter("Extra"));
    CHECK(extra->GetOperator() == &source);
    CHECK(extra->GetParentObject() == &source);
    CHECK_FALSE(extra->HasValueChanged());
    extra->SetValue(5.0);
    CHECK(Run(graph) == Keys{"source"});

    const WeakObject watch(extra);
    const unsigned long between = source.GetStructureVersion();
    source.RemoveParameter(extra);
    CHECK(watch.Get() == nullptr);
    CHECK(ParameterNames(source) == Keys{"Value"});
    CHECK(source.GetStructureVersion() > between);
    CHECK(Run(graph) == Keys{"source"});
}

TEST_CASE("An added parameter without a key has its name for one")
{
    Source source;
    auto parameter = std::make_unique<IntParameter>();
    parameter->SetName("Seed");
    source.AddParameter(std::move(parameter));
    CHECK(source.FindParameter("Seed")->GetKey() == "Seed");
    CHECK(source.FindChild("Seed") == source.FindParameter("Seed"));
}

TEST_CASE("An added parameter leaves the operator that it belonged to")
{
    Source first;
    Source second;
    first.AddParameter(std::make_unique<FloatParameter>(ParameterScope(&second), "Extra", 1.0));
    CHECK(ParameterNames(first) == Keys{"Value", "Extra"});
    CHECK(ParameterNames(second) == Keys{"Value"});
}

TEST_CASE("Removing a parameter that is a member only takes it off the list")
{
    Source source;
    source.RemoveParameter(&source.value);
    CHECK(source.GetParameters().empty());
    CHECK(source.value.GetOperator() == nullptr);
    CHECK(source.value.Value() == 1.0);
}

TEST_CASE("Adding or removing nothing, or removing a parameter of another operator, does nothing")
{
    Source source;
    Source other;
    source.AddParameter(nullptr);
    source.RemoveParameter(nullptr);
    source.RemoveParameter(&other.value);
    CHECK(ParameterNames(source) == Keys{"Value"});
    CHECK(ParameterNames(other) == Keys{"Value"});
}

TEST_CASE("The structure is updated when the operator enters a graph, not while it is constructed")
{
    auto made = std::make_unique<Shape>();
    Shape& shape = *made;
    shape.type.SetValue("Vector 2");
    CHECK(shape.structureUpdates == 0);
    CHECK(ParameterNames(shape) == Keys{"Type", "Random"});

    Graph graph;
    graph.Add(std::move(made));
    CHECK(shape.structureUpdates == 1);
    CHECK(ParameterNames(shape) == Keys{"Type", "Random", "Value"});
    CHECK(shape.value->GetParameterType() == ParameterType::Vector2);
}

TEST_CASE("A change of a parameter with the structure flag updates the structure at once, an equal value does not")
{
    Graph graph;
    auto& shape = Add<Shape>(graph, "shape");
    Run(graph);
    CHECK(shape.structureUpdates == 1);
    CHECK(shape.value->GetParameterType() == ParameterType::Float);

    shape.type.SetValue("Float");
    CHECK(shape.structureUpdates == 1);
    CHECK(Run(graph).empty());

    shape.type.SetValue("Vector 2");
    CHECK(shape.structureUpdates == 2);
    CHECK(ParameterNames(shape) == Keys{"Type", "Random", "Value"});
    CHECK(shape.value->GetParameterType() == ParameterType::Vector2);
    CHECK(Run(graph) == Keys{"shape"});

    shape.random.SetValue(true);
    CHECK(ParameterNames(shape) == Keys{"Type", "Random", "Value", "Seed"});
    shape.random.SetValue(false);
    CHECK(ParameterNames(shape) == Keys{"Type", "Random", "Value"});
    CHECK(Run(graph) == Keys{"shape"});
}

TEST_CASE("A change of a parameter without the structure flag leaves the structure alone")
{
    Graph graph;
    auto& shape = Add<Shape>(graph, "shape");
    static_cast<FloatParameter*>(shape.value)->SetValue(2.0);
    CHECK(shape.structureUpdates == 1);
}

TEST_CASE("The structure is not updated while the operator is destroyed")
{
    // The reference changes, and asks for an update, when the parameter goes that it points at.
    class Tangled final : public TestOperator
    {
    public:
        explicit Tangled(int& updates) : count(updates)
        {
            reference.SetParameterFlag(ParameterFlag::Structure, true);
            reference.SetValue(&value);
        }
        void UpdateStructure() override { ++count; }
        int& count;
        PtrParameter reference{ParameterScope(this), "Reference", nullptr};
        FloatParameter value{ParameterScope(this), "Value", 0.0};
    };
    int updates = 0;
    auto graph = std::make_unique<Graph>();
    Operator* const removed = graph->Add(std::make_unique<Tangled>(updates));
    graph->Add(std::make_unique<Tangled>(updates));
    CHECK(updates == 2);
    graph->Remove(removed);
    CHECK(updates == 2);
    graph.reset();
    CHECK(updates == 2);
}

TEST_CASE("Whoever hears that an object is gone finds no reference to it any more")
{
    class Watcher final : public TestOperator
    {
    public:
        Watcher() { reference.SetParameterFlag(ParameterFlag::Structure, true); }
        void UpdateStructure() override { seen = watch.Get(); }
        WeakObject watch;
        Object* seen = nullptr;
        PtrParameter reference{ParameterScope(this), "Reference", nullptr};
    };
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& watcher = Add<Watcher>(graph, "watcher");
    watcher.watch = WeakObject(&source);
    watcher.reference.SetValue(&source);
    CHECK(watcher.seen == &source);
    graph.Remove(&source);
    CHECK(watcher.seen == nullptr);
}

TEST_CASE("Executions are counted and timed")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    CHECK(source.GetExecutionCount() == 0);
    CHECK(source.GetExecutionTime().count() == 0);
    Run(graph);
    source.MarkDirty();
    Run(graph);
    Run(graph);
    CHECK(source.GetExecutionCount() == 2);
    CHECK(source.GetExecutionTime().count() > 0);
}

TEST_CASE("The operator that executes is known while it does")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    const Operator* during = nullptr;
    source.during = [&] { during = Operator::Executing(); };
    CHECK(Operator::Executing() == nullptr);
    Run(graph);
    CHECK(during == &source);
    CHECK(Operator::Executing() == nullptr);
}

TEST_CASE("An operator that runs a graph of its own is the executing one again afterwards")
{
    Graph outerGraph;
    Graph innerGraph;
    auto& outer = Add<Source>(outerGraph, "outer");
    auto& inner = Add<Source>(innerGraph, "inner");
    const Operator* duringInner = nullptr;
    const Operator* afterInner = nullptr;
    inner.during = [&] { duringInner = Operator::Executing(); };
    outer.during = [&]
    {
        innerGraph.Run();
        afterInner = Operator::Executing();
    };
    CHECK(Run(outerGraph) == Keys{"outer", "inner"});
    CHECK(duringInner == &inner);
    CHECK(afterInner == &outer);
}

TEST_CASE("An exception that leaves Execute is logged with the operator's key, and the frame goes on")
{
    Keys errors;
    const LogListener listener(
        [&](const LogLine& line)
        {
            CHECK(line.level == LogLevel::Error);
            errors.push_back(GetPrintedText(line));
        });
    Graph graph;
    auto& bad = Add<Source>(graph, "bad");
    auto& worse = Add<Source>(graph, "worse");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(bad.output, sum.first);
    bad.during = [] { throw std::runtime_error("The disk is full."); };
    worse.during = [] { throw 5; };

    CHECK(Run(graph) == Keys{"bad", "worse", "sum"});
    CHECK(errors == Keys{"operator \"bad\": The execution failed: The disk is full.",
                         "operator \"worse\": The execution failed for an unknown reason."});
    CHECK(Operator::Executing() == nullptr);
    CHECK(sum.output.GetNumber() == 1.0); // what "bad" published before it failed

    CHECK(Run(graph).empty()); // it is not tried again before something changes
    bad.value.SetValue(2.0);
    bad.during = {};
    CHECK(Run(graph) == Keys{"bad", "sum"});
    CHECK(errors.size() == 2);
}

TEST_CASE("Children are found by key: parameters, inputs, outputs and lists")
{
    Graph graph;
    auto& weigh = Add<Weigh>(graph, "weigh");
    CHECK(weigh.FindChild("Inputs") == &weigh.inputs);
    CHECK(weigh.FindChild("Weights") == &weigh.weightList);
    CHECK(weigh.FindChild("Number Output") == &weigh.output);
    CHECK(weigh.FindChild("Nothing") == nullptr);
    auto& sum = Add<Sum>(graph, "sum");
    CHECK(sum.FindChild("Offset") == &sum.offset);
    CHECK(sum.FindChild("First") == &sum.first);
}

TEST_CASE("An operator that was never in a graph can be used and destroyed")
{
    auto shape = std::make_unique<Shape>();
    shape->UpdateStructure();
    shape->random.SetValue(true);
    shape->MarkDirty();
    CHECK(shape->Outdated());
    CHECK(shape->GetGraph() == nullptr);
    CHECK(shape->GetParentObject() == nullptr);

    Weigh weigh;
    DataInput* const input = weigh.inputs.AddInput();
    CHECK(weigh.WeightOf(*input).Value() == 1.0);
}
