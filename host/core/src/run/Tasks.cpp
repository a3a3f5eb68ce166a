#include "Varkle/Core/Tasks.h"

#include "Varkle/Core/Log.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <exception>
#include <mutex>
#include <pthread.h>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace Varkle::Tasks
{

namespace
{

struct Work
{
    std::function<void()> function;
    std::string operatorKey; // of the operator that asked for it: what it logs comes from there
};

// The threads of one kind and what waits for them.
struct Crew
{
    const char* name; // of its threads, for debuggers and traces; the system cuts it at 15 characters
    std::size_t limit;
    std::deque<Work> queue;
    std::vector<std::thread> threads;
    std::size_t idle = 0;
    std::condition_variable wake;
};

struct State
{
    std::mutex mutex; // guards everything here
    Crew compute{"varkle compute", std::max(1u, std::thread::hardware_concurrency()), {}, {}, 0, {}};
    Crew fileIo{"varkle file", 1, {}, {}, 0, {}};
    std::size_t unfinished = 0; // background work that is queued or running
    std::deque<Work> mainQueue;
    std::condition_variable changed; // main-thread work came, background work ran out, or stopping ended
    bool stopping = false;           // set only while nothing is unfinished
};

thread_local bool isWorker = false;

State& GetState()
{
    // Never destroyed: static objects may still ask for work while the process exits. Its threads end before that.
    static State& state = *[]
    {
        std::atexit(Shutdown);
        return new State;
    }();
    return state;
}

// Returns what to log, empty when it went well.
std::string Run(const Work& work, const char* what)
{
    try
    {
        work.function();
    }
    catch (const std::exception& error)
    {
        return std::string(what) + " failed: " + error.what() + ".";
    }
    catch (...)
    {
        return std::string(what) + " failed with an unknown exception.";
    }
    return {};
}

void RunBackgroundWork(const Work& work)
{
    const LogScope scope(work.operatorKey);
    const std::string failure = Run(work, "A background task");
    if (!failure.empty())
        RunOnMainThread([failure] { LogError(failure); });
}

void RunWorker(State& state, Crew& crew)
{
    isWorker = true;
    pthread_setname_np(pthread_self(), crew.name);
    std::unique_lock lock(state.mutex);
    while (true)
    {
        ++crew.idle;
        crew.wake.wait(lock, [&] { return state.stopping || !crew.queue.empty(); });
        --crew.idle;
        if (crew.queue.empty())
            return;
        Work work = std::move(crew.queue.front());
        crew.queue.pop_front();
        lock.unlock();
        RunBackgroundWork(work);
        work = {}; // before the lock: destructors of what it captured may ask for work
        lock.lock();
        if (--state.unfinished == 0)
            state.changed.notify_all();
    }
}

// Adds a thread when there is more work than waiting threads. Returns false when the crew has no thread at all.
bool Staff(State& state, Crew& crew)
{
    if (crew.queue.size() <= crew.idle || crew.threads.size() == crew.limit)
        return true;
    try
    {
        crew.threads.emplace_back([&state, &crew] { RunWorker(state, crew); });
    }
    catch (const std::system_error&) // the system is out of threads: those that run must do
    {
        return !crew.threads.empty();
    }
    return true;
}

} // namespace

void RunInBackground(Kind kind, std::function<void()> function)
{
    Work work{std::move(function), LogScope::GetOperatorKey()};
    State& state = GetState();
    Crew& crew = kind == Kind::FileIo ? state.fileIo : state.compute;
    std::unique_lock lock(state.mutex);
    state.changed.wait(lock, [&] { return !state.stopping; });
    crew.queue.push_back(std::move(work));
    if (!Staff(state, crew))
    {
        work = std::move(crew.queue.back());
        crew.queue.pop_back();
        lock.unlock();
        RunBackgroundWork(work); // late is better than never
        return;
    }
    ++state.unfinished;
    crew.wake.notify_one();
}

void RunOnMainThread(std::function<void()> function)
{
    Work work{std::move(function), LogScope::GetOperatorKey()};
    State& state = GetState();
    const std::lock_guard lock(state.mutex);
    state.mainQueue.push_back(std::move(work));
    state.changed.notify_all();
}

void RunMainThreadTasks()
{
    State& state = GetState();
    std::unique_lock lock(state.mutex);
    for (std::size_t count = state.mainQueue.size(); count > 0 && !state.mainQueue.empty(); --count)
    {
        Work work = std::move(state.mainQueue.front());
        state.mainQueue.pop_front();
        lock.unlock();
        {
            const LogScope scope(work.operatorKey);
            const std::string failure = Run(work, "A task on the main thread");
            if (!failure.empty())
                LogError(failure);
        }
        work = {}; // as above
        lock.lock();
    }
}

std::size_t CountWork()
{
    State& state = GetState();
    const std::lock_guard lock(state.mutex);
    return state.unfinished + state.mainQueue.size();
}

bool HasWork()
{
    return CountWork() > 0;
}

bool WaitForMainThreadTasks(std::chrono::milliseconds timeout)
{
    State& state = GetState();
    std::unique_lock lock(state.mutex);
    state.changed.wait_for(lock, timeout, [&] { return !state.mainQueue.empty() || state.unfinished == 0; });
    return !state.mainQueue.empty();
}

void Shutdown()
{
    if (isWorker)
        return;
    State& state = GetState();
    std::unique_lock lock(state.mutex);
    state.changed.wait(lock, [&] { return state.unfinished == 0 && !state.stopping; });
    std::vector<std::thread> threads;
    for (Crew* const crew : {&state.compute, &state.fileIo})
    {
        std::ranges::move(crew->threads, std::back_inserter(threads));
        crew->threads.clear();
        crew->wake.notify_all();
    }
    state.stopping = true;
    lock.unlock();
    for (std::thread& thread : threads)
        thread.join();
    lock.lock();
    state.stopping = false;
    state.changed.notify_all();
}

} // namespace Varkle::Tasks
