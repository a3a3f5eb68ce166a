#include "shader/WgslModule.h"

#include <algorithm>
#include <utility>

namespace Varkle::Wgsl
{

namespace
{

/// Keeps the first declaration of a name; a second one is a mistake that the GPU's compiler reports.
void Declare(Module& module, std::string_view name, NamedKind kind, std::size_t start)
{
    if (!name.empty())
        module.names.emplace(name, Named{kind, start});
}

void ReadAlias(Module& module, Cursor& cursor)
{
    const std::string_view name = cursor.AcceptIdentifier();
    if (cursor.Accept("="))
        Declare(module, name, NamedKind::Alias, cursor.Position());
    cursor.SkipBehind(";");
}

void ReadConstant(Module& module, Cursor& cursor)
{
    const std::string_view name = cursor.AcceptIdentifier();
    if (cursor.Accept(":"))
        cursor.SkipType();
    if (cursor.Accept("="))
        Declare(module, name, NamedKind::Constant, cursor.Position());
    cursor.SkipBehind(";");
}

void ReadStruct(Module& module, Cursor& cursor)
{
    const std::string_view name = cursor.AcceptIdentifier();
    if (!cursor.Is("{"))
        return;
    Declare(module, name, NamedKind::Struct, cursor.Position() + 1);
    cursor.SkipBrackets("{", "}");
}

void ReadVariable(Module& module, Cursor& cursor, std::vector<Attribute> attributes)
{
    Variable variable;
    variable.attributes = std::move(attributes);
    if (cursor.Is("<"))
        variable.qualifiers = cursor.Position();
    cursor.ReadTemplateArguments();
    variable.name = cursor.AcceptIdentifier();
    if (cursor.Accept(":"))
        variable.type = cursor.Position();
    cursor.SkipBehind(";");
    module.variables.push_back(std::move(variable));
}

void ReadFunction(Module& module, Cursor& cursor, std::vector<Attribute> attributes)
{
    Function function;
    function.attributes = std::move(attributes);
    function.name = cursor.AcceptIdentifier();
    if (!cursor.Is("("))
        return;
    function.parameters = cursor.Position() + 1;
    cursor.SkipBrackets("(", ")");
    if (cursor.Accept("->"))
        function.result = cursor.Position();
    while (!cursor.AtEnd() && !cursor.Is("{") && !cursor.Is(";"))
        cursor.Advance();
    if (cursor.Is("{"))
        cursor.SkipBrackets("{", "}");
    module.functions.push_back(std::move(function));
}

/// Tells whether a statement starts here that says nothing about types and bindings. An override is one: its value is
/// known when the pipeline is made, and only arrays in workgroup memory may be sized by it.
bool IsOtherStatement(const Cursor& cursor)
{
    return cursor.Is("override") || cursor.Is("const_assert") || cursor.Is("enable") || cursor.Is("requires") ||
           cursor.Is("diagnostic");
}

} // namespace

const Attribute* FindAttribute(const std::vector<Attribute>& attributes, std::string_view name)
{
    const auto found =
        std::find_if(attributes.begin(), attributes.end(), [&](const Attribute& a) { return a.name == name; });
    return found == attributes.end() ? nullptr : &*found;
}

const Attribute* Variable::Find(std::string_view attribute) const
{
    return FindAttribute(attributes, attribute);
}

const Named* Module::Find(std::string_view name) const
{
    const auto found = names.find(name);
    return found == names.end() ? nullptr : &found->second;
}

std::size_t Module::FollowAliases(std::size_t type) const
{
    // Aliases of aliases are few; a chain that is longer than their number runs in a circle.
    for (std::size_t hops = 0; hops < names.size(); ++hops)
    {
        const Named* named = Find(Text(type));
        if (!named || named->kind != NamedKind::Alias)
            break;
        type = named->start;
    }
    return type;
}

std::vector<Attribute> ReadAttributes(Cursor& cursor)
{
    std::vector<Attribute> attributes;
    while (cursor.Accept("@"))
    {
        Attribute attribute;
        attribute.name = cursor.AcceptIdentifier();
        if (cursor.Is("("))
        {
            attribute.argument = cursor.Position() + 1;
            cursor.SkipBrackets("(", ")");
        }
        attributes.push_back(attribute);
    }
    return attributes;
}

std::vector<Variable> ReadMembers(const Module& module, std::size_t start, std::string_view close)
{
    std::vector<Variable> members;
    Cursor cursor(module.tokens, start);
    while (!cursor.AtEnd() && !cursor.Is(close))
    {
        Variable member;
        member.attributes = ReadAttributes(cursor);
        member.name = cursor.AcceptIdentifier();
        if (!member.name.empty() && cursor.Accept(":"))
        {
            member.type = cursor.Position();
            cursor.SkipType();
            members.push_back(std::move(member));
        }
        // To the next member, over what should not be here.
        while (!cursor.AtEnd() && !cursor.Is(close) && !cursor.Accept(","))
            cursor.Advance();
    }
    return members;
}

Module ReadModule(std::string_view source)
{
    Module module;
    module.tokens = Tokenize(source);
    Cursor cursor(module.tokens);
    while (!cursor.AtEnd())
    {
        std::vector<Attribute> attributes = ReadAttributes(cursor);
        if (cursor.Accept("alias"))
            ReadAlias(module, cursor);
        else if (cursor.Accept("const"))
            ReadConstant(module, cursor);
        else if (cursor.Accept("struct"))
            ReadStruct(module, cursor);
        else if (cursor.Accept("var"))
            ReadVariable(module, cursor, std::move(attributes));
        else if (cursor.Accept("fn"))
            ReadFunction(module, cursor, std::move(attributes));
        else if (IsOtherStatement(cursor))
            cursor.SkipBehind(";");
        else
            cursor.Advance(); // a stray ";", or a mistake that the GPU's compiler reports
    }
    return module;
}

} // namespace Varkle::Wgsl
