#include "glb/AttributeWriter.h"

#include "Varkle/Core/Text.h"

#include <glm/common.hpp>
#include <glm/vec3.hpp>
#include <limits>

namespace Varkle::Glb
{

namespace
{

constexpr int Float = 5126; // the format's number

unsigned CountFloats(wgpu::VertexFormat format)
{
    return GetVertexFormatName(format).starts_with("Float32") ? GetVertexFormatComponents(format) : 0;
}

Json MakeAccessor(unsigned components, unsigned vertexCount)
{
    constexpr const char* types[] = {"SCALAR", "VEC2", "VEC3", "VEC4"};
    return {{"componentType", Float}, {"count", vertexCount}, {"type", types[components - 1]}};
}

void SetBounds(Json& accessor, std::span<const float> values)
{
    glm::vec3 low(std::numeric_limits<float>::max());
    glm::vec3 high(std::numeric_limits<float>::lowest());
    for (std::size_t i = 0; i < values.size(); i += 3)
    {
        const glm::vec3 position(values[i], values[i + 1], values[i + 2]);
        low = glm::min(low, position);
        high = glm::max(high, position);
    }
    accessor["min"] = ToJson({&low[0], 3});
    accessor["max"] = ToJson({&high[0], 3});
}

} // namespace

std::optional<std::size_t> AttributeWriter::Add(const Attribute& attribute, Rule rule, unsigned vertexCount)
{
    if (!attribute.GetBuffer())
        return Make(attribute, rule, vertexCount);
    const auto [entry, isNew] = places.try_emplace({attribute.GetBuffer().GetBufferHandle().Get(), vertexCount});
    if (isNew)
        entry->second = Make(attribute, rule, vertexCount);
    return entry->second;
}

std::size_t AttributeWriter::AddZeros(unsigned components, unsigned vertexCount)
{
    return file.Add("accessors", MakeAccessor(components, vertexCount)); // without a view all is 0
}

std::optional<std::size_t> AttributeWriter::Make(const Attribute& attribute, Rule rule, unsigned vertexCount)
{
    const bool isPosition = attribute.GetName() == Attributes::Position.name;
    const std::string shown = "the attribute " + Quoted(attribute.GetName());
    Values values = Read(attribute, rule, vertexCount);
    if (!values.problem.empty())
    {
        file.Warn(shown + (isPosition ? ", and with it a mesh," : "") + " is left out: " + values.problem + ".");
        return std::nullopt;
    }
    if (attribute.GetVertexCount() > vertexCount)
        file.Warn(shown + " ends with the positions: it has " + std::to_string(attribute.GetVertexCount()) +
                  " values for " + std::to_string(vertexCount) + " of them.");
    const auto other = rule == Rule::UnitVector ? FindOtherThanUnit(values.floats, values.components) : std::nullopt;
    if (other)
    {
        file.Warn(shown + " becomes unit vectors: at vertex " + std::to_string(*other) + " it is none.");
        values.floats = file.Keep(Normalize(values.floats, values.components));
    }

    Json accessor = MakeAccessor(values.components, vertexCount);
    accessor["bufferView"] = file.AddView(std::as_bytes(values.floats), ViewTarget::Attribute);
    if (isPosition)
        SetBounds(accessor, values.floats); // the format asks for them
    return file.Add("accessors", std::move(accessor));
}

AttributeWriter::Values AttributeWriter::Read(const Attribute& attribute, Rule rule, unsigned vertexCount) const
{
    const unsigned components = CountFloats(attribute.GetFormat());
    if (components == 0)
        return {{}, 0, "its format is " + GetVertexFormatName(attribute.GetFormat()) + ", not 32-bit floats"};
    if (attribute.GetVertexCount() < vertexCount)
        return {{},
                0,
                "it has " + std::to_string(attribute.GetVertexCount()) + " values for " + std::to_string(vertexCount) +
                    " positions"};
    const auto floats = As<float>(download.GetBytes(attribute.GetBuffer()));
    if (floats.empty())
        return {{}, 0, "its buffer could not be made"};
    const auto used = floats.first(std::size_t(components) * vertexCount);
    return {used, components, FindProblem(used, components, rule)};
}

} // namespace Varkle::Glb
