#include "core/TestOperators.h"
#include "support/Catch.h"

#include <limits>

using namespace Varkle;

namespace
{

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Has one parameter of each kind.
class AllKinds final : public TestOperator
{
public:
    ParameterScope scope{this};
    FloatParameter number{scope, "Float", 0.5};
    IntParameter count{scope, "Int", 3};
    BoolParameter on{scope, "Bool", true};
    StringParameter text{scope, "String", "abc"};
    EnumParameter choice{scope, "Enum"};
    ColorParameter color{scope, "Color", Color{1.0, 0.5, 0.25, 1.0}};
    Vector2Parameter vector2{scope, "Vector 2", glm::dvec2(1.0, 2.0)};
    Vector3Parameter vector3{scope, "Vector 3", glm::dvec3(1.0, 2.0, 3.0)};
    Vector4Parameter vector4{scope, "Vector 4", glm::dvec4(1.0, 2.0, 3.0, 4.0)};
    Vector2IntParameter vector2Int{scope, "Vector 2 Int", glm::ivec2(1, 2)};
    Vector3IntParameter vector3Int{scope, "Vector 3 Int", glm::ivec3(1, 2, 3)};
    Transform3DParameter transform{scope, "Transform 3D", glm::mat4(2.0f)};
    TriggerParameter trigger{scope, "Trigger", false};
    PtrParameter reference{scope, "Reference", nullptr};
};

// Sets the value and says whether that counted as a change. The operator is in a graph that has run.
template<class Parameter, class Value>
bool Changes(Graph& graph, Parameter& parameter, const Value& value)
{
    Run(graph);
    parameter.SetValue(value);
    const bool changed = parameter.HasValueChanged();
    CHECK(changed == !Run(graph).empty());
    return changed;
}

} // namespace

TEST_CASE("A parameter starts with its default, and keeps the default when set")
{
    AllKinds op;
    CHECK(op.number.Value() == 0.5);
    CHECK(op.count.Value() == 3);
    CHECK(op.on.Value());
    CHECK(op.text.Value() == "abc");
    CHECK(op.color.Value() == Color{1.0, 0.5, 0.25, 1.0});
    CHECK(op.vector3.Value() == glm::dvec3(1.0, 2.0, 3.0));
    CHECK(op.vector2Int.Value() == glm::ivec2(1, 2));
    CHECK(op.transform.Value() == glm::mat4(2.0f));
    CHECK_FALSE(op.trigger.IsTriggered());
    CHECK(op.reference.Value() == nullptr);

    op.number.SetValue(4.0);
    CHECK(op.number.Value() == 4.0);
    CHECK(op.number.DefaultValue() == 0.5);
    op.text.SetValue("xyz");
    CHECK(op.text.Value() == "xyz");
    CHECK(op.text.DefaultValue() == "abc");
}

TEST_CASE("A parameter made without arguments holds zeros, the identity for a transform")
{
    CHECK(FloatParameter().Value() == 0.0);
    CHECK(IntParameter().Value() == 0);
    CHECK(Vector2Parameter().Value() == glm::dvec2(0.0));
    CHECK(Vector3Parameter().Value() == glm::dvec3(0.0));
    CHECK(Vector4Parameter().Value() == glm::dvec4(0.0));
    CHECK(Transform3DParameter().Value() == glm::mat4(1.0f));
    CHECK(Transform3DParameter().DefaultValue() == glm::mat4(1.0f));
    CHECK(FloatParameter().GetOperator() == nullptr);
    CHECK(FloatParameter().GetParentObject() == nullptr);
}

TEST_CASE("The parameters of an operator stand in creation order, each under the name of its kind")
{
    const AllKinds op;
    Keys names;
    for (const Parameter* const parameter : op.GetParameters())
    {
        CHECK(parameter->GetName() == GetParameterTypeName(parameter->GetParameterType()));
        CHECK(parameter->GetOperator() == &op);
        CHECK(parameter->GetKey() == parameter->GetName());
        names.push_back(parameter->GetName());
    }
    names.erase(std::remove(names.begin(), names.end(), "Reference"), names.end());
    CHECK(names == Keys{"Float", "Int", "Bool", "String", "Enum", "Color", "Vector 2", "Vector 3", "Vector 4",
                        "Vector 2 Int", "Vector 3 Int", "Transform 3D", "Trigger"});
    CHECK(op.FindParameter("Color") == &op.color);
    CHECK(op.FindParameter("color") == nullptr);
}

