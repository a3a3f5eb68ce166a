#include "Varkle/Gpu/Pipeline.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/BlendMode.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "gpu/pass/QuadDrawing.h"

#include <bit>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

/// Draws the quad and returns the pixel in the top left corner.
Rgba8 DrawQuad(const RenderPipeline& pipeline, const std::vector<std::pair<int, wgpu::BindGroup>>& groups,
               const FrameBufferFormat& format = rgba8)
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, format);
    RenderPassRecorder recorder;
    recorder.BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1}).BindPipeline(pipeline);
    recorder.BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer);
    for (const auto& [number, group] : groups)
        recorder.BindBindGroup(number, group);
    recorder.Draw(6, 1, 0, 0).Submit();
    return PixelOf(target.GetColorTarget(0));
}

Buffer MakeVertexBuffer(const std::vector<float>& values)
{
    Buffer buffer(values.size() * sizeof(float), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    buffer.Upload(values.data(), values.size() * sizeof(float), 0);
    return buffer;
}

} // namespace

TEST_CASE("Pipelines that were built alike are one object")
{
    const Shader shader = FillShader();
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    CHECK(pipeline == QuadPipeline(shader).Build());
    CHECK(pipeline != QuadPipeline(FillShader()).Build());
    CHECK(pipeline != QuadPipeline(shader, ColorFormat(wgpu::TextureFormat::R8Unorm)).Build());
    CHECK(pipeline != QuadPipeline(shader).DefineVertexBuffer(0, {0}, wgpu::VertexStepMode::Instance).Build());
    CHECK(pipeline != QuadPipeline(shader).EnableDynamicOffsets(0, 0).Build());

    const RenderPipeline blended = QuadPipeline(shader).SetBlendMode(BlendMode::AlphaPremultiplied, -1).Build();
    CHECK(pipeline != blended);
    CHECK(blended == QuadPipeline(shader).SetBlendMode(BlendMode::AlphaPremultiplied, -1).Build());
    wgpu::BlendState additive = BlendMode::AlphaPremultiplied;
    additive.alpha.dstFactor = wgpu::BlendFactor::One;
    CHECK(blended != QuadPipeline(shader).SetBlendMode(additive, -1).Build());

    const Shader compute = Shader::FromWgsl("@compute @workgroup_size(1) fn main() {}");
    CHECK(ComputePipelineBuilder().SetShader(compute).Build() == ComputePipelineBuilder().SetShader(compute).Build());
}

TEST_CASE("A pipeline is created when it is first bound, once for all that were built alike")
{
    const Shader shader = FillShader();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    const GpuCounters before = Graphics::GetCounters();
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    const RenderPipeline unused = QuadPipeline(shader, ColorFormat(wgpu::TextureFormat::R8Unorm)).Build();
    const wgpu::BindGroup group = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
    CHECK(Graphics::GetCounters().shadersCompiled == before.shadersCompiled);
    CHECK(Graphics::GetCounters().pipelinesCreated == before.pipelinesCreated);

    DrawQuad(pipeline, {{0, group}});
    DrawQuad(pipeline, {{0, group}});
    DrawQuad(QuadPipeline(shader).Build(), {{0, group}});
    CHECK(Graphics::GetCounters().shadersCompiled == before.shadersCompiled + 1);
    CHECK(Graphics::GetCounters().pipelinesCreated == before.pipelinesCreated + 1);
}

