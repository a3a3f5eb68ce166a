#include "shader/ShaderIncludes.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

namespace Varkle
{

namespace
{

IncludableFiles& RegisteredFiles()
{
    static IncludableFiles s_files;
    return s_files;
}

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\v\f";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Takes the first line off a text, without its line break.
std::string_view TakeLine(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

/// Follows nested block comments over a line: takes how many are open at its start, gives how many are at its end.
int OpenComments(std::string_view line, int open)
{
    for (std::size_t i = 0; i + 1 < line.size(); ++i)
    {
        const std::string_view two = line.substr(i, 2);
        if (open == 0 && two == "//")
            return 0;
        if (two == "/*")
            ++open;
        else if (two == "*/" && open > 0)
            --open;
        else
            continue;
        ++i; // both characters are used up
    }
    return open;
}

/// The name in an include line; empty when the line is none that can be read. Nothing for any other line.
std::optional<std::string_view> IncludedName(std::string_view line)
{
    line = Trim(line);
    if (!line.starts_with('#'))
        return std::nullopt;
    line = Trim(line.substr(1));
    if (!line.starts_with("include"))
        return std::nullopt;
    line = Trim(line.substr(7));

    if (!line.starts_with('"') && !line.starts_with('<'))
        return "";
    const std::size_t end = line.find(line[0] == '<' ? '>' : '"', 1);
    if (end == std::string_view::npos)
        return "";
    const std::string_view rest = Trim(line.substr(end + 1));
    const bool onlyComment = rest.empty() || rest.starts_with("//");
    return onlyComment ? line.substr(1, end - 1) : "";
}

/// Gives the name by which messages call a file.
const std::string& ShownName(const ExpandedSource& source, std::size_t file)
{
    static const std::string s_unknown = "shader";
    return source.files[file].empty() ? s_unknown : source.files[file];
}

/// Appends a file's lines to `result`, with what they include. Ends for files that include each other, because each is
/// put in once.
Status Append(std::string_view text, std::size_t file, const IncludableFiles& own, ExpandedSource& result)
{
    int openComments = 0;
    for (int number = 1; !text.empty(); ++number)
    {
        const std::string_view line = TakeLine(text);
        const std::optional<std::string_view> name = openComments == 0 ? IncludedName(line) : std::nullopt;
        openComments = name ? 0 : OpenComments(line, openComments);
        if (!name)
        {
            result.text.append(line).push_back('\n');
            result.lines.push_back({file, number});
            continue;
        }

        const std::string place = ShownName(result, file) + ":" + std::to_string(number) + ": ";
        if (name->empty())
            return Error{place + "The include is not of the form #include \"Name\"."};
        if (std::find(result.files.begin(), result.files.end(), *name) != result.files.end())
        {
            result.text.push_back('\n');
            result.lines.push_back({file, number});
            continue;
        }
        const auto ownFile = own.find(*name);
        const std::string* included = ownFile != own.end() ? &ownFile->second : FindIncludableFile(*name);
        if (!included)
            return Error{place + "There is no includable file \"" + std::string(*name) + "\"."};
        result.files.emplace_back(*name);
        Status status = Append(*included, result.files.size() - 1, own, result);
        if (!status)
            return status;
    }
    return Ok();
}

/// Gives a line of a text, counted from 1; empty when there is none.
std::string_view LineAt(std::string_view text, std::size_t number)
{
    std::string_view line;
    for (std::size_t i = 0; i < number; ++i)
        line = TakeLine(text);
    return line;
}

/// Gives what moves a caret under a column: tabs stay, so that they are as wide as above, and every other character,
/// of however many bytes, becomes one space.
std::string Indentation(std::string_view before)
{
    std::string blanks;
    for (const char c : before)
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) // not a later byte of a UTF-8 character
            blanks.push_back(c == '\t' ? '\t' : ' ');
    return blanks;
}

} // namespace

void AddIncludableFile(std::string name, std::string source)
{
    RegisteredFiles().insert_or_assign(std::move(name), std::move(source));
}

const std::string* FindIncludableFile(std::string_view name)
{
    const auto found = RegisteredFiles().find(name);
    return found == RegisteredFiles().end() ? nullptr : &found->second;
}

Result<ExpandedSource> ExpandIncludes(std::string_view text, std::string_view name, const IncludableFiles& own)
{
    ExpandedSource result;
    result.files.emplace_back(name);
    const Status status = Append(text, 0, own, result);
    if (!status)
        return status.GetError();
    return result;
}

std::string DescribeShaderError(const ExpandedSource& source, std::size_t line, std::size_t column,
                                std::string_view message)
{
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r'))
        message.remove_suffix(1);

    const bool known = line >= 1 && line <= source.lines.size();
    std::string text = source.files.empty() ? "shader" : ShownName(source, known ? source.lines[line - 1].file : 0);
    if (known)
        text += ":" + std::to_string(source.lines[line - 1].number);
    if (known && column >= 1)
        text += ":" + std::to_string(column);
    text += ": ";
    text += message;
    if (!known)
        return text;

    std::string_view code = LineAt(source.text, line);
    if (code.ends_with('\r'))
        code.remove_suffix(1);
    text += "\n";
    text += code;
    if (column >= 1)
        text += "\n" + Indentation(code.substr(0, column - 1)) + "^";
    return text;
}

} // namespace Varkle
