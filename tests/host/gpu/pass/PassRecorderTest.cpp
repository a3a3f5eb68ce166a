#include "Varkle/Gpu/PassRecorder.h"

#include "Varkle/Gpu/BindGroupBuilder.h"
#include "Varkle/Gpu/BlendMode.h"
#include "gpu/pass/QuadDrawing.h"
#include "support/ReadBuffer.h"
#include "support/RunAs.h"

#include <limits>
#include <numeric>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

/// Fills frame buffers with a colour that comes through a uniform block.
struct Filler
{
    explicit Filler(const FrameBufferFormat& format = rgba8) : pipeline(QuadPipeline(shader, format).Build()) {}

    void SetColor(const glm::vec4& color)
    {
        uniforms.GetBlock(0).GetVariable("color").SetVec4(color);
        uniforms.UploadChanges();
    }
    RenderPassRecorder Record(const FrameBuffer& target)
    {
        RenderPassRecorder recorder;
        recorder.BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1}).BindPipeline(pipeline);
        recorder.BindVertexBuffer(0, quad, 0, wholeBuffer).BindBindGroup(0, group);
        return recorder;
    }

    Shader shader = FillShader();
    Buffer quad = MakeQuad();
    UniformBuffer uniforms{shader, 1, uniformUsage};
    RenderPipeline pipeline;
    wgpu::BindGroup group = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
};

const Shader doubleShader = Shader::FromWgsl(R"(
@group(0) @binding(0) var<storage, read> numbers: array<u32>;
@group(0) @binding(1) var<storage, read_write> doubles: array<u32>;
@compute @workgroup_size(4) fn main(@builtin(global_invocation_id) id: vec3u)
{
    if (id.x < arrayLength(&numbers)) { doubles[id.x] = 2 * numbers[id.x]; }
}
)");

constexpr wgpu::BufferUsage storageUsage =
    wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst | wgpu::BufferUsage::CopySrc;

} // namespace

TEST_CASE("A quad drawn with a uniform colour fills targets of every 8-bit format")
{
    // 51, 102 and 204 are exact in eight bits: 0.2, 0.4 and 0.8.
    const std::pair<wgpu::TextureFormat, Rgba8> cases[] = {
        {wgpu::TextureFormat::R8Unorm, {51, 0, 0, 255}},
        {wgpu::TextureFormat::RG8Unorm, {51, 102, 0, 255}},
        {wgpu::TextureFormat::RGBA8Unorm, {51, 102, 255, 204}},
    };
    for (const auto& [format, expected] : cases)
    {
        Filler filler(ColorFormat(format));
        filler.SetColor({0.2f, 0.4f, 1, 0.8f});
        const FrameBuffer target = AllocateFrameBuffer({5, 3}, ColorFormat(format));
        filler.Record(target).Draw(6, 1, 0, 0).Submit();
        CHECK(PixelOf(target.GetColorTarget(0), 0, 0) == expected);
        CHECK(PixelOf(target.GetColorTarget(0), 4, 2) == expected);
    }
}

TEST_CASE("A pass is submitted at once and counted")
{
    Filler filler;
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const GpuCounters before = Graphics::GetCounters();
    filler.Record(target).Draw(6, 1, 0, 0).Draw(6, 1, 0, 0).Submit();
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.renderPasses == before.renderPasses + 1);
    CHECK(after.draws == before.draws + 2);
    CHECK(after.errors == before.errors);
}

TEST_CASE("Uniforms that are uploaded between two passes reach only the second")
{
    Filler filler;
    const FrameBuffer first = AllocateFrameBuffer({2, 2}, rgba8);
    const FrameBuffer second = AllocateFrameBuffer({2, 2}, rgba8);
    filler.SetColor({1, 0, 0, 1});
    filler.Record(first).Draw(6, 1, 0, 0).Submit();
    filler.SetColor({0, 1, 0, 1});
    filler.Record(second).Draw(6, 1, 0, 0).Submit();
    CHECK(PixelOf(first.GetColorTarget(0)) == Rgba8{255, 0, 0, 255});
    CHECK(PixelOf(second.GetColorTarget(0)) == Rgba8{0, 255, 0, 255});
}

TEST_CASE("A pass without draws clears every colour target")
{
    const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm, wgpu::TextureFormat::R8Unorm}};
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, format);
    RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({1, 0, 0.2f, 1}).Submit();
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{255, 0, 51, 255});
    CHECK(PixelOf(target.GetColorTarget(1)) == Rgba8{255, 0, 0, 255});
}

