#include "core/TestOperators.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <algorithm>
#include <random>
#include <stdexcept>

using namespace Varkle;

namespace
{

Keys KeysOf(const std::vector<Operator*>& operators)
{
    Keys keys;
    for (const Operator* const op : operators)
        keys.push_back(op->GetKey());
    return keys;
}

// Adds a row of sums behind a source, each fed by the one before.
void AddChain(Graph& graph, Source& source, int length)
{
    NumberOutput* last = &source.output;
    for (int i = 0; i < length; ++i)
    {
        auto& next = Add<Sum>(graph, "sum");
        REQUIRE(graph.Connect(*last, next.first));
        last = &next.output;
    }
}

} // namespace

TEST_CASE("An operator added by its type gets the last part of the type's id in lower case for a key")
{
    Graph graph;
    Operator* const op = graph.Add(Source::Type());
    REQUIRE(op != nullptr);
    CHECK(op->GetType() == Source::Type());
    CHECK(op->GetKey() == "source");
    CHECK(op->GetGraph() == &graph);
    CHECK(op->GetParentObject() == &graph);
    CHECK(graph.Add(Source::Type())->GetKey() == "source2");
}

TEST_CASE("A type that makes no operator adds nothing")
{
    Graph graph;
    CHECK(graph.Add(Operator::Type()) == nullptr);
    CHECK(graph.Add(NumberInput::Type()) == nullptr);
    CHECK(graph.Add(static_cast<const ObjectType*>(nullptr)) == nullptr);
    CHECK(graph.Add(std::unique_ptr<Operator>()) == nullptr);
    CHECK(graph.GetOperators().empty());
}

TEST_CASE("A key that is taken gets the next number that is free")
{
    Graph graph;
    CHECK(Add<Source>(graph, "blur").GetKey() == "blur");
    CHECK(Add<Source>(graph, "blur").GetKey() == "blur2");
    CHECK(Add<Source>(graph, "blur4").GetKey() == "blur4");
    CHECK(Add<Source>(graph, "blur").GetKey() == "blur3");
    CHECK(Add<Source>(graph, "blur").GetKey() == "blur5");
    CHECK(Add<Source>(graph, "blur2").GetKey() == "blur6");
    CHECK(Add<Source>(graph, "7").GetKey() == "7");
    CHECK(Add<Source>(graph, "7").GetKey() == "72"); // a key is never only its number
}

TEST_CASE("Characters that keys don't have become underscores")
{
    Graph graph;
    CHECK(Add<Source>(graph, "My photo/1.jpg").GetKey() == "My_photo_1.jpg");
    CHECK(Add<Source>(graph, "a-b_c.D9").GetKey() == "a-b_c.D9");
    CHECK(Add<Source>(graph, "\xc3\xa4").GetKey() == "__");
}

TEST_CASE("An operator keeps the key that it has when it is added without one")
{
    Graph graph;
    auto source = std::make_unique<Source>();
    source->SetKey("photo");
    CHECK(graph.Add(std::move(source))->GetKey() == "photo");
}

TEST_CASE("Operators are found by their keys, also after these changed")
{
    Graph graph;
    auto& first = Add<Source>(graph, "first");
    auto& second = Add<Source>(graph, "second");
    CHECK(graph.Find("first") == &first);
    CHECK(graph.Find("second") == &second);
    CHECK(graph.Find("third") == nullptr);
    CHECK(graph.FindChild("first") == &first);

    first.SetKey("third");
    CHECK(graph.Find("first") == nullptr);
    CHECK(graph.Find("third") == &first);
    first.SetKey("third");
    CHECK(first.GetKey() == "third");
    first.SetKey("second");
    CHECK(first.GetKey() == "second2");
    CHECK(graph.Find("second") == &second);

    graph.Remove(&second);
    CHECK(graph.Find("second") == nullptr);
    CHECK(Add<Sum>(graph, "second").GetKey() == "second");
}

TEST_CASE("Operators stand in the order in which they were added")
{
    Graph graph;
    Add<Source>(graph, "b");
    auto& removed = Add<Source>(graph, "c");
    Add<Source>(graph, "a");
    graph.Remove(&removed);
    REQUIRE(graph.GetOperators().size() == 2);
    CHECK(graph.GetOperators()[0]->GetKey() == "b");
    CHECK(graph.GetOperators()[1]->GetKey() == "a");
}

