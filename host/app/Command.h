#pragma once

#include "Varkle/Core/Plugin.h"
#include "Varkle/Core/Result.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace Varkle
{

class Console;

/// The exit statuses of the program.
enum ExitStatus
{
    Done = 0,
    WrongInput = 1,   ///< the document, a file or an option was wrong
    MachineFailed = 2 ///< no GPU adapter, a lost device, a full disk
};

/// Returns the exit status that an error asks for.
inline int StatusOf(const Error& error)
{
    return error.machine ? MachineFailed : WrongInput;
}

/// Holds the options that all commands share.
struct CommonOptions
{
    std::vector<std::string> plugins;
    bool noDefaultPlugins = false;
    std::string adapter;
    std::string logLevel = "info";
    std::string trace;
    bool stats = false;
};

// Each command adds itself to the command line and stores in `run` what is to be done when it was chosen: a function
// that returns the exit status. It runs after the plug-ins were loaded; the console has heard all that was logged
// since.

using Run = std::function<int(const Console& console)>;

void AddRenderCommand(CLI::App& app, const CommonOptions& common, Run& run);
void AddPlayCommand(CLI::App& app, const CommonOptions& common, Run& run);
void AddInspectCommand(CLI::App& app, const CommonOptions& common, Run& run);
void AddCheckCommand(CLI::App& app, Run& run);
void AddImportCommand(CLI::App& app, Run& run);
void AddOperatorsCommands(CLI::App& app, Run& run);
void AddInfoCommand(CLI::App& app, const CommonOptions& common, const std::vector<Plugin>& plugins, Run& run);

} // namespace Varkle
