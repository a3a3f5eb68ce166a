#include "Varkle/Core/Tasks.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <atomic>
#include <cstdlib>
#include <future>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace Varkle;
using namespace std::chrono_literals;

namespace
{

// Runs all work to its end, so that each test starts with nothing.
void Drain()
{
    Tasks::Shutdown();
    while (Tasks::HasWork())
    {
        Tasks::RunMainThreadTasks();
        Tasks::Shutdown();
    }
}

// Runs the function in a child process, which must not return from it. Returns the child's exit status.
template<class Function>
int InChild(const Function& function)
{
    Drain(); // a child inherits no threads
    std::cout.flush();
    const pid_t child = fork();
    if (child == 0)
        function();
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST_CASE("The numbers of the task kinds are those that plug-ins use")
{
    CHECK(int(Tasks::Kind::Compute) == 0);
    CHECK(int(Tasks::Kind::FileIo) == 1);
}

TEST_CASE("Background work of either kind runs on another thread")
{
    for (const Tasks::Kind kind : {Tasks::Kind::Compute, Tasks::Kind::FileIo})
    {
        std::promise<std::thread::id> ranOn;
        Tasks::RunInBackground(kind, [&] { ranOn.set_value(std::this_thread::get_id()); });
        CHECK(ranOn.get_future().get() != std::this_thread::get_id());
    }
    Drain();
}

TEST_CASE("File work runs one piece after the other, in the order in which it was asked for")
{
    std::vector<int> order; // only the one thread writes
    for (int i = 0; i < 100; ++i)
        Tasks::RunInBackground(Tasks::Kind::FileIo, [&order, i] { order.push_back(i); });
    Drain();
    std::vector<int> expected(100);
    for (int i = 0; i < 100; ++i)
        expected[std::size_t(i)] = i;
    CHECK(order == expected);
}

TEST_CASE("Compute work runs on as many threads at once as there are cores")
{
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    std::atomic<unsigned> running = 0;
    std::promise<void> allRun;
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    for (unsigned i = 0; i < cores; ++i)
    {
        Tasks::RunInBackground(Tasks::Kind::Compute,
                               [&, released]
                               {
                                   if (++running == cores)
                                       allRun.set_value();
                                   released.wait();
                               });
    }
    CHECK(allRun.get_future().wait_for(60s) == std::future_status::ready);
    release.set_value();
    Drain();
}

TEST_CASE("Compute work does not hold up file work")
{
    std::promise<void> fileDone;
    std::future<void> wait = fileDone.get_future();
    bool ready = false;
    for (unsigned i = 0; i <= std::thread::hardware_concurrency(); ++i)
        Tasks::RunInBackground(Tasks::Kind::Compute,
                               [&ready, &wait, i]
                               {
                                   if (i == 0)
                                       ready = wait.wait_for(60s) == std::future_status::ready;
                               });
    Tasks::RunInBackground(Tasks::Kind::FileIo, [&] { fileDone.set_value(); });
    Drain();
    CHECK(ready);
}

TEST_CASE("Main-thread work runs in its order when the host asks, and what it queues waits for the next time")
{
    std::vector<int> order;
    Tasks::RunOnMainThread(
        [&]
        {
            order.push_back(1);
            Tasks::RunOnMainThread([&] { order.push_back(3); });
        });
    Tasks::RunOnMainThread([&] { order.push_back(2); });
    CHECK(order.empty());
    Tasks::RunMainThreadTasks();
    CHECK(order == std::vector<int>{1, 2});
    CHECK(Tasks::HasWork());
    Tasks::RunMainThreadTasks();
    CHECK(order == std::vector<int>{1, 2, 3});
    CHECK(!Tasks::HasWork());
}

TEST_CASE("Background work hands its result to the main thread, and waiting for it wakes up")
{
    int result = 0;
    Tasks::RunInBackground(Tasks::Kind::Compute, [&result] { Tasks::RunOnMainThread([&result] { result = 42; }); });
    CHECK(Tasks::WaitForMainThreadTasks(60s));
    CHECK(result == 0);
    Tasks::RunMainThreadTasks();
    CHECK(result == 42);
    Drain();
}

TEST_CASE("Waiting for main-thread work ends early when all background work is done without any")
{
    Tasks::RunInBackground(Tasks::Kind::FileIo, [] {});
    CHECK(!Tasks::WaitForMainThreadTasks(24h));
    CHECK(!Tasks::HasWork());
    CHECK(!Tasks::WaitForMainThreadTasks(24h)); // and at once when there was none
}

TEST_CASE("Waiting for main-thread work ends when the time is over")
{
    std::promise<void> release;
    Tasks::RunInBackground(Tasks::Kind::Compute, [wait = release.get_future().share()] { wait.wait(); });
    CHECK(!Tasks::WaitForMainThreadTasks(1ms));
    CHECK(Tasks::HasWork());
    release.set_value();
    Drain();
}

TEST_CASE("There is work until the background work has ended and its result was taken")
{
    std::promise<void> release;
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [wait = release.get_future().share()]
                           {
                               wait.wait();
                               Tasks::RunOnMainThread([] {});
                           });
    CHECK(Tasks::HasWork());
    CHECK(Tasks::CountWork() == 1);
    release.set_value();
    Tasks::Shutdown();
    CHECK(Tasks::HasWork());
    CHECK(Tasks::CountWork() == 1);
    Tasks::RunMainThreadTasks();
    CHECK(!Tasks::HasWork());
    CHECK(Tasks::CountWork() == 0);
}

TEST_CASE("Work is counted while it runs, while it waits, and while it waits for the main thread")
{
    std::promise<void> release;
    for (const std::shared_future<void> released = release.get_future().share(); Tasks::CountWork() < 3;)
        Tasks::RunInBackground(Tasks::Kind::FileIo, [released] { released.wait(); }); // one runs, two wait
    Tasks::RunOnMainThread([] {});
    CHECK(Tasks::CountWork() == 4);
    release.set_value();
    Drain();
    CHECK(Tasks::CountWork() == 0);
}

TEST_CASE("An exception that leaves background work is logged on the main thread, and the thread goes on")
{
    LogRecorder log;
    bool wentOn = false;
    Tasks::RunInBackground(Tasks::Kind::FileIo, [] { throw std::runtime_error("the disk is on fire"); });
    Tasks::RunInBackground(Tasks::Kind::FileIo, [] { throw 7; });
    Tasks::RunInBackground(Tasks::Kind::FileIo, [&] { wentOn = true; });
    Tasks::Shutdown();
    CHECK(wentOn);
    CHECK(log.lines.empty());
    Tasks::RunMainThreadTasks();
    CHECK(log.lines == std::vector<std::string>{"error: A background task failed: the disk is on fire.",
                                                "error: A background task failed with an unknown exception."});
}

TEST_CASE("An exception that leaves main-thread work is logged, and the work behind it runs")
{
    LogRecorder log;
    bool wentOn = false;
    Tasks::RunOnMainThread([] { throw std::runtime_error("no picture"); });
    Tasks::RunOnMainThread([&] { wentOn = true; });
    Tasks::RunMainThreadTasks();
    CHECK(wentOn);
    CHECK(log.lines == std::vector<std::string>{"error: A task on the main thread failed: no picture."});
}

TEST_CASE("Shutting tasks down waits for work and for the work that it asks for")
{
    std::vector<int> order;
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [&]
                           {
                               order.push_back(1);
                               Tasks::RunInBackground(Tasks::Kind::FileIo, [&] { order.push_back(2); });
                           });
    Tasks::Shutdown();
    CHECK(order == std::vector<int>{1, 2});
    CHECK(!Tasks::HasWork());
}

