#include "Varkle/Gpu/Graphics.h"

#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "device/GpuInternals.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"
#include "support/RunAs.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

const FrameBufferFormat rgba{.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}};

// Submits a timed pass that clears a texture.
void RunPass(const Texture& target)
{
    wgpu::RenderPassColorAttachment attachment;
    attachment.view = Internal::GetRenderView(target);
    attachment.loadOp = wgpu::LoadOp::Clear;
    attachment.storeOp = wgpu::StoreOp::Store;
    wgpu::RenderPassDescriptor descriptor;
    descriptor.colorAttachmentCount = 1;
    descriptor.colorAttachments = &attachment;
    descriptor.timestampWrites = Internal::BeginPassTiming();
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.BeginRenderPass(&descriptor).End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
}

} // namespace

TEST_CASE("Starting makes a device, and starting again changes nothing")
{
    REQUIRE(Graphics::Start());
    CHECK(Graphics::IsStarted());
    const WGPUDevice device = Graphics::GetDevice().Get();
    REQUIRE(device != nullptr);
    REQUIRE(Graphics::Start("an adapter that nobody has"));
    CHECK(Graphics::GetDevice().Get() == device);
    CHECK_FALSE(Graphics::IsLost());
    CHECK(Graphics::GetLostReason().empty());
}

TEST_CASE("The device has the adapter's limits and tells what it is")
{
    CHECK(Graphics::GetLimits().maxTextureDimension2D >= 8192);
    CHECK(Graphics::GetLimits().maxStorageBuffersPerShaderStage >= 9); // Mesh Copy binds 8, others may follow
    const AdapterInfo info = Graphics::GetAdapterInfo();
    CHECK_FALSE(info.name.empty());
    CHECK_FALSE(info.driver.empty());
    CHECK_FALSE(info.backend.empty());
    const std::vector<std::string> names = Graphics::GetFeatureNames();
    CHECK(std::is_sorted(names.begin(), names.end()));
    CHECK((std::count(names.begin(), names.end(), "timestamp-query") == 1) ==
          Graphics::HasFeature(wgpu::FeatureName::TimestampQuery));
}

TEST_CASE("The adapters are listed without duplicates and contain the one in use")
{
    const std::vector<AdapterInfo> adapters = Graphics::ListAdapters();
    const std::string used = Graphics::GetAdapterInfo().name;
    CHECK(std::count_if(adapters.begin(), adapters.end(), [&](const AdapterInfo& info) { return info.name == used; }) ==
          1);
}

