#include "Varkle/Gpu/Shader.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "gpu/pass/QuadDrawing.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <cstring>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

/// Draws the quad with a shader that has no bindings, and returns a pixel.
Rgba8 DrawWith(const Shader& shader)
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    RenderPassRecorder()
        .BindFrameBuffer(target)
        .ClearColorBuffer({0, 0, 0, 1})
        .BindPipeline(QuadPipeline(shader).Build())
        .BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer)
        .Draw(6, 1, 0, 0)
        .Submit();
    return PixelOf(target.GetColorTarget(0));
}

/// Compiles GLSL for Vulkan with glslang's own program. `stage` is "vert" or "frag".
std::vector<std::uint32_t> CompileGlsl(const std::string& source, const std::string& stage)
{
    const TemporaryFolder folder;
    const std::string input = folder / ("shader." + stage);
    const std::string output = folder / "shader.spv";
    WriteBytes(input, source);
    const std::string command = "glslangValidator -V --quiet -o '" + output + "' '" + input + "'";
    REQUIRE(std::system(command.c_str()) == 0);
    const std::string bytes = ReadBytes(output);
    std::vector<std::uint32_t> words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

const std::string plainFragmentStage =
    "@fragment fn fs_main() -> @location(0) vec4f { return vec4f(0.2, 0.4, 0.6, 1); }\n";

} // namespace

TEST_CASE("A WGSL shader knows its entry points, inputs and bindings without a GPU")
{
    const bool started = Graphics::IsStarted();
    const Shader shader = FillShader();
    REQUIRE(shader);
    CHECK(Graphics::IsStarted() == started);
    const ShaderReflection& reflection = shader.GetReflection();
    REQUIRE(reflection.FindEntryPoint(ShaderStage::Vertex));
    CHECK(reflection.FindEntryPoint(ShaderStage::Vertex)->name == "vs_main");
    REQUIRE(reflection.vertexInputs.size() == 1);
    CHECK(reflection.vertexInputs[0].components == 2);
    REQUIRE(reflection.FindBinding(0, 0));
    CHECK(reflection.FindBinding(0, 0)->name == "uniforms");
}

TEST_CASE("An empty shader handle has an empty reflection, and so has a shader of empty text")
{
    CHECK_FALSE(Shader());
    CHECK(Shader().GetReflection().entryPoints.empty());
    const Shader empty = Shader::FromWgsl("");
    CHECK(empty);
    CHECK(empty.GetReflection().entryPoints.empty());
    CHECK(empty.GetReflection().bindings.empty());
}

TEST_CASE("Copies of a shader are the same shader, and one made of the same text is another")
{
    const Shader shader = FillShader();
    CHECK(Shader(shader) == shader);
    CHECK(FillShader() != shader);
}

TEST_CASE("A shader draws with what it includes, and keeps it when the file is registered anew")
{
    Shader::AddIncludableFile("ShaderTest/Colors.wgsl", "const orange = vec4f(1, 0.6, 0, 1);\n");
    const std::string source = "#include \"ShaderTest/Colors.wgsl\"\n" + quadVertexStage +
                               "@fragment fn fs_main() -> @location(0) vec4f { return orange; }\n";
    const Shader before = Shader::FromWgsl(source);
    Shader::AddIncludableFile("ShaderTest/Colors.wgsl", "const orange = vec4f(1, 0.4, 0, 1);\n");
    const Shader after = Shader::FromWgsl(source);
    CHECK(DrawWith(before) == Rgba8{255, 153, 0, 255});
    CHECK(DrawWith(after) == Rgba8{255, 102, 0, 255});
}

TEST_CASE("A missing include is logged once, when the shader is first needed, and nothing is drawn")
{
    const LogRecorder log;
    const Shader shader =
        Shader::FromWgsl("// Two lines.\n#include \"ShaderTest/Absent.wgsl\"\n" + quadVertexStage + plainFragmentStage);
    CHECK(log.lines.empty());
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("shader:2: There is no includable file \"ShaderTest/Absent.wgsl\"."));
}

TEST_CASE("A compile error names line and column and shows the line, once for all pipelines of the shader")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + // six lines
                                           "@fragment fn fs_main() -> @location(0) vec4f\n"
                                           "{\n"
                                           "    return vec4f(missing, 0, 0, 1);\n"
                                           "}\n");
    const LogRecorder log;
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    const RenderPipeline other = QuadPipeline(shader, ColorFormat(wgpu::TextureFormat::R8Unorm)).Build();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, ColorFormat(wgpu::TextureFormat::R8Unorm));
    RenderPassRecorder().BindFrameBuffer(target).BindPipeline(other).Draw(3, 1, 0, 0).Submit();
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("shader:8:18: unresolved value 'missing'\n"
                       "    return vec4f(missing, 0, 0, 1);\n"
                       "                 ^"));
}

TEST_CASE("A compile error in an included file names that file and its line")
{
    Shader::AddIncludableFile("ShaderTest/Broken.wgsl",
                              "// Halves a number.\nfn half(x: f32) -> f32 { return x / 2u; }\n");
    const Shader shader =
        Shader::FromWgsl("// One line.\n#include \"ShaderTest/Broken.wgsl\"\n" + quadVertexStage + plainFragmentStage);
    const LogRecorder log;
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("ShaderTest/Broken.wgsl:2:"));
    CHECK(log.Contains("\nfn half(x: f32) -> f32 { return x / 2u; }\n"));
}

