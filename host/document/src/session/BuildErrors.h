#pragma once

#include "Varkle/Document/GraphDocument.h"

#include <vector>

namespace Varkle
{

/// Makes the operators of a document whose declared errors were found before, sets them up without running them, and
/// returns what only they know to be wrong. Needs no GPU.
std::vector<DocumentError> FindBuildErrors(GraphDocument document);

} // namespace Varkle
