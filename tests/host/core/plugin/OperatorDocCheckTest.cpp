#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/TypeLibrary.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

using namespace Varkle;

namespace
{

class MeshIn final : public DataInput
{
public:
    using DataInput::DataInput;
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.MeshIn", Object::Type(), [] { return new MeshIn; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Mesh"; }
};

class MeshOut final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    const ObjectType* GetInputType() const override { return MeshIn::Type(); }
    std::string_view GetDataTypeName() const override { return "Mesh"; }

private:
    void ClearData() override {}
};

class Scatter final : public Operator
{
public:
    Scatter()
    {
        mode.SetPossibleValues({"Even", "Random"}, {"Evenly", "At Random"});
        count.SetParameterFlag(ParameterFlag::Output, true);
    }
    void Execute(ExecutionContext&) override {}

    void AddBundle() { bundles.CreateBundle("", "one"); }
    void MakeStructured()
    {
        mode.SetParameterFlag(ParameterFlag::Structure, true);
        auto value = std::make_unique<Vector3Parameter>();
        value->SetName("Max");
        AddParameter(std::move(value));
        auto seed = std::make_unique<IntParameter>();
        seed->SetName("Seed");
        AddParameter(std::move(seed));
    }

private:
    MeshIn ground{this, "Ground"};
    DataInputList stones{this, "Stones", MeshIn::Type(), {}};
    MeshOut result{this, "Result"};
    EnumParameter mode{ParameterScope(this), "Mode"};
    FloatParameter size{ParameterScope(this), "Size", 1.0};
    IntParameter count{ParameterScope(this), "Count", 0};
    ParameterBundleList bundles{this,
                                "Weights",
                                {[this](ParameterBundle& bundle)
                                 { weight = std::make_unique<FloatParameter>(ParameterScope(bundle), "Weight", 1.0); },
                                 [this](ParameterBundle&) { weight.reset(); },
                                 {}}};
    std::unique_ptr<FloatParameter> weight; // goes before its bundle
};

// The document that fits, in parts that the tests exchange. Line numbers stand behind the lines.
struct Document
{
    std::string outputs = "outputs:\n"                                        // 4
                          "  Result: {type: Mesh}\n";                         // 5
    std::string inputs = "inputs:\n"                                          // 6
                         "  Ground: {type: Mesh}\n"                           // 7
                         "  Stones: {type: Mesh}\n";                          // 8
    std::string parameters = "parameters:\n"                                  // 9
                             "  Mode: {type: Enum, values: [Even, Random]}\n" // 10
                             "  Size: {type: Float}\n"                        // 11
                             "  Count: {type: Int, output: true}\n";          // 12
    std::string bundles = "  Weights:\n"                                      // 13
                          "    summary: S.\n"                                 // 14
                          "    parameters:\n"                                 // 15
                          "      Weight: {type: Float}\n";                    // 16
};

using Lines = std::vector<std::string>;

// Compares the document with the operator. Returns what is logged; Lines{"agrees"} when that is nothing.
Lines Check(const Document& document, const Operator& op)
{
    const OperatorInfo info = ParseOperatorDoc(nullptr, "D.md",
                                               "---\ntype: x\nsummary: S.\n" + document.outputs + document.inputs +
                                                   document.parameters + document.bundles + "---\n");
    const LogRecorder log;
    const bool agrees = CheckOperatorDoc(info, op);
    CHECK(agrees == log.lines.empty());
    return agrees ? Lines{"agrees"} : log.lines;
}

} // namespace

TEST_CASE("A document that fits its operator agrees with it")
{
    Scatter op;
    CHECK(Check({}, op) == Lines{"agrees"});
    op.AddBundle();
    CHECK(Check({}, op) == Lines{"agrees"});
}

TEST_CASE("A document without any entries is not compared with its operator")
{
    CHECK(Check({"", "", "", ""}, Scatter()) == Lines{"agrees"});
}

TEST_CASE("Enum values may be documented as they are shown")
{
    Document document;
    document.parameters = "parameters:\n  Mode: {type: Enum, values: [Evenly, At Random]}\n  Size: {type: Float}\n"
                          "  Count: {type: Int, output: true}\n";
    CHECK(Check(document, Scatter()) == Lines{"agrees"});
}

TEST_CASE("What the document lacks is reported with the line behind which it belongs")
{
    Document document;
    document.parameters = "parameters:\n  Mode: {type: Enum, values: [Even, Random]}\n"
                          "  Count: {type: Int, output: true}\n";
    CHECK(Check(document, Scatter()) ==
          Lines{"warning: D.md:10: the operator's parameter \"Size\" is not documented."});

    CHECK(Check({"", "", Document().parameters, Document().bundles}, Scatter()) ==
          Lines{"warning: D.md:1: the operator's output \"Result\" is not documented.",
                "warning: D.md:1: the operator's input \"Ground\" is not documented.",
                "warning: D.md:1: the operator's input \"Stones\" is not documented."});
    CHECK(Check({Document().outputs, Document().inputs, Document().parameters, ""}, Scatter()) ==
          Lines{"warning: D.md:1: the operator's bundle list \"Weights\" is not documented."});
}

