#pragma once

#include "Varkle/Gpu/SceneRenderer.h"
#include "scene/MeshBounds.h"

#include <deque>
#include <optional>
#include <vector>

namespace Varkle
{

/// Finds out what a camera has to look at.
class SceneFraming
{
public:
    MeshBoundsCache& GetCache() { return cache; }

    /// Sets the bounds of all that is shown from now on.
    void SetContent(std::vector<PlacedBounds> newContent);

    /// Returns a sphere around the content; nothing when there is none. Where the GPU must be asked first, it waits for
    /// the answer if it may, else it returns the newest sphere that is known, around what was shown earlier; nothing
    /// before the first answer.
    std::optional<SceneFocus> Find(bool mayWait);

private:
    MeshBoundsCache cache;
    std::vector<PlacedBounds> content;
    bool found = false;                            // whether `newest` is the content's
    std::deque<std::vector<PlacedBounds>> waiting; // contents whose bounds the GPU has not told yet, the latest last
    std::optional<SceneFocus> newest;
};

} // namespace Varkle
