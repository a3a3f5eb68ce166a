#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/SceneRenderer.h"

#include <string>
#include <string_view>

namespace CLI
{
class App;
}

namespace Varkle
{

/// Holds the options of pictures of meshes, models and materials, as they were given; empty for the defaults.
struct SceneOptions
{
    std::string size;
    std::string camera;
    std::string background;

    /// Returns the name of an option that was given, or nothing.
    std::string_view FindGiven() const;
};

/// Adds the options to a command.
void AddSceneOptions(CLI::App& command, SceneOptions& options);

/// Reads the options.
Result<SceneView> ReadSceneView(const SceneOptions& options);

} // namespace Varkle
