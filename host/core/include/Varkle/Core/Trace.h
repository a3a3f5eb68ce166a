#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"

#include <chrono>
#include <string>
#include <string_view>

namespace Varkle
{

/// Records what happened when, for Perfetto and chrome://tracing. Off until started; a span costs one test then. All of
/// it may be called from any thread.
namespace Trace
{

using Clock = std::chrono::steady_clock;

/// Starts recording; forgets what was recorded before. Times in the file count from here.
VARKLE_API void Start();

/// Ends recording, writes the trace-event JSON file (see WriteFileAtomically for how, and for the errors) and forgets
/// what was recorded, also when the file could not be written.
VARKLE_API Status Finish(const std::string& path);

/// True between Start and Finish.
VARKLE_API bool IsOn();

/// Adds a complete span of the calling thread. `category` is one of "operator", "pass", "pipeline", "shader", "file",
/// "frame". Ignored while recording is off, and when the span began before the recording. Both texts are copied.
VARKLE_API void Add(std::string_view category, std::string_view name, Clock::time_point begin, Clock::time_point end);

} // namespace Trace

/// Records the time from its construction to its destruction as one span, when recording is on.
class VARKLE_API TraceSpan
{
public:
    TraceSpan(std::string_view category, std::string_view name);
    ~TraceSpan();
    TraceSpan(const TraceSpan&) = delete;
    TraceSpan& operator=(const TraceSpan&) = delete;

private:
    bool on;
    std::string_view category; // a literal
    std::string name;          // both empty while recording is off
    Trace::Clock::time_point begin;
};

} // namespace Varkle
