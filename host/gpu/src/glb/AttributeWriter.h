#pragma once

#include "Varkle/Gpu/Mesh.h"
#include "glb/AttributeValues.h"
#include "glb/Download.h"
#include "glb/GlbFile.h"

#include <map>
#include <optional>
#include <utility>

namespace Varkle::Glb
{

/// Writes attributes, each once, however many meshes share it.
class AttributeWriter
{
public:
    AttributeWriter(GlbFile& target, const Download& fetched) : file(target), download(fetched) {}

    /// Returns the place of an attribute's accessor, with one value for each of a mesh's vertices; nothing when its
    /// values can't be written.
    std::optional<std::size_t> Add(const Attribute& attribute, Rule rule, unsigned vertexCount);
    /// Returns the place of an accessor of so many values that are all 0.
    std::size_t AddZeros(unsigned components, unsigned vertexCount);

private:
    struct Values
    {
        std::span<const float> floats;
        unsigned components = 0;
        std::string problem; // why they can't be written
    };

    std::optional<std::size_t> Make(const Attribute& attribute, Rule rule, unsigned vertexCount);
    Values Read(const Attribute& attribute, Rule rule, unsigned vertexCount) const;

    GlbFile& file;
    const Download& download;
    std::map<std::pair<WGPUBuffer, unsigned>, std::optional<std::size_t>> places; // by buffer and number of vertices
};

} // namespace Varkle::Glb
