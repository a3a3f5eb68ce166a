#include "core/TestOperators.h"
#include "support/Catch.h"

#include <ctime>

using namespace Varkle;

namespace
{

// Notes what its bundle list tells it, and keeps the parameters of the bundles: behind the list, so that they die
// first, or before it.
template<bool ParametersDieFirst>
class Bundles;

template<>
class Bundles<true> final : public TestOperator
{
public:
    Keys heard;
    ParameterBundleList list{this, "List",
                             BundleHandlers{[this](ParameterBundle& bundle) { Fill(bundle); },
                                            [this](ParameterBundle& bundle) { Discard(bundle); },
                                            [this] { heard.push_back("changed"); }}};
    std::map<std::string, FloatParameter> parameters;

    void Fill(ParameterBundle& bundle)
    {
        heard.push_back("fill " + bundle.GetKey());
        parameters.try_emplace(bundle.GetKey(), ParameterScope(bundle), "Opacity", 1.0);
    }

    void Discard(const ParameterBundle& bundle)
    {
        heard.push_back("discard " + bundle.GetKey());
        parameters.erase(bundle.GetKey());
    }
};

template<>
class Bundles<false> final : public TestOperator
{
public:
    std::vector<std::unique_ptr<FloatParameter>> parameters;
    ParameterBundleList list{this, "List",
                             BundleHandlers{[this](ParameterBundle& bundle) {
                                                parameters.push_back(std::make_unique<FloatParameter>(
                                                    ParameterScope(bundle), "Opacity", 1.0));
                                            },
                                            {},
                                            {}}};
};

} // namespace

TEST_CASE("A bundle list calls fill and then changed for a new bundle, discard and then changed for one that goes")
{
    Bundles<true> op;
    ParameterBundle* const first = op.list.CreateBundle("", "a");
    op.list.CreateBundle("", "b");
    CHECK(op.heard == Keys{"fill a", "changed", "fill b", "changed"});

    op.heard.clear();
    op.list.RemoveBundle(first);
    CHECK(op.heard == Keys{"discard a", "changed"});
    REQUIRE(op.list.GetBundles().size() == 1);
    CHECK(op.list.GetBundles()[0]->GetKey() == "b");
}

TEST_CASE("Bundles stand in the order of their creation and have the names that they were given")
{
    Bundles<true> op;
    op.list.CreateBundle("Left", "a");
    ParameterBundle* const second = op.list.CreateBundle("Right", "b");
    CHECK(op.list.GetBundles()[0]->GetName() == "Left");
    CHECK(second->GetName() == "Right");
    second->SetName("Other");
    CHECK(second->GetName() == "Other");
}

TEST_CASE("Numbered bundles carry their position behind their name")
{
    Bundles<true> op;
    op.list.SetBundlesNumbered(true);
    ParameterBundle* const first = op.list.CreateBundle("Input", "a");
    ParameterBundle* const second = op.list.CreateBundle("Input", "b");
    ParameterBundle* const nameless = op.list.CreateBundle("", "c");
    CHECK(first->GetName() == "Input 1");
    CHECK(second->GetName() == "Input 2");
    CHECK(nameless->GetName() == "3");

    op.list.RemoveBundle(first);
    CHECK(second->GetName() == "Input 1");
}

TEST_CASE("A bundle gets a key of its own when it is given none or one that is taken")
{
    Bundles<true> op;
    CHECK(op.list.CreateBundle("", "2")->GetKey() == "2");
    CHECK(op.list.CreateBundle("", "")->GetKey() == "1");
    CHECK(op.list.CreateBundle("", "")->GetKey() == "3");
    CHECK(op.list.CreateBundle("", "2")->GetKey() == "4");
}

TEST_CASE("A bundle knows its parameters, and they know their operator through it")
{
    Bundles<true> op;
    ParameterBundle* const bundle = op.list.CreateBundle("Input", "a");
    Parameter* const opacity = bundle->FindParameter("Opacity");
    REQUIRE(opacity != nullptr);
    CHECK(bundle->GetParameters() == std::vector<Parameter*>{opacity});
    CHECK(opacity->GetOperator() == &op);
    CHECK(opacity->GetParentObject() == bundle);
    CHECK(bundle->GetParentObject() == &op.list);
    CHECK(op.list.GetParentObject() == &op);
    CHECK(bundle->FindParameter("Weight") == nullptr);
    CHECK(op.GetParameters().empty());
    CHECK(op.FindBundleList("List") == &op.list);
}

TEST_CASE("A bundle's parameters count as the operator's")
{
    Graph graph;
    auto& op = Add<Bundles<true>>(graph, "op");
    op.list.CreateBundle("", "a");
    FloatParameter& opacity = op.parameters.at("a");
    Run(graph);
    CHECK_FALSE(opacity.HasValueChanged());
    CHECK(Run(graph).empty());

    opacity.SetValue(0.5);
    CHECK(opacity.HasValueChanged());
    CHECK(Run(graph) == Keys{"op"});
    CHECK_FALSE(opacity.HasValueChanged());
}

