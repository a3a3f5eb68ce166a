#include "material/UnlitMaterial.h"
#include "support/OperatorChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

std::shared_ptr<UnlitMaterial> Output(OperatorRunner<UnlitMaterialOperator>& runner)
{
    const auto* const output = static_cast<MaterialOutput*>(runner.Get().GetOutputs()[0]);
    return std::dynamic_pointer_cast<UnlitMaterial>(output->GetMaterialData().GetMaterial());
}

std::shared_ptr<UnlitMaterial> Run(OperatorRunner<UnlitMaterialOperator>& runner)
{
    runner.Execute();
    std::shared_ptr<UnlitMaterial> material = Output(runner);
    REQUIRE(material);
    return material;
}

} // namespace

TEST_CASE("Unlit Material has a texture input, a color and a material output")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Base Color Texture: takes Texture", "Material Output: gives Material"});
    CHECK(Describe(runner.Get().GetParameters()) == Lines{"Base Color: Color = 1 1 1 1"});
    CHECK(runner.Parameter<ColorParameter>("Base Color").IsAlphaEnabled());
}

TEST_CASE("Unlit Material is opaque white without a texture at first")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    const std::shared_ptr<UnlitMaterial> material = Run(runner);
    CHECK(material->GetBaseColor() == glm::vec4(1));
    CHECK_FALSE(material->GetBaseColorTexture());
}

TEST_CASE("Unlit Material has the color as it is, alpha included, and the texture")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    runner.SetColor("Base Color", {0.25, -1.0, 8.0, 0.125});
    const Texture texture = Filled({2, 2}, {1, 2, 3, 4});
    runner.Connect("Base Color Texture", texture);
    const std::shared_ptr<UnlitMaterial> material = Run(runner);
    CHECK(material->GetBaseColor() == glm::vec4(0.25f, -1.0f, 8.0f, 0.125f));
    CHECK(material->GetBaseColorTexture() == texture);
}

TEST_CASE("Unlit Material makes a new material on every execution and leaves the one before as it was")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    const Texture texture = Filled({2, 2}, {1, 2, 3, 4});
    runner.Connect("Base Color Texture", texture);
    const std::shared_ptr<UnlitMaterial> first = Run(runner);
    runner.SetColor("Base Color", {0.5, 0.5, 0.5, 0.5});
    const std::shared_ptr<UnlitMaterial> second = Run(runner);
    CHECK(second != first);
    CHECK(first->GetBaseColor() == glm::vec4(1));
    CHECK(second->GetBaseColor() == glm::vec4(0.5f));

    runner.Disconnect("Base Color Texture");
    const std::shared_ptr<UnlitMaterial> third = Run(runner);
    CHECK(third != second);
    CHECK_FALSE(third->GetBaseColorTexture());
    CHECK(second->GetBaseColorTexture() == texture);

    runner.Get().MarkDirty();
    CHECK(Run(runner) != third);
    CHECK(Run(runner) == Output(runner)); // nothing changed: it does not run
}

TEST_CASE("Unlit Material fed by an operator without a texture has none")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    runner.Connect("Base Color Texture", {});
    CHECK_FALSE(Run(runner)->GetBaseColorTexture());
}

TEST_CASE("Unlit Material does nothing on the GPU")
{
    OperatorRunner<UnlitMaterialOperator> runner;
    runner.Connect("Base Color Texture", Filled({2, 2}, {1, 2, 3, 4}));
    runner.Execute();
    const GpuCounters before = Graphics::GetCounters();
    for (int i = 0; i < 5; ++i)
    {
        runner.SetColor("Base Color", {0.1 * i, 0, 0, 1});
        runner.Execute();
    }
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.renderPasses == before.renderPasses);
    CHECK(after.computePasses == before.computePasses);
    CHECK(after.texturesCreated == before.texturesCreated);
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.bytesUploaded == before.bytesUploaded);
}
