#include "value/ParameterValue.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Document/JsonLayout.h"
#include "document/DocumentOperators.h"
#include "support/Catch.h"

#include <array>
#include <cmath>
#include <limits>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// Reads a value and returns what is wrong with it, a line "line:column message" for each fault; "" when it is fine.
std::string ErrorsOf(ParameterType type, std::string_view text)
{
    const JsonDocument json = ParseJson(text);
    REQUIRE(json.root);
    std::string lines;
    const auto value =
        ReadParameterValue(type, *json.root,
                           [&](SourcePosition at, const std::string& message)
                           {
                               lines += lines.empty() ? "" : "\n";
                               lines += std::to_string(at.line) + ":" + std::to_string(at.column) + " " + message;
                           });
    CHECK(value.has_value() == lines.empty());
    return lines;
}

ParameterValue Read(ParameterType type, std::string_view text)
{
    const JsonDocument json = ParseJson(text);
    REQUIRE(json.root);
    const auto value =
        ReadParameterValue(type, *json.root, [](SourcePosition, const std::string& message) { FAIL(message); });
    REQUIRE(value);
    return *value;
}

// Reads a value, sets a parameter to what it is at a frame and returns that as a document writes it.
template<class P>
std::string Set(P& parameter, std::string_view text, double frame = 0)
{
    const ParameterValue value = Read(parameter.GetParameterType(), text);
    const Graph graph;
    if (IsText(value.type))
        REQUIRE(ApplyText(value, parameter, "/folder", graph).empty());
    else
        ApplyNumbers(EvaluateNumbers(value, {frame / 25, frame, 25}), parameter);
    std::string written = LayOutJson(WriteParameterValue(parameter));
    written.pop_back();
    return written;
}

template<class P>
std::string Set(std::string_view text, double frame = 0)
{
    P parameter;
    return Set(parameter, text, frame);
}

// The matrix that a document's text gives, column by column.
std::array<double, 16> Matrix(std::string_view text)
{
    Transform3DParameter parameter;
    Set(parameter, text);
    std::array<double, 16> numbers{};
    for (int i = 0; i < 16; ++i)
        numbers[std::size_t(i)] = double(parameter.Value()[i / 4][i % 4]);
    return numbers;
}

using Numbers = std::array<double, 16>;

} // namespace

TEST_CASE("A Float takes a number or an expression")
{
    CHECK(Set<FloatParameter>("0.1") == "0.1");
    CHECK(Set<FloatParameter>("-3") == "-3");
    CHECK(Set<FloatParameter>("\"8 + 2 * time\"", 50) == "12"); // time is 2
    CHECK(Set<FloatParameter>("\"frame * fps\"", 2) == "50");
    CHECK(ErrorsOf(ParameterType::Float, " true") == "1:2 takes a number or an expression, not true or false");
    CHECK(ErrorsOf(ParameterType::Float, "null") == "1:1 takes a number or an expression, not null");
    CHECK(ErrorsOf(ParameterType::Float, "[1]") == "1:1 takes a number or an expression, not an array");
    CHECK(ErrorsOf(ParameterType::Float, "{}") == "1:1 takes a number or an expression, not an object");
}

