#include "scene/SceneFraming.h"

#include <algorithm>
#include <utility>

namespace Varkle
{

namespace
{

// Contents of earlier pictures; the GPU is hardly more pictures behind.
constexpr std::size_t maxWaiting = 4;

bool AreKnown(const std::vector<PlacedBounds>& placed)
{
    return std::ranges::all_of(placed, [](const PlacedBounds& one) { return one.bounds->known; });
}

} // namespace

void SceneFraming::SetContent(std::vector<PlacedBounds> newContent)
{
    content = std::move(newContent);
    found = false;
    cache.Measure();
    cache.Update(false);
    if (!AreKnown(content) && waiting.size() < maxWaiting)
        waiting.push_back(content);
}

std::optional<SceneFocus> SceneFraming::Find(bool mayWait)
{
    if (content.empty())
        return std::nullopt;
    if (found)
        return newest;
    cache.Update(mayWait);
    found = AreKnown(content);
    if (found)
        waiting.clear();
    for (; !waiting.empty() && AreKnown(waiting.front()); waiting.pop_front())
        newest = Enclose(waiting.front());
    // Things without a place are looked at from anywhere.
    if (found)
        newest = Enclose(content).value_or(SceneFocus{});
    return newest;
}

} // namespace Varkle
