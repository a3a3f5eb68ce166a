#include "session/Inspect.h"

#include "Varkle/Core/DataTypes.h"
#include "Varkle/Gpu/Graphics.h"
#include "document/DocumentOperators.h"
#include "support/Catch.h"

#include <glm/ext/matrix_transform.hpp>
#include <nlohmann/json.hpp>

using namespace Varkle;
using namespace Varkle::Testing;
using Json = nlohmann::ordered_json;

namespace
{

GraphSession Open(const std::string& operators)
{
    RegisterDocumentOperators();
    Result<GraphSession> session = GraphSession::Parse(WithOperators(operators), "g", "/folder");
    if (!session)
        FAIL(session.GetError().message);
    return std::move(*session);
}

Json InspectFirst(const GraphSession& session)
{
    return Json::parse(session.Inspect())["operators"][0];
}

Json FindNamed(const Json& list, const std::string& name)
{
    for (const Json& entry : list)
    {
        if (entry["name"] == name)
            return entry;
    }
    return {};
}

/// Carries what a test gives it.
template<class Output>
class Carrier final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.Carrier", Operator::Type(), {});
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override {}

    Output output{this, "The Output"};
};

// Returns what inspection says of an output that carries something.
template<class Output, class Data>
Json InspectOutput(const Data& data)
{
    Graph graph;
    auto* const carrier = static_cast<Carrier<Output>*>(graph.Add(std::make_unique<Carrier<Output>>(), "carrier"));
    carrier->output.Activate(data);
    return Json::parse(InspectGraph(graph, 0, {}))["operators"][0]["outputs"][0];
}

Mesh MakeMesh()
{
    return Mesh()
        .AddAttribute(Attribute(Attributes::Position, 3))
        .AddAttribute(Attribute("Weight", wgpu::VertexFormat::Float32, 5));
}

} // namespace

TEST_CASE("Inspection prints the frame, the operators in document order and the log, in one layout")
{
    GraphSession session = Open(R"({ "key": "m", "type": "Test.Maker", "parameters": { "Value": "2 * frame" } },
{ "key": "s", "type": "Test.Sink", "inputs": { "Mesh Input": "m" } },
{ "key": "r", "type": "Test.Report", "parameters": { "Target": "s" } })");
    session.GoToFrame(4);
    session.GoToFrame(7);
    CHECK(session.Inspect({{LogLevel::Warning, "Something \"odd\"."}, {LogLevel::Error, "x"}, {LogLevel::Info, ""}}) ==
          R"({
  "frame": 7,
  "operators": [
    {
      "key": "m",
      "type": "Test.Maker",
      "executions": 2,
      "parameters": [
        {
          "name": "Type",
          "type": "Enum",
          "value": "Float",
          "values": ["Float", "Vector 3"]
        },
        {
          "name": "Mode",
          "type": "Enum",
          "value": "Constant",
          "values": ["Constant", "Random"]
        },
        {
          "name": "Name",
          "type": "String",
          "value": "attribute"
        },
        {
          "name": "Value",
          "type": "Float",
          "value": 14
        }
      ],
      "inputs": [],
      "outputs": [
        {
          "name": "Mesh Output",
          "type": "Mesh",
          "active": true,
          "attributes": [],
          "topology": "TriangleList",
          "material": false
        }
      ]
    },
    {
      "key": "s",
      "type": "Test.Sink",
      "executions": 2,
      "parameters": [],
      "inputs": [
        {
          "name": "Mesh Input",
          "type": "Mesh",
          "from": "m"
        }
      ],
      "outputs": []
    },
    {
      "key": "r",
      "type": "Test.Report",
      "executions": 2,
      "parameters": [
        {
          "name": "Found",
          "type": "Bool",
          "value": true,
          "output": true
        },
        {
          "name": "Target",
          "type": "Reference",
          "value": "s"
        }
      ],
      "inputs": [],
      "outputs": []
    }
  ],
  "log": [
    {
      "level": "warning",
      "text": "Something \"odd\"."
    },
    {
      "level": "error",
      "text": "x"
    },
    {
      "level": "info",
      "text": ""
    }
  ]
}
)");
}

TEST_CASE("Inspecting nothing gives empty lists")
{
    CHECK(Json::parse(InspectGraph(Graph(), 12, {})) == Json::parse(R"({ "frame": 12, "operators": [], "log": [] })"));
}

