#include "glb/GlbFile.h"

#include "Varkle/Core/Log.h"

#include <limits>

namespace Varkle::Glb
{

namespace
{

constexpr std::size_t FileHeader = 12;
constexpr std::size_t ChunkHeader = 8;

// Chunks and views begin at multiples of 4.
constexpr std::uint64_t Align(std::uint64_t size)
{
    return (size + 3) / 4 * 4;
}

class Bytes
{
public:
    explicit Bytes(std::size_t size) { bytes.reserve(size); }

    void Add(std::uint32_t number)
    {
        for (int shift = 0; shift < 32; shift += 8)
            bytes.push_back(std::uint8_t(number >> shift));
    }

    void Add(std::span<const std::byte> part, std::uint8_t padding)
    {
        const auto* const begin = reinterpret_cast<const std::uint8_t*>(part.data());
        bytes.insert(bytes.end(), begin, begin + part.size());
        bytes.resize(Align(bytes.size()), padding);
    }

    std::vector<std::uint8_t> bytes;
};

} // namespace

Json ToJson(std::span<const float> values)
{
    return std::vector<float>(values.begin(), values.end());
}

Json ToJson(const glm::dvec3& v)
{
    return {v.x, v.y, v.z};
}

std::size_t GlbFile::Add(const char* list, Json element)
{
    Json& elements = root[list];
    elements.push_back(std::move(element));
    return elements.size() - 1;
}

std::size_t GlbFile::AddView(std::span<const std::byte> bytes, ViewTarget target)
{
    Json view = {{"buffer", 0}, {"byteOffset", viewsEnd}, {"byteLength", bytes.size()}};
    if (target != ViewTarget::None)
        view["target"] = int(target);
    views.push_back(bytes);
    viewsEnd += Align(bytes.size());
    return Add("bufferViews", std::move(view));
}

void GlbFile::Warn(const std::string& text)
{
    if (warned.insert(text).second)
        LogWarning("In the .glb " + text);
}

Result<std::vector<std::uint8_t>> GlbFile::Finish()
{
    root["asset"] = {{"version", "2.0"}, {"generator", "Varkle"}};
    if (!extensions.empty())
        root["extensionsUsed"] = extensions;
    if (!views.empty())
        root["buffers"] = {{{"byteLength", viewsEnd}}};
    const std::string json = root.dump();

    std::uint64_t size = FileHeader + ChunkHeader + Align(json.size());
    if (!views.empty())
        size += ChunkHeader + viewsEnd;
    if (size > std::numeric_limits<std::uint32_t>::max())
        return Error{"A .glb file can't be larger than 4 GiB; this one would have " + std::to_string(size) + " bytes."};

    Bytes file(size);
    file.Add(0x46546C67); // "glTF"
    file.Add(2);
    file.Add(std::uint32_t(size));
    file.Add(std::uint32_t(Align(json.size())));
    file.Add(0x4E4F534A); // "JSON"
    file.Add(std::as_bytes(std::span(json)), ' ');
    if (views.empty())
        return std::move(file.bytes);
    file.Add(std::uint32_t(viewsEnd));
    file.Add(0x004E4942); // "BIN"
    for (const std::span<const std::byte> view : views)
        file.Add(view, 0);
    return std::move(file.bytes);
}

} // namespace Varkle::Glb
