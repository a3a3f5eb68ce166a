#include "scene/SceneContent.h"

#include "Varkle/Core/Log.h"
#include "buffer/BufferAccess.h"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <map>
#include <tuple>
#include <unordered_map>

namespace Varkle
{

namespace
{

// Trees share their branches: a small one can stand for more nodes than anyone can draw. So many matrices also fit into
// what a shader can be given on every GPU, 128 MiB.
constexpr std::size_t maxNodes = 2'000'000;

bool IsTaken(wgpu::VertexFormat format)
{
    const std::string name = GetVertexFormatName(format);
    const bool isFloat = name.starts_with("Float") || name.starts_with("Unorm") || name.starts_with("Snorm");
    return isFloat && GetVertexFormatSize(format) % 4 == 0;
}

// Returns an attribute that can be drawn for that many vertices, or null.
const Attribute* FindUsable(const Mesh& mesh, std::string_view name, unsigned vertexCount)
{
    const Attribute* const attribute = mesh.GetAttribute(name);
    const bool usable = attribute && attribute->GetVertexCount() >= vertexCount && IsTaken(attribute->GetFormat()) &&
                        BufferAccess::IsCurrent(attribute->GetBuffer());
    return usable ? attribute : nullptr;
}

bool IsFinite(const glm::mat4& matrix)
{
    for (int column = 0; column < 4; ++column)
        for (int row = 0; row < 4; ++row)
            if (!std::isfinite(matrix[column][row]))
                return false;
    return true;
}

bool IsMirrored(const glm::mat4& matrix)
{
    const glm::dmat4 m(matrix);
    return glm::dot(glm::dvec3(m[0]), glm::cross(glm::dvec3(m[1]), glm::dvec3(m[2]))) < 0.0;
}

bool IsStrip(wgpu::PrimitiveTopology topology)
{
    return topology == wgpu::PrimitiveTopology::TriangleStrip || topology == wgpu::PrimitiveTopology::LineStrip;
}

// Puts each thing into the content once, however often it is shown.
class Collector
{
public:
    void Add(const Mesh& mesh, const glm::mat4& toScene)
    {
        if (!IsFinite(toScene) || instances.size() >= maxNodes)
            return;
        const std::uint32_t index = FindMesh(mesh);
        if (content.meshes[index].count == 0)
            return;
        Instance instance{{}, toScene};
        instance.draw.mesh = index;
        instance.draw.material = FindMaterial(mesh);
        instance.draw.pipeline = FindPipeline(instance.draw, IsMirrored(toScene), wgpu::CullMode::Back);
        instances.push_back(instance);
    }

    SceneContent Finish()
    {
        // What needs the same settings comes together; what blends comes last, in its order.
        std::ranges::stable_sort(instances, [this](const Instance& a, const Instance& b) { return Compare(a, b); });
        for (const Instance& instance : instances)
            Append(instance);
        return std::move(content);
    }

private:
    struct Instance
    {
        SceneDraw draw;
        glm::mat4 toScene;
    };

    static auto SettingsOf(const SceneDraw& draw) { return std::tie(draw.pipeline, draw.material, draw.mesh); }
    bool Blends(const SceneDraw& draw) const { return !content.pipelines[draw.pipeline].opaque; }

    bool Compare(const Instance& a, const Instance& b) const
    {
        if (Blends(a.draw) != Blends(b.draw))
            return Blends(b.draw);
        return !Blends(a.draw) && SettingsOf(a.draw) < SettingsOf(b.draw);
    }

    std::uint32_t FindMesh(const Mesh& mesh)
    {
        const auto [found, isNew] = meshes.emplace(&mesh.GetAttributes(), std::uint32_t(content.meshes.size()));
        if (isNew)
            content.meshes.push_back(DescribeMesh(mesh));
        return found->second;
    }

    std::uint32_t FindMaterial(const Mesh& mesh)
    {
        const Material* const material = mesh.GetMaterial().get();
        const auto [found, isNew] = materials.emplace(material, std::uint32_t(content.materials.size()));
        if (isNew)
            content.materials.push_back(DescribeMaterial(material));
        return found->second;
    }

