#include "shader/WgslTokens.h"

#include <algorithm>
#include <cctype>

namespace Varkle::Wgsl
{

namespace
{

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// All bytes of letters beyond ASCII count as letters: WGSL has them in identifiers and comments only.
bool IsIdentifierStart(char c)
{
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || static_cast<unsigned char>(c) >= 0x80;
}

bool IsIdentifierPart(char c)
{
    return IsIdentifierStart(c) || IsDigit(c);
}

/// Finds the end of the comment that starts at `begin`. Block comments nest; one that is never closed takes the rest.
std::size_t CommentEnd(std::string_view source, std::size_t begin)
{
    if (source[begin + 1] == '/')
        return std::min(source.find_first_of("\n\v\f\r", begin), source.size());

    int depth = 1;
    std::size_t at = begin + 2;
    while (depth > 0 && at < source.size())
    {
        const std::string_view two = source.substr(at, 2);
        depth += two == "/*" ? 1 : two == "*/" ? -1 : 0;
        at += two == "/*" || two == "*/" ? 2 : 1;
    }
    return at;
}

std::size_t IdentifierEnd(std::string_view source, std::size_t begin)
{
    std::size_t end = begin + 1;
    while (end < source.size() && IsIdentifierPart(source[end]))
        ++end;
    return end;
}

std::size_t NumberEnd(std::string_view source, std::size_t begin)
{
    const std::string_view prefix = source.substr(begin, 2);
    const char exponent = prefix == "0x" || prefix == "0X" ? 'p' : 'e';
    std::size_t end = begin + 1;
    while (end < source.size())
    {
        const char c = source[end];
        const bool signOfExponent = (c == '+' || c == '-') && (source[end - 1] | 0x20) == exponent;
        if (!IsIdentifierPart(c) && c != '.' && !signOfExponent)
            break;
        ++end;
    }
    return end;
}

} // namespace

Tokens Tokenize(std::string_view source)
{
    Tokens tokens;
    std::size_t at = 0;
    const auto add = [&](TokenKind kind, std::size_t end)
    {
        tokens.push_back({kind, source.substr(at, end - at)});
        at = end;
    };
    while (at < source.size())
    {
        const char c = source[at];
        const std::string_view two = source.substr(at, 2);
        if (std::isspace(static_cast<unsigned char>(c)))
            ++at;
        else if (two == "//" || two == "/*")
            at = CommentEnd(source, at);
        else if (IsIdentifierStart(c))
            add(TokenKind::Identifier, IdentifierEnd(source, at));
        else if (IsDigit(c))
            add(TokenKind::Number, NumberEnd(source, at));
        else
            add(TokenKind::Symbol, two == "->" || two == "<<" || two == "<=" ? at + 2 : at + 1);
    }
    tokens.push_back({});
    return tokens;
}

void Cursor::Advance()
{
    if (!AtEnd())
        ++position;
}

bool Cursor::Accept(std::string_view text)
{
    const bool matches = Is(text);
    if (matches)
        Advance();
    return matches;
}

std::string_view Cursor::AcceptIdentifier()
{
    if ((**this).kind != TokenKind::Identifier)
        return {};
    const std::string_view name = (**this).text;
    Advance();
    return name;
}

void Cursor::SkipBrackets(std::string_view open, std::string_view close)
{
    int depth = 0;
    do
    {
        depth += Is(open) ? 1 : Is(close) ? -1 : 0;
        Advance();
    } while (depth > 0 && !AtEnd());
}

void Cursor::SkipBehind(std::string_view text)
{
    while (!AtEnd() && !Is(text))
        Advance();
    Advance();
}

void Cursor::SkipType()
{
    AcceptIdentifier();
    ReadTemplateArguments();
}

std::vector<std::size_t> Cursor::ReadTemplateArguments()
{
    std::vector<std::size_t> arguments;
    if (!Accept("<"))
        return arguments;

    int templates = 1;
    int parentheses = 0;
    bool argumentStarts = true;
    while (templates > 0 && !AtEnd() && !Is(";") && !Is("{") && !Is("}") && !(parentheses == 0 && Is(")")))
    {
        if (argumentStarts && !Is(">"))
            arguments.push_back(position);
        argumentStarts = templates == 1 && parentheses == 0 && Is(",");

        if (Is("("))
            ++parentheses;
        else if (Is(")"))
            --parentheses;
        else if (parentheses == 0 && Is("<"))
            ++templates;
        else if (parentheses == 0 && Is(">"))
            --templates;
        Advance();
    }
    return arguments;
}

} // namespace Varkle::Wgsl
