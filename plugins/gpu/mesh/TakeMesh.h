#pragma once

#include "Varkle/Gpu/Ports.h"

#include <initializer_list>
#include <optional>
#include <string_view>

namespace Varkle
{

/// Returns the mesh on the input of an operator that needs these attributes. Nothing when there is none, and the output
/// keeps its last mesh, or when it lacks one of them, and passes to the output as it is.
std::optional<Mesh> TakeMesh(const MeshInput& input, MeshOutput& output,
                             std::initializer_list<std::string_view> attributes);

} // namespace Varkle
