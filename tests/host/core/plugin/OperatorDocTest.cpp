#include "Varkle/Core/TypeLibrary.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"

using namespace Varkle;

namespace
{

const ObjectType blurType("Test.Texture.Blur", nullptr, {});

constexpr const char* blurPath = "Docs/Operators/Texture/Blur.md";

constexpr const char* blurDocument = R"(---
type: Test.Texture.Blur
summary: Softens a texture.
tags: [soften, heat map, glow]
outputs:
  Texture Output:
    type: Texture
    description: The soft picture.
inputs:
  Texture Input:
    type: Texture
    description: The sharp picture.
parameters:
  Quality:
    type: Enum
    values: [Draft, "0", Very Fine]
    description: >
      How many samples
      are taken.
  Radius:
    type: Float
    description: "How far: in pixels."
  Measured:
    type: Vector 2 Int
    output: true
    description: What was done.
---

# Blur

See [Sharpen](op:Texture/Sharpen).
)";

// Parses a document whose front matter holds type and summary in lines 2 and 3, and `lines` from line 4 on.
OperatorInfo Parse(const std::string& lines)
{
    return ParseOperatorDoc(&blurType, "Blur.md", "---\ntype: Test.Texture.Blur\nsummary: S.\n" + lines + "---\n");
}

// Parses such a document and returns what is logged.
std::vector<std::string> Warnings(const std::string& lines)
{
    const LogRecorder log;
    Parse(lines);
    return log.lines;
}

std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

using Lines = std::vector<std::string>;

} // namespace

TEST_CASE("An operator document is read into its record without a warning")
{
    const LogRecorder log;
    const OperatorInfo info = ParseOperatorDoc(&blurType, blurPath, blurDocument);
    CHECK(log.lines.empty());
    CHECK(info.type == &blurType);
    CHECK(info.category == "Texture");
    CHECK(info.name == "Blur");
    CHECK(info.summary == "Softens a texture.");
    CHECK(info.tags == Lines{"soften", "heat map", "glow"});
    CHECK(info.documentPath == blurPath);
    CHECK(info.body == "\n# Blur\n\nSee [Sharpen](op:Texture/Sharpen).\n");

    REQUIRE(info.outputs.size() == 1);
    CHECK(info.outputs[0].name == "Texture Output");
    CHECK(info.outputs[0].type == "Texture");
    CHECK(info.outputs[0].description == "The soft picture.");
    CHECK(info.outputs[0].marks.line == 6);
    REQUIRE(info.inputs.size() == 1);
    CHECK(info.inputs[0].name == "Texture Input");
    CHECK(info.inputs[0].marks.line == 10);

    REQUIRE(info.parameters.size() == 3);
    CHECK(info.parameters[0].name == "Quality");
    CHECK(info.parameters[0].type == "Enum");
    CHECK(info.parameters[0].values == Lines{"Draft", "0", "Very Fine"});
    CHECK(info.parameters[0].description == "How many samples are taken.\n");
    CHECK(info.parameters[0].marks.line == 14);
    CHECK(info.parameters[0].marks.output == 0);
    CHECK(info.parameters[1].name == "Radius");
    CHECK(info.parameters[1].description == "How far: in pixels.");
    CHECK(info.parameters[1].values.empty());
    CHECK(info.parameters[2].name == "Measured");
    CHECK(info.parameters[2].type == "Vector 2 Int");
    CHECK(info.parameters[2].marks.output == 1);
}

TEST_CASE("An operator document with Windows line ends and a byte order mark reads the same")
{
    const LogRecorder log;
    const OperatorInfo unix = ParseOperatorDoc(&blurType, blurPath, blurDocument);
    const OperatorInfo windows =
        ParseOperatorDoc(&blurType, blurPath, "\xEF\xBB\xBF" + Replaced(blurDocument, "\n", "\r\n"));
    CHECK(log.lines.empty());
    CHECK(windows.summary == unix.summary);
    CHECK(windows.tags == unix.tags);
    REQUIRE(windows.parameters.size() == 3);
    CHECK(windows.parameters[0].description == unix.parameters[0].description);
    CHECK(windows.parameters[2].name == "Measured");
    CHECK(windows.parameters[2].marks.line == unix.parameters[2].marks.line);
    CHECK(windows.body == Replaced(unix.body, "\n", "\r\n")); // the Markdown is kept as it stands
}

