#include "Varkle/Gpu/ShaderReflection.h"

#include <algorithm>

namespace Varkle
{

namespace
{

template<class T, class Predicate>
const T* FindFirst(const std::vector<T>& list, Predicate predicate)
{
    const auto found = std::find_if(list.begin(), list.end(), predicate);
    return found == list.end() ? nullptr : &*found;
}

} // namespace

bool ShaderBinding::IsWritable() const
{
    return kind == BindingKind::StorageBuffer || (kind == BindingKind::StorageTexture && storageAccess != "read");
}

const EntryPoint* ShaderReflection::FindEntryPoint(ShaderStage stage) const
{
    return FindFirst(entryPoints, [&](const EntryPoint& entry) { return entry.stage == stage; });
}

const ShaderBinding* ShaderReflection::FindBinding(int group, int binding) const
{
    return FindFirst(bindings, [&](const ShaderBinding& b) { return b.group == group && b.binding == binding; });
}

const ShaderBinding* ShaderReflection::FindBinding(std::string_view name) const
{
    return FindFirst(bindings, [&](const ShaderBinding& b) { return b.name == name; });
}

int ShaderReflection::GroupCount() const
{
    return bindings.empty() ? 0 : bindings.back().group + 1; // sorted by group
}

} // namespace Varkle
