// What the operators that run a compute shader over a mesh share, and how they work together.

#include "Varkle/Kit/MeshComputePass.h"
#include "mesh/Copy.h"
#include "mesh/CreateAttribute.h"
#include "mesh/Distance.h"
#include "mesh/Move.h"
#include "mesh/Noise.h"
#include "mesh/NoiseAttribute.h"
#include "mesh/Sphere.h"
#include "mesh/Transform.h"
#include "support/MeshChecks.h"

#include <glm/gtc/matrix_transform.hpp>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

// ---- Meshes of more vertices than 65,535 workgroups have ----

constexpr unsigned rowLength = 65535 * 64;
constexpr unsigned longCount = rowLength + 130;
constexpr unsigned tailCount = 200; // begins in the first row

// Returns an attribute of which only the last values are known.
template<class T>
Attribute MakeLong(const AttributeSemantic& semantic, unsigned count, const std::vector<T>& tail)
{
    Attribute attribute(semantic, count);
    attribute.GetBuffer().Upload(tail.data(), tail.size() * sizeof(T), (count - tail.size()) * sizeof(T));
    return attribute;
}

template<class T>
std::vector<T> ReadTail(const Buffer& buffer, unsigned count, unsigned wanted = tailCount)
{
    Buffer tail(wanted * sizeof(T), wgpu::BufferUsage::CopySrc | wgpu::BufferUsage::CopyDst, false);
    tail.CopyFrom(buffer, (count - wanted) * sizeof(T), 0, wanted * sizeof(T));
    return ReadBuffer<T>(tail);
}

// A short mesh, and a long one that ends with the same vertices.
struct LongMesh
{
    explicit LongMesh(unsigned wantedCount, bool hasTangents = false) : count(wantedCount)
    {
        const Mesh rich = MakeRichMesh(tailCount);
        for (const AttributeSemantic& semantic : {Attributes::Position, Attributes::Normal})
        {
            tail = tail.AddAttribute(AttributeOf(rich, semantic.name));
            whole = whole.AddAttribute(MakeLong(semantic, count, ReadAttribute<glm::vec3>(rich, semantic.name)));
        }
        if (!hasTangents)
            return;
        tail = tail.AddAttribute(AttributeOf(rich, "Tangent"));
        whole = whole.AddAttribute(MakeLong(Attributes::Tangent, count, ReadTangents(rich)));
    }
    LongMesh(const LongMesh&) = delete;
    LongMesh& operator=(const LongMesh&) = delete;
    ~LongMesh()
    {
        tail = {};
        whole = {};
        Graphics::TrimPools(true); // large buffers are not kept for other tests
    }

    // Checks that the operator gives the last vertices what it gives them when there are no others.
    template<class T, class Op>
    void CheckSameTail(MeshRunner<Op>& runner, std::string_view attribute) const
    {
        INFO(attribute);
        const std::vector<T> expected = ReadAttribute<T>(runner.Run(tail), attribute);
        const Mesh result = runner.Run(whole);
        REQUIRE(AttributeOf(result, attribute).GetVertexCount() == count);
        CHECK(ReadTail<T>(AttributeOf(result, attribute).GetBuffer(), count) == expected);
        CHECK_FALSE(expected.front() == expected.back());
        runner.Run(tail); // gives the large buffers back
    }

    unsigned count;
    Mesh tail;
    Mesh whole;
};

glm::mat4 Moved(const glm::vec3& by)
{
    return glm::translate(glm::mat4(1.0f), by);
}

/// Holds five operators in a chain behind a sphere: noise as an attribute, by which vertices move, a transform, copies,
/// and the distance of the result from the origin.
struct Chain
{
    Chain()
    {
        Add(Sphere::Type());
        noise = Add(NoiseAttribute::Type());
        Add(MeshMove::Type());
        transform = Add(TransformMesh::Type());
        copy = Add(CopyMesh::Type());
        Add(MeshDistance::Type());
        Get<FloatParameter>(noise, "Amplitude").SetValue(0.0);
        Get<FloatParameter>(noise, "Offset").SetValue(0.5);
        Get<FloatParameter>(operators[2], "Amount").SetValue(1.0);
        Get<StringParameter>(operators[2], "Amount Attribute").SetValue("noise");
        Get<Transform3DParameter>(transform, "Transform").SetValue(glm::scale(glm::mat4(1.0f), glm::vec3(2)));
    }

    template<class P>
    static P& Get(Operator* op, std::string_view name)
    {
        return dynamic_cast<P&>(*op->FindParameter(name));
    }

