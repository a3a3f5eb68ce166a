#include "Varkle/Gpu/Buffer.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/ReadBuffer.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

using namespace Varkle;
using namespace Varkle::Testing;
using Bytes = std::vector<std::uint8_t>;

namespace
{

constexpr wgpu::BufferUsage usage =
    wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopySrc | wgpu::BufferUsage::CopyDst;

Bytes CountUp(std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = std::uint8_t(i * 7 + i / 251);
    return bytes;
}

} // namespace

TEST_CASE("An empty buffer handle has no size and no GPU object")
{
    const Buffer buffer;
    CHECK_FALSE(buffer);
    CHECK(buffer.GetSizeInBytes() == 0);
    CHECK(buffer.GetBufferHandle() == nullptr);
}

TEST_CASE("A buffer keeps the size that was asked for and is rounded up on the GPU")
{
    const Buffer six(6, usage, true);
    CHECK(six.GetSizeInBytes() == 6);
    CHECK(six.GetBufferHandle().GetSize() == 8);
    const Buffer none(0, usage, true);
    CHECK(none.GetSizeInBytes() == 0);
    CHECK(none.GetBufferHandle().GetSize() == 4);
}

TEST_CASE("Bytes that are uploaded at an offset land there")
{
    Buffer buffer(12, usage, true);
    const Bytes bytes{1, 2, 3, 4};
    buffer.Upload(bytes.data(), 4, 4);
    CHECK(ReadBuffer<std::uint8_t>(buffer) == Bytes{0, 0, 0, 0, 1, 2, 3, 4, 0, 0, 0, 0});
}

TEST_CASE("An upload that is not a multiple of four is padded with zeros")
{
    Buffer buffer(8, usage, true);
    const Bytes before{9, 9, 9, 9, 9, 9, 9, 9};
    buffer.Upload(before.data(), 8, 0);
    const Bytes bytes{1, 2, 3, 4, 5};
    buffer.Upload(bytes.data(), 5, 0);
    CHECK(ReadBuffer<std::uint8_t>(buffer) == Bytes{1, 2, 3, 4, 5, 0, 0, 0});
}

TEST_CASE("An upload of the last bytes of an odd buffer fits")
{
    Buffer buffer(7, usage, true);
    const Bytes bytes{1, 2, 3};
    const LogRecorder log;
    buffer.Upload(bytes.data(), 3, 4);
    CHECK(log.lines.empty());
    CHECK(ReadBuffer<std::uint8_t>(buffer) == Bytes{0, 0, 0, 0, 1, 2, 3});
}

TEST_CASE("Megabytes arrive whole, several times in a row")
{
    // Large uploads go through staging buffers, which must not be filled again before the GPU has read them.
    const std::size_t size = (5u << 20) + 3;
    Buffer first(size, usage, false);
    Buffer second(size, usage, false);
    const Bytes up = CountUp(size);
    const Bytes down(up.rbegin(), up.rend());
    first.Upload(up.data(), size, 0);
    second.Upload(down.data(), size, 0);
    CHECK((ReadBuffer<std::uint8_t>(first) == up)); // in parentheses: not to be printed
    CHECK((ReadBuffer<std::uint8_t>(second) == down));

    Graphics::ProcessEvents();
    const std::uint64_t created = Graphics::GetCounters().buffersCreated;
    first.Upload(down.data(), size, 0);
    CHECK(Graphics::GetCounters().buffersCreated == created); // the staging buffer was kept
    CHECK((ReadBuffer<std::uint8_t>(first) == down));
}

TEST_CASE("An upload outside the buffer is an error with the numbers and writes nothing")
{
    Buffer buffer(8, usage, true);
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    for (const auto& [size, offset] :
         std::vector<std::pair<unsigned long, unsigned long>>{{8, 4}, {4, 8}, {1, ~0ul}, {~0ul, 4}, {4, 2}})
    {
        const LogRecorder log;
        buffer.Upload(bytes.data(), size, offset);
        REQUIRE(log.lines.size() == 1);
        CHECK(log.lines[0].starts_with("error: Can't write " + std::to_string(size) + " bytes at offset " +
                                       std::to_string(offset) + " of a buffer of 8 bytes"));
    }
    CHECK(ReadBuffer<std::uint8_t>(buffer) == Bytes(8, 0));
}

TEST_CASE("An upload between two passes reaches only what is submitted after it")
{
    Buffer source(4, usage, true);
    Buffer before(4, usage, true);
    Buffer after(4, usage, true);
    const Bytes one{1, 1, 1, 1};
    const Bytes two{2, 2, 2, 2};
    source.Upload(one.data(), 4, 0);
    before.CopyFrom(source, 0, 0, 4);
    source.Upload(two.data(), 4, 0);
    after.CopyFrom(source, 0, 0, 4);
    CHECK(ReadBuffer<std::uint8_t>(before) == one);
    CHECK(ReadBuffer<std::uint8_t>(after) == two);
}

