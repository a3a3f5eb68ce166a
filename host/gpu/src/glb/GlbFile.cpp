#include "glb/GlbFile.h"

#include "Varkle/Core/Log.h"

#include <array>
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

// Hands parts of a file to a sink until one is not taken.
class Pieces
{
public:
    explicit Pieces(const GlbSink& target) : sink(target) {}

    void Add(std::span<const std::uint32_t> numbers)
    {
        std::vector<std::uint8_t> bytes;
        for (const std::uint32_t number : numbers)
        {
            for (int shift = 0; shift < 32; shift += 8)
                bytes.push_back(std::uint8_t(number >> shift));
        }
        Give(bytes);
    }

    void Add(std::span<const std::byte> part, std::uint8_t padding)
    {
        const std::array<std::uint8_t, 3> end{padding, padding, padding};
        Give({reinterpret_cast<const std::uint8_t*>(part.data()), part.size()});
        Give(std::span(end).first(Align(part.size()) - part.size()));
    }

    const Status& GetStatus() const { return status; }

private:
    void Give(std::span<const std::uint8_t> bytes)
    {
        if (status && !bytes.empty())
            status = sink(bytes);
    }

    const GlbSink& sink;
    Status status = Ok();
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

Status GlbFile::Finish(const GlbSink& sink)
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

    Pieces file(sink);
    file.Add(std::array<std::uint32_t, 5>{0x46546C67, 2, std::uint32_t(size),              // "glTF" and its version
                                          std::uint32_t(Align(json.size())), 0x4E4F534A}); // "JSON"
    file.Add(std::as_bytes(std::span(json)), ' ');
    if (!views.empty())
        file.Add(std::array<std::uint32_t, 2>{std::uint32_t(viewsEnd), 0x004E4942}); // "BIN"
    for (const std::span<const std::byte> view : views)
        file.Add(view, 0);
    return file.GetStatus();
}

} // namespace Varkle::Glb