TEST_CASE("Of a text that cannot be read the GPU's compiler says what is wrong")
{
    const Shader shader = Shader::FromWgsl("@group(0) @binding(0) var<uniform> uniforms: Unknown;\n" + quadVertexStage +
                                           plainFragmentStage);
    const LogRecorder log;
    CHECK_FALSE(BindGroupBuilder(QuadPipeline(shader).Build(), 0).Build());
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("shader:1:46: unresolved type 'Unknown'"));
}

TEST_CASE("A shader of empty text is one error, however often it is drawn with")
{
    const RenderPipeline pipeline = QuadPipeline(Shader::FromWgsl("")).Build();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const LogRecorder log;
    for (int i = 0; i < 3; ++i)
    {
        const wgpu::BindGroup group = BindGroupBuilder(pipeline, 0).Build();
        CHECK_FALSE(group);
        RenderPassRecorder().BindFrameBuffer(target).BindPipeline(pipeline).BindBindGroup(0, group).Submit();
    }
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("The pipeline cannot be created: The shader has no vertex entry point."));
}

TEST_CASE("A shader is compiled once, and anew on a new device")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + plainFragmentStage);
    const std::uint64_t before = Graphics::GetCounters().shadersCompiled;
    CHECK(DrawWith(shader) == Rgba8{51, 102, 153, 255});
    CHECK(DrawWith(shader) == Rgba8{51, 102, 153, 255});
    CHECK(Graphics::GetCounters().shadersCompiled == before + 1);
    Graphics::Shutdown();
    CHECK(DrawWith(shader) == Rgba8{51, 102, 153, 255});
    CHECK(Graphics::GetCounters().shadersCompiled == before + 2);
}

TEST_CASE("Two SPIR-V modules make one shader: both stages draw, with uniforms by the names of their members")
{
    const Shader shader = Shader::FromSpirv({CompileGlsl(R"(#version 450
layout(location = 0) in vec2 positionIn;
layout(location = 1) in vec2 shadeIn;
layout(location = 0) out vec2 shade;
layout(set = 0, binding = 0) uniform VertexUniforms { mat4 shadeTransform; } vertexUniforms;
void main()
{
    gl_Position = vec4(positionIn, 0.0, 1.0);
    shade = (vertexUniforms.shadeTransform * vec4(shadeIn, 0.0, 1.0)).xy;
}
)",
                                                         "vert"),
                                             CompileGlsl(R"(#version 450
layout(location = 0) in vec2 shade;
layout(location = 0) out vec4 color;
layout(set = 0, binding = 1) uniform FragmentUniforms { float blue; vec3 scale; } fragmentUniforms;
void main() { color = vec4(shade * fragmentUniforms.scale.xy, fragmentUniforms.blue, 1.0); }
)",
                                                         "frag")});
    UniformBuffer vertexUniforms(shader, glm::ivec2(0, 0), 1, uniformUsage);
    UniformBuffer fragmentUniforms(shader, glm::ivec2(0, 1), 1, uniformUsage);
    CHECK(vertexUniforms.GetStructSize() == 64);
    CHECK(fragmentUniforms.GetStructSize() >= 28);
    glm::mat4 constant(0); // every vertex gets (0.2, 0.4)
    constant[3] = {0.2f, 0.4f, 0, 1};
    vertexUniforms.GetBlock(0).GetVariable("shadeTransform").SetMat4(constant);
    fragmentUniforms.GetBlock(0).GetVariable("blue").SetFloat(0.6f);
    fragmentUniforms.GetBlock(0).GetVariable("scale").SetVec3({1, 2, 0});
    vertexUniforms.UploadChanges();
    fragmentUniforms.UploadChanges();

    const std::uint64_t compiled = Graphics::GetCounters().shadersCompiled;
    const RenderPipeline pipeline =
        QuadPipeline(shader).DefineVertexBuffer(1, {1}, wgpu::VertexStepMode::Vertex).Build();
    const wgpu::BindGroup group = BindGroupBuilder(pipeline, 0)
                                      .AddUniformBuffer(0, vertexUniforms, 0)
                                      .AddUniformBuffer(1, fragmentUniforms, 0)
                                      .Build();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const LogRecorder log;
    RenderPassRecorder()
        .BindFrameBuffer(target)
        .BindPipeline(pipeline)
        .BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer)
        .BindVertexBuffer(1, MakeQuad(), 0, wholeBuffer)
        .BindBindGroup(0, group)
        .Draw(6, 1, 0, 0)
        .Submit();
    CHECK(log.lines.empty());
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{51, 204, 153, 255});
    CHECK(Graphics::GetCounters().shadersCompiled == compiled + 2);
}

TEST_CASE("Broken SPIR-V is logged once and draws nothing")
{
    const Shader shader = Shader::FromSpirv({{1, 2, 3, 4, 5}, {}});
    const LogRecorder log;
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    CHECK(DrawWith(shader) == Rgba8{0, 0, 0, 255});
    REQUIRE(log.lines.size() == 1);
    CHECK(log.Contains("SPIR-V"));
}
