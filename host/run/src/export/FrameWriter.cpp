#include "export/FrameWriter.h"

#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <new>
#include <optional>
#include <thread>
#include <utility>

namespace Varkle
{

struct FrameWriter::File
{
    std::string path; // empty for the sink
    long long number; // in the order of Write: pictures may overtake each other while they are encoded
};

// Only the main thread touches what is not constant or atomic.
struct FrameWriter::Work
{
    Work(std::stop_token stopToken, Sink taker) : stop(std::move(stopToken)), sink(std::move(taker)) {}

    const std::stop_token stop;
    const Sink sink;
    std::atomic<bool> abandoned = false;
    long long started = 0;
    int underWay = 0;
    std::optional<Error> failure;
    long long failedNumber = 0;

    bool IsWanted() const { return !abandoned && !stop.stop_requested(); }

    void Done(const File& file, const Status& status)
    {
        --underWay;
        if (status || (failure && failedNumber < file.number))
            return;
        failure = status.GetError();
        failedNumber = file.number;
    }

    Status WriteBytes(const File& file, const std::vector<std::uint8_t>& bytes) const
    {
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        return file.path.empty() ? sink(text) : WriteFileAtomically(file.path, text);
    }
};

namespace
{

Error CantWrite(const std::string& path, std::string_view reason)
{
    return {fmt::format("could not write {}: {}", path.empty() ? "the file" : Printable(path), reason), true};
}

} // namespace

FrameWriter::FrameWriter(std::stop_token stop, Sink sink, std::uint64_t memoryBudget)
    : work(std::make_shared<Work>(std::move(stop), std::move(sink))), budget(memoryBudget)
{
}

FrameWriter::~FrameWriter()
{
    work->abandoned = true;
}

bool FrameWriter::HasFailed() const
{
    return work->failure.has_value();
}

FrameWriter::File FrameWriter::Begin(std::string path)
{
    ++work->underWay;
    return {std::move(path), work->started++};
}

void FrameWriter::Write(const Texture& texture, ImageFormat format, std::string path)
{
    WaitForRoom(std::uint64_t(texture.GetWidth()) * std::uint64_t(texture.GetHeight()) * 4);
    texture.ReadPixelsAsync([work = work, format, file = Begin(std::move(path))](const Image& image)
                            { Encode(work, image, format, file); });
}

void FrameWriter::Write(std::vector<std::uint8_t> bytes, std::string path)
{
    WaitForRoom(bytes.size());
    Tasks::RunInBackground(Tasks::Kind::FileIo, [work = work, bytes = std::move(bytes), file = Begin(std::move(path))]
                           { Save(work, bytes, file); });
}

void FrameWriter::Encode(const std::shared_ptr<Work>& work, const Image& image, ImageFormat format, const File& file)
{
    if (!image.IsValid())
    {
        work->Done(file, CantWrite(file.path, "the pixels could not be read back from the GPU."));
        return;
    }
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [work, image, format, file]
                           {
                               const TraceSpan span("file", file.path);
                               auto bytes = std::make_shared<std::vector<std::uint8_t>>();
                               if (work->IsWanted())
                                   *bytes = image.Encode(format); // none when the memory does not suffice
                               Tasks::RunInBackground(Tasks::Kind::FileIo,
                                                      [work, bytes, file] { Save(work, *bytes, file); });
                           });
}

// In the background.
void FrameWriter::Save(const std::shared_ptr<Work>& work, const std::vector<std::uint8_t>& bytes, const File& file)
{
    const TraceSpan span("file", file.path);
    Status status = Ok();
    if (bytes.empty() && work->IsWanted())
        status = CantWrite(file.path, "the memory did not suffice to encode it.");
    else if (work->IsWanted())
        status = work->WriteBytes(file, bytes);
    Tasks::RunOnMainThread([work, file, status = std::move(status)] { work->Done(file, status); });
}

// One picture for each core that encodes, and a few on their way to and from them. One must always be possible.
void FrameWriter::WaitForRoom(std::uint64_t bytes)
{
    const int most = int(std::max(1U, std::thread::hardware_concurrency())) + 2;
    const auto isFull = [&] { return work->underWay >= most || GetPictureMemory() + bytes > budget; };
    while (work->underWay > 0 && isFull() && work->IsWanted())
        WaitOnce();
}

void FrameWriter::WaitOnce() const
{
    constexpr std::chrono::milliseconds patience(50);
    if (Graphics::HasReadBacks())
        Graphics::WaitForReadBack(patience);
    else
        Tasks::WaitForMainThreadTasks(patience);
    Tasks::RunMainThreadTasks();
}

Status FrameWriter::Finish()
{
    while (work->underWay > 0 && work->IsWanted())
        WaitOnce();
    if (work->failure)
        return *work->failure;
    return Ok();
}

} // namespace Varkle