TEST_CASE("Operators can be put into another order, in which they run too unless they depend on each other")
{
    Graph graph;
    auto& a = Add<Source>(graph, "a");
    auto& b = Add<Sum>(graph, "b");
    auto& c = Add<Source>(graph, "c");
    auto& d = Add<Source>(graph, "d");
    REQUIRE(graph.Connect(c.output, b.first));
    const auto keys = [&]
    {
        Keys all;
        for (const std::unique_ptr<Operator>& op : graph.GetOperators())
            all.push_back(op->GetKey());
        return all;
    };
    graph.SetOrder({&d, &b});
    CHECK(keys() == Keys{"d", "b", "a", "c"});
    CHECK(Run(graph) == Keys{"d", "c", "b", "a"});
    graph.SetOrder({&d, &b, &a, &c});
    CHECK(Run(graph).empty());
    graph.SetOrder({&c, &b, &a, &d});
    CHECK(keys() == Keys{"c", "b", "a", "d"});
    CHECK(Run(graph).empty());
    graph.SetOrder({});
    CHECK(keys() == Keys{"c", "b", "a", "d"});
    Add<Source>(graph, "e");
    CHECK(keys() == Keys{"c", "b", "a", "d", "e"});
}

TEST_CASE("An input that is unplugged carries nothing, and an element of a list stays in its place")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    auto& collect = Add<Collect>(graph, "collect");
    REQUIRE(graph.Connect(source.output, sum.first));
    REQUIRE(graph.Connect(source.output, collect.inputs));
    REQUIRE(graph.Connect(source.output, collect.inputs));
    DataInput* const element = collect.inputs.GetInputs()[0];
    Run(graph);
    CHECK(collect.output.GetNumber() == 2);
    collect.heard.clear();
    graph.Unplug(sum.first);
    graph.Unplug(*element);
    CHECK(collect.heard == Keys{"changed"});
    CHECK(Run(graph) == Keys{"sum", "collect"});
    CHECK(sum.output.GetNumber() == 0);
    CHECK(collect.output.GetNumber() == 1);
    REQUIRE(collect.inputs.GetInputs().size() == 2);
    CHECK(collect.inputs.GetInputs()[0] == element);

    graph.Unplug(*element); // again
    graph.Unplug(sum.second);
    CHECK(Run(graph).empty());
    REQUIRE(graph.Connect(source.output, *element));
    Run(graph);
    CHECK(collect.output.GetNumber() == 2);
}

TEST_CASE("A connection between different types is refused with a message that names both ends")
{
    Graph graph;
    auto& source = Add<Source>(graph, "noise");
    auto& sum = Add<Sum>(graph, "move");
    CHECK(TryConnect(graph, source.output, sum.word) ==
          "\"noise\" gives a Number, but \"Word\" of \"move\" takes a Word.");
    CHECK(sum.word.GetConnection() == nullptr);
    CHECK(source.output.GetConnections().empty());
}

TEST_CASE("A list refuses outputs of another type and adds no element for them")
{
    Graph graph;
    auto& source = Add<Source>(graph, "noise");
    auto& op = Add<Sum>(graph, "words");
    DataInputList words(&op, "Words", WordInput::Type(), {});
    const Result<DataInput*> result = graph.Connect(source.output, words);
    REQUIRE_FALSE(result);
    CHECK(result.GetError().message == "\"noise\" gives a Number, but \"Words\" of \"words\" takes a Word.");
    CHECK(words.GetInputs().empty());
}

TEST_CASE("A connection that closes a cycle is refused with a message that names both operators")
{
    Graph graph;
    auto& a = Add<Sum>(graph, "a");
    auto& b = Add<Sum>(graph, "b");
    auto& c = Add<Sum>(graph, "c");
    REQUIRE(graph.Connect(a.output, b.first));
    REQUIRE(graph.Connect(b.output, c.first));
    CHECK(TryConnect(graph, c.output, a.second) ==
          "Connecting \"c\" to \"Second\" of \"a\" would close a cycle: \"a\" feeds \"c\" already.");
    CHECK(a.second.GetConnection() == nullptr);
    CHECK(TryConnect(graph, b.output, a.second) ==
          "Connecting \"b\" to \"Second\" of \"a\" would close a cycle: \"a\" feeds \"b\" already.");
    CHECK(TryConnect(graph, a.output, c.second).empty());
}

