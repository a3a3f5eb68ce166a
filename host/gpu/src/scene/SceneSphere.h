#pragma once

#include "Varkle/Gpu/Mesh.h"

namespace Varkle
{

/// Makes a sphere of radius 1 with all that materials ask for: normals, tangents, texture coordinates that wrap around
/// the Y axis once.
Mesh MakeSceneSphere();

} // namespace Varkle