TEST_CASE("An operator document keeps text beyond ASCII")
{
    const OperatorInfo info = Parse("parameters:\n  Größe:\n    type: Float\n    description: 10 µm → 1 px.\n");
    REQUIRE(info.parameters.size() == 1);
    CHECK(info.parameters[0].name == "Größe");
    CHECK(info.parameters[0].description == "10 µm → 1 px.");
}

TEST_CASE("An operator's name and category come from the path of its document")
{
    const auto parse = [](std::string_view path) { return ParseOperatorDoc(nullptr, path, ""); };
    CHECK(parse("Docs/Operators/IO/System/Window Info.md").category == "IO/System");
    CHECK(parse("Docs/Operators/IO/System/Window Info.md").name == "Window Info");
    CHECK(parse("Docs/Operators/Window.md").category.empty());
    CHECK(parse("Docs/Operators/Window.md").name == "Window");
    CHECK(parse("Elsewhere/Window").category == "Elsewhere");
    CHECK(parse("Elsewhere/Window").name == "Window");
    CHECK(parse("").name.empty());
}

TEST_CASE("An empty operator document gives a record without entries and no warning")
{
    const LogRecorder log;
    for (const char* text : {"", "\xEF\xBB\xBF"})
    {
        const OperatorInfo info = ParseOperatorDoc(&blurType, blurPath, text);
        CHECK(info.type == &blurType);
        CHECK(info.name == "Blur");
        CHECK(info.summary.empty());
        CHECK(info.parameters.empty());
        CHECK(info.body.empty());
    }
    CHECK(log.lines.empty());
}

TEST_CASE("An operator document without front matter is all body, with a warning")
{
    for (const std::string text : {"# Blur\n", "\n---\ntype: x\n---\n", "--- \ntype: x\n---\n", "----\n---\n"})
    {
        INFO(text);
        const LogRecorder log;
        CHECK(ParseOperatorDoc(&blurType, blurPath, text).body == text);
        CHECK(log.lines == Lines{"warning: Docs/Operators/Texture/Blur.md:1: the document does not begin with front "
                                 "matter, that is with a line \"---\"."});
    }
}

TEST_CASE("An operator document whose front matter is not closed is all body, with a warning")
{
    for (const std::string text : {"---", "---\n", "---\ntype: x\n", "---\ntype: x\n --- \n"})
    {
        INFO(text);
        const LogRecorder log;
        CHECK(ParseOperatorDoc(&blurType, blurPath, text).body == text);
        CHECK(log.lines ==
              Lines{"warning: Docs/Operators/Texture/Blur.md:1: the front matter is not closed by a line \"---\"."});
    }
}

TEST_CASE("Front matter that the document ends with is closed")
{
    const LogRecorder log;
    const OperatorInfo info = ParseOperatorDoc(&blurType, blurPath, "---\ntype: Test.Texture.Blur\nsummary: S.\n---");
    CHECK(log.lines.empty());
    CHECK(info.summary == "S.");
    CHECK(info.body.empty());
}

TEST_CASE("Front matter that is no YAML is a warning with its line, and the body is kept")
{
    const LogRecorder log;
    const OperatorInfo info = ParseOperatorDoc(&blurType, blurPath, "---\nsummary: S.\ntags: [a, b\n---\nBody\n");
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0].starts_with("warning: Docs/Operators/Texture/Blur.md:4: the front matter is not valid YAML: "));
    CHECK(log.lines[0].ends_with("."));
    CHECK(info.body == "Body\n");
    CHECK(info.parameters.empty());
}

TEST_CASE("Front matter that is nested too deeply is a warning")
{
    const LogRecorder log;
    ParseOperatorDoc(&blurType, blurPath, "---\ntags: " + std::string(100000, '[') + "\n---\n");
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0].find("not valid YAML") != std::string::npos);
}

TEST_CASE("Front matter that is empty lacks a type and a summary")
{
    const LogRecorder log;
    ParseOperatorDoc(&blurType, blurPath, "---\n---\n");
    CHECK(log.lines == Lines{"warning: Docs/Operators/Texture/Blur.md:1: the document has no type.",
                             "warning: Docs/Operators/Texture/Blur.md:1: the document has no summary."});
}

