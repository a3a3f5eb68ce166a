#pragma once

#include "Varkle/Gpu/Mesh.h"
#include "glb/Download.h"
#include "glb/GlbFile.h"

#include <cstdint>
#include <optional>
#include <span>

namespace Varkle::Glb
{

/// Says how vertices make primitives, as a file holds it.
struct Indices
{
    int mode = 4;                          ///< the format's number of the topology
    std::span<const std::uint32_t> values; ///< none when the vertices are taken in their order
    WGPUBuffer source = nullptr;           ///< where they came from, null when they were made here
};

/// Returns the indices of a mesh of so many vertices; nothing, after a warning, when they can't be written.
std::optional<Indices> ReadIndices(const Mesh& mesh, unsigned vertexCount, const Download& download, GlbFile& file);

} // namespace Varkle::Glb
