#include "model/GltfAccessors.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace Varkle
{

namespace
{

template<class T>
const T* Find(const std::vector<T>& list, int index)
{
    return index >= 0 && std::size_t(index) < list.size() ? &list[std::size_t(index)] : nullptr;
}

bool Contains(std::size_t available, std::size_t offset, std::size_t size)
{
    return offset <= available && size <= available - offset;
}

// Elements as they lie in the file: one every `stride` bytes.
struct Strided
{
    const unsigned char* first = nullptr;
    std::size_t count = 0;
    std::size_t stride = 0;
};

std::optional<Strided> FindElements(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                    std::size_t elementSize)
{
    const std::optional<std::span<const unsigned char>> view = FindView(model, accessor.bufferView);
    if (!view || accessor.byteOffset > view->size() || accessor.count > std::numeric_limits<unsigned>::max())
        return std::nullopt;
    const std::size_t viewStride = model.bufferViews[std::size_t(accessor.bufferView)].byteStride;
    const std::size_t stride = viewStride > 0 ? viewStride : elementSize;
    // A stride has 252 bytes at most and a count 32 bits: the product fits.
    const std::size_t size = accessor.count > 0 ? (accessor.count - 1) * stride + elementSize : 0;
    if (!Contains(view->size(), accessor.byteOffset, size))
        return std::nullopt;
    return Strided{view->data() + accessor.byteOffset, accessor.count, stride};
}

PackedElements Share(const Strided& elements, std::size_t elementSize)
{
    return {{elements.first, elements.count * elementSize}, unsigned(elements.count)};
}

// Makes room for that many elements in the scratch memory.
PackedElements Reserve(Scratch& scratch, std::size_t count, std::size_t elementSize)
{
    scratch.resize(std::max(scratch.size(), count * elementSize));
    return {{scratch.data(), count * elementSize}, unsigned(count)};
}

template<std::size_t Size>
PackedElements Pack(const Strided& elements, Scratch& scratch)
{
    const PackedElements packed = Reserve(scratch, elements.count, Size);
    for (std::size_t i = 0; i < elements.count; ++i)
        std::memcpy(scratch.data() + i * Size, elements.first + i * elements.stride, Size);
    return packed;
}

template<class T>
std::optional<PackedElements> GatherIndicesOf(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                              Scratch& scratch)
{
    const std::optional<Strided> elements = FindElements(model, accessor, sizeof(T));
    if (!elements)
        return std::nullopt;
    if (sizeof(T) == sizeof(std::uint32_t) && elements->stride == sizeof(T))
        return Share(*elements, sizeof(T));

    const PackedElements packed = Reserve(scratch, elements->count, sizeof(std::uint32_t));
    for (std::size_t i = 0; i < elements->count; ++i)
    {
        T narrow = 0;
        std::memcpy(&narrow, elements->first + i * elements->stride, sizeof(T));
        const std::uint32_t index = narrow;
        std::memcpy(scratch.data() + i * sizeof(index), &index, sizeof(index));
    }
    return packed;
}

} // namespace

const tinygltf::Accessor* FindAccessor(const tinygltf::Model& model, int index)
{
    return Find(model.accessors, index);
}

std::optional<std::span<const unsigned char>> FindView(const tinygltf::Model& model, int index)
{
    const tinygltf::BufferView* const view = Find(model.bufferViews, index);
    const tinygltf::Buffer* const buffer = view ? Find(model.buffers, view->buffer) : nullptr;
    if (!buffer || !Contains(buffer->data.size(), view->byteOffset, view->byteLength))
        return std::nullopt;
    return std::span(buffer->data).subspan(view->byteOffset, view->byteLength);
}

std::optional<PackedElements> GatherElements(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                             std::size_t elementSize, Scratch& scratch)
{
    const std::optional<Strided> elements = FindElements(model, accessor, elementSize);
    if (!elements)
        return std::nullopt;
    if (elements->stride == elementSize)
        return Share(*elements, elementSize);
    switch (elementSize)
    {
    case 8:
        return Pack<8>(*elements, scratch);
    case 12:
        return Pack<12>(*elements, scratch);
    default:
        return Pack<16>(*elements, scratch);
    }
}

bool IsIndexType(int componentType)
{
    return componentType == TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE ||
           componentType == TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT ||
           componentType == TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT;
}

std::optional<PackedElements> GatherIndices(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                            Scratch& scratch)
{
    switch (accessor.componentType)
    {
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
        return GatherIndicesOf<std::uint8_t>(model, accessor, scratch);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
        return GatherIndicesOf<std::uint16_t>(model, accessor, scratch);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
        return GatherIndicesOf<std::uint32_t>(model, accessor, scratch);
    default:
        return std::nullopt;
    }
}

std::uint32_t FindLargestIndex(const PackedElements& indices)
{
    std::uint32_t largest = 0;
    for (std::size_t i = 0; i < indices.bytes.size(); i += sizeof(largest))
    {
        std::uint32_t index = 0;
        std::memcpy(&index, indices.bytes.data() + i, sizeof(index)); // no alignment is promised
        largest = std::max(largest, index);
    }
    return largest;
}

} // namespace Varkle