TEST_CASE("An adapter is chosen by a part of its name, case ignored")
{
    const std::string name = Graphics::GetAdapterInfo().name;
    std::string part = name.substr(1, 4);
    std::transform(part.begin(), part.end(), part.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    Graphics::Shutdown();
    CHECK_FALSE(Graphics::IsStarted());
    REQUIRE(Graphics::Start(part));
    CHECK(Graphics::GetAdapterInfo().name == name);
}

TEST_CASE("An adapter that does not exist is an error of the machine that names those that do")
{
    const std::vector<AdapterInfo> adapters = Graphics::ListAdapters();
    Graphics::Shutdown();
    const Status status = Graphics::Start("no such adapter");
    REQUIRE_FALSE(status);
    CHECK(status.GetError().machine);
    CHECK(status.GetError().message.starts_with(
        "No GPU adapter has \"no such adapter\" in its name. This machine has: "));
    for (const AdapterInfo& info : adapters)
        CHECK(status.GetError().message.find(info.name) != std::string::npos);
    CHECK_FALSE(Graphics::IsStarted());
}

TEST_CASE("The environment variable chooses the adapter, and what Start is told goes before it")
{
    const std::string name = Graphics::GetAdapterInfo().name;
    Graphics::Shutdown();
    const char* const before = std::getenv("VARKLE_ADAPTER");
    const std::string kept = before ? before : "";
    setenv("VARKLE_ADAPTER", "nothing here", 1);
    CHECK_FALSE(Graphics::Start());
    {
        const LogRecorder log;
        CHECK(Graphics::GetDevice() == nullptr);
        CHECK(Graphics::GetDevice() == nullptr);
        CHECK(log.lines.size() == 1); // said once
        CHECK(log.Contains("nothing here"));
    }
    CHECK(Graphics::Start(name));
    if (before)
        setenv("VARKLE_ADAPTER", kept.c_str(), 1);
    else
        unsetenv("VARKLE_ADAPTER");
}

TEST_CASE("Handles of a device that was shut down are empty of use")
{
    Texture texture = Texture::FromImage(Image({1, 1}, {1, 2, 3, 4}), false);
    Buffer buffer(16, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
    const Texture white = GetDefaultWhiteTexture();
    Graphics::Shutdown();
    REQUIRE(Graphics::Start());

    const LogRecorder log;
    CHECK(texture.GetTextureHandle() == nullptr);
    CHECK(texture.GetTextureView({}) == nullptr);
    CHECK_FALSE(ReadBack(texture).IsValid());
    const std::uint32_t value = 1;
    buffer.Upload(&value, 4, 0);
    texture = {};
    buffer = {};
    CHECK(Graphics::GetCounters().idleTextures == 0); // nothing of the old device waits in the pool
    CHECK(Graphics::GetCounters().idleBuffers == 0);
    CHECK_FALSE(white == GetDefaultWhiteTexture());
    CHECK(At(ReadBack(GetDefaultWhiteTexture()), 0, 0) == Rgba8{255, 255, 255, 255});
    CHECK(log.lines.empty());
}

TEST_CASE("Shutting down calls back read-backs that are under way")
{
    const Texture texture = Texture::FromImage(Image({1, 1}, {1, 2, 3, 4}), false);
    int calls = 0;
    texture.ReadPixelsAsync([&](const Image&) { ++calls; });
    Graphics::Shutdown();
    CHECK(calls == 1);
    CHECK_FALSE(Graphics::HasReadBacks());
}

TEST_CASE("A lost device is an error once, and read-backs under way end with invalid images")
{
    REQUIRE(Graphics::Start());
    const Texture texture = Texture::FromImage(Image({1, 1}, {1, 2, 3, 4}), false);
    const LogRecorder log;
    bool valid = true;
    texture.ReadPixelsAsync([&](const Image& image) { valid = image.IsValid(); });
    Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "the test pulled the plug");
    Graphics::ProcessEvents();
    while (Graphics::WaitForReadBack(std::chrono::seconds(60)))
    {
    }
    CHECK_FALSE(valid);
    CHECK(Graphics::IsLost());
    CHECK(Graphics::GetLostReason() == "the test pulled the plug");
    CHECK(log.lines == std::vector<std::string>{"error: The GPU device was lost: the test pulled the plug"});
    CHECK_FALSE(ReadBack(texture).IsValid());

    Graphics::Shutdown();
    REQUIRE(Graphics::Start());
    CHECK_FALSE(Graphics::IsLost());
    CHECK(At(ReadBack(GetDefaultWhiteTexture()), 0, 0) == Rgba8{255, 255, 255, 255});
}

TEST_CASE("What the device refuses is logged with the operator that did it")
{
    REQUIRE(Graphics::Start());
    const std::uint64_t errors = Graphics::GetCounters().errors;
    const LogRecorder log;
    RunAs("culprit",
          []
          {
              wgpu::BufferDescriptor descriptor;
              descriptor.size = 3;
              descriptor.usage = wgpu::BufferUsage::CopyDst;
              descriptor.mappedAtCreation = true; // needs a multiple of 4
              Graphics::GetDevice().CreateBuffer(&descriptor);
          });
    CHECK(Graphics::GetCounters().errors == errors + 1);
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0].starts_with("error: culprit: GPU error: "));
    CHECK(log.lines[0].find('\n') == std::string::npos);
}

TEST_CASE("Commands that are invalid are reported by their cause alone")
{
    REQUIRE(Graphics::Start());
    const LogRecorder log;
    const Buffer buffer(8, wgpu::BufferUsage::CopySrc | wgpu::BufferUsage::CopyDst, false);
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyBufferToBuffer(buffer.GetBufferHandle(), 0, buffer.GetBufferHandle(), 0, 8);
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
    CHECK(log.lines.size() == 1);
}

TEST_CASE("An error scope keeps errors from the log and returns the first")
{
    REQUIRE(Graphics::Start());
    const LogRecorder log;
    Internal::ErrorScope scope;
    const wgpu::BufferDescriptor withoutUsage{};
    Graphics::GetDevice().CreateBuffer(&withoutUsage);
    CHECK_FALSE(scope.Finish().empty());
    Internal::ErrorScope quiet;
    CHECK(quiet.Finish().empty());
    CHECK(log.lines.empty());
}

TEST_CASE("Labels name the operator that executes")
{
    CHECK(Internal::Label("texture") == "texture");
    std::string label;
    RunAs("soft", [&] { label = Internal::Label("texture"); });
    CHECK(label == "soft: texture");
}

