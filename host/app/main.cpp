// The program varkle: runs graph documents from the command line.

#include "Command.h"
#include "Console.h"
#include "Varkle/Core/Log.h"
#include "Varkle/Core/Tasks.h"
#include "Varkle/Core/Trace.h"
#include "Varkle/Gpu/Graphics.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <vector>

namespace Varkle
{

namespace
{

void AddCommonOptions(CLI::App& app, CommonOptions& common)
{
    app.set_version_flag("--version", "varkle " VARKLE_VERSION);
    app.add_option("--plugin", common.plugins, "A plug-in to load instead of the one beside the program (repeatable)")
        ->type_name("PATH")
        ->allow_extra_args(false);
    app.add_option("--adapter", common.adapter, "Part of a GPU adapter's name, or cpu (as VARKLE_ADAPTER)");
    app.add_option("--log", common.logLevel, "The least level to print: info, warning, error or none")
        ->check(CLI::IsMember({"info", "warning", "error", "none"}));
    app.add_option("--trace", common.trace, "Write a trace of the run for Perfetto or chrome://tracing");
    app.add_flag("--stats", common.stats, "Print a table of what each operator cost after the run");
}

Status LoadPlugins(const CommonOptions& common, std::vector<Plugin>& plugins)
{
    std::vector<std::string> paths = common.plugins;
    if (paths.empty())
        paths.push_back(Plugin::GetDefaultPath());
    for (const std::string& path : paths)
    {
        Result<Plugin> plugin = Plugin::Load(path);
        if (!plugin)
            return plugin.GetError();
        plugins.push_back(std::move(*plugin));
    }
    return Ok();
}

int RunCommand(const CommonOptions& common, std::vector<Plugin>& plugins, const Run& run)
{
    if (!common.trace.empty())
        Trace::Start();
    {
        const Console console(common.logLevel); // what plug-ins say while they load
        if (const Status loaded = LoadPlugins(common, plugins); !loaded)
            return PrintError(loaded.GetError());
    }
    const int status = run();
    Tasks::Shutdown();
    if (!common.trace.empty())
    {
        if (const Status written = Trace::Finish(common.trace); !written)
            return PrintError(written.GetError());
    }
    return status;
}

int Main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is an error of the write, not the end of the process
    CommonOptions common;
    std::vector<Plugin> plugins;
    Run run;
    CLI::App app("Runs graphs of GPU operators: textures, meshes, materials, models, windows.", "varkle");
    app.require_subcommand(1);
    app.set_help_flag("--help,-h", "Print this help");
    AddCommonOptions(app, common);
    AddRenderCommand(app, common, run);
    AddInspectCommand(app, common, run);
    AddCheckCommand(app, run);
    AddImportCommand(app, run);
    AddOperatorsCommands(app, run);
    AddInfoCommand(app, common, plugins, run);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit(error) == 0 ? Done : WrongInput;
    }

    const int status = RunCommand(common, plugins, run);
    plugins.clear();
    Graphics::Shutdown();
    if (WasInterrupted())
        EndByInterrupt();
    return status;
}

} // namespace

} // namespace Varkle

int main(int argc, char** argv)
{
    return Varkle::Main(argc, argv);
}
