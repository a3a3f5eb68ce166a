#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/ShaderReflection.h"
#include "shader/WgslModule.h"

#include <cstdint>
#include <optional>

namespace Varkle::Wgsl
{

/// A type that can lie in a buffer, laid out by WGSL's rules ("Memory Layout"), which are the same for uniform and
/// storage buffers; what uniform buffers demand in addition is checked by the GPU's compiler.
struct Type
{
    UniformMember layout; ///< without name and offset
    std::uint64_t size = 0;
    std::uint64_t alignment = 1;
};

/// Says what the types and constants of one module mean. Errors are sentences without the name of what asked.
class Resolver
{
public:
    explicit Resolver(const Module& resolved) : module(resolved) {}

    /// Lays out the type at a position. A runtime-sized array counts one element.
    Result<Type> Resolve(std::size_t start);
    /// Fills in what the type of a texture or sampler variable says.
    Status ResolveHandle(std::size_t start, ShaderBinding& binding);
    /// Evaluates the whole-number expression at a position: literals, constants, operators, parentheses, u32(), i32().
    Result<std::int64_t> Evaluate(std::size_t start);
    /// Evaluates the argument of an attribute, which must lie from `lowest` to `highest`.
    Result<std::int64_t> EvaluateArgument(const Attribute& attribute, std::int64_t lowest, std::int64_t highest);

private:
    class Visit;

    Result<Type> ResolveVector(std::string_view name, const std::vector<std::size_t>& arguments);
    Result<Type> ResolveArray(const std::vector<std::size_t>& arguments);
    Result<Type> ResolveStruct(std::size_t start);
    Status ApplyLayoutAttributes(const Variable& member, Type& type);
    Status ResolveSampleKind(const std::vector<std::size_t>& arguments, ShaderBinding& binding);
    std::optional<std::int64_t> Expression(Cursor& cursor, int lowestPrecedence, bool inParentheses);
    std::optional<std::int64_t> Operand(Cursor& cursor);

    const Module& module;
    int depth = 0;
    int visits = 0;
};

} // namespace Varkle::Wgsl