TEST_CASE("An upload of megabytes does not overtake a copy that was asked for before")
{
    const std::size_t size = 5u << 20; // goes through a staging buffer
    Buffer source(size, usage, true);
    Buffer target(4, usage, true);
    const Bytes one{1, 1, 1, 1};
    source.Upload(one.data(), 4, 0);
    target.CopyFrom(source, 0, 0, 4);
    const Bytes many(size, 2);
    source.Upload(many.data(), size, 0);
    CHECK(ReadBuffer<std::uint8_t>(target) == one);
    CHECK((ReadBuffer<std::uint8_t>(source) == many));
}

TEST_CASE("A copy takes what the copy before brought")
{
    Buffer first(4, usage, true);
    Buffer second(4, usage, true);
    Buffer third(8, usage, true);
    const Bytes bytes{1, 2, 3, 4};
    first.Upload(bytes.data(), 4, 0);
    third.CopyFrom(second, 0, 0, 4); // zeros
    second.CopyFrom(first, 0, 0, 4);
    third.CopyFrom(second, 0, 4, 4);
    first.CopyFrom(third, 0, 0, 4);
    CHECK(ReadBuffer<std::uint8_t>(third) == Bytes{0, 0, 0, 0, 1, 2, 3, 4});
    CHECK(ReadBuffer<std::uint8_t>(second) == bytes);
    CHECK(ReadBuffer<std::uint8_t>(first) == Bytes(4, 0));
}

TEST_CASE("Copies in a row share one submit")
{
    Buffer source(4, usage, true);
    Buffer target(4000, usage, true);
    const auto copy = [&]
    {
        for (std::uint64_t offset = 0; offset < 4000; offset += 4)
            target.CopyFrom(source, 0, offset, 4);
    };
    const std::pair<const char*, std::function<void()>> makers[] = {
        {"taking the queue", [] { Graphics::GetQueue(); }},
        {"processing events", [] { Graphics::ProcessEvents(); }},
        {"waiting", [] { Graphics::WaitForGpu(); }},
        {"uploading", [&] { source.Upload("abcd", 4, 0); }},
    };
    for (const auto& [name, submit] : makers)
    {
        INFO(name);
        Graphics::WaitForGpu();
        const std::uint64_t submits = Graphics::GetCounters().submits;
        copy();
        CHECK(Graphics::GetCounters().submits == submits);
        submit();
        CHECK(Graphics::GetCounters().submits == submits + 1);
        submit();
        CHECK(Graphics::GetCounters().submits == submits + 1);
    }
    copy();
    const std::vector<std::uint32_t> words = ReadBuffer<std::uint32_t>(target);
    CHECK(words == std::vector<std::uint32_t>(1000, 0x64636261)); // "abcd"
}

TEST_CASE("A copy is made though its source is gone, and the target's next owner does not see it")
{
    Buffer target(4, usage, true);
    const Bytes one{1, 1, 1, 1};
    const Bytes two{2, 2, 2, 2};
    WGPUBuffer object = nullptr;
    {
        Buffer source(4, usage, true);
        object = source.GetBufferHandle().Get();
        source.Upload(one.data(), 4, 0);
        target.CopyFrom(source, 0, 0, 4);
    }
    SECTION("when it has a new owner")
    {
        Buffer next(4, usage, false);
        REQUIRE(next.GetBufferHandle().Get() == object);
        next.Upload(two.data(), 4, 0);
        CHECK(ReadBuffer<std::uint8_t>(next) == two);
    }
    SECTION("when it is zeroed for a new owner")
    {
        const Buffer next(4, usage, true);
        REQUIRE(next.GetBufferHandle().Get() == object);
        CHECK(ReadBuffer<std::uint8_t>(next) == Bytes(4, 0));
    }
    SECTION("when it is released")
    {
        Graphics::TrimPools(true);
    }
    CHECK(ReadBuffer<std::uint8_t>(target) == one);

    {
        Buffer brief(4, usage, true);
        object = brief.GetBufferHandle().Get();
        brief.CopyFrom(target, 0, 0, 4);
    }
    const Buffer zeros(4, usage, true);
    REQUIRE(zeros.GetBufferHandle().Get() == object);
    CHECK(ReadBuffer<std::uint8_t>(zeros) == Bytes(4, 0));
}

TEST_CASE("A copy to a buffer that can be mapped is there when it is mapped")
{
    Buffer source(4, usage, true);
    const Bytes bytes{1, 2, 3, 4};
    source.Upload(bytes.data(), 4, 0);
    Buffer readable(4, wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst, false);
    const wgpu::Buffer handle = readable.GetBufferHandle();
    readable.CopyFrom(source, 0, 0, 4);
    const wgpu::Future mapped = handle.MapAsync(wgpu::MapMode::Read, 0, 4, wgpu::CallbackMode::WaitAnyOnly,
                                                [](wgpu::MapAsyncStatus, wgpu::StringView) {});
    Graphics::GetInstance().WaitAny(mapped, UINT64_MAX);
    const auto* const data = static_cast<const std::uint8_t*>(handle.GetConstMappedRange(0, 4));
    REQUIRE(data);
    CHECK(Bytes(data, data + 4) == bytes);
    handle.Unmap();
}

