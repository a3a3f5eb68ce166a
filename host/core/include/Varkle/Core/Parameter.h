#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Object.h"

#include <cstdint>

namespace Varkle
{

class Operator;
class ParameterBundle;

/// The kinds of parameters. GetParameterTypeName gives the word that operator documents use.
enum class ParameterType
{
    Float,
    Int,
    Bool,
    String,
    Enum,
    Color,
    Vector2,
    Vector3,
    Vector4,
    Vector2Int,
    Vector3Int,
    Transform3D,
    Trigger,
    Reference,
};

/// Returns "Float", "Vector 2 Int", "Transform 3D" and so on.
VARKLE_API std::string_view GetParameterTypeName(ParameterType type);

/// Marks of a parameter, as bits. The numbers are part of the interface to plug-ins.
enum class ParameterFlag : std::uint32_t
{
    Output = 1024,    ///< the operator writes the value, the user only reads it; it is not saved
    Structure = 2048, ///< a change of the value calls the operator's UpdateStructure
};

/// Says who owns the parameter that is constructed with it: an operator's own list, or a bundle.
class VARKLE_API ParameterScope
{
public:
    explicit ParameterScope(Operator* op) : owner(op) {}
    explicit ParameterScope(ParameterBundle& group) : bundle(&group) {}

private:
    friend class Parameter;
    Operator* owner = nullptr;
    ParameterBundle* bundle = nullptr;
};

/// Is the base of all parameters: a named value that a user sets and an operator reads. A parameter registers itself
/// with its owner when constructed and leaves it when destroyed. A value that really changes marks the owning operator
/// outdated.
class VARKLE_API Parameter : public Object
{
public:
    ~Parameter() override;

    virtual ParameterType GetParameterType() const = 0;

    /// Sets the display name, which is also what documents call the parameter.
    void SetName(std::string_view newName) { name = newName; }
    const std::string& GetName() const { return name; }

    void SetParameterFlag(ParameterFlag flag, bool on);
    bool HasFlag(ParameterFlag flag) const { return (flags & std::uint32_t(flag)) != 0; }

    /// True when the value changed since the operator last executed; always true before its first execution.
    bool HasValueChanged() const { return changed; }

    /// Returns the operator that owns the parameter, directly or through a bundle; null while it belongs to none.
    Operator* GetOperator() const;

    static const ObjectType* Type();
    const ObjectType* GetType() const override { return Type(); }

protected:
    Parameter() = default;
    Parameter(ParameterScope scope, std::string_view name);

    Object* GetParentObjectImplementation() const override;

    /// Called by the derived classes as the last thing after their value changed: with ParameterFlag::Structure the
    /// operator may destroy this parameter in response.
    void ValueChanged();

private:
    friend class Operator;
    friend class ParameterBundle;

    void LeaveOwner();

    std::string name;
    Operator* owner = nullptr; // at most one of the two is set
    ParameterBundle* bundle = nullptr;
    std::uint32_t flags = 0;
    bool changed = true;
};

} // namespace Varkle
