#include "Command.h"
#include "Console.h"
#include "OperatorText.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/TypeLibrary.h"
#include "Varkle/Document/JsonLayout.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

std::string ListAsText()
{
    std::size_t width = 0;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
        width = std::max(width, info.type->GetId().size());
    std::string text;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
        text += fmt::format("{:<{}}  {}\n", info.type->GetId(), width, info.summary);
    return text;
}

std::string ListAsJson()
{
    JsonValue list = JsonArray();
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
    {
        JsonValue tags = JsonArray();
        for (const std::string& tag : info.tags)
            tags.elements.push_back(JsonString(tag));
        JsonValue json = JsonObject();
        AddMember(json, "type", JsonString(info.type->GetId()));
        AddMember(json, "category", JsonString(info.category));
        AddMember(json, "name", JsonString(info.name));
        AddMember(json, "summary", JsonString(info.summary));
        AddMember(json, "tags", std::move(tags));
        list.elements.push_back(std::move(json));
    }
    return LayOutJson(list);
}

std::string Path(const OperatorInfo& info)
{
    return info.category + "/" + info.name;
}

// Returns what to say behind a name that no operator has: those that have it as the last part of theirs, or nearly so.
std::string SuggestOperators(const std::string& name)
{
    std::vector<std::string> known;
    std::vector<std::string> same;
    std::vector<std::string> near;
    for (const OperatorInfo& info : TypeLibrary::Get().GetOperators())
    {
        const std::string& id = info.type->GetId();
        known.push_back(id);
        known.push_back(Path(info));
        if (ToLower(name) == ToLower(info.name) || ToLower(name) == ToLower(id.substr(id.rfind('.') + 1)))
            same.push_back(Quoted(Path(info)));
        else if (!Suggestion(name, {info.name}).empty())
            near.push_back(Quoted(Path(info)));
    }
    if (const std::string suggestion = Suggestion(name, known); same.empty() && !suggestion.empty())
        return suggestion;
    const std::vector<std::string>& found = same.empty() ? near : same;
    return found.empty() ? "" : fmt::format(" (did you mean {}?)", fmt::join(found, " or "));
}

int RunDescribe(const std::string& name)
{
    const OperatorInfo* info = TypeLibrary::Get().Find(name);
    if (!info)
        info = TypeLibrary::Get().FindByPath(name);
    if (info)
        return PrintOutput(FormatOperator(*info));
    return PrintError(fmt::format("There is no operator {}{}.", Quoted(name), SuggestOperators(name)));
}

} // namespace

void AddOperatorsCommands(CLI::App& app, Run& run)
{
    auto asJson = std::make_shared<bool>(false);
    CLI::App* const operators =
        app.add_subcommand("operators", "List the operator types with their summaries")->fallthrough();
    operators->add_flag("--json", *asJson, "Print a JSON array");
    operators->callback(
        [&run, asJson]
        { run = [asJson](const Console&) { return PrintOutput(*asJson ? ListAsJson() : ListAsText()); }; });

    auto name = std::make_shared<std::string>();
    CLI::App* const describe = app.add_subcommand("describe", "Print one operator's document")->fallthrough();
    describe->add_option("operator", *name, "A type id, or a name as in Texture/Blur")
        ->required()
        ->type_name("OPERATOR");
    describe->callback([&run, name] { run = [name](const Console&) { return RunDescribe(*name); }; });
}

} // namespace Varkle
