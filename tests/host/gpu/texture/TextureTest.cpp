#include "Varkle/Gpu/Texture.h"

#include "Varkle/Gpu/FrameBuffer.h"
#include "Varkle/Gpu/PassRecorder.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/Pixels.h"

#include <cstdint>
#include <fstream>
#include <numeric>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

Image MakePattern(int width, int height)
{
    std::vector<std::uint8_t> pixels(std::size_t(width) * std::size_t(height) * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = std::uint8_t(i * 31 + i / 253);
    return Image({width, height}, std::move(pixels));
}

bool Same(const Image& a, const Image& b)
{
    return a.IsValid() && a.GetWidth() == b.GetWidth() && a.GetHeight() == b.GetHeight() &&
           std::equal(a.GetPixels(), a.GetPixels() + std::size_t(a.GetWidth()) * std::size_t(a.GetHeight()) * 4,
                      b.GetPixels());
}

// Fills a texture with bytes as they are stored, rows without padding.
Texture MakeStored(glm::ivec2 size, wgpu::TextureFormat format, std::uint32_t bytesPerPixel,
                   const std::vector<std::uint8_t>& bytes)
{
    Texture texture = Texture::Create(size, format);
    wgpu::TexelCopyTextureInfo target;
    target.texture = texture.GetTextureHandle();
    wgpu::TexelCopyBufferLayout layout;
    layout.bytesPerRow = std::uint32_t(size.x) * bytesPerPixel;
    layout.rowsPerImage = std::uint32_t(size.y);
    const wgpu::Extent3D extent{std::uint32_t(size.x), std::uint32_t(size.y)};
    Graphics::GetQueue().WriteTexture(&target, bytes.data(), bytes.size(), &layout, &extent);
    return texture;
}

// Copies what a view shows into a texture by drawing, as an operator would.
Image ReadView(const wgpu::TextureView& view, glm::ivec2 size)
{
    const wgpu::Device device = Graphics::GetDevice();
    wgpu::ShaderSourceWGSL wgsl;
    wgsl.code = R"(
        @group(0) @binding(0) var source: texture_2d<f32>;
        @vertex fn vs_main(@builtin(vertex_index) i: u32) -> @builtin(position) vec4<f32>
        {
            return vec4<f32>(select(-1.0, 3.0, i == 1u), select(-1.0, 3.0, i == 2u), 0.0, 1.0);
        }
        @fragment fn fs_main(@builtin(position) p: vec4<f32>) -> @location(0) vec4<f32>
        {
            return textureLoad(source, vec2<i32>(p.xy), 0);
        })";
    wgpu::ShaderModuleDescriptor moduleDescriptor;
    moduleDescriptor.nextInChain = &wgsl;
    const wgpu::ShaderModule module = device.CreateShaderModule(&moduleDescriptor);
    wgpu::ColorTargetState colorTarget;
    colorTarget.format = wgpu::TextureFormat::RGBA8Unorm;
    wgpu::FragmentState fragment;
    fragment.module = module;
    fragment.targetCount = 1;
    fragment.targets = &colorTarget;
    wgpu::RenderPipelineDescriptor pipelineDescriptor;
    pipelineDescriptor.vertex.module = module;
    pipelineDescriptor.fragment = &fragment;
    const wgpu::RenderPipeline pipeline = device.CreateRenderPipeline(&pipelineDescriptor);
    wgpu::BindGroupEntry entry;
    entry.binding = 0;
    entry.textureView = view;
    wgpu::BindGroupDescriptor bindGroupDescriptor;
    bindGroupDescriptor.layout = pipeline.GetBindGroupLayout(0);
    bindGroupDescriptor.entryCount = 1;
    bindGroupDescriptor.entries = &entry;
    const wgpu::BindGroup bindGroup = device.CreateBindGroup(&bindGroupDescriptor);

    const Texture target = Texture::Create(size, wgpu::TextureFormat::RGBA8Unorm);
    wgpu::RenderPassColorAttachment attachment;
    attachment.view = target.GetTextureView({});
    attachment.loadOp = wgpu::LoadOp::Clear;
    attachment.storeOp = wgpu::StoreOp::Store;
    wgpu::RenderPassDescriptor passDescriptor;
    passDescriptor.colorAttachmentCount = 1;
    passDescriptor.colorAttachments = &attachment;
    const wgpu::CommandEncoder encoder = device.CreateCommandEncoder();
    const wgpu::RenderPassEncoder pass = encoder.BeginRenderPass(&passDescriptor);
    pass.SetPipeline(pipeline);
    pass.SetBindGroup(0, bindGroup);
    pass.Draw(3);
    pass.End();
    const wgpu::CommandBuffer commands = encoder.Finish();
    Graphics::GetQueue().Submit(1, &commands);
    return ReadBack(target);
}

} // namespace

