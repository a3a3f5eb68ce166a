#include "OperatorText.h"

#include "TextLayout.h"

#include <algorithm>
#include <fmt/format.h>
#include <regex>
#include <sstream>
#include <vector>

namespace Varkle
{

namespace
{

constexpr std::size_t columns = 100;

// Breaks a text into lines of at most `columns`, each behind an indent.
std::string Wrap(std::string_view text, std::size_t indent)
{
    std::string result;
    for (const std::string& line : BreakLines(text, columns - indent))
        result += std::string(indent, ' ') + line + "\n";
    return result;
}

// Says where a link to an operator leads: to the command that describes that one.
std::string ResolveTarget(std::string target)
{
    for (std::size_t at = target.find("%20"); at != std::string::npos; at = target.find("%20"))
        target.replace(at, 3, " ");
    const OperatorInfo* const info = TypeLibrary::Get().FindByPath(target);
    return info ? fmt::format("varkle describe {}", info->type->GetId())
                : fmt::format("{}: there is no such operator", target);
}

// Writes links to operators, [text](op:Category/Name) or [text](<op:Category/Name>), as the text and where it leads.
std::string ResolveLinks(const std::string& markdown)
{
    static const std::regex link(R"(\[([^\]]*)\]\((?:<op:([^>]*)>|op:([^)\s]*))\))");
    std::string text;
    auto rest = markdown.cbegin();
    for (std::sregex_iterator found(markdown.begin(), markdown.end(), link); found != std::sregex_iterator(); ++found)
    {
        const std::string target = (*found)[2].matched ? (*found)[2].str() : (*found)[3].str();
        text.append(rest, (*found)[0].first).append(fmt::format("{} ({})", (*found)[1].str(), ResolveTarget(target)));
        rest = (*found)[0].second;
    }
    return text.append(rest, markdown.cend());
}

// Lays out the text of Markdown for a terminal: paragraphs and the items of lists are broken into lines anew, since
// links grew. All else stands as it does.
class MarkdownLines
{
public:
    static std::string LayOut(const std::string& markdown)
    {
        MarkdownLines lines;
        std::istringstream stream(markdown);
        for (std::string line; std::getline(stream, line);)
            lines.Add(line);
        lines.EndBlock();
        return lines.text;
    }

private:
    void Add(const std::string& line)
    {
        const bool isFence = line.starts_with("```");
        if (isFence || inCode || line.empty() || std::string_view("#|>").find(line[0]) != std::string_view::npos)
        {
            EndBlock();
            inCode = inCode != isFence;
            text += line + "\n";
            return;
        }
        static const std::regex item(R"(\s*(?:[-*+]|\d+\.)\s+)");
        std::smatch marker;
        if (std::regex_search(line, marker, item, std::regex_constants::match_continuous))
        {
            EndBlock();
            mark = marker.str();
        }
        block += line.substr(block.empty() ? mark.size() : 0) + "\n";
    }

    void EndBlock()
    {
        if (!block.empty())
            text += mark + Wrap(block, mark.size()).substr(mark.size());
        block.clear();
        mark.clear();
    }

    std::string text;
    std::string block; // lines of a paragraph or an item
    std::string mark;  // of the item: "- "
    bool inCode = false;
};

void AppendEntries(std::string& text, std::string_view title, const std::vector<OperatorInfo::Entry>& entries,
                   std::size_t indent = 0)
{
    if (entries.empty())
        return;
    const std::string margin(indent, ' ');
    if (!title.empty())
        text += fmt::format("\n{}{}\n", margin, title);
    for (const OperatorInfo::Entry& entry : entries)
    {
        const std::string kind = entry.type.empty() ? "bundles" : entry.type;
        text += fmt::format("{}  {} ({}{})\n", margin, entry.name, kind, entry.marks.output ? ", reported" : "");
        text += Wrap(entry.description.empty() ? entry.summary : entry.description, indent + 6);
        if (!entry.values.empty())
            text += Wrap(fmt::format("Values: {}.", fmt::join(entry.values, ", ")), indent + 6);
        for (const auto& [name, parameters] : entry.bundles)
            AppendEntries(text, "", parameters, indent + 4);
    }
}

} // namespace

std::string FormatOperator(const OperatorInfo& info)
{
    std::string text = fmt::format("{}  ({})\n\n", info.name, info.type->GetId());
    text += Wrap(info.summary, 0);
    AppendEntries(text, "Inputs", info.inputs);
    AppendEntries(text, "Outputs", info.outputs);
    AppendEntries(text, "Parameters", info.parameters);
    const std::size_t start = std::min(info.body.find_first_not_of('\n'), info.body.size());
    text += "\n" + MarkdownLines::LayOut(ResolveLinks(info.body.substr(start)));
    if (!info.tags.empty())
        text += "\n" + Wrap(fmt::format("Tags: {}", fmt::join(info.tags, ", ")), 0);
    return text;
}

} // namespace Varkle
