#pragma once

#include "Varkle/Core/Color.h"
#include "Varkle/Core/Export.h"
#include "Varkle/Core/Parameter.h"

#include <glm/mat4x4.hpp>
#include <glm/vec2.hpp>
#include <glm/vec3.hpp>
#include <glm/vec4.hpp>
#include <string>
#include <vector>

namespace Varkle
{

/// Holds a value of type T and its default. Setting an equal value changes nothing; not-a-number equals itself, and 0
/// equals -0, so that an expression that yields the same again never makes an operator run.
template<class T, ParameterType TypeTag>
class VARKLE_API ValueParameter : public Parameter
{
public:
    ValueParameter() = default;
    ValueParameter(ParameterScope scope, std::string_view displayName, const T& defaultValue)
        : Parameter(scope, displayName), value(defaultValue), initial(defaultValue)
    {
    }

    T Value() const { return value; }
    void SetValue(const T& newValue);
    T DefaultValue() const { return initial; }

    ParameterType GetParameterType() const override { return TypeTag; }

protected:
    explicit ValueParameter(const T& defaultValue) : value(defaultValue), initial(defaultValue) {}

private:
    T value{};
    T initial{};
};

extern template class VARKLE_API ValueParameter<double, ParameterType::Float>;
extern template class VARKLE_API ValueParameter<long long, ParameterType::Int>;
extern template class VARKLE_API ValueParameter<bool, ParameterType::Bool>;
extern template class VARKLE_API ValueParameter<Color, ParameterType::Color>;
extern template class VARKLE_API ValueParameter<glm::dvec2, ParameterType::Vector2>;
extern template class VARKLE_API ValueParameter<glm::dvec3, ParameterType::Vector3>;
extern template class VARKLE_API ValueParameter<glm::dvec4, ParameterType::Vector4>;
extern template class VARKLE_API ValueParameter<glm::ivec2, ParameterType::Vector2Int>;
extern template class VARKLE_API ValueParameter<glm::ivec3, ParameterType::Vector3Int>;
extern template class VARKLE_API ValueParameter<glm::mat4, ParameterType::Transform3D>;

class VARKLE_API FloatParameter final : public ValueParameter<double, ParameterType::Float>
{
public:
    ~FloatParameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API IntParameter final : public ValueParameter<long long, ParameterType::Int>
{
public:
    ~IntParameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API BoolParameter final : public ValueParameter<bool, ParameterType::Bool>
{
public:
    ~BoolParameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API Vector2Parameter final : public ValueParameter<glm::dvec2, ParameterType::Vector2>
{
public:
    ~Vector2Parameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API Vector3Parameter final : public ValueParameter<glm::dvec3, ParameterType::Vector3>
{
public:
    ~Vector3Parameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API Vector4Parameter final : public ValueParameter<glm::dvec4, ParameterType::Vector4>
{
public:
    ~Vector4Parameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API Vector2IntParameter final : public ValueParameter<glm::ivec2, ParameterType::Vector2Int>
{
public:
    ~Vector2IntParameter() override;
    using ValueParameter::ValueParameter;
};

class VARKLE_API Vector3IntParameter final : public ValueParameter<glm::ivec3, ParameterType::Vector3Int>
{
public:
    ~Vector3IntParameter() override;
    using ValueParameter::ValueParameter;
};

/// Holds a 4 by 4 matrix, column-major, that maps column vectors. Starts as the identity when no default is given.
class VARKLE_API Transform3DParameter final : public ValueParameter<glm::mat4, ParameterType::Transform3D>
{
public:
    ~Transform3DParameter() override;
    Transform3DParameter() : ValueParameter(glm::mat4(1.0f)) {}
    using ValueParameter::ValueParameter;
};

class VARKLE_API ColorParameter final : public ValueParameter<Color, ParameterType::Color>
{
public:
    ~ColorParameter() override;
    using ValueParameter::ValueParameter;

    /// Says whether alpha means anything to the operator; editors then hide it. The value keeps its alpha either way.
    void SetAlphaEnabled(bool enabled) { alphaEnabled = enabled; }
    bool IsAlphaEnabled() const { return alphaEnabled; }

private:
    bool alphaEnabled = true;
};

/// Holds text.
class VARKLE_API StringParameter final : public Parameter
{
public:
    ~StringParameter() override;
    /// Says how an editor offers the text. The numbers are part of the interface to plug-ins.
    enum class EditorType
    {
        SingleLine = 0,
        MultiLine = 1,
        Swizzle = 2,  ///< four letters out of R, G, B, A, 0, 1
        FilePath = 3, ///< a file; relative paths in documents are relative to the document
        Code = 4,
        Folder = 5, ///< a folder; relative as FilePath
    };

    StringParameter() = default;
    StringParameter(ParameterScope scope, std::string_view displayName, std::string_view defaultValue);

    std::string Value() const { return value; }
    void SetValue(std::string_view newValue);
    std::string DefaultValue() const { return initial; }

    void SetEditorType(EditorType newType) { editorType = newType; }
    EditorType GetEditorType() const { return editorType; }

    ParameterType GetParameterType() const override { return ParameterType::String; }

private:
    std::string value;
    std::string initial;
    EditorType editorType = EditorType::SingleLine;
};

/// Holds one of a list of names. The value may be set before the names are, and may be a name that is not in the list;
/// it is then kept as it is and unresolved. A value that was never set is the first name.
class VARKLE_API EnumParameter final : public Parameter
{
public:
    ~EnumParameter() override;
    EnumParameter() = default;
    EnumParameter(ParameterScope scope, std::string_view displayName);

    /// Sets the names and what to show for them: `labels` is empty (the names are shown) or as long as `names`; labels
    /// of another number are left out, with a warning. Other names than before count as a change of the value.
    void SetPossibleValues(const std::vector<std::string>& newNames, const std::vector<std::string>& newLabels);
    const std::vector<std::string>& GetPossibleValues() const { return names; }
    /// Returns the texts to show, empty when the names are shown.
    const std::vector<std::string>& GetLabels() const { return labels; }

    /// Returns the selected name; the first name when none was ever set, "" when there are no names either.
    std::string Value() const;
    void SetValue(std::string_view newValue);
    /// True when a value was set.
    bool WasSet() const { return wasSet; }
    /// Forgets the value that was set: it is the first name again.
    void Unset();

    /// Returns the position of the value in the list, -1 when it is not one of the names.
    long long GetIndex() const;
    /// Returns the position of the value in the list, or `fallback` when it is not one of the names.
    long long GetIndexOr(long long fallback) const;
    /// True when the value is one of the names.
    bool IsResolved() const { return GetIndex() >= 0; }

    ParameterType GetParameterType() const override { return ParameterType::Enum; }

private:
    std::vector<std::string> names;
    std::vector<std::string> labels;
    std::string value;
    bool wasSet = false;
};

/// Is a button: fires once, and is reset by the host after the operator has executed.
class VARKLE_API TriggerParameter final : public Parameter
{
public:
    ~TriggerParameter() override;
    TriggerParameter() = default;
    TriggerParameter(ParameterScope scope, std::string_view displayName, bool startsTriggered);

    bool IsTriggered() const { return triggered; }
    /// Fires: the operator becomes outdated, and IsTriggered is true until it has executed.
    void Trigger();

    ParameterType GetParameterType() const override { return ParameterType::Trigger; }

private:
    friend class Operator;
    bool triggered = false;
};

/// Refers to another object of the graph. The reference turns null when that object is deleted, which counts as a
/// change.
class VARKLE_API PtrParameter final : public Parameter
{
public:
    PtrParameter() = default;
    PtrParameter(ParameterScope scope, std::string_view displayName, Object* object);
    ~PtrParameter() override;

    Object* Value() const { return value; }
    /// Points at the object, or at nothing. Returns false, and changes nothing, when the filter does not admit it.
    bool SetValue(Object* object);

    void SetFilter(const ObjectFilter& newFilter) { filter = newFilter; }
    const ObjectFilter& GetFilter() const { return filter; }

    ParameterType GetParameterType() const override { return ParameterType::Reference; }

private:
    friend class Object;

    void PointAt(Object* object);
    void TargetEnded();

    Object* value = nullptr;
    ObjectFilter filter;
};

} // namespace Varkle
