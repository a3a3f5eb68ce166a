#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <utility>

namespace Varkle
{

/// Keeps GPU objects that nobody uses until one like them is wanted. An object goes for good when it waited too long,
/// or when all together are too large, the one that waited longest first.
template<class Key, class Object>
class ResourcePool
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds MaxIdleTime{5};
    static constexpr std::uint64_t MaxIdleBytes = 512ull << 20;

    /// Returns the object of that key that came in last: the caches know it best.
    std::optional<Object> Take(const Key& key)
    {
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
        {
            if (entry->key != key)
                continue;
            Object object = std::move(entry->object);
            bytes -= entry->bytes;
            entries.erase(std::next(entry).base());
            return object;
        }
        return std::nullopt;
    }

    void Give(const Key& key, Object object, std::uint64_t objectBytes)
    {
        entries.push_back({key, std::move(object), objectBytes, Clock::now()});
        bytes += objectBytes;
        while (bytes > MaxIdleBytes)
            DropOldest();
    }

    /// Drops what has been waiting since before that time.
    void Trim(Clock::time_point time)
    {
        while (!entries.empty() && entries.front().since < time)
            DropOldest();
    }
    /// Drops what waited too long, or everything.
    void Trim(bool all) { Trim(all ? Clock::time_point::max() : Clock::now() - MaxIdleTime); }

    std::uint64_t Count() const { return entries.size(); }
    std::uint64_t Bytes() const { return bytes; }

private:
    struct Entry
    {
        Key key;
        Object object;
        std::uint64_t bytes;
        Clock::time_point since;
    };

    void DropOldest()
    {
        bytes -= entries.front().bytes;
        entries.pop_front();
    }

    std::list<Entry> entries; // the one that waited longest first
    std::uint64_t bytes = 0;
};

} // namespace Varkle