TEST_CASE("A fresh target that no pass clears starts transparent black, also when the pool had it before")
{
    {
        const FrameBuffer used = AllocateFrameBuffer({3, 3}, rgba8);
        RenderPassRecorder().BindFrameBuffer(used).ClearColorBuffer({1, 1, 1, 1}).Submit();
    }
    const FrameBuffer fresh = AllocateFrameBuffer({3, 3}, rgba8);
    RenderPassRecorder().BindFrameBuffer(fresh).Submit();
    CHECK(PixelOf(fresh.GetColorTarget(0)) == Rgba8{0, 0, 0, 0});
}

TEST_CASE("A second pass that does not clear draws over what the first one left")
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({0, 0, 1, 1}).Submit();
    RenderPassRecorder().BindFrameBuffer(target).Submit();
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{0, 0, 255, 255});
}

TEST_CASE("Premultiplied blending lays half transparent red over blue, and without blending replaces it")
{
    Filler filler;
    filler.SetColor({0.6f, 0, 0, 0.6f});
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const auto draw = [&](const RenderPipeline& pipeline)
    {
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .ClearColorBuffer({0, 0, 1, 1})
            .BindPipeline(pipeline)
            .BindVertexBuffer(0, filler.quad, 0, wholeBuffer)
            .BindBindGroup(0, filler.group)
            .Draw(6, 1, 0, 0)
            .Submit();
        return PixelOf(target.GetColorTarget(0));
    };
    CHECK(draw(QuadPipeline(filler.shader).SetBlendMode(BlendMode::AlphaPremultiplied, -1).Build()) ==
          Rgba8{153, 0, 102, 255});
    CHECK(draw(QuadPipeline(filler.shader).SetBlendMode(BlendMode::AlphaPremultiplied, 0).Build()) ==
          Rgba8{153, 0, 102, 255});
    CHECK(draw(QuadPipeline(filler.shader).Build()) == Rgba8{153, 0, 0, 153});
}

TEST_CASE("Dynamic offsets choose the block of a uniform buffer for each draw of a pass")
{
    const Shader shader = FillShader();
    UniformBuffer uniforms(shader, 3, uniformUsage);
    uniforms.GetBlock(0).GetVariable("color").SetVec4({0.2f, 0, 0, 0.2f});
    uniforms.GetBlock(1).GetVariable("color").SetVec4({0, 0.4f, 0, 0.4f});
    uniforms.GetBlock(2).GetVariable("color").SetVec4({0, 0, 0.6f, 0.6f});
    uniforms.UploadChanges();
    const RenderPipeline pipeline =
        QuadPipeline(shader).SetBlendMode(BlendMode::AlphaPremultiplied, -1).EnableDynamicOffsets(0, 0).Build();
    const wgpu::BindGroup group = BindGroupBuilder(pipeline, 0).AddUniformBuffer(0, uniforms, 0).Build();
    const Buffer quad = MakeQuad();
    const auto blockSize = std::uint32_t(uniforms.GetBlockSize());
    const auto draw = [&](const std::vector<std::uint32_t>& blocks)
    {
        const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
        RenderPassRecorder recorder;
        recorder.BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 0}).BindPipeline(pipeline);
        recorder.BindVertexBuffer(0, quad, 0, wholeBuffer);
        for (const std::uint32_t block : blocks)
            recorder.BindBindGroup(0, group, block * blockSize).Draw(6, 1, 0, 0);
        recorder.Submit();
        return PixelOf(target.GetColorTarget(0));
    };
    CHECK(draw({0}) == Rgba8{51, 0, 0, 51});
    CHECK(draw({1}) == Rgba8{0, 102, 0, 102});
    CHECK(draw({2}) == Rgba8{0, 0, 153, 153});
    // Block 2 at the bottom, block 1 over it: 0.6 * 0.6 = 0.36 of the blue is left, alpha 0.4 + 0.36.
    CHECK(draw({2, 1}) == Rgba8{0, 102, 92, 194});
}