    std::uint32_t FindPipeline(const SceneDraw& draw, bool mirrored, wgpu::CullMode cull)
    {
        const SceneMaterial& material = content.materials[draw.material];
        const SceneMesh& mesh = content.meshes[draw.mesh];
        ScenePipelineKey key;
        key.shading = material.shading;
        key.textured = material.IsTextured();
        // Colors of an unlit material's vertices may have an alpha, too.
        const bool hasColors = bool(mesh.attributes.back());
        key.opaque = !material.blends && !(hasColors && material.shading == ScenePipelineKey::Shading::Unlit);
        key.writesDepth = material.writesDepth;
        key.mirrored = mirrored;
        key.cull = material.doubleSided && cull == wgpu::CullMode::Back && key.opaque ? wgpu::CullMode::None : cull;
        key.topology = mesh.topology;
        key.stripIndexFormat = IsStrip(mesh.topology) ? mesh.indexFormat : wgpu::IndexFormat::Undefined;
        key.formats = mesh.formats;
        const auto [found, isNew] = pipelines.emplace(key, std::uint32_t(content.pipelines.size()));
        if (isNew)
            content.pipelines.push_back(key);
        return found->second;
    }

    void Append(const Instance& instance)
    {
        SceneDraw draw = instance.draw;
        draw.firstInstance = std::uint32_t(content.transforms.size());
        draw.instanceCount = 1;
        content.transforms.push_back(instance.toScene);
        if (Blends(draw))
            return AppendBlend(draw);
        if (!content.opaque.empty())
        {
            SceneDraw& last = content.opaque.back();
            if (SettingsOf(last) == SettingsOf(draw))
            {
                ++last.instanceCount;
                return;
            }
        }
        content.opaque.push_back(draw);
    }

    // Of a double-sided surface the faces that look away are behind the others.
    void AppendBlend(const SceneDraw& draw)
    {
        SceneBlend blend{draw};
        if (content.materials[draw.material].doubleSided && IsSolid(content.meshes[draw.mesh].topology))
            blend.backFaces = FindPipeline(draw, content.pipelines[draw.pipeline].mirrored, wgpu::CullMode::Front);
        content.blends.push_back(blend);
    }

    SceneContent content;
    std::vector<Instance> instances;
    std::unordered_map<const void*, std::uint32_t> meshes; // by their list of attributes, which is theirs alone
    std::unordered_map<const Material*, std::uint32_t> materials;
    std::map<ScenePipelineKey, std::uint32_t> pipelines;
};

} // namespace

SceneMesh DescribeMesh(const Mesh& mesh)
{
    SceneMesh scene;
    scene.mesh = mesh;
    const Attribute* const positions = FindUsable(mesh, Attributes::Position.name, 1);
    if (!positions)
        return scene;
    for (std::size_t i = 0; i < sceneAttributes.size(); ++i)
    {
        const Attribute* const attribute = FindUsable(mesh, sceneAttributes[i].name, positions->GetVertexCount());
        if (!attribute)
            continue;
        scene.attributes[i] = attribute->GetBuffer();
        scene.formats[i] = attribute->GetFormat();
    }
    scene.count = positions->GetVertexCount();
    const Connectivity* const connectivity = mesh.GetConnectivity();
    if (!connectivity)
        return scene;
    if (connectivity->GetTopology() != wgpu::PrimitiveTopology::Undefined)
        scene.topology = connectivity->GetTopology();
    const bool isShort = connectivity->GetIndexFormat() == wgpu::IndexFormat::Uint16;
    scene.indexFormat = isShort ? wgpu::IndexFormat::Uint16 : wgpu::IndexFormat::Uint32;
    scene.indices = connectivity->GetBuffer();
    scene.count = BufferAccess::IsCurrent(connectivity->GetBuffer()) ? connectivity->GetIndexCount() : 0;
    return scene;
}

// With a list instead of calls that call themselves: trees may be deeper than the stack.
void AppendMeshes(const Model& model, const glm::mat4& toScene, std::vector<PlacedMesh>& list)
{
    struct Visit
    {
        const ModelNode* node;
        glm::mat4 toScene; // of the parent
    };
    std::vector<Visit> open;
    if (model.GetRootNode())
        open.push_back({model.GetRootNode(), toScene});
    std::size_t visited = 0;
    while (!open.empty() && visited < maxNodes && list.size() < maxNodes)
    {
        ++visited;
        const Visit visit = open.back();
        open.pop_back();
        const glm::mat4 place = visit.toScene * visit.node->GetTransform();
        for (const MeshInstance& instance : visit.node->GetMeshInstances())
            list.push_back({instance.GetMesh(), place});
        const auto& children = visit.node->GetChildren();
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            open.push_back({child->get(), place});
    }
    if (!open.empty() || list.size() >= maxNodes)
        LogWarning("A model has more than " + std::to_string(maxNodes) +
                   " nodes or meshes; the picture shows only these.");
}

SceneContent MakeSceneContent(const std::vector<PlacedMesh>& things)
{
    Collector collector;
    for (const PlacedMesh& thing : things)
        collector.Add(thing.mesh, thing.toScene);
    return collector.Finish();
}

} // namespace Varkle
