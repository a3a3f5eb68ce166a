#include "Command.h"
#include "Console.h"
#include "GraphOptions.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Document/DocumentQuery.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace Varkle
{

namespace
{

int RunCheck(const std::vector<std::string>& paths)
{
    int status = Done;
    for (const std::string& path : paths)
    {
        const Result<GraphDocument> document = ReadDocument(path);
        if (!document)
        {
            status = std::max(status, PrintError(document.GetError()));
            continue;
        }
        for (const MissingFile& file : FindMissingFiles(*document))
            LogWarning(file.warning.Text());
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
