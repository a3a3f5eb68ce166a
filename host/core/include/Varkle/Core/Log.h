#pragma once

#include "Varkle/Core/Export.h"

#include <functional>
#include <memory>
#include <string_view>

namespace Varkle
{

enum class LogLevel
{
    Info,
    Warning,
    Error
};

/// Returns "info", "warning" or "error".
VARKLE_API std::string_view GetLogLevelName(LogLevel level);

/// Add one line to the host's log. May be called from any thread; the listeners hear it on that thread, before the call
/// returns, in the order in which they were constructed.
VARKLE_API void LogInfo(std::string_view text);
VARKLE_API void LogWarning(std::string_view text);
VARKLE_API void LogError(std::string_view text);

/// Hears every line that is logged from its construction to its destruction. The libraries print nothing themselves:
/// without a listener lines are lost.
///
/// A handler is called by one thread at a time and never again once the destructor has returned. It may log itself,
/// which the other listeners hear, may make and destroy listeners, its own too, and must not throw.
class VARKLE_API LogListener
{
public:
    using Handler = std::function<void(LogLevel level, std::string_view text)>;

    explicit LogListener(Handler handler);
    ~LogListener();
    LogListener(const LogListener&) = delete;
    LogListener& operator=(const LogListener&) = delete;

    struct VARKLE_LOCAL Ear;

private:
    std::shared_ptr<Ear> ear;
};

} // namespace Varkle
