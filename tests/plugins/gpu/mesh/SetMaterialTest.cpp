#include "mesh/SetMaterial.h"
#include "support/MeshChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("Set Material has a mesh input, a material input, a mesh output and no parameters")
{
    MeshRunner<SetMaterial> runner;
    CHECK(DescribePorts(runner.Get()) ==
          Lines{"Mesh Input: takes Mesh", "Material Input: takes Material", "Mesh Output: gives Mesh"});
    CHECK(runner.Get().GetParameters().empty());
}

TEST_CASE("Set Material gives a mesh the material and shares everything else")
{
    MeshRunner<SetMaterial> runner;
    const std::shared_ptr<Material> material = std::make_shared<GltfPbrMaterial>();
    runner.FeedMaterial(material);
    const Mesh mesh = MakeRichMesh(5).SetMaterial(nullptr);
    runner.Feed(mesh);
    const Mesh result = RunWithoutPass(runner);
    CHECK(result.GetMaterial() == material);
    CHECK(mesh.GetMaterial() == nullptr);
    CheckShared(mesh, result.SetMaterial(nullptr), {});
}

TEST_CASE("Set Material replaces a mesh's material in its output only")
{
    MeshRunner<SetMaterial> runner;
    const std::shared_ptr<Material> material = std::make_shared<GltfPbrMaterial>();
    runner.FeedMaterial(material);
    const Mesh mesh = MakeRichMesh(5);
    const std::shared_ptr<Material> own = mesh.GetMaterial();
    REQUIRE(own);
    CHECK(runner.Run(mesh).GetMaterial() == material);
    CHECK(mesh.GetMaterial() == own);
}

TEST_CASE("Set Material without a material hands the mesh on as it is, with the material that it has")
{
    MeshRunner<SetMaterial> runner;
    const Mesh mesh = MakeRichMesh(5);
    CheckPassesThrough(runner, mesh);
    CHECK(runner.Output().GetMaterial() == mesh.GetMaterial());
    CheckPassesThrough(runner, Mesh());
    runner.FeedMaterial({}); // connected to an operator that carries none
    CheckPassesThrough(runner, mesh);
}

TEST_CASE("Set Material takes a mesh without anything")
{
    MeshRunner<SetMaterial> runner;
    const std::shared_ptr<Material> material = std::make_shared<UnlitMaterial>();
    runner.FeedMaterial(material);
    const Mesh result = runner.Run(Mesh());
    CHECK(result.GetMaterial() == material);
    CHECK(result.GetAttributes().empty());
}

TEST_CASE("Set Material follows its inputs: a new material, a new mesh, the material gone")
{
    MeshRunner<SetMaterial> runner;
    const std::shared_ptr<Material> first = std::make_shared<UnlitMaterial>();
    const std::shared_ptr<Material> second = std::make_shared<UnlitMaterial>();
    const Mesh mesh = MakeRichMesh(5);
    runner.FeedMaterial(first);
    const Mesh before = runner.Run(mesh);
    runner.FeedMaterial(second);
    CHECK(runner.Run().GetMaterial() == second);
    CHECK(before.GetMaterial() == first);
    CHECK(runner.Run(MakeRichMesh(3)).GetMaterial() == second);
    runner.Disconnect("Material Input");
    CHECK(runner.Run(mesh).GetMaterial() == mesh.GetMaterial());
}

TEST_CASE("Set Material without a mesh keeps what it published")
{
    MeshRunner<SetMaterial> runner;
    CheckNeedsMesh(runner);
    MeshRunner<SetMaterial> withMaterial;
    withMaterial.FeedMaterial(std::make_shared<UnlitMaterial>());
    CheckNeedsMesh(withMaterial);
}

TEST_CASE("Set Material in the steady state creates nothing on the GPU and runs no pass")
{
    MeshRunner<SetMaterial> runner;
    runner.Feed(MakeRichMesh(10));
    CheckMeshSteadyState(
        runner, [&](int) { runner.FeedMaterial(std::make_shared<UnlitMaterial>()); }, 0);
}