TEST_CASE("A vertex buffer may begin at an offset, and draws may begin at a vertex")
{
    Filler filler;
    filler.SetColor({1, 1, 1, 1});
    // Two corners that are not part of the quad come first.
    const float corners[] = {0, 0, 0, 0, -1, 1, 1, 1, -1, -1, -1, -1, 1, 1, 1, -1};
    Buffer shifted(sizeof(corners), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    shifted.Upload(corners, sizeof(corners), 0);
    const auto draw = [&](std::uint64_t offset, std::uint64_t size, std::uint32_t firstVertex)
    {
        const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
        filler.Record(target).BindVertexBuffer(0, shifted, offset, size).Draw(6, 1, firstVertex, 0).Submit();
        return PixelOf(target.GetColorTarget(0));
    };
    const Rgba8 white{255, 255, 255, 255};
    CHECK(draw(16, wholeBuffer, 0) == white);
    CHECK(draw(16, 48, 0) == white);
    CHECK(draw(0, wholeBuffer, 2) == white);
}

TEST_CASE("With a depth format the nearer triangle wins, whatever the order")
{
    const Shader shader = Shader::FromWgsl(R"(
struct Varyings { @builtin(position) position: vec4f, @location(0) color: vec4f }
@vertex fn vs_main(@location(0) position: vec2f, @builtin(instance_index) i: u32) -> Varyings
{
    if (i == 0) { return Varyings(vec4f(position, 0.25, 1), vec4f(0, 1, 0, 1)); }
    return Varyings(vec4f(position, 0.75, 1), vec4f(1, 0, 0, 1));
}
@fragment fn fs_main(in: Varyings) -> @location(0) vec4f { return in.color; }
)");
    FrameBufferFormat format = rgba8;
    format.depthFormat = wgpu::TextureFormat::Depth24Plus;
    const RenderPipeline pipeline = QuadPipeline(shader, format).Build();
    const Buffer quad = MakeQuad();
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, format);
    const auto draw = [&](std::uint32_t instance)
    {
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .BindPipeline(pipeline)
            .BindVertexBuffer(0, quad, 0, wholeBuffer)
            .Draw(6, 1, 0, instance)
            .Submit();
        return PixelOf(target.GetColorTarget(0));
    };
    CHECK(draw(1) == Rgba8{255, 0, 0, 255}); // nothing but the far one yet: depth starts at 1
    CHECK(draw(0) == Rgba8{0, 255, 0, 255});
    CHECK(draw(1) == Rgba8{0, 255, 0, 255}); // depth is kept between passes that don't clear
}

TEST_CASE("With several samples the colour target holds the resolved picture")
{
    FrameBufferFormat format = rgba8;
    format.sampleCount = 4;
    Filler filler(format);
    filler.SetColor({0, 0.4f, 0, 1});
    const FrameBuffer target = AllocateFrameBuffer({4, 4}, format);
    filler.Record(target).Draw(6, 1, 0, 0).Submit();
    CHECK(PixelOf(target.GetColorTarget(0), 3, 3) == Rgba8{0, 102, 0, 255});
}

TEST_CASE("A recorder starts anew after Submit")
{
    Filler filler;
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    RenderPassRecorder recorder = filler.Record(target);
    recorder.Submit();
    const LogRecorder log;
    recorder.Submit();
    CHECK(log.Contains("A render pass draws nothing: It has no frame buffer."));
}

TEST_CASE("A pass with something empty clears its target, draws nothing and says what is missing")
{
    Filler filler;
    filler.SetColor({1, 1, 1, 1});
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const auto start = [&]
    {
        RenderPassRecorder recorder;
        recorder.BindFrameBuffer(target).ClearColorBuffer({0.2f, 0, 0, 1});
        return recorder;
    };
    const LogRecorder log;
    SECTION("a pipeline")
    {
        start()
            .BindPipeline(RenderPipeline())
            .BindVertexBuffer(0, filler.quad, 0, wholeBuffer)
            .BindBindGroup(0, filler.group)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(log.Contains("A render pass draws nothing: The pipeline is empty."));
    }
    SECTION("a bind group")
    {
        start()
            .BindPipeline(filler.pipeline)
            .BindVertexBuffer(0, filler.quad, 0, wholeBuffer)
            .BindBindGroup(0, nullptr)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(log.Contains("A render pass draws nothing: Bind group 0 is empty."));
    }
    SECTION("a bind group with a dynamic offset")
    {
        start()
            .BindPipeline(filler.pipeline)
            .BindVertexBuffer(0, filler.quad, 0, wholeBuffer)
            .BindBindGroup(0, nullptr, 256)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(log.Contains("A render pass draws nothing: Bind group 0 is empty."));
    }
    SECTION("a vertex buffer")
    {
        start()
            .BindPipeline(filler.pipeline)
            .BindVertexBuffer(0, Buffer(), 0, wholeBuffer)
            .BindBindGroup(0, filler.group)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(log.Contains("A render pass draws nothing: The vertex buffer in slot 0 is empty."));
    }
    CHECK(log.lines.size() == 1);
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{51, 0, 0, 255});
}