TEST_CASE("A cycle through a list is refused, and adds no element")
{
    Graph graph;
    auto& collect = Add<Collect>(graph, "collect");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(collect.output, sum.first);
    CHECK_FALSE(graph.Connect(sum.output, collect.inputs));
    CHECK(collect.inputs.GetInputs().empty());
    CHECK(collect.heard.empty());
}

TEST_CASE("An operator can't feed itself")
{
    Graph graph;
    auto& sum = Add<Sum>(graph, "sum");
    CHECK(TryConnect(graph, sum.output, sum.first) ==
          "\"sum\" can't feed itself: its output was to be connected to its own \"First\".");
}

TEST_CASE("Operators of different graphs can't be connected, nor those of none")
{
    Graph graph;
    Graph otherGraph;
    auto& source = Add<Source>(graph, "source");
    auto& far = Add<Sum>(otherGraph, "far");
    Sum alone;
    const std::string message = "The output \"Number Output\" and the input \"First\" are not both in this graph.";
    CHECK(TryConnect(graph, source.output, far.first) == message);
    CHECK(TryConnect(otherGraph, source.output, far.first) == message);
    CHECK(TryConnect(graph, source.output, alone.first) == message);
    NumberInput orphan;
    CHECK_FALSE(graph.Connect(source.output, orphan));
}

TEST_CASE("A new connection replaces the one that an input had")
{
    Graph graph;
    auto& first = Add<Source>(graph, "first");
    auto& second = Add<Source>(graph, "second");
    auto& sum = Add<Sum>(graph, "sum");
    second.value.SetValue(5.0);
    graph.Connect(first.output, sum.first);
    Run(graph);
    graph.Connect(second.output, sum.first);
    CHECK(first.output.GetConnections().empty());
    CHECK(Run(graph) == Keys{"sum"});
    CHECK(sum.output.GetNumber() == 5.0);
}

TEST_CASE("Connecting what is connected already changes nothing")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(source.output, sum.first);
    Run(graph);
    CHECK(graph.Connect(source.output, sum.first));
    CHECK(Run(graph).empty());
    CHECK(source.output.GetConnections().size() == 1);
}

TEST_CASE("Connecting and disconnecting make the operator outdated that takes the data")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    Run(graph);
    graph.Connect(source.output, sum.first);
    CHECK(Run(graph) == Keys{"sum"});
    CHECK(sum.output.GetNumber() == 1.0);
    graph.Disconnect(sum.first);
    CHECK(sum.first.GetConnection() == nullptr);
    CHECK(Run(graph) == Keys{"sum"});
    CHECK(sum.output.GetNumber() == 0.0);
}

TEST_CASE("A cycle is refused after the connections around it came and went")
{
    Graph graph;
    auto& a = Add<Sum>(graph, "a");
    auto& b = Add<Sum>(graph, "b");
    graph.Connect(a.output, b.first);
    Run(graph);
    graph.Disconnect(b.first);
    REQUIRE(graph.Connect(b.output, a.first)); // the other way round now
    CHECK_FALSE(graph.Connect(a.output, b.first));
    CHECK(Run(graph) == Keys{"b", "a"});
    CHECK_FALSE(graph.Connect(a.output, b.first));
}

TEST_CASE("Random connections never close a cycle, and are refused only when they would")
{
    constexpr std::size_t count = 12;
    std::mt19937 random(7);
    Graph graph;
    std::vector<Collect*> operators;
    for (std::size_t i = 0; i < count; ++i)
        operators.push_back(&Add<Collect>(graph, "op" + std::to_string(i)));
    bool feeds[count][count] = {}; // the transitive closure, kept up by hand
    int refused = 0;
    for (int i = 0; i < 200; ++i)
    {
        const std::size_t from = random() % count;
        const std::size_t to = random() % count;
        const bool possible = from != to && !feeds[to][from];
        CHECK(bool(graph.Connect(operators[from]->output, operators[to]->inputs)) == possible);
        refused += !possible;
        for (std::size_t a = 0; possible && a < count; ++a)
        {
            for (std::size_t b = 0; b < count; ++b)
                feeds[a][b] |= (a == from || feeds[a][from]) && (b == to || feeds[to][b]);
        }
        if (i % 20 == 0)
            graph.Run();
    }
    CHECK(refused > 0);
    CHECK(refused < 200);
}

