// The operator whose parameters come and go, in documents: its values stand beside what decides which there are.

#include "Varkle/Core/Plugin.h"
#include "Varkle/Document/GraphSession.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <nlohmann/json.hpp>

using namespace Varkle;
using Json = nlohmann::ordered_json;

namespace
{

constexpr std::string_view noError; // compared with rather than asked for, so that a failing test shows the text

std::string MakeText(const std::string& parameters)
{
    return R"({ "format": "varkle-graph", "version": 1, "operators": [
{ "key": "box", "type": "Varkle.Mesh.Cube" },
{ "key": "make", "type": "Varkle.Mesh.CreateAttribute", "inputs": { "Mesh Input": "box" }, "parameters": {)" +
           parameters + "} } ] }";
}

/// Holds the plug-in and a session of a cube and a Create Attribute that is fed by it.
struct AttributeSession
{
    explicit AttributeSession(const std::string& parameters)
    {
        Result<GraphSession> parsed = GraphSession::Parse(MakeText(parameters));
        if (!parsed)
            FAIL(parsed.GetError().message);
        session = std::make_unique<GraphSession>(std::move(*parsed));
    }

    Json Inspect() const { return Json::parse(session->Inspect())["operators"][1]; }

    // Each parameter behind the first three as "name: type = value".
    std::vector<std::string> Values() const
    {
        std::vector<std::string> lines;
        const Json parameters = Inspect()["parameters"];
        for (std::size_t i = 3; i < parameters.size(); ++i)
            lines.push_back(std::string(parameters[i]["name"]) + ": " + std::string(parameters[i]["type"]) + " = " +
                            parameters[i]["value"].dump());
        return lines;
    }

    Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    std::unique_ptr<GraphSession> session;
};

using Lines = std::vector<std::string>;

} // namespace

TEST_CASE("Inspection shows a Create Attribute's parameters and the attribute that it adds")
{
    const AttributeSession attribute("");
    attribute.session->GoToFrame(0);
    const Json json = attribute.Inspect();
    REQUIRE(json["parameters"].size() == 4);
    CHECK(json["parameters"][0] == Json::parse(R"({ "name": "Type", "type": "Enum", "value": "Float32",
        "values": ["Float32", "Float32x2", "Float32x3", "Float32x4"],
        "labels": ["Float", "Vector 2", "Vector 3", "Vector 4"] })"));
    CHECK(json["parameters"][1]["value"] == "Constant");
    CHECK(json["parameters"][2]["value"] == "attribute");
    CHECK(attribute.Values() == Lines{"Value: Float = 0"});
    CHECK(json["outputs"][0]["attributes"].size() == 5);
    CHECK(json["outputs"][0]["attributes"][4] ==
          Json::parse(R"({ "name": "attribute", "format": "Float32", "count": 24 })"));
    CHECK(json["outputs"][0]["indexCount"] == 36);
}

TEST_CASE("A document sets a Create Attribute's values after its type and mode, in whatever order they stand")
{
    const LogRecorder log;
    const AttributeSession attribute(R"("RNG Seed": 7, "Max": [2, 3, "frame"], "Attribute Name": "w", "Value": 5,
"Mode": "Random", "Type": "Float32x3")");
    attribute.session->GoToFrame(4);
    CHECK(attribute.Values() == Lines{"Min: Vector 3 = [0,0,0]", "Max: Vector 3 = [2,3,4]", "RNG Seed: Int = 7"});
    CHECK(attribute.Inspect()["outputs"][0]["attributes"][4] ==
          Json::parse(R"({ "name": "w", "format": "Float32x3", "count": 24 })"));
    attribute.session->GoToFrame(5);
    CHECK(attribute.Values()[1] == "Max: Vector 3 = [2,3,5]");
    CHECK(log.lines.empty());
}

TEST_CASE("A Create Attribute's mode can be set while a document runs, and its values with it")
{
    const LogRecorder log;
    const AttributeSession attribute(R"("Value": 5)");
    attribute.session->GoToFrame(0);
    CHECK(attribute.Values() == Lines{"Value: Float = 5"});
    REQUIRE(attribute.session->SetParameter("make.Mode", "Normal Distribution"));
    REQUIRE(attribute.session->SetParameter("make.Std Deviation", "0.5"));
    REQUIRE(attribute.session->SetParameter("make.RNG Seed", "-3"));
    attribute.session->GoToFrame(1);
    CHECK(attribute.Values() == Lines{"Mean: Float = 0", "Std Deviation: Float = 0.5", "RNG Seed: Int = -3"});
    REQUIRE(attribute.session->SetParameter("make.Mode", "Constant"));
    attribute.session->GoToFrame(2);
    CHECK(attribute.Values() == Lines{"Value: Float = 5"});
    CHECK(log.lines.empty());
}

TEST_CASE("A Create Attribute's values follow a document that is updated, and start anew where it says nothing")
{
    const LogRecorder log;
    const AttributeSession attribute(R"("Mode": "Random", "Min": 2, "Max": 3, "RNG Seed": 7)");
    const auto update = [&](const std::string& parameters)
    {
        std::vector<DocumentError> errors;
        const Status status = attribute.session->Update(GraphDocument::Parse(MakeText(parameters), "new", {}, errors));
        CHECK((status ? "" : status.GetError().message) == noError);
        attribute.session->GoToFrame(attribute.session->GetFrame() + 1);
    };
    attribute.session->GoToFrame(0);
    update(R"("Mode": "Random", "Min": 2, "Max": 3, "RNG Seed": 7)");
    CHECK(attribute.Inspect()["executions"] == 1);
    update(R"("Mode": "Random", "Max": 4)");
    CHECK(attribute.Values() == Lines{"Min: Float = 0", "Max: Float = 4", "RNG Seed: Int = 0"});
    update(R"("Mode": "Normal Distribution", "Type": "Float32x2", "RNG Seed": 8)");
    CHECK(attribute.Values() ==
          Lines{"Mean: Vector 2 = [0,0]", "Std Deviation: Vector 2 = [1,1]", "RNG Seed: Int = 8"});
    update(R"("Mode": "Random", "Type": "Float32x2")");
    CHECK(attribute.Values() == Lines{"Min: Vector 2 = [0,0]", "Max: Vector 2 = [1,1]", "RNG Seed: Int = 0"});
    update(R"("Mode": "Sequence", "Max": "frame")");
    CHECK(attribute.Values() == Lines{"Min: Float = 0", "Max: Float = 5"});
    update("");
    CHECK(attribute.Values() == Lines{"Value: Float = 0"});
    CHECK(attribute.Inspect()["parameters"][1]["value"] == "Constant");
    CHECK(attribute.Inspect()["executions"] == 6);
    CHECK(log.lines.empty());
}

TEST_CASE("A document of a graph with a Create Attribute holds its values and gives the same bytes again")
{
    const AttributeSession attribute(R"("Type": "Float32x2", "Mode": "Sequence", "Max": [4, 8])");
    const GraphDocument saved = GraphDocument::FromGraph(attribute.session->GetGraph(), 60, "/folder");
    const std::string text = saved.ToText();
    CHECK(text.find(R"("Type": "Float32x2",
        "Mode": "Sequence",
        "Min": [0, 0],
        "Max": [4, 8])") != std::string::npos);
    const Result<GraphSession> again = GraphSession::Parse(text, "saved", "/folder");
    REQUIRE(again);
    CHECK(again->GetDocument().ToText() == text);
    CHECK(GraphDocument::FromGraph(again->GetGraph(), 60, "/folder").ToText() == text);
}