TEST_CASE("What background work captured is destroyed before shutting down returns")
{
    auto data = std::make_shared<int>(1);
    Tasks::RunInBackground(Tasks::Kind::Compute, [data] {});
    Tasks::Shutdown();
    CHECK(data.use_count() == 1);
}

TEST_CASE("What work captured may ask for main-thread work when it is destroyed")
{
    int asked = 0;
    const auto make = [&asked]
    { return std::shared_ptr<int>(&asked, [](int* count) { Tasks::RunOnMainThread([count] { ++*count; }); }); };
    Tasks::RunInBackground(Tasks::Kind::Compute, [held = make()] {});
    Tasks::RunOnMainThread([held = make()] {});
    Drain();
    CHECK(asked == 2);
}

TEST_CASE("Work after shutting down runs on new threads")
{
    for (int round = 0; round < 3; ++round)
    {
        bool ran = false;
        Tasks::RunInBackground(Tasks::Kind::Compute, [&] { ran = true; });
        Tasks::Shutdown();
        CHECK(ran);
    }
}

TEST_CASE("Shutting tasks down inside background work does nothing")
{
    bool returned = false;
    Tasks::RunInBackground(Tasks::Kind::Compute,
                           [&]
                           {
                               Tasks::Shutdown();
                               returned = true;
                           });
    Tasks::Shutdown();
    CHECK(returned);
}

