#pragma once

#include "Varkle/Gpu/Buffer.h"
#include "Varkle/Gpu/Scene.h"
#include "Varkle/Gpu/UniformBuffer.h"
#include "scene/MipTextures.h"
#include "scene/SceneContent.h"
#include "scene/StudioLight.h"

#include <array>
#include <glm/mat4x4.hpp>
#include <map>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

/// Holds what the scene's shader reads, in buffers and bind groups that are kept from picture to picture.
class SceneBindings
{
public:
    /// Uploads what differs from the content before, and finds the copies of its textures.
    void SetContent(const SceneContent& content);
    /// Lets go of what was not needed for a while. To be called once a picture.
    void Age();
    /// Uploads the camera.
    void SetCamera(const SceneCamera& camera, const StudioLight& light);

    /// Returns the group of what a picture has in common; null when the GPU could not make it.
    wgpu::BindGroup GetFrameGroup();
    /// Returns the group of a material, and the offset of its block.
    wgpu::BindGroup GetMaterialGroup(std::size_t material) const { return materialGroups[material]; }
    std::uint32_t GetMaterialOffset(std::size_t material) const;

    /// Returns the buffer that stands for attributes which a mesh lacks, and where in it; 16 bytes.
    const Buffer& GetMissingAttributes();
    static std::uint64_t GetMissingOffset(std::size_t attribute);

private:
    using Views = std::array<wgpu::TextureView, SceneMaterial::textureCount>;
    using ViewKey = std::array<WGPUTextureView, SceneMaterial::textureCount>;
    struct TextureGroup
    {
        wgpu::BindGroup group; // keeps the views, so that their addresses stay theirs
        bool needed = true;
        unsigned age = 0; // pictures since it was needed
    };

    void WriteTransforms(const std::vector<glm::mat4>& newTransforms);
    void WriteMaterials(const std::vector<SceneMaterial>& newMaterials);
    wgpu::BindGroup FindTextureGroup(const SceneMaterial& material);
    wgpu::BindGroup MakeTextureGroup(const Views& views) const;

    MipTextures textures;
    UniformBuffer frame;
    UniformBuffer materials;
    Buffer transforms;
    std::vector<glm::mat4> uploadedTransforms;
    std::vector<wgpu::BindGroup> materialGroups;
    std::map<ViewKey, TextureGroup> textureGroups;
    wgpu::BindGroup frameGroup;
    Buffer missing;
};

} // namespace Varkle
