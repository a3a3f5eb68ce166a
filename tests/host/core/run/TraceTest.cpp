#include "Varkle/Core/Trace.h"

#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <nlohmann/json.hpp>
#include <pthread.h>
#include <thread>
#include <unistd.h>

using namespace Varkle;
using namespace std::chrono_literals;

namespace
{

// Ends the recording and reads its file.
nlohmann::json FinishAndRead()
{
    const TemporaryFolder folder;
    const std::string path = folder / "trace.json";
    REQUIRE(Trace::Finish(path));
    return nlohmann::json::parse(ReadBytes(path));
}

std::vector<nlohmann::json> EventsOfPhase(const nlohmann::json& trace, const std::string& phase)
{
    std::vector<nlohmann::json> events;
    for (const auto& event : trace.at("traceEvents"))
    {
        if (event.at("ph") == phase)
            events.push_back(event);
    }
    return events;
}

} // namespace

TEST_CASE("A trace holds a span as a complete event with its times in microseconds")
{
    const auto begin = Trace::Clock::now() + 1s;
    Trace::Start();
    Trace::Add("operator", "soft", begin, begin + 1500ns);
    Trace::Add("pass", "soft", begin + 250ns, begin + 1ms);
    const auto spans = EventsOfPhase(FinishAndRead(), "X");

    REQUIRE(spans.size() == 2);
    CHECK(spans[0].at("cat") == "operator");
    CHECK(spans[0].at("name") == "soft");
    CHECK(spans[0].at("dur").get<double>() == Approx(1.5));
    CHECK(spans[0].at("pid") == getpid());
    CHECK(spans[0].at("tid") == gettid());
    CHECK(spans[0].at("ts").get<double>() > 0.0);
    CHECK(spans[0].at("ts").get<double>() < 1e6); // recording began less than a second before the span
    CHECK(spans[1].at("cat") == "pass");
    CHECK(spans[1].at("ts").get<double>() - spans[0].at("ts").get<double>() == Approx(0.25).margin(1e-6));
    CHECK(spans[1].at("dur").get<double>() == Approx(999.75));
}

TEST_CASE("A trace span lasts from its construction to its destruction")
{
    Trace::Start();
    {
        const TraceSpan outer("frame", "outer");
        const TraceSpan inner("operator", "inner");
    }
    const auto spans = EventsOfPhase(FinishAndRead(), "X");
    REQUIRE(spans.size() == 2);
    CHECK(spans[0].at("name") == "inner");
    CHECK(spans[1].at("name") == "outer");
    CHECK(spans[1].at("ts") <= spans[0].at("ts"));
    CHECK(spans[1].at("dur") >= spans[0].at("dur"));
}

TEST_CASE("A trace names its threads")
{
    Trace::Start();
    {
        const TraceSpan span("frame", "here");
    }
    pid_t other = 0;
    std::thread(
        [&]
        {
            pthread_setname_np(pthread_self(), "varkle test");
            other = gettid();
            const TraceSpan span("file", "there");
        })
        .join();
    const auto trace = FinishAndRead();
    const auto spans = EventsOfPhase(trace, "X");
    REQUIRE(spans.size() == 2);
    CHECK(spans[0].at("tid") == getpid());
    CHECK(spans[1].at("tid") == other);

    std::map<int, std::string> names;
    for (const auto& event : EventsOfPhase(trace, "M"))
    {
        if (event.at("name") == "thread_name")
            names[event.at("tid")] = event.at("args").at("name");
    }
    CHECK(names == std::map<int, std::string>{{getpid(), "main"}, {other, "varkle test"}});
}

TEST_CASE("A trace escapes names and replaces what is no UTF-8")
{
    Trace::Start();
    {
        const TraceSpan quoted("file", "a \"b\"\\\n\tc");
        const TraceSpan foreign("file", "caf\xE9.png");
    }
    const auto spans = EventsOfPhase(FinishAndRead(), "X");
    REQUIRE(spans.size() == 2);
    CHECK(spans[0].at("name") == "caf\xEF\xBF\xBD.png");
    CHECK(spans[1].at("name") == "a \"b\"\\\n\tc");
}

TEST_CASE("A trace is off before its start and after its end, and records nothing then")
{
    CHECK(!Trace::IsOn());
    {
        const TraceSpan span("frame", "too early");
    }
    Trace::Start();
    CHECK(Trace::IsOn());
    CHECK(EventsOfPhase(FinishAndRead(), "X").empty());
    CHECK(!Trace::IsOn());
    {
        const TraceSpan span("frame", "too late");
    }
    CHECK(FinishAndRead().at("traceEvents").empty());
}

TEST_CASE("A trace leaves out spans that began before it")
{
    const auto before = Trace::Clock::now();
    Trace::Start();
    Trace::Add("frame", "old", before - 1s, before + 1s);
    CHECK(EventsOfPhase(FinishAndRead(), "X").empty());
}

TEST_CASE("A new start forgets what a trace recorded before")
{
    Trace::Start();
    {
        const TraceSpan span("frame", "old");
    }
    Trace::Start();
    {
        const TraceSpan span("frame", "new");
    }
    const auto spans = EventsOfPhase(FinishAndRead(), "X");
    REQUIRE(spans.size() == 1);
    CHECK(spans[0].at("name") == "new");
}

TEST_CASE("A trace that can't be written is an error that names the file, and is forgotten")
{
    const TemporaryFolder folder;
    const std::string path = folder / "missing/trace.json";
    Trace::Start();
    {
        const TraceSpan span("frame", "lost");
    }
    const Status status = Trace::Finish(path);
    REQUIRE(!status);
    CHECK(status.GetError().message == "could not write " + path + ": No such file or directory.");
    CHECK(!status.GetError().machine);
    CHECK(!Trace::IsOn());
    CHECK(EventsOfPhase(FinishAndRead(), "X").empty());
}

TEST_CASE("A trace for a full disk is an error of the machine")
{
    Trace::Start();
    const Status status = Trace::Finish("/dev/full");
    REQUIRE(!status);
    CHECK(status.GetError().message == "could not write /dev/full: No space left on device.");
    CHECK(status.GetError().machine);
}

TEST_CASE("A trace takes spans from many threads at once")
{
    Trace::Start();
    const auto work = []
    {
        for (int i = 0; i < 500; ++i)
            const TraceSpan span("operator", std::to_string(i));
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    CHECK(EventsOfPhase(FinishAndRead(), "X").size() == 1000);
}
