#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Varkle::Wgsl
{

enum class TokenKind
{
    Identifier,
    Number,
    Symbol,
    End
};

struct Token
{
    TokenKind kind = TokenKind::End;
    std::string_view text; ///< a part of the source; empty for End
};

using Tokens = std::vector<Token>;

/// Splits a text into tokens, leaving out comments; the last token is always an End. Symbols have one character, except
/// "->", "<<" and "<=": a ">" stays alone, because ">>" may close two template lists, while "<<" and "<=" open none.
Tokens Tokenize(std::string_view source);

/// A position in the tokens that never leaves them. Copies look ahead.
class Cursor
{
public:
    explicit Cursor(const Tokens& all, std::size_t start = 0) : tokens(&all), position(start) {}

    const Token& operator*() const { return (*tokens)[position]; }
    const Token* operator->() const { return &**this; }
    std::size_t Position() const { return position; }
    bool AtEnd() const { return (**this).kind == TokenKind::End; }
    bool Is(std::string_view text) const { return !AtEnd() && (**this).text == text; }

    void Advance();
    /// Goes behind `text` if it is here, and tells whether it was.
    bool Accept(std::string_view text);
    /// Gives the identifier here and goes behind it; gives an empty text and stays when there is none.
    std::string_view AcceptIdentifier();
    /// Goes behind the bracket that closes the one here, counting brackets of this kind only.
    void SkipBrackets(std::string_view open, std::string_view close);
    /// Goes behind the next token that reads `text`.
    void SkipBehind(std::string_view text);
    /// Goes behind a type: a name and its template list, if there is one.
    void SkipType();
    /// Goes behind the template list that starts here, if one does, and gives where each of its arguments starts.
    /// Inside parentheses "<" and ">" compare. A list that is never closed ends at what cannot be in one.
    std::vector<std::size_t> ReadTemplateArguments();

private:
    const Tokens* tokens;
    std::size_t position;
};

} // namespace Varkle::Wgsl
