#include "pass/VertexLayout.h"

#include <algorithm>
#include <string>

namespace Varkle
{

namespace
{

struct VertexType
{
    wgpu::VertexFormat format;
    std::uint32_t size; // bytes
};

Result<VertexType> TypeOf(const VertexInput& input)
{
    using enum wgpu::VertexFormat;
    static constexpr wgpu::VertexFormat floats[] = {Float32, Float32x2, Float32x3, Float32x4};
    static constexpr wgpu::VertexFormat ints[] = {Sint32, Sint32x2, Sint32x3, Sint32x4};
    static constexpr wgpu::VertexFormat unsignedInts[] = {Uint32, Uint32x2, Uint32x3, Uint32x4};
    const std::uint32_t n = input.components;
    switch (input.scalar)
    {
    case ScalarType::Float:
        return VertexType{floats[n - 1], 4 * n};
    case ScalarType::Int:
        return VertexType{ints[n - 1], 4 * n};
    case ScalarType::UInt:
        return VertexType{unsignedInts[n - 1], 4 * n};
    case ScalarType::Half: // whole words only
        if (n % 2 == 0)
            return VertexType{n == 2 ? Float16x2 : Float16x4, 2 * n};
        break;
    case ScalarType::Bool:
        break;
    }
    return Error{"The vertex input \"" + input.name + "\" has a type that vertex buffers cannot hold."};
}

} // namespace

Result<VertexLayout> MakeVertexLayout(const RenderPipelineDescription& description, unsigned slotCount)
{
    const std::vector<VertexInput>& inputs = description.shader.GetReflection().vertexInputs;
    VertexLayout layout;
    for (const auto& [slot, buffer] : description.vertexBuffers)
    {
        if (slot < 0 || unsigned(slot) >= slotCount)
            return Error{"There is no vertex buffer slot " + std::to_string(slot) + ": this device has slots 0 to " +
                         std::to_string(slotCount - 1) + "."};
        // Slots that are left out stay unused.
        layout.attributes.resize(std::size_t(slot) + 1);
        layout.buffers.resize(std::size_t(slot) + 1);

        std::vector<wgpu::VertexAttribute>& attributes = layout.attributes.back();
        std::uint64_t stride = buffer.stride;
        for (const VertexField& field : buffer.fields)
        {
            wgpu::VertexAttribute attribute{};
            attribute.format = field.format;
            attribute.offset = field.offset;
            attribute.shaderLocation = std::uint32_t(field.location);
            attributes.push_back(attribute);
        }
        for (const int location : buffer.locations)
        {
            const auto input = std::find_if(inputs.begin(), inputs.end(),
                                            [&](const VertexInput& i) { return i.location == location; });
            if (input == inputs.end())
                return Error{"The vertex stage has no input at location " + std::to_string(location) + "."};
            const Result<VertexType> type = TypeOf(*input);
            if (!type)
                return type.GetError();
            wgpu::VertexAttribute attribute{};
            attribute.format = type->format;
            attribute.offset = stride;
            attribute.shaderLocation = std::uint32_t(location);
            attributes.push_back(attribute);
            stride += type->size;
        }
        layout.buffers.back().stepMode = buffer.stepMode;
        layout.buffers.back().arrayStride = stride;
    }
    for (std::size_t slot = 0; slot < layout.buffers.size(); ++slot)
    {
        layout.buffers[slot].attributeCount = layout.attributes[slot].size();
        layout.buffers[slot].attributes = layout.attributes[slot].data();
    }
    return layout;
}

} // namespace Varkle
