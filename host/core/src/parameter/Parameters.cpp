#include "Varkle/Core/Parameters.h"

#include "Varkle/Core/Log.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace Varkle
{

namespace
{

bool Same(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

template<class T>
requires std::is_integral_v<T>
bool Same(T a, T b)
{
    return a == b;
}

bool Same(const Color& a, const Color& b)
{
    return Same(a.r, b.r) && Same(a.g, b.g) && Same(a.b, b.b) && Same(a.a, b.a);
}

template<glm::length_t length, class T>
bool Same(const glm::vec<length, T>& a, const glm::vec<length, T>& b)
{
    for (glm::length_t i = 0; i < length; ++i)
    {
        if (!Same(a[i], b[i]))
            return false;
    }
    return true;
}

bool Same(const glm::mat4& a, const glm::mat4& b)
{
    return Same(a[0], b[0]) && Same(a[1], b[1]) && Same(a[2], b[2]) && Same(a[3], b[3]);
}

} // namespace

template<class T, ParameterType TypeTag>
void ValueParameter<T, TypeTag>::SetValue(const T& newValue)
{
    if (Same(value, newValue))
        return;
    value = newValue;
    ValueChanged();
}

template class ValueParameter<double, ParameterType::Float>;
template class ValueParameter<long long, ParameterType::Int>;
template class ValueParameter<bool, ParameterType::Bool>;
template class ValueParameter<Color, ParameterType::Color>;
template class ValueParameter<glm::dvec2, ParameterType::Vector2>;
template class ValueParameter<glm::dvec3, ParameterType::Vector3>;
template class ValueParameter<glm::dvec4, ParameterType::Vector4>;
template class ValueParameter<glm::ivec2, ParameterType::Vector2Int>;
template class ValueParameter<glm::ivec3, ParameterType::Vector3Int>;
template class ValueParameter<glm::mat4, ParameterType::Transform3D>;

StringParameter::StringParameter(ParameterScope scope, std::string_view displayName, std::string_view defaultValue)
    : Parameter(scope, displayName), value(defaultValue), initial(defaultValue)
{
}

void StringParameter::SetValue(std::string_view newValue)
{
    if (value == newValue)
        return;
    value = newValue;
    ValueChanged();
}

EnumParameter::EnumParameter(ParameterScope scope, std::string_view displayName) : Parameter(scope, displayName) {}

void EnumParameter::SetPossibleValues(const std::vector<std::string>& newNames,
                                      const std::vector<std::string>& newLabels)
{
    const bool labelsFit = newLabels.empty() || newLabels.size() == newNames.size();
    if (!labelsFit)
        LogWarning("The parameter \"" + GetName() + "\" has " + std::to_string(newNames.size()) + " values but " +
                   std::to_string(newLabels.size()) + " labels; the labels are left out.");
    labels = labelsFit ? newLabels : std::vector<std::string>();
    if (names == newNames)
        return;
    names = newNames;
    ValueChanged();
}

std::string EnumParameter::Value() const
{
    return wasSet || names.empty() ? value : names.front();
}

void EnumParameter::SetValue(std::string_view newValue)
{
    const bool same = Value() == newValue;
    value = newValue;
    wasSet = true;
    if (!same)
        ValueChanged();
}

void EnumParameter::Unset()
{
    const std::string before = Value();
    value.clear();
    wasSet = false;
    if (Value() != before)
        ValueChanged();
}

long long EnumParameter::GetIndex() const
{
    return GetIndexOr(-1);
}

long long EnumParameter::GetIndexOr(long long fallback) const
{
    if (!wasSet)
        return names.empty() ? fallback : 0;
    const auto found = std::ranges::find(names, value);
    return found == names.end() ? fallback : found - names.begin();
}

TriggerParameter::TriggerParameter(ParameterScope scope, std::string_view displayName, bool startsTriggered)
    : Parameter(scope, displayName), triggered(startsTriggered)
{
}

void TriggerParameter::Trigger()
{
    triggered = true;
    ValueChanged();
}

PtrParameter::PtrParameter(ParameterScope scope, std::string_view displayName, Object* object)
    : Parameter(scope, displayName)
{
    PointAt(object);
}

PtrParameter::~PtrParameter()
{
    PointAt(nullptr);
}

bool PtrParameter::SetValue(Object* object)
{
    if (object && !filter.Admits(*this, *object))
        return false;
    if (object == value)
        return true;
    PointAt(object);
    ValueChanged();
    return true;
}

void PtrParameter::PointAt(Object* object)
{
    if (value)
        std::erase(value->GetLife()->references, this);
    value = object;
    if (value)
        value->GetLife()->references.push_back(this);
}

void PtrParameter::TargetEnded()
{
    value = nullptr;
    ValueChanged();
}

// Here rather than in the header, so that the classes' type information lies in this library only.
FloatParameter::~FloatParameter() = default;
IntParameter::~IntParameter() = default;
BoolParameter::~BoolParameter() = default;
Vector2Parameter::~Vector2Parameter() = default;
Vector3Parameter::~Vector3Parameter() = default;
Vector4Parameter::~Vector4Parameter() = default;
Vector2IntParameter::~Vector2IntParameter() = default;
Vector3IntParameter::~Vector3IntParameter() = default;
Transform3DParameter::~Transform3DParameter() = default;
ColorParameter::~ColorParameter() = default;
StringParameter::~StringParameter() = default;
EnumParameter::~EnumParameter() = default;
TriggerParameter::~TriggerParameter() = default;

} // namespace Varkle
