#include "FrameWriter.h"

#include "Console.h"
#include "Varkle/Core/FileWriting.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"

#include <chrono>
#include <fmt/format.h>
#include <thread>

namespace Varkle
{

namespace
{

Status WriteBytes(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return path == FrameWriter::StandardOutput ? WriteOutput(text) : WriteFileAtomically(path, text);
}

} // namespace

void FrameWriter::WaitForRoom()
{
    // One picture for each core that encodes, and a few on their way to and from them.
    const int most = int(std::max(1U, std::thread::hardware_concurrency())) + 2;
    WaitForFewerThan(most);
}

void FrameWriter::Write(const Texture& texture, ImageFormat format, std::string path)
{
    WaitForRoom();
    ++underWay;
    texture.ReadPixelsAsync([this, format, file = File{std::move(path), started++}](const Image& image)
                            { Encode(image, format, file); });
}

void FrameWriter::Write(std::vector<std::uint8_t> bytes, std::string path)
{
    WaitForRoom();
    ++underWay;
    Tasks::RunInBackground(Tasks::Kind::FileIo, [this, bytes = std::move(bytes),
                                                 file = File{std::move(path), started++}] { Save(bytes, file); });
}

void FrameWriter::Encode(const Image& image, ImageFormat format, const File& file)
{
    if (!image.IsValid())
    {
        Done(file, Error{fmt::format("could not write {}: the pixels could not be read back from the GPU.", file.path),
                         true});
        return;
    }
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [this, image, format, file]
                           {
                               const TraceSpan span("file", file.path);
                               const auto bytes = std::make_shared<std::vector<std::uint8_t>>(image.Encode(format));
                               Tasks::RunInBackground(Tasks::Kind::FileIo, [this, bytes, file] { Save(*bytes, file); });
                           });
}

// In the background: only the main thread touches the members.
void FrameWriter::Save(const std::vector<std::uint8_t>& bytes, const File& file)
{
    const TraceSpan span("file", file.path);
    Status status =
        bytes.empty()
            ? Error{fmt::format("could not write {}: the memory did not suffice to encode it.", file.path), true}
            : WriteBytes(file.path, bytes);
    Tasks::RunOnMainThread([this, file, status = std::move(status)] { Done(file, status); });
}

void FrameWriter::Done(const File& file, const Status& status)
{
    --underWay;
    if (status || (failure && failedNumber < file.number))
        return;
    failure = status.GetError();
    failedNumber = file.number;
}

void FrameWriter::WaitForFewerThan(int count)
{
    constexpr std::chrono::milliseconds patience(50);
    while (underWay >= count)
    {
        if (Graphics::HasReadBacks())
            Graphics::WaitForReadBack(patience);
        else
            Tasks::WaitForMainThreadTasks(patience);
        Tasks::RunMainThreadTasks();
    }
}

Status FrameWriter::Finish()
{
    WaitForFewerThan(1);
    if (failure)
        return *failure;
    return Ok();
}

} // namespace Varkle
