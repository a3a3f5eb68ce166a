#pragma once

#include "Varkle/Gpu/Scene.h"
#include "scene/SceneBindings.h"
#include "scene/SceneContent.h"

#include <optional>
#include <vector>

namespace Varkle
{

/// Divides colors by their alpha.
class Straightener
{
public:
    /// Draws the quotients into the first target of a frame buffer. False, with the reason in the log, when the GPU
    /// can't.
    bool Draw(const Texture& premultiplied, const FrameBuffer& target);

private:
    RenderPipeline pipeline;
    FrameBufferFormat pipelineFormat;
    wgpu::BindGroup group;
    wgpu::TextureView source; // what the group shows: the pool hands out the same texture, as a rule
};

struct Scene::State
{
    /// Returns what there is to draw, put in order anew after a change.
    SceneContent& GetContent();
    /// Lets go of what belonged to another device.
    void FollowDevice();
    bool DrawContent(const FrameBuffer& target, const SceneCamera& camera, const glm::vec4& background);

    std::vector<PlacedMesh> things;
    SceneLight light = SceneLight::Studio;
    SceneContent content;
    bool isOrdered = true;     ///< whether the content is that of the things
    bool isBound = false;      ///< whether the bindings are those of the content
    unsigned long version = 0; ///< grows with every change of the content
    SceneBindings bindings;
    Straightener straightener;
    unsigned long generation = 0;
};

struct SceneAccess
{
    static Scene::State& Get(Scene& scene) { return *scene.state; }
};

} // namespace Varkle
