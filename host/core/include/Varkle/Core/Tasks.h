#pragma once

#include "Varkle/Core/Export.h"

#include <chrono>
#include <cstddef>
#include <functional>

/// Runs work beside the main thread. Work must own copies of all it uses and must not touch operators; results come
/// back through RunOnMainThread.
///
/// Exceptions that leave a piece of work are caught; the log gets an error on the main thread. When the process exits,
/// the background work that was asked for is finished first.
namespace Varkle::Tasks
{

/// The kinds of work. The numbers are part of the interface to plug-ins.
enum class Kind
{
    Compute = 0, ///< CPU work, on as many threads as there are cores
    FileIo = 1,  ///< reading and writing files, on one thread, in the order in which they were asked for
};

/// Runs the function on a worker thread, which is started when first needed. May be called from any thread.
VARKLE_API void RunInBackground(Kind kind, std::function<void()> work);

/// Runs the function later on the main thread: when the host next calls RunMainThreadTasks. May be called from any
/// thread.
VARKLE_API void RunOnMainThread(std::function<void()> work);

/// Runs what was queued for the main thread, in order; what it queues in turn waits for the next call. Main thread
/// only.
VARKLE_API void RunMainThreadTasks();

/// Returns how many pieces of work there are: background work that is queued or running and main-thread work that is
/// queued.
VARKLE_API std::size_t CountWork();
/// True while there is any.
VARKLE_API bool HasWork();

/// Sleeps until main-thread work is queued, all background work is done, or the time is over. Returns true when there
/// is main-thread work.
VARKLE_API bool WaitForMainThreadTasks(std::chrono::milliseconds timeout);

/// Waits for all background work and ends the threads; later work starts them again. Main-thread work stays queued.
/// Inside background work, which can't wait for itself, it does nothing.
VARKLE_API void Shutdown();

} // namespace Varkle::Tasks
