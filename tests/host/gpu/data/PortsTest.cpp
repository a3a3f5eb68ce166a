#include "Varkle/Gpu/Ports.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Gpu/Graphics.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"

using namespace Varkle;

namespace
{

/// Publishes what the test put into it; `active` decides whether it publishes at all.
template<class Output, class Data>
class Source final : public Operator
{
public:
    void Execute(ExecutionContext&) override
    {
        if (active)
            output.Activate(data);
        else
            output.Clear();
    }

    Output output{this, "Output"};
    Data data{};
    bool active = true;
};

template<class Input>
class Sink final : public Operator
{
public:
    void Execute(ExecutionContext&) override { ++executions; }

    Input input{this, "Input"};
    int executions = 0;
};

using TextureSource = Source<TextureOutput, Texture>;
using MeshSource = Source<MeshOutput, Mesh>;
using MaterialSource = Source<MaterialOutput, std::shared_ptr<Material>>;
using ModelSource = Source<ModelOutput, Model>;

/// A graph of one operator that feeds another.
template<class From, class To>
struct Pair
{
    Pair()
        : source(static_cast<From&>(*graph.Add(std::make_unique<From>()))),
          sink(static_cast<To&>(*graph.Add(std::make_unique<To>())))
    {
    }

    /// Executes the source anew, and what it outdates.
    void RunSource()
    {
        source.MarkDirty();
        graph.Run();
    }

    Graph graph;
    From& source;
    To& sink;
};

Texture MakeTexture()
{
    Texture texture = Texture::Create({2, 2}, wgpu::TextureFormat::RGBA8Unorm);
    REQUIRE(texture);
    return texture;
}

/// A model whose root has that many children.
Model MakeModel(int children)
{
    ModelNode root;
    for (int i = 0; i < children; ++i)
        root.AddChild(ModelNode());
    Model model;
    model.SetRootNode(root);
    return model;
}

} // namespace

TEST_CASE("An input with nothing connected carries nothing")
{
    const Sink<TextureInput> texture;
    CHECK_FALSE(texture.input.HasTexture());
    CHECK_FALSE(texture.input.GetTexture());
    const Sink<MeshInput> mesh;
    CHECK_FALSE(mesh.input.HasMesh());
    CHECK(mesh.input.GetMeshData().GetMesh().GetAttributes().empty());
    const Sink<MaterialInput> material;
    CHECK_FALSE(material.input.HasMaterial());
    CHECK(material.input.GetMaterialData().GetMaterial() == nullptr);
    const Sink<ModelInput> model;
    CHECK_FALSE(model.input.HasModel());
    CHECK(model.input.GetModel().GetRootNode() == nullptr);
}

TEST_CASE("A texture input without a texture yields the default texture when asked for it")
{
    const Sink<TextureInput> texture;
    const Texture instead = texture.input.GetTextureOrDefault();
    CHECK(instead == GetDefaultTexture());
    CHECK(instead.GetWidth() == 1);
    CHECK(instead.GetHeight() == 1);
}

TEST_CASE("A texture goes from an output to the input that it feeds")
{
    Pair<TextureSource, Sink<TextureInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    CHECK_FALSE(pair.sink.input.HasTexture()); // nothing was activated yet

    pair.source.data = MakeTexture();
    pair.graph.Run();
    CHECK(pair.sink.input.HasTexture());
    CHECK(pair.sink.input.GetTexture() == pair.source.data);
    CHECK(pair.sink.input.GetTextureOrDefault() == pair.source.data);

    pair.graph.Disconnect(pair.sink.input);
    CHECK_FALSE(pair.sink.input.HasTexture());
    CHECK_FALSE(pair.sink.input.GetTexture());
}

TEST_CASE("The same texture activated again is new to what it feeds")
{
    Pair<TextureSource, Sink<TextureInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = MakeTexture();
    pair.graph.Run();
    pair.graph.Run();
    CHECK(pair.sink.executions == 1);
    pair.RunSource();
    CHECK(pair.sink.executions == 2);
}

TEST_CASE("An empty texture is published as nothing")
{
    Pair<TextureSource, Sink<TextureInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = MakeTexture();
    pair.graph.Run();
    pair.source.data = {};
    pair.RunSource();
    CHECK_FALSE(pair.source.output.IsActive());
    CHECK_FALSE(pair.source.output.GetTexture());
    CHECK_FALSE(pair.sink.input.HasTexture());
    CHECK(pair.sink.executions == 2);
}

TEST_CASE("An output that is cleared lets go of its texture")
{
    Pair<TextureSource, Sink<TextureInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = MakeTexture();
    pair.graph.Run();
    pair.source.active = false;
    pair.RunSource();
    CHECK_FALSE(pair.source.output.GetTexture());
    CHECK_FALSE(pair.sink.input.HasTexture());
}

TEST_CASE("A mesh goes from an output to the input that it feeds")
{
    Pair<MeshSource, Sink<MeshInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    const auto material = std::make_shared<UnlitMaterial>();
    pair.source.data = Mesh().SetMaterial(material);
    pair.graph.Run();
    CHECK(pair.sink.input.HasMesh());
    CHECK(pair.sink.input.GetMeshData().GetMesh().GetMaterial() == material);

    pair.source.active = false;
    pair.RunSource();
    CHECK_FALSE(pair.sink.input.HasMesh());
    CHECK(pair.sink.input.GetMeshData().GetMesh().GetMaterial() == nullptr);
}

