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

/// Says what of a document is to be checked.
struct CheckScope
{
    std::vector<std::size_t> operators; ///< their places
    bool cycles = false;                ///< that they are part of
    bool head = false;                  ///< what stands beside the list of operators
    bool built = false;                 ///< also what only the operators themselves know
};

/// Returns what is wrong with a part of a document.
std::vector<DocumentError> CheckPart(const GraphDocument& document, const CheckScope& scope);

/// Returns why an operator of a type can't feed an input whatever the document says: it gives other data, or none.
/// Empty when it can.
std::string FindTypeProblem(const OperatorInfo& source, const std::string& sourceKey, const OperatorInfo::Entry& input);

/// Returns the message for operators that feed each other, each named operator fed by the next one, the last one by the
/// first.
std::string DescribeCycle(const std::vector<std::string>& ring);

} // namespace Varkle
