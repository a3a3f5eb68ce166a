#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Parameters.h"
#include "Varkle/Core/Plugin.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Gpu/Glb.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Ports.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"

#include <string_view>
#include <vector>

// What operators put out when the GPU can't give them what they ask for.

using namespace Varkle;

namespace
{

// Returns an address that stands for what an output carries: another result has another one.
const void* Identify(const DataOutput& output)
{
    if (const auto* const texture = dynamic_cast<const TextureOutput*>(&output))
        return texture->GetTexture().GetTextureView({}).Get();
    if (const auto* const mesh = dynamic_cast<const MeshOutput*>(&output))
        return &mesh->GetMeshData().GetMesh().GetAttributes();
    if (const auto* const model = dynamic_cast<const ModelOutput*>(&output))
        return model->GetModel().GetRootNode();
    return nullptr;
}

// A graph of one operator with everything connected that it takes.
struct Bench
{
    Operator* Make(std::string_view id) { return graph.Add(TypeLibrary::Get().Find(id)->type); }

    DataOutput& FindSource(std::string_view dataType)
    {
        if (dataType == "Texture")
            return *Make("Varkle.Texture.Color")->GetOutputs()[0];
        if (dataType == "Mesh")
            return *Make("Varkle.Mesh.Cube")->GetOutputs()[0];
        if (dataType == "Material")
            return *Make("Varkle.Material.UnlitMaterial")->GetOutputs()[0];
        return *Make("Varkle.Model.Load3DModel")->GetOutputs()[0];
    }

    Operator* MakeConnected(const ObjectType* type)
    {
        Operator* const op = graph.Add(type);
        for (Object* const port : op->GetInputs())
        {
            if (auto* const input = dynamic_cast<DataInput*>(port))
                REQUIRE(graph.Connect(FindSource(input->GetDataTypeName()), *input));
            else if (auto* const list = dynamic_cast<DataInputList*>(port))
                REQUIRE(graph.Connect(FindSource(list->GetDataTypeName()), *list));
        }
        if (auto* const path = dynamic_cast<StringParameter*>(op->FindParameter("Path")))
            path->SetValue(folder / "picture.png");
        if (auto* const path = dynamic_cast<StringParameter*>(op->FindParameter("File Path")))
            path->SetValue(folder / "model.glb");
        graph.Run();
        return op;
    }

    TemporaryFolder folder;
    Graph graph;
};

std::string_view TextOf(const std::vector<std::uint8_t>& bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void WriteFiles(const TemporaryFolder& folder)
{
    WriteBytes(folder / "picture.png", TextOf(Image({1, 1}, {255, 0, 0, 255}).Encode(ImageFormat::Png)));
    const float corners[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const Attribute position(Attributes::Position, 3);
    position.GetBuffer().Upload(corners, sizeof(corners), 0);
    const Result<std::vector<std::uint8_t>> glb = EncodeGlb(Mesh().AddAttribute(position));
    REQUIRE(glb);
    WriteBytes(folder / "model.glb", TextOf(*glb));
}

// Runs the operator again and again, with the first, the second, ... request of a kind refused, until none is left.
// Returns how many were.
unsigned RefuseEach(GpuRequest request, Graph& graph, Operator& op)
{
    const DataOutput& output = *op.GetOutputs()[0];
    for (unsigned position = 0;; ++position)
    {
        const void* const before = Identify(output);
        const LogRecorder log;
        Graphics::FailNext(request, 1, position);
        op.MarkDirty();
        graph.Run();
        Graphics::FailNext(request, 0);
        if (log.lines.empty())
            return position;
        INFO(log.lines[0]);
        CHECK(Identify(output) == before);
        REQUIRE(position < 100);
    }
}

} // namespace

TEST_CASE("An operator that the GPU refuses something keeps what it put out, whatever and whichever it is")
{
    const Result<Plugin> plugin = Plugin::Load(VARKLE_PLUGIN);
    REQUIRE(plugin);
    unsigned refused = 0;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
    {
        INFO(info.type->GetId());
        Bench bench;
        WriteFiles(bench.folder);
        Operator* const op = bench.MakeConnected(info.type);
        if (op->GetOutputs().empty() || !op->GetOutputs()[0]->IsActive())
            continue;
        for (const GpuRequest request :
             {GpuRequest::Texture, GpuRequest::Buffer, GpuRequest::BindGroup, GpuRequest::Pass})
            refused += RefuseEach(request, bench.graph, *op);
        // What it could not have it asks for again.
        const LogRecorder log;
        op->MarkDirty();
        bench.graph.Run();
        CHECK(log.lines.empty());
        CHECK(op->GetOutputs()[0]->IsActive());
    }
    CHECK(refused > 60);
}