TEST_CASE("The counters count and can be reset")
{
    REQUIRE(Graphics::Start());
    Graphics::TrimPools(true);
    Graphics::ResetCounters();
    const Texture texture = Texture::FromImage(Image({2, 2}, std::vector<std::uint8_t>(16, 1)), false);
    Buffer buffer(12, wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopyDst, false);
    const std::uint32_t values[] = {1, 2};
    buffer.Upload(values, 8, 4);
    const GpuCounters counters = Graphics::GetCounters();
    CHECK(counters.texturesCreated == 1);
    CHECK(counters.texturesReused == 0);
    CHECK(counters.buffersCreated == 1);
    CHECK(counters.bytesUploaded == 16 + 8);
    CHECK(counters.readBacks == 0);
    CHECK(counters.errors == 0);
    Graphics::ResetCounters();
    CHECK(Graphics::GetCounters().texturesCreated == 0);
}

TEST_CASE("Trimming everything empties the pools")
{
    REQUIRE(Graphics::Start());
    AllocateFrameBuffer({10, 10}, rgba);
    CHECK(Graphics::GetCounters().idleTextures > 0);
    Graphics::TrimPools(); // it waits only since now
    CHECK(Graphics::GetCounters().idleTextures > 0);
    Graphics::TrimPools(true);
    CHECK(Graphics::GetCounters().idleTextures == 0);
    CHECK(Graphics::GetCounters().idleTextureBytes == 0);
    CHECK(Graphics::GetCounters().idleBuffers == 0);
    CHECK(Graphics::GetCounters().idleBufferBytes == 0);
}

TEST_CASE("GPU times are attributed to the operators that submitted the passes")
{
    REQUIRE(Graphics::Start());
    if (!Graphics::HasFeature(wgpu::FeatureName::TimestampQuery))
    {
        CHECK_FALSE(Graphics::StartTimings());
        return;
    }
    REQUIRE(Graphics::StartTimings());
    const FrameBuffer target = AllocateFrameBuffer({512, 512}, rgba);
    const auto draw = [&] { RunPass(target.GetColorTarget(0)); };
    Graph graphs[2]; // two sessions may use one key
    const Operator* const slow = graphs[0].Add(std::make_unique<Worker>(
                                                   [&]
                                                   {
                                                       for (int i = 0; i < 600; ++i) // more than a batch holds
                                                           draw();
                                                   }),
                                               "op");
    const Operator* const quick = graphs[1].Add(std::make_unique<Worker>(draw), "op");
    for (Graph& graph : graphs)
        graph.Run();
    RunAs("op", draw); // and is gone
    auto times = Graphics::CollectTimings();
    REQUIRE(times.size() == 2);
    CHECK(times[quick].count() > 0);
    CHECK(times[slow] > times[quick]);

    REQUIRE(Graphics::StartTimings()); // begins anew
    CHECK(Graphics::CollectTimings().empty());
}

TEST_CASE("A frame is under way until the GPU has done what it submitted")
{
    while (!Graphics::WaitForFrames(0, std::chrono::seconds(1)))
    {
    }
    Graphics::EndFrame();
    Graphics::ResetCounters();
    Graphics::EndFrame(); // submitted nothing
    CHECK(Graphics::GetCounters().mostFrames == 0);
    CHECK(Graphics::WaitForFrames(0, std::chrono::milliseconds(0)));

    const FrameBuffer target = AllocateFrameBuffer({2048, 2048}, rgba);
    for (int frame = 0; frame < 6; ++frame)
    {
        for (int i = 0; i < 20; ++i)
            RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({0, 0, 0, 1}).Submit();
        while (!Graphics::WaitForFrames(1, std::chrono::milliseconds(20)))
        {
        }
        Graphics::EndFrame();
    }
    CHECK(Graphics::GetCounters().mostFrames >= 1);
    CHECK(Graphics::GetCounters().mostFrames <= 2);
    while (!Graphics::WaitForFrames(0, std::chrono::seconds(1)))
    {
    }
}

TEST_CASE("A read-back whose callback throws does not take along those behind it")
{
    const FrameBuffer target = AllocateFrameBuffer({2, 2}, rgba);
    RenderPassRecorder().BindFrameBuffer(target).ClearColorBuffer({1, 0, 0, 1}).Submit();
    int arrived = 0;
    const Texture texture = target.GetColorTarget(0);
    texture.ReadPixelsAsync([](const Image&) { throw std::runtime_error("of the test"); });
    texture.ReadPixelsAsync([&](const Image&) { ++arrived; });
    Graphics::WaitForGpu();
    CHECK_THROWS(
        [&]
        {
            while (Graphics::WaitForReadBack(std::chrono::seconds(1)))
            {
            }
        }());
    CHECK(Graphics::CountReadBacks() == 1);
    while (Graphics::WaitForReadBack(std::chrono::seconds(1)))
    {
    }
    CHECK(arrived == 1);
}