TEST_CASE("Operators run sources first, whatever the order in which they were added")
{
    Graph graph;
    auto& last = Add<Sum>(graph, "last");
    auto& middle = Add<Sum>(graph, "middle");
    auto& source = Add<Source>(graph, "source");
    graph.Connect(middle.output, last.first);
    graph.Connect(source.output, middle.first);
    CHECK(Run(graph) == Keys{"source", "middle", "last"});
    CHECK(last.output.GetNumber() == 1.0);
}

TEST_CASE("Operators that do not depend on each other run in the order in which they were added")
{
    Graph graph;
    auto& late = Add<Sum>(graph, "late");
    Add<Source>(graph, "a");
    auto& source = Add<Source>(graph, "b");
    Add<Source>(graph, "c");
    graph.Connect(source.output, late.first);
    CHECK(Run(graph) == Keys{"b", "late", "a", "c"});
}

TEST_CASE("Each operator of a diamond runs once, when all that feeds it has run")
{
    Graph graph;
    auto& bottom = Add<Sum>(graph, "bottom");
    auto& left = Add<Sum>(graph, "left");
    auto& right = Add<Sum>(graph, "right");
    auto& top = Add<Source>(graph, "top");
    graph.Connect(top.output, left.first);
    graph.Connect(top.output, right.first);
    graph.Connect(left.output, bottom.first);
    graph.Connect(right.output, bottom.second);
    left.offset.SetValue(10.0);
    CHECK(Run(graph) == Keys{"top", "left", "right", "bottom"});
    CHECK(bottom.output.GetNumber() == 12.0); // (1 + 10) + 1

    top.value.SetValue(2.0);
    CHECK(Run(graph) == Keys{"top", "left", "right", "bottom"});
    right.offset.SetValue(100.0);
    CHECK(Run(graph) == Keys{"right", "bottom"});
    CHECK(bottom.output.GetNumber() == 114.0); // (2 + 10) + (2 + 100)
    CHECK(Run(graph).empty());
}

TEST_CASE("An output feeds two inputs of one operator, which runs once")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(source.output, sum.first);
    graph.Connect(source.output, sum.second);
    CHECK(Run(graph) == Keys{"source", "sum"});
    CHECK(sum.output.GetNumber() == 2.0);
}

TEST_CASE("A change in one of a thousand operators executes it and what depends on it, nothing else")
{
    Graph graph;
    for (int i = 0; i < 250; ++i)
        AddChain(graph, Add<Source>(graph, "source"), 3);
    REQUIRE(graph.GetOperators().size() == 1000);
    CHECK(Run(graph).size() == 1000);
    CHECK(Run(graph).empty());

    auto& source = static_cast<Source&>(*graph.Find("source100"));
    source.value.SetValue(9.0);
    CHECK(Run(graph) == Keys{"source100", "sum298", "sum299", "sum300"}); // the hundredth three sums
    CHECK(source.GetExecutionCount() == 2);
    CHECK(graph.Find("source101")->GetExecutionCount() == 1);

    static_cast<Sum*>(graph.Find("sum299"))->offset.SetValue(1.0);
    CHECK(Run(graph) == Keys{"sum299", "sum300"});
}

TEST_CASE("An operator that decides itself is asked once on every run, and executed when it says so")
{
    Graph graph;
    auto& report = Add<Report>(graph, "report");
    CHECK(Run(graph) == Keys{"report"});
    CHECK(Run(graph) == Keys{"report"});
    CHECK(report.asked == 2);

    report.wants = false;
    report.MarkDirty();
    CHECK(Run(graph).empty());
    CHECK(Run(graph).empty());
    CHECK(report.asked == 4);
}

