#include "Varkle/Gpu/Buffer.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/ReadBuffer.h"

#include <cstdint>
#include <numeric>
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