TEST_CASE("A pass that forgot a bind group is refused with one error, and later passes work")
{
    Filler filler;
    filler.SetColor({1, 1, 1, 1});
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    {
        const LogRecorder log;
        RenderPassRecorder()
            .BindFrameBuffer(target)
            .BindPipeline(filler.pipeline)
            .BindVertexBuffer(0, filler.quad, 0, wholeBuffer)
            .Draw(6, 1, 0, 0)
            .Submit();
        CHECK(log.lines.size() == 1);
        CHECK(log.Contains("The GPU refuses a render pass into "));
    }
    filler.Record(target).Draw(6, 1, 0, 0).Submit();
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{255, 255, 255, 255});
}

TEST_CASE("A compute pass reads one storage buffer and writes another")
{
    std::vector<std::uint32_t> numbers(6);
    std::iota(numbers.begin(), numbers.end(), 1u);
    Buffer input(24, storageUsage, false);
    input.Upload(numbers.data(), 24, 0);
    const Buffer output(24, storageUsage, true);
    const ComputePipeline pipeline = ComputePipelineBuilder().SetShader(doubleShader).Build();
    const wgpu::BindGroup group =
        BindGroupBuilder(pipeline, 0).AddReadOnlyStorageBuffer(0, input).AddStorageBuffer(1, output).Build();

    const GpuCounters before = Graphics::GetCounters();
    ComputePassRecorder().BindPipeline(pipeline).BindBindGroup(0, group).Dispatch(2, 1, 1).Submit();
    CHECK(ReadBuffer<std::uint32_t>(output) == std::vector<std::uint32_t>{2, 4, 6, 8, 10, 12});
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.computePasses == before.computePasses + 1);
    CHECK(after.dispatches == before.dispatches + 1);
}

TEST_CASE("A compute pass with something missing computes nothing and says why")
{
    Buffer input(16, storageUsage, true);
    const Buffer output(16, storageUsage, true);
    const ComputePipeline pipeline = ComputePipelineBuilder().SetShader(doubleShader).Build();
    const wgpu::BindGroup group =
        BindGroupBuilder(pipeline, 0).AddReadOnlyStorageBuffer(0, input).AddStorageBuffer(1, output).Build();
    const LogRecorder log;
    const std::uint64_t dispatches = Graphics::GetCounters().dispatches;
    SECTION("no workgroups are no error")
    {
        ComputePassRecorder().BindPipeline(pipeline).BindBindGroup(0, group).Dispatch(0, 1, 1).Submit();
        CHECK(log.lines.empty());
    }
    SECTION("more workgroups than the device runs")
    {
        const std::uint32_t limit = Graphics::GetLimits().maxComputeWorkgroupsPerDimension;
        ComputePassRecorder().BindPipeline(pipeline).BindBindGroup(0, group).Dispatch(limit + 1, 1, 1).Submit();
        CHECK(log.Contains("A compute pass does nothing: " + std::to_string(limit + 1) +
                           " x 1 x 1 workgroups are asked for, and this device runs at most " + std::to_string(limit) +
                           " in each dimension."));
        CHECK(log.lines.size() == 1);
    }
    SECTION("no pipeline")
    {
        ComputePassRecorder().BindPipeline(ComputePipeline()).BindBindGroup(0, group).Dispatch(1, 1, 1).Submit();
        CHECK(log.Contains("A compute pass does nothing: The pipeline is empty."));
        CHECK(log.lines.size() == 1);
    }
    SECTION("no bind group")
    {
        ComputePassRecorder().BindPipeline(pipeline).BindBindGroup(0, nullptr).Dispatch(1, 1, 1).Submit();
        CHECK(log.Contains("A compute pass does nothing: Bind group 0 is empty."));
        CHECK(log.lines.size() == 1);
    }
    CHECK(Graphics::GetCounters().dispatches == dispatches);
}