TEST_CASE("A bind group fits the pipeline of another format of the same shader")
{
    const Shader shader = FillShader();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    uniforms.GetBlock(0).GetVariable("color").SetVec4({0.2f, 0.4f, 0, 1});
    uniforms.UploadChanges();
    FrameBufferFormat undrawn = ColorFormat(wgpu::TextureFormat::BGRA8Unorm);
    undrawn.depthFormat = wgpu::TextureFormat::Depth24Plus;
    const wgpu::BindGroup group =
        BindGroupBuilder(QuadPipeline(shader, undrawn).Build(), 0).AddUniformBuffer(0, uniforms, 0).Build();

    const LogRecorder log;
    const FrameBufferFormat rg8 = ColorFormat(wgpu::TextureFormat::RG8Unorm);
    CHECK(DrawQuad(QuadPipeline(shader).Build(), {{0, group}}) == Rgba8{51, 102, 0, 255});
    CHECK(DrawQuad(QuadPipeline(shader, rg8).Build(), {{0, group}}, rg8) == Rgba8{51, 102, 0, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("A bind group keeps to the block that it was given")
{
    const Shader shader = FillShader();
    UniformBuffer uniforms(shader, 2, uniformUsage);
    uniforms.GetBlock(0).GetVariable("color").SetVec4({1, 0, 0, 1});
    uniforms.GetBlock(1).GetVariable("color").SetVec4({0, 1, 0, 1});
    uniforms.UploadChanges();
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    const wgpu::BindGroup second = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 1).Build();
    CHECK(DrawQuad(pipeline, {{0, second}}) == Rgba8{0, 255, 0, 255});
}

TEST_CASE("Bindings that a shader declares and does not use are bound all the same, and groups may be left out")
{
    const Shader shader = Shader::FromWgsl(R"(
struct Uniforms { unused: vec4f }
@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(2) @binding(0) var textureIn: texture_2d<f32>;
@group(2) @binding(1) var samplerIn: sampler;
@group(2) @binding(2) var textureUnused: texture_2d<f32>;
@group(2) @binding(3) var samplerUnused: sampler;
)" + quadVertexStage + R"(
@fragment fn fs_main() -> @location(0) vec4f { return textureSampleLevel(textureIn, samplerIn, vec2f(0.5), 0); }
)");
    UniformBuffer uniforms(shader, 1, uniformUsage);
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    const Texture texture = Texture::FromImage(Image({1, 1}, {10, 20, 30, 40}), false);
    const TextureView view(texture, {});
    const LogRecorder log;
    const wgpu::BindGroup group0 = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
    const wgpu::BindGroup group2 =
        BindGroupBuilder(pipeline, 2).AddTextureView(0, 1, view).AddTextureView(2, 3, view).Build();
    CHECK(DrawQuad(pipeline, {{0, group0}, {2, group2}}) == Rgba8{10, 20, 30, 40});
    CHECK(log.lines.empty());
}

TEST_CASE("A bind group that lacks something, has too much or does not fit is null and says so")
{
    const Shader shader = Shader::FromWgsl(R"(
@group(0) @binding(0) var<uniform> uniforms: vec4f;
@group(1) @binding(0) var textureIn: texture_2d<f32>;
@group(1) @binding(1) var samplerIn: sampler;
)" + quadVertexStage + "@fragment fn fs_main() -> @location(0) vec4f { return uniforms; }");
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    const TextureView view(GetDefaultWhiteTexture(), {});
    const LogRecorder log;
    SECTION("nothing at all")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 0).Build());
        CHECK(log.Contains("Bind group 0 cannot be made: binding 0 (\"uniforms\") is given nothing."));
    }
    SECTION("an empty handle")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, UniformBuffer(), 0).Build());
        CHECK(log.Contains("binding 0 (\"uniforms\") is given nothing."));
    }
    SECTION("an empty view")
    {
        CHECK_FALSE(
            BindGroupBuilder(pipeline, 1).AddTextureView(0, 1, TextureView(nullptr, view.GetSamplerHandle())).Build());
        CHECK(log.Contains("binding 0 (\"textureIn\") is given nothing."));
    }
    SECTION("more than is declared")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 1).AddTextureView(0, 1, view).AddTextureView(2, 3, view).Build());
        CHECK(log.Contains("Bind group 1 cannot be made: 4 bindings are given, and the shader declares 2."));
    }
    SECTION("the wrong kind of thing")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 0).AddTextureView(0, 0, view).Build());
        CHECK(log.Contains("Bind group 0 cannot be made: "));
    }
    SECTION("a block outside the buffer")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 1).Build());
        CHECK(log.Contains("Bind group 0 cannot be made: "));
    }
    SECTION("a group that the shader does not have")
    {
        CHECK_FALSE(BindGroupBuilder(pipeline, 2).Build());
        CHECK(log.Contains("Bind group 2 cannot be made: The shader declares no bindings in this group."));
    }
    SECTION("an empty pipeline")
    {
        CHECK_FALSE(BindGroupBuilder(RenderPipeline(), 0).Build());
        CHECK(log.Contains("Bind group 0 cannot be made: The pipeline is empty."));
    }
    CHECK(log.lines.size() == 1);
}