TEST_CASE("An empty texture handle has no size, no format and no GPU objects")
{
    const Texture texture;
    CHECK_FALSE(texture);
    CHECK(texture.GetWidth() == 0);
    CHECK(texture.GetHeight() == 0);
    CHECK(texture.GetTextureFormat() == wgpu::TextureFormat::Undefined);
    CHECK(texture.GetTextureHandle() == nullptr);
    CHECK(texture.GetTextureView({}) == nullptr);
}

TEST_CASE("An image comes back from the GPU as it went")
{
    for (const glm::ivec2 size :
         {glm::ivec2(1, 1), glm::ivec2(3, 5), glm::ivec2(64, 2), glm::ivec2(257, 3), glm::ivec2(65, 64)})
    {
        const Image image = MakePattern(size.x, size.y);
        const Texture texture = Texture::FromImage(image, false);
        CHECK(texture.GetWidth() == size.x);
        CHECK(texture.GetHeight() == size.y);
        CHECK(texture.GetTextureFormat() == wgpu::TextureFormat::RGBA8Unorm);
        CHECK(Same(ReadBack(texture), image));
    }
}

TEST_CASE("A large image comes back as it went")
{
    // More than 4 MiB, which goes through a staging buffer, with padded rows.
    const Image image = MakePattern(1101, 1001);
    CHECK(Same(ReadBack(Texture::FromImage(image, false)), image));
    CHECK(Same(ReadBack(Texture::FromImage(image, true)), image));
}

TEST_CASE("An sRGB texture keeps the stored bytes and is sampled linear")
{
    const Image image({1, 1}, {188, 0, 255, 128}); // 188 is 0.503 linear, 128 of 255
    const Texture texture = Texture::FromImage(image, true);
    CHECK(texture.GetTextureFormat() == wgpu::TextureFormat::RGBA8UnormSrgb);
    CHECK(At(ReadBack(texture), 0, 0) == Rgba8{188, 0, 255, 128});
    CHECK(At(ReadView(texture.GetTextureView({}), {1, 1}), 0, 0) == Rgba8{128, 0, 255, 128});
}

TEST_CASE("An empty image makes an empty texture without a word")
{
    const LogRecorder log;
    CHECK_FALSE(Texture::FromImage(Image(), false));
    CHECK(log.lines.empty());
}

TEST_CASE("A texture of an impossible size or format is empty")
{
    CHECK_FALSE(Texture::Create({0, 4}, wgpu::TextureFormat::RGBA8Unorm));
    CHECK_FALSE(Texture::Create({4, -1}, wgpu::TextureFormat::RGBA8Unorm));
    CHECK_FALSE(Texture::Create({1 << 20, 4}, wgpu::TextureFormat::RGBA8Unorm));
    CHECK_FALSE(Texture::Create({4, 4}, wgpu::TextureFormat::Undefined));
}

TEST_CASE("A format that can't be drawn into is refused with one error that names it")
{
    const LogRecorder log;
    CHECK_FALSE(Texture::Create({4, 4}, wgpu::TextureFormat::RGB9E5Ufloat));
    REQUIRE(log.lines.size() == 1);
    CHECK(log.lines[0].starts_with("error: A RGB9E5Ufloat texture of 4 by 4 pixels could not be made: "));
}

TEST_CASE("Channels that a format lacks read as 0, and alpha as 255")
{
    const Texture red = MakeStored({3, 1}, wgpu::TextureFormat::R8Unorm, 1, {10, 20, 30});
    CHECK(At(ReadBack(red), 0, 0) == Rgba8{10, 0, 0, 255});
    CHECK(At(ReadBack(red), 2, 0) == Rgba8{30, 0, 0, 255});
    const Texture two = MakeStored({1, 2}, wgpu::TextureFormat::RG8Unorm, 2, {10, 20, 30, 40});
    CHECK(At(ReadBack(two), 0, 0) == Rgba8{10, 20, 0, 255});
    CHECK(At(ReadBack(two), 0, 1) == Rgba8{30, 40, 0, 255});
}

