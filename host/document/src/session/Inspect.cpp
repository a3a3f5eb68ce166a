#include "session/Inspect.h"

#include "Varkle/Core/ParameterBundle.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Document/JsonLayout.h"
#include "Varkle/Gpu/Ports.h"
#include "value/ParameterValue.h"

#include <glm/gtc/type_ptr.hpp>

namespace Varkle
{

namespace
{

JsonValue Strings(const std::vector<std::string>& texts)
{
    JsonValue json = JsonArray();
    for (const std::string& text : texts)
        json.elements.push_back(JsonString(text));
    return json;
}

template<class Vector>
JsonValue Numbers(const Vector& vector)
{
    JsonValue json = JsonArray();
    for (glm::length_t i = 0; i < vector.length(); ++i)
        json.elements.push_back(JsonNumber(vector[i]));
    return json;
}

JsonValue Describe(const Parameter& parameter)
{
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(parameter.GetName()));
    AddMember(json, "type", JsonString(GetParameterTypeName(parameter.GetParameterType())));
    AddMember(json, "value", WriteParameterValue(parameter));
    if (parameter.GetParameterType() == ParameterType::Enum)
    {
        const auto& choice = static_cast<const EnumParameter&>(parameter);
        AddMember(json, "values", Strings(choice.GetPossibleValues()));
        if (!choice.GetLabels().empty())
            AddMember(json, "labels", Strings(choice.GetLabels()));
    }
    if (parameter.HasFlag(ParameterFlag::Output))
        AddMember(json, "output", JsonBool(true));
    return json;
}

JsonValue Describe(const std::vector<Parameter*>& parameters)
{
    JsonValue json = JsonArray();
    for (const Parameter* const parameter : parameters)
        json.elements.push_back(Describe(*parameter));
    return json;
}

JsonValue Describe(const ParameterBundleList& list)
{
    JsonValue bundles = JsonArray();
    for (const ParameterBundle* const bundle : list.GetBundles())
    {
        JsonValue json = JsonObject();
        AddMember(json, "name", JsonString(bundle->GetName()));
        AddMember(json, "parameters", Describe(bundle->GetParameters()));
        bundles.elements.push_back(std::move(json));
    }
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(list.GetName()));
    AddMember(json, "bundles", std::move(bundles));
    return json;
}

JsonValue SourceKey(const DataInput& input)
{
    const DataOutput* const source = input.GetConnection();
    return source ? JsonString(source->GetOperator()->GetKey()) : JsonNull();
}

JsonValue DescribeInput(const Object& port)
{
    JsonValue json = JsonObject();
    if (const auto* const input = dynamic_cast<const DataInput*>(&port))
    {
        AddMember(json, "name", JsonString(input->GetName()));
        AddMember(json, "type", JsonString(input->GetDataTypeName()));
        AddMember(json, "from", SourceKey(*input));
        return json;
    }
    const auto& list = dynamic_cast<const DataInputList&>(port);
    JsonValue elements = JsonArray();
    for (const DataInput* const input : list.GetInputs())
        elements.elements.push_back(JsonObject({{"from", {}, SourceKey(*input)}}));
    AddMember(json, "name", JsonString(list.GetName()));
    AddMember(json, "type", JsonString(list.GetDataTypeName()));
    AddMember(json, "list", std::move(elements));
    return json;
}

void AddTexture(JsonValue& json, const Texture& texture)
{
    AddMember(json, "width", JsonInteger(texture.GetWidth()));
    AddMember(json, "height", JsonInteger(texture.GetHeight()));
    AddMember(json, "format", JsonString(GetTextureFormatName(texture.GetTextureFormat())));
}

void AddMesh(JsonValue& json, const Mesh& mesh)
{
    JsonValue attributes = JsonArray();
    for (const Attribute& attribute : mesh.GetAttributes())
    {
        JsonValue entry = JsonObject();
        AddMember(entry, "name", JsonString(attribute.GetName()));
        AddMember(entry, "format", JsonString(GetVertexFormatName(attribute.GetFormat())));
        AddMember(entry, "count", JsonInteger(attribute.GetVertexCount()));
        attributes.elements.push_back(std::move(entry));
    }
    AddMember(json, "attributes", std::move(attributes));
    const Connectivity* const connectivity = mesh.GetConnectivity();
    if (connectivity)
    {
        AddMember(json, "indexCount", JsonInteger(connectivity->GetIndexCount()));
        const bool isShort = connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint16;
        AddMember(json, "indexFormat", JsonString(isShort ? "Uint16" : "Uint32"));
    }
    const auto topology = connectivity ? connectivity->GetTopology() : wgpu::PrimitiveTopology::TriangleList;
    AddMember(json, "topology", JsonString(GetTopologyName(topology)));
    AddMember(json, "material", JsonBool(mesh.GetMaterial() != nullptr));
}