TEST_CASE("A vertex buffer feeds its inputs packed in the order in which they are listed, each in its type")
{
    const Shader shader = Shader::FromWgsl(R"(
struct Varyings { @builtin(position) position: vec4f, @location(0) @interpolate(flat) color: vec4f }
@vertex fn vs_main(@location(0) position: vec2f, @location(1) red: f32, @location(2) greenBlue: vec2u) -> Varyings
{
    return Varyings(vec4f(position, 0, 1), vec4f(red, vec2f(greenBlue) / 10.0, 1));
}
@fragment fn fs_main(in: Varyings) -> @location(0) vec4f { return in.color; }
)");
    const float two = std::bit_cast<float>(2u);
    const float four = std::bit_cast<float>(4u);
    std::vector<float> perVertex; // red, then position
    for (const glm::vec2 corner : {glm::vec2(-1, 3), glm::vec2(3, -1), glm::vec2(-1, -1)})
        perVertex.insert(perVertex.end(), {0.6f, corner.x, corner.y});

    const RenderPipeline pipeline = RenderPipelineBuilder()
                                        .SetShader(shader)
                                        .SetFrameBufferFormat(rgba8)
                                        .DefineVertexBuffer(0, {1, 0}, wgpu::VertexStepMode::Vertex)
                                        .DefineVertexBuffer(2, {2}, wgpu::VertexStepMode::Instance)
                                        .Build();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const LogRecorder log;
    RenderPassRecorder()
        .BindFrameBuffer(target)
        .BindPipeline(pipeline)
        .BindVertexBuffer(0, MakeVertexBuffer(perVertex), 0, wholeBuffer)
        .BindVertexBuffer(2, MakeVertexBuffer({two, four}), 0, wholeBuffer)
        .Draw(3, 1, 0, 0)
        .Submit();
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{153, 51, 102, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("A pipeline that cannot be created says why once and draws nothing")
{
    const Shader shader = FillShader();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    const wgpu::BindGroup group =
        BindGroupBuilder(QuadPipeline(shader).Build(), 0).AddUniformBuffer(0, uniforms, 0).Build();
    RenderPipelineBuilder builder = QuadPipeline(shader);
    std::string reason;
    SECTION("no shader")
    {
        builder.SetShader({});
        reason = "It was built without a shader.";
    }
    SECTION("no vertex stage")
    {
        builder.SetShader(Shader::FromWgsl("@fragment fn fs_main() -> @location(0) vec4f { return vec4f(); }"));
        reason = "The shader has no vertex entry point.";
    }
    SECTION("no fragment stage")
    {
        builder.SetShader(Shader::FromWgsl(quadVertexStage));
        reason = "The shader has no fragment entry point.";
    }
    SECTION("a location that the shader does not have")
    {
        builder.DefineVertexBuffer(1, {7}, wgpu::VertexStepMode::Vertex);
        reason = "The vertex stage has no input at location 7.";
    }
    SECTION("a slot that no device has")
    {
        builder.DefineVertexBuffer(-1, {0}, wgpu::VertexStepMode::Vertex);
        reason = "There is no vertex buffer slot -1: this device has slots 0 to " +
                 std::to_string(Graphics::GetLimits().maxVertexBuffers - 1) + ".";
    }
    SECTION("a format that cannot be drawn into")
    {
        builder.SetFrameBufferFormat(ColorFormat(wgpu::TextureFormat::RGBA8Snorm));
        reason = "RGBA8Snorm";
    }
    const RenderPipeline pipeline = builder.Build();
    const LogRecorder log;
    CHECK(DrawQuad(pipeline, {{0, group}}) == Rgba8{0, 0, 0, 255});
    CHECK(DrawQuad(pipeline, {{0, group}}) == Rgba8{0, 0, 0, 255});
    CHECK(log.lines.size() == 1);
    CHECK(log.Contains("The pipeline cannot be created: "));
    CHECK(log.Contains(reason));
}

TEST_CASE("Dynamic offsets where the shader declares no buffer are an error")
{
    const Shader shader = FillShader();
    const RenderPipeline pipeline = QuadPipeline(shader).EnableDynamicOffsets(0, 1).Build();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    const LogRecorder log;
    CHECK_FALSE(BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build());
    CHECK(log.lines.size() == 1);
    CHECK(log.Contains("Dynamic offsets are asked for at group 0, binding 1, where the shader declares no buffer."));
}

TEST_CASE("A compute pipeline without a compute stage says so once")
{
    const ComputePipeline pipeline = ComputePipelineBuilder().SetShader(FillShader()).Build();
    const LogRecorder log;
    ComputePassRecorder().BindPipeline(pipeline).Dispatch(1, 1, 1).Submit();
    ComputePassRecorder().BindPipeline(pipeline).Dispatch(1, 1, 1).Submit();
    CHECK(log.lines.size() == 1);
    CHECK(log.Contains("The pipeline cannot be created: The shader has no compute entry point."));
}

TEST_CASE("Pipelines are created anew on a new device")
{
    const Shader shader = FillShader();
    const RenderPipeline pipeline = QuadPipeline(shader).Build();
    UniformBuffer uniforms(shader, 1, uniformUsage);
    uniforms.GetBlock(0).GetVariable("color").SetVec4({1, 1, 0, 1});
    const auto draw = [&]
    {
        uniforms.UploadChanges();
        return DrawQuad(pipeline, {{0, BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build()}});
    };
    CHECK(draw() == Rgba8{255, 255, 0, 255});
    Graphics::Shutdown();
    CHECK(draw() == Rgba8{255, 255, 0, 255});
}

namespace
{

/// Draws the quad with a pipeline and returns the first pixel.
Rgba8 DrawQuad(RenderPipelineBuilder builder, const FrameBufferFormat& format, float clearDepth = 1.0f)
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, format);
    RenderPassRecorder recorder;
    recorder.BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1}).SetClearDepth(clearDepth);
    recorder.BindPipeline(builder.Build()).BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer).Draw(6, 1, 0, 0);
    CHECK(recorder.Submit());
    return PixelOf(target.GetColorTarget(0));
}

