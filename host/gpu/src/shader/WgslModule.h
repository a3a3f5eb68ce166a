#pragma once

#include "shader/WgslTokens.h"

#include <string_view>
#include <unordered_map>
#include <vector>

namespace Varkle::Wgsl
{

/// What a module declares and where, not yet what it means: WGSL allows the use of a name before its declaration.
/// Places are positions in the module's tokens; 0 stands for none.
struct Attribute
{
    std::string_view name;
    std::size_t argument = 0; ///< the start of its first argument
};

/// A member of a struct, a parameter of a function, or a variable of the module.
struct Variable
{
    std::vector<Attribute> attributes;
    std::string_view name;
    std::size_t type = 0;
    std::size_t qualifiers = 0; ///< the "<" of `var<storage, read>`

    /// Finds an attribute by its name, or null.
    const Attribute* Find(std::string_view attribute) const;
};

struct Function
{
    std::vector<Attribute> attributes;
    std::string_view name;
    std::size_t parameters = 0; ///< behind the "("
    std::size_t result = 0;     ///< behind the "->"
};

enum class NamedKind
{
    Alias,
    Struct,
    Constant
};

/// Something that types and expressions can name.
struct Named
{
    NamedKind kind = NamedKind::Alias;
    std::size_t start = 0; ///< of an alias's type, of a struct's members, of a constant's value
};

struct Module
{
    Tokens tokens; ///< of the source, which must outlive the module
    std::unordered_map<std::string_view, Named> names;
    std::vector<Variable> variables;
    std::vector<Function> functions;

    /// Finds an alias, a struct or a constant, or null.
    const Named* Find(std::string_view name) const;
    /// Goes from the name of an alias to the type that it stands for; stays at any other token.
    std::size_t FollowAliases(std::size_t type) const;
    /// Gives the text of the token at a position.
    std::string_view Text(std::size_t position) const { return tokens[position].text; }
};

/// Finds the declarations of a text. Passes over what it does not understand; function bodies are skipped.
Module ReadModule(std::string_view source);

/// Reads a list of "attributes name: type", the members of a struct or the parameters of a function, up to `close`.
std::vector<Variable> ReadMembers(const Module& module, std::size_t start, std::string_view close);

/// Reads the attributes here, in any order and number, and goes behind them.
std::vector<Attribute> ReadAttributes(Cursor& cursor);

/// Finds an attribute by its name, or null.
const Attribute* FindAttribute(const std::vector<Attribute>& attributes, std::string_view name);

} // namespace Varkle::Wgsl
