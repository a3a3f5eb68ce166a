#include "core/TestOperators.h"
#include "support/Catch.h"

using namespace Varkle;

TEST_CASE("A class has one descriptor, which its instances return too")
{
    const Source one;
    const Source two;
    CHECK(Source::Type() == Source::Type());
    CHECK(one.GetType() == Source::Type());
    CHECK(two.GetType() == Source::Type());
    CHECK(Source::Type()->GetId() == "Varkle.Test.Source");
    CHECK(Source::Type()->GetParent() == Operator::Type());
}

TEST_CASE("A type is itself and what it derives from, and nothing else")
{
    CHECK(Source::Type()->IsA(Source::Type()));
    CHECK(Source::Type()->IsA(Operator::Type()));
    CHECK(Source::Type()->IsA(Object::Type()));
    CHECK_FALSE(Operator::Type()->IsA(Source::Type()));
    CHECK_FALSE(Source::Type()->IsA(Parameter::Type()));
    CHECK_FALSE(Source::Type()->IsA(nullptr));
}

TEST_CASE("A type makes objects with its factory, and none without")
{
    const std::unique_ptr<Object> made = Source::Type()->Create();
    REQUIRE(made);
    CHECK(made->GetType() == Source::Type());
    CHECK(Operator::Type()->Create() == nullptr);
}

TEST_CASE("An object's path leads from below the graph to the object")
{
    Graph graph;
    auto& weigh = Add<Weigh>(graph, "weigh");
    DataInput* const input = weigh.inputs.AddInput();

    CHECK(graph.GetPath().empty());
    CHECK(weigh.GetPath() == "weigh");
    CHECK(weigh.output.GetPath() == "weigh/Number Output");
    CHECK(input->GetPath() == "weigh/Inputs/1");
    CHECK(weigh.WeightOf(*input).GetPath() == "weigh/Weights/1/Weight");
}

TEST_CASE("A path finds the object that it names")
{
    Graph graph;
    auto& weigh = Add<Weigh>(graph, "weigh");
    DataInput* const input = weigh.inputs.AddInput();

    CHECK(graph.FindObject("") == &graph);
    CHECK(graph.FindObject("weigh") == &weigh);
    CHECK(graph.FindObject("weigh/Inputs") == &weigh.inputs);
    CHECK(graph.FindObject("weigh/Inputs/1") == input);
    CHECK(graph.FindObject("weigh/Weights/1/Weight") == &weigh.WeightOf(*input));
    CHECK(weigh.FindObject("Number Output") == &weigh.output);
    CHECK(graph.FindObject("weigh/Inputs/2") == nullptr);
    CHECK(graph.FindObject("other/Inputs") == nullptr);
    CHECK(graph.FindObject("weigh/") == &weigh);
}

TEST_CASE("A path finds a parameter whose name holds a slash")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    const FloatParameter ratio(ParameterScope(&source), "Width/Height", 1.0);

    CHECK(graph.FindObject(ratio.GetPath()) == &ratio);
    CHECK(graph.FindObject("source/Width") == nullptr);
}

TEST_CASE("A weak reference turns null when its object is deleted")
{
    auto source = std::make_unique<Source>();
    const WeakObject first(source.get());
    const WeakObject second(source.get());
    CHECK(first.Get() == source.get());
    CHECK(second.Get() == source.get());

    source.reset();
    CHECK(first.Get() == nullptr);
    CHECK(second.Get() == nullptr);
    CHECK(WeakObject().Get() == nullptr);
    CHECK(WeakObject(nullptr).Get() == nullptr);
}

TEST_CASE("A filter admits objects of its type")
{
    const Source source;
    const Sum sum;
    CHECK(ObjectFilter(Source::Type(), ObjectScope::Anywhere).Admits(sum, source));
    CHECK_FALSE(ObjectFilter(Source::Type(), ObjectScope::Anywhere).Admits(source, sum));
    CHECK(ObjectFilter(nullptr, ObjectScope::Anywhere).Admits(source, sum));
}

TEST_CASE("A filter for the same document admits what is in the same graph")
{
    Graph graph;
    Graph otherGraph;
    auto& report = Add<Report>(graph, "report");
    const auto& near = Add<Source>(graph, "near");
    const auto& far = Add<Source>(otherGraph, "far");

    const ObjectFilter filter(Source::Type(), ObjectScope::SameDocument);
    CHECK(filter.Admits(report.target, near));
    CHECK_FALSE(filter.Admits(report.target, far));
}
