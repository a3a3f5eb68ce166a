#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace Varkle
{

/// Walks over the bytes of a file from front to back. Beyond the end it reads zeros and remembers that it did, so that
/// a decoder may read a whole header and then ask once.
class ByteReader
{
public:
    explicit ByteReader(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    std::uint8_t Byte()
    {
        if (rest.empty())
        {
            ranOut = true;
            return 0;
        }
        const std::uint8_t byte = rest.front();
        rest = rest.subspan(1);
        return byte;
    }

    /// Reads numbers of two and four bytes, highest byte first.
    std::uint16_t Big16()
    {
        const unsigned high = Byte();
        return std::uint16_t(high << 8 | Byte());
    }
    std::uint32_t Big32()
    {
        const std::uint32_t high = Big16();
        return high << 16 | Big16();
    }

    /// Returns the next `count` bytes and steps over them; fewer where the file ends before.
    std::span<const std::uint8_t> Take(std::size_t count)
    {
        ranOut = ranOut || count > rest.size();
        const auto taken = rest.first(std::min(count, rest.size()));
        rest = rest.subspan(taken.size());
        return taken;
    }

    /// The bytes that were not read yet.
    std::span<const std::uint8_t> GetRest() const { return rest; }

    /// True once more was asked for than the file has.
    bool HasRunOut() const { return ranOut; }

private:
    std::span<const std::uint8_t> rest;
    bool ranOut = false;
};

} // namespace Varkle