    Operator* Add(const ObjectType* type)
    {
        Operator* const added = graph.Add(type);
        if (!operators.empty())
        {
            const Status connected = graph.Connect(*operators.back()->GetOutputs()[0], *added->FindInput("Mesh Input"));
            REQUIRE(connected);
        }
        operators.push_back(added);
        return added;
    }

    Mesh Output() const { return static_cast<MeshOutput*>(operators.back()->GetOutputs()[0])->GetMeshData().GetMesh(); }

    std::vector<unsigned long> Executions() const
    {
        std::vector<unsigned long> counts;
        for (const Operator* const op : operators)
            counts.push_back(op->GetExecutionCount());
        return counts;
    }

    ShaderIncludes includes;
    Graph graph;
    std::vector<Operator*> operators;
    Operator* noise = nullptr;
    Operator* transform = nullptr;
    Operator* copy = nullptr;
};

} // namespace

TEST_CASE("A normal matrix is the transposed inverse of the upper left three rows and columns")
{
    CHECK(GetNormalMatrix(glm::mat4(1.0f)) == glm::mat4(1.0f));
    CHECK(GetNormalMatrix(Moved({5, 6, 7})) == glm::mat4(1.0f));
    CHECK(GetNormalMatrix(glm::scale(Moved({5, 6, 7}), glm::vec3(2, -4, 8))) ==
          glm::scale(glm::mat4(1.0f), glm::vec3(0.5f, -0.25f, 0.125f)));
    glm::mat4 sheared(1.0f);
    sheared[1][0] = 0.5f; // adds half of y to x
    glm::mat4 expected(1.0f);
    expected[0][1] = -0.5f;
    CHECK(GetNormalMatrix(sheared) == expected);
    const glm::mat4 turned = glm::rotate(glm::mat4(1.0f), 0.7f, glm::normalize(glm::vec3(1, 2, 3)));
    for (int column = 0; column < 4; ++column)
        CHECK(glm::length(GetNormalMatrix(turned)[column] - turned[column]) < 1e-6f);
}

TEST_CASE("A normal matrix of a singular transform is not finite, outside its fourth row and column")
{
    const glm::mat4 matrix = GetNormalMatrix(glm::scale(glm::mat4(1.0f), glm::vec3(1, 0, 1)));
    CHECK_FALSE(std::isfinite(matrix[1][1]));
    CHECK(matrix[3] == glm::vec4(0, 0, 0, 1));
    CHECK(matrix[0][3] == 0.0f);
}

TEST_CASE("A placeholder is a storage buffer of that size")
{
    for (const unsigned size : {4u, 12u, 16u})
    {
        const Buffer buffer = MakePlaceholder(size);
        CHECK(buffer.GetSizeInBytes() == size);
        CHECK(buffer.GetBufferHandle().GetUsage() == wgpu::BufferUsage::Storage);
    }
}

TEST_CASE("A mesh pass reads the uniforms and buffers that it was given, also when it runs again at once")
{
    MeshComputePass pass("MoveMesh.wgsl");
    const Attribute positions = MakeAttribute(Attributes::Position, std::vector{glm::vec3(1, 2, 3), {4, 5, 6}});
    const Attribute normals = MakeAttribute(Attributes::Normal, std::vector{glm::vec3(1, 0, 0), {0, 1, 0}});
    const Attribute first(Attributes::Position, 2);
    const Attribute second(Attributes::Position, 2);
    pass.GetUniform("vertexCount").SetUInt(2);
    pass.GetUniform("useAttribute").SetUInt(0);
    pass.GetUniform("amount").SetFloat(10.0f);
    pass.Run(2, {Read(positions), Write(first), Read(normals), Read(MakePlaceholder(4))});
    pass.GetUniform("amount").SetFloat(20.0f);
    pass.Run(2, {Read(positions), Write(second), Read(normals.GetBuffer()), Read(MakePlaceholder(4))});
    CHECK(ReadAttribute<glm::vec3>(first) == std::vector{glm::vec3(11, 2, 3), {4, 15, 6}});
    CHECK(ReadAttribute<glm::vec3>(second) == std::vector{glm::vec3(21, 2, 3), {4, 25, 6}});
}

TEST_CASE("A mesh pass runs the shader as often as it is told")
{
    MeshComputePass pass("MoveMesh.wgsl");
    const std::vector<glm::vec3> ones(200, glm::vec3(1));
    const Attribute positions = MakeAttribute(Attributes::Position, ones);
    const Attribute normals = MakeAttribute(Attributes::Normal, ones);
    pass.GetUniform("vertexCount").SetUInt(200);
    pass.GetUniform("amount").SetFloat(1.0f);
    for (const unsigned count : {0u, 64u, 128u})
    {
        const Attribute moved = MakeAttribute(Attributes::Position, std::vector<glm::vec3>(200, glm::vec3(0)));
        const GpuCounters before = Graphics::GetCounters();
        pass.Run(count, {Read(positions), Write(moved), Read(normals), Read(MakePlaceholder(4))});
        CHECK(Graphics::GetCounters().dispatches == before.dispatches + (count > 0 ? 1 : 0));
        std::vector<glm::vec3> expected(200, glm::vec3(0));
        std::fill_n(expected.begin(), count, glm::vec3(2));
        CHECK(ReadAttribute<glm::vec3>(moved) == expected);
    }
}

