#include "Varkle/Core/TypeLibrary.h"

#include "Varkle/Core/Log.h"
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

void TypeLibrary::RegisterOperator(OperatorInfo info)
{
    if (!info.type)
    {
        LogWarning("The operator of the document \"" + info.documentPath + "\" has no type and is not registered.");
        return;
    }
    const auto old = std::ranges::find_if(operators, [&](const OperatorInfo& known)
                                          { return known.type->GetId() == info.type->GetId(); });
    if (old == operators.end())
    {
        operators.push_back(std::move(info));
        return;
    }
    LogWarning("The operator type \"" + info.type->GetId() + "\" is registered already; the new one replaces it.");
    *old = std::move(info);
}

void TypeLibrary::UnregisterOperator(const ObjectType* type)
{
    std::erase_if(operators, [&](const OperatorInfo& info) { return info.type == type; });
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
