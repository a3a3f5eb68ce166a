#pragma once

#include "Varkle/Core/Export.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

class Object;
class PtrParameter;

/// Describes a class of objects: its id, the type it derives from and how to make one. Descriptors live as long as the
/// library that defines them and are compared by address.
class VARKLE_API ObjectType
{
public:
    /// `id` is unique in the process ("Varkle.Texture.Blur"); `parent` is null for a root type; `factory` returns a new
    /// default-constructed object, or is empty for types that can't be made by name.
    ObjectType(std::string_view id, const ObjectType* parent, std::function<Object*()> factory);

    const std::string& GetId() const { return id; }
    const ObjectType* GetParent() const { return parent; }

    /// True when this type is `other` or derives from it.
    bool IsA(const ObjectType* other) const;

    /// Makes a new object, or returns null when the type has no factory.
    std::unique_ptr<Object> Create() const;

private:
    std::string id;
    const ObjectType* parent;
    std::function<Object*()> factory;
};

/// Is the base of everything that a graph holds: operators, parameters, inputs, outputs, bundles. Every object has a
/// key and a parent; the keys from the graph down form its path. The keys of operators in a graph are unique; a
/// parameter, input, output or list that was given no key has its name for one. Objects are neither copied nor moved
/// and belong to the main thread.
class VARKLE_API Object
{
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object();

    /// Returns the descriptor of the object's class, never null.
    virtual const ObjectType* GetType() const;

    /// Sets the key. An operator in a graph gets the nearest key that is valid and free there (see Graph::Add).
    void SetKey(std::string_view newKey);
    std::string GetKey() const { return key; }

    /// Returns the object that holds this one, or null at the top.
    Object* GetParentObject() const { return GetParentObjectImplementation(); }

    /// Returns the direct child with the key, or null.
    Object* FindChild(std::string_view childKey) { return FindChildImplementation(childKey); }

    /// Returns the keys from below the topmost object down to this one, joined with "/": "soft/Radius" for a parameter
    /// of an operator in a graph. The topmost object's own path is empty.
    std::string GetPath() const;

    /// Returns the object below this one that a path names, or null. An empty path names this object.
    Object* FindObject(std::string_view path);

    /// Returns the descriptor that all types derive from.
    static const ObjectType* Type();

protected:
    virtual Object* GetParentObjectImplementation() const;
    virtual Object* FindChildImplementation(std::string_view childKey);
    /// Called by SetKey: returns the key that the object gets, which is `wanted` unless its parent keeps keys apart.
    virtual std::string AdmitKey(std::string_view wanted);
    /// Called when SetKey has given the object another key.
    virtual void KeyChanged();

private:
    friend class PtrParameter;
    friend class WeakObject;

    // What outlives the object for those who refer to it.
    struct Life
    {
        Object* object;                        // null from the object's end on
        std::vector<PtrParameter*> references; // to be told of the object's end
    };
    const std::shared_ptr<Life>& GetLife();

    std::string key;
    std::shared_ptr<Life> life; // made when the first reference asks for it
};

/// Refers to an object without keeping it alive and turns null when the object is deleted.
class VARKLE_API WeakObject
{
public:
    WeakObject() = default;
    explicit WeakObject(Object* object);

    /// Returns the object, or null when none was given or it has been deleted.
    Object* Get() const;

private:
    std::weak_ptr<Object::Life> life;
};

/// Says how far a reference may reach. The numbers are part of the interface to plug-ins.
enum class ObjectScope
{
    Anywhere = 0,
    SameDocument = 3, ///< what has the same topmost object: the same graph
};

/// Decides which objects a reference parameter may point at.
struct VARKLE_API ObjectFilter
{
    ObjectFilter() = default;
    ObjectFilter(const ObjectType* admittedType, ObjectScope admittedScope) : type(admittedType), scope(admittedScope)
    {
    }

    /// True when `object` is of the type (null admits all) and within the scope as seen from `from`.
    bool Admits(const Object& from, const Object& object) const;

    const ObjectType* type = nullptr;
    ObjectScope scope = ObjectScope::Anywhere;
};

} // namespace Varkle