TEST_CASE("Operators that move vertices reach those beyond 65,535 workgroups")
{
    const LogRecorder log;
    const LongMesh mesh(longCount, true);
    MeshRunner<TransformMesh> transform;
    transform.SetTransform("Transform", glm::rotate(Moved({1, 2, 3}), 0.5f, glm::vec3(0, 1, 0)));
    mesh.CheckSameTail<glm::vec3>(transform, "Position");
    mesh.CheckSameTail<glm::vec4>(transform, "Tangent");
    MeshRunner<MeshMove> move;
    mesh.CheckSameTail<glm::vec3>(move, "Position");
    MeshRunner<MeshDistance> distance;
    mesh.CheckSameTail<float>(distance, "distance");
    CHECK(log.lines.empty());
}

TEST_CASE("Operators with noise reach vertices beyond 65,535 workgroups")
{
    const LogRecorder log;
    const LongMesh mesh(longCount);
    MeshRunner<MeshNoise> noise;
    mesh.CheckSameTail<glm::vec3>(noise, "Normal");
    MeshRunner<NoiseAttribute> noiseAttribute;
    mesh.CheckSameTail<float>(noiseAttribute, "noise");
    CHECK(log.lines.empty());
}

TEST_CASE("Create Attribute reaches vertices beyond 65,535 workgroups")
{
    const LogRecorder log;
    const LongMesh mesh(longCount);
    for (const char* const type : {"Float32", "Float32x2", "Float32x3", "Float32x4"})
    {
        INFO(type);
        MeshRunner<CreateAttribute> runner;
        runner.SetEnum("Type", type);
        runner.SetEnum("Mode", "Random");
        const auto shoot = [&](const Mesh& input, unsigned count)
        {
            const Attribute attribute = AttributeOf(runner.Run(input), "attribute");
            const unsigned components = GetVertexFormatComponents(attribute.GetFormat());
            return ReadTail<float>(attribute.GetBuffer(), count * components, tailCount * components);
        };
        const std::vector<float> end = shoot(mesh.whole, longCount);
        // The seed is added to the number of the vertex.
        runner.SetInt("RNG Seed", longCount - tailCount);
        CHECK(end == shoot(mesh.tail, tailCount));
    }
    MeshRunner<CreateAttribute> runner;
    runner.SetEnum("Mode", "Sequence");
    runner.Parameter<FloatParameter>("Max").SetValue(longCount - 1);
    const std::vector<float> ramp =
        ReadTail<float>(AttributeOf(runner.Run(mesh.whole), "attribute").GetBuffer(), longCount);
    for (unsigned i = 0; i < tailCount; ++i)
        CHECK(double(ramp[i]) == Approx(longCount - tailCount + i).margin(0.5)); // floats there are 0.25 to 0.5 apart
    CHECK(log.lines.empty());
}

TEST_CASE("Mesh Copy reaches vertices and indices beyond 65,535 workgroups")
{
    const LogRecorder log;
    constexpr unsigned half = longCount / 2;
    const LongMesh mesh(half);
    const Connectivity indices(wgpu::PrimitiveTopology::TriangleList, half, wgpu::IndexFormat::Uint32);
    std::vector<std::uint32_t> tail(tailCount);
    for (unsigned i = 0; i < tailCount; ++i)
        tail[i] = 7 * i;
    indices.GetBuffer().Upload(tail.data(), 4 * tailCount, 4 * (half - tailCount));
    MeshRunner<CopyMesh> runner;
    runner.SetTransform("Step Transform", Moved({1, 2, 3}));
    const Mesh result = runner.Run(mesh.whole.SetConnectivity(indices));

    std::vector<glm::vec3> positions = ReadPositions(mesh.tail);
    for (glm::vec3& position : positions)
        position += glm::vec3(1, 2, 3);
    CHECK(ReadTail<glm::vec3>(AttributeOf(result, "Position").GetBuffer(), 2 * half) == positions);
    for (std::uint32_t& index : tail)
        index += half;
    CHECK(ReadTail<std::uint32_t>(result.GetConnectivity()->GetBuffer(), 2 * half) == tail);
    CHECK(log.lines.empty());
}

