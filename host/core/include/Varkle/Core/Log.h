#pragma once

#include "Varkle/Core/Export.h"

#include <functional>
#include <memory>
#include <string>
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

/// Is one line of the log.
struct LogLine
{
    LogLevel level = LogLevel::Info;
    std::string text;
    std::string operatorKey = {}; ///< of the operator that it comes from (LogScope), empty when from none
};

/// Returns a line's text as programs print it: an error or a warning of an operator with that in front, `operator
/// "soft": text`, once also where the text begins with the key, as labels of GPU objects do ("soft: text"); news as
/// they are.
VARKLE_API std::string GetPrintedText(const LogLine& line);

/// Add one line to the host's log. May be called from any thread; the listeners hear it on that thread, before the call
/// returns, in the order in which they were constructed. What a listener's handler logs is heard when the line that it
/// handles was heard by all.
VARKLE_API void LogInfo(std::string_view text);
VARKLE_API void LogWarning(std::string_view text);
VARKLE_API void LogError(std::string_view text);

/// Says which operator the lines come from that this thread logs while it lives. Every execution has one, and so has
/// the work that it gives to Tasks. The innermost counts; an empty key is for work of no operator.
class VARKLE_API LogScope
{
public:
    explicit LogScope(std::string operatorKey);
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

    /// Returns the text of the first error that was logged in the scope, empty when there was none.
    const std::string& GetFirstError() const { return firstError; }

    /// Returns the key of the calling thread's innermost scope, empty without one.
    static std::string GetOperatorKey();

private:
    friend struct LogDelivery;
    std::string key;
    std::string firstError;
    LogScope* outer;
};

/// Hears every line that is logged from its construction to its destruction. The libraries print nothing themselves:
/// without a listener lines are lost.
///
/// A handler is called by one thread at a time and never again once the destructor has returned. It may log itself,
/// which the other listeners hear, may make and destroy listeners, its own too, and must not throw.
class VARKLE_API LogListener
{
public:
    using Handler = std::function<void(const LogLine& line)>;

    explicit LogListener(Handler handler);
    ~LogListener();
    LogListener(const LogListener&) = delete;
    LogListener& operator=(const LogListener&) = delete;

    struct VARKLE_LOCAL Ear;

private:
    std::shared_ptr<Ear> ear;
};

} // namespace Varkle
