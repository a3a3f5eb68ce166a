#include "Varkle/Core/DataTypes.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Core/Text.h"

#include <functional>
#include <map>

namespace Varkle
{

namespace
{

// Never destroyed: types may be registered by statics of whatever is loaded.
std::map<std::string, DataType, std::less<>>& All()
{
    static auto& types = *new std::map<std::string, DataType, std::less<>>;
    return types;
}

} // namespace

DataTypeRegistration::DataTypeRegistration(DataType type)
{
    const std::string wanted = type.name;
    if (All().try_emplace(wanted, std::move(type)).second)
        name = wanted;
    else
        LogWarning("The data type " + Quoted(wanted) + " is registered already; the second registration is left out.");
}

DataTypeRegistration::~DataTypeRegistration()
{
    if (!name.empty())
        All().erase(name);
}

const DataType* FindDataType(std::string_view name)
{
    const auto found = All().find(name);
    return found == All().end() ? nullptr : &found->second;
}

} // namespace Varkle