TEST_CASE("Work asked for by many threads at once all runs, also while tasks are shut down")
{
    std::atomic<int> count = 0;
    const auto ask = [&]
    {
        for (int i = 0; i < 500; ++i)
            Tasks::RunInBackground(i % 2 ? Tasks::Kind::Compute : Tasks::Kind::FileIo, [&] { ++count; });
    };
    std::thread first(ask);
    std::thread second(ask);
    for (int i = 0; i < 20; ++i)
        Tasks::Shutdown();
    first.join();
    second.join();
    Tasks::Shutdown();
    CHECK(count == 1000);
}

TEST_CASE("Background work that was asked for is finished when the process exits")
{
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    const int status = InChild(
        [&]
        {
            for (const char* letter : {"a", "b", "c"})
                Tasks::RunInBackground(Tasks::Kind::FileIo, [&ends, letter] { (void)!write(ends[1], letter, 1); });
            Tasks::RunOnMainThread([&] { (void)!write(ends[1], "x", 1); }); // has no main thread to run on any more
            std::exit(7);
        });
    close(ends[1]);
    char letters[8] = "";
    CHECK(read(ends[0], letters, sizeof(letters)) == 3);
    CHECK(std::string(letters) == "abc");
    CHECK(status == 7);
    close(ends[0]);
}

TEST_CASE("Background work runs at once where the system has no more threads")
{
    const int status = InChild(
        []
        {
            const rlimit none{0, 0};
            setrlimit(RLIMIT_NPROC, &none);
            if (geteuid() == 0 && setuid(65534) != 0) // the superuser has no limit
                _exit(1);
            bool ran = false;
            Tasks::RunInBackground(Tasks::Kind::Compute, [&] { ran = true; });
            _exit(ran && !Tasks::HasWork() ? 0 : 2);
        });
    CHECK(status == 0);
}

TEST_CASE("What a task logs comes from the operator that asked for it, through all that the task asks for in turn")
{
    std::vector<std::string> keys;
    const LogListener listener([&](const LogLine& line) { keys.push_back(line.text + " " + line.operatorKey); });
    {
        const LogScope scope("asker");
        Tasks::RunInBackground(Tasks::Kind::Compute,
                               []
                               {
                                   Tasks::RunOnMainThread([] { LogInfo("main"); });
                                   throw std::runtime_error("failure");
                               });
    }
    Tasks::Shutdown();
    {
        const LogScope scope("other");
        Tasks::RunMainThreadTasks();
    }
    CHECK(keys == std::vector<std::string>{"main asker", "A background task failed: failure. asker"});
}
