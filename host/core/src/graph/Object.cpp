#include "Varkle/Core/Object.h"

#include "Varkle/Core/Parameters.h"

#include <utility>

namespace Varkle
{

namespace
{

const Object* FindTop(const Object* object)
{
    while (const Object* const parent = object->GetParentObject())
        object = parent;
    return object;
}

} // namespace

ObjectType::ObjectType(std::string_view typeId, const ObjectType* parentType, std::function<Object*()> make)
    : id(typeId), parent(parentType), factory(std::move(make))
{
}

bool ObjectType::IsA(const ObjectType* other) const
{
    const ObjectType* type = this;
    while (type && type != other)
        type = type->parent;
    return type != nullptr;
}

std::unique_ptr<Object> ObjectType::Create() const
{
    return std::unique_ptr<Object>(factory ? factory() : nullptr);
}

Object::~Object()
{
    if (!life)
        return;
    life->object = nullptr;
    // What one reference sets off may end another one, so the list is asked anew each time.
    while (!life->references.empty())
    {
        PtrParameter* const reference = life->references.back();
        life->references.pop_back();
        reference->TargetEnded();
    }
}

const ObjectType* Object::Type()
{
    static const ObjectType type("Varkle.Object", nullptr, {});
    return &type;
}

const ObjectType* Object::GetType() const
{
    return Type();
}

void Object::SetKey(std::string_view newKey)
{
    const std::string before = std::exchange(key, AdmitKey(newKey));
    if (key != before)
        KeyChanged();
}

void Object::KeyChanged() {}

std::string Object::AdmitKey(std::string_view wanted)
{
    return std::string(wanted);
}

std::string Object::GetPath() const
{
    const Object* const parent = GetParentObject();
    if (!parent)
        return {};
    const std::string above = parent->GetPath();
    return above.empty() ? key : above + "/" + key;
}

Object* Object::FindObject(std::string_view path)
{
    if (path.empty())
        return this;
    // Names, and so keys, may hold slashes too: every slash may be the one that ends the child's key.
    for (std::size_t end = path.find('/');; end = path.find('/', end + 1))
    {
        const bool whole = end == std::string_view::npos;
        Object* const child = FindChild(path.substr(0, end));
        Object* const found = child && !whole ? child->FindObject(path.substr(end + 1)) : child;
        if (found || whole)
            return found;
    }
}

Object* Object::GetParentObjectImplementation() const
{
    return nullptr;
}

Object* Object::FindChildImplementation(std::string_view)
{
    return nullptr;
}

const std::shared_ptr<Object::Life>& Object::GetLife()
{
    if (!life)
        life = std::make_shared<Life>(Life{this, {}});
    return life;
}

WeakObject::WeakObject(Object* object)
{
    if (object)
        life = object->GetLife();
}

Object* WeakObject::Get() const
{
    const std::shared_ptr<Object::Life> alive = life.lock();
    return alive ? alive->object : nullptr;
}

bool ObjectFilter::Admits(const Object& from, const Object& object) const
{
    if (type && !object.GetType()->IsA(type))
        return false;
    return scope == ObjectScope::Anywhere || FindTop(&from) == FindTop(&object);
}

} // namespace Varkle
