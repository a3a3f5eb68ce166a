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
    const LogListener listener([&](const LogLine&) { heardOn = std::this_thread::get_id(); });
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
        [&](const LogLine& line)
        {
            heard.push_back(line.text);
            LogInfo("echo of " + line.text);
        });
    LogRecorder log;
    LogInfo("line");
    CHECK(heard == std::vector<std::string>{"line"});
    CHECK(log.lines == std::vector<std::string>{"info: line", "info: echo of line"});
}

TEST_CASE("A log listener may end inside its own handler")
{
    int count = 0;
    std::optional<LogListener> listener;
    listener.emplace(
        [&](const LogLine&)
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
        [&](const LogLine&)
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
        const LogListener listener([&](const LogLine&) { ++lines; });
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

TEST_CASE("Two log handlers that log on two threads at once don't wait for each other for ever")
{
    std::promise<void> secondEntered;
    std::promise<void> firstEntered;
    std::atomic<int> echoes = 0;
    const LogListener first(
        [&](const LogLine& line)
        {
            echoes += line.text == "echo of two";
            if (line.text != "one")
                return;
            firstEntered.set_value();
            LogInfo("echo of one");
        });
    const LogListener second(
        [&](const LogLine& line)
        {
            echoes += line.text == "echo of one";
            if (line.text != "two")
                return;
            secondEntered.set_value();
            firstEntered.get_future().wait(); // each handler runs now, and is held by its thread
            LogInfo("echo of two");
        });
    std::thread two([] { LogInfo("two"); });
    secondEntered.get_future().wait();
    LogInfo("one");
    two.join();
    CHECK(echoes == 2);
}

TEST_CASE("A line of the log carries the operator in whose scope it was logged, on its thread only")
{
    std::vector<std::string> keys;
    const LogListener listener([&](const LogLine& line) { keys.push_back(line.operatorKey); });
    LogInfo("outside");
    {
        LogScope outer("outer");
        LogInfo("in one");
        {
            const LogScope inner("inner");
            LogError("in another");
        }
        LogError("back");
        LogError("again");
        CHECK(outer.GetFirstError() == "back");
        std::thread([] { LogInfo("on a thread of its own"); }).join();
    }
    LogInfo("outside");
    CHECK(keys == std::vector<std::string>{"", "outer", "inner", "outer", "outer", "", ""});
}

TEST_CASE("An error or a warning of an operator is printed with the operator in front, once")
{
    CHECK(GetPrintedText({LogLevel::Error, "No fish.", ""}) == "No fish.");
    CHECK(GetPrintedText({LogLevel::Error, "No fish.", "soft"}) == "operator \"soft\": No fish.");
    CHECK(GetPrintedText({LogLevel::Warning, "No fish.", "soft"}) == "operator \"soft\": No fish.");
    CHECK(GetPrintedText({LogLevel::Info, "Fish.", "soft"}) == "Fish.");
    CHECK(GetPrintedText({LogLevel::Error, "soft: No fish.", "soft"}) == "operator \"soft\": No fish.");
}
