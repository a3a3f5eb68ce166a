#include "Varkle/Gpu/FrameBuffer.h"

#include "Varkle/Core/Graph.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"

#include <memory>
#include <string>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const FrameBufferFormat rgba{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};

// Asks for a frame buffer of its size whenever it is run.
class Allocator final : public Operator
{
public:
    explicit Allocator(glm::ivec2 askedSize) : size(askedSize) {}
    void Execute(ExecutionContext&) override { frameBuffer = AllocateFrameBuffer(size, rgba); }

    glm::ivec2 size;
    FrameBuffer frameBuffer;
};

} // namespace

TEST_CASE("A frame buffer has a target for each colour format")
{
    const FrameBufferFormat format{.colorFormats = {wgpu::TextureFormat::R8Unorm, wgpu::TextureFormat::RG8Unorm}};
    const FrameBuffer frameBuffer = AllocateFrameBuffer({7, 3}, format);
    CHECK(frameBuffer.GetWidth() == 7);
    CHECK(frameBuffer.GetHeight() == 3);
    CHECK(frameBuffer.GetFormat() == format);
    CHECK(frameBuffer.GetColorTarget(0).GetTextureFormat() == wgpu::TextureFormat::R8Unorm);
    CHECK(frameBuffer.GetColorTarget(1).GetTextureFormat() == wgpu::TextureFormat::RG8Unorm);
    CHECK(frameBuffer.GetColorTarget(1).GetWidth() == 7);
    CHECK(frameBuffer.GetColorTarget(1).GetHeight() == 3);
    CHECK_FALSE(frameBuffer.GetColorTarget(2));
    CHECK_FALSE(frameBuffer.GetColorTarget(-1));
}

TEST_CASE("An empty frame buffer has no size and no targets")
{
    const FrameBuffer frameBuffer;
    CHECK(frameBuffer.GetWidth() == 0);
    CHECK(frameBuffer.GetHeight() == 0);
    CHECK_FALSE(frameBuffer.GetColorTarget(0));
}

TEST_CASE("A texture that is still held is never given out again")
{
    Graphics::TrimPools(true);
    const FrameBuffer first = AllocateFrameBuffer({9, 9}, rgba);
    const FrameBuffer second = AllocateFrameBuffer({9, 9}, rgba);
    CHECK_FALSE(first.GetColorTarget(0) == second.GetColorTarget(0));
    CHECK(Internal::GetRenderView(first.GetColorTarget(0)).Get() !=
          Internal::GetRenderView(second.GetColorTarget(0)).Get());
    CHECK(Graphics::GetCounters().idleTextures == 0);
}

TEST_CASE("A texture whose last handle goes is used for the next frame buffer of its size and format")
{
    Graphics::TrimPools(true);
    FrameBuffer frameBuffer = AllocateFrameBuffer({16, 8}, rgba);
    Texture published = frameBuffer.GetColorTarget(0);
    const WGPUTextureView view = Internal::GetRenderView(published).Get();
    frameBuffer = {};
    CHECK(Graphics::GetCounters().idleTextures == 0);
    published = {};
    CHECK(Graphics::GetCounters().idleTextures == 1);
    CHECK(Graphics::GetCounters().idleTextureBytes == 512);

    const GpuCounters before = Graphics::GetCounters();
    const FrameBuffer otherSize = AllocateFrameBuffer({8, 16}, rgba);
    const FrameBuffer otherFormat = AllocateFrameBuffer({16, 8}, {.colorFormats = {wgpu::TextureFormat::BGRA8Unorm}});
    CHECK(Graphics::GetCounters().texturesReused == before.texturesReused);
    CHECK(Graphics::GetCounters().texturesCreated == before.texturesCreated + 2);

    const FrameBuffer same = AllocateFrameBuffer({16, 8}, rgba);
    CHECK(Internal::GetRenderView(same.GetColorTarget(0)).Get() == view);
    CHECK(Graphics::GetCounters().texturesReused == before.texturesReused + 1);
    CHECK(Graphics::GetCounters().texturesCreated == before.texturesCreated + 2);
    CHECK(Graphics::GetCounters().idleTextures == 0);
}

TEST_CASE("A texture whose GPU object was given away never returns to the pool")
{
    Graphics::TrimPools(true);
    FrameBuffer frameBuffer = AllocateFrameBuffer({11, 11}, rgba);
    const wgpu::Texture object = frameBuffer.GetColorTarget(0).GetTextureHandle();
    REQUIRE(object != nullptr);
    frameBuffer = {};
    CHECK(Graphics::GetCounters().idleTextures == 0);
    const FrameBuffer next = AllocateFrameBuffer({11, 11}, rgba);
    CHECK(next.GetColorTarget(0).GetTextureHandle().Get() != object.Get());
}

TEST_CASE("A frame buffer that nobody draws into is transparent black, whatever its texture held before")
{
    Graphics::TrimPools(true);
    FrameBuffer frameBuffer = AllocateFrameBuffer({5, 5}, rgba);
    RenderPassRecorder().BindFrameBuffer(frameBuffer).ClearColorBuffer({1, 0.2, 0.4, 0.6}).Submit();
    CHECK(At(ReadBack(frameBuffer.GetColorTarget(0)), 4, 4) == Rgba8{255, 51, 102, 153});
    const std::uint64_t reused = Graphics::GetCounters().texturesReused;
    frameBuffer = {};
    frameBuffer = AllocateFrameBuffer({5, 5}, rgba);
    CHECK(Graphics::GetCounters().texturesReused == reused + 1);
    CHECK(At(ReadBack(frameBuffer.GetColorTarget(0)), 4, 4) == Rgba8{0, 0, 0, 0});
}

