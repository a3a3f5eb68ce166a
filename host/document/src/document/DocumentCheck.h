#pragma once

#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/GraphDocument.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Varkle
{

/// Returns what is wrong with a document by what the operators' documents declare, without making operators. What is
/// left is for FindBuildErrors to find.
std::vector<DocumentError> CheckDeclared(const GraphDocument& document);

/// Returns what is wrong with some of a document's operators, given by their places. `cycles` asks for those that they
/// are part of, `head` for what stands beside the list of operators.
std::vector<DocumentError> CheckPart(const GraphDocument& document, const std::vector<std::size_t>& operators,
                                     bool cycles, bool head);

/// Returns why an operator of a type can't feed an input whatever the document says: it gives other data, or none.
/// Empty when it can.
std::string FindTypeProblem(const OperatorInfo& source, const std::string& sourceKey, const OperatorInfo::Entry& input);

/// Returns the message for operators that feed each other, each named operator fed by the next one, the last one by the
/// first.
std::string DescribeCycle(const std::vector<std::string>& ring);

} // namespace Varkle