TEST_CASE("Inspection writes the values of parameters of every type as a document does")
{
    GraphSession session = Open(R"({ "key": "a", "type": "Test.Everything", "parameters": {
  "Float": 0.1, "Int": -7, "Bool": true, "String": "Grüße\n", "File": "a.png", "Enum": "Unheard Of", "Color": "#ff0033",
  "Vector 2": [0.1, 2], "Vector 3": [1, 2, 3], "Vector 4": [1, 2, 3, 4], "Vector 2 Int": [1, 2],
  "Vector 3 Int": [1, 2, 3], "Transform 3D": { "translate": [0.1, 2, 3] }, "Trigger": true, "Reference": "a" } })");
    session.GoToFrame(0);
    const Json parameters = InspectFirst(session)["parameters"];
    std::vector<std::pair<std::string, std::string>> values;
    for (const Json& parameter : parameters)
        values.emplace_back(parameter["type"].get<std::string>(), parameter["value"].dump());
    CHECK(values == std::vector<std::pair<std::string, std::string>>{
                        {"Float", "0.1"},
                        {"Int", "-7"},
                        {"Bool", "true"},
                        {"String", "\"Grüße\\n\""},
                        {"String", "\"/folder/a.png\""},
                        {"String", "\"\""},
                        {"Enum", "\"Unheard Of\""},
                        {"Enum", "\"Left\""},
                        {"Color", "[1,0,0.2,1]"},
                        {"Vector 2", "[0.1,2]"},
                        {"Vector 3", "[1,2,3]"},
                        {"Vector 4", "[1,2,3,4]"},
                        {"Vector 2 Int", "[1,2]"},
                        {"Vector 3 Int", "[1,2,3]"},
                        {"Transform 3D", "[1,0,0,0,0,1,0,0,0,0,1,0,0.1,2,3,1]"},
                        {"Trigger", "false"}, // it fired, and the operator ran
                        {"Reference", "\"a\""},
                        {"Int", "1"},
                    });
}

TEST_CASE("Inspection gives an enum's values, and its labels where it has any")
{
    const GraphSession session = Open(R"({ "key": "a", "type": "Test.Everything" })");
    const Json parameters = InspectFirst(session)["parameters"];
    CHECK(FindNamed(parameters, "Enum") ==
          Json::parse(R"({ "name": "Enum", "type": "Enum", "value": "One", "values": ["One", "Two", "0"],
                           "labels": ["The first", "The second", "Zero"] })"));
    CHECK(FindNamed(parameters, "Side") ==
          Json::parse(R"({ "name": "Side", "type": "Enum", "value": "Left", "values": ["Left", "Right"] })"));
    CHECK(FindNamed(parameters, "Reference") ==
          Json::parse(R"({ "name": "Reference", "type": "Reference", "value": null })"));
    CHECK(FindNamed(parameters, "Runs With Trigger") ==
          Json::parse(R"({ "name": "Runs With Trigger", "type": "Int", "value": 0, "output": true })"));
}

TEST_CASE("Inspection shows inputs, input lists and bundles in their order")
{
    const GraphSession session = Open(R"({ "key": "s", "type": "Test.Stack", "inputs": { "Inputs": ["a", null] },
  "bundles": { "Weights": [ {}, { "Weight": 0.25 } ] } },
{ "key": "a", "type": "Test.Everything", "inputs": { "Texture Input": "p" } }, { "key": "p", "type": "Test.Picture" },
{ "key": "t", "type": "Test.Stack" })");
    const Json operators = Json::parse(session.Inspect())["operators"];
    CHECK(operators[0].dump() == Json::parse(R"({ "key": "s", "type": "Test.Stack", "executions": 0, "parameters": [],
"bundles": [ { "name": "Weights", "bundles": [
  { "name": "Input 1", "parameters": [ { "name": "Weight", "type": "Float", "value": 1 },
                                       { "name": "Tint", "type": "Color", "value": [1, 1, 1, 1] } ] },
  { "name": "Input 2", "parameters": [ { "name": "Weight", "type": "Float", "value": 0.25 },
                                       { "name": "Tint", "type": "Color", "value": [1, 1, 1, 1] } ] } ] } ],
"inputs": [ { "name": "Inputs", "type": "Mesh", "list": [ { "from": "a" }, { "from": null } ] } ],
"outputs": [ { "name": "Mesh Output", "type": "Mesh", "active": false } ] })")
                                     .dump());
    CHECK(operators[1]["inputs"] == Json::parse(R"([ { "name": "Mesh Input", "type": "Mesh", "from": null },
                                                     { "name": "Texture Input", "type": "Texture", "from": "p" } ])"));
    CHECK_FALSE(operators[1].contains("bundles"));
    CHECK(operators[3]["bundles"] == Json::parse(R"([ { "name": "Weights", "bundles": [] } ])"));
    CHECK(operators[3]["inputs"] == Json::parse(R"([ { "name": "Inputs", "type": "Mesh", "list": [] } ])"));
}

