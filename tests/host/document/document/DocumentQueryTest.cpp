#include "Varkle/Document/DocumentQuery.h"

#include "Edits.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <fstream>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

ParameterView Find(const std::vector<ParameterView>& views, std::string_view name)
{
    const auto found = std::ranges::find(views, name, &ParameterView::name);
    if (found == views.end())
        FAIL(name);
    return *found;
}

std::vector<std::string> Names(const std::vector<ParameterView>& views)
{
    std::vector<std::string> names;
    for (const ParameterView& view : views)
        names.push_back(view.name);
    return names;
}

std::string Problem(const Status& status)
{
    return status ? "" : status.GetError().message;
}

const std::string chain = R"(
{ "key": "a", "type": "Test.Everything" },
{ "key": "b", "type": "Test.Everything", "inputs": { "Mesh Input": "a" } },
{ "key": "stack", "type": "Test.Stack", "inputs": { "Inputs": ["b", null, "a"] }, "bundles": { "Weights": [{ "Weight": 0.25 }] } },
{ "key": "sink", "type": "Test.Sink", "inputs": { "Mesh Input": "stack" } },
{ "key": "picture", "type": "Test.Picture", "position": [3, 4.5] })";

} // namespace

TEST_CASE("A view of an operator shows its parameters with what the document says and their defaults")
{
    const GraphDocument document = ReadOperators(
        R"-({ "key": "a", "type": "Test.Everything", "parameters": { "Float": "sin(time)", "Enum": "Two", "Color": "#ff0000", "Vector 2": [1, "frame"] } })-");
    const std::optional<OperatorView> view = ViewOperator(document, "a");
    REQUIRE(view);
    CHECK(view->isKnown);
    CHECK(view->outputType == "Mesh");
    CHECK(view->parameters.size() == 18);
    const ParameterView number = Find(view->parameters, "Float");
    CHECK(number.type == "Float");
    CHECK(number.description == "A number.");
    CHECK(number.isSet);
    CHECK(number.isExpression);
    CHECK(number.value.text == "sin(time)");
    CHECK(number.defaultValue.number == 0.5);
    const ParameterView choice = Find(view->parameters, "Enum");
    CHECK_FALSE(choice.isExpression);
    CHECK(choice.values.size() == 3);
    CHECK(choice.labels.at(1) == "The second");
    CHECK(choice.defaultValue.text == "One");
    CHECK_FALSE(Find(view->parameters, "Color").isExpression);
    CHECK(Find(view->parameters, "Vector 2").isExpression);
    CHECK_FALSE(Find(view->parameters, "Int").isSet);
    CHECK(Find(view->parameters, "Int").value.number == 3);
    CHECK(Find(view->parameters, "File").editor == StringParameter::EditorType::FilePath);
    CHECK(Find(view->parameters, "Runs With Trigger").isOutput);
    CHECK_FALSE(ViewOperator(document, "b"));
}

TEST_CASE("A view shows the parameters that an operator has with its present settings")
{
    const GraphDocument document = ReadOperators(
        R"({ "key": "m", "type": "Test.Maker", "parameters": { "Mode": "Random", "Type": "Vector 3", "Max": [1, 2, 3], "Value": 4 } })");
    const std::vector<ParameterView> views = ViewOperator(document, "m")->parameters;
    CHECK(Names(views) == std::vector<std::string>{"Type", "Mode", "Name", "Seeded", "Min", "Max", "Value"});
    CHECK(Find(views, "Mode").defaultValue.text == "Constant");
    CHECK(Find(views, "Max").type == "Vector 3");
    CHECK(LayOutJson(Find(views, "Max").defaultValue) == "[0, 0, 0]\n");
    CHECK(Find(views, "Value").type.empty());
    CHECK(Find(views, "Value").value.number == 4);
}

TEST_CASE("A view shows what feeds an operator, and its bundles")
{
    const GraphDocument document = ReadOperators(chain);
    const OperatorView stack = *ViewOperator(document, "stack");
    REQUIRE(stack.inputs.size() == 1);
    CHECK(stack.inputs[0].isList);
    CHECK(stack.inputs[0].type == "Mesh");
    CHECK(stack.inputs[0].sources == std::vector<std::string>{"b", "", "a"});
    REQUIRE(stack.bundleLists.size() == 1);
    REQUIRE(stack.bundleLists[0].bundles.size() == 3);
    CHECK(stack.bundleLists[0].bundles[1].name == "Input 2");
    const ParameterView weight = Find(stack.bundleLists[0].bundles[0].parameters, "Weight");
    CHECK(weight.value.number == 0.25);
    CHECK(weight.defaultValue.number == 1);
    CHECK(ViewOperator(document, "picture")->y == 4.5);
    CHECK_FALSE(ViewOperator(document, "stack")->x);
    CHECK(GetWires(document) == std::vector<WireView>{{"a", "b", "Mesh Input", {}},
                                                      {"b", "stack", "Inputs", 0},
                                                      {"a", "stack", "Inputs", 2},
                                                      {"stack", "sink", "Mesh Input", {}}});
}

TEST_CASE("An operator of an unknown type is shown by what the document says")
{
    const GraphDocument document = ReadOperators(
        R"({ "key": "u", "type": "Gone.Type", "parameters": { "Size": 3 }, "inputs": { "In": ["u"], "B": null } })");
    const OperatorView view = *ViewOperator(document, "u");
    CHECK_FALSE(view.isKnown);
    CHECK(view.type == "Gone.Type");
    CHECK(Find(view.parameters, "Size").value.number == 3);
    REQUIRE(view.inputs.size() == 2);
    CHECK(view.inputs[0].isList);
    CHECK(view.inputs[0].sources == std::vector<std::string>{"u"});
    CHECK(view.inputs[1].sources == std::vector<std::string>{""});
}

TEST_CASE("What can be connected to what is told, and why not")
{
    const GraphDocument document = ReadOperators(chain);
    CHECK(Problem(CanConnect(document, "a", "sink", "Mesh Input")).empty());
    CHECK(Problem(CanConnect(document, "picture", "a", "Mesh Input")) ==
          R"(input "Mesh Input" takes a Mesh, but "picture" gives a Texture)");
    CHECK(Problem(CanConnect(document, "sink", "a", "Mesh Input")) ==
          R"(input "Mesh Input": the operator "sink" has no output)");
    CHECK(Problem(CanConnect(document, "stack", "a", "Mesh Input"))
              .starts_with("a graph can't have cycles: \"a\" <- \"stack\" <- "));
    CHECK(Problem(CanConnect(document, "a", "a", "Mesh Input")) ==
          "the operator feeds itself: a graph can't have cycles");
    CHECK(Problem(CanConnect(document, "a", "stak", "Inputs")) ==
          R"(there is no operator "stak" (did you mean "stack"?))");
    CHECK(Problem(CanConnect(document, "a", "stack", "Input")).starts_with(R"(there is no input "Input")"));

    std::vector<std::string> open;
    for (const TargetView& target : FindTargets(document, "b"))
    {
        if (target.problem.empty())
            open.push_back(target.key + "." + target.input);
    }
    CHECK(open == std::vector<std::string>{"stack.Inputs", "sink.Mesh Input"});
}

TEST_CASE("Files that a document names and that are not there are told with their places")
{
    const TemporaryFolder folder;
    std::ofstream(folder / "there.txt") << "x";
    const std::string text = WithOperators(
        R"({ "key": "a", "type": "Test.Everything", "parameters": { "File": "gone.txt", "Folder": "none" } },
{ "key": "b", "type": "Test.Everything", "parameters": { "File": "there.txt", "String": "gone" } },
{ "key": "c", "type": "Test.Everything", "parameters": { "File": "" } })");
    const std::vector<MissingFile> missing = FindMissingFiles(ReadAny(text, folder.GetPath()));
    REQUIRE(missing.size() == 1);
    CHECK(missing[0].key == "a");
    CHECK(missing[0].parameter == "File");
    CHECK(missing[0].path == folder / "gone.txt");
    CHECK(missing[0].warning.Text() ==
          "g:2:66: operator \"a\": parameter \"File\": there is no file \"" + (folder / "gone.txt") + "\"");
}
