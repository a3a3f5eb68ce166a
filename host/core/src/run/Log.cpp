#include "Varkle/Core/Log.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace Varkle
{

// Outlives its listener while a line is on its way to it.
struct LogListener::Ear
{
    explicit Ear(Handler lineHandler) : handler(std::move(lineHandler)) {}

    const Handler handler;
    std::recursive_mutex mutex; // held while the handler runs; recursive, as a handler may log or destroy its listener
    bool listening = true;
    bool busy = false;
};

namespace
{

struct Listeners
{
    std::mutex mutex;
    std::vector<std::shared_ptr<LogListener::Ear>> ears;
};

Listeners& GetListeners()
{
    static Listeners& listeners = *new Listeners; // never destroyed: threads and static objects log to the very end
    return listeners;
}

void Log(LogLevel level, std::string_view text)
{
    Listeners& listeners = GetListeners();
    std::vector<std::shared_ptr<LogListener::Ear>> ears;
    {
        const std::lock_guard lock(listeners.mutex);
        ears = listeners.ears;
    }
    for (const auto& ear : ears)
    {
        const std::lock_guard lock(ear->mutex);
        if (!ear->listening || ear->busy) // busy: its own handler logs this line
            continue;
        ear->busy = true;
        ear->handler(level, text);
        ear->busy = false;
    }
}

} // namespace

std::string_view GetLogLevelName(LogLevel level)
{
    switch (level)
    {
    case LogLevel::Info:
        return "info";
    case LogLevel::Warning:
        return "warning";
    case LogLevel::Error:
        break;
    }
    return "error";
}

void LogInfo(std::string_view text)
{
    Log(LogLevel::Info, text);
}

void LogWarning(std::string_view text)
{
    Log(LogLevel::Warning, text);
}

void LogError(std::string_view text)
{
    Log(LogLevel::Error, text);
}

LogListener::LogListener(Handler handler) : ear(std::make_shared<Ear>(std::move(handler)))
{
    Listeners& listeners = GetListeners();
    const std::lock_guard lock(listeners.mutex);
    listeners.ears.push_back(ear);
}

LogListener::~LogListener()
{
    {
        Listeners& listeners = GetListeners();
        const std::lock_guard lock(listeners.mutex);
        std::erase(listeners.ears, ear);
    }
    const std::lock_guard lock(ear->mutex); // waits for a line that another thread is handing over
    ear->listening = false;
}

} // namespace Varkle
