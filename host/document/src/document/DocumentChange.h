#pragma once

#include "Varkle/Document/DocumentEdit.h"

namespace Varkle
{

/// Returns the value at the end of a path, null where there is none.
JsonValue* Walk(JsonValue& root, const std::vector<std::size_t>& path);

/// Does one splice to a document. Returns false, and changes nothing, where it does not fit.
bool Splice(GraphDocument& document, const DocumentSplice& splice);

/// Does what ApplyEdit does, but leaves what only the operators themselves know to who makes them anyway.
Result<DocumentChange> ApplyDeclaredEdit(GraphDocument& document, const DocumentEdit& edit);

/// Undoes changes of a document that were just made.
void TakeBack(GraphDocument& document, const DocumentChange& change);

} // namespace Varkle
