#include "Command.h"
#include "Console.h"
#include "GraphOptions.h"

#include <CLI/CLI.hpp>

namespace Varkle
{

namespace
{

int RunCheck(const std::vector<std::string>& paths)
{
    int status = Done;
    for (const std::string& path : paths)
    {
        if (const Result<GraphDocument> document = ReadDocument(path); !document)
            status = PrintError(document.GetError());
    }
    return status;
}

} // namespace

void AddCheckCommand(CLI::App& app, Run& run)
{
    auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        app.add_subcommand("check", "Read graph documents and report every error, without a GPU")->fallthrough();
    command->add_option("graphs", *paths, "The graph documents to check")->required()->type_name("GRAPH...");
    command->callback([&run, paths] { run = [paths](const Console&) { return RunCheck(*paths); }; });
}

} // namespace Varkle
