#include "Varkle/Kit/ShaderCache.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "Varkle/Kit/Resources.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("A shader is made once and handed out again until the cache is cleared")
{
    ShaderCache::Clear();
    const Shader first = ShaderCache::GetShader("GrayScale.wgsl");
    CHECK(first);
    CHECK(ShaderCache::GetShader("GrayScale.wgsl") == first);
    CHECK(ShaderCache::GetSize() == 1);

    ShaderCache::Clear();
    CHECK(ShaderCache::GetSize() == 0);
    CHECK_FALSE(ShaderCache::GetShader("GrayScale.wgsl") == first);
    CHECK(first.GetReflection().FindEntryPoint(ShaderStage::Fragment) != nullptr); // handles outlive the cache
}

TEST_CASE("A shader without a resource warns once and is kept like any other")
{
    ShaderCache::Clear();
    int warnings = 0;
    const LogListener listener([&](const LogLine& line) { warnings += line.level == LogLevel::Warning; });
    const Shader missing = ShaderCache::GetShader("Missing.wgsl");
    CHECK(ShaderCache::GetShader("Missing.wgsl") == missing);
    CHECK(missing.GetReflection().entryPoints.empty());
    CHECK(warnings == 1);
    ShaderCache::Clear();
}

TEST_CASE("A plug-in's shaders include its own sources, whatever others register under their names")
{
    ShaderCache::Clear();
    ShaderCache::AddInclude("Random.wgsl", "Shaders/Random.wgsl");
    Shader::AddIncludableFile("Random.wgsl", "#include \"Somebody else's\"\n");
    const Shader shader = ShaderCache::GetShader("CreateAttributeF1.wgsl");
    CHECK(shader.GetReflection().FindEntryPoint(ShaderStage::Compute) != nullptr);
    ShaderCache::Clear();

    // Offered to shaders of others too.
    ShaderCache::AddInclude("Random.wgsl", "Shaders/Random.wgsl");
    CHECK(Shader::FromWgsl(std::string(Resources::ReadText("Shaders/CreateAttributeF1.wgsl")))
              .GetReflection()
              .FindEntryPoint(ShaderStage::Compute) != nullptr);
}

TEST_CASE("SPIR-V modules asked for together are one entry")
{
    ShaderCache::Clear();
    const LogListener silence([](const LogLine&) {});
    const Shader first = ShaderCache::GetShaderSpirv({"Noise/a.spv", "Noise/b.spv"});
    CHECK(ShaderCache::GetShaderSpirv({"Noise/a.spv", "Noise/b.spv"}) == first);
    CHECK(ShaderCache::GetSize() == 1);
    ShaderCache::GetShaderSpirv({"Noise/b.spv", "Noise/a.spv"});
    CHECK(ShaderCache::GetSize() == 2);
    ShaderCache::Clear();
}

TEST_CASE("The modules of the texture Noise are one entry, which declares the quad and two uniform blocks")
{
    ShaderCache::Clear();
    const LogRecorder heard;
    const Shader noise = ShaderCache::GetShaderSpirv({"Noise/vertex.spv", "Noise/PSRD-3D.spv"});
    CHECK(ShaderCache::GetShaderSpirv({"Noise/vertex.spv", "Noise/PSRD-3D.spv"}) == noise);
    CHECK(ShaderCache::GetSize() == 1);
    CHECK(heard.lines.empty());

    const ShaderReflection& reflection = noise.GetReflection();
    REQUIRE(reflection.entryPoints.size() == 2);
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Vertex);
    CHECK(reflection.entryPoints[1].stage == ShaderStage::Fragment);
    CHECK(reflection.fragmentOutputs == 1);
    REQUIRE(reflection.vertexInputs.size() == 2);
    CHECK(reflection.vertexInputs[0].name == "vertexPositionIn");
    CHECK(reflection.vertexInputs[1].name == "noisePositionIn");
    for (const VertexInput& input : reflection.vertexInputs)
        CHECK((input.scalar == ScalarType::Float && input.components == 2));

    struct Member
    {
        const char* name;
        std::uint32_t offset;
        std::uint32_t columns;
        std::uint32_t rows;
    };
    const auto check = [&](int number, ShaderStage stage, const std::vector<Member>& members)
    {
        const ShaderBinding* const binding = reflection.FindBinding(0, number);
        REQUIRE(binding);
        CHECK(binding->kind == BindingKind::UniformBuffer);
        CHECK(binding->stages == stage);
        REQUIRE(binding->layout.members.size() == members.size());
        for (std::size_t i = 0; i < members.size(); ++i)
        {
            const UniformMember& member = binding->layout.members[i];
            CHECK(member.name == members[i].name);
            CHECK(member.offset == members[i].offset);
            CHECK(member.scalar == ScalarType::Float);
            CHECK(member.columns == members[i].columns);
            CHECK(member.rows == members[i].rows);
        }
    };
    REQUIRE(reflection.bindings.size() == 2);
    check(0, ShaderStage::Vertex, {{"noiseTransform", 0, 4, 4}});
    check(1, ShaderStage::Fragment,
          {{"noiseRotation", 0, 1, 1}, {"offset", 4, 1, 1}, {"amplitude", 8, 1, 1}, {"repetition", 16, 1, 3}});
    ShaderCache::Clear();
}

TEST_CASE("The sample modules draw the texture coordinates as colors, without vertex buffers")
{
    const FrameBuffer target = AllocateFrameBuffer({4, 2}, {.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}});
    const RenderPipeline pipeline =
        RenderPipelineBuilder()
            .SetShader(ShaderCache::GetShaderSpirv({"Shaders/vert.spv", "Shaders/frag.spv"}))
            .SetFrameBufferFormat(target.GetFormat())
            .Build();
    RenderPassRecorder()
        .BindFrameBuffer(target)
        .ClearColorBuffer({0, 0, 1, 1})
        .BindPipeline(pipeline)
        .Draw(3, 1, 0, 0)
        .Submit();
    const Image image = ReadBack(target.GetColorTarget(0));
    // Pixels' centers lie at 1/8, 3/8, 5/8, 7/8 across and at 1/4, 3/4 down.
    CHECK(Near(At(image, 0, 0), {32, 64, 0, 255}));
    CHECK(Near(At(image, 3, 0), {223, 64, 0, 255}));
    CHECK(Near(At(image, 1, 1), {96, 191, 0, 255}));
    ShaderCache::Clear();
}