TEST_CASE("Inspection shows a texture's size and format")
{
    const Texture texture = Texture::Create({3, 2}, wgpu::TextureFormat::RGBA16Float);
    CHECK(InspectOutput<TextureOutput>(texture).dump() ==
          R"({"name":"The Output","type":"Texture","active":true,"width":3,"height":2,"format":"RGBA16Float"})");
}

TEST_CASE("Inspection shows a mesh's attributes, connectivity and material")
{
    CHECK(InspectOutput<MeshOutput>(MakeMesh()).dump() ==
          R"({"name":"The Output","type":"Mesh","active":true,)"
          R"("attributes":[{"name":"Position","format":"Float32x3","count":3},)"
          R"({"name":"Weight","format":"Float32","count":5}],"topology":"TriangleList","material":false})");
    const Mesh lines =
        MakeMesh()
            .SetConnectivity(Connectivity(wgpu::PrimitiveTopology::LineStrip, 4, wgpu::IndexFormat::Uint16))
            .SetMaterial(std::make_shared<UnlitMaterial>());
    const Json json = InspectOutput<MeshOutput>(lines);
    CHECK(json["indexCount"] == 4);
    CHECK(json["indexFormat"] == "Uint16");
    CHECK(json["topology"] == "LineStrip");
    CHECK(json["material"] == true);
    const Mesh wide =
        Mesh().SetConnectivity(Connectivity(wgpu::PrimitiveTopology::PointList, 0, wgpu::IndexFormat::Uint32));
    CHECK(InspectOutput<MeshOutput>(wide)["indexFormat"] == "Uint32");
}

TEST_CASE("Inspection shows a PBR material by the names of its operator's parameters and inputs")
{
    auto material = std::make_shared<GltfPbrMaterial>();
    CHECK(InspectOutput<MaterialOutput>(material).dump() ==
          R"({"name":"The Output","type":"Material","active":true,"kind":"PBR","Base Color":[1,1,1,1],"Metallic":1,)"
          R"("Roughness":1,"Normal Scale":1,"Occlusion Strength":1,"Emissive":[0,0,0],"Alpha Mode":"Opaque",)"
          R"("Alpha Cutoff":0.5,"Double Sided":false,"Base Color Texture":false,"Metallic Roughness Texture":false,)"
          R"("Normal Texture":false,"Occlusion Texture":false,"Emissive Texture":false})");

    const Texture texture = Texture::Create({1, 1}, wgpu::TextureFormat::RGBA8Unorm);
    material->SetBaseColorFactor({0.1f, 0.2f, 0.3f, 0.4f});
    material->SetEmissiveFactor({1, 2, 3});
    material->SetRoughnessFactor(0.7f);
    material->SetAlphaMode(GltfPbrMaterial::AlphaMode::Blend);
    material->SetDoubleSided(true);
    material->SetNormalTexture(texture);
    const Json json = InspectOutput<MaterialOutput>(material);
    CHECK(json["Base Color"].dump() == "[0.1,0.2,0.3,0.4]");
    CHECK(json["Emissive"].dump() == "[1,2,3]");
    CHECK(json["Roughness"].dump() == "0.7");
    CHECK(json["Alpha Mode"] == "Blend");
    CHECK(json["Double Sided"] == true);
    CHECK(json["Normal Texture"] == true);
    CHECK(json["Base Color Texture"] == false);
}

