#include "MeshBench.h"

#include "BareWebGpu.h"
#include "Varkle/Kit/Resources.h"
#include "mesh/Copy.h"
#include "mesh/CreateAttribute.h"
#include "mesh/Cube.h"
#include "mesh/Distance.h"
#include "mesh/Move.h"
#include "mesh/Noise.h"
#include "mesh/NoiseAttribute.h"
#include "mesh/Sphere.h"
#include "mesh/Transform.h"
#include "support/MeshRunner.h"

#include <glm/gtc/matrix_transform.hpp>

namespace Varkle::Bench
{

namespace
{

using namespace Varkle::Testing;

// The text of a shader of ours with what it includes in its first line.
std::string OwnShader(const std::string& name)
{
    std::string text(Resources::ReadText("Shaders/" + name));
    constexpr std::pair<const char*, const char*> includes[] = {
        {"#include \"Noise/PSRD3.wgsl\"", "Shaders/Noise/psrdnoise3.wgsl"},
        {"#include \"Random.wgsl\"", "Shaders/Random.wgsl"}};
    for (const auto& [line, path] : includes)
    {
        if (text.starts_with(line))
            text.replace(0, std::string_view(line).size(), Resources::ReadText(path));
    }
    return text;
}

BareStorage Given(const Mesh& mesh, std::string_view attribute)
{
    return BareStorage(AttributeOf(mesh, attribute).GetBuffer().GetBufferHandle());
}

BareStorage Written(std::uint64_t elements, std::uint64_t elementSize)
{
    return BareStorage(elements * elementSize);
}

const glm::mat4 identity(1.0f);

unsigned CountVertices(const Mesh& mesh)
{
    return AttributeOf(mesh, "Position").GetVertexCount();
}

BareDispatch TransformDispatch(const Mesh& mesh)
{
    const unsigned count = CountVertices(mesh);
    return {OwnShader("TransformMesh.wgsl"),
            count,
            UniformBytes(identity, identity, count, 3U, 0U, 0U),
            {Given(mesh, "Position"), Written(count, 12), Given(mesh, "Normal"), Written(count, 12),
             Given(mesh, "Tangent"), Written(count, 16)}};
}

BareDispatch MoveDispatch(const Mesh& mesh, const BareStorage& amounts)
{
    const unsigned count = CountVertices(mesh);
    return {OwnShader("MoveMesh.wgsl"),
            count,
            UniformBytes(0.1f, count, 1U, 0U),
            {Given(mesh, "Position"), Written(count, 12), Given(mesh, "Normal"), amounts}};
}

BareDispatch NoiseDispatch(const Mesh& mesh)
{
    const unsigned count = CountVertices(mesh);
    return {OwnShader("MeshNoise.wgsl"),
            count,
            UniformBytes(identity, glm::vec4(0), 1.0f, count, 0U, 0U),
            {Given(mesh, "Position"), Given(mesh, "Normal"), Written(count, 12)}};
}

BareDispatch NoiseAttributeDispatch(const Mesh& mesh)
{
    const unsigned count = CountVertices(mesh);
    return {OwnShader("MeshNoiseAttribute.wgsl"),
            count,
            UniformBytes(identity, glm::vec4(0), 1.0f, 0.0f, count, 0U),
            {Given(mesh, "Position"), Written(count, 4)}};
}

BareDispatch DistanceDispatch(const Mesh& mesh)
{
    const unsigned count = CountVertices(mesh);
    return {OwnShader("MeshDistance.wgsl"),
            count,
            UniformBytes(identity, glm::vec4(0), glm::vec4(0, 1, 0, 1), count, 0U, 0U, 0U),
            {Given(mesh, "Position"), Written(count, 4)}};
}

// Without the attributes that Copy repeats.
std::vector<BareDispatch> CopyDispatches(const Mesh& mesh, unsigned copies)
{
    const unsigned vertices = CountVertices(mesh);
    const unsigned indices = mesh.GetConnectivity()->GetIndexCount();
    const std::vector<glm::mat4> identities(copies, identity);
    const BareStorage matrices(identities.data(), copies * sizeof(glm::mat4));
    return {{OwnShader("CopyMesh.wgsl"),
             vertices * copies,
             UniformBytes(vertices, copies, 3U, 0U),
             {matrices, matrices, Given(mesh, "Position"), Written(vertices * copies, 12), Given(mesh, "Normal"),
              Written(vertices * copies, 12), Given(mesh, "Tangent"), Written(vertices * copies, 16)}},
            {OwnShader("CopyMeshIndices.wgsl"),
             indices * copies,
             UniformBytes(indices, vertices, copies, 32U),
             {BareStorage(mesh.GetConnectivity()->GetBuffer().GetBufferHandle()), Written(indices * copies, 4)}}};
}

class MeshBench
{
public:
    MeshBench(const Effort& wantedEffort, std::string_view wanted) : effort(wantedEffort), filter(wanted) {}

