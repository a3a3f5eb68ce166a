#include "glb/MeshWriter.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <glm/vec4.hpp>

namespace Varkle::Glb
{

namespace
{

struct KnownAttribute
{
    const AttributeSemantic& semantic;
    const char* name;
    Rule rule = Rule::Finite;
    const char* needed = nullptr; // the attribute beside which alone the format allows this one
};

// Those that others need come first.
constexpr KnownAttribute knownAttributes[] = {
    {Attributes::Position, "POSITION"},
    {Attributes::Normal, "NORMAL", Rule::UnitVector},
    {Attributes::Tangent, "TANGENT", Rule::UnitVector, "NORMAL"},
    {Attributes::TexCoord0, "TEXCOORD_0"},
    {Attributes::TexCoord1, "TEXCOORD_1", Rule::Finite, "TEXCOORD_0"},
    {Attributes::Color0, "COLOR_0", Rule::ZeroToOne},
};

bool Is(const Attribute& attribute, const AttributeSemantic& semantic)
{
    return attribute.GetName() == semantic.name && attribute.GetFormat() == semantic.format;
}

bool IsKnown(const Attribute& attribute)
{
    return std::ranges::any_of(knownAttributes,
                               [&](const KnownAttribute& known) { return Is(attribute, known.semantic); });
}

// Colors of four floats.
bool HasTransparency(std::span<const std::byte> colors, unsigned vertexCount)
{
    return std::ranges::any_of(As<glm::vec4>(colors).first(vertexCount), [](const glm::vec4& c) { return c.a < 1.0f; });
}

// JSON is UTF-8: bytes of a name that are not are replaced.
std::string MakeCustomName(const std::string& name)
{
    return Json::parse(Json("_" + name).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

} // namespace

void AddBuffers(const Mesh& mesh, Download& download)
{
    for (const Attribute& attribute : mesh.GetAttributes())
        download.Add(attribute.GetBuffer());
    if (const Connectivity* const connectivity = mesh.GetConnectivity())
        download.Add(connectivity->GetBuffer());
}

std::optional<std::size_t> MeshWriter::Add(const std::vector<MeshInstance>& instances)
{
    std::vector<const void*> key;
    key.reserve(instances.size());
    for (const MeshInstance& instance : instances)
        key.push_back(&instance.GetMesh().GetAttributes());
    const auto [entry, isNew] = meshes.try_emplace(std::move(key));
    if (!isNew)
        return entry->second;

    Json primitives = Json::array();
    for (const MeshInstance& instance : instances)
    {
        if (Json primitive = MakePrimitive(instance.GetMesh()); !primitive.is_null())
            primitives.push_back(std::move(primitive));
    }
    if (!primitives.empty())
        entry->second = file.Add("meshes", {{"primitives", std::move(primitives)}});
    return entry->second;
}

Json MeshWriter::MakePrimitive(const Mesh& mesh)
{
    const Attribute* const position = mesh.GetAttribute(Attributes::Position.name);
    if (!position || !Is(*position, Attributes::Position) || position->GetVertexCount() == 0)
    {
        file.Warn("a mesh is left out: it has no positions of three floats.");
        return nullptr;
    }
    const unsigned vertexCount = position->GetVertexCount();
    const std::optional<Indices> indices = ReadIndices(mesh, vertexCount, download, file);
    if (!indices)
        return nullptr;
    Json accessors = AddAttributes(mesh, vertexCount);
    if (accessors.empty())
        return nullptr;
    AddCustomAttributes(accessors, mesh, vertexCount);

    Json primitive = {{"mode", indices->mode}, {"attributes", std::move(accessors)}};
    if (!indices->values.empty())
        primitive["indices"] = AddIndices(*indices);
    if (mesh.GetMaterial())
        SetMaterial(primitive, mesh, vertexCount);
    return primitive;
}

Json MeshWriter::AddAttributes(const Mesh& mesh, unsigned vertexCount)
{
    Json accessors = Json::object();
    for (const KnownAttribute& known : knownAttributes)
    {
        const Attribute* const attribute = mesh.GetAttribute(known.semantic.name);
        if (!attribute || !Is(*attribute, known.semantic))
            continue;
        if (known.needed && !accessors.contains(known.needed))
        {
            file.Warn("the attribute " + Quoted(attribute->GetName()) + " is left out: glTF has no " + known.name +
                      " without " + known.needed + ".");
            continue;
        }
        if (const std::optional<std::size_t> place = attributes.Add(*attribute, known.rule, vertexCount))
            accessors[known.name] = *place;
        if (accessors.empty())
            break; // no positions
    }
    return accessors;
}

void MeshWriter::AddCustomAttributes(Json& accessors, const Mesh& mesh, unsigned vertexCount)
{
    for (const Attribute& attribute : mesh.GetAttributes())
    {
        if (IsKnown(attribute))
            continue;
        const std::string name = MakeCustomName(attribute.GetName());
        if (accessors.contains(name))
            file.Warn("an attribute is left out: another one is named " + Quoted(name) + ", too.");
        else if (const std::optional<std::size_t> place = attributes.Add(attribute, Rule::Finite, vertexCount))
            accessors[name] = *place;
    }
}

void MeshWriter::SetMaterial(Json& primitive, const Mesh& mesh, unsigned vertexCount)
{
    const std::shared_ptr<Material> material = mesh.GetMaterial();
    Json& accessors = primitive["attributes"];
    const bool onTransparentColors =
        accessors.contains("COLOR_0") &&
        HasTransparency(download.GetBytes(mesh.GetAttribute(Attributes::Color0.name)->GetBuffer()), vertexCount);
    primitive["material"] = materials.Add(*material, onTransparentColors);
    if (!HasTexture(material.get()) || accessors.contains("TEXCOORD_0"))
        return;
    // That is where such a mesh reads its textures, but the format wants it said.
    file.Warn("a mesh without texture coordinates gets some that are 0: its material has textures.");
    accessors["TEXCOORD_0"] = attributes.AddZeros(2, vertexCount);
}

std::size_t MeshWriter::AddIndices(const Indices& indices)
{
    const auto [entry, isNew] = indexLists.try_emplace({indices.source, indices.values.size()});
    if (!isNew)
        return entry->second;
    constexpr int unsignedInt = 5125; // the format's number
    entry->second =
        file.Add("accessors", {{"bufferView", file.AddView(std::as_bytes(indices.values), ViewTarget::Indices)},
                               {"componentType", unsignedInt},
                               {"count", indices.values.size()},
                               {"type", "SCALAR"}});
    return entry->second;
}

} // namespace Varkle::Glb