TEST_CASE("Wide one-channel rows come back without their padding")
{
    std::vector<std::uint8_t> bytes(771);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t(0));
    const Image image = ReadBack(MakeStored({257, 3}, wgpu::TextureFormat::R8Unorm, 1, bytes));
    CHECK(At(image, 0, 0) == Rgba8{0, 0, 0, 255});
    CHECK(At(image, 256, 0) == Rgba8{0, 0, 0, 255}); // 256 modulo 256
    CHECK(At(image, 0, 1) == Rgba8{1, 0, 0, 255});   // 257
    CHECK(At(image, 256, 2) == Rgba8{2, 0, 0, 255}); // 770
}

TEST_CASE("Blue-first textures come back red first")
{
    const Texture texture = MakeStored({1, 1}, wgpu::TextureFormat::BGRA8Unorm, 4, {10, 20, 30, 40});
    CHECK(At(ReadBack(texture), 0, 0) == Rgba8{30, 20, 10, 40});
}

TEST_CASE("Float textures come back clamped and rounded to 8 bits")
{
    // Half floats: 0.5 = 0x3800, 2.0 = 0x4000, -1.0 = 0xbc00, 1.0 = 0x3c00.
    const Texture half = MakeStored({1, 1}, wgpu::TextureFormat::RGBA16Float, 8, {0, 0x38, 0, 0x40, 0, 0xbc, 0, 0x3c});
    CHECK(At(ReadBack(half), 0, 0) == Rgba8{128, 255, 0, 255});
    if (!Graphics::HasFeature(wgpu::FeatureName::Float32Filterable))
        return;
    // 0.25 as a float is 0x3e800000.
    const Texture single = MakeStored({1, 1}, wgpu::TextureFormat::R32Float, 4, {0, 0, 0x80, 0x3e});
    CHECK(At(ReadBack(single), 0, 0) == Rgba8{64, 0, 0, 255});
}

TEST_CASE("Integer textures and empty handles read as an invalid image")
{
    CHECK_FALSE(ReadBack(Texture()).IsValid());
    CHECK_FALSE(ReadBack(Texture::Create({2, 2}, wgpu::TextureFormat::RGBA8Uint)).IsValid());
    CHECK_FALSE(ReadBack(Texture::Create({2, 2}, wgpu::TextureFormat::Depth24Plus)).IsValid());
}

TEST_CASE("Read-backs call back in their order, each once and never at once")
{
    const Texture first = Texture::FromImage(MakePattern(40, 30), false);
    const Texture second = Texture::FromImage(MakePattern(2, 2), false);
    std::vector<int> widths;
    const auto note = [&](const Image& image) { widths.push_back(image.GetWidth()); };
    first.ReadPixelsAsync(note);
    second.ReadPixelsAsync(note);
    first.ReadPixelsAsync(note);
    Texture().ReadPixelsAsync(note);
    CHECK(widths.empty());
    CHECK(Graphics::HasReadBacks());
    CHECK(Graphics::CountReadBacks() == 4);
    while (Graphics::WaitForReadBack(std::chrono::seconds(60)))
    {
    }
    CHECK_FALSE(Graphics::HasReadBacks());
    CHECK(Graphics::CountReadBacks() == 0);
    CHECK_FALSE(Graphics::WaitForReadBack(std::chrono::milliseconds(0)));
    std::sort(widths.begin(), widths.end()); // the one that fails at once may come first
    CHECK(widths == std::vector<int>{0, 2, 40, 40});
}

TEST_CASE("A read-back shows the texture as it was when it was asked for")
{
    Texture texture = Texture::FromImage(Image({1, 1}, {1, 2, 3, 4}), false);
    Image image;
    texture.ReadPixelsAsync([&](Image result) { image = std::move(result); });
    texture = {};
    // Takes the same texture from the pool and overwrites it.
    const Texture other = Texture::FromImage(Image({1, 1}, {5, 6, 7, 8}), false);
    while (Graphics::WaitForReadBack(std::chrono::seconds(60)))
    {
    }
    CHECK(At(image, 0, 0) == Rgba8{1, 2, 3, 4});
    CHECK(At(ReadBack(other), 0, 0) == Rgba8{5, 6, 7, 8});
}

TEST_CASE("A read-back may be asked for by the callback of another")
{
    const Texture texture = Texture::FromImage(MakePattern(3, 3), false);
    int calls = 0;
    texture.ReadPixelsAsync([&](const Image&) { texture.ReadPixelsAsync([&](const Image&) { ++calls; }); });
    while (Graphics::WaitForReadBack(std::chrono::seconds(60)))
    {
    }
    CHECK(calls == 1);
}

