#pragma once

#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Pipeline.h"
#include "Varkle/Gpu/Shader.h"

#include <array>
#include <cstdint>
#include <tuple>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

/// The attributes that the scene's shader reads, by location.
inline constexpr std::array<AttributeSemantic, 5> sceneAttributes{
    Attributes::Position, Attributes::Normal, Attributes::Tangent, Attributes::TexCoord0, Attributes::Color0};

inline constexpr std::uint32_t sceneSampleCount = 4;
inline constexpr wgpu::TextureFormat sceneDepthFormat = wgpu::TextureFormat::Depth32Float;

/// True for topologies whose primitives are triangles.
constexpr bool IsSolid(wgpu::PrimitiveTopology topology)
{
    return topology == wgpu::PrimitiveTopology::TriangleList || topology == wgpu::PrimitiveTopology::TriangleStrip;
}

/// Tells the pipelines of the scene's shader apart.
struct ScenePipelineKey
{
    enum class Shading : std::uint8_t
    {
        Lit,
        Masked, ///< lit, and cut out by alpha
        Unlit,
    };

    Shading shading = Shading::Lit;
    bool textured = false;
    bool opaque = true;
    bool writesDepth = true;
    bool mirrored = false; ///< front faces run clockwise
    wgpu::CullMode cull = wgpu::CullMode::Back;
    wgpu::PrimitiveTopology topology = wgpu::PrimitiveTopology::TriangleList;
    wgpu::IndexFormat stripIndexFormat = wgpu::IndexFormat::Undefined; ///< of strips with indices
    /// By location; 0 for what the mesh lacks: all vertices read the same bytes then.
    std::array<wgpu::VertexFormat, sceneAttributes.size()> formats{};
    wgpu::TextureFormat target = wgpu::TextureFormat::RGBA8Unorm;

    auto Tie() const
    {
        return std::tie(shading, textured, opaque, writesDepth, mirrored, cull, topology, stripIndexFormat, formats,
                        target);
    }
    /// Puts keys into some order.
    bool operator<(const ScenePipelineKey& other) const { return Tie() < other.Tie(); }
};

/// Returns the pipeline of a key, kept for the process.
RenderPipeline GetScenePipeline(const ScenePipelineKey& key);

/// Returns the scene's shader, after which uniform buffers are laid out.
Shader GetSceneShader();

/// Returns the layout of a bind group of the scene's shader, null when the GPU refuses it: 0 for what a frame has in
/// common, 1 for a material, whose uniform block a dynamic offset chooses.
wgpu::BindGroupLayout GetSceneGroupLayout(std::size_t group);

} // namespace Varkle