TEST_CASE("A report follows the source that it refers to without a connection, and outlives it")
{
    Graph graph;
    auto& report = Add<Report>(graph, "report");
    auto& source = Add<Source>(graph, "source");
    Run(graph);
    CHECK_FALSE(report.found.Value());
    CHECK(report.reported.Value() == 0.0);

    report.target.SetValue(&source);
    source.value.SetValue(8.0);
    Run(graph);
    CHECK(report.found.Value());
    CHECK(report.reported.Value() == 8.0);

    graph.Remove(&source);
    CHECK(Run(graph) == Keys{"report"});
    CHECK_FALSE(report.found.Value());
    CHECK(report.reported.Value() == 8.0);
}

TEST_CASE("An operator that is changed by one that executes earlier runs in the same run, by a later one in the next")
{
    Graph graph;
    auto& early = Add<Source>(graph, "early");
    auto& late = Add<Source>(graph, "late");
    Run(graph);

    early.during = [&] { late.value.SetValue(late.value.Value() + 1.0); };
    early.MarkDirty();
    CHECK(Run(graph) == Keys{"early", "late"});

    early.during = {};
    late.during = [&] { early.value.SetValue(early.value.Value() + 1.0); };
    late.MarkDirty();
    CHECK(Run(graph) == Keys{"late"});
    CHECK(Run(graph) == Keys{"early"});
}

TEST_CASE("An output that is published before the run reaches what it feeds")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");
    auto& next = Add<Sum>(graph, "next");
    graph.Connect(source.output, sum.first);
    graph.Connect(sum.output, next.first);
    Run(graph);
    source.output.Activate(40.0);
    CHECK(Run(graph) == Keys{"sum", "next"});
    CHECK(next.output.GetNumber() == 40.0);
}

TEST_CASE("An operator that does not publish leaves what it feeds alone")
{
    Graph graph;
    auto& silent = Add<Shape>(graph, "silent");
    NumberOutput output(&silent, "Number Output");
    auto& sum = Add<Sum>(graph, "sum");
    graph.Connect(output, sum.first);
    Run(graph);
    silent.MarkDirty();
    CHECK(Run(graph) == Keys{"silent"});
    graph.Disconnect(sum.first);
}

TEST_CASE("A run for targets runs them and what feeds them, the others stay outdated")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& wanted = Add<Sum>(graph, "wanted");
    auto& other = Add<Sum>(graph, "other");
    auto& report = Add<Report>(graph, "report");
    graph.Connect(source.output, wanted.first);
    graph.Connect(source.output, other.first);

    CHECK(Run(graph, {&wanted}) == Keys{"source", "wanted"});
    CHECK(Run(graph, {&wanted}).empty());
    CHECK(other.Outdated());
    CHECK(report.asked == 0);

    source.value.SetValue(2.0);
    CHECK(Run(graph, {&wanted}) == Keys{"source", "wanted"});
    CHECK(Run(graph, {&other}) == Keys{"other"});
    CHECK(other.output.GetNumber() == 2.0);
    CHECK(Run(graph) == Keys{"report"});
    CHECK(Run(graph, {&wanted, &report}) == Keys{"report"});

    source.value.SetValue(3.0);
    CHECK(Run(graph, {&wanted}) == Keys{"source", "wanted"});
    CHECK(other.output.GetNumber() == 2.0);
    CHECK(Run(graph, {&other}) == Keys{"other"});
}

TEST_CASE("What is left out by the targets runs with the whole graph later")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& wanted = Add<Source>(graph, "wanted");
    Run(graph, {&wanted});
    source.MarkDirty();
    Run(graph, {&wanted});
    CHECK(Run(graph) == Keys{"source"});
    CHECK(Run(graph).empty());
}

TEST_CASE("A connection that comes between two runs for the same targets counts")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& wanted = Add<Sum>(graph, "wanted");
    CHECK(Run(graph, {&wanted}) == Keys{"wanted"});
    graph.Connect(source.output, wanted.first);
    CHECK(Run(graph, {&wanted}) == Keys{"source", "wanted"});
    graph.Disconnect(wanted.first);
    source.MarkDirty();
    CHECK(Run(graph, {&wanted}) == Keys{"wanted"});

    auto& collect = Add<Collect>(graph, "collect");
    graph.Connect(source.output, collect.inputs);
    CHECK(Run(graph, {&collect}) == Keys{"source", "collect"});
    collect.inputs.RemoveInput(collect.inputs.GetInputs()[0]);
    source.MarkDirty();
    CHECK(Run(graph, {&collect}) == Keys{"collect"});
}