TEST_CASE("A mesh without anything is a mesh all the same")
{
    Pair<MeshSource, Sink<MeshInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.graph.Run();
    CHECK(pair.sink.input.HasMesh());
    CHECK(pair.sink.input.GetMeshData().GetMesh().GetAttributes().empty());
}

TEST_CASE("A material goes from an output to the input that it feeds, and null is published as nothing")
{
    Pair<MaterialSource, Sink<MaterialInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = std::make_shared<GltfPbrMaterial>();
    pair.graph.Run();
    CHECK(pair.sink.input.HasMaterial());
    CHECK(pair.sink.input.GetMaterialData().GetMaterial() == pair.source.data);

    pair.source.data = nullptr;
    pair.RunSource();
    CHECK_FALSE(pair.source.output.IsActive());
    CHECK_FALSE(pair.sink.input.HasMaterial());
    CHECK(pair.sink.input.GetMaterialData().GetMaterial() == nullptr);
}

TEST_CASE("A model goes from an output to the input that it feeds")
{
    Pair<ModelSource, Sink<ModelInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = MakeModel(2);
    pair.graph.Run();
    CHECK(pair.sink.input.HasModel());
    REQUIRE(pair.sink.input.GetModel().GetRootNode() != nullptr);
    CHECK(pair.sink.input.GetModel().GetRootNode()->GetChildren().size() == 2);

    pair.source.active = false;
    pair.RunSource();
    CHECK_FALSE(pair.sink.input.HasModel());
    CHECK(pair.sink.input.GetModel().GetRootNode() == nullptr);
}

TEST_CASE("An output feeds inputs of its own kind only")
{
    Pair<MeshSource, Sink<TextureInput>> pair;
    CHECK_FALSE(pair.graph.Connect(pair.source.output, pair.sink.input));
    CHECK(pair.sink.input.GetConnection() == nullptr);
}

TEST_CASE("Ports have one type a class and name what they carry")
{
    MaterialSource material;
    ModelSource model;
    MeshSource mesh;
    TextureSource texture;
    CHECK(texture.output.GetType() == TextureOutput::Type());
    CHECK(texture.output.GetInputType() == TextureInput::Type());
    CHECK(texture.output.GetDataTypeName() == "Texture");
    CHECK(mesh.output.GetType() == MeshOutput::Type());
    CHECK(mesh.output.GetInputType() == MeshInput::Type());
    CHECK(mesh.output.GetDataTypeName() == "Mesh");
    CHECK(material.output.GetType() == MaterialOutput::Type());
    CHECK(material.output.GetInputType() == MaterialInput::Type());
    CHECK(material.output.GetDataTypeName() == "Material");
    CHECK(model.output.GetType() == ModelOutput::Type());
    CHECK(model.output.GetInputType() == ModelInput::Type());
    CHECK(model.output.GetDataTypeName() == "Model");
    CHECK(TextureInput::Type() != MeshInput::Type());
}

TEST_CASE("The types of inputs make the elements of input lists")
{
    for (const ObjectType* type : {TextureInput::Type(), MeshInput::Type(), MaterialInput::Type(), ModelInput::Type()})
    {
        const std::unique_ptr<Object> made = type->Create();
        REQUIRE(made != nullptr);
        CHECK(made->GetType() == type);
        CHECK(dynamic_cast<DataInput*>(made.get()) != nullptr);
    }
    CHECK(TextureOutput::Type()->Create() == nullptr);
}

TEST_CASE("Textures reach the elements of an input list")
{
    class ListSink final : public Operator
    {
    public:
        void Execute(ExecutionContext&) override {}
        DataInputList list{this, "Inputs", TextureInput::Type(), {}};
    };
    Pair<TextureSource, ListSink> pair;
    const Result<DataInput*> element = pair.graph.Connect(pair.source.output, pair.sink.list);
    REQUIRE(element);
    pair.source.data = MakeTexture();
    pair.graph.Run();
    REQUIRE(pair.sink.list.GetInputs().size() == 1);
    CHECK(static_cast<TextureInput*>(pair.sink.list.GetInputs()[0])->GetTexture() == pair.source.data);
    CHECK(pair.sink.list.GetDataTypeName() == "Texture");
}

TEST_CASE("A mesh that the GPU could not make is not published, and what was published before stays")
{
    Pair<MeshSource, Sink<MeshInput>> pair;
    REQUIRE(pair.graph.Connect(pair.source.output, pair.sink.input));
    pair.source.data = Mesh().AddAttribute(Attribute(Attributes::Position, 3));
    pair.RunSource();
    const auto* const before = &pair.sink.input.GetMeshData().GetMesh().GetAttributes();
    REQUIRE(before->size() == 1);
    const LogRecorder log;
    Graphics::FailNext(GpuRequest::Buffer);
    pair.source.data = Mesh().AddAttribute(Attribute(Attributes::Position, 3));
    CHECK(log.Contains("A buffer of 36 bytes could not be made: "));
    CHECK_FALSE(pair.source.data.IsComplete());
    pair.RunSource();
    CHECK(&pair.sink.input.GetMeshData().GetMesh().GetAttributes() == before);
    CHECK(pair.sink.executions == 1);
}
