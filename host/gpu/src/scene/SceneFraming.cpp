#include "device/GpuInternals.h"
#include "scene/MeshBounds.h"
#include "scene/SceneAccess.h"

#include <algorithm>
#include <deque>
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

// Finds the bounds of a content's meshes, from which on it knows them, and places them.
std::vector<PlacedBounds> PlaceBounds(SceneContent& content, MeshBoundsCache& cache)
{
    content.meshBounds.clear();
    for (const SceneMesh& mesh : content.meshes)
        content.meshBounds.push_back(cache.Get(mesh.mesh));
    std::vector<PlacedBounds> placed(content.transforms.size());
    const auto place = [&](const SceneDraw& draw)
    {
        for (std::size_t i = draw.firstInstance; i < draw.firstInstance + draw.instanceCount; ++i)
            placed[i] = {content.meshBounds[draw.mesh], content.transforms[i]};
    };
    std::ranges::for_each(content.opaque, place);
    for (const SceneBlend& blend : content.blends)
        place(blend.draw);
    return placed;
}

} // namespace

struct SceneFraming::State
{
    explicit State(unsigned long deviceGeneration) : generation(deviceGeneration) {}

    void SetContent(std::vector<PlacedBounds> newContent);
    std::optional<SceneFocus> Find(bool mayWait);

    unsigned long generation;
    const Scene* scene = nullptr; // which one was asked about last ...
    unsigned long version = 0;    // ... and what it showed then
    MeshBoundsCache cache;
    std::vector<PlacedBounds> content;
    bool found = false;                            // whether `newest` is the content's
    std::deque<std::vector<PlacedBounds>> waiting; // contents whose bounds the GPU has not told yet, the latest last
    std::optional<SceneFocus> newest;
};

void SceneFraming::State::SetContent(std::vector<PlacedBounds> newContent)
{
    content = std::move(newContent);
    found = false;
    cache.Measure();
    cache.Update(false);
    if (!AreKnown(content) && waiting.size() < maxWaiting)
        waiting.push_back(content);
}

std::optional<SceneFocus> SceneFraming::State::Find(bool mayWait)
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

SceneFraming::SceneFraming() = default;
SceneFraming::SceneFraming(SceneFraming&&) noexcept = default;
SceneFraming& SceneFraming::operator=(SceneFraming&&) noexcept = default;
SceneFraming::~SceneFraming() = default;

std::optional<SceneFocus> SceneFraming::Find(Scene& scene, bool mayWait)
{
    if (!Graphics::GetDevice() || Graphics::IsLost())
        return std::nullopt;
    if (!state || state->generation != Internal::DeviceGeneration())
        state = std::make_unique<State>(Internal::DeviceGeneration());
    auto& shown = SceneAccess::Get(scene);
    SceneContent& content = shown.GetContent();
    const bool isSame = std::exchange(state->scene, &scene) == &scene;
    if (std::exchange(state->version, shown.version) != shown.version || !isSame || content.meshBounds.empty())
        state->SetContent(PlaceBounds(content, state->cache));
    return state->Find(mayWait);
}

} // namespace Varkle