TEST_CASE("Targets that are null or in another graph are left out")
{
    Graph graph;
    Graph otherGraph;
    auto& source = Add<Source>(graph, "source");
    auto& far = Add<Source>(otherGraph, "far");
    CHECK(Run(graph, {nullptr, &far, &source}) == Keys{"source"});
    CHECK(Run(graph, {}).empty());
    CHECK(Run(otherGraph) == Keys{"far"});
}

TEST_CASE("The sources of operators come first and each once")
{
    Graph graph;
    auto& bottom = Add<Collect>(graph, "bottom");
    auto& left = Add<Sum>(graph, "left");
    auto& right = Add<Sum>(graph, "right");
    auto& top = Add<Source>(graph, "top");
    Add<Source>(graph, "other");
    graph.Connect(top.output, left.first);
    graph.Connect(top.output, right.first);
    graph.Connect(right.output, bottom.inputs);
    graph.Connect(left.output, bottom.inputs);
    CHECK(KeysOf(graph.CollectSources({&bottom})) == Keys{"top", "right", "left", "bottom"});
    CHECK(KeysOf(graph.CollectSources({&right, &bottom, &right})) == Keys{"top", "right", "left", "bottom"});
    CHECK(KeysOf(graph.CollectSources({&left})) == Keys{"top", "left"});
    CHECK(graph.CollectSources({}).empty());
}

TEST_CASE("A chain of ten thousand operators connects from either end, runs, and goes")
{
    constexpr std::size_t length = 10'000;
    const bool backwards = GENERATE(false, true);
    Graph graph;
    std::vector<Sum*> sums;
    for (std::size_t i = 0; i < length; ++i)
        sums.push_back(&Add<Sum>(graph, ""));
    if (backwards)
        std::reverse(sums.begin(), sums.end());
    auto& source = Add<Source>(graph, "source");
    for (std::size_t i = 1; i < length; ++i)
        REQUIRE(graph.Connect(sums[i - 1]->output, sums[i]->first));
    REQUIRE(graph.Connect(source.output, sums[0]->first));

    CHECK(Run(graph).size() == length + 1);
    CHECK(sums.back()->output.GetNumber() == 1.0);
    CHECK_FALSE(graph.Connect(sums.back()->output, sums.front()->second));
    sums[length - 10]->offset.SetValue(1.0);
    CHECK(Run(graph).size() == 10);
    CHECK(sums.back()->output.GetNumber() == 2.0);
    CHECK(graph.CollectSources({sums.back()}).size() == length + 1);
}

