#include "Varkle/Core/ParameterBundle.h"

#include "Varkle/Core/Operator.h"

#include <algorithm>

namespace Varkle
{

ParameterBundle::ParameterBundle(ParameterBundleList& bundleList, std::string_view bundleName,
                                 std::string_view bundleKey)
    : list(bundleList), name(bundleName)
{
    SetKey(bundleKey);
}

ParameterBundle::~ParameterBundle()
{
    if (parameters.empty())
        return;
    for (Parameter* const parameter : parameters)
        parameter->bundle = nullptr;
    list.GetOperator()->ParametersComeOrGo();
}

const ObjectType* ParameterBundle::Type()
{
    static const ObjectType type("Varkle.ParameterBundle", Object::Type(), {});
    return &type;
}

std::string ParameterBundle::AdmitKey(std::string_view wanted)
{
    return list.TakeKey(*this, wanted);
}

std::string ParameterBundle::GetName() const
{
    if (!list.AreBundlesNumbered())
        return name;
    const auto& bundles = list.GetBundles();
    const auto position = std::ranges::find(bundles, this) - bundles.begin();
    return name + (name.empty() ? "" : " ") + std::to_string(position + 1);
}

Parameter* ParameterBundle::FindParameter(std::string_view parameterName) const
{
    const auto found = std::ranges::find(parameters, parameterName, &Parameter::GetName);
    return found == parameters.end() ? nullptr : *found;
}

Object* ParameterBundle::GetParentObjectImplementation() const
{
    return &list;
}

Object* ParameterBundle::FindChildImplementation(std::string_view childKey)
{
    const auto found = std::ranges::find(parameters, childKey, &Parameter::GetKey);
    return found == parameters.end() ? nullptr : *found;
}

void ParameterBundle::Attach(Parameter& parameter)
{
    parameter.bundle = this;
    parameters.push_back(&parameter);
    list.GetOperator()->ParametersComeOrGo();
}

void ParameterBundle::Detach(Parameter& parameter)
{
    parameter.bundle = nullptr;
    std::erase(parameters, &parameter);
    list.GetOperator()->ParametersComeOrGo();
}

ParameterBundleList::ParameterBundleList(Operator* op, std::string_view listName, Varkle::BundleHandlers listHandlers)
    : owner(op), name(listName), handlers(std::move(listHandlers))
{
    SetKey(listName);
    owner->bundleLists.push_back(this);
}

ParameterBundleList::~ParameterBundleList()
{
    std::erase(owner->bundleLists, this);
}

const ObjectType* ParameterBundleList::Type()
{
    static const ObjectType type("Varkle.ParameterBundleList", Object::Type(), {});
    return &type;
}

ParameterBundle* ParameterBundleList::CreateBundle(std::string_view bundleName, std::string_view bundleKey)
{
    // The constructor is private.
    owned.push_back(std::unique_ptr<ParameterBundle>(new ParameterBundle(*this, bundleName, bundleKey)));
    ParameterBundle* const bundle = owned.back().get();
    bundles.push_back(bundle);
    if (handlers.fill)
        handlers.fill(*bundle);
    if (handlers.changed)
        handlers.changed();
    owner->StructureChanged();
    return bundle;
}

void ParameterBundleList::RemoveBundle(ParameterBundle* bundle)
{
    if (std::ranges::find(bundles, bundle) == bundles.end())
        return;
    if (handlers.discard)
        handlers.discard(*bundle);
    std::erase(bundles, bundle);
    byKey.erase(bundle->GetKey());
    std::erase_if(owned, [bundle](const auto& candidate) { return candidate.get() == bundle; });
    if (handlers.changed)
        handlers.changed();
    owner->StructureChanged();
}

ParameterBundle* ParameterBundleList::FindBundle(std::string_view bundleKey) const
{
    const auto found = byKey.find(bundleKey);
    return found == byKey.end() ? nullptr : found->second;
}

// Enters the bundle under a free key, in place of the one that it has, and returns that key.
std::string ParameterBundleList::TakeKey(ParameterBundle& bundle, std::string_view wanted)
{
    if (FindBundle(bundle.GetKey()) == &bundle)
        byKey.erase(bundle.GetKey());
    std::string free(wanted);
    while (free.empty() || !byKey.try_emplace(free, &bundle).second)
        free = std::to_string(++nextKey);
    return free;
}

Object* ParameterBundleList::GetParentObjectImplementation() const
{
    return owner;
}

Object* ParameterBundleList::FindChildImplementation(std::string_view childKey)
{
    return FindBundle(childKey);
}

} // namespace Varkle