void AddPbrMaterial(JsonValue& json, const GltfPbrMaterial& material)
{
    constexpr const char* alphaModes[] = {"Opaque", "Mask", "Blend"};
    AddMember(json, "kind", JsonString("PBR"));
    AddMember(json, "Base Color", Numbers(material.GetBaseColorFactor()));
    AddMember(json, "Metallic", JsonNumber(material.GetMetallicFactor()));
    AddMember(json, "Roughness", JsonNumber(material.GetRoughnessFactor()));
    AddMember(json, "Normal Scale", JsonNumber(material.GetNormalScale()));
    AddMember(json, "Occlusion Strength", JsonNumber(material.GetOcclusionStrength()));
    AddMember(json, "Emissive", Numbers(material.GetEmissiveFactor()));
    AddMember(json, "Alpha Mode", JsonString(alphaModes[int(material.GetAlphaMode())]));
    AddMember(json, "Alpha Cutoff", JsonNumber(material.GetAlphaCutoff()));
    AddMember(json, "Double Sided", JsonBool(material.IsDoubleSided()));
    AddMember(json, "Base Color Texture", JsonBool(bool(material.GetBaseColorTexture())));
    AddMember(json, "Metallic Roughness Texture", JsonBool(bool(material.GetMetallicRoughnessTexture())));
    AddMember(json, "Normal Texture", JsonBool(bool(material.GetNormalTexture())));
    AddMember(json, "Occlusion Texture", JsonBool(bool(material.GetOcclusionTexture())));
    AddMember(json, "Emissive Texture", JsonBool(bool(material.GetEmissiveTexture())));
}

void AddMaterial(JsonValue& json, const Material& material)
{
    if (const auto* const pbr = dynamic_cast<const GltfPbrMaterial*>(&material))
    {
        AddPbrMaterial(json, *pbr);
    }
    else if (const auto* const unlit = dynamic_cast<const UnlitMaterial*>(&material))
    {
        AddMember(json, "kind", JsonString("Unlit"));
        AddMember(json, "Base Color", Numbers(unlit->GetBaseColor()));
        AddMember(json, "Base Color Texture", JsonBool(bool(unlit->GetBaseColorTexture())));
    }
}

// What lies deeper is left out: a model may be a chain of any length, programs that read JSON stop somewhere.
constexpr int deepestNode = 400;

JsonValue DescribeNode(const ModelNode& node, int depth = 1)
{
    JsonValue transform = JsonArray();
    for (int i = 0; i < 16; ++i)
        transform.elements.push_back(JsonNumber(glm::value_ptr(node.GetTransform())[i]));
    JsonValue meshes = JsonArray();
    for (const MeshInstance& instance : node.GetMeshInstances())
    {
        JsonValue mesh = JsonObject();
        AddMesh(mesh, instance.GetMesh());
        meshes.elements.push_back(std::move(mesh));
    }
    JsonValue children = JsonArray();
    for (const auto& child : node.GetChildren())
    {
        if (depth < deepestNode)
            children.elements.push_back(DescribeNode(*child, depth + 1));
    }
    JsonValue json = JsonObject();
    AddMember(json, "transform", std::move(transform));
    AddMember(json, "meshes", std::move(meshes));
    AddMember(json, "children", std::move(children));
    return json;
}

void AddModel(JsonValue& json, const Model& model)
{
    AddMember(json, "root", model.GetRootNode() ? DescribeNode(*model.GetRootNode()) : JsonNull());
    AddMember(json, "materials", JsonInteger((long long)(model.GetMaterials().size())));
    AddMember(json, "textures", JsonInteger((long long)(model.GetTextures().size())));
}

JsonValue DescribeOutput(const DataOutput& output)
{
    JsonValue json = JsonObject();
    AddMember(json, "name", JsonString(output.GetName()));
    AddMember(json, "type", JsonString(output.GetDataTypeName()));
    AddMember(json, "active", JsonBool(output.IsActive()));
    if (!output.IsActive())
        return json;
    if (const auto* const texture = dynamic_cast<const TextureOutput*>(&output))
        AddTexture(json, texture->GetTexture());
    else if (const auto* const mesh = dynamic_cast<const MeshOutput*>(&output))
        AddMesh(json, mesh->GetMeshData().GetMesh());
    else if (const auto* const material = dynamic_cast<const MaterialOutput*>(&output))
        AddMaterial(json, *material->GetMaterialData().GetMaterial());
    else if (const auto* const model = dynamic_cast<const ModelOutput*>(&output))
        AddModel(json, model->GetModel());
    return json;
}

JsonValue Describe(const Operator& op)
{
    JsonValue json = JsonObject();
    AddMember(json, "key", JsonString(op.GetKey()));
    AddMember(json, "type", JsonString(op.GetType()->GetId()));
    AddMember(json, "executions", JsonInteger((long long)(op.GetExecutionCount())));
    AddMember(json, "parameters", Describe(op.GetParameters()));
    if (!op.GetBundleLists().empty())
    {
        JsonValue lists = JsonArray();
        for (const ParameterBundleList* const list : op.GetBundleLists())
            lists.elements.push_back(Describe(*list));
        AddMember(json, "bundles", std::move(lists));
    }
    JsonValue inputs = JsonArray();
    for (const Object* const port : op.GetInputs())
        inputs.elements.push_back(DescribeInput(*port));
    AddMember(json, "inputs", std::move(inputs));
    JsonValue outputs = JsonArray();
    for (const DataOutput* const output : op.GetOutputs())
        outputs.elements.push_back(DescribeOutput(*output));
    AddMember(json, "outputs", std::move(outputs));
    return json;
}

} // namespace

std::string InspectGraph(const Graph& graph, long long frame, const std::vector<LogLine>& log)
{
    JsonValue operators = JsonArray();
    for (const std::unique_ptr<Operator>& op : graph.GetOperators())
        operators.elements.push_back(Describe(*op));
    JsonValue lines = JsonArray();
    for (const LogLine& line : log)
    {
        lines.elements.push_back(
            JsonObject({{"level", {}, JsonString(GetLogLevelName(line.level))}, {"text", {}, JsonString(line.text)}}));
    }
    JsonValue json = JsonObject();
    AddMember(json, "frame", JsonInteger(frame));
    AddMember(json, "operators", std::move(operators));
    AddMember(json, "log", std::move(lines));
    return LayOutJson(json);
}

} // namespace Varkle
