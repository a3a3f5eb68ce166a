#pragma once

#include "Compare.h"

#include <string_view>

namespace Varkle::Bench
{

/// Measures what edits and new texts of a document of 1,000 operators cost: reading, checking, and following them in a
/// session, on the CPU. `filter` is a part of a line's name.
void MeasureDocuments(const Effort& effort, std::string_view filter);

} // namespace Varkle::Bench
