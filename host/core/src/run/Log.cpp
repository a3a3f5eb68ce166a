#include "Varkle/Core/Log.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <deque>
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
    std::recursive_mutex mutex; // held while the handler runs; recursive, as a handler may destroy its listener
    bool listening = true;
};

namespace
{

using Ears = std::vector<std::shared_ptr<LogListener::Ear>>;

struct Listeners
{
    std::mutex mutex;
    Ears ears;
};

Listeners& GetListeners()
{
    static Listeners& listeners = *new Listeners; // never destroyed: threads and static objects log to the very end
    return listeners;
}

thread_local LogScope* s_scope = nullptr;

} // namespace

// What one thread is handing to the listeners. A line that a handler logs waits until the one before was heard: handed
// over at once, by two threads, it would have each hold the listener that the other one wants.
struct LogDelivery
{
    struct Item
    {
        LogLine line;
        Ears speakers; // whose handlers logged it, directly or by what others answered: they don't hear it
    };
    std::deque<Item> items;
    std::shared_ptr<LogListener::Ear> current; // whose handler runs

    void Deliver(const Item& item)
    {
        Ears ears;
        {
            Listeners& listeners = GetListeners();
            const std::lock_guard lock(listeners.mutex);
            ears = listeners.ears;
        }
        for (const auto& ear : ears)
        {
            if (std::ranges::find(item.speakers, ear) != item.speakers.end())
                continue;
            const std::lock_guard lock(ear->mutex);
            if (!ear->listening)
                continue;
            current = ear;
            ear->handler(item.line);
            current = nullptr;
        }
    }

    void DeliverAll()
    {
        for (; !items.empty(); items.pop_front())
            Deliver(items.front());
    }

    static void NoteError(const std::string& text)
    {
        if (s_scope && s_scope->firstError.empty())
            s_scope->firstError = text;
    }
};

namespace
{

thread_local LogDelivery* s_delivery = nullptr; // while one is under way

void Log(LogLevel level, std::string_view text)
{
    LogLine line{level, std::string(text), LogScope::GetOperatorKey()};
    if (level == LogLevel::Error)
        LogDelivery::NoteError(line.text);
    if (s_delivery)
    {
        Ears speakers = s_delivery->items.front().speakers;
        speakers.push_back(s_delivery->current);
        s_delivery->items.push_back({std::move(line), std::move(speakers)});
        return;
    }
    LogDelivery delivery;
    delivery.items.push_back({std::move(line), {}});
    s_delivery = &delivery;
    delivery.DeliverAll();
    s_delivery = nullptr;
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

std::string GetPrintedText(const LogLine& line)
{
    if (line.operatorKey.empty() || line.level == LogLevel::Info)
        return line.text;
    std::string_view text = line.text;
    if (const std::string label = line.operatorKey + ": "; text.starts_with(label))
        text.remove_prefix(label.size());
    return "operator " + Quoted(line.operatorKey) + ": " + std::string(text);
}

LogScope::LogScope(std::string operatorKey) : key(std::move(operatorKey)), outer(std::exchange(s_scope, this)) {}

LogScope::~LogScope()
{
    s_scope = outer;
}

std::string LogScope::GetOperatorKey()
{
    return s_scope ? s_scope->key : std::string();
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
