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

void FrameWriter::Write(const Texture& texture, ImageFormat format, std::string path)
{
    // One picture for each core that encodes, and a few on their way to and from them.
    const int most = int(std::max(1U, std::thread::hardware_concurrency())) + 2;
    WaitForFewerThan(most);
    ++underWay;
    texture.ReadPixelsAsync([this, format, path = std::move(path)](const Image& image)
                            { Encode(image, format, path); });
}

void FrameWriter::Encode(const Image& image, ImageFormat format, const std::string& path)
{
    if (!image.IsValid())
    {
        Done(Error{fmt::format("could not write {}: the pixels could not be read back from the GPU.", path), true});
        return;
    }
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [this, image, format, path]
                           {
                               const auto bytes = std::make_shared<std::vector<std::uint8_t>>(image.Encode(format));
                               Tasks::RunInBackground(Tasks::Kind::FileIo, [this, bytes, path] { Save(*bytes, path); });
                           });
}

// In the background: only the main thread touches the members.
void FrameWriter::Save(const std::vector<std::uint8_t>& bytes, const std::string& path)
{
    const TraceSpan span("file", path);
    Status status = bytes.empty()
                        ? Error{fmt::format("could not write {}: the memory did not suffice to encode it.", path), true}
                        : WriteBytes(path, bytes);
    Tasks::RunOnMainThread([this, status = std::move(status)] { Done(status); });
}

void FrameWriter::Done(const Status& status)
{
    --underWay;
    if (!status && !failure)
        failure = status.GetError();
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