TEST_CASE("A copy that WebGPU refuses is an error and takes no other with it")
{
    Buffer source(8, usage, true);
    Buffer target(8, usage, true);
    Buffer onlyStorage(8, wgpu::BufferUsage::Storage, false);
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    source.Upload(bytes.data(), 8, 0);
    const LogRecorder log;
    target.CopyFrom(source, 0, 0, 4);
    source.CopyFrom(source, 0, 4, 4);
    source.CopyFrom(onlyStorage, 0, 4, 4);
    onlyStorage.CopyFrom(source, 0, 4, 4);
    target.CopyFrom(source, 4, 4, 4);
    CHECK(ReadBuffer<std::uint8_t>(target) == bytes);
    CHECK(log.lines == std::vector<std::string>{
                           "error: Can't copy between two buffers: they are the same.",
                           "error: Can't copy between two buffers: the first one lacks the usage CopySrc.",
                           "error: Can't copy between two buffers: the second one lacks the usage CopyDst.",
                       });
}

TEST_CASE("Copies that are pending when the device goes are forgotten")
{
    const LogRecorder log;
    Buffer source(4, usage, true);
    Buffer target(4, usage, true);
    target.CopyFrom(source, 0, 0, 4);
    SECTION("because it is shut down")
    {
        Graphics::Shutdown();
        CHECK(log.lines.empty());
    }
    SECTION("because it is lost")
    {
        Graphics::GetDevice().ForceLoss(wgpu::DeviceLostReason::Unknown, "the test pulled the plug");
        while (!Graphics::IsLost())
            Graphics::ProcessEvents();
        target.CopyFrom(source, 0, 0, 4);
        Graphics::Shutdown();
        CHECK(log.lines == std::vector<std::string>{"error: The GPU device was lost: the test pulled the plug"});
    }
    const std::size_t lines = log.lines.size();
    REQUIRE(Graphics::Start());
    Buffer next(4, usage, true);
    const Bytes bytes{1, 2, 3, 4};
    next.Upload(bytes.data(), 4, 0);
    CHECK(ReadBuffer<std::uint8_t>(next) == bytes);
    CHECK(log.lines.size() == lines);
}

TEST_CASE("A copy takes a range of one buffer to an offset of another")
{
    Buffer source(8, usage, true);
    Buffer target(12, usage, true);
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    source.Upload(bytes.data(), 8, 0);
    target.CopyFrom(source, 4, 8, 4);
    CHECK(ReadBuffer<std::uint8_t>(target) == Bytes{0, 0, 0, 0, 0, 0, 0, 0, 5, 6, 7, 8});
}

TEST_CASE("A copy outside one of the buffers is an error and copies nothing")
{
    Buffer source(8, usage, true);
    Buffer target(8, usage, true);
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    source.Upload(bytes.data(), 8, 0);
    const LogRecorder log;
    target.CopyFrom(source, 4, 0, 8);
    target.CopyFrom(source, 0, 4, 8);
    target.CopyFrom(source, 2, 0, 4);
    target.CopyFrom(source, 0, ~std::uint64_t(3), 8);
    CHECK(log.lines.size() == 4);
    CHECK(log.Contains("Can't copy 8 bytes at offset 4 of a buffer of 8 bytes to offset 0"));
    CHECK(ReadBuffer<std::uint8_t>(target) == Bytes(8, 0));
}

TEST_CASE("A buffer whose last handle goes is used for the next of its size and usage, zeroed when asked")
{
    Graphics::TrimPools(true);
    Buffer first(48, usage, false);
    const Bytes bytes(48, 7);
    first.Upload(bytes.data(), 48, 0);
    Buffer copy = first;
    const WGPUBuffer object = first.GetBufferHandle().Get();
    first = {};
    CHECK(Graphics::GetCounters().idleBuffers == 0); // the copy holds it

    const std::uint64_t reused = Graphics::GetCounters().buffersReused;
    const Buffer other(48, usage, false);
    CHECK(other.GetBufferHandle().Get() != object);
    CHECK(Graphics::GetCounters().buffersReused == reused);

    copy = {};
    CHECK(Graphics::GetCounters().idleBuffers == 1);
    CHECK(Graphics::GetCounters().idleBufferBytes == 48);
    const Buffer larger(52, usage, false);
    CHECK(larger.GetBufferHandle().Get() != object);
    const Buffer uniform(48, wgpu::BufferUsage::Uniform | wgpu::BufferUsage::CopyDst, false);
    CHECK(uniform.GetBufferHandle().Get() != object);
    const Buffer second(48, usage, true);
    CHECK(second.GetBufferHandle().Get() == object);
    CHECK(Graphics::GetCounters().buffersReused == reused + 1);
    CHECK(ReadBuffer<std::uint8_t>(second) == Bytes(48, 0));
}

TEST_CASE("A buffer that the GPU can't have is empty and says so")
{
    const LogRecorder log;
    const Buffer buffer(~0ul - 8, usage, false);
    CHECK_FALSE(buffer);
    CHECK(log.Contains("is larger than the GPU allows"));
    CHECK(log.lines.size() == 1);
}
