#pragma once

#include "Varkle/Gpu/Shader.h"
#include "Varkle/Kit/Resources.h"
#include "support/OperatorRunner.h"
#include "support/ReadBuffer.h"

#include <glm/glm.hpp>
#include <optional>
#include <random>

// Tiny meshes for tests: made by hand, fed to an operator, read back, compared.

namespace Varkle::Testing
{

/// Publishes whatever a test gives it, or nothing.
template<class Output, class Data>
class DataSource final : public Operator
{
public:
    static const ObjectType* Type()
    {
        static const ObjectType type("Test.DataSource", Operator::Type(), [] { return new DataSource; });
        return &type;
    }
    const ObjectType* GetType() const override { return Type(); }
    void Execute(ExecutionContext&) override
    {
        if (data)
            output.Activate(*data);
        else
            output.Clear();
    }

    void Set(std::optional<Data> newData)
    {
        data = std::move(newData);
        MarkDirty();
    }

private:
    Output output{this, "Output"};
    std::optional<Data> data;
};

using MeshSource = DataSource<MeshOutput, Mesh>;
using MaterialSource = DataSource<MaterialOutput, std::shared_ptr<Material>>;

/// Registers what shaders of meshes include, as the plug-in does when it is loaded.
struct ShaderIncludes
{
    ShaderIncludes()
    {
        const auto add = [](const char* name, const char* path)
        { Shader::AddIncludableFile(name, std::string(Resources::ReadText(path))); };
        add("Noise/PSRD3.wgsl", "Shaders/Noise/psrdnoise3.wgsl");
        add("Random.wgsl", "Shaders/Random.wgsl");
    }
};

/// Holds one operator with a mesh output in a graph of its own, with a source for its inputs.
template<class Op>
class MeshRunner : private ShaderIncludes, public OperatorRunner<Op>
{
public:
    void SetVector3(std::string_view name, glm::dvec3 value)
    {
        this->template Parameter<Vector3Parameter>(name).SetValue(value);
    }

    /// Feeds "Mesh Input"; without a mesh it stays connected to a source that carries nothing.
    void Feed(std::optional<Mesh> mesh) { FeedInput<MeshSource>("Mesh Input", std::move(mesh)); }
    /// Feeds "Material Input" likewise.
    void FeedMaterial(std::optional<std::shared_ptr<Material>> material)
    {
        FeedInput<MaterialSource>("Material Input", std::move(material));
    }

    MeshOutput& GetOutput() { return *static_cast<MeshOutput*>(this->Get().GetOutputs()[0]); }

    /// Returns what the output carries now, an empty mesh when it carries nothing.
    Mesh Output() { return GetOutput().GetMeshData().GetMesh(); }

