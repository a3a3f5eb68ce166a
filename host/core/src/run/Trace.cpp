#include "Varkle/Core/Trace.h"

#include "Varkle/Core/FileWriting.h"

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <pthread.h>
#include <set>
#include <unistd.h>
#include <vector>

// The file follows the "Trace Event Format" of the Chromium project: an object with a list "traceEvents" of complete
// events (ph "X", times in microseconds) and metadata events (ph "M") that name the threads.

namespace Varkle
{

namespace Trace
{

namespace
{

struct Span
{
    const std::string* category; // of the recording's names, already quoted and escaped
    const std::string* name;
    std::chrono::nanoseconds begin; // since the start of the recording
    std::chrono::nanoseconds duration;
    pid_t thread;
};

// A long run adds many spans of few names, so each name is kept once.
struct Recording
{
    Clock::time_point start;
    std::map<std::string, std::string, std::less<>> names; // to the same as JSON
    std::map<pid_t, std::string> threads;
    std::vector<Span> spans;
};

struct State
{
    std::atomic<bool> on = false;
    std::mutex mutex; // guards the recording
    Recording recording;
};

State& GetState()
{
    static State& state = *new State; // never destroyed: threads may end spans while the process exits
    return state;
}

std::string ToJson(std::string_view text)
{
    // Names of files may be any bytes; what is no UTF-8 is replaced.
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

const std::string* Keep(Recording& recording, std::string_view name)
{
    auto found = recording.names.find(name);
    if (found == recording.names.end())
        found = recording.names.emplace(name, ToJson(name)).first;
    return &found->second;
}

std::string GetThreadName(pid_t thread)
{
    if (thread == getpid())
        return "main";
    char name[16] = ""; // the system's limit
    (void)pthread_getname_np(pthread_self(), name, sizeof(name));
    return name;
}

std::string Microseconds(std::chrono::nanoseconds time)
{
    const long long count = time.count();
    char text[32];
    std::snprintf(text, sizeof(text), "%lld.%03lld", count / 1000, count % 1000);
    return text;
}

void AddEvent(std::string& text, const std::string& members)
{
    text += (text.ends_with('[') ? "\n{" : ",\n{") + members + "}";
}

std::string ToJson(const Recording& recording)
{
    const auto where = [process = getpid()](pid_t thread)
    { return R"(,"pid":)" + std::to_string(process) + R"(,"tid":)" + std::to_string(thread); };

    std::string text = R"({"displayTimeUnit":"ms","traceEvents":[)";
    for (const auto& [thread, name] : recording.threads)
        AddEvent(text, R"("ph":"M","name":"thread_name","args":{"name":)" + ToJson(name) + "}" + where(thread));
    for (const Span& span : recording.spans)
    {
        AddEvent(text, R"("ph":"X","cat":)" + *span.category + R"(,"name":)" + *span.name + R"(,"ts":)" +
                           Microseconds(span.begin) + R"(,"dur":)" + Microseconds(span.duration) + where(span.thread));
    }
    return text + "\n]}\n";
}

} // namespace

void Start()
{
    State& state = GetState();
    const std::lock_guard lock(state.mutex);
    state.recording = {};
    state.recording.start = Clock::now();
    state.on = true;
}

Status Finish(const std::string& path)
{
    State& state = GetState();
    Recording recording;
    {
        const std::lock_guard lock(state.mutex);
        state.on = false;
        std::swap(recording, state.recording);
    }
    return WriteFileAtomically(path, ToJson(recording));
}

bool IsOn()
{
    return GetState().on.load(std::memory_order_relaxed);
}

void Add(std::string_view category, std::string_view name, Clock::time_point begin, Clock::time_point end)
{
    State& state = GetState();
    const std::lock_guard lock(state.mutex);
    Recording& recording = state.recording;
    if (!state.on || begin < recording.start)
        return;
    const pid_t thread = gettid();
    if (const auto [entry, isNew] = recording.threads.try_emplace(thread); isNew)
        entry->second = GetThreadName(thread);
    recording.spans.push_back(
        {Keep(recording, category), Keep(recording, name), begin - recording.start, end - begin, thread});
}

} // namespace Trace

TraceSpan::TraceSpan(std::string_view spanCategory, std::string_view spanName) : on(Trace::IsOn())
{
    if (!on)
        return;
    category = spanCategory;
    name = spanName;
    begin = Trace::Clock::now();
}

TraceSpan::~TraceSpan()
{
    if (on)
        Trace::Add(category, name, begin, Trace::Clock::now());
}

} // namespace Varkle