TEST_CASE("A frame buffer stays transparent black when the pass that was to draw into it is refused")
{
    Graphics::TrimPools(true);
    FrameBuffer frameBuffer = AllocateFrameBuffer({5, 5}, rgba);
    REQUIRE(RenderPassRecorder().BindFrameBuffer(frameBuffer).ClearColorBuffer({1, 0.2, 0.4, 0.6}).Submit());
    frameBuffer = {};
    frameBuffer = AllocateFrameBuffer({5, 5}, rgba); // the same texture
    const LogRecorder log;
    Graphics::FailNext(GpuRequest::Pass);
    CHECK_FALSE(RenderPassRecorder().BindFrameBuffer(frameBuffer).ClearColorBuffer({0, 1, 0, 1}).Submit());
    CHECK(log.Contains("The GPU refuses a render pass into 5 by 5 pixels of RGBA8Unorm: "));
    CHECK(At(ReadBack(frameBuffer.GetColorTarget(0)), 4, 4) == Rgba8{0, 0, 0, 0});
}

TEST_CASE("A texture that is made is transparent black, whatever its memory held before")
{
    Graphics::TrimPools(true);
    Texture texture = Texture::Create({5, 3}, wgpu::TextureFormat::RGBA8Unorm);
    REQUIRE(RenderPassRecorder()
                .BindFrameBuffer(FrameBuffer::FromTexture(texture))
                .ClearColorBuffer({1, 0, 0, 1})
                .Submit());
    CHECK(At(ReadBack(texture), 4, 2) == Rgba8{255, 0, 0, 255});
    texture = {};
    const std::uint64_t reused = Graphics::GetCounters().texturesReused;
    texture = Texture::Create({5, 3}, wgpu::TextureFormat::RGBA8Unorm);
    CHECK(Graphics::GetCounters().texturesReused == reused + 1);
    CHECK(At(ReadBack(texture), 4, 2) == Rgba8{0, 0, 0, 0});
    CHECK(FrameBuffer::FromTexture(Texture()).GetWidth() == 0);
}

TEST_CASE("A size that can't be made becomes the nearest, with one warning that names the operator and the sizes")
{
    const int limit = int(Graphics::GetLimits().maxTextureDimension2D);
    Graph graph;
    auto* const small = static_cast<Allocator*>(graph.Add(std::make_unique<Allocator>(glm::ivec2(0, -3)), "tiny"));
    auto* const large =
        static_cast<Allocator*>(graph.Add(std::make_unique<Allocator>(glm::ivec2(limit + 1, 1)), "huge"));
    const LogRecorder log;
    for (int frame = 0; frame < 3; ++frame)
    {
        small->MarkDirty();
        large->MarkDirty();
        graph.Run();
    }
    CHECK(small->frameBuffer.GetWidth() == 1);
    CHECK(small->frameBuffer.GetHeight() == 1);
    CHECK(small->frameBuffer.GetColorTarget(0).GetWidth() == 1);
    CHECK(large->frameBuffer.GetWidth() == limit);
    REQUIRE(log.lines.size() == 2);
    CHECK(log.Contains("warning: tiny: A texture of 0 by -3 pixels can't be made; it becomes 1 by 1."));
    CHECK(log.Contains("warning: huge: A texture of " + std::to_string(limit + 1) +
                       " by 1 pixels can't be made; it becomes " + std::to_string(limit) + " by 1."));
}

TEST_CASE(
    "An operator that asks for another impossible size in every frame is warned once, until it asks for a good one")
{
    Graph graph;
    auto* const op = static_cast<Allocator*>(graph.Add(std::make_unique<Allocator>(glm::ivec2(1, 1)), "op"));
    const LogRecorder log;
    const auto run = [&](glm::ivec2 size)
    {
        op->size = size;
        op->MarkDirty();
        graph.Run();
    };
    for (int frame = 1; frame <= 5; ++frame)
        run({-frame, 4});
    CHECK(log.lines.size() == 1);
    run({8, 4});
    CHECK(log.lines.size() == 1);
    run({-1, 4});
    CHECK(log.lines.size() == 2);
}

TEST_CASE("A frame buffer with a target that can't be made is empty")
{
    const LogRecorder log;
    const FrameBuffer frameBuffer = AllocateFrameBuffer(
        {4, 4}, {.colorFormats = {wgpu::TextureFormat::RGBA8Unorm, wgpu::TextureFormat::RGB9E5Ufloat}});
    CHECK_FALSE(frameBuffer.GetColorTarget(0));
    CHECK(frameBuffer.GetWidth() == 0);
    CHECK(log.lines.size() == 1);
}

TEST_CASE("A multisampled frame buffer shows its resolved targets")
{
    const FrameBuffer frameBuffer = AllocateFrameBuffer({6, 6}, {.colorFormats = {wgpu::TextureFormat::RGBA8Unorm},
                                                                 .depthFormat = wgpu::TextureFormat::Depth24Plus,
                                                                 .sampleCount = 4});
    const Texture target = frameBuffer.GetColorTarget(0);
    CHECK(target.GetTextureHandle().GetSampleCount() == 1);
    CHECK(At(ReadBack(target), 0, 0) == Rgba8{0, 0, 0, 0});
}
