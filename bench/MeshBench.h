#pragma once

#include "Compare.h"

#include <string_view>

namespace Varkle::Bench
{

/// Compares the mesh operators whose line contains the filter with the same compute passes in bare WebGPU.
void CompareMeshOperators(const Effort& effort, std::string_view filter);

} // namespace Varkle::Bench