TEST_CASE("A value that differs is a change, an equal one is none")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    CHECK_FALSE(Changes(graph, op.number, 0.5));
    CHECK(Changes(graph, op.number, 0.25));
    CHECK_FALSE(Changes(graph, op.count, 3));
    CHECK(Changes(graph, op.count, 4));
    CHECK_FALSE(Changes(graph, op.on, true));
    CHECK(Changes(graph, op.on, false));
    CHECK_FALSE(Changes(graph, op.text, "abc"));
    CHECK(Changes(graph, op.text, "abcd"));
    CHECK_FALSE(Changes(graph, op.color, Color{1.0, 0.5, 0.25, 1.0}));
    CHECK(Changes(graph, op.color, Color{1.0, 0.5, 0.25, 0.0}));
    CHECK_FALSE(Changes(graph, op.vector2, glm::dvec2(1.0, 2.0)));
    CHECK(Changes(graph, op.vector2, glm::dvec2(1.0, 3.0)));
    CHECK(Changes(graph, op.vector3, glm::dvec3(1.0, 2.0, 4.0)));
    CHECK(Changes(graph, op.vector4, glm::dvec4(0.0, 2.0, 3.0, 4.0)));
    CHECK_FALSE(Changes(graph, op.vector2Int, glm::ivec2(1, 2)));
    CHECK(Changes(graph, op.vector2Int, glm::ivec2(2, 2)));
    CHECK(Changes(graph, op.vector3Int, glm::ivec3(1, 2, 4)));
    CHECK_FALSE(Changes(graph, op.transform, glm::mat4(2.0f)));
    CHECK(Changes(graph, op.transform, glm::mat4(1.0f)));
}

TEST_CASE("Not-a-number equals itself and minus zero equals zero")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    CHECK(Changes(graph, op.number, notANumber));
    CHECK_FALSE(Changes(graph, op.number, notANumber));
    CHECK(Changes(graph, op.number, 0.0));
    CHECK_FALSE(Changes(graph, op.number, -0.0));

    CHECK(Changes(graph, op.vector2, glm::dvec2(notANumber, 0.0)));
    CHECK_FALSE(Changes(graph, op.vector2, glm::dvec2(notANumber, -0.0)));
    CHECK(Changes(graph, op.vector2, glm::dvec2(0.0, notANumber)));

    CHECK(Changes(graph, op.color, Color{notANumber, 0.0, 0.0, 1.0}));
    CHECK_FALSE(Changes(graph, op.color, Color{notANumber, 0.0, 0.0, 1.0}));

    glm::mat4 broken(0.0f);
    broken[1][2] = float(notANumber);
    CHECK(Changes(graph, op.transform, broken));
    CHECK_FALSE(Changes(graph, op.transform, broken));
}

TEST_CASE("A parameter counts as changed before the first execution and after a change, until its operator executed")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    CHECK(source.value.HasValueChanged());

    bool duringExecution = false;
    source.during = [&] { duringExecution = source.value.HasValueChanged(); };
    Run(graph);
    CHECK(duringExecution);
    CHECK_FALSE(source.value.HasValueChanged());

    source.value.SetValue(2.0);
    CHECK(source.value.HasValueChanged());
    Run(graph);
    CHECK_FALSE(source.value.HasValueChanged());

    source.MarkDirty();
    Run(graph);
    CHECK_FALSE(duringExecution);
}

TEST_CASE("Flags are set and taken back one by one")
{
    FloatParameter parameter;
    CHECK_FALSE(parameter.HasFlag(ParameterFlag::Output));
    parameter.SetParameterFlag(ParameterFlag::Output, true);
    parameter.SetParameterFlag(ParameterFlag(2048), true);
    CHECK(parameter.HasFlag(ParameterFlag::Output));
    CHECK(parameter.HasFlag(ParameterFlag::Structure));
    parameter.SetParameterFlag(ParameterFlag(1024), false);
    CHECK_FALSE(parameter.HasFlag(ParameterFlag::Output));
    CHECK(parameter.HasFlag(ParameterFlag::Structure));
}

