#include "Varkle/Core/Log.h"

#include "support/Catch.h"
#include "support/LogRecorder.h"

#include <atomic>
#include <future>
#include <optional>
#include <thread>

using namespace Varkle;

TEST_CASE("A log listener hears the lines of all levels in their order, while it lives")
{
    LogInfo("before");
    std::vector<std::string> heard;
    {
        LogRecorder log;
        LogInfo("one");
        LogWarning("two");
        LogError("three");
        heard = log.lines;
    }
    LogInfo("after");
    CHECK(heard == std::vector<std::string>{"info: one", "warning: two", "error: three"});
}

TEST_CASE("Every log listener hears every line")
{
    LogRecorder first;
    LogRecorder second;
    LogInfo("line");
    CHECK(first.lines == std::vector<std::string>{"info: line"});
    CHECK(second.lines == first.lines);
}

TEST_CASE("The log is heard on the thread that logs, before the call returns")
{
    std::thread::id heardOn;
    const LogListener listener([&](LogLevel, std::string_view) { heardOn = std::this_thread::get_id(); });
    std::thread::id loggedOn;
    std::thread(
        [&]
        {
            LogInfo("line");
            loggedOn = std::this_thread::get_id();
        })
        .join();
    CHECK(heardOn == loggedOn);
    CHECK(heardOn != std::this_thread::get_id());
}

TEST_CASE("What a log handler logs itself is heard by the other listeners and not by itself")
{
    std::vector<std::string> heard;
    const LogListener echo(
        [&](LogLevel, std::string_view text)
        {
            heard.emplace_back(text);
            LogInfo("echo of " + std::string(text));
        });
    LogRecorder log;
    LogInfo("line");
    CHECK(heard == std::vector<std::string>{"line"});
    CHECK(log.lines == std::vector<std::string>{"info: echo of line", "info: line"});
}

TEST_CASE("A log listener may end inside its own handler")
{
    int count = 0;
    std::optional<LogListener> listener;
    listener.emplace(
        [&](LogLevel, std::string_view)
        {
            listener.reset();
            ++count; // what the handler captured is still there
        });
    LogInfo("first");
    LogInfo("second");
    CHECK(count == 1);
}

TEST_CASE("A log listener's end waits for the handler that runs on another thread")
{
    std::promise<void> entered;
    std::atomic<bool> ending = false;
    std::atomic<bool> handled = false;
    std::optional<LogListener> listener;
    listener.emplace(
        [&](LogLevel, std::string_view)
        {
            entered.set_value();
            while (!ending)
                std::this_thread::yield();
            handled = true;
        });
    std::thread logger([] { LogInfo("line"); });
    entered.get_future().wait();
    ending = true;
    listener.reset();
    CHECK(handled);
    logger.join();
}

TEST_CASE("A log handler is called by one thread at a time")
{
    int lines = 0; // not atomic on purpose
    {
        const LogListener listener([&](LogLevel, std::string_view) { ++lines; });
        const auto work = []
        {
            for (int i = 0; i < 1000; ++i)
                LogInfo("line");
        };
        std::thread first(work);
        std::thread second(work);
        first.join();
        second.join();
    }
    CHECK(lines == 2000);
}
