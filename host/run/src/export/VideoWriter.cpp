#include "export/VideoWriter.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/PictureMemory.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <new>
#include <pthread.h>

namespace Varkle
{

namespace
{

constexpr std::chrono::milliseconds patience(50); // between two looks at whether the user interrupts

FrameQueue::FramePointer MakeBlankFrame(glm::ivec2 size)
{
    std::vector<std::uint8_t> zeros(std::size_t(size.x) * std::size_t(size.y) * 4);
    return std::make_shared<Frame>(Frame{true, Image(size, std::move(zeros))});
}

FrameQueue::FramePointer ReadBack(const Texture& texture, const std::shared_ptr<FrameQueue>& queue)
{
    auto frame = std::make_shared<Frame>();
    texture.ReadPixelsAsync([frame, queue](Image image) { queue->Arrive(*frame, std::move(image)); });
    return frame;
}

// Returns a line of another program as it can be shown.
std::string ToPlainText(std::string line)
{
    constexpr std::size_t longest = 300;
    std::ranges::replace_if(
        line, [](unsigned char c) { return std::iscntrl(c) != 0; }, ' ');
    return line.substr(0, longest);
}

} // namespace

VideoWriter::VideoWriter(std::string filePath, double rate, long long count, std::stop_token stopToken)
    : path(std::move(filePath)),
      format(*FindVideoFormat(path)),
      frameRate(rate),
      frameCount(count),
      stop(std::move(stopToken))
{
}

Result<std::unique_ptr<VideoWriter>> VideoWriter::Create(const std::string& path, double frameRate,
                                                         long long frameCount, std::stop_token stop)
{
    std::unique_ptr<VideoWriter> writer(new VideoWriter(path, frameRate, frameCount, std::move(stop)));
    if (const Status prepared = writer->Prepare(); !prepared)
        return prepared.GetError();
    return writer;
}

Status VideoWriter::Prepare()
{
    ffmpeg = FindProgram("ffmpeg");
    if (ffmpeg.empty())
        return Error{fmt::format("could not write {}: videos are made by the program ffmpeg, which is not installed. "
                                 "Install it; Debian's package is called ffmpeg (apt install ffmpeg).",
                                 path),
                     true};
    Result<std::unique_ptr<PendingFile>> pending = PendingFile::Create(path, format.extension);
    if (!pending)
        return pending.GetError();
    file = std::move(*pending);
    return Ok();
}

VideoWriter::~VideoWriter()
{
    EndFeeding();
}

void VideoWriter::Write(const Texture& texture, long long number)
{
    if (HasFailed())
        return;
    if (!texture && !process)
    {
        ++blankFrames;
        return;
    }
    if (!process)
        Start({texture.GetWidth(), texture.GetHeight()});
    if (HasFailed() || (texture && !CheckSize(texture, number)))
        return;
    WaitForFewerThan(MostFrames());
    if (texture)
        lastFrame = ReadBack(texture, queue);
    AddLast();
}

// Starts ffmpeg now that the size is known, and catches up on the frames that had no texture.
void VideoWriter::Start(glm::ivec2 size)
{
    pictureSize = size;
    const glm::ivec2 videoSize = GetVideoSize(format, size);
    if (videoSize != size)
        LogInfo(fmt::format("{}: the pictures have {} by {} pixels, the video has {} by {}: its encoder takes even "
                            "sizes only, so the last column or row is repeated.",
                            path, size.x, size.y, videoSize.x, videoSize.y));
    Result<std::unique_ptr<Process>> started =
        Process::Start(ffmpeg, GetVideoArguments(format, videoSize, frameRate, file->GetHiddenPath().string()));
    if (!started)
    {
        failure = Error{fmt::format("could not write {}: {}", path, started.GetError().message), true};
        return;
    }
    process = std::move(*started);
    feeder = std::thread([this] { Feed(); });
    if (blankFrames > 0)
        lastFrame = MakeBlankFrame(size);
    for (long long i = 0; i < blankFrames && !HasFailed() && !stop.stop_requested(); ++i)
    {
        WaitForFewerThan(MostFrames());
        AddLast();
    }
}

bool VideoWriter::CheckSize(const Texture& texture, long long number)
{
    const glm::ivec2 size(texture.GetWidth(), texture.GetHeight());
    if (size == pictureSize)
        return true;
    failure = Error{fmt::format("could not write {}: a video has one size, and its pictures have {} by {} pixels "
                                "before frame {} and {} by {} there.",
                                path, pictureSize.x, pictureSize.y, number, size.x, size.y)};
    return false;
}

void VideoWriter::AddLast()
{
    queue->Add(lastFrame);
    ++addedFrames;
}

// One picture that ffmpeg takes in, one that is ready for it, and two on their way from the GPU, as far as memory goes.
std::size_t VideoWriter::MostFrames() const
{
    constexpr std::uint64_t most = 4;
    const std::uint64_t bytes = std::uint64_t(pictureSize.x) * std::uint64_t(pictureSize.y) * 4;
    return std::size_t(std::clamp<std::uint64_t>(PictureMemoryBudget / bytes, 1, most));
}

// Lets read-backs in meanwhile. Comes back early when the user interrupts or the video can't be finished.
void VideoWriter::WaitForFewerThan(std::size_t count)
{
    while (!stop.stop_requested())
    {
        const bool reading = Graphics::HasReadBacks();
        if (queue->WaitForFewerThan(count, reading ? std::chrono::milliseconds(0) : patience))
            return;
        if (reading)
            Graphics::WaitForReadBack(patience);
    }
}

// In the feeder: hands the pictures over until all are with ffmpeg, or there is no point any more.
void VideoWriter::Feed()
{
    pthread_setname_np(pthread_self(), "varkle video");
    // An ffmpeg that takes no more is an error of the write, whatever the process does about the signal.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    std::vector<std::uint8_t> scratch;
    for (long long fed = 0; fed < frameCount; ++fed)
    {
        if (!FeedNext(scratch))
        {
            queue->Close();
            return;
        }
    }
    feeding = Feeding::Done;
    process->CloseInput();
}

bool VideoWriter::FeedNext(std::vector<std::uint8_t>& scratch)
try
{
    const FrameQueue::FramePointer frame = queue->WaitForFirst();
    if (!frame)
        return false;
    const TraceSpan span("file", path);
    if (!frame->image.IsValid())
        feeding = Feeding::Unreadable;
    else if (!process->Write(ToVideoPixels(format, frame->image, scratch)))
        feeding = Feeding::Refused;
    else
        queue->RemoveFirst();
    return feeding == Feeding::UnderWay;
}
catch (const std::bad_alloc&)
{
    feeding = Feeding::OutOfMemory;
    return false;
}

Status VideoWriter::Finish()
{
    const bool isWhole = process && addedFrames == frameCount;
    if (isWhole)
        WaitForFfmpeg();
    if (!failure && process && !stop.stop_requested())
        failure = FindFailure();
    EndFeeding();
    const std::unique_ptr<PendingFile> made = std::move(file); // goes unless it is kept
    if (failure)
        return *failure;
    return isWhole && process->HasSucceeded() ? made->Keep() : Ok();
}

// Comes back early when the user interrupts or the video can't be finished.
void VideoWriter::WaitForFfmpeg()
{
    WaitForFewerThan(1);
    const TraceSpan span("file", path);
    while (!HasFailed() && !stop.stop_requested() && !process->WaitForEnd(patience))
    {
    }
}

std::optional<Error> VideoWriter::FindFailure() const
{
    switch (feeding)
    {
    case Feeding::Unreadable:
        return Error{fmt::format("could not write {}: the pixels could not be read back from the GPU.", path), true};
    case Feeding::OutOfMemory:
        return Error{fmt::format("could not write {}: the memory did not suffice to encode it.", path), true};
    case Feeding::Refused:
        return DescribeFfmpegFailure(" before it had all frames");
    case Feeding::UnderWay:
    case Feeding::Done:
        break;
    }
    if (addedFrames < frameCount) // the run ended for another reason
        return std::nullopt;
    std::error_code code;
    if (!process->HasSucceeded())
        return DescribeFfmpegFailure("");
    if (std::filesystem::file_size(file->GetHiddenPath(), code) == 0)
        return DescribeFfmpegFailure(" without a video");
    return std::nullopt;
}

Error VideoWriter::DescribeFfmpegFailure(std::string_view when) const
{
    constexpr std::chrono::seconds grace(5); // it may have closed its input before its last words
    constexpr std::size_t mostLines = 3;
    if (!process->WaitForEnd(grace))
        return Error{fmt::format("could not write {}: ffmpeg takes no more frames and does not end.", path), true};
    std::string message = fmt::format("could not write {}: ffmpeg {}{}", path, process->DescribeEnd(), when);
    const std::vector<std::string> lines = process->GetLastErrors(mostLines);
    message += lines.empty() ? " and said nothing." : " and said:";
    for (const std::string& line : lines)
        message += "\n" + ToPlainText(line);
    return Error{message, true};
}

// Ends what is still under way; nothing when all went well.
void VideoWriter::EndFeeding()
{
    queue->Close();
    if (process)
        process->Kill();
    if (feeder.joinable())
        feeder.join();
}

} // namespace Varkle
