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

// Returns the options that the arguments may have.
std::vector<const CLI::Option*> Options(const CLI::App& app, const CLI::App* command)
{
    std::vector<const CLI::Option*> options;
    for (const CLI::App* const owner : {command, &app})
    {
        for (const CLI::Option* const option : owner ? owner->get_options() : std::vector<const CLI::Option*>())
            options.push_back(option);
    }
    return options;
}

std::string UnknownOption(const CLI::App& app, const CLI::App* command, const std::string& argument)
{
    const std::string name = argument.substr(0, argument.find('='));
    std::vector<std::string> known;
    for (const CLI::Option* const option : Options(app, command))
        known.push_back(option->get_name());
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

// "The graph document to run" behind a colon.
std::string Describe(const CLI::Option& option)
{
    std::string description = option.get_description();
    if (!description.empty())
        description[0] = ToLower(description.substr(0, 1))[0];
    return description;
}

// Says what is wrong with the value of an option. The library's own words, which begin with the option's name, are for
// its developers; those behind a failed check are ours.
std::string WrongValue(const CLI::Option& option, const CLI::ParseError& error)
{
    const std::string name = option.get_name();
    if (dynamic_cast<const CLI::ValidationError*>(&error))
        return name + " " + std::string(error.what()).substr(name.size() + 2);
    if (option.results().size() > std::size_t(option.get_expected_max()))
        return fmt::format("{} is given {} times; it takes one value, {}", name, option.results().size(),
                           option.get_type_name());
    return fmt::format("{} needs a value: {}", name, option.get_type_name());
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
    std::string problem = error.what();
    const std::vector<const CLI::Option*> options = Options(app, command);
    for (const CLI::Option* const known : options)
    {
        if (problem.starts_with(known->get_name() + ":"))
            return WrongValue(*known, error);
        if (known->get_expected_max() == 0 && problem.find(" " + known->get_name() + " =") != std::string::npos)
            return fmt::format("{} takes no value", known->get_name());
    }
    const auto missing = std::ranges::find_if(options, [](const CLI::Option* known)
                                              { return known->get_required() && known->count() == 0; });
    if (missing == options.end())
        return problem;
    return fmt::format("{} is missing: {}", (*missing)->get_type_name(), Describe(**missing));
}

int PrintWrongArguments(const CLI::App* command, std::string_view problem)
{
    const std::string name = command ? "varkle " + command->get_name() : "varkle";
    return PrintError(fmt::format("{}: {}. See {} --help.", name, problem, name));
}

// No option takes an empty text, and a script whose variable is empty should hear of it.
std::optional<std::string> FindEmptyText(const CLI::App& app)
{
    for (const CLI::Option* const option : Options(app, ChosenCommand(app)))
    {
        if (std::ranges::find(option->results(), "") == option->results().end())
            continue;
        return option->get_positional() ? fmt::format("{} is empty", option->get_type_name())
                                        : fmt::format("{} \"\": the value is empty; it must be {}", option->get_name(),
                                                      option->get_type_name());
    }
    return std::nullopt;
}

} // namespace

std::optional<int> ReadCommandLine(CLI::App& app, int argc, char** argv)
try
{
    // Messages, documents and traces are UTF-8: a name that is not could neither be written there nor found again.
    for (int i = 1; i < argc; ++i)
    {
        if (FindInvalidUtf8(argv[i]) != std::string_view::npos)
            return PrintWrongArguments(nullptr, fmt::format("the argument \"{}\" is not UTF-8", Printable(argv[i])));
    }
    app.parse(argc, argv);
    if (const std::optional<std::string> problem = FindEmptyText(app))
        return PrintWrongArguments(ChosenCommand(app), *problem);
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
    return PrintWrongArguments(ChosenCommand(app), Explain(app, error));
}

} // namespace Varkle