TEST_CASE("What the operator lacks is reported with its line")
{
    Document document;
    document.outputs += "  Rest: {type: Mesh}\n";                        // 6
    document.inputs += "  Sky: {type: Mesh}\n";                          // 10
    document.parameters += "  Sizes: {type: Float}\n";                   // 15
    document.bundles += "  Heights: {parameters: {A: {type: Float}}}\n"; // 20
    CHECK(Check(document, Scatter()) == Lines{"warning: D.md:6: the operator has no output \"Rest\".",
                                              "warning: D.md:10: the operator has no input \"Sky\".",
                                              "warning: D.md:15: the operator has no parameter \"Sizes\".",
                                              "warning: D.md:20: the operator has no bundle list \"Heights\"."});
}

TEST_CASE("Types that differ between document and operator are reported")
{
    Document document;
    document.outputs = "outputs:\n  Result: {type: Model}\n";
    document.inputs = "inputs:\n  Ground: {type: Mesh}\n  Stones: {type: Texture}\n";
    document.parameters = "parameters:\n  Mode: {type: String}\n  Size: {type: \"[Type]\"}\n"
                          "  Count: {type: Int, output: true}\n";
    CHECK(Check(document, Scatter()) ==
          Lines{"warning: D.md:5: output \"Result\": the type is \"Model\" here, \"Mesh\" in the operator.",
                "warning: D.md:8: input \"Stones\": the type is \"Texture\" here, \"Mesh\" in the operator.",
                "warning: D.md:10: parameter \"Mode\": the type is \"String\" here, \"Enum\" in the operator.",
                "warning: D.md:10: parameter \"Mode\": the values are [] here, [Even, Random] in the operator.",
                "warning: D.md:11: parameter \"Size\": the type is \"[Type]\" here, \"Float\" in the operator."});
}

TEST_CASE("A parameter that is documented as a bundle list is reported, and the other way round")
{
    Document document;
    document.parameters = "parameters:\n  Mode: {type: Enum, values: [Even, Random]}\n  Size: {parameters: {}}\n"
                          "  Count: {type: Int, output: true}\n";
    document.bundles = "  Weights: {type: Float}\n";
    CHECK(Check(document, Scatter()) ==
          Lines{"warning: D.md:13: the operator has no parameter \"Weights\".",
                "warning: D.md:10: the operator's parameter \"Size\" is not documented.",
                "warning: D.md:11: the operator has no bundle list \"Size\".",
                "warning: D.md:1: the operator's bundle list \"Weights\" is not documented."});
}

TEST_CASE("Enum values that differ in names or order are reported")
{
    for (const std::string values : {"Even, Randomly", "Random, Even", "Even"})
    {
        Document document;
        document.parameters = "parameters:\n  Mode: {type: Enum, values: [" + values +
                              "]}\n  Size: {type: Float}\n  Count: {type: Int, output: true}\n";
        CHECK(Check(document, Scatter()) == Lines{"warning: D.md:10: parameter \"Mode\": the values are [" + values +
                                                  "] here, [Even, Random] in the operator."});
    }
}

TEST_CASE("Who writes a parameter is compared")
{
    Document document;
    document.parameters =
        "parameters:\n  Mode: {type: Enum, values: [Even, Random]}\n  Size: {type: Float, output: true}\n"
        "  Count: {type: Int}\n";
    CHECK(Check(document, Scatter()) ==
          Lines{"warning: D.md:11: parameter \"Size\": the operator does not write it, in spite of \"output: true\".",
                "warning: D.md:12: parameter \"Count\": the operator writes it, so it needs \"output: true\"."});
}

TEST_CASE("The order of document and operator is compared, list by list")
{
    Document document;
    document.inputs = "inputs:\n  Stones: {type: Mesh}\n  Ground: {type: Mesh}\n";
    document.parameters = "parameters:\n  Count: {type: Int, output: true}\n"
                          "  Mode: {type: Enum, values: [Even, Random]}\n  Size: {type: Float}\n";
    CHECK(Check(document, Scatter()) ==
          Lines{"warning: D.md:7: input \"Stones\" stands here in the place of \"Ground\".",
                "warning: D.md:10: parameter \"Count\" stands here in the place of \"Mode\"."});
}

TEST_CASE("What a bundle holds is compared as soon as there is a bundle")
{
    Document document;
    document.bundles = "  Weights:\n    parameters:\n      Wait: {type: Float}\n";
    Scatter op;
    CHECK(Check(document, op) == Lines{"agrees"});
    op.AddBundle();
    CHECK(Check(document, op) ==
          Lines{"warning: D.md:15: the operator has no bundle parameter \"Wait\".",
                "warning: D.md:1: the operator's bundle parameter \"Weight\" is not documented."});
}

TEST_CASE("Parameters that come and go may be absent, and may be of a type that follows another parameter")
{
    Scatter op;
    op.MakeStructured();
    Document document;
    document.parameters += "  Value: {type: \"[Type]\"}\n"
                           "  Seed: {type: Int}\n" // the operator has it behind "Max"
                           "  Max: {type: \"[Type]\"}\n"
                           "  Mean: {type: Float}\n";
    CHECK(Check(document, op) == Lines{"agrees"});
}

TEST_CASE("Parameters that come and go must be documented while they are there, with the type that they have")
{
    Scatter op;
    op.MakeStructured();
    Document document;
    document.parameters += "  Max: {type: Float}\n"; // 13
    CHECK(Check(document, op) ==
          Lines{"warning: D.md:13: parameter \"Max\": the type is \"Float\" here, \"Vector 3\" in the operator.",
                "warning: D.md:13: the operator's parameter \"Seed\" is not documented."});
}
