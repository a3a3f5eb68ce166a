#pragma once

#include <array>
#include <glm/vec2.hpp>
#include <string>
#include <webgpu/webgpu_cpp.h>

namespace Varkle::Bench
{

/// Draws the pass of a texture filter with nothing but WebGPU, everything made beforehand: what an operator's cost is
/// compared with.
class BarePass
{
public:
    /// Prepares a pass with the WGSL text, the input as texture and sampler at group 1, and 16 bytes of uniforms.
    BarePass(const std::string& wgsl, glm::ivec2 size, const wgpu::Texture& input);
    /// Prepares a pass that only clears.
    explicit BarePass(glm::ivec2 size);

    /// Encodes and submits the pass.
    void Run() const;

private:
    // Two targets by turns: an operator never draws into the texture that it published last either.
    std::array<wgpu::TextureView, 2> targets;
    mutable std::size_t next = 0;
    wgpu::Buffer quad;
    wgpu::RenderPipeline pipeline; // null: the pass only clears
    wgpu::BindGroup uniformGroup;
    wgpu::BindGroup textureGroup;
};

} // namespace Varkle::Bench