TEST_CASE("A mesh that is too large for the GPU's shaders is an error and leaves the output")
{
    const auto count = unsigned(Graphics::GetLimits().maxStorageBufferBindingSize / 12 + 1);
    const Attribute positions(Attributes::Position, count);
    REQUIRE(positions.GetBuffer());
    const Mesh mesh = Mesh().AddAttribute(positions);
    const auto check = [&](auto& runner)
    {
        const Mesh before = runner.Run(MakeRichMesh(3));
        const LogRecorder log;
        CHECK(IsSame(runner.Run(mesh), before));
        CHECK(log.Contains("error: "));
        Graphics::TrimPools(true);
    };
    MeshRunner<TransformMesh> transform;
    check(transform);
    MeshRunner<CopyMesh> copy;
    copy.SetInt("Count", 1);
    check(copy);
    MeshRunner<MeshDistance> distance;
    check(distance);
    MeshRunner<NoiseAttribute> noiseAttribute;
    check(noiseAttribute);
}

TEST_CASE("Operators of one kind share a compute pipeline and the compilation of its shader")
{
    MeshRunner<MeshMove> first;
    first.Run(MakeRichMesh(3));
    const GpuCounters before = Graphics::GetCounters();
    MeshRunner<MeshMove> second;
    second.SetFloat("Amount", 3.0);
    const Mesh mesh = MakeRichMesh(3);
    CHECK(ReadPositions(second.Run(mesh))[0] == ReadPositions(mesh)[0] + 3.0f * ReadNormals(mesh)[0]);
    CHECK(Graphics::GetCounters().pipelinesCreated == before.pipelinesCreated);
    CHECK(Graphics::GetCounters().shadersCompiled == before.shadersCompiled);
}

TEST_CASE("A chain of five mesh operators works on the GPU alone: a sphere that grew, was scaled and copied")
{
    Chain chain;
    const std::uint64_t readBacks = Graphics::GetCounters().readBacks;
    const std::uint64_t passes = Graphics::GetCounters().computePasses;
    const LogRecorder log;
    chain.graph.Run();
    CHECK(Graphics::GetCounters().computePasses == passes + 5);
    CHECK(Graphics::GetCounters().readBacks == readBacks);
    CHECK(log.lines.empty());
    CHECK(DescribeAttributes(chain.Output()) == Lines{"TexCoord0: Float32x2, 994", "noise: Float32, 994",
                                                      "Position: Float32x3, 994", "Normal: Float32x3, 994",
                                                      "Tangent: Float32x4, 994", "distance: Float32, 994"});
    // Radius 0.5, moved out by 0.5, twice as large.
    for (const float distance : ReadAttribute<float>(chain.Output(), "distance"))
        CHECK(distance == Approx(2.0).margin(1e-5));
}

TEST_CASE("A chain of mesh operators runs again from the one that changed on")
{
    Chain chain;
    chain.graph.Run();
    chain.graph.Run();
    CHECK(chain.Executions() == std::vector<unsigned long>{1, 1, 1, 1, 1, 1});
    Chain::Get<Transform3DParameter>(chain.transform, "Transform").SetValue(glm::mat4(1.0f));
    chain.graph.Run();
    CHECK(chain.Executions() == std::vector<unsigned long>{1, 1, 1, 2, 2, 2});
    CHECK(ReadAttribute<float>(chain.Output(), "distance")[5] == Approx(1.0).margin(1e-5));
    Chain::Get<FloatParameter>(chain.noise, "Offset").SetValue(1.5);
    chain.graph.Run();
    CHECK(chain.Executions() == std::vector<unsigned long>{1, 2, 2, 3, 3, 3});
    CHECK(ReadAttribute<float>(chain.Output(), "distance")[5] == Approx(2.0).margin(1e-5));
}

TEST_CASE("A chain of mesh operators in the steady state creates nothing on the GPU and reads nothing back")
{
    Chain chain;
    const LogRecorder log;
    const auto runSome = [&](int count)
    {
        for (int i = 0; i < count; ++i)
        {
            auto& offset = Chain::Get<FloatParameter>(chain.noise, "Offset");
            offset.SetValue(offset.Value() + 0.1);
            chain.graph.Run();
            Graphics::ProcessEvents();
        }
    };
    runSome(5);
    const GpuCounters before = Graphics::GetCounters();
    runSome(10);
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.computePasses == before.computePasses + 50);
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.pipelinesCreated == before.pipelinesCreated);
    CHECK(after.shadersCompiled == before.shadersCompiled);
    CHECK(after.readBacks == before.readBacks);
    CHECK(after.errors == before.errors);
    CHECK(log.lines.empty());
}
