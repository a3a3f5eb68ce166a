#pragma once

#include "Varkle/Core/TypeLibrary.h"

#include <string>

namespace Varkle
{

/// Lays out an operator's document for reading in a terminal: what it is, its inputs, outputs and parameters, then the
/// text with its links to other operators resolved, 100 columns wide.
std::string FormatOperator(const OperatorInfo& info);

} // namespace Varkle
