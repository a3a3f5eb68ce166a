#include "Command.h"
#include "Console.h"
#include "GraphOptions.h"
#include "Interrupts.h"
#include "Player.h"

#include <CLI/CLI.hpp>

namespace Varkle
{

namespace
{

int RunPlay(const PlayOptions& options, const CommonOptions& common)
{
    Player player(options, common);
    const Status played = player.Play();
    if (WasInterrupted())
        ForgetInterrupt(); // that is how a show ends
    return played ? int(Done) : PrintError(played.GetError());
}

} // namespace

void AddPlayCommand(CLI::App& app, const CommonOptions& common, Run& run)
{
    auto options = std::make_shared<PlayOptions>();
    CLI::App* const command =
        app.add_subcommand("play", "Run a graph in real time, in its windows, until the last closes or Ctrl-C")
            ->fallthrough();
    AddDocumentOptions(*command, options->graph, options->set);
    command
        ->add_option("--operator", options->viewed,
                     "Show this operator's output in a window of the program's own; without it, and in graphs without "
                     "windows, the first whose output feeds nothing")
        ->type_name("KEY");
    command->add_option("--frames", options->frames, "Stop after so many pictures")
        ->type_name("N")
        ->check(CheckFrameCount);
    command->add_flag("!--no-vsync", options->vsync,
                      "Show every frame of the graph as soon as it is drawn, for measuring");
    command->callback([&run, &common, options]
                      { run = [&common, options](const Console&) { return RunPlay(*options, common); }; });
}

} // namespace Varkle
