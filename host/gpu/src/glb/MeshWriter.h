#pragma once

#include "Varkle/Gpu/Model.h"
#include "glb/AttributeWriter.h"
#include "glb/Download.h"
#include "glb/GlbFile.h"
#include "glb/Indices.h"
#include "glb/MaterialWriter.h"

#include <map>
#include <optional>
#include <utility>

namespace Varkle::Glb
{

/// Adds the buffers of a mesh to what is fetched.
void AddBuffers(const Mesh& mesh, Download& download);

/// Writes meshes. What several of them share, from the whole mesh to a single attribute, is written once.
class MeshWriter
{
public:
    MeshWriter(GlbFile& target, MaterialWriter& materialWriter, const Download& fetched)
        : file(target), materials(materialWriter), download(fetched)
    {
    }

    /// Returns the place of one mesh in the file that has the meshes of a node as its primitives; nothing when there
    /// are none that can be written.
    std::optional<std::size_t> Add(const std::vector<MeshInstance>& instances);

private:
    /// Returns null for a mesh that can't be written.
    Json MakePrimitive(const Mesh& mesh);
    /// Returns the accessors by the names of the attributes; none when the positions can't be written.
    Json AddAttributes(const Mesh& mesh, unsigned vertexCount);
    void AddCustomAttributes(Json& accessors, const Mesh& mesh, unsigned vertexCount);
    void SetMaterial(Json& primitive, const Mesh& mesh, unsigned vertexCount);
    std::size_t AddIndices(const Indices& indices);

    GlbFile& file;
    MaterialWriter& materials;
    const Download& download;
    AttributeWriter attributes{file, download};
    std::map<std::vector<const void*>, std::optional<std::size_t>> meshes; // by the addresses of their attribute lists
    std::map<std::pair<WGPUBuffer, std::size_t>, std::size_t> indexLists;  // by buffer and count
};

} // namespace Varkle::Glb
