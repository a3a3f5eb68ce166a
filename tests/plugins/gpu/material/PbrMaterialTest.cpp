#include "material/PbrMaterial.h"
#include "support/OperatorChecks.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

using AlphaMode = GltfPbrMaterial::AlphaMode;

std::shared_ptr<GltfPbrMaterial> Run(OperatorRunner<PbrMaterial>& runner)
{
    runner.Execute();
    const auto* const output = static_cast<MaterialOutput*>(runner.Get().GetOutputs()[0]);
    auto material = std::dynamic_pointer_cast<GltfPbrMaterial>(output->GetMaterialData().GetMaterial());
    REQUIRE(material);
    return material;
}

const char* const textureInputs[] = {"Base Color Texture", "Metallic Roughness Texture", "Normal Texture",
                                     "Occlusion Texture", "Emissive Texture"};

// The textures of a material in the order of the inputs.
std::vector<Texture> TexturesOf(const GltfPbrMaterial& material)
{
    return {material.GetBaseColorTexture(), material.GetMetallicRoughnessTexture(), material.GetNormalTexture(),
            material.GetOcclusionTexture(), material.GetEmissiveTexture()};
}

} // namespace

TEST_CASE("PBR Material has five texture inputs, nine values and a material output")
{
    OperatorRunner<PbrMaterial> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Base Color Texture: takes Texture",
                                               "Metallic Roughness Texture: takes Texture",
                                               "Normal Texture: takes Texture", "Occlusion Texture: takes Texture",
                                               "Emissive Texture: takes Texture", "Material Output: gives Material"});
    CHECK(Describe(runner.Get().GetParameters()) ==
          Lines{"Base Color: Color = 1 1 1 1", "Metallic: Float = 1", "Roughness: Float = 1", "Normal Scale: Float = 1",
                "Occlusion Strength: Float = 1", "Emissive: Color = 0 0 0 1", "Alpha Mode: Enum = Opaque",
                "Alpha Cutoff: Float = 0.5", "Double Sided: Bool = false"});
    CHECK(runner.Parameter<EnumParameter>("Alpha Mode").GetPossibleValues() ==
          std::vector<std::string>{"Opaque", "Mask", "Blend"});
    CHECK(runner.Parameter<ColorParameter>("Base Color").IsAlphaEnabled());
    CHECK_FALSE(runner.Parameter<ColorParameter>("Emissive").IsAlphaEnabled());
}

TEST_CASE("PBR Material is white, opaque, metallic, rough and without textures at first")
{
    OperatorRunner<PbrMaterial> runner;
    const std::shared_ptr<GltfPbrMaterial> material = Run(runner);
    CHECK(material->GetBaseColorFactor() == glm::vec4(1));
    CHECK(material->GetMetallicFactor() == 1.0f);
    CHECK(material->GetRoughnessFactor() == 1.0f);
    CHECK(material->GetNormalScale() == 1.0f);
    CHECK(material->GetOcclusionStrength() == 1.0f);
    CHECK(material->GetEmissiveFactor() == glm::vec3(0));
    CHECK(material->GetAlphaMode() == AlphaMode::Opaque);
    CHECK(material->GetAlphaCutoff() == 0.5f);
    CHECK_FALSE(material->IsDoubleSided());
    for (const Texture& texture : TexturesOf(*material))
        CHECK_FALSE(texture);
}

TEST_CASE("PBR Material has its values as they are, also outside of 0 to 1, and the alpha of the emission is left out")
{
    OperatorRunner<PbrMaterial> runner;
    runner.SetColor("Base Color", {0.25, 0.5, 2.0, -0.75});
    runner.SetFloat("Metallic", -3.0);
    runner.SetFloat("Roughness", 7.5);
    runner.SetFloat("Normal Scale", 0.125);
    runner.SetFloat("Occlusion Strength", 1.75);
    runner.SetColor("Emissive", {4.0, 0.5, 0.25, 0.0});
    runner.SetFloat("Alpha Cutoff", 0.875);
    runner.SetBool("Double Sided", true);
    const std::shared_ptr<GltfPbrMaterial> material = Run(runner);
    CHECK(material->GetBaseColorFactor() == glm::vec4(0.25f, 0.5f, 2.0f, -0.75f));
    CHECK(material->GetMetallicFactor() == -3.0f);
    CHECK(material->GetRoughnessFactor() == 7.5f);
    CHECK(material->GetNormalScale() == 0.125f);
    CHECK(material->GetOcclusionStrength() == 1.75f);
    CHECK(material->GetEmissiveFactor() == glm::vec3(4.0f, 0.5f, 0.25f));
    CHECK(material->GetAlphaMode() == AlphaMode::Opaque);
    CHECK(material->GetAlphaCutoff() == 0.875f);
    CHECK(material->IsDoubleSided());
}

