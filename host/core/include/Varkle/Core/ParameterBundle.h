#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Parameter.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Varkle
{

class ParameterBundleList;

/// Is one group of parameters in a bundle list. Parameters join through ParameterScope(bundle); whoever constructs them
/// owns them. The discard handler is the moment to destroy them; one that outlives its bundle belongs to no operator
/// then. They count as the operator's: a change of theirs makes it outdated.
class VARKLE_API ParameterBundle final : public Object
{
public:
    ~ParameterBundle() override;

    void SetName(std::string_view newName) { name = newName; }
    /// Returns the name that was set, with the bundle's number behind it when the list numbers its bundles: "Input 2".
    std::string GetName() const;

    /// Returns the parameters in the order of their construction.
    const std::vector<Parameter*>& GetParameters() const { return parameters; }
    /// Returns the parameter with the display name, or null.
    Parameter* FindParameter(std::string_view parameterName) const;

    ParameterBundleList& GetList() const { return list; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Object* GetParentObjectImplementation() const override;
    Object* FindChildImplementation(std::string_view childKey) override;
    std::string AdmitKey(std::string_view wanted) override;

private:
    friend class ParameterBundleList;
    friend class Parameter;
    ParameterBundle(ParameterBundleList& bundleList, std::string_view bundleName, std::string_view bundleKey);

    void Attach(Parameter& parameter);
    void Detach(Parameter& parameter);

    ParameterBundleList& list;
    std::string name;
    std::vector<Parameter*> parameters;
};

/// Is what an operator wants to hear about the bundles of its list; each may be empty. None is called while the
/// operator is being destroyed.
struct BundleHandlers
{
    std::function<void(ParameterBundle&)> fill;    ///< a bundle was created: give it its parameters
    std::function<void(ParameterBundle&)> discard; ///< a bundle is about to go: drop what belongs to it
    std::function<void()> changed;                 ///< after either
};

/// Is a list of parameter groups that an operator creates and removes at run time. It is a member of the operator.
class VARKLE_API ParameterBundleList final : public Object
{
public:
    using BundleHandlers = Varkle::BundleHandlers;

    ParameterBundleList(Operator* op, std::string_view listName, BundleHandlers listHandlers);
    ~ParameterBundleList() override;

    /// Adds a bundle at the end and calls the fill handler. A key that is empty or taken is replaced by one unique in
    /// the list, here and where a bundle's key is set later.
    ParameterBundle* CreateBundle(std::string_view bundleName, std::string_view bundleKey);
    /// Calls the discard handler and destroys the bundle; a bundle of another list is left alone.
    void RemoveBundle(ParameterBundle* bundle);

    /// Returns the bundles in order.
    const std::vector<ParameterBundle*>& GetBundles() const { return bundles; }
    /// Returns the bundle with the key, or null; in constant time.
    ParameterBundle* FindBundle(std::string_view bundleKey) const;

    /// Says whether the bundles' names are shown with their numbers, counted from 1.
    void SetBundlesNumbered(bool on) { numbered = on; }
    bool AreBundlesNumbered() const { return numbered; }

    const std::string& GetName() const { return name; }
    Operator* GetOperator() const { return owner; }

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Object* GetParentObjectImplementation() const override;
    Object* FindChildImplementation(std::string_view childKey) override;

private:
    friend class ParameterBundle;

    // Lets keys be looked up without making a string.
    struct VARKLE_LOCAL KeyHash
    {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>{}(key); }
    };

    std::string TakeKey(ParameterBundle& bundle, std::string_view wanted);

    Operator* owner;
    std::string name;
    BundleHandlers handlers;
    std::vector<ParameterBundle*> bundles;
    std::vector<std::unique_ptr<ParameterBundle>> owned;
    std::unordered_map<std::string, ParameterBundle*, KeyHash, std::equal_to<>> byKey;
    unsigned long nextKey = 0;
    bool numbered = false;
};

} // namespace Varkle
