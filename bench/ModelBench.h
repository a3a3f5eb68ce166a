#pragma once

#include "Compare.h"

#include <string_view>

namespace Varkle::Bench
{

/// Compares loading a glTF file, in the lines that contain the filter, with reading its bytes and with tinygltf alone.
void CompareModelLoading(const Effort& effort, std::string_view filter);

} // namespace Varkle::Bench