TEST_CASE("PBR Material knows its alpha modes by their exact names and takes any other as opaque")
{
    OperatorRunner<PbrMaterial> runner;
    const std::pair<const char*, AlphaMode> modes[] = {
        {"Mask", AlphaMode::Mask},       {"Blend", AlphaMode::Blend}, {"Opaque", AlphaMode::Opaque},
        {"Blend", AlphaMode::Blend},     {"mask", AlphaMode::Opaque}, {"Mask", AlphaMode::Mask},
        {"Dissolve", AlphaMode::Opaque}, {"Blend", AlphaMode::Blend}, {"", AlphaMode::Opaque},
    };
    for (const auto& [name, mode] : modes)
    {
        INFO(name);
        runner.SetEnum("Alpha Mode", name);
        const std::shared_ptr<GltfPbrMaterial> material = Run(runner);
        CHECK(material->GetAlphaMode() == mode);
        CHECK(material->GetAlphaCutoff() == 0.5f);
    }
}

TEST_CASE("PBR Material has the texture of each input in its place, and none for the others")
{
    for (std::size_t connected = 0; connected < 5; ++connected)
    {
        INFO(textureInputs[connected]);
        OperatorRunner<PbrMaterial> runner;
        const Texture texture = Filled({2, 2}, {1, 2, 3, 4});
        runner.Connect(textureInputs[connected], texture);
        std::vector<Texture> expected(5);
        expected[connected] = texture;
        CHECK(TexturesOf(*Run(runner)) == expected);
    }
    OperatorRunner<PbrMaterial> runner;
    std::vector<Texture> all;
    for (const char* const input : textureInputs)
    {
        all.push_back(Filled({1, 1}, {}));
        runner.Connect(input, all.back());
    }
    CHECK(TexturesOf(*Run(runner)) == all);
}

TEST_CASE("PBR Material makes a new material on every execution and leaves the one before as it was")
{
    OperatorRunner<PbrMaterial> runner;
    const Texture texture = Filled({2, 2}, {1, 2, 3, 4});
    runner.Connect("Normal Texture", texture);
    const std::shared_ptr<GltfPbrMaterial> first = Run(runner);
    runner.SetFloat("Metallic", 0.0);
    const std::shared_ptr<GltfPbrMaterial> second = Run(runner);
    CHECK(second != first);
    CHECK(first->GetMetallicFactor() == 1.0f);
    CHECK(second->GetMetallicFactor() == 0.0f);

    runner.Disconnect("Normal Texture");
    const std::shared_ptr<GltfPbrMaterial> third = Run(runner);
    CHECK_FALSE(third->GetNormalTexture());
    CHECK(second->GetNormalTexture() == texture);

    runner.Connect("Normal Texture", {}); // connected to an operator that carries none
    CHECK_FALSE(Run(runner)->GetNormalTexture());
    runner.Get().MarkDirty();
    CHECK(Run(runner) != third);
}

TEST_CASE("PBR Material does nothing on the GPU")
{
    OperatorRunner<PbrMaterial> runner;
    for (const char* const input : textureInputs)
        runner.Connect(input, Filled({2, 2}, {1, 2, 3, 4}));
    runner.Execute();
    const GpuCounters before = Graphics::GetCounters();
    for (int i = 0; i < 5; ++i)
    {
        runner.SetFloat("Roughness", 0.1 * i);
        runner.Execute();
    }
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.renderPasses == before.renderPasses);
    CHECK(after.computePasses == before.computePasses);
    CHECK(after.texturesCreated == before.texturesCreated);
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.bytesUploaded == before.bytesUploaded);
}