TEST_CASE("An expression that can't be read is an error that says where and why")
{
    CHECK(ErrorsOf(ParameterType::Float, "\"8 + tme\"") == "1:1 has an expression that can't be read, at its character "
                                                           "5: there is no \"tme\" in expressions (did you mean "
                                                           "\"time\"?)");
    CHECK(ErrorsOf(ParameterType::Int, "\"\"") ==
          "1:1 has an expression that can't be read, at its character 1: the expression is empty");
    CHECK(ErrorsOf(ParameterType::Bool, "\"1 +\"") == "1:1 has an expression that can't be read, at its character 4: "
                                                      "the expression ends where a value is expected");
    CHECK_FALSE(ErrorsOf(ParameterType::Vector2, R"(["(", 1])").empty());
    CHECK_FALSE(ErrorsOf(ParameterType::Trigger, "\"yes\"").empty());
}

TEST_CASE("An Int takes a number or an expression and rounds halves away from zero")
{
    CHECK(Set<IntParameter>("12") == "12");
    CHECK(Set<IntParameter>("\"2.5\"") == "3");
    CHECK(Set<IntParameter>("\"-2.5\"") == "-3");
    CHECK(Set<IntParameter>("\"3.5\"") == "4");
    CHECK(Set<IntParameter>("2.49") == "2");
    CHECK(Set<IntParameter>("-0.5") == "-1");
    CHECK(Set<IntParameter>("0.49999999999999994") == "0"); // the largest number below a half
    CHECK(Set<Vector2IntParameter>(R"(["0.5", -1.5])") == "[1, -2]");
    CHECK(Set<Vector3IntParameter>(R"(["frame / 2", 1, 2])", 3) == "[2, 1, 2]");
}

TEST_CASE("An Int beyond its range becomes the nearest that it can hold, and what is no number becomes 0")
{
    CHECK(Set<IntParameter>("1e30") == "9223372036854775807");
    CHECK(Set<IntParameter>("-1e30") == "-9223372036854775808");
    CHECK(Set<IntParameter>("\"1/0\"") == "9223372036854775807");
    CHECK(Set<IntParameter>("\"sqrt(-1)\"") == "0");
    CHECK(Set<Vector2IntParameter>("[3e9, -3e9]") == "[2147483647, -2147483648]");
    CHECK(Set<Vector2IntParameter>("[2147483646.5, -2147483648]") == "[2147483647, -2147483648]");
}

TEST_CASE("A Bool takes true, false or an expression that is not 0")
{
    CHECK(Set<BoolParameter>("true") == "true");
    CHECK(Set<BoolParameter>("false") == "false");
    CHECK(Set<BoolParameter>("\"mod(frame, 2)\"", 3) == "true");
    CHECK(Set<BoolParameter>("\"mod(frame, 2)\"", 4) == "false");
    CHECK(Set<BoolParameter>("\"-0.1\"") == "true");
    CHECK(ErrorsOf(ParameterType::Bool, "1") == "1:1 takes true, false or an expression, not a number");
    CHECK(ErrorsOf(ParameterType::Bool, "[true]") == "1:1 takes true, false or an expression, not an array");
}

TEST_CASE("An Enum takes a name, known or not")
{
    EnumParameter parameter;
    parameter.SetPossibleValues({"Soft Light", "Hard Light"}, {});
    CHECK(Set(parameter, "\"Hard Light\"") == "\"Hard Light\"");
    CHECK(parameter.IsResolved());
    CHECK(Set(parameter, "\"Harsh Light\"") == "\"Harsh Light\"");
    CHECK_FALSE(parameter.IsResolved());
    CHECK(ErrorsOf(ParameterType::Enum, "1") == "1:1 takes one of its names as a string, not a number");
    CHECK(ErrorsOf(ParameterType::Enum, "null") == "1:1 takes one of its names as a string, not null");
}

TEST_CASE("A String is taken as it is")
{
    CHECK(Set<StringParameter>("\"8 + time\"") == "\"8 + time\"");
    CHECK(Set<StringParameter>("\" ü\\n\"") == "\" ü\\n\"");
    CHECK(Set<StringParameter>("\"a/../b.txt\"") == "\"a/../b.txt\""); // no path
    CHECK(ErrorsOf(ParameterType::String, "12") == "1:1 takes a string, not a number");
    CHECK(ErrorsOf(ParameterType::String, "null") == "1:1 takes a string, not null");
}

TEST_CASE("A String that is a file or a folder is relative to the document's folder")
{
    for (const auto editor : {StringParameter::EditorType::FilePath, StringParameter::EditorType::Folder})
    {
        StringParameter parameter;
        parameter.SetEditorType(editor);
        CHECK(Set(parameter, "\"a.png\"") == "\"/folder/a.png\"");
        CHECK(Set(parameter, "\"../x/./a.png\"") == "\"/x/a.png\"");
        CHECK(Set(parameter, "\"/abs/../a.png\"") == "\"/abs/../a.png\"");
        CHECK(Set(parameter, "\"\"") == "\"\"");
    }
}

TEST_CASE("A Color takes three or four components or hexadecimal digits")
{
    CHECK(Set<ColorParameter>("[1, 0.5, 0]") == "[1, 0.5, 0, 1]");
    CHECK(Set<ColorParameter>("[1, 0.5, 0, 0.25]") == "[1, 0.5, 0, 0.25]");
    CHECK(Set<ColorParameter>(R"(["time", 2, -1])", 25) == "[1, 2, -1, 1]");
    CHECK(Set<ColorParameter>("\"#ff0033\"") == "[1, 0, 0.2, 1]"); // 0x33 is 51 of 255
    CHECK(Set<ColorParameter>("\"#FF003366\"") == "[1, 0, 0.2, 0.4]");
    CHECK(ErrorsOf(ParameterType::Color, "[1, 2]") ==
          "1:1 takes an array of 3 or 4 numbers or a string \"#rrggbb\" or \"#rrggbbaa\", not an array of 2");
    CHECK(ErrorsOf(ParameterType::Color, "[1, 2, 3, 4, 5]") ==
          "1:1 takes an array of 3 or 4 numbers or a string \"#rrggbb\" or \"#rrggbbaa\", not an array of 5");
    CHECK(ErrorsOf(ParameterType::Color, "1") ==
          "1:1 takes an array of 3 or 4 numbers or a string \"#rrggbb\" or \"#rrggbbaa\", not a number");
    for (const char* text : {"\"\"", "\"#\"", "\"#fff\"", "\"#ff00330\"", "\"#ff0033666\"", "\"ff0033f\"",
                             "\"#gg0033\"", "\"#ü0033\"", "\"red\"", "\" #ff0033\"", "\"#+f-f0f\""})
    {
        INFO(text);
        CHECK(ErrorsOf(ParameterType::Color, text) ==
              std::string("1:1 takes a color as \"#rrggbb\" or \"#rrggbbaa\", not ") + text);
    }
}

TEST_CASE("A vector takes an array of as many components, each a number or an expression")
{
    CHECK(Set<Vector2Parameter>("[0.1, 2]") == "[0.1, 2]");
    CHECK(Set<Vector3Parameter>(R"([1, "1 + 1", "frame"])", 3) == "[1, 2, 3]");
    CHECK(Set<Vector4Parameter>("[1, 2, 3, 4.5]") == "[1, 2, 3, 4.5]");
    CHECK(Set<Vector2IntParameter>("[1280, 720]") == "[1280, 720]");
    CHECK(Set<Vector3IntParameter>("[1, 2, 3]") == "[1, 2, 3]");
    CHECK(ErrorsOf(ParameterType::Vector2, "[1, 2, 3]") == "1:1 takes an array of 2 numbers, not an array of 3");
    CHECK(ErrorsOf(ParameterType::Vector3, "[1, 2]") == "1:1 takes an array of 3 numbers, not an array of 2");
    CHECK(ErrorsOf(ParameterType::Vector4, "[]") == "1:1 takes an array of 4 numbers, not an array of 0");
    CHECK(ErrorsOf(ParameterType::Vector2Int, "5") == "1:1 takes an array of 2 numbers, not a number");
    CHECK(ErrorsOf(ParameterType::Vector3Int, "\"1\"") == "1:1 takes an array of 3 numbers, not a string");
}

TEST_CASE("Every wrong component of a vector is reported where it stands")
{
    CHECK(ErrorsOf(ParameterType::Vector3, "[true,\n 1, [2]]") ==
          "1:2 takes a number or an expression as a component, not true or false\n"
          "2:5 takes a number or an expression as a component, not an array");
}

TEST_CASE("A transform takes 16 numbers, column by column")
{
    CHECK(Matrix(R"([1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, "5 * 3", 16])") ==
          Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    CHECK(Set<Transform3DParameter>("[1, 0.1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1]") ==
          "[1, 0.1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1]");
}

TEST_CASE("A transform takes translate, rotate and scale, each optional")
{
    CHECK(Matrix("{}") == Numbers{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    CHECK(Matrix(R"({ "translate": [1, 2, "1 + 2"] })") == Numbers{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 1, 2, 3, 1});
    CHECK(Matrix(R"({ "scale": [2, 3, 4] })") == Numbers{2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1});
}

TEST_CASE("A transform's rotations turn counter-clockwise by degrees, quarter turns exactly")
{
    // Around x: y goes to z, z to -y.
    CHECK(Matrix(R"({ "rotate": [90, 0, 0] })") == Numbers{1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1});
    // Around y: z goes to x, x to -z.
    CHECK(Matrix(R"({ "rotate": [0, 90, 0] })") == Numbers{0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1});
    // Around z: x goes to y, y to -x.
    CHECK(Matrix(R"({ "rotate": [0, 0, 90] })") == Numbers{0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    CHECK(Matrix(R"({ "rotate": [0, 0, 180] })") == Numbers{-1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
    CHECK(Matrix(R"({ "rotate": [0, 0, -90] })") == Matrix(R"({ "rotate": [360, 720, 3510] })"));
    CHECK(Matrix(R"({ "rotate": [0, 0, -180] })") == Matrix(R"({ "rotate": [0, 0, 540] })"));

    const Numbers thirty = Matrix(R"({ "rotate": [0, 0, 30] })");
    CHECK(thirty[0] == Approx(0.8660254));
    CHECK(thirty[1] == Approx(0.5));
    CHECK(thirty[4] == Approx(-0.5));
    CHECK(thirty[5] == Approx(0.8660254));
}

TEST_CASE("A transform scales first, then rotates around x, y and z, and translates last")
{
    // x: 2 along x; around x stays; around y to -z; around z stays: (0, 0, -2).
    // y: 3 along y; around x to z; around y to x; around z to y: (0, 3, 0).
    // z: 4 along z; around x to -y; around y stays; around z to x: (4, 0, 0).
    CHECK(Matrix(R"({ "scale": [2, 3, 4], "rotate": [90, 90, 90], "translate": [10, 20, 30] })") ==
          Numbers{0, 0, -2, 0, 0, 3, 0, 0, 4, 0, 0, 0, 10, 20, 30, 1});
    // x: 2 along x, to y by z. y: 3 along y, to z by x. z: 4 along z, to -y by x, to x by z.
    CHECK(Matrix(R"({ "scale": [2, 3, 4], "rotate": [90, 0, 90] })") ==
          Numbers{0, 2, 0, 0, 0, 0, 3, 0, 4, 0, 0, 0, 0, 0, 0, 1});
}

TEST_CASE("A transform of another form is an error")
{
    CHECK(ErrorsOf(ParameterType::Transform3D, "[1, 2]") ==
          "1:1 takes 16 numbers or an object with \"translate\", \"rotate\" and \"scale\", not an array of 2");
    CHECK(ErrorsOf(ParameterType::Transform3D, "\"x\"") ==
          "1:1 takes 16 numbers or an object with \"translate\", \"rotate\" and \"scale\", not a string");
    CHECK(ErrorsOf(ParameterType::Transform3D, "{ \"rotat\": [1, 2, 3],\n\"scale\": 2, \"translate\": [1, 2] }") ==
          "1:3 takes the members \"translate\", \"rotate\" and \"scale\", not \"rotat\" (did you mean \"rotate\"?)\n"
          "2:10 takes an array of 3 numbers, not a number\n"
          "2:26 takes an array of 3 numbers, not an array of 2");
}

TEST_CASE("A Trigger fires for true and for an expression that is not 0")
{
    CHECK(Set<TriggerParameter>("true") == "true");
    CHECK(Set<TriggerParameter>("false") == "false");
    CHECK(Set<TriggerParameter>("\"frame == 3\"", 3) == "true");
    CHECK(Set<TriggerParameter>("\"frame == 3\"", 4) == "false");
    CHECK(ErrorsOf(ParameterType::Trigger, "1") == "1:1 takes true or an expression, not a number");
    CHECK(Read(ParameterType::Trigger, "\"1\"").IsAnimated()); // fires anew on every frame
    CHECK_FALSE(Read(ParameterType::Trigger, "true").IsAnimated());
}

TEST_CASE("Only a value with an expression of the time is animated")
{
    CHECK_FALSE(Read(ParameterType::Float, "1").IsAnimated());
    CHECK_FALSE(Read(ParameterType::Float, "\"2 * pi\"").IsAnimated());
    CHECK(Read(ParameterType::Float, "\"2 * time\"").IsAnimated());
    CHECK(Read(ParameterType::Vector2, R"([1, "frame"])").IsAnimated());
    CHECK(Read(ParameterType::Transform3D, R"({ "rotate": [0, "fps", 0] })").IsAnimated());
    CHECK_FALSE(Read(ParameterType::String, "\"time\"").IsAnimated());
}

TEST_CASE("A Reference takes the key of an operator or null")
{
    Graph graph;
    auto& report = static_cast<Report&>(*graph.Add(Report::Type(), "report"));
    Operator* const sink = graph.Add(Sink::Type(), "sink");
    const auto apply = [&](const char* text)
    { return ApplyText(Read(ParameterType::Reference, text), report.target, "/folder", graph); };

    CHECK(apply("\"sink\"").empty());
    CHECK(report.target.Value() == sink);
    CHECK(apply("\"snik\"") == "refers to \"snik\", but there is no such operator");
    CHECK(apply("\"report\"") == "can't refer to the operator \"report\", which is a Test.Report");
    CHECK(report.target.Value() == sink);
    CHECK(LayOutJson(WriteParameterValue(report.target)) == "\"sink\"\n");
    CHECK(apply("null").empty());
    CHECK(report.target.Value() == nullptr);
    CHECK(LayOutJson(WriteParameterValue(report.target)) == "null\n");
    CHECK(ErrorsOf(ParameterType::Reference, "1") == "1:1 takes the key of an operator or null, not a number");
    CHECK(ErrorsOf(ParameterType::Reference, "\"\"") ==
          "1:1 takes the key of an operator or null, not an empty string");
}

TEST_CASE("A reference to something other than an operator has no name in a document")
{
    Graph graph;
    auto& everything = static_cast<Everything&>(*graph.Add(Everything::Type()));
    REQUIRE(everything.reference.SetValue(&everything.number));
    CHECK(LayOutJson(WriteParameterValue(everything.reference)) == "null\n");
}

TEST_CASE("Numbers that JSON does not have are written as expressions that give them again")
{
    for (const char* text : {"\"1/0\"", "\"-1/0\"", "\"0/0\""})
        CHECK(Set<FloatParameter>(text) == text);
    CHECK(Set<Vector2Parameter>(R"([1, "-1/0"])") == R"([1, "-1/0"])");
    CHECK(Set<ColorParameter>(R"(["0/0", 0, 0])") == R"(["0/0", 0, 0, 1])");
    CHECK(Set<Transform3DParameter>(R"({ "translate": ["1/0", 0, 0] })") ==
          R"([1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, "1/0", 0, 0, 1])");
}

TEST_CASE("A value whose type follows another parameter is a number, an expression or two to four of them")
{
    const auto errors = [](std::string_view text)
    {
        const JsonDocument json = ParseJson(text);
        std::string messages;
        CheckValueOfOpenType(*json.root, [&](SourcePosition, const std::string& message) { messages += message; });
        return messages;
    };
    CHECK(errors("1").empty());
    CHECK(errors("\"time\"").empty());
    CHECK(errors("[1, 2]").empty());
    CHECK(errors(R"([1, 2, 3, "4"])").empty());
    CHECK(errors("true") == "takes a number, an expression or an array of them, not true or false");
    CHECK(errors("[1]") == "takes an array of 2 to 4 numbers, not an array of 1");
    CHECK(errors("[1, 2, 3, 4, 5]") == "takes an array of 2 to 4 numbers, not an array of 5");
    CHECK(errors("[1, null]") == "takes a number or an expression as a component, not null");
    CHECK_FALSE(errors("\"tme\"").empty());
}

TEST_CASE("Every parameter type is found by the word of operator documents")
{
    CHECK(FindParameterType("Float") == ParameterType::Float);
    CHECK(FindParameterType("Vector 2 Int") == ParameterType::Vector2Int);
    CHECK(FindParameterType("Transform 3D") == ParameterType::Transform3D);
    for (int i = 0; i <= int(ParameterType::Reference); ++i)
        CHECK(FindParameterType(GetParameterTypeName(ParameterType(i))) == ParameterType(i));
    CHECK_FALSE(FindParameterType("[Type]"));
    CHECK_FALSE(FindParameterType("float"));
    CHECK_FALSE(FindParameterType(""));
}
