#pragma once

#include "Varkle/Gpu/Mesh.h"

#include <cstddef>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>
#include <webgpu/webgpu_cpp.h>

namespace Varkle
{

struct SceneFocus;

/// Is the room that a mesh's vertices take up, in its own space. Vertices that aren't finite numbers don't count.
struct MeshBounds
{
    bool known = false; ///< false until the positions were read back
    bool empty = true;  ///< no vertices count
    glm::dvec3 low{0.0};
    glm::dvec3 high{0.0};
    double radius = 0.0; ///< of the vertex that is farthest from the middle between low and high

    glm::dvec3 Center() const { return low * 0.5 + high * 0.5; }
};

/// Returns the bounds of positions in the memory of a vertex buffer.
MeshBounds MeasurePositions(std::span<const std::byte> bytes, wgpu::VertexFormat format);

/// Is a mesh's bounds at a place of the scene.
struct PlacedBounds
{
    std::shared_ptr<const MeshBounds> bounds;
    glm::mat4 toScene{1.0f};
};

/// Returns a sphere around all of them, centered in the box around them, or nothing when nothing there has finite
/// numbers. Bounds that aren't known don't count.
std::optional<SceneFocus> Enclose(std::span<const PlacedBounds> placed);

/// Reads the positions of meshes back and remembers their bounds as long as the positions exist.
class MeshBoundsCache
{
public:
    /// Returns the bounds of a mesh. Where they aren't known yet, the next Measure begins to read the positions.
    std::shared_ptr<const MeshBounds> Get(const Mesh& mesh);
    /// Begins to read what was asked for since the last call.
    void Measure();
    /// Takes in what has arrived; `wait` waits for all of it.
    void Update(bool wait);

private:
    struct Entry
    {
        std::weak_ptr<const void> positions;
        std::shared_ptr<MeshBounds> bounds;
    };
    struct Request
    {
        Buffer positions;
        wgpu::VertexFormat format;
        std::size_t size; // bytes
        std::shared_ptr<MeshBounds> bounds;
    };
    // Positions on their way to the CPU, one after the other in one buffer.
    struct Batch
    {
        std::vector<Request> requests;
        std::size_t size = 0; // bytes
        wgpu::Buffer readable;
        wgpu::Future mapping;
    };

    void Begin(Batch batch);
    static void Finish(Batch& batch);

    std::map<const void*, Entry> entries;
    std::vector<Request> requests;
    std::vector<Batch> batches; // in order
};

} // namespace Varkle
