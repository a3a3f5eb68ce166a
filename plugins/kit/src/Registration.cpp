#include "Varkle/Kit/Registration.h"

#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Kit/Resources.h"

#include <string>

namespace Varkle
{

void RegisterOperator(const OperatorRow& row)
{
    const std::string path = row.document;
    TypeLibrary::Get().RegisterOperator(ParseOperatorDoc(row.type(), path, Resources::ReadText(path)));
}

void RegisterOperators()
{
    for (std::size_t i = 0; i < operatorRowCount; ++i)
        RegisterOperator(operatorRows[i]);
}

} // namespace Varkle
