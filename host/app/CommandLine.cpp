#include "CommandLine.h"

#include "Command.h"
#include "Console.h"
#include "Varkle/Core/Text.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

// Returns the command that was chosen, or null.
CLI::App* ChosenCommand(const CLI::App& app)
{
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    return chosen.empty() ? nullptr : chosen.front();
}

std::string UnknownOption(const CLI::App& app, const CLI::App* command, const std::string& argument)
{
    const std::string name = argument.substr(0, argument.find('='));
    std::vector<std::string> known;
    for (const CLI::App* const owner : {command, &app})
    {
        for (const CLI::Option* const option : owner ? owner->get_options() : std::vector<const CLI::Option*>())
            known.push_back(option->get_name());
    }
    return "there is no option " + Quoted(name) + Suggestion(name, known);
}

std::string UnknownCommand(const CLI::App& app, const std::string& name)
{
    std::vector<std::string> known;
    for (const CLI::App* const command : app.get_subcommands({}))
        known.push_back(command->get_name());
    const std::string suggestion = Suggestion(name, known);
    return "there is no command " + Quoted(name) +
           (suggestion.empty() ? fmt::format("; there are {}", fmt::join(known, ", ")) : suggestion);
}

// Says what is wrong with the arguments. One that nobody knows is most likely the cause of whatever else is missing.
std::string Explain(const CLI::App& app, const CLI::ParseError& error)
{
    const CLI::App* const command = ChosenCommand(app);
    const std::vector<std::string> unknown = app.remaining(true);
    const auto option = std::ranges::find_if(unknown, [](const std::string& text) { return text.starts_with("-"); });
    if (option != unknown.end())
        return UnknownOption(app, command, *option);
    if (!command)
        return unknown.empty() ? "a command is missing" : UnknownCommand(app, unknown.front());
    if (!unknown.empty())
        return "there is an argument too many: " + Quoted(unknown.front());
    return error.what();
}

} // namespace

std::optional<int> ReadCommandLine(CLI::App& app, int argc, char** argv)
try
{
    app.parse(argc, argv);
    return std::nullopt;
}
catch (const CLI::CallForHelp&)
{
    return PrintOutput(app.help());
}
catch (const CLI::CallForVersion& version)
{
    return PrintOutput(std::string(version.what()) + "\n");
}
catch (const CLI::ParseError& error)
{
    const CLI::App* const command = ChosenCommand(app);
    const std::string name = command ? "varkle " + command->get_name() : "varkle";
    return PrintError(fmt::format("{}: {}. See {} --help.", name, Explain(app, error), name));
}

} // namespace Varkle