TEST_CASE("Read-back buffers are used again")
{
    const Texture texture = Texture::FromImage(MakePattern(33, 7), false);
    ReadBack(texture);
    const GpuCounters before = Graphics::GetCounters();
    ReadBack(texture);
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.readBacks == before.readBacks + 1);
}

TEST_CASE("A view swizzles as its letters say")
{
    const Texture texture = Texture::FromImage(Image({2, 1}, {10, 20, 30, 40, 50, 60, 70, 80}), false);
    const auto read = [&](const std::string& swizzle) {
        return At(ReadView(texture.GetTextureView({.swizzle = swizzle}), {2, 1}), 1, 0);
    };
    CHECK(read("RGBA") == Rgba8{50, 60, 70, 80});
    CHECK(read("rgba") == Rgba8{50, 60, 70, 80});
    CHECK(read("ABGR") == Rgba8{80, 70, 60, 50});
    CHECK(read("RRR1") == Rgba8{50, 50, 50, 255});
    CHECK(read("0g1a") == Rgba8{0, 60, 255, 80});
    CHECK(read("B") == Rgba8{70, 0, 0, 255}); // missing letters: 0, and 1 for alpha
    CHECK(read("") == Rgba8{0, 0, 0, 255});
    CHECK(read("X?BA7") == Rgba8{0, 0, 70, 80}); // other letters: 0
}

TEST_CASE("Swizzles keep the precision of float and sRGB textures")
{
    // 2.0 = 0x4000 must not be clamped by the copy: the view reads alpha 2.0, which the target clamps to 255.
    const Texture half = MakeStored({1, 1}, wgpu::TextureFormat::RGBA16Float, 8, {0, 0x38, 0, 0x40, 0, 0xbc, 0, 0x34});
    CHECK(At(ReadView(half.GetTextureView({.swizzle = "ARGB"}), {1, 1}), 0, 0) == Rgba8{64, 128, 255, 0});
    // 13 is 0.0040 linear, which 8 linear bits would keep as 1.
    const Texture srgb = Texture::FromImage(Image({1, 1}, {13, 188, 0, 255}), true);
    CHECK(At(ReadView(srgb.GetTextureView({.swizzle = "GRBA"}), {1, 1}), 0, 0) == Rgba8{128, 1, 0, 255});
}

TEST_CASE("A swizzled view that is asked for after a pass shows what the pass drew")
{
    const FrameBuffer frameBuffer = AllocateFrameBuffer({1, 1}, {.colorFormats = {wgpu::TextureFormat::RGBA8Unorm}});
    const Texture texture = frameBuffer.GetColorTarget(0);
    const auto fill = [&](const glm::vec4& color)
    { RenderPassRecorder().BindFrameBuffer(frameBuffer).ClearColorBuffer(color).Submit(); };
    fill({1, 0, 0, 1});
    CHECK(At(ReadView(texture.GetTextureView({.swizzle = "GRBA"}), {1, 1}), 0, 0) == Rgba8{0, 255, 0, 255});
    fill({0, 0, 1, 1});
    CHECK(At(ReadView(texture.GetTextureView({.swizzle = "GRBA"}), {1, 1}), 0, 0) == Rgba8{0, 0, 255, 255});
}

TEST_CASE("A view is made once for a texture and a swizzle")
{
    const Texture texture = Texture::FromImage(MakePattern(2, 2), false);
    CHECK(texture.GetTextureView({}).Get() == texture.GetTextureView({}).Get());
    const WGPUTextureView swizzled = texture.GetTextureView({.swizzle = "BGRA"}).Get();
    CHECK(swizzled != texture.GetTextureView({}).Get());
    CHECK(swizzled == texture.GetTextureView({.swizzle = "bgra"}).Get());
    CHECK(swizzled != texture.GetTextureView({.swizzle = "GBRA"}).Get());
}

TEST_CASE("A texture view has the sampler of its options, and every kind exists once")
{
    const Texture texture = Texture::FromImage(MakePattern(2, 2), false);
    const TextureView linear(texture, {});
    const std::uint64_t created = Graphics::GetCounters().samplersCreated;
    const TextureView again(texture, {});
    const TextureView nearest(texture, {.filter = wgpu::FilterMode::Nearest});
    const TextureView repeated(texture, {.addressMode = wgpu::AddressMode::Repeat});
    const TextureView mirrored(texture, {.addressMode = wgpu::AddressMode::MirrorRepeat});
    CHECK(linear.GetSamplerHandle().Get() == again.GetSamplerHandle().Get());
    CHECK(linear.GetSamplerHandle().Get() != nearest.GetSamplerHandle().Get());
    CHECK(linear.GetSamplerHandle().Get() != repeated.GetSamplerHandle().Get());
    CHECK(repeated.GetSamplerHandle().Get() != mirrored.GetSamplerHandle().Get());
    CHECK(Graphics::GetCounters().samplersCreated == created);
}

