#include "shader/WgslTypes.h"

#include "Varkle/Core/Text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace Varkle::Wgsl
{

namespace
{

// Bounds against texts that are made to be endless; real shaders stay far below them.
constexpr int maxDepth = 64;       // types within types, constants within constants, parentheses
constexpr int maxVisits = 100'000; // types and constants looked at
constexpr std::uint64_t maxBytes = std::numeric_limits<std::uint32_t>::max();

// ---- Sizes ----

std::uint64_t RoundUp(std::uint64_t alignment, std::uint64_t value)
{
    return (value + alignment - 1) / alignment * alignment;
}

Type ScalarOf(ScalarType scalar)
{
    Type type;
    type.size = scalar == ScalarType::Half ? 2 : 4;
    type.alignment = type.size;
    type.layout.scalar = scalar;
    type.layout.size = std::uint32_t(type.size);
    return type;
}

Type VectorOf(ScalarType scalar, std::uint32_t rows)
{
    Type type = ScalarOf(scalar);
    type.alignment *= rows == 2 ? 2 : 4; // three components align like four
    type.size *= rows;
    type.layout.rows = rows;
    type.layout.size = std::uint32_t(type.size);
    return type;
}

Type MatrixOf(ScalarType scalar, std::uint32_t columns, std::uint32_t rows)
{
    Type type = VectorOf(scalar, rows);
    type.layout.columns = columns;
    type.layout.columnStride = std::uint32_t(type.alignment);
    type.size = type.alignment * columns;
    type.layout.size = std::uint32_t(type.size);
    return type;
}

Result<Type> ArrayOf(Type element, std::uint64_t length)
{
    const std::uint64_t stride = RoundUp(element.alignment, element.size);
    if (stride > maxBytes / length)
        return Error{"An array of " + std::to_string(length) + " elements of " + std::to_string(stride) +
                     " bytes is larger than any buffer."};
    Type type;
    type.alignment = element.alignment;
    type.size = stride * length;
    if (element.layout.arrayLength == 0)
    {
        type.layout = std::move(element.layout);
    }
    else
    {
        type.layout.scalar = element.layout.scalar;
        type.layout.members.push_back(std::move(element.layout));
    }
    type.layout.size = std::uint32_t(type.size);
    type.layout.arrayLength = std::uint32_t(length);
    type.layout.arrayStride = std::uint32_t(stride);
    return type;
}

// ---- Names of types ----

struct ScalarName
{
    std::string_view name;
    std::string_view suffix; ///< as in `vec3f`
    ScalarType scalar;
};

constexpr ScalarName scalarNames[] = {{"f32", "f", ScalarType::Float},
                                      {"i32", "i", ScalarType::Int},
                                      {"u32", "u", ScalarType::UInt},
                                      {"f16", "h", ScalarType::Half},
                                      {"bool", "", ScalarType::Bool}};

std::optional<ScalarType> ScalarByName(std::string_view name)
{
    for (const ScalarName& known : scalarNames)
        if (known.name == name)
            return known.scalar;
    return std::nullopt;
}

std::optional<ScalarType> ScalarBySuffix(std::string_view suffix)
{
    for (const ScalarName& known : scalarNames)
        if (!suffix.empty() && known.suffix == suffix)
            return known.scalar;
    return std::nullopt;
}

std::optional<TextureDimension> TextureDimensionByName(std::string_view name)
{
    if (name == "1d")
        return TextureDimension::D1;
    if (name == "2d")
        return TextureDimension::D2;
    if (name == "2d_array")
        return TextureDimension::D2Array;
    if (name == "3d")
        return TextureDimension::D3;
    if (name == "cube")
        return TextureDimension::Cube;
    if (name == "cube_array")
        return TextureDimension::CubeArray;
    return std::nullopt;
}

bool ConsumePrefix(std::string_view& text, std::string_view prefix)
{
    if (!text.starts_with(prefix))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

/// Takes a number from 2 to 4 off the front of a text; 0 when there is none.
std::uint32_t ConsumeCount(std::string_view& text)
{
    if (text.empty() || text[0] < '2' || text[0] > '4')
        return 0;
    const auto count = std::uint32_t(text[0] - '0');
    text.remove_prefix(1);
    return count;
}

// ---- Whole numbers ----

std::optional<std::int64_t> ParseInteger(std::string_view text)
{
    const bool hex = ConsumePrefix(text, "0x") || ConsumePrefix(text, "0X");
    if (text.ends_with('u') || text.ends_with('i'))
        text.remove_suffix(1);
    std::int64_t value = 0;
    const char* const last = text.data() + text.size();
    const auto [end, problem] = std::from_chars(text.data(), last, value, hex ? 16 : 10);
    if (problem != std::errc() || end != last)
        return std::nullopt;
    return value;
}

int Precedence(std::string_view op)
{
    if (op == "*" || op == "/" || op == "%")
        return 4;
    if (op == "+" || op == "-")
        return 3;
    if (op == "<<" || op == ">>")
        return 2;
    if (op == "&" || op == "|" || op == "^")
        return 1; // WGSL forbids mixing them without parentheses
    return 0;
}

/// Applies a binary operator. Gives nothing when the result does not exist or has more than 32 bits.
std::optional<std::int64_t> Apply(std::string_view op, std::int64_t a, std::int64_t b)
{
    constexpr auto limit = std::int64_t(maxBytes);
    const auto fits = [](std::int64_t value) { return -limit <= value && value <= limit; };
    const auto checked = [&](std::int64_t value) { return fits(value) ? std::optional(value) : std::nullopt; };
    const bool shift = op == "<<" || op == ">>";
    if (!fits(a) || !fits(b) || (shift && (b < 0 || b > 31)) || ((op == "/" || op == "%") && b == 0))
        return std::nullopt;

    switch (op[0])
    {
    case '+':
        return checked(a + b);
    case '-':
        return checked(a - b);
    case '*':
        return b != 0 && std::abs(a) > limit / std::abs(b) ? std::nullopt : checked(a * b);
    case '/':
        return a / b;
    case '%':
        return a % b;
    case '&':
        return a & b;
    case '|':
        return a | b;
    case '^':
        return a ^ b;
    case '<':
        return checked(a * (std::int64_t(1) << b)); // below 2^63, since |a| < 2^32 and b < 32
    default:
        return a >> b;
    }
}

} // namespace

/// Counts one look at a type or constant, for as long as it lasts, against the bounds.
class Resolver::Visit
{
public:
    explicit Visit(Resolver& owner) : resolver(owner)
    {
        ++resolver.depth;
        ++resolver.visits;
    }
    ~Visit() { --resolver.depth; }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    bool IsAllowed() const { return resolver.depth <= maxDepth && resolver.visits <= maxVisits; }

private:
    Resolver& resolver;
};

Result<Type> Resolver::Resolve(std::size_t start)
{
    const Visit visit(*this);
    if (!visit.IsAllowed())
        return Error{"Its type has too many parts or contains itself."};

    Cursor cursor(module.tokens, start);
    const std::string_view name = cursor.AcceptIdentifier();
    const std::vector<std::size_t> arguments = cursor.ReadTemplateArguments();
    if (const Named* named = module.Find(name))
    {
        if (named->kind == NamedKind::Constant)
            return Error{Quoted(name) + " is a constant, not a type."};
        return named->kind == NamedKind::Alias ? Resolve(named->start) : ResolveStruct(named->start);
    }
    if (name == "array" && !arguments.empty())
        return ResolveArray(arguments);
    if (name == "atomic" && !arguments.empty())
        return Resolve(arguments[0]);
    if (name.starts_with("vec") || name.starts_with("mat"))
        return ResolveVector(name, arguments);
    if (const auto scalar = ScalarByName(name))
        return ScalarOf(*scalar);
    return Error{"There is no type " + Quoted(name) + " that a buffer can hold."};
}

/// Resolves `vec3<f32>`, `vec3f`, `mat4x3<f16>`, `mat4x3h`.
Result<Type> Resolver::ResolveVector(std::string_view name, const std::vector<std::size_t>& arguments)
{
    std::string_view rest = name;
    const bool matrix = ConsumePrefix(rest, "mat");
    ConsumePrefix(rest, "vec");
    const std::uint32_t columns = matrix ? ConsumeCount(rest) : 1;
    const bool separated = !matrix || ConsumePrefix(rest, "x");
    const std::uint32_t rows = ConsumeCount(rest);
    const auto scalar = rest.empty() && !arguments.empty()
                            ? ScalarByName(module.Text(module.FollowAliases(arguments[0])))
                            : ScalarBySuffix(rest);
    if (columns == 0 || !separated || rows == 0 || !scalar)
        return Error{Quoted(name) + " is not a vector or matrix of known components."};
    return matrix ? MatrixOf(*scalar, columns, rows) : VectorOf(*scalar, rows);
}

Result<Type> Resolver::ResolveArray(const std::vector<std::size_t>& arguments)
{
    Result<Type> element = Resolve(arguments[0]);
    if (!element)
        return element;
    if (arguments.size() < 2)
        return ArrayOf(std::move(*element), 1); // as long as its buffer, which must hold one element at least
    const Result<std::int64_t> length = Evaluate(arguments[1]);
    if (!length)
        return length.GetError();
    if (*length < 1)
        return Error{"The array length " + std::to_string(*length) + " is less than 1."};
    return ArrayOf(std::move(*element), std::uint64_t(*length));
}

Result<Type> Resolver::ResolveStruct(std::size_t start)
{
    Type type;
    std::uint64_t end = 0;
    for (const Variable& member : ReadMembers(module, start, "}"))
    {
        Result<Type> part = Resolve(member.type);
        if (!part)
            return part;
        const Status placed = ApplyLayoutAttributes(member, *part);
        if (!placed)
            return placed.GetError();
        const std::uint64_t offset = RoundUp(part->alignment, end);
        end = offset + part->size;
        type.alignment = std::max(type.alignment, part->alignment);
        type.size = RoundUp(type.alignment, end);
        if (type.size > maxBytes)
            return Error{"A struct of " + std::to_string(type.size) + " bytes is larger than any buffer."};
        part->layout.name = member.name;
        part->layout.offset = std::uint32_t(offset);
        type.layout.members.push_back(std::move(part->layout));
    }
    type.layout.size = std::uint32_t(type.size);
    return type;
}

/// Applies `@align(n)` and `@size(n)`, which change the room that a member takes, not the member itself.
Status Resolver::ApplyLayoutAttributes(const Variable& member, Type& type)
{
    for (const Attribute& attribute : member.attributes)
    {
        if (attribute.name != "align" && attribute.name != "size")
            continue;
        const Result<std::int64_t> value = EvaluateArgument(attribute, 1, std::int64_t(maxBytes));
        if (!value)
            return value.GetError();
        std::uint64_t& changed = attribute.name == "align" ? type.alignment : type.size;
        changed = std::max(changed, std::uint64_t(*value));
    }
    return Ok();
}

Status Resolver::ResolveHandle(std::size_t start, ShaderBinding& binding)
{
    Cursor cursor(module.tokens, module.FollowAliases(start));
    const std::string_view type = cursor.AcceptIdentifier();
    const std::vector<std::size_t> arguments = cursor.ReadTemplateArguments();
    if (type == "sampler" || type == "sampler_comparison")
    {
        binding.kind = BindingKind::Sampler;
        binding.comparisonSampler = type == "sampler_comparison";
        return Ok();
    }

    std::string_view rest = type;
    const bool texture = ConsumePrefix(rest, "texture_");
    const bool storage = ConsumePrefix(rest, "storage_");
    const bool depthTexture = ConsumePrefix(rest, "depth_");
    binding.kind = storage ? BindingKind::StorageTexture : BindingKind::Texture;
    binding.multisampled = ConsumePrefix(rest, "multisampled_");
    const auto dimension = TextureDimensionByName(rest);
    if (!texture || !dimension)
        return Error{"There is no type " + Quoted(type) + " that a group can bind."};
    binding.textureDimension = *dimension;
    if (storage)
    {
        if (arguments.size() < 2)
            return Error{"A storage texture needs a format and an access mode."};
        binding.storageFormat = module.Text(arguments[0]);
        binding.storageAccess = module.Text(arguments[1]);
        return Ok();
    }
    if (depthTexture)
    {
        binding.sampleKind = TextureSampleKind::Depth;
        return Ok();
    }
    return ResolveSampleKind(arguments, binding);
}

Status Resolver::ResolveSampleKind(const std::vector<std::size_t>& arguments, ShaderBinding& binding)
{
    const std::string_view component =
        arguments.empty() ? std::string_view() : module.Text(module.FollowAliases(arguments[0]));
    if (component == "f32")
        // WebGPU filters no multisampled texture and refuses a layout that says so.
        binding.sampleKind = binding.multisampled ? TextureSampleKind::UnfilterableFloat : TextureSampleKind::Float;
    else if (component == "i32")
        binding.sampleKind = TextureSampleKind::Int;
    else if (component == "u32")
        binding.sampleKind = TextureSampleKind::UInt;
    else
        return Error{"A texture cannot have components of the type " + Quoted(component) + "."};
    return Ok();
}

Result<std::int64_t> Resolver::EvaluateArgument(const Attribute& attribute, std::int64_t lowest, std::int64_t highest)
{
    const std::string name = "@" + std::string(attribute.name);
    if (attribute.argument == 0)
        return Error{name + " needs a number in parentheses."};
    Result<std::int64_t> value = Evaluate(attribute.argument);
    if (value && (*value < lowest || *value > highest))
        return Error{name + "(" + std::to_string(*value) + ") is not from " + std::to_string(lowest) + " to " +
                     std::to_string(highest) + "."};
    return value;
}

Result<std::int64_t> Resolver::Evaluate(std::size_t start)
{
    Cursor cursor(module.tokens, start);
    const std::optional<std::int64_t> value = Expression(cursor, 1, false);
    const bool complete = cursor.Is(",") || cursor.Is(">") || cursor.Is(")") || cursor.Is(";");
    if (!value || !complete)
        return Error{"The expression that starts with " + Quoted(module.Text(start)) + " has no known whole value."};
    return *value;
}

std::optional<std::int64_t> Resolver::Expression(Cursor& cursor, int lowestPrecedence, bool inParentheses)
{
    std::optional<std::int64_t> left = Operand(cursor);
    while (left)
    {
        Cursor next = cursor;
        next.Advance();
        std::string_view op = cursor->text;
        // Only here: outside of parentheses ">" closes a template list.
        if (inParentheses && op == ">" && next.Accept(">"))
            op = ">>";
        const int precedence = Precedence(op);
        if (precedence < lowestPrecedence)
            break;
        cursor = next;
        const std::optional<std::int64_t> right = Expression(cursor, precedence + 1, inParentheses);
        left = right ? Apply(op, *left, *right) : std::nullopt;
    }
    return left;
}

std::optional<std::int64_t> Resolver::Operand(Cursor& cursor)
{
    const Visit visit(*this);
    if (!visit.IsAllowed())
        return std::nullopt;

    if (cursor.Accept("-"))
    {
        const std::optional<std::int64_t> value = Operand(cursor);
        return value ? Apply("-", 0, *value) : std::nullopt;
    }
    if (cursor->kind == TokenKind::Number)
    {
        const std::string_view text = cursor->text;
        cursor.Advance();
        return ParseInteger(text);
    }
    // Parentheses, also those of the conversions u32() and i32(), which change no value that can be used here.
    const std::string_view name = cursor.AcceptIdentifier();
    if ((name.empty() || name == "u32" || name == "i32") && cursor.Accept("("))
    {
        const std::optional<std::int64_t> value = Expression(cursor, 1, true);
        return cursor.Accept(")") ? value : std::nullopt;
    }
    const Named* named = module.Find(name);
    if (!named || named->kind != NamedKind::Constant)
        return std::nullopt;
    const Result<std::int64_t> value = Evaluate(named->start);
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace Varkle::Wgsl
