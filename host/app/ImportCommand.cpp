#include "Command.h"
#include "Console.h"
#include "Varkle/Core/FileImportRegistry.h"
#include "Varkle/Core/Graph.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Document/GraphDocument.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

struct ImportOptions
{
    std::vector<std::string> files;
    std::string output;
};

// Makes an operator's key of a file's name: what a key can't have becomes "_".
std::string MakeKey(const fs::path& file)
{
    std::string key = file.stem().string();
    std::ranges::replace_if(
        key, [](unsigned char c) { return c >= 128 || (std::isalnum(c) == 0 && c != '_' && c != '-' && c != '.'); },
        '_');
    return key;
}

Status ImportFile(const std::string& file, Graph& graph)
{
    std::error_code code;
    const fs::file_status status = fs::status(file, code);
    if (fs::is_directory(status))
        return Error{fmt::format("{}: this is a folder, not a picture or a model.", Printable(file))};
    if (!fs::is_regular_file(status))
        return Error{fmt::format("{}: there is no such file.", Printable(file))};
    const fs::path absolute = fs::absolute(file, code).lexically_normal();
    std::unique_ptr<Operator> op = FileImportRegistry::Get().CreateOperator(absolute);
    if (!op)
        return Error{fmt::format("{}: no importer takes files of this kind; there are importers for {}.",
                                 Printable(file), fmt::join(FileImportRegistry::Get().GetExtensions(), " "))};
    graph.Add(std::move(op), MakeKey(absolute));
    return Ok();
}

// A picture must not become a document.
Status CheckOutput(const ImportOptions& options)
{
    std::error_code code;
    for (const std::string& file : options.files)
    {
        if (fs::equivalent(options.output, file, code))
            return Error{fmt::format("--output {}: this is the file {} that is to be imported, which would be lost.",
                                     Quoted(options.output), Quoted(file))};
    }
    return Ok();
}

int RunImport(const ImportOptions& options)
{
    if (const Status good = CheckOutput(options); !good)
        return PrintError(good.GetError());
    Graph graph;
    int status = Done;
    for (const std::string& file : options.files)
    {
        if (const Status imported = ImportFile(file, graph); !imported)
            status = PrintError(imported.GetError());
    }
    if (status != Done)
        return status;
    const bool toFile = !options.output.empty() && options.output != "-";
    std::error_code code;
    const fs::path folder =
        toFile ? fs::absolute(options.output, code).lexically_normal().parent_path() : fs::current_path(code);
    constexpr double frameRate = 60;
    const GraphDocument document = GraphDocument::FromGraph(graph, frameRate, folder);
    if (!toFile)
        return PrintOutput(document.ToText());
    const Status saved = document.Save(options.output);
    return saved ? int(Done) : PrintError(saved.GetError());
}

} // namespace

void AddImportCommand(CLI::App& app, Run& run)
{
    auto options = std::make_shared<ImportOptions>();
    CLI::App* const command = app.add_subcommand("import", "Make a graph of picture and model files")->fallthrough();
    command->add_option("files", options->files, "The files to import")->required()->type_name("FILE...");
    command->add_option("--output", options->output, "The graph document to write (default: standard output)")
        ->type_name("PATH");
    command->callback([&run, options] { run = [options](const Console&) { return RunImport(*options); }; });
}

} // namespace Varkle
