#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <glm/vec2.hpp>
#include <string>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle::Bench
{

/// Is a texture as a bare pass samples it: with linear filtering.
struct BareTexture
{
    wgpu::Texture texture;
    wgpu::AddressMode addressMode = wgpu::AddressMode::ClampToEdge;
};

/// Is one draw of the full-screen quad with its bind groups.
struct BareDraw
{
    std::vector<std::byte> uniforms;                ///< of group 0, binding 0; empty for none
    std::vector<std::vector<BareTexture>> textures; ///< by group, behind that of the uniforms
};

/// Draws the passes of a texture operator with nothing but WebGPU, everything made beforehand: what an operator's cost
/// is compared with.
class BarePass
{
public:
    /// Prepares a pass that draws with the WGSL text, one stage each.
    BarePass(const std::string& wgsl, glm::ivec2 size, const std::vector<BareDraw>& draws, bool premultiplied = false);
    /// Prepares a pass that only clears.
    explicit BarePass(glm::ivec2 size);

    /// Encodes and submits the pass.
    void Run() const;

    /// Returns the one texture that the pass draws into from now on, for a second pass to read.
    wgpu::Texture FixTarget();

private:
    // Two targets by turns: an operator never draws into the texture that it published last either.
    std::array<wgpu::Texture, 2> textures;
    std::array<wgpu::TextureView, 2> targets;
    mutable std::size_t next = 0;
    wgpu::Buffer quad;
    wgpu::RenderPipeline pipeline;                    // null: the pass only clears
    std::vector<std::vector<wgpu::BindGroup>> groups; // of each draw
};

/// Is a storage buffer of a bare compute pass: one, or two by turns, since an operator never writes into the buffer
/// that it published last either.
struct BareStorage
{
    explicit BareStorage(const wgpu::Buffer& always) : byTurns{always, always} {}
    /// Makes one that holds the data.
    BareStorage(const void* data, std::size_t size);
    /// Makes two.
    explicit BareStorage(std::uint64_t bytes);

    std::array<wgpu::Buffer, 2> byTurns;
};

/// Is one dispatch of a compute shader in workgroups of 64.
struct BareDispatch
{
    std::string wgsl;
    std::uint32_t count;              ///< how often the shader runs
    std::vector<std::byte> uniforms;  ///< at binding 0
    std::vector<BareStorage> storage; ///< from binding 1 on
};

/// Runs the compute pass of a mesh operator as BarePass draws that of a texture operator.
class BareComputePass
{
public:
    explicit BareComputePass(const std::vector<BareDispatch>& dispatches);

    /// Encodes and submits the pass.
    void Run() const;

private:
    struct Step
    {
        wgpu::ComputePipeline pipeline;
        std::array<wgpu::BindGroup, 2> groups;
        std::uint32_t workgroups = 0;
    };
    std::vector<Step> steps;
    mutable std::size_t next = 0;
};

/// Returns the bytes of the values one after the other, as the members of a uniform struct without gaps.
template<class... Values>
std::vector<std::byte> UniformBytes(const Values&... values)
{
    std::vector<std::byte> bytes;
    const auto append = [&bytes](const void* data, std::size_t size)
    {
        const auto* const begin = static_cast<const std::byte*>(data);
        bytes.insert(bytes.end(), begin, begin + size);
    };
    (append(&values, sizeof(values)), ...);
    return bytes;
}

} // namespace Varkle::Bench
