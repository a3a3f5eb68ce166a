#pragma once

namespace Varkle
{

/// Registers everything that the library adds to the host: operator types with their documents, and file importers.
void RegisterOperatorsAndImporters();

} // namespace Varkle
