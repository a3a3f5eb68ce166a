#include "shader/WgslReflection.h"

#include "Varkle/Core/Text.h"
#include "shader/WgslTypes.h"

#include <algorithm>
#include <utility>

namespace Varkle
{

namespace
{

using namespace Wgsl;

// The highest number of a group, binding or location that is taken seriously; WebGPU's own limits are lower.
constexpr int maxNumber = 999;

ShaderStage StageOf(const Function& function)
{
    if (FindAttribute(function.attributes, "vertex"))
        return ShaderStage::Vertex;
    if (FindAttribute(function.attributes, "fragment"))
        return ShaderStage::Fragment;
    if (FindAttribute(function.attributes, "compute"))
        return ShaderStage::Compute;
    return ShaderStage::None;
}

Result<int> ReadNumber(Resolver& resolver, const Attribute& attribute)
{
    const Result<std::int64_t> value = resolver.EvaluateArgument(attribute, 0, maxNumber);
    if (!value)
        return value.GetError();
    return int(*value);
}

// ---- Bindings ----

/// Fills in what a variable's type says. `qualifiers` are what stands in `var<...>`: the address space and the access.
Status ReadBindingType(const Module& module, Resolver& resolver, const Variable& variable, ShaderBinding& binding)
{
    if (variable.qualifiers == 0)
        return resolver.ResolveHandle(variable.type, binding);

    Cursor cursor(module.tokens, variable.qualifiers);
    const std::vector<std::size_t> qualifiers = cursor.ReadTemplateArguments();
    const std::string_view space = qualifiers.empty() ? std::string_view() : module.Text(qualifiers[0]);
    const std::string_view access = qualifiers.size() < 2 ? "read" : module.Text(qualifiers[1]);
    if (space != "uniform" && space != "storage")
        return Error{"The address space " + Quoted(space) + " has no bindings."};

    Result<Type> type = resolver.Resolve(variable.type);
    if (!type)
        return type.GetError();
    binding.minSize = type->layout.size;
    if (space == "storage")
    {
        binding.kind = access == "read" ? BindingKind::ReadOnlyStorageBuffer : BindingKind::StorageBuffer;
        return Ok();
    }
    binding.kind = BindingKind::UniformBuffer;
    binding.layout = std::move(type->layout);
    binding.layout.name = binding.name;
    return Ok();
}

Result<ShaderBinding> ReadBinding(const Module& module, Resolver& resolver, const Variable& variable)
{
    const Result<int> group = ReadNumber(resolver, *variable.Find("group"));
    if (!group)
        return group.GetError();
    const Result<int> number = ReadNumber(resolver, *variable.Find("binding"));
    if (!number)
        return number.GetError();

    ShaderBinding binding;
    binding.group = *group;
    binding.binding = *number;
    binding.name = variable.name;
    const Status status = ReadBindingType(module, resolver, variable, binding);
    if (!status)
        return status.GetError();
    return binding;
}

Status ReadBindings(const Module& module, Resolver& resolver, ShaderReflection& reflection)
{
    ShaderStage stages = ShaderStage::None;
    for (const EntryPoint& entry : reflection.entryPoints)
        stages = stages | entry.stage;

    for (const Variable& variable : module.variables)
    {
        if (variable.type == 0 || !variable.Find("group") || !variable.Find("binding"))
            continue;
        Result<ShaderBinding> binding = ReadBinding(module, resolver, variable);
        if (!binding)
            return Error{"Variable " + Quoted(variable.name) + ": " + binding.GetError().message};
        if (const ShaderBinding* other = reflection.FindBinding(binding->group, binding->binding))
            return Error{"The variables " + Quoted(other->name) + " and " + Quoted(variable.name) + " both use group " +
                         std::to_string(binding->group) + ", binding " + std::to_string(binding->binding) + "."};
        binding->stages = binding->IsWritable() ? WithoutStage(stages, ShaderStage::Vertex) : stages;
        reflection.bindings.push_back(std::move(*binding));
    }
    std::sort(reflection.bindings.begin(), reflection.bindings.end(),
              [](const ShaderBinding& a, const ShaderBinding& b)
              { return std::pair(a.group, a.binding) < std::pair(b.group, b.binding); });
    return Ok();
}

// ---- What goes in and out of entry points ----

/// Gives the variables that a parameter or result brings: itself, or the members of its struct.
std::vector<Variable> Flatten(const Module& module, const Variable& variable)
{
    const Named* named = module.Find(module.Text(module.FollowAliases(variable.type)));
    if (named && named->kind == NamedKind::Struct)
        return ReadMembers(module, named->start, "}");
    return {variable};
}

Status ReadVertexInput(Resolver& resolver, const Variable& variable, ShaderReflection& reflection)
{
    const Attribute* attribute = variable.Find("location");
    if (!attribute)
        return Ok(); // a built-in value
    const Result<int> location = ReadNumber(resolver, *attribute);
    if (!location)
        return location.GetError();
    const Result<Type> type = resolver.Resolve(variable.type);
    if (!type)
        return type.GetError();
    reflection.vertexInputs.push_back({*location, std::string(variable.name), type->layout.scalar, type->layout.rows});
    return Ok();
}

Status ReadVertexInputs(const Module& module, Resolver& resolver, const Function& vertex, ShaderReflection& reflection)
{
    for (const Variable& parameter : ReadMembers(module, vertex.parameters, ")"))
    {
        for (const Variable& variable : Flatten(module, parameter))
        {
            const Status status = ReadVertexInput(resolver, variable, reflection);
            if (!status)
                return Error{"Vertex input " + Quoted(variable.name) + ": " + status.GetError().message};
        }
    }
    std::sort(reflection.vertexInputs.begin(), reflection.vertexInputs.end(),
              [](const VertexInput& a, const VertexInput& b) { return a.location < b.location; });
    return Ok();
}

Status ReadFragmentOutputs(const Module& module, Resolver& resolver, const Function& fragment,
                           ShaderReflection& reflection)
{
    if (fragment.result == 0)
        return Ok();
    Cursor cursor(module.tokens, fragment.result);
    Variable result;
    result.attributes = ReadAttributes(cursor);
    result.type = cursor.Position();
    for (const Variable& variable : Flatten(module, result))
    {
        const Attribute* attribute = variable.Find("location");
        if (!attribute)
            continue; // a built-in value, such as the depth
        const Result<int> location = ReadNumber(resolver, *attribute);
        if (!location)
            return Error{"Result of " + Quoted(fragment.name) + ": " + location.GetError().message};
        reflection.fragmentOutputs = std::max(reflection.fragmentOutputs, std::uint32_t(*location) + 1);
    }
    return Ok();
}

/// Adds a function if it is an entry point. What goes in and out is told of the first one of a stage only.
Status ReadEntryPoint(const Module& module, Resolver& resolver, const Function& function, ShaderReflection& reflection)
{
    const ShaderStage stage = StageOf(function);
    if (stage == ShaderStage::None)
        return Ok();
    const bool first = !reflection.FindEntryPoint(stage);
    reflection.entryPoints.push_back({std::string(function.name), stage});
    if (first && stage == ShaderStage::Vertex)
        return ReadVertexInputs(module, resolver, function, reflection);
    if (first && stage == ShaderStage::Fragment)
        return ReadFragmentOutputs(module, resolver, function, reflection);
    return Ok();
}

} // namespace

Result<ShaderReflection> ReflectWgsl(std::string_view source)
{
    const Module module = ReadModule(source);
    Resolver resolver(module);
    ShaderReflection reflection;
    for (const Function& function : module.functions)
    {
        const Status status = ReadEntryPoint(module, resolver, function, reflection);
        if (!status)
            return status.GetError();
    }
    const Status status = ReadBindings(module, resolver, reflection);
    if (!status)
        return status.GetError();
    return reflection;
}

} // namespace Varkle