TEST_CASE("Front matter that is no map is a warning")
{
    const LogRecorder log;
    ParseOperatorDoc(&blurType, blurPath, "---\n- type\n- summary\n---\n");
    CHECK(log.lines == Lines{"warning: Docs/Operators/Texture/Blur.md:2: the front matter must be a map of keys."});
}

TEST_CASE("A document's type that is not the operator's is a warning")
{
    const LogRecorder log;
    ParseOperatorDoc(&blurType, blurPath, "---\nsummary: S.\ntype: Test.Texture.Blurr\n---\n");
    CHECK(log.lines == Lines{"warning: Docs/Operators/Texture/Blur.md:3: the type is \"Test.Texture.Blurr\", the "
                             "operator's is \"Test.Texture.Blur\"."});
}

TEST_CASE("Unknown and repeated keys of a document are warnings, and the rest is kept")
{
    CHECK(Warnings("sumary: T.\n") == Lines{"warning: Blur.md:4: the key \"sumary\" has no meaning here."});
    CHECK(Warnings("summary: T.\n") ==
          Lines{"warning: Blur.md:4: the key \"summary\" stands here twice; the first counts."});
    CHECK(Parse("summary: T.\n").summary == "S.");
    CHECK(Parse("sumary: T.\ntags: [a]\n").tags == Lines{"a"});
}

TEST_CASE("Unknown keys of an entry are warnings, and so are keys that belong to other entries")
{
    CHECK(Warnings("parameters:\n  Radius:\n    type: Float\n    default: 8\n") ==
          Lines{"warning: Blur.md:7: parameter \"Radius\": the key \"default\" has no meaning here."});
    CHECK(Warnings("inputs:\n  In: {type: Texture, output: true}\n") ==
          Lines{"warning: Blur.md:5: input \"In\": the key \"output\" has no meaning here."});
    CHECK(Warnings("outputs:\n  Out: {type: Texture, parameters: {}}\n") ==
          Lines{"warning: Blur.md:5: output \"Out\": the key \"parameters\" has no meaning here."});
    CHECK(Warnings("parameters:\n  Radius: {type: Float, summary: S.}\n") ==
          Lines{"warning: Blur.md:5: parameter \"Radius\": the key \"summary\" has no meaning here."});
}

TEST_CASE("Every type that an entry may have is accepted, and others are warnings")
{
    for (const char* type :
         {"Texture", "Mesh", "Model", "Material", "Float", "Int", "Bool", "String", "Color", "Vector 2", "Vector 3",
          "Vector 4", "Vector 2 Int", "Trigger", "Reference", "Vector 3 Int", "\"[Type]\"", "Transform 3D"})
    {
        INFO(type);
        CHECK(Warnings("parameters:\n  P: {type: " + std::string(type) + "}\n").empty());
    }
    CHECK(Parse("parameters:\n  P: {type: \"[Type]\"}\n").parameters.at(0).type == "[Type]");
    CHECK(Warnings("parameters:\n  P:\n    type: Flot\n") ==
          Lines{"warning: Blur.md:6: parameter \"P\": there is no type \"Flot\"."});
    CHECK(Warnings("parameters:\n  P:\n    type: float\n").size() == 1);
    CHECK(Warnings("parameters:\n  P:\n    description: D.\n") ==
          Lines{"warning: Blur.md:5: parameter \"P\": the entry has no type."});
    // Without quotes this is a list.
    CHECK(Warnings("parameters:\n  P:\n    type: [Type]\n") ==
          Lines{"warning: Blur.md:6: parameter \"P\": \"type\" must be text."});
}

TEST_CASE("Only enums have values, at least one, and each once")
{
    CHECK(Warnings("parameters:\n  P:\n    type: Float\n    values: [a]\n") ==
          Lines{"warning: Blur.md:7: parameter \"P\": only enums have values."});
    CHECK(Warnings("parameters:\n  P:\n    type: Enum\n") ==
          Lines{"warning: Blur.md:5: parameter \"P\": an enum needs a list of values."});
    CHECK(Warnings("parameters:\n  P:\n    type: Enum\n    values: []\n") ==
          Lines{"warning: Blur.md:7: parameter \"P\": the list of values is empty."});
    CHECK(Warnings("parameters:\n  P:\n    type: Enum\n    values: [a, b, a]\n") ==
          Lines{"warning: Blur.md:7: parameter \"P\": the value \"a\" stands in the list twice."});
}

