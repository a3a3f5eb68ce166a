#pragma once

#include "model/TinyGltf.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Varkle
{

/// Is a list of elements one behind the other, without gaps: a part of a buffer of the file where they lie there like
/// that, else a part of the scratch memory that was given, until that is used again.
struct PackedElements
{
    std::span<const unsigned char> bytes;
    unsigned count = 0;
};

/// Is memory that is used again and again: new memory costs more than what is written to it.
using Scratch = std::vector<unsigned char>;

/// Returns the accessor of that index, or null when the file has none.
const tinygltf::Accessor* FindAccessor(const tinygltf::Model& model, int index);

/// Returns the bytes of a buffer view. Nothing when there is no such view or it reaches beyond its buffer.
std::optional<std::span<const unsigned char>> FindView(const tinygltf::Model& model, int index);

/// Gathers an accessor's elements, each `elementSize` bytes (8, 12 or 16) whatever the accessor's own type is. Nothing
/// when a part of them lies outside of the accessor's view.
std::optional<PackedElements> GatherElements(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                             std::size_t elementSize, Scratch& scratch);

/// True for the component types that indices have: unsigned integers of 8, 16 and 32 bits.
bool IsIndexType(int componentType);

/// Gathers an accessor of such a type as 32-bit indices. Nothing when a part of them lies outside of its view.
std::optional<PackedElements> GatherIndices(const tinygltf::Model& model, const tinygltf::Accessor& accessor,
                                            Scratch& scratch);

/// Returns the largest of 32-bit indices, 0 when there is none.
std::uint32_t FindLargestIndex(const PackedElements& indices);

} // namespace Varkle
