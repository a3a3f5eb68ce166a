#include "OperatorText.h"

#include "TextLayout.h"

#include <algorithm>
#include <cmark-gfm-core-extensions.h>
#include <cmark-gfm.h>
#include <cstdint>
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
    for (const std::string& line : BreakLines(text, columns - indent))
        result += std::string(indent, ' ') + line + "\n";
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

using Document = std::unique_ptr<cmark_node, void (*)(cmark_node*)>;

Document ParseMarkdown(const std::string& text)
{
    cmark_gfm_core_extensions_ensure_registered();
    const std::unique_ptr<cmark_parser, void (*)(cmark_parser*)> parser(cmark_parser_new(CMARK_OPT_DEFAULT),
                                                                        cmark_parser_free);
    cmark_parser_attach_syntax_extension(parser.get(), cmark_find_syntax_extension("table"));
    cmark_parser_feed(parser.get(), text.data(), text.size());
    return {cmark_parser_finish(parser.get()), cmark_node_free};
}

std::string RenderText(cmark_node* node, std::size_t width)
{
    const std::unique_ptr<char, void (*)(void*)> text(cmark_render_plaintext(node, CMARK_OPT_DEFAULT, int(width)),
                                                      std::free);
    return text.get();
}

// Takes the text out of a cell. In a paragraph of its own, so that no strokes are escaped as in a table.
std::string TakeCellText(cmark_node* cell)
{
    const Document paragraph(cmark_node_new(CMARK_NODE_PARAGRAPH), cmark_node_free);
    while (cmark_node* const child = cmark_node_first_child(cell))
        cmark_node_append_child(paragraph.get(), child);
    return RenderText(paragraph.get(), 0);
}

TextTable TakeTable(cmark_node* node)
{
    TextTable table;
    const std::uint8_t* const alignments = cmark_gfm_extensions_get_table_alignments(node);
    for (std::size_t i = 0; i < cmark_gfm_extensions_get_table_columns(node); ++i)
        table.alignments.push_back(alignments[i] == 'r'   ? Alignment::Right
                                   : alignments[i] == 'c' ? Alignment::Center
                                                          : Alignment::Left);
    for (cmark_node* row = cmark_node_first_child(node); row; row = cmark_node_next(row))
    {
        std::vector<std::string>& cells = table.rows.emplace_back();
        for (cmark_node* cell = cmark_node_first_child(row); cell; cell = cmark_node_next(cell))
            cells.push_back(TakeCellText(cell));
        cells.resize(table.alignments.size());
    }
    return table;
}

// Puts a block of the table's laid out lines in its place: that one is rendered as it stands.
void ReplaceTable(cmark_node* table)
{
    constexpr std::size_t listIndent = 4; // of each list around it, as the renderer indents
    std::size_t indent = 0;
    for (cmark_node* node = cmark_node_parent(table); node; node = cmark_node_parent(node))
        indent += cmark_node_get_type(node) == CMARK_NODE_ITEM ? listIndent : 0;
    cmark_node* const lines = cmark_node_new(CMARK_NODE_CODE_BLOCK);
    cmark_node_set_literal(lines, LayOutTable(TakeTable(table), columns - std::min(indent, columns)).c_str());
    cmark_node_replace(table, lines);
    cmark_node_free(table);
}

std::string RenderMarkdown(const std::string& text)
{
    const Document document = ParseMarkdown(text);
    std::vector<cmark_node*> links;
    std::vector<cmark_node*> tables;
    const std::unique_ptr<cmark_iter, void (*)(cmark_iter*)> iterator(cmark_iter_new(document.get()), cmark_iter_free);
    for (cmark_event_type event = cmark_iter_next(iterator.get()); event != CMARK_EVENT_DONE;
         event = cmark_iter_next(iterator.get()))
    {
        cmark_node* const node = cmark_iter_get_node(iterator.get());
        if (event != CMARK_EVENT_ENTER)
            continue;
        if (cmark_node_get_type(node) == CMARK_NODE_LINK)
            links.push_back(node);
        if (cmark_node_get_type_string(node) == std::string_view("table"))
            tables.push_back(node);
    }
    std::ranges::for_each(links, ResolveLink);
    std::ranges::for_each(tables, ReplaceTable);
    return RenderText(document.get(), columns);
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