TEST_CASE("An enum that was never set is its first name")
{
    EnumParameter choice;
    CHECK(choice.Value().empty());
    CHECK(choice.GetIndex() == -1);
    CHECK_FALSE(choice.IsResolved());

    choice.SetPossibleValues({"Over", "Add"}, {});
    CHECK(choice.Value() == "Over");
    CHECK(choice.GetIndex() == 0);
    CHECK(choice.IsResolved());
}

TEST_CASE("An enum is set by name, before or after it has names")
{
    EnumParameter before;
    before.SetValue("Add");
    CHECK(before.Value() == "Add");
    CHECK_FALSE(before.IsResolved());
    before.SetPossibleValues({"Over", "Add"}, {});
    CHECK(before.GetIndex() == 1);

    EnumParameter after;
    after.SetPossibleValues({"Over", "Add"}, {});
    after.SetValue("Add");
    CHECK(after.GetIndex() == 1);
    CHECK(after.GetIndexOr(7) == 1);
    CHECK(after.IsResolved());
}

TEST_CASE("An enum keeps a name that it does not have and stays unresolved")
{
    EnumParameter choice;
    choice.SetPossibleValues({"Over", "Add"}, {});
    choice.SetValue("over");
    CHECK(choice.Value() == "over");
    CHECK_FALSE(choice.IsResolved());
    CHECK(choice.GetIndex() == -1);
    CHECK(choice.GetIndexOr(3) == 3);

    choice.SetValue("");
    CHECK(choice.Value().empty());
    CHECK_FALSE(choice.IsResolved());
}

TEST_CASE("An enum keeps the name that was set when its names change")
{
    EnumParameter choice;
    choice.SetPossibleValues({"Over", "Add"}, {});
    choice.SetValue("Over");
    choice.SetPossibleValues({"Add", "Over"}, {});
    CHECK(choice.Value() == "Over");
    CHECK(choice.GetIndex() == 1);
}

TEST_CASE("Setting an enum to the first name that it stands at already changes nothing")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    op.choice.SetPossibleValues({"Over", "Add"}, {});
    CHECK_FALSE(Changes(graph, op.choice, "Over"));
    CHECK(Changes(graph, op.choice, "Add"));
    CHECK_FALSE(Changes(graph, op.choice, "Add"));
}

TEST_CASE("An enum forgets the value that was set and is its first name again")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "op");
    op.choice.SetPossibleValues({"One", "Two"}, {});
    op.choice.SetValue("Two");
    CHECK(op.choice.WasSet());
    Run(graph);
    op.choice.Unset();
    CHECK_FALSE(op.choice.WasSet());
    CHECK(op.choice.Value() == "One");
    CHECK(op.choice.GetIndexOr(5) == 0);
    CHECK(Run(graph) == Keys{"op"});
    op.choice.SetPossibleValues({"Zero", "One"}, {});
    CHECK(op.choice.Value() == "Zero");

    op.choice.SetValue("Zero");
    Run(graph);
    op.choice.Unset(); // the same value
    CHECK(Run(graph).empty());
    EnumParameter nameless;
    nameless.SetValue("x");
    nameless.Unset();
    CHECK(nameless.Value().empty());
}

TEST_CASE("Other names make an enum's operator outdated, the same names do not")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    op.choice.SetPossibleValues({"Over", "Add"}, {});
    Run(graph);
    op.choice.SetPossibleValues({"Over", "Add"}, {"over it", "add it"});
    CHECK(Run(graph).empty());
    op.choice.SetPossibleValues({"Add", "Over"}, {});
    CHECK(Run(graph) == Keys{"all"});
}

TEST_CASE("An enum shows labels, and leaves out labels of another number with a warning")
{
    Keys warnings;
    const LogListener listener([&](const LogLine& line) { warnings.push_back(line.text); });
    EnumParameter choice;
    choice.SetName("Type");
    choice.SetPossibleValues({"R8Unorm", "RG8Unorm"}, {"R (u8)", "RG (u8)"});
    CHECK(choice.GetLabels() == Keys{"R (u8)", "RG (u8)"});
    CHECK(warnings.empty());

    choice.SetPossibleValues({"R8Unorm", "RG8Unorm"}, {"R (u8)"});
    CHECK(choice.GetLabels().empty());
    CHECK(warnings == Keys{"The parameter \"Type\" has 2 values but 1 labels; the labels are left out."});
}