TEST_CASE("One output feeds ten thousand inputs, and goes")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    for (int i = 0; i < 10'000; ++i)
        REQUIRE(graph.Connect(source.output, Add<Sum>(graph, "sum").first));
    CHECK(Run(graph).size() == 10'001);
    CHECK(graph.Find("sum10000") == graph.GetOperators().back().get());
    graph.Remove(&source);
    CHECK(Run(graph).size() == 10'000);
}

TEST_CASE("An operator that is removed leaves no trace, whatever it was connected to")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& middle = Add<Sum>(graph, "middle");
    auto& sum = Add<Sum>(graph, "sum");
    auto& collect = Add<Collect>(graph, "collect");
    graph.Connect(source.output, middle.first);
    graph.Connect(source.output, middle.second);
    graph.Connect(middle.output, sum.second);
    graph.Connect(middle.output, collect.inputs);
    graph.Connect(source.output, collect.inputs);
    graph.Connect(middle.output, collect.inputs);
    const auto remove = [&](Operator& op)
    {
        if (GENERATE(false, true))
            Run(graph);
        graph.Remove(&op);
    };

    SECTION("a source")
    {
        remove(source);
        CHECK(middle.first.GetConnection() == nullptr);
        CHECK(middle.second.GetConnection() == nullptr);
        CHECK(collect.inputs.GetInputs().size() == 2);
        CHECK(Run(graph) == Keys{"middle", "sum", "collect"});
        CHECK(collect.output.GetNumber() == 0.0);
    }
    SECTION("one in the middle")
    {
        collect.heard.clear();
        remove(middle);
        CHECK(source.output.GetConnections().size() == 1);
        CHECK(sum.second.GetConnection() == nullptr);
        REQUIRE(collect.inputs.GetInputs().size() == 1);
        CHECK(collect.inputs.GetInputs()[0]->GetKey() == "2");
        CHECK(collect.heard == Keys{"removing 3 connected", "changed", "removing 1 connected", "changed"});
        Run(graph);
        CHECK(sum.output.GetNumber() == 0.0);
        CHECK(collect.output.GetNumber() == 1.0);
    }
    SECTION("one at the end, with a list")
    {
        remove(collect);
        CHECK(source.output.GetConnections().size() == 2);
        CHECK(middle.output.GetConnections().size() == 1);
        Run(graph);
        CHECK(sum.output.GetNumber() == 2.0);
    }
    SECTION("all, one after the other")
    {
        remove(middle);
        graph.Remove(&collect);
        graph.Remove(&source);
        graph.Remove(&sum);
        CHECK(graph.GetOperators().empty());
        CHECK(Run(graph).empty());
    }
}

TEST_CASE("An operator that waits, is polled or is a target may be removed")
{
    Graph graph;
    auto& target = Add<Source>(graph, "target");
    auto& waiting = Add<Source>(graph, "waiting");
    auto& report = Add<Report>(graph, "report");
    Run(graph, {&target, &report});
    graph.Remove(&waiting);
    graph.Remove(&report);
    graph.Remove(&target);
    CHECK(Run(graph).empty());
    auto& next = Add<Source>(graph, "next");
    CHECK(Run(graph, {&next}) == Keys{"next"});
}

TEST_CASE("Removing nothing, or an operator of another graph, does nothing")
{
    Graph graph;
    Graph otherGraph;
    auto& far = Add<Source>(otherGraph, "far");
    graph.Remove(nullptr);
    graph.Remove(&far);
    CHECK(otherGraph.Find("far") == &far);
}

TEST_CASE("A graph goes with all that is connected in it, in both directions")
{
    auto graph = std::make_unique<Graph>();
    auto& last = Add<Collect>(*graph, "last");
    auto& middle = Add<Weigh>(*graph, "middle");
    auto& source = Add<Source>(*graph, "source");
    auto& next = Add<Sum>(*graph, "next");
    auto& before = Add<Report>(*graph, "before");
    graph->Connect(source.output, middle.inputs);
    graph->Connect(source.output, next.first);
    graph->Connect(middle.output, last.inputs);
    graph->Connect(next.output, last.inputs);
    before.target.SetValue(&source);
    Add<Report>(*graph, "after").target.SetValue(&source);
    const WeakObject watch(&last);
    Run(*graph);
    graph.reset();
    CHECK(watch.Get() == nullptr);
}

TEST_CASE("A graph refuses to run or to lose an operator while it runs")
{
    Keys errors;
    const LogListener listener([&](const LogLine& line) { errors.push_back(line.text); });
    Graph graph;
    auto& first = Add<Source>(graph, "first");
    auto& second = Add<Source>(graph, "second");
    first.during = [&]
    {
        graph.Run();
        graph.Remove(&second);
    };
    CHECK(Run(graph) == Keys{"first", "second"});
    CHECK(errors == Keys{"A graph can't be run while it runs.",
                         "The operator \"second\" can't be removed while its graph runs."});
    first.during = {};
    graph.Remove(&second);
    CHECK(graph.GetOperators().size() == 1);
}

TEST_CASE("An operator that throws when it is asked whether it is outdated is left out, and the graph goes on running")
{
    class Moody final : public Operator
    {
    public:
        bool Outdated() const override
        {
            if (moody)
                throw std::runtime_error("Ask me later.");
            return Operator::Outdated();
        }
        void Execute(ExecutionContext&) override { ++executions; }

        bool moody = true;
        int executions = 0;
    };
    Graph graph;
    auto& moody = Add<Moody>(graph, "moody");
    Add<Source>(graph, "source");
    const LogRecorder log;
    CHECK(Run(graph) == Keys{"source"});
    CHECK(log.lines == Keys{"error: The operator can't say whether it is outdated: Ask me later."});
    moody.moody = false;
    Run(graph);
    CHECK(moody.executions == 1);
    CHECK(log.lines.size() == 1);
}
