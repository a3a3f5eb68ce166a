#include "Varkle/Core/Parameter.h"

#include "Varkle/Core/Operator.h"
#include "Varkle/Core/ParameterBundle.h"

namespace Varkle
{

std::string_view GetParameterTypeName(ParameterType type)
{
    switch (type)
    {
    case ParameterType::Float:
        return "Float";
    case ParameterType::Int:
        return "Int";
    case ParameterType::Bool:
        return "Bool";
    case ParameterType::String:
        return "String";
    case ParameterType::Enum:
        return "Enum";
    case ParameterType::Color:
        return "Color";
    case ParameterType::Vector2:
        return "Vector 2";
    case ParameterType::Vector3:
        return "Vector 3";
    case ParameterType::Vector4:
        return "Vector 4";
    case ParameterType::Vector2Int:
        return "Vector 2 Int";
    case ParameterType::Vector3Int:
        return "Vector 3 Int";
    case ParameterType::Transform3D:
        return "Transform 3D";
    case ParameterType::Trigger:
        return "Trigger";
    case ParameterType::Reference:
        return "Reference";
    }
    return "";
}

Parameter::Parameter(ParameterScope scope, std::string_view displayName) : name(displayName)
{
    SetKey(displayName);
    if (scope.bundle)
        scope.bundle->Attach(*this);
    else if (scope.owner)
        scope.owner->Attach(*this);
}

Parameter::~Parameter()
{
    LeaveOwner();
}

const ObjectType* Parameter::Type()
{
    static const ObjectType type("Varkle.Parameter", Object::Type(), {});
    return &type;
}

void Parameter::SetParameterFlag(ParameterFlag flag, bool on)
{
    const auto bit = std::uint32_t(flag);
    flags = on ? flags | bit : flags & ~bit;
}

Operator* Parameter::GetOperator() const
{
    return bundle ? bundle->GetList().GetOperator() : owner;
}

Object* Parameter::GetParentObjectImplementation() const
{
    if (bundle)
        return bundle;
    return owner;
}

void Parameter::ValueChanged()
{
    changed = true;
    if (Operator* const op = GetOperator())
        op->ParameterChanged(*this);
}

void Parameter::LeaveOwner()
{
    if (bundle)
        bundle->Detach(*this);
    else if (owner)
        owner->Detach(*this);
}

} // namespace Varkle