TEST_CASE("Errors of passes, bind groups and pipelines name the operator that is executing")
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    const LogRecorder log;
    RunAs("soft",
          [&]
          {
              RenderPassRecorder().BindFrameBuffer(target).BindPipeline({}).Submit();
              RenderPassRecorder().BindFrameBuffer(target).BindPipeline(QuadPipeline(Shader()).Build()).Submit();
              BindGroupBuilder(QuadPipeline(FillShader()).Build(), 0).Build();
              ComputePassRecorder().BindBindGroup(0, nullptr).Submit();
          });
    REQUIRE(log.lines.size() == 4);
    for (const std::string& line : log.lines)
        CHECK(line.starts_with("error: soft: "));
}

TEST_CASE("The GPU time of a pass counts for the operator that submitted it")
{
    if (!Graphics::StartTimings())
        return; // this adapter has no timestamps
    Filler filler;
    Graph graph;
    const Operator* const op = graph.Add(std::make_unique<Worker>(
        [&] {
            filler.Record(AllocateFrameBuffer({512, 512}, rgba8)).Draw(6, 1, 0, 0).Submit();
        }));
    graph.Run();
    CHECK(Graphics::CollectTimings().contains(op));
}

TEST_CASE("A clear color that is not finite becomes the nearest that can be drawn, and not-a-number 0")
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const LogRecorder log;
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    CHECK(RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({infinity, nan, -infinity, 1}).Submit());
    CHECK(PixelOf(target.GetColorTarget(0)) == Rgba8{255, 0, 0, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("Submitting tells whether the GPU took all of a pass")
{
    Filler filler;
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba8);
    CHECK(filler.Record(target).Draw(6, 1, 0, 0).Submit());
    const LogRecorder log; // of what is refused
    CHECK_FALSE(RenderPassRecorder().BindFrameBuffer(target).BindPipeline({}).Submit());
    CHECK_FALSE(RenderPassRecorder().Submit());
    CHECK_FALSE(filler.Record(target).BindVertexBuffer(0, Buffer(), 0, wholeBuffer).Draw(6, 1, 0, 0).Submit());
    CHECK_FALSE(filler.Record(target).Draw(7, 1, 0, 0).Submit()); // more vertices than the buffer has
    CHECK(log.Contains("The GPU refuses a render pass into 2 by 2 pixels of RGBA8Unorm: "));
    CHECK(log.lines.size() == 4);
    CHECK_FALSE(ComputePassRecorder().BindBindGroup(0, nullptr).Submit());
    CHECK(filler.Record(target).Draw(6, 1, 0, 0).Submit());
}

TEST_CASE("Indices choose the vertices that are drawn, from a base on, and a scissor where")
{
    // Two quads behind each other: the second is the first one's lower half.
    const float corners[] = {-1, 1, 1, 1, -1, -1, 1, -1, -1, 0, 1, 0, -1, -1, 1, -1};
    Buffer vertices(sizeof(corners), wgpu::BufferUsage::Vertex | wgpu::BufferUsage::CopyDst, false);
    vertices.Upload(corners, sizeof(corners), 0);
    const std::uint16_t numbers[] = {0, 1, 2, 2, 1, 3};
    Buffer indices(sizeof(numbers), wgpu::BufferUsage::Index | wgpu::BufferUsage::CopyDst, false);
    indices.Upload(numbers, sizeof(numbers), 0);
    Filler filler;
    filler.SetColor({1, 0, 0, 1});
    const FrameBuffer target = AllocateFrameBuffer({4, 4}, rgba8);
    const std::uint64_t draws = Graphics::GetCounters().draws;
    CHECK(filler.Record(target)
              .BindVertexBuffer(0, vertices, 0, wholeBuffer)
              .BindIndexBuffer(indices, wgpu::IndexFormat::Uint16)
              .SetScissor({0, 0}, {3, 4})
              .DrawIndexed(6, 1, 0, 4)
              .Submit());
    CHECK(Graphics::GetCounters().draws == draws + 1);
    const Image image = ReadBack(target.GetColorTarget(0));
    CHECK(At(image, 1, 1) == Rgba8{0, 0, 0, 255}); // above
    CHECK(At(image, 1, 2) == Rgba8{255, 0, 0, 255});
    CHECK(At(image, 3, 2) == Rgba8{0, 0, 0, 255}); // beside the scissor
}
