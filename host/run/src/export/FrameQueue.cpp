#include "export/FrameQueue.h"

#include <utility>

namespace Varkle
{

void FrameQueue::Add(FramePointer frame)
{
    const std::lock_guard lock(mutex);
    frames.push_back(std::move(frame));
    changed.notify_all();
}

void FrameQueue::Arrive(Frame& frame, Image image)
{
    const std::lock_guard lock(mutex);
    frame.image = std::move(image);
    frame.arrived = true;
    changed.notify_all();
}

bool FrameQueue::WaitForFewerThan(std::size_t count, std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, timeout, [&] { return closed || frames.size() < count; });
}

FrameQueue::FramePointer FrameQueue::WaitForFirst()
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return closed || (!frames.empty() && frames.front()->arrived); });
    return closed ? nullptr : frames.front();
}

void FrameQueue::RemoveFirst()
{
    const std::lock_guard lock(mutex);
    frames.pop_front();
    changed.notify_all();
}

void FrameQueue::Close()
{
    const std::lock_guard lock(mutex);
    closed = true;
    changed.notify_all();
}

} // namespace Varkle
