#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Pipeline.h"

#include <vector>

namespace Varkle
{

/// The vertex buffers of a pipeline as the GPU wants them. Not copied, since the layouts point into the attributes.
struct VertexLayout
{
    VertexLayout() = default;
    VertexLayout(const VertexLayout&) = delete;
    VertexLayout(VertexLayout&&) = default;

    std::vector<std::vector<wgpu::VertexAttribute>> attributes; ///< by slot
    std::vector<wgpu::VertexBufferLayout> buffers;              ///< by slot
};

/// Lays out the vertex buffers of a description by the types of the shader's vertex inputs, packed in the order given.
/// Errors: slots that `slotCount` does not admit, locations without an input, inputs that no vertex buffer can feed.
Result<VertexLayout> MakeVertexLayout(const RenderPipelineDescription& description, unsigned slotCount);

} // namespace Varkle