    void CompareAll();

private:
    bool IsWanted(const std::string& name) const { return name.find(filter) != std::string::npos; }

    // A frame as a host runs it, in which the operator is outdated, beside the bare pass.
    template<class Op>
    void CompareWith(const std::string& name, MeshRunner<Op>& runner, const std::function<void()>& bare,
                     Measured measured = Measured::WholePass)
    {
        Compare(
            name, effort, measured,
            [&runner]
            {
                runner.Get().MarkDirty();
                runner.Execute();
                Graphics::ProcessEvents();
            },
            bare);
    }
    template<class Op>
    void CompareWith(const std::string& name, MeshRunner<Op>& runner, const Mesh& mesh, const BareDispatch& dispatch,
                     Measured measured = Measured::WholePass)
    {
        runner.Feed(mesh);
        const BareComputePass bare({dispatch});
        CompareWith(
            name, runner, [&bare] { bare.Run(); }, measured);
    }

    void CompareTransform();
    void CompareMove();
    void CompareNoise();
    void CompareDistance();
    void CompareCreateAttribute();
    void CompareCopy();
    void CompareCopiesOfSpheres();
    void CompareChain(const std::string& name, const Mesh& mesh, Measured measured);
    void CompareGenerators();

    ShaderIncludes includes;
    Effort effort;
    unsigned count = effort.vertices;
    std::string filter;
    Mesh cloud;
};

void MeshBench::CompareTransform()
{
    if (IsWanted("Mesh Transform"))
    {
        MeshRunner<TransformMesh> runner;
        CompareWith("Mesh Transform", runner, cloud, TransformDispatch(cloud));
    }
    if (IsWanted("Mesh Transform of 64 vertices, CPU"))
    {
        const Mesh mesh = MakeRichMesh(64); // the GPU has next to nothing to do
        MeshRunner<TransformMesh> runner;
        CompareWith("Mesh Transform of 64 vertices, CPU", runner, mesh, TransformDispatch(mesh), Measured::Cpu);
    }
}

void MeshBench::CompareMove()
{
    if (!IsWanted("Mesh Move"))
        return;
    MeshRunner<MeshMove> runner;
    runner.SetString("Amount Attribute", "Weight");
    CompareWith("Mesh Move by an attribute", runner, cloud, MoveDispatch(cloud, Given(cloud, "Weight")));
}

void MeshBench::CompareNoise()
{
    if (IsWanted("Mesh Noise"))
    {
        MeshRunner<MeshNoise> runner;
        CompareWith("Mesh Noise", runner, cloud, NoiseDispatch(cloud));
    }
    if (IsWanted("Noise Attribute"))
    {
        MeshRunner<NoiseAttribute> runner;
        CompareWith("Noise Attribute", runner, cloud, NoiseAttributeDispatch(cloud));
    }
}

void MeshBench::CompareDistance()
{
    if (!IsWanted("Mesh Distance"))
        return;
    MeshRunner<MeshDistance> runner;
    CompareWith("Mesh Distance", runner, cloud, DistanceDispatch(cloud));
}

void MeshBench::CompareCreateAttribute()
{
    const char* const modes[] = {"Constant", "Random", "Normal Distribution", "Sequence"};
    for (unsigned mode = 0; mode < 4; ++mode)
    {
        for (const unsigned components : {1U, 4U})
        {
            const std::string type = components == 1 ? "Float32" : "Float32x4";
            const std::string name = "Create Attribute, " + type + " " + modes[mode];
            if (!IsWanted(name))
                continue;
            MeshRunner<CreateAttribute> runner;
            runner.SetEnum("Type", type);
            runner.SetEnum("Mode", modes[mode]);
            const glm::vec4 zero(0);
            const glm::vec4 one(1);
            CompareWith(name, runner, cloud,
                        {OwnShader(components == 1 ? "CreateAttributeF1.wgsl" : "CreateAttributeF4.wgsl"),
                         count,
                         UniformBytes(zero, zero, one, zero, one, count, mode, 0U, 0U),
                         {Written(count, 4 * components)}});
        }
    }
}

void MeshBench::CompareCopy()
{
    if (!IsWanted("Mesh Copy, two of half as many"))
        return;
    const Mesh rich = MakeRichMesh(count / 2);
    const Mesh mesh = Mesh()
                          .AddAttribute(AttributeOf(rich, "Position"))
                          .AddAttribute(AttributeOf(rich, "Normal"))
                          .AddAttribute(AttributeOf(rich, "Tangent"))
                          .SetConnectivity(*rich.GetConnectivity());
    MeshRunner<CopyMesh> runner;
    runner.Feed(mesh);
    const BareComputePass bare(CopyDispatches(mesh, 2));
    CompareWith("Mesh Copy, two of half as many", runner, [&bare] { bare.Run(); });
}

void MeshBench::CompareCopiesOfSpheres()
{
    const std::string name = "Mesh Copy, 1,000 spheres";
    const std::string copiesName = "1,000 buffer copies / in one submit";
    if (!IsWanted(name) && !IsWanted(copiesName))
        return;
    constexpr unsigned copies = 1000;
    MeshRunner<Sphere> sphere;
    const Mesh mesh = sphere.Run();
    const Buffer source = AttributeOf(mesh, "TexCoord0").GetBuffer();
    const std::uint64_t size = source.GetSizeInBytes();
    Buffer repeated(size * copies, source.GetBufferHandle().GetUsage(), false);
    const auto copyOneByOne = [&]
    {
        for (unsigned k = 0; k < copies; ++k)
            repeated.CopyFrom(source, 0, k * size, size);
    };
    const auto copyAtOnce = [&]
    {
        const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
        for (unsigned k = 0; k < copies; ++k)
            encoder.CopyBufferToBuffer(source.GetBufferHandle(), 0, repeated.GetBufferHandle(), k * size, size);
        const wgpu::CommandBuffer commands = encoder.Finish();
        Graphics::GetQueue().Submit(1, &commands);
    };
    MeshRunner<CopyMesh> runner;
    runner.SetInt("Count", copies);
    runner.SetTransform("Step Transform", glm::translate(identity, glm::vec3(1, 0, 0)));
    runner.Feed(mesh);
    const BareComputePass bare(CopyDispatches(mesh, copies));
    const auto runBare = [&]
    {
        copyAtOnce();
        bare.Run();
    };
    if (IsWanted(name))
        CompareWith(name, runner, runBare);
    if (IsWanted(copiesName))
        Compare(copiesName, effort, Measured::WholePass, copyOneByOne, copyAtOnce);
}

// Noise as an attribute, by which vertices move, a transform, noise in the normals and the distance from the origin.
void MeshBench::CompareChain(const std::string& name, const Mesh& mesh, Measured measured)
{
    if (!IsWanted(name))
        return;
    Graph graph;
    std::vector<Operator*> operators;
    for (const ObjectType* const type : {MeshSource::Type(), NoiseAttribute::Type(), MeshMove::Type(),
                                         TransformMesh::Type(), MeshNoise::Type(), MeshDistance::Type()})
    {
        operators.push_back(graph.Add(type));
        if (operators.size() > 1 && !graph.Connect(*operators[operators.size() - 2]->GetOutputs()[0],
                                                   *operators.back()->FindInput("Mesh Input")))
            throw std::logic_error("the chain can't be connected");
    }
    static_cast<MeshSource*>(operators[0])->Set(mesh);
    static_cast<StringParameter*>(operators[2]->FindParameter("Amount Attribute"))->SetValue("noise");
    const auto ours = [&]
    {
        operators[1]->MarkDirty();
        graph.Run();
        Graphics::ProcessEvents();
    };

    // All take turns together.
    const BareDispatch noise = NoiseAttributeDispatch(mesh);
    const BareDispatch move = MoveDispatch(mesh, noise.storage[1]);
    BareDispatch transform = TransformDispatch(mesh);
    transform.storage[0] = move.storage[1];
    BareDispatch normals = NoiseDispatch(mesh);
    normals.storage[0] = transform.storage[1];
    normals.storage[1] = transform.storage[3];
    BareDispatch distance = DistanceDispatch(mesh);
    distance.storage[0] = transform.storage[1];
    std::vector<BareComputePass> passes;
    for (const BareDispatch& dispatch : {noise, move, transform, normals, distance})
        passes.emplace_back(std::vector{dispatch});
    const auto bare = [&passes]
    {
        for (const BareComputePass& pass : passes)
            pass.Run();
    };
    Compare(name, effort, measured, ours, bare);
}

// What is built on the CPU, beside the writes of its data alone.
void MeshBench::CompareGenerators()
{
    const auto compare = [&](const std::string& name, auto& runner)
    {
        if (!IsWanted(name))
            return;
        const Mesh mesh = runner.Run();
        std::vector<std::pair<wgpu::Buffer, std::vector<std::byte>>> writes;
        for (const Attribute& attribute : mesh.GetAttributes())
            writes.emplace_back(attribute.GetBuffer().GetBufferHandle(), ReadBuffer<std::byte>(attribute.GetBuffer()));
        const Buffer indices = mesh.GetConnectivity()->GetBuffer();
        writes.emplace_back(indices.GetBufferHandle(), ReadBuffer<std::byte>(indices));
        CompareWith(
            name, runner,
            [&writes]
            {
                for (const auto& [buffer, bytes] : writes)
                    Graphics::GetQueue().WriteBuffer(buffer, 0, bytes.data(), bytes.size());
            },
            Measured::Cpu);
    };
    MeshRunner<Sphere> sphere;
    compare("Sphere / the writes of its data, CPU", sphere);
    MeshRunner<Cube> cube;
    cube.Parameter<Vector3IntParameter>("Subdivisions").SetValue({64, 64, 64});
    compare("Cube of 64 cells a side / the writes, CPU", cube);
}

void MeshBench::CompareAll()
{
    cloud = MakeRichMesh(count);
    CompareTransform();
    CompareMove();
    CompareNoise();
    CompareDistance();
    CompareCreateAttribute();
    CompareCopy();
    CompareCopiesOfSpheres();
    CompareChain("Chain of five mesh operators", cloud, Measured::WholePass);
    CompareChain("Chain of five, 64 vertices, CPU", MakeRichMesh(64), Measured::Cpu);
    CompareGenerators();
}

} // namespace

void CompareMeshOperators(const Effort& effort, std::string_view filter)
{
    MeshBench(effort, filter).CompareAll();
}

} // namespace Varkle::Bench