TEST_CASE("A trigger stays triggered until its operator has executed")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    Run(graph);

    bool duringExecution = false;
    op.during = [&] { duringExecution = op.trigger.IsTriggered(); };
    op.trigger.Trigger();
    CHECK(op.trigger.IsTriggered());
    CHECK(op.trigger.HasValueChanged());
    CHECK(Run(graph) == Keys{"all"});
    CHECK(duringExecution);
    CHECK_FALSE(op.trigger.IsTriggered());
    CHECK(Run(graph).empty());

    op.trigger.Trigger();
    CHECK(Run(graph) == Keys{"all"});
}

TEST_CASE("A string parameter's editor and a colour's alpha are for the editor")
{
    StringParameter text;
    CHECK(text.GetEditorType() == StringParameter::EditorType::SingleLine);
    text.SetEditorType(StringParameter::EditorType(3));
    CHECK(text.GetEditorType() == StringParameter::EditorType::FilePath);

    ColorParameter color;
    CHECK(color.IsAlphaEnabled());
    color.SetAlphaEnabled(false);
    color.SetValue(Color{1.0, 0.0, 0.0, 0.5});
    CHECK_FALSE(color.IsAlphaEnabled());
    CHECK(color.Value().a == 0.5);
}

TEST_CASE("A reference points at what its filter admits")
{
    Graph graph;
    auto& report = Add<Report>(graph, "report");
    auto& source = Add<Source>(graph, "source");
    auto& sum = Add<Sum>(graph, "sum");

    CHECK(report.target.SetValue(&source));
    CHECK(report.target.Value() == &source);
    CHECK_FALSE(report.target.SetValue(&sum));
    CHECK(report.target.Value() == &source);
    CHECK(report.target.SetValue(nullptr));
    CHECK(report.target.Value() == nullptr);
}

TEST_CASE("A reference turns null when its object is deleted, which is a change")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    auto& source = Add<Source>(graph, "source");
    op.reference.SetValue(&source);
    Run(graph);

    graph.Remove(&source);
    CHECK(op.reference.Value() == nullptr);
    CHECK(op.reference.HasValueChanged());
    CHECK(Run(graph) == Keys{"all"});
}

TEST_CASE("A reference to a parameter turns null when the parameter goes, alone or with its operator")
{
    Graph graph;
    auto& op = Add<AllKinds>(graph, "all");
    auto& shape = Add<Shape>(graph, "shape");
    op.reference.SetValue(shape.value);
    Run(graph);

    shape.type.SetValue("Vector 2"); // replaces the parameter
    CHECK(op.reference.Value() == nullptr);
    CHECK(Run(graph) == Keys{"all", "shape"});

    op.reference.SetValue(shape.value);
    graph.Remove(&shape);
    CHECK(op.reference.Value() == nullptr);
    CHECK(op.reference.HasValueChanged());
}

TEST_CASE("Many references may point at one object, and end before it or with it")
{
    Graph graph;
    auto& source = Add<Source>(graph, "source");
    auto& first = Add<AllKinds>(graph, "first");
    auto& second = Add<AllKinds>(graph, "second");
    auto& third = Add<AllKinds>(graph, "third");
    first.reference.SetValue(&source);
    second.reference.SetValue(&source);
    third.reference.SetValue(&source);
    source.during = {};

    graph.Remove(&second);
    graph.Remove(&source);
    CHECK(first.reference.Value() == nullptr);
    CHECK(third.reference.Value() == nullptr);
}

TEST_CASE("An operator may refer to itself and to its own parts when it is deleted")
{
    Graph graph;
    auto& self = Add<AllKinds>(graph, "self");
    self.reference.SetValue(&self);
    auto& part = Add<AllKinds>(graph, "part");
    part.reference.SetValue(&part.number);
    graph.Remove(&self);
    graph.Remove(&part);
    CHECK(graph.GetOperators().empty());
}
