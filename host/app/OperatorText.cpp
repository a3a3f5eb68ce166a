#include "OperatorText.h"

#include <cmark-gfm.h>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
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
    std::string line;
    const auto flush = [&]
    {
        result += std::string(indent, ' ') + line + "\n";
        line.clear();
    };
    std::size_t begin = text.find_first_not_of(" \n");
    while (begin != std::string_view::npos)
    {
        const std::size_t end = std::min(text.find_first_of(" \n", begin), text.size());
        const std::string_view word = text.substr(begin, end - begin);
        if (!line.empty() && indent + line.size() + 1 + word.size() > columns)
            flush();
        line += (line.empty() ? "" : " ") + std::string(word);
        begin = text.find_first_not_of(" \n", end);
    }
    if (!line.empty())
        flush();
    return result;
}

// Rewrites a link to another operator so that its target is the command that describes that one.
void ResolveLink(cmark_node* link)
{
    constexpr std::string_view scheme = "op:";
    std::string target = cmark_node_get_url(link);
    if (!target.starts_with(scheme))
        return;
    target = target.substr(scheme.size());
    for (std::size_t at = target.find("%20"); at != std::string::npos; at = target.find("%20"))
        target.replace(at, 3, " ");
    const OperatorInfo* const info = TypeLibrary::Get().FindByPath(target);
    const std::string text = info ? fmt::format(" (varkle describe {})", info->type->GetId())
                                  : fmt::format(" ({}: there is no such operator)", target);
    // The link is replaced by its text, followed by where it leads.
    cmark_node* const note = cmark_node_new(CMARK_NODE_TEXT);
    cmark_node_set_literal(note, text.c_str());
    cmark_node_insert_after(link, note);
    while (cmark_node* const child = cmark_node_first_child(link))
        cmark_node_insert_before(link, child);
    cmark_node_unlink(link);
    cmark_node_free(link);
}

std::string RenderMarkdown(const std::string& text)
{
    const std::unique_ptr<cmark_node, void (*)(cmark_node*)> document(
        cmark_parse_document(text.data(), text.size(), CMARK_OPT_DEFAULT), cmark_node_free);
    std::vector<cmark_node*> links;
    const std::unique_ptr<cmark_iter, void (*)(cmark_iter*)> iterator(cmark_iter_new(document.get()), cmark_iter_free);
    for (cmark_event_type event = cmark_iter_next(iterator.get()); event != CMARK_EVENT_DONE;
         event = cmark_iter_next(iterator.get()))
    {
        cmark_node* const node = cmark_iter_get_node(iterator.get());
        if (event == CMARK_EVENT_ENTER && cmark_node_get_type(node) == CMARK_NODE_LINK)
            links.push_back(node);
    }
    for (cmark_node* const link : links)
        ResolveLink(link);
    const std::unique_ptr<char, void (*)(void*)> rendered(
        cmark_render_plaintext(document.get(), CMARK_OPT_DEFAULT, int(columns)), std::free);
    return rendered.get();
}

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
    text += "\n" + RenderMarkdown(info.body);
    if (!info.tags.empty())
        text += "\n" + Wrap(fmt::format("Tags: {}", fmt::join(info.tags, ", ")), 0);
    return text;
}

} // namespace Varkle