    Mesh Run()
    {
        this->Execute();
        return Output();
    }
    Mesh Run(const Mesh& mesh)
    {
        Feed(mesh);
        return Run();
    }

private:
    template<class SourceType, class Data>
    void FeedInput(std::string_view name, Data data)
    {
        DataInput& input = *this->Get().FindInput(name);
        if (!input.GetConnection())
        {
            Operator* const added = this->GetGraph().Add(SourceType::Type());
            if (!this->GetGraph().Connect(*added->GetOutputs()[0], input))
                throw std::logic_error("the source can't be connected");
        }
        static_cast<SourceType*>(input.GetConnection()->GetOperator())->Set(std::move(data));
    }
};

/// True when both are handles of one mesh.
inline bool IsSame(const Mesh& a, const Mesh& b)
{
    return &a.GetAttributes() == &b.GetAttributes();
}

inline const Attribute& AttributeOf(const Mesh& mesh, std::string_view name)
{
    const Attribute* const attribute = mesh.GetAttribute(name);
    if (!attribute)
        throw std::invalid_argument("there is no attribute " + std::string(name));
    return *attribute;
}

/// Returns an attribute's values, as many as there are vertices.
template<class T>
std::vector<T> ReadAttribute(const Attribute& attribute)
{
    if (GetVertexFormatSize(attribute.GetFormat()) != sizeof(T))
        throw std::invalid_argument(attribute.GetName() + " is of another type");
    std::vector<T> values = ReadBuffer<T>(attribute.GetBuffer());
    values.resize(attribute.GetVertexCount()); // without vertices the buffer has room for one
    return values;
}
template<class T>
std::vector<T> ReadAttribute(const Mesh& mesh, std::string_view name)
{
    return ReadAttribute<T>(AttributeOf(mesh, name));
}

inline std::vector<glm::vec3> ReadPositions(const Mesh& mesh)
{
    return ReadAttribute<glm::vec3>(mesh, "Position");
}
inline std::vector<glm::vec3> ReadNormals(const Mesh& mesh)
{
    return ReadAttribute<glm::vec3>(mesh, "Normal");
}
inline std::vector<glm::vec4> ReadTangents(const Mesh& mesh)
{
    return ReadAttribute<glm::vec4>(mesh, "Tangent");
}
inline std::vector<glm::vec2> ReadTexCoords(const Mesh& mesh)
{
    return ReadAttribute<glm::vec2>(mesh, "TexCoord0");
}

/// Returns the 32-bit indices.
inline std::vector<std::uint32_t> ReadIndices(const Mesh& mesh)
{
    const Connectivity* const connectivity = mesh.GetConnectivity();
    if (!connectivity || connectivity->GetIndexFormat() != wgpu::IndexFormat::Uint32)
        throw std::invalid_argument("there are no 32-bit indices");
    std::vector<std::uint32_t> indices = ReadBuffer<std::uint32_t>(connectivity->GetBuffer());
    indices.resize(connectivity->GetIndexCount());
    return indices;
}

template<class T>
Attribute MakeAttribute(std::string_view name, wgpu::VertexFormat format, const std::vector<T>& values)
{
    Attribute attribute(name, format, unsigned(values.size()));
    attribute.GetBuffer().Upload(values.data(), values.size() * sizeof(T), 0);
    return attribute;
}
template<class T>
Attribute MakeAttribute(const AttributeSemantic& semantic, const std::vector<T>& values)
{
    return MakeAttribute(semantic.name, semantic.format, values);
}

inline Connectivity MakeTriangles(const std::vector<std::uint32_t>& indices)
{
    Connectivity connectivity(wgpu::PrimitiveTopology::TriangleList, unsigned(indices.size()),
                              wgpu::IndexFormat::Uint32);
    connectivity.GetBuffer().Upload(indices.data(), indices.size() * 4, 0);
    return connectivity;
}

/// Returns a mesh of points without anything else.
inline Mesh MakePoints(const std::vector<glm::vec3>& positions)
{
    return Mesh().AddAttribute(MakeAttribute(Attributes::Position, positions));
}

/// Returns scattered points, the same for the same count: multiples of 1/64 within -4..4.
inline std::vector<glm::vec3> ScatterPoints(unsigned count)
{
    std::mt19937 random(count);
    const auto coordinate = [&random] { return float(int(random() % 513) - 256) / 64.0f; };
    std::vector<glm::vec3> points(count);
    for (glm::vec3& point : points)
        point = {coordinate(), coordinate(), coordinate()};
    return points;
}

/// Returns unit vectors in all directions.
inline std::vector<glm::vec3> ScatterDirections(unsigned count)
{
    std::mt19937 random(count + 1);
    std::vector<glm::vec3> directions(count);
    for (glm::vec3& direction : directions)
    {
        const auto coordinate = [&random] { return float(random() % 2001) - 1000.5f; };
        direction = glm::normalize(glm::vec3(coordinate(), coordinate(), coordinate()));
    }
    return directions;
}

/// Returns a mesh with everything: "Weight", "Normal", "TexCoord0", "Position", "Tangent" (handedness 1 and -1 by
/// turns), "Color0", triangles and a material. "Weight" counts up by quarters from -1.
inline Mesh MakeRichMesh(unsigned count)
{
    const std::vector<glm::vec3> directions = ScatterDirections(count + 7);
    std::vector<float> weights(count);
    std::vector<glm::vec3> normals(count);
    std::vector<glm::vec4> tangents(count);
    std::vector<glm::vec2> texCoords(count);
    std::vector<glm::vec4> colors(count);
    std::vector<std::uint32_t> indices;
    for (unsigned i = 0; i < count; ++i)
    {
        weights[i] = float(i) / 4.0f - 1.0f;
        normals[i] = directions[i];
        tangents[i] = glm::vec4(directions[i + 7], i % 2 ? -1.0f : 1.0f);
        texCoords[i] = {float(i), 0.5f};
        colors[i] = {1, 0, float(i), 1};
        indices.insert(indices.end(), {i, (i + 1) % count, (i + 2) % count});
    }
    return Mesh()
        .AddAttribute(MakeAttribute("Weight", wgpu::VertexFormat::Float32, weights))
        .AddAttribute(MakeAttribute(Attributes::Normal, normals))
        .AddAttribute(MakeAttribute(Attributes::TexCoord0, texCoords))
        .AddAttribute(MakeAttribute(Attributes::Position, ScatterPoints(count)))
        .AddAttribute(MakeAttribute(Attributes::Tangent, tangents))
        .AddAttribute(MakeAttribute(Attributes::Color0, colors))
        .SetConnectivity(MakeTriangles(indices))
        .SetMaterial(std::make_shared<UnlitMaterial>());
}

} // namespace Varkle::Testing