TEST_CASE("A name that is documented twice is a warning, and the first counts")
{
    const LogRecorder log;
    const OperatorInfo info = Parse("parameters:\n  P: {type: Float}\n  P: {type: Int}\n");
    CHECK(log.lines == Lines{"warning: Blur.md:6: the name \"P\" stands in \"parameters\" twice; the first counts."});
    REQUIRE(info.parameters.size() == 1);
    CHECK(info.parameters[0].type == "Float");
}

TEST_CASE("Values of the wrong kind in a document are warnings, and the rest is kept")
{
    CHECK(Warnings("tags: soften\n") == Lines{"warning: Blur.md:4: \"tags\" must be a list of texts."});
    CHECK(Warnings("tags: [a, [b], {c: d}]\n") == Lines{"warning: Blur.md:4: item 2 of \"tags\" must be text.",
                                                        "warning: Blur.md:4: item 3 of \"tags\" must be text."});
    CHECK(Parse("tags: [a, [b], c]\n").tags == Lines{"a", "c"});
    CHECK(Warnings("inputs: [In]\n") == Lines{"warning: Blur.md:4: \"inputs\" must be a map from names to entries."});
    CHECK(Warnings("inputs:\n") == Lines{"warning: Blur.md:4: \"inputs\" must be a map from names to entries."});
    CHECK(Warnings("inputs:\n  In: Texture\n") ==
          Lines{"warning: Blur.md:5: input \"In\": the entry must be a map of keys."});
    CHECK(Warnings("inputs:\n  [In]: {type: Texture}\n") ==
          Lines{"warning: Blur.md:5: a name in \"inputs\" must be text."});
    CHECK(Warnings("inputs:\n  In:\n    type: Texture\n    description: [D.]\n") ==
          Lines{"warning: Blur.md:7: input \"In\": \"description\" must be text."});
    CHECK(Warnings("parameters:\n  P:\n    type: Float\n    output: [true]\n") ==
          Lines{"warning: Blur.md:7: parameter \"P\": \"output\" must be true or false."});
    CHECK(Warnings("parameters:\n  P:\n    type: Enum\n    values: a\n") ==
          Lines{"warning: Blur.md:7: parameter \"P\": \"values\" must be a list of texts."});
    CHECK(Parse("inputs:\n  In: Texture\n  Other: {type: Mesh}\n").inputs.at(1).type == "Mesh");
}

TEST_CASE("A bundle list is a parameter with a summary and parameters of its own")
{
    const LogRecorder log;
    const OperatorInfo info = Parse("parameters:\n"
                                    "  Size: {type: Vector 2 Int}\n"
                                    "  Opacities:\n"
                                    "    summary: One for each input.\n"
                                    "    parameters:\n"
                                    "      Opacity:\n"
                                    "        type: Float\n"
                                    "        description: D.\n"
                                    "      Mode: {type: Enum, values: [a]}\n");
    CHECK(log.lines.empty());
    REQUIRE(info.parameters.size() == 2);
    const OperatorInfo::Entry& list = info.parameters[1];
    CHECK(list.name == "Opacities");
    CHECK(list.type.empty());
    CHECK(list.summary == "One for each input.");
    CHECK(list.marks.line == 6);
    REQUIRE(list.bundles.size() == 1);
    CHECK(list.bundles[0].first == "Opacities");
    REQUIRE(list.bundles[0].second.size() == 2);
    CHECK(list.bundles[0].second[0].name == "Opacity");
    CHECK(list.bundles[0].second[0].type == "Float");
    CHECK(list.bundles[0].second[0].marks.line == 9);
    CHECK(list.bundles[0].second[1].values == Lines{"a"});
    CHECK(info.parameters[0].bundles.empty());
}

TEST_CASE("Warnings about a bundle's parameters name the bundle list")
{
    CHECK(Warnings("parameters:\n  L:\n    type: Float\n    parameters:\n      P: {type: Flot}\n") ==
          Lines{"warning: Blur.md:6: bundle list \"L\": the key \"type\" has no meaning here.",
                "warning: Blur.md:8: bundle list \"L\": parameter \"P\": there is no type \"Flot\"."});
    CHECK(Warnings("parameters:\n  L:\n    parameters:\n      M:\n        type: Float\n        parameters: {}\n") ==
          Lines{"warning: Blur.md:9: bundle list \"L\": parameter \"M\": the key \"parameters\" has no meaning here."});
}
