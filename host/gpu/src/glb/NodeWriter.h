#pragma once

#include "Varkle/Gpu/Model.h"
#include "glb/GlbFile.h"
#include "glb/MeshWriter.h"

#include <vector>

namespace Varkle::Glb
{

/// Lists the nodes of a tree, its root first, the children of a node one after the other in the order of their parents.
/// A node that several parents share comes several times, as the format asks for. Ends early at `limit` nodes.
std::vector<const ModelNode*> ListNodes(const ModelNode& root, std::size_t limit);

/// Writes nodes listed in that way, and a scene with the first one.
void AddNodes(GlbFile& file, const std::vector<const ModelNode*>& nodes, MeshWriter& meshes);

} // namespace Varkle::Glb