const Rgba8 black{0, 0, 0, 255};
const Rgba8 red{255, 0, 0, 255};
const std::string redStage = "@fragment fn fs_main() -> @location(0) vec4f { return vec4f(1, 0, 0, 1); }\n";

} // namespace

TEST_CASE("A pipeline leaves out triangles by the way in which their corners run")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + redStage); // the quad's corners run clockwise
    using enum wgpu::CullMode;
    CHECK(DrawQuad(QuadPipeline(shader), rgba8) == red);
    CHECK(DrawQuad(QuadPipeline(shader).SetCulling(Back), rgba8) == black);
    CHECK(DrawQuad(QuadPipeline(shader).SetCulling(Front), rgba8) == red);
    CHECK(DrawQuad(QuadPipeline(shader).SetCulling(Back, wgpu::FrontFace::CW), rgba8) == red);
}

TEST_CASE("A pipeline compares depths as it is told, from the depth on that the pass starts with")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + redStage); // at depth 0
    const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm},
                                   .depthFormat = wgpu::TextureFormat::Depth32Float};
    using enum wgpu::CompareFunction;
    CHECK(DrawQuad(QuadPipeline(shader, format), format) == red);
    CHECK(DrawQuad(QuadPipeline(shader, format), format, 0.0f) == black);
    CHECK(DrawQuad(QuadPipeline(shader, format).SetDepthTest(Greater, true), format) == black);
    CHECK(DrawQuad(QuadPipeline(shader, format).SetDepthTest(GreaterEqual, true), format, 0.0f) == red);
}

