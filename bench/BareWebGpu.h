#pragma once

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
    wgpu::TextureView target;
    wgpu::Buffer quad;
    wgpu::RenderPipeline pipeline; // null: the pass only clears
    wgpu::BindGroup uniformGroup;
    wgpu::BindGroup textureGroup;
};

} // namespace Varkle::Bench