TEST_CASE("A texture view of given objects hands them back")
{
    const Texture texture = Texture::FromImage(MakePattern(2, 2), false);
    const wgpu::SamplerDescriptor descriptor{};
    const wgpu::Sampler sampler = Graphics::GetDevice().CreateSampler(&descriptor);
    const wgpu::TextureView view = texture.GetTextureView({});
    const TextureView pair(view, sampler);
    CHECK(pair.GetTextureViewHandle().Get() == view.Get());
    CHECK(pair.GetSamplerHandle().Get() == sampler.Get());
}

TEST_CASE("The default textures are one pixel, made once")
{
    CHECK(At(ReadBack(GetDefaultWhiteTexture()), 0, 0) == Rgba8{255, 255, 255, 255});
    CHECK(At(ReadBack(GetDefaultTexture()), 0, 0) == Rgba8{0, 0, 0, 0});
    CHECK(GetDefaultTexture().GetWidth() == 1);
    CHECK(GetDefaultTexture().GetHeight() == 1);
    CHECK(GetDefaultWhiteTexture() == GetDefaultWhiteTexture());
    CHECK_FALSE(GetDefaultWhiteTexture() == GetDefaultTexture());
}

TEST_CASE("Formats are named as WebGPU's C++ header spells them")
{
    CHECK(GetTextureFormatName(wgpu::TextureFormat::RGBA8Unorm) == "RGBA8Unorm");
    CHECK(GetTextureFormatName(wgpu::TextureFormat::R8Unorm) == "R8Unorm");
    CHECK(GetTextureFormatName(wgpu::TextureFormat::Undefined) == "Undefined");
}

TEST_CASE("A huge image goes to the GPU in small bands, each row where it belongs")
{
    constexpr int width = 8000;
    constexpr int height = 2500; // 80 MB
    std::vector<std::uint8_t> pixels(std::size_t(width) * height * 4, 255);
    for (int y = 0; y < height; ++y)
        pixels[std::size_t(y) * width * 4] = std::uint8_t(y % 251);
    Graphics::TrimPools(true);
    const std::uint64_t created = Graphics::GetCounters().buffersCreated;
    const Texture texture = Texture::FromImage(Image({width, height}, std::move(pixels)), false);
    REQUIRE(texture);
    CHECK(Graphics::GetCounters().buffersCreated == created + 1);
    Graphics::WaitForGpu();
    Graphics::ProcessEvents();
    CHECK(Graphics::GetCounters().idleBufferBytes <= 16u << 20);
    const Image back = ReadBack(texture);
    REQUIRE(back.GetHeight() == height);
    int wrong = 0;
    for (int y = 0; y < height; ++y)
        wrong += At(back, 0, y).r == y % 251 && At(back, width - 1, y).r == 255 ? 0 : 1;
    CHECK(wrong == 0);
}

#ifndef __SANITIZE_ADDRESS__ // it ends the process where memory is lacking
TEST_CASE("A texture for which a software GPU has no memory left is not made, and the log says so")
{
    if (Graphics::GetAdapterInfo().type != "CPU")
        return;
    const Image image({4096, 4096}, std::vector<std::uint8_t>(std::size_t(64) << 20));
    Graphics::TrimPools(true);
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit before{};
    REQUIRE(getrlimit(RLIMIT_AS, &before) == 0);
    const rlimit tight{pages * std::uint64_t(sysconf(_SC_PAGESIZE)) + (100u << 20), before.rlim_max};
    const std::uint64_t shortages = Graphics::GetCounters().memoryShortages;
    const LogRecorder log;
    REQUIRE(setrlimit(RLIMIT_AS, &tight) == 0);
    const Texture texture = Texture::FromImage(image, false);
    setrlimit(RLIMIT_AS, &before);
    CHECK_FALSE(texture);
    CHECK(Graphics::GetCounters().memoryShortages == shortages + 1);
    CHECK(log.Contains("A RGBA8Unorm texture of 4096 by 4096 pixels could not be made: There is not enough memory"));
    CHECK(Texture::FromImage(image, false));
}
#endif
