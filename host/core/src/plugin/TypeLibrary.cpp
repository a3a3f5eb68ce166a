#include "Varkle/Core/TypeLibrary.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <utility>

namespace Varkle
{

TypeLibrary& TypeLibrary::Get()
{
    static TypeLibrary library;
    return library;
}

Status TypeLibrary::RegisterOperator(OperatorInfo info)
{
    const auto refuse = [this](const std::string& reason) { return refusals.emplace_back(Error{reason}); };
    if (!info.type)
        return refuse("The operator of the document " + Quoted(info.documentPath) + " has no type.");
    if (Find(info.type->GetId()))
        return refuse("The operator type " + Quoted(info.type->GetId()) + " is registered already.");
    operators.push_back(std::move(info));
    return Ok();
}

void TypeLibrary::UnregisterOperator(const ObjectType* type)
{
    std::erase_if(operators, [&](const OperatorInfo& info) { return info.type == type; });
    compared.erase(type);
}

void TypeLibrary::CheckDocumentOnce(const OperatorInfo& info, const Operator& op)
{
    if (compared.insert(info.type).second)
        CheckOperatorDoc(info, op);
}

const OperatorInfo* TypeLibrary::Find(std::string_view typeId) const
{
    const auto found =
        std::ranges::find_if(operators, [&](const OperatorInfo& info) { return info.type->GetId() == typeId; });
    return found != operators.end() ? &*found : nullptr;
}

const OperatorInfo* TypeLibrary::FindByPath(std::string_view path) const
{
    const auto isNamed = [lower = ToLower(path)](const OperatorInfo& info)
    { return ToLower(info.category.empty() ? info.name : info.category + "/" + info.name) == lower; };
    const auto found = std::ranges::find_if(operators, isNamed);
    return found != operators.end() ? &*found : nullptr;
}

} // namespace Varkle
