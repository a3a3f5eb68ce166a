#pragma once

#include "Varkle/Gpu/Image.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

namespace Varkle
{

/// Is a picture that may still have to arrive.
struct Frame
{
    bool arrived = false;
    Image image; // invalid when it could not be read back
};

/// Hands pictures from the thread that renders to one that takes them, in the order in which they were announced,
/// whatever the order in which they arrive.
class FrameQueue
{
public:
    using FramePointer = std::shared_ptr<Frame>;

    /// Announces a frame, which may be in the queue already: then it comes once more.
    void Add(FramePointer frame);
    /// Lets an announced frame's picture arrive.
    void Arrive(Frame& frame, Image image);
    /// Sleeps until fewer frames than that are in the queue, it is closed, or the time is over. Returns false in the
    /// last case.
    bool WaitForFewerThan(std::size_t count, std::chrono::milliseconds timeout);

    /// Sleeps until the first frame has arrived, and returns it; it stays the first one. Null when the queue is closed.
    FramePointer WaitForFirst();
    void RemoveFirst();

    /// Ends the waiting of both threads for good.
    void Close();

private:
    std::mutex mutex; // guards what follows, the pictures included until they have arrived
    std::condition_variable changed;
    std::deque<FramePointer> frames;
    bool closed = false;
};

} // namespace Varkle