TEST_CASE("A pipeline without depth writes leaves the depth as it was")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + redStage);
    const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm},
                                   .depthFormat = wgpu::TextureFormat::Depth32Float};
    for (const bool writes : {false, true})
    {
        const FrameBuffer target = AllocateFrameBuffer({2, 2}, format);
        const std::uint64_t draws = Graphics::GetCounters().draws;
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .ClearColorBuffer({0, 0, 0, 1})
            .BindPipeline(QuadPipeline(shader, format).SetDepthTest(wgpu::CompareFunction::Less, writes).Build())
            .BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer)
            .Draw(6, 1, 0, 0)
            .Submit();
        const Shader green = Shader::FromWgsl(
            quadVertexStage + "@fragment fn fs_main() -> @location(0) vec4f { return vec4f(0, 1, 0, 1); }\n");
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .BindPipeline(QuadPipeline(green, format).Build())
            .BindVertexBuffer(0, MakeQuad(), 0, wholeBuffer)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(Graphics::GetCounters().draws == draws + 2);
        CHECK(PixelOf(target.GetColorTarget(0)) == (writes ? red : Rgba8{0, 255, 0, 255}));
    }
}

TEST_CASE("A pipeline chooses entry points and sets constants, and says which it did not find")
{
    const Shader shader = Shader::FromWgsl(quadVertexStage + redStage +
                                           "override level = 0.0;\n"
                                           "@fragment fn fs_gray() -> @location(0) vec4f { return vec4f(level); }\n");
    const auto gray = [&] { return QuadPipeline(shader).SetEntryPoint(ShaderStage::Fragment, "fs_gray"); };
    CHECK(DrawQuad(gray(), rgba8) == Rgba8{0, 0, 0, 0});
    CHECK(DrawQuad(gray().SetConstant("level", 0.2), rgba8) == Rgba8{51, 51, 51, 51});
    const LogRecorder log;
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    CHECK_FALSE(RenderPassRecorder()
                    .BindFrameBuffer(target)
                    .BindPipeline(QuadPipeline(shader).SetEntryPoint(ShaderStage::Fragment, "fs_grey").Build())
                    .Submit());
    CHECK(log.Contains("The shader has no fragment entry point \"fs_grey\"."));
}

TEST_CASE("A vertex buffer feeds inputs from fields of any format, and with a stride of 0 all vertices alike")
{
    const Shader shader = Shader::FromWgsl(R"(
struct Corner { @builtin(position) place: vec4f, @location(0) color: vec4f }
@vertex fn vs_main(@location(0) position: vec2f, @location(1) color: vec4f) -> Corner
{
    return Corner(vec4f(position, 0, 1), color);
}
@fragment fn fs_main(@location(0) color: vec4f) -> @location(0) vec4f { return color; }
)");
    // A strip over the left half, bytes -127 to 127 between padding, and a color that all vertices share.
    const std::int8_t corners[] = {0, 0, 0, 0, -127, 127,  0, 0, 0, 0, 0, 0, 0, 127,  0, 0,
                                   0, 0, 0, 0, -127, -127, 0, 0, 0, 0, 0, 0, 0, -127, 0, 0};
    Buffer places(sizeof(corners), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    places.Upload(corners, sizeof(corners), 0);
    const std::uint8_t color[] = {255, 51, 0, 255};
    Buffer colors(sizeof(color), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    colors.Upload(color, sizeof(color), 0);
    const RenderPipeline pipeline =
        RenderPipelineBuilder()
            .SetShader(shader)
            .SetFrameBufferFormat(rgba8)
            .SetTopology(wgpu::PrimitiveTopology::TriangleStrip)
            .DefineVertexBuffer(0, {{.location = 0, .format = wgpu::VertexFormat::Snorm8x2, .offset = 4}}, 8)
            .DefineVertexBuffer(1, {{.location = 1, .format = wgpu::VertexFormat::Unorm8x4}}, 0)
            .Build();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    CHECK(RenderPassRecorder()
              .BindFrameBuffer(target)
              .ClearColorBuffer({0, 0, 0, 1})
              .BindPipeline(pipeline)
              .BindVertexBuffer(0, places, 0, wholeBuffer)
              .BindVertexBuffer(1, colors, 0, wholeBuffer)
              .Draw(4, 1, 0, 0)
              .Submit());
    CHECK(PixelOf(target.GetColorTarget(0), 0, 1) == Rgba8{255, 51, 0, 255});
    CHECK(PixelOf(target.GetColorTarget(0), 1, 1) == black);
}
