#include "device/ReadBacks.h"

#include "Varkle/Core/Log.h"
#include "buffer/BufferPool.h"
#include "device/GpuInternals.h"
#include "texture/Swizzle.h"
#include "texture/TextureStorage.h"

#include <algorithm>
#include <list>
#include <utility>
#include <vector>

namespace Varkle
{

namespace
{

enum class Progress
{
    UnderWay,
    Arrived,
    Failed,
};

struct ReadBack
{
    std::function<void(Image)> done;
    std::string operatorKey; // of the operator that asked: what `done` logs comes from there
    glm::ivec2 size{0, 0};
    std::uint32_t channels = 0; // stored ones, a byte each
    std::uint32_t pitch = 0;    // bytes from row to row
    bool blueFirst = false;
    wgpu::Buffer buffer;
    wgpu::Future future;
    unsigned long generation = 0;
    Progress progress = Progress::Failed;
};

using ReadBackPointer = std::shared_ptr<ReadBack>;

// In the order in which they were asked for.
std::list<ReadBackPointer>& All()
{
    static auto& all = *new std::list<ReadBackPointer>;
    return all;
}

// The channels of a format whose bytes can be taken as they are, or 0.
std::uint32_t StoredChannels(wgpu::TextureFormat format)
{
    switch (format)
    {
    case wgpu::TextureFormat::R8Unorm:
        return 1;
    case wgpu::TextureFormat::RG8Unorm:
        return 2;
    case wgpu::TextureFormat::RGBA8Unorm:
    case wgpu::TextureFormat::RGBA8UnormSrgb:
    case wgpu::TextureFormat::BGRA8Unorm:
    case wgpu::TextureFormat::BGRA8UnormSrgb:
        return 4;
    default:
        return 0;
    }
}

// Queues the copy to a buffer and its mapping. Leaves the read-back failed when that is not possible.
void Begin(const ReadBackPointer& readBack, const Texture& asked)
{
    if (!asked || !Internal::IsCurrent(TextureAccess::Storage(asked)->generation))
        return;
    Texture texture = asked;
    if (StoredChannels(texture.GetTextureFormat()) == 0 && IsFloatFormat(texture.GetTextureFormat()))
        texture = CopySwizzled(texture, wgpu::TextureFormat::RGBA8Unorm, "RGBA");
    const std::uint32_t channels = StoredChannels(texture.GetTextureFormat());
    if (!texture || channels == 0)
        return;
    readBack->size = {texture.GetWidth(), texture.GetHeight()};
    readBack->channels = channels;
    readBack->pitch = AlignRow(std::uint32_t(readBack->size.x) * channels);
    readBack->blueFirst = GetTextureFormatName(texture.GetTextureFormat()).starts_with("BGRA");
    const std::uint64_t bytes = std::uint64_t(readBack->pitch) * std::uint32_t(readBack->size.y);
    readBack->buffer = BufferPool::Take(bytes, wgpu::BufferUsage::MapRead | wgpu::BufferUsage::CopyDst);
    if (!readBack->buffer)
        return;

    TextureAccess::ClearFresh(texture);
    wgpu::TexelCopyTextureInfo source;
    source.texture = TextureAccess::Storage(texture)->texture;
    wgpu::TexelCopyBufferInfo target;
    target.buffer = readBack->buffer;
    target.layout.bytesPerRow = readBack->pitch;
    target.layout.rowsPerImage = std::uint32_t(readBack->size.y);
    const wgpu::Extent3D extent{std::uint32_t(readBack->size.x), std::uint32_t(readBack->size.y)};
    const wgpu::CommandEncoder encoder = Graphics::GetDevice().CreateCommandEncoder();
    encoder.CopyTextureToBuffer(&source, &target, &extent);
    Internal::Submit(encoder);

    readBack->generation = Internal::DeviceGeneration();
    readBack->progress = Progress::UnderWay;
    readBack->future = readBack->buffer.MapAsync(
        wgpu::MapMode::Read, 0, bytes, wgpu::CallbackMode::AllowProcessEvents,
        [readBack](wgpu::MapAsyncStatus status, wgpu::StringView)
        { readBack->progress = status == wgpu::MapAsyncStatus::Success ? Progress::Arrived : Progress::Failed; });
}

Image ToImage(const ReadBack& readBack)
{
    const auto width = std::size_t(readBack.size.x);
    const auto height = std::size_t(readBack.size.y);
    const auto* const bytes =
        static_cast<const std::uint8_t*>(readBack.buffer.GetConstMappedRange(0, readBack.pitch * height));
    if (!bytes)
        return {};
    std::vector<std::uint8_t> pixels;
    pixels.reserve(width * height * 4);
    for (std::size_t y = 0; y < height; ++y)
    {
        const std::uint8_t* const row = bytes + y * readBack.pitch;
        if (readBack.channels == 4 && !readBack.blueFirst)
        {
            pixels.insert(pixels.end(), row, row + width * 4);
            continue;
        }
        pixels.resize((y + 1) * width * 4);
        std::uint8_t* target = pixels.data() + y * width * 4;
        for (const std::uint8_t* pixel = row; pixel != row + width * readBack.channels; pixel += readBack.channels)
        {
            *target++ = readBack.blueFirst ? pixel[2] : pixel[0];
            *target++ = readBack.channels > 1 ? pixel[1] : 0;
            *target++ = readBack.blueFirst ? pixel[0] : 0;
            *target++ = readBack.channels > 3 ? pixel[3] : 255;
        }
    }
    return Image(readBack.size, std::move(pixels));
}

void Finish(ReadBack& readBack)
{
    Image image;
    if (readBack.progress == Progress::Arrived && Internal::IsCurrent(readBack.generation))
    {
        image = ToImage(readBack);
        readBack.buffer.Unmap();
        BufferPool::Give(std::move(readBack.buffer), readBack.generation);
    }
    const LogScope scope(readBack.operatorKey);
    readBack.done(std::move(image));
}

} // namespace

void Texture::ReadPixelsAsync(std::function<void(Image)> done) const
{
    ++Internal::Counters().readBacks;
    const auto readBack = std::make_shared<ReadBack>();
    readBack->done = std::move(done);
    readBack->operatorKey = LogScope::GetOperatorKey();
    Begin(readBack, *this);
    All().push_back(readBack);
}

namespace ReadBacks
{

std::size_t Count()
{
    return All().size();
}

std::uint64_t CountBytes()
{
    std::uint64_t bytes = 0;
    for (const ReadBackPointer& readBack : All())
        bytes += std::uint64_t(readBack->size.x) * std::uint64_t(readBack->size.y) * 4;
    return bytes;
}

void Deliver()
{
    // A callback may ask for more, or deliver by itself.
    std::list<ReadBackPointer> finished;
    for (auto readBack = All().begin(); readBack != All().end();)
    {
        const auto next = std::next(readBack);
        if ((*readBack)->progress != Progress::UnderWay)
            finished.splice(finished.end(), All(), readBack);
        readBack = next;
    }
    // What a callback that throws leaves behind is delivered the next time.
    struct Rest
    {
        ~Rest() { All().splice(All().begin(), list); }
        std::list<ReadBackPointer>& list;
    };
    const Rest rest{finished};
    while (!finished.empty())
    {
        const ReadBackPointer readBack = std::move(finished.front());
        finished.pop_front();
        Finish(*readBack);
    }
}

void Wait(std::chrono::milliseconds timeout)
{
    const auto underWay = [](const ReadBackPointer& readBack) { return readBack->progress == Progress::UnderWay; };
    // The GPU works in order: the oldest finishes first.
    if (std::all_of(All().begin(), All().end(), underWay))
        Internal::Wait(All().front()->future, timeout);
    Graphics::ProcessEvents();
}

void Abort()
{
    for (const ReadBackPointer& readBack : All())
        readBack->progress = Progress::Failed;
    Deliver();
}

} // namespace ReadBacks

} // namespace Varkle
