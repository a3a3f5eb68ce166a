// The program varkle: runs graph documents from the command line.

#include "Command.h"
#include "CommandLine.h"
#include "Console.h"
#include "FileSizeLimit.h"
#include "Interrupts.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/Text.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <exception>
#include <filesystem>
#include <new>
#include <vector>

namespace Varkle
{

namespace
{

void AddCommonOptions(CLI::App& app, CommonOptions& common)
{
    app.set_help_flag("--help,-h", "Print this help");
    app.set_version_flag("--version", "varkle " VARKLE_VERSION, "Print the version");
    app.add_option("--plugin", common.plugins,
                   "A plug-in to load besides those in the plug-in folder and in the folders of VARKLE_PLUGIN_PATH "
                   "(repeatable)")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_flag("--no-default-plugins", common.noDefaultPlugins, "Load only the plug-ins of --plugin");
    app.add_option("--adapter", common.adapter, "Part of a GPU adapter's name, or cpu (as VARKLE_ADAPTER)");
    app.add_option("--log", common.logLevel, "The least level to print: info, warning, error or none")
        ->type_name("LEVEL")
        ->check(
            [](const std::string& level)
            {
                const bool known = level == "info" || level == "warning" || level == "error" || level == "none";
                return known ? std::string() : Quoted(level) + ": it must be info, warning, error or none";
            });
    app.add_option("--trace", common.trace, "Write a trace of the run for Perfetto or chrome://tracing")
        ->type_name("FILE");
    app.add_flag("--stats", common.stats, "Print a table of what each operator cost after the run");
}

Status LoadPlugins(const CommonOptions& common, std::vector<Plugin>& plugins)
{
    if (!common.noDefaultPlugins)
    {
        LoadedPlugins defaults = Plugin::LoadDefaults();
        plugins = std::move(defaults.plugins);
        for (const Error& error : defaults.errors) // the others may be all that is needed
            LogWarning(error.message);
    }
    const auto isLoaded = [&](const std::string& path)
    {
        std::error_code code;
        return std::ranges::any_of(plugins, [&](const Plugin& plugin)
                                   { return std::filesystem::equivalent(plugin.GetPath(), path, code); });
    };
    for (const std::string& path : common.plugins)
    {
        if (isLoaded(path)) // of a folder, or named twice: there is nothing to do
            continue;
        Result<Plugin> plugin = Plugin::Load(path);
        if (!plugin)
            return plugin.GetError();
        plugins.push_back(std::move(*plugin));
    }
    return Ok();
}

// What does not fit into memory must not keep what was done from being finished and told.
int RunInMemory(const Run& run, const Console& console)
try
{
    return run(console);
}
catch (const std::bad_alloc&)
{
    return PrintError(Error{"The memory is used up.", true});
}

int RunCommand(const CommonOptions& common, std::vector<Plugin>& plugins, const Run& run, const Console& console)
{
    if (!common.trace.empty())
        Trace::Start();
    if (const Status loaded = LoadPlugins(common, plugins); !loaded)
        return PrintError(loaded.GetError());
    const int status = RunInMemory(run, console);
    Tasks::Shutdown();
    if (common.trace.empty())
        return status;
    const Status written = Trace::Finish(common.trace);
    return written ? status : PrintError(written.GetError());
}

int Main(int argc, char** argv)
{
    OccupyStandardStreams();
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is an error of the write, not the end of the process
    std::signal(SIGXFSZ, SIG_IGN); // and so is a file that may not grow any more
    std::signal(SIGCHLD, SIG_DFL); // a caller that had it ignored would keep from us how helping programs end
    TellOfFileSizeLimit();
    CommonOptions common;
    std::vector<Plugin> plugins;
    Run run;
    CLI::App app("Runs graphs of GPU operators: textures, meshes, materials, models, windows.", "varkle");
    app.require_subcommand(1);
    AddCommonOptions(app, common);
    AddRenderCommand(app, common, run);
    AddPlayCommand(app, common, run);
    AddInspectCommand(app, common, run);
    AddCheckCommand(app, run);
    AddImportCommand(app, run);
    AddOperatorsCommands(app, run);
    AddInfoCommand(app, common, plugins, run);
    for (CLI::App* const command : app.get_subcommands({}))
        command->footer("Every command also takes the options that varkle --help lists.");
    if (const std::optional<int> status = ReadCommandLine(app, argc, argv))
        return *status;

    const Console console(common.logLevel);
    const int status = RunCommand(common, plugins, run, console);
    if (WasInterrupted())
        EndByInterrupt(); // without waiting for the GPU
    plugins.clear();
    Graphics::Shutdown();
    return status;
}

} // namespace

} // namespace Varkle

int main(int argc, char** argv)
try
{
    return Varkle::Main(argc, argv);
}
catch (const std::bad_alloc&)
{
    return Varkle::PrintError(Varkle::Error{"The memory is used up.", true});
}
catch (const std::exception& error)
{
    return Varkle::PrintError(Varkle::Error{std::string("Something unforeseen went wrong: ") + error.what(), true});
}
