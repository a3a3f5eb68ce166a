#pragma once

#include "Varkle/Core/PendingFile.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Texture.h"
#include "export/FrameQueue.h"
#include "export/Process.h"
#include "export/VideoFormat.h"

#include <atomic>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace Varkle
{

/// Writes textures as the frames of a video, through the program ffmpeg, while later frames are already being rendered.
/// Only so many pictures wait for ffmpeg at once: rendering waits when ffmpeg is slower. The file appears under its
/// name when it is complete; when it does not get there, it goes. Main thread only.
class VideoWriter
{
public:
    /// Prepares a video of that many frames; its path must have a format (FindVideoFormat). Fails when there is no
    /// ffmpeg, or the file can't be made.
    static Result<std::unique_ptr<VideoWriter>> Create(const std::string& path, double frameRate, long long frameCount,
                                                       std::stop_token stop);
    ~VideoWriter();
    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    /// Adds the next frame, whose number is for messages; waits first while too many are under way. An empty texture
    /// repeats the frame before; frames before the first texture become black, transparent where the format has alpha.
    void Write(const Texture& texture, long long number);

    /// True when the video can't be finished any more.
    bool HasFailed() const { return failure || feeding > Feeding::Done; }
    /// True when a frame had a texture: without one there is no video.
    bool HasPictures() const { return process != nullptr; }

    /// Waits for the file and gives it its name. A video that lacks frames, or whose making is stopped, goes without
    /// an error.
    Status Finish();

private:
    // How handing the frames to ffmpeg goes.
    enum class Feeding
    {
        UnderWay,
        Done,
        Unreadable, // the pixels did not come back from the GPU
        OutOfMemory,
        Refused // ffmpeg takes no more
    };

    VideoWriter(std::string filePath, double rate, long long count, std::stop_token stopToken);

    Status Prepare();
    void Start(glm::ivec2 size);
    bool CheckSize(const Texture& texture, long long number);
    void AddLast();
    std::size_t MostFrames() const;
    void WaitForFewerThan(std::size_t count);
    void Feed();
    bool FeedNext(std::vector<std::uint8_t>& scratch);
    void WaitForFfmpeg();
    std::optional<Error> FindFailure() const;
    Error DescribeFfmpegFailure(std::string_view when) const;
    void EndFeeding();

    std::string path;
    const VideoFormat& format;
    double frameRate;
    long long frameCount;
    std::stop_token stop;
    std::string ffmpeg; // where the program lies
    std::unique_ptr<PendingFile> file;

    glm::ivec2 pictureSize{0, 0};
    long long blankFrames = 0; // before the first texture
    long long addedFrames = 0;
    FrameQueue::FramePointer lastFrame;
    std::optional<Error> failure;

    std::shared_ptr<FrameQueue> queue = std::make_shared<FrameQueue>(); // read-backs may outlive the writer
    std::unique_ptr<Process> process;
    std::atomic<Feeding> feeding = Feeding::UnderWay;
    std::thread feeder;
};

} // namespace Varkle
