#pragma once

#include "Compare.h"

#include <string_view>

namespace Varkle::Bench
{

/// Compares the texture operators whose line contains the filter with straight transcriptions of their formulas.
void CompareTextureOperators(const Effort& effort, std::string_view filter);

} // namespace Varkle::Bench