TEST_CASE("A bundle's parameters that come or go make the operator outdated and raise its structure version")
{
    Graph graph;
    auto& op = Add<Bundles<true>>(graph, "op");
    Run(graph);
    const unsigned long before = op.GetStructureVersion();
    ParameterBundle* const bundle = op.list.CreateBundle("", "a");
    CHECK(op.GetStructureVersion() > before);
    CHECK(Run(graph) == Keys{"op"});

    const unsigned long between = op.GetStructureVersion();
    op.list.RemoveBundle(bundle);
    CHECK(op.GetStructureVersion() > between);
    CHECK(Run(graph) == Keys{"op"});
}

TEST_CASE("Removing nothing, or a bundle of another list, does nothing")
{
    Bundles<true> op;
    Bundles<true> other;
    ParameterBundle* const bundle = other.list.CreateBundle("", "a");
    op.list.RemoveBundle(nullptr);
    op.list.RemoveBundle(bundle);
    CHECK(op.heard.empty());
    CHECK(other.list.GetBundles().size() == 1);
}

TEST_CASE("A parameter that outlives its bundle belongs to no operator")
{
    Bundles<false> op;
    ParameterBundle* const bundle = op.list.CreateBundle("", "a");
    const unsigned long before = op.GetStructureVersion();
    op.list.RemoveBundle(bundle);
    CHECK(op.GetStructureVersion() > before);
    REQUIRE(op.parameters.size() == 1);
    CHECK(op.parameters[0]->GetOperator() == nullptr);
    op.parameters[0]->SetValue(0.25);
    CHECK(op.parameters[0]->Value() == 0.25);
}

TEST_CASE("An operator may go with its bundles, in whatever order its members die and whether or not a graph holds it")
{
    Bundles<true> parametersFirst;
    parametersFirst.list.CreateBundle("", "a");
    Bundles<false> listFirst;
    listFirst.list.CreateBundle("", "a");

    Graph graph;
    Add<Bundles<true>>(graph, "first").list.CreateBundle("", "a");
    Add<Bundles<false>>(graph, "second").list.CreateBundle("", "a");
    auto& removed = Add<Bundles<false>>(graph, "third");
    removed.list.CreateBundle("", "a");
    graph.Remove(&removed);
    CHECK(Run(graph) == Keys{"first", "second"}); // the rest is for the sanitizers to see
}

TEST_CASE("The handlers are not called while the operator is destroyed")
{
    int discarded = 0;
    class Watched final : public TestOperator
    {
    public:
        explicit Watched(int& count)
            : list(this, "List", BundleHandlers{{}, [&count](ParameterBundle&) { ++count; }, [&count] { ++count; }})
        {
        }
        ParameterBundleList list;
    };
    auto watched = std::make_unique<Watched>(discarded);
    watched->list.CreateBundle("", "a");
    CHECK(discarded == 1); // the creation
    watched.reset();
    CHECK(discarded == 1);

    Graph graph;
    auto* const inGraph = new Watched(discarded);
    graph.Add(std::unique_ptr<Operator>(inGraph));
    inGraph->list.CreateBundle("", "a");
    CHECK(discarded == 2);
    graph.Remove(inGraph);
    CHECK(discarded == 2);
}

TEST_CASE("A bundle is found by its key, which stays unique in its list when it is set anew")
{
    Weigh weigh;
    ParameterBundle* const first = weigh.weightList.CreateBundle("", "first");
    ParameterBundle* const second = weigh.weightList.CreateBundle("", "second");
    CHECK(weigh.weightList.FindBundle("second") == second);
    second->SetKey("other");
    CHECK(weigh.weightList.FindBundle("other") == second);
    CHECK(weigh.weightList.FindBundle("second") == nullptr);
    second->SetKey("first");
    CHECK(second->GetKey() != "first");
    CHECK(weigh.weightList.FindBundle("first") == first);
    CHECK(weigh.weightList.FindBundle(second->GetKey()) == second);
    weigh.weightList.RemoveBundle(first);
    CHECK(weigh.weightList.FindBundle("first") == nullptr);
}

TEST_CASE("Bundles are added in time that does not grow with their number")
{
    const auto timeOf = [](int count)
    {
        Weigh weigh;
        const std::clock_t begin = std::clock(); // of this process alone
        for (int i = 0; i < count; ++i)
            weigh.inputs.AddInput();
        return std::clock() - begin;
    };
    timeOf(100); // the first ones wake the memory
    const std::clock_t few = timeOf(2000);
    CHECK(timeOf(20000) < 60 * few); // 10 times as many; 100 times where each looks through all
}