TEST_CASE("Inspection shows an unlit material")
{
    auto material = std::make_shared<UnlitMaterial>();
    material->SetBaseColor({0.5f, 0, 1, 0.1f});
    CHECK(InspectOutput<MaterialOutput>(material).dump() ==
          R"({"name":"The Output","type":"Material","active":true,"kind":"Unlit","Base Color":[0.5,0,1,0.1],)"
          R"("Base Color Texture":false})");
    material->SetBaseColorTexture(Texture::Create({1, 1}, wgpu::TextureFormat::RGBA8Unorm));
    CHECK(InspectOutput<MaterialOutput>(material)["Base Color Texture"] == true);
}

TEST_CASE("Inspection shows a model as a tree, with the numbers of its materials and textures")
{
    Model model;
    CHECK(InspectOutput<ModelOutput>(model).dump() ==
          R"({"name":"The Output","type":"Model","active":true,"root":null,"materials":0,"textures":0})");

    ModelNode child;
    child.SetTransform(glm::translate(glm::mat4(1), {0.1f, 2, 3}));
    child.AddMeshInstance(MeshInstance(Mesh()));
    ModelNode root;
    root.AddChild(child);
    root.AddChild(ModelNode());
    model.SetRootNode(root);
    model.AddMaterial(std::make_shared<UnlitMaterial>());
    model.AddTexture(Texture());
    model.AddTexture(Texture());
    CHECK(InspectOutput<ModelOutput>(model).dump() ==
          R"({"name":"The Output","type":"Model","active":true,"root":{"transform":[1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1],)"
          R"("meshes":[],"children":[{"transform":[1,0,0,0,0,1,0,0,0,0,1,0,0.1,2,3,1],)"
          R"("meshes":[{"attributes":[],"topology":"TriangleList","material":false}],"children":[]},)"
          R"({"transform":[1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1],"meshes":[],"children":[]}]},"materials":1,"textures":2})");
}

TEST_CASE("Inspection of a model that is a chain of a hundred thousand nodes shows the first four hundred")
{
    ModelNode node;
    for (int i = 0; i < 100'000; ++i)
    {
        ModelNode parent;
        parent.AddChild(std::move(node));
        node = std::move(parent);
    }
    Model model;
    model.SetRootNode(std::move(node));
    Json json = InspectOutput<ModelOutput>(model)["root"];
    int depth = 1;
    for (; !json["children"].empty(); ++depth)
        json = Json(json["children"][0]);
    CHECK(depth == 400);
}

TEST_CASE("Inspection keeps log lines that are no UTF-8 readable")
{
    const std::string text = InspectGraph(Graph(), 0, {{LogLevel::Info, "a\xFFz"}});
    CHECK(Json::parse(text)["log"][0]["text"] == "a\xEF\xBF\xBDz");
}

namespace
{

/// Is a type of data that no library knows.
class TuneInput final : public DataInput
{
public:
    using DataInput::DataInput;
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.TuneInput", Object::Type(), [] { return new TuneInput; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    std::string_view GetDataTypeName() const override { return "Tune"; }
};

class TuneOutput final : public DataOutput
{
public:
    using DataOutput::DataOutput;
    void Activate(std::vector<double> newNotes)
    {
        notes = std::move(newNotes);
        Publish();
    }
    const ObjectType* GetInputType() const override { return TuneInput::Type(); }
    std::string_view GetDataTypeName() const override { return "Tune"; }

    std::vector<double> notes;

private:
    void ClearData() override { notes = {}; }
};

DataDescription::Members DescribeTune(const DataOutput& output)
{
    DataDescription::List notes;
    for (const double note : static_cast<const TuneOutput&>(output).notes)
        notes.emplace_back().value = note;
    return {{"length", {static_cast<long long>(notes.size())}}, {"notes", {std::move(notes)}}, {"loud", {true}}};
}

} // namespace

TEST_CASE("Inspection describes data of a type that a plug-in brings")
{
    const std::vector<double> notes{440, 493.5};
    CHECK_FALSE(InspectOutput<TuneOutput>(notes).contains("notes"));
    {
        const DataTypeRegistration registration({"Tune", DescribeTune});
        CHECK(InspectOutput<TuneOutput>(notes) == Json::parse(R"({ "name": "The Output", "type": "Tune",
            "active": true, "length": 2, "notes": [440, 493.5], "loud": true })"));
        const DataTypeRegistration second({"Tune", {}}); // refused
        CHECK(FindDataType("Tune")->describe);
    }
    CHECK(FindDataType("Tune") == nullptr);
}
