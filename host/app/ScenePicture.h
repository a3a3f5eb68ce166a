#pragma once

#include "Varkle/Core/Operator.h"
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

/// True for the data types of outputs that can be drawn: meshes, models and materials.
bool IsSceneType(std::string_view dataTypeName);

/// True when there is something to write: the output is active, and not with a model of which nothing could be loaded.
bool CarriesSomething(const DataOutput& output);

/// Draws what an operator carries, frame after frame.
class ScenePicture
{
public:
    explicit ScenePicture(const SceneView& pictureView) : view(pictureView) {}

    /// Returns the picture, an empty texture when the operator carries nothing. Fails when the GPU can't draw it.
    Result<Texture> Draw(const Operator& op);

private:
    SceneView view;
    SceneRenderer renderer;
};

} // namespace Varkle
