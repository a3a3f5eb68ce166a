#pragma once

#include "Varkle/Core/Operator.h"
#include "Varkle/Gpu/NoStart.h"

#include <memory>
#include <unordered_map>

namespace Varkle
{

/// Makes one operator of each type that is asked about: what only an instance can tell, such as its parameters'
/// defaults.
class Specimens
{
public:
    /// Returns the operator of the type, or null when it makes none. It stays unchanged and in no graph.
    const Operator* Find(const ObjectType& type)
    {
        const auto [specimen, isNew] = made.try_emplace(&type);
        if (isNew)
            specimen->second = type.Create();
        return dynamic_cast<const Operator*>(specimen->second.get());
    }

private:
    Graphics::NoStart asked;
    std::unordered_map<const ObjectType*, std::unique_ptr<Object>> made;
};

} // namespace Varkle
